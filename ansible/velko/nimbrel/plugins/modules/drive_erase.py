#!/usr/bin/python
"""Erases a solid-state drive."""

DOCUMENTATION = r"""
module: drive_erase
short_description: Erase a solid-state drive
description:
  - Erases the drive with I(serial_number), which is compared on the host before anything else is done, and again by the
    tool on the open node.
  - A drive that holds the running system, or that is in use, is refused. I(force) does not help.
  - Afterwards the end state is checked - the record of the erase in C(/var/lib/nimbrel/erasures), whose samples the
    tool read back, and after a sanitize operation of an NVMe drive its Sanitize Status log, too.
  - A drive that is erased as wished, and was not written since, is not erased again. After a sanitize operation an
    NVMe drive's own log shows that. Otherwise a note of the module does, in C(/var/lib/nimbrel/ansible), with the
    drive's count of write commands. A drive without that count, or with several controllers, is erased at each run;
    I(repeatable) says so.
notes:
  - Check mode makes the checks of the tool's gate that C(nimbrel show) allows - selection, identity, uses,
    partitions, what the drive supports. The result's I(not_predicted) has what only the tool's gate sees.
  - A sanitize operation goes on in the drive when the task is interrupted. A drive with an operation in progress is
    refused.
options:
  method:
    description:
      - C(sanitize_block), C(sanitize_crypto) and C(sanitize_overwrite) are C(nimbrel start -sanitize). C(delete) is
        C(nimbrel delete), a format of all namespaces with user data erase, and of SATA drives the best erase that they
        have. C(format) is C(nimbrel start -nvmeformat), with I(secure_erase) and I(lba_format).
    type: str
    choices: [sanitize_block, sanitize_crypto, sanitize_overwrite, delete, format]
    required: true
  secure_erase:
    description:
      - Of C(format), which data the format erases.
    type: str
    choices: [user_data, crypto]
    default: user_data
  lba_format:
    description:
      - Of C(format), the index of the LBA format of all namespaces afterwards; without it each keeps its own.
    type: int
  force:
    description:
      - With C(true) partitions, file systems and other known content that nothing uses are erased, too. Otherwise a
        drive with any is refused.
    type: bool
    default: false
extends_documentation_fragment:
  - velko.nimbrel.drive
  - velko.nimbrel.drive.one_drive
"""

EXAMPLES = r"""
- name: Sanitize the drive with this label
  velko.nimbrel.drive_erase:
    serial_number: S1
    method: sanitize_crypto
    force: true
"""

RETURN = r"""
serial_number:
  description: Serial number of the drive.
  returned: success
  type: str
path:
  description: Node of the drive.
  returned: success
  type: str
message:
  description: What the tool said.
  returned: when the drive was erased
  type: str
  sample: The drive was sanitized.
record:
  description: File of the record of the erase on the host.
  returned: when the drive was erased
  type: str
verification:
  description: The tool's check by samples, from the record; counts of places by verdict.
  returned: when the drive was erased
  type: dict
  sample: {places: 64, bytesOfEach: 4096, deallocated: 64}
sanitize:
  description: The drive's Sanitize Status log at the end, of an NVMe drive with such an operation.
  returned: when the drive has it
  type: dict
  sample: {succeeded: true, global_data_erased: true, action: 2}
repeatable:
  description: Whether a second run will see that the drive is erased.
  returned: success
  type: bool
not_predicted:
  description: What check mode could not look at.
  returned: in check mode
  type: list
  elements: str
"""

from ansible_collections.velko.nimbrel.plugins.module_utils.drive import (
    ONE_DRIVE,
    change,
    find_drive,
    read_drive,
    read_object,
)
from ansible_collections.velko.nimbrel.plugins.module_utils.erasure import (
    Note,
    new_record,
    read_sanitize,
    read_writes,
    record_names,
)
from ansible_collections.velko.nimbrel.plugins.module_utils.task import run_task
from ansible_collections.velko.nimbrel.plugins.module_utils.tool import ToolError
from ansible_collections.velko.nimbrel.plugins.module_utils.use import NOT_PREDICTED, read_uses

# Word of the command line, Sanitize Action (NVMe), attribute that says whether the drive supports it.
SANITIZES = {
    "sanitize_block": ("block", 2, "SanitizeBlockEraseSupported"),
    "sanitize_overwrite": ("overwrite", 3, "SanitizeOverwriteSupported"),
    "sanitize_crypto": ("crypto", 4, "SanitizeCryptoScrambleSupported"),
}
SECURE_ERASES = {"user_data": 1, "crypto": 2}
NOTHING_RUNS = "Background process is not running."
YES = "y\n"


def read_attributes(tool, drive):
    """The drive's own object of `show -all`."""
    return next(keys for _name, keys in read_drive(tool, drive, options=["-a"]) if "ModelNumber" in keys)


def require_supported(drive, attributes, params):
    """What the drive does not support is refused here as in the tool."""
    method, is_nvme = params["method"], "NVMeMajorVersion" in attributes
    if method in SANITIZES and attributes.get(SANITIZES[method][2]) is not True:
        raise ToolError(f"drive {drive} does not support {method}")
    if method == "sanitize_overwrite" and not is_nvme:
        raise ToolError(f"sanitize_overwrite is for NVMe drives, and drive {drive} is a SATA drive")
    if (method == "format" or method == "delete" and is_nvme) and attributes.get("FormatNVMSupported") is not True:
        raise ToolError(f"drive {drive} does not support Format NVM")
    if method == "format" and params["secure_erase"] == "crypto" and not attributes["FormatNVMCryptoEraseSupported"]:
        raise ToolError(f"drive {drive} does not support a cryptographic erase by Format NVM")
    if params["lba_format"] is not None and not 0 <= params["lba_format"] <= attributes["NumLBAFormats"]:
        raise ToolError(f"drive {drive} has the LBA formats 0 to {attributes['NumLBAFormats']}")
    for key in ("SecurityFrozen", "SecurityLocked"):
        if method == "delete" and not attributes.get("SanitizeSupported") and attributes.get(key) is True:
            raise ToolError(f"drive {drive} cannot be erased: {key}")


def require_unused(tool, drive, params):
    """The checks of the gate that can be made from what `show` says, and that nothing runs in the drive."""
    uses = read_uses(tool, drive)
    if uses.in_use:
        raise ToolError(f"drive {drive} is in use: {'; '.join(uses.in_use)}", in_use=uses.in_use)
    if uses.content and not params["force"]:
        raise ToolError(f"drive {drive} has partitions, and force is not given: {'; '.join(uses.content)}",
                        unused_partitions=uses.content)
    running = read_object(tool, drive, "-backgroundprocessing")["BackgroundProcessing"]
    if running != NOTHING_RUNS:
        raise ToolError(f"drive {drive}: {running}")


def command(params):
    """Verb, targets and properties of the method."""
    method = params["method"]
    if method in SANITIZES:
        return ["start", "-sanitize", SANITIZES[method][0]]
    if method == "delete":
        return ["delete"]
    lba_format = [] if params["lba_format"] is None else [f"LBAFormat={params['lba_format']}"]
    return ["start", "-nvmeformat", *lba_format, f"SecureEraseSetting={SECURE_ERASES[params['secure_erase']]}"]


class Erased:
    """Whether the drive is erased as wished, by the drive's own log or by the module's note."""

    def __init__(self, tool, drive, attributes, params):
        self.tool = tool
        self.drive = drive
        self.is_nvme = "NVMeMajorVersion" in attributes
        self.action = SANITIZES.get(params["method"], (None, None))[1] if self.is_nvme else None
        self.wish = command(params)
        self.lba_format = params["lba_format"]
        self.note = Note(drive)

    def can_be_seen(self):
        """Whether a later run will see that the drive is erased."""
        return self.action is not None or read_writes(self.tool, self.drive, self.is_nvme) is not None

    def is_seen(self):
        """Before anything is done. Without a sanitize operation Global Data Erased says only that the drive is new."""
        if self.action is None:
            writes = read_writes(self.tool, self.drive, self.is_nvme)
            return self.note.matches(self.wish, writes) and self.has_format()
        log = read_sanitize(self.tool, self.drive)
        return log["succeeded"] and log["global_data_erased"] and log["action"] == self.action

    def has_format(self):
        """Whether the namespaces have the wanted LBA format: another hand may have formatted them since."""
        return self.lba_format is None or all(
            keys.get("LBAFormat") == self.lba_format
            for _name, keys in read_drive(self.tool, self.drive, options=["-a"]) if "NamespaceId" in keys)

    def confirm(self):
        """After the erase: the drive's log must show it, and a note is made where there is no log."""
        if self.action is None:
            writes = read_writes(self.tool, self.drive, self.is_nvme)
            self.note.write(self.wish, writes)
            return {"repeatable": writes is not None}
        log = read_sanitize(self.tool, self.drive)
        if not log["succeeded"] or log["action"] != self.action:
            raise ToolError(f"the Sanitize Status log of drive {self.drive} does not show the operation: {log}",
                            changed=True)
        return {"sanitize": log, "repeatable": log["global_data_erased"]}


def perform(tool, drive, params):
    """Runs the command. Without force the tool's question is answered with yes: -force would also override its check of
    content, which is closer than the one that was made here."""
    before = record_names()
    verb, *words = command(params)
    options = ["-force"] if params["force"] else []
    answer = change(tool, drive, verb, *words, options=options, typed=None if params["force"] else YES)
    path, record = new_record(drive, before)
    counts = {name: count for name, count in record["verification"].items() if isinstance(count, int)}
    return {"message": answer.message(), "record": path, "verification": counts}


def erase(module, tool):
    """The module's result."""
    params = module.params
    if params["lba_format"] is not None and params["method"] != "format":
        raise ToolError("lba_format is for the method format")
    drive = find_drive(tool, params["serial_number"], params["path"])
    attributes = read_attributes(tool, drive)
    require_supported(drive, attributes, params)
    require_unused(tool, drive, params)
    erased = Erased(tool, drive, attributes, params)
    result = {"changed": False, "serial_number": drive.serial, "path": drive.path, "repeatable": erased.can_be_seen()}
    if erased.is_seen():
        return result
    result.update(changed=True, diff={"before": {"erased": False}, "after": {"erased": params["method"]}})
    if module.check_mode:
        return {**result, "not_predicted": NOT_PREDICTED}
    result.update(perform(tool, drive, params))
    result.update(erased.confirm())
    return result


def main():
    """The module."""
    run_task(erase, argument_spec={
        **ONE_DRIVE,
        "method": {"type": "str", "choices": [*SANITIZES, "delete", "format"], "required": True},
        "secure_erase": {"type": "str", "choices": list(SECURE_ERASES), "default": "user_data"},
        "lba_format": {"type": "int"},
        "force": {"type": "bool", "default": False},
    })


if __name__ == "__main__":
    main()
