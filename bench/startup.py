#!/usr/bin/env python3
"""startup.py TOOL EMPTY [LIBRARY]: what a whole process costs from start to end.

Runs an empty C++ program, the tool's version and help, and two tools of the same trade in turn, many times, in one
private world (see tests/conformance/world.py), and prints the medians and their ratios. With LIBRARY the feature
library is where an installed one is, so that every run of the tool loads it.
"""

import os
import pathlib
import shutil
import statistics
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests/conformance"))
from world import World  # noqa: E402

ROUNDS = 200


def measure(command):
    """Wall and processor seconds of one process."""
    null = os.open(os.devnull, os.O_RDWR)
    begin = time.perf_counter()
    actions = [(os.POSIX_SPAWN_DUP2, null, fd) for fd in (0, 1, 2)]
    pid = os.posix_spawn(command[0], command, os.environ, file_actions=actions)
    _, status, usage = os.wait4(pid, 0)
    wall = time.perf_counter() - begin
    os.close(null)
    if os.waitstatus_to_exitcode(status) != 0:
        raise SystemExit(f"{' '.join(command)}: exit status {os.waitstatus_to_exitcode(status)}")
    return wall, usage.ru_utime + usage.ru_stime


def inside(tool, empty):
    commands = {
        "empty program": [empty],
        "nimbrel version": [tool, "version"],
        "nimbrel help": [tool, "help"],
        "nvme version": [shutil.which("nvme"), "version"],
        "smartctl --version": [shutil.which("smartctl"), "--version"],
    }
    samples = {name: [] for name in commands}
    for command in commands.values():
        measure(command)
    for _ in range(ROUNDS):
        for name, command in commands.items():
            samples[name].append(measure(command))
    medians = {name: tuple(statistics.median(s[i] for s in runs) for i in (0, 1)) for name, runs in samples.items()}
    peer = medians["nvme version"][0]
    least = medians["empty program"][0]
    print(f"{'median of ' + str(ROUNDS) + ' runs':22}{'wall ms':>9}{'cpu ms':>9}{'x empty':>9}{'x nvme':>9}")
    for name, (wall, cpu) in medians.items():
        print(f"{name:22}{wall * 1e3:9.2f}{cpu * 1e3:9.2f}{wall / least:9.2f}{wall / peer:9.2f}")


def main():
    if sys.argv[1] == "--inside":
        inside(*sys.argv[2:])
        return
    world = World()
    try:
        tool, empty, *library = [str(pathlib.Path(argument).resolve()) for argument in sys.argv[1:]]
        for path in library:
            world.install_library(path)
        run = world.run(__file__, "--inside", tool, empty, tool=sys.executable, timeout=600)
        sys.stderr.write(run.stderr)
        print(run.stdout, end="")
        raise SystemExit(run.status)
    finally:
        world.close()


if __name__ == "__main__":
    main()
