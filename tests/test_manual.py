# The manual pages agree with the programs.

import re
import subprocess

from conftest import SOURCE


def page(name):
    ran = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", SOURCE / "man" / name],
                         env={"MANWIDTH": "200", "PATH": "/usr/bin:/bin"}, capture_output=True, text=True)
    assert ran.stderr == ""
    return re.sub(r"\x1b\[[0-9;]*m|.\x08", "", ran.stdout)


def options(text):
    return re.findall(r"(?:^ +|, )(--?[A-Za-z]+)", "\n".join(re.findall(r"^ +-.*", text, re.M)), re.M)


def test_options_are_those_of_the_help(run):
    in_help = options(run("planeshow --help").out)
    assert options(page("planeshow.1").split("\nOPTIONS")[1].split("\nVALUES")[0]) == in_help


# The messages are found in the strings of the sources. A request's name is a string of its own.
def test_every_message_is_explained():
    strings = re.findall(r'"([^"]*)"', "".join(path.read_text() for path in SOURCE.glob("src/*/*.cpp")))
    messages = {text.removeprefix("%s: ").split("%")[0].removesuffix("\\n").strip() for text in strings
                if re.search("failed|faile,|rror|can not|Could|negative|display!|^FBIO", text)}
    messages |= {"c0044901", "c0184900", "c0144900", "c0204900", "c0084904", "does not exist", "is missing an argument",
                 "requires an argument", "failed to parse", "starts with a - but has incorrect syntax"}
    text = " ".join(page("planeshow.1").split())  # where lines are broken is up to the formatter
    assert len(messages) > 25
    assert [message for message in sorted(messages) if message not in text] == []


# Tool, help, companions and manuals name the same formats, with the driver's codes.
def test_formats(run):
    names = run("planeshow --help").out.split("Supported Formats:")[1].split()
    for code, name in enumerate(names):
        assert f"     format: {code}\n" in run(f"planeshow-sim -i image.raw -f {name}").out
    run("planeshow-testcard none 1x1 card", 1, f"planeshow-testcard: none: the formats are {' '.join(names)}\n")
    described = page("planeshow.1").split("\nFORMATS")[1].split("\nOUTPUT")[0]
    assert re.findall(r"^ +([A-Z]+\d+) .*?Code\s+(\d)\.", described, re.M | re.S) == [
        (name, str(code)) for code, name in enumerate(names)]
