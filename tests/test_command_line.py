# What the command line alone decides: no device is touched.

import pytest

HELP = """
QM710 OSD Display Test Tool
Version: 0.1
Contact: the planeshow maintainers

Usage:
  planeshow [OPTION...]

  -i, --input arg       image file name (default: "")
  -f, --format arg      fmt (default: ARGB8888)
      --afbc            afbc compress enabled
  -w, --width arg       image width (default: 720)
  -h, --height arg      image height (default: 480)
  -o, --window arg      display window (default: 0,0,1920,1080)
  -c, --crop arg        image crop (default: 0,0,0,0)
  -t, --target arg      target output channel (default: 1)
      --fastlogo        enable fastlogo mode
      --blank           blank output
      --swap            swap argb
      --colorIndex arg  test argb color (default: 0)
      --debug           enable debug print
      --help            print usage
  -v, --verbose         print detail input args

"""
FORMATS = "Supported Formats:\n    ARGB8888\n     RGB888 \n     RGB565 \n\n"
NO_INPUT = "\nERROR: please specify the input file name!\n" + HELP
NOT_FOUR = "\nERROR: please specify the correct image crop or output window!\n" + HELP


@pytest.mark.parametrize("args, out", [
    (["--help"], HELP + FORMATS),
    (["-i", "image.raw", "--help=false"], HELP + FORMATS),  # counted, whatever its value
    ([], NO_INPUT),
    (["--input="], NO_INPUT),
    (["-o", "1"], NO_INPUT),  # the input is looked at first
    (["-i", "x", "-o", "0,0,1280"], NOT_FOUR),
    (["-i", "x", "-o", "1,1,1,1", "-o", "1,1,1,1"], NOT_FOUR),  # lists grow
    (["-i", "x", "-o", ""], NOT_FOUR),
    (["--blank", "-c", "1,2,3,4,5"], NOT_FOUR),
])
def test_help_and_checks(run, args, out):
    result = run("planeshow", *args)
    assert result.out == out
    assert (result.status, result.err, result.log) == (0, "", [])


@pytest.mark.parametrize("args, message", [
    ("--help --bogus", "Option ‘bogus’ does not exist"),  # an error beats the help
    ("-vq", "Option ‘q’ does not exist"),
    ("-h", "Option ‘h’ is missing an argument"),  # the height, not the help
    ("-wv 800", "Option ‘w’ requires an argument"),
    ("-ix", "Option ‘i’ requires an argument"),
    ("-i=x", "Argument ‘-i=x’ starts with a - but has incorrect syntax"),
    ("--w=1", "Argument ‘--w=1’ starts with a - but has incorrect syntax"),
    ("--afbc=yes", "Argument ‘yes’ failed to parse"),
    ("--colorIndex abc", "Argument ‘abc’ failed to parse"),  # used by nobody, checked all the same
])
def test_errors_of_the_parser(run, args, message):
    result = run("planeshow", *args.split(" "))
    assert result.out == f"error parsing options: {message}\n"
    assert (result.status, result.log) == (0, [])


# No 32-bit integer, or no number at all: never a wrapped or a half-read value.
@pytest.mark.parametrize("number", [
    "2147483648", "-2147483649", "4294967296", "5000000000", "00000000005000000000",
    "18446744073709551617", "0x80000000", "0x123456789", "-0x80000001", "0X2D0", "0x", "-", "--1",
    "+1", "1 ", " 1", "12a", ""])
def test_numbers(run, number):
    for args in ["-w", number], [f"--height={number}"], ["-o", f"1,2,3,{number},"], ["-c", f"0,{number},3"]:
        assert run("planeshow", *args).out == f"error parsing options: Argument ‘{number}’ failed to parse\n"


# One argument may have 128 KiB; left to themselves the parser's patterns overflow the stack.
@pytest.mark.parametrize("args, message", [
    (["-w", "1" * 131000], f"Argument ‘{'1' * 131000}’ failed to parse"),
    (["--width=" + "1" * 131000], f"Argument ‘{'1' * 131000}’ failed to parse"),
    (["-c", "1" * 131000], f"Argument ‘{'1' * 131000}’ failed to parse"),
    (["--" + "x" * 40000], f"Option ‘{'x' * 40000}’ does not exist"),
    (["-" + "v" * 131000 + "b"], "Option ‘b’ does not exist"),
    (["-" + "v" * 40000 + "w"], "Option ‘w’ is missing an argument"),
    (["--" + "b" * 40000 + "$"], f"Argument ‘--{'b' * 40000}$’ starts with a - but has incorrect syntax"),
    (["-w", "0x" + "0" * 1000 + "7", "--height=" + "0" * 131000, "--bogus"], "Option ‘bogus’ does not exist"),
], ids=range(8))
def test_long_arguments(run, args, message):
    result = run("planeshow", *args)
    assert result.status == 0
    assert result.out == f"error parsing options: {message}\n"


# A name may have line breaks, which the parser's own pattern stops at; reports are cut to 1023 bytes.
@pytest.mark.parametrize("name", ["a\nb", "c\rd", "a" * 131000], ids=["newline", "return", "long"])
def test_names(missing, name):
    line = f"initFromFile: Image: can not find the image file: {name}"[:1023]
    assert missing("planeshow", f"--input={name}").out == (
        f"{line}\ninitImageBuffer: read image file return error!\nmain: initImageBuffer error, exit!\n")


def test_no_program_name(sim):
    assert sim("probe", "parse_nothing").out == NO_INPUT
