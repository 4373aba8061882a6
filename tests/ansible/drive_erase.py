"""The module drive_erase on simulated drives."""

import json
import os
import stat

import module_case
from module_case import FOLDER, NOT_PREDICTED, PATH, VELKO, TOOL


class DriveErase(module_case.ModuleTestCase):
    def setUp(self):
        super().setUp()
        self.make_drive("velko")
        self.make_drive("sata")

    def write(self, serial):
        """A write command to the drive."""
        for drive in (self.drives / "velko", self.drives / "sata"):
            text = (drive / "description.ini").read_text()
            if f"serial-number = {serial}\n" in text:
                (drive / "description.ini").write_text(text.replace("[faults]\n", "[faults]\nsmart = host-write-commands 7\n"))

    def erases_once(self, drive, serial, **parameters):
        parameters = {"serial_number": serial, **parameters}
        self.values("-sensor", serial=serial)
        predicted = self.leaves_alone(drive, "drive_erase", **parameters)
        self.assertEqual((predicted["changed"], predicted["not_predicted"]), (True, NOT_PREDICTED))
        first = self.passes("drive_erase", True, **parameters)
        self.assertEqual((first["diff"], first["repeatable"]), (predicted["diff"], True))
        self.assertEqual(first["verification"]["places"], 64)
        record = json.loads((self.world.var_lib / "nimbrel/erasures" / os.path.basename(first["record"])).read_text())
        self.assertEqual((record["drive"]["serialNumber"], record["run"]["outcome"]), (serial, "success"))
        before = self.state(drive)
        self.passes("drive_erase", False, **parameters)
        self.assertEqual(self.state(drive), before)
        return first

    def test_sanitize_operations_are_made_once(self):
        for method, action in (("sanitize_block", 2), ("sanitize_crypto", 4), ("sanitize_overwrite", 3)):
            with self.subTest(method):
                first = self.erases_once("velko", VELKO, method=method)
                self.assertEqual(first["sanitize"], {"succeeded": True, "global_data_erased": True, "action": action})
                self.assertEqual(first["message"], "The drive was sanitized.")

    def test_formats_are_made_once(self):
        for parameters in ({"method": "delete"}, {"method": "format", "secure_erase": "crypto"},
                           {"method": "format", "lba_format": 2}, {"method": "delete", "force": True}):
            with self.subTest(str(parameters)):
                self.erases_once("velko", VELKO, **parameters)
        self.assertEqual(self.values("-identify", "-namespace", "1")["FLBAS - Formatted LBA Size"], "0x02")

    def test_a_drive_that_was_formatted_otherwise_since_is_formatted_again(self):
        parameters = {"serial_number": VELKO, "method": "format", "lba_format": 2}
        self.passes("drive_erase", True, **parameters)
        self.tool("start", "-force", "-velkossd", VELKO, "-nvmeformat", "LBAFormat=0")
        self.assertEqual(self.values("-identify", "-namespace", "1")["FLBAS - Formatted LBA Size"], "0x00")
        self.passes("drive_erase", True, **parameters)
        self.assertEqual(self.values("-identify", "-namespace", "1")["FLBAS - Formatted LBA Size"], "0x02")
        self.passes("drive_erase", False, **parameters)

    def test_sata_drives_are_erased_once(self):
        for method in ("sanitize_block", "sanitize_crypto"):
            self.erases_once("sata", "SIM-SATA-1", method=method)
        self.fails("drive_erase", f"sanitize_overwrite is for NVMe drives, and drive SIM-SATA-1 ({FOLDER}/sata/dev/sata) is a "
                                  "SATA drive", serial_number="SIM-SATA-1", method="sanitize_overwrite")
        self.fails("drive_erase", f"drive SIM-SATA-1 ({FOLDER}/sata/dev/sata) does not support Format NVM",
                   serial_number="SIM-SATA-1", method="format")

    def test_a_drive_that_was_written_is_erased_again(self):
        self.passes("drive_erase", True, serial_number=VELKO, method="delete")
        self.write(VELKO)
        self.passes("drive_erase", True, serial_number=VELKO, method="delete")
        self.passes("drive_erase", False, serial_number=VELKO, method="delete")

    def test_a_drive_with_two_controllers_is_erased_each_time(self):
        """The writes of the other controller are not in this one's count."""
        self.describe("velko", controllers=2)
        self.values("-sensor")
        checked = self.leaves_alone("velko", "drive_erase", serial_number=VELKO, method="delete")
        self.assertEqual((checked["changed"], checked["repeatable"]), (True, False))
        for _ in range(2):
            self.assertFalse(self.passes("drive_erase", True, serial_number=VELKO, method="delete")["repeatable"])
        self.assertFalse((self.world.var_lib / "nimbrel/ansible").exists())
        self.passes("drive_erase", True, serial_number=VELKO, method="sanitize_block")
        self.passes("drive_erase", False, serial_number=VELKO, method="sanitize_block")

    def test_a_drive_that_counts_no_writes_is_erased_each_time(self):
        script = self.world.scratch / "tool"
        says = {"Performance Metrics SIM-SATA-1": {"SerialNumber": "SIM-SATA-1", "Status": "It does not count."}}
        script.write_text(f"#!/bin/sh\ncase \"$*\" in *-performance) echo '{json.dumps(says)}'; exit 3 ;; esac\n"
                          f'exec {TOOL} "$@"\n')
        script.chmod(0o755)
        self.executable = script
        for _ in range(2):
            erased = self.passes("drive_erase", True, serial_number="SIM-SATA-1", method="delete")
            self.assertFalse(erased["repeatable"])
        self.assertFalse((self.world.var_lib / "nimbrel/ansible").exists())

    def test_a_note_that_others_can_change_does_not_count(self):
        self.passes("drive_erase", True, serial_number=VELKO, method="delete")
        folder = self.world.var_lib / "nimbrel/ansible"
        note, = folder.iterdir()
        self.assertEqual((stat.S_IMODE(folder.stat().st_mode), stat.S_IMODE(note.stat().st_mode)), (0o700, 0o600))
        note.chmod(0o666)
        self.passes("drive_erase", True, serial_number=VELKO, method="delete")
        self.assertEqual(stat.S_IMODE(note.stat().st_mode), 0o600)
        note.rename(folder / "elsewhere")
        note.symlink_to("elsewhere")
        self.passes("drive_erase", True, serial_number=VELKO, method="delete")
        self.assertFalse(note.is_symlink())

    def test_a_folder_of_notes_that_is_a_link_is_refused(self):
        (self.world.var_lib / "nimbrel").mkdir()
        (self.world.var_lib / "nimbrel/ansible").symlink_to(self.world.cwd)
        self.fails("drive_erase", "/var/lib/nimbrel/ansible is not a folder of root alone", serial_number=VELKO,
                   method="delete")
        self.assertEqual(list(self.world.cwd.iterdir()), [])

    def test_a_new_drive_was_not_sanitized(self):
        """Global Data Erased is true of it, too."""
        self.assertTrue(self.values("-nvmelog", "sanitize")["SSTAT - Sanitize Status"], "0x0100")
        self.assertTrue(self.leaves_alone("velko", "drive_erase", serial_number=VELKO, method="sanitize_block")["changed"])

    def test_a_drive_in_use_or_with_partitions_is_refused(self):
        identity = {"SerialNumber": VELKO, "DevicePath": PATH}
        name, partition = f"Partition /dev/nvme0n1p1 {VELKO}", {**identity, "Size": "1 bytes", "Use": "none"}
        self.answer_to("-partition", {name: {**partition, "MountPoint": "/data", "MountPoint 2": "/srv"}})
        self.values("-sensor")
        before = self.state("velko")
        for check in (True, False):
            for force in (True, False):
                self.fails("drive_erase", f"drive {VELKO} ({PATH}) is in use: {name}: /data, /srv", check=check,
                           serial_number=VELKO, method="delete", force=force)
        self.answer_to("-partition", {name: {**partition, "MountPoint": "not mounted"}})
        self.fails("drive_erase", f"drive {VELKO} ({PATH}) has partitions, and force is not given: {name}", check=True,
                   serial_number=VELKO, method="delete")
        self.assertTrue(self.leaves_alone("velko", "drive_erase", serial_number=VELKO, method="delete", force=True)["changed"])
        self.assertEqual(self.state("velko"), before)

    def test_without_force_the_check_of_the_tool_stays_in_effect(self):
        """-force would switch off its check of content; without it the tool asks, and is answered on a terminal."""
        script = self.world.scratch / "tool"
        script.write_text(f'#!/bin/sh\necho "$*" >> {self.world.scratch}/log\nexec {TOOL} "$@"\n')
        script.chmod(0o755)
        self.executable = script
        self.passes("drive_erase", True, serial_number=VELKO, method="delete")
        self.passes("drive_erase", True, serial_number=VELKO, method="sanitize_block", force=True)
        changes = [line for line in (self.world.scratch / "log").read_text().splitlines() if not line.startswith("show")]
        self.assertEqual(changes, [f"delete -output json -velkossd {VELKO}",
                                   f"start -output json -force -velkossd {VELKO} -sanitize block"])

    def test_an_operation_in_progress_is_refused(self):
        self.describe("velko", sanitize_seconds=600)
        self.tool("start", "-force", "-velkossd", VELKO, "-sanitize", "block", "ReturnImmediately=true")
        self.fails("drive_erase", f"drive {VELKO} ({PATH}): Background process is running.", serial_number=VELKO,
                   method="sanitize_block")

    def test_a_failed_erase_is_a_failure(self):
        self.describe("velko", fail="admin 0x80 0x006")
        self.fails("drive_erase", f"Failed to format drive. Format NVM failed on drive {VELKO} ({PATH}): Internal Error (status "
                                  "code type 0x0, status code 0x06, opcode 0x80).", serial_number=VELKO, method="delete")

    def test_what_the_drive_does_not_support_is_refused(self):
        self.make_drive("nvme-1.4")
        drive = f"drive SIM-NVME-1 ({FOLDER}/nvme-1.4/dev/nvme-1.4)"
        for message, method in ((f"{drive} does not support sanitize_block", "sanitize_block"),
                                (f"{drive} does not support Format NVM", "delete")):
            self.fails("drive_erase", message, serial_number="SIM-NVME-1", method=method, check=True)
        self.fails("drive_erase", f"drive {VELKO} ({PATH}) has the LBA formats 0 to 3", serial_number=VELKO, method="format",
                   lba_format=9, check=True)
        self.fails("drive_erase", "lba_format is for the method format", serial_number=VELKO, method="delete", lba_format=0)
