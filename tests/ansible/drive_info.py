"""The module drive_info on simulated drives."""

import module_case
from module_case import FOLDER, OTHER, PATH, VELKO


class DriveInfo(module_case.ModuleTestCase):
    def test_reads_all_drives_and_changes_none(self):
        self.make_drive("velko")
        self.make_drive("sata")
        self.values("-sensor")  # the first command makes the drive
        before = self.state("velko")
        nvme, sata = sorted(self.passes("drive_info", False)["drives"], key=lambda fact: fact["serial_number"], reverse=True)
        self.assertEqual(self.state("velko"), before)
        self.assertEqual((nvme["serial_number"], nvme["path"], nvme["model_number"], nvme["firmware_revision"], nvme["error"]),
                         (VELKO, PATH, "VELKO Simulated NVMe SSD", "VSIM0100", None))
        self.assertEqual((nvme["attributes"]["DeviceStatus"], nvme["sensors"]["Temperature"]), ("Healthy", "38 C"))
        self.assertEqual([keys["NamespaceId"] for keys in nvme["namespaces"]], [1])
        self.assertEqual(nvme["firmware"]["FRS1 - Firmware Revision for Slot 1"], "VSIM0100")
        self.assertEqual((nvme["in_use"], nvme["unused_partitions"]), ([], []))
        self.assertEqual((sata["serial_number"], sata["firmware"], sata["namespaces"]), ("SIM-SATA-1", {}, []))
        self.assertEqual(sata["sensors"]["PercentageUsed"], "0 %")

    def test_a_drive_that_cannot_be_read_is_a_failure_unless_allowed(self):
        self.make_drive("velko", gone="yes")
        self.make_drive("velko-other", serial_number=OTHER)
        gone = f"The device (object) was unavailable. The drive of {FOLDER}/velko is gone (errno 19: No such device)."
        failed = self.fails("drive_info", gone)
        self.assertEqual([fact["error"] for fact in failed["drives"]], [None, gone])
        facts = self.passes("drive_info", False, allow_unreadable=True, gather=[])["drives"]
        self.assertEqual([(fact["serial_number"], fact["error"]) for fact in facts], [(OTHER, None), (VELKO, gone)])
        self.assertEqual(self.passes("drive_info", False, serial_number=[OTHER], gather=[])["drives"], facts[:1])
        self.fails("drive_info", "no drive has the serial number 'S9'", serial_number=["S9"])

    def test_shows_what_uses_a_drive(self):
        self.make_drive("velko")
        identity = {"SerialNumber": VELKO, "DevicePath": PATH}
        self.answer_to("-partition", {
            "Partition /dev/nvme0n1p1 SIM-VELKO-1": {**identity, "Size": "1 bytes", "MountPoint": "/data", "Use": "none"},
            "Partition /dev/nvme0n1p2 SIM-VELKO-1": {**identity, "Size": "1 bytes", "MountPoint": "not mounted",
                                                     "Use": "swap"},
            "Partition /dev/nvme0n1p3 SIM-VELKO-1": {**identity, "Size": "1 bytes", "MountPoint": "not mounted",
                                                     "Use": "none"}})
        fact = self.passes("drive_info", False, gather=["use"])["drives"][0]
        self.assertEqual(fact["in_use"], ["Partition /dev/nvme0n1p1 SIM-VELKO-1: /data",
                                          "Partition /dev/nvme0n1p2 SIM-VELKO-1: swap"])
        self.assertEqual(fact["unused_partitions"], ["Partition /dev/nvme0n1p3 SIM-VELKO-1"])

    def test_a_host_without_drives_has_none(self):
        self.assertEqual(self.passes("drive_info", False)["drives"], [])
