import unittest

import samples  # noqa: F401  (sets the path)
from nimbrel_report.values import quantity, text

CASES = (
    ("38 C", "C", 38), ("-5 C", "C", -5), ("100 %", "%", 100), (7, None, 7), (7, "hours", 7),
    ("132 units of 512000 bytes", "bytes", 67584000), ("6 units of 5 milliseconds", "milliseconds", 30),
    ("not reported", "C", None), ("Property not found", "bytes", None), ("none", None, None), (None, "C", None),
)
# A number of another unit is worse than none.
WRONG = (("38 F", "C"), ("38", "C"), ("38 C", None), ("about 38 C", "C"), (True, None), ("0x01", None), ("", "C"))


class Values(unittest.TestCase):
    def test_numbers_of_the_tool(self):
        for value, unit, number in CASES:
            self.assertEqual(quantity(value, unit), number, value)

    def test_other_forms_are_errors(self):
        for value, unit in WRONG:
            with self.assertRaises(ValueError, msg=f"{value!r} as {unit}"):
                quantity(value, unit)

    def test_digits_are_a_text(self):
        self.assertEqual(text(20260042), "20260042")
        self.assertEqual(text("007"), "007")


if __name__ == "__main__":
    unittest.main()
