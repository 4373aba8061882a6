#!/usr/bin/python
"""Brings the firmware of solid-state drives to a revision."""

DOCUMENTATION = r"""
module: firmware
short_description: Bring the firmware of solid-state drives to a revision
description:
  - Updates the selected drives of the host to I(revision), one after the other, with C(nimbrel load). A drive that runs
    the revision gets nothing; neither does one in which the revision waits for a reset, which is reported.
  - The first drive that fails ends the task; those after it are not touched. What was done up to then is in the
    failure's I(drives).
  - To go through many hosts in batches, give the play C(serial) and C(any_errors_fatal). The playbook
    C(velko.nimbrel.firmware_rollout) does so.
notes:
  - Check mode selects and identifies the drives and compares revisions. It cannot predict that a drive refuses the
    image or needs a reset, and not which revision is in an image of I(source) - no tool knows before a drive has
    taken it. Without I(source) it says which drives have no module for the revision.
  - The task makes no reset but the controller level reset of the tool. Other resets, and all with
    I(activate=next_reset), are reported as C(required_reset).
options:
  revision:
    description:
      - The firmware revision that the drives shall run, as C(nimbrel show) shows it.
    type: str
    required: true
  serial_number:
    description:
      - Serial numbers of the drives. One of I(serial_number) and I(model_number) is required; with both a drive must
        fit both.
    type: list
    elements: str
  model_number:
    description:
      - Model number of the drives; C(*) matches any characters and C(?) one, and capitals count. A host that has no
        such drive is a failure, unless I(allow_none).
    type: str
  source:
    description:
      - Image on the host. Without it the newest firmware module of the host is taken, which must have I(revision).
    type: path
  slot:
    description:
      - Firmware slot of an NVMe drive; without it the drive chooses.
    type: int
    choices: [1, 2, 3, 4, 5, 6, 7]
  activate:
    description:
      - C(now) has the drive run the firmware at once, with a controller level reset where it needs one.
      - C(next_reset) stores it, for the next controller level reset. Not for SATA drives.
    type: str
    choices: [now, next_reset]
    default: now
  allow_none:
    description:
      - Whether a host without a drive of I(model_number) passes.
    type: bool
    default: false
extends_documentation_fragment:
  - velko.nimbrel.drive
"""

EXAMPLES = r"""
- name: Update the drives of a model from the modules of the host
  velko.nimbrel.firmware:
    model_number: VELKO P100*
    revision: VP100205
  register: update

- name: Reboot where a drive asks for more than the tool can do
  ansible.builtin.reboot:
  when: update.reset_required
"""

RETURN = r"""
drives:
  description: One element for each selected drive, in the order of the tool's list.
  returned: always, unless the selection fails
  type: list
  elements: dict
  contains:
    serial_number:
      description: Serial number.
      type: str
    path:
      description: Node of the drive.
      type: str
    state:
      description:
        - C(current), it ran the revision before; C(updated), it runs the revision now; C(waits), the revision is in the
          drive and a reset is owed; C(failed); C(not_attempted), an earlier drive failed; C(would_update), check mode.
      type: str
    before:
      description: Revision that ran before.
      type: str
    after:
      description: Revision that runs now; empty where the drive cannot be read after a failure.
      type: str
    required_reset:
      description:
        - C(none), C(controller level reset), C(NVM subsystem reset), or C(conventional reset), which is a reboot or a
          power cycle. A later run knows of a reset that is owed, but not that it is more than a controller level
          reset.
      type: str
    message:
      description: What the tool said.
      type: str
reset_required:
  description: Whether a drive waits for a reset.
  returned: always, unless the selection fails
  type: bool
not_predicted:
  description: What check mode could not look at.
  returned: in check mode
  type: list
  elements: str
"""

import fnmatch
import os

from ansible_collections.velko.nimbrel.plugins.module_utils.drive import (
    ARGUMENTS,
    NOT_FOUND,
    change,
    find_drive,
    list_drives,
    read_object,
)
from ansible_collections.velko.nimbrel.plugins.module_utils.task import run_task
from ansible_collections.velko.nimbrel.plugins.module_utils.tool import ToolError, text_of, word

NO_RESET = "none"
CONTROLLER_RESET = "controller level reset"
SHOWN = "SerialNumber,Firmware,StagedFirmware,FirmwareUpdateAvailable,NVMeMajorVersion"
NOT_PREDICTED = ["a drive that refuses the image, or does not run it after the activation",
                 "the reset that a drive needs", "another process that changes the drive at that moment"]


def select(tool, params):
    """The drives, each once; a serial number without its drive is an error, and so is a drive that cannot be read."""
    drives = list_drives(tool)
    serials = params["serial_number"]
    if serials is None:
        # One that cannot be read might be of the model: find_drive() reports it.
        chosen = [drive for drive in drives
                  if drive.error is not None or fnmatch.fnmatchcase(drive.text("ModelNumber"), params["model_number"])]
        serials = [drive.serial for drive in chosen]
    chosen = {drive.path: drive for drive in (find_drive(tool, serial, drives=drives) for serial in serials)}
    pattern = params["model_number"] or "*"
    others = [str(drive) for drive in chosen.values() if not fnmatch.fnmatchcase(drive.text("ModelNumber"), pattern)]
    if others:
        raise ToolError(f"not of the model {pattern!r}: {', '.join(others)}")
    if not chosen and not params["allow_none"]:
        raise ToolError(f"no drive has the model number {pattern!r}")
    return list(chosen.values())


def read_revisions(tool, drive):
    """Revisions that run, wait, and are offered by the modules; empty: none."""
    keys = read_object(tool, drive, options=["-d", SHOWN])
    waits = text_of(keys.get("StagedFirmware", "None"))
    # A SATA drive does not say; of an NVMe drive the log could not be read.
    if waits == NOT_FOUND and keys.get("NVMeMajorVersion", NOT_FOUND) != NOT_FOUND:
        raise ToolError(f"it cannot be read which firmware waits for a reset of drive {drive}")
    return {"runs": text_of(keys.get("Firmware", "")), "offered": text_of(keys.get("FirmwareUpdateAvailable", "")),
            "waits": "" if waits in ("None", NOT_FOUND) else waits}


def inspect(tool, drive, params):
    """The drive's element of the result before anything is done; its state is empty when it wants the update."""
    found = read_revisions(tool, drive)
    fact = {"serial_number": drive.serial, "path": drive.path, "state": "", "before": found["runs"],
            "after": found["runs"], "required_reset": NO_RESET, "message": ""}
    if found["waits"] == params["revision"]:
        fact.update(state="waits", required_reset=CONTROLLER_RESET)
    elif found["runs"] == params["revision"] and not found["waits"]:
        fact["state"] = "current"
    elif not params["source"] and found["offered"] != params["revision"]:
        fact.update(state="failed",
                    message=f"no module of the host is an update of drive {drive} to {params['revision']}")
    return fact


def command(params):
    """Options and properties of `load`."""
    options = ["-force"] + (["-source", word(os.path.abspath(params["source"]))] if params["source"] else [])
    properties = [f"FirmwareSlot={params['slot']}"] if params["slot"] else []
    return options, properties + (["CommitAction=1"] if params["activate"] == "next_reset" else [])


def update(tool, drive, fact, params):
    """Updates one drive, and compares what it runs or will run with what is wanted."""
    options, properties = command(params)
    answer = change(tool, drive, "load", *properties, options=options)
    states = [keys for _name, keys in answer.objects if "RunningFirmware" in keys]
    if not states:
        raise ToolError(f"nimbrel does not say which firmware drive {drive} runs")
    runs, following = (text_of(states[0].get(key, NO_RESET)) for key in ("RunningFirmware", "NextFirmware"))
    fact.update(after=runs, required_reset=states[0].get("RequiredReset", NO_RESET), message=answer.message())
    if fact["required_reset"] == NO_RESET and runs == params["revision"]:
        fact["state"] = "updated"
    elif fact["required_reset"] != NO_RESET and following == params["revision"]:
        fact["state"] = "waits"
    else:
        raise ToolError(f"drive {drive} has firmware {runs} now and {following} after its reset "
                        f"({fact['required_reset']}), not {params['revision']}")


def running_now(tool, drive):
    """What a drive runs after a failure, which may be the new firmware; empty: it cannot be read."""
    try:
        return read_revisions(tool, drive)["runs"]
    except ToolError:
        return ""


def update_all(tool, drives, facts, params):
    """Updates the drives that want it, up to the first that fails; returns its message, or None."""
    for drive, fact in zip(drives, facts):
        if fact["state"]:
            continue
        try:
            update(tool, drive, fact, params)
        except ToolError as error:
            fact.update(state="failed", message=error.message, after=running_now(tool, drive))
            return error.message
    return None


def is_changed(fact, wanting):
    """Whether the drive has other firmware now, running or waiting, or would have."""
    return (fact["state"] in ("updated", "would_update") or fact["before"] != fact["after"]
            or (fact in wanting and fact["state"] == "waits"))


def roll(module, tool):
    """The module's result."""
    params = module.params
    if params["source"] and not os.path.isfile(params["source"]):
        raise ToolError(f"there is no image {params['source']!r} on the host")
    command(params)  # what the command line does not take is reported before the first drive is updated
    drives = select(tool, params)
    facts = [inspect(tool, drive, params) for drive in drives]
    wanting = [fact for fact in facts if not fact["state"]]
    failure = next((fact["message"] for fact in facts if fact["state"] == "failed"), None)
    if failure is None and not module.check_mode:
        failure = update_all(tool, drives, facts, params)
    for fact in facts:
        fact["state"] = fact["state"] or ("would_update" if module.check_mode and not failure else "not_attempted")
    result = {"changed": any(is_changed(fact, wanting) for fact in facts), "drives": facts,
              "reset_required": any(fact["required_reset"] != NO_RESET for fact in facts)}
    result["diff"] = {"before": {fact["serial_number"]: fact["before"] for fact in facts},
                      "after": {fact["serial_number"]: params["revision"] if fact in wanting and failure is None
                                else fact["after"] for fact in facts}}
    if module.check_mode:
        result["not_predicted"] = NOT_PREDICTED + (["the revision of the image"] if params["source"] else [])
    if failure is not None:
        raise ToolError(failure, **result)
    return result


def main():
    """The module."""
    run_task(roll, argument_spec={
        **ARGUMENTS,
        "revision": {"type": "str", "required": True},
        "serial_number": {"type": "list", "elements": "str"},
        "model_number": {"type": "str"},
        "source": {"type": "path"},
        "slot": {"type": "int", "choices": list(range(1, 8))},
        "activate": {"type": "str", "choices": ["now", "next_reset"], "default": "now"},
        "allow_none": {"type": "bool", "default": False},
    }, required_one_of=[("serial_number", "model_number")])


if __name__ == "__main__":
    main()
