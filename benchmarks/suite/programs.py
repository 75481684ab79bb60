"""The programs that are compared, and how each of them does a piece of work.

A work is a function that gives the commands of all programs that can do it. A program that isn't
installed has no command.
"""
import dataclasses
import pathlib
import shutil

ROOT = pathlib.Path(__file__).resolve().parents[2]
RESOURCES = ROOT / "libs/RKImageLoader/resources"
SRGB = RESOURCES / "sRGB_Color_Space_Profile.icc"
ADOBE_RGB = RESOURCES / "compatibleWithAdobeRGB1998.icc"

OURS = "ours"
CODEC = "codec"

# Debian's packages of the peers.
PACKAGES = ["libvips-tools", "graphicsmagick", "imagemagick", "exiv2", "libimage-exiftool-perl",
            "ffmpeg", "ffmpegthumbnailer", "libheif-examples", "heif-thumbnailer", "dcraw"]


@dataclasses.dataclass
class Command:
    """What one program is called with. {out} in an argument is a folder of its own."""
    arguments: list
    # The picture that it writes, in the folder; its standard output if this is "stdout".
    result: str = ""
    # Files that it changes, in the workload; it gets copies.
    changes: list = dataclasses.field(default_factory=list)
    # What of the work it does otherwise than the others. Its pictures are not compared then.
    differs: str = ""


class Programs:
    """The paths of the programs, and their commands."""

    def __init__(self, build, workload, before=None):
        self.build = pathlib.Path(build)
        self.workload = pathlib.Path(workload)
        self.before = before

    def helper(self, name):
        """A program of benchmarks/suite."""
        return str(self.build / "benchmarks" / name)

    def file(self, name):
        return str(self.workload / name)

    def _available(self, commands):
        return {name: command for name, command in commands.items()
                if shutil.which(command.arguments[0])}

    def _all(self, *rkimage, peers, codec=None, result="", changes=()):
        ours = [str(part) for part in rkimage]
        commands = {OURS: Command([str(self.build / "bin" / "rkimage"), *ours], result, list(changes))}
        if self.before:
            commands["before"] = Command([str(self.before), *ours], result, list(changes))
        commands |= peers
        if codec:
            commands[CODEC] = codec
        return self._available(commands)

    def _bare(self, codec, *arguments):
        name = self.helper(f"BenchBare{codec[0].upper()}{codec[1:]}")
        return Command([name, *map(str, arguments)])

    def convert(self, name, size=None, profile=False, codec=None):
        """A picture upright and in sRGB, fitted into the size or whole, without compression."""
        path = self.file(name)
        box = f"{size[0]}x{size[1]}" if size else None
        ours = ["convert", path, "{out}/a.bmp", *(["--size", box] if box else [])]
        qt = [self.helper("BenchPlainQt"), "convert", path, "{out}/a.bmp",
              *map(str, size or [])]
        scale = ["-filter", "Triangle", "-resize", box] if box else []
        color = ["-profile", str(SRGB)] if profile else []
        work = ["-auto-orient", *scale, *color, "{out}/a.bmp"]
        peers = {
            "vips": Command(["vipsthumbnail", path, "-s", box or "100000x100000>",
                             *(["-e", "srgb"] if profile else []), "-o", "{out}/a.ppm"], "a.ppm"),
            "GraphicsMagick": Command(
                ["gm", "convert", *(["-size", box] if box else []), path, *work], "a.bmp"),
            "ImageMagick": Command(
                [self.image_magick(), *(["-define", f"jpeg:size={box}"] if box else []), path,
                 *work], "a.bmp"),
            "plain Qt": Command(qt, "a.bmp"),
        }
        bare = self._bare(codec, path, "{out}/a.pnm", *(size or [])) if codec else None
        return self._all(*ours, peers=peers, codec=bare, result="a.bmp")

    def heic(self, name, size):
        path = self.file(name)
        commands = self.convert(name, size, codec="heic")
        # Qt reads HEIC only with our plug-in.
        commands.pop("plain Qt", None)
        commands |= self._available({
            "heif-convert": Command(["heif-convert", path, "{out}/a.jpg"],
                                    differs="can't scale: the whole picture as JPEG"),
            "heif-thumbnailer": Command(["heif-thumbnailer", "-s", str(max(size)), path,
                                         "{out}/a.png"], differs="writes PNG"),
        })
        return commands

    def raw(self, name, size, preview):
        path = self.file(name)
        box = f"{size[0]}x{size[1]}"
        dcraw = ["dcraw", "-c", *(["-e"] if preview else ["-h", "-w"]), path]
        differs = "gives the preview's stream undecoded" if preview else "half the size, not scaled"
        return self._all("convert", path, "{out}/a.bmp", "--size", box, result="a.bmp",
                         peers={"dcraw": Command(dcraw, differs=differs)},
                         codec=self._bare("raw", path, "{out}/a.pnm", *size))

    def metadata(self, names):
        paths = [self.file(name) for name in names]
        peers = {"exiv2": Command(["exiv2", "-pa", *paths])}
        # Its time for each file stays the same; thousands would take minutes.
        if len(paths) <= 200:
            peers["exiftool"] = Command(["exiftool", *paths])
        return self._all("info", *paths, codec=self._bare("metadata", *paths), peers=peers)

    def start(self):
        """What a program needs to say that it is there."""
        return self._all("--help", peers={
            "vips": Command(["vipsthumbnail", "--help"]),
            "GraphicsMagick": Command(["gm", "-help"]),
            "ImageMagick": Command([self.image_magick(), "-version"]),
            "exiv2": Command(["exiv2", "--version"]),
            "ffmpeg": Command(["ffmpeg", "-version"])})

    @staticmethod
    def image_magick():
        """Not "convert": other programs have that name, too."""
        return next((name for name in ("convert-im6.q16", "magick") if shutil.which(name)),
                    "magick")
