#!/usr/bin/env python3
"""Runs the examples, built against the installed package, with files that can and can't be read.

Usage: examples_test.py FOLDER_OF_PROGRAMS PHOTOGRAPH WORK_FOLDER [VIDEO]
"""
import pathlib
import shutil
import subprocess
import sys

programs, photograph, work, *videos = map(pathlib.Path, sys.argv[1:])
failures = []


def check(name, *arguments, status=0, says):
    """One run must end with the status and print the text, on either stream."""
    program = programs / name
    run = subprocess.run([program, *map(str, arguments)], capture_output=True, text=True, timeout=60)
    if run.returncode != status or says not in run.stdout + run.stderr:
        failures.append(f"{name} {arguments}: {run.returncode}\n{run.stdout}{run.stderr}")


shutil.rmtree(work, ignore_errors=True)
album = work / "album"
album.mkdir(parents=True)
photo = album / "photo.jpg"
shutil.copy(photograph, photo)
missing = album / "missing.jpg"
text = album / "text.png"
text.write_text("no picture")
folder = work / "none" / "x.png"

check("load_picture", photo, work / "out.png", says="800x")
check("load_picture", missing, work / "out.png", status=1, says="no such file")
check("load_picture", photo, folder, status=1, says=f"{folder}: ")
check("edit_metadata", photo, 4, "lake", "a, b", says="4 stars, keywords: lake, a, b")
check("edit_metadata", text, 4, status=1, says=f"{text}: ")
check("faces", photo, "Ann", 100, 50, 60, 80, says="Ann: ")
check("faces", photo, says="Ann: ")
check("faces", missing, status=1, says="no such file")
for video in videos:
    check("storyboard", video, work / "board.jpg", 4, says="frames")
check("storyboard", photo, work / "board.jpg", status=1, says=f"{photo}: ")
check("production_clip", photo, work / "clip.jpg", 100, 50, 300, 200, 30, 20, 254, says="300x200, 254")
check("production_clip", missing, work / "clip.jpg", 0, 0, 9, 9, 9, 9, status=1, says="no such file")
check("thumbnails", album, status=1, says="1 failed")
text.unlink()
check("thumbnails", album, says="done, 0 failed")
check("thumbnails", album, 0, says="failed")

print("\n".join(failures))
sys.exit(1 if failures else 0)
