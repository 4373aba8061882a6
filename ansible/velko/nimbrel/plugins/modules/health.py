#!/usr/bin/python
"""A gate before maintenance: fails where a drive is not well."""

DOCUMENTATION = r"""
module: health
short_description: Fail where a solid-state drive is not well
description:
  - A gate before maintenance. Reads the health of all drives of the host, or of some, and fails where one of them has a
    critical warning, is beyond a limit, failed its last self-test, or has an operation in progress.
  - Nothing is changed, in check mode neither; the same is looked at there.
  - What cannot be read is a failure. A host without drives is one, too, unless I(allow_none).
options:
  serial_number:
    description:
      - Serial numbers of the drives to look at. Without it all drives are looked at.
    type: list
    elements: str
  max_percentage_used:
    description:
      - The highest wear, in percent of the rated endurance.
    type: int
    default: 99
  min_available_spare:
    description:
      - The lowest available spare in percent, beside the drive's own threshold, which always counts.
    type: int
    default: 0
  max_temperature:
    description:
      - The highest temperature in degrees Celsius, beside the drive's own threshold, which always counts.
    type: int
  max_media_errors:
    description:
      - The highest number of media errors.
    type: int
    default: 0
  require_idle:
    description:
      - Whether a self-test or a sanitize operation in progress, or firmware that waits for a reset, is a failure.
    type: bool
    default: true
  read_scan:
    description:
      - Also read the media (C(nimbrel start -scan ReadScan)), up to 16 GiB of each namespace. The drive that holds the
        running system is left out, and has a problem for that reason.
    type: bool
    default: false
  allow_none:
    description:
      - Whether a host without drives passes.
    type: bool
    default: false
extends_documentation_fragment:
  - velko.nimbrel.drive
"""

EXAMPLES = r"""
- name: Go on with the maintenance only where all drives are well
  velko.nimbrel.health:
    max_percentage_used: 90
    max_temperature: 75
"""

RETURN = r"""
drives:
  description: One element for each drive that was looked at.
  returned: always, unless the list of drives cannot be read
  type: list
  elements: dict
  contains:
    serial_number:
      description: Serial number.
      type: str
    path:
      description: Node of the drive.
      type: str
    sensors:
      description: What C(nimbrel show -sensor) says, key by key.
      type: dict
    problems:
      description: Why the drive does not pass; empty where it does.
      type: list
      elements: str
      sample: ["Available spare has fallen below the threshold."]
"""

from ansible_collections.velko.nimbrel.plugins.module_utils.drive import (
    ARGUMENTS,
    find_drive,
    list_drives,
    read_drive,
    require_identity,
)
from ansible_collections.velko.nimbrel.plugins.module_utils.task import run_task
from ansible_collections.velko.nimbrel.plugins.module_utils.tool import ToolError, number_of

# Key of the sensors, limit, whether the value may not be above it (1) or below it (-1), what is said.
LIMITS = (
    ("PercentageUsed", "max_percentage_used", 1, "%s of the rated endurance is used, the limit is %d %%"),
    ("AvailableSpare", "min_available_spare", -1, "%s of the spare is left, the limit is %d %%"),
    ("Temperature", "max_temperature", 1, "the temperature is %s, the limit is %d C"),
    ("MediaErrors", "max_media_errors", 1, "%s media errors, the limit is %d"),
)
WELL = "Healthy"
# Result codes of the Device Self-test log that mean a failed test; the others passed, or were aborted.
FAILED_SELF_TESTS = (5, 6, 7)
FAILED_SELF_TESTS_OF_SATA = (3, 4, 5, 6, 7, 8)
NO_SELF_TEST = 208
NOTHING_RUNS = "Background process is not running."
NO_FIRMWARE_WAITS = ("no activation is pending", "not reported")


def beyond_limits(sensors, params):
    """A sentence for each limit that the drive is beyond. A value that the drive does not report is beyond none."""
    problems = []
    for key, limit, sign, sentence in LIMITS:
        number = number_of(sensors.get(key, "not reported"))
        if params[limit] is not None and number is not None and sign * number > sign * params[limit]:
            problems.append(sentence % (sensors[key], params[limit]))
    return problems


def self_test_problems(tool, drive):
    """Whether the newest self-test failed. A drive without self-tests passes."""
    answer = tool.run("show", "-velkossd", drive.path, "-selftest")
    if answer.status == NO_SELF_TEST:
        return []
    if answer.status != 0:
        raise ToolError(answer.message(), exit_status=answer.status)
    keys = answer.objects[0][1]
    require_identity(drive, keys)
    is_sata = "ConveyanceSelfTestEstimatedTime" in keys
    failed = FAILED_SELF_TESTS_OF_SATA if is_sata else FAILED_SELF_TESTS
    if keys.get("SelfTestStatusCode") not in failed:
        return []
    return [f"the last self-test failed: {keys['SelfTestStatus']}"]


def busy(tool, drive):
    """What is in progress, or waits for a reset."""
    keys = read_drive(tool, drive, "-backgroundprocessing")[0][1]
    problems = [] if keys["BackgroundProcessing"] == NOTHING_RUNS else [keys["BackgroundProcessing"]]
    if keys["Firmware"] not in NO_FIRMWARE_WAITS:
        problems.append(f"firmware: {keys['Firmware']}")
    return problems


def read_scan(tool, drive):
    """The findings of a scan that reads the media."""
    answer = tool.run("start", "-scan", "ReadScan", "-velkossd", drive.path)
    if answer.error is not None:
        raise ToolError(answer.message(), exit_status=answer.status)
    problems = []
    for _name, keys in answer.objects:
        require_identity(drive, keys)
        problems += [f"{finding}: {said}" for finding, said in keys.get("Findings", {}).items()]
        if "Left out" in keys:
            problems.append(f"Left out: {keys['Left out']}")
    if answer.status != 0 and not problems:
        problems.append(answer.message())
    return problems


def look_at(tool, drive, params):
    """The drive's element of the result."""
    facts = {"serial_number": drive.serial, "path": drive.path, "sensors": {}, "problems": []}
    if drive.error is not None:
        facts["problems"] = [drive.error]
        return facts
    try:
        facts["sensors"] = read_drive(tool, drive, "-sensor")[0][1]
        status = facts["sensors"].get("DeviceStatus", "the drive does not report its health")
        facts["problems"] = ([] if status == WELL else [status]) + beyond_limits(facts["sensors"], params)
        facts["problems"] += self_test_problems(tool, drive)
        facts["problems"] += busy(tool, drive) if params["require_idle"] else []
        facts["problems"] += read_scan(tool, drive) if params["read_scan"] else []
    except ToolError as error:
        facts["problems"].append(error.message)
    return facts


def gate(module, tool):
    """The module's result."""
    drives = list_drives(tool)
    wanted = module.params["serial_number"]
    if wanted is not None:
        drives = [find_drive(tool, serial, drives=drives) for serial in wanted]
    if not drives and not module.params["allow_none"]:
        raise ToolError("there is no drive to look at", drives=[])
    facts = [look_at(tool, drive, module.params) for drive in drives]
    ill = [f"{fact['serial_number'] or fact['path']}: {'; '.join(fact['problems'])}"
           for fact in facts if fact["problems"]]
    if ill:
        raise ToolError("Not well: " + ". ".join(text.rstrip(".") for text in ill) + ".", drives=facts)
    return {"changed": False, "drives": facts}


def main():
    """The module."""
    run_task(gate, argument_spec={
        **ARGUMENTS,
        "serial_number": {"type": "list", "elements": "str"},
        "max_percentage_used": {"type": "int", "default": 99},
        "min_available_spare": {"type": "int", "default": 0},
        "max_temperature": {"type": "int"},
        "max_media_errors": {"type": "int", "default": 0},
        "require_idle": {"type": "bool", "default": True},
        "read_scan": {"type": "bool", "default": False},
        "allow_none": {"type": "bool", "default": False},
    })


if __name__ == "__main__":
    main()
