#!/usr/bin/env python3
"""Times planeshow beside the yardstick on the simulated devices, and prints what a run costs."""
# A report, not a test: a missed aim is a line of it and no failure. Progress goes to standard
# error. Of each pair of figures the first is the yardstick's, the second planeshow's.

import json
import os
import shlex
import shutil
import subprocess
import sys
import tempfile
from collections import Counter
from pathlib import Path
from statistics import mean, median, quantiles
from types import SimpleNamespace

ROOT = Path(__file__).resolve().parent.parent
PROGRAMS = ("build/bench/yardstick/yardstick", "build/release/planeshow")
STATIC = "build/bench/planeshow"
# Named from the root: a blank or a colon, which the root's own path may have, ends a name here.
SIMULATED = {"LD_PRELOAD": "build/release/libplaneshow-sim.so"}

BUILD = r"""scripts/setup.sh bench
cmake --preset release
cmake --build --preset release --target planeshow planeshow-sim-devices planeshow-testcard
cmake -S . -B build/bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DPLANESHOW_TESTS=OFF \
  -DCMAKE_CXX_FLAGS=-g -DCMAKE_EXE_LINKER_FLAGS=-static
cmake --build build/bench --target planeshow
cmake -S bench -B build/bench/yardstick -G Ninja -DCMAKE_BUILD_TYPE=Release
cmake --build build/bench/yardstick"""

HEAD = """planeshow beside the yardstick ({cores} processors, Linux {release}, load {load:.2f})

Medians of whole processes, the yardstick's first. In brackets: the middle half of the ratios that
single rounds gave. ns per byte: beyond the blank run. MB beyond: the peak without the two mappings.

         time in ms, ratio                      ns per byte     peak, MB     beyond   page faults"""

# Name, width, height, rounds, runs of each program in one round. The first shows no image.
ROWS = [
    ("blank", 0, 0, 40, 10),
    ("1.4MB", 720, 480, 40, 10),
    ("8.3MB", 1920, 1080, 40, 5),
    ("33MB", 3840, 2160, 100, 3),
    ("330MB", 12288, 6750, 24, 1),
]


# Runs a program in an environment of its own; returns what it writes to standard error.
def run(command: list[str], **environment: str) -> str:
    done = subprocess.run(command, env={"PATH": os.environ["PATH"]} | environment, text=True,
                          stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    if done.returncode:
        sys.exit(f"bench: {shlex.join(command)} failed\n{done.stderr}")
    return done.stderr


def make_commands(width: int, height: int, folder: str) -> list[list[str]]:
    arguments = ["--blank"]
    if width:
        arguments = ["-i", f"{folder}/image", "-w", str(width), "-h", str(height)]
        run(["build/release/planeshow-testcard", "ARGB8888", f"{width}x{height}", arguments[1]])
    return [[program, *arguments] for program in PROGRAMS]


# Both must ask the devices for the same: otherwise the times say nothing.
def compare_requests(commands: list[list[str]], folder: str) -> None:
    logs = [f"{folder}/yardstick.log", f"{folder}/planeshow.log"]
    for command, log in zip(commands, logs):
        run(command, **SIMULATED, PLANESHOW_SIM_LOG=log)
    if subprocess.run(["diff", *logs], stdout=sys.stderr).returncode:
        sys.exit("bench: the yardstick and planeshow do not ask the devices for the same")


# Returns each command's times in seconds.
def time_round(commands: list[list[str]], runs: int, folder: str) -> list[list[float]]:
    export = Path(folder, "times.json")
    run(["hyperfine", "--shell=none", "--style=none", "--warmup=1", f"--runs={runs}",
         f"--export-json={export}", *map(shlex.join, commands)], **SIMULATED)
    return [result["times"] for result in json.loads(export.read_text())["results"]]


# Returns the peak in MB and the page faults, medians of several runs. Not from wait4: its peak
# covers the time before exec too, and Python's is the larger.
def memory(command: list[str], **environment: str) -> tuple[float, float]:
    timed = ["/usr/bin/time", "-f", "%M %F %R", *command]
    runs = [[int(field) for field in run(timed, **environment).split()[-3:]] for _ in range(9)]
    return median(kib * 1024 / 1e6 for kib, _, _ in runs), median(f + r for _, f, r in runs)


# Prints a row; returns its medians in ms, what they have beyond those of the blank run in ns per
# byte of the image, and the MB of the memory's peaks beyond the two mappings, file and buffer.
def measure(name: str, width: int, height: int, rounds: int, runs: int,
            blank: list[float], folder: str) -> SimpleNamespace:
    commands = make_commands(width, height, folder)
    compare_requests(commands, folder)
    times = []
    for number in range(rounds):
        turn = -1 if number % 2 else 1  # the first of one round is the second of the next
        times.append(time_round(commands[::turn], runs, folder)[::turn])
    low, _, high = quantiles([mean(t) / mean(y) for y, t in times], method="inclusive")
    ms = [1000 * median(sum(times_of_one, [])) for times_of_one in zip(*times)]
    peaks, faults = zip(*[memory(command, **SIMULATED) for command in commands])
    size = 4 * width * height
    ns = [1e6 * (m - b) / size if size else 0 for m, b in zip(ms, blank)]
    beyond = [peak - 2 * size / 1e6 for peak in peaks]
    print(f"{name:6}{ms[0]:8.3f}{ms[1]:8.3f}{ms[1] / ms[0]:6.3f} ({low:.3f} to {high:.3f})"
          "{:7.3f}{:6.3f}{:8.2f}{:7.2f}{:6.2f}{:5.2f}{:7.0f}{:6.0f}"
          .format(*ns, *peaks, *beyond, *faults))
    return SimpleNamespace(ms=ms, ns=ns, beyond=beyond)


# Returns the instructions by kind and function, without and with what the function calls, and by
# the kind of the line. A kind tells where the code is defined: own (src/), parser (templates of the
# option parser and of the standard headers that it uses, compiled into the tool) or runtime.
def read_profile(path: Path) -> tuple[Counter, Counter, Counter]:
    alone, inclusive, by_line = Counter(), Counter(), Counter()
    lines = iter(path.read_text().splitlines())
    for line in lines:
        key, _, value = line.partition("=")
        if key in ("fl", "fi", "fe"):  # the file of a function, of what is inlined, and back
            kind = ("own" if value.startswith(f"{ROOT}/src/") else
                    "parser" if "/include/" in value else "runtime")
        elif key == "fn":
            function = kind, value
        elif key == "calls":
            inclusive[function] += int(next(lines).split()[1])
        elif line[:1].isdigit():
            alone[function] += int(line.split()[1])
            by_line[kind] += int(line.split()[1])
    if f"\ntotals: {alone.total()}\n" not in path.read_text():
        sys.exit("bench: the profile's parts do not add up")
    return alone, alone + inclusive, by_line


# Prints where the static start executes its instructions; returns all and planeshow's own.
def profile_start() -> tuple[int, int]:
    out = Path("build/bench/callgrind.out")
    run(["valgrind", "--quiet", "--tool=callgrind", "--compress-strings=no", "--compress-pos=no",
         f"--callgrind-out-file={out}", STATIC, "--blank"])
    alone, inclusive, by_line = read_profile(out)
    total = alone.total()

    def of_kind(kind: str) -> int:
        return sum(cost for function, cost in alone.items() if function[0] == kind)

    def with_calls(start: str) -> int:
        costs = [cost for (kind, name), cost in inclusive.items()
                 if kind != "runtime" and f"{name}(".startswith(start)]
        return sum(costs) or sys.exit(f"bench: the profile has no function {start}")

    def share(cost: int, text: str) -> None:
        print(f"{cost:11} {100 * cost / total:5.1f} %  {text:.110}")

    constants, whole_main, parse = map(with_calls, ("_GLOBAL__sub_I_", "main(", "parseArgs("))
    print(f"\nStart-up: {total} instructions of a static blank run, which finds no device\n\n"
          "Where they are executed (exclusive: each function without what it calls)")
    share(of_kind("own"), "planeshow: functions defined in src/, with what is inlined into them")
    share(by_line["own"], "(lines of src/ alone, wherever inlined)")
    share(of_kind("parser"), "option parser and its regular expressions: templates compiled in")
    share(of_kind("runtime"), "C++ runtime and C library")
    print("\nOn whose behalf (inclusive: each with all that it calls)")
    share(constants, "the parser's constants, before main")
    share(parse, "parseArgs")
    share(whole_main - parse, "the rest of main: the request and the messages")
    share(total - constants - whole_main, "start and end of the process, with the destructors")
    print("\nThe ten most costly functions (exclusive)")
    for (kind, name), cost in alone.most_common(10):
        share(cost, f"{kind:8} {name}")
    return total, of_kind("own")


def report_aims(costs: dict[str, SimpleNamespace], instructions: int, own: int) -> None:
    small, large = costs["1.4MB"].ms, costs["33MB"].ms
    per_byte = [cost.ns[1] / cost.ns[0] for name, cost in costs.items() if name != "blank"]
    aims = [
        ("33 MB: times the yardstick", large[1] / large[0], 1.05),
        ("1.4 MB: ms above the yardstick", small[1] - small[0], 1),
        ("static blank run: instructions", instructions, 2_500_000),
        ("own code: % of them", 100 * own / instructions, 5),
        ("peak memory: MB beyond the two mappings", max(c.beyond[1] for c in costs.values()), 3),
        ("cost per byte: how far the ratios vary", max(per_byte) - min(per_byte), 0.05),
    ]
    print("\nAims")
    for text, value, limit in aims:
        print(f"{text:44}{value:12.7g}  at most {limit:<8}{'met' if value <= limit else 'MISSED'}")


def main() -> None:
    if sys.argv[1:] not in ([], ["--quick"]):
        sys.exit("usage: bench/run.py [--quick]    --quick: two rounds only, to try the script")
    os.chdir(ROOT)
    os.environ["PWD"] = str(ROOT)  # CMake names the sources from it
    if subprocess.run(["sh", "-ec", BUILD], stdout=sys.stderr).returncode:
        sys.exit("bench: the build failed")
    print(HEAD.format(cores=os.cpu_count(), release=os.uname().release, load=os.getloadavg()[0]))
    roomy = "/dev/shm" if shutil.disk_usage("/dev/shm").free > 1e9 else None
    costs = {}
    for name, width, height, rounds, runs in ROWS:
        print(f"bench: measuring {name}", file=sys.stderr)
        blank = costs["blank"].ms if costs else [0, 0]
        rounds = 2 if sys.argv[1:] else rounds
        with tempfile.TemporaryDirectory(prefix="planeshow-bench.", dir=roomy) as folder:
            costs[name] = measure(name, width, height, rounds, runs, blank, folder)
    print(f"\nA static blank run peaks at {memory([STATIC, '--blank'])[0]:.2f} MB.")
    report_aims(costs, *profile_start())


if __name__ == "__main__":
    main()
