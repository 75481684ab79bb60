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
    """In one process, ours and a reference by turns: arguments of BenchInProcess after the number
    of repetitions, with files of the workload as {name}."""
    kind: str
    reference: str
    arguments: tuple
    # A new process for each repetition, which then has the costs of the first request.
    fresh: bool = False


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
               Inside("picture", codec or "-", (file, *SMALL)), goals, **more)


def full(name, title, file, profile, goals):
    return Row(name, title, (file,), lambda programs: programs.convert(file, None, profile, "jpeg"),
               Inside("picture", "jpeg", (file,)), goals)


def metadata(count, *goals):
    names = tuple(f"files/{number:05}.jpg" for number in range(count))
    return Row(f"metadata-{count}", f"Metadata of {count} files" if count > 1 else "Metadata of a file",
               ("files",), lambda programs: programs.metadata(names),
               Inside("metadata", "metadata", names), goals, slow=count > 1000)


ROWS = [
    small("jpeg-adobe", "24 MP JPEG, Adobe RGB, orientation 6 → 800×600", "adobe.jpg", "jpeg", True),
    small("jpeg", "24 MP JPEG without profile → 800×600", "plain.jpg", "jpeg"),
    full("jpeg-adobe-full", "24 MP JPEG, Adobe RGB, orientation 6, full size", "adobe.jpg", True,
         (Goal(1.2, "vips"), Goal(1.5, "codec"))),
    full("jpeg-full", "24 MP JPEG without profile, full size", "plain.jpg", False,
         (Goal(1.2, "vips"), Goal(1.5, "codec"))),
    small("png", "24 MP PNG → 800×600", "photo.png", "png", goals=(Goal(1.0, "plain Qt"), AHEAD, NEAR_CODEC)),
    small("tiff", "24 MP TIFF → 800×600", "photo.tif", goals=(AHEAD,)),
    small("webp", "24 MP WEBP → 800×600", "photo.webp", "webp", goals=(Goal(1.0, "vips"), AHEAD, NEAR_CODEC)),
    small("heic", "12 MP HEIC → 800×600", "photo.heic", "heic",
          goals=(Goal(0.65, "heif-thumbnailer"), AHEAD, NEAR_CODEC),
          make=lambda programs: programs.heic("photo.heic", SMALL), slow=True),
    small("heic-thumbnail", "12 MP HEIC with a thumbnail of 1024 → 800×600", "thumb.heic", "heic",
          goals=(AHEAD,), make=lambda programs: programs.heic("thumb.heic", SMALL), slow=True),
    small("jp2", "24 MP JPEG 2000 → 800×600", "photo.jp2", "jpeg2000", slow=True,
          make=lambda programs: programs.convert("photo.jp2", SMALL, False, "jpeg2000")),
    small("psd", "24 MP Photoshop, Adobe RGB → 800×600", "photo.psd", profile=True, goals=(AHEAD,)),
    small("raw", "24 MP raw without preview → 800×600", "photo.dng", "raw",
          make=lambda programs: programs.raw("photo.dng", SMALL, False)),
    small("raw-preview", "24 MP raw with a preview → 800×600", "preview.dng", "raw",
          make=lambda programs: programs.raw("preview.dng", SMALL, True)),
    metadata(1, AHEAD),
    metadata(200, Goal(1.2, "exiv2"), NEAR_CODEC),
    metadata(5000, Goal(1.2, "exiv2"), NEAR_CODEC),
    Row("start", "Start-up: --help", (), lambda programs: programs.start(), goals=(Goal(25, "ms"),)),
    Row("first-size", "Host's first size() of a JPEG", ("plain.jpg",),
        inside=Inside("sizes", "-", ("plain.jpg",), fresh=True), goals=(Goal(10, "ms"),)),
    Row("first-picture", "Host's first 24 MP JPEG → 800×600", ("plain.jpg",),
        inside=Inside("picture", "jpeg", ("plain.jpg", *SMALL), fresh=True)),
]
