# Runs that find no device, or don't get as far as one.

import os

import pytest

NO_IMAGE = ["initImageBuffer: read image file return error!", "main: initImageBuffer error, exit!"]


# Whatever is no mappable file, told apart in one line.
@pytest.mark.parametrize("name, line", [
    ("none.raw", "Image: can not find the image file: none.raw"),
    ("/dev/null", "mmap failed: Invalid argument"),
    ("/dev/zero", "mmap failed: Invalid argument"),
    ("empty", "mmap failed: Invalid argument"),
    (".", "mmap failed: No such device"),
    ("4294967296", "Could not open '4294967296', File too large(27)"),
    ("5000000000", "Could not open '5000000000', File too large(27)"),
])
def test_images(missing, name, line):
    (missing.folder / "empty").touch()
    if name.isdigit():
        (missing.folder / name).touch()
        os.truncate(missing.folder / name, int(name))
    result = missing("planeshow", "-i", name)
    assert result.lines == ["initFromFile: " + line, *NO_IMAGE]
    assert (result.status, result.log) == (1, [])


# A 32-bit process has no room for a mapping of 3 GiB; a 64-bit one would go on and allocate them.
def test_no_room(missing):
    if not missing.config["emulator"]:
        pytest.skip("a 64-bit process has room")
    (missing.folder / "huge").touch()
    os.truncate(missing.folder / "huge", 3 << 30)
    assert missing("planeshow", "-i", "huge").lines[0] == "initFromFile: mmap failed: Cannot allocate memory"


def test_forbidden_image(missing):
    (missing.folder / "image.raw").chmod(0)
    for folder in missing.folder, *missing.folder.parents[:2]:
        folder.chmod(0o755)
    result = missing("planeshow", "-i", "image.raw", LOG=None, user=65534 if os.getuid() == 0 else None)
    assert result.lines[0] == "initFromFile: Could not open 'image.raw', Permission denied(13)"


# A FIFO is opened when somebody writes to it, which this test does all the time; it can't be mapped.
def test_fifo(missing):
    os.mkfifo(missing.folder / "pipe")
    writer = os.open(missing.folder / "pipe", os.O_RDWR)
    assert missing("planeshow", "-i", "pipe").lines == ["initFromFile: mmap failed: Invalid argument", *NO_IMAGE]
    os.close(writer)


@pytest.mark.parametrize("setting, cause", [
    ("absent", "No such file or directory"), ("forbidden", "Permission denied")])
def test_blank_without_node(sim, setting, cause):
    result = sim("planeshow", "--blank", GE2D=setting)
    assert result.lines == [f"svpdev: Open '/dev/ge2d' failed, {cause}",
                            "blankCtrl: ioctl FBIOPRESENT_PLANE error", "main: blank display!"]
    assert result.status == 0


# The machine's own nodes are missing: the static executable says the same.
def test_missing_nodes(missing):
    absent = {} if missing.config["static"] else dict(ION="absent", GE2D="absent")
    assert missing("planeshow", "--blank", **absent).lines[0] == (
        "svpdev: Open '/dev/ge2d' failed, No such file or directory")
    # What follows differs where an emulator answers requests on a descriptor that isn't open.
    assert missing("planeshow", "-i", "image.raw", **absent).lines[:2] == [
        "open /dev/ion failed: No such file or directory",
        "iondev: ion_open() failed, No such file or directory"]


# On the device it is one small file.
def test_size(run):
    if not run.config["static"]:
        pytest.skip("only what is delivered must be small")
    most = 850_000 if int(run.config["compiler"].split(".")[0]) < 14 else 880_000
    assert (run.build / "planeshow").stat().st_size <= most
