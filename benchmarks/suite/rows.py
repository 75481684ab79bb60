"""The table of what is measured, and the goals."""
import dataclasses
from typing import Callable

from programs import Programs

SMALL = (800, 600)


@dataclasses.dataclass(frozen=True)
class Goal:
    """A ratio, or a time in milliseconds, that ours should not exceed."""
    limit: float
    # "best": the best peer; "codec": the bare codec, as a process; "inside": the reference in
    # process; "ms": a time; otherwise a peer's name.
    against: str = "best"

    def __str__(self):
        names = {"best": "best peer", "codec": "codec", "inside": "in process", "ms": "ms"}
        name = names.get(self.against, self.against)
        return f"{name} ≤ {self.limit:g}"


AHEAD = Goal(1.0)
NEAR_CODEC = Goal(1.25, "inside")


@dataclasses.dataclass(frozen=True)
class Inside:
    """In one process, ours and a reference by turns: what BenchInProcess is asked for."""
    kind: str
    reference: str
    names: tuple
    size: tuple = ()
    # A new process for each repetition, which then has the costs of the first request.
    fresh: bool = False
    program: str = "BenchInProcess"


@dataclasses.dataclass(frozen=True)
class Benchmark:
    """A case of a benchmark program."""
    program: str
    case: str


@dataclasses.dataclass(frozen=True)
class Row:
    name: str
    title: str
    files: tuple = ()
    commands: Callable[[Programs], dict] = lambda programs: {}
    inside: Inside | Benchmark | None = None
    goals: tuple = ()
    # Takes so long that a third of the repetitions must do.
    slow: bool = False


def small(name, title, file, codec=None, profile=False, goals=(AHEAD, NEAR_CODEC), make=None, **more):
    """A picture for the screen."""
    return Row(name, title, (file,),
               make or (lambda programs: programs.convert(file, SMALL, profile, codec)),
               Inside("picture", codec or "-", (file,), SMALL), goals, **more)


def full(name, title, file, profile, goals, codec="jpeg"):
    return Row(name, title, (file,), lambda programs: programs.convert(file, None, profile, codec),
               Inside("picture", codec, (file,)), goals)


def names(folder, count):
    return tuple(f"{folder}/{number:05}.jpg" for number in range(count))


def metadata(count, *goals, title=None):
    files = names("files", count)
    return Row(f"metadata-{count}", title or f"Metadata of {count} files", ("files",),
               lambda programs: programs.metadata(files),
               Inside("metadata", "metadata", files), goals, slow=count > 1000)


def thumbnails(name, title, folder, embedded):
    files = names(folder, 200)
    return Row(name, title, (folder,), lambda programs: programs.thumbnails(files, 160, embedded),
               goals=(AHEAD,), slow=True)


def threads(count, *goals):
    """Files of many kinds on several threads; the reference is one thread."""
    return Row(f"threads-{count}", f"{len(MIXED)} mixed files → 800×600, {count} threads, reference: one", ("mixed",),
               inside=Inside("pictures", str(count), MIXED, SMALL, program="BenchThreads"), goals=goals,
               slow=True)


def frame(size, sides, group):
    file = f"{sides}-{group}.mp4"
    case = f"frameAt5s/{size}" + ("" if group == 250 else f"_group{group}") + "/"
    return Row(f"frame-{size.lower()}-{group}", f"Frame at 5 s, {size}, key frame every {group}",
               (file,), lambda programs: programs.frame(file, 5), Benchmark("VideoBenchmark", case),
               (AHEAD, NEAR_CODEC))


def case(name, title, program, pattern, *goals, files=()):
    """Measured by a benchmark program in process only."""
    return Row(name, title, files, inside=Benchmark(program, pattern), goals=goals)


# Of twenty files; the others are photographs. What takes long is not the last. Sixty take six seconds
# of a processor, most of it the videos and HEIC files, and a row has six turns.
RARE = {1: "png", 2: "mp4", 4: "dng", 5: "tif", 8: "heic", 11: "webp", 14: "psd", 17: "png"}
MIXED = tuple(f"mixed/{number:05}.{RARE.get(number % 20, 'jpg')}" for number in range(60))
HD = "1920x1080-250.mp4"
METADATA_GOALS = (Goal(1.2, "exiv2"), NEAR_CODEC)

ROWS = [
    small("jpeg-adobe", "24 MP JPEG, Adobe RGB, orientation 6 → 800×600", "adobe.jpg", "jpeg", True),
    small("jpeg", "24 MP JPEG without profile → 800×600", "plain.jpg", "jpeg"),
    full("jpeg-adobe-full", "24 MP JPEG, Adobe RGB, orientation 6, full size", "adobe.jpg", True,
         (Goal(1.2, "vips"), Goal(1.5, "codec"))),
    full("jpeg-full", "24 MP JPEG without profile, full size", "plain.jpg", False,
         (Goal(1.2, "vips"), Goal(1.5, "codec"))),
    small("png", "24 MP PNG → 800×600", "photo.png", "png",
          goals=(Goal(1.0, "plain Qt"), AHEAD, NEAR_CODEC)),
    small("png-adobe", "24 MP PNG, Adobe RGB → 800×600", "adobe.png", "png", True,
          goals=(Goal(1.0, "plain Qt"), AHEAD, NEAR_CODEC)),
    full("png-full", "24 MP PNG, full size", "photo.png", False,
         (Goal(1.2, "vips"), Goal(1.5, "codec")), "png"),
    small("tiff", "24 MP TIFF → 800×600", "photo.tif", goals=(AHEAD,)),
    small("webp", "24 MP WEBP → 800×600", "photo.webp", "webp",
          goals=(Goal(1.0, "vips"), AHEAD, NEAR_CODEC)),
    small("heic", "12 MP HEIC → 800×600", "photo.heic", "heic",
          goals=(Goal(0.65, "heif-thumbnailer"), AHEAD, NEAR_CODEC),
          make=lambda programs: programs.heic("photo.heic", SMALL), slow=True),
    small("heic-thumbnail", "12 MP HEIC with a thumbnail of 1024 → 800×600", "thumb.heic", "heic",
          goals=(AHEAD,), make=lambda programs: programs.heic("thumb.heic", SMALL), slow=True),
    small("jp2", "24 MP JPEG 2000 → 800×600", "photo.jp2", "jpeg2000", slow=True),
    small("psd", "24 MP Photoshop, Adobe RGB → 800×600", "photo.psd", profile=True, goals=(AHEAD,)),
    small("raw", "24 MP raw without preview → 800×600", "photo.dng", "raw",
          make=lambda programs: programs.raw("photo.dng", SMALL, False)),
    small("raw-preview", "24 MP raw with a preview → 800×600", "preview.dng", "raw",
          make=lambda programs: programs.raw("preview.dng", SMALL, True)),
    Row("svg", "Drawing of 1500 paths → 2000×1500", ("drawing.svg",),
        lambda programs: programs.drawing("drawing.svg", 2000), goals=(AHEAD,)),
    thumbnails("thumbs-embedded", "200 thumbnails of 160, with embedded ones", "thumbs", True),
    thumbnails("thumbs", "200 thumbnails of 160, without", "no-thumbs", False),
    metadata(1, AHEAD, title="Metadata of a file"),
    metadata(200, *METADATA_GOALS),
    metadata(5000, *METADATA_GOALS),
    Row("rating", "A rating into 200 files of 6 MP", ("thumbs",),
        lambda programs: programs.rating(names("thumbs", 200)), goals=(AHEAD,), slow=True),
    *(case(f"icc-{state}-{kind}", f"{title} ({kind}), reference: Little CMS", "ColorBenchmark",
           f"^{function}/{number}/", Goal(limit, "inside"))
      for state, title, function, limit in (("cold", "800×600 of a new profile", "newProfile", 1.2),
                                            ("warm", "24 MP of a known profile", "knownProfile", 0.5))
      for number, kind in enumerate(("matrix", "table"))),
    case("scale-bilinear", "24 MP scaled bilinearly → 800×533, reference: Qt's smooth scaling",
         "ScalingBenchmark", "bilinear_vs_qt_smooth/24MP", Goal(1.0, "inside")),
    case("scale-bicubic", "24 MP scaled bicubicly → 800×533, reference: Qt's smooth scaling",
         "ScalingBenchmark", "bicubic_vs_qt_smooth/24MP", Goal(1.0, "inside")),
    *(case(f"turn-{orientation}", f"24 MP of orientation {orientation} turned, reference: a copy",
           "RotationBenchmark", f"rotation_vs_copy/6000x4000/{orientation}/", Goal(1.25, "inside"))
      for orientation in range(5, 9)),
    Row("clip", "Clip of a 24 MP JPEG for A4 at 300 dpi", ("adobe.jpg",),
        lambda programs: programs.clip("adobe.jpg"), goals=(AHEAD,)),
    frame("1080p", "1920x1080", 30),
    frame("1080p", "1920x1080", 250),
    frame("4K", "3840x2160", 30),
    frame("4K", "3840x2160", 250),
    case("frames-in-order", "100 frames of 1080p in order", "VideoBenchmark", "framesInOrder/",
         NEAR_CODEC, files=(HD,)),
    case("frames-at-random", "100 frames of 1080p at random", "VideoBenchmark", "framesAtRandom/",
         NEAR_CODEC, files=(HD,)),
    Row("storyboard", "Storyboard of 20 frames of 1080p", (HD,),
        lambda programs: programs.storyboard(HD, 20), goals=(AHEAD,)),
    *(threads(count, *goals) for count, goals in (
        (1, ()), (2, (Goal(round(1 / 1.8, 3), "inside"),)), (4, ()), (8, ()))),
    Row("sizes", "size() of 200 files, reference: plain Qt", ("files",),
        inside=Inside("sizes", "qt", names("files", 200)), goals=(Goal(1.0, "inside"),)),
    Row("start", "Start-up: --help", (), lambda programs: programs.start(), goals=(Goal(25, "ms"),)),
    Row("start-formats", "Start-up: the list of formats", (), lambda programs: programs.formats(),
        goals=(Goal(25, "ms"),)),
    Row("first-size", "Host's first size() of a JPEG", ("plain.jpg",),
        inside=Inside("sizes", "-", ("plain.jpg",), fresh=True), goals=(Goal(10, "ms"),)),
    Row("first-picture", "Host's first 24 MP JPEG → 800×600", ("plain.jpg",),
        inside=Inside("picture", "jpeg", ("plain.jpg",), SMALL, fresh=True)),
    *(small(f"size-{megapixels}", f"{megapixels} MP JPEG → 800×600", f"size{megapixels}.jpg", "jpeg")
      for megapixels in (1, 6, 24, 100)),
    *(metadata(count, *METADATA_GOALS) for count in (10, 100, 1000, 10000)),
]
