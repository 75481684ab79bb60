"""Sets a rating in every writable sample and checks with exiftool that nothing else has changed.

Usage: metadata_roundtrip.py RKIMAGE SAMPLES EXCEPTIONS [FILE...]

The rating must be there, every other tag as before, and the image data and the maker note the same,
byte for byte. EXCEPTIONS is a JSON file: "moved" are patterns of tags that are places in the file,
"added" of those that come with a new block of metadata, and "files" are the samples that differ,
each with its reason and with patterns of the tags ("payload" for image data and maker note,
"refused" where the rating cannot be stored). An exception that does not happen is a failure too.

Exit code 77, for "skipped", without samples or exiftool.
"""
import fnmatch
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

RATING = "4"
STARS = ("XMP-xmp:Rating", "IFD0:Rating")
# What the rating itself changes.
CHANGED = STARS + ("IFD0:RatingPercent", "XMP-microsoft:RatingPercent")
# Of exiftool, which expects no slash at the end of the namespace.
ADDED_WARNING = "[minor] Fixed incorrect URI for xmlns:MicrosoftPhoto"
# By content, as exiftool names it.
WRITABLE = {"JPEG", "PNG", "APNG", "WEBP", "PSD", "JP2", "TIFF", "DNG", "NEF", "PEF", "ARW", "SR2",
            "SRW", "CR2", "ORF", "CRW", "XMP", "EXV", "EPS", "PGF"}
SKIPPED_FOLDERS = ("broken/", "video/")


def exiftool(folder, names):
    """The tags of each file, from "Group:Tag" to the texts of all tags of that name."""
    listing = subprocess.run(
        ["exiftool", "-q", "-q", "-a", "-u", "-e", "-G1:4", "-j", "-x", "System:all", "-@", "-"],
        cwd=folder, input="\n".join(names), capture_output=True, text=True, check=False).stdout
    files = {}
    for entry in json.loads(listing):
        tags = files.setdefault(entry.pop("SourceFile"), {})
        for name, value in entry.items():
            # Repeated names are numbered in all groups together ("IFD0:Copy1:Rating").
            if value != ADDED_WARNING:
                tags.setdefault(re.sub(r":Copy\d+:", ":", name), []).append(str(value))
    return files


def number(data, at, size, order):
    return int.from_bytes(data[at:at + size], order)


def tiff_payload(data):
    """The pixels, previews and maker notes that the directories of a TIFF structure refer to."""
    order = "little" if data[:2] == b"II" else "big"
    found, seen, queue = [], set(), [number(data, 4, 4, order)]
    while queue:
        start = queue.pop(0)
        if start in seen or not 8 <= start < len(data) - 2:
            continue
        seen.add(start)
        tags = {}
        count = number(data, start, 2, order)
        for at in range(start + 2, start + 2 + 12 * count, 12):
            width = {1: 1, 2: 1, 3: 2, 4: 4, 7: 1, 13: 4}.get(number(data, at + 2, 2, order), 0)
            size = width * number(data, at + 4, 4, order)
            place = at + 8 if size <= 4 else number(data, at + 8, 4, order)
            tags[number(data, at, 2, order)] = data[place:place + size], width
        numbers = lambda tag: [number(raw, i, width, order) for raw, width in [tags.get(tag, (b"", 1))]
                               for i in range(0, len(raw), width or 1)]
        for offsets, sizes in ((0x111, 0x117), (0x144, 0x145), (0x201, 0x202)):
            # What reaches beyond the end of a file that is cut off is not there.
            found += [data[place:place + size] for place, size in zip(numbers(offsets), numbers(sizes))
                      if place + size <= len(data)]
        found.append(tags.get(0x927c, (b"", 0))[0])
        queue += numbers(0x14a) + numbers(0x8769) + [number(data, start + 2 + 12 * count, 4, order)]
    return [piece for piece in found if piece]


def matches(tag, patterns):
    return any(fnmatch.fnmatch(tag, pattern) for pattern in patterns)


def boxes(data, at, order, header):
    """Names and contents of chunks; `header` tells where a chunk's length, name and content are."""
    while at + 8 <= len(data):
        size = number(data, at + header[0], 4, order)
        if size < header[2]:
            size = len(data)  # JPEG 2000: up to the end.
        yield data[at + header[1]:at + header[1] + 4], data[at + 8:at + 8 + size - header[2]]
        at += header[3] + size + (size & header[4])


def payload(data):
    """What has to stay the same, byte for byte."""
    if data[:2] == b"\xff\xd8":
        at, exif = 2, []
        while at + 4 <= len(data) and data[at + 1] != 0xda:
            size = number(data, at + 2, 2, "big")
            if data[at + 4:at + 10] == b"Exif\0\0":
                exif += tiff_payload(data[at + 10:at + 2 + size])
            at += 2 + size
        return exif + [data[at:]]
    if data[:4] == b"\x89PNG":
        return [content for name, content in boxes(data, 8, "big", (0, 4, 0, 12, 0))
                if name in (b"IDAT", b"fdAT", b"PLTE", b"tRNS")]
    if data[:4] == b"RIFF":
        return [content for name, content in boxes(data, 12, "little", (4, 0, 0, 8, 1))
                if name in (b"VP8 ", b"VP8L", b"ALPH", b"ANMF")]
    if data[4:8] == b"jP  ":
        return [content for name, content in boxes(data, 0, "big", (0, 4, 8, 0, 0)) if name == b"jp2c"]
    if data[:4] == b"8BPS":
        at = 26
        for _ in range(2):
            at += 4 + number(data, at, 4, "big")
        return [data[at:]]
    return tiff_payload(data) if data[:4] in (b"II*\0", b"MM\0*") else []


def differences(before, after, exceptions):
    found = []
    for tag in sorted(set(before) | set(after)):
        allowed = CHANGED + tuple(exceptions["moved"])
        if set(before.get(tag, [])) <= set(after.get(tag, [])):
            allowed += tuple(exceptions["added"])
        if before.get(tag) != after.get(tag) and not matches(tag, allowed):
            found.append((tag, before.get(tag, "absent"), after.get(tag, "absent")))
    return found


def main():
    tool, samples, exceptions_file = (pathlib.Path(argument).absolute() for argument in sys.argv[1:4])
    if not samples.is_dir() or not shutil.which("exiftool"):
        print("skipped: the samples or exiftool are missing")
        return 77
    exceptions = json.loads(exceptions_file.read_text(encoding="utf-8"))
    wanted = sys.argv[4:]
    names = [path.relative_to(samples).as_posix() for path in sorted(samples.rglob("*"))
             if path.is_file() and path.parent != samples]
    names = [name for name in names
             if not name.startswith(SKIPPED_FOLDERS) and (name in wanted or not wanted)]
    before = exiftool(samples, names)
    names = [name for name in names if WRITABLE.intersection(before.get(name, {}).get("File:FileType", []))]

    faults = []
    with tempfile.TemporaryDirectory() as scratch:
        copies = pathlib.Path(scratch)
        for name in names:
            (copies / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(samples / name, copies / name)
        subprocess.run([tool, "set", "--rating", RATING, *names], cwd=copies, check=False,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=600)
        after = exiftool(copies, names)
        for name in names:
            known = exceptions["files"].get(name, {"tags": []})
            old, new = (folder.joinpath(name).read_bytes() for folder in (samples, copies))
            if not any(RATING in after[name].get(tag, []) for tag in STARS):
                found = [("refused", "", "")]
                if old != new:
                    found.append(("changed without its rating", "", ""))
            else:
                found = differences(before[name], after[name], exceptions)
                remaining = payload(new)
                if not all(piece in remaining for piece in payload(old)):
                    found.append(("payload", "", "changed"))
            faults += [f"{name}: {tag}: expected to differ, but does not" for tag in known["tags"]
                       if not any(matches(fault[0], [tag]) for fault in found)]
            faults += [f"{name}: {tag}: {str(one)[:60]!r} -> {str(other)[:60]!r}"
                       for tag, one, other in found if not matches(tag, known["tags"])]
    print("\n".join(faults))
    print(f"{len(names)} files, {len(exceptions['files'])} exceptions, {len(faults)} faults")
    return 1 if faults or not names else 0


sys.exit(main())
