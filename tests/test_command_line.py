# Runs that the command line alone decides, with the executable that is delivered.

import resource
from textwrap import dedent

from conftest import needs, table

HELP = dedent("""\

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

    """)
FORMATS = "Supported Formats:\n    ARGB8888\n     RGB888 \n     RGB565 \n\n"
NO_INPUT = "\nERROR: please specify the input file name!\n" + HELP
NOT_FOUR = "\nERROR: please specify the correct image crop or output window!\n" + HELP


@table("arguments, printed", {
    "no arguments": ("", NO_INPUT),
    "an empty name": ("--input= -v", NO_INPUT),
    "the help": ("-i image.raw --help", HELP + FORMATS),
    "the help whatever its value": ("--help=false", HELP + FORMATS),
    "a window of three": ("-i x -o 0,0,1280", NOT_FOUR),
    "a list is appended to the one before": ("-i x -o 1,1,1,1 -o 1,1,1,1", NOT_FOUR),
    "a crop of five, checked even for a blank": ("--blank -c 1,2,3,4,5", NOT_FOUR)})
def test_help(run, arguments, printed):
    assert run("planeshow " + arguments).out == printed


@table("arguments, error", {
    "an error beats the help": ("--help --bogus", "Option ‘bogus’ does not exist"),
    "-h is the height": ("-h", "Option ‘h’ is missing an argument"),
    "checked though unused": ("--colorIndex abc", "Argument ‘abc’ failed to parse"),
    "the target is a number": ("-h 600 -t 1x", "Argument ‘1x’ failed to parse"),
} | {f"{number} is no 32-bit number": (f"--height='{number}'", f"Argument ‘{number}’ failed to parse") for number in (
    "2147483648", "-2147483649", "18446744073709551617", "0x123456789", "-0x80000001", "0X2D0", "0x", "--1", " 1", "12a", "")})
def test_errors(run, arguments, error):
    assert run("planeshow " + arguments).out == f"error parsing options: {error}\n"


# The longest argument for the parser's own pattern, and one that would overflow a small stack with it.
@needs("all descriptors and limits")
@table("length", {"its own pattern": 250, "the other one": 999})
def test_small_stack(run, length):
    ran = run("QEMU_STACK_SIZE=262144 planeshow " + "--".ljust(length, "x"),
              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_STACK, (262144, 262144)))
    assert ran.out == f"error parsing options: Option ‘{'x' * (length - 2)}’ does not exist\n"


# An argument may have 128 KiB, with which the parser's own pattern would overflow the stack. MANY stands for 131000
# times the letter.
@table("letter, arguments, printed", {
    "a number": ("1", "-w MANY", "error parsing options: Argument ‘MANY’ failed to parse\n"),
    "zeros that make small numbers": ("0", "--help -w 0xMANY7 --height=MANY", HELP + FORMATS),
    "a long option": ("x", "--MANY", "error parsing options: Option ‘MANY’ does not exist\n"),
    "joined short options": ("v", "-MANYb", "error parsing options: Option ‘b’ does not exist\n"),
    "no option": ("a", "-=MANY", "error parsing options: Argument ‘-=MANY’ starts with a - but has incorrect syntax\n")})
def test_long_arguments(run, letter, arguments, printed):
    ran = run("planeshow " + arguments.replace("MANY", letter * 131000))
    assert ran.out.replace(letter * 131000, "MANY")[:2000] == printed
