"""Drives that warn, and drives that are unplugged: before a command, in the middle of one, and while others are listed."""

import time
import unittest

from machine import Controller, Namespace
from witness import UNKNOWN_INDEX, UNKNOWN_PATH, UNKNOWN_SERIAL, VmTestCase, Witness

WARNINGS = {  # bit of the critical warning: what is said, and the sensor, the SMART attribute that it sets
    0x01: ("Available spare has fallen below the threshold.", "AvailableSpareBelowThreshold", "AvailableSpareWarning"),
    0x02: ("A temperature is beyond its threshold.", "TemperatureThresholdExceeded", "TemperatureWarning"),
    0x04: ("Reliability is degraded.", "ReliabilityDegraded", "ReliabilityWarning"),
    0x08: ("Media is in read only mode.", "ReadOnlyMode", "ReadOnlyWarning"),
    0x10: ("The volatile memory backup device has failed.", "MemoryBackupDeviceFailed", "VolatileMemoryWarning"),
}


class Faults(VmTestCase):
    """The second drive writes slowly, so that a format of it lasts some ten seconds."""

    controllers = [Controller("U1", [Namespace(8)]), Controller("U2", [Namespace(16, media="throttling.bps-write=8192")]),
                   Controller("U3", [Namespace(8)]), Controller("U4", [Namespace(8)])]

    def names(self):
        return {heading.split()[-1] for heading in self.show("-d", "Index", "-velkossd")}

    def unplug(self, serial):
        name = self.machine.shell(f"dirname $(grep -lw {serial} /sys/class/nvme/*/serial)").stdout.strip()
        self.machine.qmp("device_del", id=serial)
        return name

    def await_gone(self, path):
        deadline = time.monotonic() + 60
        while self.machine.run("test", "-e", path).status == 0:
            self.assertLess(time.monotonic(), deadline, "the kernel kept the drive")
            time.sleep(0.2)

    def test_1_a_critical_warning_shows_wherever_health_is_told(self):
        for mask in (0x02, 0x1D, 0x00):
            self.machine.qmp("qom-set", path="/machine/peripheral/U3", property="smart_critical_warning", value=mask)
            raised = [bit for bit in WARNINGS if mask & bit]
            words = " ".join(WARNINGS[bit][0] for bit in raised) or "Healthy"
            with self.subTest(mask=mask):
                self.assertEqual(self.show("-d", "DeviceStatus", "-velkossd"), {
                    "Velko SSD U1": {"DeviceStatus": "Healthy"}, "Velko SSD U2": {"DeviceStatus": "Healthy"},
                    "Velko SSD U3": {"DeviceStatus": words}, "Velko SSD U4": {"DeviceStatus": "Healthy"}})
                sensors = self.show("-velkossd", "U3", "-sensor")["Health Sensors U3"]
                self.assertEqual((sensors["DeviceStatus"], {name for name, value in sensors.items() if value is True}),
                                 (words, {WARNINGS[bit][1] for bit in raised}))
                attributes = self.show("-velkossd", "U3", "-smart")["SMART Attributes U3"]
                self.assertEqual(
                    (attributes["CriticalWarnings"], {name for name, value in attributes.items() if value is True}),
                    (f"0x{mask:02X}", {WARNINGS[bit][2] for bit in raised}))

    def test_2_unplugged_before_a_command(self):
        self.assertEqual(self.names(), {"U1", "U2", "U3", "U4"})
        path = self.unplug("U4")
        self.await_gone(path)
        witness = Witness(self.machine)
        self.assertEqual(len(witness.names), 3)
        self.assertEqual(self.drives("-velkossd"), witness.list())
        self.check("show", "-velkossd", "U4", status=3, stdout=UNKNOWN_SERIAL)
        self.check("show", "-velkossd", path.replace("/sys/class/nvme", "/dev"), status=3, stdout=UNKNOWN_PATH)
        self.check("show", "-velkossd", "3", status=3, stdout=UNKNOWN_INDEX)
        self.check("reset", "-velkossd", "U4", "-nvmecontroller", status=3, stdout=UNKNOWN_SERIAL)

    def test_3_unplugged_in_the_middle_of_a_command(self):
        # The first write is free; what comes behind it waits for its share.
        run = self.machine.shell("n=$(dirname $(grep -lw U2 /sys/class/nvme-subsystem/*/serial)); cd $n; "
                                 "dd if=/dev/zero of=/dev/$(ls -d nvme*n*) bs=64k count=1 oflag=direct")
        self.assertEqual(run.status, 0, run.stderr)
        before = self.names()
        self.machine.nvme_commands()
        self.machine.begin("nimbrel", "start", "-force", "-velkossd", "U2", "-nvmeformat")
        deadline = time.monotonic() + 30
        while "NVME_ADM_CMD_FORMAT_NVM" not in (sent := self.machine.nvme_commands()):
            self.assertLess(time.monotonic(), deadline, sent)
            time.sleep(0.05)
        path = self.unplug("U2")
        while self.machine.run("grep", "-q", "live", path + "/state").status == 0:
            self.assertLess(time.monotonic(), deadline, "the kernel did not notice")
        node = path.replace("/sys/class/nvme", "/dev")
        begin = time.monotonic()
        gone = f"System error. The drive of {node} is gone."
        # As long as the emulated drive works on the format it does not leave, and nobody else can have it.
        listed = self.machine.run("nimbrel", "show", "-o", "json", "-d", "DeviceStatus", "-velkossd")
        self.assertLess(time.monotonic() - begin, 5, "the others are not held up")
        self.assertEqual((listed.json(), listed.status), (
            {f"Velko SSD {name}": {"Status": gone} if name == "U2" else {"DeviceStatus": "Healthy"}
             for name in sorted(before)}, 19))
        run = self.machine.finish()
        self.assertEqual((run.stdout, run.stderr, run.status), (
            f"Formatting... (This can take several minutes to complete)\n\n- Format U2 -\n\nStatus : {gone}\n\n", "", 19))
        self.assertLess(time.monotonic() - begin, 60, "long before the command's own time is over")
        self.await_gone(path)
        self.assertEqual(self.drives("-velkossd"), Witness(self.machine).list())


if __name__ == "__main__":
    unittest.main()
