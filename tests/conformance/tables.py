"""The product's own tables, as tests/support/tables prints them."""

import os
import subprocess


def rows(table):
    """The rows of a table, each a list of texts."""
    text = subprocess.run([os.environ["NIMBREL_TABLES"]], check=True, capture_output=True, text=True).stdout
    lines = (line.split("\t", 1) for line in text.splitlines())
    return [fields for name, fields in lines if name == table]


def commands():
    """Number and name of each command; the name is empty where it has no command line."""
    return [(int(number), name) for number, name in (row.split("\t") for row in rows("command"))]


def exit_statuses():
    """Number and name of each exit status that is the tool's own."""
    return [(int(number), name) for number, name in (row.split("\t") for row in rows("exit"))]


def log_pages():
    """Identifier, name and short name of each log page."""
    return [tuple(row.split("\t")) for row in rows("log")]


def statuses():
    """Category, code and text of each predefined status, in the catalogue's order."""
    return [tuple(row.split("\t", 2)) for row in rows("status")]
