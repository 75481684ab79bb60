"""The edits that rkimage can make, what each of them may change in a file, and how to run them."""
import json
import pathlib
import struct
import subprocess
import typing
import zlib

import media_parts

# What belongs to a packet of XMP or a block of IPTC as a whole, as parts and as exiftool's tags.
XMP = ["XmpPacket"]
IPTC = ["Iptc:1:90", "Iptc:2:0", "8BIM:0425"]
IPTC_TAGS = ["IPTC*:CodedCharacterSet", "IPTC*:EnvelopeRecordVersion", "IPTC*:ApplicationRecordVersion",
             "Photoshop:IPTCDigest", "File:CurrentIPTCDigest"]
CONTAINERS = ("JPEG:", "PNG:", "RIFF:", "JP2:", "PSD:")
TITLE = "Xmp:*/1.1/}title:x-default"
PLACE = "Xmp:*/exif/1.0/}GPSLongitude"
COMMENT = "Xmp:*/exif/1.0/}UserComment*"
ORIENTATION = "Xmp:*/tiff/1.0/}Orientation"
REGIONS = "Xmp:*/schemas/regions/}Regions"


class Edit(typing.NamedTuple):
    """Patterns are those of fnmatch."""
    arguments: list
    # The parts and the tags that the edit may change, and those that it may in sidecars, where exiv2's
    # rules turn Exif and IPTC data into XMP.
    parts: list
    tags: list
    sidecar_parts: list = []
    sidecar_tags: list = []
    # The parts of which one has to hold the bytes afterwards, or none with `absent`.
    wanted: list = []
    value: bytes = b""
    absent: bool = False

    def owned(self, before):
        """The patterns of the parts and of the tags that the edit may change in a file."""
        parts, tags = list(self.parts), list(self.tags)
        if all(name.startswith("Xmp") for name in before):
            parts, tags = parts + XMP + self.sidecar_parts, tags + self.sidecar_tags
        kind = before.get("Exif:IFD1:00fe", [b"\0"])[0]
        is_tiff = not any(name.startswith(CONTAINERS) for name in before)
        if is_tiff and "Exif:IFD1:0100" in before and "Exif:IFD1:0201" not in before and not kind[0] & 1:
            # A second page, and no thumbnail.
            parts, tags = ([name for name in names if "IFD1" not in name] for names in (parts, tags))
        return parts, tags

    def is_made(self, parts):
        # A number is one of Exif's or a text.
        values = [self.value] + ([bytes([int(self.value)])] if self.value.isdigit() else [])
        found = any(value in held for name in parts if media_parts.matches(name, self.wanted)
                    for held in parts[name] for value in values)
        return not self.wanted or found != self.absent


def edits(folder, profile, wanted=None):
    """The wanted edits by name, or all; the files that they need are written into the folder."""
    picture, faces = folder / "thumbnail.png", folder / "faces.json"
    rows = b"".join(b"\0" + bytes([8 * y, 0, 0] * 48) for y in range(32))
    picture.write_bytes(b"\x89PNG\r\n\x1a\n" + b"".join(
        struct.pack(">I", len(value)) + name + value + struct.pack(">I", zlib.crc32(name + value))
        for name, value in ((b"IHDR", struct.pack(">IIBBBBB", 48, 32, 8, 2, 0, 0, 0)),
                            (b"IDAT", zlib.compress(rows)), (b"IEND", b""))))
    faces.write_text(json.dumps([{"name": "Anna", "rect": [0.1, 0.2, 0.25, 0.25], "clusterId": 1},
                                 {"name": "Boris", "rect": [0.6, 0.2, 0.25, 0.25], "clusterId": 2}]))
    exif = "Exif:Exif:"
    made = {
        "rating": Edit(["--rating", "4"],
                       XMP + ["Exif:IFD0:4746", "Exif:IFD0:4749", "Xmp:*}Rating"],
                       ["XMP-xmp:Rating", "IFD0:Rating*", "XMP-microsoft:RatingPercent"],
                       wanted=["Exif:IFD0:4746", "Xmp:*/xap/1.0/}Rating"], value=b"4"),
        "title": Edit(["--title", "Grüße 17"],
                      XMP + IPTC + ["Iptc:2:120", "Xmp:*/1.1/}title", TITLE],
                      IPTC_TAGS + ["IPTC*:Caption-Abstract", "XMP-dc:Title"],
                      ["Xmp:*/1.1/}description:x-default"], ["XMP-dc:Description"],
                      ["Iptc:2:120", TITLE], "Grüße 17".encode()),
        "keywords": Edit(["--keywords", "Öl"],
                         XMP + IPTC + ["Iptc:2:25", "Xmp:*/1.1/}subject", "Exif:IFD0:9c9e"],
                         IPTC_TAGS + ["IPTC*:Keywords", "XMP-dc:Subject", "IFD0:XPKeywords"],
                         wanted=["Iptc:2:25", "Xmp:*/1.1/}subject"], value="Öl".encode()),
        "author": Edit(["--author", "Anna Beck"], IPTC + ["Iptc:2:80", "Exif:IFD0:013b"],
                       IPTC_TAGS + ["IPTC*:By-line", "IFD0:Artist"],
                       ["Xmp:*/1.1/}creator", "Xmp:*/tiff/1.0/}Artist"],
                       ["XMP-dc:Creator", "XMP-tiff:Artist"],
                       ["Iptc:2:80", "Exif:IFD0:013b", "Xmp:*/1.1/}creator"], b"Anna Beck"),
        "copyright": Edit(["--copyright", "© Änne"], XMP + ["Exif:IFD0:8298", "Xmp:*/rights/}Owner"],
                          ["IFD0:Copyright", "XMP-xmpRights:Owner"],
                          ["Xmp:*/1.1/}rights:x-default", "Xmp:*/tiff/1.0/}Copyright*"],
                          ["XMP-dc:Rights", "XMP-tiff:Copyright"],
                          ["Exif:IFD0:8298", "Xmp:*/rights/}Owner"], "© Änne".encode()),
        "comment": Edit(["--comment", "Schön hier"], XMP + [exif + "9286", COMMENT],
                        ["ExifIFD:UserComment", "XMP-exif:UserComment"],
                        wanted=[exif + "9286", COMMENT], value=b"n hier"),
        "taken": Edit(["--taken", "2020-02-29T12:34:56"],
                      IPTC + [exif + "9003", exif + "9011", "Iptc:2:55", "Iptc:2:60"],
                      IPTC_TAGS + ["ExifIFD:DateTimeOriginal", "ExifIFD:OffsetTimeOriginal",
                                   "IPTC*:DateCreated", "IPTC*:TimeCreated"],
                      ["Xmp:*/exif/1.0/}DateTimeOriginal", "Xmp:*/photoshop/1.0/}DateCreated"],
                      ["XMP-exif:DateTimeOriginal", "XMP-photoshop:DateCreated"],
                      [exif + "9003", "Xmp:*Date*"], b"34:56"),
        "gps": Edit(["--gps", "48.5,-2.25"], [f"Exif:GPS:000{tag}" for tag in range(5)],
                    ["GPS:GPSL*", "GPS:GPSVersionID"], ["Xmp:*/exif/1.0/}GPSL*", "Xmp:*}GPSVersionID"],
                    ["XMP-exif:GPSL*", "XMP-exif:GPSVersionID"], ["Exif:GPS:0003", PLACE], b"W"),
        "orientation": Edit(["--orientation", "8"], XMP + ["Exif:IFD0:0112", ORIENTATION],
                            ["IFD0:Orientation", "XMP-tiff:Orientation"],
                            wanted=["Exif:IFD0:0112", ORIENTATION], value=b"8"),
        "icc": Edit(["--icc", str(profile)],
                    ["Icc", "Exif:IFD0:013e", "Exif:IFD0:013f", "Exif:IFD0:0211", exif + "a001",
                     "Exif:ExifInterop:0001", "PNG:sRGB", "PNG:gAMA", "PNG:cHRM", "JP2:colr"],
                    ["ICC*:*", "IFD0:WhitePoint", "IFD0:PrimaryChromaticities", "IFD0:YCbCrCoefficients",
                     "ExifIFD:ColorSpace", "InteropIFD:InteropIndex", "PNG:ProfileName",
                     "PNG:SRGBRendering", "PNG:Gamma", "PNG:WhitePoint*", "PNG:Red*", "PNG:Green*",
                     "PNG:Blue*", "Jpeg2000:Color*"],
                    wanted=["Icc"], value=pathlib.Path(profile).read_bytes()),
        "thumbnail-file": Edit(["--thumbnail", str(picture)], ["Exif:IFD1*"], ["IFD1:*"],
                               wanted=["Exif:IFD1:0201"], value=b"\xff\xd8\xff"),
        "faces": Edit(["faces", "set", None, str(faces)], XMP + [REGIONS], ["XMP-mwg-rs:*"],
                      wanted=[REGIONS], value=b"Anna"),
    }
    at_once = [edit for edit in made.values() if edit.arguments[0] != "faces"]
    join = lambda field: [value for edit in at_once for value in getattr(edit, field)]
    made.update({
        "no-taken": made["taken"]._replace(
            arguments=["--taken", ""], parts=made["taken"].parts + XMP + [
                exif + "9291", "Exif:IFD0:9003", *made["taken"].sidecar_parts],
            tags=made["taken"].tags + ["ExifIFD:SubSecTimeOriginal", "IFD0:DateTimeOriginal",
                                       *made["taken"].sidecar_tags],
            wanted=made["taken"].parts[3:] + made["taken"].sidecar_parts, value=b"", absent=True),
        "nothing": Edit(["--remove-keyword", "no such keyword"], [], []),
        "rotate": made["orientation"]._replace(arguments=["--rotate", "cw"], wanted=[]),
        "thumbnail": made["thumbnail-file"]._replace(arguments=["--thumbnail", "auto"]),
        "thumbnail-none": made["thumbnail-file"]._replace(arguments=["--thumbnail", "none"], absent=True),
        "faces-remove": made["faces"]._replace(arguments=["faces", "remove", None], absent=True),
        "all": Edit(*map(join, Edit._fields[:5])),
    })
    return {name: edit if edit.arguments[:1] == ["faces"] else
            edit._replace(arguments=["set", *edit.arguments]) for name, edit in made.items()
            if name in (wanted or made)}


def run(tool, edit, folder, names):
    """Makes the edit in files of the folder; what the tool says of those that it refused, and under ""
    what it says of itself."""
    calls = [[tool, *edit.arguments, *names]]
    if None in edit.arguments:
        calls = [[tool, *(argument or name for argument in edit.arguments)] for name in names]
    refused = {}
    for call in calls:
        done = subprocess.run(call, cwd=folder, check=False, capture_output=True, text=True, timeout=900)
        told = {name: line[len(name) + 11:].replace(f"{folder}/", "") for line in done.stderr.splitlines() for name in names
                if line.startswith(f"rkimage: {name}: ")}
        refused.update(told)
        if done.returncode != bool(told):
            refused[""] = f"exit code {done.returncode}: {done.stderr[-300:]}"
    return refused


def differences(name, edit, before, after, refusal, added):
    """(part, before, after) of everything that isn't as it has to be after the edit: before and after
    are a file's bytes. `added` are patterns of parts that come with a new block of metadata."""
    if refusal:
        yield "refused", "", refusal
    if refusal or name == "nothing":
        if before != after:
            yield "bytes", "", "changed"
        return
    old, new = media_parts.parts(before), media_parts.parts(after)
    if not edit.is_made(new):
        yield "not made", "", ""
    for part, one, other in media_parts.differences(old, new, edit.owned(old)[0]):
        if one != "absent" or not media_parts.matches(part, added):
            yield part, one, other
