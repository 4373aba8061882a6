"""What every storage command puts on the wire: the plain form, each optional part, all of them; and every bad value,
with its words, its exit status, and nothing sent."""

import dataclasses
import json
import unittest

from recording import RecordingTestCase
from storage_wire import (CHECKING, DELETE_NAMESPACE_QUESTION, DELETE_QUESTION, DRIVE_0, EMPTY_ANSWER, FORMAT_QUESTION,
                          LONG_OPERATION, NO_RESULTS, SANITIZE_QUESTION, TRIM_QUESTION, UPDATE_QUESTION, attribute,
                          device, get, method, set_one)

YES = b"Y\n"


@dataclasses.dataclass
class Sent:
    """A command line and the one request that it makes."""

    line: str
    request: str
    stdout: str = NO_RESULTS
    stderr: str = ""
    stdin: object = "null"


@dataclasses.dataclass
class Refused:
    """A command line that sends nothing."""

    line: str
    message: str
    status: int = 8
    stderr: str = ""
    stdin: object = "null"


def set_case(words, key, job, *one):
    """`one`: the rest of the property, see attribute()."""
    return Sent(f"set -velkossd 0 {words}", set_one(job, key, *one), stdout=f"Set {key} successful. Completed successfully.\n")


def select_cases(target, job):
    """The four words of Select, in any case, and the number that each sends."""
    return [
        Sent(f"show -velkossd 0 {target}", get(job, ("Select", "0"), devices=DRIVE_0)),
        Sent(f"show -velkossd 0 {target} Select=current", get(job, ("Select", "0"), devices=DRIVE_0)),
        Sent(f"show -velkossd 0 {target} Select=Default", get(job, ("Select", "1"), devices=DRIVE_0)),
        Sent(f"show -velkossd 0 {target} Select=SAVED", get(job, ("Select", "2"), devices=DRIVE_0)),
        Sent(f"show -velkossd 0 {target} Select=capabilities", get(job, ("Select", "3"), devices=DRIVE_0)),
    ]


def shown_cases(target, job):
    """What -display, -all and the drive do to a command that shows properties of all drives or of one."""
    return [
        Sent(f"show {target}", get(job)),
        Sent(f"show -velkossd {target}", get(job)),
        Sent(f"show -velkossd 0 {target}", get(job, devices=DRIVE_0)),
        Sent(f"show -display Temperature {target}", get(job, show=["Temperature"])),
        Sent(f"show -all {target}", get(job)),  # asks nothing of another job than VelkoSSD
        Sent(f"show -d a,B -velkossd 0 {target}", get(job, devices=DRIVE_0, show=["a", "B"])),
    ]


def dump_cases(target, job):
    return [
        Sent(f"dump {target}", method(job)),
        Sent(f"dump -velkossd {target}", method(job)),
        Sent(f"dump -velkossd 0 {target}", method(job, devices=DRIVE_0)),
        Sent(f"dump -destination log.bin -velkossd 0 {target}", method(job, devices=DRIVE_0)),
    ]


# The drive, by what the user calls it.
SELECTED = {
    "0": device("Index", "0"),
    "007": device("Index", "007"),
    "18446744073709551616": device("Index", "18446744073709551616"),
    "BOOTDRIVE": device("BootDrive", "BOOTDRIVE"),
    "bootdrive": device("BootDrive", "bootdrive"),
    "0x1": device("SerialNumber", "0x1"),
    "+1": device("SerialNumber", "+1"),
    "-1": device("SerialNumber", "-1"),
    "1.5": device("SerialNumber", "1.5"),
    "VLK123456": device("SerialNumber", "VLK123456"),
    "0,1": device("SerialNumber", "0,1"),
    "/dev/nvme0": device("Path", "/dev/nvme0"),
    "/DEV/nvme0n1": device("Path", "/DEV/nvme0n1"),
    "nvme0": device("SerialNumber", "nvme0"),
    "ABCLSI1": device("Path", "ABCLSI1"),  # a serial number with these letters counts as a path
    "falsity": device("Path", "falsity"),
    "PhysicalDrive0": device("SerialNumber", "PhysicalDrive0"),
    "physicaldrive1_lsi": device("Path", "\\\\.\\physicaldrive1_lsi"),
    "x/dev/physicaldrive1": device("Path", "x/dev/physicaldrive1"),
    "a&b<c>'d\"e": device("SerialNumber", "a&amp;b&amp;lt;c&amp;gt;&apos;d&quot;e"),
}

REQUESTS = {
    "VelkoSSD": [
        Sent("show -velkossd", get("VelkoSSD")),
        Sent("show -all -velkossd", get("VelkoSSD", ("ShowAll", "true"))),
        Sent("show -a -velkossd 0", get("VelkoSSD", ("ShowAll", "true"), devices=DRIVE_0)),
        Sent("show -display A,B -velkossd 0", get("VelkoSSD", devices=DRIVE_0, show=["A", "B"])),
        Sent("show -d serialnumber -velkossd", get("VelkoSSD", show=["serialnumber"])),
        Sent("show -d A, B -velkossd", get("VelkoSSD", show=["A", "B"])),
        Sent("show -d A,A -velkossd", get("VelkoSSD", show=["A", "A"])),
    ] + [Sent("show -velkossd " + text, get("VelkoSSD", devices=selector)) for text, selector in SELECTED.items()],

    "AggregationThreshold": [
        set_case(words, "AggregationThreshold", "NVMeFeatures", "Aggregation Threshold", "uint32", number, 4)
        for words, number in [
            ("AggregationThreshold=5", 5),
            ("aggregationthreshold=0x10", 16),
            ("AggregationThreshold=ff", 255),
            ("AggregationThreshold=4294967295", 4294967295),  # more than help allows: the library may refuse it
        ]
    ],
    "AggregationTime": [
        set_case("AggregationTime=100", "AggregationTime", "NVMeFeatures", "Aggregation Time", "uint32", 100, 4),
    ],
    "ShowEnduranceAnalyzer": [
        Sent("show -velkossd 0 -enduranceanalyzer", get("EnduranceAnalyzer", devices=DRIVE_0)),
    ],
    "MaximumLBA": [
        set_case("MaximumLBA=native", "MaximumLBA", "MaxAddress", "Maximum LBA", "string", "native", 7),
        set_case("MaximumLBA=50%", "MaximumLBA", "MaxAddress", "Maximum LBA", "string", "50%", 4),
        set_case("MaximumLBA=100GB", "MaximumLBA", "MaxAddress", "Maximum LBA", "string", "100GB", 6),
        set_case("MaximumLBA=1000=1", "MaximumLBA", "MaxAddress", "Maximum LBA", "string", "1000=1", 7),
    ],
    "PowerGovernorMode": [
        set_case("PowerGovernorMode=2", "PowerGovernorMode", "PowerGovernor", "Power Governor Mode", "uint32", 2, 4),
    ],
    "TempThreshold": [
        set_case("TempThreshold=70", "TempThreshold", "NVMeFeatures", "Temperature Threshold", "sint32", 70, 4),
    ],
    "FirmwareUpdate": [
        Sent("load -force -velkossd 0", method("FirmwareUpdate", ("SkipMembers", "true"), devices=DRIVE_0),
             stdout=CHECKING + NO_RESULTS),
        Sent("load -velkossd 0", method("FirmwareUpdate", ("SkipMembers", "true"), devices=DRIVE_0),
             stdout=CHECKING + NO_RESULTS, stderr=UPDATE_QUESTION, stdin=YES),
        Sent("load -f -velkossd 0 FirmwareSlot=2",
             method("FirmwareUpdate", ("SkipMembers", "true"), ("FirmwareSlot", "2"), devices=DRIVE_0),
             stdout=CHECKING + NO_RESULTS),
        Sent("load -f -velkossd 0 CommitAction=one FirmwareSlot=two",
             method("FirmwareUpdate", ("SkipMembers", "true"), ("FirmwareSlot", "two"), ("CommitAction", "one"),
                    devices=DRIVE_0),
             stdout=CHECKING + NO_RESULTS),
        # With -source other requests come first: see FirmwareUpdateFromAFile.
    ],
    "FirmwareActivate": [
        Sent("load -velkossd 0 -firmwareactivate FirmwareSlot=2 CommitAction=3",
             method("FirmwareActivate", ("FirmwareSlot", "2"), ("CommitAction", "3"), devices=DRIVE_0)),
        Sent("load -velkossd 0 -firmwareactivate CommitAction=007 FirmwareSlot=99",
             method("FirmwareActivate", ("FirmwareSlot", "99"), ("CommitAction", "007"), devices=DRIVE_0)),
    ],
    "SMART": shown_cases("-smart", "SMART") + [
        Sent("show -smart 5", get("SMART", ("ID", "5"))),
        Sent("show -smart IncludeNVMeSmartHealthLog=True", get("SMART", ("IncludeNVMeSmartHealthLog", "True"))),
        Sent("show -smart includenvmesmarthealthlog=false", get("SMART", ("IncludeNVMeSmartHealthLog", "false"))),
        Sent("show -display Raw -velkossd 0 -smart AB IncludeNVMeSmartHealthLog=true",
             get("SMART", ("IncludeNVMeSmartHealthLog", "true"), ("ID", "AB"), devices=DRIVE_0, show=["Raw"])),
    ],
    "Sensors": shown_cases("-sensor", "HealthMetrics"),
    "Performance": shown_cases("-performance", "Performance"),
    "DriveSelfTestStart": [
        Sent("start -velkossd 0 -selftest", method("DriveSelfTest", ("TestType", "short"), devices=DRIVE_0)),
        Sent("start -velkossd 0 -selftest short", method("DriveSelfTest", ("TestType", "short"), devices=DRIVE_0)),
        Sent("start -velkossd 0 -selftest Extended",
             method("DriveSelfTest", ("TestType", "Extended"), devices=DRIVE_0)),
        Sent("start -velkossd 0 -selftest CONVEYANCE -mode OffLine",
             method("DriveSelfTest", ("TestType", "CONVEYANCE"), ("Mode", "OffLine"), devices=DRIVE_0)),
        Sent("start -velkossd 0 -selftest -mode captive",
             method("DriveSelfTest", ("TestType", "short"), ("Mode", "captive"), devices=DRIVE_0)),
    ],
    "DriveSelfTestShow": [
        Sent("show -velkossd 0 -selftest", get("DriveSelfTest", devices=DRIVE_0)),
    ],
    "Delete": [
        Sent("delete -force -velkossd 0", method("Format", ("Type", "Delete"), ("Force", "true"), devices=DRIVE_0),
             stdout="Deleting..." + LONG_OPERATION + NO_RESULTS),
        Sent("delete -velkossd 0", method("Format", ("Type", "Delete"), ("Force", "false"), devices=DRIVE_0),
             stdout="Deleting..." + LONG_OPERATION + NO_RESULTS, stderr=DELETE_QUESTION, stdin=YES),
    ],
    "SMBusAddress": [
        Sent("set -velkossd 0 SMBusAddress=212", method("SMBusAddress", ("SMBusAddress", "212"), devices=DRIVE_0)),
        Sent("set -velkossd 0 SMBusSelector=x SMBusAddress=y",
             method("SMBusAddress", ("SMBusAddress", "y"), ("SMBusSelector", "x"), devices=DRIVE_0)),
    ],
    "LatencyTrackingEnabled": [
        set_case("LatencyTrackingEnabled=true", "LatencyTrackingEnabled", "LatencyTracking", "Latency Tracking Enabled",
                 "boolean", "True", 1),
        set_case("LatencyTrackingEnabled=0", "LatencyTrackingEnabled", "LatencyTracking", "Latency Tracking Enabled",
                 "boolean", "False", 1),
    ],
    "CreateNamespace": [
        Sent("create -velkossd 0 -namespace Size=1000",
             method("NamespaceManagement", ("Action", "create"), ("Size", "1000"), ("MultiPathIoCapabilities", "0"),
                    ("NamespaceId", ""), devices=DRIVE_0)),
        Sent("create -velkossd 0 -namespace 7 Size=1 Capacity=2",
             method("NamespaceManagement", ("Action", "create"), ("Size", "1"), ("Capacity", "2"),
                    ("MultiPathIoCapabilities", "0"), ("NamespaceId", "7"), devices=DRIVE_0)),
        Sent("create -velkossd 0 -namespace Size=1 LBAFormat=3",
             method("NamespaceManagement", ("Action", "create"), ("Size", "1"), ("LBAFormat", "3"),
                    ("MultiPathIoCapabilities", "0"), ("NamespaceId", ""), devices=DRIVE_0)),
        Sent("create -velkossd 0 -namespace Size=1 ProtectionInformation=1",
             method("NamespaceManagement", ("Action", "create"), ("Size", "1"), ("ProtectionInformation", "1"),
                    ("MultiPathIoCapabilities", "0"), ("NamespaceId", ""), devices=DRIVE_0)),
        Sent("create -velkossd 0 -namespace MultiPathIoCapabilities=1 ProtectionInformation=p LBAFormat=l Capacity=c "
             "Size=s",
             method("NamespaceManagement", ("Action", "create"), ("Size", "s"), ("Capacity", "c"), ("LBAFormat", "l"),
                    ("ProtectionInformation", "p"), ("MultiPathIoCapabilities", "1"), ("NamespaceId", ""),
                    devices=DRIVE_0)),
    ],
    "DeleteNamespace": [
        Sent("delete -force -velkossd 0 -namespace 1",
             method("NamespaceManagement", ("Action", "delete"), ("MultiPathIoCapabilities", "0"), ("NamespaceId", "1"),
                    devices=DRIVE_0)),
        Sent("delete -velkossd 0 -namespace 0xFFFFFFFF",
             method("NamespaceManagement", ("Action", "delete"), ("MultiPathIoCapabilities", "0"),
                    ("NamespaceId", "0xFFFFFFFF"), devices=DRIVE_0),
             stderr=DELETE_NAMESPACE_QUESTION, stdin=YES),
    ],
    "AttachNamespace": [
        Sent("attach -velkossd 0 -namespace any",
             method("NamespaceManagement", ("Action", "attach"), ("MultiPathIoCapabilities", "0"),
                    ("NamespaceId", "any"), devices=DRIVE_0)),
        Sent("attach -velkossd 0 -namespace 1 -nvmecontroller 2",
             method("NamespaceManagement", ("Action", "attach"), ("MultiPathIoCapabilities", "0"), ("NamespaceId", "1"),
                    ("NVMeControllerID", "2"), devices=DRIVE_0)),
    ],
    "DetachNamespace": [
        Sent("detach -velkossd 0 -namespace 1",
             method("NamespaceManagement", ("Action", "detach"), ("MultiPathIoCapabilities", "0"), ("NamespaceId", "1"),
                    devices=DRIVE_0)),
        Sent("detach -velkossd 0 -namespace 1 -nvmecontroller 65535",
             method("NamespaceManagement", ("Action", "detach"), ("MultiPathIoCapabilities", "0"), ("NamespaceId", "1"),
                    ("NVMeControllerID", "65535"), devices=DRIVE_0)),
    ],
    "IdentifyDevice": [
        Sent(line, method("Identify", *arguments, devices=devices)) for line, devices, arguments in [
            ("show -identify", "", [("ControllerNamespaceStructure", "1"), ("NamespaceId", "0")]),
            ("show -velkossd -identify", "", [("ControllerNamespaceStructure", "1"), ("NamespaceId", "0")]),
            ("show -velkossd 0 -identify", DRIVE_0, [("ControllerNamespaceStructure", "1"), ("NamespaceId", "0")]),
            ("show -velkossd 0 -identify -descriptors", DRIVE_0,
             [("ControllerNamespaceStructure", "1"), ("NamespaceId", "0")]),
            ("show -velkossd 0 -identify -namespace 1", DRIVE_0,
             [("ControllerNamespaceStructure", "0"), ("NamespaceId", "1")]),
            ("show -velkossd 0 -identify -namespace 0xA", DRIVE_0,
             [("ControllerNamespaceStructure", "0"), ("NamespaceId", "0xA")]),
            ("show -velkossd 0 -identify -namespace 1 -descriptors", DRIVE_0,
             [("ControllerNamespaceStructure", "0"), ("NamespaceId", "1"), ("ControllerNamespaceStructure", "3")]),
            ("show -velkossd 0 -identify -namespace attached", DRIVE_0,
             [("ControllerNamespaceStructure", "2"), ("NamespaceId", "0")]),
            ("show -velkossd 0 -identify -namespace Allocated", DRIVE_0,
             [("ControllerNamespaceStructure", "16"), ("NamespaceId", "0")]),
            ("show -velkossd 0 -identify -nvmecontroller", DRIVE_0,
             [("ControllerNamespaceStructure", "19"), ("NamespaceId", "0")]),
            ("show -velkossd 0 -identify -uuidlist", DRIVE_0,
             [("ControllerNamespaceStructure", "23"), ("NamespaceId", "0")]),
            # The list of UUIDs goes before all else that is asked for, sound or not.
            ("show -velkossd 0 -identify -namespace one -nvmecontroller -uuidlist -descriptors", DRIVE_0,
             [("ControllerNamespaceStructure", "23"), ("NamespaceId", "0")]),
        ]
    ],
    "NVMeFormat": [
        Sent("start -force -velkossd 0 -nvmeformat",
             method("Format", ("Type", "NVMeFormat"), ("Force", "true"), devices=DRIVE_0),
             stdout="Formatting..." + LONG_OPERATION + NO_RESULTS),
        Sent("start -velkossd 0 -nvmeformat",
             method("Format", ("Type", "NVMeFormat"), ("Force", "false"), devices=DRIVE_0),
             stdout="Formatting..." + LONG_OPERATION + NO_RESULTS, stderr=FORMAT_QUESTION, stdin=YES),
    ] + [
        Sent("start -f -velkossd 0 -nvmeformat " + words,
             method("Format", ("Type", "NVMeFormat"), *arguments, devices=DRIVE_0),
             stdout="Formatting..." + LONG_OPERATION + NO_RESULTS) for words, arguments in [
                 ("-namespace 1", [("Force", "true"), ("NamespaceId", "1")]),
                 ("-namespace 0xFFFFFFFF", [("Force", "true"), ("NamespaceId", "0xFFFFFFFF")]),
                 ("LBAFormat=1", [("LBAFormat", "1"), ("Force", "true")]),
                 ("SecureEraseSetting=2", [("SecureEraseSetting", "2"), ("Force", "true")]),
                 ("ProtectionInformation=3", [("ProtectionInformation", "3"), ("Force", "true")]),
                 ("MetadataSettings=1", [("MetadataSettings", "1"), ("Force", "true")]),
                 ("-namespace f LBAFormat=a SecureEraseSetting=b ProtectionInformation=c MetadataSettings=d",
                  [("SecureEraseSetting", "b"), ("LBAFormat", "a"), ("ProtectionInformation", "c"),
                   ("MetadataSettings", "d"), ("Force", "true"), ("NamespaceId", "f")]),
             ]
    ],
    "Sanitize": [
        Sent("start -velkossd 0 -sanitize",
             method("Format", ("Type", "Sanitize"), ("SanitizeAction", "2"), ("Force", "false"), devices=DRIVE_0),
             stdout="Sanitizing..." + LONG_OPERATION + NO_RESULTS, stderr=SANITIZE_QUESTION, stdin=YES),
    ] + [
        Sent("start -force -velkossd 0 -sanitize " + words,
             method("Format", ("Type", "Sanitize"), *arguments, ("Force", "true"), devices=DRIVE_0),
             stdout="Sanitizing..." + LONG_OPERATION + NO_RESULTS) for words, arguments in [
                 ("", [("SanitizeAction", "2")]),
                 ("block", [("SanitizeAction", "2")]),
                 ("crypto", [("SanitizeAction", "4")]),
                 ("overwrite", [("SanitizeAction", "3")]),
                 ("exit_failure", [("SanitizeAction", "1")]),
                 ("NoDeallocateAfterSanitize=true", [("SanitizeAction", "2"), ("NoDeallocateAfterSanitize", "true")]),
                 ("OverwriteInvertPattern=false", [("SanitizeAction", "2"), ("OverwriteInvertPattern", "false")]),
                 ("OverwritePassCount=16", [("SanitizeAction", "2"), ("OverwritePassCount", "16")]),
                 ("AllowUnrestrictedExit=TRUE", [("SanitizeAction", "2"), ("AllowUnrestrictedExit", "TRUE")]),
                 ("OverwritePattern=0xdeadbeef", [("SanitizeAction", "2"), ("OverwritePattern", "0xdeadbeef")]),
                 ("ReturnImmediately=maybe", [("SanitizeAction", "2"), ("ReturnImmediately", "maybe")]),
                 ("overwrite ReturnImmediately=f OverwritePattern=e AllowUnrestrictedExit=d OverwritePassCount=c "
                  "OverwriteInvertPattern=b NoDeallocateAfterSanitize=a",
                  [("SanitizeAction", "3"), ("NoDeallocateAfterSanitize", "a"), ("OverwriteInvertPattern", "b"),
                   ("OverwritePassCount", "c"), ("AllowUnrestrictedExit", "d"), ("OverwritePattern", "e"),
                   ("ReturnImmediately", "f")]),
             ]
    ],
    "LatencyStatistics": [
        Sent("show -latencystatistics reads", method("LatencyTracking", ("LatencyStatisticsForReadCommands", "True"))),
        Sent("show -velkossd -latencystatistics writes",
             method("LatencyTracking", ("LatencyStatisticsForReadCommands", "False"))),
        Sent("show -velkossd 0 -latencystatistics READS",
             method("LatencyTracking", ("LatencyStatisticsForReadCommands", "True"), devices=DRIVE_0)),
        Sent("show -latencystatistics Writes Type=0",
             method("LatencyTracking", ("LatencyStatisticsForReadCommands", "False"),
                    properties=attribute("Type", "Type", "uint8", 0, 1))),
        Sent("show -velkossd 0 -latencystatistics reads Type=3",
             method("LatencyTracking", ("LatencyStatisticsForReadCommands", "True"), devices=DRIVE_0,
                    properties=attribute("Type", "Type", "uint8", 3, 1))),
    ],
    "TelemetryLogDump": [
        Sent(line, method("TelemetryLog", *arguments, devices=devices)) for line, devices, arguments in [
            ("dump -telemetrylog", "", [("HostInitiated", "true")]),
            ("dump -velkossd -telemetrylog", "", [("HostInitiated", "true")]),
            ("dump -velkossd 0 -telemetrylog", DRIVE_0, [("HostInitiated", "true")]),
            ("dump -destination t.bin -velkossd 0 -telemetrylog", DRIVE_0, [("HostInitiated", "true")]),
            ("dump -dataarea 3 -telemetrylog", "", [("DataArea", "3"), ("HostInitiated", "true")]),
            ("dump -velkossd 0 -telemetrylog -dataarea none", DRIVE_0,
             [("DataArea", "none"), ("HostInitiated", "true")]),
            ("dump -telemetrylog HostInitiated=False", "", [("HostInitiated", "False")]),
            ("dump -telemetrylog RetainAsynchronousEvent=true", "",
             [("HostInitiated", "true"), ("RetainAsynchronousEvent", "true")]),
            ("dump -destination t.bin -dataarea 1 -velkossd 0 -telemetrylog RetainAsynchronousEvent=FALSE "
             "HostInitiated=TRUE", DRIVE_0,
             [("DataArea", "1"), ("HostInitiated", "TRUE"), ("RetainAsynchronousEvent", "FALSE")]),
        ]
    ],
    "Nlog": dump_cases("-nlog", "Nlog"),
    "BridgeNlog": dump_cases("-bridgenlog", "BridgeNlog"),
    "EventLog": dump_cases("-eventlog", "EventLog"),
    "AssertLog": dump_cases("-assertlog", "AssertLog"),
    "PersistentEventLog": [
        Sent(line, method("PersistentEventLog", ("Action", action), devices=devices)) for line, devices, action in [
            ("dump -persistenteventlog read", "", "new_context"),
            ("dump -velkossd 0 -persistenteventlog Read", DRIVE_0, "new_context"),
            ("dump -velkossd 0 -persistenteventlog read NewContext=true", DRIVE_0, "new_context"),
            ("dump -velkossd 0 -persistenteventlog read NewContext=false", DRIVE_0, "read"),
            ("dump -velkossd 0 -persistenteventlog release", DRIVE_0, "release"),
            ("dump -velkossd 0 -persistenteventlog release NewContext=true", DRIVE_0, "release"),
            ("dump -destination p.bin -velkossd 0 -persistenteventlog read NewContext=false", DRIVE_0, "read"),
        ]
    ],
    "ParsePersistentEventLog": [
        Sent("show -velkossd 0 -persistenteventlog", method("PersistentEventLogParse", devices=DRIVE_0)),
        Sent("show -source p.bin -persistenteventlog",
             method("PersistentEventLogParse", ("PELFilePath", "p.bin"), scan=False)),
        Sent("show -source a&b<c>\"d -persistenteventlog",
             method("PersistentEventLogParse", ("PELFilePath", "a&amp;b&amp;lt;c&amp;gt;&quot;d"), scan=False)),
        Sent("show -destination p.txt -velkossd 0 -persistenteventlog",
             method("PersistentEventLogParse", devices=DRIVE_0)),
        Sent("show -source p.bin -destination p.txt -persistenteventlog",
             method("PersistentEventLogParse", ("PELFilePath", "p.bin"), scan=False)),
    ],
    "ShowNVMeLog": [
        Sent(line, method("NVMeLog", *arguments, devices=devices)) for line, devices, arguments in [
            ("show -nvmelog", "", [("LogId", "0")]),
            ("show -velkossd -nvmelog", "", [("LogId", "0")]),
            ("show -velkossd 0 -nvmelog", DRIVE_0, [("LogId", "0")]),
            ("show -velkossd 0 -nvmelog LIST", DRIVE_0, [("List", "True")]),
            ("show -velkossd 0 -nvmelog 2", DRIVE_0, [("LogId", "2")]),
            ("show -velkossd 0 -nvmelog 0x2", DRIVE_0, [("LogId", "2")]),
            ("show -velkossd 0 -nvmelog C0", DRIVE_0, [("LogId", "192")]),
            ("show -velkossd 0 -nvmelog SMARTHealth", DRIVE_0, [("LogName", "SMARTHealth")]),
            ("show -nvmelog 2 NamespaceSpecific=1", "", [("LogId", "2"), ("NamespaceSpecific", "1")]),
            ("show -nvmelog 2 LogSpecificField=15", "", [("LogId", "2"), ("LogSpecificField", "15")]),
            ("show -nvmelog 2 RetainAsynchronousEvent=FALSE", "",
             [("LogId", "2"), ("RetainAsynchronousEvent", "FALSE")]),
            ("show -nvmelog 2 LogPageOffset=4096", "", [("LogId", "2"), ("LogPageOffset", "4096")]),
            ("show -nvmelog 2 NumDWORDs=1024", "", [("LogId", "2"), ("NumDWORDs", "1024")]),
            ("show -velkossd 0 -nvmelog list LogPageOffset=5 NumDWORDs=4 RetainAsynchronousEvent=0 LogSpecificField=2 "
             "NamespaceSpecific=true", DRIVE_0,
             [("List", "True"), ("NamespaceSpecific", "true"), ("LogSpecificField", "2"),
              ("RetainAsynchronousEvent", "0"), ("NumDWORDs", "4"), ("LogPageOffset", "5")]),
        ]
    ],
    "NVMeControllerList": [
        Sent("show -nvmecontroller",
             method("Identify", ("ControllerNamespaceStructure", "19"), ("NamespaceId", "0"))),
        Sent("show -velkossd 0 -nvmecontroller",
             method("Identify", ("ControllerNamespaceStructure", "19"), ("NamespaceId", "0"), devices=DRIVE_0)),
        Sent("show -velkossd 0 -namespace 1 -nvmecontroller",
             method("Identify", ("ControllerNamespaceStructure", "18"), ("NamespaceId", "1"), devices=DRIVE_0)),
    ],
    "Trim": [
        Sent("start -force -velkossd 0 -trim StartLBA=0 Count=8",
             method("Trim", ("StartLBA", "0"), ("Count", "8"), devices=DRIVE_0)),
        Sent("start -velkossd 0 -trim Count=all StartLBA=first",
             method("Trim", ("StartLBA", "first"), ("Count", "all"), devices=DRIVE_0), stderr=TRIM_QUESTION, stdin=YES),
    ],
    "PSIDRevert": [],  # never gets as far as a request on this system: see REFUSALS
    "Scan": [
        Sent(line, method("HealthScan", *arguments, devices=devices),
             stdout="\n- Scan Results -\n" + NO_RESULTS) for line, devices, arguments in [
                 ("start -scan -velkossd", "", [("StoreLogs", "true")]),
                 ("start -scan -velkossd 0", DRIVE_0, [("StoreLogs", "true")]),
                 ("start -scan logs -velkossd 0", DRIVE_0, [("StoreLogs", "true")]),
                 ("start -scan DATAINTEGRITY -velkossd 0", DRIVE_0, [("DataIntegrityScan", "true")]),
                 ("start -scan ReadScan -velkossd 0", DRIVE_0, [("ReadScan", "true")]),
                 ("start -velkossd 0 -scan ReadScan", DRIVE_0, [("ReadScan", "true")]),
                 ("start -scan -velkossd IncludeOS=true", "", [("StoreLogs", "true"), ("IncludeOS", "true")]),
                 ("start -scan -velkossd FullScan=False", "", [("StoreLogs", "true"), ("FullScan", "False")]),
                 ("start -scan -velkossd Path=C", "", [("StoreLogs", "true"), ("Path", "C")]),
                 ("start -scan -velkossd DirectoryPath=/tmp", "", [("StoreLogs", "true"), ("DirectoryPath", "/tmp")]),
                 ("start -scan -velkossd IncludeSystemInfo=TRUE", "",
                  [("StoreLogs", "true"), ("IncludeSystemInfo", "TRUE")]),
                 ("start -scan ReadScan -velkossd 0 DirectoryPath=d Path=p IncludeSystemInfo=true IncludeOS=false "
                  "FullScan=true", DRIVE_0,
                  [("ReadScan", "true"), ("FullScan", "true"), ("IncludeOS", "false"), ("IncludeSystemInfo", "true"),
                   ("Path", "p"), ("DirectoryPath", "d")]),
             ]
    ],
    "ShowLED": shown_cases("-led", "LedActivity"),
    "SetLED": [
        set_case("-led IdleState=on", "IdleState", "LedActivity", "Idle State", "string", "on", 3),
    ] + [
        set_case("-led " + words, key, "LedActivity", display_name, "uint32", number, 4)
        for words, key, display_name, number in [
            ("Milliseconds=25", "Milliseconds", "Duration Base", 25),
            ("FormatOffMultiplier=0", "FormatOffMultiplier", "Format Off Multiplier", 0),
            ("FormatOnMultiplier=15", "FormatOnMultiplier", "Format On Multiplier", 15),
            ("IoOffMultiplier=1", "IoOffMultiplier", "I/O Off Multiplier", 1),
            ("ioonmultiplier=2", "IoOnMultiplier", "I/O On Multiplier", 2),
        ]
    ],
    "GetFeature": [
        Sent("show " + line, method("NVMeFeatures", *arguments, devices=DRIVE_0)) for line, arguments in [
            ("-velkossd 0 -getfeature 1", [("SetGetType", "get"), ("Select", "0"), ("FeatureId", "1")]),
            ("-velkossd 0 -getfeature 0xC1", [("SetGetType", "get"), ("Select", "0"), ("FeatureId", "0xC1")]),
            ("-velkossd 0 -getfeature 0xZ", [("SetGetType", "get"), ("Select", "0"), ("FeatureId", "0xZ")]),
            ("-velkossd 0 -getfeature 1 -namespace 2",
             [("NamespaceId", "2"), ("SetGetType", "get"), ("Select", "0"), ("FeatureId", "1")]),
            ("-velkossd 0 -getfeature 1 Select=Default", [("SetGetType", "get"), ("Select", "1"), ("FeatureId", "1")]),
            ("-velkossd 0 -getfeature 1 Select=saved", [("SetGetType", "get"), ("Select", "2"), ("FeatureId", "1")]),
            ("-all -velkossd 0 -getfeature 1", [("SetGetType", "get"), ("Select", "0"), ("FeatureId", "1")]),
            ("-display Value -velkossd 0 -getfeature 1", [("SetGetType", "get"), ("Select", "0"), ("FeatureId", "1")]),
            ("-display Value -velkossd 0 -getfeature fe -namespace 0xFFFFFFFF Select=capabilities",
             [("NamespaceId", "0xFFFFFFFF"), ("SetGetType", "get"), ("Select", "3"), ("FeatureId", "fe")]),
        ]
    ],
    "SetFeature": [
        Sent("set -velkossd 0 " + line, method("NVMeFeatures", *arguments, devices=DRIVE_0)) for line, arguments in [
            ("-setfeature 2", [("SetGetType", "set"), ("FeatureId", "2")]),
            ("-setfeature 0x2 -namespace 1", [("NamespaceId", "1"), ("SetGetType", "set"), ("FeatureId", "0x2")]),
            ("-setfeature 2 Save=1", [("SetGetType", "set"), ("FeatureId", "2"), ("Save", "1")]),
            ("-setfeature 2 DWORD11=ff", [("SetGetType", "set"), ("FeatureId", "2"), ("DWORD11", "ff")]),
            ("-setfeature 2 DWORD12=0x1", [("SetGetType", "set"), ("FeatureId", "2"), ("DWORD12", "0x1")]),
            ("-setfeature 2 DWORD13=10", [("SetGetType", "set"), ("FeatureId", "2"), ("DWORD13", "10")]),
            ("-setfeature 2 InputFile=in.bin", [("SetGetType", "set"), ("FeatureId", "2"), ("InputFile", "in.bin")]),
            ("-setfeature 2 -namespace ffffffff InputFile=f Save=False DWORD13=c DWORD12=b DWORD11=a",
             [("NamespaceId", "ffffffff"), ("SetGetType", "set"), ("FeatureId", "2"), ("DWORD11", "a"),
              ("DWORD12", "b"), ("DWORD13", "c"), ("Save", "False"), ("InputFile", "f")]),
        ]
    ],
    "HealthCriticalWarnings": [
        set_case("SMARTHealthCriticalWarningsConfiguration=255", "SMARTHealthCriticalWarningsConfiguration",
                 "NVMeFeatures", "SMART Health Critical Warnings Configuration", "uint8", 255, 1),
    ],
    "TelemetryLogNotices": [
        set_case("TelemetryLogNoticesConfiguration=TRUE", "TelemetryLogNoticesConfiguration", "NVMeFeatures",
                 "Telemetry Log Notices Configuration", "boolean", "True", 1),
    ],
    "FirmwareActivationNotices": [
        set_case("FirmwareActivationNoticesConfiguration=false", "FirmwareActivationNoticesConfiguration",
                 "NVMeFeatures", "Firmware Activation Notices Configuration", "boolean", "False", 1),
    ],
    "NamespaceAttributeNotices": [
        set_case("NamespaceAttributeNoticesConfiguration=1", "NamespaceAttributeNoticesConfiguration", "NVMeFeatures",
                 "Namespace Attribute Notices Configuration", "boolean", "True", 1),
    ],
    "PerformanceBoosterStart": [
        Sent("start -velkossd 0 -performancebooster",
             method("ForceFlush", ("StartForceFlush", "true"), devices=DRIVE_0)),
    ],
    "PerformanceBoosterStop": [
        Sent("STOP -velkossd 0 -performancebooster",
             method("ForceFlush", ("StartForceFlush", "false"), devices=DRIVE_0)),
    ],
    "PerformanceBoosterShow": [
        Sent("show -velkossd 0 -performancebooster", get("ForceFlush", devices=DRIVE_0)),
    ],
    "NVMeReset": [
        Sent("reset -velkossd 0 -nvmecontroller", method("NVMeReset", devices=DRIVE_0)),
    ],
    "EnduranceAnalyzer": [
        Sent("reset -velkossd 0 -enduranceanalyzer", method("EnduranceAnalyzer", devices=DRIVE_0)),
    ],
    "ShowTimestamp": [
        Sent("show -velkossd 0 -timestamp", get("Timestamp", devices=DRIVE_0)),
    ],
    "SetTimestamp": [
        set_case("-timestamp 1700000000000", "Timestamp", "Timestamp", "Timestamp", "uint64", 1700000000000, 8),
        set_case("-timestamp 0x18BCFE56800", "Timestamp", "Timestamp", "Timestamp", "uint64", 1700000000000, 8),
        set_case("-timestamp 18446744073709551615", "Timestamp", "Timestamp", "Timestamp", "uint64", 2 ** 64 - 1, 8),
    ],
    "BackgroundProcessing": [
        Sent("show -velkossd 0 -backgroundprocessing", method("BackgroundProcessing", devices=DRIVE_0)),
    ],
    "SetReadonlyWriteThroughMode": [
        set_case("-ReadOnlyWriteThrough Mode=1", "Mode", "OCPReadOnlyWriteMode", "Read Only Write Mode", "string",
                 "1", 2),
    ],
    "ShowReadonlyWriteThroughMode": select_cases("-ReadOnlyWriteThrough", "OCPReadOnlyWriteMode"),
    "ClearCounter": [
        set_case("-PCIeCorrectable ClearCounter=true", "ClearCounter", "NVMeFeatures", "Clear PCIeCorrectable Counter",
                 "boolean", "True", 1),
    ],
    "SetErrorInjection": [
        Sent("set -velkossd 0 -ErrorInjection ErrorInjectionEntries=1~2",
             method("OCPErrorInjection", ("FeatureId", "192"), ("SetGetType", "set"), ("ErrorInjectionEntries", "1~2"),
                    devices=DRIVE_0)),
        Sent("set -velkossd 0 -errorinjection ErrorInjectionEntryFile=e.xml",
             method("OCPErrorInjection", ("FeatureId", "192"), ("SetGetType", "set"),
                    ("ErrorInjectionEntryFile", "e.xml"), devices=DRIVE_0)),
    ],
    "ShowErrorInjection": [
        Sent("show -velkossd 0 -ErrorInjection", get("OCPErrorInjection", devices=DRIVE_0)),
    ],
    "SetIEEESilo": [
        set_case("-IEEESilo Enable=true", "Enable", "OCPIEEESilo", "Enable", "boolean", "True", 1),
    ],
    "ShowIEEESilo": select_cases("-IEEESilo", "OCPIEEESilo"),
    "DumpSystemSnapshot": [
        Sent("dump -velkossd 0 -SystemSnapshot", method("SystemSnapshot", devices=DRIVE_0)),
        Sent("dump -destination s.bin -velkossd 0 -SystemSnapshot", method("SystemSnapshot", devices=DRIVE_0)),
    ],
    "ShowPartitionInfo": [
        Sent("show -partition -velkossd", get("PartitionInformation")),
        Sent("show -partition -velkossd 0", get("PartitionInformation", devices=DRIVE_0)),
        Sent("show -velkossd 0 -partition C", get("PartitionInformation", ("Path", "C"), devices=DRIVE_0)),
    ],
    "ShowPLPCheck": select_cases("-PLPCheck", "OCPPLPCheck"),
    "SetPLPCheck": [
        set_case("-PLPCheck PLPCheckInterval=15", "PLPCheckInterval", "OCPPLPCheck", "PLP Health Check Interval",
                 "string", "15", 3),
    ],
    "ShowDSSDPowerState": select_cases("-DSSDPowerState", "OCPDSSDPowerState"),
    "SetDSSDPowerState": [
        set_case("-DSSDPowerState DSSDPowerState=8", "DSSDPowerState", "OCPDSSDPowerState", "DSSD Power State In Watts",
                 "string", "8", 2),
    ],
    "DumpNVMeLog": [
        Sent(line, method("NVMeLog", *arguments, devices=devices)) for line, devices, arguments in [
            ("dump -nvmelog List", "", [("List", "True")]),
            ("dump -velkossd 0 -nvmelog list", DRIVE_0, [("List", "True")]),
            ("dump -destination l.bin -velkossd 0 -nvmelog list", DRIVE_0, [("List", "True"), ("file", "l.bin")]),
            ("dump -destination l.bin -nvmelog 2", "", [("LogId", "2"), ("file", "l.bin")]),
            ("dump -destination l.bin -velkossd 0 -nvmelog 0xC0", DRIVE_0, [("LogId", "192"), ("file", "l.bin")]),
            ("dump -destination l.bin -velkossd 0 -nvmelog Latency", DRIVE_0,
             [("LogName", "Latency"), ("file", "l.bin")]),
            ("dump -destination l.bin -nvmelog 2 NamespaceSpecific=true", "",
             [("LogId", "2"), ("NamespaceSpecific", "true"), ("file", "l.bin")]),
            ("dump -destination l.bin -nvmelog 2 LogSpecificField=1", "",
             [("LogId", "2"), ("LogSpecificField", "1"), ("file", "l.bin")]),
            ("dump -destination l.bin -nvmelog 2 RetainAsynchronousEvent=0", "",
             [("LogId", "2"), ("RetainAsynchronousEvent", "0"), ("file", "l.bin")]),
            ("dump -destination l.bin -nvmelog 2 LogPageOffset=8", "",
             [("LogId", "2"), ("LogPageOffset", "8"), ("file", "l.bin")]),
            ("dump -destination l.bin -nvmelog 2 NumDWORDs=8", "",
             [("LogId", "2"), ("NumDWORDs", "8"), ("file", "l.bin")]),
            ("dump -destination l.bin -velkossd 0 -nvmelog 2 NumDWORDs=4 LogPageOffset=5 RetainAsynchronousEvent=true "
             "LogSpecificField=2 NamespaceSpecific=0", DRIVE_0,
             [("LogId", "2"), ("NamespaceSpecific", "0"), ("LogSpecificField", "2"),
              ("RetainAsynchronousEvent", "true"), ("NumDWORDs", "4"), ("LogPageOffset", "5"), ("file", "l.bin")]),
        ]
    ],
}

BAD_NAMESPACE = "Invalid value for -namespace target. The value must be a valid namespace ID or 0xFFFFFFFF."
BAD_IDENTIFY_NAMESPACE = "Invalid value for -namespace target. The value must be a valid namespace ID."
BAD_CONTROLLER = "Invalid value for -nvmecontroller target. The value must be an integer."
BAD_SELECT = "select value must be 'current', 'default', 'saved' or 'capabilites'."
BAD_FEATURE = "Feature id must be a valid decimal or hex value."
BAD_SELF_TEST = ("Invalid self test given. Supported values are 'short', 'extended', and 'conveyance'. If nothing is "
                 "specified, a short test will be ran.")
BAD_SELF_TEST_MODE = ("Invalid self test mode given. Supported values are 'captive', and 'offline'. If nothing is "
                      "specified, a offline test will be ran.")
BAD_LATENCY_LOG = "Invalid latency log given. Supported values are 'reads' and 'writes'."
ONE_LED_PROPERTY = "Must specify one (and only one property) for set LED activity feature."
DESTINATION_OF_ONE = "-destination can only be used when one -velkossd is selected."
DRIVE_OR_FILE = "specify either -velkossd [drive index] or -source [file location], not both."
NO_DESTINATION = "Must specify -destination with dump command"
SINGLE_NAMESPACE = "Must specify a single namespace to retrieve descriptors from."
NO_DESCRIPTORS = "-descriptors option incompatible with -nvmecontroller"
CONFLICT = "Conflicting targets provided. Please specify -nvmecontroller or -namespace, not both."
ENTRIES_OR_FILE = "specify either -ErrorInjectionEntries or -ErrorInjectionEntryFile, not both."
NO_SLOT = "Must specify slot number with activate action property."
WINDOWS_ONLY = "Unsupported Operating System. This feature is only supported on Windows."


def bad(kind, key):
    return f"Must specify {kind} for the given property: {key}"


REFUSALS = [
    # A value that the property's type does not take. A number that does not fit is refused, never cut.
    *[Refused(f"set -velkossd 0 {words}", "Invalid value given for " + key) for words, key in [
        ("AggregationThreshold=many", "AggregationThreshold"),
        ("AggregationThreshold=-1", "AggregationThreshold"),
        ("AggregationThreshold=1.5", "AggregationThreshold"),
        ("AggregationThreshold=4294967296", "AggregationThreshold"),
        ("AggregationTime=0x1G", "AggregationTime"),
        ("PowerGovernorMode=high", "PowerGovernorMode"),
        ("TempThreshold=-5", "TempThreshold"),
        ("TempThreshold=2147483648", "TempThreshold"),
        ("LatencyTrackingEnabled=on", "LatencyTrackingEnabled"),
        ("LatencyTrackingEnabled=2", "LatencyTrackingEnabled"),
        ("SMARTHealthCriticalWarningsConfiguration=256", "SMARTHealthCriticalWarningsConfiguration"),
        ("TelemetryLogNoticesConfiguration=yes", "TelemetryLogNoticesConfiguration"),
        ("FirmwareActivationNoticesConfiguration=yes", "FirmwareActivationNoticesConfiguration"),
        ("NamespaceAttributeNoticesConfiguration=yes", "NamespaceAttributeNoticesConfiguration"),
        ("-PCIeCorrectable ClearCounter=yes", "ClearCounter"),
        ("-IEEESilo Enable=yes", "Enable"),
        ("-led Milliseconds=fast", "Milliseconds"),
        ("-led FormatOnMultiplier=x", "FormatOnMultiplier"),
        ("-led FormatOffMultiplier=x", "FormatOffMultiplier"),
        ("-led IoOnMultiplier=x", "IoOnMultiplier"),
        ("-led IoOffMultiplier=x", "IoOffMultiplier"),
        ("-timestamp 18446744073709551616", "Timestamp"),
    ]],
    Refused("set -velkossd 0 -led", ONE_LED_PROPERTY),
    Refused("set -velkossd 0 -led IdleState=on Milliseconds=x", ONE_LED_PROPERTY),
    Refused("set -velkossd 0 -timestamp now", "Failed to find timestamp target."),
    Refused("set -velkossd 0 -timestamp -1", "Failed to find timestamp target."),

    *[Refused(f"show -velkossd 0 {target} Select={word}", BAD_SELECT)
      for target in ("-ReadOnlyWriteThrough", "-IEEESilo", "-PLPCheck", "-DSSDPowerState", "-getfeature 1")
      for word in ("foo", "capabilites", "0")],
    Refused("show -smart IncludeNVMeSmartHealthLog=1", bad("true|false", "IncludeNVMeSmartHealthLog")),
    Refused("show -smart 5 includenvmesmarthealthlog=yes", bad("true|false", "IncludeNVMeSmartHealthLog")),

    Refused("load -force -velkossd 0 CommitAction=1", NO_SLOT, status=7),
    Refused("load -velkossd 0 CommitAction=1", NO_SLOT, status=7),
    Refused("load -velkossd 0 -firmwareactivate FirmwareSlot=two CommitAction=3", "Invalid slot number.", status=7),
    Refused("load -velkossd 0 -firmwareactivate FirmwareSlot=0x2 CommitAction=3", "Invalid slot number.", status=7),
    Refused("load -velkossd 0 -firmwareactivate FirmwareSlot=2 CommitAction=now", "Invalid slot number.", status=7),

    Refused("start -velkossd 0 -selftest long", BAD_SELF_TEST),
    Refused("start -velkossd 0 -selftest long -mode later", BAD_SELF_TEST),
    Refused("start -velkossd 0 -selftest short -mode later", BAD_SELF_TEST_MODE),

    *[Refused(f"attach -velkossd 0 -namespace 1 -nvmecontroller {word}", BAD_CONTROLLER)
      for word in ("one", "0x1", "-1")],
    Refused("detach -velkossd 0 -namespace 1 -nvmecontroller x", BAD_CONTROLLER),

    Refused("show -velkossd 0 -identify -namespace one", BAD_IDENTIFY_NAMESPACE),
    Refused("show -velkossd 0 -identify -namespace one -descriptors", BAD_IDENTIFY_NAMESPACE),
    Refused("show -velkossd 0 -identify -namespace attached -descriptors", SINGLE_NAMESPACE),
    Refused("show -velkossd 0 -identify -namespace ALLOCATED -descriptors", SINGLE_NAMESPACE),
    Refused("show -velkossd 0 -identify -nvmecontroller -descriptors", NO_DESCRIPTORS),
    Refused("show -velkossd 0 -identify -namespace 1 -nvmecontroller", CONFLICT),
    Refused("show -velkossd 0 -identify -namespace 1 -nvmecontroller -descriptors", NO_DESCRIPTORS),
    Refused("show -velkossd 0 -namespace 0x1 -nvmecontroller", BAD_IDENTIFY_NAMESPACE),
    Refused("show -velkossd 0 -namespace attached -nvmecontroller", BAD_IDENTIFY_NAMESPACE),

    Refused("start -force -velkossd 0 -nvmeformat -namespace all", BAD_NAMESPACE),
    Refused("start -velkossd 0 -nvmeformat -namespace all", BAD_NAMESPACE, stdin=YES, stderr=FORMAT_QUESTION),
    *[Refused(f"start -force -velkossd 0 -sanitize {word}", "Invalid value for sanitize operation type.")
      for word in ("CRYPTO", "Block", "erase", "2")],
    Refused("start -velkossd 0 -sanitize CRYPTO", "Invalid value for sanitize operation type.", stdin=YES,
            stderr=SANITIZE_QUESTION),

    Refused("show -velkossd 0 -latencystatistics both", BAD_LATENCY_LOG),
    Refused("show -velkossd 0 -latencystatistics both Type=4", BAD_LATENCY_LOG),
    *[Refused(f"show -velkossd 0 -latencystatistics reads Type={word}", bad("0-3", "Type"))
      for word in ("4", "x", "-1", "0x1", "18446744073709551616")],

    Refused("dump -telemetrylog HostInitiated=1", bad("true|false", "HostInitiated")),
    Refused("dump -telemetrylog RetainAsynchronousEvent=1", bad("a boolean", "RetainAsynchronousEvent")),
    Refused("dump -telemetrylog RetainAsynchronousEvent=x HostInitiated=x", bad("true|false", "HostInitiated")),
    *[Refused(f"dump -destination x {target}", DESTINATION_OF_ONE) for target in (
        "-telemetrylog", "-nlog", "-bridgenlog", "-eventlog", "-assertlog", "-persistenteventlog read",
        "-velkossd -nlog")],
    *[Refused(f"dump -velkossd 0 -persistenteventlog {word}", "Invalid persistent event log action given " + word)
      for word in ("erase", "new_context")],

    Refused("show -persistenteventlog", DRIVE_OR_FILE),
    Refused("show -source p.bin -velkossd 0 -persistenteventlog", DRIVE_OR_FILE),
    Refused("show -velkossd -persistenteventlog", "Must specify an velko ssd index."),

    *[Refused(f"{line} {words}", message)
      for line in ("show -nvmelog 2", "dump -destination l.bin -nvmelog 2") for words, message in [
          ("NamespaceSpecific=yes", bad("true or false", "NamespaceSpecific")),
          ("LogSpecificField=0x1", bad("an integer", "LogSpecificField")),
          ("RetainAsynchronousEvent=yes", bad("a boolean", "RetainAsynchronousEvent")),
          ("NumDWORDs=-1", bad("an integer", "NumDWORDs")),
          ("LogPageOffset=x", bad("an integer", "LogPageOffset")),
          # What is checked first is reported first.
          ("LogPageOffset=x NumDWORDs=x RetainAsynchronousEvent=x LogSpecificField=x NamespaceSpecific=x",
           bad("true or false", "NamespaceSpecific")),
          ("LogPageOffset=x NumDWORDs=x RetainAsynchronousEvent=x LogSpecificField=x",
           bad("an integer", "LogSpecificField")),
          ("LogPageOffset=x NumDWORDs=x RetainAsynchronousEvent=x", bad("a boolean", "RetainAsynchronousEvent")),
          ("LogPageOffset=x NumDWORDs=x", bad("an integer", "NumDWORDs")),
      ]],
    Refused("dump -nvmelog 2", NO_DESTINATION),
    Refused("dump -velkossd 0 -nvmelog SMART NamespaceSpecific=x", NO_DESTINATION),

    Refused("start -force -velkossd 0 -psidrevert " + 32 * "A", WINDOWS_ONLY, status=3),
    Refused("start -velkossd 0 -psidrevert short", WINDOWS_ONLY, status=3),

    Refused("start -scan", "-velkossd target not found."),
    Refused("start -scan Logs IncludeOS=maybe", "-velkossd target not found."),
    Refused("start -scan all -velkossd", "all is not a valid scan type"),
    *[Refused(f"start -scan -velkossd {key}={word}", bad("true|false", key))
      for key in ("FullScan", "IncludeOS", "IncludeSystemInfo") for word in ("1", "yes")],

    Refused("show -velkossd 0 -getfeature Arbitration", BAD_FEATURE),
    Refused("show -velkossd 0 -getfeature x -namespace y Select=z", BAD_NAMESPACE),
    Refused("show -velkossd 0 -getfeature x Select=z", BAD_SELECT),
    Refused("show -velkossd 0 -getfeature 1 -namespace all", BAD_NAMESPACE),
    Refused("set -velkossd 0 -setfeature x", BAD_FEATURE),
    Refused("set -velkossd 0 -setfeature 2 -namespace all", BAD_NAMESPACE),
    Refused("set -velkossd 0 -setfeature 2 DWORD11=x", "DWORD11 must be a hexadecimal value."),
    Refused("set -velkossd 0 -setfeature 2 DWORD12=x", "DWORD12 must be a hexidecimal value."),
    Refused("set -velkossd 0 -setfeature 2 DWORD13=x", "DWORD13 must be a hexidecimal value."),
    Refused("set -velkossd 0 -setfeature 2 Save=maybe", "Save must be true or false.."),
    Refused("set -velkossd 0 -setfeature 2 Save=x DWORD13=x DWORD12=x DWORD11=x",
            "DWORD11 must be a hexadecimal value."),

    Refused("set -velkossd 0 -ErrorInjection", ENTRIES_OR_FILE),
    Refused("set -velkossd 0 -ErrorInjection ErrorInjectionEntries=1 ErrorInjectionEntryFile=f", ENTRIES_OR_FILE),
]

NOT_LOADED = "Error: Failed to find or load valid library: Velko.SSDFeatures.so.3.0.0--------\n"
NO_VALUE = "A value is required for the {} '{}'."
SYNTAX_ERRORS = [
    # What no flow gets to see, since the words do not make up a command.
    ("show -all -display x -velkossd", "Options 'all' and 'display' cannot be used together."),
    ("set -velkossd AggregationTime=1", NO_VALUE.format("target", "-velkossd")),
    ("delete -force -velkossd", NO_VALUE.format("target", "-velkossd")),
    ("delete -force -velkossd 0 -namespace", NO_VALUE.format("target", "-namespace")),
    ("dump -velkossd 0 -nvmelog", NO_VALUE.format("target", "-nvmelog")),
    ("show -velkossd 0 -latencystatistics", NO_VALUE.format("target", "-latencystatistics")),
    ("dump -destination -velkossd 0 -nlog", NO_VALUE.format("option", "-destination")),
    ("start -velkossd 0 -selftest -mode", NO_VALUE.format("target", "-mode")),
    ("delete -force now -velkossd 0", "'now' is not a valid setting for the option '-force'."),
]


class StorageRequests(RecordingTestCase):
    def setUp(self):
        super().setUp()
        self.answer(EMPTY_ANSWER)

    def run_line(self, line, **options):
        self.forget()
        return self.world.run(*line.split(), **options)

    def check_sent(self, case):
        run = self.run_line(case.line, stdin=case.stdin)
        self.assertEqual(self.requests(), [case.request])
        self.assertEqual((run.status, run.stdout, run.stderr), (0, case.stdout, case.stderr))

    def check_refused(self, case):
        run = self.run_line(case.line, stdin=case.stdin)
        self.assertEqual(self.requests(), [])
        self.assertEqual((run.status, run.stdout, run.stderr), (case.status, f"Error: {case.message}\n", case.stderr))

    def test_every_command_has_its_requests_here(self):
        text = self.world.run("help", "-output", "json").stdout
        listed = json.loads(text, strict=False)  # the texts of help are not escaped
        self.assertEqual(set(REQUESTS), set(listed) - {"EnableLog", "LogFile", "System", "Version"})

    def test_a_refused_line_sends_nothing(self):
        for case in REFUSALS:
            with self.subTest(case.line):
                self.check_refused(case)

    def test_a_syntax_error_sends_nothing(self):
        for line, message in SYNTAX_ERRORS:
            with self.subTest(line):
                run = self.run_line(line)
                self.assertEqual(self.requests(), [])
                self.assertEqual((run.status, run.stdout, run.stderr), (201, f"Syntax Error: {message}\n", ""))

    def test_a_library_that_cannot_be_loaded_goes_before_every_bad_value(self):
        self.library.unlink()
        for line in ("show -velkossd", "set -velkossd 0 -led", "start -scan", "delete -velkossd 0"):
            with self.subTest(line):
                run = self.run_line(line)
                self.assertEqual((run.status, run.stdout, run.stderr), (1, NOT_LOADED, ""))
        for line, message in SYNTAX_ERRORS:  # but the words must make up a command
            with self.subTest(line):
                self.assertEqual(self.run_line(line).stdout, f"Syntax Error: {message}\n")

    def test_whole_texts(self):
        """The pieces that the other tests put together, once as they are on the wire."""
        directories = ('<Property category="attribute" displayName="Additional Module Directories" '
                       'name="AdditionalModuleDirs" size="0" type="vectorOfStrings" '
                       'value="/opt/velko/nimbrel/FirmwareModules"/>')
        scan = '<Property category="attribute" displayName="Scan" name="Scan" size="0" type="boolean" value="true"/>'
        drive = ('<List name="Devices"><Object name="Device"><Property category="attribute" name="Index" type="string" '
                 'value="0"/></Object></List>')
        for line, expected in [
            ("show -d A -velkossd 0",
             '<?xml version="1.0" encoding="utf-8"?>'
             f'<Object name="VelkoSSD" type="GetProperties">{scan}{directories}{drive}'
             '<Object name="Properties"><Property category="attribute" displayName="" name="A" size="0" type="string" '
             'value=""/></Object></Object>'),
            ("set -velkossd 0 AggregationTime=1",
             '<?xml version="1.0" encoding="utf-8"?>'
             f'<Object name="NVMeFeatures" type="SetProperty">{scan}{directories}{drive}<Object name="Properties">'
             '<Property category="attribute" displayName="Aggregation Time" name="AggregationTime" size="4" '
             'type="uint32" value="1"/></Object></Object>'),
            ("delete -force -velkossd 0",
             f'<?xml version="1.0" encoding="utf-8"?><Object name="Format" type="Method">{scan}'
             '<Property category="attribute" displayName="Type" name="Type" size="0" type="string" value="Delete"/>'
             '<Property category="attribute" displayName="Force" name="Force" size="0" type="boolean" value="true"/>'
             f'{directories}{drive}</Object>'),
        ]:
            with self.subTest(line):
                self.run_line(line)
                self.assertEqual(self.requests(), [expected])


def _test_of(cases):
    def test(self):
        for case in cases:
            with self.subTest(case.line):
                self.check_sent(case)
    return test


for _name, _cases in REQUESTS.items():
    if _cases:
        setattr(StorageRequests, "test_" + _name, _test_of(_cases))


if __name__ == "__main__":
    unittest.main()
