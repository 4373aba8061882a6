"""What the tests on a machine have in common: what the witnesses say of its drives, and strict readers of what the tool
says."""

import json
import unittest

from machine import Machine
from prepare import PROFILE

NOT_FOUND = "Property not found"
NO_UPDATE = ("No known update for SSD. If an update is expected, please contact your SSD Vendor representative about "
             "firmware update for this drive.")
UNKNOWN_INDEX = "Error: Provided device index is invalid. Device could not be found.\n"
UNKNOWN_SERIAL = "Error: Provided device serial is invalid. Device could not be found.\n"
UNKNOWN_PATH = "Error: Provided device path is invalid. Device could not be found.\n"
UNKNOWN_BOOT_DRIVE = "Error: Provided device ID is invalid. Device could not be found.\n"
# Prints the profiles that are in force then.
LOAD_PROFILE = f"""
mount -t securityfs securityfs /sys/kernel/security
cat {PROFILE} >/sys/kernel/security/apparmor/.replace
cat /sys/kernel/security/apparmor/profiles
"""


def refuse(text):
    raise ValueError(f"{text} is no JSON")


def strict_json(text):
    """The tool's JSON. A name twice in an object is an error."""

    def pairs(items):
        if len(dict(items)) != len(items):
            raise ValueError(f"a name twice: {items}")
        return dict(items)

    # Decimals as they are written: "25.00" is no 25.
    return json.loads(text, object_pairs_hook=pairs, parse_constant=refuse, parse_float=str)


def values(text):
    """The JSON documents of several programs, one after the other."""
    decoder, found = json.JSONDecoder(), []
    text = text.strip()
    while text:
        value, end = decoder.raw_decode(text)
        found.append(value)
        text = text[end:].lstrip()
    return found


class Witness:
    """What nvme-cli and sysfs say of the drives of a machine, in the order of the list: names in byte order."""

    def __init__(self, machine):
        self.names = machine.shell("cd /sys/class/nvme && LC_ALL=C ls").stdout.split()
        names = " ".join(self.names)
        self.controllers = values(machine.shell(f"for c in {names}; do nvme id-ctrl -o json /dev/$c; done").stdout)
        self.logs = values(machine.shell(f"for c in {names}; do nvme smart-log -o json /dev/$c; done").stdout)
        # Below each controller: its own block devices, or paths to the ones of its subsystem.
        listing = machine.shell(
            f"cd /sys/class/nvme; for c in {names}; do for n in $c/nvme*n*; do [ -e $n/nsid ] && "
            "echo $c $(cat $n/nsid $n/size $n/queue/logical_block_size); done; done; true").stdout
        self.namespaces = {name: [] for name in self.names}
        for line in listing.splitlines():
            name, *numbers = line.split()
            self.namespaces[name].append(tuple(map(int, numbers)))
        firsts = {name: min(found)[0] for name, found in self.namespaces.items() if found}
        identified = values(machine.shell("; ".join(
            f"nvme id-ns -o json -n {nsid} /dev/{name}" for name, nsid in firsts.items()) or "true").stdout)
        self.first = dict(zip(firsts, identified))

    def drive(self, index):
        """The properties of a list's entry."""
        name, controller = self.names[index], self.controllers[index]
        sectors = sum(size for _, size, _ in self.namespaces[name])
        first = self.first.get(name)
        return {
            "Bootloader": NOT_FOUND,
            # These drives do not report a total capacity.
            "Capacity": f"{sectors * 512 / 1e6:.2f} MB" if sectors else NOT_FOUND,
            "DevicePath": f"/dev/{name}",
            "DeviceStatus": {0: "Healthy"}[self.logs[index]["critical_warning"]],
            "Firmware": controller["fr"].strip(),
            "FirmwareUpdateAvailable": NO_UPDATE,
            "Index": index,
            "MaximumLBA": first["nsze"] - 1 if first else NOT_FOUND,
            "ModelNumber": controller["mn"].strip(),
            "NumLBAFormats": first["nlbaf"] if first else NOT_FOUND,
            "ProductFamily": NOT_FOUND,
            "SectorSize": f"{min(self.namespaces[name])[2]} bytes" if first else NOT_FOUND,
            "SerialNumber": controller["sn"].strip(),
        }

    def heading(self, index):
        """How a list of all drives names one of them."""
        serials = [controller["sn"].strip() for controller in self.controllers]
        shared = serials.count(serials[index]) > 1
        return f"{serials[index]} {self.names[index]}" if shared else serials[index]

    def list(self):
        return [(f"Velko SSD {self.heading(i)}", self.drive(i)) for i in range(len(self.names))]


def title_and(title, serial, path, message):
    """What a command answers of the drive at `path`, the node of its controller."""
    return f"\n- {title} {serial} -\n\nSerialNumber : {serial}\nDevicePath : {path}\nStatus : {message}\n\n"


class VmTestCase(unittest.TestCase):
    """One machine for the tests of a class."""

    maxDiff = None
    controllers = []

    @classmethod
    def setUpClass(cls):
        cls.machine = Machine(cls.controllers)
        cls.addClassCleanup(cls.machine.stop)
        cls.prepare(cls.machine)
        cls.machine.start()

    @classmethod
    def prepare(cls, machine):
        """Before the machine starts."""

    def check(self, *arguments, status=0, stdout="", stderr=""):
        run = self.machine.run("nimbrel", *arguments)
        self.assertEqual((run.stdout, run.stderr, run.status), (stdout, stderr, status), arguments)

    def refusal_of_linux(self, path, setting):
        """What the tool says of a feature that this version of Linux lets no program set; none when it does. Debian's
        6.12.117 refuses Number of Queues and Host Behavior Support, 6.12.107 does not. `setting`: as nvme-cli has it,
        what is set already or what the drive refuses."""
        run = self.machine.shell(f"nvme set-feature {setting} {path}")
        if run.stderr != "set-feature: Permission denied\n":
            return None
        return (f"Requires admin privileges. No permission for {path}: it needs the root user or CAP_SYS_ADMIN (errno "
                "13: Permission denied). Newer versions of Linux let no program set some features.")

    def drives(self, *arguments):
        """What a successful show prints: headings and properties, in their order."""
        return list(self.show(*arguments).items())

    def show(self, *arguments):
        run = self.machine.run("nimbrel", "show", "-o", "json", *arguments)
        self.assertEqual((run.stderr, run.status), ("", 0), (arguments, run.stdout))
        return strict_json(run.stdout)
