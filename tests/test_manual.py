# What the manual pages say is what there is.

import re
import subprocess

import pytest
from conftest import SOURCE

OF_THE_PARSER = ["does not exist", "is missing an argument", "requires an argument", "failed to parse",
                 "incorrect syntax"]


def page(name, width=200):
    command = ["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", SOURCE / "man" / name]
    done = subprocess.run(command, env={"MANWIDTH": str(width), "PATH": "/usr/bin:/bin"}, capture_output=True, text=True)
    assert done.stderr == ""
    return re.sub(r"\x1b\[[0-9;]*m|.\x08", "", done.stdout)


def options(text):
    return re.findall(r"(?:^ +|, )(--?[A-Za-z]+)", "\n".join(re.findall(r"^ +-.*", text, re.M)), re.M)


def test_options_are_those_of_the_help(run):
    in_help = options(run("planeshow", "--help").out)
    assert len(in_help) == 23
    assert options(page("planeshow.1").split("\nOPTIONS")[1].split("\nVALUES")[0]) == in_help


# Each message of the tool, from the strings of its sources; a request's name is its own string.
def test_every_message_is_explained():
    sources = "".join(path.read_text() for path in SOURCE.glob("src/*/*.cpp"))
    strings = [text.removeprefix("%s: ").split("%")[0].removesuffix("\\n").strip()
               for text in re.findall(r'"([^"]*)"', sources)]
    messages = {text for text in strings if re.search("failed|faile,|rror|can not|Could|negative|display!|^FBIO", text)}
    messages |= {*OF_THE_PARSER, "c0044901", "c0184900", "c0144900", "c0084904"}
    assert len(messages) > 25
    text = page("planeshow.1")
    assert [message for message in sorted(messages) if message not in text] == []


# Tool, help, companions and manuals name the same formats, and the codes are those of the driver.
def test_formats(sim):
    names = sim("planeshow", "--help").out.split("Supported Formats:")[1].split()
    for code, name in enumerate(names):
        assert f"     format: {code}\n" in sim("planeshow", "-i", "image.raw", "-f", name).out
    formats = page("planeshow.1").split("\nFORMATS")[1].split("\nOUTPUT")[0]
    assert re.findall(r"^ +([A-Z]+\d+) .*?Code\s+(\d)\.", formats, re.M | re.S) == [
        (name, str(code)) for code, name in enumerate(names)]
    assert sim("planeshow-testcard", "none", "1x1", "card").err.endswith(
        f"the formats are {', '.join(names[:-1])} and {names[-1]}\n")


@pytest.mark.parametrize("name", ["planeshow-sim.1"])
def test_renders_without_warnings(name):
    assert "PLANESHOW_SIM_FAIL" in page(name)
