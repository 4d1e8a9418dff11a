# The simulated devices: they answer as kernels do, and take no setting silently wrong.

import os
import pathlib
import resource
import stat

import pytest

from conftest import no_valgrind, table

pytestmark = pytest.mark.usefixtures("simulated")

MODERN, LEGACY = "SIM_ION=modern", "SIM_ION=legacy"
MODERN_ALLOC, ALLOC, FREE, SHARE = (f"request=0xC0{code}," for code in ("184900", "144900", "044901", "084904"))


# A raw request is its number and the words of its record, and gives its result and the words after it.
@table("settings, calls, results", {
    "no length": (MODERN, "alloc_fd=0", "alloc_fd = -22 -7"),
    "the last page of 32 bits": (MODERN, f"{MODERN_ALLOC}4294963201,0,2,0,0,0", "request = -22 -4095 0 2 0 0 0"),
    "more than 32 bits": (MODERN, f"{MODERN_ALLOC}0,1,2,0,0,0", "request = -22 0 1 2 0 0 0"),
    "no such heap": (MODERN, f"{MODERN_ALLOC}1,0,5,0,0,0", "request = -19 1 0 5 0 0 0"),
    "reserved": (MODERN, f"{MODERN_ALLOC}1,0,2,0,0,7", "request = -22 1 0 2 0 0 7"),
    "a legacy request": (MODERN, f"{ALLOC}1,4096,2,0,0", "request = -25 1 4096 2 0 0"),
    "a display request": (MODERN, "request=0x4635,0", "request = -25 0"),
    "the lowest handle": (LEGACY, f"alloc=9 {FREE}1 alloc=9", "alloc = 0 1; request = 0 1; alloc = 0 1"),
    "another open's handle": (LEGACY, f"alloc=9 open {FREE}1", "alloc = 0 1; open = 4 0; request = -22 1"),
    "a freed handle": (LEGACY, f"alloc=9 {FREE}1 {SHARE}1,0", "alloc = 0 1; request = 0 1; request = -22 1 0"),
    "a handle shared twice": (LEGACY, "alloc=9 share=1 share=1", "alloc = 0 1; share = 0 4; share = 0 5"),
    "a layer of no buffer": (MODERN, "submit=3,1", "submit = -1 -1 -1"),
    "a layer of nothing": (MODERN, "submit=77,1", "submit = -1 -1 -1"),
    "two buffers use up the memory": ("SIM_MEMORY=12288", "alloc_fd=4097 alloc_fd=4097 alloc_fd=4096 alloc_fd=1",
                                      "alloc_fd = 0 4; alloc_fd = -12 -7; alloc_fd = 0 5; alloc_fd = -12 -7"),
    "the second time": ("SIM_FAIL=fastlogo:EIO:2", "fastlogo=0 fastlogo=0", "fastlogo = 0; fastlogo = -1"),
    "and then no more": ("SIM_FAIL=fastlogo:EDEADLOCK:1", "fastlogo=0 fastlogo=0", "fastlogo = -1; fastlogo = 0"),
    "from then on": ("SIM_FAIL=fastlogo:EWOULDBLOCK:1+", "fastlogo=0 fastlogo=0", "fastlogo = -1; fastlogo = -1")})
def test_answers(run, settings, calls, results):
    run(f"{settings} probe open {calls}", err=f"open = 3 0; {results}\n".replace("; ", "\n"))


# One line and status 2, whatever the run would have done.
@pytest.mark.parametrize("setting, why", [
    ("ION=modren", "not one of its values"),
    ("GE2D=gone", "not one of its values"),
    *((f"MEMORY={memory}", "not a number of bytes") for memory in ("1G", "-1", "0")),
    ("LOG=none/log", "No such file or directory"),
    ("LOG=pipe", "No such device or address"),  # nobody reads it
    ("FIAL=put:EIO", "there is no such setting"),
    ("FAIL=put:EWRONG", "there is no such errno"),
    *((f"FAIL={fault}", "not request:answer[:n[+]]")
      for fault in ("put", "put:0", "put:EIO:0", "put:EIO:x", "put:EIO:", "a:b:c:d")),
    *((f"FAIL={fault}", "the chosen devices have no such request or answer")
      for fault in ("get:EIO", "put:nofd", "map:EIO", "share:EIO")),
    ("FAIL=", "not request:answer[:n[+]]")])  # behind the comma
def test_bad_settings(run, setting, why):
    os.mkfifo("pipe")
    given = setting.replace("FAIL=", "FAIL=put:EIO,") if setting == "FAIL=" else setting
    run(f"SIM_{given} planeshow --help", status=2, err=f"planeshow-sim: PLANESHOW_SIM_{setting}: {why}\n")


# As on a kernel, where no descriptor of the tool's is used up by the driver; and no line of the log is lost.
@no_valgrind
@table("most, last, status, lines", {
    "no share": (5, "main: initImageBuffer error, exit!\n", 1, 6),
    "no duplicate": (6, "main: submit osd layer error!\n", 0, 13),
    "just enough": (7, "osd channel: 1\n", 0, 14)})
def test_few_descriptors(run, most, last, status, lines):
    ran = run("SIM_STATE=. SIM_ION=legacy planeshow -i image.raw", status=status,
              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (most, most)))
    assert ran.out.endswith(last)
    assert ran.log.count("\n") == lines
    assert ("= -1 EMFILE {fd=-24}\n" in ran.log) == (most == 5)  # a failed share leaves its error in the record
    assert os.path.exists("channel1.layer") == (most == 7)


# What can't be kept or logged is said; the run is as ever.
@no_valgrind
def test_unwritable(run):
    said = "planeshow-sim: none/fastlogo: {0}\nplaneshow-sim: none/channel1.layer: {0}\n"
    run("SIM_STATE=none planeshow -i image.raw", err=said.format("No such file or directory"))
    pathlib.Path("full").write_bytes(bytes(4096))
    run("SIM_LOG=full planeshow -i image.raw", err="planeshow-sim: full: File too large\n",
        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096)))


# Files of the state are the user's own, and replace links instead of writing through them.
def test_state(run):
    pathlib.Path("victim").write_text("mine")
    names = "channel1.layer", "channel1.hidden", "fastlogo"
    for name in names:
        os.symlink("victim", name)
    run("SIM_STATE=. planeshow -i image.raw --fastlogo")
    layer, hidden, fastlogo = map(pathlib.Path, names)
    assert (pathlib.Path("victim").read_text(), stat.filemode(layer.lstat().st_mode)) == ("mine", "-rw-------")
    assert (layer.read_bytes()[80:], fastlogo.read_text()) == (b"123456789", "1\n")
    for command, there in ("probe blank=1,1", True), ("probe blank=0,1", False), ("planeshow --blank", True):
        assert os.path.lexists(hidden) != there  # from the command before
        run("SIM_STATE=. " + command, err=None)
        assert os.path.lexists(hidden) == there
