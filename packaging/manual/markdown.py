"""The documents of the project as mdoc(7): headings, paragraphs, lists, tables and fenced blocks of Markdown."""

import re

import mdoc

COMMENT = re.compile(r"<!--.*?-->\n?", re.DOTALL)
INLINE = re.compile(r"`([^`]+)`|\*\*([^*]+)\*\*|\[([^\]]+)\]\(([^)]*)\)")
ITEM = re.compile(r"(?:- |\d+\. )(.*)")


def inline(text):
    """Code and strong words in bold; of a link its text."""
    out, place = "", 0
    for found in INLINE.finditer(text):
        code, strong, link, _ = found.groups()
        out += mdoc.prose(text[place:found.start()])
        if code is not None:
            out += rf"\fB{mdoc.literal(code)}\fP"
        elif strong is not None:
            out += rf"\fB{inline(strong)}\fP"
        else:
            out += inline(link)
        place = found.end()
    return out + mdoc.prose(text[place:])


def section(text, heading):
    """The lines below a heading of the second level, up to the next one."""
    found = re.search(rf"^## {re.escape(heading)}\n(.*?)(?=^## |\Z)", text, re.DOTALL | re.MULTILINE)
    if not found:
        raise ValueError(f"no heading {heading}")
    return found.group(1)


def without_fences(text):
    return re.sub(r"^```.*?^```$", "", text, flags=re.DOTALL | re.MULTILINE)


def cells(line):
    return [cell.strip().replace(r"\|", "|") for cell in re.split(r"(?<!\\)\|", line.strip())[1:-1]]


class Converter:
    """Reads the lines of a document once and collects those of the page."""

    def __init__(self, text):
        self.lines = COMMENT.sub("", text).split("\n")
        self.number = 0
        self.out = []

    def convert(self):
        while self.number < len(self.lines):
            line = self.lines[self.number]
            if line.startswith("```"):
                self.fence()
            elif line.startswith("#"):
                self.heading(line)
            elif line.startswith("|"):
                self.table()
            elif ITEM.match(line):
                self.items()
            elif line.strip():
                self.text()
            else:
                self.number += 1
        return self.out

    def paragraph(self, lines):
        if self.out and not self.out[-1].startswith((".Sh", ".Ss")):
            self.out.append(".Pp")
        self.out += lines

    def heading(self, line):
        marks, _, text = line.partition(" ")
        if len(marks) > 1:  # the first level is the title of the page
            self.out.append(f".Sh {text.upper()}" if len(marks) == 2 else f".Ss {mdoc.argument(text.replace('`', ''))}")
        self.number += 1

    def fence(self):
        first = self.number + 1
        self.number = self.lines.index("```", first)
        self.out += mdoc.display(self.lines[first:self.number])
        self.number += 1

    def block(self, ends):
        """The lines up to an empty one, or to one that begins something else."""
        first = self.number
        self.number += 1
        while self.number < len(self.lines) and self.lines[self.number].strip() and not ends(self.lines[self.number]):
            self.number += 1
        return " ".join(line.strip() for line in self.lines[first:self.number])

    def text(self):
        self.paragraph(mdoc.paragraph(inline(self.block(
            lambda line: line.startswith(("```", "#", "|")) or ITEM.match(line)))))

    def items(self):
        lines = [".Bl -bullet"]
        while self.number < len(self.lines) and (found := ITEM.match(self.lines[self.number])):
            self.lines[self.number] = found.group(1)
            lines += [".It", *mdoc.paragraph(inline(self.block(ITEM.match)))]
        self.out += [*lines, ".El"]

    def table(self):
        """The first column is the tag; a further one shows its heading where there are several."""
        head = cells(self.lines[self.number])
        self.number += 2
        rows = []
        while self.number < len(self.lines) and self.lines[self.number].startswith("|"):
            tag, *rest = cells(self.lines[self.number])
            named = [f"{name}: {cell}" if name and len(rest) > 1 else cell for name, cell in zip(head[1:], rest) if cell]
            rows.append(("Sy " + mdoc.argument(tag.replace("`", "")), mdoc.paragraph(inline("; ".join(named)))))
            self.number += 1
        self.out += mdoc.tags(rows)


def to_mdoc(text):
    return Converter(text).convert()
