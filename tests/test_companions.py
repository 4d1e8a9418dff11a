# The programs that make raw images: the test card, and the converter from PNG.

import ctypes
import os
import pathlib
import resource
import signal
import struct
import subprocess
import time
import zlib

from PIL import Image

from conftest import SOURCE, needs, table


# The card is that of the README, on ARM too.
def test_card(run):
    run("planeshow-testcard RGB888 320x180 card")
    card = Image.frombytes("RGB", (320, 180), pathlib.Path("card").read_bytes(), "raw", "BGR")
    assert card.tobytes() == Image.open(SOURCE / "doc/pictures/card-RGB888.png").tobytes()


def chunk(name, content, checksum=0):
    return struct.pack(">I", len(content)) + name + content + struct.pack(">I", zlib.crc32(name + content) ^ checksum)


# Makes a PNG by hand. The rows are in hexadecimal and each begins with 00.
def png(width, height, bits, kind, rows, *chunks, interlaced=0):
    header = chunk(b"IHDR", struct.pack(">2I5B", width, height, bits, kind, 0, 0, interlaced))
    return b"\x89PNG\r\n\x1a\n" + header + b"".join(chunks) + chunk(b"IDAT", zlib.compress(bytes.fromhex(rows))) + END


END = chunk(b"IEND", b"")
GREY, RGB, PALETTE, GREY_ALPHA, RGBA = 0, 2, 3, 4, 6
COLOURS = chunk(b"PLTE", bytes.fromhex("c86432 070305"))
# Opaque, half-transparent, transparent, dark. The signature and the header are the first 33 bytes.
FOUR = png(4, 1, 8, RGBA, "00 c86432ff c8643280 ffffff00 050307ff")


@table("picture, size, format, memory", {
    "unmixed": (FOUR, "4 1", "ARGB8888", "3264c8ff 3264c880 ffffff00 070305ff"),
    "without alpha it lies on black": (FOUR, "4 1", "RGB888", "3264c8 193264 000000 070305"),
    "what has fewer bits is rounded": (FOUR, "4 1", "RGB565", "26c3 8361 0000 2108"),
    "one bit of grey, taller than wide": (png(1, 2, 1, GREY, "00 80 00 00"), "1 2", "RGB888", "ffffff 000000"),
    "grey with alpha": (png(1, 1, 8, GREY_ALPHA, "00 c880"), "1 1", "ARGB8888", "c8c8c880"),
    "16 bits, rounded and interlaced": (png(2, 2, 16, GREY, "00 00ff 00 ff00 00 0303 0404", interlaced=1), "2 2", "RGB888",
                                        "010101 fefefe 030303 040404"),
    "a palette with transparency": (png(2, 3, 1, PALETTE, "00 40 00 80 00 00", COLOURS, chunk(b"tRNS", b"\x80")),
                                    "2 3", "ARGB8888", "3264c880 050307ff 050307ff" + 3 * "3264c880"),
    "a colour key": (png(2, 1, 8, RGB, "00 010203 040506", chunk(b"tRNS", b"\0\1\0\2\0\3")), "2 1", "ARGB8888",
                     "03020100 060504ff"),
    "a gamma of 1.0 or an odd sRGB changes no value": (png(1, 1, 8, RGB, "00 c86432", chunk(b"gAMA", b"\0\1\x86\xa0"),
                                                           chunk(b"sRGB", b"?")), "1 1", "RGB888", "3264c8")})
@needs("pictures")
def test_converter(run, picture, size, format, memory):
    pathlib.Path("it's.png").write_bytes(picture)
    width, height = size.split()
    ran = run(f'''planeshow-convert "it's.png" {format} "it's"''')
    assert ran.out == f"planeshow -i 'it'\\''s' -f {format} -w {width} -h {height}\n"
    assert pathlib.Path("it's").read_bytes() == bytes.fromhex(memory)


# A damaged picture is never converted to other pixels without a message.
@table("picture, said, status", {
    "a damaged chunk": (FOUR[:33] + chunk(b"tRNS", b"", checksum=1) + FOUR[33:], "tRNS: CRC error", 1),
    "a wrong zlib checksum": (FOUR[:33] + chunk(b"IDAT", zlib.compress(bytes(17))[:-4]) + chunk(b"IDAT", b"????") + END,
                              "IDAT: incorrect data check", 1),
    "an index too large": (png(2, 1, 8, PALETTE, "00 0002", COLOURS), "a pixel's colour is not in the palette", 1),
    "transparency behind the pixels": (FOUR[:-12] + chunk(b"tRNS", b"\x80") + END, "tRNS: out of place", 0),
    "more transparency than palette": (png(2, 1, 8, PALETTE, "00 0001", COLOURS, chunk(b"tRNS", b"\x80\x80\x80")),
                                       "tRNS: invalid", 0),
    "4 GiB": (png(65536, 16384, 8, GREY, ""), "too large: its pixels would fill 4 GiB or more", 1),
    "cut": (FOUR[:-14], "the file ends too early", 1),
    "no PNG": (b"123456789", "Not a PNG file; ffmpeg -i PICTURE -frames:v 1 NAME.png makes one", 1),
    "empty": (b"", "the file is empty", 1)})
@needs("pictures")
def test_damaged(run, picture, said, status):
    pathlib.Path("picture.png").write_bytes(picture)
    run("planeshow-convert picture.png RGB888 file", status, f"planeshow-convert: picture.png: {said}\n")
    assert os.path.exists("file") == (status == 0)


# A refusal is one line and status 1, and no half-written file is left.
@table("arguments, why", {
    "no arguments": ("", "usage: planeshow-testcard FORMAT WIDTHxHEIGHT FILE"),
    "no such folder": ("RGB565 2x2 none/f", "none/f: No such file or directory"),
    "a file that may not be written": ("RGB565 2x2 image.raw", "image.raw: Permission denied"),
    "a link to nothing": ("RGB565 2x2 link", "link: this is a link to something that can't be found"),
    "a folder": ("RGB565 2x2 .", ".: Is a directory")} | {
    f"{size} is no size": (f"ARGB8888 {size} f", f"{size}: the size is WIDTHxHEIGHT, both 1 or more, and a card has "
                           "less than 4 GiB") for size in ("5", "0x5", "2x2x", "65536x16384")})
def test_refused(run, arguments, why):
    os.chmod("image.raw", 0o444)
    os.symlink("none", "link")
    before = os.listdir()
    # Root may write to any file, but not without CAP_DAC_OVERRIDE, which PR_CAPBSET_DROP (24) takes from the program.
    run(f"planeshow-testcard {arguments}", 1, f"planeshow-testcard: {why}\n",
        preexec_fn=lambda: ctypes.CDLL(None).prctl(24, 1))
    assert os.listdir() == before


@needs("pictures")
@table("command, why", {
    "the picture itself": ("image.raw RGB888 ./image.raw", "./image.raw: this is the picture itself")})
def test_not_converted(run, command, why):
    run(f"planeshow-convert {command}", status=1, err=f"planeshow-convert: {why}\n")


# A file is replaced and keeps its permissions, and its owner if root replaces it. A link to a file is replaced, too.
def test_replaced(run):
    kept = pathlib.Path("image.raw")
    kept.chmod(0o600)
    os.chown(kept, os.getuid() or 1, -1)
    os.symlink(kept, "card")
    run("planeshow-testcard RGB565 1x1 card")
    assert (kept.read_bytes(), os.path.islink("card")) == (b"123456789", False)
    run("planeshow-testcard RGB565 1x1 image.raw")
    assert (kept.read_bytes(), kept.stat().st_mode, kept.stat().st_uid) == (b"\xff\xff", 0o100600, os.getuid() or 1)


# Standard output or error gets the pixels and nothing else. If it is a file, they go where the descriptor stands, or to
# the end if that is only for reading. Its name here is that in /proc, where no fault can put a file in its place.
@table("number, stream, mode, content", {
    "standard output": (1, "stdout", "r+b", "26c3 8361 0000 2108 39"),
    "standard error": (2, "stderr", "r+b", "26c3 8361 0000 2108 39"),
    "standard input": (0, "stdin", "rb", "313233343536373839 26c3 8361 0000 2108"),
    "a descriptor for reading": (1, "stdout", "rb", "313233343536373839 26c3 8361 0000 2108")})
@needs("pictures")
def test_standard_output(run, number, stream, mode, content):
    pathlib.Path("picture.png").write_bytes(FOUR)
    with open("image.raw", mode) as file:
        run(f"planeshow-convert picture.png RGB565 /proc/self/fd/{number}", **{stream: file})
    assert pathlib.Path("image.raw").read_bytes() == bytes.fromhex(content)


# If there is no room or somebody interrupts, the old file stays and no half-written one is left. An interrupted program
# dies of the signal: otherwise a shell would go on with the next round of its loop.
@needs("all descriptors and limits")
def test_no_room(run):
    run("planeshow-testcard RGB565 50x42 image.raw", 1, "planeshow-testcard: image.raw: File too large\n",
        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096)))
    assert (os.listdir(), pathlib.Path("image.raw").read_bytes()) == (["image.raw"], b"123456789")


@needs("all descriptors and limits")
@table("ending", {"the terminal closes": signal.SIGHUP, "Ctrl-C": signal.SIGINT, "kill": signal.SIGTERM})
def test_interrupted(run, build, ending):
    running = subprocess.Popen([*build.wrap, build.folder / "planeshow-testcard", "RGB565", "30000x30000", "image.raw"],
                               preexec_fn=lambda: signal.signal(ending, signal.SIG_DFL))
    while running.poll() is None and len(os.listdir()) == 1:
        time.sleep(0.01)
    running.send_signal(ending)
    assert (running.wait(timeout=100), os.listdir(), os.path.getsize("image.raw")) == (-ending, ["image.raw"], 9)


# If the reader has gone, that is an ordinary error.
def test_no_reader(run):
    reader, writer = os.pipe()
    os.close(reader)
    run("planeshow-testcard --help", 1, "planeshow-testcard: standard output: Broken pipe\n", stdout=writer)


def test_version(run):
    assert run("planeshow-testcard --version").out == "planeshow-testcard 0.1\n"
