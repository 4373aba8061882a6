"""What changed since the last report: sentences for people, of counters those that grew."""

from . import findings
from .document import key_of

# Counters of health whose growth is worth a line, and how it is named.
COUNTERS = (
    ("media_errors", "media errors"),
    ("unsafe_shutdowns", "unsafe shutdowns"),
    ("error_log_entries", "entries of the error log"),
    ("percentage_used", "percent of the rated endurance"),
    ("bad_nand_blocks", "bad NAND blocks"),
    ("uncorrectable_reads", "uncorrectable reads"),
    ("interface_crc_errors", "interface CRC errors"),
    ("thermal_throttling_events", "thermal throttling events"),
)
IDENTITY = (("firmware_revision", "firmware"), ("capacity_bytes", "capacity in bytes"))


def between(before, after):
    """(key, host, drive or None, sentences) of each drive that changed. before and after: lists of documents."""
    old, new = _by_key(before), _by_key(after)
    rows = []
    for key in sorted(set(old) | set(new)):
        if key not in new:
            rows.append((key, old[key][0], None, _gone(old[key], after)))
        elif key not in old:
            rows.append((key, new[key][0], new[key][1], ["The drive is new."]))
        elif changes := _changes(old[key], new[key]):
            rows.append((key, new[key][0], new[key][1], changes))
    return rows


def _by_key(documents):
    """By the drive, and by its node too where a host has two of one serial number."""
    found = {}
    for document in documents:
        for drive in document["drives"]:
            key = key_of(drive)
            host = document["host"]["name"]
            found[key if key not in found else f"{key} {host} {drive['device_path']}"] = (host, drive)
    return found


def _gone(row, after):
    host, _ = row
    if host in {document["host"]["name"] for document in after}:
        return ["The drive is gone."]
    return [f"The drive is not in this report: it has no document of host {host}."]


def _changes(old, new):
    (old_host, before), (new_host, after) = old, new
    lines = [f"It moved from host {old_host} to {new_host}."] if old_host != new_host else []
    for key, name in IDENTITY:
        was, now = before.get("identity", {}).get(key), after.get("identity", {}).get(key)
        if None not in (was, now) and was != now:
            lines.append(f"Its {name} was {was} and is {now}.")
    for key, name in COUNTERS:
        was, now = before.get("health", {}).get(key), after.get("health", {}).get(key)
        if None not in (was, now) and was != now:
            lines.append(f"{_capital(name)}: {was} before, {now} now.")
    return lines + _findings(before, after)


def _findings(before, after):
    """The findings that came and went; one whose number changed is a counter above."""
    was, now = findings.by_kind(before), findings.by_kind(after)
    return ([f"New: {text}" for kind, text in now.items() if kind not in was]
            + [f"No longer so: {text}" for kind, text in was.items() if kind not in now])


def _capital(words):
    return words[:1].upper() + words[1:]
