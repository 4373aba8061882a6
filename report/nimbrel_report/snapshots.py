"""The snapshots that nimbrel-exporter keeps of this host's drives, a line for each drive and day: docs/snapshots.md."""

import json
import os
import stat

FOLDER = "/var/lib/nimbrel/snapshots"
_VERSION = 1
_MAX_BYTES = 16 * 1024 * 1024
# Of docs/report.schema.json, which refuses a whole document for one value beyond them.
MAX_POINTS = 2000
_MAX_TIME = 253402300799  # the end of the year 9999

# Column of a history, metric, what a unit of the metric is in the column, decimals.
_COLUMNS = (
    ("temperature_celsius", "nimbrel_drive_temperature_celsius", 1, 1),
    ("percentage_used", "nimbrel_drive_wear_ratio", 100, 1),
    ("available_spare_percent", "nimbrel_drive_available_spare_ratio", 100, 1),
    ("data_written_bytes", "nimbrel_drive_written_bytes_total", 1, 0),
    ("media_errors", "nimbrel_drive_media_errors_total", 1, 0),
)


def read(folder):
    """The history of each drive by (serial number, model), and what could not be read. A host without the folder has
    no exporter, which is no problem."""
    lines, problems = {}, []
    try:
        names = sorted(name for name in os.listdir(folder) if name.endswith(".jsonl"))
    except FileNotFoundError:
        return {}, []
    except OSError as error:
        return {}, [f"Snapshots in {folder}: {error.strerror}"]
    for name in names:
        path = os.path.join(folder, name)
        try:
            _read_file(path, lines, problems)
        except (OSError, ValueError) as error:
            problems.append(f"Snapshots in {path}: {getattr(error, 'strerror', None) or error}")
    return {key: _history(found) for key, found in lines.items()}, problems


def _read_file(path, lines, problems):
    """Adds the lines of a file; each that is damaged is a problem, and the others count."""
    descriptor = os.open(path, os.O_RDONLY | os.O_NONBLOCK | os.O_NOFOLLOW | os.O_CLOEXEC)
    with open(descriptor, encoding="utf-8") as file:
        about = os.fstat(descriptor)
        if not stat.S_ISREG(about.st_mode) or about.st_size > _MAX_BYTES:
            raise ValueError("it is not a file of snapshots")
        for number, line in enumerate(file, 1):
            try:
                snapshot = _snapshot(line)
            except (ValueError, KeyError, TypeError, AttributeError, RecursionError) as error:
                problems.append(f"Snapshots in {path}, line {number}: {error}")
                continue
            lines.setdefault((snapshot["serial"], snapshot["model"]), {})[snapshot["time"]] = snapshot["metrics"]


def _snapshot(line):
    snapshot = json.loads(line)
    if snapshot["version"] != _VERSION:
        raise ValueError(f"its version is {snapshot['version']!r}, and this program reads version {_VERSION}")
    numbers = [snapshot["time"], *(snapshot["metrics"].get(metric, 0) for _, metric, _, _ in _COLUMNS)]
    if not all(isinstance(number, (int, float)) and abs(number) < 1e30 for number in numbers):
        raise ValueError("a value is not a number")
    if not 0 <= snapshot["time"] <= _MAX_TIME:
        raise ValueError("its time is not between 1970 and 9999")
    if not isinstance(snapshot["serial"], str) or not isinstance(snapshot["model"], str):
        raise ValueError("serial number or model is not a text")
    return {**snapshot, "time": int(snapshot["time"])}


def _history(found):
    times = sorted(found)[-MAX_POINTS:]
    columns = {}
    for column, metric, factor, decimals in _COLUMNS:
        values = [found[time].get(metric) for time in times]
        if any(value is not None for value in values):
            columns[column] = [None if value is None else _number(value * factor, decimals) for value in values]
    return {"times": times, **columns}


def _number(value, decimals):
    """38.0 is 38: the drive counts in whole degrees and percents."""
    rounded = round(value, decimals)
    return int(rounded) if rounded == int(rounded) else rounded
