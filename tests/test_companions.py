# The programs beside the tool: test card, converter, screen and launcher.

import os
import pathlib
import shutil

import pytest
from PIL import Image

from conftest import SOURCE, table


# screen(arguments, size) is what the screen shows after a run of planeshow; what was there stays.
@pytest.fixture
def screen(run):
    def screen(arguments, size, err=""):
        run(f"SIM_STATE=. planeshow {arguments}")
        run(f"planeshow-screen --size {size} . screen.png", err=err and f"planeshow-screen: channel 1: {err}\n")
        return Image.open("screen.png")

    return screen


def colours(picture, *points):
    return " ".join("%02X%02X%02X" % picture.getpixel(point) for point in points)


def readme_picture(name):
    return Image.open(SOURCE / "doc/pictures" / name).tobytes()


# The bytes in memory, on ARM too.
@pytest.mark.parametrize("format, mode, memory", [("ARGB8888", "RGBA", "BGRA"), ("RGB888", "RGB", "BGR")])
def test_card(run, format, mode, memory):
    run(f"planeshow-testcard {format} 320x180 card")
    card = Image.frombytes(mode, (320, 180), pathlib.Path("card").read_bytes(), "raw", memory)
    assert card.convert("RGB").tobytes() == readme_picture(f"card-{format}.png")
    run(f"planeshow-testcard {format} 1x1 card")
    assert pathlib.Path("card").read_bytes() == b"\xff" * len(memory)


# The README's pictures, which somebody has looked at, are what its commands make.
@table("size, runs", {
    "card-ARGB8888": ("320x180", ["-i ARGB8888 -w 320 -h 180 -o 0,0,320,180"]),
    "card-RGB888": ("320x180", ["-i RGB888 -f RGB888 -w 320 -h 180 -o 0,0,320,180"]),
    "card-RGB565": ("320x180", ["-i RGB565 -f RGB565 -w 320 -h 180 -o 0,0,320,180"]),
    "crop-in-window": ("640x360", ["-i ARGB8888 -w 320 -h 180 -c 160,90,0,0 -o 40,30,400,300"]),
    "two-channels": ("640x360", ["-i RGB888 -f RGB888 -w 320 -h 180 -t 0 -o 0,0,640,360",
                                 "-i RGB565 -f RGB565 -w 320 -h 180 -o 280,140,320,180"]),
    "one-blanked": ("640x360", ["-i RGB888 -f RGB888 -w 320 -h 180 -t 0 -o 0,0,640,360", "-i RGB565 -w 2 -h 2", "--blank"])})
def test_pictures(run, screen, request, size, runs):
    for format in "ARGB8888", "RGB888", "RGB565":
        run(f"planeshow-testcard {format} 320x180 {format}")
    for arguments in runs:
        picture = screen(arguments, size)
    assert picture.tobytes() == readme_picture(request.node.callspec.id + ".png")


# Opaque, half-transparent, transparent, dark: in memory, and on the screen. Without alpha they lie on black, and
# what has fewer bits is rounded.
@table("format, memory, shown", {
    "unmixed": ("ARGB8888", "3264c8ff3264c880ffffff00070305ff", "C86432 643219 000000 050307"),
    "mixed": ("RGB888", "3264c8193264000000070305", "C86432 643219 000000 050307"),
    "rounded": ("RGB565", "26c3836100002108", "C66531 633018 000000 080408")})
def test_converter(run, screen, format, memory, shown):
    picture = Image.new("RGBA", (4, 1))
    picture.putdata([(200, 100, 50, 255), (200, 100, 50, 128), (255, 255, 255, 0), (5, 3, 7, 255)])
    picture.save("a picture.png")
    command = run(f"planeshow-convert 'a picture.png' {format} 'a file'").out
    assert command == f"planeshow -i 'a file' -f {format} -w 4 -h 1\n"
    assert pathlib.Path("a file").read_bytes().hex() == memory
    picture = screen(command.strip().partition(" ")[2] + " -o 0,0,4,1", "4x1")
    assert colours(picture, (0, 0), (1, 0), (2, 0), (3, 0)) == shown


@pytest.mark.parametrize("mode", ["1", "L", "LA", "P", "RGB", "I;16"])
def test_every_kind_of_png(run, mode):
    grey = Image.linear_gradient("L").resize((40, 20))
    wide = Image.frombytes("I;16", grey.size, bytes(byte for value in grey.tobytes() for byte in (value, value)))
    (wide if mode == "I;16" else grey.convert(mode)).save("picture.png")
    run("planeshow-convert picture.png RGB888 file")
    seen = grey if mode == "I;16" else grey.convert(mode)
    assert pathlib.Path("file").read_bytes() == seen.convert("RGB").tobytes("raw", "BGR")


# Of three by four pixels the lower right ones, in windows half beyond the edges.
def test_window_beyond_the_edges(screen):
    pathlib.Path("image").write_bytes(bytes(byte for y in (1, 2, 3, 4) for x in (1, 2, 3) for byte in (x, y, 0, 255)))
    picture = screen("-i image -w 3 -h 4 -c 1,2,1,1 -o -10,10,40,16", "40x20")
    assert colours(picture, (0, 9), (0, 10), (9, 10), (10, 10), (29, 10), (30, 10), (0, 18), (29, 19)) == (
        "000000 000302 000302 000303 000303 000000 000402 000403")
    picture = screen("-i image -w 3 -h 4 -c 1,2,1,1 -o 30,-8,40,16", "40x20")
    assert colours(picture, (29, 0), (30, 0), (39, 0), (39, 7), (39, 8)) == "000000 000402 000402 000402 000000"


# Channel 1 lies over 0 and is mixed with it; a new layer shows a blanked channel again.
def test_channels(screen):
    pathlib.Path("red").write_bytes(b"\0\0\xff")
    pathlib.Path("blue").write_bytes(b"\xff\0\0\x80")
    seen = [colours(screen(arguments, "20x20"), (9, 10), (10, 10)) for arguments in (
        "-i blue -w 1 -h 1 -o 10,0,10,20", "-i red -f RGB888 -w 1 -h 1 -t 0 -o 0,0,20,20", "--blank -t 0", "--blank",
        "-i red -f RGB888 -w 1 -h 1 -t 0 -o 0,0,20,20")]
    assert seen == ["000000 000080", "FF0000 7F0080", "000000 000080", "000000 000000", "FF0000 FF0000"]


# Of four pixels the file has two.
@table("arguments, shown, err", {
    "short of data": ("-o 0,0,40,20", "030201 060504 000000",
                      "ARGB8888 of 2x2 needs 16 bytes, the buffer has 8: what is missing is not drawn."),
    "an unknown format": ("-o 0,0,40,20 -f NV12", "FFA000 FFA000 282828", "format -1 is unknown, so the length needed "
                          "is too; the buffer has 8 bytes, drawn as a hatched box."),
    "AFBC data": ("-o 4,0,36,20 --afbc", "000000 FFA000 282828", ""),
    "no size": ("-o 0,0,40,20 -w -1", "000000 000000 000000", ""),
    "no window": ("-o 0,0,0,0 -h 1", "000000 000000 000000", "")})
def test_what_can_not_be_drawn(screen, arguments, shown, err):
    pathlib.Path("image").write_bytes(bytes((1, 2, 3, 255, 4, 5, 6, 255)))
    assert colours(screen(f"-i image -w 2 -h 2 {arguments}", "40x20", err), (0, 0), (32, 0), (8, 12)) == shown


# One line, status 1, and nothing half-written stays.
@pytest.mark.parametrize("command, why", [
    ("testcard RGB565", "usage: planeshow-testcard FORMAT WIDTHxHEIGHT FILE"),
    *((f"testcard ARGB8888 {size} f", f"{size}: the size is WIDTHxHEIGHT, both 1 or more, and a card has less than 4 GiB")
      for size in ("0x5", "5x", "2x2x", "65536x16384")),
    ("testcard RGB565 2x2 none/f", "none/f: No such file or directory"),
    ("testcard RGB565 2x2 /dev/full", "/dev/full: No space left on device"),
    ("screen none f", "none: No such file or directory"),
    ("screen --size 5x8193 . f", "5x8193: the size is WIDTHxHEIGHT, each from 1 to 8192"),
    ("screen --size 9x9 . /dev/full", "/dev/full: No space left on device"),
    ("convert image.raw RGB888 f", "image.raw: Not a PNG file"),
    ("convert half.png RGB888 f", "half.png: Read Error"),
    ("convert none.png RGB888 f", "none.png: No such file or directory")])
def test_refused(run, command, why):
    Image.effect_noise((90, 90), 50).save("whole.png")
    pathlib.Path("half.png").write_bytes(pathlib.Path("whole.png").read_bytes()[:4000])
    before = os.listdir()
    run(f"planeshow-{command}", status=1, err=f"planeshow-{command.split()[0]}: {why}\n")
    assert os.listdir() == before


# The other channel is drawn all the same, and nothing waits for a FIFO.
@pytest.mark.parametrize("make, why", [
    (pathlib.Path.touch, "channel 0: its layer record is damaged, nothing is drawn."),
    (os.mkfifo, "./channel0.layer: not a regular file")])
def test_bad_layer(run, make, why):
    run("SIM_STATE=. planeshow -i image.raw -w 1 -h 1")
    make(pathlib.Path("channel0.layer"))
    run("planeshow-screen . screen.png", status=1, err=f"planeshow-screen: {why}\n")
    assert colours(Image.open("screen.png"), (0, 0)) == "0A0A0A"


@pytest.mark.parametrize("name", ["testcard", "screen", "convert"])
def test_help_and_version(run, name):
    assert run(f"planeshow-{name} --help").out.startswith(f"Usage: planeshow-{name} ")
    assert run(f"planeshow-{name} --version").out == f"planeshow-{name} 0.1\n"


# The launcher hands on arguments, output and status, and shows the screen only if something was drawn.
def test_launcher(run):
    said = "planeshow-sim: the screen is in state/screen.png\n"
    for arguments, status, err in ("--help", 0, ""), ("-i 'no file'", 1, ""), ("-i image.raw -t 2", 0, ""), (
            "-i image.raw -w 1 -h 1", 0, said), ("--blank", 0, said):
        ran = run(f"SIM_STATE=state planeshow-sim {arguments}", status, err)
        assert ran.out == run(f"planeshow {arguments}", status).out
        assert os.path.exists("state/screen.png") == (said == err)
    run("SIM_STATE=state SIM_ION=x planeshow-sim", 2, "planeshow-sim: PLANESHOW_SIM_ION=x: not one of its values\n")


# By default the state is the user's alone, and nobody else's folder or link leads elsewhere.
def test_private_state(run, tmp_path):
    state = f"{tmp_path}/.local/state/planeshow-sim"
    run(f"HOME={tmp_path} planeshow-sim --blank", err=f"planeshow-sim: the screen is in {state}/screen.png\n")
    assert os.stat(state).st_mode == 0o40700
    needs = ": name a folder for the screen's state in PLANESHOW_SIM_STATE\n"
    run("HOME= planeshow-sim", status=2, err=f"planeshow-sim: there is no HOME{needs}")
    if os.getuid() == 0:
        os.chown(state, 65534, 65534)
        run(f"HOME={tmp_path} planeshow-sim", status=2, err=f"planeshow-sim: {state} is not your own folder{needs}")


# The loader splits its lists at a colon: planeshow is not run on the machine's own devices instead.
def test_no_devices(run, build, tmp_path):
    run("SIM_STATE=. planeshow-sim --help")  # skipped where there is no launcher
    folder = tmp_path / "a:b"
    folder.mkdir()
    for name in "planeshow", "planeshow-sim", "planeshow-screen", "libplaneshow-sim.so":
        shutil.copy(build.folder / name, folder)
    run(f"SIM_STATE=. '{folder}/planeshow-sim' --blank", status=2, err=(
        f"planeshow-sim: the simulated devices can't be preloaded from {folder}, so planeshow is not run\n"))
