"""The audit trail: what a command that changes a drive leaves in the system's journal."""

import os
import socket
import unittest

from simulated import FOLDER, SERIALS, SimulatedTestCase

DRIVE = f"{FOLDER}/velko/dev/velko"


class Audit(SimulatedTestCase):
    def setUp(self):
        super().setUp()
        self.make_drive("velko")
        folder = self.world.run_folder / "systemd/journal"
        folder.mkdir(parents=True)
        self.journal = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.journal.close)
        self.journal.bind(str(folder / "socket"))
        self.journal.setblocking(False)

    def entries(self):
        entries = []
        while True:
            try:
                datagram = self.journal.recv(65536).decode()
            except BlockingIOError:
                return entries
            entries.append(dict(line.split("=", 1) for line in datagram.splitlines()))

    def test_a_command_that_shows_leaves_nothing(self):
        for arguments in (["show", "-velkossd"], ["show", "-smart"], ["show", "-velkossd", "0", "-identify"]):
            self.assertEqual(self.tool(*arguments).status, 0)
        self.assertEqual(self.entries(), [])

    def test_a_set_leaves_its_begin_and_its_end(self):
        self.assertEqual(self.tool("set", "-velkossd", "0", "TempThreshold=60").status, 0)
        begin, end = self.entries()
        common = {
            "MESSAGE_ID": "6f1c9a7f0d0f4a4c9d4b6b0b7a3e52c1", "PRIORITY": "5", "SYSLOG_IDENTIFIER": "nimbrel",
            "NIMBREL_JOB": "NVMeFeatures", "NIMBREL_TYPE": "SetProperty", "NIMBREL_ARGUMENTS": "TempThreshold=60",
            "NIMBREL_UID": "0", "NIMBREL_DRIVE_SERIAL": SERIALS["velko"],
            "NIMBREL_DRIVE_MODEL": "VELKO Simulated NVMe SSD", "NIMBREL_DRIVE_PATH": DRIVE,
        }
        for entry in (begin, end):
            self.assertEqual({key: entry[key] for key in common}, common)
        self.assertEqual(begin["NIMBREL_ID"], end["NIMBREL_ID"])
        self.assertEqual((begin["NIMBREL_PHASE"], end["NIMBREL_PHASE"]), ("begin", "end"))
        self.assertEqual((end["NIMBREL_OUTCOME"], end["NIMBREL_STATUS"]), ("success", "0/0"))
        self.assertTrue(end["NIMBREL_DURATION_USEC"].isdigit())
        self.assertTrue(begin["MESSAGE"].startswith(
            f"NVMeFeatures (TempThreshold=60) on drive {SERIALS['velko']} ({DRIVE}) begins; uid 0"), begin["MESSAGE"])

    def test_what_is_refused_is_a_failure(self):
        refused = self.tool("start", "-force", "-velkossd", "0", "-nvmeformat", "LBAFormat=60")
        self.assertNotEqual(refused.status, 0)
        begin, end = self.entries()
        self.assertEqual(begin["NIMBREL_ARGUMENTS"], end["NIMBREL_ARGUMENTS"])
        self.assertIn("Type=NVMeFormat", begin["NIMBREL_ARGUMENTS"])
        self.assertIn("LBAFormat=60", begin["NIMBREL_ARGUMENTS"])
        self.assertEqual((end["NIMBREL_OUTCOME"], end["NIMBREL_STATUS"]), ("failure", "10/28"))
        self.assertIn("Invalid LBA format.", end["NIMBREL_STATUS_TEXT"])

    def test_a_journal_is_no_condition(self):
        os.unlink(self.world.run_folder / "systemd/journal/socket")
        self.assertEqual(self.tool("set", "-velkossd", "0", "TempThreshold=61").status, 0)


if __name__ == "__main__":
    unittest.main()
