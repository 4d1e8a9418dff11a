# Runs in which the drivers do what they are asked.

import os
import re

import pytest

LAYER = dict(channel=1, param_a=0, format=0, param_b=1, param_c=2, param_d=255, window_x=0, window_y=0,
             window_w=1920, window_h=1080, compress=0, buf_width=720, buf_height=480, crop_x=0, crop_y=0,
             crop_w=720, crop_h=480, dma_buf_fd=6, param_e=0, out_value=-1)
PANEL = """
Panel info -->
   buf size: {buf_width}x{buf_height}
       crop: [{crop_x},{crop_y},{crop_w},{crop_h}]
     window: [{window_x},{window_y},{window_w},{window_h}]
     format: {format}
   compress: {compress}
 dma_buf fd: {dma_buf_fd}
osd channel: {channel}
"""
PROBED = "ioctl c0044901 failed with code -1: Inappropriate ioctl for device\n\n"
PUT = "ioctl 3 00004631 put {" + " ".join(f"{name}={value}" for name, value in LAYER.items()) + "}"
SHOWN = [
    "map buffer 1 of 9 bytes: 9 bytes rw shared = 0",
    "map buffer 1 of 9 bytes: 9 bytes rw shared = 0",
    "open /dev/ge2d O_RDWR = 3",
    "ioctl 3 00004635 fastlogo {mode=0} = 0 {}",
    "layer channel 1: buffer 1 of 9 bytes, crc32 cbf43926",
    PUT + " = 0 {out_value=1}",
    "close 5 buffer 1 of 9 bytes",
    "close 3 /dev/ge2d",
    "close 4 /dev/ion",
]


def test_default_run(sim):
    result = sim("planeshow", "-i", "image.raw")
    assert result.out == PROBED + PANEL.format(**LAYER)
    assert (result.status, result.err) == (0, "")
    assert result.log == [
        "open /dev/ion O_RDONLY|O_CLOEXEC = 4",
        "ioctl 4 c0044901 free {handle=0} = -1 ENOTTY",
        "ioctl 4 c0184900 alloc {len=9 heap_mask=2 flags=0 fd=0 reserved=0} = 0 {fd=5}",
        *SHOWN]


def test_legacy_run(sim):
    result = sim("planeshow", "-i", "image.raw", ION="legacy")
    assert result.out == "ioctl c0044901 failed with code -1: Invalid argument\n\n" + PANEL.format(**LAYER)
    assert result.log == [
        "open /dev/ion O_RDONLY|O_CLOEXEC = 4",
        "ioctl 4 c0044901 free {handle=0} = -1 EINVAL",
        "ioctl 4 c0144900 alloc {len=9 align=4096 heap_mask=2 flags=0 handle=0} = 0 {handle=1}",
        "ioctl 4 c0084904 share {handle=1 fd=0} = 0 {fd=5}",
        "ioctl 4 c0044901 free {handle=1} = 0 {}",
        *SHOWN]


@pytest.mark.parametrize("args, sent, more", [
    (["--debug"], "channel=1 enable=0} = 0 {}", ""),  # --debug has no effect
    # The channel is not checked: that is the driver's say.
    (["-t", "-2147483648"], "channel=2147483648 enable=0} = -1 EINVAL",
     "blankCtrl: ioctl FBIOPRESENT_PLANE error\n"),
])
def test_blank(sim, args, sent, more):
    result = sim("planeshow", "--blank", *args)
    assert result.out == more + "main: blank display!\n"
    assert result.status == 0
    assert result.log == ["open /dev/ge2d O_RDWR = 3", "ioctl 3 00004632 present {" + sent, "close 3 /dev/ge2d"]


# Every system call of the tool's own, in order: open with flags, mmap with length, protection, flags
# and descriptor. The duplicate (6) and one mapping of the buffer are left to the end of the process.
@pytest.mark.parametrize("args, calls", [
    ("-i image.raw", """stat image.raw; open image.raw 0; mmap 9 1 1 3; open /dev/ion 0x80000
        ioctl 4 0xc0044901; ioctl 4 0xc0184900; mmap 9 3 1 5; mmap 9 3 1 5; munmap 9; close 3; munmap 9
        open /dev/ge2d 0x2; ioctl 3 0x4635; dup 5; ioctl 3 0x4631; close 5; close 3; close 4"""),
    ("--blank", "open /dev/ge2d 0x2; ioctl 3 0x4632; close 3"),
])
def test_calls(sim, unwrapped, args, calls):
    sim("planeshow", *args.split(" "), CALLS="calls")
    assert (sim.folder / "calls").read_text().splitlines() == re.split(r"; |\n *", calls)


# What differs from the default layer, as printed and as the driver gets it.
@pytest.mark.parametrize("args, changed", [
    ("-f RGB888 -w 1 -w 16 -h 0x10", dict(format=1, buf_width=16, buf_height=16, crop_w=16, crop_h=16)),
    ("--format=RGB565 --afbc false -t 0", dict(format=2, compress=1, channel=0)),  # "false" is a plain word
    ("-f rgb565 --afbc=0 -o -1,2,-3,4,", dict(format=-1, window_x=-1, window_y=2, window_w=-3, window_h=4)),
    ("-f RGB5650 -vw 0720 -h 480", dict(format=-1)),
    ("-c 100,50,10,10", dict(crop_x=100, crop_y=50, crop_w=620, crop_h=430)),
    ("-c -5,-5,10,10 foo --swap --colorIndex 3 -v - -- -w x", {}),
    ("-c 900,0,0,0 -f x -f ARGB8888", dict(crop_x=720, crop_w=0)),
    ("-w -5 -h -2147483648", dict(buf_width=-5, buf_height=-2147483648, crop_x=-5, crop_y=-2147483648,
                                  crop_w=0, crop_h=0)),
])
def test_layers(sim, args, changed):
    result = sim("planeshow", "-i", "image.raw", *args.split(" "))
    layer = LAYER | changed
    assert result.out == PROBED + PANEL.format(**layer)
    put = next(line for line in result.log if " put " in line)
    assert dict(re.findall(r"(\w+)=(-?\d+)", put.split("}")[0])) == {n: str(v) for n, v in layer.items()}


def test_fastlogo(sim):
    assert "ioctl 3 00004635 fastlogo {mode=1} = 0 {}" in sim("planeshow", "-i", "image.raw", "--fastlogo").log


SETTINGS = """
SRC image info -->
      path: none.raw
      size: 720x480
      crop: [{}]
    format: {}
  compress: {}

OSD setting ----->
    window: [{}]
   Channel: {}
"""


# As given, before anything is done with them.
@pytest.mark.parametrize("args, settings", [
    ("-t 0 --afbc -o 1,2,3,4", ("0,0,0,0", "ARGB8888", "true", "1,2,3,4", "QM710_OSD2")),
    ("-t -1 -c 9,8,7,6 -f NV12", ("9,8,7,6", "NV12", "false", "0,0,1920,1080", "QM710_OSD3")),
])
def test_settings(sim, args, settings):
    result = sim("planeshow", "-i", "none.raw", "--debug", *args.split(" "))
    assert result.out == SETTINGS.format(*settings) + (
        "initFromFile: Image: can not find the image file: none.raw\n"
        "initImageBuffer: read image file return error!\nmain: initImageBuffer error, exit!\n")
    assert (result.status, result.log) == (1, [])


# A channel that doesn't exist: all is done but the submission.
@pytest.mark.parametrize("target", ["2", "-1"])
def test_no_such_channel(sim, target):
    result = sim("planeshow", "-i", "image.raw", "-t", target)
    assert result.lines[-3:] == [
        f"osd channel: {target}", "submitLayer: osd id error!", "main: submit osd layer error!"]
    assert result.status == 0
    assert result.log[5:7] == ["open /dev/ge2d O_RDWR = 3", "ioctl 3 00004635 fastlogo {mode=0} = 0 {}"]
    assert " put " not in str(result.log)


# Messages that nobody reads change neither the calls nor the status, though the interfaces are told
# apart by the errno of a request whose failure has just been printed.
@pytest.mark.parametrize("ion", ["modern", "legacy"])
def test_nobody_reads(sim, unwrapped, ion):
    ordinary = sim("planeshow", "-i", "image.raw", ION=ion)
    reader, gone = os.pipe()
    os.close(reader)
    with open("/dev/full", "w") as full, open(gone, "w") as broken:
        for how in dict(stdout=full), dict(stdout=broken), dict(closed=[1]), dict(closed=[0, 1, 2]):
            result = sim("planeshow", "-i", "image.raw", ION=ion, **how)
            assert (result.status, result.log) == (0, ordinary.log), how


def test_file_limit(sim, unwrapped):
    with open(sim.folder / "limited", "w") as limited:
        limit = (__import__("resource").RLIMIT_FSIZE, 0)
        assert sim("planeshow", "--blank", LOG=None, stdout=limited, limit=limit).status == 0


# What is printed has left the process when the driver is asked, into a file too.
def test_printed_before_asked(sim):
    with open(sim.folder / "both", "a") as both:
        sim("planeshow", "-i", "image.raw", LOG=sim.folder / "both", stdout=both)
    lines = (sim.folder / "both").read_text().splitlines()
    assert [line for line in lines if re.match("ioctl (4 )?c0044901|osd|layer|ioctl 3 00004631", line)] == [
        "ioctl 4 c0044901 free {handle=0} = -1 ENOTTY", PROBED.strip(),
        "osd channel: 1", SHOWN[4], SHOWN[5]]
