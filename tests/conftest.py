# Runs the built programs, each in a fresh folder and never on this machine's own devices:
#   pytest-3 tests --build build/debug -k NAME

import fnmatch
import itertools
import os
import pathlib
import resource
import shlex
import subprocess
import types

import pytest

# No fault may fill the machine: files of the programs, and their buffers, can't be longer than this.
resource.setrlimit(resource.RLIMIT_FSIZE, (6 << 30, 6 << 30))

SOURCE = pathlib.Path(__file__).resolve().parent.parent

# What planeshow prints when a modern kernel answers the probe.
PROBED = "ioctl c0044901 failed with code -1: Inappropriate ioctl for device\n\n"
# The last line of a run that got no buffer.
NO_BUFFER = "main: initImageBuffer error, exit!\n"
NOT_READ = "initImageBuffer: read image file return error!\n" + NO_BUFFER

# A test with this mark is skipped if the build lacks what it names, see has in build().
needs = pytest.mark.needs


# Makes a test of each row. The row's name says what it proves.
def table(names, rows):
    return pytest.mark.parametrize(names, rows.values(), ids=rows)


# Fails unless there is a line for each pattern, in that order. "*" stands for any text.
def assert_lines(lines, patterns):
    pairs = itertools.zip_longest(lines, patterns, fillvalue="(nothing)")
    assert lines == [line if fnmatch.fnmatchcase(line, pattern) else pattern for line, pattern in pairs]


def pytest_addoption(parser):
    parser.addoption("--build", type=pathlib.Path, default=SOURCE / "build/debug", help="build folder")


def pytest_configure(config):
    config.addinivalue_line("markers", "needs(what): skip the test where the build lacks it")
    if not (config.getoption("--build") / "planeshow").exists():
        raise pytest.UsageError("there is no such build. To make one: cmake --preset debug && cmake --build --preset debug")


@pytest.fixture(scope="session")
def build(request):
    folder = request.config.getoption("--build").resolve()
    elf = (folder / "planeshow").read_bytes()
    # In an ELF header, byte 4 is the class, 1 or 2, and byte 18 the machine.
    bits, arm, wrap = 32 * elf[4], elf[18] == 40, os.environ.get("WRAP", "").split()
    has = {f"{bits} bits", "ARM" if arm else "pictures"}
    # Valgrind keeps some descriptors and memory for itself, and a sanitizer needs a descriptor for a moment.
    has |= set() if wrap else {"all descriptors and limits"}
    has |= set() if wrap or b"__ubsan_handle" in elf else {"last descriptor"}
    legacy_alloc = "c0204900" if bits == 64 else "c0144900"  # its record has size_t members
    nm = "arm-linux-gnueabihf-gcc-nm" if arm else "gcc-nm"  # which read objects for link-time optimisation, too
    wrap += ["qemu-arm"] if arm else []
    return types.SimpleNamespace(folder=folder, has=has, legacy_alloc=legacy_alloc, nm=nm, wrap=wrap)


@pytest.fixture(autouse=True)
def skip_what_is_lacking(request, build):
    for mark in request.node.iter_markers("needs"):
        if mark.args[0] not in build.has:
            pytest.skip(f"this build has no {mark.args[0]}")


# run(command) returns what a program printed (out, err), the lines of the simulated devices' log (log) and the exit
# status. Another status than 0, or anything on standard error, fails the test unless it is expected. NAME=value before
# the program sets a variable of its environment; SIM_ stands for PLANESHOW_SIM_. The program inherits only the standard
# descriptors, so that the others have the same numbers everywhere, and none of the person's own settings and files.
@pytest.fixture
def run(build, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    pathlib.Path("image.raw").write_bytes(b"123456789")
    inherited = {name: value for name, value in os.environ.items() if not name.startswith(("PLANESHOW_", "XDG_"))}

    def run(command, status=0, err="", **options):
        words = shlex.split(command)
        environment = inherited | {"HOME": str(tmp_path), "PLANESHOW_SIM_LOG": "log", "PLANESHOW_SIM_SCREEN": "none"}
        while "=" in words[0]:
            name, value = words.pop(0).split("=", 1)
            environment[name.replace("SIM_", "PLANESHOW_SIM_", 1)] = value
        pathlib.Path("log").unlink(missing_ok=True)
        pipes = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
        ran = subprocess.run([*build.wrap, build.folder / words[0], *words[1:]], env=environment,
                             **pipes | {"timeout": 100} | options)
        ran.out, ran.err = [(text or b"").decode(errors="backslashreplace") for text in (ran.stdout, ran.stderr)]
        ran.log = pathlib.Path("log").read_text().splitlines() if os.path.exists("log") else []
        print(f"$ {command:.300}", f"status {ran.returncode}", f"{ran.out:.3000}{ran.err:.3000}", *ran.log, sep="\n")
        assert (ran.err, ran.returncode) == (err, status)
        return ran

    return run
