#!/usr/bin/env python3
"""Looks at the manual pages and completions of rkimage: documents_test.py TOOL FOLDER."""
import pathlib
import re
import subprocess
import sys

tool, folder = sys.argv[1], pathlib.Path(sys.argv[2])


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False)


def completed(*words):
    script = (f'source "{folder}/rkimage.bash"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); '
              '_rkimage; echo "${COMPREPLY[*]}"')
    return run("bash", "-c", script, "bash", *words).stdout.split()


failures = []
pages = sorted(folder.glob("*.1"))
for page in pages:
    warnings = run("man", "--warnings", "-l", "-Tutf8", "-Z", str(page)).stderr
    if warnings:
        failures.append(f"{page.name}: {warnings}")

# Every option that the help names is in the manual and completed; one for each command.
commands = re.findall(r"^  (\w+)  ", run(tool, "--help").stdout.split("Subcommands:")[1], re.M)
if {page.stem for page in pages} != {"rkimage"} | {"rkimage-" + name for name in commands}:
    failures.append(f"pages {[page.name for page in pages]} for commands {commands}")
for name in commands:
    text = (folder / f"rkimage-{name}.1").read_text().replace("\\-", "-")
    words = completed("rkimage", name, "-")
    for option in re.findall(r"^  (?:-\w,)?(--[\w-]+)", run(tool, name, "--help").stdout, re.M):
        if option not in text or option not in words:
            failures.append(f"{name} {option}: in the manual {option in text}, completed {words}")
if "H:M:S.MS|P%|N" not in (folder / "rkimage-frame.1").read_text():
    failures.append("the value of --at is cut")
if completed("rkimage", "--config", "x", "--color", "never", "comp") != ["compare"]:
    failures.append("compare is not completed")

print("\n".join(failures))
sys.exit(1 if failures or not commands else 0)
