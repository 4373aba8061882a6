"""The units of packaging/systemd: what systemd says of them, and the days of nimbrel-selftest."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import time
import unittest

from simulated import SimulatedTestCase
from world import TOOL

ROOT = pathlib.Path(__file__).resolve().parents[2]
UNITS = ROOT / "packaging/systemd"
SERVICES = sorted(UNITS.glob("*.service"))
TIMERS = sorted(UNITS.glob("*.timer"))
MAX_EXPOSURE = 4.0


def read(path):
    """The settings of a unit, by section and key; a key may be there several times."""
    found, section = [], None
    for line in path.read_text().splitlines():
        if line.startswith("["):
            section = line.strip("[]")
        elif line and not line.startswith("#"):
            key, value = line.split("=", 1)
            found.append((section, key, value))
    return found


def security(*arguments):
    """What systemd-analyze says, which needs a /run/systemd: a user cannot make it where systemd does not run."""
    script = 'mount -t tmpfs tmpfs /run && exec systemd-analyze security --offline=yes "$@"'
    done = subprocess.run(["unshare", "--map-root-user", "--mount", "sh", "-c", script, "sh", *arguments],
                          capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise AssertionError(f"{arguments}: {done.stderr}")
    return done.stdout


class Units(SimulatedTestCase):
    @unittest.skipUnless(shutil.which("systemd-analyze"), "systemd-analyze is not installed")
    def test_services_are_exposed_no_more_than_the_document_says(self):
        explained = set(re.findall(r"`(\w+)`", (ROOT / "docs/systemd.md").read_text().split("| exposed | why |")[1]))
        seen = set()
        for path in SERVICES:
            rows = json.loads(security("--json=short", str(path)))
            exposed = {row["json_field"] for row in rows if float(row["exposure"] or 0) > 0}
            self.assertLessEqual(exposed, explained, path.name)
            seen |= exposed
            level, = re.findall(r"Overall exposure level for \S+: ([0-9.]+)", security(str(path)))
            self.assertLess(float(level), MAX_EXPOSURE, path.name)
        self.assertIn("UserOrDynamicUser", seen)

    @unittest.skipUnless(shutil.which("systemd-analyze"), "systemd-analyze is not installed")
    def test_are_understood_by_systemd(self):
        for name in ("nimbrel", "nimbrel-exporter", "nimbrel-selftest"):
            (self.world.opt / name).write_text("#!/bin/sh\n")
            (self.world.opt / name).chmod(0o755)
        run = self.world.run("verify", "--man=no", *(str(path) for path in SERVICES + TIMERS),
                             tool=shutil.which("systemd-analyze"))
        ours = [line for line in (run.stdout + run.stderr).splitlines() if "nimbrel" in line]
        self.assertEqual((run.status, ours), (0, []))

    def test_timers_start_a_service_that_is_there_and_nothing_is_enabled_by_a_package(self):
        services = {path.name for path in SERVICES}
        for path in TIMERS:
            settings = {key: value for _, key, value in read(path)}
            unit = settings.get("Unit", path.stem + ".service")
            self.assertIn(re.sub(r"@\w+\.", "@.", unit), services, path.name)
            self.assertEqual(settings["WantedBy"], "timers.target", path.name)
        self.assertEqual(list(UNITS.glob("*.preset")), [])

    def test_old_scans_go_also_after_a_scan_with_findings(self):
        """Its exit status ends the service before ExecStartPost."""
        keys = [key for _, key, value in read(UNITS / "nimbrel-health-scan.service") if "rm -rf" in value]
        self.assertEqual(keys, ["ExecStopPost"])

    def test_scans_go_after_90_days(self):
        scans = self.world.scratch / "scans"
        now = time.time()
        for name, days in (("HealthScan_old", 91.5), ("HealthScan_new", 89), ("kept", 200)):
            (scans / name).mkdir(parents=True)
            (scans / name / "log").write_text("x")
            os.utime(scans / name, (now - days * 86400,) * 2)
        command, = [value for _, key, value in read(UNITS / "nimbrel-health-scan.service") if key == "ExecStopPost"]
        subprocess.run(command.replace("/var/lib/nimbrel/health-scans", str(scans)).split(), check=True)
        self.assertEqual(sorted(path.name for path in scans.iterdir()), ["HealthScan_new", "kept"])


class SelfTestDays(SimulatedTestCase):
    def run_on(self, day, kind):
        return self.world.run(kind, tool=UNITS / "nimbrel-selftest", env={"NIMBREL": TOOL, "TODAY": day})

    def started(self, days, kind):
        """The nodes of the drives on which a test was started, by day."""
        found = {}
        for day in days:
            run = self.run_on(day, kind)
            self.assertEqual((run.status, run.stderr), (0, ""), run.stdout)
            found[day] = re.findall(r"DevicePath : (\S+)\nStatus : Self-test is running", run.stdout)
        return found

    def test_come_once_a_week_or_month_for_each_drive(self):
        for name, serial in (("velko-1", "S1"), ("velko-2", "S2"), ("ocp-3", "S3"), ("sata-4", "S4")):
            self.make_drive(name, serial_number=serial)
        nodes = sorted(f"/opt/velko/nimbrel/SimulatedDrives/{name}/dev/{name}"
                       for name in ("ocp-3", "sata-4", "velko-1", "velko-2"))
        week = self.started([f"2026-11-{day:02}" for day in range(2, 9)], "short")
        self.assertEqual(sorted(node for day in week.values() for node in day), nodes)
        self.assertGreater(len([day for day in week.values() if day]), 1)
        month = self.started([f"2026-01-{day:02}" for day in range(1, 32)], "extended")
        self.assertEqual(sorted(node for day in month.values() for node in day), nodes)
        self.assertEqual([month[f"2026-01-{day}"] for day in (29, 30, 31)], [[], [], []])

    def test_pass_over_a_drive_without_self_tests(self):
        self.make_drive("nvme-1.4")
        output = "".join(self.run_on(f"2026-11-{day:02}", "short").stdout for day in range(2, 9))
        self.assertEqual(output, "/opt/velko/nimbrel/SimulatedDrives/nvme-1.4/dev/nvme-1.4: no self-test is supported\n")

    def test_fail_where_a_drive_cannot_be_asked(self):
        self.make_drive("velko", fail="admin 0x06 0x6")
        runs = [self.run_on(f"2026-11-{day:02}", "short") for day in range(2, 9)]
        self.assertEqual(sorted(run.status for run in runs), [0, 0, 0, 0, 0, 0, 1])
        self.assertEqual("".join(run.stderr for run in runs), "/opt/velko/nimbrel/SimulatedDrives/velko/dev/velko: "
                         "it cannot be read whether self-tests are supported\n")

    def test_want_a_kind(self):
        for arguments in ((), ("conveyance",)):
            run = self.world.run(*arguments, tool=UNITS / "nimbrel-selftest")
            self.assertEqual((run.status, run.stdout, run.stderr), (2, "", "usage: nimbrel-selftest short|extended\n"))


if __name__ == "__main__":
    unittest.main()
