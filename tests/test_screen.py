# The screen that planeshow-sim draws after a run, and the state that it keeps for the next one.

import fcntl
import os
import pathlib
import re
import resource
import subprocess

import pytest
from PIL import Image

from conftest import SOURCE, needs, table

pytestmark = needs("pictures")
SAID = "planeshow-sim: the screen is in ./screen.png\n"


# screen(arguments, size) runs planeshow-sim and returns the screen. The state stays for the next run.
@pytest.fixture
def screen(run):
    def screen(arguments, size, err=""):
        run(f"SIM_SCREEN= SIM_STATE=. SIM_SIZE={size} planeshow-sim {arguments}", err=err + SAID)
        return Image.open("screen.png")

    return screen


def colours(picture, *points):
    return " ".join("%02X%02X%02X" % picture.getpixel(point) for point in points)


# The script makes the pictures that a person has looked at, those that the texts show and no others.
def test_pictures(build, tmp_path):
    subprocess.run([SOURCE / "scripts/pictures.sh", tmp_path, build.folder], check=True)
    drawn, looked_at = [{path.name: Image.open(path).tobytes() for path in folder.glob("*.png")}
                        for folder in (tmp_path, SOURCE / "doc/pictures")]
    texts = "".join((SOURCE / text).read_text() for text in ("README.md", "doc/wrong-pictures.md"))
    assert sorted(drawn) == sorted(looked_at) == sorted(set(re.findall(r"pictures/([\w-]+\.png)", texts)))
    assert [name for name in drawn if drawn[name] != looked_at[name]] == []


# The lower right part of 3x4 pixels, in a window that is partly off the screen.
def test_window_beyond_the_edges(screen):
    pathlib.Path("image").write_bytes(bytes(byte for y in (1, 2, 3, 4) for x in (1, 2, 3) for byte in (x, y, 0, 255)))
    picture = screen("-i image -w 3 -h 4 -c 1,2,1,1 -o -10,10,40,16", "40x20")
    assert colours(picture, (0, 9), (0, 10), (9, 10), (10, 10), (29, 10), (30, 10), (0, 18), (29, 19)) == (
        "000000 000302 000302 000303 000303 000000 000402 000403")


# Channel 1 lies over 0 and is mixed with it; a new layer shows a blanked channel again.
def test_channels(screen):
    pathlib.Path("red").write_bytes(b"\0\0\xff")
    pathlib.Path("blue").write_bytes(b"\xff\0\0\x80")
    seen = [colours(screen(arguments, "20x8192"), (9, 10), (10, 10)) for arguments in (
        "-i blue -w 1 -h 1 -o 10,0,10,20", "-i red -f RGB888 -w 1 -h 1 -t 0 -o 0,0,20,20", "--blank -t 0", "--blank",
        "-i red -f RGB888 -w 1 -h 1 -t 0 -o 0,0,20,20")]
    assert seen == ["000000 000080", "FF0000 7F0080", "000000 000080", "000000 000000", "FF0000 FF0000"]


NOTHING = "nothing of the layer is on the screen: are window and crop right?"
NOT_DRAWN = "AFBC data and unknown formats can't be drawn here."


# What is odd about a layer of three pixels, the last one transparent, is said in a line.
@table("arguments, shown, said", {
    "all fits": ("", "030201 000000 030201", ""),
    "short of data": ("-h 2000", "030201 000000 000000",
                      "ARGB8888 of 3x2000 needs 24000 bytes, but the buffer has 12: the missing part is not drawn."),
    "more data than needed": ("-f RGB888", "030201 07FF06 030201",
                              "RGB888 of 3x1 needs 9 bytes, but the buffer has 12: are format and size right?"),
    "a crop behind the image": ("-w 1 -h 3 -c 1,0,0,0", "000000 000000 000000", NOTHING),
    "a window beside the screen": ("-o 60,0,60,20", "000000 000000 000000", NOTHING),
    "a transparent part": ("-c 2,0,0,0", "000000 000000 000000", "every pixel that is shown is transparent."),
    "an unknown format": ("-f NV12", "000000 000000 000000", NOT_DRAWN),
    "AFBC data": ("--afbc", "000000 000000 000000", NOT_DRAWN)})
def test_what_is_odd(screen, arguments, shown, said):
    pathlib.Path("image").write_bytes(bytes((1, 2, 3, 255, 4, 5, 6, 255, 7, 8, 9, 0)))
    window = "" if "-o" in arguments else "-o 0,0,60,20"
    picture = screen(f"-i image -w 3 -h 1 {window} {arguments}", "60x20", said and f"planeshow-sim: channel 1: {said}\n")
    assert colours(picture, (0, 0), (40, 0), (0, 12)) == shown


# Only what the driver took is kept and drawn. Output and status are the tool's.
@table("arguments, status, left", {
    "no image": ("-i 'no file'", 1, []),
    "a blank": ("--blank", 0, ["screen.png"]),
    "a layer": ("-i image.raw -f RGB888 -w 3 -h 1", 0, ["channel1.layer", "screen.png"])})
def test_kept(run, arguments, status, left):
    said = "planeshow-sim: the screen is in state/screen.png\n" if left else ""
    ran = run(f"SIM_SCREEN= SIM_STATE=state planeshow-sim {arguments}", status, said)
    undrawn = run(f"planeshow-sim {arguments}", status)
    assert (ran.out, ran.log) == (undrawn.out, undrawn.log)
    assert sorted(os.listdir("state")) == left
    assert not left or Image.open("state/screen.png").size == (1920, 1080)


# The layer's file has every byte of the image. Anything of the same name is replaced, even a link or a pipe.
def test_replaced(screen):
    image = os.urandom(300000)
    pathlib.Path("image").write_bytes(image)
    os.symlink("image.raw", "channel1.layer")
    os.mkfifo("screen.png")
    screen("-i image -f RGB888 -w 100 -h 1000", "1x1")
    assert pathlib.Path("channel1.layer").read_bytes()[80:] == image
    assert pathlib.Path("image.raw").read_bytes() == b"123456789"


# Runs that end together take turns at keeping and drawing the screen, by a lock on the state folder.
def test_runs_take_turns(run):
    folder = os.open(".", os.O_RDONLY)
    fcntl.flock(folder, fcntl.LOCK_SH)  # an exclusive lock must wait even for this
    with pytest.raises(subprocess.TimeoutExpired):
        run("SIM_SCREEN= SIM_STATE=. planeshow-sim --blank", timeout=1)
    os.close(folder)
    assert not os.path.exists("screen.png")


# If the screen can't be drawn, the status is 1 and no half-written file is left.
@needs("all descriptors and limits")
@table("make, why", {
    "no room for the layer": (lambda: pathlib.Path("image.raw").write_bytes(bytes(4096)), "./channel1.layer: File too large"),
    "a folder in a file's place": (lambda: os.mkdir("screen.png"), "./screen.png: Is a directory"),
    "a file that is no layer's": (pathlib.Path("channel0.layer").touch, "./channel0.layer is not a layer's file")})
def test_not_drawn(run, make, why):
    make()
    run("SIM_LOG= SIM_SCREEN= SIM_STATE=. SIM_SIZE=1x1 planeshow-sim -i image.raw -f RGB888 -w 3 -h 1", 1, f"planeshow-sim: {why}\n",
        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096)))
    assert not os.path.isfile("screen.png")
    assert not list(pathlib.Path().glob("unfinished.*"))


@needs("last descriptor")  # a sanitizer needs memory of its own
def test_no_memory(run):
    run("SIM_SCREEN= SIM_STATE=. SIM_SIZE=8192x8192 planeshow-sim --blank", 1, "planeshow-sim: there is not enough memory\n",
        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_DATA, (100 << 20, 100 << 20)))


WRONG_STATE, USE = "planeshow-sim: PLANESHOW_SIM_STATE=", ": name a folder in PLANESHOW_SIM_STATE\n"


# By default, the state folder is for the user alone, and somebody else's is refused.
@table("setting, folder", {
    "by default": ("A=", ".local/state/planeshow-sim"),
    "in the folder for all states": ("'XDG_STATE_HOME={}/states'", "states/planeshow-sim"),
    "a relative folder is none": ("XDG_STATE_HOME=states", ".local/state/planeshow-sim")})
def test_private_state(run, tmp_path, setting, folder):
    os.makedirs("states/planeshow-sim")  # open to others
    command = f"{setting.format(tmp_path)} SIM_SCREEN= planeshow-sim --blank"
    run(command, err=f"planeshow-sim: the screen is in {tmp_path}/{folder}/screen.png\n")
    assert os.stat(folder).st_mode == 0o40700
    if os.getuid() == 0:
        os.chown(folder, 65534, 65534)
        run(command, status=2, err=f"{WRONG_STATE}{tmp_path}/{folder}: it is not your own{USE}")


@table("settings, why", {
    "no home": ("HOME=", ": HOME is not an absolute path"),
    "a relative home": ("HOME=states", ": HOME is not an absolute path"),
    "a file": ("SIM_STATE=image.raw", "image.raw: Not a directory")})
def test_no_folder(run, settings, why):
    run(f"{settings} SIM_SCREEN= planeshow-sim --blank", 2, WRONG_STATE + why + USE)
