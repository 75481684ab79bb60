"""Tests scripts/bench on a few quick rows. Usage: bench_test.py PATH_OF_BENCH BUILD_FOLDER"""
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import unittest

BUILD = sys.argv.pop()
SCRIPT = sys.argv.pop()


class BenchTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def bench(self, *rows, path=""):
        environment = os.environ | {"PATH": f"{path}{os.pathsep}{os.environ['PATH']}"}
        done = subprocess.run([SCRIPT, "--quick", "--build", BUILD, "--folder", self.folder.name, *rows],
                              env=environment, capture_output=True, text=True, check=False)
        results = pathlib.Path(self.folder.name, "quick/results.json")
        return done, json.loads(results.read_text(encoding="utf-8"))["rows"]

    def test_ratios_are_those_of_the_samples(self):
        done, rows = self.bench("jpeg", "metadata-10", "first-size")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertEqual([row["name"] for row in rows], ["jpeg", "first-size", "metadata-10"])
        medians = {name: statistics.median(samples["wall_ms"])
                   for name, samples in rows[0]["programs"].items()}
        self.assertGreater(min(medians.values()), 0)
        best = min(medians[name] for name in medians if name not in ("ours", "codec"))
        self.assertAlmostEqual(rows[0]["ratios"]["wall"]["best"], medians["ours"] / best)
        self.assertIn(f" {medians['ours'] / best:.2f} ", done.stdout)

    def test_another_picture_fails_the_row(self):
        with tempfile.TemporaryDirectory() as folder:
            peer = pathlib.Path(folder, "vipsthumbnail")
            picture = "P6 800 533 255\\n"
            peer.write_text("#!/bin/sh\nwhile [ $# -gt 1 ]; do shift; done\n"
                            f"{{ printf '{picture}'; head -c {800 * 533 * 3} /dev/zero; }} > \"$1\"\n")
            peer.chmod(0o755)
            done, rows = self.bench("jpeg", path=folder)
            self.assertEqual(done.returncode, 1, done.stdout)
            self.assertIn("vips's colours differ", rows[0]["failure"])
            peer.write_text("#!/bin/sh\necho cannot >&2\nexit 3\n")
            done, rows = self.bench("jpeg", path=folder)
            self.assertEqual(done.returncode, 0, done.stdout)
            self.assertNotIn("vips", rows[0]["programs"])
            self.assertIn("vips ended with 3: cannot", done.stdout)


if __name__ == "__main__":
    unittest.main()
