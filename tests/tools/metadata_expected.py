"""Compares what `rkimage info --json` tells of the samples with facts that other tools measured.

Usage: metadata_expected.py RKIMAGE SAMPLES EXCEPTIONS [FILE...]

EXCEPTIONS is a JSON file: groups of differences, each with its reason and a map from sample to the
facts that differ. One that does not occur is a failure too, unless it is marked with "?": it depends
on the decoders that are installed. Videos are left out.

Exit code 77, for "skipped", without samples.
"""
import json
import os
import pathlib
import re
import subprocess
import sys

BATCH = 100


def flat(text):
    return re.sub(r"\s+", " ", str(text)).strip()


def date(text):
    """Without sub-seconds and zone: Exif has local time."""
    found = re.match(r"(\d{4}).(\d\d).(\d\d)[ T](\d\d:\d\d:\d\d)", text or "")
    return "{}-{}-{}T{}".format(*found.groups()) if found else None


def listed(value):
    return ", ".join(str(part) for part in value) if isinstance(value, list) else value


def comparisons(entry, told):
    """Each fact as measured and as told; None where there is none."""
    fields = told.get("fields", {})
    get = lambda name: entry.get("xmp", {}).get(name) if name not in entry else entry[name]
    if "size" in entry:
        yield "size", entry["size"], told.get("unrotatedSize")
    yield "orientation", entry.get("orientation", 0), told.get("orientation", 0)
    # A photograph's date; others have it from XMP and IPTC alone.
    yield "date", date(get("dto")), date(told.get("pictureTaken"))
    place = told.get("geoPosition")
    yield "gps", [round(angle, 3) for angle in entry["gps"]] if "gps" in entry else None, (
        [round(place[name], 3) for name in ("latitude", "longitude")] if place else None)
    for fact, field in (("make", "exifMake"), ("model", "exifModel"), ("artist", "author"),
                        ("copyright", "copyright")):
        if fact in entry:
            yield fact, flat(entry[fact]), flat(fields.get(field, ""))
    if "rating" in entry:
        yield "rating", min(5, max(0, int(float(entry["rating"])))), told.get("adobeRating")
    keywords = entry.get("keywords") or entry.get("subject")
    if keywords:
        yield "keywords", flat(listed(keywords)), flat(fields.get("keywords", ""))
    yield "icc", "icc" in entry or "icc_space" in entry, told.get("iccBytes", 0) > 0
    yield "thumbnail", entry.get("thumb", {}).get("size"), told.get("thumbnail")
    faces = [(region.get("Name", ""), *(round(area, 3) for area in (
        region["Area"]["X"] - region["Area"]["W"] / 2, region["Area"]["Y"] - region["Area"]["H"] / 2,
        region["Area"]["W"], region["Area"]["H"])))
             for region in entry.get("regions", {}).get("RegionList", [])
             if region.get("Type") == "Face" and {"X", "Y", "W", "H"} <= set(region.get("Area", {}))]
    yield "faces", faces, [(face["name"], *(round(side, 3) for side in face["rect"]))
                           for face in told.get("faces", []) if face["xmpRegionIndex"] >= 0]


def main():
    tool, samples, exceptions_file = (pathlib.Path(argument).absolute() for argument in sys.argv[1:4])
    if not samples.is_dir():
        print("skipped: the samples are missing")
        return 77
    expected = json.loads((samples / "expected.json").read_text(encoding="utf-8"))
    names = [name for name, entry in expected.items()
             if not name.startswith(("_", "broken/", "video/")) and "video" not in entry
             and (name in sys.argv[4:] or not sys.argv[4:])]
    reasons = {}
    for group in json.loads(exceptions_file.read_text(encoding="utf-8")):
        for name, facts in group["files"].items():
            reasons.update({(name, fact.rstrip("?")): fact.endswith("?") for fact in facts.split()})

    told = {}
    for start in range(0, len(names), BATCH):
        output = subprocess.run([tool, "info", "--json", *names[start:start + BATCH]], cwd=samples,
                                capture_output=True, check=False, timeout=600,
                                env={**os.environ, "TZ": "UTC"}).stdout
        told.update({entry["file"]: entry for entry in json.loads(output)})

    different, faults = set(), []
    for name in names:
        if "size" not in told[name] and told[name]["reason"] in ("unknownFormat", "noDecoder"):
            continue
        for fact, measured, own in comparisons(expected[name], told[name]):
            if measured != own:
                different.add((name, fact))
                if (name, fact) not in reasons:
                    faults.append(f"{name}: {fact}: {measured!r} expected, {own!r} told")
    faults += [f"{name}: {fact}: listed as different, but is not"
               for name, fact in sorted(set(reasons) - different)
               if name in names and not reasons[name, fact]]
    print("\n".join(faults))
    print(f"{len(names)} files, {len(different)} differences, {len(faults)} faults")
    return 1 if faults or not names else 0


sys.exit(main())
