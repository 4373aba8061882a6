"""The progress of long operations on a terminal in place of standard error, and its absence everywhere else."""

import fcntl
import os
import pty
import re
import signal
import struct
import subprocess
import termios
import unittest

from simulated import FOLDER, HIDE_DRIVES, SimulatedTestCase, firmware_image
from world import TOOL

CLEAR = "\r\x1b[K"
DRIVE = re.escape(f"Drive SIM-VELKO-1 ({FOLDER}/velko/dev/velko), ")
SELF_TEST = ("start", "-velkossd", "0", "-selftest", "-mode", "captive")
SANITIZE = ("start", "-force", "-velkossd", "0", "-sanitize")

LOAD = ("load", "-force", "-source", "fw.bin", "-velkossd", "0", "FirmwareSlot=2", "CommitAction=1")
# What lasts because the drive is slow: the fault, the command, its line, and whether the line has percent at some time.
SLOW = [
    ("admin 0x80 600", ("delete", "-force", "-velkossd", "0"), "format", False),
    ("admin 0x80 600", ("start", "-force", "-velkossd", "0", "-nvmeformat"), "format", False),
    ("admin 0x11 200", LOAD, "firmware download", True),
    ("admin 0x10 600", LOAD, "firmware commit", False),
    ("io 0x02 200", ("start", "-scan", "ReadScan", "-velkossd", "0"), "read scan of namespace 1", True),
    ("admin 0x02 600", ("dump", "-destination", "slots.bin", "-velkossd", "0", "-nvmelog", "firmware"),
     "log page 0x03", False),
]


class Progress(SimulatedTestCase):
    """On a drive that takes three seconds for a self-test and for a sanitize operation."""

    def setUp(self):
        super().setUp()
        self.make_drive("velko", clock=None, short_self_test_seconds=3, sanitize_seconds=3)

    def begin(self, *arguments, **variables):
        """Starts the tool with a terminal of 150 columns as standard error: the process, and the terminal's master."""
        master, slave = pty.openpty()
        self.addCleanup(os.close, master)
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 150, 0, 0))
        environment = {key: value for key, value in os.environ.items() if key != "NIMBREL_PROGRESS"}
        process = subprocess.Popen(self.world.command("-c", HIDE_DRIVES, TOOL, *arguments, tool="/bin/sh"),
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=slave, cwd=self.world.cwd,
                                   env={**environment, "TERM": "xterm", **variables}, start_new_session=True)
        os.close(slave)
        self.addCleanup(process.stdout.close)
        return process, master

    @staticmethod
    def shown(master):
        """All that the terminal got until its last user closed it."""
        text = b""
        try:
            while piece := os.read(master, 4096):
                text += piece
        except OSError:  # EIO: the other end is closed
            pass
        return text.decode()

    def check_shown(self, arguments, line):
        before = self.tool(*arguments)  # into a pipe
        self.assertEqual((before.stderr, before.status), ("", 0))
        process, master = self.begin(*arguments)
        shown = self.shown(master)
        self.assertEqual((process.stdout.read().decode(), process.wait()), (before.stdout, 0))
        self.assertRegex(shown, f"^({re.escape(CLEAR)}{DRIVE}{line}\r)+{re.escape(CLEAR)}\r$")
        self.assertGreater(shown.count("elapsed"), 2)

    def test_a_self_test(self):
        self.check_shown(SELF_TEST, r"self-test: \d+ %, 0:00:0\d elapsed, the drive estimates 0:02:00")

    def test_a_sanitize_operation(self):
        self.check_shown(SANITIZE, r"sanitize: \d+ %, 0:00:0\d elapsed, the drive estimates 0:00:03")

    def test_what_a_slow_drive_takes_long_for(self):
        (self.world.cwd / "fw.bin").write_bytes(firmware_image("velko", "NEW00001", size=32768))
        for slow, arguments, line, has_percent in SLOW:
            with self.subTest(arguments=arguments, slow=slow):
                # Small pieces make several commands of an image of 32 KiB, and of a namespace of 2 MiB.
                self.describe("velko", size="2 MiB", max_transfer_kib=8 if "0x11" in slow else 64, slow=slow)
                process, master = self.begin(*arguments)
                shown = self.shown(master)
                self.assertEqual(process.wait(), 0, process.stdout.read().decode())
                drawn = f"{re.escape(CLEAR)}{DRIVE}{line}: (\\d+ %, )?0:00:0\\d elapsed\r"
                self.assertRegex(shown, f"^({drawn})+{re.escape(CLEAR)}\r$")
                self.assertEqual(bool(re.search(r": [1-9]\d* %, ", shown)), has_percent, shown)

    def test_a_scan_of_the_logs_has_a_line_for_each_page(self):
        # Of a drive with the mandatory pages alone there are few.
        self.describe("velko", model="nvme-1.4", slow="admin 0x02 600")
        process, master = self.begin("start", "-scan", "Logs", "-velkossd", "0")
        shown = self.shown(master)
        self.assertEqual(process.wait(), 0, process.stdout.read().decode())
        line = rf"{re.escape(CLEAR)}{DRIVE}log page (0x[0-9A-F]{{2}}): 0:00:0\d elapsed\r"
        self.assertRegex(shown, rf"^(({line})+{re.escape(CLEAR)}\r)+$")
        pages = re.findall(line, shown)
        self.assertEqual(list(dict.fromkeys(pages)), ["0x01", "0x02", "0x03"], shown)
        self.assertEqual(pages, sorted(pages), "one after the other")

    def test_a_user_who_wants_none_sees_none(self):
        process, master = self.begin(*SELF_TEST, NIMBREL_PROGRESS="none")
        self.assertEqual((self.shown(master), process.wait()), ("", 0))

    def test_the_line_of_a_signal_takes_its_place(self):
        process, master = self.begin(*SELF_TEST)
        begun = os.read(master, 4096).decode()
        self.assertTrue(begun.startswith(CLEAR + "Drive SIM-VELKO-1 "), begun)
        os.killpg(process.pid, signal.SIGINT)
        rest = self.shown(master)
        self.assertRegex(rest, re.escape(CLEAR) + r"SIGINT: nimbrel ends, the drive goes on .*: the process ends with it\."
                         "\r\n" + f"({re.escape(CLEAR)}{DRIVE}[^\r]*\r)?{re.escape(CLEAR)}$")
        self.assertEqual(process.wait(), -signal.SIGINT)


if __name__ == "__main__":
    unittest.main()
