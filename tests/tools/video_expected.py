#!/usr/bin/env python3
"""Compares what rkimage tells of the sample videos, and the colours of Photoshop files,
with what independent tools told.

Usage: video_expected.py RKIMAGE SAMPLES

Differences are allowed only where video_expected.json lists them with our value and the reason; one
that is listed and does not occur is an error too.
"""
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
from fractions import Fraction

SKIPPED = 77
# Encoders, decoders and scaling each round; a wrong matrix or a wrong frame is further off.
COLOUR_TOLERANCE = 8


def quadrants(tool, *command):
    """The mean colours of a picture's quadrants, as hexadecimal digits."""
    with tempfile.TemporaryDirectory() as folder:
        picture = pathlib.Path(folder) / "picture.png"
        subprocess.run([tool, *command, picture, "--size", "64x64"], check=True)
        means = subprocess.run(["ffmpeg", "-v", "error", "-i", picture, "-vf", "scale=2:2:flags=area",
                                "-f", "rawvideo", "-pix_fmt", "rgb24", "-"],
                               stdout=subprocess.PIPE, check=True).stdout
    return means.hex(" ", 3)


def same_colours(a, b):
    channels = zip(bytes.fromhex(a), bytes.fromhex(b), strict=True)
    return all(abs(x - y) <= COLOUR_TOLERANCE for x, y in channels)


def is_listed(key, ours, listed):
    return listed is not None and (same_colours(ours, listed) if key == "colours" else ours == listed)


def pairs(entry, probed, quad, frame):
    """Key, our value, the other tools' value and whether they agree."""
    size = probed["size"][::-1] if probed.get("rot") in (90, 270) else probed["size"]
    date = re.sub(r"^(\d{4}-\d\d-\d\d)[T ](\d\d:\d\d:\d\d).*", r"\1T\2", probed.get("created", ""))
    fps = float(Fraction(probed["fps"]))
    angles = re.match(r"([+-][\d.]+)([+-][\d.]+)", probed.get("location", ""))
    place = {name: round(float(angle), 3) for name, angle in zip(("latitude", "longitude"), angles.groups())
             } if angles else {}
    told = {name: round(angle, 3) for name, angle in (entry["geoPosition"] or {}).items()}
    equal = {"size": (entry["size"], size), "rotation": (entry["rotation"], probed.get("rot", 0)),
             "date": (entry.get("videoTaken", ""), date), "codec": (entry["codec"], probed["codec"]),
             "model": (entry["cameraModel"], probed.get("model", "")), "place": (told, place)}
    yield from ((key, ours, theirs, ours == theirs) for key, (ours, theirs) in equal.items())
    yield "rate", entry["framesPerSecond"], fps, abs(entry["framesPerSecond"] - fps) < 1e-9
    # They round and we cut off.
    yield "duration", entry["durationMs"], probed["ms"], 0 <= probed["ms"] - entry["durationMs"] <= 1
    yield "colours", frame, quad, same_colours(frame, quad)


def main():
    tool, samples = sys.argv[1], pathlib.Path(sys.argv[2])
    if not (samples / "expected.json").exists() or not shutil.which("ffmpeg"):
        print("skipped: the sample files or ffmpeg are missing")
        return SKIPPED
    all_expected = json.loads((samples / "expected.json").read_text())
    expected = {pathlib.Path(name).name: value for name, value in all_expected.items() if name.startswith("video/")}
    groups = json.loads(pathlib.Path(__file__).with_suffix(".json").read_text())
    allowed = {(name, group["key"]): value for group in groups for name, value in group["files"].items()}
    run = subprocess.run([tool, "info", "--json", *(samples / "video" / name for name in expected)],
                         stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
    differences = {}
    for entry in json.loads(run.stdout):
        video = pathlib.Path(entry["file"])
        if "error" in entry:
            differences[video.name, "error"] = (entry["error"], "")
            continue
        value = expected[video.name]
        frame = quadrants(tool, "frame", "--frame", "0", video)
        for key, ours, theirs, agree in pairs(entry, value["video"], value["quad"], frame):
            if not agree:
                differences[video.name, key] = (ours, theirs)
    # Profiles change the colours, and Lab is converted in several ways.
    pictures = {name: value["quad"] for name, value in all_expected.items()
                if name.endswith(".psd") and "-lab." not in name and "quad" in value and "icc" not in value}
    for name, quad in pictures.items():
        ours = quadrants(tool, "convert", samples / name)
        if not same_colours(ours, quad):
            differences[pathlib.Path(name).name, "colours"] = (ours, quad)

    unexpected = [f"{name}: {key} is {ours!r}, others tell {theirs!r}"
                  for (name, key), (ours, theirs) in differences.items() if not is_listed(key, ours, allowed.get((name, key)))]
    unexpected += [f"{name}: {key} agrees now" for name, key in allowed if (name, key) not in differences]
    print(*unexpected, sep="\n")
    print(f"{len(expected)} videos, {len(pictures)} pictures, {len(differences)} differences, {len(unexpected)} of them unexpected")
    return 1 if unexpected or not expected else 0


if __name__ == "__main__":
    sys.exit(main())
