# Single operations, called by the probe program: results and records that a run does not show.

from conftest import assert_lines, table

ION = "open /dev/ion O_RDONLY|O_CLOEXEC = *"
GE2D = "open /dev/ge2d O_RDWR = *"
PROBE = "*free {handle=0} = -1 ENOTTY"
LEGACY_PROBE = "*free {handle=0} = -1 EINVAL"
ALLOC = "*alloc {len=9 *} = 0 {fd=*}"


# What follows a result: of open the errno, of an allocation the out-parameter, of an image its descriptor and bytes, of a submission
# the out-parameter and the record's out value, of a buffer its record (descriptor, size, tag, mapping) when it is
# made, has allocated once more and is destroyed. -7 and 99 mean that the value was not touched.
@table("command, results, log", {
    "a null, before the probe": (
        "probe open alloc=null alloc_fd=null", ["open = 3 0", "alloc = -22 -7", "alloc_fd = -22 -7"], [ION]),
    "a null, after one probe": (
        "SIM_ION=legacy probe open share=null share=null", ["open = 3 0", "share = -22 -7", "share = -22 -7"],
        [ION, LEGACY_PROBE]),
    "a modern kernel has no handles": (
        "probe open alloc=9 share=1 alloc_fd=9", ["open = 3 0", "alloc = -22 -7", "share = -22 -7", "alloc_fd = 0 4"],
        [ION, PROBE, "*alloc {len=9 heap_mask=130 flags=5 fd=0 reserved=0} = 0 {fd=4}"]),
    "a legacy kernel has handles": (
        "SIM_ION=legacy probe open alloc=9 share=7 share=1 alloc_fd=9",
        ["open = 3 0", "alloc = 0 1", "share = -22 -7", "share = 0 4", "alloc_fd = 0 5"],
        [ION, LEGACY_PROBE, "*alloc {len=9 align=4096 heap_mask=2 flags=0 handle=0} = 0 {handle=1}",
         "*share {handle=7 fd=0} = -1 EINVAL", "*share {handle=1 fd=0} = 0 {fd=4}",
         "*alloc {len=9 align=64 heap_mask=130 flags=5 handle=0} = 0 {handle=2}",
         "*share {handle=2 fd=0} = 0 {fd=5}", "*free {handle=2} = 0 {}"]),
    "positive results are passed on": (
        "SIM_ION=legacy SIM_FAIL=alloc:3,share:5,free:7:2 probe open alloc_fd=9 alloc=9",
        ["open = 3 0", "alloc_fd = 5 4", "alloc = 3 1"],
        [ION, LEGACY_PROBE, "*alloc {*} = 3 *", "*share {*} = 5 *", "*free {*} = 7 *", "*alloc {*} = 3 *"]),
    "an image": (
        "probe image=image.raw", ["image = 0 3 '123456789'"],
        ["stat *", "open image.raw O_RDONLY = 3", "mmap 3: 9 bytes r- shared = 0", "close 3 = 0", "munmap 9 bytes = 0"]),
    "no image": (
        "SIM_FAIL=open:EIO:1 probe image=none image=image.raw image=.", ["image = -22 -1 ''"] * 2 + ["image = -1 -1 ''"],
        ["stat none = -1 ENOENT", "stat image.raw = 0", "open image.raw O_RDONLY = -1 EIO", "stat . = 0", "open . O_RDONLY = 3", "mmap 3: * = -1 ENODEV", "close 3 = 0"]),
    "a buffer": (
        "probe buffer=7,9", ["buffer = 0 4 9 7 mapped, then 5 9 8 mapped, then -1 0 0 mapped"],
        [ION, PROBE, ALLOC, "mmap * = 0", ALLOC, "mmap * = 0", "close 5 = 0", "close 3 = 0"]),
    "no mapping: the descriptor is closed": (
        "SIM_FAIL=mmap:EIO:2 probe buffer=7,9",
        ["buffer = -1 4 9 7 mapped, then 5 9 8 MAP_FAILED, then -1 0 0 MAP_FAILED"],
        [ION, PROBE, ALLOC, "mmap * = 0", ALLOC, "mmap * = -1 EIO", "close 5 = 0", "close 3 = 0"]),
    "unknown channels": (
        "probe submit=0,2 submit=0,4294967295", ["submit = -1 -7 99", "submit = -1 -7 99"], []),
    "the driver's number": (
        "probe open alloc_fd=9 submit=4,1 submit=-1,0",
        ["open = 3 0", "alloc_fd = 0 4", "submit = 0 1 -1", "submit = -1 -1 -1"],
        [ION, PROBE, "*alloc *", GE2D, "layer *", "*put {channel=1 *out_value=-1} = 0 {out_value=1}",
         "*put {channel=0 *out_value=-1} = -1 EBADF", "close 5 = 0"]),
    "channels and modes are sent as is": (
        "probe blank=1,0 blank=0,1 blank=5,2 fastlogo=7", ["blank = 0", "blank = 0", "blank = -1", "fastlogo = -1"],
        [GE2D, "*present {channel=0 enable=0} = 0 {}", "*present {channel=1 enable=1} = 0 {}",
         "*present {channel=2 enable=0} = -1 EINVAL", "*fastlogo {mode=7} = -1 EINVAL", "close 3 = 0"])})
def test_results(run, command, results, log):
    assert_lines(run(command, err="\n".join(results) + "\n").log, log)


# The caller's next line needs the errno of the open, even if the message can't be printed.
def test_open_keeps_errno(run):
    with open("/dev/full", "w") as full:
        run("SIM_ION=forbidden probe open", err="open = -1 13\n", stdout=full)


def test_no_program_name(run):
    assert run("probe parse_nothing").out.startswith("\nERROR: please specify the input file name!\n")


# After a device is closed at exit, its descriptor is -1 and not the old number.
@table("call, result, at_exit", {
    "the display": ("blank=1,0", "blank = 0", "blank = -1"),
    "the allocator": ("buffer=7,9", "buffer = 0 4 9 7 mapped, then 5 9 8 mapped, then -1 0 0 mapped",
                      "buffer = -1 -1 0 0 null, then -1 0 0 null, then -1 0 0 null")})
def test_closed_at_exit(run, call, result, at_exit):
    ran = run(f"probe at_exit={call} {call}", err=f"at_exit = 0\n{result}\n{at_exit}\n")
    assert_lines(ran.log[-1:], ["ioctl -1 * = -1 EBADF"])
