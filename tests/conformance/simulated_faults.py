"""What the tool says of each fault of a simulated drive, beside a healthy one, and that one bad drive never spoils the
list: whole transcripts against golden files, as in simulated_walk."""

import unittest

from simulated import SimulatedTestCase
from simulated_walk import Blocks, Described, Folder, Kept, Transcripts
from simulated_walk import File as InputFile

LIST = "show -d SerialNumber,DeviceStatus -velkossd"
SENSORS = "show -d Temperature,DeviceStatus,UnsafeShutdowns,MediaErrors -sensor"
FORMAT = "delete -force -velkossd 0"
TRIM = "start -force -velkossd 0 -trim StartLBA=0 Count=1"
READ = "start -scan ReadScan -velkossd 0"
TCG = "show -d TCGSupported,TCGFeatures,TCGLockingEnabled,TCGLocked,TCGMBRShadowed -velkossd 0"


class File:
    """Other bytes in a file of the bad drive's folder; None: the file is gone."""

    def __init__(self, name, content):
        self.name, self.content = name, content

    def __call__(self, case):
        path = case.drives / case.name / self.name
        if self.content is None:
            path.unlink()
        else:
            path.write_bytes(self.content(path.read_bytes()))


def flipped(data):
    """One bit is another one, in the middle."""
    middle = len(data) // 2
    return data[:middle] + bytes([data[middle] ^ 1]) + data[middle + 1:]


# The drive with index 0 is the one with the fault, the other one is healthy. A last step that takes the fault off shows
# that the drive is what it was.
FAULTS = {
    "critical warnings": [step for bit in range(6) for step in (Described(critical_warning=f"0x{1 << bit:02X}"), LIST)]
                         + [Described(critical_warning="0x3F"), LIST, SENSORS, "show -velkossd 0 -smart",
                            Described(critical_warning=None), LIST],
    "temperature": [Described(temperature=91), LIST, SENSORS, Described(temperature=-5), SENSORS,
                    Described(temperature=None), SENSORS],
    "media errors": [Described(media_errors="1:100-107, 1:500"), LIST, "start -scan ReadScan -velkossd 0", SENSORS,
                     "show -velkossd 0 -nvmelog 1", Described(media_errors=None), "start -scan ReadScan -velkossd 0"],
    "a command that fails": [Blocks(), Described(fail="admin 0x80 0x10A"), LIST, FORMAT, Kept(),
                             Described(fail="admin 0x80 0x006"), FORMAT, Kept(),
                             Described(fail="admin 0x02 0x006"), LIST, "show -smart",
                             Described(fail="admin 0x06 0x006"), "show -velkossd", "show -velkossd 0 -identify",
                             Described(fail="admin 0x09 0x006"), "set -velkossd 0 TempThreshold=60",
                             Described(fail=None), LIST, "show -velkossd 0 -getfeature 4"],
    "a locked drive": [Blocks(), Described(security="yes"), TCG, Described(tcg="unlocked"), TCG, READ,
                       Described(tcg="locked"), TCG, LIST, FORMAT, "start -force -velkossd 0 -sanitize crypto", TRIM,
                       READ, Kept(), Described(tcg="shadowed"), TCG, FORMAT, Described(fail="admin 0x82 0x006"), TCG,
                       FORMAT, Described(fail=None, tcg=None, security=None), TCG, Kept(), FORMAT],
    "a drive that has vanished": [Blocks(), Described(gone="yes"), LIST, "show -smart", FORMAT, Kept(),
                                  Described(gone="no"), LIST],
    "power loss": [Blocks(), Described(power_loss="admin 0x80"), LIST, FORMAT, Kept(), LIST, SENSORS,
                   Described(power_loss=None), FORMAT],
    "a damaged description": [File("description.ini", lambda data: b"[drive]\nmodel = other\n"), LIST,
                              "show -velkossd 0", FORMAT,
                              File("description.ini", lambda data: b"\0\xff" * 1000), LIST,
                              File("description.ini", lambda data: b""), LIST,
                              Described(sanitize_seconds="soon"), LIST, Described(sanitize_seconds=0), LIST,
                              File("description.ini", None), LIST],
    "a damaged state": [Blocks(), File("state", flipped), LIST, "show -velkossd 0", FORMAT, Kept(),
                        File("state", flipped), LIST, File("state", lambda data: data[:100]), LIST,
                        File("state", lambda data: b""), LIST, Kept(), File("state", None), LIST, Kept()],
}
# A command that is never answered holds the tool as long as its time-out.
SLOW_FAULTS = {
    "a command that is never answered": [Blocks(), Described(hang="admin 0x02"), LIST, Described(hang="admin 0x09"),
                                         "set -velkossd 0 TempThreshold=60", Described(hang=None), LIST,
                                         "show -velkossd 0 -getfeature 4"],
}

LATENCY = "show -velkossd 0 -nvmelog ocp-latency"
# Thresholds of 10, 20, 30 and 40 ms; stamps of all buckets, and a debug log of what is slowest.
LATENCY_SETTING = bytes([0xE0, 7, 1, 3, 5, 7, 0xFF, 0x0F, 10, 0, 0x08, 0, 1]).ljust(4096, b"\0")
# What a drive of OCP 2.6 makes of its own.
FAULTS_OF_OCP_26 = {
    "slow commands": [InputFile("setting.bin", LATENCY_SETTING),
                      "set -velkossd 0 -setfeature 0xC5 InputFile=setting.bin",
                      Described(slow="io 0x09 9"), TRIM, LATENCY, Described(slow="io 0x09 25"), TRIM,
                      Described(slow="io 0x09 40"), TRIM, Described(slow=None), TRIM, LATENCY],
    "injected errors": ["set -velkossd 0 -ErrorInjection ErrorInjectionEntries=22~23",
                        "set -velkossd 0 -ErrorInjection ErrorInjectionEntries=DieOffline~15:once:1", READ,
                        "show -d MediaDiesOffline,CommandTimeouts -velkossd 0 -smart",
                        "set -velkossd 0 -ErrorInjection ErrorInjectionEntries=9", READ, LIST,
                        "reset -velkossd 0 -nvmecontroller", READ,
                        "set -velkossd 0 -ErrorInjection ErrorInjectionEntries=4", READ,
                        "show -velkossd 0 -nvmelog ocp-recovery", "reset -velkossd 0 -nvmecontroller", LIST],
}

# The queue of a SATA drive is "ata"; it has faults of its own beside those of all drives.
FAULTS_OF_SATA = {
    "attributes": [Described(attributes="5 value 3, 194 raw 90"), LIST, "show -smart 05",
                   Described(attributes=None), LIST],
    "frozen and locked": [Blocks(), Described(sanitize="no", frozen="yes"), LIST, FORMAT, Kept(),
                          Described(frozen=None, locked="yes"), LIST, FORMAT, READ, Kept()],
    "locked by TCG": [Blocks(), TCG, Described(security="yes"), TCG, Described(tcg="unlocked"), TCG,
                      Described(tcg="locked"), TCG, LIST, FORMAT, "start -force -velkossd 0 -sanitize crypto", TRIM,
                      READ, Kept(), Described(tcg="shadowed"), TCG, Described(fail="ata 0x5C 0x04"), TCG, FORMAT,
                      Described(fail=None, tcg=None, security=None), TCG, Kept()],
    "lost registers": [Blocks(), Described(lost_registers="yes"), LIST, "show -velkossd 0 -backgroundprocessing",
                       "start -force -velkossd 0 -sanitize crypto", FORMAT, Kept(),
                       Described(lost_registers=None), LIST],
    "a command that fails": [Blocks(), Described(fail="ata 0xEC 0x04"), LIST, FORMAT, Kept(),
                             Described(fail="ata 0xB4 0x04"), FORMAT, Kept(), Described(fail="ata 0xB0 0x04"), LIST,
                             "show -velkossd 0 -selftest", Described(fail=None), LIST],
    "a drive that has vanished": [Blocks(), Described(gone="yes"), LIST, FORMAT, Kept(), Described(gone=None), LIST],
    "bad sectors": ["start -velkossd 0 -selftest", Described(media_errors="1:100"), READ, Folder("logs"),
                    "start -o json -scan Logs -velkossd 0 DirectoryPath=logs", Described(media_errors=None), READ],
}


class Faults(Transcripts, SimulatedTestCase):
    name = "ocp"

    def setUp(self):
        super().setUp()
        self.make_drive("ocp")
        self.make_drive("velko")

    def check_fault(self, fault, steps):
        self.tool("show", "-velkossd")
        self.compare(f"faults/{fault}.txt", "".join(map(self.step, steps)))


for _fault, _steps in (FAULTS | SLOW_FAULTS).items():
    setattr(Faults, f"test_{_fault.replace(' ', '_')}",
            lambda self, fault=_fault, steps=_steps: self.check_fault(fault, steps))


class FaultsOfOneModel(Transcripts):
    def check_fault(self, fault, steps):
        self.make_drive(self.name)
        self.tool("show", "-velkossd")
        self.compare(f"faults/{self.name} {fault}.txt", "".join(map(self.step, steps)))


class FaultsOfOcp26(FaultsOfOneModel, SimulatedTestCase):
    name = "ocp-2.6"


class FaultsOfSata(FaultsOfOneModel, SimulatedTestCase):
    name = "sata"


for _case, _faults in ((FaultsOfOcp26, FAULTS_OF_OCP_26), (FaultsOfSata, FAULTS_OF_SATA)):
    for _fault, _steps in _faults.items():
        setattr(_case, f"test_{_fault.replace(' ', '_')}",
                lambda self, fault=_fault, steps=_steps: self.check_fault(fault, steps))


if __name__ == "__main__":
    unittest.main()
