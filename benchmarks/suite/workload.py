"""The files that the rows read, made once and kept. The same ones on every machine."""
import os
import pathlib
import random
import shutil
import subprocess

from programs import ADOBE_RGB
from rows import HD, MIXED


class Failed(Exception):
    """Something did not work or has made something else, so a row can't be measured."""


class MissingTool(Exception):
    """A file can't be made here, so the row is left out."""


class Workload:
    """Makes files when they are first asked for."""

    def __init__(self, folder, programs):
        self.folder = pathlib.Path(folder)
        self.count = programs.count
        self.maker = programs.helper("BenchPictures")
        self.unit = programs.unit
        self.folder.mkdir(parents=True, exist_ok=True)

    def size(self, megapixels):
        """Sides of 3 : 2."""
        half = {1: 408, 6: 1000, 12: 1416, 24: 2000, 100: 4080}[megapixels] // self.unit
        return f"{3 * half}x{2 * half}"

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
            raise Failed(f"{arguments[0]} failed: {done.stderr.strip()[-300:]}")

    def picture(self, part, megapixels, *options):
        self.run(self.maker, "--size", self.size(megapixels), *options, part)


def picture(megapixels, *options):
    return lambda load, part: load.picture(part, megapixels, *options)


def photographs(count, different, *options):
    """Many files in a folder; those that are no different ones are links."""
    def make(load, part):
        part.mkdir()
        made = load.count(different)
        load.run(load.maker, *options, "--count", made, part / "%1.jpg")
        for number in range(made, load.count(count)):
            os.link(part / f"{number % made:05}.jpg", part / f"{number:05}.jpg")
    return make


def mixed(load, part):
    """Files of many kinds, links to one of each."""
    part.mkdir()
    for name in map(pathlib.Path, MIXED[:load.count(len(MIXED))]):
        source = {".jpg": "size6.jpg", ".heic": "photo.heic", ".mp4": HD}.get(
            name.suffix, f"size6{name.suffix}")
        load.ensure(source)
        os.link(load.folder / source, part / name.name)


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


def video(width, height, megabits, group):
    """Moving and noisy, with the bit rate that telephones record this size with; 7.2 s."""
    def make(load, part):
        size = f"{width // load.unit}x{height // load.unit}"
        load.run("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", f"testsrc2=s={size}:r=25",
                 "-frames:v", "180", "-vf", "noise=alls=12:allf=t:all_seed=7", "-c:v", "libx264",
                 "-preset", "veryfast", "-b:v", f"{megabits * 1000 // load.unit ** 2}k",
                 "-bf", "2", "-g", group, "-sc_threshold", "0", "-pix_fmt", "yuv420p",
                 "-colorspace", "bt709", "-color_primaries", "bt709", "-color_trc", "bt709",
                 "-threads", "1", part)
    return make


def drawing(_, part):
    """Paths, gradients and transparency; no text, since fonts differ."""
    chance = random.Random(7)

    def color():
        return f"#{chance.randrange(1 << 24):06x}"

    def shape():
        points = " ".join(f"{chance.uniform(-60, 60):.1f},{chance.uniform(-60, 60):.1f}"
                          for _ in range(6))
        fill = f"url(#g{chance.randrange(8)})" if chance.random() < 0.3 else color()
        place = (f"translate({chance.uniform(0, 1000):.1f} {chance.uniform(0, 750):.1f}) "
                 f"rotate({chance.randrange(360)})")
        return (f'<path transform="{place}" d="M0,0 C{points} z" fill="{fill}" '
                f'fill-opacity="{chance.uniform(0.3, 1):.2f}" stroke="#000" '
                f'stroke-width="{chance.uniform(0, 2):.1f}"/>\n')

    gradients = "".join(f'<linearGradient id="g{number}"><stop offset="0" stop-color="{color()}"/>'
                        f'<stop offset="1" stop-color="{color()}"/></linearGradient>\n'
                        for number in range(8))
    shapes = "".join(shape() for _ in range(1500))
    part.write_text('<svg xmlns="http://www.w3.org/2000/svg" width="1000" height="750" '
                    f'viewBox="0 0 1000 750">\n<defs>{gradients}</defs>\n'
                    f'<rect width="1000" height="750" fill="#fff"/>\n{shapes}</svg>\n')


CAMERA = ("--metadata", "--preview", "160", "--quality", "95")
ADOBE = ("--profile", ADOBE_RGB)
TURNED = ("--orientation", "6")

RECIPES = {
    "adobe.jpg": picture(24, *CAMERA, *ADOBE, *TURNED),
    "plain.jpg": picture(24, *CAMERA),
    "photo.png": picture(24),
    "adobe.png": picture(24, *ADOBE),
    "photo.tif": picture(24),
    "photo.webp": picture(24, "--quality", "90"),
    "photo.jp2": jpeg2000,
    "photo.psd": picture(24, *ADOBE),
    "photo.dng": picture(24),
    "preview.dng": picture(24, "--preview", "1620"),
    "photo.heic": heic(),
    "thumb.heic": heic("-t", "1024"),
    "drawing.svg": drawing,
    "files": photographs(10000, 200, "--size", "480x320", *CAMERA, *ADOBE),
    "thumbs": photographs(200, 40, "--size", "3000x2000", *CAMERA),
    "no-thumbs": photographs(200, 40, "--size", "3000x2000", "--metadata", "--quality", "95"),
    "size1.jpg": picture(1, *CAMERA),
    "size6.jpg": picture(6, *CAMERA),
    "size6.png": picture(6),
    "size6.tif": picture(6),
    "size6.webp": picture(6, "--quality", "90"),
    "size6.psd": picture(6, *ADOBE),
    "size6.dng": picture(6, "--preview", "1620"),
    "mixed": mixed,
    "size24.jpg": picture(24, *CAMERA),
    "size100.jpg": picture(100, *CAMERA),
    "1920x1080-30.mp4": video(1920, 1080, 17, 30),
    "1920x1080-250.mp4": video(1920, 1080, 17, 250),
    "3840x2160-30.mp4": video(3840, 2160, 48, 30),
    "3840x2160-250.mp4": video(3840, 2160, 48, 250),
}
