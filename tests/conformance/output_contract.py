"""docs/output.md and docs/output.schema.json say what the commands print, and every golden file keeps to it.

Both are made of the keys that the program output_keys prints, from the tables of the feature library: every JSON document
of the golden files is validated against the schema, and every row is seen in one of them or is in NOT_SEEN with a reason.
NIMBREL_REWRITE_GOLDENS=1 writes the schema, and the tables of the document after its last heading that a hand wrote."""

import json
import os
import pathlib
import re
import subprocess
import unittest
import urllib.parse

import jsonschema

ROOT = pathlib.Path(__file__).resolve().parents[2]
DOCUMENT = ROOT / "docs/output.md"
SCHEMA = ROOT / "docs/output.schema.json"
GOLDENS = sorted((ROOT / "tests/conformance/golden").rglob("*.txt"))
OUTPUT_KEYS = os.environ.get("NIMBREL_OUTPUT_KEYS", "")
REWRITE = os.environ.get("NIMBREL_REWRITE_GOLDENS") == "1"
VERSION = 1
MARK = "<!-- The rest is made by tests/conformance/output_contract.py. -->\n"
NOT_FOUND = "Property not found"  # what -display shows of a key that the drive does not have
PART = " > "

# Objects that no golden file shows in JSON, as a regular expression, and why.
NOT_SEEN = {
    r"(Endurance Group|Predictable Latency|Asymmetric Namespace Access|LBA Status|Reservation Notification).*":
        "no simulated drive has this log page; the layouts of tests/unit/features/nvme show it",
    r"(LBA Range Type|Host Memory Buffer|Read Recovery Level|Sanitize Config|Software Progress|Host (Behavior|Identifier)"
    r"|Reservation Persistence|Namespace Write Protection|Boot Partition|Latency Monitor|Reset CRC|Quick Format|Clear PCIe|Feature 0x).*":
        "no simulated drive has this feature, or no command of the walk shows it",
    r"Endurance Analyzer.*": "wear takes more time than a test has; its unit test shows it",
    r"Partition .*": "a simulated drive has no partitions; tests/vm has drives with some",
    r"Health Scan.*": "a scan with findings, and of a mounted drive; drive_logs and tests/vm show them in text",
    r"System Information": "what the test's machine is, no golden file can say",
    r"Persistent Event Log.*": "a new drive has few kinds of events; the layouts of tests/unit/features/parsers have all",
    r"Drive Self-Test Result .*|Device Self-test.*": "a test that failed has more to say than the ones that are walked",
    r"(Telemetry|Firmware Slot|Supported|Commands|Error Information|Changed).*": "what only some drives have",
    r"Log Page 0x.*": "the page that the walk reads is refused",
    r"(Power Governor|LED Activity|Namespace Identification|Identify|Controllers|Autonomous|.* Capabilities).*":
        "what only some drives have, or only one of two commands shows",
}
# Keys of many objects that no golden file may show for each of them.
OPTIONAL = ("Status", "Not read", "SerialNumber", "DevicePath", "NSID - Namespace Identifier", "Data", "Offset 0x*")
KEYS_NOT_SEEN = {
    "Velko SSD": {"PCIAddress", "PCISlot", "PCILinkSpeed", "PCILinkSpeedMaximum", "PCILinkWidth", "PCILinkWidthMaximum",
                  "Bootloader", "ProductFamily", "OCPMajorVersion", "OCPMinorVersion"},  # a simulated drive sits nowhere
    # These have commands of their own, which do not show where the value comes from; -getfeature is not walked.
    "DSSD Power State": {"FID - Feature Identifier", "SEL - Select", "Dword 0"},
    "Enable IEEE1667 Silo": {"FID - Feature Identifier", "SEL - Select", "Dword 0"},
    "Namespace *": {"MountPoint"},  # it has no node that could be mounted
    "Namespace * > By-Id Names": {"Entry *"},
}


class Key:
    def __init__(self, line):
        (self.object, self.name, self.kind, self.unit, words, self.meaning, self.absent) = line.split("\t")
        self.words = words.split("|") if words else []

    def type_text(self):
        """How the document says what the value is."""
        kinds = {"number": f"NUMBER {self.unit}" if self.unit else "number", "hexadecimal": "`0x...`", "flag": "true, false",
                 "word": " or ".join(f"`{word}`" for word in self.words), "text": "text", "bytes": "NUMBER MB, GB, TB or PB",
                 "part": "object"}
        words = self.words if self.kind != "word" else []
        return "; or ".join([kinds[self.kind]] + [f"`{word}`" for word in words]).replace("|", "\\|")

    def schema(self):
        number = r"-?[0-9]+(\.[0-9]+)?"
        return any_of({
            "number": {"type": "string", "pattern": f"^{number} {re.escape(self.unit)}$"} if self.unit
                      else {"type": "integer"},
            "hexadecimal": {"type": "string", "pattern": "^0x[0-9A-F]+$"},
            "flag": {"type": "boolean"},
            "word": {"type": "string", "pattern": r"^reserved \(0x[0-9A-F]+\)$"},
            "text": {"type": ["string", "number", "boolean"]},
            "bytes": {"type": "string", "pattern": r"^[0-9]+\.[0-9]{2} (MB|GB|TB|PB)$"},
            "part": {"$ref": f"#/$defs/{reference(self.object + PART + self.name)}"},
        }[self.kind], self.words)


def any_of(schema, words):
    """A number in a word's place is one in JSON, too."""
    words = [json.loads(word) if word.isdigit() else word for word in words]
    return {"anyOf": [schema, {"enum": words}]} if words else schema


def reference(name):
    return urllib.parse.quote(name.replace("~", "~0").replace("/", "~1"), safe="~")


def pattern(name, star):
    return star.join(re.escape(part).replace(r"\ ", " ").replace(r"\-", "-") for part in name.split("*"))


def read_keys():
    """The rows by their objects; of a key that two log pages have, the words of both count."""
    text = subprocess.run([OUTPUT_KEYS], check=True, capture_output=True, text=True).stdout
    objects = {}
    for key in map(Key, text.splitlines()):
        known = objects.setdefault(key.object, {}).setdefault(key.name, key)
        known.words += [word for word in key.words if word not in known.words]
    common = objects.pop("*")
    for name, keys in objects.items():
        if PART not in name:
            objects[name] = {**common, **keys}
    return dict(sorted(objects.items()))


def object_schema(name, keys):
    schema = {"type": "object", "properties": {}, "patternProperties": {}, "additionalProperties": False}
    for key in keys.values():
        value = key.schema()
        if PART not in name:  # -display may ask for anything
            value = {"anyOf": [value, {"const": NOT_FOUND}]}
        if "*" in key.name:
            schema["patternProperties"][f"^{pattern(key.name, '.+')}$"] = value
        else:
            schema["properties"][key.name] = value
    if PART not in name:
        schema["additionalProperties"] = {"const": NOT_FOUND}
    return {field: value for field, value in schema.items() if value != {}}


# Objects that are not of a drive, or not always.
WITHOUT_DRIVE = {"Health Scan", "System Information"}


def heading_pattern(name, names):
    """A heading is the object's name and the drive's: its serial number, and its node where two have the same."""
    longer = [other[len(name) + 1:] for other in names if other.startswith(name + " ") and PART not in other]
    longer += [other[2:] for other in names if other.startswith("* ")]
    ahead = "".join(f"(?!{pattern(rest, '[^ ]+')} )" for rest in longer)
    if name.startswith("*"):
        return f"^{pattern(name, '.+')} [^ ]+( [^ ]+)?$"
    drive = f" {ahead}[^ ]+( [^ ]+)?"
    return f"^{pattern(name, '[^ ]+')}{f'({drive})?' if name in WITHOUT_DRIVE else drive}$"


def make_schema(objects):
    top = {heading_pattern(name, objects): {"$ref": f"#/$defs/{reference(name)}"} for name in objects if PART not in name}
    result = {"type": ["string", "number", "boolean"]}
    return {
        "$schema": "https://json-schema.org/draft/2020-12/schema",
        "title": "What the commands of nimbrel print with -output json",
        "description": f"Version {VERSION}; docs/output.md says what it means.",
        "anyOf": [{"$ref": "#/$defs/Error"}, {"$ref": "#/$defs/Result"}, {"$ref": "#/$defs/Drives"}],
        "$defs": {
            "Error": {"type": "object", "required": ["Error_Type", "Error_Description"], "additionalProperties": False,
                      "properties": {"Error_Type": {"type": "integer"}, "Error_Description": {"type": "string"}}},
            "Result": {"type": "object", "required": ["Result"], "additionalProperties": False,
                       "properties": {"Result": result}},
            "Outcome": {"type": "object", "required": ["Status"], "additionalProperties": False,
                        "properties": {"Status": result}},
            "Drives": {"type": "object", "patternProperties": top,
                       "additionalProperties": {"$ref": "#/$defs/Outcome"}},
            **{name: object_schema(name, keys) for name, keys in objects.items()},
        },
    }


def documents():
    """Every JSON document of the golden files, with the command that printed it."""
    for path in GOLDENS:
        for command, text in re.findall(r"^\$ nimbrel (.*)\n((?:(?!\$ nimbrel ).*\n)*?)\[exit status \d+\]", path.read_text(),
                                        re.MULTILINE):
            if " -o json " in command and text.strip():
                yield command.replace(" -o json", ""), json.loads(text[text.index("{"):])


class Seen:
    """Which keys the golden files show, and how."""

    def __init__(self, objects):
        self.objects = objects
        self.tops = {name: re.compile(heading_pattern(name, objects)) for name in objects if PART not in name}
        self.examples, self.commands = {}, {}
        for command, document in documents():
            for heading, value in document.items():
                name = next((name for name, top in self.tops.items() if top.search(heading)), None)
                if name and isinstance(value, dict):
                    if value.keys() != {"Status"}:
                        self.commands.setdefault(name, command)
                    self.walk(name, value)

    def walk(self, name, value):
        for label, entry in value.items():
            key = next((key for key in self.objects.get(name, {}).values()
                        if re.fullmatch(pattern(key.name, ".+"), label)), None)
            if key is None:
                continue
            if isinstance(entry, dict):
                self.walk(name + PART + key.name, entry)
            if entry != NOT_FOUND:
                self.examples.setdefault((name, key.name), entry)


def value_text(value):
    return "" if isinstance(value, dict) else "`" + json.dumps(value).replace("|", "\\|") + "`"


def make_tables(objects, seen):
    lines = []
    for name, keys in objects.items():
        lines += [f"### {name}", ""]
        if name in seen.commands:
            lines += [f"`{seen.commands[name]}`", ""]
        lines += ["| key | value | meaning | absent when | example |", "|---|---|---|---|---|"]
        for key in keys.values():
            example = value_text(seen.examples.get((name, key.name), {}))
            lines.append(f"| `{key.name}` | {key.type_text()} | {key.meaning} | {key.absent} | {example} |")
        lines.append("")
    return "\n".join(lines[:-1]) + "\n"


class Contract(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.objects = read_keys()
        cls.schema = make_schema(cls.objects)
        cls.seen = Seen(cls.objects)

    def compare(self, path, text):
        if REWRITE:
            path.write_text(text)
        self.assertEqual(path.read_text(), text, f"{path}: NIMBREL_REWRITE_GOLDENS=1 makes it of the tables")

    def test_the_schema_is_made_of_the_tables(self):
        jsonschema.Draft202012Validator.check_schema(self.schema)
        self.compare(SCHEMA, json.dumps(self.schema, indent=1) + "\n")

    def test_the_document_is_made_of_the_tables(self):
        head = DOCUMENT.read_text().split(MARK)[0]
        self.assertIn(f"Version {VERSION}", head)
        self.compare(DOCUMENT, head + MARK + "\n" + make_tables(self.objects, self.seen))

    def test_every_golden_file_keeps_to_the_schema(self):
        validator = jsonschema.Draft202012Validator(self.schema)
        count = 0
        for command, document in documents():
            count += 1
            for heading, value in document.items():
                with self.subTest(command=command, heading=heading):
                    errors = sorted(validator.iter_errors({heading: value} if isinstance(value, dict) else document), key=str)
                    self.assertEqual([deepest(error).message for error in errors], [])
        self.assertGreater(count, 250, "the golden files were found")

    def test_a_value_of_another_form_is_refused(self):
        validator = jsonschema.Draft202012Validator(self.schema)
        good = {"Temperature": "38 C", "PowerCycles": 7, "SerialNumber": 123, "ReadOnlyMode": False}
        self.assertEqual(list(validator.iter_errors({"Health Sensors S1": good})), [])
        for key, value in (("Temperature", "38 Celsius"), ("Temperature", 38), ("PowerCycles", "7 cycles"),
                           ("ReadOnlyMode", "no"), ("Colour", "red")):
            self.assertNotEqual(list(validator.iter_errors({"Health Sensors S1": {**good, key: value}})), [], (key, value))

    def test_every_key_is_seen_or_has_a_reason(self):
        reasons = [re.compile(reason) for reason in NOT_SEEN]
        missing = [f"{name}: {key}" for name, keys in self.objects.items() for key in keys
                   if (name, key) not in self.seen.examples and key not in OPTIONAL
                   and key not in KEYS_NOT_SEEN.get(name, ()) and not any(reason.fullmatch(name) for reason in reasons)]
        self.assertEqual(missing, [])


def deepest(error):
    """The cause of an error that has several alternatives: the one that went furthest into the document."""
    while error.context:
        error = max(error.context, key=lambda cause: len(cause.path))
    return error


if __name__ == "__main__":
    unittest.main()
