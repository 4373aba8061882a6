"""The records of erases: what a command that erases a drive leaves, and what it does not."""

import json
import pathlib
import re
import time
import unittest

import jsonschema

from simulated import FOLDER, HIDE_DRIVES, SERIALS, SimulatedTestCase
from world import TOOL, kill_group

SCHEMA = json.loads((pathlib.Path(__file__).parents[2] / "docs/erasure-record.schema.json").read_text())
TIME = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ")
SANITIZE = ("start", "-force", "-velkossd", "0", "-sanitize", "block")
FORMAT = ("start", "-force", "-velkossd", "0", "-nvmeformat", "SecureEraseSetting=2")
PATIENCE_SECONDS = 60
DELETE = ("delete", "-force", "-velkossd", "0")


class Erasures(SimulatedTestCase):
    def setUp(self):
        super().setUp()
        self.folder = self.world.var_lib / "nimbrel/erasures"

    def records(self):
        """The JSON of each record, by time; the text beside it holds the same facts."""
        if not self.folder.exists():
            return []
        found = []
        for file in sorted(self.folder.glob("*.json")):
            record = json.loads(file.read_text())
            jsonschema.validate(record, SCHEMA)
            text = file.with_suffix(".txt").read_text()
            for facts in record.values():
                for key, value in facts.items():
                    if key != "samples":
                        self.assertIn(f": {'-' if value is None else value}\n", text)
            for sample in record["verification"].get("samples", []):
                verdict = {"notJudged": "not judged"}.get(sample["verdict"], sample["verdict"])
                self.assertIn(f"  namespace {sample['namespace']}, byte {sample['offsetBytes']}: {verdict}\n", text)
            self.assertEqual([path.stat().st_mode & 0o7777 for path in (file, file.with_suffix(".txt"), self.folder)],
                             [0o600, 0o600, 0o700])
            found.append(record)
        return found

    def only_record(self):
        record, = self.records()
        return record

    def test_a_sanitize(self):
        self.make_drive("velko")
        self.assertEqual(self.tool(*SANITIZE).status, 0)
        record = self.only_record()
        self.assertRegex(record["run"].pop("start"), TIME)
        self.assertRegex(record["run"].pop("end"), TIME)
        verification = record.pop("verification")
        samples = verification.pop("samples")
        self.assertEqual(verification, {"places": 64, "bytesOfEach": 4096, "deallocated": 64, "overwritten": 0,
                                        "changed": 0, "notJudged": 0, "unchanged": 0, "unreadable": 0})
        self.assertEqual((len(samples), samples[0], samples[-1]),
                         (64, {"namespace": 1, "offsetBytes": 0, "verdict": "deallocated"},
                          {"namespace": 1, "offsetBytes": 67104768, "verdict": "deallocated"}))
        self.assertEqual(record, {
            "drive": {"serialNumber": SERIALS["velko"], "modelNumber": "VELKO Simulated NVMe SSD",
                      "firmware": "VSIM0100", "path": f"{FOLDER}/velko/dev/velko", "capacityBytes": 67108864},
            "method": {"sanitization": "purge", "technique": "block erase", "command": "Sanitize (NVMe), Block Erase",
                       "namespaces": "all"},
            "run": {"outcome": "success", "status": "0/0", "message": "The drive was sanitized."},
            "reported": {"sstat": "0x0101",
                         "sstatText": "the most recent sanitize operation completed successfully",
                         "sprog": "0xFFFF", "scdw10": "0x00000002"},
        })

    def test_the_method_of_each_command(self):
        self.make_drive("velko")
        cases = (
            (DELETE, "clear", "Format NVM (NVMe), User Data Erase"),
            (FORMAT, "clear", "Format NVM (NVMe), Cryptographic Erase"),
            (SANITIZE[:-1] + ("crypto",), "purge", "Sanitize (NVMe), Crypto Erase"),
            (SANITIZE[:-1] + ("overwrite",), "purge", "Sanitize (NVMe), Overwrite"),
        )
        for arguments, sanitization, command in cases:
            before = self.records()
            self.assertEqual(self.tool(*arguments).status, 0, arguments)
            new, = (record for record in self.records() if record not in before)
            self.assertEqual((new["method"]["sanitization"], new["method"]["command"]), (sanitization, command))

    def test_what_erases_nothing_leaves_nothing(self):
        self.make_drive("velko")
        for arguments, status in ((FORMAT[:-1], 0), (FORMAT[:-1] + ("LBAFormat=60",), 28), (("show", "-velkossd"), 0)):
            self.assertEqual(self.tool(*arguments).status, status, arguments)
        self.describe("velko", fail="admin 0x80 0x10A, admin 0x84 0x002")
        for arguments in (DELETE, SANITIZE):
            self.assertNotEqual(self.tool(*arguments).status, 0)
        self.assertEqual(self.records(), [])

    def test_one_that_is_not_followed_has_no_end(self):
        self.make_drive("velko")
        self.assertEqual(self.tool(*SANITIZE, "ReturnImmediately=true").status, 0)
        self.assertEqual({key: value for key, value in self.only_record()["run"].items() if key != "start"},
                         {"end": None, "outcome": "started", "status": None, "message": None})

    def test_a_drive_that_answers_its_old_data_is_found(self):
        self.make_drive("velko")
        self.assertEqual(self.tool("show", "-velkossd").status, 0)
        data = bytes(range(256)) * 16
        media = self.drives / "velko/media-1-1"
        media.write_bytes(data)
        self.describe("velko", fail="admin 0x80 0x0")  # a success that changes nothing
        before = self.records()
        run = self.tool(*DELETE)
        self.assertEqual(run.status, 171)
        self.assertIn("The check of the erase failed: namespace 1, byte 0 is unchanged; 1 of 64 places failed.",
                      " ".join(run.stdout.split()))
        self.assertEqual(media.read_bytes()[:4096], data)
        new, = (record for record in self.records() if record not in before)
        self.assertEqual((new["run"]["outcome"], new["run"]["status"], new["verification"]["unchanged"],
                          new["verification"]["samples"][0]["verdict"]), ("failure", "10/171", 1, "unchanged"))

    def test_a_sata_drive_is_read_before_and_after(self):
        for name, values, command in (("sata", {"sanitize": "no"}, "SECURITY ERASE UNIT (ATA), enhanced"),
                                      ("sata-2", {}, "BLOCK ERASE EXT (ATA)")):
            self.make_drive(name, serial_number=name, **values)
            self.assertEqual(self.tool("show", "-velkossd").status, 0)
            (self.drives / name / "media-1-1").write_bytes(bytes(range(256)) * 16)
            before = self.records()
            run = self.tool("delete", "-force", "-velkossd", name)
            self.assertEqual(run.status, 0, run.stdout + run.stderr)
            new, = (record for record in self.records() if record not in before)
            self.assertEqual(new["method"]["command"], command)
            self.assertEqual((new["verification"]["changed"], new["verification"]["samples"][0]["verdict"]),
                             (1, "changed"))

    def test_a_sata_drive_that_answers_its_old_data_is_found(self):
        self.make_drive("sata", sanitize="no")
        self.assertEqual(self.tool("show", "-velkossd").status, 0)
        data = bytes(range(256)) * 16
        (self.drives / "sata/media-1-1").write_bytes(data)
        self.describe("sata", fail="ata 0xF4 0x00")
        run = self.tool(*DELETE)
        self.assertEqual(run.status, 9, run.stdout + run.stderr)
        self.assertIn("The check of the erase failed: namespace 1, byte 0 is unchanged; 1 of 64 places failed.",
                      " ".join(run.stdout.split()))
        record = self.only_record()
        self.assertEqual((record["run"]["outcome"], record["run"]["status"], record["verification"]["unchanged"]),
                         ("failure", "10/9", 1))

    def test_the_method_of_each_command_of_a_sata_drive(self):
        self.make_drive("sata", sanitize="no")
        self.make_drive("sata-2", serial_number="sata-2")
        cases = (
            ("SIM-SATA-1", DELETE[:-1], "clear", "security erase", "SECURITY ERASE UNIT (ATA), enhanced"),
            ("sata-2", DELETE[:-1], "purge", "block erase", "BLOCK ERASE EXT (ATA)"),
            ("sata-2", SANITIZE[:3], "purge", "cryptographic erase", "CRYPTO SCRAMBLE EXT (ATA)"),
        )
        for serial, words, sanitization, technique, command in cases:
            before = self.records()
            more = ("-sanitize", "crypto") if words == SANITIZE[:3] else ()
            run = self.tool(*words, serial, *more)
            self.assertEqual(run.status, 0, run.stdout + run.stderr)
            new, = (record for record in self.records() if record not in before)
            self.assertEqual((new["drive"]["serialNumber"], *new["method"].values()),
                             (serial, sanitization, technique, command, "all"))

    def test_a_format_that_changes_the_block_size_is_checked_by_bytes(self):
        self.make_drive("velko")
        self.assertEqual(self.tool("show", "-velkossd").status, 0)
        (self.drives / "velko/media-1-1").write_bytes(bytes(range(256)) * 16)
        run = self.tool(*FORMAT[:-1], "LBAFormat=1", "SecureEraseSetting=1")
        self.assertIn("LBA format 1, blocks of 512 bytes, 8 bytes of metadata.", " ".join(run.stdout.split()))
        verification = self.only_record()["verification"]
        self.assertEqual((verification["places"], verification["deallocated"]), (64, 64))
        before = self.records()
        run = self.tool(*FORMAT[:-1], "LBAFormat=3", "MetadataSettings=1", "SecureEraseSetting=1")
        self.assertEqual(run.status, 0, run.stdout + run.stderr)
        self.assertIn("LBA format 3, blocks of 4096 bytes", " ".join(run.stdout.split()))
        new, = (record for record in self.records() if record not in before)
        self.assertEqual((new["verification"]["places"], new["verification"]["deallocated"]), (64, 64))

    def test_a_tool_that_is_killed_within_the_erase_leaves_its_record_without_an_end(self):
        self.make_drive("velko", sanitize_seconds=600)
        process = self.world.start("-c", HIDE_DRIVES, TOOL, *SANITIZE, tool="/bin/sh")
        self.addCleanup(kill_group, process)
        deadline = time.monotonic() + PATIENCE_SECONDS
        while not list(self.folder.glob("*.txt")) and time.monotonic() < deadline:
            time.sleep(0.05)
        kill_group(process)
        self.assertEqual({key: value for key, value in self.only_record()["run"].items() if key != "start"},
                         {"end": None, "outcome": "started", "status": None, "message": None})

    def test_a_record_that_cannot_be_written_is_a_failure_after_the_erase(self):
        self.make_drive("velko")
        (self.world.var_lib / "nimbrel").mkdir(mode=0o700)
        self.folder.write_text("a file in the place of the folder")
        run = self.tool(*SANITIZE)
        self.assertEqual(run.status, 194)
        self.assertIn("The record of the erase could not be written: ", run.stdout)
        self.assertIn("The drive was sanitized.", run.stdout)

    def test_a_link_in_the_place_of_the_folder_is_not_followed_to_where_others_write(self):
        self.make_drive("velko")
        others = self.world.var_lib / "others"
        others.mkdir()
        others.chmod(0o777)
        (self.world.var_lib / "nimbrel").mkdir(mode=0o700)
        self.folder.symlink_to("/var/lib/others")
        self.assertEqual(self.tool(*SANITIZE).status, 194)
        self.assertEqual(list(others.iterdir()), [])


if __name__ == "__main__":
    unittest.main()
