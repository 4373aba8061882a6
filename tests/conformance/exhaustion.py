"""The tool when its memory is used up: the words, the exit status, and nothing else."""

import os
import unittest

from world import ToolTestCase

EXHAUSTED_TOOL = os.environ.get("NIMBREL_EXHAUSTED_TOOL", "")


class Exhaustion(ToolTestCase):
    def test_a_command_that_runs_out_of_memory(self):
        self.check("start", "-exhaust", tool=EXHAUSTED_TOOL, status=2, stdout="Out of Memory: \n")

    def test_the_output_option_cannot_be_applied_any_more(self):
        for keyword in ("json", "nvmxml", "esx"):
            self.check("start", "-o", keyword, "-exhaust", tool=EXHAUSTED_TOOL, status=2, stdout="Out of Memory: \n")

    def test_a_result_that_cannot_be_rendered(self):
        self.check("start", "-exhaustrendering", tool=EXHAUSTED_TOOL, status=2, stdout="Out of Memory: \n")

    def test_an_error_that_cannot_be_printed(self):
        with open("/dev/full", "w") as full:
            run = self.world.run("start", "-exhaust", tool=EXHAUSTED_TOOL, stdout=full)
        self.assertEqual((run.status, run.stderr), (2, "Cannot write to standard output: No space left on device\n"))

    def test_while_there_is_memory_it_is_the_tool(self):
        self.assertEqual(self.world.run("version", tool=EXHAUSTED_TOOL), self.world.run("version"))


if __name__ == "__main__":
    unittest.main()
