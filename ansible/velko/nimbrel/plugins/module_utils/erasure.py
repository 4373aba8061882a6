"""What shows that a drive is erased: its own sanitize log, or the record of the last erase and the write counter."""

import hashlib
import json
import os
import stat
import tempfile

from ansible_collections.velko.nimbrel.plugins.module_utils.drive import read_object
from ansible_collections.velko.nimbrel.plugins.module_utils.tool import ToolError, number_of

STATUS = "SSTAT - Sanitize Status"
ACTION = "SCDW10 - Sanitize Command Dword 10 Information"
STATUS_MASK, STATUS_DONE, STATUS_DONE_UNEXPECTED_DEALLOCATE = 0x7, 1, 4
GLOBAL_DATA_ERASED = 0x100
ACTION_MASK = 0x7
SEVERAL_CONTROLLERS = "CMIC Multiple Controllers - NVM subsystem may have more than one controller"

# Exit status: the drive does not support what was asked for.
NOT_SUPPORTED = 3

RECORDS = "/var/lib/nimbrel/erasures"
NOTES = "/var/lib/nimbrel/ansible"


def read_sanitize(tool, drive):
    """Status and action of the last sanitize operation of an NVMe drive, and whether nothing was written since."""
    keys = read_object(tool, drive, "-nvmelog", "sanitize")
    status = number_of(keys[STATUS])
    return {"succeeded": status & STATUS_MASK in (STATUS_DONE, STATUS_DONE_UNEXPECTED_DEALLOCATE),
            "global_data_erased": bool(status & GLOBAL_DATA_ERASED), "action": number_of(keys[ACTION]) & ACTION_MASK}


def read_writes(tool, drive, is_nvme):
    """How many write commands the drive counts; None: it does not count them, or not those of its other controllers."""
    if is_nvme and read_object(tool, drive, "-identify")[SEVERAL_CONTROLLERS]:
        return None
    try:
        return number_of(read_object(tool, drive, "-performance").get("HostWriteCommands", "not reported"))
    except ToolError as error:
        if error.facts.get("exit_status") == NOT_SUPPORTED:
            return None
        raise


def record_names():
    """The records of erases that this host has."""
    try:
        return {name for name in os.listdir(RECORDS) if name.endswith(".json")}
    except FileNotFoundError:
        return set()


def new_record(drive, before):
    """The record that the erase of this drive left: its path and content; one that is missing or failed is an error."""
    found = []
    for name in sorted(record_names() - before):
        path = os.path.join(RECORDS, name)
        with open(path, encoding="utf-8") as file:
            record = json.load(file)
        if str(record["drive"]["serialNumber"]) == drive.serial:
            found.append((path, record))
    if not found:
        raise ToolError(f"the erase of drive {drive} left no record in {RECORDS}", changed=True)
    path, record = found[-1]
    if record["run"]["outcome"] != "success":
        raise ToolError(f"the record {path} has the outcome {record['run']['outcome']}", changed=True)
    return path, record


def require_own_folder():
    """Notes of a folder that is a link, or that others can change, would be theirs; before anything is erased."""
    try:
        found = os.lstat(NOTES)
    except FileNotFoundError:
        return
    if not stat.S_ISDIR(found.st_mode) or found.st_uid != os.geteuid() or found.st_mode & 0o077:
        raise ToolError(f"{NOTES} is not a folder of root alone")


class Note:
    """What the module remembers of the erase of a drive whose own logs do not show it: wanted method and write counter.
    Another erase with another wish, or one write command, and it does not count. A file for root alone."""

    def __init__(self, drive):
        require_own_folder()
        identity = "\n".join((drive.text("ModelNumber"), drive.serial))
        self.path = os.path.join(NOTES, hashlib.sha256(identity.encode()).hexdigest() + ".json")

    def matches(self, wish, writes):
        """Whether the drive was erased as wished, and nothing was written since."""
        if writes is None or os.path.islink(self.path):
            return False
        try:
            with open(self.path, encoding="utf-8") as file:
                owner = os.fstat(file.fileno())
                note = json.load(file)
        except (FileNotFoundError, ValueError):
            return False
        return owner.st_uid == os.geteuid() and not owner.st_mode & 0o022 and note == {"wish": wish, "writes": writes}

    def write(self, wish, writes):
        """Replaces the note as a whole; a counter that the drive does not have leaves none."""
        if writes is None:
            return
        os.makedirs(NOTES, mode=0o700, exist_ok=True)
        handle, name = tempfile.mkstemp(dir=NOTES)
        with os.fdopen(handle, "w", encoding="utf-8") as file:
            json.dump({"wish": wish, "writes": writes}, file)
            file.flush()
            os.fsync(file.fileno())
        os.rename(name, self.path)
