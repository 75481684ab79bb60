"""Checks that sources, CMake, corpora and docs/testing.md have the same fuzz targets.

Usage: check_fuzz_targets.py PROJECT
"""
import pathlib
import re
import sys

project = pathlib.Path(sys.argv[1])
cmake = (project / "fuzz/CMakeLists.txt").read_text(encoding="utf-8")
table = re.search(r"\| Target \|.*?\n\n", (project / "docs/testing.md").read_text(encoding="utf-8"), re.S)
targets = {
    "fuzz/*Fuzzer.cpp": {path.name[:-len("Fuzzer.cpp")] for path in project.glob("fuzz/*Fuzzer.cpp")},
    "fuzz/CMakeLists.txt": set(re.findall(r"^\s*rk_add_fuzzer\((\w+)", cmake, re.M)),
    "fuzz/corpora": {path.name for path in project.glob("fuzz/corpora/*") if any(path.iterdir())}.union(
        re.findall(r"rk_add_fuzzer\((\w+) CORPUS", cmake)),
    "docs/testing.md": set(re.findall(r"`(\w+)`", "\n".join(
        line.split("|")[1] for line in (table[0] if table else "").strip().splitlines()))),
}
everything = set.union(*targets.values())
missing = [f"{place}: no {name}" for place, names in targets.items() for name in sorted(everything - names)]
print("\n".join(missing))
sys.exit(1 if missing or not everything else 0)
