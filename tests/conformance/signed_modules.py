"""Firmware modules with signatures that OpenSSL's own program made, and what the policy of their directory does."""

import hashlib
import json
import os
import subprocess
import unittest

from settings import config
from simulated import FEATURE_LIBRARY, FOLDER, SimulatedTestCase, firmware_image

PATH = f"{FOLDER}/velko/dev/velko"
IDENTITY = {"SerialNumber": "SIM-VELKO-1", "DevicePath": PATH}
CHECKING = "Checking for firmware update...\n"
PLACE = "/opt/velko/nimbrel"
MANIFEST = f"{PLACE}/FirmwareModules/NEW00001.json"
NO_MODULES = f"No firmware module found. Searched: '{PLACE}/FirmwareModules'."
UNREADABLE = "Failed reading a file necessary for the feature."
SIGNED_ONLY = "Its directory takes signed modules only."
NO_SIGNATURE = f"'{MANIFEST}': it has no signature."
NOT_OF_A_KEY = f"'{MANIFEST}': its signature is not that of a key in '{PLACE}/FirmwareKeys'."
UPDATED = (f"The firmware was activated without a reset. Drive SIM-VELKO-1 ({PATH}) runs firmware NEW00001; it was "
           "VSIM0100 before.")


def openssl(*arguments):
    subprocess.run(["openssl", *map(str, arguments)], stdout=subprocess.DEVNULL, check=True)


class SignedModules(SimulatedTestCase):
    def setUp(self):
        super().setUp()
        self.make_drive("velko")
        self.world.config.write_text(config(enable_log="true"))
        self.modules = self.world.opt / "FirmwareModules"
        self.keys = self.world.opt / "FirmwareKeys"
        self.modules.mkdir()
        self.keys.mkdir()
        self.manifest = self.modules / "NEW00001.json"
        self.signature = self.modules / "NEW00001.json.sig"
        image = firmware_image("velko", "NEW00001")
        (self.modules / "NEW00001.bin").write_bytes(image)
        self.manifest.write_text(json.dumps({
            "models": ["VELKO Simulated*"], "revision": "NEW00001", "released": "2026-03-31", "from": ["*"],
            "file": "NEW00001.bin", "sha256": hashlib.sha256(image).hexdigest()}))

    def make_key(self, name, trusted=True):
        """A pair of keys of a maker; the path of the private one."""
        private = self.world.cwd / f"{name}.key"
        openssl("genpkey", "-algorithm", "ed25519", "-out", private)
        if trusted:
            openssl("pkey", "-in", private, "-pubout", "-out", self.keys / f"{name}.pem")
        return private

    def sign(self, key):
        openssl("pkeyutl", "-sign", "-rawin", "-inkey", key, "-in", self.manifest, "-out", self.signature)

    def set_policy(self, text):
        (self.modules / "SignaturePolicy").write_text(text)

    def load(self):
        """An update by the newest module: exit status, standard error, the answer."""
        run = self.tool("load", "-force", "-output", "json", "-velkossd", "0")
        self.assertEqual(run.stdout[:len(CHECKING)], CHECKING, run.stdout)
        return run.status, run.stderr, json.loads(run.stdout[len(CHECKING):])

    def sent_commands(self):
        return [line for line in (self.world.var_log / "VelkoSSDOSTREL.log").read_text().splitlines()
                if "Firmware Image Download" in line or "Firmware Commit" in line]

    def check_update(self, stderr="", **more):
        status, warning, answer = self.load()
        self.assertEqual((status, warning), (0, stderr))
        self.assertEqual(answer["Firmware Update SIM-VELKO-1"], {**IDENTITY, "Status": UPDATED})
        self.assertEqual(answer["Firmware State SIM-VELKO-1"]["RunningFirmware"], "NEW00001")
        self.assertEqual(answer.get("Firmware Module SIM-VELKO-1"), more.get("module"))
        self.assertEqual(len(self.sent_commands()), 2, "what a download and a commit leave in the debug log")

    def check_refusal(self, status, text):
        self.tool("show", "-velkossd", "0")  # makes the drive
        before = self.state("velko")
        self.assertEqual(self.load(), (status, "", {"Firmware Update SIM-VELKO-1": {**IDENTITY, "Status": text}}))
        self.assertEqual(self.sent_commands(), [])
        self.assertTrue(self.state("velko") == before, "the drive was changed")

    def test_a_signed_module_is_sent_where_signed_ones_alone_are_taken(self):
        self.make_key("another")
        self.sign(self.make_key("maker"))
        self.set_policy("signed only\n")
        self.check_update()

    def test_of_a_signed_module_the_user_is_not_warned(self):
        self.sign(self.make_key("maker"))
        self.set_policy("warn\n")
        self.check_update()

    def test_of_a_manifest_that_was_changed_nothing_is_sent(self):
        self.sign(self.make_key("maker"))
        self.manifest.write_text(self.manifest.read_text().replace("2026-03-31", "2026-04-01"))
        for policy in (None, "warn\n", "signed only\n"):
            with self.subTest(policy):
                if policy:
                    self.set_policy(policy)
                self.check_refusal(71, f"{NO_MODULES} {NOT_OF_A_KEY}")

    def test_of_a_module_of_another_maker_nothing_is_sent(self):
        self.make_key("maker")
        self.sign(self.make_key("another", trusted=False))
        self.check_refusal(71, f"{NO_MODULES} {NOT_OF_A_KEY}")

    def test_of_an_image_that_was_changed_nothing_is_sent(self):
        self.sign(self.make_key("maker"))
        (self.modules / "NEW00001.bin").write_bytes(firmware_image("velko", "FORGED01"))
        self.check_refusal(73, f"Invalid firmware module type. '{PLACE}/FirmwareModules/NEW00001.bin' is not the file "
                               "that its manifest describes: its SHA-256 is another.")

    def test_an_unsigned_module_is_not_sent_where_signed_ones_alone_are_taken(self):
        self.make_key("maker")
        self.set_policy("signed only\n")
        self.check_refusal(71, f"{NO_MODULES} {NO_SIGNATURE} {SIGNED_ONLY}")
        self.check_tool("show", "-display", "FirmwareUpdateAvailable", "-velkossd", "0", stdout=(
            "\n- Velko SSD SIM-VELKO-1 -\n\nFirmwareUpdateAvailable : No known update for SSD. If an update is expected, "
            "please contact your SSD Vendor representative about firmware update for this drive.\n\n"))

    def test_a_signature_without_keys_is_none(self):
        self.sign(self.make_key("maker", trusted=False))
        self.set_policy("signed only\n")
        self.check_refusal(71, f"{NO_MODULES} '{MANIFEST}': its signature cannot be checked: there is no key in "
                               f"'{PLACE}/FirmwareKeys'. {SIGNED_ONLY}")

    def test_the_user_is_warned_of_an_unsigned_module(self):
        self.set_policy("warn\n")
        warning = f"The origin of the firmware for drive SIM-VELKO-1 ({PATH}) is not verified. {NO_SIGNATURE}"
        self.check_update(stderr=warning + "\n", module={**IDENTITY, "Status": warning})

    def test_keys_that_others_can_change_verify_nothing(self):
        self.sign(self.make_key("maker"))
        os.chmod(self.keys, 0o777)
        self.check_refusal(71, f"{NO_MODULES} '{MANIFEST}': its signature cannot be checked: '{PLACE}/FirmwareKeys' "
                               "can be written by others than its owner (mode 0777).")

    def test_a_policy_that_is_not_understood_refuses_its_directory(self):
        self.sign(self.make_key("maker"))
        self.set_policy("signed\n")
        self.check_refusal(54, f"{UNREADABLE} '{PLACE}/FirmwareModules/SignaturePolicy' is neither 'warn' nor "
                               "'signed only'.")

    def test_no_start_pays_for_signatures(self):
        headers = subprocess.run(["readelf", "-d", FEATURE_LIBRARY], stdout=subprocess.PIPE, check=True).stdout.decode()
        self.assertIn("Shared library: [libc.so.6]\n", headers)
        self.assertNotIn("libcrypto", headers)


if __name__ == "__main__":
    unittest.main()
