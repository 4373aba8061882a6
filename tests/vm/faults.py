"""Drives that warn, drives with bad blocks, and drives that are unplugged: before a command, in the middle of one, and
while others are listed. What a health scan says of them, and what it leaves."""

import re
import subprocess
import time
import unittest

from machine import Controller, Namespace
from witness import UNKNOWN_INDEX, UNKNOWN_PATH, UNKNOWN_SERIAL, VmTestCase, Witness, strict_json, title_and

WARNINGS = {  # bit of the critical warning: what is said, and the sensor, the SMART attribute that it sets
    0x01: ("Available spare has fallen below the threshold.", "AvailableSpareBelowThreshold", "AvailableSpareWarning"),
    0x02: ("A temperature is beyond its threshold.", "TemperatureThresholdExceeded", "TemperatureWarning"),
    0x04: ("Reliability is degraded.", "ReliabilityDegraded", "ReliabilityWarning"),
    0x08: ("Media is in read only mode.", "ReadOnlyMode", "ReadOnlyWarning"),
    0x10: ("The volatile memory backup device has failed.", "MemoryBackupDeviceFailed", "VolatileMemoryWarning"),
}
RESULTS = {0: "Nothing was found.", 101: "The drive gives a warning.", 102: "The drive has failed or is failing.",
           103: "There are read errors or data miscompares."}
VERDICTS = {  # critical warning: the exit status of a health scan, and its findings
    0x00: (0, {}),
    0x02: (101, {"Temperature": WARNINGS[0x02][0]}),
    0x1D: (102, {"Available_Spare": "0 % is left, the threshold is 0 %.", "Reliability": WARNINGS[0x04][0],
                 "Read_Only": WARNINGS[0x08][0], "Volatile_Memory_Backup": WARNINGS[0x10][0]}),
}


class Faults(VmTestCase):
    """The second drive writes slowly, so that a format of it lasts some ten seconds."""

    controllers = [
        Controller("U1", [Namespace(8, media="file=blkdebug:{folder}/errors:{image}")]),
        Controller("U2", [Namespace(16, media="throttling.bps-write=8192")]),
        Controller("U3", [Namespace(8, block=4096, metadata=8)]),
        Controller("U4", [Namespace(8)]),
    ]

    @classmethod
    def prepare(cls, machine):
        (machine.folder / "errors").write_text('[inject-error]\nevent = "read_aio"\nerrno = "5"\nsector = "1000"\n')
        subprocess.run(["/sbin/mke2fs", "-q", "-F", "-t", "ext2", str(machine.image("U4"))], check=True)

    @staticmethod
    def health(warning="Healthy", code=0, **findings):
        """What a health scan reports of every drive."""
        shown = {"Result": RESULTS[code], "Result Code": code, "Device Status": warning,
                 "Available Spare": "0 %", "Percentage Used": "0 %", "Media and Data Integrity Errors": 0}
        return {**shown, "Findings": {key.replace("_", " "): words for key, words in findings.items()}} if code else shown

    def scan(self, status, kind, serial, *properties):
        run = self.machine.run("nimbrel", "start", "-o", "json", "-scan", kind, "-velkossd", serial, *properties)
        self.assertEqual((run.stderr, run.status), ("", status), run.stdout)
        found = strict_json(run.stdout)
        for heading, values in found.items():
            if len(values) > 1:  # not a status alone: it says which drive it is
                self.assertIn(values.pop("SerialNumber"), heading)
                self.assertRegex(values.pop("DevicePath"), "^/dev/nvme[0-9]+$")
        return found

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

    def test_1_a_critical_warning_shows_wherever_health_is_reported(self):
        # The drive has an endurance group, and log page 09h, in QEMU 10.
        identify = strict_json(self.machine.shell("nvme id-ctrl /dev/nvme0 -o json").stdout)
        files = 8 if identify["ctratt"] & 0x10 else 7
        for mask in (0x02, 0x1D, 0x00):  # healthy again at the end
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
                self.machine.shell("rm -rf /tmp/scan; mkdir /tmp/scan")
                code, findings = VERDICTS[mask]
                self.assertEqual(self.scan(code, "logs", "U3", "DirectoryPath=/tmp/scan"), {
                    "Health Scan U3": {**self.health(words, code, **findings), "Logs": {"Folder": "/tmp/scan/U3", "Files": files}}})
                attributes = self.show("-velkossd", "U3", "-smart")["SMART Attributes U3"]
                self.assertEqual(
                    (attributes["CriticalWarnings"], {name for name, value in attributes.items() if value is True}),
                    (f"0x{mask:02X}", {WARNINGS[bit][2] for bit in raised}))

    def test_1_a_health_scan_stores_what_the_drive_gives(self):
        self.machine.shell("mkdir /tmp/logs")
        self.scan(0, "logs", "U4", "DirectoryPath=/tmp/logs")
        node = self.machine.shell("basename $(dirname $(grep -lw U4 /sys/class/nvme/*/serial))").stdout.strip()
        for name, command in (
                ("identify_controller", "nvme id-ctrl -b"), ("identify_namespace_1", "nvme id-ns -n 1 -b"),
                ("log_01_error_information", "nvme get-log -b -i 1 -l 64"),
                ("log_02_smart_health_information", "nvme get-log -b -i 2 -l 512"),
                ("log_03_firmware_slot_information", "nvme get-log -b -i 3 -l 512"),
                ("log_04_changed_namespace_list", "nvme get-log -b -i 4 -l 4096"),
                ("log_05_commands_supported_and_effects", "nvme get-log -b -i 5 -l 4096")):
            with self.subTest(name):
                self.assertEqual(self.machine.read(f"/tmp/logs/U4/{name}.bin"),
                                 self.machine.shell(f"{command} /dev/{node}").stdout_bytes)

    def test_1_a_read_scan_finds_the_bad_block(self):
        run = self.scan(103, "ReadScan", "U1")
        self.assertEqual(run, {"Health Scan U1": {
            **self.health(code=103, Read_Scan="Blocks that cannot be read: 1."),
            "Read Scan - Namespace 1": {"Blocks": 16384, "Blocks Read": 16383, "Unreadable Blocks": 1,
                                        "Unreadable LBAs": {"Entry 0": 1000}}}})
        # The kernel reads no blocks with metadata; the tool does. Of 4,096 bytes with 8 after them in the image.
        blocks = (8 << 20) // 4104
        run = self.scan(0, "ReadScan", "U3")
        self.assertEqual(run, {"Health Scan U3": {
            **self.health(), "Read Scan - Namespace 1": {"Blocks": blocks, "Blocks Read": blocks,
                                                            "Unreadable Blocks": 0}}})

    def mount_u4(self):
        self.assertEqual(self.machine.shell("mount -t ext2 /dev/$(ls -d $(dirname $(grep -lw U4 /sys/class/"
                                            "nvme-subsystem/*/serial))/nvme*n* | sed 's|.*/||') /mnt").status, 0)
        self.addCleanup(self.machine.shell, "umount /mnt")

    def throttle(self, serial, bytes_per_second):
        """How fast the drive's medium is from now on; 0: as fast as it can be."""
        self.machine.qmp("block_set_io_throttle", device=f"{serial}-1", bps=bytes_per_second, bps_rd=0, bps_wr=0,
                         iops=0, iops_rd=0, iops_wr=0)

    def test_1_data_written_to_a_file_system_comes_back(self):
        self.mount_u4()
        self.machine.nvme_commands()
        found = self.scan(0, "DataIntegrity", "U4", "Path=/mnt")["Health Scan U4"].pop("Data Integrity Scan")
        sent = self.machine.nvme_commands()
        self.assertEqual((found.pop("Path"), found.pop("Mismatches")), ("/mnt", "0 units of 4096 bytes"))
        self.assertGreater(int(found.pop("Written and Read").removesuffix(" bytes")), 1 << 20)
        self.assertEqual(found, {})
        self.assertGreater(sent.count("NVME_NVM_CMD_READ"), 4, "read from the drive, not from the kernel's memory")
        self.assertEqual(self.machine.shell("ls /mnt").stdout, "lost+found\n", "nothing is left")

    def test_1_a_data_integrity_scan_shows_its_progress_on_a_terminal(self):
        self.mount_u4()
        self.throttle("U4", 2 << 20)
        # script(1) gives the tool a terminal; its own standard output gets what that terminal shows.
        run = self.machine.run("env", "TERM=xterm", "script", "-q", "-e", "-c",
                               "nimbrel start -scan DataIntegrity -velkossd U4 Path=/mnt > /tmp/answer", "/dev/null")
        self.throttle("U4", 0)
        self.assertEqual((run.stderr, run.status), ("", 0), run.stdout)
        clear = re.escape("\r\x1b[K")
        line = rf"{clear}Data integrity scan of /mnt: (?:(\d+) %, )?0:00:\d\d elapsed\r"
        self.assertRegex(run.stdout, f"^({line})+{clear}\r$")
        percent = [int(number) for number in re.findall(line, run.stdout) if number]
        self.assertEqual(percent, sorted(percent))
        self.assertTrue(any(0 < number < 100 for number in percent), run.stdout)
        self.assertIn("\n    Mismatches : 0 units of 4096 bytes\n", self.machine.read("/tmp/answer").decode())

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
        # The first write is free; what comes after it waits for its share.
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
        gone = f"The device (object) was unavailable. The drive of {node} is gone (errno 19: No such device)."
        # As long as the emulated drive works on the format it does not leave, and no other controller can have it.
        listed = self.machine.run("nimbrel", "show", "-o", "json", "-d", "DeviceStatus", "-velkossd")
        self.assertLess(time.monotonic() - begin, 9, "the others are not held up")
        self.assertEqual((listed.json(), listed.status), (
            {f"Velko SSD {name}": {"DeviceStatus": "Healthy"} for name in sorted(before)}
            | {"Velko SSD U2": {"SerialNumber": "U2", "DevicePath": node, "Status": gone}}, 70))
        run = self.machine.finish()
        self.assertEqual((run.stdout, run.stderr, run.status), (
            "Formatting... (This can take several minutes to complete)\n" + title_and("Format", "U2", node, gone), "", 70))
        self.assertLess(time.monotonic() - begin, 60, "long before the command's own time is over")
        self.await_gone(path)
        self.assertEqual(self.drives("-velkossd"), Witness(self.machine).list())


if __name__ == "__main__":
    unittest.main()
