"""A walk over the whole vocabulary of the storage commands on each model of simulated drives: whole outputs, in text
and JSON, against golden files. NIMBREL_REWRITE_GOLDENS=1 rewrites them; read what changed.

A set command is read back by the command that shows it, a destructive one looks at the media, and what is refused
changes not one byte of the drive."""

import json
import os
import pathlib
import re
import unittest
from xml.etree import ElementTree

import tables
from simulated import HOUR_MS, START_MS, SimulatedTestCase, firmware_image

GOLDENS = pathlib.Path(__file__).with_name("golden") / "walk"
REWRITE = os.environ.get("NIMBREL_REWRITE_GOLDENS") == "1"
MEDIA_BYTES = 64 << 20
OTHER_MODEL = {"sata": "velko", "ocp": "velko", "velko": "ocp", "nvme-2.1": "ocp", "ocp-2.6": "ocp"}
PATTERN = bytes(range(1, 256)) * 33  # nowhere zero, and no two blocks alike


class Refused(str):
    """A command that fails and changes nothing."""


class Blocks:
    """Writes the pattern over the first blocks of the media, as data that is there before a command."""

    def __init__(self, nsid=1):
        self.nsid = nsid

    def __call__(self, walk):
        # The drive names the file of its first namespace so; another one would be swept away as a leftover.
        with open(walk.drives / walk.name / f"media-{self.nsid}-{self.nsid}", "wb") as file:
            file.write(PATTERN)
            file.truncate(MEDIA_BYTES)


class Erased:
    """Nothing of the data is left on the media."""

    def __call__(self, walk):
        media = walk.media(walk.name)
        walk.assertTrue(media is None or not any(media.read_bytes()), "data is left on the media")


class Kept:
    """The data is there, but for a range of bytes that reads as zeros."""

    def __init__(self, first=0, count=0):
        self.first, self.count = first, count

    def __call__(self, walk):
        expected = bytearray(PATTERN)
        expected[self.first:self.first + self.count] = bytes(self.count)
        media = walk.media(walk.name).read_bytes()
        walk.assertTrue(media == bytes(expected).ljust(MEDIA_BYTES, b"\0"), "the media is not what it should be")


class File:
    """Puts a file into the folder where the tool runs."""

    def __init__(self, name, content):
        self.name, self.content = name, content

    def __call__(self, walk):
        content = self.content(walk.name) if callable(self.content) else self.content
        (walk.world.cwd / self.name).write_bytes(content)


class Folder:
    """Makes a folder where the tool runs."""

    def __init__(self, name):
        self.name = name

    def __call__(self, walk):
        (walk.world.cwd / self.name).mkdir()


class Described:
    """Another value in the drive's description."""

    def __init__(self, **values):
        self.values = values

    def __call__(self, walk):
        walk.describe(walk.name, **self.values)


class PowerCycle:
    """Takes the power from the drive and gives it back."""

    def __call__(self, walk):
        run = walk.world.run("power-cycle", walk.name, tool=os.environ["NIMBREL_SIMDRIVE"])
        walk.assertEqual((run.status, run.stderr), (0, ""))


def feature(fid, *words):
    return f"show -velkossd 0 -getfeature {fid}" + "".join(" " + word for word in words)


SHOWN = "show -velkossd 0 "

# What is walked, by the name of the catalogue's row.
WALK = {
    "VelkoSSD": ["show -velkossd", "show -a -velkossd 0", "show -d SerialNumber,Nonsense,Capacity -velkossd 0",
                 "show -velkossd SIM-OCP-1", "show -velkossd SIM-VELKO-1", Refused("show -velkossd 1"),
                 Refused("show -velkossd ABSENT"), Refused("show -velkossd /dev/absent"),
                 Refused("show -velkossd bootdrive")],
    "AggregationThreshold": ["set -velkossd 0 AggregationThreshold=255", feature(8),
                             Refused("set -velkossd 0 AggregationThreshold=256"),
                             Refused("set -velkossd 0 AggregationThreshold=-1")],
    "AggregationTime": ["set -velkossd 0 AggregationTime=100", feature(8),
                        Refused("set -velkossd 0 AggregationTime=256")],
    "ShowEnduranceAnalyzer": [SHOWN + "-enduranceanalyzer"],
    "EnduranceAnalyzer": ["reset -velkossd 0 -enduranceanalyzer", Refused(SHOWN + "-enduranceanalyzer")],
    "MaximumLBA": [Blocks(), Refused("set -velkossd 0 MaximumLBA=1000001%"), Refused("set -velkossd 0 MaximumLBA=many"),
                   "set -velkossd 0 MaximumLBA=100GB", Kept(),
                   "set -velkossd 0 MaximumLBA=99999", "show -d MaximumLBA,Capacity -velkossd 0", feature("0xC1"),
                   "set -velkossd 0 MaximumLBA=50%", "show -d MaximumLBA,Capacity -velkossd 0",
                   "set -velkossd 0 MaximumLBA=native", "show -d MaximumLBA,Capacity -velkossd 0", feature("0xC2")],
    "PowerGovernorMode": ["set -velkossd 0 PowerGovernorMode=1", feature("0xC6"), feature(2),
                          Refused("set -velkossd 0 PowerGovernorMode=3")],
    "TempThreshold": ["set -velkossd 0 TempThreshold=70", feature(4), "set -velkossd 0 TempThreshold=80",
                      Refused("set -velkossd 0 TempThreshold=81"), feature(4)],
    "FirmwareUpdate": [File("fw.bin", lambda name: firmware_image(name, "NEW01234")),
                       File("odd.bin", b"abc"), File("empty.bin", b""),
                       File("other.bin", lambda name: firmware_image(OTHER_MODEL[name], "NEW01234")),
                       "load -force -velkossd 0", Refused("load -force -source absent.bin -velkossd 0"),
                       Refused("load -force -source odd.bin -velkossd 0"),
                       Refused("load -force -source empty.bin -velkossd 0"),
                       Refused("load -force -source fw.bin -velkossd 0 FirmwareSlot=9"),
                       "load -force -source other.bin -velkossd 0", "show -d Firmware,StagedFirmware -velkossd 0",
                       "load -force -source fw.bin -velkossd 0 FirmwareSlot=2 CommitAction=1",
                       "show -d Firmware,StagedFirmware -velkossd 0", "reset -velkossd 0 -nvmecontroller",
                       "show -d Firmware,StagedFirmware -velkossd 0"],
    "FirmwareActivate": [File("fw.bin", lambda name: firmware_image(name, "NEW01234")),
                         "load -velkossd 0 -firmwareactivate FirmwareSlot=2 CommitAction=2",
                         "load -force -source fw.bin -velkossd 0 FirmwareSlot=2 CommitAction=0",
                         "load -velkossd 0 -firmwareactivate FirmwareSlot=2 CommitAction=3",
                         "show -d Firmware,StagedFirmware -velkossd 0",
                         Refused("load -velkossd 0 -firmwareactivate FirmwareSlot=2 CommitAction=1"),
                         Refused("load -velkossd 0 -firmwareactivate FirmwareSlot=8 CommitAction=3")],
    "SMART": ["show -smart", SHOWN + "-smart IncludeNVMeSmartHealthLog=true", SHOWN + "-smart AB",
              "show -d Temperature,PowerCycles -velkossd 0 -smart"],
    "Sensors": ["show -sensor", "show -d Temperature,Nonsense -velkossd 0 -sensor"],
    "Performance": ["show -performance"],
    "DriveSelfTestStart": ["start -velkossd 0 -selftest", SHOWN + "-selftest", "start -velkossd 0 -selftest extended",
                           SHOWN + "-selftest", Described(extended_self_test_seconds=100),
                           "start -velkossd 0 -selftest extended", "start -velkossd 0 -selftest short",
                           Described(clock=START_MS + 50000), SHOWN + "-selftest",
                           Described(clock=START_MS + 100000), SHOWN + "-selftest",
                           Refused("start -velkossd 0 -selftest conveyance"),
                           Refused("start -velkossd 0 -selftest long")],
    "DriveSelfTestShow": [SHOWN + "-selftest"],
    "Delete": [Blocks(), Refused("delete -force -velkossd 7"), Kept(), "delete -velkossd 0", Kept(),
               "delete -force -velkossd 0", Erased(), "show -d Capacity -velkossd 0"],
    "SMBusAddress": ["set -velkossd 0 SMBusAddress=60", feature("0xC8"),
                     "set -velkossd 0 SMBusAddress=61 SMBusSelector=1", feature("0xC8"),
                     Refused("set -velkossd 0 SMBusAddress=0"),
                     Refused("set -velkossd 0 SMBusAddress=256"),
                     Refused("set -velkossd 0 SMBusAddress=60 SMBusSelector=3")],
    "LatencyTrackingEnabled": ["set -velkossd 0 LatencyTrackingEnabled=true", feature("0xE2"),
                               "set -velkossd 0 LatencyTrackingEnabled=false", feature("0xE2")],
    "CreateNamespace": ["detach -velkossd 0 -namespace 1", "delete -force -velkossd 0 -namespace 1",
                        Refused("create -velkossd 0 -namespace Size=1000"),
                        Refused("create -velkossd 0 -namespace Size=99999999"),
                        Refused("create -velkossd 0 -namespace Size=2048 LBAFormat=9"),
                        Refused("create -velkossd 0 -namespace Size=2048 Capacity=4096"),
                        "create -velkossd 0 -namespace Size=2048",
                        "create -velkossd 0 -namespace Size=4096 Capacity=2048 LBAFormat=1",
                        SHOWN + "-identify -namespace allocated", SHOWN + "-identify -namespace attached",
                        SHOWN + "-identify -namespace 2"],
    "DeleteNamespace": [Blocks(), Refused("delete -force -velkossd 0 -namespace 2"), Kept(),
                        "delete -velkossd 0 -namespace 1", Kept(), "delete -force -velkossd 0 -namespace 1", Erased(),
                        SHOWN + "-identify -namespace allocated", "show -velkossd 0"],
    "AttachNamespace": [Blocks(), "detach -velkossd 0 -namespace 1", "attach -velkossd 0 -namespace 1", Kept(),
                        SHOWN + "-identify -namespace attached", "attach -velkossd 0 -namespace 1",
                        "attach -velkossd 0 -namespace 5", "attach -velkossd 0 -namespace 1 -nvmecontroller 9"],
    "DetachNamespace": [Blocks(), Refused("detach -velkossd 0 -namespace 9"),
                        "detach -velkossd 0 -namespace 1 -nvmecontroller 1", Kept(),
                        SHOWN + "-identify -namespace attached", SHOWN + "-identify -namespace allocated",
                        "show -velkossd 0"],
    "IdentifyDevice": [SHOWN + "-identify", SHOWN + "-identify -nvmecontroller", SHOWN + "-identify -namespace 1",
                       SHOWN + "-identify -namespace attached", SHOWN + "-identify -namespace allocated",
                       SHOWN + "-identify -namespace 1 -descriptors", SHOWN + "-identify -uuidlist",
                       SHOWN + "-identify -namespace 99"],
    "NVMeFormat": [Blocks(), Refused("start -force -velkossd 0 -nvmeformat LBAFormat=9"),
                   Refused("start -force -velkossd 0 -nvmeformat SecureEraseSetting=3"),
                   Refused("start -force -velkossd 0 -nvmeformat -namespace 9"), Kept(),
                   "start -velkossd 0 -nvmeformat", Kept(),
                   "start -force -velkossd 0 -nvmeformat -namespace 1 LBAFormat=1 SecureEraseSetting=1", Erased(),
                   SHOWN + "-identify -namespace 1", "show -d SectorSize,MaximumLBA,Capacity -velkossd 0"],
    "Sanitize": [Blocks(), Refused("start -force -velkossd 0 -sanitize shred"),
                 Refused("start -force -velkossd 0 -sanitize overwrite OverwritePassCount=17"), Kept(),
                 "start -velkossd 0 -sanitize block", Kept(),
                 "start -force -velkossd 0 -sanitize block", Erased(), "show -velkossd 0 -nvmelog 0x81",
                 "start -force -velkossd 0 -sanitize crypto", "start -force -velkossd 0 -sanitize exit_failure",
                 Described(sanitize_seconds=100),
                 "start -force -velkossd 0 -sanitize crypto ReturnImmediately=true",
                 Described(clock=START_MS + 50000), SHOWN + "-backgroundprocessing",
                 "delete -force -velkossd 0", "start -velkossd 0 -selftest",
                 Described(clock=START_MS + 100000), SHOWN + "-backgroundprocessing"],
    "LatencyStatistics": ["set -velkossd 0 LatencyTrackingEnabled=true", SHOWN + "-latencystatistics reads",
                          SHOWN + "-latencystatistics writes", SHOWN + "-latencystatistics reads Type=3",
                          Refused(SHOWN + "-latencystatistics erases")],
    "TelemetryLogDump": ["dump -velkossd 0 -telemetrylog", "dump -telemetrylog",
                         "dump -destination area1.bin -velkossd 0 -telemetrylog -dataarea 1",
                         "dump -destination controller.bin -velkossd 0 -telemetrylog HostInitiated=false",
                         Refused("dump -velkossd 0 -telemetrylog -dataarea 4")],
    "Nlog": ["dump -velkossd 0 -nlog", SHOWN + "-nvmelog 0xFE", "dump -velkossd 0 -nlog"],
    "BridgeNlog": ["dump -velkossd 0 -bridgenlog", "reset -velkossd 0 -nvmecontroller",
                   "dump -velkossd 0 -bridgenlog"],
    "EventLog": ["dump -velkossd 0 -eventlog", "delete -force -velkossd 0", "dump -velkossd 0 -eventlog"],
    "AssertLog": ["dump -velkossd 0 -assertlog", Described(fail="admin 0x02 0x006"), SHOWN + "-nvmelog 3",
                  Described(fail=None), "dump -velkossd 0 -assertlog"],
    "PersistentEventLog": ["dump -velkossd 0 -persistenteventlog read", "dump -velkossd 0 -persistenteventlog release",
                           "dump -destination again.bin -velkossd 0 -persistenteventlog read NewContext=true",
                           Refused("dump -velkossd 0 -persistenteventlog erase")],
    "ParsePersistentEventLog": [SHOWN + "-persistenteventlog", Refused("show -source absent.bin -persistenteventlog")],
    "ShowNVMeLog": [SHOWN + "-nvmelog list", SHOWN + "-nvmelog", SHOWN + "-nvmelog 2", SHOWN + "-nvmelog 0xFE",
                    SHOWN + "-nvmelog nonsense"],
    "NVMeControllerList": ["show -nvmecontroller", SHOWN + "-nvmecontroller", SHOWN + "-namespace 1 -nvmecontroller",
                           SHOWN + "-namespace 9 -nvmecontroller"],
    "Trim": [Blocks(), Refused("start -force -velkossd 0 -trim StartLBA=131072 Count=1"),
             Refused("start -force -velkossd 0 -trim StartLBA=0 Count=131073"),
             Refused("start -force -velkossd 0 -trim StartLBA=0 Count=0"),
             Refused("start -force -velkossd 0 -trim StartLBA=a Count=1"), Kept(),
             "start -velkossd 0 -trim StartLBA=0 Count=1", Kept(),
             "start -force -velkossd 0 -trim StartLBA=2 Count=3", Kept(1024, 1536),
             "start -force -velkossd 0 -trim StartLBA=0 Count=131072", Erased()],
    "PSIDRevert": [Blocks(), Refused("start -force -velkossd 0 -psidrevert ABCDEFGHIJKLMNOPQRSTUVWXYZ123456"), Kept()],
    "ShowLED": ["show -led", SHOWN + "-led"],
    "SetLED": ["set -velkossd 0 -led IdleState=off", "set -velkossd 0 -led Milliseconds=25",
               "set -velkossd 0 -led FormatOnMultiplier=1", "set -velkossd 0 -led FormatOffMultiplier=2",
               "set -velkossd 0 -led IoOnMultiplier=3", "set -velkossd 0 -led IoOffMultiplier=4", SHOWN + "-led",
               Refused("set -velkossd 0 -led IdleState=on Milliseconds=50"),
               Refused("set -velkossd 0 -led Milliseconds=30"), Refused("set -velkossd 0 -led IoOnMultiplier=16"),
               Refused("set -velkossd 0 -led")],
    "GetFeature": [feature(fid) for fid in range(1, 18)] + [feature("0x02", "Select=" + word) for word in
                                                            ("default", "saved", "capabilities")]
                  + [feature("0xC0"), feature("0xCB"), feature("0xD9"), feature("0xFF"), Refused(feature("x"))],
    "SetFeature": ["set -velkossd 0 -setfeature 1 DWORD11=03020104", feature(1),
                   "set -velkossd 0 -setfeature 2 DWORD11=1 Save=true", feature(2), feature(2, "Select=saved"),
                   "set -velkossd 0 -setfeature 2 DWORD11=1F", feature(2),
                   Refused("set -velkossd 0 -setfeature 2 DWORD11=xyz")],
    "HealthCriticalWarnings": ["set -velkossd 0 SMARTHealthCriticalWarningsConfiguration=5", feature(11),
                               Refused("set -velkossd 0 SMARTHealthCriticalWarningsConfiguration=256")],
    "TelemetryLogNotices": ["set -velkossd 0 TelemetryLogNoticesConfiguration=true", feature(11)],
    "FirmwareActivationNotices": ["set -velkossd 0 FirmwareActivationNoticesConfiguration=true", feature(11),
                                  "set -velkossd 0 FirmwareActivationNoticesConfiguration=false", feature(11)],
    "NamespaceAttributeNotices": ["set -velkossd 0 NamespaceAttributeNoticesConfiguration=true", feature(11)],
    "PerformanceBoosterStart": [Blocks(), "start -velkossd 0 -performancebooster", Kept(),
                                SHOWN + "-performancebooster"],
    "PerformanceBoosterStop": ["start -velkossd 0 -performancebooster", "stop -velkossd 0 -performancebooster",
                               SHOWN + "-performancebooster"],
    "PerformanceBoosterShow": [SHOWN + "-performancebooster"],
    "NVMeReset": ["set -velkossd 0 -setfeature 2 DWORD11=1", "reset -velkossd 0 -nvmecontroller", feature(2)],
    "ShowTimestamp": [SHOWN + "-timestamp"],
    "SetTimestamp": ["set -velkossd 0 -timestamp 1800000000000", SHOWN + "-timestamp",
                     Described(clock=START_MS + HOUR_MS), SHOWN + "-timestamp",
                     Refused("set -velkossd 0 -timestamp -1"),
                     Refused("set -velkossd 0 -timestamp 281474976710656")],
    "BackgroundProcessing": [SHOWN + "-backgroundprocessing"],
    "SetReadonlyWriteThroughMode": ["set -velkossd 0 -readonlywritethrough Mode=2", SHOWN + "-readonlywritethrough",
                                    Refused("set -velkossd 0 -readonlywritethrough Mode=3")],
    "ShowReadonlyWriteThroughMode": [SHOWN + "-readonlywritethrough"]
                                    + [SHOWN + "-readonlywritethrough Select=" + word for word in
                                       ("default", "saved", "capabilities")],
    "ClearCounter": ["set -velkossd 0 -pciecorrectable ClearCounter=true",
                     Refused("set -velkossd 0 -pciecorrectable ClearCounter=false")],
    "SetErrorInjection": ["set -velkossd 0 -errorinjection ErrorInjectionEntries=2:once:1000~9",
                          SHOWN + "-errorinjection",
                          Refused("set -velkossd 0 -errorinjection ErrorInjectionEntries=none~7"),
                          "set -velkossd 0 -errorinjection ErrorInjectionEntries=none", SHOWN + "-errorinjection"],
    "ShowErrorInjection": [SHOWN + "-errorinjection"],
    "SetIEEESilo": ["set -velkossd 0 -ieeesilo Enable=true", SHOWN + "-ieeesilo",
                    "set -velkossd 0 -ieeesilo Enable=false", SHOWN + "-ieeesilo"],
    "ShowIEEESilo": [SHOWN + "-ieeesilo", SHOWN + "-ieeesilo Select=default"],
    "DumpSystemSnapshot": ["dump -velkossd 0 -systemsnapshot"],
    "ShowPartitionInfo": ["show -partition -velkossd", "show -partition -velkossd 0"],
    "ShowPLPCheck": [SHOWN + "-plpcheck", SHOWN + "-plpcheck Select=default"],
    "SetPLPCheck": ["set -velkossd 0 -plpcheck PLPCheckInterval=30", SHOWN + "-plpcheck",
                    Refused("set -velkossd 0 -plpcheck PLPCheckInterval=65536")],
    "ShowDSSDPowerState": [SHOWN + "-dssdpowerstate", SHOWN + "-dssdpowerstate Select=default"],
    "SetDSSDPowerState": ["set -velkossd 0 -dssdpowerstate DSSDPowerState=15", SHOWN + "-dssdpowerstate",
                          "set -velkossd 0 -dssdpowerstate DSSDPowerState=1"],
    "DumpNVMeLog": ["dump -destination smart.bin -velkossd 0 -nvmelog 2",
                    "dump -destination part.bin -velkossd 0 -nvmelog 2 NumDWORDs=8 LogPageOffset=16",
                    "dump -destination none.bin -velkossd 0 -nvmelog 0xFE"],
    "Scan": [Refused("start -scan Logs -velkossd 0 DirectoryPath=logs"), Folder("logs"),
             "start -scan Logs -velkossd 0 DirectoryPath=logs IncludeSystemInfo=false",
             "start -scan ReadScan -velkossd 0", "start -o json -scan ReadScan -velkossd 0", Folder("json"),
             "start -o json -scan Logs -velkossd 0 DirectoryPath=json"],
}

# Steps that a drive of NVMe 2.1 does not refuse as others do, and what is done there instead.
OF_NVME_21 = {
    "create -velkossd 0 -namespace Size=2048 LBAFormat=9":
        Refused("create -velkossd 0 -namespace Size=2048 LBAFormat=16"),
    "start -force -velkossd 0 -nvmeformat LBAFormat=9": Refused("start -force -velkossd 0 -nvmeformat LBAFormat=16"),
    "dump -velkossd 0 -telemetrylog -dataarea 4": "dump -velkossd 0 -telemetrylog -dataarea 4",
}

# What is walked on a SATA drive instead: where it does as other drives, or has words and hazards of its own. The other
# rows are the same, and refused.
OF_SATA = {
    "AssertLog": ["dump -velkossd 0 -assertlog", SHOWN + "-nvmelog 3"],
    "VelkoSSD": ["show -velkossd", "show -a -velkossd 0", "show -d SerialNumber,Nonsense,Capacity -velkossd 0",
                 "show -velkossd SIM-SATA-1", Refused("show -velkossd 1"), Refused("show -velkossd ABSENT"),
                 Described(attributes="5 value 3"), "show -d DeviceStatus -velkossd 0", Described(attributes=None),
                 Described(frozen="yes"), "show -d DeviceStatus,SecurityFrozen -velkossd 0", Described(frozen=None),
                 Described(locked="yes"), "show -d DeviceStatus,SecurityLocked -velkossd 0", Described(locked=None),
                 Described(lost_registers="yes"), "show -d DeviceStatus -velkossd 0"],
    "MaximumLBA": [Blocks(), Refused("set -velkossd 0 MaximumLBA=1000001%"), Refused("set -velkossd 0 MaximumLBA=many"),
                   Refused("set -velkossd 0 MaximumLBA=100GB"), Kept(),
                   "set -velkossd 0 MaximumLBA=99999", "show -d MaximumLBA,Capacity -velkossd 0",
                   "set -velkossd 0 MaximumLBA=native", PowerCycle(),  # the drive aborts a second one
                   "set -velkossd 0 MaximumLBA=native", "show -d MaximumLBA,Capacity -velkossd 0", PowerCycle(),
                   Described(accessible_max_address="no"), "set -velkossd 0 MaximumLBA=50%",
                   "show -d MaximumLBA,Capacity -velkossd 0"],
    "FirmwareUpdate": [File("fw.bin", lambda name: firmware_image(name, "NEW01234")), File("odd.bin", b"abc"),
                       File("empty.bin", b""), File("other.bin", lambda name: firmware_image("velko", "NEW01234")),
                       "load -force -velkossd 0", Refused("load -force -source absent.bin -velkossd 0"),
                       Refused("load -force -source odd.bin -velkossd 0"),
                       Refused("load -force -source empty.bin -velkossd 0"),
                       Refused("load -force -source fw.bin -velkossd 0 FirmwareSlot=2"),
                       Refused("load -force -source fw.bin -velkossd 0 CommitAction=1"),
                       "load -force -source other.bin -velkossd 0", "show -d Firmware -velkossd 0",
                       "load -force -source fw.bin -velkossd 0", "show -d Firmware,StagedFirmware -velkossd 0"],
    "SMART": ["show -smart", SHOWN + "-smart IncludeNVMeSmartHealthLog=true", SHOWN + "-smart C2",
              Described(attributes="5 value 3, 5 raw 700"), SHOWN + "-smart 05"],
    "DriveSelfTestStart": ["start -velkossd 0 -selftest", SHOWN + "-selftest", "start -velkossd 0 -selftest extended",
                           "start -velkossd 0 -selftest conveyance", "start -velkossd 0 -selftest short -mode captive",
                           SHOWN + "-selftest", Described(extended_self_test_seconds=100),
                           "start -velkossd 0 -selftest extended", Described(clock=START_MS + 50000),
                           SHOWN + "-selftest", SHOWN + "-backgroundprocessing",
                           "start -velkossd 0 -selftest short", Described(self_test_failure="1:1000"),
                           "start -velkossd 0 -selftest short", SHOWN + "-selftest",
                           Refused("start -velkossd 0 -selftest long")],
    "Delete": [Blocks(), "delete -velkossd 0", Kept(), "delete -force -velkossd 0", Erased(),
               "show -d Capacity,SecurityEnabled -velkossd 0", Blocks(), Described(sanitize="no"),
               "delete -force -velkossd 0", "show -d Capacity,SecurityEnabled -velkossd 0",
               Described(frozen="yes"), Refused("delete -force -velkossd 0"), Described(frozen=None, locked="yes"),
               Refused("delete -force -velkossd 0")],
    "DeleteNamespace": [Blocks(), Refused("delete -force -velkossd 0 -namespace 1"), Kept()],
    "NVMeFormat": [Blocks(), Refused("start -force -velkossd 0 -nvmeformat"), Kept()],
    "IdentifyDevice": [SHOWN + "-identify", SHOWN + "-identify -nvmecontroller", SHOWN + "-identify -namespace 1"],
    "Sanitize": [Blocks(), Refused("start -force -velkossd 0 -sanitize shred"),
                 Refused("start -force -velkossd 0 -sanitize overwrite"),
                 Refused("start -force -velkossd 0 -sanitize exit_failure"), Kept(),
                 "start -velkossd 0 -sanitize block", Kept(), "start -force -velkossd 0 -sanitize block",
                 "start -force -velkossd 0 -sanitize crypto", Described(sanitize_seconds=100),
                 "start -force -velkossd 0 -sanitize crypto ReturnImmediately=true",
                 Described(clock=START_MS + 50000), SHOWN + "-backgroundprocessing", "show -d DeviceStatus -velkossd 0",
                 Refused("delete -force -velkossd 0"), Described(clock=START_MS + 100000),
                 SHOWN + "-backgroundprocessing"],
    "Trim": WALK["Trim"][:-2] + ["start -force -velkossd 0 -trim StartLBA=0 Count=131072"],
    "TelemetryLogDump": ["dump -velkossd 0 -telemetrylog",
                         "dump -destination area1.bin -velkossd 0 -telemetrylog -dataarea 1",
                         Refused("dump -destination saved.bin -velkossd 0 -telemetrylog HostInitiated=false"),
                         Described(self_test_failure="1:1000"), "start -velkossd 0 -selftest",
                         "dump -destination saved.bin -velkossd 0 -telemetrylog HostInitiated=false",
                         Refused("dump -velkossd 0 -telemetrylog -dataarea 4")],
}

# Rows without a command line, which the tool refuses whatever one types.
NO_COMMAND_LINE = {42: "show -source t.bin -telemetrylog", 52: "delete -velkossd 0 -eraseassert",
                   53: "start -velkossd 0 -lowlevelformat", 54: "show -velkossd 0 -cyclereport",
                   59: "reset -velkossd 0 -crcerror", 92: "start -velkossd 0 -assertrecovery",
                   93: "start -velkossd 0 -admincommand", 101: "show -source n.bin -nlog"}


def strict_json(text):
    """The document, which must be one: no member twice, no NaN."""
    def members(pairs):
        if len(dict(pairs)) != len(pairs):
            raise ValueError(f"a member twice: {[name for name, _ in pairs]}")
        return dict(pairs)

    def constant(word):
        raise ValueError(f"{word} is no JSON")
    return json.loads(text, object_pairs_hook=members, parse_constant=constant)


# A read scan that ends at an error has read as many blocks as its other readers had asked for until then: 0 is written
# in place of that.
ENDED_READ_SCAN = re.compile(r"(Blocks Read : )[0-9]+(\n *Unreadable Blocks : [0-9]+\n *Not completed : )")


class Transcripts:
    """Runs steps on the drive `name` and writes down what the tool says, for a golden file."""

    name = ""
    files = {}
    in_json = False  # whether what is shown is shown in JSON too
    in_xml = False

    def new_files(self):
        """What the last command left in the folder where it ran."""
        files = {str(path.relative_to(self.world.cwd)): path.stat().st_size
                 for path in sorted(self.world.cwd.rglob("*")) if path.is_file()}
        new = [f"[{name}: {size} bytes]\n" for name, size in files.items() if self.files.get(name) != size]
        self.files = files
        return "".join(new)

    def transcript(self, line):
        run = self.tool(*line.split(" "))
        shown = ENDED_READ_SCAN.sub(r"\g<1>0\g<2>", run.stdout)
        text = f"$ nimbrel {line}\n{shown}"
        if run.stderr:
            text += f"[error output]\n{run.stderr}\n"
        if isinstance(line, Refused):
            self.assertNotEqual(run.status, 0, line)
        return f"{text}[exit status {run.status}]\n{self.new_files()}\n", run

    def step(self, step):
        if not isinstance(step, str):
            step(self)
            self.new_files()
            return ""
        before = self.state(self.name)
        text, run = self.transcript(step)
        if isinstance(step, Refused):
            self.assertTrue(self.state(self.name) == before, f"the drive was changed by: {step}")
        if self.in_json and step.startswith("show "):
            more, run = self.transcript(type(step)("show -o json " + step[5:]))
            strict_json(run.stdout)
            text += more
        if self.in_xml and step.startswith("show "):
            more, run = self.transcript(type(step)("show -o nvmxml " + step[5:]))
            ElementTree.fromstring(run.stdout)
            text += more
        return text

    def compare(self, golden, text):
        path = GOLDENS / golden
        if REWRITE:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        self.assertTrue(path.exists(), f"{path} is missing; NIMBREL_REWRITE_GOLDENS=1 writes it")
        self.assertEqual(text, path.read_text(), golden)


class Walk(Transcripts):
    """One test for each row of WALK; a class for each model."""

    in_json = True
    steps = {}  # done in place of others
    rows = {}  # walked in place of those of WALK

    def setUp(self):
        super().setUp()
        self.make_drive(self.name)

    def walk(self, row):
        self.tool("show", "-velkossd")  # makes the drive
        self.compare(f"{self.name}/{row}.txt", "".join(self.step(self.steps.get(step, step))
                                                       for step in self.rows.get(row, WALK[row])))

    def test_what_has_no_command_line_is_refused_by_the_tool(self):
        self.compare(f"{self.name}/no command line.txt",
                     "".join(self.step(Refused(line)) for line in NO_COMMAND_LINE.values()))


def add_tests(case):
    for row in WALK:
        setattr(case, f"test_{row}", lambda self, row=row: self.walk(row))
    return case


@add_tests
class OnTheMakersModel(Walk, SimulatedTestCase):
    name = "velko"


@add_tests
class OnTheOcpModel(Walk, SimulatedTestCase):
    name = "ocp"


@add_tests
class OnTheModelOfNvme21(Walk, SimulatedTestCase):
    name = "nvme-2.1"
    steps = OF_NVME_21


@add_tests
class OnTheModelOfOcp26(Walk, SimulatedTestCase):
    name = "ocp-2.6"


@add_tests
class OnTheModelOfSata(Walk, SimulatedTestCase):
    """What is shown is shown in XML too."""
    name = "sata"
    rows = OF_SATA
    in_xml = True


class Table(unittest.TestCase):
    def test_holds_the_whole_catalogue(self):
        rows = tables.commands()
        self.assertEqual({name for _, name in rows if name}, set(WALK))
        self.assertEqual([number for number, name in rows if not name], list(NO_COMMAND_LINE))

    def test_has_no_golden_too_many(self):
        names = {f"{row}.txt" for row in WALK} | {"no command line.txt"}
        for model in ("velko", "ocp", "nvme-2.1", "ocp-2.6", "sata"):
            self.assertEqual({path.name for path in (GOLDENS / model).iterdir()}, names)


if __name__ == "__main__":
    unittest.main()
