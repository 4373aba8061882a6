"""What is asked of a drive, and how the answers become the sections of a document (docs/report.schema.json).

Each function takes the objects that the tool showed of one drive, by their names, and returns its section. A value in a
form that docs/output.md does not have is a ValueError, a missing key a KeyError: the section is not read then.
"""

import re

from .values import quantity, text

SATA = "SATA"  # the interface of a drive that is not NVMe
EVENTS_KEPT = 200
ERRORS_KEPT = 64

# Key of the document; key of the tool, in "SMART Attributes" or, of a SATA drive, in "Health Sensors"; unit there.
HEALTH = (
    ("temperature_celsius", "Temperature", "C"),
    ("percentage_used", "PercentageUsed", "%"),
    ("available_spare_percent", "AvailableSpare", "%"),
    ("available_spare_threshold_percent", "AvailableSpareThreshold", "%"),
    ("data_read_bytes", "DataUnitsRead", "bytes"),
    ("data_written_bytes", "DataUnitsWritten", "bytes"),
    ("media_written_bytes", "PhysicalMediaUnitsWritten", "bytes"),
    ("host_read_commands", "HostReadCommands", None),
    ("host_write_commands", "HostWriteCommands", None),
    ("power_on_hours", "PowerOnHours", "hours"),
    ("power_cycles", "PowerCycles", None),
    ("unsafe_shutdowns", "UnsafeShutdowns", None),
    ("media_errors", "MediaErrors", None),
    ("error_log_entries", "NumErrorInfoLogEntries", None),
    ("warning_temperature_minutes", "WarningCompositeTemperatureTime", "minutes"),
    ("critical_temperature_minutes", "CriticalCompositeTemperatureTime", "minutes"),
    ("uncorrectable_reads", "UncorrectableReadErrorCount", None),
    ("bad_nand_blocks", "BadUserNANDBlocksRawCount", None),
    ("pcie_correctable_errors", "PCIeCorrectableErrorCount", None),
    ("interface_crc_errors", "CrcErrorCount", None),
    ("thermal_throttling_events", "NumberofThermalThrottlingEvents", None),
    ("capacitor_health_percent", "CapacitorHealth", "%"),
)

# Bits of Critical Warning, as health-scan.md names what they mean.
CRITICAL_WARNINGS = (
    ("AvailableSpareWarning", "available spare"),
    ("TemperatureWarning", "temperature"),
    ("ReliabilityWarning", "reliability"),
    ("ReadOnlyWarning", "read only"),
    ("VolatileMemoryWarning", "volatile memory backup"),
)

# Of a persistent event these say how it is stored, not what it was.
_EVENT_HEADER = re.compile(r"(ET|ETR|EHL|PIT|CNTLID|ETSTMP|ETSTMP Date|PELPID|VSIL|EL|SerialNumber|DevicePath)( - .*)?")
_EVENT_NAME = re.compile(r"Event (\d+) - (.*)", re.DOTALL)
_STATISTICS_BUCKET = re.compile(r"Bucket \d+ - (\d+) (?:to below (\d+)|and above) microseconds")
_DATE = re.compile(r"(\d{4}-\d\d-\d\d) (\d\d:\d\d:\d\d)(?:\.\d+)? UTC")


def _with_prefix(objects, prefix):
    return [value for name, value in objects.items() if name.startswith(prefix)]


def _only(objects, prefix):
    found = _with_prefix(objects, prefix)
    if len(found) != 1:
        raise ValueError(f"{len(found)} objects '{prefix}' in place of one")
    return found[0]


def identity(objects):
    drive = _only(objects, "Velko SSD ")
    return {
        "serial_number": text(drive["SerialNumber"]),
        "model_number": text(drive["ModelNumber"]),
        "firmware_revision": text(drive["Firmware"]),
        "interface": _nvme_version(drive) if "NVMeMajorVersion" in drive else SATA,
        # TNVMCAP is 0 where the drive does not report it.
        "capacity_bytes": quantity(drive.get("TotalCapacity"), "bytes") or quantity(drive.get("PhysicalSize"), "bytes"),
        "device_status": text(drive["DeviceStatus"]),
        "namespaces": [_namespace(value) for value in _with_prefix(objects, "Namespace ")],
    }


def _nvme_version(drive):
    return "NVMe " + ".".join(text(drive[f"NVMe{part}Version"]) for part in ("Major", "Minor"))


def _namespace(value):
    return {"nsid": quantity(value["NamespaceId"]), "size_bytes": quantity(value.get("Size"), "bytes"),
            "used_bytes": quantity(value.get("Used"), "bytes"), "node": text(value.get("Node", "none")),
            "use": text(value.get("Use", "not reported"))}


def nvme_health(objects):
    drive = _only(objects, "SMART Attributes ")
    warnings = [words for key, words in CRITICAL_WARNINGS if drive.get(key) is True]
    return {**_health(drive), "critical_warnings": warnings}


def sata_health(objects):
    return _health(_only(objects, "Health Sensors "))


def _health(drive):
    values = {key: quantity(drive.get(name), unit) for key, name, unit in HEALTH}
    return {key: value for key, value in values.items() if value is not None}


def attributes(objects):
    """The SMART attributes of a SATA drive."""
    return [{"id": text(row["ID"]), "name": text(row["Description"]), "value": quantity(row["Normalized"]),
             "worst": quantity(row["Worst"]), "threshold": quantity(row["Threshold"]), "raw": text(row["Raw"]),
             "state": text(row["Action"])} for row in _with_prefix(objects, "SMART Attribute ")]


def self_tests(objects):
    state = next(value for value in objects.values() if "SelfTestStatus" in value)
    results = [{"test": text(row["Test"]), "result": text(row["Result"]),
                "power_on_hours": quantity(row.get("POH - Power On Hours", row.get("Power On Hours")),
                                           "hours" if "POH - Power On Hours" in row else None),
                "failing_lba": quantity(row.get("FLBA - Failing LBA", row.get("Failing LBA")))}
               for row in objects.values() if "Result" in row]
    return {"state": text(state["SelfTestStatus"]), "progress_percent": quantity(state.get("SelfTestProgress"), "%"),
            "code": quantity(state.get("SelfTestStatusCode")), "results": results}


def background(objects):
    """What runs or is owed, each in the tool's words."""
    shown = _only(objects, "Background Processing ")
    return {key: text(value) for key, value in shown.items() if key not in ("SerialNumber", "DevicePath")}


def firmware(objects):
    log = _only(objects, "Firmware Slot Information ")
    slots = {int(match[1]): text(value) for key, value in log.items()
             if (match := re.match(r"FRS(\d) - ", key)) and value != "none"}
    by_prefix = {key.split(" - ")[0]: value for key, value in log.items()}
    return {"active_slot": quantity(by_prefix["AFI Active Slot"]), "next_slot": quantity(by_prefix["AFI Next Slot"]),
            "slots": [{"slot": slot, "revision": revision} for slot, revision in sorted(slots.items())]}


def pages(objects):
    """The names of the log pages that the drive supports."""
    return {text(value) for key, value in _only(objects, "Supported Log Pages ").items() if key.startswith("LID ")}


def latency_monitor(objects):
    """The buckets of OCP's latency monitor. A command is in the bucket of the highest threshold that it reached."""
    log = _only(objects, "OCP Latency Monitor ")
    by_prefix = {key.split(" - ")[0]: value for key, value in log.items()}
    thresholds = [quantity(by_prefix[f"AT{letter}"], "milliseconds") * 1000 for letter in "ABCD"]
    return {"enabled": by_prefix["LMFS Enabled"] is True,
            "buckets": [_monitor_bucket(log, kind, number, thresholds) for kind in ("Active", "Static") for number in range(4)]}


def _monitor_bucket(log, kind, number, thresholds):
    by_prefix = {key.split(" - ")[0]: value for key, value in log[f"{kind} Bucket {number}"].items()}
    counts = {name.lower(): quantity(by_prefix[f"{name} Count"]) for name in ("Read", "Write", "Deallocate")}
    return _bucket(kind.lower(), thresholds[number], thresholds[number + 1] if number < 3 else None, **counts)


def _bucket(kind, begin, end, read=None, write=None, deallocate=None):
    """None: commands of this kind are not counted."""
    return {"kind": kind, "from_microseconds": begin, "to_microseconds": end, "read_commands": read,
            "write_commands": write, "deallocate_commands": deallocate}


def read_statistics(objects):
    return _statistics(_only(objects, "VELKO Read Latency Statistics "), "read")


def write_statistics(objects):
    return _statistics(_only(objects, "VELKO Write Latency Statistics "), "write")


def _statistics(log, name):
    """The buckets of a VELKO drive, in which each command is counted."""
    found = [(match, count) for key, count in log.items() if (match := _STATISTICS_BUCKET.fullmatch(key))]
    return {"enabled": log["LatencyTrackingEnabled - Latency Tracking Enabled"] is True,
            "buckets": [_bucket("all", int(match[1]), int(match[2]) if match[2] else None, **{name: quantity(count)})
                        for match, count in found]}


def events(objects):
    """The persistent events, the newest first."""
    log = _only(objects, "Persistent Event Log ")
    found = [(match, value) for key, value in log.items() if (match := _EVENT_NAME.fullmatch(key))]
    found.sort(key=lambda row: int(row[0][1]))
    return {"total": quantity(log["TNEV - Total Number of Events"]),
            "newest": [_event(match[2], value) for match, value in found[:EVENTS_KEPT]]}


def _event(name, value):
    date = _DATE.fullmatch(str(value.get("ETSTMP Date - Date")))
    words = [f"{key.split(' - ')[-1]}: {text(item)}" for key, item in value.items()
             if not isinstance(item, dict) and not _EVENT_HEADER.fullmatch(key)]
    return {"name": name, "time": f"{date[1]}T{date[2]}Z" if date else None, "text": "; ".join(words[:8])[:500],
            "drive_milliseconds": quantity(value["ETSTMP - Event Timestamp"], "milliseconds")}


def errors(objects):
    """The entries of the Error Information log, the newest first."""
    log = _only(objects, "Error Information ")
    entries = sorted((_error(value) for value in log.values() if isinstance(value, dict)),
                     key=lambda entry: -entry["number"])
    return {"total": quantity(log["Entries"]), "newest": entries[:ERRORS_KEPT]}


def _error(value):
    by_prefix = {key.split(" - ")[0]: item for key, item in value.items()}
    queue = by_prefix["SQID"]
    return {"number": quantity(by_prefix["ECNT"]), "status": text(by_prefix["SF"]),
            "queue": queue if isinstance(queue, int) else None,
            "lba": quantity(by_prefix["LBA"]), "nsid": quantity(by_prefix["NSID"])}
