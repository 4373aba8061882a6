"""What a report shows of one drive: the line of the list, and the blocks that report.js makes the details of."""

import datetime

from . import findings
from .texts import bytes_text, iso_text, seconds_text

LEVEL_WORDS = {findings.FAILING: "Failing", findings.WARNING: "Warning", findings.NOTE: "Note", "ok": "OK"}
SECTION_WORDS = {"identity": "identity", "pages": "list of log pages", "health": "health",
                 "background": "work in progress", "firmware": "firmware slots", "errors": "error log", "self_tests": "self-tests",
                 "latency": "latency monitor", "read_latency": "read latency",
                 "write_latency": "write latency", "events": "persistent event log", "attributes": "SMART attributes"}
# Key, label, and how its number is shown.
HEALTH_ROWS = (
    ("temperature_celsius", "Temperature", "{} °C"),
    ("percentage_used", "Rated endurance used", "{} %"),
    ("available_spare_percent", "Available spare", "{} %"),
    ("available_spare_threshold_percent", "Threshold of available spare", "{} %"),
    ("data_written_bytes", "Written by hosts", "bytes"),
    ("data_read_bytes", "Read by hosts", "bytes"),
    ("media_written_bytes", "Written to the media", "bytes"),
    ("host_write_commands", "Write commands", "{:,}"),
    ("host_read_commands", "Read commands", "{:,}"),
    ("power_on_hours", "Power-on time", "{:,} hours"),
    ("power_cycles", "Power cycles", "{:,}"),
    ("unsafe_shutdowns", "Unsafe shutdowns", "{:,}"),
    ("media_errors", "Media errors", "{:,}"),
    ("error_log_entries", "Entries of the error log, ever", "{:,}"),
    ("warning_temperature_minutes", "Time above the warning temperature", "{:,} minutes"),
    ("critical_temperature_minutes", "Time above the critical temperature", "{:,} minutes"),
    ("uncorrectable_reads", "Uncorrectable reads", "{:,}"),
    ("bad_nand_blocks", "Bad NAND blocks", "{:,}"),
    ("pcie_correctable_errors", "PCIe correctable errors", "{:,}"),
    ("interface_crc_errors", "Interface CRC errors", "{:,}"),
    ("thermal_throttling_events", "Thermal throttling events", "{:,}"),
    ("capacitor_health_percent", "Health of the capacitor", "{} %"),
)
HISTORY = (("temperature_celsius", "Temperature", "°C"), ("percentage_used", "Rated endurance used", "%"),
           ("available_spare_percent", "Available spare", "%"), ("media_errors", "Media errors", ""))
HISTORY_TABLE_ROWS = 12
EVENT_ROWS = 60
ALL_NAMESPACES = 0xFFFFFFFF
ATTRIBUTE_COLUMNS = ("id", "name", "value", "worst", "threshold", "raw", "state")


def rank(level):
    return (*findings.LEVELS, "ok").index(level)


def drive_row(host, drive, beside, points):
    found = sorted(findings.of_drive(drive) + beside, key=lambda finding: rank(finding.level))
    level = found[0].level if found else "ok"
    return {
        "drive": drive, "host": host, "serial": drive["serial_number"] or "no serial number", "node": drive["device_path"],
        "model": drive.get("identity", {}).get("model_number", "model not known"), "level": level,
        "word": LEVEL_WORDS[level], "findings": found, "used": _short(drive, "percentage_used", "%"),
        "temperature": _short(drive, "temperature_celsius", "°C"), "not_read": _not_read_rows(drive),
        "blocks": [block for block in _blocks(drive, found, points) if block],
    }


def _blocks(drive, found, points):
    identity, firmware = drive.get("identity", {}), drive.get("firmware")
    return [
        {"kind": "findings", "rows": [(row.level, row.text, row.advice) for row in found]},
        {"kind": "columns", "blocks": [block for block in (_facts("Identity", _identity_rows(drive)), _facts(
            "Health", _health_rows(drive.get("health", {})))) if block]},
        _history(drive.get("history", {"times": []}), points),
        _latency("Latency of slow commands", drive.get("latency")),
        _latency("Read latency", drive.get("read_latency")),
        _latency("Write latency", drive.get("write_latency")),
        _events(drive.get("events")),
        _table("Errors that the drive recorded", ["Newest", "Error", "Where", "Times"],
               _error_rows(drive.get("errors")), (0, 3)),
        _list("Self-tests", _test_lines(drive.get("self_tests"))),
        _table("SMART attributes", ["Number", "Attribute", "Value", "Worst", "Threshold", "Raw", "State"],
               [[row[key] for key in ATTRIBUTE_COLUMNS] for row in drive.get("attributes", [])], (2, 3, 4, 5)),
        _table("Namespaces", ["NSID", "Size", "Used", "Node", "Use"], _namespace_rows(identity), (0, 1, 2)),
        _table("Firmware slots", ["Slot", "Revision", "State"], _firmware_rows(firmware), (0,)),
        _facts("Work in progress", list(drive.get("background", {}).items())),
        _facts("Not read", _not_read_rows(drive)),
        {"kind": "text", "text": _last_words(drive)},
    ]


def _facts(title, rows):
    return {"kind": "facts", "title": title, "rows": rows} if rows else None


def _list(title, lines):
    return {"kind": "list", "title": title, "lines": lines} if lines else None


def _table(title, columns, rows, numbers=()):
    """numbers: the columns that are flush right."""
    return {"kind": "table", "title": title, "columns": columns, "rows": rows, "numbers": numbers} if rows else None


def _figure(title, text, specs, table):
    """A list of no rows has neither charts nor a table."""
    if not table:
        return {"kind": "list", "title": title, "lines": [text]}
    return {"kind": "figure", "title": title, "text": text, "specs": specs, "table": table}


def _not_read_rows(drive):
    return [(SECTION_WORDS.get(row["section"], row["section"]), row["reason"]) for row in drive["not_read"]]


def _last_words(drive):
    missing = [SECTION_WORDS.get(name, name) for name in drive["not_supported"]]
    words = f"The drive does not have: {', '.join(missing)}. " if missing else ""
    return f"{words}It took {drive['seconds']} seconds to answer."


def _short(drive, key, unit):
    health = drive.get("health", {})
    return f"{health[key]} {unit}" if key in health else "not known"


def _identity_rows(drive):
    identity = drive.get("identity", {})
    rows = [("Serial number", drive["serial_number"] or "not reported"), ("Node", drive["device_path"])]
    if identity:
        rows += [("Model", identity["model_number"]), ("Firmware", identity["firmware_revision"]),
                 ("Interface", identity["interface"]), ("Capacity", bytes_text(identity["capacity_bytes"])),
                 ("Status", identity["device_status"])]
    return rows


def _health_rows(health):
    rows = [(label, bytes_text(health[key]) if form == "bytes" else form.format(health[key]))
            for key, label, form in HEALTH_ROWS if key in health]
    warnings = health.get("critical_warnings")
    return rows if warnings is None else [("Critical warnings", ", ".join(warnings) or "none"), *rows]


def _namespace_rows(identity):
    return [(row["nsid"], bytes_text(row["size_bytes"]), bytes_text(row["used_bytes"]), row["node"], row["use"])
            for row in identity.get("namespaces", [])]


def _firmware_rows(firmware):
    if not firmware:
        return []
    marks = {firmware["active_slot"]: "running", firmware["next_slot"]: "next, after a controller level reset"}
    return [(row["slot"], row["revision"], marks.get(row["slot"], "")) for row in firmware["slots"]]


def _error_rows(errors):
    """Entries that are alike in one row: how often, what, where."""
    if not errors:
        return []
    rows = {}
    for entry in errors["newest"]:
        what = entry["status"].split(" ", 1)[-1] + f" ({entry['status'].split(' ', 1)[0]})"
        row = rows.setdefault((what, _place(entry)), [0, entry["number"]])
        row[0] += 1
    return [(number, what, place, count) for (what, place), (count, number) in rows.items()]


def _place(entry):
    """Which command it was, as far as the entry says."""
    queue = {None: "no command", 0: "admin command"}.get(entry["queue"], f"I/O queue {entry['queue']}")
    if not entry["queue"] or entry["nsid"] in (None, 0, ALL_NAMESPACES):
        return queue
    return f"{queue}, namespace {entry['nsid']}, block {'not known' if entry['lba'] is None else entry['lba']}"


def _test_lines(tests):
    """The state of self-tests in a sentence, then the results, the newest first."""
    if not tests:
        return []
    progress = tests["progress_percent"]
    lines = [_sentence(tests["state"] + (f", {progress} % done" if progress is not None else ""))]
    for row in tests["results"]:
        block = f", at block {row['failing_lba']}" if row["failing_lba"] is not None else ""
        hours = f", after {row['power_on_hours']} power-on hours" if row["power_on_hours"] is not None else ""
        lines.append(_sentence(f"{row['test']} self-test: {row['result']}{block}{hours}"))
    return lines


def _sentence(words):
    return words[:1].upper() + words[1:] + "."


# ---- Charts: each has a text and a table that say the same

def _latency(title, latency):
    """The buckets; of a monitor, which counts slow commands alone, the active ones are drawn."""
    if not latency:
        return None
    kinds = [kind for kind in ("read", "write", "deallocate")
             if any(row[f"{kind}_commands"] is not None for row in latency["buckets"])]
    drawn = [row for row in latency["buckets"] if row["kind"] != "static"]
    series = [{"name": kind, "values": [row[f"{kind}_commands"] or 0 for row in drawn]} for kind in kinds]
    rows = [(row["kind"], _bucket_text(row), *(row[f"{kind}_commands"] for kind in kinds)) for row in latency["buckets"]]
    spec = {"kind": "bar", "name": "Commands by latency", "labels": [_bucket_text(row) for row in drawn],
            "series": series}
    return _figure(title, _latency_text(latency["enabled"], drawn, series), [spec],
                   _table("Commands by latency", ["Buckets", "Latency", *(kind.capitalize() for kind in kinds)], rows,
                          tuple(range(2, 2 + len(kinds)))))


def _latency_text(enabled, drawn, series):
    totals = [sum(counts) for counts in zip(*(row["values"] for row in series))]
    text = "" if enabled else "The drive does not count now. "
    if not sum(totals):
        return text + "No command was counted."
    most = max(range(len(totals)), key=lambda place: totals[place])
    return (f"{text}{sum(totals):,} commands were counted, most of them, {totals[most]:,}, in the bucket of "
            f"{_bucket_text(drawn[most])}.")


def _bucket_text(row):
    if row["to_microseconds"] is None:
        return f"{row['from_microseconds'] / 1000:g} ms and more"
    return f"{row['from_microseconds'] / 1000:g} to {row['to_microseconds'] / 1000:g} ms"


def _events(events):
    if not events:
        return None
    rows = []
    for event in events["newest"]:
        when = _event_time(event)
        if rows and rows[-1][2:4] == [event["name"], event["text"]]:
            rows[-1][0] = when
            rows[-1][4] += 1
        else:
            rows.append([when, when, event["name"], event["text"], 1])
    shown = [(f"{first} to {last}" if first != last else last, name, text, count)
             for first, last, name, text, count in rows[:EVENT_ROWS]]
    return _figure("Events", _events_text(events, len(rows)), _timeline(events["newest"]),
                   _table("The events", ["Time", "Event", "What", "Times"], shown, (3,)))


def _events_text(events, rows):
    count = len(events["newest"])
    if not count:
        return "The drive has no events."
    text = f"The drive has {events['total'] or count:,} events; these are the newest {count}, the latest first."
    if rows > EVENT_ROWS:
        text += f" The table ends after {EVENT_ROWS} rows."
    if any(event["time"] is None for event in events["newest"]):
        text += " A time in seconds counts from the drive's last reset: its clock was not set."
    return text


def _event_time(event):
    if event["time"]:
        return iso_text(event["time"])
    return f"{(event['drive_milliseconds'] or 0) / 1000:.0f} s"


def _timeline(newest):
    """A point for each event whose time is known; events of one kind are on one line."""
    timed = [event for event in newest if event["time"]]
    names = sorted({event["name"] for event in timed})
    points = [[_epoch(event["time"]), names.index(event["name"])] for event in timed]
    return [{"kind": "timeline", "name": "Events over time", "labels": names, "points": points}] if points else []


def _epoch(text):
    try:
        moment = datetime.datetime.strptime(text, "%Y-%m-%dT%H:%M:%SZ")
        return int(moment.replace(tzinfo=datetime.timezone.utc).timestamp())
    except ValueError:  # the form of a time, and no day of any calendar
        return 0


def _history(history, points):
    """The charts over time."""
    times = history["times"]
    if len(times) < 2:
        return {"kind": "text", "text": "There are fewer than two snapshots of this drive: no wear over time."}
    columns = {key: history[key] for key, _, _ in HISTORY if any(value is not None for value in history.get(key, []))}
    thin = _places(len(times), points)
    table = [(seconds_text(times[place]), *(_cell(columns[key][place]) for key in columns))
             for place in reversed(_places(len(times), HISTORY_TABLE_ROWS))]
    named = [row for row in HISTORY if row[0] in columns]
    heads = ["Time"] + [f"{name} ({unit})" if unit else name for _, name, unit in named]
    spec = {"kind": "lines", "times": [times[place] for place in thin],
            "series": [{"name": name, "unit": unit, "values": [columns[key][place] for place in thin]}
                       for key, name, unit in named if key not in ("media_errors", "available_spare_percent")]}
    return _figure("Over time", _history_text(times, columns, named), [spec],
                   _table("Snapshots", heads, table, tuple(range(1, len(heads)))))


def _places(count, wanted):
    """At most so many places of a list, spread evenly, the last one among them."""
    if count <= wanted:
        return list(range(count))
    return sorted({round(place * (count - 1) / (wanted - 1)) for place in range(wanted)})


def _cell(value):
    return "not known" if value is None else value


def _history_text(times, columns, named):
    parts = []
    for key, name, unit in named:
        known = [value for value in columns[key] if value is not None]
        if min(known) == max(known):
            parts.append(f"{name}: {known[0]} {unit}".rstrip() + " all the time")
        else:
            parts.append(f"{name}: {known[0]} at first and {known[-1]} {unit}".rstrip()
                         + f" at last, between {min(known)} and {max(known)}")
    return f"{len(times)} snapshots, {seconds_text(times[0])} to {seconds_text(times[-1])}. " + ". ".join(parts) + "."
