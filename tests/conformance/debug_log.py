"""The debug log: when it is written, where, and how the tool and the feature library share it."""

import os
import re
import unittest

from feature_library import LOG_REFUSED, LOG, START, BindingTestCase
from settings import config
from world import TOOL

TIME = re.compile(r"^[0-2][0-9]:[0-5][0-9]:[0-5][0-9]:[0-9]{6} (?=\[)")

# A scope trace: "File.cpp(12) function: Entering" or "File.cpp function: Exiting".
TRACE = re.compile(r"^TIME \[debug\] [A-Za-z_.]+\.(cpp|h)(\([0-9]+\))? [~A-Za-z_()]+: (Entering|Exiting)$")


class DebugLog(BindingTestCase):
    def setUp(self):
        super().setUp()
        self.log = self.world.var_log / "VelkoSSDOSTREL.log"

    def configure(self, **settings):
        self.world.config.write_text(config(**settings))

    def lines(self, log=None):
        """The log's lines, the time in each replaced by TIME, without the scope traces."""
        lines = [TIME.sub("TIME ", line) for line in (log or self.log).read_text().splitlines()]
        return [line for line in lines if not TRACE.match(line)]

    def expected(self, *arguments, status=0, tool=TOOL):
        joined = "".join(argument + " " for argument in arguments)
        return ["TIME [debug] Tool Version: 2.2.18", f"TIME [debug] EXE Name: {tool}",
                f"TIME [debug] CLI Arguments: {joined}", f"TIME [debug] Exit Code: {status}"]

    def run_and_log(self, *arguments, status=0):
        run = self.world.run(*arguments)
        self.assertEqual((run.status, run.stderr), (status, ""), run)

    def test_is_off_by_default_and_creates_no_file(self):
        self.run_and_log("version")
        self.configure(enable_log="FALSE")
        self.run_and_log("version")
        self.assertEqual(os.listdir(self.world.var_log), [])

    def test_logs_version_program_arguments_and_exit_status(self):
        for value in ("true", "TRUE"):
            self.configure(enable_log=value)
            self.run_and_log("version", "-output", "json")
            self.assertEqual(self.lines(), self.expected("version", "-output", "json"))
            self.log.unlink()
        self.run_and_log("nonsense", "two words", status=201)
        self.assertEqual(self.lines(), self.expected("nonsense", "two words", status=201))
        self.run_and_log()
        self.assertEqual(self.lines(), self.expected())

    def test_begins_with_the_version_and_ends_with_the_exit_status(self):
        self.configure(enable_log="true")
        self.run_and_log("show", "-system")
        lines = self.log.read_text().splitlines()
        self.assertEqual([TIME.sub("", line) for line in (lines[0], lines[-1])],
                         ["[debug] Tool Version: 2.2.18", "[debug] Exit Code: 0"])

    def test_traces_the_functions_of_the_core(self):
        self.configure(enable_log="true")
        self.run_and_log("show", "-system")
        traces = [TIME.sub("", line) for line in self.log.read_text().splitlines() if "getText" in line]
        self.assertEqual([re.sub(r"\([0-9]+\)", "(LINE)", line) for line in traces],
                         ["[debug] Attribute.cpp(LINE) getText: Entering", "[debug] Attribute.cpp getText: Exiting"] * 2)

    def test_traces_the_run_of_a_storage_command(self):
        self.install()
        self.answer("<Object></Object>")
        self.configure(enable_log="true")
        self.world.run("show", "-velkossd")
        lines = [TIME.sub("", line) for line in self.log.read_text().splitlines() if "VelkoSSDFeature" in line]
        self.assertEqual([re.sub(r"\([0-9]+\)", "(LINE)", line) for line in lines],
                         ["[debug] VelkoSSDFeature.cpp(LINE) run: Entering", "[debug] VelkoSSDFeature.cpp run: Exiting"])

    def test_replaces_that_of_the_previous_run(self):
        self.configure(enable_log="true")
        self.log.write_text("previous run\n" * 1000)
        self.run_and_log("version")
        self.assertEqual(self.lines(), self.expected("version"))
        self.install()
        self.log.write_text("previous run\n" * 1000)
        self.run_and_log("version")
        self.assertEqual(self.lines(), self.expected("version"))

    def test_goes_where_the_settings_say(self):
        log = self.world.cwd / "my log"
        self.configure(enable_log="true", log_file="my log")
        self.run_and_log("version")
        self.assertEqual(self.lines(log), self.expected("version"))
        self.assertEqual(log.stat().st_mode & 0o777, 0o600, "the arguments may hold a secret")
        log.chmod(0o640)
        self.run_and_log("version")
        self.assertEqual(log.stat().st_mode & 0o777, 0o640, "an existing log keeps its mode")

    def test_starts_with_the_run_after_the_set(self):
        self.run_and_log("set", "-system", "EnableLog=true")
        self.assertEqual(os.listdir(self.world.var_log), [])
        self.run_and_log("set", "-system", "EnableLog=false")
        self.assertEqual(self.lines(), self.expected("set", "-system", "EnableLog=false"))
        self.log.unlink()
        self.run_and_log("version")
        self.assertEqual(os.listdir(self.world.var_log), [])

    def test_stays_off_when_its_path_is_a_link(self):
        self.configure(enable_log="true")
        target = self.world.scratch / "target"
        target.write_text("precious")
        for place in (target, self.world.scratch / "absent"):
            self.log.symlink_to(place)
            self.check("version", "-d", "bad", status=8,
                       stdout="Error: Invalid license parameter, use -d license to view the license.\n")
            self.log.unlink()
        self.assertEqual(target.read_text(), "precious")
        self.assertFalse((self.world.scratch / "absent").exists())

    def test_that_cannot_be_opened_is_no_failure(self):
        for path in ("/nonexistent/log", "/proc/log", "/tmp/"):
            self.configure(enable_log="true", log_file=path)
            self.run_and_log("version")

    def test_opens_regular_files_only(self):
        pipe = self.world.cwd / "pipe"
        os.mkfifo(pipe)
        self.configure(enable_log="true", log_file=str(pipe))
        self.run_and_log("version")
        self.configure(enable_log="true", log_file="/dev/full")
        self.run_and_log("version")

    def test_refused_by_the_library_is_still_written_by_the_tool(self):
        self.install(loggerCode=6)
        self.configure(enable_log="true")
        self.assertEqual(self.probe("loadError", "log=one"), f"loadError: {LOG_REFUSED}\n")
        self.assertEqual(self.lines(), ["TIME [info] one"])

    def test_keeps_the_lines_of_both_sides_in_order(self):
        self.install(loggerLines=2)
        self.answer("<Object></Object>")
        self.configure(enable_log="true")
        self.log.write_text("previous run\n")
        self.probe("log=one", "send=A", "log=two")
        self.assertEqual(self.calls()[:4], START + [f'EnableLogger("{LOG}", 27, 0, 0)'])
        self.assertEqual(self.lines(), [
            "library: EnableLogger 1", "library: EnableLogger 2",
            "TIME [info] one",
            "library: SendXMLMessage 1", "library: SendXMLMessage 2",
            "library: ReceiveXMLMessage 1", "library: ReceiveXMLMessage 2",
            "library: ReceiveXMLMessage 1", "library: ReceiveXMLMessage 2",
            "TIME [info] two",
            "library: Unload 1", "library: Unload 2"])


if __name__ == "__main__":
    unittest.main()
