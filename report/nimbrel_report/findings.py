"""What of a drive needs action, with what to do about it. The limits are those of a health scan (docs/health-scan.md),
where it has one."""

import dataclasses

FAILING, WARNING, NOTE = "failing", "warning", "note"
LEVELS = (FAILING, WARNING, NOTE)  # in the order in which they need action

WORN_OUT_PERCENT = 100
NEARLY_WORN_PERCENT = 90
# A trend that reaches 100 % of the rated endurance within these days is a warning.
WORN_OUT_SOON_DAYS = 180
# A trend needs this many days and percent of wear; less is rounding.
TREND_DAYS = 7
TREND_PERCENT = 2

REPLACE = "Save its data, and replace the drive."
COOL = "Look at fans, air flow and load."


@dataclasses.dataclass(frozen=True)
class Finding:
    kind: str  # the same for the same finding in another report, whose numbers may differ
    level: str
    text: str
    advice: str


def _health(drive, key, default=0):
    return drive.get("health", {}).get(key, default)


def _warns_of(words):
    return lambda drive: words in _health(drive, "critical_warnings", [])


def _spare_text(drive):
    spare = _health(drive, "available_spare_percent", None)
    if spare is None:
        return "Available spare has fallen below the threshold."
    return f"Available spare is {spare} %, the threshold {_health(drive, 'available_spare_threshold_percent')} %."


def _temperature_text(drive):
    celsius = _health(drive, "temperature_celsius", None)
    return "A temperature is beyond its threshold" + ("." if celsius is None else f"; it is {celsius} °C now.")


def _used_text(drive):
    return f"{_health(drive, 'percentage_used')} % of the rated endurance is used."


def _attributes_text(drive):
    return "SMART attributes at or below their threshold: " + ", ".join(_failing_attributes(drive)) + "."


def _unreadable_text(drive):
    reason = next((row["reason"] for row in drive["not_read"]), "no reason is known")
    return f"The drive's health could not be read: {reason.rstrip('.')}."


def _reports_more(drive):
    """Critical Warnings and attributes are in the drive's status too, and have findings of their own."""
    return (_status(drive) != "Healthy" and not _health(drive, "critical_warnings", [])
            and not _failing_attributes(drive))


def _spare_is_low(drive):
    spare = _health(drive, "available_spare_percent", None)
    below = spare is not None and spare < _health(drive, "available_spare_threshold_percent")
    return below or _warns_of("available spare")(drive)


def _status(drive):
    return drive.get("identity", {}).get("device_status", "Healthy")


def _failing_attributes(drive):
    return [row["name"] for row in drive.get("attributes", []) if row["state"] == "Failing now"]


def _last_test(drive):
    """The newest self-test that passed or failed; one that was aborted says nothing of the drive."""
    for row in drive.get("self_tests", {}).get("results", []):
        result = row["result"].lower()
        if "fail" in result or "fatal" in result or "unknown error" in result:
            return row, True
        if "without error" in result:
            return row, False
    return None, False


def _test_text(drive):
    row = _last_test(drive)[0]
    place = f", at block {row['failing_lba']}" if row["failing_lba"] is not None else ""
    return f"The last self-test failed ({row['test'].lower()}): {row['result']}{place}."


def days_until_worn(drive):
    """By the line through the first and the last snapshot; None where they say too little."""
    history = drive.get("history", {"times": []})
    used = [(time, value) for time, value in zip(history["times"], history.get("percentage_used", []))
            if value is not None]
    if len(used) < 2:
        return None
    days = (used[-1][0] - used[0][0]) / 86400
    grown = used[-1][1] - used[0][1]
    if days < TREND_DAYS or grown < TREND_PERCENT:
        return None
    return max(0, round((WORN_OUT_PERCENT - used[-1][1]) * days / grown))


def _worn_soon(drive):
    days = days_until_worn(drive)
    return days is not None and days <= WORN_OUT_SOON_DAYS and _health(drive, "percentage_used") < WORN_OUT_PERCENT


def _background(drive, key, default=""):
    return drive.get("background", {}).get(key, default)


def _unread(drive):
    return ", ".join(row["section"].replace("_", " ") for row in drive["not_read"])


# Kind, level, whether it is so, the finding, what to do. In the order of the report within a level.
RULES = (
    ("unreadable", FAILING, lambda drive: "health" not in drive, _unreadable_text,
     "See that the drive is there and answers; the kernel's log says more."),
    ("read only", FAILING, _warns_of("read only"), lambda drive: "The media is read only.", REPLACE),
    ("reliability", FAILING, _warns_of("reliability"),
     lambda drive: "Reliability is degraded by media or internal errors.", REPLACE),
    ("attributes", FAILING, lambda drive: bool(_failing_attributes(drive)), _attributes_text, REPLACE),
    ("spare", FAILING, _spare_is_low, _spare_text, REPLACE),
    ("self-test", FAILING, lambda drive: _last_test(drive)[1], _test_text, REPLACE),
    ("backup", FAILING, _warns_of("volatile memory backup"),
     lambda drive: "The backup of the volatile memory has failed.", "A loss of power may lose data: replace the drive."),
    ("status", FAILING, _reports_more, lambda drive: f"The drive reports: {_status(drive)}",
     "Run a health scan of the drive (nimbrel start -scan)."),
    ("temperature", WARNING, _warns_of("temperature"), _temperature_text, COOL),
    ("worn out", WARNING, lambda drive: _health(drive, "percentage_used") >= WORN_OUT_PERCENT, _used_text,
     "Plan its replacement."),
    ("trend", WARNING, _worn_soon,
     lambda drive: f"By its trend the rated endurance is used in {days_until_worn(drive)} days.",
     "Plan its replacement, or move writes elsewhere."),
    ("media errors", WARNING, lambda drive: _health(drive, "media_errors") > 0,
     lambda drive: f"Media errors: {_health(drive, 'media_errors')}.",
     "Look whether they grow, and read the drive (nimbrel start -scan ReadScan)."),
    ("incomplete", WARNING, lambda drive: "health" in drive and bool(drive["not_read"]),
     lambda drive: f"Not everything could be read: {_unread(drive)}.", "The section Not read has the reasons."),
    ("sanitize", WARNING, lambda drive: "failed" in _background(drive, "Sanitize"),
     lambda drive: f"Sanitize: {_background(drive, 'Sanitize')}.", "Sanitize the drive again before it is used."),
    ("nearly worn out", NOTE,
     lambda drive: NEARLY_WORN_PERCENT <= _health(drive, "percentage_used") < WORN_OUT_PERCENT, _used_text, "Have a spare drive ready."),
    ("activation", NOTE, lambda drive: drive.get("firmware", {}).get("next_slot") is not None,
     lambda drive: f"Firmware of slot {drive['firmware']['next_slot']} waits for a controller level reset.",
     "Reset the controller when the drive is idle (nimbrel reset)."),
    ("never tested", NOTE, lambda drive: drive.get("self_tests", {}).get("state") == "no self-test has been run",
     lambda drive: "No self-test has been run.", "Start one (nimbrel start -selftest)."),
)


def of_drive(drive):
    """What needs action, the worst first."""
    found = [Finding(kind, level, text(drive), advice)
             for kind, level, applies, text, advice in RULES if applies(drive)]
    return sorted(found, key=lambda finding: LEVELS.index(finding.level))


def by_kind(drive):
    """The texts of the drive's findings; of a drive as a report keeps it, those that it had then."""
    if "findings" in drive:
        return {row["kind"]: row["text"] for row in drive["findings"]}
    return {finding.kind: finding.text for finding in of_drive(drive)}


def of_fleet(drives):
    """By id() of the drive: what only shows beside the others."""
    found, by_model, by_serial = {}, {}, {}
    for drive in drives:
        if identity := drive.get("identity"):
            revisions = by_model.setdefault(identity["model_number"], {})
            revisions.setdefault(identity["firmware_revision"], []).append(drive)
            by_serial.setdefault((identity["model_number"], drive["serial_number"]), []).append(drive)
    for drive in (drive for revisions in by_model.values() for drive in _minority(revisions)):
        found.setdefault(id(drive), []).append(Finding(
            "firmware differs", NOTE, f"Its firmware {drive['identity']['firmware_revision']} differs from that of most "
            "drives of its model.", "Update it, or know why not."))
    for drive in (drive for twins in by_serial.values() if len(twins) > 1 for drive in twins):
        found.setdefault(id(drive), []).append(Finding(
            "twin", NOTE, "Another drive of this report has its model and serial number.",
            "It was moved, it is reached by two paths, or one of them is not what it says."))
    return found


def _minority(revisions):
    """The drives without the revision that most have; none where no revision is that of most."""
    total = sum(len(drives) for drives in revisions.values())
    common = max(revisions.values(), key=len)
    if len(common) * 2 <= total:
        return []
    return [drive for drives in revisions.values() if drives is not common for drive in drives]
