"""Makes every kind of edit in every writable sample and checks that nothing else has changed.

Usage: metadata_roundtrip.py RKIMAGE SAMPLES PROFILE EXCEPTIONS [--subset] [--verbose] [--edits NAME,...]
       [FILE...]

The edit must be readable afterwards, and every other tag that exiftool lists and every part of the file
(media_parts.py) as before; "nothing" leaves the bytes, as does an edit that is refused. ffmpeg must see
the same picture after all edits at once. EXCEPTIONS is a JSON file: "moved" are patterns of tags that
are places in the file, "added" of tags and parts that come with a new block of metadata; "cases" are
what else differs, each with its reason and with patterns of files, edits, and tags or parts ("refused":
the edit was; "why" is a pattern of the reason). A pattern that matches nothing is a failure too.

--subset takes the smallest file of every format and camera maker only.
Exit code 77, for "skipped", without samples or exiftool.
"""
import argparse
import concurrent.futures
import fnmatch
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

import media_parts
import metadata_edits

# Of exiftool: it expects no slash at the end of the namespace; the digest says whose texts are newer.
ADDED_WARNINGS = ("[minor] Fixed incorrect URI for xmlns:MicrosoftPhoto",
                  "IPTCDigest is not current. XMP may be out of sync")
# By content, as exiftool names it.
WRITABLE = {"JPEG", "PNG", "APNG", "WEBP", "Extended WEBP", "PSD", "JP2", "TIFF", "DNG", "NEF", "PEF",
            "ARW", "SR2", "SRW", "CR2", "ORF", "CRW", "XMP", "EXV", "EPS", "PGF"}
SKIPPED_FOLDERS = ("broken/", "video/")
SHOWN = 5


def exiftool(folder, names, *wanted):
    """The tags of each file, from "Group:Tag" to the texts of all tags of that name. What it says of a
    file may depend on the files before it."""
    listing = subprocess.run(
        ["exiftool", "-q", "-q", "-a", "-u", "-e", "-G1:4", "-j", "-x", "System:all", *wanted, "-@", "-"],
        cwd=folder, input="\n".join(names), capture_output=True, text=True, check=False).stdout
    files = {}
    for entry in json.loads(listing):
        tags = files.setdefault(entry.pop("SourceFile"), {})
        for name, value in entry.items():
            # Repeated names are numbered in all groups together ("IFD0:Copy1:Rating").
            if value not in ADDED_WARNINGS:
                tags.setdefault(re.sub(r":Copy\d+:", ":", name), []).append(str(value))
    return files


def picture(path):
    """A checksum of what ffmpeg decodes; empty where it can't."""
    return subprocess.run(["ffmpeg", "-v", "quiet", "-noautorotate", "-i", path, "-map", "0:v:0", "-f",
                           "md5", "-"], check=False, capture_output=True, stdin=subprocess.DEVNULL).stdout


class Roundtrip:
    def __init__(self, tool, samples, exceptions, names, is_subset):
        self.tool, self.samples, self.exceptions = tool, samples, exceptions
        kinds = {name: (*tags.get("File:FileType", []), *tags.get("IFD0:Make", [])) for name, tags
                 in exiftool(samples, names, "-FileType", "-Make").items()}
        names = sorted((name for name in names if WRITABLE.intersection(kinds.get(name, ()))),
                       key=lambda name: (samples / name).stat().st_size, reverse=True)
        self.names = sorted({kinds[name]: name for name in names}.values() if is_subset else names)
        self.tags = exiftool(samples, self.names)
        self.hits = set()

    def differences(self, edit_name, edit, folder):
        """(file, tag or part, before, after) of what isn't as it has to be after the edit."""
        for name in self.names:
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(self.samples / name, folder / name)
        refused = metadata_edits.run(self.tool, edit, folder, self.names)
        if "" in refused:
            yield "", "tool", "", refused[""]
        tags = exiftool(folder, self.names)
        added = self.exceptions["added"]
        for name in self.names:
            old, new = (root.joinpath(name).read_bytes() for root in (self.samples, folder))
            for found in metadata_edits.differences(
                    edit_name, edit, old, new, refused.get(name), added):
                yield name, *found
            if old == new:
                continue
            owned = edit.owned(media_parts.parts(old))[1] + self.exceptions["moved"]
            before, after = self.tags[name], tags.get(name, {})
            for tag, one, other in media_parts.differences(before, after, owned):
                is_longer = set(before.get(tag, [])) <= set(other)
                if not is_longer or not media_parts.matches(tag, added):
                    yield name, tag, one, other
            if edit_name == "all" and shutil.which("ffmpeg"):
                seen = picture(self.samples / name)
                if seen and seen != picture(folder / name):
                    yield name, "picture", seen, "changed"
        shutil.rmtree(folder)

    def is_known(self, name, edit, tag, after):
        """Whether a case covers the difference; takes note of its patterns that do."""
        known = False
        for at, case in enumerate(self.exceptions["cases"]):
            hits = {(at, key, pattern) for key, value in (("files", name), ("edits", edit), ("tags", tag))
                    for pattern in case[key] if media_parts.matches(value, [pattern])}
            if len({key for _, key, _ in hits}) == 3 and fnmatch.fnmatch(str(after), case.get("why", "*")):
                self.hits |= hits
                known = True
        return known

    def unused(self):
        return [f"expected to differ, but does not: {key} {pattern} ({case['reason']})"
                for at, case in enumerate(self.exceptions["cases"]) for key in ("files", "edits", "tags")
                for pattern in case[key] if (at, key, pattern) not in self.hits]


def short(value):
    return re.sub(r"\s+", " ", str(value))[:160]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("paths", nargs=4, type=lambda name: pathlib.Path(name).absolute())
    parser.add_argument("files", nargs="*")
    parser.add_argument("--subset", action="store_true")
    parser.add_argument("--verbose", action="store_true")
    parser.add_argument("--edits", type=lambda names: names.split(","))
    options = parser.parse_intermixed_args()
    tool, samples, profile, exceptions = options.paths
    if not samples.is_dir() or not shutil.which("exiftool"):
        print("skipped: the samples or exiftool are missing")
        return 77
    names = options.files or [
        path.relative_to(samples).as_posix() for path in samples.rglob("*")
        if path.is_file() and path.parent != samples
        and not path.relative_to(samples).as_posix().startswith(SKIPPED_FOLDERS)]
    roundtrip = Roundtrip(tool, samples, json.loads(exceptions.read_text(encoding="utf-8")), names,
                          options.subset)
    count = 0
    with tempfile.TemporaryDirectory() as scratch, concurrent.futures.ThreadPoolExecutor(2) as pool:
        edits = metadata_edits.edits(pathlib.Path(scratch), profile, options.edits)
        found = pool.map(lambda name: list(roundtrip.differences(
            name, edits[name], pathlib.Path(scratch) / name)), edits)
        for edit, differences in zip(edits, found):
            faults = {}
            for name, tag, one, other in differences:
                if not roundtrip.is_known(name, edit, tag, other):
                    faults.setdefault(name, []).append(f"{tag}: {short(one)} -> {short(other)}")
            for name, texts in faults.items():
                shown = texts if options.verbose else texts[:SHOWN]
                print("\n".join(f"{edit}: {name}: {text}" for text in shown))
                if len(texts) > len(shown):
                    print(f"{edit}: {name}: and {len(texts) - len(shown)} more")
            count += len(faults)
    is_whole = not (options.subset or options.files or options.edits)
    unused = roundtrip.unused() if is_whole else []
    print("\n".join(unused + [f"{len(roundtrip.names)} files, {len(edits)} edits, {count} faults"]))
    return 1 if count or unused or not roundtrip.names else 0


sys.exit(main())
