# Runs in which the drivers do what they are asked.

import os
import pathlib
import re
import resource
from textwrap import dedent

import pytest

from conftest import PROBED, needs, table

RECORD = ("channel=1 param_a=0 format=0 param_b=1 param_c=2 param_d=255 window_x=0 window_y=0 window_w=1920 "
          "window_h=1080 compress=0 buf_width=720 buf_height=480 crop_x=0 crop_y=0 crop_w=720 crop_h=480 "
          "dma_buf_fd=6 param_e=0 out_value=-1")
IMAGE = ["stat image.raw = 0", "open image.raw O_RDONLY = 3", "mmap 3: 9 bytes r- shared = 0"]
MODERN = ["open /dev/ion O_RDONLY|O_CLOEXEC = 4", "ioctl 4 c0044901 free {handle=0} = -1 ENOTTY",
          "ioctl 4 c0184900 alloc {len=9 heap_mask=2 flags=0 fd=0 reserved=0} = 0 {fd=5}"]
LEGACY = ["open /dev/ion O_RDONLY|O_CLOEXEC = 4", "ioctl 4 c0044901 free {handle=0} = -1 EINVAL",
          "ioctl 4 LEGACY_ALLOC alloc {len=9 align=4096 heap_mask=2 flags=0 handle=0} = 0 {handle=1}",
          "ioctl 4 c0084904 share {handle=1 fd=0} = 0 {fd=5}", "ioctl 4 c0044901 free {handle=1} = 0 {}"]
# One mapping of the buffer, and the duplicate of its descriptor (6), are left to the end of the process.
COPY = ["mmap 5: 9 bytes rw shared = 0",
        "mmap 5: 9 bytes rw shared = 0", "munmap 9 bytes = 0", "close 3 = 0", "munmap 9 bytes = 0",
        "open /dev/ge2d O_RDWR = 3", "ioctl 3 00004635 fastlogo {mode=0} = 0 {}", "dup 5 = 6"]
LAYER = ["layer channel 1: buffer 1 of 9 bytes, crc32 cbf43926", f"ioctl 3 00004631 put {{{RECORD}}} = 0 {{out_value=1}}"]
END = ["close 5 = 0", "close 3 = 0", "close 4 = 0"]
SHOWN = IMAGE + MODERN + COPY + LAYER + END


# Returns the layer as it is printed.
def panel(record):
    return dedent("""\

        Panel info -->
           buf size: {buf_width}x{buf_height}
               crop: [{crop_x},{crop_y},{crop_w},{crop_h}]
             window: [{window_x},{window_y},{window_w},{window_h}]
             format: {format}
           compress: {compress}
         dma_buf fd: {dma_buf_fd}
        osd channel: {channel}
        """).format(**dict(field.split("=") for field in record.split()))


@table("interface, probed, allocated", {
    "modern": ("modern", PROBED, MODERN),
    "legacy": ("legacy", "ioctl c0044901 failed with code -1: Invalid argument\n\n", LEGACY)})
def test_run(run, build, interface, probed, allocated):
    ran = run(f"SIM_ION={interface} planeshow-sim -i image.raw")
    assert ran.out == probed + panel(RECORD)
    assert ran.log == [line.replace("LEGACY_ALLOC", build.legacy_alloc) for line in IMAGE + allocated + COPY + LAYER + END]


def test_without_log(run):
    assert run("SIM_LOG= planeshow-sim -i image.raw").out == PROBED + panel(RECORD)


def test_blank(run):
    ran = run("planeshow-sim --blank --debug")
    assert ran.out == "main: blank display!\n"
    assert ran.log == ["open /dev/ge2d O_RDWR = 3", "ioctl 3 00004632 present {channel=1 enable=0} = 0 {}", "close 3 = 0"]


@table("arguments, changed", {
    "the later width, a hexadecimal height": ("-w 1 -w 16 -h 0x10", "buf_width=16 buf_height=16 crop_w=16 crop_h=16"),
    "a switch takes no word": ("--format=RGB565 --afbc false -t 0", "channel=0 format=2 compress=1"),
    "a name's case counts": ("-f rgb565 --afbc=0", "format=-1"),
    "a name counts as a whole": ("-f RGB5650 -vw 0720", "format=-1"),
    "the window is sent as is": ("-o -1,2,-3,4,", "window_x=-1 window_y=2 window_w=-3 window_h=4"),
    "the crop reaches right and bottom": ("-c 100,50,10,10", "crop_x=100 crop_y=50 crop_w=620 crop_h=430"),
    "a crop before the image": ("-c -5,-5,10,10", ""),
    "a crop beyond the image": ("-c 900,481,0,0", "crop_x=720 crop_y=480 crop_w=0 crop_h=0"),
    "a negative size is the limit": (
        "-w -5 -h -2147483648", "buf_width=-5 buf_height=-2147483648 crop_x=-5 crop_y=-2147483648 crop_w=0 crop_h=0"),
    "accepted and unused": ("foo --swap --colorIndex 3 -v - -- -w x", "")})
def test_layer(run, arguments, changed):
    ran = run("planeshow-sim -i image.raw " + arguments)
    record = RECORD
    for field in changed.split():
        record = re.sub(rf"\b{field.split('=')[0]}=\S+", field, record)
    assert ran.log[-4] == f"ioctl 3 00004631 put {{{record}}} = 0 {{out_value=1}}"
    assert ran.out == PROBED + panel(record)


def test_settings(run):
    ran = run("planeshow-sim --debug -i image.raw -w 640 -h 481 -c 9,8,7,6 -o 1,2,3,4 -f NV12 --afbc -t 0 --fastlogo")
    assert ran.out.startswith(dedent("""\

        SRC image info -->
              path: image.raw
              size: 640x481
              crop: [9,8,7,6]
            format: NV12
          compress: true

        OSD setting ----->
            window: [1,2,3,4]
           Channel: QM710_OSD2
        """) + PROBED)
    assert "ioctl 3 00004635 fastlogo {mode=1} = 0 {}" in ran.log


# The image is loaded and the layer printed, but not sent.
@pytest.mark.parametrize("channel", ["2", "-1"])
def test_no_such_channel(run, channel):
    ran = run(f"planeshow-sim -i image.raw --debug -t {channel}")
    assert "compress: false\n" in ran.out
    assert "Channel: QM710_OSD3\n" in ran.out  # every channel but 0
    assert ran.out.endswith(panel(RECORD.replace("channel=1", f"channel={channel}")) +
                            "submitLayer: osd id error!\nmain: submit osd layer error!\n")
    assert ran.log == IMAGE + MODERN + COPY + END


def filled(*numbers):
    return [f"open /dev/null O_RDWR = {number}" for number in numbers]


# Messages that can't be printed change neither the calls nor the status. Printing must not even change errno,
# which tells the allocator's interface after the probe's failure was printed.
@needs("all descriptors and limits")
@table("command, log, prepare", {
    "full": ("planeshow-sim -i image.raw", SHOWN, lambda: os.dup2(os.open("/dev/full", os.O_WRONLY), 1)),
    "closed": ("planeshow-sim -i image.raw", filled(1) + SHOWN, lambda: os.close(1)),
    "all closed": ("planeshow-sim -i image.raw", filled(0, 1, 2) + SHOWN, lambda: os.closerange(0, 3)),
    "a pipe that nobody reads": ("planeshow-sim -i image.raw", SHOWN, lambda: os.dup2(os.pipe()[1], 1)),
    "a file at its limit": ("SIM_LOG= planeshow-sim --blank", [], lambda: (
        os.dup2(os.open("limited", os.O_WRONLY | os.O_CREAT), 1), resource.setrlimit(resource.RLIMIT_FSIZE, (0, 0))))})
def test_unprintable(run, command, log, prepare):
    assert run(command, preexec_fn=prepare).log == log


# Even into a file, a line is written before the next request to a driver is made. The log may be the same file.
def test_printed_before_asked(run):
    with open("both", "w") as both:
        run("SIM_LOG=both planeshow-sim -i image.raw", stdout=both)
    probe, layer = SHOWN.index(MODERN[1]) + 1, SHOWN.index(LAYER[0])
    before, between, after = ["\n".join(lines) + "\n" for lines in (SHOWN[:probe], SHOWN[probe:layer], SHOWN[layer:])]
    assert pathlib.Path("both").read_text() == before + PROBED + between + panel(RECORD) + after
