# Single operations, called by the probe program: results and records that a run does not show.

import pytest

MODERN = "ioctl c0044901 failed with code -1: Inappropriate ioctl for device"
LEGACY = "ioctl c0044901 failed with code -1: Invalid argument"
NOT_OPEN = ["ioctl c0144900 failed with code -1: Bad file descriptor", "initWithSize: ion alloacte faile, ret=-9"]


# What each operation returns and stores (-7 is what was there before), and what it prints.
@pytest.mark.parametrize("why, settings, calls, said, printed", [
    ("a null pointer, before any probe", {}, "ion_open ion_alloc=null ion_alloc_fd=null",
     ["3 errno 0", "-22 out -7", "-22 out -7"], []),
    ("a null pointer, after the one probe", {}, "ion_open ion_share=null ion_share=null",
     ["3 errno 0", "-22 out -7", "-22 out -7"], [MODERN]),
    ("a null pointer on a legacy kernel", dict(ION="legacy"), "ion_open ion_alloc=9 ion_share=null",
     ["3 errno 0", "0 out 1", "-22 out -7"], [LEGACY]),
    ("handles on a modern kernel", {}, "ion_open ion_alloc=9 ion_share=1 ion_alloc_fd=4097",
     ["3 errno 0", "-22 out -7", "-22 out -7", "0 out 4"], [MODERN]),
    ("positive results are handed on", dict(ION="legacy", FAIL="alloc:3,share:5"),
     "ion_open ion_alloc=9 ion_share=1 ion_alloc_fd=9",
     ["3 errno 0", "3 out 1", "5 out 4", "5 out 5"], [LEGACY]),
    ("a failed allocation stores nothing", dict(ION="legacy", FAIL="alloc:ENOMEM"), "ion_open ion_alloc=9",
     ["3 errno 0", "-12 out -7"], [LEGACY, "ioctl c0144900 failed with code -1: Cannot allocate memory"]),
    ("a failed share stores nothing", dict(ION="legacy", FAIL="share:EMFILE"), "ion_open ion_alloc_fd=9",
     ["3 errno 0", "-24 out -7"], [LEGACY, "ioctl c0084904 failed with code -1: Too many open files"]),
    ("the device is opened once", dict(ION="absent"), "buffer=9,7 buffer=9,7",
     ["-1 0 0 null", "-1 0 0 null"],
     ["open /dev/ion failed: No such file or directory", "iondev: ion_open() failed, No such file or directory",
      "ioctl c0044901 failed with code -1: Bad file descriptor", *NOT_OPEN, *NOT_OPEN]),
    ("the record of a buffer", {}, "buffer=4096,7 buffer=1,9223372036854775807",
     ["4 4096 7 mapped", "4 1 9223372036854775807 mapped"], [MODERN]),
    ("a buffer that can't be mapped keeps its descriptor", dict(FAULT=4), "buffer=9,7",
     ["4 9 7 MAP_FAILED"], [MODERN, "initWithSize: mmap failed: Input/output error"]),
    ("results of initWithSize", dict(FAIL="alloc:ENOMEM:4"), "initWithSize=9 initWithSize=5",
     ["0", "-1"], [MODERN, "ioctl c0184900 failed with code -1: Cannot allocate memory",
                   "initWithSize: ion alloacte faile, ret=-12"]),
    ("initWithSize without a mapping", dict(FAULT=6), "initWithSize=9",
     ["-1"], [MODERN, "initWithSize: mmap failed: Input/output error"]),
    ("images", {}, "image=image.raw image=none image=.", ["0 123456789", "-22", "-1"],
     ["initFromFile: Image: can not find the image file: none", "initFromFile: mmap failed: No such device"]),
    ("an image that can't be mapped is closed", dict(FAULT=3), "image=image.raw ion_open",
     ["-1", "3 errno 0"], ["initFromFile: mmap failed: Input/output error"]),
    ("targets that can't be mapped", {}, "load=-1,9 load=0,0", ["-1", "-1"],
     ["loadToBuffer: mmap failed: Bad file descriptor", "loadToBuffer: mmap failed: Invalid argument"]),
    ("no such channel: nothing is written", {}, "submit=2,0 submit=4294967295,0", ["-1 out -7 99"] * 2,
     ["submitLayer: osd id error!"] * 2),
    ("out values", {}, "ion_open ion_alloc_fd=9 submit=1,4 submit=0,4 submit=0,-1",
     ["3 errno 0", "0 out 4", "0 out 1 -1", "0 out 2 -1", "-1 out -1 -1"],
     [MODERN, "submitLayer: ioctl FBIOPUT_PLANEINFO error"]),
    ("the display is opened once", dict(GE2D="absent"), "fastlogo=1 blank=1,0 submit=0,0",
     ["-1", "-1", "-1 out -1 -1"],
     ["svpdev: Open '/dev/ge2d' failed, No such file or directory",
      "fastlogoCtrl: ioctl FBIO_SET_FASTLOGOMODE error", "blankCtrl: ioctl FBIOPRESENT_PLANE error",
      "submitLayer: ioctl FBIOPUT_PLANEINFO error"]),
])
def test_results(sim, why, settings, calls, said, printed):
    result = sim("probe", *calls.split(" "), **settings)
    assert result.err.splitlines() == [
        f"{call.split('=')[0]} = {what}" for call, what in zip(calls.split(" "), said)]
    assert result.lines == printed


# What the drivers get.
@pytest.mark.parametrize("settings, calls, asked", [
    ({}, "ion_open ion_alloc_fd=4097",
     "ioctl 3 c0184900 alloc {len=4097 heap_mask=130 flags=5 fd=0 reserved=0} = 0 {fd=4}"),
    (dict(ION="legacy"), "ion_open ion_alloc_fd=4097",
     "ioctl 3 c0144900 alloc {len=4097 align=64 heap_mask=130 flags=5 handle=0} = 0 {handle=1}"),
    ({}, "blank=0,1", "ioctl 3 00004632 present {channel=1 enable=1} = 0 {}"),
    ({}, "blank=5,9", "ioctl 3 00004632 present {channel=9 enable=0} = -1 EINVAL"),
    ({}, "fastlogo=7", "ioctl 3 00004635 fastlogo {mode=7} = -1 EINVAL"),
])
def test_requests(sim, settings, calls, asked):
    assert asked in sim("probe", *calls.split(" "), **settings).log


# A length that the legacy record can't hold exists in 64-bit processes only.
def test_legacy_length(sim):
    if sim.config["emulator"]:
        pytest.skip("a 32-bit size can't be too long")
    assert "ion_alloc = -22 out -7" in sim("probe", "ion_open", "ion_alloc=4294967297", ION="legacy").err


# The message can't be printed; the caller's next line needs the errno of the open all the same.
def test_open_keeps_errno(sim, unwrapped):
    assert sim("probe", "ion_open", ION="forbidden", closed=[1]).err == "ion_open = -1 errno 13\n"


# What is found where a buffer was, and by an exit handler that outlives the display's descriptor:
# optimisers like to drop what a destructor stores last.
def test_state_left_by_destructors(sim):
    assert sim("probe", "destroyed").err == "destroyed = -1 0 0 mapped\n"
    late = sim("probe", "blank_at_exit", "fastlogo=0", CALLS="calls")
    assert late.lines == ["blankCtrl: ioctl FBIOPRESENT_PLANE error"]
    assert (sim.folder / "calls").read_text().splitlines()[-2:] == ["close 3", "ioctl -1 0x4632"]
