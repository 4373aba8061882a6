"""The command line with a tool that is a script: what it is asked, what is written, what is said."""

import json
import os
import pathlib
import signal
import subprocess
import tempfile
import unittest

from samples import document, drive

PROGRAM = pathlib.Path(__file__).resolve().parents[3] / "report/nimbrel-report"
# A drive that answers everything, one that hangs, one that is gone; each question is noted.
FAKE = r"""#!/bin/sh
echo "$*" >> "$(dirname "$0")/asked"
case "$*" in
    "version "*) echo '{"Version Information":{"Version":"9.9"}}' ;;
    *-display*) echo '{"a":{"SerialNumber":1,"DevicePath":"/dev/nvme0"},"b":{"SerialNumber":"S2","DevicePath":"/dev/nvme1"},
        "c":{"DevicePath":"/dev/nvme2"},"Drive Scan Incomplete":{"Status":"No sysfs."}}'; exit 39 ;;
    *"/dev/nvme1"*) sleep 60 ;;
    *"/dev/nvme2"*) echo '{"x":{"DevicePath":"/dev/nvme2","Status":"The drive is gone."}}'; exit 70 ;;
    *"-all "*) echo '{"Velko SSD 1":{"SerialNumber":1,"ModelNumber":"M","Firmware":"F","NVMeMajorVersion":1,
        "NVMeMinorVersion":4,"PhysicalSize":"512 bytes","DeviceStatus":"Healthy"}}' ;;
    *-smart) echo '{"SMART Attributes 1":{"Temperature":"38 C"}}' ;;
    *list) echo '{"Supported Log Pages 1":{"LID 0x01":"Error Information"}}' ;;
    *error) echo '{"Error Information 1":{"Entries":0}}' ;;
    *-backgroundprocessing) echo '{"Background Processing 1":{"Sanitize":5}}' ;;
    *) echo "unexpected: $*" >&2; exit 9 ;;
esac
"""


class Command(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name)
        self.tool = self.folder / "nimbrel"
        self.tool.write_text(FAKE)
        self.tool.chmod(0o755)

    def run_report(self, *arguments):
        return subprocess.run([PROGRAM, "--nimbrel", self.tool, "--snapshots", self.folder / "snapshots", *arguments],
                              cwd=self.folder, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=100)

    def write(self, name, value):
        (self.folder / name).write_text(value if isinstance(value, str) else json.dumps(value))

    def fails(self, words, *arguments):
        run = self.run_report(*arguments)
        self.assertEqual((run.returncode, run.stdout, run.stderr), (2, "", f"nimbrel-report: {words}\n"))

    def test_collect_says_what_could_not_be_read(self):
        run = self.run_report("--collect", "--time-limit", "2")
        self.assertEqual((run.returncode, run.stderr), (1, ""))
        value = json.loads(run.stdout)
        self.assertEqual((value["tool_version"], value["problems"]), ("9.9", ["Drive Scan Incomplete: No sysfs."]))
        first, second, third = value["drives"]
        self.assertEqual((first["serial_number"], first["not_read"]), ("1", []))
        self.assertEqual(first["not_supported"], ["firmware", "self_tests", "latency", "events"])
        self.assertEqual(first["health"], {"temperature_celsius": 38, "critical_warnings": []})
        late = "no answer within the time limit of 2 seconds"
        self.assertEqual([row["reason"] for row in second["not_read"]][:2], [late, f"not asked: {late}"])
        self.assertEqual(third["not_read"][0], {"section": "identity", "reason": "The drive is gone."})
        self.assertEqual(third["not_read"][1]["reason"], "not asked: The drive is gone.")
        self.assertEqual((third["serial_number"], third["not_supported"]), ("", []))
        asked = (self.folder / "asked").read_text().splitlines()
        self.assertEqual(sum("/dev/nvme1" in line for line in asked), 1, "a drive that hangs is asked once")
        self.assertEqual(sum("/dev/nvme2" in line for line in asked), 1)

    def test_a_section_in_another_form_is_not_read_and_the_others_are(self):
        self.tool.write_text(FAKE.replace('"Temperature":"38 C"', '"Temperature":"38 F"'))
        first = json.loads(self.run_report("--collect", "--time-limit", "1").stdout)["drives"][0]
        self.assertEqual(first["not_read"][0], {
            "section": "health", "reason": """nimbrel showed something unexpected: ValueError("'38 F' is not a number of C")"""})
        self.assertEqual(first["background"], {"Sanitize": "5"})

    def test_a_log_page_that_is_missing_from_an_object_is_said(self):
        self.tool.write_text(FAKE.replace('"Temperature":"38 C"', '"Temperature":"38 C","Not read":"C0h failed."'))
        first = json.loads(self.run_report("--collect", "--time-limit", "1").stdout)["drives"][0]
        self.assertEqual(first["not_read"][0], {"section": "health", "reason": "C0h failed."})
        self.assertEqual(first["health"]["temperature_celsius"], 38)

    def test_what_another_drive_at_the_node_says_is_not_of_this_one(self):
        self.tool.write_text(FAKE.replace('"Temperature":"38 C"', '"SerialNumber":"S7","Temperature":"38 C"'))
        first = json.loads(self.run_report("--collect", "--time-limit", "1").stdout)["drives"][0]
        self.assertEqual((first["identity"]["serial_number"], "health" in first), ("1", False))
        words = "another drive has the node /dev/nvme0 now: S7"
        self.assertEqual([row["reason"] for row in first["not_read"]][:2], [words, f"not asked: {words}"])

    def test_an_interrupt_ends_it_at_once_and_leaves_nothing(self):
        process = subprocess.Popen([PROGRAM, "--nimbrel", self.tool, "--output", "report.html"], cwd=self.folder,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        with process.stdout, process.stderr:
            while "/dev/nvme1" not in ((self.folder / "asked").read_text() if (self.folder / "asked").exists() else ""):
                self.assertIsNone(process.poll())
            process.send_signal(signal.SIGINT)
            self.assertEqual((process.wait(timeout=20), process.stderr.read()), (-signal.SIGINT, b""))
        self.assertEqual(sorted(os.listdir(self.folder)), ["asked", "nimbrel"])

    def test_snapshots_are_in_the_document(self):
        (self.folder / "snapshots").mkdir()
        line = {"version": 1, "time": 100, "serial": "1", "model": "M", "firmware": "F", "device": "/dev/nvme0",
                "metrics": {"nimbrel_drive_wear_ratio": 0.02}}
        self.write("snapshots/a.jsonl", json.dumps(line) + "\n")
        value = json.loads(self.run_report("--collect", "--time-limit", "1").stdout)
        self.assertEqual(value["drives"][0]["history"], {"times": [100], "percentage_used": [2]})

    def test_a_report_of_documents_leaves_none_out_unsaid(self):
        self.write("a.json", document(drive("S1")))
        self.write("a-old.json", document(drive("S9"), collected="2026-01-01T00:00:00Z"))
        self.write("bad.json", "{")
        self.write("later.json", {**document(), "version": 7})
        self.write("c.txt", document(drive("S3"), host="host-c"))
        run = self.run_report("--output", "report.html", ".", "c.txt", "gone.json")
        self.assertEqual((run.returncode, run.stdout, run.stderr), (1, "", ""))
        text = (self.folder / "report.html").read_text()
        for words in ("2 drives of 2 hosts", "a-old.json is left out: a.json is a newer document of host host-a.",
                      "bad.json: it is not JSON", "later.json: its version is 7, and this program reads version 1",
                      "gone.json: No such file or directory"):
            self.assertIn(words, text)
        self.assertFalse((self.folder / "asked").exists(), "no drive of this host is asked")

    def test_the_replaced_report_is_compared_with(self):
        self.write("a.json", document(drive()))
        self.assertEqual(self.run_report("--output", "report.html", "a.json").returncode, 0)
        self.write("a.json", document(drive(identity={"firmware_revision": "FW2"})))
        self.assertEqual(self.run_report("--output", "report.html", "a.json").returncode, 0)
        self.assertIn("Its firmware was FW1 and is FW2.", (self.folder / "report.html").read_text())

    def test_a_file_that_is_no_report_is_replaced_and_this_is_said(self):
        self.write("a.json", document(drive()))
        self.write("report.html", "something else")
        self.assertEqual(self.run_report("--output", "report.html", "a.json").returncode, 1)
        self.assertIn("There is nothing to compare with: report.html: it is not JSON",
                      (self.folder / "report.html").read_text())

    def test_wrong_input_writes_nothing(self):
        self.write("bad.json", "{")
        self.write("a.json", document(drive()))
        (self.folder / "link.html").symlink_to("a.json")
        os.mkdir(self.folder / "empty")
        os.mkfifo(self.folder / "pipe")
        self.fails("no document could be read: empty: the folder has no *.json", "empty")
        self.write("page.html", "<!DOCTYPE html>")
        self.fails("no document could be read: page.html: it is not JSON: Expecting value: line 1 column 1 (char 0)",
                   "page.html")
        self.fails("no document could be read: pipe: it is not a regular file", "pipe")
        self.fails("Unable to write link.html: It is a symbolic link.", "--output", "link.html", "a.json")
        self.fails("Unable to write pipe: No process reads from this pipe.", "--output", "pipe", "a.json")
        self.fails("Unable to write gone/r.html: No such file or directory", "--output", "gone/r.html", "a.json")
        self.fails("gone.html cannot be compared with: No such file or directory", "--previous", "gone.html", "a.json")
        self.assertEqual(self.run_report("bad.json").returncode, 2)
        self.assertEqual((self.folder / "a.json").read_text(), json.dumps(document(drive())))

    def test_wrong_command_lines(self):
        for arguments, words in ((["--collect", "a.json"], "--collect takes no documents"),
                                 (["--time-limit", "0"], "the time limit is 1 to 3600 seconds"),
                                 (["--time-limit", "nan"], "the time limit is 1 to 3600 seconds"),
                                 (["--time-limit", "soon"], "the time limit is 1 to 3600 seconds"),
                                 (["--coll"], "unrecognized arguments: --coll")):
            run = self.run_report(*arguments)
            self.assertEqual((run.returncode, run.stdout), (2, ""))
            self.assertIn(words, run.stderr)

    def test_the_standard_output_by_its_name(self):
        self.write("a.json", document(drive()))
        self.assertEqual(self.run_report("--output", "/dev/stdout", "a.json").stdout.split("\n")[0], "<!DOCTYPE html>")

    def test_a_closed_standard_output_is_an_error(self):
        self.write("a.json", document(drive()))
        run = subprocess.run(["sh", "-c", f"{PROGRAM} a.json >/dev/full"], cwd=self.folder, capture_output=True, text=True,
                             timeout=100)
        self.assertEqual((run.returncode, run.stderr),
                         (2, "nimbrel-report: Unable to write standard output: No space left on device\n"))


if __name__ == "__main__":
    unittest.main()
