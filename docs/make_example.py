#!/usr/bin/env python3
"""Paints docs/example.jpg's picture, a landscape at dusk, as a PNG file.

Usage: make_example.py OUT.png; then rkimage --config quality.xml convert OUT.png docs/example.jpg
(with <jpg compression="85"/> in quality.xml). Needs nothing but Python.
"""
import math
import random
import struct
import sys
import zlib

WIDTH, HEIGHT = 1200, 900
random.seed(20)


def ridge(base, roughness):
    """Heights of a mountain ridge by midpoint displacement, one per column."""
    points = [base + random.uniform(-roughness, roughness) for _ in range(2)]
    while len(points) < WIDTH:
        roughness *= 0.52
        refined = []
        for left, right in zip(points, points[1:]):
            refined += [left, (left + right) / 2 + random.uniform(-roughness, roughness)]
        points = [*refined, points[-1]]
    step = (len(points) - 1) / (WIDTH - 1)
    return [points[int(x * step)] for x in range(WIDTH)]


def mix(a, b, t):
    return tuple(p + (q - p) * t for p, q in zip(a, b))


def sky(x, y):
    colour = mix((38, 62, 120), (250, 176, 110), min(1.0, y / (HEIGHT * 0.62)) ** 1.4)
    distance = math.hypot(x - WIDTH * 0.68, y - HEIGHT * 0.47)
    colour = mix(colour, (255, 236, 190), 0.85 * math.exp(-((distance / 150) ** 2)))
    if distance < 34:
        colour = (255, 250, 230)
    streak = math.sin(y / 19 + 3 * math.sin(x / 310)) * math.sin(x / 170 + y / 90)
    return mix(colour, (255, 214, 176), max(0.0, streak) * 0.22)


RIDGES = [
    (ridge(HEIGHT * 0.52, 150), (122, 112, 148)),
    (ridge(HEIGHT * 0.60, 130), (84, 78, 112)),
    (ridge(HEIGHT * 0.69, 95), (46, 48, 70)),
]
SHORE = int(HEIGHT * 0.74)


def land(x, y):
    colour = sky(x, y)
    for heights, tint in RIDGES:
        if y > heights[x]:
            haze = min(1.0, (y - heights[x]) / 260)
            colour = mix(tint, (214, 160, 128), haze * 0.45)
    return colour


def pixel(x, y):
    if y < SHORE:
        return land(x, y)
    depth = (y - SHORE) / (HEIGHT - SHORE)
    wave = math.sin(y * 0.9 + 2.5 * math.sin(x / 47)) * (2 + 22 * depth)
    mirrored = land(min(WIDTH - 1, max(0, int(x + wave))), int(SHORE - (y - SHORE) * 2.1))
    return mix(mirrored, (22, 30, 52), 0.28 + 0.4 * depth)


rows = bytearray()
for y in range(HEIGHT):
    rows.append(0)
    for x in range(WIDTH):
        grain = random.gauss(0, 1.6)
        rows += bytes(max(0, min(255, int(channel + grain + 0.5))) for channel in pixel(x, y))


def chunk(kind, data):
    body = kind + data
    return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))


with open(sys.argv[1], "wb") as out:
    out.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", WIDTH, HEIGHT, 8, 2, 0, 0, 0))
              + chunk(b"IDAT", zlib.compress(bytes(rows), 6)) + chunk(b"IEND", b""))
