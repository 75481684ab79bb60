"""Takes image files apart, to compare what they hold with what they held before an edit.

parts() gives the bytes of everything in a file under names that say what they are, not where:
"Exif:IFD0:010f" is a tag's value, "Iptc:2:120" a data set, "Xmp:NAMESPACE:title:de" a property,
"Icc" the profile, "JPEG:scan", "PNG:IDAT", "RIFF:VP8 ", "JP2:jp2c", "PSD:layers" the rest. Values that
are places in the file stand for what lies there. Shares nothing with the library's own readers.
"""
import fnmatch
import re
import struct
import xml.etree.ElementTree
import zlib

WIDTHS = {1: 1, 2: 1, 3: 2, 4: 4, 5: 4, 6: 1, 7: 1, 8: 2, 9: 4, 10: 4, 11: 4, 12: 8, 13: 4}
# Tags that hold places, by the tags that hold the sizes of what lies there.
PLACES = {0x111: 0x117, 0x144: 0x145, 0x201: 0x202, 0x7200: 0x7201}
DIRECTORIES = {0x14a: "Sub", 0x8769: "Exif", 0x8825: "GPS", 0xa005: "Interop", 0xc634: "Private"}
# Headers of maker notes that are directories with places of the whole structure.
NOTES = (b"SONY DSC \0\0\0", b"SONY CAM \0\0\0", b"Panasonic\0\0\0", b"OLYMP\0\1\0", b"AOC\0MM", b"")
XMP_MARK = b"http://ns.adobe.com/xap/1.0/\0"
EXTENSION_MARK = b"http://ns.adobe.com/xmp/extension/\0"
UUIDS = {"4a706754": "exif", "33c7a4d2": "iptc", "be7acfcb": "xmp"}
RDF = "{http://www.w3.org/1999/02/22-rdf-syntax-ns#}"
LANGUAGE = "{http://www.w3.org/XML/1998/namespace}lang"


class Parts(dict):
    """From names to the values of that name; `cut` has the names of those beyond the file's end."""

    def __init__(self):
        super().__init__()
        self.cut = set()

    def add(self, name, value):
        self.setdefault(name, []).append(bytes(value))

    def tiff(self, data, name="Exif"):
        Tiff(data, self, name)

    def xmp(self, packet):
        self.add("XmpPacket", packet)
        try:
            text = re.sub(r"^\W*<\?xpacket[^>]*\?>|<\?xpacket end.*", "", text_of(packet), flags=re.S)
            root = xml.etree.ElementTree.fromstring(text.strip("\0\ufeff \r\n\t"))
        except (xml.etree.ElementTree.ParseError, ValueError):
            return
        for description in root.iter(RDF + "Description"):
            if description not in [item for rdf in root.iter(RDF + "RDF") for item in rdf]:
                continue
            for key, value in description.attrib.items():
                if key != RDF + "about" or "Xmp:" + key not in self:
                    self.add("Xmp:" + key, value.encode())
            for element in description:
                items = element.findall(f"{RDF}Alt/{RDF}li")
                for item in items if any(LANGUAGE in item.attrib for item in items) else ():
                    self.add(f"Xmp:{element.tag}:{item.get(LANGUAGE)}", (item.text or "").encode())
                if not items or LANGUAGE not in items[0].attrib:
                    self.add("Xmp:" + element.tag, canonical(element))

    def iptc(self, data):
        at = 0
        while at + 5 <= len(data) and data[at] == 0x1c:
            size = number(data, at + 3, 2)
            if size & 0x8000:  # Extended: the length of the length.
                break
            value = data[at + 5:at + 5 + size]
            # The mark of UTF-8 may come with an edit; texts stay what they were.
            self.add(f"Iptc:{data[at + 1]}:{data[at + 2]}",
                     value if data[at + 1] == 1 else text_of(value).encode())
            at += 5 + size
        self.rest("Iptc:rest", data[at:])

    def resources(self, data):
        """Of Photoshop."""
        at = 0
        while at + 12 <= len(data) and data[at:at + 4] in (b"8BIM", b"MeSa", b"AgHg", b"PHUT", b"DCSR"):
            name = at + 6
            start = name + (data[name] + 2) // 2 * 2
            size = number(data, start, 4)
            value = data[start + 4:start + 4 + size]
            kind = number(data, at + 4, 2)
            known = {0x404: self.iptc, 0x40f: lambda icc: self.add("Icc", icc), 0x422: self.tiff,
                     0x424: self.xmp}.get(kind)
            if known:
                known(value)
            else:
                self.add(f"8BIM:{kind:04x}", value)
            at = start + 4 + (size + 1) // 2 * 2
        self.rest("8BIM:rest", data[at:])

    def rest(self, name, value):
        if value.strip(b"\0"):
            self.add(name, value)


def number(data, at, size, order="big"):
    return int.from_bytes(data[at:at + size], order)


def text_of(data):
    if data[:2] in (b"\xff\xfe", b"\xfe\xff") or b"\0<" in data[:8] or b"<\0" in data[:8]:
        little = data[:1] == b"\xff" or data[:2] == b"<\0"
        return data.decode("utf-16-le" if little else "utf-16-be", "replace")
    try:
        return data.decode()
    except UnicodeDecodeError:
        return data.decode("latin-1")


def canonical(element):
    """A property without what its spelling leaves open."""
    if not len(element) and not element.attrib:
        return (element.text or "").encode()
    fields = sorted(canonical(child) for child in element) if element.tag.endswith("}Bag") \
        else [canonical(child) for child in element]
    attributes = sorted(f"{key}={value}".encode() for key, value in element.attrib.items())
    return b"<%s %s>" % (element.tag.encode(), b" ".join(attributes)) \
        + ((element.text or "") if not fields else "").encode() + b"".join(fields)


class Tiff:
    """Adds the tags of all directories of a TIFF structure."""

    def __init__(self, data, parts, name):
        self.data, self.parts, self.seen = data, parts, set()
        self.order = "little" if data[:2] == b"II" else "big"
        start, count = number(data, 4, 4, self.order), 0
        while self.directory(start, f"{name}:IFD{count}"):
            start = self.next_of(start)
            count += 1

    def next_of(self, start):
        return number(self.data, start + 2 + 12 * number(self.data, start, 2, self.order), 4, self.order)

    def tags_of(self, start):
        """By number, the type and the value's place and size."""
        for at in range(start + 2, start + 2 + 12 * number(self.data, start, 2, self.order), 12):
            kind = number(self.data, at + 2, 2, self.order)
            size = number(self.data, at + 4, 4, self.order) * WIDTHS.get(kind, 1) \
                * (2 if kind in (5, 10) else 1)
            place = at + 8 if size <= 4 else number(self.data, at + 8, 4, self.order)
            yield number(self.data, at, 2, self.order), kind, place, size

    def directory(self, start, name):
        if start in self.seen or not 8 <= start < len(self.data) - 2:
            return False
        self.seen.add(start)
        tags = list(self.tags_of(start))
        values = {tag: self.numbers(kind, self.data[place:place + size])
                  for tag, kind, place, size in tags if size < 1 << 20}
        for tag, kind, place, size in tags:
            value = self.data[place:place + size]
            label = f"{name}:{tag:04x}"
            self.check(label, place + size)
            if tag in DIRECTORIES and (tag != 0xc634 or (size == 4 and value != bytes(4))):
                places = self.numbers(4, value)
                for index, target in enumerate(places):
                    self.directory(target, name.replace("IFD0", "") + DIRECTORIES[tag]
                                   + (str(index) if tag == 0x14a else ""))
            elif tag in PLACES and len(values.get(PLACES[tag], ())) == len(values.get(tag, "-")):
                for at, length in zip(values[tag], values[PLACES[tag]]):
                    self.parts.add(label, self.data[at:at + length])
                    self.check(label, at + length)
            elif tag == 0x927c:
                self.note(place, value, label)
            elif tag == 0x2bc:
                self.parts.xmp(value)
            elif tag == 0x83bb:
                self.parts.iptc(value)
            elif tag == 0x8649:
                self.parts.resources(value)
            elif tag == 0x8773:
                self.parts.add("Icc", value)
            else:
                self.parts.add(label, self.little(kind, value))
        return True

    def check(self, label, end):
        if end > len(self.data):
            self.parts.cut.add(label)

    def little(self, kind, value):
        """A value in the little-endian order: the block's own may change when it is written anew."""
        width = WIDTHS.get(kind, 1)
        if self.order == "little" or width == 1:
            return value
        return b"".join(value[at:at + width][::-1] for at in range(0, len(value), width))

    def numbers(self, kind, value):
        width = WIDTHS.get(kind, 1)
        return [number(value, at, width, self.order) for at in range(0, len(value), width)]

    def note(self, place, value, label):
        """The maker note's bytes, and what its places in the structure lead to."""
        self.parts.add(label, value)
        header = next(header for header in NOTES if value.startswith(header))
        start = place + len(header)
        if 0 < number(self.data, start, 2, self.order) < 200:
            for tag, kind, at, size in self.tags_of(start):
                if kind in WIDTHS and 4 < size < 1 << 16 and place <= at <= place + len(value) - size:
                    self.parts.add(f"{label}:{tag:04x}", self.data[at:at + size])


def jpeg(data, parts):
    at, iccs, resources, extensions = 2, {}, b"", {}
    while at + 4 <= len(data) and data[at] == 0xff and data[at + 1] != 0xda:
        size = number(data, at + 2, 2)
        value = data[at + 4:at + 2 + size]
        if value.startswith(b"Exif\0\0") and data[at + 1] == 0xe1:
            parts.tiff(value[6:])
        elif value.startswith(XMP_MARK):
            parts.xmp(value[len(XMP_MARK):])
        elif value.startswith(EXTENSION_MARK):
            extensions.setdefault(value[35:67], {})[number(value, 71, 4)] = value[75:]
        elif value.startswith(b"ICC_PROFILE\0") and data[at + 1] == 0xe2:
            iccs[value[12]] = value[14:]
        elif value.startswith(b"Photoshop 3.0\0"):
            resources += value[14:]
        elif value.startswith(b"MPF\0"):
            pictures(data, at + 8, parts)
        else:
            parts.add(f"JPEG:{data[at + 1]:02x}", value)
        at += 2 + size
    parts.add("JPEG:scan", data[at:])
    if iccs:
        parts.add("Icc", b"".join(iccs[key] for key in sorted(iccs)))
    parts.resources(resources)
    for name, pieces in extensions.items():
        parts.add("XmpExtended:" + name.decode("latin-1"), b"".join(pieces[key] for key in sorted(pieces)))


def pictures(data, start, parts):
    """Of a multi-picture file (CIPA DC-007): places count from the header at `start`."""
    tiff = Tiff(data[start:], Parts(), "MPF")
    for tag, _, place, size in tiff.tags_of(number(data, start + 4, 4, tiff.order)):
        for at in range(start + place, start + place + size, 16) if tag == 0xb002 else ():
            length, offset = (number(data, at + shift, 4, tiff.order) for shift in (4, 8))
            # The first one is the file's own, of which the end has to be found.
            parts.add("MPF:picture", data[start + offset:start + offset + length] if offset
                      else data[length - 2:length])


def boxes(data, at, order, size_at, name_at, header, extra):
    """Names and contents of chunks; `size_at` and `name_at` are in the header of eight bytes."""
    while at + 8 <= len(data):
        size = number(data, at + size_at, 4, order) - header
        start = at + 8
        if header == 8 and size == -7:
            size, start = number(data, at + 8, 8, order) - 16, at + 16
        if size < 0:
            size = len(data) - start  # JPEG 2000: up to the end.
        yield data[at + name_at:at + name_at + 4], data[start:start + size]
        at = start + size + (extra if extra > 1 else size & extra)


def png(data, parts):
    for name, value in boxes(data, 8, "big", 0, 4, 0, 4):
        key, _, text = value.partition(b"\0")
        if name == b"eXIf":
            parts.tiff(value)
        elif name == b"iCCP":
            parts.add("Icc", zlib.decompressobj().decompress(text[1:]))
        elif name == b"iTXt" and key == b"XML:com.adobe.xmp":
            packet = text[2:].split(b"\0", 2)[2]
            parts.xmp(zlib.decompress(packet) if text[0] else packet)
        elif key.startswith(b"Raw profile type "):
            text = zlib.decompress(text[1:]) if name == b"zTXt" else text
            try:
                raw = bytes.fromhex("".join(text.decode("latin-1").split("\n")[3:]))
            except ValueError:
                raw = b""
            if raw.startswith(b"Exif\0\0"):
                parts.tiff(raw[6:])
            elif key.endswith(b"iptc"):
                (parts.resources if raw.startswith(b"8BIM") else parts.iptc)(raw)
            elif key.endswith(b"xmp"):
                parts.xmp(raw)
            else:
                parts.add("PNG:" + key.decode("latin-1"), raw or value)
        else:
            parts.add("PNG:" + name.decode("latin-1"), value)


def webp(data, parts):
    for name, value in boxes(data, 12, "little", 4, 0, 0, 1):
        if name == b"EXIF":
            parts.tiff(value[6:] if value.startswith(b"Exif") else value)
        elif name == b"XMP ":
            parts.xmp(value)
        elif name == b"ICCP":
            parts.add("Icc", value)
        else:
            flags = bytes([value[0] & ~0x2c]) if name == b"VP8X" else value[:1]
            parts.add("RIFF:" + name.decode("latin-1"), flags + value[1:])


def jp2(data, parts):
    for name, value in boxes(data, 0, "big", 0, 4, 8, 0):
        kind = UUIDS.get(value[:4].hex()) if name == b"uuid" else None
        if name == b"jp2h":
            jp2(value, parts)
        elif kind:
            value = value[16:]
            value = value[6:] if value.startswith(b"Exif\0\0") else value
            {"exif": parts.tiff, "iptc": parts.iptc, "xmp": parts.xmp}[kind](value)
        elif name == b"colr" and value[0] in (2, 3):
            parts.add("Icc", value[3:])
        else:
            parts.add("JP2:" + name.decode("latin-1"), value)


def psd(data, parts):
    parts.add("PSD:header", data[:26])
    colors = 30 + number(data, 26, 4)
    parts.add("PSD:colors", data[30:colors])
    layers = colors + 4 + number(data, colors, 4)
    parts.resources(data[colors + 4:layers])
    parts.add("PSD:layers", data[layers:])


def crw(data, parts, start=None, end=None):
    """The tree of a CIFF heap."""
    start = number(data, 2, 4, "little") if start is None else start
    end = len(data) if end is None else end
    table = start + number(data, end - 4, 4, "little")
    for at in range(table + 2, table + 2 + 10 * number(data, table, 2, "little"), 10):
        tag, size, place = struct.unpack_from("<HII", data, at)
        if tag & 0xc000:
            value = data[at + 2:at + 10]
        else:
            value = data[start + place:start + place + size]
            if tag & 0x3800 in (0x2800, 0x3000):
                crw(data, parts, start + place, start + place + size)
                continue
        parts.add(f"CRW:{tag:04x}", value)


def parts(data):
    found = Parts()
    if data[:2] == b"\xff\xd8" or data[2:7] == b"Exiv2":
        jpeg(data if data[0] == 0xff else b"\xff\xd8" + data[7:], found)
    elif data[:4] == b"\x89PNG":
        png(data, found)
    elif data[:4] == b"RIFF":
        webp(data, found)
    elif data[4:8] == b"jP  ":
        jp2(data, found)
    elif data[:6] == b"8BPS\0\1":
        psd(data, found)
    elif data[6:14] == b"HEAPCCDR":
        crw(data, found)
    elif data[:2] in (b"II", b"MM") and data[2:4].strip(b"\0") in (b"*", b"RO", b"OR", b"RS", b"U"):
        found.tiff(data)
    elif b"<" in data[:8]:
        found.xmp(data)
    else:
        found.add("file", data)
    return found


def matches(name, patterns):
    return any(fnmatch.fnmatchcase(name, pattern) for pattern in patterns)


def differences(before, after, owned):
    """The names in both maps whose values differ and match none of the patterns, with the values."""
    return [(name, before.get(name, "absent"), after.get(name, "absent"))
            for name in sorted(set(before) | set(after))
            if before.get(name) != after.get(name) and name not in getattr(before, "cut", ())
            and not matches(name, owned)]
