#!/usr/bin/python
"""Sets a feature of a solid-state drive."""

DOCUMENTATION = r"""
module: drive_feature
short_description: Set a feature of a solid-state drive
description:
  - Sets one property of C(nimbrel set), or any NVMe feature by its identifier, where the drive has another value. The
    value is read again afterwards; a drive that reports another one is a failure.
  - A property that the tool saves is compared with the saved value of the drive, too, where it can save the feature.
    The return value I(message) says how long the value holds.
  - Not among the properties are C(PowerGovernorMode) and C(LatencyTrackingEnabled), whose value no command shows in the
    form in which it is set, and C(MaximumLBA), which changes the capacity.
notes:
  - Check mode selects and identifies the drive, and compares the values. It cannot predict that the drive refuses the
    value; values that the tool refuses by itself are not looked at either.
options:
  name:
    description:
      - Property of C(nimbrel set). One of I(name) and I(feature_id) is required.
      - C(Mode) is that of C(-readonlywritethrough), C(Enable) that of C(-ieeesilo); the last six are those of C(-led).
    type: str
    choices:
      - TempThreshold
      - AggregationThreshold
      - AggregationTime
      - SMARTHealthCriticalWarningsConfiguration
      - NamespaceAttributeNoticesConfiguration
      - FirmwareActivationNoticesConfiguration
      - TelemetryLogNoticesConfiguration
      - Mode
      - Enable
      - PLPCheckInterval
      - DSSDPowerState
      - IdleState
      - Milliseconds
      - FormatOnMultiplier
      - FormatOffMultiplier
      - IoOnMultiplier
      - IoOffMultiplier
  feature_id:
    description:
      - Identifier of an NVMe feature, 1 to 255. It must be one whose value is dword 11 of Set Features and dword 0 of
        Get Features. Features with a data structure, those of a namespace, and those that the drive changes by itself
        are not for this module.
    type: int
  value:
    description:
      - The value, as C(nimbrel set) takes it. Numbers are decimal, or hexadecimal after C(0x). With I(feature_id) it is
        dword 11.
    type: str
    required: true
  save:
    description:
      - With I(feature_id) alone, whether the value is saved in the drive, and compared with the saved one. The tool
        saves named properties by itself where the drive can.
    type: bool
    default: false
extends_documentation_fragment:
  - velko.nimbrel.drive
  - velko.nimbrel.drive.one_drive
"""

EXAMPLES = r"""
- name: Have the drive give its warning at 70 degrees Celsius
  velko.nimbrel.drive_feature:
    serial_number: S1
    name: TempThreshold
    value: "70"

- name: Turn the volatile write cache off, also after a reset
  velko.nimbrel.drive_feature:
    serial_number: S1
    feature_id: 6
    value: "0"
    save: true
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
before:
  description: The value before the task, C(current) and, where it is saved, C(saved).
  returned: success
  type: dict
  sample: {current: "80", saved: "80"}
after:
  description: The values after the task; in check mode those that are wanted.
  returned: success
  type: dict
  sample: {current: "70", saved: "70"}
message:
  description: What the tool says, and so how long the value holds.
  returned: when the value was set
  type: str
  sample: Set TempThreshold successful.
not_predicted:
  description: What check mode could not look at.
  returned: in check mode
  type: list
  elements: str
"""

from ansible_collections.velko.nimbrel.plugins.module_utils.drive import ONE_DRIVE, change, find_drive
from ansible_collections.velko.nimbrel.plugins.module_utils.feature import (
    DWORD_0,
    SETTINGS,
    Setting,
    canonical,
    read_state,
)
from ansible_collections.velko.nimbrel.plugins.module_utils.task import run_task
from ansible_collections.velko.nimbrel.plugins.module_utils.tool import ToolError, number_of, word


def wanted_setting(params):
    """The row of the property, or one of the feature."""
    if params["name"]:
        if params["save"]:
            raise ToolError("save is for feature_id: the tool saves named properties where the drive can")
        return SETTINGS[params["name"]]
    fid = params["feature_id"]
    if not 0 < fid < 256:
        raise ToolError(f"feature_id must be 1 to 255, not {fid}")
    if number_of(params["value"]) is None:
        raise ToolError(f"value must be a number for a feature_id, not {params['value']!r}")
    return Setting(None, DWORD_0, ["-getfeature", f"0x{fid:02X}"], ["-setfeature", f"0x{fid:02X}"], params["save"])


def properties(setting, params):
    """What the command line has after its targets. DWORD11 is hexadecimal in any case."""
    if setting.name:
        return [f"{setting.name}={word(params['value'])}"]
    return [f"DWORD11={number_of(params['value']):X}"] + (["Save=true"] if params["save"] else [])


def set_feature(module, tool):
    """The module's result."""
    setting = wanted_setting(module.params)
    drive = find_drive(tool, module.params["serial_number"], module.params["path"])
    before = read_state(tool, drive, setting.shown, setting.key, setting.saved)
    if module.params["save"] and "saved" not in before:
        raise ToolError(f"drive {drive} cannot save feature 0x{module.params['feature_id']:02X}")
    wanted = {name: canonical(module.params["value"]) for name in before}
    result = {"changed": before != wanted, "serial_number": drive.serial, "path": drive.path, "before": before,
              "after": wanted, "diff": {"before": before, "after": wanted}}
    if module.check_mode:
        return {**result, "not_predicted": ["a value that the tool or the drive refuses"]}
    if result["changed"]:
        answer = change(tool, drive, "set", *setting.targets, *properties(setting, module.params))
        after = read_state(tool, drive, setting.shown, setting.key, setting.saved)
        result.update(after=after, message=answer.message(), diff={"before": before, "after": after})
        if after != wanted:
            raise ToolError(f"drive {drive} accepted the value {wanted} and reports {after}", **result)
    return result


def main():
    """The module."""
    run_task(set_feature, argument_spec={
        **ONE_DRIVE,
        "name": {"type": "str", "choices": list(SETTINGS)},
        "feature_id": {"type": "int"},
        "value": {"type": "str", "required": True},
        "save": {"type": "bool", "default": False},
    }, required_one_of=[("name", "feature_id")], mutually_exclusive=[("name", "feature_id")])


if __name__ == "__main__":
    main()
