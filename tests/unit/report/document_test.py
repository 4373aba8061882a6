import json
import os
import pathlib
import tempfile
import unittest

import jsonschema
from samples import document, drive
from nimbrel_report import document as documents


class Check(unittest.TestCase):
    def damaged(self, words, value):
        with self.assertRaisesRegex(documents.Damaged, words):
            documents.check(value)

    def test_the_schema_is_one_and_takes_the_samples(self):
        jsonschema.Draft202012Validator.check_schema(json.loads(documents.schema_path().read_text()))
        documents.check(document(drive(), drive("S2", identity=None, health=None)))

    def test_other_things_are_refused_by_name(self):
        self.damaged("it is not a document of nimbrel-report", [])
        self.damaged("it is not a document of nimbrel-report", {"format": "other"})
        self.damaged("its version is 2, and this program reads version 1", {**document(), "version": 2})
        self.damaged("the document: 'host' is a required property", {"format": "nimbrel-report", "version": 1})
        self.damaged("drives/0/health/percentage_used: '3' is not of type 'integer'",
                     document(drive(health={"percentage_used": "3"})))
        self.damaged("collected: 'yesterday' does not match", document(collected="yesterday"))

    def test_numbers_that_no_program_can_show_are_refused(self):
        self.damaged("is greater than the maximum", document(drive(identity={"capacity_bytes": 10**400})))
        self.damaged("is greater than the maximum", document(drive(history={"times": [10**15]})))

    def test_columns_of_a_history_have_one_length(self):
        self.damaged("drive S1: the columns of its history differ in length",
                     document(drive(history={"times": [1, 2], "percentage_used": [1]})))

    def test_keys_that_are_not_known_are_ignored(self):
        documents.check({**document(drive(later={"a": 1})), "later": 1})


class Parse(unittest.TestCase):
    def test_what_is_not_json_is_damaged(self):
        for text in ("", "{", '{"a": NaN}', '{"a": 1e999}', "[" * 100000, "\x00"):
            with self.assertRaisesRegex(documents.Damaged, "it is not JSON", msg=text[:20]):
                documents.parse(text)

    def test_characters_that_hide_or_turn_the_text_are_replaced(self):
        self.assertEqual(documents.parse(json.dumps(["a\u202eb", "c\u0000d", "\ud800", "Ä <b>"])),
                         ["a\ufffdb", "c\ufffdd", "\ufffd", "Ä <b>"])


class ReadFile(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.path = pathlib.Path(scratch.name) / "document"

    def test_a_document_is_read_as_it_was_written(self):
        self.path.write_text(documents.write(document(drive())))
        self.assertEqual(documents.read_file(self.path), document(drive()))
        self.assertEqual(documents.read_previous(self.path), [document(drive())])

    def test_pipes_devices_and_other_encodings_are_damaged(self):
        os.mkfifo(self.path)
        for path in (self.path, "/dev/null", self.path.parent):
            with self.assertRaisesRegex(documents.Damaged, "it is not a regular file"):
                documents.read_file(path)
        self.path.unlink()
        self.path.write_bytes(b"\xff\xfe{")
        with self.assertRaisesRegex(documents.Damaged, "it is not UTF-8"):
            documents.read_file(self.path)

    def test_a_page_that_is_not_a_report_is_damaged(self):
        self.path.write_text("<!DOCTYPE html><title>x</title>")
        with self.assertRaisesRegex(documents.Damaged, "it is not a report of nimbrel-report"):
            documents.read_previous(self.path)
        with self.assertRaisesRegex(documents.Damaged, "it is not JSON"):
            documents.read_file(self.path)


class NewestOfEachHost(unittest.TestCase):
    def test_the_newest_document_of_a_host_is_taken(self):
        old = document(collected="2026-11-01T00:00:00Z")
        new, other = document(), document(host="host-b")
        self.assertEqual(documents.newest_of_each_host([("b.json", other), ("old.json", old), ("new.json", new)]), (
            [new, other], ["old.json is left out: new.json is a newer document of host host-a."]))

    def test_hosts_of_one_name_with_other_machine_ids_are_two(self):
        twins = [("1.json", document(host_id="1" * 32)), ("2.json", document(host_id="2" * 32)),
                 ("3.json", document(host_id=None))]
        self.assertEqual(len(documents.newest_of_each_host(twins)[0]), 3)


class Bounds(unittest.TestCase):
    def test_a_section_that_no_document_may_have(self):
        documents.check_section("health", {"percentage_used": 3})
        with self.assertRaisesRegex(documents.Damaged, "percentage_used: -3 is less than the minimum of 0"):
            documents.check_section("health", {"percentage_used": -3})
        with self.assertRaisesRegex(documents.Damaged, "firmware: 'slots' is a required property"):
            documents.check_section("firmware", {"active_slot": 1, "next_slot": None})

    def test_problems_are_as_many_as_a_document_may_have(self):
        self.assertEqual(documents.bounded(["a", "b"]), ["a", "b"])
        shown = documents.bounded(["x" * 5000] * 150)
        self.assertEqual((len(shown), len(shown[0]), shown[-1]), (101, 1000, "And 50 more."))


class Compared(unittest.TestCase):
    def test_keeps_what_the_next_report_compares_and_the_findings(self):
        kept = documents.compared(document(drive(health={"media_errors": 4})))
        documents.check(kept)
        self.assertEqual(sorted(kept["drives"][0]), ["device_path", "findings", "health", "identity", "not_read",
                                                     "not_supported", "seconds", "serial_number"])
        self.assertEqual(kept["drives"][0]["findings"], [{"kind": "media errors", "text": "Media errors: 4."}])


if __name__ == "__main__":
    unittest.main()
