#!/usr/bin/env python3
"""Compares the conversion to sRGB with that of ImageMagick, for every picture of a folder.

Usage: color_comparison.py RKIMAGE RESOURCES FOLDER

Both start from the pixels as decoded. Profiles of inks get the separation of the converter, since
the decoder has given up the real inks. Exits 77 where the folder or ImageMagick is missing.
"""
import array
import json
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile

SKIPPED = 77
# 255ths: largest and mean difference allowed. Tables are interpolated in different ways.
MATRIX, TABLE = (1, 0.05), (9, 0.3)
# Profiles that ImageMagick doesn't see, and what stays as it is.
EXIF_PROFILES, UNCHANGED = (group["files"] for group in json.loads(
    pathlib.Path(__file__).with_suffix(".json").read_text(encoding="utf-8")).values())


def has_tables(profile):
    count = struct.unpack_from(">I", profile, 128)[0]
    return any(profile[132 + 12 * i:136 + 12 * i] == b"A2B0" for i in range(count))


def separated(rgb):
    """16-bit inks of 8-bit pixels; black becomes black ink alone."""
    inks = bytearray()
    known = {}
    for i in range(0, len(rgb), 3):
        pixel = rgb[i:i + 3]
        if pixel not in known:
            light = max(pixel)
            inks_of = [round(65535 * (light - v) / light) if light else 0 for v in pixel]
            known[pixel] = struct.pack("<4H", *inks_of, 65535 - 257 * light)
        inks += known[pixel]
    return bytes(inks)


def read(tool, magick, picture, folder, *options):
    """The size, as two words, and the pixels of what `rkimage convert` makes of a picture."""
    decoded = folder / "decoded.png"
    # One file is cut off: it is converted, with the exit code of a failure.
    subprocess.run([tool, "convert", "--overwrite", "--no-rotate", *options, picture, decoded],
                   stderr=subprocess.DEVNULL, check=False)
    size = subprocess.run([magick, decoded, "-alpha", "off", "-print", "%w %h", "-depth", "8",
                           f"rgb:{folder / 'decoded.rgb'}"],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=True)
    return size.stdout.split(), (folder / "decoded.rgb").read_bytes()


def profile_file(magick, picture, folder, resources):
    if picture.name in EXIF_PROFILES:
        name = EXIF_PROFILES[picture.name]
        return next(f / name for f in (resources, picture.parent) if (f / name).exists())
    subprocess.run([magick, picture, folder / "profile.icc"], stderr=subprocess.DEVNULL, check=True)
    return folder / "profile.icc"


def independent(magick, folder, size, stored, profile_path, srgb):
    """What ImageMagick makes of the pixels. It gives 16 bits, since it cuts them off to get 8."""
    profile = profile_path.read_bytes()
    is_ink = profile[16:20] == b"CMYK"
    # Wanted for tables of version 4 only, which have a black of their own.
    black_point = "-" if profile[8] >= 4 and has_tables(profile) else "+"
    source = folder / "source.raw"
    source.write_bytes(separated(stored) if is_ink else stored)
    command = [magick, "-size", "x".join(size), "-endian", "LSB", "-depth", "16" if is_ink else "8",
               f"{'cmyk' if is_ink else 'rgb'}:{source}", "-intent", "perceptual",
               f"{black_point}black-point-compensation", "-define", "profile:highres-transform=true",
               "-profile", str(profile_path), "-profile", srgb,
               "-depth", "16", f"rgb:{folder / 'expected.rgb'}"]
    subprocess.run(command, check=True)
    values = array.array("H", (folder / "expected.rgb").read_bytes())
    if sys.byteorder == "big":
        values.byteswap()
    return bytes((value + 128) // 257 for value in values)


def compare(path, tool, magick, resources):
    """The line of the table, and whether it is as it should be."""
    reason = UNCHANGED.get(path.name)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        try:
            size, stored = read(tool, magick, path, folder, "--no-color")
        except subprocess.CalledProcessError:
            return f"not decoded: {reason or 'why?'}", reason is not None
        converted = read(tool, magick, path, folder)[1]
        if reason:
            return f"unchanged: {reason}", stored == converted
        profile_path = profile_file(magick, path, folder, resources)
        profile = profile_path.read_bytes()
        expected = independent(magick, folder, size, stored, profile_path,
                               resources / "sRGB_Color_Space_Profile.icc")
        differences = [abs(a - b) for a, b in zip(converted, expected)]
        largest, mean = max(differences), sum(differences) / len(differences)
        limits = TABLE if has_tables(profile) else MATRIX
        good = (len(converted) == len(expected) == 3 * int(size[0]) * int(size[1])
                and largest <= limits[0] and mean <= limits[1])
        kind = profile[16:20].decode() + ("table" if has_tables(profile) else "matrix")
        return f"{kind:<11}{largest:>4}{mean:>9.4f}", good


def is_magick(program):
    """Other programs are called "convert", too."""
    return shutil.which(program) and subprocess.run(
        [program, "-version"], capture_output=True, text=True, check=False
    ).stdout.startswith("Version: ImageMagick")


def main(tool, resources, folder):
    magick = next(filter(is_magick, ("convert-im6.q16", "magick", "convert")), None)
    if not magick or not pathlib.Path(folder).is_dir():
        print("skipped: the samples or ImageMagick are missing")
        return SKIPPED
    faults = 0
    for path in sorted(pathlib.Path(folder).iterdir()):
        if path.suffix != ".icc":
            text, good = compare(path, tool, magick, pathlib.Path(resources))
            faults += not good
            print(f"{path.name:<62}{text}{'' if good else '   <-- FAULT'}", flush=True)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
