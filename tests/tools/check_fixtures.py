"""Checks that every fixture is small and has a line in the README beside it.

Usage: check_fixtures.py FOLDER
"""
import pathlib
import sys

LARGEST = 32 * 1024

folder = pathlib.Path(sys.argv[1])
listed = (folder / "README.md").read_text(encoding="utf-8")
faults = []
for path in sorted(folder.rglob("*")):
    name = path.relative_to(folder).as_posix()
    if not path.is_file() or name == "README.md" or name.endswith(".actual.png"):
        continue
    if f"`{name}`" not in listed:
        faults.append(f"{name} is not listed in README.md")
    if path.stat().st_size > LARGEST:
        faults.append(f"{name} is larger than {LARGEST} bytes")
print("\n".join(faults) if faults else "all fixtures are listed and small")
sys.exit(1 if faults else 0)
