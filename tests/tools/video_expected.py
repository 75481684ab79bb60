#!/usr/bin/env python3
"""Compares what rkimage tells of the sample videos with what independent tools told.

Usage: video_expected.py RKIMAGE SAMPLES

Differences are allowed only where video_expected.json lists them with our value and the reason; one
that is listed and does not occur is an error too.
"""
import json
import pathlib
import re
import subprocess
import sys
import tempfile
from fractions import Fraction

SKIPPED = 77
# Encoders, decoders and scaling each round; a wrong matrix or a wrong frame is further off.
COLOUR_TOLERANCE = 8


def quadrants(bmp):
    """The mean colours of the quadrants of an uncompressed BMP, as hexadecimal digits."""
    data = bmp.read_bytes()
    offset, width, height = (int.from_bytes(data[at:at + 4], "little", signed=True) for at in (10, 18, 22))
    depth = data[28] // 8
    stride = (width * depth + 3) // 4 * 4
    sums = [[0, 0, 0, 0] for _ in range(4)]
    for y in range(abs(height)):
        row = y if height < 0 else height - 1 - y
        for x in range(width):
            blue_green_red = data[offset + row * stride + x * depth:][:3]
            total = sums[(y >= abs(height) / 2) * 2 + (x >= width / 2)]
            for channel in range(3):
                total[channel] += blue_green_red[2 - channel]
            total[3] += 1
    return " ".join("".join(f"{round(total[i] / total[3]):02x}" for i in range(3)) for total in sums)


def first_frame(tool, video):
    with tempfile.TemporaryDirectory() as folder:
        bmp = pathlib.Path(folder) / "frame.bmp"
        subprocess.run([tool, "frame", video, bmp, "--frame", "0", "--size", "64x64"], check=True)
        return quadrants(bmp)


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
    yield "size", entry["size"], size, entry["size"] == size
    yield "rotation", entry["rotation"], probed.get("rot", 0), entry["rotation"] == probed.get("rot", 0)
    yield "rate", entry["framesPerSecond"], fps, abs(entry["framesPerSecond"] - fps) < 1e-9
    # They round and we cut off.
    yield "duration", entry["durationMs"], probed["ms"], 0 <= probed["ms"] - entry["durationMs"] <= 1
    yield "date", entry.get("videoTaken", ""), date, entry.get("videoTaken", "") == date
    yield "codec", entry["codec"], probed["codec"], entry["codec"] == probed["codec"]
    yield "model", entry["cameraModel"], probed.get("model", ""), entry["cameraModel"] == probed.get("model", "")
    yield "colours", frame, quad, same_colours(frame, quad)


def main():
    tool, samples = sys.argv[1], pathlib.Path(sys.argv[2])
    if not (samples / "expected.json").exists():
        print("skipped: the sample files are missing")
        return SKIPPED
    expected = {pathlib.Path(name).name: value
                for name, value in json.loads((samples / "expected.json").read_text()).items()
                if name.startswith("video/")}
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
        for key, ours, theirs, agree in pairs(entry, value["video"], value["quad"], first_frame(tool, video)):
            if not agree:
                differences[video.name, key] = (ours, theirs)

    unexpected = [f"{name}: {key} is {ours!r}, others tell {theirs!r}"
                  for (name, key), (ours, theirs) in differences.items() if not is_listed(key, ours, allowed.get((name, key)))]
    unexpected += [f"{name}: {key} agrees now" for name, key in allowed if (name, key) not in differences]
    print(*unexpected, sep="\n")
    print(f"{len(expected)} videos, {len(differences)} differences, {len(unexpected)} of them unexpected")
    return 1 if unexpected or not expected else 0


if __name__ == "__main__":
    sys.exit(main())
