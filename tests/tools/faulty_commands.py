#!/usr/bin/env python3
"""Has every command of rkimage that writes fail, or killed, at each call of the system.

Usage: faulty_commands.py RKIMAGE FAULTS SOURCES [--all] [--disks] [--kills N]
       [--commands NAME,...]

FAULTS is the library of tests/support/faults, SOURCES the root of the project. Without --all, a few
calls of each kind fail. Instead of that, --disks makes small file systems full, and read-only (it
needs the right to mount), and --kills has each command killed, and interrupted, at random moments.

Whatever happens: the sources stay as they are; each result is complete or as before; nothing is left
beside them, after a kill hidden files at most; the exit code and one line with a file's name tell of
the failure, and if there is none, everything is as without the fault.
"""
import argparse
import concurrent.futures
import errno
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import edited_files

# As in RKFaults.h.
CALLS = "Open Read Write Flush Rename Link Resize Close Attribute MakeFolder".split()
ANY_CALL, SHORT, KILL = len(CALLS), -1, -2
FAULTS = {"Open": (errno.EIO, errno.EACCES, errno.EMFILE), "Read": (errno.EIO, errno.EINTR, SHORT),
          "Write": (errno.ENOSPC, errno.EIO, errno.EINTR, SHORT), "Flush": (errno.EIO, errno.EINTR),
          "Attribute": (errno.EPERM, errno.EIO), "Close": (errno.EIO, errno.EINTR)}
# After these a command has to go on.
HARMLESS = {("Read", errno.EINTR), ("Read", SHORT), ("Write", errno.EINTR), ("Write", SHORT), ("Flush", errno.EINTR)}
LONG_AGO, SKIPPED, INTERRUPTED = 10 ** 9, 77, 128 + signal.SIGINT
# Words with a dot or a slash are files in the folder of the run.
COMMANDS = {name: line for name, line in (entry.split(": ") for entry in """
set: set --rating 4 --title T in/rich.jpg; set-folder: set -r in/ --ext jpg,png --rotate cw --preserve-mtime
set-backup: set --rating 4 --backup in/photo.jpg; set-icc: set --icc profile.icc --thumbnail auto in/photo.jpg
set-copy: set --copy-from in/rich.jpg in/copy.jpg; set-dry: set --rating 4 --dry-run in/rich.jpg
faces-set: faces set in/photo.jpg faces.json; faces-remove: faces remove in/faces.jpg
faces-draw: faces draw in/photo.jpg out/drawn.png; convert: convert --overwrite --strip in/photo.jpg out/new.png
convert-keep: convert --overwrite --keep-metadata in/photo.jpg out/new.jpg
convert-tiff: convert --overwrite in/photo.jpg out/new.tif --size 300x300
convert-folder: convert -r in/ --jobs 1 --out out/ --format jpg --overwrite --size 99x99
convert-out: convert in/photo.jpg - --format png; thumb: thumb --size 100 -r in/ --jobs 1 --out out/small
thumb-map: thumb --size 300 -r in/ --jobs 1 --out out/small --map out/map.jsonl
thumb-shared: thumb --size 256 -r in/ --jobs 1 --freedesktop; thumb-out: thumb --size 300 in/photo.jpg --out -
clip: clip --center --production 500x300 --dpi 200 in/photo.jpg out/clip.png
sheet-png: sheet -r in/ --jobs 1 --out out/sheet.png; sheet-pdf: sheet -r in/ --jobs 1 --out out/sheet.pdf
sheet-html: sheet -r in/ --jobs 1 --out out/sheet.html; sheet-out: sheet in/copy.jpg --out - --format png
frame: frame clip.mp4 out/frame.png; frame-out: frame clip.mp4 - --format png
frames: frames clip.mp4 --count 3 --out out/frames --sheet out/frames.png
compare: compare in/photo.jpg in/faces.jpg --diff out/difference.png
""".strip().replace("; ", "\n").splitlines())}
# Of several files, some of which are missing in them after a failure; and how they end.
OVERVIEWS = {"out/sheet.png": b"IEND\xaeB`\x82", "out/frames.png": b"IEND\xaeB`\x82", "out/sheet.pdf": b"%%EOF\n",
             "out/sheet.html": b"</html>\n", "out/map.jsonl": b"}\n"}

# A map of thumbnails replaces nothing but one.
OLD = b'{"file": "old"}\n'


def is_overview(file, content):
    return content == b"" if file == "out/map.jsonl" and not content else (
        file in OVERVIEWS and content is not None and content.endswith(OVERVIEWS[file]))


def sources(options, project, scratch):
    """What the commands find."""
    def made(*words):
        subprocess.run([options.rkimage, *words], check=True)
        return photo.read_bytes()
    profile = (project / "libs/RKImageLoader/resources/compatibleWithAdobeRGB1998.icc").read_bytes()
    rich = edited_files.files(profile)
    photo, faces = scratch / "photo.jpg", scratch / "faces.json"
    shutil.copy(project / "docs/example.jpg", photo)
    faces.write_text('[{"rect": [0.25, 0.5, 0.1, 0.2], "name": "Zoe"}]')
    return {"in/copy.jpg": photo.read_bytes(), "in/photo.jpg": made("set", photo, "--orientation", "6", "--title", "T"),
            "in/faces.jpg": made("faces", "set", photo, faces), "in/rich.jpg": rich["little.jpg"],
            "in/texts.png": rich["texts.png"], "profile.icc": profile, "faces.json": faces.read_bytes(),
            "clip.mp4": (project / "tests/data/mp4/numbered.mp4").read_bytes()}


def state(path):
    """Content, age and mode of every file."""
    def of(file):
        content = file.read_bytes().replace(os.fsencode(path), b"FOLDER")
        if content[:4] == b"%PDF":  # It has a random number in it.
            content = content[:9] + bytes(len(content) - 15) + content[-6:]
        # Faces have the time of their entry.
        content = re.sub(rb"20\d\d-\d\d-\d\dT[\d:.+Z-]+|20\d\d:\d\d:\d\d \d\d:\d\d:\d\d", b"TIME", content)
        # Qt's savers ignore that a new file gets no mode.
        mode = 0 if file.is_relative_to(path / "out") else file.stat().st_mode & 0o777
        return content, file.stat().st_mtime == LONG_AGO, mode
    return {str(file.relative_to(path)): of(file) for file in sorted(path.rglob("*")) if file.is_file()}


class Command:
    """One command, and what it makes without a fault."""

    def __init__(self, options, name, has_old):
        self.options, self.name = options, name
        self.old, self.after = (), {}
        self.path = options.scratch / name
        reference = self.run_anew()
        if has_old:
            self.old = [file for file in self.after if file not in self.before and not file.startswith("cache")]
            self.after = {}
            reference = self.run_anew()
        self.output = reference.output
        if reference.returncode != 0 or (self.before == self.after and not self.output):
            sys.exit(f"{name}: {reference.returncode}: {reference.errors}")

    def make_files(self):
        for name in "in", "out", "cache", "tmp":
            (self.path / name).mkdir(parents=True, exist_ok=True)
        for name, content in {**self.options.files, **{name: OLD for name in self.old}}.items():
            file = self.path / name
            file.parent.mkdir(exist_ok=True)
            file.write_bytes(content)
            os.utime(file, (LONG_AGO, LONG_AGO))

    def run_anew(self, **arguments):
        shutil.rmtree(self.path, ignore_errors=True)
        self.make_files()
        return self.run(**arguments)

    def run(self, fault=None, meanwhile=None):
        self.before = state(self.path)
        begin = time.monotonic()
        log = self.options.logs / self.name
        environment = {"QT_QPA_PLATFORM": "offscreen", "LC_ALL": "C.UTF-8", "TZ": "Pacific/Chatham", "QT_HASH_SEED": "0",
                       "HOME": str(self.path), "XDG_CACHE_HOME": f"{self.path}/cache", "TMPDIR": f"{self.path}/tmp"}
        if fault:
            environment |= {"LD_PRELOAD": str(self.options.faults), "RK_FAULT": "{} {} {}".format(*fault),
                            "RK_FAULT_FOLDER": f"{self.path}/", "RK_FAULT_LOG": str(log)}
        words = [f"{self.path}/{word}" if re.search("[./]", word) else word for word in COMMANDS[self.name].split()]
        with tempfile.TemporaryFile(dir=self.options.logs) as out, subprocess.Popen(
                [self.options.rkimage, *words], env=environment, stdin=subprocess.DEVNULL, stdout=out,
                stderr=subprocess.PIPE, text=True, errors="replace") as run:
            if meanwhile:
                meanwhile(run)
            run.errors = run.communicate(timeout=600)[1].strip()
            out.seek(0)
            run.output = out.read().replace(os.fsencode(self.path), b"FOLDER")
        run.fault = log.read_text() if log.exists() else ""
        log.unlink(missing_ok=True)
        if not self.after:
            self.seconds = time.monotonic() - begin
            self.after = state(self.path)
        return run

    def check(self, what, run, is_killed=False, is_harmless=False):
        for text in self.wrong(run, is_killed, is_harmless):
            self.options.found += 1
            print(f"{self.name}{' over old' if self.old else ''}: {what}: {text}")

    def wrong(self, run, is_killed, is_harmless):
        found = state(self.path)
        for file in sorted({**self.before, **self.after, **found}):
            content, *known = (files.get(file, (None,))[0] for files in (found, self.before, self.after))
            if file in self.before or file in self.after:
                is_partial = run.returncode == 1 or (run.returncode == INTERRUPTED and file == "out/map.jsonl")
                if content not in known and not (is_partial and is_overview(file, content)):
                    yield f"{file} is neither old nor new: {None if content is None else len(content)} bytes"
            elif not is_killed or not (file.startswith("tmp/") or pathlib.Path(file).name.startswith(".")):
                yield f"{file} is left"
        if is_killed or run.returncode == INTERRUPTED:
            return
        if run.returncode == 0:
            changed = [file for file in {**found, **self.after} if found.get(file) != self.after.get(file)]
            if changed or run.output != self.output:
                yield f"no failure is told of {changed or 'standard output'}"
        elif run.returncode != 1 or is_harmless:
            yield f"exit code {run.returncode}: {run.errors}"
        elif not re.search("^rkimage: (-|.*/|standard output)", run.errors, re.MULTILINE):
            yield f"no line names a file: {run.errors}"

    def at_calls(self, call, fault):
        """Has the calls of a kind fail, one after the other, or some of them."""
        number, count, step = 1, 0, 1
        kind = CALLS[call] if call < len(CALLS) else ""
        name = {KILL: "kill", SHORT: "short"}.get(fault) or errno.errorcode[fault]
        while True:
            run = self.run_anew(fault=(call, number, fault))
            if not run.fault:
                return count
            count += 1
            self.check(f"{name} at {run.fault} ({kind} {number})", run, fault == KILL, (kind, fault) in HARMLESS)
            step *= 1 if self.options.all else 3
            number += step

    def on_small_disks(self):
        """On a read-only file system, and on such with room for a little more than the sources."""
        extra, count = 0, 0
        while True:
            shutil.rmtree(self.path, ignore_errors=True)
            self.path.mkdir(parents=True)
            subprocess.run(["mount", "-t", "tmpfs", "none", self.path], check=True)
            try:
                self.make_files()
                room = f"size={shutil.disk_usage(self.path).used // 1024 + extra}k" if count else "ro"
                subprocess.run(["mount", "-o", f"remount,{room}", self.path], check=True)
                run = self.run()
                self.check(f"{extra} KiB left" if count else "read-only", run)
            finally:
                # A process that another thread is just starting may still have open what this one had.
                subprocess.run(["umount", "--lazy", self.path], check=True)
            count += 1
            if count > 1 and run.returncode == 0:
                return count
            extra += 4 * (1 + extra // 32) if count > 1 else 0

    def interrupted(self, count):
        for number in range(count):
            kind = signal.SIGINT if number % 4 == 0 else signal.SIGKILL

            def interrupt(process):
                time.sleep(random.uniform(0, 1.2 * self.seconds))
                process.send_signal(kind)
            run = self.run_anew(meanwhile=interrupt)
            self.check(kind.name, run, run.returncode < 0)
        return count


def try_command(options, name):
    begin, count = time.monotonic(), 0
    for has_old in (False, True) if options.all else (True,):
        command = Command(options, name, has_old)
        if has_old and not command.old and options.all:
            continue
        if options.disks:
            count += command.on_small_disks()
        elif options.kills:
            count += command.interrupted(options.kills)
        else:
            count += command.at_calls(ANY_CALL, KILL) + sum(
                command.at_calls(call, fault) for call, kind in enumerate(CALLS)
                for fault in FAULTS.get(kind, (errno.EIO, errno.ENOSPC))[:None if options.all else 1])
    print(f"{name}: {count} runs, {time.monotonic() - begin:.0f} s", flush=True)
    return count


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("paths", nargs=3, type=lambda name: pathlib.Path(name).absolute())
    parser.add_argument("--all", action="store_true")
    parser.add_argument("--disks", action="store_true")
    parser.add_argument("--kills", type=int, default=0)
    parser.add_argument("--commands", type=lambda names: names.split(","), default=list(COMMANDS))
    options = parser.parse_args()
    options.rkimage, options.faults, project = options.paths
    options.found = 0
    with tempfile.TemporaryDirectory() as scratch:
        options.scratch, options.logs = pathlib.Path(scratch, "runs"), pathlib.Path(scratch, "logs")
        options.logs.mkdir()
        options.files = sources(options, project, options.logs)
        if options.disks and subprocess.run(["unshare", "-m", "mount", "-t", "tmpfs", "none", options.logs],
                                            check=False).returncode != 0:
            print("skipped: nothing can be mounted")
            return SKIPPED
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            total = sum(pool.map(lambda name: try_command(options, name), options.commands))
    print(f"{total} runs, {options.found} wrong")
    # None if the faults could not be loaded.
    return 0 if total and not options.found else 1


if __name__ == "__main__":
    sys.exit(main())
