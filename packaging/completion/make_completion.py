"""Makes the completion of bash, zsh and fish.

    make_completion.py GRAMMAR COMPLETE FOLDER

GRAMMAR is what the program grammar printed, COMPLETE the place of the program `complete` on the machine. FOLDER gets
`complete`, which knows what may follow on a command line, and the scripts of the shells, which ask it."""

import pathlib
import re
import sys

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
sys.path.insert(0, str(HERE.parent / "grammar"))

from grammar import Grammar  # noqa: E402

SCRIPTS = ("nimbrel.bash", "_nimbrel", "nimbrel.fish")

# How usage names values that are not words of a list.
KINDS = {"Index|SerialNumber|PhysicalPath": "drives", "log name, log ID, or 'list'": "logs", "name": "names",
         "verb": "verbs", "path": "files", "filename": "files", "file name": "files", "path to input file": "files",
         "library path": "files", "directory path": "folders", "file path": "folders", "drive letter": "folders"}

# The object of docs/output.md of which -display selects keys, by the name of the command.
DISPLAYED = {"VelkoSSD": "Velko SSD", "Sensors": "Health Sensors", "Performance": "Performance Metrics",
             "ShowLED": "LED Activity"}


def one_line(text):
    return " ".join(text.split())


def ranged(word):
    """1-3 is 1, 2 and 3."""
    found = re.fullmatch(r"(\d+)-(\d+)", word)
    return [str(number) for number in range(int(found[1]), int(found[2]) + 1)] if found else [word]


def words(value):
    """The words that a usage text lists: those in quotes, where there are some, or all between the bars."""
    quoted = "|".join(re.findall(r"'([^']*)'", value))
    listed = (quoted or value).split("|")
    found = [word for item in listed for word in ranged(item)]
    return found if quoted or len(found) > 1 or value == "true" else []


def displayed(command, grammar):
    """What -display of a command takes, with the meaning."""
    if command.name == "SMART":
        return [(name.strip().removeprefix("and "), "") for name in
                re.search(r"following properties: (.*?)\.", command.help).group(1).split(",")]
    if command.name == "System":
        return [(name, "") for name in grammar.settings]
    if command.name == "Version":
        return [("license", "")]
    if command.name not in DISPLAYED:
        return []
    contract = (ROOT / "docs/output.md").read_text(encoding="utf-8")
    table = re.search(rf"^### {DISPLAYED[command.name]}\n(.*?)^### ", contract, re.DOTALL | re.MULTILINE).group(1)
    return [(name.split(" - ")[0], meaning) for name, meaning in
            re.findall(r"^\| `([^`|*]+)` \|(?:[^|]|\\\|)*\| ([^|]*) \|", table, re.MULTILINE)]


class Table:
    """The rows that `complete` reads, with tabs between the fields:

        command VERB
        part KIND NAME SHORT REQUIRED TAKES LIST HELP    of the command above
        value LIST WORD MEANING

    KIND: option, target or property. REQUIRED: 1 or 0. TAKES: whether a value is required, optional or none."""

    def __init__(self, grammar):
        self.grammar, self.rows, self.lists = grammar, [], set()
        self.add_list("logs", [("list", "all logs that the drive supports")] +
                      [(short, name) for _, name, short in grammar.log_pages])
        self.add_list("names", [(command.name, "") for command in grammar.commands])
        self.add_list("verbs", [(verb, "") for verb in sorted({command.verb for command in grammar.commands})])
        for command in grammar.commands:
            self.add_command(command)

    def add_list(self, name, entries):
        if name not in self.lists:
            self.lists.add(name)
            self.rows += [("value", name, word, meaning) for word, meaning in entries]
        return name

    def add_command(self, command):
        parts = [(kind, part, self.list_of(command, part)) for kind, parts in (
            ("option", command.options), ("target", command.targets), ("property", command.properties))
            for part in parts]
        self.rows.append(("command", command.verb))
        for kind, part, values in parts:
            takes = "required" if part.value_required else "optional" if part.value else "none"
            self.rows.append(("part", kind, part.name, part.short_name, "1" if part.required else "0", takes, values,
                              one_line(part.help.split("\n")[0])))

    def list_of(self, command, part):
        """The name of the list of a part's values; empty where none is known."""
        if part.value in KINDS:
            return KINDS[part.value]
        if part.value == "Property1,...":
            return self.add_list(f"display {command.name}", displayed(command, self.grammar))
        features = re.findall(r"^\s*(0x[0-9A-F]+) - (.*)$", part.help, re.MULTILINE)
        if features:
            return self.add_list(f"{part.name} of {command.verb}", features)
        listed = words(part.value)
        return self.add_list(part.value, [(word, "") for word in listed]) if listed else ""

    def text(self):
        return "\n".join("\t".join(row) for row in self.rows)


def main(grammar_file, complete, folder):
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    table = Table(Grammar(grammar_file)).text()
    program = folder / "complete"
    program.write_text((HERE / "complete.in").read_text(encoding="utf-8").replace("@TABLE@", table), encoding="utf-8")
    program.chmod(0o755)
    for name in SCRIPTS:
        text = (HERE / f"{name}.in").read_text(encoding="utf-8")
        (folder / name).write_text(text.replace("@COMPLETE@", complete), encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
