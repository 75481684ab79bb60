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
    # How many files it writes, if the folder is for that.
    count: int = 0
    # Files of the workload that it changes; it gets copies in the folder, which have to match the
    # pattern then.
    changes: list = dataclasses.field(default_factory=list)
    pattern: bytes = b""
    # What of the work it does otherwise than the others. Its pictures are not compared then.
    differs: str = ""
    # Whether it is near enough to the work to be the best peer.
    counts: bool = True


class Programs:
    """The paths of the programs, and their commands."""

    def __init__(self, build, workload, quick=False, before=None):
        self.build = pathlib.Path(build)
        self.workload = pathlib.Path(workload)
        # What sides of pictures, and numbers of files twice, are divided by.
        self.unit = 4 if quick else 1
        self.before = before

    def count(self, files):
        return max(1, files // self.unit ** 2)

    def paths(self, names):
        return [self.file(name) for name in names[:self.count(len(names))]]

    def helper(self, name):
        """A program of benchmarks/suite."""
        return str(self.build / "benchmarks" / name)

    def file(self, name):
        return str(self.workload / name)

    def _available(self, commands):
        return {name: command for name, command in commands.items()
                if shutil.which(command.arguments[0])}

    def _all(self, *rkimage, peers, codec=None, **expected):
        """Ours, maybe an older build of it, the peers and the codec."""
        def tool(path):
            return Command([str(path), *map(str, rkimage)], **expected)

        commands = {OURS: tool(self.build / "bin" / "rkimage")}
        if self.before:
            commands["before"] = tool(self.before)
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
        peer = Command(dcraw, differs=differs, counts=not preview)
        return self._all("convert", path, "{out}/a.bmp", "--size", box, result="a.bmp",
                         peers={"dcraw": peer},
                         codec=self._bare("raw", path, "{out}/a.pnm", *size))

    def metadata(self, names):
        paths = self.paths(names)
        peers = {"exiv2": Command(["exiv2", "-pa", *paths])}
        # Its time for each file stays the same; thousands would take minutes.
        if len(paths) <= 200:
            peers["exiftool"] = Command(["exiftool", *paths])
        return self._all("info", *paths, codec=self._bare("metadata", *paths), peers=peers)

    def drawing(self, name, side):
        """A vector drawing, fitted into a square. ImageMagick's own renderer draws other things."""
        path, box = self.file(name), f"{side}x{side}"
        return self._all("convert", path, "{out}/a.bmp", "--size", box, result="a.bmp", peers={
            "vips": Command(["vipsthumbnail", path, "-s", box, "-o", "{out}/a.ppm"], "a.ppm"),
            "plain Qt": Command([self.helper("BenchPlainQt"), "convert", path, "{out}/a.bmp",
                                 str(side), str(side)], "a.bmp")})

    def clip(self, name):
        """The middle of an upright picture of 2 : 3 for a page of A4, in sRGB."""
        path = self.file(name)
        width, height = 4000 // self.unit, 5656 // self.unit
        top, dpi = 172 // self.unit, 300 // self.unit
        pixels = [round(millimetres / 25.4 * dpi) for millimetres in (210, 297)]
        box = f"{pixels[0]}x{pixels[1]}"
        work = [path, "-auto-orient", "-crop", f"{width}x{height}+0+{top}", "+repage", "-filter",
                "Triangle", "-resize", f"{box}!", "-profile", str(SRGB), "{out}/a.bmp"]
        qt = [self.helper("BenchPlainQt"), "clip", path, "{out}/a.bmp",
              *map(str, (0, top, width, height, *pixels))]
        return self._all(
            "clip", path, "{out}/a.bmp", "--rect", f"0,{top},{width},{height}", "--production",
            "2100x2970", "--dpi", dpi, result="a.bmp", peers={
                "GraphicsMagick": Command(["gm", "convert", *work], "a.bmp"),
                "ImageMagick": Command([self.image_magick(), *work], "a.bmp"),
                "plain Qt": Command(qt, "a.bmp")})

    def thumbnails(self, names, side, embedded):
        """JPEG files of the longest side; the camera's own thumbnails will do where they exist."""
        paths, box = self.paths(names), f"{side}x{side}"
        count = len(paths)
        first = pathlib.Path(names[0]).name
        work = ["-auto-orient", "-filter", "Triangle", "-resize", box, "-quality", "75"]
        peers = {
            "vips": Command(["vipsthumbnail", *paths, "-s", box, "-o", "{out}/%s.jpg"], first, count),
            "ImageMagick": Command(["mogrify-im6.q16", "-define", f"jpeg:size={box}", "-path", "{out}",
                                    *work, *paths], first, count),
            "GraphicsMagick": Command(["gm", "mogrify", "-size", box, "-output-directory", "{out}",
                                       "-create-directories", *work, *paths],
                                      differs="writes into a tree of folders"),
            "plain Qt": Command([self.helper("BenchPlainQt"), "thumbs", "{out}", str(side), *paths],
                                first, count)}
        if embedded:
            peers["exiftool"] = Command(
                ["exiftool", "-b", "-ThumbnailImage", "-w", "{out}/%f.jpg", *paths],
                differs="writes the stored thumbnails as they are", counts=False)
        return self._all("thumb", "--size", side, "--out", "{out}", *paths, result=first, count=count,
                         peers=peers)

    def rating(self, names):
        """Four stars, where photo applications look for them."""
        names = names[:self.count(len(names))]
        copies = ["{out}/" + pathlib.Path(name).name for name in names]
        expected = {"changes": list(names), "pattern": rb'xmp:Rating(="|>)4["<]'}
        tags = {"Exif.Image.Rating": "4", "Exif.Image.RatingPercent": "75", "Xmp.xmp.Rating": "4"}
        exiv2 = [f"-Mset {key} {value}" for key, value in tags.items()]
        exiftool = ["-IFD0:Rating=4", "-IFD0:RatingPercent=75", "-XMP-xmp:Rating=4"]
        return self._all("set", "--rating", 4, *copies, **expected, peers={
            "exiv2": Command(["exiv2", *exiv2, *copies], **expected,
                             differs="does not flush, nor check what it wrote"),
            "exiftool": Command(["exiftool", "-overwrite_original", *exiftool, *copies], **expected,
                                differs="does not flush, nor check what it wrote")})

    def frame(self, name, second):
        """The frame at this time, of the video's size."""
        path = self.file(name)
        return self._all("frame", path, "{out}/a.bmp", "--ms", second * 1000, result="a.bmp", peers={
            "ffmpeg": Command(["ffmpeg", "-v", "error", "-ss", str(second), "-i", path, "-frames:v",
                               "1", "{out}/a.bmp"], "a.bmp"),
            "ffmpegthumbnailer": Command(
                ["ffmpegthumbnailer", "-i", path, "-o", "{out}/a.png", "-s", "0", "-t",
                 f"00:00:{second:02}"], differs="takes the nearest key frame, writes PNG",
                counts=False)})

    def storyboard(self, name, frames):
        """Small frames, spread evenly over a video of 180, in one picture."""
        path = self.file(name)
        every = 180 // frames
        tiles = f"select='eq(mod(n,{every}),{every // 2})',scale=240:-2,tile=5x{frames // 5}"
        return self._all("frames", path, "--count", frames, "--sheet", "{out}/a.bmp", peers={
            "ffmpeg": Command(["ffmpeg", "-v", "error", "-i", path, "-vf", tiles, "-frames:v", "1",
                               "{out}/a.bmp"], differs="without captions")})

    def formats(self):
        """What a program needs before it knows what to do."""
        return self._all("formats", peers={})

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
