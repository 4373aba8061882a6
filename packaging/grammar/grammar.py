"""The command line as the program grammar prints it."""

import json
import pathlib


class Part:
    """An option, a target or a property of a command."""

    def __init__(self, fields):
        self.name, self.short_name = fields["name"], fields["shortName"]
        self.required, self.value_required = fields["required"], fields["valueRequired"]
        self.help = fields["help"]
        self.value = fields["value"].removeprefix("(").removesuffix(")") if fields["value"].count("(") == 1 \
            else fields["value"]


class Command:
    def __init__(self, fields):
        self.name, self.verb, self.help = (fields[key] for key in ("name", "verb", "help"))
        self.outcome, self.outcome_of_sata = fields["outcome"]
        self.options, self.targets, self.properties = (
            [Part(part) for part in fields[key]] for key in ("options", "targets", "properties"))

    def page(self):
        """The name of the manual page: the verb, and the first word that the command line cannot do without, but for
        -velkossd and -system, which many commands have."""
        required = [part.name for part in self.targets if part.required and part.name not in ("-velkossd", "-system")]
        required += [part.name for part in self.properties if part.required]
        words = required or [part.name for part in self.targets]
        return "-".join(["nimbrel", self.verb] + [word.lstrip("-").lower() for word in words[:1]])

    def takes(self, words):
        """Whether a command line with these words, without the program's name, may be this command."""
        if words[0].lower() != self.verb:
            return False
        parts = {}
        for part in self.options + self.targets + self.properties:
            parts[part.name.lower()] = parts[part.short_name.lower()] = part
        given = {word.partition("=")[0].lower() for word in words[1:] if word.startswith("-") or "=" in word}
        needed = {part.name.lower() for part in self.targets + self.properties if part.required}
        return given <= parts.keys() and needed <= given


class Grammar:
    def __init__(self, path):
        # Help texts have line feeds and tabs, which strict JSON has in another form.
        fields = json.loads(pathlib.Path(path).read_text(encoding="utf-8"), strict=False)
        self.version = fields["version"]
        self.commands = sorted((Command(command) for command in fields["commands"]), key=Command.page)
        self.settings = {setting["name"]: setting["default"] for setting in fields["settings"]}
        self.log_pages = [(page["lid"], page["name"], page["shortName"]) for page in fields["logPages"]]

    def command_of(self, words):
        """The only command that a command line may be, None where there is none or more than one."""
        found = [command for command in self.commands if command.takes(words)]
        return found[0] if len(found) == 1 else None
