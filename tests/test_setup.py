# How cmake/Cxxopts.cmake gets the option parser's header without a mirror. A copy of that file is run in a folder of
# its own, and takes RIGHT for the published header.

import hashlib
import os
import subprocess

from conftest import SOURCE, table

RIGHT = "#define CXXOPTS__VERSION_MAJOR 2\n#define CXXOPTS__VERSION_MINOR 2\n"
WRONG = RIGHT.replace("2\n", "3\n")
NAMED, KEPT, HALF = "named/cxxopts.hpp", "build/deps/cxxopts.hpp", "build/deps.new/usr/include/cxxopts.hpp"


# Each row: the files at the start, the last step, and the headers that are in build after it.
@table("files, done, left", {
    "a named folder goes first": ({NAMED: RIGHT, KEPT: WRONG}, "Looking for ", [WRONG]),
    "one at hand is not fetched again": ({KEPT: RIGHT, "address": WRONG}, "Looking for ", [RIGHT]),
    "fetched, after an interrupted run": ({HALF: WRONG, "address": RIGHT}, "Trying file:///", [RIGHT]),
    "not the one that was published": ({"address": WRONG}, "  refused: its SHA-256 is ", []),
    "no address that answers": ({}, "  failed: 37;", [])})
def test_option_parser(tmp_path, files, done, left):
    script = (SOURCE / "cmake/Cxxopts.cmake").read_text()
    script = script.replace(script.partition("set(sum ")[2][:64], hashlib.sha256(RIGHT.encode()).hexdigest())
    for name, text in {**files, "cmake/Cxxopts.cmake": script}.items():
        (tmp_path / name).parent.mkdir(parents=True, exist_ok=True)
        (tmp_path / name).write_text(text)
    named = {"PLANESHOW_CXXOPTS_DIR": str(tmp_path / "named"), "PLANESHOW_CXXOPTS_URL": (tmp_path / "address").as_uri()}
    ran = subprocess.run(["cmake", "-P", "cmake/Cxxopts.cmake"], cwd=tmp_path, env=os.environ | named,
                         capture_output=True, text=True)
    assert ran.stdout.splitlines()[-1].startswith("-- " + done)
    assert ran.returncode == (0 if left else 1)
    assert left or ran.stderr.strip().splitlines()[-1].startswith("   Put that of 2.2.1 (SHA-256 ")
    assert [file.read_text() for file in (tmp_path / "build").rglob("*.hpp")] == left
