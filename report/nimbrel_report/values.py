"""The values of the tool's JSON as numbers and texts: docs/output.md has their forms."""

import re

# A number, and what it counts: "38 C", "132 units of 512000 bytes".
_QUANTITY = re.compile(r"(-?\d+)(?: units of (\d+))?(?: (\S.*))?")
# Words in the place of a number that the drive does not report.
_ABSENT = {"not reported", "Property not found", "none"}


def text(value):
    """As it is to be read: a serial number that is all digits is a number in JSON."""
    return str(value).strip()


def quantity(value, unit=None):
    """The number of a value that is in this unit, None for one that the drive does not report.

    A value in another unit or form is a ValueError: a wrong number would be worse than none."""
    if value is None or value in _ABSENT:
        return None
    if isinstance(value, int) and not isinstance(value, bool):
        return value
    match = _QUANTITY.fullmatch(str(value))
    if not match or (match[3] != unit):
        raise ValueError(f"'{value}' is not a number{f' of {unit}' if unit else ''}")
    return int(match[1]) * int(match[2] or 1)
