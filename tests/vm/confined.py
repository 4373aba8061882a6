"""The AppArmor profile lets every command do its work: with the profile in force, a walk over the whole vocabulary,
on a drive of the kernel's driver and on a simulated one, leaves no denial in the kernel's log. What it does not
allow is an error with words."""

import pathlib
import re
import sys
import unittest

from machine import Controller, Namespace
from witness import LOAD_PROFILE, VmTestCase

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "conformance"))
from simulated_walk import WALK

KERNEL, SIMULATED = "0", "1"  # real drives are listed first
SIMULATED_FOLDER = "/opt/velko/nimbrel/SimulatedDrives/drive"
MAKE_DRIVE = f"""
/opt/velko/nimbrel/nimbrel-simdrive create drive --model velko --size 64Mi --serial SIM1 &&
sed -i -e '/-seconds/s/=.*/= 1/' {SIMULATED_FOLDER}/description.ini
"""


class Confined(VmTestCase):
    controllers = [Controller("S1", [Namespace(64)])]

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        loaded = cls.machine.shell(LOAD_PROFILE)
        if loaded.stdout != "nimbrel (enforce)\n":
            raise RuntimeError(f"the profile is not in force: {loaded}")
        made = cls.machine.shell(MAKE_DRIVE)
        if made.status != 0:
            raise RuntimeError(f"no simulated drive: {made}")

    def denials(self):
        """What the kernel's log says was denied since the last call: profile, and the file or capability."""
        log = self.machine.shell("dmesg -c").stdout
        return [(re.search(r'profile="([^"]*)"', line)[1], re.search(r'name="([^"]*)"', line)[1])
                for line in log.splitlines() if 'apparmor="DENIED"' in line]

    def nimbrel(self, *words):
        return self.machine.run("sh", "-c", 'cd /tmp/walk && exec nimbrel "$@"', "sh", *words, stdin=b"n\n")

    def walk(self, drive):
        self.machine.shell("mkdir -p /tmp/walk/logs /tmp/walk/json; head -c 8192 /dev/urandom >/tmp/walk/fw.bin")
        self.denials()
        for row, steps in WALK.items():
            for line in (step for step in steps if isinstance(step, str)):
                self.nimbrel(*line.replace("-velkossd 0", f"-velkossd {drive}").split(" "))
            with self.subTest(row=row):
                self.assertEqual(self.denials(), [])

    def test_every_command_on_a_drive_of_the_driver(self):
        self.walk(KERNEL)

    def test_every_command_on_a_simulated_drive(self):
        self.walk(SIMULATED)

    def test_a_destination_elsewhere_is_refused_with_words(self):
        self.machine.shell("mkdir -p /tmp/walk /etc/cron.d")
        self.denials()
        run = self.nimbrel("dump", "-destination", "/etc/cron.d/log", "-velkossd", KERNEL, "-nvmelog", "2")
        self.assertEqual((run.status, run.stdout, run.stderr),
                         (3, "Error: Unable to write /etc/cron.d/log: Permission denied\n", ""))
        # A file without a name, then one with a hidden name.
        self.assertEqual([(profile, re.sub("[0-9A-F]+$", "N", name)) for profile, name in self.denials()],
                         [("nimbrel", "/etc/cron.d/#N"), ("nimbrel", "/etc/cron.d/.nimbrel-N")])
        self.assertEqual(self.machine.shell("ls -A /etc/cron.d").stdout, "")


if __name__ == "__main__":
    unittest.main()
