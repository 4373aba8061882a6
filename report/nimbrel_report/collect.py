"""Asks the tool about the drives of this host: a document after docs/report.schema.json."""

import concurrent.futures
import datetime
import hashlib
import hmac
import pathlib
import socket
import time

from . import document, sections, snapshots
from .tool import Deadline, NotRead
from .values import text

# The list of drives comes from what the kernel knows, without a question to a drive.
_LIST_SECONDS = 60
_REASON_LENGTH = 1000
# Drives are asked side by side; more at once would only wait for the processors.
_WORKERS = 8

# Section, targets of `nimbrel show`, the log page without which the drive is not asked (a drive that lacks it would
# record the question as an error), how the answer is read.
NVME_SECTIONS = (
    ("health", ("-smart",), None, sections.nvme_health),
    ("background", ("-backgroundprocessing",), None, sections.background),
    ("firmware", ("-nvmelog", "firmware"), "Firmware Slot Information", sections.firmware),
    ("errors", ("-nvmelog", "error"), "Error Information", sections.errors),
    ("self_tests", ("-selftest",), "Device Self-test", sections.self_tests),
    ("latency", ("-nvmelog", "0xC3"), "OCP Latency Monitor", sections.latency_monitor),
    ("read_latency", ("-nvmelog", "0xD1"), "VELKO Read Latency Statistics", sections.read_statistics),
    ("write_latency", ("-nvmelog", "0xD2"), "VELKO Write Latency Statistics", sections.write_statistics),
    ("events", ("-persistenteventlog",), "Persistent Event Log", sections.events),
)
# Log pages of one maker: a drive without them lacks nothing.
_MAKERS = {"read_latency", "write_latency"}
SATA_SECTIONS = (
    ("health", ("-sensor",), None, sections.sata_health),
    ("background", ("-backgroundprocessing",), None, sections.background),
    ("attributes", ("-smart",), None, sections.attributes),
    ("self_tests", ("-selftest",), None, sections.self_tests),
)


def this_host(tool, time_limit, snapshot_folder, now):
    """The document of this host. NotRead where the list of drives itself cannot be read."""
    listed, problems = _list(tool)
    with concurrent.futures.ThreadPoolExecutor(_WORKERS) as pool:
        drives = list(pool.map(lambda row: _Drive(tool, *row, time_limit).ask(), listed))
    history, unread = snapshots.read(snapshot_folder)
    for drive in drives:
        model = drive.get("identity", {}).get("model_number")
        drive["history"] = history.get((drive["serial_number"], model), {"times": []})
    return {
        "format": document.FORMAT, "version": document.VERSION,
        "host": {"name": socket.gethostname(), "id": _host_id()},
        "collected": now.astimezone(datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ"),
        "tool_version": tool.version(), "problems": document.bounded(problems + unread), "drives": drives,
    }


def _list(tool):
    """Serial number and node of each drive, and what could not be looked at."""
    objects, _ = tool.run("show", "-display", "SerialNumber,DevicePath", "-velkossd", deadline=Deadline(_LIST_SECONDS))
    drives, problems = [], []
    for name, value in objects.items():
        if "DevicePath" in value:
            drives.append((str(value.get("SerialNumber", "")), str(value["DevicePath"])))
        else:
            problems.append(f"{name}: {value.get('Status', 'no status')}")
    return drives, problems


def _host_id(path="/etc/machine-id"):
    """Distinguishes hosts of one name. The machine ID itself is not for others to see (machine-id(5))."""
    try:
        machine = pathlib.Path(path).read_text(encoding="ascii").strip()
    except (OSError, UnicodeError):
        return None
    return hmac.new(machine.encode(), b"nimbrel-report", hashlib.sha256).hexdigest()[:32] if machine else None


class _Drive:
    """The questions to one drive, one after the other."""

    def __init__(self, tool, serial_number, path, time_limit):
        self._tool = tool
        self._path = path
        self._deadline = Deadline(time_limit)
        self._silent = None  # why no more is asked
        self._drive = {"serial_number": serial_number, "device_path": path, "not_read": [], "not_supported": []}

    def ask(self):
        begin = time.monotonic()
        self._read("identity", sections.identity, lambda: self._tool.details_of(self._path, self._deadline))
        interface = self._drive.get("identity", {}).get("interface")
        # A drive that did not say what it is gets the questions of NVMe, which a SATA drive refuses unharmed.
        sata = interface == sections.SATA
        pages = set() if sata else self._ask("pages", sections.pages, "-nvmelog", "list")
        self._drive.pop("pages", None)
        for name, targets, page, parse in SATA_SECTIONS if sata else NVME_SECTIONS:
            # After an error the tool's list has those pages alone that every drive of its version has.
            if name in _MAKERS and page not in (pages or ()):
                continue
            if page and (pages is None or page not in pages and self._drive["not_read"]):
                self._not_read(name, "not asked: it is not known whether the drive supports the log page")
            elif page and page not in pages:
                self._drive["not_supported"].append(name)
            else:
                self._ask(name, parse, *targets)
        return {**self._drive, "seconds": round(time.monotonic() - begin, 1)}

    def _ask(self, name, parse, *targets):
        return self._read(name, parse, lambda: self._tool.of_drive(self._path, *targets, deadline=self._deadline))

    def _read(self, name, parse, question):
        """The section, which is in the drive then, or None and the reason in its place."""
        try:
            if self._silent:
                raise NotRead(self._silent)
            shown, lacking = question()
            self._require_same(shown)
            section = parse(shown)
            document.check_section(name, section)
            self._drive[name] = section
            for reason in lacking:
                self._not_read(name, reason)
            return section
        except NotRead as error:
            if error.silent:
                self._silent = f"not asked: {error}"
            reason = str(error)
        except (KeyError, ValueError, StopIteration, AttributeError, TypeError, document.Damaged) as error:
            reason = f"nimbrel showed something unexpected: {error!r}"
        return self._not_read(name, reason)

    def _require_same(self, shown):
        """A node can pass to another drive between two questions."""
        serial = self._drive["serial_number"]
        others = {text(value["SerialNumber"]) for value in shown.values() if "SerialNumber" in value} - {text(serial)}
        if serial and others:
            raise NotRead(f"another drive has the node {self._path} now: {', '.join(sorted(others))}", silent=True)

    def _not_read(self, name, reason):
        self._drive["not_read"].append({"section": name, "reason": reason[:_REASON_LENGTH]})
