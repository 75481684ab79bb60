#!/usr/bin/env python3
"""Checks that shared libraries export the names of a list only. Exits 1 and prints all others.

Usage: check_symbols.py LIST LIBS LIBRARY...
LIST has a regular expression a line; LIBS is the folder of the sources, whose private headers may
export nothing.
"""
import pathlib
import re
import subprocess
import sys


def exported(library):
    """The names, without the version of each symbol and without the version itself."""
    lines = subprocess.run(["nm", "-DC", "--defined-only", library],
                           check=True, capture_output=True, text=True).stdout.splitlines()
    for line in lines:
        kind, name = line.split(maxsplit=2)[1:]
        if kind != "A":
            yield re.sub(r"@+RK_[\d.]+$", "", name)


patterns = [line for line in pathlib.Path(sys.argv[1]).read_text(encoding="utf-8").splitlines()
            if line and not line.startswith("#")]
allowed = re.compile("|".join(f"(?:{pattern})" for pattern in patterns))
breaches = [f"{header} exports a private class" for header in pathlib.Path(sys.argv[2]).rglob("*_p.h")
            if "_EXPORT" in header.read_text(encoding="utf-8")]
for library in sys.argv[3:]:
    names = list(exported(library))
    if not names:
        breaches.append(f"{library} exports nothing")
    breaches += [f"{library}: {name}" for name in names if not allowed.fullmatch(name)]
print("\n".join(breaches) if breaches else "all exported names are on the list")
sys.exit(1 if breaches else 0)
