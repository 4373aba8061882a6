"""Commands that destroy, with one system call failing: no fault opens the gate in front of a namespace that is mounted
or held by another device. The emulated drives themselves count what reaches them.

Each command is run with an even sample of the faults of tests/faults; NIMBREL_FAULTS is another number of them, or
"all", which takes an hour."""

import os
import pathlib
import subprocess
import sys
import unittest

from machine import Controller, Namespace
from witness import VmTestCase

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "faults"))
import injection  # noqa: E402

FAILING_CALL = "/opt/velko/nimbrel/failing_call"
PREPARATION = """set -e
for module in $(cat /lib/modules/order); do insmod /lib/modules/$module.ko; done
mkdir -p /data
mount -t ext2 {MOUNTED} /data
echo "0 16384 linear {HELD} 0" | dmsetup create mapped
"""
COMMANDS = (
    "delete -force -velkossd {}",
    "start -force -velkossd {} -nvmeformat",
    "start -force -velkossd {} -sanitize",
    "start -force -velkossd {} -trim StartLBA=0 Count=8",
    "delete -force -velkossd {} -namespace 1",
    "detach -velkossd {} -namespace 1",
)
# What the file system, and the tool's own look at the drives, send; nothing else may arrive.
HARMLESS = {"NVME_NVM_CMD_READ", "NVME_NVM_CMD_WRITE", "NVME_NVM_CMD_FLUSH", "NVME_ADM_CMD_IDENTIFY",
            "NVME_ADM_CMD_GET_LOG_PAGE", "NVME_ADM_CMD_GET_FEATURES"}
SAMPLE = os.environ.get("NIMBREL_FAULTS", "24")
AT_ONCE = 12  # commands of one request to the machine, which has two minutes for it
SUCCESS, NOT_RUN, CRASHES = "0", "127", ("132", "134", "135", "136", "137", "139")


class InjectedFaults(VmTestCase):
    controllers = [Controller("MOUNTED", [Namespace(16)]), Controller("HELD", [Namespace(16)])]

    @classmethod
    def prepare(cls, machine):
        subprocess.run(["mke2fs", "-q", "-t", "ext2", machine.image("MOUNTED")], check=True)

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        listing = cls.machine.shell("cd /sys/class/nvme; for c in *; do echo $(cat $c/serial) /dev/${c}n1; done").stdout
        cls.node = dict(line.split() for line in listing.splitlines())
        run = cls.machine.shell(PREPARATION.format(**cls.node))
        if run.status != 0:
            raise RuntimeError(run.stderr)

    def faults(self, command):
        """Those of the calls that follow the first look for drives."""
        self.machine.run(FAILING_CALL, "/tmp/report", "list", "nimbrel", *command.split())
        calls = injection.all_calls(self.machine.read("/tmp/report").decode(errors="surrogateescape"))
        first = next(i for i, (_, _, subject) in enumerate(calls) if subject.startswith("/sys/class/nvme"))
        cases = injection.cases_of("", calls[first:])
        self.assertGreater(len(cases), 100, command)
        count = len(cases) if SAMPLE == "all" else min(int(SAMPLE), len(cases))
        return [cases[i * len(cases) // count].argument for i in range(count)]

    def statuses(self, command, faults):
        """{fault: exit status} of a run with each of them."""
        run = self.machine.shell(f"for fault in {' '.join(faults)}; do {FAILING_CALL} /tmp/report $fault nimbrel "
                                 f"{command} >/tmp/out 2>&1; echo $fault $?; done")
        found = dict(line.split() for line in run.stdout.splitlines())
        self.assertEqual(list(found), faults, run)
        return found

    def check(self, serial, words, path):
        command = words.format(path)
        self.machine.nvme_commands()
        faults = self.faults(command)
        for begin in range(0, len(faults), AT_ONCE):
            for fault, status in self.statuses(command, faults[begin:begin + AT_ONCE]).items():
                self.assertNotIn(status, (SUCCESS, NOT_RUN, *CRASHES), f"{command}: {fault}")
        self.assertEqual(set(self.machine.nvme_commands()) - HARMLESS, set(), f"{serial}: {command}")

    def check_all(self, serial):
        """A test of its own for each drive, with its own machine: both in one would need most of the time limit."""
        node = self.node[serial]
        for words in COMMANDS:
            with self.subTest(words):
                self.check(serial, words, node[:-len("n1")])
        with self.subTest("by the path of the namespace"):
            self.check(serial, COMMANDS[0], node)


class Mounted(InjectedFaults):
    def test_open_no_way_to_a_mounted_namespace(self):
        self.check_all("MOUNTED")


class Held(InjectedFaults):
    def test_open_no_way_to_a_namespace_that_a_device_holds(self):
        self.check_all("HELD")


if __name__ == "__main__":
    unittest.main()
