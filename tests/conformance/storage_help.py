"""Help for the storage commands as a user reads it: the list, its filter, the page of every command, in each format.

The expected texts lie in golden/help, those of each command in a file of its own. NIMBREL_REWRITE_GOLDENS=1
writes them; read what changed."""

import os
import pathlib
import re
import unittest

from world import TOOL, ToolTestCase

GOLDEN = pathlib.Path(__file__).with_name("golden") / "help"
REWRITE = os.environ.get("NIMBREL_REWRITE_GOLDENS") == "1"

# The lists of all commands that programs read: what is before the first command, how one begins and ends, what is
# between two, and what is after the last.
LISTS = {
    "help -output json": ("{\n", '\t"(\\w+)": {', "\t}", ",\n", "\n}\n\n"),
    "help -output nvmxml": ("<Help>\n", '\t<Command Name="(\\w+)">', "\t</Command>", "\n", "\n</Help>\n\n"),
}
OTHERS = {"EnableLog", "LogFile", "System", "Version"}  # whose pages other tests show

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

    def test_the_commands_of_a_verb(self):
        self.check_golden("show.txt", self.help("help", "verb=show"))
        self.check_golden("show.txt", self.help("HELP", "Verb=SHOW"))

    def test_every_command_in_each_format(self):
        names = [line[:-1] for line in (GOLDEN / "all.txt").read_text().splitlines() if line.endswith(":")]
        parts = {arguments: self.parts_of_list(arguments, *form) for arguments, form in LISTS.items()}
        for arguments, part in parts.items():
            self.assertEqual(list(part), names, arguments)
        if REWRITE:
            for path in (GOLDEN / "commands").iterdir():
                path.unlink()
        for name in names:
            with self.subTest(name):
                page = "" if name in OTHERS else f"$ nimbrel help Name={name}\n" + self.help("help", "Name=" + name)
                self.check_golden(f"commands/{name}.txt", page + "".join(
                    f"$ nimbrel {arguments}\n{part[name]}\n" for arguments, part in parts.items()))
        self.assertEqual(sorted(path.stem for path in (GOLDEN / "commands").iterdir()), sorted(names))

    def parts_of_list(self, arguments, head, begin, end, separator, tail):
        """The list of all commands as its parts by the command's name: with head, separators and tail it is whole."""
        text = self.help(*arguments.split())
        found = re.finditer(f"^{begin}.*?^{end}(?=[,\n])", text, re.DOTALL | re.MULTILINE)
        parts = [part.group() for part in found]
        self.assertEqual(head + separator.join(parts) + tail, text, arguments)
        return {re.match(begin, part).group(1): part for part in parts}

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
