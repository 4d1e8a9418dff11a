# The simulated devices: they answer as kernels do, and take no setting silently wrong.

import os
import pathlib
import re
import resource
import sys
from textwrap import dedent

import pytest

from conftest import table

LEGACY = "SIM_ION=legacy"
MODERN_ALLOC, ALLOC, FREE, SHARE = (f"request=3,0xC0{code}" for code in ("184900", "144900", "044901", "084904"))
PUT = "request=5,0x4631,{},,,,,,,,,,,,,,,,,{}"  # channel, dma-buf


# A request has descriptor, number and record, a mapping descriptor, length, protection, flags and offset.
@table("settings, calls, results", {
    "no length": ("", "alloc_fd=0", "alloc_fd = -22 -7"),
    "the last page of 32 bits": ("", f"{MODERN_ALLOC},4294963201,0,2", "request = -22"),
    "more than 32 bits": ("", f"{MODERN_ALLOC},0,1,2", "request = -22"),
    "no such heap": ("", f"{MODERN_ALLOC},1,0,5", "request = -19"),
    "reserved": ("", f"{MODERN_ALLOC},1,0,2,0,0,7", "request = -22"),
    "a legacy request": ("", f"{ALLOC},1,4096,2", "request = -25"),
    "a modern request": (LEGACY, f"{MODERN_ALLOC},1,0,2", "request = -25"),
    "a display request": ("", "request=3,0x4635", "request = -25"),
    "the lowest handle": (LEGACY, f"alloc=9 alloc=9 {FREE},1 alloc=9", "alloc = 0 1; alloc = 0 2; request = 0; alloc = 0 1"),
    "another open's handle": (LEGACY, f"open alloc=9 {FREE},1", "open = 4 0; alloc = 0 1; request = -22"),
    "a freed handle": (LEGACY, f"alloc=9 {FREE},1 {SHARE},1", "alloc = 0 1; request = 0; request = -22"),
    "a handle shared twice": (LEGACY, "alloc=9 share=1 share=1", "alloc = 0 1; share = 0 4; share = 0 5"),
    "two buffers use up the memory": ("SIM_MEMORY=12288", "alloc_fd=4097 alloc_fd=4097 alloc_fd=4096 alloc_fd=1",
                                      "alloc_fd = 0 4; alloc_fd = -12 -7; alloc_fd = 0 5; alloc_fd = -12 -7"),
    "no mapping of the device": ("", "map=3,4096,3,1,0", "map = -19"),
    "mappings end with a buffer's last page": ("", "alloc_fd=4097 map=4,4096,3,1,4096 map=4,8193,3,1,0 map=4,1,3,1,8192",
                                               "alloc_fd = 0 4; map = 0; map = -22; map = -22"),
    "no private writable mapping": ("", "alloc_fd=9 map=4,9,3,2,0 map=4,9,1,2,0", "alloc_fd = 0 4; map = -22; map = 0"),
    "a layer needs a channel and a buffer": (
        "", " ".join(["alloc_fd=9 fastlogo=1", *(PUT.format(*of) for of in ((1, 4), (2, 4), (1, 3), (1, 77)))]),
        "alloc_fd = 0 4; fastlogo = 0; request = 0; request = -22; request = -22; request = -9"),
    "the second time": ("SIM_FAIL=fastlogo:EDEADLOCK:2", "fastlogo=0 fastlogo=0 fastlogo=0",
                        "fastlogo = 0; fastlogo = -1; fastlogo = 0"),
    "from then on": ("SIM_FAIL=fastlogo:EWOULDBLOCK:2+", "fastlogo=0 fastlogo=0 fastlogo=0",
                     "fastlogo = 0; fastlogo = -1; fastlogo = -1")})
def test_answers(run, settings, calls, results):
    run(f"{settings} probe open {calls}", err=f"open = 3 0; {results}\n".replace("; ", "\n"))


# One line and status 2, whatever the run would have done.
@pytest.mark.parametrize("why, settings", {
    "not one of its values": "ION=modren; GE2D=gone",
    "not a number of bytes": "MEMORY=1G; MEMORY=-1; MEMORY=0",
    "No such file or directory": "LOG=none/log",
    "No space left on device": "LOG=/dev/full",
    "No such device or address": "LOG=pipe",  # that nobody reads
    "there is no such setting": "FIAL=put:EIO; =1",
    "there is no such errno": "FAIL=put:EWRONG",
    "not request:answer[:n[+]]": "FAIL=put; FAIL=put:0; FAIL=put:EIO:0; FAIL=put:EIO:x; FAIL=put:EIO:; FAIL=put:EIO,",
    "the chosen devices have no such request or answer":
        "FAIL=get:EIO; FAIL=put:nofd; FAIL=map:EIO; FAIL=share:EIO; ION=legacy SIM_FAIL=alloc:nofd"}.items())
def test_bad_settings(run, why, settings):
    os.mkfifo("pipe")
    for setting in settings.split("; "):
        said = re.sub(".* SIM_|(?<==).*,", "", setting)  # of a list only the bad piece
        run(f"SIM_{setting} planeshow --help", status=2, err=f"planeshow-sim: PLANESHOW_SIM_{said}: {why}\n", log="")


# As on a kernel: the driver uses up no descriptor of the tool's. No line of the log is lost.
@table("most, status, last, lines, shared", {
    "no share": (5, 1, "main: initImageBuffer error, exit!\n", 6, "-1 EMFILE {fd=-24}"),
    "no duplicate": (6, 0, "main: submit osd layer error!\n", 13, "0 {fd=5}"),
    "just enough": (7, 0, "osd channel: 1\n", 14, "0 {fd=5}")})
def test_few_descriptors(run, most, status, last, lines, shared):
    ran = run("SIM_STATE=. SIM_ION=legacy planeshow -i image.raw", status,
              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (most, most)))
    assert ran.out.endswith(last)
    assert ran.log.count("\n") == lines
    assert f"share {{handle=1 fd=0}} = {shared}\n" in ran.log
    assert os.path.exists("channel1.layer") == (most == 7)


# What can't be kept or logged is said once; the run is as ever.
def test_unwritable(run):
    said = "planeshow-sim: none/fastlogo: {0}\nplaneshow-sim: none/channel1.layer: {0}\n"
    run("SIM_STATE=none planeshow -i image.raw", err=said.format("No such file or directory"))
    pathlib.Path("full").write_bytes(bytes(4096))
    run("SIM_LOG=full planeshow -i image.raw", err="planeshow-sim: full: File too large\n",
        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096)))


# The files are the user's own, and replace links instead of writing through them.
def test_state(run):
    for name in "channel1.layer", "channel1.hidden", "fastlogo":
        os.symlink("image.raw", name)
    run("SIM_STATE=. planeshow -i image.raw --fastlogo")
    assert pathlib.Path("channel1.layer").lstat().st_mode == 0o100600
    assert pathlib.Path("channel1.layer").read_bytes()[80:] == b"123456789"
    assert [pathlib.Path(name).read_text() for name in ("image.raw", "fastlogo")] == ["123456789", "1\n"]
    hidden = []
    for command in ("planeshow --blank", "planeshow -i image.raw -t 0", "planeshow -i image.raw",
                    "probe blank=7,1", "probe blank=0,1"):
        run(f"SIM_STATE=. {command}", err=None)
        hidden.append(os.path.lexists("channel1.hidden"))
    assert hidden == [True, True, False, True, False]


# A driver is called from any thread: no two get the same handle.
def test_threads(run, build):
    if build.arm or "SANITIZE:BOOL=ON" in build.cache:
        pytest.skip("Python is built otherwise")
    code = dedent("""
        import fcntl, struct, threading
        ion = open("/dev/ion")
        alloc = lambda: [fcntl.ioctl(ion, 0xC0144900, struct.pack("5I", 9, 0, 2, 0, 0)) for i in range(100)]
        [threading.Thread(target=alloc).start() for i in range(8)]""")
    ran = run(f"'LD_LIBRARY_PATH={build.folder}' LD_PRELOAD=libplaneshow-sim.so {LEGACY} {sys.executable} -c '{code}'")
    assert len(set(re.findall("{handle=[0-9]+}$", ran.log, re.M))) == 800
