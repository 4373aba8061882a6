"""SECURITY ERASE UNIT on a simulated SATA drive, ended at every step: by a loss of power within each of its commands,
and by killing the tool, with a power cycle after it. The drive has no password then, or the next delete takes it
off."""

import os
import time
import unittest

from simulated import HIDE_DRIVES, START_MS, SimulatedTestCase
from world import TOOL, kill_group

SIMDRIVE = os.environ.get("NIMBREL_SIMDRIVE", "")
DELETE = ("delete", "-force", "-velkossd", "0")
# The commands over which the power fails, by their opcodes: SET PASSWORD, ERASE PREPARE, ERASE UNIT, IDENTIFY DEVICE
# and the others of the flow; and those by which the tool takes the password off after that, UNLOCK and DISABLE
# PASSWORD.
STEPS = ((0xF1,), (0xF3,), (0xF4,), (0xEC,), (0xE0,), (0xEA,), (0xF2,), (0xF6,), (0xF3, 0xF2), (0xF4, 0xF2),
         (0xF4, 0xF6))


class KilledErase(SimulatedTestCase):
    def setUp(self):
        super().setUp()
        self.make_drive("sata", sanitize="no")
        self.tool("show", "-velkossd")

    def power_cycle(self):
        run = self.world.run("power-cycle", "sata", tool=SIMDRIVE)
        self.assertEqual((run.status, run.stderr), (0, ""))

    def write(self):
        (self.drives / "sata").joinpath(next(iter(self.media_names()), "media-1-1")).write_bytes(b"data" * 1024)

    def media_names(self):
        return [file.name for file in (self.drives / "sata").iterdir() if file.name.startswith("media-")]

    def security(self):
        """Enabled, locked."""
        run = self.tool("show", "-a", "-velkossd", "0")
        self.assertEqual((run.status, run.stderr), (0, ""), run.stdout)
        return tuple(f"{name} : True" in run.stdout for name in ("SecurityEnabled", "SecurityLocked"))

    def check_recovery(self, why):
        """A drive that is left with a password is rid of it by the next delete, which erases it."""
        enabled, locked = self.security()
        self.assertEqual(locked, enabled, f"{why}: after a power cycle a drive with a password is locked")
        run = self.tool(*DELETE)
        self.assertEqual(run.status, 0, f"{why}: {run.stdout}{run.stderr}")
        self.assertEqual(self.security(), (False, False), why)
        media = self.media("sata")
        self.assertTrue(media is None or not any(media.read_bytes()), f"{why}: data is left")
        return enabled

    def test_power_is_lost_within_each_command(self):
        left_with_password = []
        for opcodes in STEPS:
            with self.subTest(opcodes):
                self.write()
                self.describe("sata", power_loss=", ".join(f"ata 0x{opcode:02X}" for opcode in opcodes))
                run = self.tool(*DELETE)
                self.describe("sata", power_loss=None)
                self.power_cycle()
                if self.security() != (False, False):
                    left_with_password.append(opcodes)
                    for words in ("nimbrel-erase", "run this command again", "--security-unlock", "--security-disable"):
                        self.assertIn(words, run.stdout)
                self.check_recovery(f"{opcodes} {run.stdout}{run.stderr}")
        self.assertEqual(left_with_password, [(0xF3, 0xF2), (0xF4, 0xF2), (0xF4, 0xF6)],
                         "the tool takes the password off as long as the drive answers")

    def test_power_is_lost_while_the_drive_erases(self):
        self.write()
        self.describe("sata", clock=None, sanitize_seconds=30)
        process = self.world.start("-c", HIDE_DRIVES, TOOL, *DELETE, tool="/bin/sh")
        deadline = time.monotonic() + 30
        while not self.security_in_folder() and time.monotonic() < deadline:
            time.sleep(0.05)
        time.sleep(0.5)
        kill_group(process)
        self.power_cycle()
        self.assertEqual(self.security(), (True, True))
        self.describe("sata", clock=START_MS, sanitize_seconds=0)
        self.assertTrue(self.check_recovery("killed while it erases"))

    def security_in_folder(self):
        """Whether the fixed password is in the state of the drive."""
        return b"nimbrel-erase" in (self.drives / "sata" / "state").read_bytes()

    def test_the_tool_is_killed_at_any_time(self):
        begin = time.monotonic()
        self.assertEqual(self.tool(*DELETE).status, 0)
        whole = time.monotonic() - begin
        for step in range(20):
            self.write()
            process = self.world.start("-c", HIDE_DRIVES, TOOL, *DELETE, tool="/bin/sh")
            time.sleep(whole * (0.2 + 0.05 * step))
            kill_group(process)
            self.power_cycle()
            self.check_recovery(f"killed at step {step}")


if __name__ == "__main__":
    unittest.main()
