"""What a firmware update reports to programs, and when nothing is sent, on simulated drives."""

import hashlib
import json
import os
import unittest

from simulated import FOLDER, SimulatedTestCase, firmware_image

PATH = f"{FOLDER}/velko/dev/velko"
NAME = f"SIM-VELKO-1 ({PATH})"
IDENTITY = {"SerialNumber": "SIM-VELKO-1", "DevicePath": PATH}
MODULES = "/opt/velko/nimbrel/FirmwareModules"
NOTICE = "Checking for firmware update...\n"
CURRENT = "The selected drive contains current firmware as of this tool release."


def state(previous, running, following, slot, reset):
    return {**IDENTITY, "PreviousFirmware": previous, "RunningFirmware": running, "NextFirmware": following,
            "FirmwareSlot": slot, "RequiredReset": reset}


def slots(info, active, following, *revisions):
    keys = {**IDENTITY, "AFI - Active Firmware Info": info,
            "AFI Active Slot - Slot that the running firmware was loaded from": active,
            "AFI Next Slot - Slot that the next controller level reset activates": following}
    for slot, revision in enumerate([*revisions, *["none"] * 7][:7], 1):
        keys[f"FRS{slot} - Firmware Revision for Slot {slot}"] = revision
    return keys


class FirmwareTransaction(SimulatedTestCase):
    maxDiff = None

    def setUp(self):
        super().setUp()
        self.make_drive("velko")
        (self.world.cwd / "fw.bin").write_bytes(firmware_image("velko", "NEW00001"))
        (self.world.cwd / "later.bin").write_bytes(firmware_image("velko", "NEW00002", reset=2))

    def load(self, *arguments):
        run = self.tool("load", "-force", "-output", "json", *arguments)
        self.assertTrue(run.stdout.startswith(NOTICE), run.stdout)
        self.assertEqual(run.stderr, "")
        return run.status, json.loads(run.stdout[len(NOTICE):])

    def add_module(self, revision):
        folder = self.world.opt / "FirmwareModules"
        folder.mkdir(exist_ok=True)
        image = firmware_image("velko", revision)
        (folder / f"{revision}.bin").write_bytes(image)
        (folder / f"{revision}.json").write_text(json.dumps({
            "models": ["VELKO Simulated*"], "revision": revision, "released": "2026-03-31", "from": ["*"],
            "file": f"{revision}.bin", "sha256": hashlib.sha256(image).hexdigest()}))

    def test_an_update_from_a_file_shows_the_firmware_before_and_after(self):
        self.assertEqual(self.load("-source", "fw.bin", "-velkossd", "0"), (0, {
            "Firmware Update SIM-VELKO-1": {
                **IDENTITY, "Status": f"The firmware was activated without a reset. Drive {NAME} runs firmware NEW00001; "
                                      "it was VSIM0100 before."},
            "Firmware State SIM-VELKO-1": state("VSIM0100", "NEW00001", "none", 2, "none"),
            "Previous Firmware Slot Information SIM-VELKO-1": slots("0x01", 1, "none", "VSIM0100"),
            "Firmware Slot Information SIM-VELKO-1": slots("0x02", 2, "none", "VSIM0100", "NEW00001")}))

    def test_new_firmware_may_offer_pages_that_the_old_one_did_not(self):
        kept = self.world.var_lib / "nimbrel/drives-without-ocp"
        kept.parent.mkdir()
        kept.write_text("boot\nSIM-VELKO-1 VSIM0100 VELKO Simulated NVMe SSD\n")
        self.tool("load", "-force", "-velkossd", "0", "-source", "missing.bin")
        self.assertTrue(kept.exists(), "nothing was sent")
        self.assertEqual(self.load("-source", "fw.bin", "-velkossd", "0")[0], 0)
        self.assertFalse(kept.exists())

    def test_a_reset_that_is_owed_is_named(self):
        status, answer = self.load("-source", "fw.bin", "-velkossd", "0", "FirmwareSlot=3", "CommitAction=1")
        self.assertEqual((status, answer["Firmware State SIM-VELKO-1"]),
                         (0, state("VSIM0100", "VSIM0100", "NEW00001", 3, "controller level reset")))
        status, answer = self.load("-source", "later.bin", "-velkossd", "0", "FirmwareSlot=2", "CommitAction=3")
        self.assertEqual((status, answer["Firmware State SIM-VELKO-1"]),
                         (0, state("VSIM0100", "VSIM0100", "NEW00002", 2, "NVM subsystem reset")))

    def test_the_keys_are_in_each_format(self):
        run = self.tool("load", "-force", "-source", "fw.bin", "-output", "nvmxml", "-velkossd", "0", "FirmwareSlot=2",
                        "CommitAction=0")
        self.assertIn("<PreviousFirmware>VSIM0100</PreviousFirmware>", run.stdout)
        self.assertIn("<RequiredReset>none</RequiredReset>", run.stdout)
        run = self.tool("load", "-velkossd", "0", "-firmwareactivate", "FirmwareSlot=2", "CommitAction=2")
        self.assertIn(f"\n- Firmware State SIM-VELKO-1 -\n\nSerialNumber : SIM-VELKO-1\nDevicePath : {PATH}\n"
                      "PreviousFirmware : VSIM0100\nRunningFirmware : VSIM0100\nNextFirmware : NEW00001\n"
                      "FirmwareSlot : 2\nRequiredReset : controller level reset\n\n",
                      run.stdout)

    def test_a_module_that_runs_or_is_staged_is_not_sent(self):
        self.add_module("NEW00001")
        self.assertEqual(self.load("-velkossd", "0", "FirmwareSlot=2", "CommitAction=1")[0], 0)
        before = self.state("velko")
        self.assertEqual(self.load("-velkossd", "0"), (64, {"Firmware Update SIM-VELKO-1": {
            **IDENTITY, "Status": f"{CURRENT} Slot 2 of drive {NAME} holds NEW00001, which the next controller level reset "
                      "activates."}}))
        self.assertTrue(self.state("velko") == before, "the drive was changed")
        self.assertEqual(self.tool("reset", "-velkossd", "0", "-nvmecontroller").status, 0)
        before = self.state("velko")
        self.assertEqual(self.load("-velkossd", "0"), (64, {"Firmware Update SIM-VELKO-1": {**IDENTITY, "Status": CURRENT}}))
        self.assertTrue(self.state("velko") == before, "the drive was changed")

    def test_without_a_module_the_folders_are_named(self):
        more = self.world.opt / "more"
        more.mkdir()
        self.assertEqual(self.tool("set", "-system", "AdditionalFWModDir=/opt/velko/nimbrel/more").status, 0)
        self.assertEqual(self.load("-velkossd", "0"), (71, {"Firmware Update SIM-VELKO-1": {
            **IDENTITY, "Status": f"No firmware module found. Searched: '{MODULES}', '/opt/velko/nimbrel/more'."}}))

    def test_an_image_is_a_regular_file_named_by_itself(self):
        os.symlink("fw.bin", self.world.cwd / "link.bin")
        os.mkfifo(self.world.cwd / "pipe.bin")
        before = self.state("velko")
        for source, reason in (("link.bin", "a symbolic link"), ("pipe.bin", "not a regular file"),
                               ("/dev/zero", "not a regular file"), (".", "not a regular file")):
            with self.subTest(source):
                self.check_tool("load", "-force", "-source", source, "-velkossd", "0", status=3, stdout=(
                    f"{NOTICE}Error: Failed reading a file necessary for the feature. '{source}': {reason}.\n"))
        self.assertEqual(self.state("velko"), before)


if __name__ == "__main__":
    unittest.main()
