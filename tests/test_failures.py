# Runs in which a call fails or a driver refuses something: what they print, and their status.

import re

from conftest import table

EIO = "failed with code -1: Input/output error"
PROBED = "ioctl c0044901 failed with code -1: Inappropriate ioctl for device"
LEGACY = "ioctl c0044901 failed with code -1: Invalid argument"
NO_BUFFER = "main: initImageBuffer error, exit!"
NOT_READ = ["initImageBuffer: read image file return error!", NO_BUFFER]
NOT_COPIED = [
    "loadToBuffer: mmap failed: Input/output error", "initImageBuffer: failed load image data to buffer!", NO_BUFFER]
NOT_MAPPED = "initWithSize: mmap failed: Input/output error"
NO_FASTLOGO = "fastlogoCtrl: ioctl FBIO_SET_FASTLOGOMODE error"
LAYER = " dma_buf fd: 6"
NOT_SHOWN = ["submitLayer: ioctl FBIOPUT_PLANEINFO error", "main: submit osd layer error!"]


def not_allocated(result):
    return [f"initWithSize: ion alloacte faile, ret={result}", NO_BUFFER]


# FAULT=n fails the n-th call of a run, FAULT=n+ all from there on; SIM_FAIL tells a driver its answer. Of the
# layer only the descriptor tells runs apart.
@table("fault, lines", {
    "stat": ("FAULT=1", ["initFromFile: Image: can not find the image file: image.raw", *NOT_READ]),
    "open image": ("FAULT=2", ["initFromFile: Could not open 'image.raw', Input/output error(5)", *NOT_READ]),
    "map image": ("FAULT=3", ["initFromFile: mmap failed: Input/output error", *NOT_READ]),
    "open allocator": ("FAULT=4", [
        "open /dev/ion failed: Input/output error", "iondev: ion_open() failed, Input/output error",
        "ioctl c0044901 failed with code -1: Bad file descriptor",
        "ioctl c0144900 failed with code -1: Bad file descriptor", *not_allocated(-9)]),
    "probe: every error but one means legacy": ("FAULT=5", [
        f"ioctl c0044901 {EIO}", "ioctl c0144900 failed with code -1: Inappropriate ioctl for device",
        *not_allocated(-25)]),
    "allocate": ("FAULT=6", [PROBED, f"ioctl c0184900 {EIO}", *not_allocated(-5)]),
    "allocate, but no descriptor": ("SIM_FAIL=alloc:nofd", [PROBED, *not_allocated(0)]),
    "map buffer for good": ("FAULT=7", [PROBED, NOT_MAPPED, LAYER]),
    "map buffer at all": ("FAULT=7+", [PROBED, NOT_MAPPED, *NOT_COPIED]),
    "map buffer for the copy": ("FAULT=8", [PROBED, *NOT_COPIED]),
    "open display": ("FAULT=9", [
        PROBED, "svpdev: Open '/dev/ge2d' failed, Input/output error", NO_FASTLOGO, " dma_buf fd: 3", *NOT_SHOWN]),
    "fast-logo mode": ("FAULT=10", [PROBED, NO_FASTLOGO, LAYER]),
    "duplicate": ("FAULT=11", [PROBED, " dma_buf fd: -1", *NOT_SHOWN]),
    "layer": ("FAULT=12", [PROBED, LAYER, *NOT_SHOWN]),
    "positive is a failure for the display only": (
        "SIM_FAIL=alloc:7,fastlogo:5,put:1", [PROBED, NO_FASTLOGO, LAYER, *NOT_SHOWN]),
    "legacy probe": ("SIM_ION=legacy FAULT=5", [f"ioctl c0044901 {EIO}", LAYER]),
    "legacy allocate": ("SIM_ION=legacy FAULT=6", [LEGACY, f"ioctl c0144900 {EIO}", *not_allocated(-5)]),
    "share": ("SIM_ION=legacy FAULT=7", [LEGACY, f"ioctl c0084904 {EIO}", *not_allocated(-5)]),
    "share, but no descriptor": (
        "SIM_ION=legacy SIM_FAIL=share:nofd", [LEGACY, "share ioctl returned negative fd", *not_allocated(-22)]),
    "share and free": ("SIM_ION=legacy SIM_FAIL=share:EMFILE,free:EIO:2", [
        LEGACY, "ioctl c0084904 failed with code -1: Too many open files", f"ioctl c0044901 {EIO}",
        *not_allocated(-24)]),
    "free": ("SIM_ION=legacy FAULT=8", [LEGACY, f"ioctl c0044901 {EIO}", LAYER])})
def test_display_run(run, fault, lines):
    ran = run(f"{fault} planeshow -i image.raw", status=1 if NO_BUFFER in lines else 0)
    assert re.findall(r"^(?!Panel|osd|  ).+$", ran.out, re.M) == lines
    for opened, closed in (("^open .* = [0-9]", "^close . /dev"), (" {fd=[0-9]", "^close . buffer")):
        assert len(re.findall(opened, ran.log, re.M)) == len(re.findall(closed, ran.log, re.M))


@table("command, answer", {
    "a failure": ("SIM_FAIL=present:EIO planeshow --blank -t 0", "present {channel=0 enable=0} = -1 EIO"),
    "a positive result": ("SIM_FAIL=present:3 planeshow --blank", "present {channel=1 enable=0} = 3"),
    "a channel that is the driver's say": ("planeshow --blank -t -1", "{channel=4294967295 enable=0} = -1 EINVAL")})
def test_blank(run, command, answer):
    ran = run(command, log=f"open; {answer}")
    assert ran.out == "blankCtrl: ioctl FBIOPRESENT_PLANE error\nmain: blank display!\n"
