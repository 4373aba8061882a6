"""Text as mdoc(7) takes it."""

import re
import textwrap

WIDTH = 78  # of an input line: mandoc -T lint reports more than 80
ESCAPES = {"\\": r"\e", "-": r"\-", "'": r"\(aq", "`": r"\(ga", "^": r"\(ha", "~": r"\(ti", '"': r"\(dq",
           "…": "...", "–": r"\(en"}


def literal(text):
    """Text that is copied to a command line: no character may turn into its typographic cousin."""
    return "".join(ESCAPES.get(character, character) for character in text)


def prose(text):
    return text.replace("\\", r"\e")


def guarded(line):
    """A line that begins with a control character is text, too."""
    return r"\&" + line if line[:1] in (".", "'") else line


def argument(text):
    """One argument of a macro, and never a macro or punctuation itself."""
    head = r"\&" if re.match(r"\W|\w{2,3}$", text) else ""
    tail = r"\&" if re.search(r"\W$", text) else ""
    text = head + literal(text) + tail
    return f'"{text}"' if " " in text else text


def paragraph(text):
    """The input lines of a paragraph: each sentence begins a line of its own."""
    lines = []
    for sentence in re.split(r"(?<=[.!?])\s+|(?<=[.!?][\")'])\s+|(?<=[.!?]\\f[PR])\s+", " ".join(text.split())):
        lines += textwrap.wrap(sentence, WIDTH, break_long_words=False, break_on_hyphens=False)
    return [guarded(line) for line in lines]


def display(lines):
    """Lines as they are."""
    return [".Bd -literal -offset 2n", *(guarded(literal(line.rstrip())) for line in lines), ".Ed"]


def tags(rows, options="-width Ds"):
    """A list of tags, each (tag line after .It, lines of the text)."""
    lines = [f".Bl -tag {options}"]
    for tag, text in rows:
        lines += [f".It {tag}", *text]
    return [*lines, ".El"] if rows else []


def page(name, section, description, date, body):
    """A whole page."""
    head = [f".Dd {date}", f".Dt {name.upper()} {section}", ".Os", ".Sh NAME", f".Nm {name}",
            f".Nd {prose(description)}"]
    return "\n".join(head + body) + "\n"
