"""The list of drives and the ways of naming one, on a real driver. Every value is compared with what nvme-cli or sysfs
says of the same drive."""

import collections
import re
import struct
import unittest

from machine import Controller, Namespace
from witness import NOT_FOUND, UNKNOWN_BOOT_DRIVE, UNKNOWN_INDEX, UNKNOWN_PATH, UNKNOWN_SERIAL, VmTestCase, Witness


class OneDrive(VmTestCase):
    controllers = [Controller("S1", [Namespace(64)])]

    def test_is_listed_with_what_the_witnesses_say(self):
        self.assertEqual(self.drives("-velkossd"), Witness(self.machine).list())

    def test_without_sysfs_is_found_by_its_node_and_not_erased(self):
        where, incomplete = "Status : System rescan failed. Not everything could be looked at: ", "/sys: sysfs is not mounted."
        properties = "Capacity,Firmware,ModelNumber,NamespaceId,SerialNumber,SectorSize"
        seen = self.machine.shell(f"nimbrel show -d {properties} -velkossd 0").stdout
        hidden = "unshare -m sh -c 'mount -t tmpfs tmpfs /sys && %s'"
        listed = self.machine.shell(hidden % f"nimbrel show -d {properties} -velkossd")
        self.assertEqual((listed.stdout, listed.status),
                         (f"{seen}- Drive Scan Incomplete -\n\n{where}{incomplete}\n\n", 39))
        named = self.machine.shell(hidden % f"nimbrel show -d {properties} -velkossd /dev/nvme0")
        self.assertEqual((named.stdout, named.status), (seen, 0))
        before = self.machine.image("S1").read_bytes()
        # An index is refused for the incomplete scan; a drive by its name for the uses that nothing shows.
        for name, status in (("0", 3), ("S1", 39), ("/dev/nvme0", 39)):
            with self.subTest(name):
                refused = self.machine.shell(hidden % f"nimbrel delete -force -velkossd {name}")
                self.assertEqual(refused.status, status, refused.stdout)
                self.assertIn(incomplete[:-1], refused.stdout)
        self.assertEqual(self.machine.image("S1").read_bytes(), before)

    def test_is_asked_for_nothing_that_is_not_shown(self):
        log, identify = "NVME_ADM_CMD_GET_LOG_PAGE", "NVME_ADM_CMD_IDENTIFY"
        for arguments, commands in (
                ("-d SerialNumber,Firmware -velkossd 0", []),
                ("-d Capacity,MaximumLBA,SectorSize -velkossd 0", [identify]),
                ("-d Temperature -velkossd 0 -smart", [log]),
                ("-velkossd 0 -smart", [log, identify]),
                ("-velkossd 0", [identify, log, identify])):
            with self.subTest(arguments):
                self.machine.shell("rm -f /var/lib/nimbrel/drives-without-ocp")
                self.machine.nvme_commands()
                self.assertEqual(self.machine.shell(f"nimbrel show {arguments}").status, 0)
                self.assertEqual(self.machine.nvme_commands(), commands)

    def test_is_asked_once_whether_it_offers_pages_of_ocp(self):
        log, identify = "NVME_ADM_CMD_GET_LOG_PAGE", "NVME_ADM_CMD_IDENTIFY"
        kept = "/var/lib/nimbrel/drives-without-ocp"
        self.machine.shell(f"rm -f {kept}")
        shown = self.machine.shell("nimbrel show -velkossd 0").stdout
        boot = self.machine.shell("cat /proc/sys/kernel/random/boot_id").stdout
        firmware = self.machine.shell("cat /sys/class/nvme/nvme0/firmware_rev").stdout.strip().replace(".", "%2E")
        self.assertEqual(self.machine.shell(f"cat {kept}").stdout, f"{boot}S1 {firmware} QEMU%20NVMe%20Ctrl\n")
        for arguments, commands in (("-velkossd 0 -smart", [log]), ("-velkossd 0", [identify, log])):
            with self.subTest(arguments):
                self.machine.nvme_commands()
                self.assertEqual(self.machine.shell(f"nimbrel show {arguments}").status, 0)
                self.assertEqual(self.machine.nvme_commands(), commands)
        self.assertEqual(self.machine.shell("nimbrel show -velkossd 0").stdout, shown)
        # What was kept before the system started again counts no more, as do the drives of another file.
        for text in ("00000000-0000-0000-0000-000000000000\nS1 7%2E2 QEMU%20NVMe%20Ctrl\n", "\n", ""):
            with self.subTest(text):
                self.machine.shell(f"printf '{text.replace('%', '%%')}' >{kept}")
                self.machine.nvme_commands()
                self.machine.shell("nimbrel show -velkossd 0 -smart")
                self.assertEqual(self.machine.nvme_commands(), [log, identify])

    def test_is_shown_as_text(self):
        self.check("show", "-d", "SerialNumber,NamespaceId,Colour", "-velkossd", "0",
                   stdout="\n- Velko SSD S1 -\n\nColour : Property not found\nNamespaceId : 1\nSerialNumber : S1\n\n")

    def test_shows_all_that_identify_reports(self):
        witness = Witness(self.machine)
        controller, first, log = witness.controllers[0], witness.first["nvme0"], witness.logs[0]
        version = controller["ver"]
        lba_format = first["lbafs"][first["flbas"] & 15]

        def bit(field, number):
            return bool(controller[field] >> number & 1)

        expected = {
            **witness.drive(0),
            "EndToEndDataProtCapabilities": first["dpc"],
            "FormatNVMCryptoEraseSupported": bit("fna", 2),
            "FormatNVMSupported": bit("oacs", 1),
            "LBAFormat": first["flbas"] & 15,
            "MaximumDataTransferSize": controller["mdts"],
            "MetadataSetting": first["flbas"] >> 4 & 1,
            "MetadataSize": f"{lba_format['ms']} bytes",
            "NVMe1Point1OrGreater": version >= 0x10100,
            "NVMe1Point2OrGreater": version >= 0x10200,
            "NVMe1Point3OrGreater": version >= 0x10300,
            "NVMe1Point4OrGreater": version >= 0x10400,
            "NVMeControllerID": controller["cntlid"],
            "NVMeMajorVersion": version >> 16,
            "NVMeMinorVersion": version >> 8 & 255,
            "NVMeTertiaryVersion": version & 255,
            "NamespaceId": 1,
            "NamespaceManagementSupported": bit("oacs", 3),
            "NumberOfNamespacesSupported": controller["nn"],
            "OCPSupported": False,
            "OptionalNPXMatasetMgmtSupported": bit("oncs", 2),
            "OptionalNVMCompareSupported": bit("oncs", 0),
            "OptionalNVMReservationsSupported": bit("oncs", 5),
            "OptionalNVMSaveFieldSupported": bit("oncs", 4),
            "OptionalNVMTimestampSupported": bit("oncs", 6),
            "OptionalNVMVerifySupported": bit("oncs", 7),
            "OptionalNVMWriteUncorrectableSupported": bit("oncs", 1),
            "OptionalNVMWriteZeroesSupported": bit("oncs", 3),
            "PCIAddress": self.pci("uevent", "PCI_SLOT_NAME=(.*)"),
            "PCILinkSpeed": self.pci("current_link_speed", "(.*) PCIe"),
            "PCILinkSpeedMaximum": self.pci("max_link_speed", "(.*) PCIe"),
            "PCILinkWidth": int(self.pci("current_link_width", "(.*)")),
            "PCILinkWidthMaximum": int(self.pci("max_link_width", "(.*)")),
            "PCISlot": 4,
            "PhysicalSize": f'{sum(size * 512 for _, size, _ in witness.namespaces["nvme0"])} bytes',
            "ProtectionInformation": first["dps"] & 7,
            "ProtectionInformationLocation": first["dps"] >> 3 & 1,
            "SanitizeBlockEraseSupported": bit("sanicap", 1),
            "SanitizeCryptoScrambleSupported": bit("sanicap", 0),
            "SanitizeOverwriteSupported": bit("sanicap", 2),
            "SanitizeSupported": controller["sanicap"] & 7 != 0,
            "SectorDataSize": f"{1 << lba_format['ds']} bytes",
            "SelfTestSupported": bit("oacs", 4),
            "StagedFirmware": "None",
            "SupportCommandEffectsLog": bit("lpa", 1),
            "SupportPersistentEventLog": bit("lpa", 4),
            "TCGSupported": bit("oacs", 0),
            "TelemetryLogSupported": bit("lpa", 3),
            "TrimSupported": bit("oncs", 2),
            "VelkoNVMe": False,
            "WriteCacheSupported": bit("vwc", 0),
        }
        self.assertEqual(log["critical_warning"], 0)
        namespace = {
            "By-Id Names": {}, "DevicePath": "/dev/nvme0", "EUI64": "not reported", "LBAFormat": 0,
            "MetadataSize": "0 bytes", "NGUID": "not reported", "NamespaceId": 1, "Node": "/dev/nvme0n1",
            "SectorSize": "512 bytes", "SerialNumber": "S1", "Size": f"{first['nsze'] * 512} bytes", "Use": "none",
            "Used": f"{first['nuse'] * 512} bytes"}
        self.assertEqual((int(first["eui64"], 16), int(first["nguid"], 16)), (0, 0), "the machine is as it was meant")
        self.assertEqual(self.drives("-a", "-velkossd", "0"),
                         [("Velko SSD S1", expected), ("Namespace 1 S1", namespace)])

    def pci(self, name, pattern):
        """What the kernel says of the drive's PCI function."""
        text = self.machine.shell(f"cat /sys/class/nvme/nvme0/device/{name}").stdout
        return re.search(f"^{pattern}$", text, re.MULTILINE).group(1)


class FourControllers(VmTestCase):
    """Two controllers of one subsystem, with a namespace of each kind; one without any; one with a partition."""

    controllers = [
        Controller("S1", [Namespace(64), Namespace(32, block=4096, metadata=8, shared=True),
                          Namespace(16, detached=True)]),
        Controller("S1", name="S1b"),
        Controller("S3"),
        Controller("S4", [Namespace(32, block=4096), Namespace(16, metadata=16)]),
    ]

    @classmethod
    def prepare(cls, machine):
        entry = struct.pack("<B3xB3xII", 0, 0x83, 256, 1024)
        with open(machine.image("S4", 1), "r+b") as image:
            image.write(bytes(446) + entry + bytes(48) + b"\x55\xAA")

    def test_are_listed_with_what_the_witnesses_say(self):
        witness = Witness(self.machine)
        self.assertEqual({name: [nsid for nsid, _, _ in sorted(found)] for name, found in witness.namespaces.items()},
                         {"nvme0": [1, 2], "nvme1": [2], "nvme2": [], "nvme3": [1, 2]}, "the machine is as it was meant")
        self.assertEqual(self.drives("-velkossd"), witness.list())

    def test_each_name_leads_to_its_drive(self):
        self.machine.shell("mkdir -p /dev/disk/by-id && cd /dev/disk/by-id && ln -sf ../../nvme3n2 link-to-namespace && "
                           "ln -sf ../../nvme2 link-to-controller")
        # A subsystem has the number of the controller that came up first.
        shared = self.machine.shell("ls -d /sys/class/nvme-subsystem/nvme-subsys*/nvme1").stdout.split("/")[-2]
        node = "/dev/" + shared.replace("-subsys", "")

        def nsid_of(block):
            # The Y of nvmeXnY counts the namespaces in the order in which they came up; it is not the identifier.
            return int(self.machine.shell(f"cat /sys/class/block/{block.rsplit('/', 1)[-1]}/nsid").stdout)

        generic = [(f"{node}n2".replace("nvme", "ng"), "S1", "/dev/nvme0", nsid_of(f"{node}n2"))]
        if self.machine.shell(f"test -e {generic[0][0]}").status != 0:
            generic = []  # Linux has these nodes since 5.13
        for name, serial, path, nsid in (
                ("0", "S1", "/dev/nvme0", 1),
                ("1", "S1", "/dev/nvme1", 2),
                ("3", "S4", "/dev/nvme3", 1),
                ("S1", "S1", "/dev/nvme0", 1),  # of two controllers with one serial number the first
                ("S4", "S4", "/dev/nvme3", 1),
                ("s4", "S4", "/dev/nvme3", 1),
                ("/dev/nvme1", "S1", "/dev/nvme1", 2),
                ("/dev/nvme2", "S3", "/dev/nvme2", NOT_FOUND),
                (f"{node}n1", "S1", "/dev/nvme0", nsid_of(f"{node}n1")),
                (f"{node}n2", "S1", "/dev/nvme0", nsid_of(f"{node}n2")),
                ("/dev/nvme3n2", "S4", "/dev/nvme3", nsid_of("nvme3n2")),
                ("/dev/disk/by-id/link-to-namespace", "S4", "/dev/nvme3", nsid_of("nvme3n2")),
                ("/dev/disk/by-id/link-to-controller", "S3", "/dev/nvme2", NOT_FOUND),
                *generic):
            with self.subTest(name):
                self.assertEqual(self.drives("-d", "DevicePath,NamespaceId,SerialNumber", "-velkossd", name),
                                 [(f"Velko SSD {serial}",
                                   {"DevicePath": path, "NamespaceId": nsid, "SerialNumber": serial})])

    def test_an_unknown_name_is_refused_by_its_kind(self):
        self.machine.shell("ln -sf nvme9 /dev/dangling; : > /tmp/nvme0")
        for name, message in (
                ("4", UNKNOWN_INDEX),
                ("4294967295", UNKNOWN_INDEX),
                ("S2", UNKNOWN_SERIAL),
                ("/tmp/nvme0", UNKNOWN_SERIAL),  # no path below /dev: the tool takes it for a serial number
                ("/dev/nvme4", UNKNOWN_PATH),
                ("/dev/nvme3n1p1", UNKNOWN_PATH),  # a partition is not the namespace around it
                ("/dev/nvme0n3", UNKNOWN_PATH),  # the detached namespace has no node
                ("/dev/nvme1n3", UNKNOWN_PATH),
                ("/dev/null", UNKNOWN_PATH),
                ("/dev/dangling", UNKNOWN_PATH),
                ("/dev/", UNKNOWN_PATH),
                ("bootdrive", UNKNOWN_BOOT_DRIVE)):  # this machine's root lies in memory
            with self.subTest(name):
                self.check("show", "-velkossd", name, status=3, stdout=message)


class ManyControllers(VmTestCase):
    controllers = [Controller(f"M{i:02}", [Namespace(4 + i)]) for i in range(32)]

    def test_are_listed_with_what_the_witnesses_say(self):
        witness = Witness(self.machine)
        self.assertEqual(sorted(c["sn"].strip() for c in witness.controllers), [f"M{i:02}" for i in range(32)])
        self.assertEqual(self.drives("-velkossd"), witness.list())

    def test_are_asked_two_commands_each(self):
        """For health and for the namespace, and at first for whether the drive has pages of OCP."""
        self.machine.shell("rm -f /var/lib/nimbrel/drives-without-ocp")
        for identifies in (64, 32, 32):
            self.machine.nvme_commands()
            self.drives("-velkossd")
            self.assertEqual(collections.Counter(self.machine.nvme_commands()),
                             {"NVME_ADM_CMD_GET_LOG_PAGE": 32, "NVME_ADM_CMD_IDENTIFY": identifies})

    def test_are_offered_by_the_completion_in_this_order_and_not_asked(self):
        listed = [drive for _, drive in self.drives("-d", "Index,SerialNumber,DevicePath", "-velkossd")]
        self.machine.nvme_commands()
        offered = self.machine.run("sh", "/opt/velko/nimbrel/complete", "delete", "-velkossd", "")
        self.assertEqual(self.machine.nvme_commands(), [])
        expected = []
        for drive in listed:
            node, serial = drive["DevicePath"].removeprefix("/dev/"), drive["SerialNumber"]
            expected += [f'{drive["Index"]}\t{serial}, QEMU NVMe Ctrl, {node}', f"{serial}\tQEMU NVMe Ctrl, {node}"]
        self.assertEqual((offered.stdout.splitlines(), offered.stderr, offered.status), (expected, "", 0))


if __name__ == "__main__":
    unittest.main()
