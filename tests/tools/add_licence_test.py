#!/usr/bin/env python3
"""Runs scripts/add-licence on a small folder: add_licence_test.py SCRIPT."""
import pathlib
import subprocess
import sys
import tempfile

FILES = {"a.h": "#pragma once\n", "run": "#!/bin/sh\nset -eu\n", "notes.md": "Notes.\n",
         "tests/data/x.py": "fixture\n"}
SPDX = "SPDX-FileCopyrightText: 2026 N. N.\n{} SPDX-License-Identifier: MIT OR Zlib\n\n"

with tempfile.TemporaryDirectory() as folder:
    root = pathlib.Path(folder)
    for name, text in FILES.items():
        (root / name).parent.mkdir(parents=True, exist_ok=True)
        (root / name).write_text(text, encoding="utf-8")
    # The second time there is nothing left to do.
    for _ in range(2):
        subprocess.run([sys.executable, sys.argv[1], "MIT OR Zlib", "2026 N. N.", folder], check=True)
    after = {name: (root / name).read_text(encoding="utf-8") for name in FILES}
wanted = dict(FILES, **{"a.h": "// " + SPDX.format("//") + "#pragma once\n",
                        "run": "#!/bin/sh\n# " + SPDX.format("#") + "set -eu\n"})
if after != wanted:
    sys.exit(f"wrong: {after}")
