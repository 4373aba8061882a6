"""Reading leaves no trace: no list, show or log scan makes a drive record an error. A drive records each command that
asks for what it does not support, and monitoring of the number of entries raises an alarm."""

import pathlib
import re
import unittest

from show_commands import NAMED, SHOWS
from simulated import SimulatedTestCase, identity

CATALOGUE = pathlib.Path(__file__).resolve().parents[2] / "CLI/velkossd/CommandCatalogue.cpp"
IDENTITY = ("SerialNumber : SIM-NVME-1\n"
            "DevicePath : /opt/velko/nimbrel/SimulatedDrives/nvme-1.4/dev/nvme-1.4\n")
NO_ENTRIES = f"\n- Error Information SIM-NVME-1 -\n\n{IDENTITY}Entries : 0\n\n"


class NoTrace(SimulatedTestCase):
    def errors(self):
        """The number of entries that the drive ever made."""
        found = re.findall(r"ErrorInfoLogEntries : (\d+)\n",
                           self.tool("show", "-d", "ErrorInfoLogEntries", "-velkossd", "0", "-sensor").stdout)
        self.assertEqual(len(found), 1)
        return int(found[0])

    def walk(self):
        for line in (line for lines in SHOWS.values() for line in lines):
            self.tool(*line.split())
            self.assertEqual(self.errors(), 0, line)

    def test_a_drive_with_mandatory_parts_alone_is_as_it_was_after_all_that_is_shown(self):
        self.make_drive("nvme-1.4")
        self.tool("show", "-velkossd")  # makes the drive
        before = self.state("nvme-1.4")
        self.walk()
        self.assertTrue(self.state("nvme-1.4") == before)
        self.check_tool("show", "-velkossd", "0", "-nvmelog", "error information", stdout=NO_ENTRIES)

    def test_the_makers_drive_has_no_entry_either(self):
        self.make_drive("velko")
        self.walk()

    def test_nor_has_one_after_ocp(self):
        self.make_drive("ocp")
        self.walk()

    def test_a_scan_of_the_logs_makes_no_entry(self):
        self.make_drive("nvme-1.4")
        (self.world.cwd / "logs").mkdir()
        run = self.tool("start", "-scan", "Logs", "-velkossd", "0", "DirectoryPath=logs", "IncludeSystemInfo=false")
        self.assertEqual(run.status, 0, run.stdout)
        self.assertEqual(sorted(path.name for path in (self.world.cwd / "logs/SIM-NVME-1").iterdir()), [
            "identify_controller.bin", "identify_namespace_1.bin", "log_01_error_information.bin",
            "log_02_smart_health_information.bin", "log_03_firmware_slot_information.bin"])
        self.assertEqual(self.errors(), 0)

    def test_dumps_of_what_is_not_there_make_no_entry(self):
        self.make_drive("nvme-1.4")
        for line in ("dump -telemetrylog", "dump -velkossd 0 -persistenteventlog read", "dump -velkossd 0 -nlog",
                     "dump -velkossd 0 -bridgenlog", "dump -velkossd 0 -eventlog", "dump -velkossd 0 -assertlog",
                     "dump -velkossd 0 -systemsnapshot", "dump -destination a -velkossd 0 -nvmelog 5"):
            self.tool(*line.split())
            self.assertEqual(self.errors(), 0, line)

    def test_what_the_user_names_is_asked_for_once(self):
        self.make_drive("nvme-1.4")
        for number, line in enumerate(NAMED, 1):
            run = self.tool(*line.split())
            self.assertNotEqual(run.status, 0, line)
            self.assertEqual(self.errors(), number, line)

    def test_what_is_not_offered_is_refused_in_words(self):
        self.make_drive("nvme-1.4")
        where = "Drive SIM-NVME-1 (/opt/velko/nimbrel/SimulatedDrives/nvme-1.4/dev/nvme-1.4) does not offer "
        unsupported = "The selected drive does not support this feature. "
        for line, heading, words, status in (
                ("show -velkossd 0 -nvmelog 5", "NVMe Log",
                 unsupported + where + "log page 0x05 (Commands Supported and Effects).", 3),
                ("show -velkossd 0 -getfeature 6", "NVMe Feature",
                 unsupported + where + "feature 0x06 (Volatile Write Cache).", 3),
                ("show -velkossd 0 -timestamp", "Timestamp",
                 "Timestamp not supported by drive. " + where + "feature 0x0E (Timestamp).", 245),
                ("show -velkossd 0 -identify -uuidlist", "Identify",
                 unsupported + where + "the UUID List (CNS 0x17).", 3)):
            with self.subTest(line):
                self.check_tool(*line.split(), status=status,
                                stdout=f"\n- {heading} SIM-NVME-1 -\n\n{identity('nvme-1.4')}Status : {words}\n\n")

    def test_the_list_of_log_pages_is_that_of_identify(self):
        self.make_drive("nvme-1.4")
        self.check_tool("show", "-velkossd", "0", "-nvmelog", "list", stdout=(
            f"\n- Supported Log Pages SIM-NVME-1 -\n\n{IDENTITY}"
            "LID 0x01 : Error Information\n"
            "LID 0x02 : SMART / Health Information\nLID 0x03 : Firmware Slot Information\n\n"))


class Table(unittest.TestCase):
    def test_has_every_command_that_shows(self):
        rows = re.findall(r'^    \{ *\d+, "(\w+)", +"show"', CATALOGUE.read_text(), re.MULTILINE)
        self.assertEqual(set(rows), set(SHOWS))


if __name__ == "__main__":
    unittest.main()
