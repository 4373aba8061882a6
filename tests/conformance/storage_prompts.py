"""The yes-or-no questions before what destroys: who asks, what counts as yes, and what standard output holds."""

import select
import subprocess
import unittest

from recording import RecordingTestCase
from storage_wire import (CHECKING, DELETE_NAMESPACE_QUESTION, DELETE_QUESTION, DRIVE_0, EMPTY_ANSWER, FORMAT_QUESTION,
                          LONG_OPERATION, NO_RESULTS, SANITIZE_QUESTION, TRIM_QUESTION, UPDATE_QUESTION, method)

DELETED = method("Format", ("Type", "Delete"), ("Force", "false"), devices=DRIVE_0)
DELETE_OUTPUT = "Deleting..." + LONG_OPERATION + NO_RESULTS
END_OF_INPUT = "\x04"

# Words, question, notice, request once it is confirmed, request with -force.
COMMANDS = [
    ("delete -velkossd 0", DELETE_QUESTION, "Deleting..." + LONG_OPERATION, DELETED,
     method("Format", ("Type", "Delete"), ("Force", "true"), devices=DRIVE_0)),
    ("start -velkossd 0 -nvmeformat",
     FORMAT_QUESTION, "Formatting..." + LONG_OPERATION,
     method("Format", ("Type", "NVMeFormat"), ("Force", "false"), devices=DRIVE_0),
     method("Format", ("Type", "NVMeFormat"), ("Force", "true"), devices=DRIVE_0)),
    ("start -velkossd 0 -sanitize",
     SANITIZE_QUESTION, "Sanitizing..." + LONG_OPERATION,
     method("Format", ("Type", "Sanitize"), ("SanitizeAction", "2"), ("Force", "false"), devices=DRIVE_0),
     method("Format", ("Type", "Sanitize"), ("SanitizeAction", "2"), ("Force", "true"), devices=DRIVE_0)),
    ("delete -velkossd 0 -namespace 1",
     DELETE_NAMESPACE_QUESTION, "",
     *2 * [method("NamespaceManagement", ("Action", "delete"), ("MultiPathIoCapabilities", "0"), ("NamespaceId", "1"),
                  devices=DRIVE_0)]),
    ("start -velkossd 0 -trim StartLBA=0 Count=8",
     TRIM_QUESTION, "",
     *2 * [method("Trim", ("StartLBA", "0"), ("Count", "8"), devices=DRIVE_0)]),
    ("load -velkossd 0",
     UPDATE_QUESTION, CHECKING,
     *2 * [method("FirmwareUpdate", ("SkipMembers", "true"), devices=DRIVE_0)]),
]

# What is typed, how often the question appears, and whether it means yes.
ANSWERS = [
    ("Y\n", 1, True),
    ("y\n", 1, True),
    ("yes\n", 1, True),
    ("YOU MAY\n", 1, True),  # the first character decides
    ("n\n", 1, False),
    ("N\n", 1, False),
    ("no thanks, yes\n", 1, False),
    (" y\n", 1, False),
    ("\ty\n", 1, False),
    ("1\n", 1, False),
    ("\n\ny\n", 3, True),
    ("\nn\ny\n", 2, False),
    (END_OF_INPUT, 1, False),
    ("\n" + END_OF_INPUT, 2, False),
]


class Prompts(RecordingTestCase):
    def setUp(self):
        super().setUp()
        self.answer(EMPTY_ANSWER)

    def run_line(self, line, **options):
        self.forget()
        run = self.world.run(*line.split(), **options)
        return run.status, run.stdout, run.stderr, self.requests()

    def test_what_counts_as_yes(self):
        for typed, times, means_yes in ANSWERS:
            expected = ((0, DELETE_OUTPUT, times * DELETE_QUESTION, [DELETED]) if means_yes else
                        (0, "Cancelled\n", times * DELETE_QUESTION, []))
            with self.subTest(typed, where="a terminal"):
                self.assertEqual(self.run_line("delete -velkossd 0", terminal=80, typed=typed), expected)
            with self.subTest(typed, where="a file"):
                self.assertEqual(
                    self.run_line("delete -velkossd 0", stdin=typed.replace(END_OF_INPUT, "").encode()), expected)

    def test_every_command_that_asks(self):
        for line, question, notice, request, _ in COMMANDS:
            with self.subTest(line):
                self.assertEqual(self.run_line(line, terminal=80, typed="y\n"),
                                 (0, notice + NO_RESULTS, question, [request]))
                self.assertEqual(self.run_line(line, terminal=80, typed="n\n"), (0, "Cancelled\n", question, []))
                self.assertEqual(self.run_line(line), (0, "Cancelled\n", question, []))
                self.assertEqual(self.run_line(line, stdin="closed"), (0, "Cancelled\n", question, []))

    def test_force_asks_nothing(self):
        for line, _, notice, _, request in COMMANDS:
            for force in ("-force", "-f"):
                forced = line.replace(" ", f" {force} ", 1)
                with self.subTest(forced):
                    self.assertEqual(self.run_line(forced, terminal=80), (0, notice + NO_RESULTS, "", [request]))

    def test_the_output_format_holds_for_a_refusal(self):
        for output, expected in [("json", '{\n\t"Result":"Cancelled"\n}\n'),
                                 ("nvmxml", "<Result>Cancelled</Result>\n\n")]:
            with self.subTest(output):
                self.assertEqual(self.run_line(f"delete -output {output} -velkossd 0", stdin=b"n\n"),
                                 (0, expected, DELETE_QUESTION, []))

    def test_the_notice_is_there_before_the_long_wait(self):
        self.instruct(sleepMs=1500)
        process = self.world.start("delete", "-force", "-velkossd", "0")
        try:
            readable, _, _ = select.select([process.stdout], [], [], 60)
            self.assertEqual(readable, [process.stdout])
            self.assertEqual(process.stdout.readline().decode(), "Deleting..." + LONG_OPERATION)
            self.assertIsNone(process.poll(), "the library still works")
            rest, errors = process.communicate(timeout=60)
            self.assertEqual((process.returncode, rest.decode(), errors.decode()), (0, NO_RESULTS, ""))
        except subprocess.TimeoutExpired:
            process.kill()
            raise


if __name__ == "__main__":
    unittest.main()
