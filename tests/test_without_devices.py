# Runs that need no device: a static executable is run with these too.

import os
import pathlib
import subprocess

import pytest

from conftest import table

NOT_READ = "initImageBuffer: read image file return error!\nmain: initImageBuffer error, exit!\n"
NOT_FOUND = "Image: can not find the image file: "


@table("path, message", {
    "no such file": ("none.raw", NOT_FOUND + "none.raw"),
    "line ends in a name": ("a\nb\rc", NOT_FOUND + "a\nb\rc"),
    "a line is cut after 1023 bytes": ("a" * 131000, (NOT_FOUND + "a" * 1023)[:1009]),
    "an empty file": ("empty", "mmap failed: Invalid argument"),
    "a FIFO": ("pipe", "mmap failed: Invalid argument"),
    "a device": ("/dev/zero", "mmap failed: Invalid argument"),
    "a folder": (".", "mmap failed: No such device"),
    "4 GiB": ("huge", "Could not open 'huge', File too large(27)"),
    "more, of which 32 bits would keep 705 MB": ("larger", "Could not open 'larger', File too large(27)")})
def test_image(run, path, message):
    for name, size in (("empty", 0), ("huge", 1 << 32), ("larger", 5000000000)):
        pathlib.Path(name).touch()
        os.truncate(name, size)
    os.mkfifo("pipe")
    writer = os.open("pipe", os.O_RDWR)  # without one the tool would wait
    ran = run(f"planeshow '--input={path}'", status=1)
    os.close(writer)
    assert (ran.out, ran.log) == (f"initFromFile: {message}\n{NOT_READ}", "")


def test_no_room(run, build):
    if build.bits == 64:
        pytest.skip("a 64-bit process has room for 3 GiB, and would allocate them")
    os.truncate("image.raw", 3 << 30)
    assert run("planeshow -i image.raw", 1).out == "initFromFile: mmap failed: Cannot allocate memory\n" + NOT_READ


# What follows differs where an emulator answers requests on a descriptor that isn't open.
@table("command, status, printed", {
    "allocator": ("SIM_ION=absent planeshow -i image.raw", 1, "open /dev/ion failed: No such file or directory\n\n"
                                                              "iondev: ion_open() failed, No such file or directory\n"),
    "display": ("SIM_GE2D=absent planeshow --blank", 0, "svpdev: Open '/dev/ge2d' failed, No such file or directory\n"
                                                        "blankCtrl: ioctl FBIOPRESENT_PLANE error\n"
                                                        "main: blank display!\n")})
def test_no_node(run, command, status, printed):
    assert run(command, status).out.startswith(printed)


# Half of a static executable is the C library, and the newer one is larger.
def test_size(build):
    if not build.static:
        pytest.skip("this one is dynamic")
    compiler = int(subprocess.check_output(["arm-linux-gnueabihf-g++", "-dumpversion"]))
    assert (build.folder / "planeshow").stat().st_size <= (850000 if compiler < 14 else 880000)
