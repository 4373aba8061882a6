#!/usr/bin/python
"""Facts of the solid-state drives of a host."""

DOCUMENTATION = r"""
module: drive_info
short_description: Facts of the solid-state drives of a host
description:
  - Reads identity, attributes, health, firmware slots and uses of all drives, or of some. Nothing is changed, and no
    drive gets an entry in its error log.
options:
  serial_number:
    description:
      - Serial numbers of the drives to read. Without it all drives are read.
    type: list
    elements: str
  gather:
    description:
      - What is read of each drive beside the attributes of C(nimbrel show -all).
      - C(sensors) are health and counters, C(firmware) the firmware slots, C(use) what the host uses the drive for.
    type: list
    elements: str
    choices: [sensors, firmware, use]
    default: [sensors, firmware, use]
  allow_unreadable:
    description:
      - With C(true) a drive that cannot be read has its C(error), and the task goes on. Otherwise the task fails; the
        failure has I(drives), too.
    type: bool
    default: false
extends_documentation_fragment:
  - velko.nimbrel.drive
"""

EXAMPLES = r"""
- name: Read all drives
  velko.nimbrel.drive_info:
  register: found

- name: Show those that run another firmware
  ansible.builtin.debug:
    msg: "{{ item.serial_number }} runs {{ item.firmware_revision }}"
  loop: "{{ found.drives | rejectattr('firmware_revision', 'equalto', 'VP100205') }}"
  loop_control:
    label: "{{ item.serial_number }}"
"""

RETURN = r"""
drives:
  description:
    - One element for each drive, in the order of the tool's list. The keys and values of C(attributes), C(sensors) and
      C(firmware) are those of C(nimbrel -output json), which docs/output.md describes.
  returned: always
  type: list
  elements: dict
  contains:
    serial_number:
      description: Serial number.
      type: str
      sample: S1
    path:
      description: Node of the controller or of the SATA drive.
      type: str
      sample: /dev/nvme0
    model_number:
      description: Model number; empty where it is not known.
      type: str
      sample: VELKO P100
    firmware_revision:
      description: Revision of the firmware that runs; empty where it is not known.
      type: str
      sample: VP100205
    error:
      description: Why the drive could not be read; null where it could.
      type: str
    attributes:
      description: What C(show -all) says of the drive.
      type: dict
      sample: {DeviceStatus: Healthy, PhysicalSize: 67108864 bytes}
    namespaces:
      description: What C(show -all) says of each attached namespace; an empty list for SATA drives.
      type: list
      elements: dict
    sensors:
      description: What C(show -sensor) says.
      type: dict
      sample: {Temperature: 38 C, PercentageUsed: 0 %}
    firmware:
      description: Firmware slots of an NVMe drive; empty for SATA drives, which have none.
      type: dict
    in_use:
      description: What the host uses the drive for, a sentence for each disk, namespace or partition.
      type: list
      elements: str
    unused_partitions:
      description: Partitions that nothing uses.
      type: list
      elements: str
"""

from ansible_collections.velko.nimbrel.plugins.module_utils.drive import ARGUMENTS, find_drive, list_drives, read_drive
from ansible_collections.velko.nimbrel.plugins.module_utils.task import run_task
from ansible_collections.velko.nimbrel.plugins.module_utils.tool import ToolError
from ansible_collections.velko.nimbrel.plugins.module_utils.use import read_uses


def read_attributes(tool, drive, _facts):
    """The drive's own object is the one that says which model it is; the others are namespaces."""
    objects = [keys for _name, keys in read_drive(tool, drive, options=["-a"])]
    return {"attributes": next((keys for keys in objects if "NamespaceId" not in keys or "ModelNumber" in keys), {}),
            "namespaces": [keys for keys in objects if "NamespaceId" in keys and "ModelNumber" not in keys]}


def read_sensors(tool, drive, _facts):
    """Health and counters."""
    return {"sensors": read_drive(tool, drive, "-sensor")[0][1]}


def read_firmware(tool, drive, facts):
    """A SATA drive has no slots, and the tool refuses NVMe log pages of it."""
    if "NVMeMajorVersion" not in facts["attributes"]:
        return {"firmware": {}}
    return {"firmware": read_drive(tool, drive, "-nvmelog", "firmware")[0][1]}


def read_use(tool, drive, _facts):
    """What the host uses the drive for."""
    uses = read_uses(tool, drive)
    return {"in_use": uses.in_use, "unused_partitions": uses.content}


READERS = {"sensors": read_sensors, "firmware": read_firmware, "use": read_use}


def describe(tool, drive, gather):
    """All that was asked for; what cannot be read is the drive's error."""
    facts = {"serial_number": drive.serial, "path": drive.path, "model_number": drive.text("ModelNumber"),
             "firmware_revision": drive.text("Firmware"), "error": drive.error}
    if drive.error is not None:
        return facts
    try:
        for read in [read_attributes] + [READERS[name] for name in gather]:
            facts.update(read(tool, drive, facts))
    except ToolError as error:
        facts["error"] = error.message
    return facts


def gather_facts(module, tool):
    """The module's result."""
    drives = list_drives(tool)
    wanted = module.params["serial_number"]
    if wanted is not None:
        for serial in wanted:
            if serial not in [drive.serial for drive in drives]:
                find_drive(tool, serial, drives=drives)  # says why
        drives = [drive for drive in drives if drive.serial in wanted]
    facts = [describe(tool, drive, module.params["gather"]) for drive in drives]
    unreadable = [fact for fact in facts if fact["error"] is not None]
    if unreadable and not module.params["allow_unreadable"]:
        raise ToolError(" ".join(fact["error"] for fact in unreadable), drives=facts)
    return {"changed": False, "drives": facts}


def main():
    """The module."""
    run_task(gather_facts, argument_spec={
        **ARGUMENTS,
        "serial_number": {"type": "list", "elements": "str"},
        "gather": {"type": "list", "elements": "str", "choices": list(READERS), "default": list(READERS)},
        "allow_unreadable": {"type": "bool", "default": False},
    })


if __name__ == "__main__":
    main()
