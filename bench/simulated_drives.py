#!/usr/bin/env python3
"""simulated_drives.py TOOL LIBRARY SIMDRIVE: what it costs to list many simulated drives.

Makes 1, 100, 500 and 1000 of them in one private world (see tests/conformance/world.py), lists them some times each,
and prints wall and processor time and the largest resident memory of the best run, what each drive beyond those of the
line above costs, and the ratios between 100 and 1000 drives: 10 is linear. "first": the first list of new drives.
"""

import os
import pathlib
import shutil
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests/conformance"))
from world import LIBRARY_NAME, World  # noqa: E402

COUNTS = (1, 100, 500, 1000)
ROUNDS = 5
DRIVES = pathlib.Path("/opt/velko/nimbrel/SimulatedDrives")


def run(command, output):
    """Wall and processor seconds and the largest resident KiB of one process."""
    begin = time.perf_counter()
    to_file = (os.POSIX_SPAWN_OPEN, 1, output, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600)
    pid = os.posix_spawn(command[0], command, os.environ, file_actions=[to_file])
    _, status, usage = os.wait4(pid, 0)
    wall = time.perf_counter() - begin
    if os.waitstatus_to_exitcode(status) != 0:
        raise SystemExit(f"{' '.join(command)}: exit status {os.waitstatus_to_exitcode(status)}")
    return wall, usage.ru_utime + usage.ru_stime, usage.ru_maxrss


def measure(tool, simdrive, count):
    shutil.rmtree(DRIVES, ignore_errors=True)
    run([simdrive, "create", "drive", "--size", "1Gi", "--count", str(count)], "/dev/null")
    listing = [tool, "show", "-velkossd"]
    first = run(listing, "list.txt")
    if pathlib.Path("list.txt").read_text().count("\nDeviceStatus : Healthy\n") != count:
        raise SystemExit(f"not all of {count} drives are listed")
    return first, min(run(listing, "list.txt") for _ in range(ROUNDS))


def inside(tool, simdrive):
    print(f"{'drives':>6}{'first ms':>10}{'wall ms':>9}{'cpu ms':>8}{'KiB':>9}{'ms/drive':>10}{'KiB/drive':>11}")
    results = {}
    before, least = 0, (0, 0, 0)
    for count in COUNTS:
        first, best = measure(tool, simdrive, count)
        wall, cpu, memory = results[count] = best
        print(f"{count:6}{first[0] * 1e3:10.1f}{wall * 1e3:9.1f}{cpu * 1e3:8.1f}{memory:9}"
              f"{(wall - least[0]) / (count - before) * 1e3:10.3f}{(memory - least[2]) / (count - before):11.2f}")
        before, least = count, best
    for name, index in (("wall time", 0), ("processor time", 1), ("memory", 2)):
        print(f"{name}: 1000 drives cost {results[1000][index] / results[100][index]:.1f} times what 100 do")


def main():
    if sys.argv[1] == "--inside":
        inside(*sys.argv[2:])
        return
    tool, library, simdrive = (os.path.abspath(path) for path in sys.argv[1:4])
    world = World()
    try:
        world.install_library(library, LIBRARY_NAME)
        done = world.run("-B", os.path.abspath(__file__), "--inside", tool, simdrive, tool=sys.executable, timeout=600)
        print(done.stdout + done.stderr, end="")
        raise SystemExit(done.status)
    finally:
        world.close()


if __name__ == "__main__":
    main()
