# How cmake/Cxxopts.cmake gets the option parser's header without a mirror. A copy of that file is run in a folder of
# its own, which stands for the whole machine, and takes RIGHT for the published header.

import hashlib
import os
import subprocess

from conftest import SOURCE, assert_lines, table

RIGHT = "VERSION_MAJOR 2\nVERSION_MINOR 2\nparse(int& argc, char**& argv);\nstore.has_default()\n"
SERIES_3 = RIGHT.replace("MAJOR 2", "MAJOR 3")
OLD = RIGHT.replace("store.has_default()", "")
USED = "-- Option parser: */build/deps/cxxopts.hpp"
FETCHED = "-- Fetching file:///* export PLANESHOW_CXXOPTS_DIR, its folder, or PLANESHOW_CXXOPTS_URL, its address. "
REFUSED = "CMake Error *PLANESHOW_CXXOPTS_DIR*2.2.0 reads *twice, snapshots *do not compile, and other series *rules."


# Each row: the headers at the start, what cmake says, and the headers in build/deps after it. A header in given is
# named with cmake -D, and one in named in the environment.
@table("headers, said, left", {
    "cmake -D goes first": ({"given": RIGHT, "named": OLD, "build/deps": OLD}, "-- Option parser: */given/*", [OLD]),
    "then the environment": ({"named": RIGHT, "build/deps": OLD}, "-- Option parser: */named/*", [OLD]),
    "named, and of another series": ({"named": SERIES_3, "usr/include": RIGHT}, REFUSED, []),
    "named, and a snapshot": ({"named": RIGHT.replace("char**&", "char* const*"), "address": RIGHT}, REFUSED, []),
    "named, and 2.2.0": ({"named": OLD, "address": RIGHT}, REFUSED, []),
    "then build/deps": ({"build/deps": RIGHT, "first/include": RIGHT + "// installed"}, USED, [RIGHT]),
    "last the address": ({"usr/include": SERIES_3, "address": RIGHT}, FETCHED + USED, [RIGHT]),
    "not the one that was published": ({"address": OLD}, FETCHED + "CMake Error *HASH mismatch*", []),
    "no address that answers": ({}, FETCHED + "CMake Error *37;*", [])
} | {f"installed in {folder}, behind another series": ({"first/include": SERIES_3, folder: RIGHT}, USED, [RIGHT])
     for folder in ("next/include", "usr/local/include", "usr/include")})
def test_option_parser(tmp_path, headers, said, left):
    script = (SOURCE / "cmake/Cxxopts.cmake").read_text().replace("/usr", f"{tmp_path}/usr")
    script = script.replace(script.partition("set(sum ")[2][:64], hashlib.sha256(RIGHT.encode()).hexdigest())
    files = {f"{folder}/cxxopts.hpp": text for folder, text in headers.items()} | {"cmake/Cxxopts.cmake": script}
    for name, text in files.items():
        (tmp_path / name).parent.mkdir(parents=True)
        (tmp_path / name).write_text(text)
    settings = {"PLANESHOW_CXXOPTS_URL": f"file://{tmp_path}/address/cxxopts.hpp", "CMAKE_PREFIX_PATH": "first:next",
                "PLANESHOW_CXXOPTS_DIR": "named" if "named" in headers else ""}
    given = ["-D", "PLANESHOW_CXXOPTS_DIR=given"] if "given" in headers else []
    ran = subprocess.run(["cmake", *given, "-P", "cmake/Cxxopts.cmake"], cwd=tmp_path, env=os.environ | settings,
                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    assert_lines([" ".join(ran.stdout.split())], [said])
    assert [file.read_text() for file in (tmp_path / "build").glob("deps/*")] == left
