#!/usr/bin/env python3
"""guest.py FOLDER: the tool against nvme-cli on a real kernel, in one machine each with 1, 8 and 32 emulated drives.
FOLDER is what tests/vm/prepare.py made: build/PRESET/tests/vm/machine.

For `nimbrel show -velkossd` and `nvme list`: time (the best block of runs, taken in turns), system calls, NVMe commands
that reached the drives. The same for one SMART log. The times of an emulated processor say nothing by themselves; their
ratio does. Addresses are not randomised, or else the emulator translates every program again at every run and nothing
but that is measured.

The aim: a list is not slower than the peer's, and costs at most 2 NVMe commands and 30 system calls for each further
drive. The lists before the measured ones note which drives have no pages of OCP.
"""

import os
import pathlib
import re
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/vm"))
os.environ["NIMBREL_VM_DIR"] = sys.argv[1] if len(sys.argv) == 2 else sys.exit(__doc__)

from machine import Controller, Machine, Namespace  # noqa: E402

DRIVES = (1, 8, 32)
BLOCKS = 5
RUNS_OF_A_BLOCK = 20
LISTS = {"nimbrel": "nimbrel show -velkossd", "nvme": "nvme list"}
SMART_LOGS = {"nimbrel": "nimbrel show -velkossd 0 -smart", "nvme": "nvme smart-log /dev/nvme0"}


def seconds(machine, command):
    """Of one block of runs, by the guest's own clock."""
    runs = " && ".join([f"{command} >/dev/null"] * RUNS_OF_A_BLOCK)
    run = machine.shell(f"read a b </proc/uptime; {runs} || exit; read c d </proc/uptime; echo $a $c")
    before, after = map(float, run.stdout.split())
    return (after - before) / RUNS_OF_A_BLOCK


def system_calls(machine, command):
    run = machine.shell(f"strace -f -c -o /tmp/calls {command} >/dev/null && cat /tmp/calls")
    return int(re.search(r"^100\.00 +\S+ +\S* +(\d+) .*total$", run.stdout, re.M).group(1))


def nvme_commands(machine, command):
    machine.nvme_commands()
    machine.shell(f"{command} >/dev/null")
    return len(machine.nvme_commands())


def measure(machine, commands):
    """{tool: (milliseconds, system calls, NVMe commands)}"""
    best = {tool: float("inf") for tool in commands}
    for _ in range(BLOCKS):
        for tool, command in commands.items():
            best[tool] = min(best[tool], seconds(machine, command))
    return {tool: (best[tool] * 1000, system_calls(machine, command), nvme_commands(machine, command))
            for tool, command in commands.items()}


def row(what, found):
    ours, theirs = found["nimbrel"], found["nvme"]
    print(f"{what:20} {ours[0]:9.1f} {theirs[0]:9.1f} {ours[0] / theirs[0]:7.2f} {ours[1]:9} {theirs[1]:7}"
          f" {ours[2]:9} {theirs[2]:7}", flush=True)


def main():
    print(f"{'':20} {'nimbrel':>9} {'nvme':>9} {'ratio':>7} {'nimbrel':>9} {'nvme':>7} {'nimbrel':>9} {'nvme':>7}")
    print(f"{'':20} {'ms':>9} {'ms':>9} {'':7} {'syscalls':>9} {'':7} {'commands':>9}")
    lists = {}
    for count in DRIVES:
        with Machine([Controller(f"M{i:02}", [Namespace(4)]) for i in range(count)], kernel_options="norandmaps") as machine:
            lists[count] = measure(machine, LISTS)
            row(f"list of {count}", lists[count])
            if count == 1:
                row("SMART log", measure(machine, SMART_LOGS))
    few, many = DRIVES[0], DRIVES[-1]
    row("each further drive", {tool: tuple((b - a) / (many - few) if i == 0 else round((b - a) / (many - few), 1)
                                           for i, (a, b) in enumerate(zip(lists[few][tool], lists[many][tool])))
                               for tool in LISTS})


if __name__ == "__main__":
    main()
