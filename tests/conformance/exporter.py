"""nimbrel-exporter on simulated drives: metrics, verdicts, what it leaves, and what a drive that hangs costs."""

import fcntl
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import stat
import subprocess
import time
import unittest
import urllib.error
import urllib.request

from simulated import FOLDER, SimulatedTestCase
from world import ENTER, without_sanitizers

ROOT = pathlib.Path(__file__).resolve().parents[2]
GOLDEN = pathlib.Path(__file__).with_name("golden") / "exporter"
EXPORTER = os.environ["NIMBREL_EXPORTER"]
REWRITE = os.environ.get("NIMBREL_REWRITE_GOLDENS") == "1"
MODELS = ("velko", "ocp", "nvme-1.4", "nvme-2.1", "sata", "ocp-2.6")
# What no two runs have the same: times, and the version.
VARYING = re.compile(r'((?:_duration_seconds|_timestamp_seconds)(?:\{[^}]*\})? |version=")[0-9.e+-]+')
SERIES = re.compile(r'(?m)^(\w+)(?:\{(.*)\})? (\S+)$')


def series(text):
    """The value of each series, by its name and labels."""
    return {f"{name}{{{labels}}}": float(value) for name, labels, value in SERIES.findall(text)}


class ExporterTestCase(SimulatedTestCase):
    def exporter(self, *arguments, **options):
        return self.world.run(*arguments, tool=EXPORTER, **options)

    def metrics(self, *arguments, status=0, stderr=""):
        run = self.exporter("--output", "-", *arguments)
        self.assertEqual((run.status, run.stderr), (status, stderr))
        return run.stdout

    def device(self, name):
        return f"{FOLDER}/{name}/dev/{name}"

    def labels(self, name, serial):
        return f'device="{self.device(name)}",serial="{serial}"'


class Metrics(ExporterTestCase):
    def test_are_those_of_the_golden_files(self):
        for model in MODELS:
            self.make_drive(model)
            text = VARYING.sub(r"\g<1>*", self.metrics("--no-snapshots"))
            shutil.rmtree(self.drives / model)
            golden = GOLDEN / f"{model}.prom"
            if REWRITE:
                GOLDEN.mkdir(exist_ok=True)
                golden.write_text(text)
            self.assertEqual(text, golden.read_text(), model)

    @unittest.skipUnless(shutil.which("promtool"), "promtool is not installed")
    def test_pass_the_checks_of_prometheus(self):
        for model in MODELS:
            self.make_drive(model)
        done = subprocess.run(["promtool", "check", "metrics"], input=self.metrics(), capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))

    def test_show_what_is_wrong_with_a_drive(self):
        self.make_drive("velko", critical_warning="0x05", temperature=60,
                        smart="percentage-used 130, available-spare 7")
        found = series(self.metrics())
        labels = self.labels("velko", "SIM-VELKO-1")
        for name, value in (("healthy{L}", 0), ("critical_warning{L,warning=\"spare\"}", 1),
                            ("critical_warning{L,warning=\"reliability\"}", 1),
                            ("critical_warning{L,warning=\"temperature\"}", 0), ("temperature_celsius{L}", 60),
                            ("wear_ratio{L}", 1.3), ("available_spare_ratio{L}", 0.07)):
            key = "nimbrel_drive_" + name.replace("L", labels, 1)
            self.assertAlmostEqual(found[key], value, msg=key)

    def test_show_self_tests(self):
        for name in ("velko", "sata"):
            self.make_drive(name)
            self.assertEqual(self.tool("start", "-velkossd", self.device(name), "-selftest", "short").status, 0)
        found = series(self.metrics())
        for name, serial in (("velko", "SIM-VELKO-1"), ("sata", "SIM-SATA-1")):
            labels = self.labels(name, serial)
            self.assertEqual(found[f"nimbrel_drive_self_test_failed{{{labels}}}"], 0)
            self.assertEqual(found[f'nimbrel_drive_self_test_passed_power_on_seconds{{{labels},test="short"}}'], 0)
            self.assertEqual(found[f"nimbrel_drive_self_test_running{{{labels}}}"], 0)

    def test_leave_no_entry_in_the_error_log_of_a_drive(self):
        for model in MODELS:
            self.make_drive(model)
        for _ in range(2):
            text = self.metrics()
        entries = [value for name, value in series(text).items() if name.startswith("nimbrel_drive_error_log_entries")]
        self.assertEqual(entries, [0.0] * 5)

    def test_table_is_that_of_the_document(self):
        run = self.exporter("--list-metrics")
        self.assertEqual((run.status, run.stderr), (0, ""))
        document = ROOT / "docs/exporter.md"
        text = document.read_text()
        begin = text.index("| metric | type |")
        end = text.index("\n\n", begin) + 1
        if REWRITE:
            document.write_text(text[:begin] + run.stdout + text[end:])
        self.assertEqual(run.stdout, text[begin:end])


class TextFile(ExporterTestCase):
    def setUp(self):
        super().setUp()
        self.make_drive("velko")
        self.file = self.world.var_lib / "metrics.prom"

    def run_into(self, file, **options):
        return self.exporter("--output", f"/var/lib/{file.name}", **options)

    def test_is_replaced_as_a_whole_and_readable_for_all(self):
        self.file.write_text("old\n")
        self.file.chmod(0o644)
        node = self.file.stat().st_ino
        run = self.run_into(self.file)
        self.assertEqual((run.status, run.stdout, run.stderr), (0, "", ""))
        self.assertIn("nimbrel_drive_up", self.file.read_text())
        self.assertNotEqual(self.file.stat().st_ino, node)
        self.file.unlink()
        self.assertEqual(self.run_into(self.file).status, 0)
        self.assertEqual(stat.S_IMODE(self.file.stat().st_mode), 0o644)
        self.assertEqual(sorted(path.name for path in self.world.var_lib.iterdir()), ["metrics.prom", "nimbrel"])

    def test_is_not_written_through_a_link(self):
        other = self.world.var_lib / "other"
        other.write_text("theirs\n")
        self.file.symlink_to("other")
        run = self.run_into(self.file)
        self.assertEqual((run.status, run.stdout), (1, ""))
        self.assertIn("/var/lib/metrics.prom", run.stderr)
        self.assertEqual(other.read_text(), "theirs\n")

    def test_needs_its_folder(self):
        run = self.exporter("--output", "/var/lib/none/metrics.prom")
        self.assertEqual((run.status, run.stdout), (1, ""))
        self.assertIn("/var/lib/none/metrics.prom", run.stderr)

    def test_needs_root(self):
        run = self.exporter("--output", "-", root=False)
        self.assertEqual((run.status, run.stdout, run.stderr), (1, "", "nimbrel-exporter: this takes the root user\n"))

    def test_says_that_there_is_no_library(self):
        (self.world.opt / pathlib.Path(os.environ["NIMBREL_FEATURE_LIBRARY"]).name).unlink()
        run = self.run_into(self.file)
        self.assertEqual(run.status, 1)
        self.assertIn("Failed to find or load valid library", run.stderr)
        self.assertEqual(series(self.file.read_text())["nimbrel_exporter_scan_success{}"], 0)
        self.assertFalse(self.world.config.exists(), "the settings file was made")


class Snapshots(ExporterTestCase):
    def test_are_a_line_a_day_by_the_schema(self):
        self.make_drive("velko")
        self.make_drive("sata")
        self.metrics()
        folder = self.world.var_lib / "nimbrel/snapshots"
        first = {path.name: path.read_text() for path in folder.iterdir()}
        self.metrics()
        self.assertEqual({path.name: path.read_text() for path in folder.iterdir()}, first)
        self.assertEqual(stat.S_IMODE(folder.stat().st_mode), 0o700)
        lines = [json.loads(line) for text in first.values() for line in text.splitlines()]
        self.assertEqual(sorted(line["serial"] for line in lines), ["SIM-SATA-1", "SIM-VELKO-1"])
        import jsonschema
        schema = json.loads((ROOT / "docs/snapshots.schema.json").read_text())
        for line in lines:
            jsonschema.validate(line, schema)
            self.assertEqual(line["metrics"]["nimbrel_drive_temperature_celsius"], 38)

    def test_are_not_kept_where_other_users_may_write(self):
        self.make_drive("velko")
        folder = self.world.var_lib / "nimbrel/snapshots"
        folder.mkdir(parents=True)
        folder.chmod(0o777)
        run = self.exporter("--output", "-")
        self.assertEqual(run.status, 1)
        self.assertIn("/var/lib/nimbrel/snapshots", run.stderr)
        self.assertEqual(list(folder.iterdir()), [])


class HungDrive(ExporterTestCase):
    def test_costs_its_own_metrics_alone(self):
        self.make_drive("velko")
        self.make_drive("ocp")
        before = series(self.metrics())
        self.describe("ocp", hang="admin 0x02")
        found = series(self.metrics("--time-limit", "3", stderr="nimbrel-exporter: SIM-OCP-1 "
                                    f"({self.device('ocp')}): no answer within 3000 ms\n"))
        velko, ocp = self.labels("velko", "SIM-VELKO-1"), self.labels("ocp", "SIM-OCP-1")
        self.assertEqual(found[f"nimbrel_drive_up{{{velko}}}"], 1)
        model = 'model="Simulated OCP Datacenter NVMe SSD",firmware="OSIM0100"'
        self.assertEqual({name: value for name, value in found.items() if ocp in name},
                         {f"nimbrel_drive_info{{{ocp},{model}}}": 1,
                          f"nimbrel_drive_up{{{ocp}}}": 0, f"nimbrel_drive_stuck{{{ocp}}}": 0,
                          f"nimbrel_drive_last_success_timestamp_seconds{{{ocp}}}":
                              before[f"nimbrel_drive_last_success_timestamp_seconds{{{ocp}}}"]})

    def test_is_not_read_while_an_earlier_process_hangs(self):
        self.make_drive("velko")
        self.metrics()
        locks = self.world.run_folder / "nimbrel/exporter"
        lock, = (path for path in locks.iterdir() if path.suffix == "" and path.name != "list")
        with lock.open() as held:
            fcntl.flock(held, fcntl.LOCK_EX)
            found = series(self.metrics(stderr=f"nimbrel-exporter: SIM-VELKO-1 ({self.device('velko')}): "
                                               "another process reads it\n"))
        labels = self.labels("velko", "SIM-VELKO-1")
        self.assertEqual(found[f"nimbrel_drive_stuck{{{labels}}}"], 1)
        self.assertEqual(found[f"nimbrel_drive_up{{{labels}}}"], 0)
        self.assertEqual(series(self.metrics())[f"nimbrel_drive_up{{{labels}}}"], 1)

    def test_a_request_that_fails_is_named(self):
        self.make_drive("velko", fail="admin 0x02 0x6")
        run = self.exporter("--output", "-")
        self.assertEqual(run.status, 0)
        found = series(run.stdout)
        labels = self.labels("velko", "SIM-VELKO-1")
        self.assertEqual(found[f"nimbrel_drive_up{{{labels}}}"], 0)
        self.assertEqual(found[f'nimbrel_drive_request_success{{{labels},request="smart"}}'], 0)
        self.assertIn(f"nimbrel-exporter: SIM-VELKO-1 ({self.device('velko')}): smart: ", run.stderr)
        self.assertNotIn(f"nimbrel_drive_healthy{{{labels}}}", found)
        self.assertEqual(self.exporter("--check").status, 3)

    @without_sanitizers
    def test_64_drives_take_less_than_twice_the_slowest(self):
        for number in range(64):
            self.make_drive(f"velko-{number}", serial_number=f"S{number}", slow="admin 0x02 1000")
        text = self.metrics("--time-limit", "120", "--no-snapshots")
        found = series(text)
        slowest = max(value for name, value in found.items() if name.startswith("nimbrel_drive_read_duration"))
        self.assertEqual(sum(value for name, value in found.items() if name.startswith("nimbrel_drive_up")), 64)
        self.assertLess(found["nimbrel_exporter_run_duration_seconds{}"], 2 * slowest)


class Check(ExporterTestCase):
    def test_is_a_line_and_a_status(self):
        self.make_drive("velko")
        performance = ("| 'SIM-VELKO-1 temperature'={};50;60 'SIM-VELKO-1 wear'=0%;80;100 "
                       "'SIM-VELKO-1 spare'=100%;20:; 'SIM-VELKO-1 media_errors'=0c;; 'SIM-VELKO-1 crc_errors'=0c;; "
                       "'SIM-VELKO-1 unsafe_shutdowns'=0c;; 'SIM-VELKO-1 power_on'=0;;\n")
        drive = f"SIM-VELKO-1 ({self.device('velko')})"
        for faults, status, words in (({"temperature": 50}, 0, "OK: 1 drive"),
                                      ({"temperature": 51}, 1, f"WARNING: {drive} temperature 51"),
                                      ({"temperature": 61}, 2, f"CRITICAL: {drive} temperature 61"),
                                      ({"temperature": 38, "critical_warning": "0x04"}, 2,
                                       f"CRITICAL: {drive} reports a failure")):
            self.describe("velko", **faults)
            run = self.exporter("--check", "-w", "temperature=50", "-c", "temperature=60")
            self.assertEqual((run.status, run.stdout, run.stderr),
                             (status, f"NIMBREL {words} {performance.format(faults['temperature'])}", ""))

    def test_is_unknown_where_nothing_can_be_said(self):
        for arguments, options, words in (((), {}, "no drive was found"),
                                          (("--drive", "S9"), {}, "S9: there is no such drive"),
                                          (("-w", "wear=x"), {}, "'x' is not a range."),
                                          ((), {"root": False}, "this takes the root user")):
            run = self.exporter("--check", *arguments, **options)
            self.assertEqual((run.status, run.stdout, run.stderr), (3, f"NIMBREL UNKNOWN: {words}\n", ""))

    def test_writes_nothing_but_its_locks(self):
        self.make_drive("velko")
        self.exporter("--check")
        self.assertEqual(list(self.world.var_lib.iterdir()), [])
        self.assertEqual([path.name for path in self.world.run_folder.iterdir()], ["nimbrel"])


class CommandLine(ExporterTestCase):
    def test_that_is_wrong_changes_nothing(self):
        for arguments in (("--bogus",), ("word",), ("--check", "--listen"), ("--drive", "S1"), ("--interval", "5"),
                          ("--time-limit", "0"), ("--parallel", "x"), ("--listen", "--output", "x"), ("--output",),
                          ("--listen", "127.0.0.1"), ("--listen", "127.0.0.1:0"), ("--listen", "127.0.0.1:80,81")):
            run = self.exporter(*arguments)
            expected = 3 if arguments == ("--check", "--listen") else 2
            self.assertEqual(run.status, expected, arguments)
            self.assertEqual(list(self.world.var_lib.iterdir()) + list(self.world.run_folder.iterdir()), [])

    def test_help_and_version_need_no_root(self):
        run = self.exporter("--help", root=False)
        self.assertEqual((run.status, run.stdout[:60], run.stderr),
                         (0, "nimbrel-exporter: what the drives of this host report, as me", ""))
        self.assertRegex(self.exporter("--version", root=False).stdout, r"\Animbrel-exporter [0-9.]+\n\Z")


@without_sanitizers  # the HTTP server is Debian's, and not instrumented
@unittest.skipIf(os.geteuid() != 0, "needs root: a process takes the rights of another user")
class Listening(ExporterTestCase):
    def setUp(self):
        super().setUp()
        self.make_drive("velko")
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            self.port = probe.getsockname()[1]

    def start(self, *arguments):
        """In a mount namespace without a user namespace, which has no other users."""
        command = ["unshare", "-m", "/bin/sh", ENTER, str(self.world.scratch), "open", EXPORTER,
                   "--listen", f"127.0.0.1:{self.port}", *arguments]
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)
        return process

    def fetch(self):
        deadline = time.monotonic() + 60
        while True:
            try:
                with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/metrics", timeout=10) as answer:
                    return answer.read().decode()
            except urllib.error.URLError:
                if time.monotonic() > deadline:
                    raise
                time.sleep(0.1)

    @staticmethod
    def children(pid):
        return [int(word) for word in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]

    @staticmethod
    def status_of(pid):
        return dict(line.split(":\t") for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines()
                    if ":\t" in line)

    def test_process_has_no_privilege_and_the_reader_no_network(self):
        process = self.start("--interval", "3600")
        self.assertIn("nimbrel_drive_up", self.fetch())
        listener, = self.children(process.pid)
        status = self.status_of(listener)
        self.assertEqual(status["Uid"].split(), [str(65534)] * 4)
        self.assertEqual({status[key] for key in ("CapPrm", "CapEff", "CapInh", "CapAmb")}, {"0" * 16})
        self.assertEqual((status["NoNewPrivs"], status["Groups"].strip()), ("1", ""))
        networks = {os.readlink(f"/proc/{pid}/ns/net") for pid in (listener, "self")}
        self.assertEqual(len(networks), 1)
        self.assertNotIn(os.readlink(f"/proc/{process.pid}/ns/net"), networks)

    def test_serves_new_values(self):
        self.start("--interval", "1")
        self.fetch()
        self.describe("velko", temperature=55)
        deadline = time.monotonic() + 60
        key = f'nimbrel_drive_temperature_celsius{{{self.labels("velko", "SIM-VELKO-1")}}}'
        while series(self.fetch())[key] != 55:
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.1)

    def test_ends_when_the_port_is_taken(self):
        with socket.socket() as other:
            other.bind(("127.0.0.1", self.port))
            other.listen()
            process = self.start()
            self.assertEqual(process.wait(timeout=60), 1)
            self.assertIn(f"(127.0.0.1:{self.port})", process.stderr.read())

    def test_processes_end_together(self):
        process = self.start("--interval", "3600")
        self.fetch()
        listener, = self.children(process.pid)
        os.kill(listener, signal.SIGKILL)
        self.assertEqual(process.wait(timeout=60), 1)
        self.assertEqual(process.stderr.read(), "nimbrel-exporter: the process that listens has ended\n")


if __name__ == "__main__":
    unittest.main()
