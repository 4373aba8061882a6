"""The persistent event log of a simulated drive: read from the drive and from the file that was dumped of it, and from
files that are damaged."""

import json
import re
import unittest

from simulated import HOUR_MS, START_MS, SimulatedTestCase

FILE = "p.bin"
NAME = "Persistent Event Log SIM-OCP-1"
STATUS = "Persistent Event Log Status"
STOPS = re.compile(r"Could not parse Persistent Event Log, log may be corrupted\. "
                   r"It stops being valid at offset (\d+): .+\.")
HEADER_BYTES = 512


class PersistentEventLog(SimulatedTestCase):
    def setUp(self):
        super().setUp()
        self.make_drive("ocp")
        for step in ("show -velkossd 0", "set -velkossd 0 -timestamp 1800000000000", "delete -force -velkossd 0",
                     "start -velkossd 0 -selftest", "start -force -velkossd 0 -sanitize block",
                     "detach -velkossd 0 -namespace 1", "reset -velkossd 0 -nvmecontroller"):
            self.assertEqual(self.tool(*step.split()).status, 0, step)
        self.describe("ocp", clock=START_MS + 30 * HOUR_MS, temperature=91)
        self.assertEqual(self.tool("show", "-velkossd", "0", "-sensor").status, 0)
        self.check_tool("dump", "-destination", FILE, "-velkossd", "0", "-persistenteventlog", "read",
                        stdout=f"Successfully written persistenteventlog data to {FILE}\n")
        self.file = self.world.cwd / FILE
        self.bytes = self.file.read_bytes()

    def parsed(self, *source):
        run = self.tool("show", "-o", "json", *source, "-persistenteventlog")
        return run.status, json.loads(run.stdout)

    @staticmethod
    def events(log):
        """The events in order, by their headings."""
        return [(name, value) for name, value in log.items() if name.startswith("Event ")]

    def test_is_the_same_from_the_drive_and_from_its_file(self):
        for output in (), ("-o", "json"), ("-o", "nvmxml"):
            shown = self.tool("show", *output, "-velkossd", "0", "-persistenteventlog")
            parsed = self.tool("show", *output, "-source", FILE, "-persistenteventlog")
            self.assertEqual(re.sub(r".*(SerialNumber|DevicePath)\b.*\n", "", shown.stdout), parsed.stdout,
                             "a file has no drive")
            self.assertEqual((shown.status, shown.stderr, parsed.status, parsed.stderr), (0, "", 0, ""))
        self.assertEqual(self.file.read_bytes(), self.bytes)

    def test_says_what_happened(self):
        status, log = self.parsed("-source", FILE)
        kinds = [name.split(" - ", 1)[1] for name, _ in self.events(log[NAME])]
        self.assertEqual((status, list(log)), (0, [NAME]))
        self.assertEqual(len(kinds), log[NAME]["TNEV - Total Number of Events"])
        self.assertEqual(f"{len(self.bytes)} bytes", log[NAME]["TLL - Total Log Length"])
        self.assertEqual(set(kinds), {"Power-on or Reset", "SMART / Health Log Snapshot", "Timestamp Change",
                                      "Format NVM Start", "Format NVM Completion", "Vendor Specific", "Sanitize Start",
                                      "Sanitize Completion", "Thermal Excursion",
                                      "NVM Subsystem Hardware Error"})

    def test_shows_what_comes_before_the_end_of_a_file_that_is_cut(self):
        whole = self.events(self.parsed("-source", FILE)[1][NAME])
        seen = set()
        for length in range(62, len(self.bytes), 29):
            self.file.write_bytes(self.bytes[:length])
            status, log = self.parsed("-source", FILE)
            with self.subTest(length):
                self.assertEqual(status, 248)
                stops = STOPS.fullmatch(str(self.status_of(log)))
                self.assertIsNotNone(stops, log)
                self.assertLessEqual(int(stops[1]), length)
                events = self.events(log.get(NAME, {}))
                self.assertEqual(events, whole[:len(events)])
                seen.add(len(events))
        self.assertEqual(seen, set(range(len(whole))), "each event was the last one once")

    @staticmethod
    def status_of(log):
        """The message about the damage, which follows the log."""
        for name, value in [*log.items(), *log.get(NAME, {}).items()]:
            if name.startswith(STATUS):
                return value["Status"]
        return None

    def test_says_where_a_file_stops_being_valid(self):
        # The header length of the second event.
        first = HEADER_BYTES + 3 + self.bytes[HEADER_BYTES + 2] + int.from_bytes(self.bytes[534:536], "little")
        damaged = bytearray(self.bytes)
        damaged[first + 2] = 1
        self.file.write_bytes(damaged)
        whole = self.events(self.parsed("-velkossd", "0")[1][NAME])
        status, log = self.parsed("-source", FILE)
        self.assertEqual(status, 248)
        self.assertEqual(int(STOPS.fullmatch(self.status_of(log))[1]), first)
        self.assertEqual(self.events(log[NAME]), whole[:1])

    def test_is_distinguished_from_other_files(self):
        for content in (b"", b"\0" * 600, b"no log"):
            self.file.write_bytes(content)
            self.check_tool("show", "-source", FILE, "-persistenteventlog", status=3,
                            stdout="Error: Could not parse Persistent Event Log, log may be corrupted. "
                                   f"'{FILE}' does not begin like a persistent event log.\n")


if __name__ == "__main__":
    unittest.main()
