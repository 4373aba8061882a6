"""What the tool says where it cannot look for drives: what was found is shown with path and error, and the exit status
is not 0."""

import unittest

from simulated import HIDE_DRIVES, SimulatedTestCase
from world import TOOL

# Whatever nodes the machine of the test has: inside there are none, and no sysfs.
WITHOUT_SYSFS = 'mount -t tmpfs tmpfs /dev && mount -t tmpfs tmpfs /sys && exec "$0" "$@"'
# A class folder that leads to itself: sysfs is mounted, and one folder of it cannot be listed.
LOOP = ('mount -t tmpfs tmpfs /dev && mount -t tmpfs tmpfs /sys/class && ln -s nvme /sys/class/nvme && '
        'exec "$0" "$@"')
NOT_MOUNTED = "/sys: sysfs is not mounted."
NOT_LISTED = "/sys/class/nvme: Too many levels of symbolic links."


def incomplete(reason):
    return ("\n- Drive Scan Incomplete -\n\n"
            f"Status : System rescan failed. Not everything could be looked at: {reason}\n\n")


class IncompleteScan(SimulatedTestCase):
    def check_in(self, world, *arguments, **expected):
        self.check("-c", world, TOOL, *arguments, tool="/bin/sh", **expected)

    def test_an_empty_list_is_not_no_results(self):
        for world, reason in ((WITHOUT_SYSFS, NOT_MOUNTED), (LOOP, NOT_LISTED)):
            with self.subTest(reason):
                self.check_in(world, "show", "-velkossd", status=39, stdout=incomplete(reason))
                self.check_in(world, "show", "-smart", status=39, stdout=incomplete(reason))

    def test_what_was_found_is_shown(self):
        self.make_drive("one")
        shown = "\n- Velko SSD SIM-VELKO-1 -\n\nIndex : 0\n"
        self.check_in(LOOP, "show", "-d", "Index", "-velkossd", status=39, stdout=shown + incomplete(NOT_LISTED))
        self.check_in(LOOP, "show", "-d", "Index", "-velkossd", "0", status=39, stdout=shown + incomplete(NOT_LISTED))
        self.check_in(LOOP, "show", "-d", "Index", "-velkossd", "SIM-VELKO-1", stdout=shown + "\n")
        self.check_in(LOOP, "show", "-d", "Index", "-o", "json", "-velkossd", status=39, stdout=(
            '{\n\t"Velko SSD SIM-VELKO-1":\n\t{\n\t\t"Index":0\n\t},\n\t"Drive Scan Incomplete":\n\t{\n\t\t"Status":'
            '"System rescan failed. Not everything could be looked at: \\/sys\\/class\\/nvme: Too many levels of symbolic '
            'links."\n\t}\n}\n'))

    def test_a_drive_that_is_not_found_may_be_one_that_was_not_seen(self):
        for name, kind in (("0", "index"), ("S1", "serial"), ("/dev/nvme0", "path")):
            with self.subTest(name):
                self.check_in(WITHOUT_SYSFS, "show", "-velkossd", name, status=3, stdout=(
                    f"Error: Provided device {kind} is invalid. Device could not be found. Not everything could be "
                    f"looked at: {NOT_MOUNTED}\n"))

    def test_what_changes_a_drive_wants_its_name(self):
        self.make_drive("one")
        self.tool("show", "-velkossd")
        before = self.state("one")
        refused = (f"Error: System rescan failed. {NOT_MOUNTED} Name the drive by its serial number or path.\n")
        self.check_in(WITHOUT_SYSFS, "delete", "-force", "-velkossd", "0", status=3,
                      stdout="Deleting... (This can take several minutes to complete)\n" + refused)
        self.check_in(WITHOUT_SYSFS, "set", "-velkossd", "0", "TempThreshold=60", status=3, stdout=refused)
        self.assertEqual(self.state("one"), before)
        self.check_in(WITHOUT_SYSFS, "set", "-velkossd", "SIM-VELKO-1", "TempThreshold=60",
                      stdout="Set TempThreshold successful.\n")
        self.assertNotEqual(self.state("one"), before)

    def test_a_dump_saves_what_was_found(self):
        self.make_drive("one")
        written = "Successfully written TelemetryLog data to TelemetryLog_SIM-VELKO-1.bin\n"
        self.check_in(LOOP, "dump", "-telemetrylog", status=39, stdout=(
            f"\nSuccess : {written}"
            f"Error : System rescan failed. Not everything could be looked at: {NOT_LISTED}\n\n"))
        self.assertTrue((self.world.cwd / "TelemetryLog_SIM-VELKO-1.bin").exists())
        self.check_in(LOOP, "dump", "-velkossd", "SIM-VELKO-1", "-telemetrylog", stdout=written)

    def test_a_health_scan_could_not_be_completed(self):
        self.check_in(WITHOUT_SYSFS, "start", "-scan", "-velkossd", status=100, stdout=(
            "\n- Scan Results -\n\n  - Health Scan -\n\n  Result : No drive was found.\n  Result Code : 100\n\n"
            "    - Drive Scan Incomplete -\n\n"
            f"    Status : System rescan failed. Not everything could be looked at: {NOT_MOUNTED}\n\n"))

    def test_the_folder_of_simulated_drives_counts(self):
        if self.drives.exists():
            self.drives.rmdir()
        self.drives.write_text("")
        self.check_in(HIDE_DRIVES, "show", "-velkossd", status=39,
                      stdout=incomplete("/opt/velko/nimbrel/SimulatedDrives: Not a directory."))


if __name__ == "__main__":
    unittest.main()
