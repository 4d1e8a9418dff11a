# Runs the built programs, each in a process of its own, in a folder that holds the nine bytes of
# image.raw. planeshow and probe get the simulated devices, unless they are static.

import json
import os
import resource
import shlex
import subprocess
from pathlib import Path

import pytest

SOURCE = Path(__file__).parent.parent
WRAP = shlex.split(os.environ.get("WRAP", ""))  # a program to run them in, such as valgrind


def pytest_addoption(parser):
    parser.addoption("--build", default=SOURCE / "build/debug", type=Path)


def pytest_make_parametrize_id(val):
    """Names a case by what it is about, not by whole outputs."""
    words = val if isinstance(val, list) else [val]
    text = " ".join(str(word) for word in words)
    return text if len(text) < 60 and text.isprintable() else "..."


class Run:
    """What came of one command. A failed assertion names the command."""

    def __init__(self, command, process, log):
        self.command, self.status, self.log = command, process.returncode, log
        self.out, self.err = (process.stdout or b"").decode(), process.stderr.decode()
        self.lines = [line for line in self.out.split("\n") if line]

    def __repr__(self):
        return f"<{self.command}>"


class Runner:
    def __init__(self, folder, build):
        self.folder, self.build = folder, build.resolve()
        self.config = json.loads((self.build / "tests/config.json").read_text())
        (folder / "image.raw").write_text("123456789")

    def __call__(self, program, *args, closed=(), limit=None, user=None,
                 stdout=subprocess.PIPE, **variables):
        """FAIL="put:EIO" sets PLANESHOW_SIM_FAIL, and so on; None unsets a variable. FAULT and CALLS
        are those of the library that watches and breaks the tool's calls. limit is a resource and
        its value, closed lists standard descriptors."""
        log = self.folder / "log"
        log.unlink(missing_ok=True)
        plain = ("FAULT", "CALLS", "HOME", "XDG_STATE_HOME")
        settings = {name if name in plain else "PLANESHOW_SIM_" + name: str(value)
                    for name, value in ({"LOG": log} | variables).items() if value is not None}
        caller = {name: value for name, value in os.environ.items()
                  if name not in plain and not name.startswith("PLANESHOW_SIM_")}

        def prepare():
            for fd in closed:
                os.close(fd)
            if limit:
                resource.setrlimit(limit[0], (limit[1], limit[1]))

        process = subprocess.run(
            [*self.loader(program), *map(str, args)], cwd=self.folder, preexec_fn=prepare, user=user,
            env=caller | settings | {"ASAN_OPTIONS": "verify_asan_link_order=0"}, timeout=60,
            stdin=subprocess.DEVNULL, stdout=stdout, stderr=subprocess.PIPE)
        settings.pop("PLANESHOW_SIM_LOG", None)
        command = [*(f"{name}={value}" for name, value in settings.items()), program, *map(str, args)]
        return Run(shlex.join(command), process, log.read_text().splitlines() if log.is_file() else [])

    def loader(self, program):
        """The program behind what it runs in. What is preloaded goes into the program alone, and the
        folders are named apart, because the list of libraries ends a name at a blank."""
        path = self.build / ("tests" if program == "probe" else ".") / program
        if not path.exists():
            pytest.skip(f"{program} is not part of this build")
        assert self.config["static"] or (self.build / "libplaneshow-sim.so").exists()
        emulator = shlex.split(self.config["emulator"])
        if self.config["static"] or program not in ("planeshow", "probe"):
            return [*emulator, path]
        preload = [f"LD_LIBRARY_PATH={self.build}/tests:{self.build}",
                   "LD_PRELOAD=libcalls.so:libplaneshow-sim.so"]
        if emulator:
            return [*emulator, *(word for variable in preload for word in ("-E", variable)), path]
        return ["env", *preload, *WRAP, path]


@pytest.fixture
def run(tmp_path, pytestconfig):
    """For what needs no device; a static executable is run with it too."""
    return Runner(tmp_path, pytestconfig.getoption("build"))


@pytest.fixture
def sim(run):
    """For what needs the simulated devices."""
    if run.config["static"]:
        pytest.skip("nothing can be preloaded into a static executable")
    return run


@pytest.fixture
def missing(run):
    """For what must find no device: without the simulated ones, the machine must have none."""
    for node in ("/dev/ion", "/dev/ge2d"):
        if run.config["static"] and os.path.exists(node):
            pytest.skip(f"this machine has {node}, which a test must not touch")
    return run


@pytest.fixture
def unwrapped():
    """For what counts calls or closes descriptors, which a program around the tool does, too."""
    if WRAP:
        pytest.skip(f"{WRAP[0]} can't be told from the tool here")
