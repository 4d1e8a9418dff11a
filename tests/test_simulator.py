# The simulated devices: they answer as kernels do, and take no setting silently wrong.

import os
import resource
import stat

import pytest

ALLOC, MODERN_ALLOC, FREE, SHARE = "0xC0144900", "0xC0184900", "0xC0044901", "0xC0084904"


# A raw request: its number and the words of its record; said is its result and the record after it.
@pytest.mark.parametrize("why, ion, calls, said", [
    ("no length", "modern", f"request={MODERN_ALLOC},0,0,2,0,0,0", "-22 0 0 2 0 0 0"),
    ("the last page of 32 bits", "modern", f"request={MODERN_ALLOC},4294963201,0,2,0,0,0", "-22 -4095 0 2 0 0 0"),
    ("more than 32 bits", "modern", f"request={MODERN_ALLOC},0,1,2,0,0,0", "-22 0 1 2 0 0 0"),
    ("no such heap", "modern", f"request={MODERN_ALLOC},1,0,5,0,0,0", "-19 1 0 5 0 0 0"),
    ("reserved", "modern", f"request={MODERN_ALLOC},1,0,2,0,0,7", "-22 1 0 2 0 0 7"),
    ("legacy size", "modern", f"request={ALLOC},1,4096,2,0,0", "-25 1 4096 2 0 0"),
    ("modern size", "legacy", f"request={MODERN_ALLOC},1,0,2,0,0,0", "-25 1 0 2 0 0 0"),
    ("display request", "modern", "request=0x4635,0", "-25 0"),
    ("the lowest free handle", "legacy", f"ion_alloc=9 ion_alloc=9 request={FREE},1 ion_alloc=9", "0 out 1"),
    ("another open's handle", "legacy", f"ion_alloc=9 ion_open request={FREE},1", "-22 1"),
    ("a freed handle", "legacy", f"ion_alloc=9 request={FREE},1 request={SHARE},1,0", "-22 1 0"),
    ("a handle shared twice", "legacy", "ion_alloc=9 ion_share=1 ion_share=1", "0 out 5"),
    ("whole pages", "modern", "buffer=4097,1 map=3,4096,0", "No such device"),
    ("the buffer's last page", "modern", "ion_alloc_fd=4097 map=4,4096,4096", "mapped"),
    ("beyond the buffer", "modern", "ion_alloc_fd=4097 map=4,8193,0", "Invalid argument"),
    ("behind the buffer", "modern", "ion_alloc_fd=4097 map=4,1,8192", "Invalid argument"),
    ("a private copy", "modern", "ion_alloc_fd=4097 map=4,9,0,1", "Invalid argument"),
    ("a layer of no buffer", "modern", "fastlogo=0 submit=1,4", "-1 out -1 -1"),
    ("a layer of nothing", "modern", "fastlogo=0 submit=1,77", "-1 out -1 -1"),
    ("many threads", "legacy", "eight_threads", "joined"),
])
def test_answers(sim, why, ion, calls, said):
    assert sim("probe", "ion_open", *calls.split(" "), ION=ion).err.splitlines()[-1].split(" = ")[1] == said


def test_failed_share_leaves_the_error(sim):
    log = sim("planeshow", "-i", "image.raw", ION="legacy", FAIL="share:EMFILE").log
    assert "ioctl 4 c0084904 share {handle=1 fd=0} = -1 EMFILE {fd=-24}" in log


# Two buffers that use up the memory together, to the page.
def test_memory(sim):
    result = sim("probe", "buffer=4097,1", "buffer=4097,2", "buffer=4096,3", MEMORY=12288)
    assert [line[9:11] for line in result.err.splitlines()] == ["4 ", "-1", "4 "]


@pytest.mark.parametrize("fail, results", [
    ("fastlogo:EIO:2", "0 -1 0"), ("fastlogo:EIO:2+", "0 -1 -1"), ("fastlogo:EIO", "-1 -1 -1"),
    ("fastlogo:EWOULDBLOCK:1,fastlogo:EDEADLOCK:2", "-1 -1 0"), ("put:EIO,present:5", "0 0 0")])
def test_faults(sim, fail, results):
    result = sim("probe", *["fastlogo=0"] * 3, FAIL=fail)
    assert [line.split(" = ")[1] for line in result.err.splitlines()] == results.split(" ")
    assert (sim("probe", "blank=1,0", FAIL=fail).err == "blank = 0\n") == ("present" not in fail)


# One line and status 2, whatever the run would have done.
@pytest.mark.parametrize("setting, why", [
    ("ION=modren", "not one of its values"), ("GE2D=gone", "not one of its values"),
    ("MEMORY=1G", "not a number of bytes"), ("MEMORY=-1", "not a number of bytes"),
    ("LOG=none/log", "No such file or directory"), ("LOG=pipe", "No such device or address"),
    ("LOG=/dev/full", "No space left on device"),
    ("FIAL=put:EIO", "there is no such setting"), ("FAIL=put:EWRONG", "there is no such errno"),
    *((f"FAIL={fault}", "not request:answer[:n[+]]")
      for fault in ("put", "put:0", "put:EIO:0", "put:EIO:x", "put:EIO:", "a:b:c:d")),
    *((f"FAIL={fault}", "the chosen devices have no such request or answer")
      for fault in ("get:EIO", "put:nofd", "map:EIO", "share:EIO")),
])
def test_bad_settings(sim, setting, why):
    os.mkfifo(sim.folder / "pipe")
    name, value = setting.split("=")
    result = sim("planeshow", "--help", **{name: value})
    assert (result.status, result.out, result.err) == (2, "", f"planeshow-sim: PLANESHOW_SIM_{setting}: {why}\n")
    assert "FAIL=: not" in sim("planeshow", "--help", FAIL="put:EIO,").err


# Limits as on a kernel, where the devices take no descriptor of the tool's; no line of the log is lost.
@pytest.mark.parametrize("most, last, lines", [
    (5, "main: initImageBuffer error, exit!", 6), (6, "main: submit osd layer error!", 13), (7, "osd channel: 1", 14)])
def test_few_descriptors(sim, unwrapped, most, last, lines):
    result = sim("planeshow", "-i", "image.raw", ION="legacy", STATE=".", limit=(resource.RLIMIT_NOFILE, most))
    assert (result.lines[-1], len(result.log), result.err) == (last, lines, "")
    assert (sim.folder / "channel1.layer").exists() == (most == 7)


def test_little_memory(sim, unwrapped):
    if "asan" in sim.build.name or sim.config["emulator"]:
        pytest.skip("needs more memory for itself")
    (sim.folder / "big").write_bytes(bytes(33_000_000))
    limit = (resource.RLIMIT_DATA, 20_000_000)
    assert sim("planeshow", "-i", "big", STATE=".", limit=limit).lines[-1] == "osd channel: 1"


# What can't be kept or logged is said once; the run is as ever.
@pytest.mark.parametrize("settings, said", [
    (dict(LOG="full", limit=(resource.RLIMIT_FSIZE, 4096)), ["full: File too large"]),
    (dict(STATE="none"), ["none/fastlogo: No such file or directory", "none/channel1.layer: No such file or directory"])])
def test_unwritable(sim, unwrapped, settings, said):
    (sim.folder / "full").write_text("x" * 4096)
    result = sim("planeshow", "-i", "image.raw", **settings)
    assert (result.lines[-1], result.status) == ("osd channel: 1", 0)
    assert result.err.splitlines() == ["planeshow-sim: " + line for line in said]


# Files of the state are the user's own, and replace links instead of writing through them.
def test_state(sim):
    victim = sim.folder / "victim"
    victim.write_text("mine")
    for name in "channel1.layer", "channel1.hidden", "fastlogo":
        (sim.folder / name).symlink_to(victim)
    sim("planeshow", "-i", "image.raw", "--fastlogo", STATE=".")
    layer = sim.folder / "channel1.layer"
    assert (victim.read_text(), stat.filemode(layer.lstat().st_mode)) == ("mine", "-rw-------")
    assert (layer.read_bytes()[80:], (sim.folder / "fastlogo").read_text()) == (b"123456789", "1\n")
    hidden = sim.folder / "channel1.hidden"
    assert not hidden.is_symlink()
    for operation, there in ("blank=1,1", True), ("blank=0,1", False), ("blank=1,1", True):
        sim("probe", operation, STATE=".")
        assert hidden.exists() == there
    sim("planeshow", "-i", "image.raw", STATE=".")
    assert not hidden.exists()
