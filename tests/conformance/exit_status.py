"""docs/exit-status.md has every number of the tool and of the catalogue, and no drive that cannot be reached ends in an
errno."""

import collections
import json
import os
import pathlib
import re
import sys
import unittest

import tables
from simulated import FOLDER, HIDE_DRIVES, SimulatedTestCase
from world import without_emulation

ROOT = pathlib.Path(__file__).resolve().parents[2]
DOCUMENT = ROOT / "docs/exit-status.md"
HEAD = "| exit status | status | shared | meaning |\n|---|---|---|---|\n"
REWRITE = os.environ.get("NIMBREL_REWRITE_GOLDENS") == "1"

SUCCESS = ("0", "0")

# What a user reads about the tool's own numbers.
TOOL_MEANINGS = {
    "SUCCESS": "success, also when a question was answered with no",
    "GENERAL": "general failure; no feature library; the standard output cannot be written",
    "OUT_OF_MEMORY": "out of memory, a failed receive from the library, a file that could not be written",
    "NOT_SUPPORTED": "the feature library refused the request; its words are the message",
    "INVALID_CONFIGURATION": "bad configuration or debug log path",
    "FILE_NOT_WRITTEN": "the configuration file cannot be read or written, or other users can change it",
    "NOT_BOOLEAN": "a boolean setting with another value",
    "INVALID_PROPERTY": "a property or action that is missing or bad",
    "INVALID_VALUE": "a bad value of a target or option; a file or folder that is not there",
    "INVALID_LOG_FILE": "a bad log file name",
    "SYMBOLIC_LINK": "the configuration file or the debug log is a symbolic link",
    "CORRUPT_CONFIGURATION": "the configuration file is corrupted",
    "SYNTAX": "syntax error",
}

# Sends one request to the library as the tool does, and prints the answer.
EXCHANGE = r"""
import ctypes, sys
library = ctypes.CDLL(sys.argv[1])
library.RegisterDeviceManager(None)
library.Load(1)
request = sys.argv[2].encode()
handle, size = ctypes.c_size_t(), ctypes.c_size_t()
library.SendXMLMessage(request, ctypes.c_size_t(len(request)), ctypes.byref(handle))
library.ReceiveXMLMessage(handle, ctypes.create_string_buffer(1), ctypes.byref(size))
answer = ctypes.create_string_buffer(size.value)
library.ReceiveXMLMessage(handle, answer, ctypes.byref(size))
print(answer.raw[:size.value].decode())
library.Unload()
"""


def table():
    rows = []  # exit status, order, status, meaning
    for number, name in tables.exit_statuses():
        rows.append((number, 0, "tool", TOOL_MEANINGS[name]))
    rows.append((238, 0, "tool", "not root"))
    for order, (category, code, text) in enumerate(tables.statuses(), 1):
        if (category, code) != SUCCESS:
            status = int(code) % 256 or 255
            text = text.replace("\t", " ").strip()
            rows.append((status, order, f"{category}/{code}", text))
    count = collections.Counter(row[0] for row in rows)
    return HEAD + "".join(f"| {status} | {number} | {'shared' if count[status] > 1 else ''} | {text} |\n"
                          for status, _, number, text in sorted(rows))


class Document(unittest.TestCase):
    def test_every_number_has_its_row(self):
        text = DOCUMENT.read_text()
        before, head, _ = text.partition(HEAD)
        expected = before + table()
        if REWRITE:
            DOCUMENT.write_text(expected)
        else:
            self.maxDiff = None
            self.assertTrue(head)
            self.assertEqual(text, expected)


class Statuses(SimulatedTestCase):
    """A drive with a fault beside a healthy one."""

    def setUp(self):
        super().setUp()
        self.make_drive("ocp")
        self.make_drive("velko")
        self.tool("show", "-velkossd")

    def exchange(self, job, method, *properties):
        sent = "".join(f'<Property name="{name}" value="{value}"/>' for name, value in (("Scan", "true"), *properties))
        run = self.world.run("-c", HIDE_DRIVES, sys.executable, "-B", "-c", EXCHANGE,
                             "/opt/velko/nimbrel/Velko.SSDFeatures.so.3.0.0",
                             f'<?xml version="1.0" encoding="utf-8"?><Object name="{job}" type="{method}">{sent}</Object>',
                             tool="/bin/sh")
        self.assertEqual(run.stderr, "")
        return run.stdout

    def statuses(self, answer):
        """Category and code of each status of an answer."""
        found = re.findall(r'category="status"[^>]*>(.*?)</Object>', answer, re.DOTALL)
        self.assertTrue(found, answer)
        return [tuple(re.search(rf'name="{key}" value="(\d+)"', status)[1] for key in ("Category", "Code"))
                for status in found]

    def check_fault(self, status, words):
        """The exit status of commands that show and change, and that no status of their answers is an errno."""
        for command in (("show", "-sensor"), ("show", "-smart"), ("start", "-velkossd", "0", "-selftest", "short"),
                        ("delete", "-force", "-velkossd", "0")):
            with self.subTest(command=command):
                run = self.tool(command[0], "-output", "json", *command[1:])
                self.assertEqual(run.status, status, run.stdout)
                self.assertIn(words, json.dumps(json.loads(run.stdout[run.stdout.index("{"):]), ensure_ascii=False))
        if os.environ.get("NIMBREL_SANITIZE"):
            return  # the sanitizer's own library must be the first of a process, and Python's has none
        for job, method in (("HealthMetrics", "GetProperties"), ("SMART", "GetProperties"), ("Format", "Method"),
                            ("TelemetryLog", "Method"), ("NVMeLog", "Method"), ("HealthScan", "Method")):
            with self.subTest(job=job):
                categories = {category for category, _ in self.statuses(self.exchange(job, method))}
                self.assertNotIn("1", categories)

    @without_emulation
    def test_a_drive_that_is_gone(self):
        self.describe("ocp", gone="yes")
        self.check_fault(70, "The device (object) was unavailable. The drive of "
                       f"{FOLDER}/ocp is gone (errno 19: No such device).")

    @without_emulation
    def test_a_drive_whose_state_cannot_be_read(self):
        state = self.drives / "ocp/state"
        state.unlink()
        state.mkdir()
        self.check_fault(86, f"{FOLDER}/ocp/state is not a regular file (errno 22).")


if __name__ == "__main__":
    unittest.main()
