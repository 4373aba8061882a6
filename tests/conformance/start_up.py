"""What every command costs before it does anything: the system calls of `version`, counted by strace."""

import os
import re
import shutil
import unittest

from world import TOOL, ToolTestCase, without_emulation

FEATURE_LIBRARY = os.environ["NIMBREL_FEATURE_LIBRARY"]
IS_HARDENED = os.environ["NIMBREL_HARDENED"] == "1"
INSTALLED = "/opt/velko/nimbrel/nimbrel"
# The aim is 90 on a machine. In the user namespace of the tests the tool reads two files of /proc more, to know whom
# files belong to that the namespace does not map.
MAX_CALLS = 90 + 10


class StartUp(ToolTestCase):
    @unittest.skipUnless(IS_HARDENED, "not the build that users get")
    @without_emulation
    def test_makes_few_system_calls(self):
        self.world.install_library(FEATURE_LIBRARY)
        shutil.copy(TOOL, self.world.opt / "nimbrel")
        first = self.world.run("version", tool=INSTALLED)  # creates the settings file
        run = self.world.run("-f", "-c", "-o", "calls", INSTALLED, "version", tool="strace")
        self.assertEqual((run.status, run.stdout), (0, first.stdout), run)
        report = (self.world.cwd / "calls").read_text()
        total = re.search(r"^100\.00 +\S+ +\S* +(\d+) .*total$", report, re.M)
        self.assertIsNotNone(total, report)
        self.assertLessEqual(int(total.group(1)), MAX_CALLS, report)


if __name__ == "__main__":
    unittest.main()
