"""The files that the rows read, made once and kept. The same ones on every machine."""
import os
import pathlib
import random
import shutil
import subprocess

from programs import ADOBE_RGB


class MissingTool(Exception):
    """A file can't be made here."""


class Workload:
    """Makes files when they are first asked for."""

    def __init__(self, folder, maker, quick):
        self.folder = pathlib.Path(folder)
        self.maker = maker
        self.quick = quick
        self.folder.mkdir(parents=True, exist_ok=True)

    def size(self, megapixels):
        """Sides of 3 : 2; a quick run takes a sixteenth of the pixels."""
        unit = {1: 408, 6: 1000, 12: 1414, 24: 2000, 100: 4082}[megapixels] // (4 if self.quick else 1)
        return f"{3 * unit}x{2 * unit}"

    def ensure(self, name):
        """Makes the file of this name, or the folder of many, if it isn't there."""
        target = self.folder / name
        if target.exists():
            return
        recipe = RECIPES.get(name)
        # Made under another name, so that an interrupted run leaves nothing half.
        part = self.folder / f"part-{name}"
        if part.is_dir():
            shutil.rmtree(part)
        recipe(self, part)
        part.rename(target)

    def run(self, *command):
        arguments = [str(word) for word in command]
        if not shutil.which(arguments[0]):
            raise MissingTool(f"{arguments[0]} is not installed")
        environment = os.environ | {"QT_QPA_PLATFORM": "offscreen"}
        done = subprocess.run(arguments, env=environment, stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, text=True, check=False)
        if done.returncode != 0:
            raise MissingTool(f"{arguments[0]} failed: {done.stderr.strip()[-300:]}")

    def picture(self, part, megapixels, *options):
        self.run(self.maker, "--size", self.size(megapixels), *options, part)


def picture(megapixels, *options):
    return lambda load, part: load.picture(part, megapixels, *options)


def folder_of(count, megapixels, *options):
    """Many files in a folder; of 40 different ones at most, to which the others are links."""
    def make(load, part):
        part.mkdir()
        different = min(count, 40)
        load.picture(part / "%1.jpg", megapixels, "--count", different, *options)
        for number in range(different, count):
            os.link(part / f"{number % different:05}.jpg", part / f"{number:05}.jpg")
    return make


def small_files(count):
    """Small pictures with the metadata of large ones."""
    def make(load, part):
        part.mkdir()
        different = min(count, 200)
        load.run(load.maker, "--size", "480x320", "--count", different, *CAMERA, *ADOBE, part / "%1.jpg")
        for number in range(different, count):
            os.link(part / f"{number % different:05}.jpg", part / f"{number:05}.jpg")
    return make


def heic(*options):
    """x265's quick setting: encoders in telephones are quicker still."""
    def make(load, part):
        source = part.with_suffix(".jpg")
        load.picture(source, 12, *CAMERA)
        try:
            load.run("heif-enc", "-q", "60", "-p", "preset=veryfast", *options, source, "-o", part)
        finally:
            source.unlink()
    return make


def jpeg2000(load, part):
    source = part.with_suffix(".png")
    load.picture(source, 24)
    try:
        load.run("ffmpeg", "-v", "error", "-y", "-i", source, "-c:v", "libopenjpeg",
                 "-pix_fmt", "rgb24", "-compression_level", "10", part)
    finally:
        source.unlink()


def video(size, rate, group):
    """Of the bit rate that telephones record this size with, moving and noisy, 7.2 s."""
    def make(load, part):
        wanted = f"{size // 4}x{size // 4 * 9 // 16 // 2 * 2}" if load.quick else f"{size}x{size * 9 // 16}"
        load.run("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", f"testsrc2=s={wanted}:r=25",
                 "-frames:v", "180", "-vf", "noise=alls=12:allf=t:all_seed=7", "-c:v", "libx264",
                 "-preset", "veryfast", "-b:v", rate, "-bf", "2", "-g", group,
                 "-sc_threshold", "0", "-pix_fmt", "yuv420p", "-threads", "1", part)
    return make


def drawing(_, part):
    """Paths, gradients and transparency; no text, since fonts differ."""
    chance = random.Random(7)
    shapes = []
    for _ in range(1500):
        x, y = chance.uniform(0, 1000), chance.uniform(0, 750)
        points = " ".join(f"{chance.uniform(-60, 60):.1f},{chance.uniform(-60, 60):.1f}"
                          for _ in range(6))
        fill = f"url(#g{chance.randrange(8)})" if chance.random() < 0.3 else f"#{chance.randrange(1 << 24):06x}"
        shapes.append(f'<path transform="translate({x:.1f} {y:.1f}) rotate({chance.randrange(360)})" '
                      f'd="M0,0 C{points} z" fill="{fill}" fill-opacity="{chance.uniform(0.3, 1):.2f}" '
                      f'stroke="#000" stroke-width="{chance.uniform(0, 2):.1f}"/>')
    gradients = "".join(
        f'<linearGradient id="g{n}"><stop offset="0" stop-color="#{chance.randrange(1 << 24):06x}"/>'
        f'<stop offset="1" stop-color="#{chance.randrange(1 << 24):06x}"/></linearGradient>'
        for n in range(8))
    part.write_text('<svg xmlns="http://www.w3.org/2000/svg" width="1000" height="750" '
                    f'viewBox="0 0 1000 750"><defs>{gradients}</defs>{"".join(shapes)}</svg>\n')


CAMERA = ("--metadata", "--preview", "160", "--quality", "95")
ADOBE = ("--profile", ADOBE_RGB)
TURNED = ("--orientation", "6")

RECIPES = {
    "adobe.jpg": picture(24, *CAMERA, *ADOBE, *TURNED),
    "plain.jpg": picture(24, *CAMERA),
    "photo.png": picture(24),
    "photo.tif": picture(24),
    "photo.webp": picture(24, "--quality", "90"),
    "photo.jp2": jpeg2000,
    "photo.psd": picture(24, *ADOBE),
    "photo.dng": picture(24),
    "preview.dng": picture(24, "--preview", "1620"),
    "photo.heic": heic(),
    "thumb.heic": heic("-t", "1024"),
    "drawing.svg": drawing,
    "files": small_files(10000),
    "thumbs": folder_of(200, 6, *CAMERA),
    "no-thumbs": folder_of(200, 6, "--metadata"),
    "size1.jpg": picture(1, *CAMERA),
    "size6.jpg": picture(6, *CAMERA),
    "size100.jpg": picture(100, *CAMERA),
    "1080p-30.mp4": video(1920, "17M", "30"),
    "1080p-250.mp4": video(1920, "17M", "250"),
    "4k-30.mp4": video(3840, "48M", "30"),
    "4k-250.mp4": video(3840, "48M", "250"),
}
