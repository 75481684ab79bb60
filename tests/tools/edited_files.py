"""Makes small files with everything that savers are known to lose, edits them and compares.

Usage: edited_files.py RKIMAGE PROFILE [--edits NAME,...] [--seeds FOLDER]

--seeds writes the files as inputs of SaveFuzzer instead.

Every edit of metadata_edits.py is made in every file; what the edit doesn't own has to stay
(media_parts.py). Needs no other program.
"""
import argparse
import concurrent.futures
import fnmatch
import pathlib
import struct
import sys
import tempfile
import zlib

import media_parts
import metadata_edits

BYTE, TEXT, SHORT, LONG, RATIONAL, UNDEFINED = 1, 2, 3, 4, 5, 7
XMP_HEAD = b"http://ns.adobe.com/xap/1.0/\0"
# Edits that a file can't take: it stays as it is. Patterns of files and edits.
REFUSED = [("*.xmp", "icc"), ("*.xmp", "thumbnail"), ("*.xmp", "thumbnail-file"), ("*.xmp", "all"),
           # There is a page where the thumbnail would be.
           ("pages.tif", "thumbnail"), ("pages.tif", "thumbnail-file"), ("pages.tif", "all"),
           # Their pictures can't be decoded.
           ("*.jp2", "thumbnail"), ("*.arw", "thumbnail"), ("old-jpeg.tif", "thumbnail")]
# There is little that exiv2 can write into the format.
MAY_BE_REFUSED = [("*.crw", "*")]

# All but those that undo others.
SEED_EDITS = b"\xff\x0b"


class Blob(bytes):
    """What a tag refers to by its place."""


class Structure:
    """A TIFF structure: every directory is a map from tags to (type, value). A value is a number, a
    list, bytes, a Blob, a list of directories or a function that makes the bytes for a place."""

    def __init__(self, order, chain, magic=42):
        self.order = order
        self.data = bytearray(b"II" if order == "<" else b"MM") + self.pack("HI", magic, 0)
        following = 0
        for directory in reversed(chain):
            following = self.directory(directory, following)
        self.data[4:8] = self.pack("I", following)

    def pack(self, layout, *values):
        return struct.pack(self.order + layout, *values)

    def put(self, value):
        self.data += bytes(len(self.data) % 2)
        place = len(self.data)
        self.data += value(place) if callable(value) else value
        return place

    def directory(self, tags, following=0):
        entries = []
        for tag, (kind, value) in sorted(tags.items()):
            if isinstance(value, Blob):
                value = self.put(value)
            elif isinstance(value, list) and isinstance(value[0], dict):
                # Also of bytes that hold a place.
                value = self.pack("I" * len(value), *(self.directory(child) for child in value))
            if isinstance(value, (int, list)):
                values = value if isinstance(value, list) else [value]
                value = self.pack({BYTE: "B", SHORT: "H"}.get(kind, "I") * len(values), *values)
            if callable(value):
                place = self.put(value)
                size, value = len(self.data) - place, self.pack("I", place)
            else:
                size = len(value)
                value = value.ljust(4, b"\0") if size <= 4 else self.pack("I", self.put(value))
            width = {SHORT: 2, LONG: 4, RATIONAL: 8}.get(kind, 1)
            entries.append(self.pack("HHI", tag, kind, size // width) + value)
        return self.put(self.pack("H", len(entries)) + b"".join(entries) + self.pack("I", following))


def segment(marker, value):
    return struct.pack(">BBH", 0xff, marker, len(value) + 2) + value


# A grey picture of 8x8 pixels: one code for no difference, one for the end of the block.
PIXELS = (segment(0xdb, b"\0" + bytes([1] * 64)) + segment(0xc0, struct.pack(">BHHB", 8, 8, 8, 1)
          + b"\1\x11\0") + segment(0xc4, b"\0\1" + bytes(16)) + segment(0xc4, b"\x10\1" + bytes(16))
          + segment(0xda, b"\1\1\0\0\x3f\0") + b"\x3f\xff\xd9")
JPEG = b"\xff\xd8" + PIXELS


def note(order, head=b""):
    """A maker note whose places count from the start of the structure, with bytes between its values."""
    def make(place):
        first = place + len(head) + 2 + 3 * 12 + 4
        entries = [(0x0006, TEXT, 12), (0x0007, TEXT, 20), (0x0095, UNDEFINED, 9)]
        tags = b"".join(struct.pack(order + "HHII", tag, kind, size, first + 32 * at)
                        for at, (tag, kind, size) in enumerate(entries))
        return head + struct.pack(order + "H", 3) + tags + bytes(4) + bytes(range(65, 65 + 96)) + b"tail"
    return make


def exif(order, make=b"Canon\0", head=b""):
    photo = {0x829a: (RATIONAL, [1, 60]), 0x9000: (UNDEFINED, b"0230"), 0x9003: (TEXT, b"2001:02:03 04:05:06\0"),
             0x927c: (UNDEFINED, note(order, head)), 0x9286: (UNDEFINED, b"ASCII\0\0\0old words"),
             0x9291: (TEXT, b"17\0"), 0xa001: (SHORT, 1), 0xa005: (LONG, [{1: (TEXT, b"R98\0")}]),
             0xfde8: (TEXT, b"Owner's own\0")}
    return {0x010e: (TEXT, b"described\0"), 0x010f: (TEXT, make), 0x0110: (TEXT, b"Model\0"),
             0x0112: (SHORT, 6), 0x011a: (RATIONAL, [72, 1]), 0x0106: (SHORT, 2), 0x9c9b: (BYTE, b"X\0P\0\0\0"),
             0xfdea: (UNDEFINED, bytes(range(24))), 0x8769: (LONG, [photo]),
             0x8825: (LONG, [{0: (BYTE, [2, 3, 0, 0]), 1: (TEXT, b"S\0"), 2: (RATIONAL, [1, 1] * 3),
                              0x1b: (UNDEFINED, b"ASCII\0\0\0GPS")}])}


THUMBNAIL = {0x0103: (SHORT, 6), 0x0201: (LONG, Blob(JPEG)), 0x0202: (LONG, len(JPEG))}


def xmp(extra=""):
    return f"""<?xpacket begin='\ufeff' id='W5M0MpCehiHzreSzNTczkc9d'?>
<x:xmpmeta xmlns:x="adobe:ns:meta/" x:xmptk="Of the test"><rdf:RDF
 xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#"><rdf:Description rdf:about="uuid:17"
 xmlns:dc="http://purl.org/dc/elements/1.1/" xmlns:xmp="http://ns.adobe.com/xap/1.0/"
 xmlns:own="http://example.com/own/" xmlns:Iptc4xmpCore="http://iptc.org/std/Iptc4xmpCore/1.0/xmlns/"
 xmlns:xmpMM="http://ns.adobe.com/xap/1.0/mm/"
 xmlns:stEvt="http://ns.adobe.com/xap/1.0/sType/ResourceEvent#"
 xmlns:exif="http://ns.adobe.com/exif/1.0/" exif:GPSLatitude="51,30.5N" exif:GPSLatitudeRef="N"
 exif:GPSLongitude="0,7.25W" exif:GPSLongitudeRef="W"
 xmlns:xmpNote="http://ns.adobe.com/xmp/note/" own:attribute="yes" xmp:Rating="2" {extra}>
 <dc:title><rdf:Alt><rdf:li xml:lang="x-default">Old</rdf:li><rdf:li xml:lang="de-DE">Alt</rdf:li>
 <rdf:li xml:lang="fr-FR">Vieux é</rdf:li></rdf:Alt></dc:title>
 <dc:description><rdf:Alt><rdf:li xml:lang="x-default">What</rdf:li><rdf:li xml:lang="de-DE">Was</rdf:li>
 </rdf:Alt></dc:description>
 <dc:rights><rdf:Alt><rdf:li xml:lang="x-default">Mine</rdf:li><rdf:li xml:lang="fr">À moi</rdf:li>
 </rdf:Alt></dc:rights>
 <dc:subject><rdf:Bag><rdf:li>one</rdf:li><rdf:li>two</rdf:li></rdf:Bag></dc:subject>
 <own:list><rdf:Seq><rdf:li rdf:parseType="Resource"><own:a>1</own:a><own:b>2</own:b></rdf:li></rdf:Seq>
 </own:list><Iptc4xmpCore:CreatorContactInfo Iptc4xmpCore:CiAdrCity="Ort"/>
 <xmpMM:History><rdf:Seq><rdf:li stEvt:action="saved" stEvt:when="2020-01-01"/></rdf:Seq>
 </xmpMM:History></rdf:Description></rdf:RDF></x:xmpmeta>{" " * 200}<?xpacket end='w'?>""".encode()


def dataset(record, number, value):
    return struct.pack(">BBBH", 0x1c, record, number, len(value)) + value


# Latin-1 without a mark, a time without a zone, an empty and an unknown set.
IPTC = b"".join(dataset(2, number, value) for number, value in (
    (0, b"\0\4"), (5, b"Name"), (25, b"one"), (25, b"two"), (55, b"20010203"), (60, b"131808"),
    (90, b"K\xf6ln"), (120, b"Old"), (135, b""), (231, b""), (240, b"own")))


# What only this one has counts, too.
MORE_IPTC = b"".join(dataset(2, number, value) for number, value in ((0, b"\0\4"), (25, b"three"), (116, b"Mine")))


def resource(number, value, name=b"\0\0"):
    return b"8BIM" + struct.pack(">H", number) + name + struct.pack(">I", len(value)) + value + bytes(len(value) % 2)


def resources(*further):
    return resource(0x03ed, bytes(16)) + resource(0x0404, IPTC) + resource(0x0425, bytes(16)) \
        + resource(0x07d0, b"a path", b"\4Path\0") + resource(0x0404, MORE_IPTC) + b"".join(further)


def mpf(order, offset, size):
    entries = struct.pack(order + "IIIHH", 0x30000, 0, 0, 0, 0) + struct.pack(order + "IIIHH", 0, size, offset, 0, 0)
    return b"MPF\0" + bytes(Structure(order, [{0xb000: (UNDEFINED, b"0100"), 0xb001: (LONG, 2),
                                               0xb002: (UNDEFINED, entries)}]).data)


def jpeg(order, profile, head=b"", make=b"Canon\0"):
    extension = b"<x:xmpmeta xmlns:x='adobe:ns:meta/'>" + b"x" * 900 + b"</x:xmpmeta>"
    guid = b"0123456789ABCDEF0123456789ABCDEF"
    parts = [segment(0xe0, b"JFIF\0\1\1\0\0\1\0\1\0\0"),
             segment(0xe1, b"Exif\0\0" + bytes(Structure(order, [exif(order, make, head), THUMBNAIL]).data)),
             segment(0xe1, XMP_HEAD + xmp(f'xmpNote:HasExtendedXMP="{guid.decode()}"'))]
    parts += [segment(0xe1, b"http://ns.adobe.com/xmp/extension/\0" + guid
                      + struct.pack(">II", len(extension), at) + extension[at:at + 500])
              for at in range(0, len(extension), 500)]
    photoshop = resources()
    parts += [segment(0xed, b"Photoshop 3.0\0" + photoshop[:28]), segment(0xe2, b"FPXR\0own"),
              segment(0xed, b"Photoshop 3.0\0" + photoshop[28:]),
              segment(0xed, b"Photoshop 3.0\0" + resource(0x0404, MORE_IPTC) + resource(0x07d1, b"own"))]
    half = len(profile) // 2
    parts += [segment(0xe2, b"ICC_PROFILE\0" + bytes([at + 1, 2]) + profile[at * half:at * half + half + at])
              for at in range(2)]
    rest = segment(0xee, b"Adobe\0d\0\0\0\0\0") + segment(0xfe, b"a comment") + PIXELS + bytes(7)
    # The second picture's place counts from the byte after "MPF\0".
    parts += [segment(0xe2, mpf(order, len(mpf(order, 0, 0)) - 4 + len(rest), len(JPEG))), rest, JPEG, b"trailer"]
    return b"\xff\xd8" + b"".join(parts)


def chunk(name, value):
    return struct.pack(">I", len(value)) + name + value + struct.pack(">I", zlib.crc32(name + value))


def raw_profile(kind, value):
    text = f"\n{kind}\n{len(value):8}\n{value.hex()}\n".encode()
    return chunk(b"zTXt", f"Raw profile type {kind}\0\0".encode() + zlib.compress(text))


def png(*metadata):
    return b"\x89PNG\r\n\x1a\n" + b"".join((
        chunk(b"IHDR", struct.pack(">IIBBBBB", 8, 8, 8, 0, 0, 0, 0)), *metadata, chunk(b"gAMA", struct.pack(">I", 45455)),
        chunk(b"pHYs", bytes(8) + b"\1"), chunk(b"tEXt", b"Title\0old"), chunk(b"zTXt", b"Author\0\0" + zlib.compress(b"A")),
        chunk(b"iTXt", b"Description\0\1\0de\0\0" + zlib.compress(b"Text")), chunk(b"prVt", b"private"),
        chunk(b"IDAT", zlib.compress(b"\0" * 72)), chunk(b"tIME", b"\x07\xd1\2\3\4\5\6"), chunk(b"IEND", b""), b"after"))


def webp(profile):
    picture = b"VP8L\x0d\0\0\0" + b"\x2f\7\xc0\1\x10\7\x10\x11\x11\x88\x88\xfe\7\0"
    chunks = [(b"VP8X", b"\x2c\0\0\0\7\0\0\7\0\0"), (b"ICCP", profile), None, (b"UNKN", b"private!"),
              (b"EXIF", bytes(Structure("<", [exif("<")]).data)), (b"XMP ", xmp())]
    body = b"".join(picture if item is None else item[0] + struct.pack("<I", len(item[1])) + item[1]
                    + bytes(len(item[1]) % 2) for item in chunks)
    return b"RIFF" + struct.pack("<I", len(body) + 4) + b"WEBP" + body


def box(name, value):
    return struct.pack(">I", len(value) + 8) + name + value


def jp2():
    header = box(b"ihdr", struct.pack(">IIHBBBB", 8, 8, 1, 7, 7, 0, 0)) + box(b"colr", b"\1\0\0\0\0\0\x11") \
        + box(b"res ", box(b"resc", struct.pack(">HHHHBB", 72, 1, 72, 1, 0, 0))) + box(b"cdef", struct.pack(">HHHH", 1, 0, 0, 1))
    uuids = ((b"JpgTiffExif->JP2".hex(), bytes(Structure(">", [exif(">")]).data)),
             *(("33c7a4d2b81d4723a0baf1a3e097ad38", block) for block in (IPTC, MORE_IPTC)), ("be7acfcb97a942e89c71999491e3afac", xmp()),
             ("00112233445566778899aabbccddeeff", b"private"))
    return box(b"jP  ", b"\r\n\x87\n") + box(b"ftyp", b"jp2 \0\0\0\0jp2 ") + box(b"jp2h", header) \
        + b"".join(box(b"uuid", bytes.fromhex(kind) + value) for kind, value in uuids) \
        + box(b"xml ", b"<own/>") + box(b"jp2c", b"\xff\x4f\xff\x51" + bytes(40) + b"\xff\xd9")


def psd():
    held = resources(resource(0x0422, bytes(Structure(">", [exif(">")]).data)), resource(0x0424, xmp()))
    layers = b"layers that nobody reads"
    return b"8BPS\0\1" + bytes(6) + struct.pack(">HIIHH", 1, 8, 8, 8, 1) + bytes(4) + struct.pack(">I", len(held)) + held \
        + struct.pack(">I", len(layers)) + layers + b"\0\0" + bytes(64)


def strip(tags=(), size=64, shade=7):
    return {0x0100: (SHORT, 8), 0x0101: (SHORT, 8), 0x0102: (SHORT, 8), 0x0103: (SHORT, 1), 0x0106: (SHORT, 1),
            0x0111: (LONG, Blob(bytes([shade] * size))), 0x0115: (SHORT, 1), 0x0116: (SHORT, 8),
            0x0117: (LONG, size), **dict(tags)}


def metadata_tags(order):
    return {**exif(order), 0x02bc: (BYTE, xmp()), 0x83bb: (UNDEFINED, IPTC), 0x8649: (BYTE, resources())}


def raw(order, profile):
    """Three directories, further pictures, and a private block that is found by its place in the file."""
    block = {0x7200: (LONG, Blob(bytes(range(100, 180)))), 0x7201: (LONG, 80), 0x7221: (LONG, 0x1234)}
    first = {**strip({0x0103: (SHORT, 7), 0x00fe: (LONG, 1), 0x0111: (LONG, Blob(JPEG)), 0x0117: (LONG, len(JPEG))}),
             **exif(order, b"SONY\0", b"SONY DSC \0\0\0"), 0x02bc: (BYTE, xmp()), 0x8773: (UNDEFINED, profile),
             0x0106: (SHORT, 1), 0x014a: (LONG, [strip({0x00fe: (LONG, 0)}, shade=9)]), 0xc634: (BYTE, [block])}
    return [first, {**THUMBNAIL, 0x00fe: (LONG, 1)}, strip({0x0103: (SHORT, 6), 0x0201: (LONG, Blob(JPEG)), 0x0202: (LONG, len(JPEG))}, shade=5)]


def crw():
    def heap(records):
        data, table = b"", struct.pack("<H", len(records))
        for tag, value in records:
            table += struct.pack("<HII", tag, len(value), len(data))
            data += value
        return data + table + struct.pack("<I", len(data))
    camera = heap([(0x080a, b"Canon\0Test\0".ljust(32, b"\0")), (0x0805, b"words".ljust(64, b"\0"))])
    shot = heap([(0x102d, bytes(range(64))), (0x180e, struct.pack("<III", 1000000000, 0, 0)), (0x1810, struct.pack("<II", 8, 8) + bytes(20))])
    return b"II\x1a\0\0\0HEAPCCDR\2\0\1\0" + bytes(8) + heap([(0x2005, bytes(99)), (0x2008, JPEG), (0x300a, camera + b""), (0x300b, shot)])


def files(profile):
    """All files by name."""
    tiff = lambda order, chain: bytes(Structure(order, chain).data)
    exif_block = tiff(">", [exif(">")])
    old_jpeg = strip({0x0103: (SHORT, 6), 0x0200: (SHORT, 1), 0x0201: (LONG, Blob(JPEG)), 0x0202: (LONG, len(JPEG))})
    icc = chunk(b"iCCP", b"name\0\0" + zlib.compress(profile))
    return {
        "little.jpg": jpeg("<", profile), "big.jpg": jpeg(">", profile, b"OLYMP\0\1\0", b"OLYMPUS\0"),
        "bare.jpg": JPEG,
        "chunks.png": png(icc, chunk(b"eXIf", exif_block), chunk(b"iTXt", b"XML:com.adobe.xmp\0\0\0\0\0" + xmp())),
        "texts.png": png(raw_profile("exif", b"Exif\0\0" + exif_block), raw_profile("iptc", resource(0x0404, IPTC)),
                         raw_profile("iptc", MORE_IPTC)),
        "extended.webp": webp(profile), "boxes.jp2": jp2(), "layers.psd": psd(),
        "pages.tif": tiff("<", [{**metadata_tags("<"), **strip()}, strip(shade=8), strip(shade=9)]),
        "children.tif": tiff(">", [{**metadata_tags(">"), **strip(size=40000), 0x014a: (LONG, [strip({0x00fe: (LONG, 1)}), strip()])}]),
        "old-jpeg.tif": tiff("<", [{**exif("<"), **old_jpeg}]),
        "three.arw": tiff("<", raw("<", profile)), "heap.crw": crw(), "languages.xmp": xmp(),
    }


def listed(file, edit, patterns):
    return any(fnmatch.fnmatch(file, files) and fnmatch.fnmatch(edit, edits) for files, edits in patterns)


def faults(tool, name, edit, folder, originals):
    folder.mkdir()
    for file, data in originals.items():
        (folder / file).write_bytes(data)
    refused = metadata_edits.run(tool, edit, folder, list(originals))
    if "" in refused:
        yield f"{name}: {refused['']}"
    for file, data in originals.items():
        found = list(metadata_edits.differences(name, edit, data, (folder / file).read_bytes(),
                                                refused.get(file), ["Iptc:rest", "8BIM:rest", "*}about"]))
        is_refused = [part for part, *_ in found] == ["refused"]
        if listed(file, name, REFUSED):
            found = [] if is_refused else found + [("refused", "", "no")]
        elif is_refused and listed(file, name, MAY_BE_REFUSED):
            found = []
        for part, one, other in found:
            yield f"{name}: {file}: {part}: {str(one)[:70]} -> {str(other)[:140]}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("paths", nargs=2, type=lambda name: pathlib.Path(name).absolute())
    parser.add_argument("--edits", type=lambda names: names.split(","))
    parser.add_argument("--seeds", type=pathlib.Path)
    options = parser.parse_args()
    tool, profile = options.paths
    originals = files(profile.read_bytes())
    if options.seeds:
        for name, data in originals.items():
            (options.seeds / name).write_bytes(SEED_EDITS + data)
        return 0
    with tempfile.TemporaryDirectory() as scratch, concurrent.futures.ThreadPoolExecutor(2) as pool:
        edits = metadata_edits.edits(pathlib.Path(scratch), profile, options.edits)
        found = [fault for texts in pool.map(lambda name: list(faults(
            tool, name, edits[name], pathlib.Path(scratch) / name, originals)), edits) for fault in texts]
    print("\n".join(found))
    print(f"{len(originals)} files, {len(edits)} edits, {len(found)} faults")
    return 1 if found or not edits else 0


if __name__ == "__main__":
    sys.exit(main())
