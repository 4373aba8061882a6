"""The page of each command, out of the grammar, with examples of the documents."""

import re

import mdoc

EXAMPLES = 2  # of a command, at most
EXAMPLE_LINES = 24  # of output; a longer one shows the command alone


def summary(text):
    """The first sentence of a help text, as the line of a page's name has it."""
    sentence = re.match(r"(.*?)(?:\.\s|\.?$)", text.strip(), re.DOTALL).group(1)
    return sentence[0].lower() + sentence[1:] if sentence[:1].isupper() and sentence[1:2].islower() else sentence


def flag(name):
    return f"Fl {mdoc.literal(name.removeprefix('-'))}"


def usage(part):
    """An option or a target with its value."""
    name = flag(part.name) + (f" | {flag(part.short_name)}" if part.short_name else "")
    if not part.value:
        return name
    return name + (" Ar " if part.value_required else " Op Ar ") + mdoc.argument(part.value)


def property_usage(part):
    optional = "" if part.value_required else "Op "
    return f"Cm {mdoc.literal(part.name)}= Ns {optional}Ar {mdoc.argument(part.value)}"


def synopsis(command):
    lines = [".Nm nimbrel", f".Cm {command.verb}"]
    for parts, form in ((command.options + command.targets, usage), (command.properties, property_usage)):
        lines += [("." if part.required else ".Op ") + form(part) for part in parts]
    return lines


def help_lines(text):
    """A help text; a list of values in it becomes a list."""
    rows = re.findall(r"^\s*(0x[0-9A-F]+) - (.*)$", text, re.MULTILINE)
    prose = re.sub(r"^\s*0x[0-9A-F]+ - .*$|^\s*Feature ID - .*$", "", text, flags=re.MULTILINE)
    values = mdoc.tags([(f"Li {value}", [mdoc.prose(name)]) for value, name in rows], "-width 0xFFFF -compact")
    return mdoc.paragraph(mdoc.prose(prose)) + values


def parts_section(title, parts, form):
    rows = [(form(part), help_lines(part.help)) for part in parts]
    return [f".Sh {title}", *mdoc.tags(rows)] if rows else []


def example_lines(examples):
    lines = []
    for command_line, output in examples:
        lines += mdoc.display([f"# {command_line}", *(output if len(output) <= EXAMPLE_LINES else [])])
    return [".Sh EXAMPLES", *lines] if lines else []


def show_command(target):
    return f".Ql nimbrel show \\-velkossd Ar drive {mdoc.literal(target)}".rstrip()


def outcome_lines(command):
    if not command.outcome:
        return []
    lines = [".Pp", "When the command is interrupted,", show_command(command.outcome), "shows what became of it"]
    if command.outcome == command.outcome_of_sata:
        return [*lines[:-1], lines[-1] + "."]
    return [*lines[:-1], lines[-1] + ",", "of a SATA drive", show_command(command.outcome_of_sata) + " ."]


def body(command, examples):
    """The sections of a command's page after its name. Examples: (command line, lines of output)."""
    return [
        ".Sh SYNOPSIS", *synopsis(command),
        ".Sh DESCRIPTION", *help_lines(command.help), *outcome_lines(command),
        *parts_section("OPTIONS", command.options, usage),
        *parts_section("TARGETS", command.targets, usage),
        *parts_section("PROPERTIES", command.properties, property_usage),
        ".Sh EXIT STATUS",
        "0 is success, everything else a failure:", ".Xr nimbrel 8", "has the numbers.",
        *example_lines(sorted(examples, key=lambda example: len(example[1]))[:EXAMPLES]),
        ".Sh SEE ALSO", ".Xr nimbrel-output 7 ,", ".Xr nimbrel 8"]
