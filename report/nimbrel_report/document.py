"""The documents that --collect writes: docs/report.schema.json says what is in one, and the same schema checks each
before anything of it is used. They come from other hosts, whose drives and administrators may be anyone's."""

import functools
import json
import math
import os
import pathlib
import re
import stat
import unicodedata

import jsonschema

from . import findings

FORMAT = "nimbrel-report"
VERSION = 1
MAX_BYTES = 256 * 1024 * 1024
_MAX_PROBLEMS = 100
# In a report: the documents that it was made of, less what only its charts and tables need.
_EMBEDDED = re.compile(r'<script type="application/json" id="report-documents">(.*?)</script>', re.DOTALL)
# What a report keeps of each drive for the next report to compare with.
_COMPARED = ("serial_number", "device_path", "identity", "health", "not_read", "not_supported", "seconds")


class Damaged(Exception):
    """A file that is no document, or not one that this version reads; the words say why."""


def key_of(drive):
    """What makes a drive the same one in another document."""
    return drive["serial_number"] or drive["device_path"]


def read_file(path):
    """The document that --collect wrote into a file."""
    return check(parse(_read_text(path)))


def read_previous(path):
    """The documents of a file to compare with: of a report those that it was made of."""
    text = _read_text(path)
    return from_report(text) if text.lstrip().startswith("<") else [check(parse(text))]


def from_report(text):
    match = _EMBEDDED.search(text)
    if not match:
        raise Damaged("it is not a report of nimbrel-report")
    documents = parse(match[1])
    if not isinstance(documents, list):
        raise Damaged("the report has no list of documents")
    return [check(each) for each in documents]


def compared(document):
    """The document as a report keeps it for the next one: with the findings, of which the sections are left out."""
    return {**document, "drives": [
        {key: drive[key] for key in _COMPARED if key in drive}
        | {"findings": [{"kind": row.kind, "text": row.text} for row in findings.of_drive(drive)]}
        for drive in document["drives"]]}


def parse(text):
    def refuse(constant):
        raise ValueError(f"{constant} is not a number")

    def finite(number):
        value = float(number)
        if not math.isfinite(value):
            refuse(number)
        return value

    try:
        return _clean(json.loads(text, parse_constant=refuse, parse_float=finite))
    except (ValueError, RecursionError) as error:
        raise Damaged(f"it is not JSON: {error}") from error


def check(value):
    """The document, when it is one of this version and its numbers fit together."""
    if not isinstance(value, dict) or value.get("format") != FORMAT:
        raise Damaged("it is not a document of nimbrel-report")
    if value.get("version") != VERSION:
        raise Damaged(f"its version is {value.get('version')!r}, and this program reads version {VERSION}")
    _follows(_schema(), value, "the document")
    for drive in value["drives"]:
        columns = drive.get("history", {"times": []})
        if any(len(column) != len(columns["times"]) for column in columns.values()):
            raise Damaged(f"drive {key_of(drive)}: the columns of its history differ in length")
    return value


def check_section(name, value):
    """Damaged for a section of a drive that no document may have. The list of log pages is of no document."""
    definition = _schema()["$defs"]["drive"]["properties"].get(name)
    if definition:
        _follows({**definition, "$defs": _schema()["$defs"]}, value, name)


def _follows(schema, value, what):
    error = jsonschema.exceptions.best_match(jsonschema.Draft202012Validator(schema).iter_errors(value))
    if error:
        place = "/".join(str(part) for part in error.absolute_path) or what
        raise Damaged(f"{place}: {_short(error.message)}")


def bounded(problems):
    """As many as a document may have, none of them too long."""
    shown = [problem[:1000] for problem in problems[:_MAX_PROBLEMS]]
    more = len(problems) - len(shown)
    return shown + [f"And {more} more."] if more else shown


def _short(message):
    """The value is first in it, what is wrong last."""
    return message if len(message) <= 200 else f"{message[:80]}...{message[-110:]}"


def write(document):
    return json.dumps(check(_clean(document)), indent=1, ensure_ascii=True) + "\n"


def newest_of_each_host(rows):
    """Of (source, document) pairs the newest of each host, ordered by host, and a sentence for each older one."""
    newest, older = {}, []
    for source, document in sorted(rows, key=lambda row: row[1]["collected"], reverse=True):
        host = document["host"]
        first = newest.setdefault((host["name"], host["id"]), (source, document))
        if first[1] is not document:
            older.append(f"{source} is left out: {first[0]} is a newer document of host {host['name']}.")
    return [newest[key][1] for key in sorted(newest, key=lambda key: (key[0], key[1] or ""))], older


def schema_path():
    """Installed it is beside the modules, in the sources with the other contracts."""
    folder = pathlib.Path(__file__).resolve().parents[1]
    installed = folder / "report.schema.json"
    return installed if installed.is_file() else folder.parent / "docs/report.schema.json"


@functools.lru_cache(maxsize=1)
def _schema():
    return json.loads(schema_path().read_text(encoding="utf-8"))


def _read_text(path):
    # Without O_NONBLOCK a pipe that no process writes to would be waited for.
    descriptor = os.open(path, os.O_RDONLY | os.O_CLOEXEC | os.O_NONBLOCK)
    try:
        about = os.fstat(descriptor)
        if not stat.S_ISREG(about.st_mode):
            raise Damaged("it is not a regular file")
        if about.st_size > MAX_BYTES:
            raise Damaged(f"it is longer than {MAX_BYTES} bytes")
        with open(descriptor, "rb", closefd=False) as file:
            return file.read(MAX_BYTES).decode("utf-8")
    except UnicodeDecodeError as error:
        raise Damaged(f"it is not UTF-8: {error}") from error
    finally:
        os.close(descriptor)


def _shown(character):
    hidden = unicodedata.category(character) in ("Cc", "Cf", "Cs")
    return "\N{REPLACEMENT CHARACTER}" if hidden else character


def _clean(value):
    """The value, its texts without characters that are not for display: controls, and those that turn the direction of
    writing, with which one serial number can look like another."""
    if isinstance(value, str):
        return value if value.isascii() and value.isprintable() else "".join(map(_shown, value))
    if isinstance(value, list):
        return [_clean(item) for item in value]
    if isinstance(value, dict):
        return {key: _clean(item) for key, item in value.items()}
    return value
