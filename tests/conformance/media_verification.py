"""A drive that another host's sanitize operation left in the Media Verification state: the tool says how it is left,
and waits for nothing. The other host comes over NVMe/TCP."""

import os
import re
import time
import unittest

from nvme_tcp_target import TOOL as SIMDRIVE
from nvme_tcp_target import TargetTestCase
from simulated import HIDE_DRIVES
from world import TOOL, World

SANITIZE = 0x84
BLOCK_ERASE, EXIT_MEDIA_VERIFICATION = 2, 5
ENTER_MEDIA_VERIFICATION = 1 << 10
STATE = ("the drive is in the Media Verification state until a host sends a Sanitize command with the action Exit Media "
         "Verification State (5h)")


class MediaVerification(TargetTestCase):
    def setUp(self):
        self.world = World()
        self.addCleanup(self.world.close)
        self.world.install_library(os.environ["NIMBREL_FEATURE_LIBRARY"])
        made = self.world.run("create", "drive", "--model", "nvme-2.1", "--size", "64MiB", "--serial", "TGT1",
                              tool=SIMDRIVE)
        self.assertEqual((made.status, made.stderr), (0, ""))
        description = self.world.scratch / "opt/velko/nimbrel/SimulatedDrives/drive/description.ini"
        text, count = re.subn("(?m)^sanitize-seconds *=.*$", "sanitize-seconds = 1", description.read_text())
        self.assertEqual(count, 1, text)
        description.write_text(text)

    def sanitize(self, cdw10):
        """By the other host, which then leaves."""
        self.serve()
        admin = self.admin()
        self.assertEqual(admin.command(SANITIZE, cdw10=cdw10)[0], 0)
        admin.socket.close()
        self.end()
        self.process.wait(timeout=30)

    def tool(self, *arguments):
        return self.world.run("-c", HIDE_DRIVES, TOOL, *arguments, tool="/bin/sh")

    def background(self):
        run = self.tool("show", "-velkossd", "TGT1", "-backgroundprocessing")
        self.assertEqual((run.status, run.stderr), (0, ""), run.stdout)
        return run.stdout

    def test_a_sanitize_is_refused_until_the_state_is_left(self):
        self.sanitize(BLOCK_ERASE | ENTER_MEDIA_VERIFICATION)
        deadline = time.monotonic() + 60
        while STATE not in self.background():
            self.assertLess(time.monotonic(), deadline, self.background())
            time.sleep(0.2)
        begin = time.monotonic()
        run = self.tool("start", "-force", "-velkossd", "TGT1", "-sanitize")
        self.assertLess(time.monotonic() - begin, 20)
        self.assertEqual((run.status, run.stderr), (226, ""), run.stdout)
        self.assertIn(f"Sanitize operation in progress. Drive TGT1 (/opt/velko/nimbrel/SimulatedDrives/drive/dev/drive) "
                      f"says: {STATE}.", run.stdout)
        self.sanitize(EXIT_MEDIA_VERIFICATION)
        run = self.tool("start", "-force", "-velkossd", "TGT1", "-sanitize")
        self.assertEqual((run.status, run.stderr), (0, ""), run.stdout)


if __name__ == "__main__":
    unittest.main()
