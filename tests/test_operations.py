# Single operations, called by the probe program: results and records that a run does not show.

import pathlib

import pytest

from conftest import table


# Results: of an allocation with the out-parameter; of a buffer with its record (descriptor, size, tag,
# mapping) when made, when given memory once more and when destroyed; of a submission with out-parameter and
# the record's out value. -7 and 99 are untouched. A first open and its result go without saying.
@table("calls, results, log", {
    "a null, before the probe": ("probe open alloc=null alloc_fd=null", "alloc = -22 -7; alloc_fd = -22 -7", ""),
    "a null, after one probe": ("probe open share=null share=null", "share = -22 -7; share = -22 -7", "free * ENOTTY"),
    "a null on a legacy kernel": ("SIM_ION=legacy probe open share=null", "share = -22 -7", "free * EINVAL"),
    "a modern kernel has no handles": (
        "probe open alloc=9 share=1 alloc_fd=9", "alloc = -22 -7; share = -22 -7; alloc_fd = 0 4",
        "free * ENOTTY; alloc {len=9 heap_mask=130 flags=5 fd=0 reserved=0} = 0"),
    "a legacy kernel has": (
        "SIM_ION=legacy probe open alloc=9 share=1 alloc_fd=9", "alloc = 0 1; share = 0 4; alloc_fd = 0 5",
        "free * EINVAL; alloc * = 0; share * = 0; alloc {len=9 align=64 heap_mask=130 flags=5 handle=0} = 0; share; "
        "free {handle=2} = 0"),
    "no memory": (
        "SIM_ION=legacy SIM_FAIL=alloc:ENOMEM probe open alloc=9", "alloc = -12 -7", "free * EINVAL; alloc * ENOMEM"),
    "positive results are handed on": (
        "SIM_ION=legacy SIM_FAIL=alloc:3,share:5,free:7:2 probe open alloc_fd=9 alloc=9", "alloc_fd = 5 4; alloc = 3 1",
        "free * EINVAL; alloc * = 3; share * = 5; free * = 7; alloc * = 3"),
    "an image": ("probe image=image.raw open", "image = 0 '123456789'; open = 3 0", "open"),
    "no image": ("probe image=none", "image = -22 ''", ""),
    "an image that can't be opened": ("FAULT=2 probe image=image.raw", "image = -22 ''", ""),
    "an image that can't be mapped": ("FAULT=3 probe image=image.raw open", "image = -1 ''; open = 3 0", "open"),
    "no bytes, nowhere to go": ("probe load=0,0 load=-1,9", "load = -1; load = -1", ""),
    "a buffer": ("probe buffer=7,9 open", "buffer = 0 4 9 7 mapped, then 5 9 8 mapped, then -1 0 0 mapped; open = 5 0",
                 "open; free * ENOTTY; alloc * = 0; alloc * = 0; open"),
    "no memory: the record stays": (
        "SIM_MEMORY=4096 probe buffer=7,9", "buffer = -1 4 9 7 mapped, then 4 9 7 mapped, then -1 0 0 mapped",
        "open; free * ENOTTY; alloc * = 0; alloc * ENOMEM"),
    "no mapping: the descriptor is closed": (
        "FAULT=6 probe buffer=7,9 open", "buffer = -1 4 9 7 mapped, then 5 9 8 MAP_FAILED, then -1 0 0 MAP_FAILED; "
        "open = 5 0", "open; free * ENOTTY; alloc * = 0; alloc * = 0; open"),
    "the allocator is opened once": (
        "SIM_ION=absent probe buffer=7,9", "buffer = -1 -1 0 0 null, then -1 0 0 null, then -1 0 0 null", "* ENOENT"),
    "the display is opened once": ("SIM_GE2D=absent probe fastlogo=1 blank=1,0 submit=0,0",
                                   "fastlogo = -1; blank = -1; submit = -1 -1 -1", "open * ENOENT"),
    "unknown channels": ("probe submit=0,2 submit=0,4294967295", "submit = -1 -7 99; submit = -1 -7 99", ""),
    "the driver's number": (
        "probe open alloc_fd=9 submit=4,1 submit=-1,0", "alloc_fd = 0 4; submit = 0 1 -1; submit = -1 -1 -1",
        "free * ENOTTY; alloc * = 0; open; put *out_value=-1} = 0 {out_value=1}; put *out_value=-1} = * EBADF"),
    "channels and modes as they are": (
        "probe blank=1,0 blank=0,1 blank=5,9 fastlogo=7", "blank = 0; blank = 0; blank = -1; fastlogo = -1",
        "open; {channel=0 enable=0}; {channel=1 enable=1}; {channel=9 enable=0}; {mode=7}")})
def test_results(run, calls, results, log):
    if "probe open" in calls:
        results, log = f"open = 3 0; {results}", f"open; {log}" if log else "open"
    run(calls, err=results.replace("; ", "\n") + "\n", log=log)


def test_length_beyond_the_legacy_record(run, build):
    if build.bits == 32:
        pytest.skip("a 32-bit process has no such lengths")
    run("SIM_ION=legacy probe open alloc=4294967297", err="open = 3 0\nalloc = -22 -7\n")


# The message can't be printed; the caller's next line needs the errno of the open all the same.
def test_open_keeps_errno(run):
    with open("/dev/full", "w") as full:
        run("SIM_ION=forbidden probe open", err="open = -1 13\n", stdout=full)


def test_no_program_name(run):
    assert run("probe parse_nothing").out.startswith("\nERROR: please specify the input file name!\n")


# A device that has been closed at exit is -1, and not the number that it had.
@pytest.mark.parametrize("call", ["blank=1,0", "buffer=7,9"])
def test_closed_at_exit(run, call):
    run(f"CALLS=calls probe at_exit={call} {call}", err=None)
    assert pathlib.Path("calls").read_text().splitlines()[-1].startswith("ioctl -1 ")
