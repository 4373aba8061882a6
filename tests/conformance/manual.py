"""The manual pages: mandoc finds nothing, and they say what the tool, its help and the documents say.

A few pages are golden files, golden/manual. NIMBREL_REWRITE_GOLDENS=1 writes them; read what changed."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

import tables
from world import TOOL, ToolTestCase

ROOT = pathlib.Path(__file__).resolve().parents[2]
MAKE = ROOT / "packaging/manual/make_manual.py"
GOLDEN = pathlib.Path(__file__).with_name("golden") / "manual"
GRAMMAR = os.environ.get("NIMBREL_GRAMMAR", "")
SIMDRIVE = os.environ.get("NIMBREL_SIMDRIVE", "")
BUILT = os.environ.get("NIMBREL_MANUAL", "")
REWRITE = os.environ.get("NIMBREL_REWRITE_GOLDENS") == "1"
GOLDEN_PAGES = ("nimbrel-show-smart.8", "nimbrel-start-sanitize.8", "nimbrel-show-getfeature.8",
                "nimbrel-set-tempthreshold.8", "nimbrel_config.xml.5")
WITH_EXAMPLES = ("nimbrel-set-tempthreshold.8",)  # those of other pages change with the documents

sys.path.insert(0, str(MAKE.parent))
import markdown  # noqa: E402


def made(folder, seconds="0"):
    """Makes the pages in a folder with the date of `seconds`; their texts by name."""
    grammar, help_text = folder / "grammar.json", folder / "help.txt"
    grammar.write_bytes(subprocess.run([GRAMMAR], check=True, capture_output=True).stdout)
    help_text.write_bytes(subprocess.run([SIMDRIVE, "--help"], check=True, capture_output=True).stdout)
    subprocess.run([sys.executable, "-B", MAKE, grammar, help_text, folder / "man"], check=True,
                   env={**os.environ, "SOURCE_DATE_EPOCH": seconds})
    return {path.name: path.read_text(encoding="utf-8") for path in (folder / "man").glob("man?/*")}


def rendered(text):
    """A page as a reader sees it, without a limit of the line."""
    shown = subprocess.run(["mandoc", "-T", "ascii", "-O", "width=1000"], input=text.encode(), check=True,
                           capture_output=True).stdout.decode()
    return re.sub(r".\x08", "", shown)


def section(text, name):
    """A section of a rendered page, as one line."""
    return " ".join(re.search(rf"^{name}\n(.*?)^\S", text, re.DOTALL | re.MULTILINE).group(1).split())


class Manual(ToolTestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="nimbrel-manual-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.pages = made(cls.folder)
        cls.commands = {name: text for name, text in cls.pages.items()
                        if name.startswith("nimbrel-") and name not in (
                            "nimbrel-simdrive.1", "nimbrel-output.7", "nimbrel-exporter.8", "nimbrel-report.8")}

    def check_golden(self, name, text):
        if REWRITE:
            (GOLDEN / name).write_text(text, encoding="utf-8")
        self.assertEqual((GOLDEN / name).read_text(encoding="utf-8"), text)

    def test_mandoc_finds_nothing(self):
        flat = self.folder / "flat"  # mandoc looks for the pages that a page refers to in the current folder
        flat.mkdir()
        for name, text in self.pages.items():
            (flat / name).write_text(text, encoding="utf-8")
        run = subprocess.run(["mandoc", "-T", "lint", *sorted(self.pages)], cwd=flat, capture_output=True, text=True)
        self.assertEqual((run.stdout, run.stderr, run.returncode), ("", "", 0))

    def test_are_those_of_the_build(self):
        built = {path.name: path.read_text(encoding="utf-8") for path in pathlib.Path(BUILT).glob("man?/*")}
        undated = [{name: re.sub(r"^\.Dd .*", "", text) for name, text in pages.items()}
                   for pages in (built, self.pages)]
        self.assertEqual(*undated)

    def test_carry_the_date_of_the_sources(self):
        self.assertEqual({text.split("\n")[0] for text in self.pages.values()}, {".Dd January 1, 1970"})

    def test_some_pages_as_they_are(self):
        for name in GOLDEN_PAGES:
            with self.subTest(name):
                text = self.pages[name]
                if name not in WITH_EXAMPLES:
                    text = re.sub(r"^\.Sh EXAMPLES\n.*?(?=^\.Sh)", "", text, flags=re.DOTALL | re.MULTILINE)
                self.check_golden(name, text)
        self.check_golden("names.txt", "".join(f"{name}\n" for name in sorted(self.pages)))

    def test_each_command_has_a_page_with_the_usage_line_of_its_help(self):
        self.assertEqual(len(self.commands), len([name for _, name in tables.commands() if name]) + 7)
        helped = self.world.run("help", terminal=4000).stdout.replace(TOOL, "nimbrel")
        usages = {" ".join(line.split()) for line in helped.split("\n") if line.startswith("    ")}
        without_help = {"help [-output|-o text|nvmxml|json] [Name=name] [verb=verb]",  # which the list of commands leaves out
                        "set [-output|-o text|nvmxml|json] -system AdditionalFWModDir=directory path",
                        "set [-output|-o text|nvmxml|json] -system VelkoSSDFeaturesPath=library path"}
        expected = {re.sub(r"[()]", "", usage).replace(" = ", "=").replace(" | ", "|") for usage in usages}
        shown = {section(rendered(text), "SYNOPSIS").removeprefix("nimbrel ").replace(" | ", "|")
                 for text in self.commands.values()}
        self.assertEqual(shown, expected | without_help)

    def test_first_page_leads_to_each_command(self):
        named = re.findall(r"^\.It Xr (\S+) 8$", self.pages["nimbrel.8"], re.MULTILINE)
        self.assertEqual(sorted(f"{name}.8" for name in named), sorted(self.commands))

    def test_first_page_has_each_exit_status_of_the_tool(self):
        statuses = section(rendered(self.pages["nimbrel.8"]), "EXIT STATUS")
        numbers = {int(number) for number in re.findall(r"\b\d+\b", statuses)}
        self.assertEqual({number for number, _ in tables.exit_statuses()} - numbers, set())

    def test_settings_page_has_the_settings_of_a_new_file(self):
        self.world.run("help")
        file = xml.etree.ElementTree.parse(self.world.config).getroot()
        page = self.pages["nimbrel_config.xml.5"]
        self.assertEqual([found.get("name") for found in file],
                         re.findall(r"^\.It Cm (\S+) Ar", page, re.MULTILINE))
        for setting in file:
            text = re.search(rf"^\.It Cm {setting.get('name')} .*?(?=^\.It|^\.El)", page, re.DOTALL | re.MULTILINE)
            default = f".Ql {setting.get('value')} ." if setting.get("value") else "The default is empty."
            self.assertIn(default, text.group())
        self.assertIn(f"name=\\(dq{file.get('name')}\\(dq", page)

    def test_page_of_outputs_has_all_objects_and_keys(self):
        page = rendered(self.pages["nimbrel-output.7"])
        contract = (ROOT / "docs/output.md").read_text(encoding="utf-8")
        objects = re.findall(r"^### (.*)$", contract, re.MULTILINE)
        self.assertGreater(len(objects), 100)
        self.assertEqual(re.findall(r"^   (\S.*)$", page, re.MULTILINE), objects)
        keys = re.findall(r"^\| `([^`]+)` \|", contract, re.MULTILINE)
        self.assertGreater(len(keys), 1000)
        tags = re.findall(r"^\.It Sy (.*)$", self.pages["nimbrel-output.7"], re.MULTILINE)[-len(keys):]
        self.assertEqual([tag.replace(r"\&", "").strip('"') for tag in tags],
                         [key.replace("-", r"\-").replace("'", r"\(aq") for key in keys])

    def test_page_of_simulated_drives_has_its_help(self):
        page = rendered(self.pages["nimbrel-simdrive.1"])
        helped = subprocess.run([SIMDRIVE, "--help"], check=True, capture_output=True, text=True).stdout
        shown = "\n".join(f"       {line}".rstrip() for line in helped.rstrip("\n").split("\n"))
        self.assertIn(f"\n{shown}\n", page)


class Markdown(unittest.TestCase):
    def test_becomes_mdoc(self):
        text = """# Title

<!-- setup
nimbrel-simdrive create x
-->
## One - two

A `nimbrel -x 'y'` that
breaks, **not** [here](there.md). A second sentence.
.dots begin no macro.

- first
  goes on
- second

### Rows

| key | value | when |
|---|---|---|
| `A - b` | text | always |
| it's \\| | | never |

| two | columns |
|---|---|
| a | b |

```console
# echo '^~' \\
.x
```
"""
        self.assertEqual("\n".join(markdown.to_mdoc(text)), r"""
.Sh ONE - TWO
A \fBnimbrel \-x \(aqy\(aq\fP that breaks, \fBnot\fP here.
A second sentence.
\&.dots begin no macro.
.Bl -bullet
.It
first goes on
.It
second
.El
.Ss Rows
.Bl -tag -width Ds
.It Sy "A \- b"
value: text; when: always
.It Sy "it\(aqs |\&"
when: never
.El
.Bl -tag -width Ds
.It Sy a
b
.El
.Bd -literal -offset 2n
# echo \(aq\(ha\(ti\(aq \e
\&.x
.Ed
""".strip("\n"))


if __name__ == "__main__":
    unittest.main()
