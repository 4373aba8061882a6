import unittest

from samples import document, drive
from nimbrel_report import changes
from nimbrel_report.document import compared


class Between(unittest.TestCase):
    def lines(self, before, after):
        return [(key, lines) for key, _, _, lines in changes.between(before, after)]

    def test_nothing(self):
        self.assertEqual(self.lines([document(drive())], [document(drive())]), [])

    def test_drives_that_came_went_and_moved(self):
        before = [document(drive("S1"), drive("S2")), document(drive("S4"), host="host-c")]
        after = [document(drive("S3")), document(drive("S2"), host="host-b")]
        self.assertEqual(self.lines(before, after), [
            ("S1", ["The drive is gone."]),
            ("S2", ["It moved from host host-a to host-b."]),
            ("S3", ["The drive is new."]),
            ("S4", ["The drive is not in this report: it has no document of host host-c."])])

    def test_firmware_counters_and_findings(self):
        before = document(drive(health={"percentage_used": 3, "media_errors": 0, "critical_warnings": ["temperature"]}))
        after = document(drive(health={"percentage_used": 4, "media_errors": 2}, identity={"firmware_revision": "FW2"}))
        expected = [("S1", ["Its firmware was FW1 and is FW2.", "Media errors: 0 before, 2 now.",
                            "Percent of the rated endurance: 3 before, 4 now.", "New: Media errors: 2.",
                            "No longer so: A temperature is beyond its threshold; it is 38 °C now."])]
        self.assertEqual(self.lines([before], [after]), expected)
        self.assertEqual(self.lines([compared(before)], [after]), expected, "what a report keeps is enough")

    def test_a_drive_that_cannot_be_read_any_more(self):
        silent = drive(identity=None, health=None, not_read=[{"section": "identity", "reason": "no answer"}])
        self.assertEqual(self.lines([document(drive())], [document(silent)]),
                         [("S1", ["New: The drive's health could not be read: no answer."])])

    def test_two_drives_of_one_serial_number_are_two(self):
        twins = [drive("S1"), drive("S1", device_path="/dev/nvme1", health={"media_errors": 1})]
        self.assertEqual(self.lines([document(*twins)], [document(*twins)]), [])


if __name__ == "__main__":
    unittest.main()
