"""Documents for tests: whole ones, of which a test changes what it is about."""

import copy
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[3] / "report"))

HEALTHY = {
    "serial_number": "S1", "device_path": "/dev/nvme0", "seconds": 0.2, "not_read": [], "not_supported": ["latency"],
    "identity": {"serial_number": "S1", "model_number": "Model A", "firmware_revision": "FW1", "interface": "NVMe 1.4",
                 "capacity_bytes": 1920383410176, "device_status": "Healthy", "namespaces": [
                     {"nsid": 1, "size_bytes": 1920383410176, "used_bytes": 0, "node": "/dev/nvme0n1", "use": "none"}]},
    "health": {"critical_warnings": [], "temperature_celsius": 38, "percentage_used": 3, "available_spare_percent": 100,
               "available_spare_threshold_percent": 10, "media_errors": 0, "power_on_hours": 1234},
    "background": {"Sanitize": "the drive has never been sanitized", "BackgroundProcessing": "not running"},
    "firmware": {"active_slot": 1, "next_slot": None, "slots": [{"slot": 1, "revision": "FW1"}]},
    "errors": {"total": 0, "newest": []},
    "self_tests": {"state": "short self-test: completed without error", "progress_percent": None, "code": 0, "results": [
        {"test": "short", "result": "completed without error", "power_on_hours": 1200, "failing_lba": None}]},
    "events": {"total": 1, "newest": [{"name": "Power-on or Reset", "text": "Firmware Revision: FW1",
                                       "time": "2026-01-02T03:04:05Z", "drive_milliseconds": 1767323045000}]},
    "history": {"times": []},
}


def drive(serial="S1", **sections):
    """A healthy drive; a section that is a dictionary is laid over the healthy one, None takes it away."""
    made = copy.deepcopy(HEALTHY)
    made["serial_number"] = made["identity"]["serial_number"] = serial
    for name, value in sections.items():
        if value is None:
            del made[name]
        elif isinstance(value, dict):
            made[name] = {**made.get(name, {}), **value}
        else:
            made[name] = value
    return made


def document(*drives, host="host-a", host_id="0" * 32, collected="2026-11-22T10:00:00Z", **more):
    return {"format": "nimbrel-report", "version": 1, "host": {"name": host, "id": host_id}, "collected": collected,
            "tool_version": "2.2.18", "problems": [], "drives": list(drives), **more}
