"""Runs the programs of a row by turns and checks what they make."""
import dataclasses
import json
import math
import os
import pathlib
import re
import shutil
import statistics
import subprocess

import pictures
from programs import CODEC, OURS
from rows import Benchmark
from workload import Failed

# Scalers differ by a level or two, other profiles or orders of steps by one more. A picture that
# lies on its side or keeps its colours differs by far more.
MAX_DIFFERENCE = 5.0
# Programs round sides their own way.
MAX_SIDE_DIFFERENCE = 1


@dataclasses.dataclass
class Samples:
    """Milliseconds by the clock and on the processors, and the most memory in KiB."""
    wall: list = dataclasses.field(default_factory=list)
    cpu: list = dataclasses.field(default_factory=list)
    peak: int = 0
    differs: str = ""
    counts: bool = True

    def add(self, wall, cpu, peak=0):
        self.wall.append(wall)
        self.cpu.append(cpu)
        self.peak = max(self.peak, peak)

    def median(self, kind):
        return statistics.median(getattr(self, kind))


@dataclasses.dataclass
class Result:
    row: object
    programs: dict = dataclasses.field(default_factory=dict)
    inside: dict = dataclasses.field(default_factory=dict)
    failure: str = ""
    # What the row's files can't be made without.
    missing: str = ""
    # Peers that can't do the work, and what they said.
    unable: dict = dataclasses.field(default_factory=dict)

    def peers(self):
        return {name: samples for name, samples in self.programs.items()
                if name not in (OURS, CODEC, "before")}

    def best_peer(self, kind):
        peers = {name: samples for name, samples in self.peers().items() if samples.counts}
        return min(peers, key=lambda name: peers[name].median(kind)) if peers else None

    def ratio(self, against, kind):
        """Ours as a multiple of a program's, or of the reference in process; None for neither."""
        if against == "inside":
            ours, other = self.inside.get(OURS), self.inside.get(CODEC)
        else:
            name = self.best_peer(kind) if against == "best" else against
            ours, other = self.programs.get(OURS), self.programs.get(name)
        if not ours or not other:
            return None
        return ours.median(kind) / max(other.median(kind), 0.001)

    def ours(self, kind):
        samples = self.programs.get(OURS) or self.inside.get(OURS)
        return samples.median(kind) if samples else None

    def verdict(self, goal, kind):
        """Whether the goal is met; None if it can't be told."""
        value = self.ours(kind) if goal.against == "ms" else self.ratio(goal.against, kind)
        return None if value is None else value <= goal.limit


class Runner:
    def __init__(self, workload, programs, repeat):
        self.workload = workload
        self.programs = programs
        self.repeat = repeat
        self.out = workload.folder / "out"
        self.environment = os.environ | {
            "QT_QPA_PLATFORM": "offscreen", "LC_ALL": "C.UTF-8", "QT_LOGGING_RULES": "*=false",
            "RK_BENCHMARK_CLIPS": str(workload.folder)}

    def run(self, row):
        repeat = max(1, math.ceil(self.repeat / 3)) if row.slow else self.repeat
        result = Result(row)
        for name in row.files:
            self.workload.ensure(name)
        commands = row.commands(self.programs)
        self.try_all(commands, result)
        for _ in range(repeat):
            for name, command in commands.items():
                samples = result.programs.setdefault(name, Samples(
                    differs=command.differs, counts=command.counts))
                samples.add(*self.process(name, command))
        if isinstance(row.inside, Benchmark):
            self.benchmark(row.inside, result)
        elif row.inside:
            self.in_process(row.inside, repeat, result)
        return result

    def try_all(self, commands, result):
        """Warms the disk's cache, shows whether all do the same and leaves out who can't."""
        for name, command in list(commands.items()):
            try:
                self.process(name, command)
            except Failed as error:
                if name in (OURS, CODEC):
                    raise
                result.unable[name] = str(error)
                del commands[name]
        self.check(commands)

    def folder(self, name):
        return self.out / name.replace(" ", "-")

    def process(self, name, command):
        folder = self.folder(name)
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        for file in command.changes:
            shutil.copy(self.workload.folder / file, folder)
        arguments = [argument.replace("{out}", str(folder)) for argument in command.arguments]
        wrapped = [self.programs.helper("BenchRun"), str(folder / "stdout"), str(folder / "stderr")]
        done = self.call(wrapped + arguments)
        code, wall, cpu, peak = done.split()
        if int(code) != 0:
            messages = (folder / "stderr").read_text(errors="replace").strip()[-300:]
            raise Failed(f"{name} ended with {code}: {messages}")
        return float(wall), float(cpu), int(peak)

    def call(self, arguments):
        done = subprocess.run(arguments, env=self.environment, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True, check=False)
        if done.returncode != 0:
            raise Failed(f"{arguments[0]} ended with {done.returncode}: {done.stderr.strip()[-300:]}")
        return done.stdout

    def check(self, commands):
        """All pictures have the size and the colours of ours, and all files are there."""
        for name, command in commands.items():
            self.check_files(name, command)
        made = {name: self.folder(name) / command.result for name, command in commands.items()
                if command.result and not command.differs}
        if OURS not in made:
            return
        width, height = pictures.size(made[OURS])
        for name, path in made.items():
            other = pictures.size(path)
            if max(abs(other[0] - width), abs(other[1] - height)) > MAX_SIDE_DIFFERENCE:
                raise Failed(f"{name} made {other[0]}x{other[1]} pixels, ours {width}x{height}")
            if path.suffix in pictures.UNCOMPRESSED:
                difference = pictures.difference(made[OURS], path)
                if difference > MAX_DIFFERENCE:
                    raise Failed(f"{name}'s colours differ from ours by {difference:.1f} levels")

    def check_files(self, name, command):
        folder = self.folder(name)
        if command.count:
            count = sum(file.suffix == ".jpg" for file in folder.iterdir())
            if count != command.count:
                raise Failed(f"{name} made {count} files instead of {command.count}")
        for file in command.changes:
            if not re.search(command.pattern, (folder / pathlib.Path(file).name).read_bytes()):
                raise Failed(f"{name} has not changed {file}")

    def in_process(self, inside, repeat, result):
        files = self.programs.paths(inside.names) + [str(side) for side in inside.size]
        program = str(self.programs.build / "bin" / inside.program)
        turns = [1] * repeat if inside.fresh else [repeat + 1]
        for turn in turns:
            lines = self.call(
                [program, inside.kind, inside.reference, str(turn), *files]).splitlines()
            met = set()
            for line in lines:
                name, wall, cpu = line.split()
                # The first of many warms up.
                if inside.fresh or name in met:
                    result.inside.setdefault(name, Samples()).add(float(wall), float(cpu))
                met.add(name)

    def benchmark(self, benchmark, result):
        """The counters of Comparison.h."""
        output = self.call([self.programs.helper(benchmark.program), f"--benchmark_filter={benchmark.case}",
                            "--benchmark_format=json"])
        cases = json.loads(output)["benchmarks"]
        if len(cases) != 1:
            raise Failed(f"{benchmark.program} has {len(cases)} cases {benchmark.case}")
        for name, counter in ((OURS, "ours"), (CODEC, "reference")):
            plain = cases[0][f"{counter}_ms"]
            result.inside[name] = Samples([cases[0].get(f"{counter}_wall_ms", plain)],
                                          [cases[0].get(f"{counter}_cpu_ms", plain)])
