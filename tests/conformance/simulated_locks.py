"""Two commands on one drive at once, and names that fit two drives."""

import fcntl
import os
import signal
import time
import unittest

from simulated import FOLDER, HIDE_DRIVES, SERIALS, SimulatedTestCase, firmware_image, identity
from world import TOOL, Run, kill_group

# As many downloads as the drive takes: an update that can be stopped in the middle.
LONG_IMAGE_BYTES = 8 << 20
PATIENCE_SECONDS = 60


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

    def stop_in_the_middle(self, process, download):
        """Stops it between two commands, when something is downloaded: a command waits for the simulated drive's lock,
        which is held here for each look."""
        deadline = time.monotonic() + PATIENCE_SECONDS
        with open(self.drives / "velko" / "lock", "rb") as lock:
            while True:
                self.assertLess(time.monotonic(), deadline, "nothing is downloaded")
                fcntl.flock(lock, fcntl.LOCK_EX)
                if download.exists() and download.stat().st_size:
                    os.kill(process.pid, signal.SIGSTOP)
                    os.waitid(os.P_PID, process.pid, os.WSTOPPED | os.WEXITED | os.WNOWAIT)
                    return
                fcntl.flock(lock, fcntl.LOCK_UN)

    def test_an_update_that_finds_another_under_way_leaves_it_whole(self):
        file = self.lock_file()
        images = {name: firmware_image("velko", name, size=size)
                  for name, size in (("FIRST001", LONG_IMAGE_BYTES), ("SECOND01", 8192))}
        for name, image in images.items():
            (self.world.cwd / name).write_bytes(image)
        before = self.tool("show", "-velkossd", "0", "-nvmelog", "3").stdout
        first = self.world.start("-c", HIDE_DRIVES, TOOL, "load", "-force", "-source", "FIRST001", "-velkossd", "0",
                                 "FirmwareSlot=2", "CommitAction=3", tool="/bin/sh")
        self.addCleanup(kill_group, first)
        download = self.drives / "velko" / "firmware-download"
        self.stop_in_the_middle(first, download)
        self.assertLess(download.stat().st_size, LONG_IMAGE_BYTES, "stopped in the middle")
        self.assertEqual(file.read_text(), str(first.pid))
        second = self.tool("load", "-force", "-source", "SECOND01", "-velkossd", "0", "FirmwareSlot=2",
                           "CommitAction=3", timeout=10)
        self.assertEqual(second, Run(3, "Checking for firmware update...\nError: Blocked by running job: process "
                                     f"{first.pid} is changing the drive.\n", ""))
        self.assertEqual(self.tool("show", "-velkossd", "0", "-nvmelog", "3").stdout, before)
        os.kill(first.pid, signal.SIGCONT)
        out, err = first.communicate(timeout=PATIENCE_SECONDS)
        slots = before.replace("Info : 0x01", "Info : 0x02").replace("loaded from : 1", "loaded from : 2")
        slots = slots.replace("Slot 2 : none", "Slot 2 : FIRST001")
        self.assertEqual((out.decode(), err.decode(), first.returncode), (
            f"Checking for firmware update...\n\n- Firmware Update {SERIALS['velko']} -\n\n{identity('velko')}Status : The "
            f"firmware was activated without a reset. Drive {SERIALS['velko']} ({FOLDER}/velko/dev/velko) runs firmware "
            f"FIRST001; it was VSIM0100 before.\n\n- Firmware State {SERIALS['velko']} -\n\n{identity('velko')}"
            "PreviousFirmware : VSIM0100\nRunningFirmware : FIRST001\nNextFirmware : none\nFirmwareSlot : 2\nRequiredReset : none\n"
            f"{before[:-1].replace('- Firmware Slot', '- Previous Firmware Slot', 1)}{slots}", "", 0))
        self.assertEqual(self.tool("show", "-velkossd", "0", "-nvmelog", "3").stdout, slots)

    def test_without_a_place_for_the_lock_nothing_is_changed(self):
        before = self.tool("show", "-velkossd", "0", "-getfeature", "4").stdout
        self.folder.symlink_to("elsewhere")
        run = self.tool("set", "-velkossd", "0", "TempThreshold=70")
        self.assertIn("Unable to create file. The drive cannot be locked: /run/nimbrel: ", run.stdout + run.stderr)
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
