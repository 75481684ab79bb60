#!/usr/bin/env python3
"""Checks what every command of rkimage gives programs: json_output_test.py TOOL DOCS.

The results have to fit the schema in DOCS, and every name of the schema has to stand in its page.
Exit code 77, for "skipped", without python3-jsonschema.
"""
import json
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile

try:
    import jsonschema
except ImportError:
    print("skipped: python3-jsonschema is missing")
    sys.exit(77)

tool, docs = (pathlib.Path(argument).absolute() for argument in sys.argv[1:])
schema = json.loads((docs / "json.schema.json").read_text(encoding="utf-8"))
jsonschema.Draft202012Validator.check_schema(schema)
failures = []


def results(definition, *arguments, done, failed=0):
    """The results of a command in both styles, checked; those of --json."""
    validator = jsonschema.Draft202012Validator({**schema, "anyOf": [{"$ref": f"#/$defs/{definition}"}]})
    for style in "--jsonl", "--json":
        run = subprocess.run([tool, style, *arguments], capture_output=True, text=True, check=False)
        try:
            told = [json.loads(line) for line in run.stdout.splitlines()] if style == "--jsonl" else (
                json.loads(run.stdout))
        except ValueError as error:
            failures.append(f"{arguments} {style}: {error}: {run.stdout[:200]}")
            return []
        for result in told:
            failures.extend(f"{arguments} {style}: {list(error.path)} {error.message}"
                            for error in validator.iter_errors(result))
        counted = [sum(result.get("done", True) is value for result in told) for value in (True, False)]
        # Each failure also has its line for people, which libpng may have begun.
        lines = re.findall("rkimage: .*", run.stderr)
        if (counted != [done, failed] and done is not None) or len(lines) != failed:
            failures.append(f"{arguments} {style}: {counted} done and failed, {lines}")
    return told


with tempfile.TemporaryDirectory() as folder:
    folder = pathlib.Path(folder)
    photo, twin, cut, broken = (str(folder / name) for name in ("a.jpg", "b.jpg", "cut.jpg", "text.png"))
    shutil.copy(docs / "example.jpg", photo)
    pathlib.Path(cut).write_bytes(pathlib.Path(photo).read_bytes()[:30000])
    pathlib.Path(broken).write_text("no picture")
    (folder / "faces.json").write_text('[{"rect": [0.25, 0.5, 0.1, 0.2], "name": "Zoë"}]')
    files = photo, cut, broken, str(folder / "missing.jpg")

    dry = results("set", "set", photo, "--rating", "4", "--dry-run", done=1)
    if not {"adobeRating"} <= {change["key"] for change in dry[0]["changes"]}:
        failures.append(f"set --dry-run: {dry}")
    subprocess.run([tool, "set", photo, "--gps=-48.5,-2.25", "--keyword", "x", "--orientation", "6",
                    "--taken", "2021-07-04T12:30:00+05:30", "--thumbnail", "auto"], check=True)
    results("set", "set", *files, "--rating", "3", done=2, failed=2)
    results("faces", "faces", "set", photo, str(folder / "faces.json"), done=1)
    faces = results("faces", "faces", "list", photo, done=1)[0]["faces"]
    # The stored picture of 1200 x 900 pixels stands upright after a turn to the right.
    if [face["pixels"] for face in faces] != [[270, 300, 180, 120]]:
        failures.append(f"faces list: {faces}")
    info = results("info", "info", "--all", *files, done=2, failed=2)
    if info[0]["geoPosition"] != {"latitude": -48.5, "longitude": -2.25} or info[2]["reason"] == "none":
        failures.append(f"info: {info[0]['geoPosition']}")
    results("convert", "convert", *files, "--out", str(folder / "out"), "--overwrite", done=1, failed=3)
    results("convert", "convert", photo, twin, "--overwrite", done=1)
    results("compare", "compare", photo, twin, "--limit", "9", "--diff", str(folder / "d.png"), done=1)
    results("thumb", "thumb", *files, "--size", "64", "--out", str(folder / "t"), done=1, failed=3)
    results("sheet", "sheet", photo, broken, "--out", str(folder / "s.html"), done=2, failed=1)
    results("clip", "clip", "--center", "--production", "900x600", "--dpi", "200", photo,
            str(folder / "c.png"), done=1)
    results("check", "check", *files, done=1, failed=3)
    if len(results("formats", "formats", done=None)) < 20:
        failures.append("formats are missing")
    video = str(folder / "v.mp4")
    if shutil.which("ffmpeg"):
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=d=1", video], check=True)
        results("info", "info", video, done=1)
        results("frame", "frame", video, str(folder / "f.png"), done=1)
        results("frames", "frames", video, "--count", "2", "--sheet", str(folder / "f.png"), done=3)

    # An array is whole also if nobody wanted its end.
    many = folder / "many"
    many.mkdir()
    for i in range(2000):
        (many / f"{i}.jpg").hardlink_to(photo)
    with subprocess.Popen([tool, "--json", "check", "-r", many], stdout=subprocess.PIPE, text=True) as run:
        begin = run.stdout.read(1)
        run.send_signal(signal.SIGINT)
        told = json.loads(begin + run.stdout.read())
    if run.returncode != 130 or not 0 < len(told) < 2000:
        failures.append(f"interrupted: {run.returncode}, {len(told)} results")

page = (docs / "json.md").read_text(encoding="utf-8")
names = set(re.findall(r'"(\w+)": \{', json.dumps(schema["$defs"]))) - set(schema["$defs"])
failures.extend(f"json.md doesn't name {name}" for name in sorted(names)
                if f"`{name}`" not in page and name not in ("items", "properties", "not", "if", "then", "else",
                                                            "additionalProperties", "old", "new"))
print("\n".join(failures))
sys.exit(1 if failures else 0)
