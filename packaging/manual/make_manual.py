"""Makes the manual pages.

    make_manual.py GRAMMAR SIMDRIVE_HELP FOLDER

GRAMMAR is what the program grammar printed, SIMDRIVE_HELP what `nimbrel-simdrive --help` did. The pages are written to
FOLDER/man1, man5, man7 and man8; what else is there under the name of a page goes. The pages' date is that of
SOURCE_DATE_EPOCH, if it is set, so that builds can be compared."""

import datetime
import os
import pathlib
import re
import shlex
import sys

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
sys.path.insert(0, str(HERE.parent / "grammar"))

import commands  # noqa: E402
import markdown  # noqa: E402
import mdoc  # noqa: E402
from grammar import Grammar  # noqa: E402

EXAMPLE = re.compile(r"^# (nimbrel .+)\n((?:(?![#$] ).*\n)*)", re.MULTILINE)

# Settings that no command sets: help text and values.
NO_COMMAND = {"EnableLSIAdapter": (
    "Whether the feature library is to use its support of adapters. The library of this project has none.", "true|false")}


def document(name):
    return (ROOT / name).read_text(encoding="utf-8")


def date():
    seconds = os.environ.get("SOURCE_DATE_EPOCH")
    day = datetime.datetime.fromtimestamp(int(seconds), datetime.timezone.utc) if seconds else datetime.datetime.now()
    return f"{day:%B} {day.day}, {day.year}"


def shown_commands(text):
    """Command line and lines of output of each command that a document shows."""
    for block in re.findall(r"^```console\n(.*?)^```", text, re.DOTALL | re.MULTILINE):
        for line, output in EXAMPLE.findall(block):
            yield line, output.rstrip("\n").split("\n") if output.strip() else []


def examples(grammar):
    """What the documents show of each command, by the name of its page."""
    found = {}
    for path in [ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md"))]:
        for line, output in shown_commands(path.read_text(encoding="utf-8")):
            if re.search(r"[|&;<>$\\]| -h(elp)? ", line):  # more than one program or line, or the help itself
                continue
            command = grammar.command_of(shlex.split(line)[1:])
            if command and line not in (shown for shown, _ in found.get(command.page(), [])):
                found.setdefault(command.page(), []).append((line, output))
    return found


def tasks():
    """The commands of the guide, by task."""
    lines = []
    for title, text in re.findall(r"^## ([^\n]*)\n(.*?)(?=^## |\Z)", document("docs/guide.md"), re.DOTALL | re.MULTILINE):
        shown = [f"# {line}" for line, _ in shown_commands(text)]
        lines += [f".Ss {mdoc.argument(title)}", *mdoc.display(shown)] if shown else []
    return lines


def command_list(grammar):
    rows = [(f"Xr {command.page()} 8", mdoc.paragraph(mdoc.prose(commands.summary(command.help))))
            for command in grammar.commands]
    return mdoc.tags(rows)


def setting_list(grammar):
    """The settings, with the help text of the `set` command that sets each."""
    helps = dict(NO_COMMAND)
    helps.update((part.name, (command.help, part.value)) for command in grammar.commands
                 for part in command.properties if command.verb == "set")
    rows = []
    for name, default in grammar.settings.items():
        text, value = helps[name]
        shown = ["The default is", f".Ql {mdoc.literal(default)} ."] if default else ["The default is empty."]
        rows.append((f"Cm {name} Ar {mdoc.argument(value)}", mdoc.paragraph(mdoc.prose(text)) + shown))
    return mdoc.tags(rows)


def template(name, **parts):
    """A page that a hand wrote, with the parts that it names on lines of their own: @PART@."""
    lines = []
    for line in (HERE / name).read_text(encoding="utf-8").splitlines():
        found = re.fullmatch(r"@(\w+)@", line)
        lines += parts.pop(found.group(1)) if found else [line]
    if parts:
        raise ValueError(f"{name} does not use {', '.join(parts)}")
    return "\n".join(lines) + "\n"


def pages(grammar, simdrive_help):
    """The text of each page by its name with the section: nimbrel.8."""
    today, found = [f".Dd {date()}"], examples(grammar)
    made = {
        "nimbrel.8": template("nimbrel.8.in", DATE=today, COMMANDS=command_list(grammar), EXAMPLES=tasks(),
                              EXIT_STATUS=markdown.to_mdoc(markdown.section(document("README.md"), "Exit status"))),
        "nimbrel-simdrive.1": template(
            "nimbrel-simdrive.1.in", DATE=today, HELP=mdoc.display(simdrive_help.rstrip("\n").split("\n")),
            DESCRIPTION=markdown.to_mdoc(markdown.section(document("docs/simulated-drives.md"), "The description"))),
        "nimbrel_config.xml.5": template("nimbrel_config.xml.5.in", DATE=today, SETTINGS=setting_list(grammar)),
        "nimbrel-output.7": template("nimbrel-output.7.in", DATE=today,
                                     CONTRACT=markdown.to_mdoc(document("docs/output.md"))),
        "nimbrel-exporter.8": template("nimbrel-exporter.8.in", DATE=today,
                                       DOCUMENT=markdown.to_mdoc(document("docs/exporter.md"))),
        "nimbrel-report.8": template("nimbrel-report.8.in", DATE=today,
                                     DOCUMENT=markdown.to_mdoc(document("docs/report.md"))),
    }
    for command in grammar.commands:
        name = command.page()
        made[f"{name}.8"] = mdoc.page(name, 8, commands.summary(command.help), date(),
                                      commands.body(command, found.get(name, [])))
    if len(made) != len(grammar.commands) + 6:
        raise ValueError("two commands have the same page")
    return made


def main(grammar_file, help_file, folder):
    made = pages(Grammar(grammar_file), pathlib.Path(help_file).read_text(encoding="utf-8"))
    folder = pathlib.Path(folder)
    for old in folder.glob("man?/nimbrel*"):
        old.unlink()
    for name, text in made.items():
        path = folder / f"man{name[-1]}" / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
