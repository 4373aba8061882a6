"""Two commands on one drive at once, and names that fit two drives."""

import fcntl
import os
import unittest

from simulated import FOLDER, SERIALS, SimulatedTestCase, firmware_image


class Locks(SimulatedTestCase):
    def setUp(self):
        super().setUp()
        self.make_drive("velko")
        self.folder = self.world.run_folder / "nimbrel"

    def lock_file(self):
        self.tool("set", "-velkossd", "0", "TempThreshold=60")
        [file] = self.folder.iterdir()
        return file

    def test_a_command_that_changes_the_drive_leaves_a_free_lock_of_its_own(self):
        file = self.lock_file()
        self.assertTrue(file.name.startswith(f"nqn.2026-01.com.velko.nimbrel_simulated_{SERIALS['velko']}-"))
        self.assertEqual(file.read_text(), "")
        self.assertEqual(self.folder.stat().st_mode & 0o7777, 0o700)
        self.assertEqual(file.stat().st_mode & 0o7777, 0o600)
        self.assertEqual(self.tool("set", "-velkossd", "0", "TempThreshold=61").status, 0)

    def test_a_command_that_shows_takes_no_lock(self):
        self.assertEqual(self.tool("show", "-velkossd", "0", "-smart").status, 0)
        self.assertFalse(self.folder.exists())

    def test_two_firmware_updates_at_once_are_one(self):
        file = self.lock_file()
        (self.world.cwd / "fw.bin").write_bytes(firmware_image("velko", "NEW00001"))
        before = self.tool("show", "-velkossd", "0", "-nvmelog", "3").stdout
        with open(file, "r+", encoding="ascii") as held:
            fcntl.flock(held, fcntl.LOCK_EX | fcntl.LOCK_NB)
            held.write(str(os.getpid()))
            held.flush()
            for words in ("load -force -source fw.bin -velkossd 0", "delete -force -velkossd 0",
                          "set -velkossd 0 TempThreshold=70"):
                run = self.tool(*words.split())
                self.assertIn(f"Blocked by running job: process {os.getpid()} is changing the drive.",
                              run.stdout + run.stderr)
                self.assertEqual(run.status, 3, words)
        self.assertEqual(self.tool("show", "-velkossd", "0", "-nvmelog", "3").stdout, before)
        file.write_text("")
        self.assertEqual(self.tool("load", "-force", "-source", "fw.bin", "-velkossd", "0").status, 0)
        self.assertIn("NEW00001", self.tool("show", "-d", "Firmware", "-velkossd", "0").stdout)

    def test_without_a_place_for_the_lock_nothing_is_changed(self):
        before = self.tool("show", "-velkossd", "0", "-getfeature", "4").stdout
        self.folder.symlink_to("elsewhere")
        run = self.tool("set", "-velkossd", "0", "TempThreshold=70")
        self.assertIn("System error. The drive cannot be locked: /run/nimbrel: ", run.stdout + run.stderr)
        self.assertEqual(run.status, 3)
        self.assertFalse((self.world.run_folder / "elsewhere").exists())
        self.assertEqual(self.tool("show", "-velkossd", "0", "-getfeature", "4").stdout, before)

    def test_a_name_that_fits_two_drives_changes_neither(self):
        self.make_drive("velko2", serial_number=SERIALS["velko"].lower())
        paths = [f"{FOLDER}/{name}/dev/{name}" for name in ("velko", "velko2")]
        run = self.tool("delete", "-force", "-velkossd", SERIALS["velko"])
        self.assertIn(f"Multiple devices selected. '{SERIALS['velko']}' fits several drives: name one by its path "
                      f"({', '.join(paths)}).", run.stdout + run.stderr)
        self.assertEqual(run.status, 3)
        self.assertEqual(self.tool("show", "-d", "DevicePath", "-velkossd", SERIALS["velko"]).status, 0)
        self.assertEqual(self.tool("set", "-velkossd", paths[1], "TempThreshold=70").status, 0)
        self.describe("velko2", serial_number="0")
        run = self.tool("set", "-velkossd", "0", "TempThreshold=70")
        self.assertIn("Multiple devices selected. '0' fits several drives", run.stdout + run.stderr)
        self.assertEqual(run.status, 3)


if __name__ == "__main__":
    unittest.main()
