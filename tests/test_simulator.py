# The simulated devices answer as kernels do, and refuse wrong settings.

import os
import re
import resource
import subprocess

from conftest import SOURCE, needs, table


# The result is followed by the out-parameter, and for a submission by the record's out value.
@table("settings, calls, results", {
    "a modern request on a legacy kernel": ("SIM_ION=legacy SIM_FAIL=free:ENOTTY", "alloc_fd=9", ["alloc_fd = -25 -7"]),
    "the lowest handle, a freed one's too, or none": ("SIM_ION=legacy", "alloc=9 alloc_fd=9 alloc=9 alloc=0",
        ["alloc = 0 1", "alloc_fd = 0 4", "alloc = 0 2", "alloc = -22 -7"]),
    "two buffers use up the memory": (
        "SIM_MEMORY=8192", "alloc_fd=1 alloc_fd=4097 alloc_fd=1 alloc_fd=1",
        ["alloc_fd = 0 4", "alloc_fd = -12 -7", "alloc_fd = 0 5", "alloc_fd = -12 -7"]),
    "a layer needs a buffer": ("SIM_LOG=", "submit=3,1 submit=77,1", ["submit = -1 -1 -1", "submit = -1 -1 -1"])})
def test_answers(run, settings, calls, results):
    run(f"{settings} probe open {calls}", err="\n".join(["open = 3 0", *results, ""]))


FAIL_RULE = "not call:answer[:n[+]] with an answer that the chosen devices can give"


# One line and status 2, whatever the run would have done.
@table("setting, why", {f"{setting:.30}": (setting, why) for why, settings in {
    "the values are modern legacy absent forbidden": ["ION=modren"],
    "the values are present absent forbidden": ["GE2D=gone"],
    "the values are drawn none": ["SCREEN=no"],
    "not a number of bytes": ["MEMORY=1G", "MEMORY=-1", "MEMORY=0"],
    "not WIDTHxHEIGHT, each from 1 to 8192": ["SIZE=5x8193", "SIZE=x5", "SIZE=0x5"],
    "No such file or directory": ["LOG=none/log"],
    "No such device or address": ["LOG=pipe"],  # that nobody reads
    "there is no such setting": ["FIAL=put:EIO", "=1"],
    FAIL_RULE: ["FAIL=put", "FAIL=put:0", "FAIL=put:EIO:0", "FAIL=put:EIO:x", "FAIL=:::", "FAIL=put:EIO:1:",
                "FAIL=put:EIO:1+x", "FAIL=put:EWRONG", "FAIL=put:E" + "A" * 60000, "FAIL=get:EIO", "FAIL=put:nofd",
                "FAIL=open:1", "FAIL=share:EIO", "ION=legacy SIM_FAIL=alloc:nofd"],
}.items() for setting in settings})
def test_bad_settings(run, setting, why):
    os.mkfifo("pipe")
    said = setting.split("SIM_")[-1]
    ran = run(f"SIM_{setting} planeshow-sim --blank", status=2, err=f"planeshow-sim: PLANESHOW_SIM_{said}: {why}\n")
    assert (ran.out, ran.log) == ("", [])


# As in a kernel, the devices use up none of the tool's descriptors. The log needs one, and says if it gets none.
@needs("last descriptor")
@table("most, status, last", {
    "no duplicate": (6, 0, "main: submit osd layer error!\n"),
    "just enough": (7, 0, "osd channel: 1\n")})
def test_few_descriptors(run, most, status, last):
    ran = run("SIM_ION=legacy planeshow-sim -i image.raw", status,
              err="planeshow-sim: the log is incomplete: log: Too many open files\n",
              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (most, most)))
    assert ran.out.endswith(last)


# The tool's next line needs the errno of its own call.
def test_full_log(run):
    os.symlink("/dev/full", "full")
    ran = run("SIM_LOG=full SIM_FAIL=open:ESTALE planeshow-sim -i image.raw", 1,
              "planeshow-sim: the log is incomplete: full: No space left on device\n")
    assert "Stale file handle(116)" in ran.out


# A call by a name that isn't wrapped would reach this machine's own devices unnoticed.
def test_every_spelling_is_wrapped(build):
    wrapped = re.search(r"foreach\(name (.*)\)", (SOURCE / "simulator/CMakeLists.txt").read_text())[1].split()
    objects = list(build.folder.glob("CMakeFiles/*.dir/src/*/*.o"))
    symbols = subprocess.check_output([build.nm, "-u", *objects], text=True)
    called = set(re.findall(r" U ((?!_Z)\w*(?:open|stat|map|ioctl|dup|close)\w*)", symbols))
    assert {"open", "ioctl"} <= called <= set(wrapped)
