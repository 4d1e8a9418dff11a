# Runs in which something fails: each line, the status, and that nothing is left open.

import re

import pytest

MODERN = "ioctl c0044901 failed with code -1: Inappropriate ioctl for device"
LEGACY = "ioctl c0044901 failed with code -1: Invalid argument"
EIO = "Input/output error"
NO_IMAGE = ["initImageBuffer: read image file return error!", "main: initImageBuffer error, exit!"]
NO_BUFFER = ["main: initImageBuffer error, exit!"]
NO_COPY = [f"loadToBuffer: mmap failed: {EIO}", "initImageBuffer: failed load image data to buffer!",
           *NO_BUFFER]
NO_LAYER = ["submitLayer: ioctl FBIOPUT_PLANEINFO error", "main: submit osd layer error!"]
NO_FASTLOGO = "fastlogoCtrl: ioctl FBIO_SET_FASTLOGOMODE error"


def refused(request, cause, ret):
    return [f"ioctl {request} failed with code -1: {cause}", f"initWithSize: ion alloacte faile, ret={ret}"]


def panel(fd):
    return ["Panel info -->", f" dma_buf fd: {fd}"]


def check(result, lines):
    """The lines that tell runs apart, the status that follows from them, and what is left open."""
    told = [line for line in result.lines if not line.startswith("  ") and "osd channel" not in line]
    assert told == lines
    assert result.status == (1 if lines[-1] == NO_BUFFER[0] else 0)
    log = "\n".join(result.log)
    for taken, given_back in (("^open .* = (\\d+)", "^close (\\d+) /dev/"), ("{fd=(\\d+)}", "^close (\\d+) buffer")):
        assert sorted(re.findall(taken, log, re.M)) == sorted(re.findall(given_back, log, re.M))


# The n-th of the calls that can fail (stat, open, mmap, ioctl, dup) fails; with "+" all after it, too,
# where that makes a difference.
@pytest.mark.parametrize("fault, call, lines", [
    ("1", "stat image", ["initFromFile: Image: can not find the image file: image.raw", *NO_IMAGE]),
    ("2", "open image", [f"initFromFile: Could not open 'image.raw', {EIO}(5)", *NO_IMAGE]),
    ("3", "map image", [f"initFromFile: mmap failed: {EIO}", *NO_IMAGE]),
    ("4", "open ion", [f"open /dev/ion failed: {EIO}", f"iondev: ion_open() failed, {EIO}",
                       "ioctl c0044901 failed with code -1: Bad file descriptor",
                       *refused("c0144900", "Bad file descriptor", -9), *NO_BUFFER]),
    ("5", "probe", [f"ioctl c0044901 failed with code -1: {EIO}",  # taken for a legacy kernel
                    *refused("c0144900", "Inappropriate ioctl for device", -25), *NO_BUFFER]),
    ("6", "alloc", [MODERN, *refused("c0184900", EIO, -5), *NO_BUFFER]),
    ("7", "first map of the buffer", [MODERN, f"initWithSize: mmap failed: {EIO}", *panel(6)]),
    ("7+", "both maps", [MODERN, f"initWithSize: mmap failed: {EIO}", *NO_COPY]),
    ("8", "second map", [MODERN, *NO_COPY]),
    ("9", "open ge2d", [MODERN, f"svpdev: Open '/dev/ge2d' failed, {EIO}", NO_FASTLOGO, *panel(3), *NO_LAYER]),
    ("10", "fastlogo", [MODERN, NO_FASTLOGO, *panel(6)]),
    ("11", "dup", [MODERN, *panel(-1), *NO_LAYER]),
    ("12", "put", [MODERN, *panel(6), *NO_LAYER]),
    ("13", "no further call", [MODERN, *panel(6)]),
])
def test_each_call_fails(sim, fault, call, lines):
    check(sim("planeshow", "-i", "image.raw", FAULT=fault), lines)


# The calls that only a legacy kernel gets. Whatever becomes of the share, the handle is freed.
@pytest.mark.parametrize("fault, call, lines", [
    ("5", "probe", [f"ioctl c0044901 failed with code -1: {EIO}", *panel(6)]),
    ("6", "alloc", [LEGACY, *refused("c0144900", EIO, -5), *NO_BUFFER]),
    ("7", "share", [LEGACY, *refused("c0084904", EIO, -5), *NO_BUFFER]),
    ("7+", "share and free", [LEGACY, f"ioctl c0084904 failed with code -1: {EIO}",
                              *refused("c0044901", EIO, -5), *NO_BUFFER]),
    ("8", "free", [LEGACY, f"ioctl c0044901 failed with code -1: {EIO}", *panel(6)]),
])
def test_each_legacy_call_fails(sim, fault, call, lines):
    check(sim("planeshow", "-i", "image.raw", FAULT=fault, ION="legacy"), lines)


@pytest.mark.parametrize("fault, lines", [
    ("1", [f"svpdev: Open '/dev/ge2d' failed, {EIO}", "blankCtrl: ioctl FBIOPRESENT_PLANE error"]),
    ("2", ["blankCtrl: ioctl FBIOPRESENT_PLANE error"]),
    ("3", []),
])
def test_each_call_of_a_blank_fails(sim, fault, lines):
    check(sim("planeshow", "--blank", FAULT=fault), [*lines, "main: blank display!"])


# A driver that answers in unusual ways.
@pytest.mark.parametrize("fail, ion, lines", [
    ("alloc:ENOMEM", "modern", [MODERN, *refused("c0184900", "Cannot allocate memory", -12), *NO_BUFFER]),
    ("alloc:nofd", "modern", [MODERN, "initWithSize: ion alloacte faile, ret=0", *NO_BUFFER]),
    ("alloc:7,put:1", "modern", [MODERN, *panel(6), *NO_LAYER]),  # any result but 0 is a failed put
    ("fastlogo:5", "modern", [MODERN, NO_FASTLOGO, *panel(6)]),
    ("share:nofd", "legacy", [LEGACY, "share ioctl returned negative fd",
                              "initWithSize: ion alloacte faile, ret=-22", *NO_BUFFER]),
    ("alloc:3,share:5,free:7:2+", "legacy", [LEGACY, *panel(6)]),  # any result but a negative one is success
])
def test_answers(sim, fail, ion, lines):
    check(sim("planeshow", "-i", "image.raw", FAIL=fail, ION=ion), lines)
