#!/usr/bin/env python3
"""Checks that the README shows the examples as they are, and that links in documents lead to files.

Usage: check_documents.py ROOT
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1])
SHOWN = re.compile(r"<!-- (examples/\S+) -->\n```\w*\n(.*?)```\n", re.DOTALL)
LINK = re.compile(r"\]\(([^)#:]+)\)")

problems = []
shown = SHOWN.findall((ROOT / "README.md").read_text(encoding="utf-8"))
if not shown:
    problems.append("README.md shows no example")
for path, code in shown:
    if code != (ROOT / path).read_text(encoding="utf-8"):
        problems.append(f"README.md: {path} is another one")
for page in [*ROOT.glob("*.md"), *(ROOT / "docs").rglob("*.md")]:
    text = re.sub(r"^```.*?^```$", "", page.read_text(encoding="utf-8"), flags=re.DOTALL | re.MULTILINE)
    for target in LINK.findall(text):
        if not (page.parent / target).exists():
            problems.append(f"{page.relative_to(ROOT)}: there is no {target}")
print("\n".join(problems))
sys.exit(1 if problems else 0)
