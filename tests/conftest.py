# Runs the built programs, each in a fresh folder, planeshow and probe on the simulated devices:
#   pytest-3 tests --build build/debug -k NAME

import fnmatch
import itertools
import os
import pathlib
import re
import shlex
import subprocess
import types

import pytest

SOURCE = pathlib.Path(__file__).resolve().parent.parent
LIBRARIES = ["libcalls.so", "libplaneshow-sim.so"]
WITHOUT_DEVICES = ["test_command_line", "test_without_devices"]  # for static executables


# A test for each row; its name says what the row proves.
def table(names, rows):
    return pytest.mark.parametrize(names, rows.values(), ids=rows)


def pytest_addoption(parser):
    parser.addoption("--build", type=pathlib.Path, default=SOURCE / "build/debug", help="build folder")


@pytest.fixture(scope="session")
def build(request):
    folder = request.config.getoption("--build").resolve()
    cache = (folder / "CMakeCache.txt").read_text()
    static = "PLANESHOW_STATIC:BOOL=ON" in cache
    if static and (os.path.exists("/dev/ion") or os.path.exists("/dev/ge2d")):
        pytest.skip("nothing can be preloaded into it, and it would run on this machine's own nodes")
    if not static and (re.search("[:;$]", str(folder)) or not all((folder / name).exists() for name in LIBRARIES)):
        pytest.exit(f"the loader can't preload {LIBRARIES} from {folder}", 1)
    elf = (folder / "planeshow").read_bytes()
    return types.SimpleNamespace(folder=folder, cache=cache, static=static, bits=32 * elf[4], arm=elf[18] == 40)


# run(command) gives what was printed, the status and the log of the devices. NAME=value before the program sets
# a variable of its environment; SIM_ stands for PLANESHOW_SIM_. Another status fails the test, and so does
# anything else on standard error (None: neither), or if log is given another list of opens and requests, each a
# pattern with "*" of a part of its line. Only the standard descriptors are inherited: the numbers of the others
# stand in what is printed.
@pytest.fixture
def run(build, request, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    pathlib.Path("image.raw").write_bytes(b"123456789")
    inherited = {name: value for name, value in os.environ.items() if "PLANESHOW_SIM_" not in name}

    def run(command, status=0, err="", log=None, **options):
        words = shlex.split(command)
        environment = inherited | {"PLANESHOW_SIM_LOG": "log", "ASAN_OPTIONS": "verify_asan_link_order=0"}
        while "=" in words[0]:
            name, value = words.pop(0).split("=", 1)
            environment[re.sub("^SIM_", "PLANESHOW_SIM_", name)] = value
        program = words.pop(0)
        wrap = [] if "/" in program or program == "planeshow-sim" else os.environ.get("WRAP", "").split()
        if build.arm and program in ("planeshow-convert", "planeshow-screen", "planeshow-sim"):
            pytest.skip(f"{program} is for the PC")
        if wrap and (options or "CALLS" in environment):
            pytest.skip(f"{wrap[0]} makes calls of its own, and needs descriptors and files")
        if program in ("planeshow", "probe"):
            if build.static and request.module.__name__ not in WITHOUT_DEVICES:
                pytest.skip("nothing can be preloaded into a static executable")
            # The folder apart from the names: their list ends a name at a blank.
            preload = {"LD_LIBRARY_PATH": str(build.folder), "LD_PRELOAD": ":".join(LIBRARIES)}
            emulated = {"QEMU_SET_ENV": ",".join(map("=".join, preload.items()))}
            environment |= {} if build.static else emulated if build.arm else preload
        emulator = ["qemu-arm", "-L", "/usr/arm-linux-gnueabihf"] if build.arm else []
        words = [*wrap, *emulator, build.folder / program, *words]
        pathlib.Path("log").unlink(missing_ok=True)
        pipes = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
        ran = subprocess.run(words, env=environment, timeout=100, **pipes | options)
        ran.out, ran.err = [(text or b"").decode(errors="backslashreplace") for text in (ran.stdout, ran.stderr)]
        ran.log = pathlib.Path("log").read_text() if os.path.exists("log") else ""
        print(f"$ {command}", f"status {ran.returncode}", ran.out, ran.err, ran.log, sep="\n")
        assert ran.err == (ran.err if err is None else err)
        assert ran.returncode == (ran.returncode if status is None else status)
        if log is not None:
            lines = re.findall("^(?:open|ioctl).*", ran.log, re.M)
            pairs = itertools.zip_longest(lines, log.split("; ") if log else [], fillvalue="nothing")
            assert lines == [line if fnmatch.fnmatch(line, f"*{part}*") else part for line, part in pairs]
        return ran

    return run
