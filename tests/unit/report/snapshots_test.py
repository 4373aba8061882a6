import json
import os
import pathlib
import tempfile
import unittest

import samples  # noqa: F401  (sets the path)
from nimbrel_report import snapshots


def line(time, serial="S1", version=1, **metrics):
    metrics = {f"nimbrel_drive_{name}": value for name, value in metrics.items()}
    return json.dumps({"version": version, "time": time, "serial": serial, "model": "Model A", "firmware": "FW1",
                       "device": "/dev/nvme0", "metrics": metrics}) + "\n"


class Snapshots(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name)

    def write(self, *lines, name="a.jsonl"):
        (self.folder / name).write_text("".join(lines))

    def test_ratios_become_percents_and_days_without_a_value_are_gaps(self):
        self.write(line(200, wear_ratio=0.07, available_spare_ratio=1),
                   line(100, temperature_celsius=38, wear_ratio=0.02))
        self.assertEqual(snapshots.read(self.folder), ({("S1", "Model A"): {
            "times": [100, 200], "temperature_celsius": [38, None], "percentage_used": [2, 7],
            "available_spare_percent": [None, 100]}}, []))

    def test_a_damaged_line_is_reported_and_the_others_count(self):
        self.write(line(100, wear_ratio=0.01), "{\n", line(200, version=2), line(300, wear_ratio="x"),
                   line(400, wear_ratio=0.02))
        history, problems = snapshots.read(self.folder)
        self.assertEqual(history["S1", "Model A"]["times"], [100, 400])
        path = self.folder / "a.jsonl"
        self.assertTrue(problems[0].startswith(f"Snapshots in {path}, line 2: "), problems)
        self.assertEqual(problems[1:], [
            f"Snapshots in {path}, line 3: its version is 2, and this program reads version 1",
            f"Snapshots in {path}, line 4: a value is not a number"])

    def test_a_line_without_an_object_of_metrics_is_damaged(self):
        damaged = '{"version": 1, "time": 1, "serial": "S1", "model": "M", "metrics": []}\n'
        self.write(damaged, line(400, wear_ratio=0.02))
        history, problems = snapshots.read(self.folder)
        self.assertEqual(history["S1", "Model A"]["times"], [400])
        self.assertEqual(problems, [
            f"Snapshots in {self.folder}/a.jsonl, line 1: 'list' object has no attribute 'get'"])

    def test_a_time_of_no_document_is_damaged(self):
        self.write(line(-1, wear_ratio=0.01), line(253402300800, wear_ratio=0.01), line(400, wear_ratio=0.02))
        history, problems = snapshots.read(self.folder)
        self.assertEqual(history["S1", "Model A"]["times"], [400])
        self.assertEqual(problems, [f"Snapshots in {self.folder}/a.jsonl, line {number}: its time is not between 1970 "
                                    "and 9999" for number in (1, 2)])

    def test_no_folder_is_no_problem(self):
        self.assertEqual(snapshots.read(self.folder / "none"), ({}, []))

    def test_a_pipe_a_link_and_a_giant_are_not_read(self):
        os.mkfifo(self.folder / "a.jsonl")
        os.symlink("/dev/zero", self.folder / "b.jsonl")
        with open(self.folder / "c.jsonl", "wb") as file:
            file.truncate(1 << 30)
        history, problems = snapshots.read(self.folder)
        self.assertEqual(history, {})
        self.assertEqual(problems, [
            f"Snapshots in {self.folder}/a.jsonl: it is not a file of snapshots",
            f"Snapshots in {self.folder}/b.jsonl: Too many levels of symbolic links",
            f"Snapshots in {self.folder}/c.jsonl: it is not a file of snapshots"])

    def test_other_files_are_ignored(self):
        (self.folder / ".nimbrel-x").write_text("{")
        self.write(line(100, wear_ratio=0.01))
        self.assertEqual(snapshots.read(self.folder)[1], [])


if __name__ == "__main__":
    unittest.main()
