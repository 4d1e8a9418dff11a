# The programs beside the tool: test card, converter, screen and launcher.

import os
import pathlib
import shutil

import pytest
from PIL import Image

from conftest import table


# Runs planeshow on a state that is kept, and gives the pixels of the screen at x,y as text.
@pytest.fixture
def screen(run, simulated):
    def screen(arguments, points="", size="40x20", complaint=""):
        run("SIM_STATE=. planeshow " + arguments)
        run(f"planeshow-screen --size {size} . screen.png", err=complaint and f"planeshow-screen: {complaint}\n")
        picture = Image.open("screen.png")
        at = [tuple(map(int, point.split(","))) for point in points.split()]
        return " ".join("%02X%02X%02X" % picture.getpixel(point) for point in at)
    return screen


# The border, the red mark and the yellow bar, by the bytes in memory; on ARM, too.
@pytest.mark.parametrize("format, pixels", [("ARGB8888", "ffffffff 0000ffff 00ffffff"),
                                            ("RGB888", "ffffff 0000ff 00ffff"), ("RGB565", "ffff 00f8 e0ff")])
def test_card_in_memory(run, format, pixels):
    run(f"planeshow-testcard {format} 160x101 card")
    card, size = pathlib.Path("card").read_bytes(), pixels.index(" ") // 2
    assert len(card) == 160 * 101 * size
    assert " ".join(card[at * size:][:size].hex() for at in (0, 161, 160 * 30 + 30)) == pixels


@table("points, colours", {
    "bars": ("20,30 60,30 99,30 140,30 180,30 220,30 260,30", "FFFFFF FFFF00 00FFFF 00FF00 FF00FF FF0000 0000FF"),
    "border and last bar": ("0,90 319,90 300,0 160,179 300,30", "FFFFFF FFFFFF FFFFFF FFFFFF 000000"),
    "cross": ("160,90 155,89 155,87 155,85", "FFFFFF FFFFFF 000000 00FF00"),
    "ramp and text": ("2,120 160,120 317,120 33,153 37,153 41,153", "010101 7F7F7F FDFDFD 000000 FFFFFF 000000"),
    "green frame, blue triangle": ("316,2 310,2 314,9 2,177 13,175 2,164 14,164",
                                   "00FF00 00FF00 000000 0000FF 0000FF 0000FF 000000"),
    "yellow diagonal": ("302,163 317,178 303,178", "FFFF00 FFFF00 000000")})
def test_card(run, screen, points, colours):
    run("planeshow-testcard ARGB8888 320x180 card")
    assert screen("-i card -w 320 -h 180 -o 0,0,320,180", points, "320x180") == colours


# One line, status 1, and nothing half-written stays.
@pytest.mark.parametrize("command, why", [
    ("testcard RGB565", "usage: planeshow-testcard FORMAT WIDTHxHEIGHT FILE"),
    ("testcard rgb565 2x2 f", "rgb565: the formats are ARGB8888, RGB888 and RGB565"),
    *((f"testcard ARGB8888 {size} f",
       f"{size}: the size is WIDTHxHEIGHT, both 1 or more, and a card has less than 4 GiB")
      for size in ("0x5", "5x", "2x2x", "65536x16384")),
    ("testcard RGB565 2x2 none/f", "none/f: No such file or directory"),
    ("testcard RGB565 2x2 /dev/full", "/dev/full: No space left on device"),
    ("screen none f", "none: No such file or directory"),
    ("screen --size 5x9000 . f", "5x9000: the size is WIDTHxHEIGHT, each from 1 to 8192"),
    ("screen --size 9x9 . /dev/full", "/dev/full: No space left on device"),
    ("screen fifo f", "fifo/channel0.layer: not a regular file"),
    ("screen damaged f", "channel 0: its layer record is damaged, nothing is drawn."),
    ("convert image.raw RGB888 f", "image.raw: Not a PNG file"),
    ("convert none.png RGB888 f", "none.png: No such file or directory"),
    ("convert half.png RGB888 f", "half.png: Read Error")])
def test_refused(run, command, why):
    Image.effect_noise((90, 90), 50).save("whole.png")
    pathlib.Path("half.png").write_bytes(pathlib.Path("whole.png").read_bytes()[:4000])
    for folder, make in ("fifo", os.mkfifo), ("damaged", pathlib.Path.touch):
        os.mkdir(folder)
        make(pathlib.Path(folder, "channel0.layer"))
    written = {"f"} if why.startswith(("fifo", "channel")) else set()  # the rest of the screen
    before = written | {*os.listdir()}
    run("planeshow-" + command, status=1, err=f"planeshow-{command.split()[0]}: {why}\n")
    assert {*os.listdir()} == before


def test_help_and_version(run):
    for name in "testcard", "screen", "convert":
        assert run(f"planeshow-{name} --help").out.startswith(f"Usage: planeshow-{name} ")
        assert run(f"planeshow-{name} --version").out == f"planeshow-{name} 0.1\n"


# Three by four pixels, of which the lower right ones fill a window that lies half beyond the edges.
def test_crop_and_window(screen):
    pathlib.Path("image").write_bytes(bytes(byte for y in (1, 2, 3, 4) for x in (1, 2, 3) for byte in (x, y, 0, 255)))
    assert screen("-i image -w 3 -h 4 -c 1,2,1,1 -o -10,10,40,16",
                  "0,9 0,10 9,10 10,10 29,10 30,10 0,17 0,18 10,18 29,19") == (
        "000000 000302 000302 000303 000303 000000 000302 000402 000403 000403")
    assert screen("-i image -w 3 -h 4 -o 0,-10,40,20", "0,0 0,4 0,5 0,9 0,10") == "000301 000301 000401 000401 000000"


def test_channels_alpha_and_blanking(screen):
    pathlib.Path("red").write_bytes(b"\0\0\xff")
    pathlib.Path("blue").write_bytes(b"\xff\0\0\x80")
    assert screen("-i blue -w 1 -h 1 -t 1 -o 20,0,20,20", "10,10 30,10") == "000000 000080"
    assert screen("-i red -f RGB888 -w 1 -h 1 -t 0 -o 0,0,40,20", "10,10 30,10") == "FF0000 7F0080"
    assert screen("--blank -t 0", "10,10 30,10") == "000000 000080"
    assert screen("--blank -t 1", "30,10") == "000000"


# Eight bytes are two pixels of four.
@table("arguments, points, colours, complaint", {
    "short of data": ("-o 0,0,40,20", "10,5 30,5 10,15", "030201 060504 000000",
                      "ARGB8888 of 2x2 needs 16 bytes, the buffer has 8: what is missing is not drawn."),
    "an unknown format": (
        "-o 0,0,40,20 -f NV12", "0,0 8,0", "FFA000 282828",
        "format -1 is unknown, so the length needed is too; the buffer has 8 bytes, drawn as a hatched box."),
    "AFBC data": ("-o 20,0,20,20 --afbc", "0,0 32,0 24,0", "000000 FFA000 282828", ""),
    "no size": ("-w -1 -o 0,0,40,20", "10,5", "000000", ""),
    "no window": ("-h 1 -o 0,0,0,0", "10,5", "000000", "")})
def test_what_can_not_be_drawn(screen, arguments, points, colours, complaint):
    pathlib.Path("image").write_bytes(bytes((1, 2, 3, 255, 4, 5, 6, 255)))
    assert screen("-i image -w 2 -h 2 " + arguments, points, complaint=complaint and "channel 1: " + complaint) == colours


# Values stay as they are, unmixed, also half-transparent ones; formats without alpha get them on black.
def test_converted_pixels(run):
    picture = Image.merge("RGBA", [Image.effect_noise((16, 9), 80) for _ in range(4)])
    picture.save("picture.png")
    values = list(picture.getdata())
    expected = {
        "ARGB8888": [bytes((b, g, r, a)) for r, g, b, a in values],
        "RGB888": [bytes((c * a + 127) // 255 for c in (b, g, r)) for r, g, b, a in values],
        "RGB565": [sum((((c * a + 127) // 255 * most + 127) // 255) << shift
                       for c, most, shift in ((r, 31, 11), (g, 63, 5), (b, 31, 0))).to_bytes(2, "little")
                   for r, g, b, a in values]}
    for format, pixels in expected.items():
        said = run(f"planeshow-convert picture.png {format} 'a file'").out
        assert said == f"planeshow -i 'a file' -f {format} -w 16 -h 9\n"
        assert pathlib.Path("a file").read_bytes() == b"".join(pixels)


# Every kind of PNG is the same picture on the screen.
@pytest.mark.parametrize("mode", ["L", "LA", "P", "RGB", "RGBA", "I;16"])
def test_kinds_of_png(run, screen, mode):
    grey = Image.linear_gradient("L").resize((40, 20))
    twice = bytes(byte for value in grey.tobytes() for byte in (value, value))
    (Image.frombytes(mode, grey.size, twice) if mode == "I;16" else grey.convert(mode)).save("picture.png")
    shown = run("planeshow-convert picture.png RGB888 file").out.removeprefix("planeshow ").strip()
    screen(shown + " -o 0,0,40,20")
    assert Image.open("screen.png").tobytes() == grey.convert("RGB").tobytes()


# The launcher hands on arguments, output and status, and shows the screen only if something was drawn.
def test_launcher(run, tmp_path):
    said = "planeshow-sim: the screen is in state/screen.png\n"
    run("planeshow-testcard RGB565 4x4 card")
    card = "-i card -f RGB565 -w 4 -h 4"
    for arguments, status, err in [("--help", 0, ""), ("-i 'no file'", 1, ""), (card, 0, said), ("--blank", 0, said)]:
        ran = run("SIM_STATE=state planeshow-sim " + arguments, status=status, err=err)
        assert ran.out == run("planeshow " + arguments, status=status).out
    run(f"SIM_STATE=state SIM_FAIL=put:EIO planeshow-sim {card}")
    run("SIM_STATE=state SIM_ION=x planeshow-sim", status=2,
        err="planeshow-sim: PLANESHOW_SIM_ION=x: not one of its values\n")


# By default the state is the user's alone, and nobody else's folder or link leads elsewhere.
def test_private_state(run, tmp_path):
    state = f"{tmp_path}/.local/state/planeshow-sim"
    run(f"HOME={tmp_path} planeshow-sim --blank", err=f"planeshow-sim: the screen is in {state}/screen.png\n")
    assert os.stat(state).st_mode & 0o777 == 0o700
    needs = ": name a folder for the screen's state in PLANESHOW_SIM_STATE\n"
    run("HOME= planeshow-sim", status=2, err=f"planeshow-sim: there is no HOME{needs}")
    if os.getuid() == 0:
        os.chown(state, 65534, 65534)
        run(f"HOME={tmp_path} planeshow-sim", status=2, err=f"planeshow-sim: {state} is not your own folder{needs}")


# The loader splits its lists at a colon: planeshow is not run on the machine's own devices instead.
def test_no_devices(run, build, tmp_path):
    run("planeshow-sim --help")  # skipped where there is no launcher
    folder = tmp_path / "a:b"
    folder.mkdir()
    for name in "planeshow", "planeshow-sim", "planeshow-screen", "libplaneshow-sim.so":
        shutil.copy(build.folder / name, folder)
    run(f"SIM_STATE=. '{folder}/planeshow-sim' --blank", status=2, err=(
        f"planeshow-sim: the simulated devices can't be preloaded from {folder}, so planeshow is not run\n"))
