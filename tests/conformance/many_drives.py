"""What a list costs for each simulated drive: system calls, counted by strace, and resident memory."""

import os
import re
import unittest

from world import ToolTestCase, without_emulation, without_sanitizers

FEATURE_LIBRARY = os.environ["NIMBREL_FEATURE_LIBRARY"]
SIMDRIVE = os.environ["NIMBREL_SIMDRIVE"]
IS_HARDENED = os.environ["NIMBREL_HARDENED"] == "1"
# More than a request has threads, so that drives and no threads are counted.
FEW, MORE = 16, 32
# 90 are measured. Waits of threads for each other come and go.
MAX_CALLS = 99
WAITS = "futex"
# Each of them needs more memory than Python, whose peak counts until the tool is executed.
HUNDREDS, MANY = 250, 750
MAX_KIB = 64
PEAK = "import resource, subprocess, sys\nsubprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL, check=True)\n" \
       "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)"


class ManyDrives(ToolTestCase):
    def setUp(self):
        super().setUp()
        self.world.install_library(FEATURE_LIBRARY)
        self.made = 0

    def make(self, count):
        run = self.world.run("create", f"of{count}", "--size", "1Gi", "--count", str(count - self.made), tool=SIMDRIVE)
        self.assertEqual(run.status, 0, run.stderr)
        self.made = count
        listed = self.world.run("show", "-velkossd").stdout  # the first list of a drive makes its lock file
        self.assertEqual(listed.count("\nDeviceStatus : Healthy\n"), count)

    def calls(self, count):
        self.make(count)
        run = self.world.run("-f", "-c", "-o", "calls", os.environ["NIMBREL_TOOL"], "show", "-velkossd", tool="strace")
        self.assertEqual(run.status, 0, run.stderr)
        rows = re.findall(r"^ *[0-9.]+ +\S+ +\S+ +(\d+) +(?:\d+ +)?(\w+)$", (self.world.cwd / "calls").read_text(), re.M)
        return sum(int(number) for number, name in rows if name not in (WAITS, "total"))

    def peak(self, count):
        self.make(count)
        run = self.world.run("-c", PEAK, os.environ["NIMBREL_TOOL"], "show", "-velkossd", tool="python3")
        return int(run.stdout)

    @unittest.skipUnless(IS_HARDENED, "not the build that users get")
    @without_emulation
    def test_each_costs_few_system_calls(self):
        few = self.calls(FEW)
        self.assertLessEqual((self.calls(MORE) - few) / (MORE - FEW), MAX_CALLS)

    @without_sanitizers
    def test_each_costs_little_memory(self):
        hundreds = self.peak(HUNDREDS)
        self.assertLessEqual((self.peak(MANY) - hundreds) / (MANY - HUNDREDS), MAX_KIB)


if __name__ == "__main__":
    unittest.main()
