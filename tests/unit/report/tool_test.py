import os
import pathlib
import tempfile
import time
import unittest

import samples  # noqa: F401  (sets the path)
from nimbrel_report.tool import Deadline, NotRead, Tool, without_status

SHOWN = {"Health Sensors S1": {"SerialNumber": "S1", "Temperature": "38 C"}}
STATUS = {"Health Sensors S1": {"SerialNumber": "S1", "DevicePath": "/dev/nvme0", "Status": "It failed."}}


class FakeTool(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.path = pathlib.Path(scratch.name) / "nimbrel"

    def tool(self, script):
        self.path.write_text("#!/bin/sh\n" + script)
        self.path.chmod(0o755)
        return Tool(self.path)

    def not_read(self, script, words, silent, seconds=30):
        with self.assertRaisesRegex(NotRead, words) as caught:
            self.tool(script).of_drive("/dev/nvme0", "-smart", deadline=Deadline(seconds))
        self.assertEqual(caught.exception.silent, silent)

    def test_the_command_line_and_a_notice_before_the_json(self):
        tool = self.tool('echo "Please wait..."; echo "{\\"Object\\": {\\"Arguments\\": \\"$*\\"}}"')
        self.assertEqual(tool.of_drive("/dev/nvme0", "-nvmelog", "error", deadline=Deadline(30)),
                         ({"Object": {"Arguments": "show -output json -velkossd /dev/nvme0 -nvmelog error"}}, []))

    def test_no_drives_are_an_empty_line_of_a_run_that_succeeded(self):
        self.assertEqual(self.tool("echo").run("show", deadline=Deadline(30)), ({}, 0))
        with self.assertRaisesRegex(NotRead, "Error: Not root."):
            self.tool("echo Error: Not root.; exit 238").run("show", deadline=Deadline(30))

    def test_failures_have_the_tools_words(self):
        self.not_read("""echo '{"Error_Type":238,"Error_Description":"Error: Not root."}'; exit 238""",
                      "Error: Not root.", silent=False)
        self.not_read("""echo '{"O S1":{"SerialNumber":"S1","Status":"It timed out."}}'; exit 69""",
                      "It timed out.", silent=True)
        self.not_read("exit 3", "nimbrel ended with 3 and showed nothing", silent=False)
        self.not_read("echo '{'", "what nimbrel printed is not JSON", silent=False)

    def test_a_tool_that_is_not_there(self):
        with self.assertRaisesRegex(NotRead, f"{self.path} cannot be run: No such file or directory"):
            Tool(self.path).version()

    def test_the_time_limit_ends_the_tool_and_its_children(self):
        pid = self.path.parent / "pid"
        begin = time.monotonic()
        self.not_read(f"sleep 600 & echo $! > {pid}; wait", "no answer within the time limit of 1 seconds", True, seconds=1)
        self.assertLess(time.monotonic() - begin, 20)
        with self.assertRaises(ProcessLookupError):
            while True:  # Until the child is reaped.
                os.kill(int(pid.read_text()), 0)
                if stat_letter(int(pid.read_text())) == "Z":
                    raise ProcessLookupError


class WithoutStatus(unittest.TestCase):
    def test_what_is_not_shown_beside_the_rest_has_its_reasons(self):
        self.assertEqual(without_status({**SHOWN, "Namespace 2 S1": STATUS["Health Sensors S1"]}, 0),
                         (SHOWN, ["It failed."]))
        partial = {"SMART Attributes S1": {"Temperature": "38 C", "Not read": "C0h failed."}}
        self.assertEqual(without_status(partial, 0), (partial, ["C0h failed."]))

    def test_nothing_but_a_status_is_an_error(self):
        with self.assertRaisesRegex(NotRead, "It failed."):
            without_status(STATUS, 25)

    def test_an_attribute_has_a_status_beside_other_keys(self):
        row = {"SMART Attribute 0x05 S1": {"SerialNumber": "S1", "DevicePath": "/dev/sda", "Status": "0x0033", "Raw": 1}}
        self.assertEqual(without_status(row, 0), (row, []))


def stat_letter(pid):
    try:
        return pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()[0]
    except FileNotFoundError:
        return "Z"


if __name__ == "__main__":
    unittest.main()
