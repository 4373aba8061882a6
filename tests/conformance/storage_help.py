"""Help for the storage commands as a user reads it: the list, its filter, the page of every command, in each format.

The expected texts lie in golden/help. NIMBREL_REWRITE_GOLDENS=1 writes them; read what changed."""

import os
import pathlib
import unittest

from world import TOOL, ToolTestCase

GOLDEN = pathlib.Path(__file__).with_name("golden") / "help"
REWRITE = os.environ.get("NIMBREL_REWRITE_GOLDENS") == "1"

TOO_MANY = ("Error: The command list had more than one after filtering. This means that there might be more than one "
            "CommandSpec with the same required syntax.\n")


class StorageHelp(ToolTestCase):
    def help(self, *arguments):
        run = self.world.run(*arguments, terminal=80)
        self.assertEqual((run.status, run.stderr), (0, ""), arguments)
        return run.stdout.replace(TOOL, "nimbrel")  # the usage line begins with the tool's path

    def check_golden(self, name, text):
        path = GOLDEN / name
        if REWRITE:
            path.write_text(text, encoding="utf-8")
        self.assertEqual(text, path.read_text(encoding="utf-8"))

    def test_the_list_of_all_commands(self):
        self.check_golden("all.txt", self.help("help"))
        self.check_golden("all.txt", self.help())
        self.check_golden("all.json", self.help("help", "-output", "json"))
        self.check_golden("all.nvmxml", self.help("help", "-o", "nvmxml"))

    def test_the_commands_of_a_verb(self):
        self.check_golden("show.txt", self.help("help", "verb=show"))
        self.check_golden("show.txt", self.help("HELP", "Verb=SHOW"))

    def test_the_page_of_every_command(self):
        names = [line[:-1] for line in (GOLDEN / "all.txt").read_text().splitlines() if line.endswith(":")]
        names = names[names.index("AggregationThreshold"):]  # behind the heading
        others = {"EnableLog", "LogFile", "System", "Version"}  # whose pages other tests show
        pages = {name: self.help("help", "Name=" + name) for name in names if name not in others}
        self.check_golden("pages.txt", "".join(f"$ nimbrel help Name={name}\n{page}" for name, page in pages.items()))

    def test_the_option_shows_the_page_too(self):
        for line, name in [
                ("show -help -velkossd", "VelkoSSD"),
                ("show -h -velkossd 0 -smart", "SMART"),
                ("delete -help -velkossd 0 -namespace 1", "DeleteNamespace"),
                ("set -help -velkossd 0 -led", "SetLED"),
                ("start -help -scan", "Scan"),
                ("set -help -velkossd 0 MaximumLBA=native", "MaximumLBA"),
                ("stop -help -velkossd 0", "PerformanceBoosterStop"),
        ]:
            with self.subTest(line):
                self.assertEqual(self.help(*line.split()), self.help("help", "Name=" + name))

    def test_the_option_on_too_few_words(self):
        self.check("set", "-help", "-velkossd", "0", status=1, stdout=TOO_MANY)
        self.check("delete", "-help", "-velkossd", status=201,
                   stdout="Syntax Error: A value is required for the target '-velkossd'.\n")


if __name__ == "__main__":
    unittest.main()
