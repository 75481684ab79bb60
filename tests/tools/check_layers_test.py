"""Tests scripts/check-layers on small trees. Usage: check_layers_test.py PATH_OF_CHECK_LAYERS"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = sys.argv.pop(1)
LISTS = "rk_add_library(RKImageLoader\n    PUBLIC_HEADERS\n        media/A.h\n    SOURCES\n        media/A.cpp)\n"


def run(files):
    with tempfile.TemporaryDirectory() as folder:
        for name, text in {"libs/RKImageLoader/CMakeLists.txt": LISTS, **files}.items():
            path = pathlib.Path(folder, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        done = subprocess.run(
            [sys.executable, SCRIPT, folder], capture_output=True, text=True, check=False)
        return done.returncode, done.stdout


class CheckLayersTest(unittest.TestCase):
    def breach(self, name, include, message):
        code, output = run({name: f"#include {include}\n"})
        self.assertEqual(code, 1, output)
        self.assertIn(f"{name}:1: ", output)
        self.assertIn(message, output)

    def test_breaches_are_found(self):
        self.breach("libs/RKImageLoader/media/A.cpp", '"RKImageLoader/loading/L.h"', "may not include")
        self.breach("libs/RKImageLoader/faces/F.cpp", '"RKGeoLocation/RKGeoArc.h"', "may not include")
        self.breach("libs/RKImageLoader/loading/L.cpp", "<exiv2/exiv2.hpp>", "belongs to")
        self.breach("libs/RKImageLoader/media/A.h", '"RKImageLoader/media/A_p.h"', "not public")
        self.breach("libs/RKImageLoader/media/A.h", "<exiv2/exiv2.hpp>", "public header includes")
        self.breach("apps/tool/main.cpp", '"RKImageLoader/media/Hidden.h"', "not public")
        self.breach("apps/rkbrowser/video/V.cpp", '"panel/P.h"', "may not include")
        code, output = run({"libs/RKImageLoader/misc/M.cpp": "\n"})
        self.assertEqual(code, 1, output)
        self.assertIn("is not in LAYERS", output)


if __name__ == "__main__":
    unittest.main()
