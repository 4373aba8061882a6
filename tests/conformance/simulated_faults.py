"""What the tool says of each fault of a simulated drive, beside a healthy one, and that one bad drive never spoils the
list: whole transcripts against golden files, as in simulated_walk."""

import unittest

from simulated import SimulatedTestCase
from simulated_walk import Blocks, Described, Kept, Transcripts

LIST = "show -d SerialNumber,DeviceStatus -velkossd"
SENSORS = "show -d Temperature,DeviceStatus,UnsafeShutdowns,MediaErrors -sensor"
FORMAT = "delete -force -velkossd 0"


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


if __name__ == "__main__":
    unittest.main()
