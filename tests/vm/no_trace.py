"""No list, show or log scan sends a real driver's drive a command that it refuses. QEMU's controller records no errors:
its own trace shows which commands failed."""

import pathlib
import sys
import unittest

from machine import Controller, Namespace
from witness import VmTestCase

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "conformance"))
from show_commands import SHOWS


class NoTrace(VmTestCase):
    controllers = [Controller("S1", [Namespace(64)])]

    def error_log(self):
        log = self.machine.shell("nvme error-log -o json /dev/nvme0; nvme smart-log -o json /dev/nvme0")
        self.assertEqual((log.status, log.stderr), (0, ""))
        entries = [line for line in log.stdout.splitlines() if "num_err_log_entries" in line]
        self.assertEqual(len(entries), 1, log.stdout)
        return log.stdout.split('"critical_warning"')[0], entries

    def test_nothing_that_is_shown_is_refused(self):
        before = self.error_log()
        for line in (line for lines in SHOWS.values() for line in lines):
            self.machine.failed_nvme_commands()
            self.machine.run("nimbrel", *line.split())
            self.assertEqual(self.machine.failed_nvme_commands(), [], line)
        scan = self.machine.shell("mkdir /tmp/logs && nimbrel start -scan Logs -velkossd 0 DirectoryPath=/tmp/logs")
        self.assertEqual((scan.status, self.machine.failed_nvme_commands()), (0, []), scan.stdout)
        self.assertEqual(self.error_log(), before)

    def test_the_trace_has_what_the_drive_refuses(self):
        self.machine.failed_nvme_commands()
        self.assertNotEqual(self.machine.run("nvme", "get-log", "-i", "0xC0", "-l", "512", "/dev/nvme0").status, 0)
        self.assertEqual(len(self.machine.failed_nvme_commands()), 1)


if __name__ == "__main__":
    unittest.main()
