"""docs/output.md and docs/output.schema.json say what the commands print, and every golden file keeps to it.

Both are made of the keys that the program output_keys prints, from the tables of the feature library: every JSON
document of the golden files is validated against the schema, and so is every object of the text outputs; every row is
seen in one of them, or is in NOT_SEEN or KEYS_NOT_SEEN.
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

# Objects of which no golden file shows a key, and why. An object that is shown meanwhile must leave the list.
NOT_SEEN = {
    "no simulated drive has this log page or feature; the layouts of tests/unit/features/nvme show it": (
        "Asymmetric Namespace Access", "Asymmetric Namespace Access > ANA Group *",
        "Asymmetric Namespace Access > ANA Group * > Namespaces", "Boot Partition Write Protection Config",
        "Host Memory Buffer", "LBA Range Type", "LBA Range Type > LBA Range *", "LBA Status Information", "LBA Status Information > Namespace *",
        "LBA Status Information > Namespace * > Range *", "LBA Status Information Attributes",
        "Namespace Write Protection Config", "Predictable Latency Event Aggregate",
        "Predictable Latency Event Aggregate > NVM Sets", "Predictable Latency Mode Config",
        "Predictable Latency Mode Window", "Predictable Latency Per NVM Set", "Read Recovery Level Config",
        "Reservation Notification", "Reservation Notification Mask",
        "Reservation Persistence", "Changed Zone List", "Changed Zone List > Zones", "Command and Feature Lockdown",
        "Command and Feature Lockdown > Identifiers", "Boot Partition Header", "Media Unit Status",
        "Media Unit Status > Media Unit *", "Media Unit Status > Media Unit * > Channels",
        "Supported Log Pages > Details"),
    "no command line leads to these structures of Identify; the layouts of tests/unit/features/nvme show them": (
        "Command Set Independent Namespace *", "Domain List", "Domain List > Domain *", "I/O Command Set Combinations",
        "NVM Command Set Controller", "NVM Command Set Controller > Zoned Namespace Command Set Controller",
        "NVM Command Set Namespace *", "NVM Command Set Namespace * > LBA Format *", "Namespace * of command set *",
        "Namespace Granularity List", "Namespace Granularity List > Descriptor *", "Zoned Namespace *",
        "Zoned Namespace * > LBA Format *"),
    "the walk looks at a drive without entries; the layouts of tests/unit/features/nvme show it": (
        "OCP Firmware Activation History > Entry *",),
    "no command of the walk shows this feature; the layouts of tests/unit/features/nvme show it": (
        "Autonomous Power State Transition > Power State *", "Clear PCIe Correctable Error Counters", "Feature 0x*",
        "Configurable Device Personality", "Controller Data Queue", "Endurance Group Event Configuration",
        "Flexible Data Placement", "Flexible Data Placement Events", "Flexible Data Placement Events > Event *", "Host Behavior Support",
        "Host Identifier", "I/O Command Set Profile", "Key Value Configuration", "Namespace Admin Label",
        "Performance Characteristics", "Power Limit", "Power Loss Signaling Config", "Power Measurement",
        "Power Threshold", "Rate Limiting", "Spinup Control", "Voltage Measurement", "Voltage Threshold",
        "DSSD Asynchronous Event Configuration", "Idle Wake Up Time Configuration", "Latency Monitor", "Quick Format",
        "Reset CRC", "Sanitize Config", "Software Progress Marker"),
    "the drives of the walk have nothing to list": (
        "Changed Namespace List > Namespaces", "Device Self-test > Result *",
        "Endurance Group Event Aggregate > Endurance Groups", "FDP Events > Event *",
        "NVMe-MI Commands Supported and Effects"),
    "wear takes more time than a test has; its unit test shows it": ("Endurance Analyzer",),
    "a simulated drive has no partitions and no file systems; tests/vm has drives with some": (
        "Partition *", "Health Scan > Data Integrity Scan"),
    "what the test's machine is, no golden file can say": ("System Information",),
    "a simulated drive is used by nothing; the job's test shows it": ("Disk *",),
    "the simulated SATA drive has nothing in these; tests of tests/unit/features/ata show them": (
        "Identify Data Capabilities > Other Quadwords", "Identify Data Serial ATA",
        "Identify Data Serial ATA > Other Quadwords", "Identify Data Settings",
        "Identify Data Settings > Other Quadwords", "Identify Data Strings", "Identify Data Strings > Other Quadwords"),
    "the simulated SATA drive has the extended log of errors; tests/unit/features/ata and tests/vm show them": (
        "Health Scan > Logs > Selective Self-test Log",
        *(f"Health Scan > Logs > {log} Error Log{part}" for log in ("Summary", "Comprehensive")
          for part in ("", " > Error *"))),
    "no simulated drive has another command set than that of NVM; tests/vm has a zoned namespace": (
        "Commands Supported and Effects > * Command Set",),
    "a new drive has few kinds of events; the layouts of tests/unit/features/parsers have all": (
        "Persistent Event Log > Event * > Descriptor *",
        "Persistent Event Log > Event * > Descriptor * > TCG Activity"),
}
# Keys of many objects that no golden file may show for each of them.
OPTIONAL = ("Status", "Not read", "SerialNumber", "DevicePath", "NSID - Namespace Identifier", "Data", "Offset 0x*")
OF_GET_FEATURE = ("FID - Feature Identifier", "SEL - Select", "Dword 0")
KEYS_NOT_SEEN = {
    # A part that no drive of the walk has, see above.
    "Commands Supported and Effects": ("* Command Set",),
    # Words that the simulated SATA drive does not report.
    "Identify Device": (
        "W78.8 - Device Sleep supported", "W78.6 - Software settings preservation supported",
        "W78.3 - Device-initiated power management supported", "W79.8 - Device Sleep enabled",
        "W79.6 - Software settings preservation enabled", "W79.3 - Device-initiated power management enabled",
        "W91.7-0 - Advanced Power Management level"),
    "SMART Data": ("Extended Time 16-bit - Polling time of the extended self-test",),  # its tests are short
    "Performance Metrics": ("UnitsRead", "UnitsWritten"),  # the simulated SATA drive has statistics
    "Velko SSD": ("PCIAddress", "PCISlot", "PCILinkSpeed", "PCILinkSpeedMaximum", "PCILinkWidth", "PCILinkWidthMaximum",
                  "Bootloader", "ProductFamily"),  # a simulated drive sits nowhere
    # These have commands of their own, which do not show where the value comes from; -getfeature is not walked.
    "DSSD Power State": OF_GET_FEATURE,
    "Enable IEEE1667 Silo": OF_GET_FEATURE,
    "LED Activity": (*OF_GET_FEATURE, "IoOnMultiplier - I/O On Multiplier", "IoOffMultiplier - I/O Off Multiplier",
                     "FormatOnMultiplier - Format On Multiplier", "FormatOffMultiplier - Format Off Multiplier",
                     "DurationBase - Duration Base", "IdleState - Idle State"),
    "Namespace *": ("CommandSet", "MountPoint", "MountPoint *"),  # it has no node that could be mounted
    "Namespace * > By-Id Names": ("Entry *",),
    "Autonomous Power State Transition": ("Power State *",),
    "Device Self-test": ("Result *",),  # the walk looks at a drive without results
    "FDP Events": ("Event *",),
    "Supported Log Pages": ("Details",),
    "Error Information > Error *": ("CMDSET - Command Set Indicator", "OPC - Opcode of the command"),
    "Drive Self-Test Result *": ("Segment Number - First segment that failed",),
    "OCP Firmware Activation History": ("Entry *",),
    "OCP Hardware Component > Component *": ("Damaged - The lengths of its texts do not fit the page",),
    "OCP TCG Configuration": ("NNPLOE - Namespace Provisioned Locking Objects Extended",),  # of a later page version
    "Health Scan": ("* - Not read", "Left out", "Not completed", "Data Integrity Scan"),  # drive_logs and tests/vm show them
    "Health Scan > Logs": ("Not completed", "Summary Error Log", "Comprehensive Error Log",
                           "Selective Self-test Log"),
    # Its log of queued commands has no error, its sums are right; tests/unit/features/ata show them.
    "Health Scan > Logs > NCQ Command Error Log": ("Checksum", "Tag", "ERROR", "STATUS", "LBA", "COUNT"),
    "Health Scan > Logs > SATA Phy Event Counters Log": ("Checksum",),
    # Of later controllers than the simulated ones.
    "SMART / Health Information": (
        "OLEC - Operational Lifetime Energy Consumed", "IPM - Interval Power Measurement",
        "IPM Scale - Scale of the Interval Power Measurement"),
    "Health Scan > Read Scan - *": ("More Unreadable Ranges", "Ended"),
    "Namespace Identification Descriptors of Namespace *": (
        "NIDT 0x* - Unknown identifier type", "NIDT 0x* - Damaged"),
}
# The fields of most kinds of events: see the last reason above.
ANY_KEY_NOT_SEEN = "Persistent Event Log > Event *"


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
    objects["Previous Firmware Slot Information"] = objects["Firmware Slot Information"]  # of a firmware update
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


IDENTITY = ("SerialNumber", "DevicePath")
# Top objects that are not of a drive, by how their headings begin.
NOT_OF_A_DRIVE = ("Drive Scan", "Partition Information /", "System Information")
# Headings of the text form over the objects of several drives.
CONTAINERS = {"Scan Results"}
# Objects that are not of a drive, or not always.
WITHOUT_DRIVE = {"Health Scan", "System Information"}


def heading_pattern(name, names):
    """A heading is the object's name and the drive's: its serial number, and its node where two have the same."""
    longer = [other[len(name) + 1:] for other in names if other.startswith(name + " ") and PART not in other]
    longer += [other[2:] for other in names if other.startswith("* ")]
    ahead = "".join(f"(?!{pattern(rest, '[^ ]+')} )" for rest in longer)
    if name.startswith("*"):
        others = (other for other in names if other != name and re.fullmatch(pattern(name, ".+"), other))
        ahead = "".join(f"(?!{pattern(other, '[^ ]+')} )" for other in others)
        return f"^{ahead}{pattern(name, '.+')} [^ ]+( [^ ]+)?$"
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
                        "properties": {**dict.fromkeys(IDENTITY, result), "Status": result}},
            "Drives": {"type": "object", "patternProperties": top,
                       "additionalProperties": {"$ref": "#/$defs/Outcome"}},
            **{name: object_schema(name, keys) for name, keys in objects.items()},
        },
    }


def outputs():
    """Every command of the golden files with what it printed."""
    for path in GOLDENS:
        yield from re.findall(r"^\$ nimbrel (.*)\n((?:(?!\$ nimbrel ).*\n)*?)\[exit status \d+\]", path.read_text(),
                              re.MULTILINE)


def documents():
    """Every JSON document of the golden files, with the command that printed it."""
    for command, text in outputs():
        if " -o json " in command and text.strip():
            yield command.replace(" -o json", ""), json.loads(text[text.index("{"):])


def scalar(text):
    """The JSON value of a value's text."""
    if re.fullmatch(r"0|-?[1-9]\d*(\.\d+)?", text):
        return json.loads(text)
    return text.lower() == "true" if text.lower() in ("true", "false") else text


class TextObjects:
    """The objects of a text output, by their rows: (object of the table, heading, values). A heading of no row has the
    object None; its indentation says nothing, so it is a part of the nearest object that has such a part."""

    def __init__(self, objects, tops):
        self.objects, self.tops = objects, tops

    def name_of(self, heading, chain):
        for depth in range(len(chain), 0, -1):
            for key in self.objects.get(chain[depth - 1], {}).values():
                if key.kind == "part" and re.fullmatch(pattern(key.name, ".+"), heading):
                    del chain[depth:]
                    return chain[-1] + PART + key.name
        chain.clear()
        return next((name for name, top in self.tops.items() if top.search(heading)), None)

    def read(self, text):
        found, chain = [], []
        for line in text.splitlines():
            if heading := re.fullmatch(r" *- (.*) -", line):
                if heading[1] not in CONTAINERS:
                    name = self.name_of(heading[1], chain)
                    chain += [name] if name else []
                    found.append((name, heading[1], {}))
            elif found and (field := re.fullmatch(r" *(\S.*?) : (.*)", line)):
                found[-1][2][field[1]] = scalar(field[2])
        return found


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
                    if not value.keys() <= {*IDENTITY, "Status"}:
                        self.commands.setdefault(name, command)
                    self.walk(name, value)
        texts = TextObjects(objects, self.tops)
        for command, text in outputs():
            for name, _, values in texts.read(text) if " -o " not in command else ():
                if name:
                    self.walk(name, values)
                    if PART in name:
                        self.examples.setdefault(tuple(name.rsplit(PART, 1)), {})

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
                    checked = {heading: value} if isinstance(value, dict) else document
                    errors = sorted(validator.iter_errors(checked), key=str)
                    self.assertEqual([deepest(error).message for error in errors], [])
        self.assertGreater(count, 250, "the golden files were found")

    def test_every_golden_text_keeps_to_the_schema(self):
        definitions = self.schema["$defs"]
        validator = jsonschema.Draft202012Validator({
            "properties": {name: {"$ref": f"#/$defs/{reference(name)}"} for name in definitions}, "$defs": definitions})
        texts = TextObjects(self.objects, self.seen.tops)
        count = 0
        for command, text in outputs():
            for name, heading, values in texts.read(text) if " -o " not in command else ():
                count += 1
                with self.subTest(command=command, heading=heading):
                    errors = sorted(validator.iter_errors({name or "Outcome": values}), key=str)
                    self.assertEqual([deepest(error).message for error in errors], [])
        self.assertGreater(count, 500, "the objects were found")

    def test_every_object_of_a_drive_says_which_drive_it_is_of(self):
        count = 0
        for command, document in documents():
            objects = {heading: value for heading, value in document.items() if isinstance(value, dict)}
            for heading, value in objects.items():
                if heading.startswith(NOT_OF_A_DRIVE) or (" -d " in command and "Status" not in value):
                    continue
                count += 1
                with self.subTest(command=command, heading=heading):
                    self.assertTrue(value.keys() >= {*IDENTITY}, list(value))
        self.assertGreater(count, 250, "the objects were found")

    def test_a_value_of_another_form_is_refused(self):
        validator = jsonschema.Draft202012Validator(self.schema)
        good = {"Temperature": "38 C", "PowerCycles": 7, "SerialNumber": 123, "ReadOnlyMode": False}
        self.assertEqual(list(validator.iter_errors({"Health Sensors S1": good})), [])
        for key, value in (("Temperature", "38 Celsius"), ("Temperature", 38), ("PowerCycles", "7 cycles"),
                           ("ReadOnlyMode", "no"), ("Colour", "red")):
            self.assertNotEqual(list(validator.iter_errors({"Health Sensors S1": {**good, key: value}})), [], (key, value))

    def test_every_key_is_seen_or_has_a_reason(self):
        excused = {name for names in NOT_SEEN.values() for name in names} | {ANY_KEY_NOT_SEEN}
        missing = [f"{name}: {key}" for name, keys in self.objects.items() for key in keys
                   if (name, key) not in self.seen.examples and key not in OPTIONAL
                   and key not in KEYS_NOT_SEEN.get(name, ()) and name not in excused]
        self.assertEqual(missing, [])

    def test_nothing_that_is_seen_is_excused(self):
        excused = [(name, key) for names in NOT_SEEN.values() for name in names
                   for key in self.objects[name] if key not in OPTIONAL]
        excused += [(name, key) for name, keys in KEYS_NOT_SEEN.items() for key in keys]
        self.assertEqual([row for row in excused if row in self.seen.examples], [])
        self.assertEqual([row for row in excused if row[1] not in self.objects[row[0]]], [])


def deepest(error):
    """The cause of an error that has several alternatives: the one that went furthest into the document."""
    while error.context:
        error = max(error.context, key=lambda cause: len(cause.path))
    return error


if __name__ == "__main__":
    unittest.main()
