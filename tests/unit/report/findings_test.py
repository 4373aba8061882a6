import unittest

from samples import drive
from nimbrel_report import findings

DAY = 86400
FAILED = {"state": "failed", "progress_percent": None, "code": 7, "results": [
    {"test": "short", "result": "aborted by a Device Self-test command", "power_on_hours": 9, "failing_lba": None},
    {"test": "extended", "result": "completed with one or more failed segments", "power_on_hours": 8,
     "failing_lba": 1000}]}
ATTRIBUTE = {"id": "0xB1", "name": "Wear", "value": 3, "worst": 3, "threshold": 5, "raw": "0", "state": "Failing now"}

# What the drive shows; kind, level and text of the first finding.
CASES = (
    ({}, None),
    ({"health": {"critical_warnings": ["read only"]}}, ("read only", "failing", "The media is read only.")),
    ({"health": {"available_spare_percent": 4}}, ("spare", "failing", "Available spare is 4 %, the threshold 10 %.")),
    ({"self_tests": FAILED}, ("self-test", "failing", "The last self-test failed (extended): completed with one or "
                              "more failed segments, at block 1000.")),
    ({"attributes": [ATTRIBUTE], "identity": {"device_status": "Attribute 177."}},
     ("attributes", "failing", "SMART attributes at or below their threshold: Wear.")),
    ({"identity": {"device_status": "The controller panicked."}},
     ("status", "failing", "The drive reports: The controller panicked.")),
    ({"health": {"critical_warnings": ["temperature"], "temperature_celsius": 90}},
     ("temperature", "warning", "A temperature is beyond its threshold; it is 90 °C now.")),
    ({"health": {"percentage_used": 100}}, ("worn out", "warning", "100 % of the rated endurance is used.")),
    ({"health": {"percentage_used": 99}}, ("nearly worn out", "note", "99 % of the rated endurance is used.")),
    ({"health": {"percentage_used": 89}}, None),
    ({"health": {"media_errors": 1}}, ("media errors", "warning", "Media errors: 1.")),
    ({"not_read": [{"section": "self_tests", "reason": "x"}]},
     ("incomplete", "warning", "Not everything could be read: self tests.")),
    ({"health": None, "not_read": [{"section": "identity", "reason": "no answer"}]},
     ("unreadable", "failing", "The drive's health could not be read: no answer.")),
    ({"background": {"Sanitize": "the most recent sanitize operation failed"}},
     ("sanitize", "warning", "Sanitize: the most recent sanitize operation failed.")),
    ({"firmware": {"next_slot": 2}}, ("activation", "note", "Firmware of slot 2 waits for a controller level reset.")),
    ({"self_tests": {"state": "no self-test has been run", "results": []}},
     ("never tested", "note", "No self-test has been run.")),
    ({"health": {"percentage_used": 50}, "history": {"times": [0, 100 * DAY], "percentage_used": [10, 50]}},
     ("trend", "warning", "By its trend the rated endurance is used in 125 days.")),
)


class OfDrive(unittest.TestCase):
    def test_case_by_case(self):
        for sections, expected in CASES:
            found = findings.of_drive(drive(**sections))
            first = (found[0].kind, found[0].level, found[0].text) if found else None
            self.assertEqual(first, expected, sections)

    def test_the_worst_is_first(self):
        found = findings.of_drive(drive(health={"media_errors": 1, "critical_warnings": ["reliability"]}))
        self.assertEqual([row.level for row in found], ["failing", "warning"])

    def test_values_that_are_not_reported_are_not_zero(self):
        found = findings.of_drive(drive(health={
            "critical_warnings": ["available spare", "temperature"], "available_spare_percent": None,
            "temperature_celsius": None}))
        self.assertEqual([row.text for row in found], ["Available spare has fallen below the threshold.",
                                                       "A temperature is beyond its threshold."])


class Trend(unittest.TestCase):
    def days(self, times, used):
        return findings.days_until_worn(drive(history={"times": times, "percentage_used": used}))

    def test_a_line_through_the_first_and_the_last_snapshot(self):
        self.assertEqual(self.days([0, 10 * DAY, 20 * DAY], [10, None, 20]), 160)

    def test_too_little_says_nothing(self):
        self.assertIsNone(self.days([], []))
        self.assertIsNone(self.days([0, 6 * DAY], [10, 20]))
        self.assertIsNone(self.days([0, 100 * DAY], [10, 11]))
        self.assertIsNone(self.days([0, 100 * DAY], [None, None]))
        self.assertIsNone(self.days([0, 100 * DAY], [20, 10]))


class OfFleet(unittest.TestCase):
    def test_another_firmware_than_most_of_its_model(self):
        drives = [drive("S1"), drive("S2"), drive("S3", identity={"firmware_revision": "FW0"})]
        found = findings.of_fleet(drives)
        self.assertEqual({key: [row.text for row in rows] for key, rows in found.items()}, {
            id(drives[2]): ["Its firmware FW0 differs from that of most drives of its model."]})

    def test_without_a_majority_no_firmware_is_the_odd_one(self):
        self.assertEqual(findings.of_fleet([drive("S1"), drive("S2", identity={"firmware_revision": "FW0"})]), {})

    def test_drives_of_one_serial_number(self):
        drives = [drive("S1"), drive("S1"), drive("S2")]
        self.assertEqual(set(findings.of_fleet(drives)), {id(drives[0]), id(drives[1])})


if __name__ == "__main__":
    unittest.main()
