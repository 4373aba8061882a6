"""SATA drives on a real kernel, by its PATA driver of emulated machines and by AHCI. What list and commands show is
compared with smartctl, hdparm and sg3_utils; QEMU's record of ATA commands shows what reached a drive."""

import re
import struct
import unittest

import destruction
from machine import Disk, Machine
from witness import (LOAD_PROFILE, NOT_FOUND, NO_UPDATE, UNKNOWN_INDEX, UNKNOWN_PATH, UNKNOWN_SERIAL, VmTestCase,
                     title_and)

MIB = 1 << 20
DELETING, SANITIZING = destruction.NOTICES["delete"], destruction.NOTICES["sanitize"]
IN_USE, ON_OS_DRIVE, HAS_PARTITION = destruction.IN_USE, destruction.ON_OS_DRIVE, destruction.HAS_PARTITION
NO_SECURITY = "Secure Erase cannot be run on the selected drive because ATA security is not supported."
# What loses data, or changes a drive for good: Data Set Management, the downloads of firmware, the maximum addresses,
# sanitize and security commands.
DESTRUCTIVE = {0x06, 0x92, 0x93, 0x37, 0x77, 0x78, 0xF9, 0xB4, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6}
# The commands of the tool that do, with the place of the drive; what is printed first; the title of the answer.
COMMANDS = (
    (["delete", "-force", "-velkossd", None], DELETING, "Format"),
    (["start", "-force", "-velkossd", None, "-sanitize"], SANITIZING, "Format"),
    (["start", "-force", "-velkossd", None, "-sanitize", "crypto"], SANITIZING, "Format"),
    (["start", "-force", "-velkossd", None, "-trim", "StartLBA=0", "Count=8"], "", "Trim"),
)
SCSI_SERIALS = "for d in /sys/class/block/sd?; do echo ${d##*/} $(tail -c +5 $d/device/vpd_pg80); done"


class SataTestCase(VmTestCase):
    disks = []
    kernel = "cloud"
    modules = "sata"
    extra = ()

    @classmethod
    def setUpClass(cls):
        cls.machine = Machine([], disks=cls.disks, kernel=cls.kernel, extra=cls.extra, memory_mib=640)
        cls.addClassCleanup(cls.machine.stop)
        cls.prepare(cls.machine)
        cls.machine.start()
        # Disks are found side by side, after insmod has returned.
        cls.shell(f"for module in $(cat /lib/modules/{cls.modules}); do insmod /lib/modules/$module.ko; done; "
                  f"until [ $(ls /sys/class/block | grep -c '^sd[a-z]$') = {len(cls.disks)} ]; do sleep 0.1; done")
        found = [line.split() for line in cls.shell(SCSI_SERIALS).splitlines()]
        cls.node = {serial[0]: f"/dev/{block}" for block, *serial in found if serial}

    @classmethod
    def shell(cls, script):
        run = cls.machine.shell(script)
        if run.status != 0:
            raise RuntimeError(f"{script}: {run.stdout}{run.stderr}")
        return run.stdout

    def generic(self, serial):
        return "/dev/" + self.shell(f"ls /sys/class/block/{self.node[serial][5:]}/device/scsi_generic").strip()

    def smartctl(self, serial, *options):
        return self.machine.run("smartctl", "-j", *options, self.node[serial]).json()

    def sent_by(self, *arguments, **options):
        """Runs the tool; returns the run and the opcodes that reached any drive meanwhile."""
        self.machine.ata_commands()
        run = self.machine.run("nimbrel", *arguments, **options)
        return run, self.machine.ata_commands()


class Piix(SataTestCase):
    """Letters are given as the disks answer: none of these tests counts on one."""

    disks = [
        Disk("SA", device="ide-hd,bus=ide.0,unit=0", options="model=FAST SSD OF A LONG NAME,wwn=0x5000c50012345678"),
        Disk("HDD", device="ide-hd,bus=ide.0,unit=1", rotation=7200),
        Disk("SB", size_mib=32, device="ide-hd,bus=ide.1,unit=0", options="ver=FW123456"),
        Disk("OLD", device="ide-hd,bus=ide.1,unit=1", rotation=0),
    ]

    def listed(self, index, serial):
        """The entry of a list, by smartctl."""
        seen = self.smartctl(serial, "-i", "-H")
        self.assertEqual(seen["rotation_rate"], 0, "an SSD")
        return f"Velko SSD {serial}", {
            "Bootloader": NOT_FOUND,
            "Capacity": f"{seen['user_capacity']['bytes'] / 1e6:.2f} MB",
            "DevicePath": self.node[serial],
            "DeviceStatus": {True: "Healthy"}[seen["smart_status"]["passed"]],
            "Firmware": seen["firmware_version"],
            "FirmwareUpdateAvailable": NO_UPDATE,
            "Index": index,
            "MaximumLBA": seen["user_capacity"]["blocks"] - 1,
            "ModelNumber": seen["model_name"],
            "NumLBAFormats": 1,
            "ProductFamily": NOT_FOUND,
            "SectorSize": f"{seen['logical_block_size']} bytes",
            "SerialNumber": seen["serial_number"],
        }

    def test_ssds_are_listed_by_their_ports(self):
        self.assertEqual(self.drives("-velkossd"), [self.listed(0, "SA"), self.listed(1, "SB")])
        self.assertEqual(self.smartctl("HDD", "-i")["rotation_rate"], 7200)
        self.assertNotIn("rotation_rate", self.smartctl("OLD", "-i"))

    def test_the_scan_asks_no_drive(self):
        run, sent = self.sent_by("show", "-d", "SerialNumber,ModelNumber,Firmware,DevicePath", "-velkossd")
        self.assertEqual((run.stdout.count("SerialNumber : "), run.status), (2, 0), run.stdout)
        self.assertEqual(sent, [])

    def test_each_name_leads_to_its_drive(self):
        self.shell(f"mkdir -p /dev/disk/by-id && ln -sf ../../{self.node['SB'][5:]} /dev/disk/by-id/ata-SB")
        for name, serial in (("0", "SA"), ("1", "SB"), ("SB", "SB"), ("sb", "SB"), (self.node["SA"], "SA"),
                             (self.generic("SB"), "SB"), ("/dev/disk/by-id/ata-SB", "SB")):
            with self.subTest(name):
                self.assertEqual(self.drives("-d", "DevicePath", "-velkossd", name),
                                 [(f"Velko SSD {serial}", {"DevicePath": self.node[serial]})])

    def test_what_is_no_ssd_is_unknown(self):
        self.shell("ln -sf sdz /dev/dangling")
        for name, message in (("2", UNKNOWN_INDEX), ("HDD", UNKNOWN_SERIAL), (self.node["HDD"], UNKNOWN_PATH),
                              (self.generic("OLD"), UNKNOWN_PATH), ("/dev/dangling", UNKNOWN_PATH),
                              ("/dev/sg99", UNKNOWN_PATH)):
            with self.subTest(name):
                run, sent = self.sent_by("delete", "-force", "-velkossd", name)
                self.assertEqual((run.stdout, run.stderr, run.status, sent), (DELETING + message, "", 3, []))

    def test_identity_agrees_with_hdparm(self):
        shown = dict(self.drives("-a", "-velkossd", "SA"))["Velko SSD SA"]
        text = self.shell(f"hdparm -I {self.node['SA']}")

        def field(pattern):
            return re.search(pattern, text).group(1).strip()

        self.assertEqual(
            (shown["ModelNumber"], shown["SerialNumber"], shown["Firmware"], shown["MaximumLBA"] + 1,
             shown["SectorSize"], shown["PhysicalSectorSize"], shown["WWID"]),
            (field(r"Model Number:(.*)"), field(r"Serial Number:(.*)"), field(r"Firmware Revision:(.*)"),
             int(field(r"LBA48\s+user addressable sectors:\s*(\d+)")),
             field(r"Logical  Sector size:\s*(\d+ bytes)"), field(r"Physical Sector size:\s*(\d+ bytes)"),
             "naa." + field(r"Logical Unit WWN Device Identifier: (\w+)")))
        self.assertEqual(shown["TrimSupported"], self.smartctl("SA", "-i")["trim"]["supported"])
        for key, pattern in (("SMARTEnabled", r"\*\s+SMART feature set"),
                             ("WriteCacheEnabled", r"\*\s+Write cache"), ("NCQ", r"Native Command Queueing"),
                             ("SecuritySupported", r"(?s)Security:.*\n\s+supported\n")):
            with self.subTest(key):
                self.assertEqual(shown[key], re.search(pattern, text) is not None)

    def test_each_word_of_identify_agrees_with_sg_sat_identify(self):
        words = struct.unpack("<256H", self.machine.run("sg_sat_identify", "-r", self.node["SB"]).stdout_bytes)
        shown = self.machine.run("nimbrel", "show", "-velkossd", "SB", "-identify").stdout
        found = {int(number): int(value, 16)
                 for number, value in re.findall(r"^ *W(\d+)(?: - [^:]*)? : 0x([0-9A-F]{4})$", shown, re.MULTILINE)}
        self.assertGreater(len(found), 30, shown)
        self.assertEqual(found, {number: words[number] for number in found})
        # What is not shown as a word is a text, a number of several words, or a word that is not valid by its own bits.
        other = {number for number, word in enumerate(words) if word and number not in found}
        self.assertLessEqual(other, {*range(10, 20), *range(23, 47), 48, 60, 61, *range(100, 104), 217}, shown)

    def test_attributes_agree_with_smartctl(self):
        seen = {entry["id"]: entry for entry in self.smartctl("SA", "-A")["ata_smart_attributes"]["table"]}
        shown = {int(values["ID"], 16): values for title, values in self.drives("-smart", "-velkossd", "SA")
                 if title.startswith("SMART Attribute ")}
        self.assertEqual(set(shown), set(seen))
        for number, values in shown.items():
            with self.subTest(number):
                witness = seen[number]
                self.assertEqual(
                    (values["Normalized"], values["Worst"], values["Threshold"], int(values["Status"], 16)),
                    (witness["value"], witness["worst"], witness["thresh"], witness["flags"]["value"]))
                # A temperature is the low byte of its raw value.
                self.assertEqual(int(str(values["Raw"]).split()[0]), int(witness["raw"]["string"].split()[0]))
        sensors = dict(self.drives("-sensor", "-velkossd", "SA"))["Health Sensors SA"]
        both = self.smartctl("SA", "-A")
        self.assertEqual((sensors["Temperature"], sensors["PowerOnHours"], sensors["PowerCycles"]),
                         (f"{both['temperature']['current']} C", f"{both['power_on_time']['hours']} hours",
                          both["power_cycle_count"]))

    def test_what_hdparm_sets_is_seen(self):
        for option, enabled in (("-W0", False), ("-W1", True)):
            self.shell(f"hdparm {option} {self.node['SB']}")
            shown = dict(self.drives("-a", "-velkossd", "SB"))["Velko SSD SB"]
            self.assertEqual(shown["WriteCacheEnabled"], enabled)

    def test_without_the_capability_node_and_capability_are_named(self):
        for arguments, title in ((["show", "-smart", "-velkossd", "SA"], "SMART Attributes"),
                                 (["delete", "-force", "-velkossd", "SA"], "Format")):
            self.machine.ata_commands()
            run = self.machine.run("/usr/bin/setpriv", "--bounding-set", "-sys_rawio", "nimbrel", *arguments)
            refused = ("Requires admin privileges. No permission for ATA commands to "
                       f"{self.node['SA']}: it needs CAP_SYS_RAWIO (errno 1: Operation not permitted).")
            self.assertEqual((run.stdout.replace(DELETING, ""), run.status),
                             (title_and(title, "SA", self.node["SA"], refused), 238))
            self.assertEqual(self.machine.ata_commands(), [])

    def test_what_the_drive_does_not_support_is_not_sent(self):
        for arguments, notice, message, status in (
                (["delete", "-force", "-velkossd", "SB"], DELETING, NO_SECURITY, 14),
                (["start", "-force", "-velkossd", "SB", "-sanitize"], SANITIZING,
                 "Sanitize command not supported on the selected device.", 20)):
            with self.subTest(arguments):
                run, sent = self.sent_by(*arguments)
                self.assertEqual((run.stdout, run.status),
                                 (notice + title_and("Format", "SB", self.node["SB"], message), status))
                self.assertFalse(DESTRUCTIVE & set(sent), sent)

    def test_a_look_leaves_no_trace(self):
        """The system hears of a disk that was open for writing, and looks at all of it again. Old kernels count
        commands that programs send among the reads of a disk."""
        counters = "cat /sys/class/block/sd?/stat"
        before = self.shell(counters)
        self.smartctl("SA", "-i")
        look = "cat /sys/kernel/uevent_seqnum" + (f"; {counters}" if self.shell(counters) == before else "")
        for arguments in (["-a", "-velkossd"], ["-smart"], ["-sensor"], ["-velkossd", "SA", "-identify"]):
            with self.subTest(arguments):
                before = self.shell(look)
                self.assertEqual(self.machine.run("nimbrel", "show", *arguments).status, 0)
                self.assertEqual(self.shell(look), before)

    def test_the_record_shows_what_reaches_a_drive(self):
        """The witness of the tests beside it: also of a command that the drive aborts."""
        self.machine.ata_commands()
        self.machine.run("sg_raw", self.node["SB"], *"85 06 00 00 00 00 00 00 00 00 00 00 00 00 f3 00".split())
        self.assertEqual(self.machine.ata_commands(), [0xF3])


class Confined(SataTestCase):
    """The AppArmor profile lets the commands for SATA drives do their work."""

    disks = [Disk("SA", size_mib=16)]

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        if cls.shell(LOAD_PROFILE) != "nimbrel (enforce)\n":
            raise RuntimeError("the profile is not in force")

    def assert_not_denied(self):
        denied = [line for line in self.shell("dmesg -c").splitlines() if 'apparmor="DENIED"' in line]
        self.assertEqual(denied, [])

    def test_reads_and_refusals(self):
        self.shell("dmesg -c > /dev/null")
        for words, status in (("show -velkossd", 0), ("show -a -velkossd SA", 0), ("show -smart", 0),
                              ("show -velkossd SA -identify", 0), ("show -partition -velkossd SA", 0),
                              ("delete -force -velkossd SA", 14), ("start -force -velkossd SA -sanitize", 20)):
            with self.subTest(words):
                run = self.machine.run("nimbrel", *words.split())
                self.assertEqual(run.status, status, run.stdout)
                self.assert_not_denied()

    def test_trim(self):
        self.shell("dmesg -c > /dev/null")
        run, sent = self.sent_by("start", "-force", "-velkossd", "SA", "-trim", "StartLBA=0", "Count=8")
        self.assertEqual((run.status, 0x06 in sent), (0, True), run.stdout)
        self.assert_not_denied()

    def test_the_second_look_of_the_kernel(self):
        """What follows an erase, which this drive does not support: a shell under the profile asks for it."""
        self.shell("dmesg -c > /dev/null")
        rescan = f"/sys/class/block/{self.node['SA'][5:]}/device/rescan"
        self.shell(f"echo 'changeprofile nimbrel' > /proc/self/attr/current && echo 1 > {rescan}")
        self.assert_not_denied()


PREPARATION = """set -e
for module in $(cat /lib/modules/order); do insmod /lib/modules/$module.ko 2>/dev/null || true; done
mkdir -p /data /boot /dev/disk/by-id
until [ -e {FS}1 ] && [ -e {PART}1 ]; do sleep 0.1; done
mount -t ext2 {FS}1 /data
mkswap {SWAP} && swapon {SWAP}
mdadm --create /dev/md0 --run --level=1 --raid-devices=2 --metadata=1.0 {MD} missing
echo "0 16384 linear {DM} 0" | dmsetup create mapped
losetup /dev/loop0 {LOOP}
mount -t ext2 {BOOT} /boot
for serial in FS SWAP MD DM LOOP BOOT; do eval ln -s \\$$serial /dev/disk/by-id/ata-$serial; done
"""


class Ahci(SataTestCase):
    """Disks of several controllers, each SSD in use in a way of its own."""

    kernel = "full"
    modules = "controllers"
    extra = ("-device", "ich9-ahci,id=first", "-device", "ich9-ahci,id=second", "-device", "megasas,id=raid",
             "-device", "virtio-scsi-pci,id=virtual", "-device", "qemu-xhci,id=usb")
    ssds = ("FS", "SWAP", "MD", "DM", "LOOP", "BOOT", "PART", "TRIM")
    disks = [Disk(serial, size_mib=16, device=f"ide-hd,bus={'first' if i < 6 else 'second'}.{i % 6}")
             for i, serial in enumerate(ssds)] + [
        Disk("HDD", size_mib=16, device="ide-hd,bus=second.2", rotation=7200),
        Disk("VOLUME", size_mib=16, device="scsi-hd,bus=raid.0"),
        Disk("VIRTUAL", size_mib=16, device="scsi-hd,bus=virtual.0"),
        Disk("STICK", size_mib=16, device="usb-storage,bus=usb.0", rotation=0),
    ]

    @classmethod
    def prepare(cls, machine):
        table = bytes(446) + struct.pack("<B3xB3xII", 0, 0x83, 2048, 16384) + bytes(48) + b"\x55\xAA"
        for serial in ("FS", "PART"):
            with open(machine.image(serial), "r+b") as image:
                image.write(table)
        destruction.make_file_system(machine.image("FS"), 2048 * 512, 8192)
        destruction.make_file_system(machine.image("BOOT"))

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.shell("".join(f"{serial}={cls.node[serial]}\n" for serial in cls.ssds) + PREPARATION.format(**cls.node))
        cls.uses = {
            "FS": (f"{IN_USE} {cls.node['FS']}1 is mounted on /data.", 241),
            "SWAP": (f"{ON_OS_DRIVE} {cls.node['SWAP']} is used as swap.", 192),
            "MD": (f"{IN_USE} {cls.node['MD']} is part of md0.", 241),
            "DM": (f"{IN_USE} {cls.node['DM']} is part of dm-0 (mapped).", 241),
            "LOOP": (f"{IN_USE} {cls.node['LOOP']} is part of loop0 ({cls.node['LOOP']}).", 241),
            "BOOT": (f"{ON_OS_DRIVE} {cls.node['BOOT']} is mounted on /boot.", 192),
        }

    def test_ssds_alone_are_listed(self):
        run, sent = self.sent_by("show", "-d", "SerialNumber", "-velkossd")
        self.assertEqual(re.findall("SerialNumber : (.*)", run.stdout), list(self.ssds))
        self.assertFalse(DESTRUCTIVE & set(sent))
        for serial in ("HDD", "VOLUME", "VIRTUAL"):
            with self.subTest(serial):
                self.check("show", "-velkossd", self.node[serial], status=3, stdout=UNKNOWN_PATH)

    def test_an_index_follows_the_ports(self):
        for index, serial in enumerate(self.ssds):
            self.assertEqual(self.drives("-d", "SerialNumber", "-velkossd", index),
                             [(f"Velko SSD {serial}", {"SerialNumber": serial})])

    def names_of(self, index, serial):
        return self.node[serial], self.generic(serial), f"/dev/disk/by-id/ata-{serial}", str(index), serial

    def assert_refused(self, serial, name, command, notice, title, message, status):
        run, sent = self.sent_by(*(name if word is None else word for word in command))
        expected = message if message.startswith("Error: ") else title_and(title, serial, self.node[serial], message)
        self.assertEqual((run.stdout, run.status), (notice + expected, status), (serial, name, command))
        self.assertFalse(DESTRUCTIVE & set(sent), sent)

    def test_a_drive_in_use_is_left_alone_whatever_names_it(self):
        for index, serial in enumerate(self.ssds[:6]):
            message, status = self.uses[serial]
            for name in self.names_of(index, serial):
                with self.subTest(serial=serial, name=name):
                    self.assert_refused(serial, name, *COMMANDS[0], message, status)

    def test_every_command_that_destroys_asks_the_gate_whatever_names_the_drive(self):
        """Each command meets each kind of name and each use."""
        for index, serial in enumerate(self.uses):
            message, status = self.uses[serial]
            names = self.names_of(index, serial)
            for turn, (command, notice, title) in enumerate(COMMANDS):
                name = names[(index + turn) % len(names)]
                with self.subTest(serial=serial, name=name, command=command):
                    self.assert_refused(serial, name, command, notice, title, message, status)

    def test_another_maximum_lba_is_not_set_on_a_drive_in_use(self):
        for index, serial in enumerate(self.uses):
            message, _ = self.uses[serial]
            for name in self.names_of(index, serial):
                with self.subTest(serial=serial, name=name):
                    run, sent = self.sent_by("set", "-velkossd", name, "MaximumLBA=1000", stdin=b"Y\n")
                    self.assertEqual((run.stdout, run.status), (f"Error: {message}\n", 3))
                    self.assertFalse(DESTRUCTIVE & set(sent), sent)

    def test_a_read_scan_reads_all_blocks_from_the_drive(self):
        shown = self.machine.run("nimbrel", "start", "-o", "json", "-scan", "ReadScan", "-velkossd", "TRIM")
        self.assertEqual((shown.stderr, shown.status), ("", 0), shown.stdout)
        self.assertEqual(shown.json()["Health Scan TRIM"]["Read Scan - Disk"],
                         {"Blocks": 32768, "Blocks Read": 32768, "Unreadable Blocks": 0})
        sectors = f"awk '{{print $3}}' /sys/class/block/{self.node['TRIM'][5:]}/stat"
        before = int(self.shell(sectors))
        self.assertEqual(self.machine.run("nimbrel", "start", "-scan", "ReadScan", "-velkossd", "TRIM").status, 0)
        self.assertGreaterEqual(int(self.shell(sectors)) - before, 32768, "again from the drive, not from memory")

    def test_data_written_to_a_file_system_comes_back(self):
        shown = self.machine.run("nimbrel", "start", "-o", "json", "-scan", "DataIntegrity", "-velkossd", "FS",
                                 "Path=/data")
        self.assertEqual((shown.stderr, shown.status), ("", 0), shown.stdout)
        found = shown.json()["Health Scan FS"]["Data Integrity Scan"]
        self.assertEqual((found["Path"], found["Mismatches"]), ("/data", "0 units of 4096 bytes"))
        self.assertGreaterEqual(int(found["Written and Read"].removesuffix(" bytes")), 1 << 20)
        self.assertEqual(self.shell("ls /data"), "lost+found\n", "nothing is left")

    def test_trim_frees_its_blocks_and_no_others(self):
        node = self.node["TRIM"]
        data = bytes(range(1, 256)) * 4113
        self.machine.write("/tmp/data", data[:MIB])
        self.shell(f"dd if=/tmp/data of={node} bs=1M conv=fsync 2>/dev/null")
        run, sent = self.sent_by("start", "-force", "-velkossd", "TRIM", "-trim", "StartLBA=8", "Count=1024")
        self.assertEqual(run.status, 0, run.stdout)
        self.assertEqual([code for code in sent if code in DESTRUCTIVE], [0x06])
        expected = data[:8 * 512] + bytes(1024 * 512) + data[1032 * 512:MIB]
        self.assertTrue(self.machine.image("TRIM").read_bytes()[:MIB] == expected)

    def test_a_partition_does_not_name_the_drive_around_it(self):
        for name in (self.node["FS"] + "1", self.node["PART"] + "1"):
            for command, notice, title in COMMANDS:
                with self.subTest(name=name, command=command):
                    self.assert_refused("PART", name, command, notice, title, UNKNOWN_PATH, 3)

    def test_partitions_are_a_reason_without_force(self):
        self.machine.ata_commands()
        run = self.machine.run("nimbrel", "delete", "-velkossd", "PART", stdin=b"Y\n")
        self.assertEqual((run.stdout, run.status), (DELETING + title_and(
            "Format", "PART", self.node["PART"], f"{HAS_PARTITION} {self.node['PART']}1 is a partition."), 94))
        self.assertFalse(DESTRUCTIVE & set(self.machine.ata_commands()))

    def test_the_drive_of_a_usb_enclosure_is_changed_by_nothing(self):
        """This one's enclosure has no ATA commands at all."""
        stick = "/dev/" + self.shell("basename $(ls -d /sys/devices/*/*/usb*/*/*/host*/*/*/block/sd?)").strip()
        shown = self.machine.run("nimbrel", "show", "-smart", "-velkossd", stick)
        self.assertNotEqual(shown.status, 0)
        self.assertIn("SCSI command reported a problem.", shown.stdout)
        before = self.machine.image("STICK").read_bytes()
        run = self.machine.run("nimbrel", "delete", "-force", "-velkossd", stick)
        self.assertNotEqual(run.status, 0)
        self.assertIn("is in a USB enclosure: it is read and not changed.", run.stdout)
        self.assertTrue(self.machine.image("STICK").read_bytes() == before)


if __name__ == "__main__":
    unittest.main()
