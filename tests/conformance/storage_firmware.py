"""Firmware update from a file: the read-only questions that come first, and the other members of a device with several
components, which one update reaches together."""

import unittest

from recording import RecordingTestCase
from storage_wire import (CHECKING, DRIVE_0, EMPTY_ANSWER, HEADER, MODULE_DIRECTORY, NO_RESULTS, UPDATE_QUESTION,
                          attribute, device, method, request)

# What both questions ask for.
IDENTITY = (attribute("Index", "Index", "sint32", -1)
            + attribute("SerialNumber", "Serial Number", "string", "")
            + attribute("MultiComponentDevice", "Multi Component Device", "boolean", "False"))


def question(devices, directories=MODULE_DIRECTORY):
    return request("VelkoSSD", "GetProperties", devices=devices, properties=IDENTITY, directories=directories)


def update(*further, directories=MODULE_DIRECTORY, options=()):
    return request("FirmwareUpdate", "Method", [("SkipMembers", "true"), *options, ("FirmwareFile", "fw.bin")],
                   devices=DRIVE_0 + "".join(further), directories=directories)


def drive(index, serial_number, multi_component="True"):
    return ('<Object category="attributeList" key="drive">'
            f'<Property category="attribute" name="Index" type="sint32" value="{index}"/>'
            f'<Property category="attribute" name="SerialNumber" type="string" value="{serial_number}"/>'
            f'<Property category="attribute" name="MultiComponentDevice" type="boolean" value="{multi_component}"/>'
            "</Object>")


def answer_of(*drives):
    output = f'<Object category="Output" name="VelkoSSD">{"".join(drives)}</Object>'
    return f'{HEADER}<Object name="VelkoSSD">{output}</Object>'


def failure(message):
    return (f'{HEADER}<Object name="VelkoSSD"><Object category="status"><Property name="Category" value="10"/>'
            f'<Property name="Code" value="1"/><Property name="Message" value="{message}"/></Object></Object>')


QUESTION_0 = question(DRIVE_0)
QUESTION_ALL = question("")
INDEX_1 = device("Index", "1")
INDEX_3 = device("Index", "3")

# What the first and the second question are answered, and the requests that go out.
MEMBERS = [
    ("a device of one component is updated alone",
     answer_of(drive(0, "VLK1-0", "False")), None, [QUESTION_0, update()]),
    ("nothing is known of the drive",
     answer_of(), None, [QUESTION_0, update()]),
    ("the word is compared exactly",
     answer_of(drive(0, "VLK1-0", "true")), None, [QUESTION_0, update()]),
    ("the other members share the serial number up to the hyphen",
     answer_of(drive(0, "VLK1-0")),
     answer_of(drive(0, "VLK1-0"), drive(1, "VLK1-1"), drive(2, "VLK2-0", "False"), drive(3, "VLK1-2")),
     [QUESTION_0, QUESTION_ALL, update(INDEX_1, INDEX_3)]),
    ("only the first hyphen counts",
     answer_of(drive(0, "VLK-1-0")), answer_of(drive(1, "VLK-2-0"), drive(2, "VLX-1-0")),
     [QUESTION_0, QUESTION_ALL, update(INDEX_1)]),
    ("without a hyphen the whole number is shared",
     answer_of(drive(0, "VLK1")), answer_of(drive(0, "VLK1"), drive(1, "VLK12"), drive(2, "VLK2")),
     [QUESTION_0, QUESTION_ALL, update(INDEX_1)]),
    ("an empty beginning would reach every drive",
     answer_of(drive(0, "-0")), None, [QUESTION_0, update()]),
    ("no other member is there",
     answer_of(drive(0, "VLK1-0")), answer_of(drive(0, "VLK1-0")), [QUESTION_0, QUESTION_ALL, update()]),
    ("a property that is there twice is not used",
     answer_of(drive(0, "VLK1-0"), drive(1, "VLK1-1")), None, [QUESTION_0, update()]),
]


class FirmwareUpdateFromAFile(RecordingTestCase):
    def setUp(self):
        super().setUp()
        self.answer(EMPTY_ANSWER)

    def update(self, *options, words=(), **run_options):
        self.forget()
        return self.world.run("load", *options, "-source", "fw.bin", "-velkossd", "0", *words, **run_options)

    def test_the_members_that_one_update_reaches(self):
        for why, first, second, requests in MEMBERS:
            with self.subTest(why):
                self.answer(first, 1)
                self.answer(second or EMPTY_ANSWER, 2)
                run = self.update("-force")
                self.assertEqual(self.requests(), requests)
                self.assertEqual((run.status, run.stdout, run.stderr), (0, CHECKING + NO_RESULTS, ""))

    def test_all_options_go_out_in_their_order(self):
        self.update("-force", words=["CommitAction=3", "FirmwareSlot=2"])
        self.assertEqual(self.requests(),
                         [QUESTION_0, update(options=[("FirmwareSlot", "2"), ("CommitAction", "3")])])

    def test_the_question_to_the_user_comes_after_those_to_the_library(self):
        run = self.update(stdin=b"n\n")
        self.assertEqual(self.requests(), [QUESTION_0])
        self.assertEqual((run.status, run.stdout, run.stderr), (0, "Cancelled\n", UPDATE_QUESTION))
        run = self.update(stdin=b"y\n")
        self.assertEqual(self.requests(), [QUESTION_0, update()])
        self.assertEqual((run.status, run.stdout, run.stderr), (0, CHECKING + NO_RESULTS, UPDATE_QUESTION))

    def test_a_failed_question_ends_the_command(self):
        self.answer(failure("no such drive"), 1)
        run = self.update("-force")
        self.assertEqual(self.requests(), [QUESTION_0])
        self.assertEqual((run.status, run.stdout, run.stderr), (3, "Error: no such drive\n", ""))
        self.answer(answer_of(drive(0, "VLK1-0")), 1)
        self.answer(failure("no list"), 2)
        run = self.update("-force")
        self.assertEqual(self.requests(), [QUESTION_0, QUESTION_ALL])
        self.assertEqual((run.status, run.stdout, run.stderr), (3, "Error: no list\n", ""))

    def test_a_slot_is_missing_only_after_the_question(self):
        run = self.update("-force", words=["CommitAction=1"])
        self.assertEqual(self.requests(), [QUESTION_0])
        self.assertEqual((run.status, run.stdout, run.stderr),
                         (7, "Error: Must specify slot number with activate action property.\n", ""))

    def test_each_request_of_a_run_repeats_the_directory_of_the_settings(self):
        self.world.run("version")  # which makes the file
        text = self.world.config.read_text()
        changed = text.replace('name="AdditionalFWModDir" size="1" type="string" value=""',
                               'name="AdditionalFWModDir" size="6" type="string" value="/more"')
        self.assertNotEqual(text, changed)
        self.world.config.write_text(changed)
        once = MODULE_DIRECTORY + "~/more"
        twice = once + "~/more"
        thrice = twice + "~/more"
        self.answer(answer_of(drive(0, "VLK1-0")), 1)
        self.answer(answer_of(drive(1, "VLK1-1")), 2)
        self.update("-force")
        self.assertEqual(self.requests(),
                         [question(DRIVE_0, once), question("", twice), update(INDEX_1, directories=thrice)])

    def test_without_a_file_nothing_is_asked_first(self):
        self.forget()
        self.world.run("load", "-force", "-velkossd", "0")
        self.assertEqual(self.requests(), [method("FirmwareUpdate", ("SkipMembers", "true"), devices=DRIVE_0)])


if __name__ == "__main__":
    unittest.main()
