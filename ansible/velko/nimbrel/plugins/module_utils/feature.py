"""Which settings of a drive `set` takes, and where `show` has their values."""

from ansible_collections.velko.nimbrel.plugins.module_utils.drive import read_object
from ansible_collections.velko.nimbrel.plugins.module_utils.tool import ToolError, number_of, text_of

DWORD_0 = "Dword 0"
SAVEABLE = "Saveable - Can be saved"


class Setting:
    """One property of a command `set`.

    targets: what the command names beside the drive, as "-led".
    shown:   the targets of the show command that has the value; key: the key that it has there.
    saved:   whether the tool saves the value where the drive can. Those of Asynchronous Event Configuration it does
             not: Linux sets them at each reset. Those of Interrupt Coalescing not always: two properties are one
             feature.
    """

    def __init__(self, name, key, shown, targets=(), saved=False):
        self.name = name
        self.key = key
        self.shown = shown
        self.targets = targets
        self.saved = saved


def of_feature(name, key, fid, targets=(), saved=False):
    """A property that is a field of an NVMe feature."""
    return Setting(name, key, ["-getfeature", fid], targets, saved)


def of_led(name, key=None):
    """A property of the LED."""
    return Setting(name, key or name, ["-led"], ["-led"])


ROWS = [
    of_feature("TempThreshold", "TempThreshold - Temperature Threshold", "0x04", saved=True),
    of_feature("AggregationThreshold", "AggregationThreshold - Aggregation Threshold 0-based", "0x08"),
    of_feature("AggregationTime", "AggregationTime - Aggregation Time", "0x08"),
    of_feature("SMARTHealthCriticalWarningsConfiguration",
               "SMARTHealthCriticalWarningsConfiguration - SMART / Health Critical Warnings", "0x0B"),
    of_feature("NamespaceAttributeNoticesConfiguration",
               "NamespaceAttributeNoticesConfiguration - Namespace Attribute Notices", "0x0B"),
    of_feature("FirmwareActivationNoticesConfiguration",
               "FirmwareActivationNoticesConfiguration - Firmware Activation Notices", "0x0B"),
    of_feature("TelemetryLogNoticesConfiguration", "TelemetryLogNoticesConfiguration - Telemetry Log Notices", "0x0B"),
    of_feature("Mode", DWORD_0, "0xC2", ["-readonlywritethrough"], saved=True),
    of_feature("Enable", "SiloEnabled - IEEE 1667 Silo Enabled", "0xC4", ["-ieeesilo"], saved=True),
    of_feature("PLPCheckInterval", "PLPCheckInterval - PLP Health Check Interval", "0xC6", ["-plpcheck"], saved=True),
    of_feature("DSSDPowerState", "DSSDPowerState - DSSD Power State", "0xC7", ["-dssdpowerstate"], saved=True),
    of_led("IdleState"),
    of_led("Milliseconds", "DurationBase"),
    of_led("FormatOnMultiplier"),
    of_led("FormatOffMultiplier"),
    of_led("IoOnMultiplier"),
    of_led("IoOffMultiplier"),
]
SETTINGS = {row.name: row for row in ROWS}


def canonical(value):
    """The value as it is compared: numbers without their unit and base, flags and words in small letters."""
    if isinstance(value, bool):
        return "true" if value else "false"
    number = number_of(value)
    return text_of(value).lower() if number is None else str(number)


def can_save(tool, drive, fid):
    """Whether the drive can save the feature. One that reports current values alone is not asked."""
    keys = read_object(tool, drive, options=["-d", "SerialNumber,OptionalNVMSaveFieldSupported"])
    if keys.get("OptionalNVMSaveFieldSupported") is not True:
        return False
    return read_object(tool, drive, "-getfeature", fid, "Select=capabilities").get(SAVEABLE) is True


def read_value(tool, drive, shown, key, select=None):
    """The value that the drive has now, or of Select=saved; canonical."""
    keys = read_object(tool, drive, *shown, *(["Select=" + select] if select else []))
    if key not in keys:
        raise ToolError(f"drive {drive} does not report {key!r}")
    return canonical(keys[key])


def read_state(tool, drive, shown, key, saved):
    """{"current": ...}, and "saved" where the feature is saved."""
    state = {"current": read_value(tool, drive, shown, key)}
    if saved and can_save(tool, drive, shown[1]):
        state["saved"] = read_value(tool, drive, shown, key, "saved")
    return state
