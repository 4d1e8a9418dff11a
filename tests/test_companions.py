# The programs that make raw images: the test card, and the converter from PNG.

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
    "16 bits are rounded": (png(2, 1, 16, GREY, "00 00ff ff00"), "2 1", "RGB888", "010101 fefefe"),
    "16 bits, interlaced": (png(2, 2, 16, GREY, "00 0101 00 0202 00 0303 0404", interlaced=1), "2 2", "RGB888",
                            "010101 020202 030303 040404"),
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
    "empty": (b"", "the file is empty", 1)})
@needs("pictures")
def test_damaged(run, picture, said, status):
    pathlib.Path("picture.png").write_bytes(picture)
    run("planeshow-convert picture.png RGB888 file", status, f"planeshow-convert: picture.png: {said}\n")
    assert os.path.exists("file") == (status == 0)


# A refusal is one line and status 1, and no half-written file is left.
@table("command, why", {
    "no arguments": ("testcard", "usage: planeshow-testcard FORMAT WIDTHxHEIGHT FILE"),
    "no such folder": ("testcard RGB565 2x2 none/f", "none/f: No such file or directory"),
    "a full device": ("testcard RGB565 2x2 full", "full: No space left on device"),
    "a link to a folder": ("testcard RGB565 2x2 link", "link: Is a directory")} | {
    f"{size} is no size": (f"testcard ARGB8888 {size} f", f"{size}: the size is WIDTHxHEIGHT, both 1 or more, and a card "
                           "has less than 4 GiB") for size in ("0x5", "5x", "x5", "2x2x", "65536x16384")})
def test_refused(run, command, why):
    os.symlink("/dev/full", "full")  # a link, so that a fault can't replace the device itself
    os.symlink(".", "link")
    before = os.listdir()
    run(f"planeshow-{command}", status=1, err=f"planeshow-{command.split()[0]}: {why}\n")
    assert os.listdir() == before


@needs("pictures")
@table("command, why", {
    "a folder": (". RGB888 f", ".: Is a directory"),
    "the picture itself": ("image.raw RGB888 ./image.raw", "./image.raw: this is the picture itself")})
def test_not_converted(run, command, why):
    run(f"planeshow-convert {command}", status=1, err=f"planeshow-convert: {why}\n")


# A file is replaced and keeps its permissions. A link to a file is replaced, too.
def test_replaced(run):
    pathlib.Path("kept").write_text("as it was")
    os.chmod("kept", 0o600)
    os.symlink("kept", "card")
    run("planeshow-testcard RGB565 1x1 card")
    assert (pathlib.Path("kept").read_text(), os.path.islink("card")) == ("as it was", False)
    run("planeshow-testcard RGB565 1x1 kept")
    assert (pathlib.Path("kept").read_bytes(), os.stat("kept").st_mode) == (b"\xff\xff", 0o100600)


# Standard output gets the pixels and nothing else, even through a link and if it is a file.
@needs("pictures")
def test_standard_output(run):
    pathlib.Path("picture.png").write_bytes(FOUR)
    os.symlink("/dev/stdout", "link")
    assert run("planeshow-convert picture.png RGB565 link").out == "&\u00c3a\0\0!\x08"
    with open("image.raw", "ab") as out:
        run("planeshow-convert picture.png RGB565 /dev/stdout", stdout=out)
    assert pathlib.Path("image.raw").read_bytes() == b"123456789" + bytes.fromhex("26c3836100002108")


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
