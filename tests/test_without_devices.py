# Runs that need no device, with the executable that is delivered.

import os
import pathlib
import subprocess

from conftest import NOT_READ, needs, table

NOT_FOUND = "Image: can not find the image file: "


@table("path, message", {
    "no such file": ("none.raw", NOT_FOUND + "none.raw"),
    "a line break in a name": ("a\nb", NOT_FOUND + "a\nb"),
    "a carriage return in a name": ("a\rb", NOT_FOUND + "a\rb"),
    "a line is cut after 1023 bytes": ("a" * 131000, (NOT_FOUND + "a" * 1023)[:1009]),
    "an empty file": ("empty", "mmap failed: Invalid argument"),
    "a folder": (".", "mmap failed: No such device"),
    "5 GB, of which 32 bits would keep 705 MB": ("huge", "Could not open 'huge', File too large(27)")})
def test_image(run, path, message):
    for name, size in (("empty", 0), ("huge", 5000000000)):
        pathlib.Path(name).touch()
        os.truncate(name, size)
    assert run(f"planeshow '--input={path}'", status=1).out == f"initFromFile: {message}\n{NOT_READ}"


# A 64-bit process has room for 3 GiB, and would allocate them.
@needs("32 bits")
def test_no_room(run):
    os.truncate("image.raw", 3 << 30)
    assert run("planeshow -i image.raw", 1).out == "initFromFile: mmap failed: Cannot allocate memory\n" + NOT_READ


# Half of a static executable is the C library, and newer ones are larger.
@needs("ARM")
def test_size(build):
    compiler = int(subprocess.check_output(["arm-linux-gnueabihf-g++", "-dumpversion"]))
    assert (build.folder / "planeshow").stat().st_size <= (850000 if compiler < 14 else 880000)
