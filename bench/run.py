#!/usr/bin/env python3
"""Times planeshow beside the yardstick on the simulated devices, and prints what a run costs."""
# This is a report, not a test: a missed aim is printed and is no failure. In each pair of figures,
# the first is the yardstick's and the second planeshow's.

import os
import shlex
import subprocess
import sys
import tempfile
import time
from pathlib import Path
from statistics import median

ROOT = Path(__file__).resolve().parent.parent
BUILD = "scripts/setup.sh bench; cmake --preset release; cmake --build --preset release"
YARDSTICK, PLANESHOW, TESTCARD = (
    f"{ROOT}/build/release/{name}" for name in ("yardstick", "planeshow-sim", "planeshow-testcard"))
ENVIRONMENT = {"PLANESHOW_SIM_SCREEN": "none"}

# Name, width, height, runs of each program.
IMAGES = [
    ("1.4MB", 720, 480, 500),
    ("8.3MB", 1920, 1080, 300),
    ("33MB", 3840, 2160, 200),
    ("330MB", 12288, 6750, 30),
]

HEAD = """planeshow beside the yardstick ({cores} processors, Linux {release}, load {load:.2f})

Medians of whole processes, the yardstick's first. ns per byte: without the blank run's time.
MB beyond: peak memory without the two mappings, of the file and the buffer.

             time in ms   ratio     ns per byte    peak, MB       MB beyond"""
ROW = "{:6}{:9.3f}{:9.3f}{:8.3f}{:9.3f}{:7.3f}{:9.2f}{:8.2f}{:7.2f}{:6.2f}"


# Returns how long a run takes, in ms.
def time_run(command: list[str]) -> float:
    silent = [(os.POSIX_SPAWN_OPEN, fd, os.devnull, os.O_WRONLY, 0) for fd in (1, 2)]
    start = time.perf_counter()
    process = os.posix_spawn(command[0], command, ENVIRONMENT, file_actions=silent)
    _, status = os.waitpid(process, 0)
    end = time.perf_counter()
    if status:
        sys.exit(f"bench: {shlex.join(command)} failed")
    return 1000 * (end - start)


# Returns a run's peak memory, in MB. The peak that os.wait4 gives includes the time before exec, when
# the process is still Python, which is larger.
def peak_memory(command: list[str]) -> float:
    timed = ["/usr/bin/time", "--format=%M", *command]
    said = subprocess.run(timed, env=ENVIRONMENT, capture_output=True, text=True, check=True).stderr
    return int(said.split()[-1]) * 1024 / 1e6


# Prints a row. Returns its pairs of times in ms and of memory in MB.
def measure(name: str, arguments: list[str], size: int, runs: int, blank: list[float]) -> tuple:
    commands = [[program, *arguments] for program in (YARDSTICK, PLANESHOW)]
    # The programs take turns, so that other load on the machine slows both down.
    rounds = [[time_run(command) for command in commands] for _ in range(runs)]
    ms = [median(times) for times in zip(*rounds)]
    ns = [1e6 * (whole - start) / size if size else 0 for whole, start in zip(ms, blank)]
    peaks = [median(peak_memory(command) for _ in range(9)) for command in commands]
    beyond = [peak - 2 * size / 1e6 for peak in peaks]
    print(ROW.format(name, *ms, ms[1] / ms[0], *ns, *peaks, *beyond), flush=True)
    return ms, beyond


def report_aim(text: str, value: float, limit: float) -> None:
    print(f"{text:44}{value:8.3f}  at most {limit:<6}{'met' if value <= limit else 'MISSED'}")


def main() -> None:
    if subprocess.run(["sh", "-ec", BUILD], cwd=ROOT, stdout=sys.stderr).returncode:
        sys.exit("bench: the build failed")
    print(HEAD.format(cores=os.cpu_count(), release=os.uname().release, load=os.getloadavg()[0]))
    ms, beyond = {}, {}
    ms["blank"], beyond["blank"] = measure("blank", ["--blank"], 0, 500, [0, 0])
    # The images lie in memory, so that no disk is timed.
    with tempfile.TemporaryDirectory(prefix="planeshow-bench.", dir="/dev/shm") as folder:
        for name, width, height, runs in IMAGES:
            show = ["-i", f"{folder}/image", "-w", str(width), "-h", str(height)]
            subprocess.run([TESTCARD, "ARGB8888", f"{width}x{height}", show[1]], check=True)
            ms[name], beyond[name] = measure(name, show, 4 * width * height, runs, ms["blank"])
    print("\nAims")
    report_aim("33 MB: times the yardstick", ms["33MB"][1] / ms["33MB"][0], 1.05)
    report_aim("1.4 MB: ms above the yardstick", ms["1.4MB"][1] - ms["1.4MB"][0], 1)
    report_aim("MB of memory above the yardstick, all rows",
               max(planeshow - yardstick for yardstick, planeshow in beyond.values()), 1)


if __name__ == "__main__":
    main()
