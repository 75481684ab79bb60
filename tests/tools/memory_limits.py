#!/usr/bin/env python3
"""Has rkimage describe, decode and change files with ever more memory, until it succeeds.

Usage: memory_limits.py RKIMAGE FILE... [--step MEBIBYTES]

The limit of the address space begins where the program starts at all. Each run has to do the same as
one without a limit, or has to end with exit code 1 and a line that names the file and the reason.
"""
import argparse
import collections
import pathlib
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile

COMMANDS = {"info": "info {0}", "convert": "convert --overwrite --strip {0} {1}/out.png",
            "set": "set --rating 3 {1}/{2}"}
MAX_MEBIBYTES = 4096
# Of the standard library and of the loader, before main().
NOT_STARTED = 127


def run(options, folder, command, file, limit):
    """Exit code, messages, and what was made."""
    for old in folder.iterdir():
        old.unlink()
    shutil.copyfile(file, folder / file.name)
    words = [word.format(file, folder, file.name) for word in COMMANDS[command].split()]

    def restrict():
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        if limit:
            resource.setrlimit(resource.RLIMIT_AS, (limit << 20, limit << 20))
    try:
        done = subprocess.run([options.rkimage, *words], preexec_fn=restrict, capture_output=True,
                              stdin=subprocess.DEVNULL, timeout=120, check=False)
    except subprocess.TimeoutExpired:
        return "hang", "", ()
    made = {path.name: path.read_bytes() for path in folder.iterdir()}
    return done.returncode, done.stderr.decode(errors="replace"), (done.stdout, made)


def fault(command, code, errors, result, expected, file):
    """What is wrong; empty for an honest result."""
    if code == expected[0]:
        return "" if result == expected[2] else "another result"
    if code != 1:
        return signal.Signals(-code).name if isinstance(code, int) and code < 0 else str(code)
    if not re.search(f"^rkimage: .*({re.escape(file.name)}|out.png): .", errors, re.MULTILINE):
        return "no reason"
    return "changed" if result[1].get(file.name) != file.read_bytes() else ""


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("rkimage", type=lambda name: pathlib.Path(name).absolute())
    parser.add_argument("files", nargs="+", type=lambda name: pathlib.Path(name).absolute())
    parser.add_argument("--step", type=int, default=16)
    parser.add_argument("--commands", type=lambda names: names.split(","), default=list(COMMANDS))
    options = parser.parse_args()
    found = 0
    print(f"{'file':40}{'command':9}{'from':>6}{'to':>6}  reasons and faults")
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch)
        for file in options.files:
            for command in options.commands:
                expected = run(options, folder, command, file, None)
                first, reasons = None, collections.Counter()
                for limit in range(options.step, MAX_MEBIBYTES, options.step):
                    code, errors, result = run(options, folder, command, file, limit)
                    if code == NOT_STARTED or (first is None and code in (-signal.SIGSEGV, -signal.SIGKILL)):
                        continue
                    first = first or limit
                    text = fault(command, code, errors, result, expected, file)
                    if text:
                        found += 1
                        reasons[f"{text.upper()} at {limit}: {errors.strip()[-300:]}"] += 1
                    elif code == expected[0]:
                        break
                    else:
                        reasons[errors.strip().split(": ", 2)[-1][:60]] += 1
                told = "; ".join(f"{number} x {reason}" for reason, number in reasons.items())
                print(f"{file.name[:39]:40}{command:9}{first or 0:6}{limit:6}  {told}", flush=True)
    print(f"{found} faults")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
