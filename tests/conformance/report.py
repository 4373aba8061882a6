"""nimbrel-report as it is installed, with the tool and simulated drives."""

import json
import os
import pathlib
import shutil
import subprocess
import time
import unittest

from simulated import START_MS, SimulatedTestCase
from world import TOOL

BUILD = os.environ["NIMBREL_BUILD"]
EXPORTER = os.environ.get("NIMBREL_EXPORTER", "")
# As far as a serial number goes: 20 visible characters.
HOSTILE = "</script><b>&\"'x"


class Report(SimulatedTestCase):
    def setUp(self):
        super().setUp()
        shutil.copy(TOOL, self.world.opt / "nimbrel")
        # With a root of its own: the copyright file has its place whatever the prefix.
        installed = self.world.scratch / "installed"
        done = subprocess.run(["cmake", "--install", BUILD, "--component", "report", "--prefix", "/report"],
                              env=dict(os.environ, DESTDIR=str(installed)), capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        shutil.copytree(installed / "report", self.world.opt, dirs_exist_ok=True)

    def report(self, *arguments, status=0):
        run = self.world.run(*arguments, tool="/opt/velko/nimbrel/nimbrel-report")
        self.assertEqual((run.status, run.stderr), (status, ""), run.stdout[:1000])
        return run.stdout

    def collected(self, *arguments, status=0):
        document = json.loads(self.report("--collect", *arguments, status=status))
        return {drive["serial_number"]: drive for drive in document["drives"]}

    def test_every_model_is_read_whole_and_no_drive_records_an_error(self):
        for name in ("velko", "ocp", "ocp-2.6", "nvme-1.4", "nvme-2.1", "sata"):
            self.make_drive(name)
        drives = self.collected()
        self.assertEqual({serial: drive["not_read"] for serial, drive in drives.items()},
                         dict.fromkeys(("SIM-VELKO-1", "SIM-OCP-1", "SIM-OCP-26", "SIM-NVME-1", "SIM-NVME-2", "SIM-SATA-1"), []))
        self.assertEqual({serial: drive["not_supported"] for serial, drive in drives.items()}, {
            "SIM-VELKO-1": ["latency"], "SIM-OCP-1": [], "SIM-OCP-26": [],
            "SIM-NVME-1": ["self_tests", "latency", "events"], "SIM-NVME-2": ["latency"], "SIM-SATA-1": []})
        self.assertEqual([drive["health"].get("error_log_entries") for drive in self.collected().values()
                          if drive["identity"]["interface"] != "SATA"], [0] * 5)
        self.assertEqual(len(drives["SIM-SATA-1"]["attributes"]), 17)
        self.assertEqual(drives["SIM-OCP-26"]["events"]["newest"][-1]["name"], "Power-on or Reset")

    def test_faults_are_what_needs_action(self):
        self.make_drive("ocp", smart="available-spare 4, percentage-used 101", temperature=90)
        self.make_drive("velko", self_test_failure="1:1000")
        self.make_drive("sata", attributes="177 value 3")
        self.tool("start", "-velkossd", "SIM-VELKO-1", "-selftest", "short")
        self.report("--output", "report.html")
        text = (self.world.cwd / "report.html").read_text()
        actions = text[text.index('id="action-title"'):text.index('id="fleet"')]
        for words in ("Available spare is 4 %, the threshold 10 %.", "101 % of the rated endurance is used.",
                      "A temperature is beyond its threshold; it is 90 °C now.", "at block 1000.",
                      "SMART attributes at or below their threshold: Vendor specific 177."):
            self.assertIn(words, actions)
        self.assertEqual((self.world.cwd / "report.html").stat().st_mode & 0o777, 0o600)

    def test_a_drive_that_hangs_costs_its_own_details_alone(self):
        self.make_drive("velko", hang="admin 0x06")
        self.make_drive("ocp")
        drives = self.collected("--time-limit", "2", status=1)
        self.assertEqual(drives["SIM-OCP-1"]["not_read"], [])
        self.assertEqual(drives["SIM-VELKO-1"]["not_read"][0], {
            "section": "identity", "reason": "no answer within the time limit of 2 seconds"})
        self.assertNotIn("health", drives["SIM-VELKO-1"])

    def test_a_log_that_fails_is_not_taken_for_empty(self):
        self.make_drive("ocp", fail="admin 0x02 0x006")
        drive = self.collected(status=1)["SIM-OCP-1"]
        self.assertIn("Internal Error", next(row["reason"] for row in drive["not_read"] if row["section"] == "health"))
        self.assertEqual(drive["not_supported"], [], "a list of log pages after an error is not whole")
        self.assertIn({"section": "latency", "reason": "not asked: it is not known whether the drive supports the log page"},
                      drive["not_read"])

    def test_commands_that_were_slow_are_in_their_bucket(self):
        self.make_drive("ocp-2.6", slow="io all 30")
        self.tool("start", "-scan", "ReadScan", "-velkossd", "SIM-OCP-26")
        bucket = self.collected()["SIM-OCP-26"]["latency"]["buckets"][0]
        self.assertEqual((bucket["from_microseconds"], bucket["to_microseconds"]), (30000, 100000))
        self.assertGreater(bucket["read_commands"], 0)

    def test_a_velko_drive_counts_each_command(self):
        self.make_drive("velko")
        self.tool("set", "-velkossd", "SIM-VELKO-1", "LatencyTrackingEnabled=true")
        self.tool("start", "-scan", "ReadScan", "-velkossd", "SIM-VELKO-1")
        drive = self.collected()["SIM-VELKO-1"]
        self.assertTrue(drive["read_latency"]["enabled"])
        self.assertEqual(len(drive["read_latency"]["buckets"]), 8)
        self.assertEqual(sum(row["read_commands"] for row in drive["read_latency"]["buckets"]), 128)
        self.assertEqual(sum(row["write_commands"] for row in drive["write_latency"]["buckets"]), 0)

    @unittest.skipUnless(EXPORTER, "built without nimbrel-exporter")
    def test_the_exporters_snapshots_are_the_history(self):
        self.make_drive("ocp", smart="percentage-used 7, available-spare 93", temperature=41)
        (self.world.var_lib / "prometheus/node-exporter").mkdir(parents=True)
        run = self.world.run(tool=EXPORTER)
        self.assertEqual((run.status, run.stderr), (0, ""))
        history = self.collected()["SIM-OCP-1"]["history"]
        self.assertEqual({key: value for key, value in history.items() if key != "times"}, {
            "temperature_celsius": [41], "percentage_used": [7], "available_spare_percent": [93],
            "data_written_bytes": [0], "media_errors": [0]})
        self.assertAlmostEqual(history["times"][0], time.time(), delta=600)

    def test_a_serial_number_is_no_markup(self):
        self.make_drive("velko", serial_number=HOSTILE, model_number="<img src=x onerror=alert(1)>")
        text = self.report()
        self.assertNotIn("<img", text)
        self.assertNotIn(HOSTILE, text)
        # The tool shows < and > as &lt; and &gt;, in JSON too; the report shows what the tool does.
        self.assertIn("&amp;lt;/script&amp;gt;&amp;lt;b&amp;gt;&amp;&#34;&#39;x", text)

    def test_what_changed_since_the_report_that_is_replaced(self):
        self.make_drive("velko")
        self.report("--output", "report.html")
        self.describe("velko", clock=START_MS + 1000, smart="media-and-data-integrity-errors 5")
        self.report("--output", "report.html")
        self.assertIn("<li>Media errors: 0 before, 5 now.</li>", (self.world.cwd / "report.html").read_text())

    def test_without_drives_and_without_the_tool(self):
        self.assertEqual(self.collected(), {})
        (self.world.opt / "nimbrel").unlink()
        run = self.world.run("--collect", tool="/opt/velko/nimbrel/nimbrel-report")
        self.assertEqual((run.status, run.stdout, run.stderr), (
            2, "", "nimbrel-report: /opt/velko/nimbrel/nimbrel cannot be run: No such file or directory\n"))

    def test_without_root_nothing_is_listed(self):
        self.make_drive("velko")
        run = self.world.run("--collect", tool="/opt/velko/nimbrel/nimbrel-report", root=False)
        self.assertEqual((run.status, run.stdout, run.stderr), (
            2, "", "nimbrel-report: /opt/velko/nimbrel/nimbrel Requires admin privileges.\n"))

    def test_nothing_is_written_beside_the_report(self):
        self.make_drive("velko")
        self.tool("show", "-velkossd")  # makes the settings, once
        before = self.files()
        self.report("--collect")
        self.assertEqual(self.files(), before)

    def files(self):
        """The files of the installation, without the simulated drive's own."""
        return sorted(str(path) for path in pathlib.Path(self.world.opt).rglob("*")
                      if "SimulatedDrives" not in path.parts)


if __name__ == "__main__":
    unittest.main()
