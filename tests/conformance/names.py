"""Short and long names of log pages, serial numbers of digits, and the table of docs/names-and-sizes.md."""

import os
import pathlib
import re
import unittest

import tables
from simulated import SimulatedTestCase

ROOT = pathlib.Path(__file__).resolve().parents[2]
DOCUMENT = ROOT / "docs/names-and-sizes.md"
HEAD = "| identifier | name | short name |\n|---|---|---|\n"
REWRITE = os.environ.get("NIMBREL_REWRITE_GOLDENS") == "1"


def pages():
    """Identifier, name and short name of each log page, in the order of the identifiers."""
    return sorted(tables.log_pages())


class Document(unittest.TestCase):
    def test_every_log_page_has_its_row(self):
        table = HEAD + "".join(f"| {lid} | {name} | `{short}` |\n" for lid, name, short in pages())
        text = DOCUMENT.read_text()
        before, head, after = text.partition(HEAD)
        expected = before + table + after[after.index("\n\n") + 1 if after.startswith("|") else 0:]
        if REWRITE:
            DOCUMENT.write_text(expected)
        else:
            self.maxDiff = None
            self.assertTrue(head)
            self.assertEqual(text, expected)

    def test_no_name_selects_two_pages(self):
        # A short name may be the name itself, as it counts.
        names = [name for _, *both in pages() for name in {re.sub("[^a-z0-9]", "", name.lower()) for name in both}]
        self.assertEqual(sorted(names), sorted(set(names)))
        self.assertNotIn("list", names)


class Names(SimulatedTestCase):
    def test_a_short_name_shows_what_the_identifier_shows(self):
        self.make_drive("velko", telemetry="yes", persistent_event_log="yes")
        self.make_drive("ocp")
        listed = self.tool("show", "-velkossd", "SIM-OCP-1", "-nvmelog", "list").stdout
        for lid, name, short in pages():
            is_ocp = short.startswith("ocp-")
            if is_ocp and f"LID {lid} : {name}" not in listed:
                continue
            with self.subTest(short=short):
                words = (short, name, *([lid] if lid != "0x00" else []))  # 0 selects all pages
                runs = {(run.status, *run.stdout.splitlines()[:2]) for word in words
                        for run in [self.tool("show", "-velkossd", "SIM-OCP-1" if is_ocp else "SIM-VELKO-1",
                                              "-nvmelog", word)]}
                self.assertEqual(len(runs), 1)
                if is_ocp:
                    self.assertEqual(runs.pop(), (0, "", f"- {name} SIM-OCP-1 -"))
        run = self.tool("show", "-velkossd", "SIM-VELKO-1", "-nvmelog", "smart")
        self.assertEqual((run.status, run.stdout.splitlines()[1]), (0, "- SMART / Health Information SIM-VELKO-1 -"))
        refused = self.tool("show", "-velkossd", "SIM-VELKO-1", "-nvmelog", "smarter")
        self.assertEqual((refused.status, refused.stdout),
                         (3, "Error: Invalid log name specified. There is no log page 'smarter'; 'list' shows those of "
                             "a drive.\n"))

    def test_a_page_of_ocp_that_is_named_and_not_offered_is_not_asked_for(self):
        self.make_drive("ocp")
        run = self.tool("show", "-velkossd", "0", "-nvmelog", "ocp-strings")
        self.assertEqual((run.status, run.stdout.splitlines()[-2]),
                         (3, "Status : The selected drive does not support this feature. Drive SIM-OCP-1 "
                             "(/opt/velko/nimbrel/SimulatedDrives/ocp/dev/ocp) does not offer log page 0xC9 (OCP "
                             "Telemetry String Log)."))

    def test_digits_that_are_no_index_are_a_serial_number(self):
        self.make_drive("ocp", serial_number="77")
        self.make_drive("velko", serial_number="1")
        show = ("show", "-display", "SerialNumber", "-velkossd")
        for word, serial in (("77", "77"), ("0", "77"), ("1", "1")):
            self.check_tool(*show, word, stdout=f"\n- Velko SSD {serial} -\n\nSerialNumber : {serial}\n\n")
        self.check_tool(*show, "2", stdout="Error: Provided device index is invalid. Device could not be found.\n",
                        status=3)
        self.check_tool("set", "-velkossd", "77", "TempThreshold=60", stdout="Set TempThreshold successful.\n")


if __name__ == "__main__":
    unittest.main()
