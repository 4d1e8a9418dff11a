# Runs in which a call fails or a driver refuses something: what they print, and their status.

import re

from conftest import NO_BUFFER, NOT_READ, PROBED, table

EIO = "failed with code -1: Input/output error\n\n"
LEGACY = "ioctl c0044901 failed with code -1: Invalid argument\n\n"
NOT_COPIED = ("loadToBuffer: mmap failed: Input/output error\n"
              "initImageBuffer: failed load image data to buffer!\n") + NO_BUFFER
NOT_MAPPED = "initWithSize: mmap failed: Input/output error\n"
NO_FASTLOGO = "fastlogoCtrl: ioctl FBIO_SET_FASTLOGOMODE error\n"
LAYER = " dma_buf fd: 6\n"
NOT_SHOWN = "submitLayer: ioctl FBIOPUT_PLANEINFO error\nmain: submit osd layer error!\n"

# What the output has of the layer, and lines of the log.
LAYER_BUT_DESCRIPTOR = r"\nPanel info[^\0]*?(?= dma_buf)|^osd channel.*\n"
FAILED_BUT_CHANGED = r"^ioctl.* = -1 \w+ \{"  # a failed request leaves the record alone
OPENED = r"^open .* = (\d+)$|\{fd=(\d+)\}$"
CLOSED = r"^close (\d+)"


def not_allocated(result):
    return f"initWithSize: ion alloacte faile, ret={result}\n{NO_BUFFER}"


# Each row has a value of PLANESHOW_SIM_FAIL and what is printed; of the layer only the descriptor, which is all that
# may differ. LEGACY_ALLOC stands for the number of that request, which depends on the build.
@table("ion, fault, printed", {
    "stat": ("modern", "stat:EIO", "initFromFile: Image: can not find the image file: image.raw\n" + NOT_READ),
    "open the image": ("modern", "open:ESTALE:1", "initFromFile: Could not open 'image.raw', Stale file handle(116)\n" + NOT_READ),
    "map the image": ("modern", "mmap:EIO:1", "initFromFile: mmap failed: Input/output error\n" + NOT_READ),
    "open the allocator": ("modern", "open:EIO:2", (
        "open /dev/ion failed: Input/output error\n\niondev: ion_open() failed, Input/output error\n"
        "ioctl c0044901 failed with code -1: Bad file descriptor\n\n"
        "ioctl LEGACY_ALLOC failed with code -1: Bad file descriptor\n\n") + not_allocated(-9)),
    "allocate": ("modern", "alloc:EIO", f"{PROBED}ioctl c0184900 {EIO}" + not_allocated(-5)),
    "allocate, but no descriptor": ("modern", "alloc:nofd", PROBED + not_allocated(0)),
    "map the buffer for good": ("modern", "mmap:EIO:2", PROBED + NOT_MAPPED + LAYER),
    "map the buffer for the copy": ("modern", "mmap:EIO:3", PROBED + NOT_COPIED),
    "open the display": ("modern", "open:EIO:3", (
        f"{PROBED}svpdev: Open '/dev/ge2d' failed, Input/output error\n{NO_FASTLOGO} dma_buf fd: 3\n{NOT_SHOWN}")),
    "duplicate": ("modern", "dup:EIO", f"{PROBED} dma_buf fd: -1\n{NOT_SHOWN}"),
    "positive is a failure for the display only": (
        "modern", "alloc:7,fastlogo:5,put:1", PROBED + NO_FASTLOGO + LAYER + NOT_SHOWN),
    "failures that are ignored": ("modern", "munmap:EIO,close:EIO", PROBED + LAYER),
    "legacy: probe": ("legacy", "free:EIO:1", f"ioctl c0044901 {EIO}{LAYER}"),
    "legacy: allocate": ("legacy", "alloc:EIO", f"{LEGACY}ioctl LEGACY_ALLOC {EIO}" + not_allocated(-5)),
    "legacy: share, but no descriptor": (
        "legacy", "share:nofd", f"{LEGACY}share ioctl returned negative fd\n\n" + not_allocated(-22)),
    "legacy: share and free": ("legacy", "share:EMFILE,free:EIO:2", (
        f"{LEGACY}ioctl c0084904 failed with code -1: Too many open files\n\nioctl c0044901 {EIO}") + not_allocated(-24))})
def test_display_run(run, build, ion, fault, printed):
    ran = run(f"SIM_ION={ion} SIM_FAIL={fault} planeshow-sim -i image.raw", status=1 if NO_BUFFER in printed else 0)
    assert re.sub(LAYER_BUT_DESCRIPTOR, "", ran.out, flags=re.M) == printed.replace("LEGACY_ALLOC", build.legacy_alloc)
    log = "\n".join(ran.log)
    assert not re.search(FAILED_BUT_CHANGED, log, re.M)
    opened = re.findall(OPENED, log, re.M)  # but not the duplicate, which is left to the end
    assert sorted(map("".join, opened)) == sorted(re.findall(CLOSED, log, re.M))


# For a blank, too, a positive result is a failure.
def test_blank(run):
    ran = run("SIM_FAIL=present:3 planeshow-sim --blank -t 0")
    assert ran.out == "blankCtrl: ioctl FBIOPRESENT_PLANE error\nmain: blank display!\n"
    assert ran.log == ["open /dev/ge2d O_RDWR = 3", "ioctl 3 00004632 present {channel=0 enable=0} = 3 {}", "close 3 = 0"]
