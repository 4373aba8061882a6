"""scripts/times makes its table of CTest's log."""

import importlib.machinery
import importlib.util
import pathlib
import unittest

PATH = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "times"
LOADER = importlib.machinery.SourceFileLoader("times_script", str(PATH))
times = importlib.util.module_from_spec(importlib.util.spec_from_loader("times_script", LOADER))
LOADER.exec_module(times)

LOG = """Start testing: Nov 22 07:51 UTC
----------------------------------------------------------
2/4 Testing: vm.prepare
2/4 Test: vm.prepare
Output:
----------------------------------------------------------
Test time = nothing that counts
<end of output>
Test time =   6.24 sec
----------------------------------------------------------
Test Passed.

1/4 Testing: unit.Lexer.EndsAtBlanks
Output:
Test time =   0.03 sec
3/4 Testing: vm.uses.Uses
Test time =  36.50 sec
4/4 Testing: unit.Lexer.Starts
Test time =   1.00 sec
"""


class Times(unittest.TestCase):
    def test_are_read_from_the_log(self):
        self.assertEqual(times.measured(LOG), {"vm.prepare": 6.24, "unit.Lexer.EndsAtBlanks": 0.03,
                                               "vm.uses.Uses": 36.5, "unit.Lexer.Starts": 1.0})

    def test_are_summed_by_part(self):
        self.assertEqual(times.table(times.measured(LOG)),
                         "| part | tests | seconds | the longest |\n"
                         "|---|---|---|---|\n"
                         "| vm | 2 | 43 | `vm.uses.Uses`, 36 |\n"
                         "| unit | 2 | 1 | `unit.Lexer.Starts`, 1 |\n"
                         "| all | 4 | 44 | |")

    def test_are_compared_with_the_labels(self):
        self.assertEqual(times.mislabelled({"a": 10.0, "b": 10.1, "c": 10.0, "d": 10.1, "vm.e": 9.0},
                                             {"c", "d", "vm.e"}),
                         ['b: 10.1 s, and has no label "slow"', 'c: 10.0 s, and has the label "slow"'])


if __name__ == "__main__":
    unittest.main()
