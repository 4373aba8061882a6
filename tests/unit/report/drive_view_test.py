import unittest

from samples import drive
from nimbrel_report import drive_view, texts

DAY = 86400


def blocks(**sections):
    row = drive_view.drive_row("host-a", drive(**sections), [], 400)
    return {block.get("title", block["kind"]): block for block in row["blocks"]}


class Row(unittest.TestCase):
    def test_the_line_of_the_list(self):
        row = drive_view.drive_row("host-a", drive(health={"media_errors": 2}), [], 400)
        self.assertEqual({key: row[key] for key in ("serial", "model", "host", "level", "word", "used", "temperature")}, {
            "serial": "S1", "model": "Model A", "host": "host-a", "level": "warning", "word": "Warning", "used": "3 %",
            "temperature": "38 °C"})

    def test_a_drive_that_could_not_be_read(self):
        row = drive_view.drive_row("host-a", drive("", identity=None, health=None, device_path="/dev/nvme7", not_read=[
            {"section": "self_tests", "reason": "no answer"}]), [], 400)
        self.assertEqual((row["serial"], row["model"], row["used"]), ("no serial number", "model not known", "not known"))
        self.assertEqual(row["not_read"], [("self-tests", "no answer")])


class Blocks(unittest.TestCase):
    def test_health_in_words(self):
        self.assertEqual(blocks()["columns"]["blocks"][1]["rows"], [
            ("Critical warnings", "none"), ("Temperature", "38 °C"), ("Rated endurance used", "3 %"),
            ("Available spare", "100 %"), ("Threshold of available spare", "10 %"), ("Power-on time", "1,234 hours"),
            ("Media errors", "0")])

    def test_alike_errors_are_one_row(self):
        entry = {"status": "0x281 Unrecovered Read Error", "queue": 1, "lba": 100, "nsid": 1}
        rows = blocks(errors={"total": 4, "newest": [
            {"number": 9, "status": "0x109 Invalid Log Page", "queue": 0, "lba": 0, "nsid": 0xFFFFFFFF},
            {"number": 8, **entry}, {"number": 7, **entry}, {"number": 6, **entry, "queue": None}]})
        self.assertEqual(rows["Errors that the drive recorded"]["rows"], [
            (9, "Invalid Log Page (0x109)", "admin command", 1),
            (8, "Unrecovered Read Error (0x281)", "I/O queue 1, namespace 1, block 100", 2),
            (6, "Unrecovered Read Error (0x281)", "no command", 1)])

    def test_self_tests_in_sentences(self):
        lines = blocks(self_tests={"state": "extended self-test in progress", "progress_percent": 50, "results": [
            {"test": "short", "result": "failed", "power_on_hours": 7, "failing_lba": 64}]})["Self-tests"]["lines"]
        self.assertEqual(lines, ["Extended self-test in progress, 50 % done.",
                                 "Short self-test: failed, at block 64, after 7 power-on hours."])

    def test_alike_events_that_follow_each_other_are_one_row(self):
        def event(time, name="Thermal Excursion", milliseconds=5000):
            return {"name": name, "text": "", "time": time, "drive_milliseconds": milliseconds}
        shown = blocks(events={"total": 4, "newest": [
            event("2026-01-03T00:00:00Z"), event("2026-01-02T00:00:00Z"), event("2026-01-01T00:00:00Z", "Set Feature"),
            event(None)]})["Events"]
        self.assertEqual(shown["table"]["rows"], [
            ("2026-01-02 00:00:00 UTC to 2026-01-03 00:00:00 UTC", "Thermal Excursion", "", 2),
            ("2026-01-01 00:00:00 UTC", "Set Feature", "", 1), ("5 s", "Thermal Excursion", "", 1)])
        self.assertEqual(shown["text"], "The drive has 4 events; these are the newest 4, the latest first. A time in "
                         "seconds counts from the drive's last reset: its clock was not set.")
        self.assertEqual(shown["specs"], [{"kind": "timeline", "name": "Events over time", "labels": [
            "Set Feature", "Thermal Excursion"], "points": [[1767398400, 1], [1767312000, 1], [1767225600, 0]]}])

    def test_logs_that_are_empty_have_a_text_and_no_table(self):
        shown = blocks(events={"total": 0, "newest": []}, latency={"enabled": False, "buckets": []})
        self.assertEqual(shown["Events"], {"kind": "list", "title": "Events", "lines": ["The drive has no events."]})
        self.assertEqual(shown["Latency of slow commands"]["lines"], [
            "The drive does not count now. No command was counted."])

    def test_a_latency_bucket_without_an_end(self):
        bucket = {"kind": "active", "from_microseconds": 235000, "to_microseconds": None, "read_commands": 3,
                  "write_commands": 1, "deallocate_commands": 0}
        shown = blocks(latency={"enabled": False, "buckets": [bucket]})["Latency of slow commands"]
        self.assertEqual(shown["text"], "The drive does not count now. 4 commands were counted, most of them, 4, in the "
                         "bucket of 235 ms and more.")
        self.assertEqual(shown["table"]["rows"], [("active", "235 ms and more", 3, 1, 0)])

    def test_statistics_count_one_kind_of_command(self):
        bucket = {"kind": "all", "from_microseconds": 20, "to_microseconds": 50, "read_commands": 0,
                  "write_commands": None, "deallocate_commands": None}
        shown = blocks(read_latency={"enabled": True, "buckets": [bucket]})["Read latency"]
        self.assertEqual(shown["text"], "No command was counted.")
        self.assertEqual((shown["table"]["columns"], shown["table"]["rows"]),
                         (["Buckets", "Latency", "Read"], [("all", "0.02 to 0.05 ms", 0)]))

    def test_history_in_words_table_and_chart(self):
        shown = blocks(history={"times": [DAY, 2 * DAY, 3 * DAY], "temperature_celsius": [30, None, 41],
                                "percentage_used": [3, 3, 3]})["Over time"]
        self.assertEqual(shown["text"], "3 snapshots, 1970-01-02 00:00 UTC to 1970-01-04 00:00 UTC. Temperature: 30 at "
                         "first and 41 °C at last, between 30 and 41. Rated endurance used: 3 % all the time.")
        self.assertEqual(shown["table"]["rows"], [("1970-01-04 00:00 UTC", 41, 3), ("1970-01-03 00:00 UTC", "not known", 3),
                                                  ("1970-01-02 00:00 UTC", 30, 3)])
        self.assertEqual(shown["specs"][0]["series"][0], {"name": "Temperature", "unit": "°C", "values": [30, None, 41]})

    def test_long_histories_are_thinned_to_their_ends(self):
        times = [day * DAY for day in range(1000)]
        row = drive_view.drive_row("h", drive(history={"times": times, "percentage_used": list(range(1000))}), [], 60)
        spec = next(block for block in row["blocks"] if block.get("title") == "Over time")["specs"][0]
        self.assertEqual((len(spec["times"]), spec["times"][0], spec["times"][-1]), (60, 0, 999 * DAY))

    def test_one_snapshot_is_no_history(self):
        self.assertNotIn("Over time", blocks(history={"times": [DAY], "percentage_used": [3]}))


class Texts(unittest.TestCase):
    def test_sizes(self):
        for count, text in ((None, "not reported"), (0, "0 bytes"), (999999, "999999 bytes"), (67108864, "67.11 MB"),
                            (1920383410176, "1.92 TB"), (10**15, "1.00 PB")):
            self.assertEqual(texts.bytes_text(count), text)


if __name__ == "__main__":
    unittest.main()
