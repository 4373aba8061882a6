"""The alert rules: by promtool, and with real servers that read simulated drives whose faults come and go."""

import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

from servers import Servers, await_that, make_hosts, quickened
from simulated import firmware_image

SOURCES = pathlib.Path(__file__).resolve().parents[2]
RULES = SOURCES / "packaging/prometheus/nimbrel.rules.yml"
# What no simulated drive has: the lanes of a link, and errors on it.
LINK = """\
nimbrel_drive_pcie_link_width_lanes{device="/dev/nvme0",serial="linked"} %d
nimbrel_drive_pcie_link_width_max_lanes{device="/dev/nvme0",serial="linked"} 4
"""
CRC_ERRORS = 'nimbrel_drive_interface_crc_errors_total{device="/dev/nvme0",serial="linked"} %d\n'


def promtool(*arguments):
    return subprocess.run(["promtool", *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False)


class Rules(unittest.TestCase):
    def test_each_alert_fires_for_its_cause_alone(self):
        run = promtool("test", "rules", str(pathlib.Path(__file__).with_name("alerts.test.yml")))
        self.assertEqual(run.returncode, 0, run.stdout)

    def test_each_alert_has_a_case(self):
        tested = pathlib.Path(__file__).with_name("alerts.test.yml").read_text()
        alerts = re.findall(r"alert: (\w+)", RULES.read_text())
        self.assertEqual([name for name in alerts if f'alertname="{name}"' not in tested], [])

    def test_each_metric_is_one_of_the_exporter(self):
        documented = set(re.findall(r"`(nimbrel_\w+)`", (SOURCES / "docs/exporter.md").read_text()))
        used = set(re.findall(r"\b(nimbrel_\w+)", RULES.read_text()))
        self.assertEqual(used - documented, set())


class Alerts(unittest.TestCase):
    """Each test injects one fault, wants the alert for it and no other in Alertmanager, and none without the fault."""

    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="nimbrel-alerts-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.hosts = make_hosts(cls, ("alpha", "beta", "gamma"))
        for name, host in cls.hosts.items():
            host.make_drive(f"{name}-1", **host.QUICK)
            host.make_drive(f"{name}-2", model="sata", **host.QUICK)
        cls.servers = Servers(cls.folder, cls.hosts, quickened(RULES.read_text()))
        cls.addClassCleanup(cls.servers.__exit__)
        cls.servers.__enter__()
        cls.beta = cls.hosts["beta"]

    def active(self):
        return {(alert["labels"]["alertname"], alert["labels"].get("instance", ""), alert["labels"].get("serial", ""))
                for alert in self.servers.alerts()}

    def fires_and_clears(self, alert, begin, end, serial="beta-1", instance="beta"):
        await_that(lambda: self.active() == set(), f"no alert before {alert}: {self.active()}")
        begin()
        await_that(self.active, alert)
        # Another alert would come within the seconds that the next runs take.
        expected = {(alert, instance, serial)}
        await_that(lambda: self.active() == expected, f"{expected}, not {self.active()}")
        annotations = self.servers.alerts()[0]["annotations"]
        self.assertNotIn("{{", annotations["summary"] + annotations["action"])
        self.assertGreater(len(annotations["action"]), 60)
        self.assertIn(serial, annotations["summary"])
        end()
        await_that(lambda: self.active() == set(), f"{alert} clears")

    def fault_of(self, alert, drive="beta-1", **faults):
        model = {"model": "sata"} if drive.endswith("2") else {}
        self.fires_and_clears(alert, lambda: self.beta.make_drive(drive, **model, **self.beta.QUICK, **faults),
                              lambda: self.beta.make_drive(drive, **model, **self.beta.QUICK), serial=drive)

    def test_a_failing_drive(self):
        self.fault_of("NimbrelDriveFailing", critical_warning="0x04")

    def test_a_sata_drive_that_is_not_healthy(self):
        self.fault_of("NimbrelDriveUnhealthy", "beta-2", attributes="5 value 3")

    def test_a_spare_below_its_threshold(self):
        self.fault_of("NimbrelDriveSpareLow", smart="available-spare 4")

    def test_a_worn_drive(self):
        self.fault_of("NimbrelDriveWornOut", smart="percentage-used 101")

    def test_a_hot_drive(self):
        self.fault_of("NimbrelDriveHot", temperature="90")
        self.fault_of("NimbrelDriveHot", "beta-2", temperature="80")

    def test_errors_that_grow(self):
        self.fault_of("NimbrelDriveErrorsGrow", smart="media-and-data-integrity-errors 3")

    def test_errors_of_the_link(self):
        self.recorded("NimbrelDriveLinkErrors", CRC_ERRORS % 0, CRC_ERRORS % 50, CRC_ERRORS % 50)

    def test_a_self_test_that_is_overdue(self):
        self.fault_of("NimbrelSelfTestOverdue", smart="power-on-hours 2000")

    def test_a_drive_that_does_not_answer(self):
        self.fault_of("NimbrelDriveUnreadable", gone="yes")

    def test_a_failed_self_test(self):
        def run(**faults):
            self.beta.make_drive("beta-1", **self.beta.QUICK, **faults)
            self.beta.run("/opt/velko/nimbrel/nimbrel", "start", "-velkossd", "beta-1", "-selftest", "short")
        self.fires_and_clears("NimbrelSelfTestFailed", lambda: run(self_test_failure="1:100"), run)

    def test_a_drive_that_is_gone(self):
        place, elsewhere = self.beta.drives / "beta-1", self.beta.world.scratch / "beta-1"
        self.fires_and_clears("NimbrelDriveGone", lambda: place.rename(elsewhere), lambda: elsewhere.rename(place))

    def recorded(self, alert, before, begin, end):
        """As fault_of, of metrics that no simulated drive has."""
        file = self.servers.textfiles("beta") / "recorded.prom"
        # One metric has one HELP, in all files that a node exporter reads.
        written = (self.servers.textfiles("beta") / "nimbrel.prom").read_text()
        heads = "".join(re.findall(rf"^# (?:HELP|TYPE) {before.split('{')[0]} .*\n", written, re.MULTILINE))
        before, begin, end = heads + before, heads + begin, heads + end
        file.write_text(before)
        self.addCleanup(file.unlink)
        await_that(lambda: self.servers.query('{serial="linked"}'), "the first reading")
        self.fires_and_clears(alert, lambda: file.write_text(begin), lambda: file.write_text(end), serial="linked")

    def test_a_link_with_too_few_lanes(self):
        self.recorded("NimbrelDriveLinkDegraded", LINK % 4, LINK % 2, LINK % 4)

    def load(self, host, revision, *properties):
        image = self.folder / "image.bin"
        image.write_bytes(firmware_image("velko", revision))
        run = self.hosts[host].run("/opt/velko/nimbrel/nimbrel", "load", "-force", "-source", str(image), "-velkossd",
                                   f"{host}-1", *properties)
        self.assertEqual(run.returncode, 0, run.stdout)

    def test_firmware_that_differs(self):
        self.fires_and_clears("NimbrelFirmwareDiffers", lambda: self.load("beta", "NEW00001"),
                              lambda: [self.load(host, "NEW00001") for host in ("alpha", "gamma")], serial="", instance="")

    def test_firmware_that_waits_for_a_reset(self):
        running = re.search(r"Firmware : (\S+)", self.beta.show("-display", "Firmware", "-velkossd", "beta-1")).group(1)
        self.fires_and_clears("NimbrelFirmwareWaits", lambda: self.load("beta", running, "FirmwareSlot=4", "CommitAction=1"),
                              lambda: self.beta.run("/opt/velko/nimbrel/nimbrel", "reset", "-velkossd", "beta-1",
                                                    "-nvmecontroller"))

    def test_drives_that_are_not_watched(self):
        self.fires_and_clears("NimbrelExporterStale", lambda: self.servers.paused.add("beta"), self.servers.paused.clear,
                              serial="")
