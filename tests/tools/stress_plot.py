#!/usr/bin/env python3
"""Draws the memory and the open files that RKStressTest prints: stress_plot.py OUTPUT SVG."""
import pathlib
import re
import sys

WIDTH, HEIGHT, MARGIN = 640, 240, 40
seconds = [tuple(map(int, found)) for found in re.findall(r"^(\d+) MiB, (\d+) handles$", pathlib.Path(sys.argv[1]).read_text(
    encoding="utf-8", errors="replace"), re.MULTILINE)]
# Ten seconds to a point.
points = [seconds[at:at + 10] for at in range(0, len(seconds), 10)]
svg = [f"<svg xmlns='http://www.w3.org/2000/svg' width='{WIDTH}' height='{HEIGHT}' font-family='sans-serif' font-size='12'>",
       f"<rect width='{WIDTH}' height='{HEIGHT}' fill='white'/>"]
for which, (name, colour) in enumerate((("MiB", "#06c"), ("open files", "#c60"))):
    values = [max(second[which] for second in point) for point in points]
    top = max(values) * 1.1
    line = " ".join(f"{MARGIN + at * (WIDTH - 2 * MARGIN) / max(len(values) - 1, 1):.0f},"
                    f"{HEIGHT - MARGIN - value * (HEIGHT - 2 * MARGIN) / top:.0f}" for at, value in enumerate(values))
    svg.append(f"<polyline points='{line}' fill='none' stroke='{colour}'/>")
    svg.append(f"<text x='{MARGIN + which * 200}' y='20' fill='{colour}'>{name}: at most {max(values)}, at the end {values[-1]}</text>")
svg.append(f"<text x='{MARGIN}' y='{HEIGHT - 15}'>0 s</text><text x='{WIDTH - 2 * MARGIN}' y='{HEIGHT - 15}'>{len(seconds)} s</text>")
pathlib.Path(sys.argv[2]).write_text("\n".join(svg) + "\n</svg>\n", encoding="utf-8")
