"""Commands that destroy: refused where a namespace is in use, whichever node is named, with a witness that nothing was
sent; done where nothing prevents it, with a look at the media. And commands that this controller rejects."""

import os
import struct
import subprocess
import unittest

from machine import Controller, Namespace
from witness import VmTestCase, title_and

MIB = 1 << 20
FORMATTING = "Formatting... (This can take several minutes to complete)\n"
NOTICES = {"delete": "Deleting... (This can take several minutes to complete)\n", "format": FORMATTING,
           "sanitize": "Sanitizing... (This can take several minutes to complete)\n"}
# Job, title of the answer, and the arguments with the drive's place in them.
COMMANDS = (
    ("delete", "Format", ["delete", "-force", "-velkossd", None]),
    ("format", "Format", ["start", "-force", "-velkossd", None, "-nvmeformat"]),
    ("format", "Format", ["start", "-force", "-velkossd", None, "-nvmeformat", "-namespace", "1"]),
    ("sanitize", "Format", ["start", "-force", "-velkossd", None, "-sanitize"]),
    ("trim", "Trim", ["start", "-force", "-velkossd", None, "-trim", "StartLBA=0", "Count=8"]),
    ("namespace", "Namespace Management", ["delete", "-force", "-velkossd", None, "-namespace", "1"]),
    ("namespace", "Namespace Management", ["detach", "-velkossd", None, "-namespace", "1"]),
)
IN_USE = "Cannot run selected feature with the given configuration."
ON_OS_DRIVE = "Restricted feature on OS drive."
HAS_PARTITION = "Selected Drive contains a partition. Remove all partitions to proceed."
PREPARATION = """set -e
for module in $(cat /lib/modules/order); do insmod /lib/modules/$module.ko; done
mkdir -p /data /boot
mount -t ext2 {FS} /data
mount -t ext2 {BOOT} /boot
mount -t ext2 {PARTFS}p1 /mnt
mkswap {SWAP} && swapon {SWAP}
mdadm --create /dev/md0 --run --level=1 --raid-devices=2 --metadata=1.0 {MD} missing
echo "0 16384 linear {DM} 0" | dmsetup create mapped
"""


class Destruction(VmTestCase):
    controllers = [Controller(serial, [Namespace(16)])
                   for serial in ("FS", "BOOT", "PARTFS", "SWAP", "MD", "DM", "PART", "DULL")] + [
        Controller("TWO", [Namespace(8), Namespace(8)]),
        Controller("LATE", [Namespace(8), Namespace(8, detached=True, nsid=5)]),
        Controller("TRIM", [Namespace(8)]),
    ]

    @classmethod
    def prepare(cls, machine):
        for serial in ("FS", "BOOT"):
            make_file_system(machine.image(serial))
        table = bytes(446) + struct.pack("<B3xB3xII", 0, 0x83, 2048, 16384) + bytes(48) + b"\x55\xAA"
        for serial in ("PART", "PARTFS"):
            with open(machine.image(serial), "r+b") as image:
                image.write(table)
        make_file_system(machine.image("PARTFS"), 2048 * 512, 8192)

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        listing = cls.machine.shell(
            "cd /sys/class/nvme; for c in *; do for n in /sys/class/nvme-subsystem/*/nvme*n*; do "
            "[ ! -e $(dirname $n)/$c ] || echo $(cat $c/serial) $c $(cat $n/nsid) ${n##*/}; done; done").stdout
        found = [line.split() for line in listing.splitlines()]
        cls.controller = {serial: f"/dev/{name}" for serial, name, _, _ in found}
        cls.nodes = {(serial, int(nsid)): f"/dev/{node}" for serial, _, nsid, node in found}
        cls.node = {serial: node for (serial, nsid), node in cls.nodes.items() if nsid == 1}
        run = cls.machine.shell(PREPARATION.format(**cls.node))
        if run.status != 0:
            raise RuntimeError(run.stderr)

    def title_and(self, title, serial, message):
        return title_and(title, serial, self.controller[serial], message)

    def assert_refused(self, serial, command, path, message, status, stdin=b""):
        notice, title, arguments = command
        self.machine.nvme_commands()
        run = self.machine.run("nimbrel", *(argument or path for argument in arguments), stdin=stdin)
        sent = self.machine.nvme_commands()
        self.assertEqual((run.stdout, run.status),
                         (NOTICES.get(notice, "") + self.title_and(title, serial, message), status), (arguments, path))
        # The system may write to what it has mounted; the drive was not even asked anything.
        self.assertLessEqual(set(sent), {"NVME_NVM_CMD_READ", "NVME_NVM_CMD_WRITE", "NVME_NVM_CMD_FLUSH"})
        return run

    # Refusals

    def test_a_namespace_in_use_is_left_alone_whichever_node_is_named(self):
        node = self.node
        for serial, message, status in (
                ("FS", f"{IN_USE} {node['FS']} is mounted on /data.", 241),
                ("BOOT", f"{ON_OS_DRIVE} {node['BOOT']} is mounted on /boot.", 192),
                ("PARTFS", f"{IN_USE} {node['PARTFS']}p1 is mounted on /mnt.", 241),
                ("SWAP", f"{ON_OS_DRIVE} {node['SWAP']} is used as swap.", 192),
                ("MD", f"{IN_USE} {node['MD']} is part of md0.", 241),
                ("DM", f"{IN_USE} {node['DM']} is part of dm-0 (mapped).", 241)):
            for path in (self.controller[serial], node[serial]):
                # Every command at one drive; the gate is the same for all.
                for command in COMMANDS if serial == "FS" else COMMANDS[:1] + COMMANDS[4:6]:
                    with self.subTest(serial=serial, path=path, command=command[2]):
                        self.assert_refused(serial, command, path, message, status)

    def test_a_generic_node_is_refused_too(self):
        path = self.node["FS"].replace("/dev/nvme", "/dev/ng")
        if self.machine.shell(f"test -e {path}").status != 0:
            self.skipTest("Linux has these nodes since 5.13")
        self.assert_refused("FS", COMMANDS[1], path, f"{IN_USE} {self.node['FS']} is mounted on /data.", 241)

    def test_partitions_are_a_reason_without_force(self):
        for path in (self.controller["PART"], self.node["PART"]):
            for notice, title, arguments in (COMMANDS[0], COMMANDS[1], COMMANDS[3]):
                arguments = [argument for argument in arguments if argument != "-force"]
                with self.subTest(path=path, command=arguments):
                    run = self.assert_refused("PART", (notice, title, arguments), path,
                                              f"{HAS_PARTITION} {self.node['PART']}p1 is a partition.", 94, b"Y\n")
                    self.assertTrue(run.stderr.startswith("WARNING! You have selected to "), run.stderr)

    def test_an_answer_of_no_sends_nothing(self):
        self.machine.nvme_commands()
        run = self.machine.run("nimbrel", "delete", "-velkossd", self.controller["DULL"], stdin=b"N\n")
        self.assertEqual((run.stdout, run.stderr, run.status, self.machine.nvme_commands()), (
            "Cancelled\n", "WARNING! You have selected to delete all the data on the drive! \nProceed with the delete? "
            "(Y|N): ", 0, []))

    # What is done

    def fill(self, serial, nsid=1):
        """Random bytes over the first MiB; returns them."""
        data = os.urandom(MIB)
        self.machine.write("/tmp/data", data)
        run = self.machine.shell(f"dd if=/tmp/data of={self.nodes[serial, nsid]} bs=1M conv=fsync")
        self.assertEqual(run.status, 0, run.stderr)
        self.assertEqual(self.media(serial, nsid), data, "the machine is as it was meant")
        return data

    def media(self, serial, nsid=1):
        with open(self.machine.image(serial, nsid), "rb") as image:
            return image.read(MIB)

    def geometry(self, node):
        """Bytes of a block and of the namespace, as the kernel sees them."""
        run = self.machine.shell(f"cd /sys/block/{node[5:]} && cat queue/logical_block_size size")
        block, sectors = map(int, run.stdout.split())
        return block, sectors * 512

    def flbas(self, serial, nsid):
        return self.machine.shell(f"nvme id-ns -o json -n {nsid} {self.controller[serial]}").json()["flbas"]

    def test_trim_frees_its_blocks_and_no_others(self):
        data = self.fill("TRIM")
        node = self.node["TRIM"]
        self.check("start", "-force", "-velkossd", node, "-trim", "StartLBA=8", "Count=1024", stdout=self.title_and(
            "Trim", "TRIM", "1024 blocks of 512 bytes from block 8 on were deallocated in namespace 1."))
        expected = data[:8 * 512] + bytes(1024 * 512) + data[1032 * 512:]
        self.assertEqual(self.media("TRIM"), expected)
        run = self.machine.shell(f"echo 3 > /proc/sys/vm/drop_caches; dd if={node} bs=1M count=1")
        self.assertEqual(run.stdout_bytes, expected, "the kernel reads the same")
        blocks = 8 * MIB // 512
        for start, count, message, status in ((blocks, 1, "Given LBA is not in user LBA range.", 119),
                                              (blocks - 1, 2, "Given count will exceed LBA range.", 120)):
            self.machine.nvme_commands()
            self.check("start", "-force", "-velkossd", node, "-trim", f"StartLBA={start}", f"Count={count}",
                       status=status, stdout=self.title_and("Trim", "TRIM", f"{message} Namespace 1 of drive TRIM "
                                                       f"({self.controller['TRIM']}) has {blocks} blocks."))
            self.assertNotIn("NVME_NVM_CMD_DSM", self.machine.nvme_commands())
        self.assertEqual(self.media("TRIM"), expected)

    def test_trim_of_a_drive_with_two_namespaces_wants_one_named(self):
        self.check("start", "-force", "-velkossd", self.controller["TWO"], "-trim", "StartLBA=0", "Count=8", status=242,
                   stdout=self.title_and("Trim", "TWO", "Operation not permitted if more than one namespace is allocated on "
                                    "the drive. Select the one by its path."))

    def test_format_of_one_namespace_then_of_all(self):
        kept, gone = self.fill("TWO", 1), self.fill("TWO", 2)
        self.check("start", "-force", "-velkossd", self.controller["TWO"], "-nvmeformat", "-namespace", "2",
                   "LBAFormat=4", stdout=FORMATTING + self.title_and(
                       "Format", "TWO", "Namespace 2 was formatted: LBA format 4, blocks of 4096 bytes."))
        self.assertNotEqual(self.media("TWO", 2), gone)
        self.assertEqual(self.media("TWO", 1), kept, "the other namespace")
        self.assertEqual([self.geometry(self.nodes["TWO", nsid]) for nsid in (1, 2)], [(512, 8 * MIB), (4096, 8 * MIB)])
        self.assertEqual([self.flbas("TWO", nsid) for nsid in (1, 2)], [0, 4])
        path = self.nodes["TWO", 2]
        self.check("start", "-force", "-velkossd", path, "-nvmeformat", "-namespace", "2", "LBAFormat=8", status=28,
                   stdout=FORMATTING + self.title_and(
                       "Format", "TWO", f"Invalid LBA format. Namespace 2 of drive TWO ({self.controller['TWO']}) has "
                       "the formats 0 to 7."))
        self.assertEqual(self.geometry(path), (4096, 8 * MIB))

        self.fill("TWO", 2)
        run = self.machine.run("nimbrel", "delete", "-force", "-velkossd", path)
        self.assertEqual((run.stdout.startswith(NOTICES["delete"] + "\n- Format TWO -\n"), run.stderr, run.status),
                         (True, "", 0), run.stdout)
        self.assertEqual([self.media("TWO", nsid) for nsid in (1, 2)], [bytes(MIB)] * 2, "of both, whichever was named")
        self.assertEqual([self.flbas("TWO", nsid) for nsid in (1, 2)], [0, 4], "the formats stay")

    def test_attach_and_detach(self):
        path = self.controller["LATE"]

        run = self.machine.shell(f"nvme id-ctrl -o json {path}")
        cntlid = run.json()["cntlid"]
        self.assertEqual(self.kernel_namespaces("LATE"), [1])
        run = self.machine.run("nimbrel", "attach", "-velkossd", path, "-namespace", "5")
        node = self.find_node("LATE", 5)
        self.assertEqual((run.stdout, run.stderr, run.status), (self.title_and(
            "Namespace Management", "LATE", f"Namespace 5 was attached to controller {cntlid}: {node}."), "", 0))
        self.assertEqual((self.kernel_namespaces("LATE"), self.attached(path)), ([1, 5], [1, 5]))
        self.assertEqual(self.geometry(node), (512, 8 * MIB))
        self.check("attach", "-velkossd", path, "-namespace", "5", status=85, stdout=self.title_and(
            "Namespace Management", "LATE", "The specified controller is already attached to the given namespace. "
            f"Namespace Attachment failed on drive LATE ({path}): Namespace Already Attached (status code type 0x1, "
            "status code 0x18, opcode 0x15)."))
        self.check("detach", "-velkossd", path, "-namespace", "5", "-nvmecontroller", cntlid, stdout=self.title_and(
            "Namespace Management", "LATE", f"Namespace 5 was detached from controller {cntlid}."))
        self.assertEqual((self.kernel_namespaces("LATE"), self.attached(path)), ([1], [1]))

    def kernel_namespaces(self, serial):
        run = self.machine.shell("cd /sys/class/nvme-subsystem; "
                                 f"cat $(dirname $(grep -lw {serial} */serial))/nvme*n*/nsid")
        return sorted(map(int, run.stdout.split()))

    def find_node(self, serial, nsid):
        run = self.machine.shell("cd /sys/class/nvme-subsystem; "
                                 f"grep -lx {nsid} $(dirname $(grep -lw {serial} */serial))/nvme*n*/nsid")
        return "/dev/" + run.stdout.split("/")[1]

    def attached(self, path):
        listing = self.machine.shell(f"nvme list-ns -o json {path}").json()
        return [entry["nsid"] for entry in listing["nsid_list"]]

    def test_a_controller_reset(self):
        path = self.controller["DULL"]
        self.assertEqual(self.machine.shell(f"nvme set-feature -f 4 --value=0x150 {path}").status, 0)
        firmware = self.machine.shell(f"cat /sys/class/nvme/{path[5:]}/firmware_rev").stdout.strip()  # QEMU's version
        self.machine.nvme_commands()
        self.check("reset", "-velkossd", path, "-nvmecontroller", stdout=self.title_and(
            "NVMe Reset", "DULL", f"The controller was reset. It is ready and runs firmware {firmware}."))
        commands = self.machine.nvme_commands()
        self.assertIn("NVME_ADM_CMD_CREATE_SQ", commands, "the driver has set the controller up again")
        self.assertEqual(self.machine.shell(f"cat /sys/class/nvme/{path[5:]}/state").stdout, "live\n")

    # What this controller rejects

    def test_commands_that_the_drive_does_not_have(self):
        path = self.controller["DULL"]
        self.machine.write("/tmp/firmware", bytes(16384))
        self.machine.write("/tmp/odd", b"x\n")
        named = f"DULL ({path})"
        for arguments, stdout, status in (
                (["start", "-force", "-velkossd", path, "-sanitize"], NOTICES["sanitize"] + self.title_and(
                    "Format", "DULL", "Sanitize command not supported on the selected device."), 20),
                (["start", "-velkossd", path, "-selftest"],
                 self.title_and("Drive Self-Test", "DULL", "Drive Self-Test Not Supported."), 208),
                (["show", "-velkossd", path, "-selftest"],
                 self.title_and("Drive Self-Test", "DULL", "Drive Self-Test Not Supported."), 208),
                (["dump", "-velkossd", path, "-dataarea", "1", "-telemetrylog"],
                 f"Error: Telemetry log is unsupported on selected device. Drive {named} has none.\n", 3),
                (["load", "-force", "-source", "/tmp/firmware", "-velkossd", path],
                 "Checking for firmware update...\n" + self.title_and(
                    "Firmware Update", "DULL", f"Feature is not supported. Drive {named} takes no firmware."), 34),
                (["load", "-force", "-source", "/tmp/odd", "-velkossd", path],
                 "Checking for firmware update...\nError: Failed to load firmware. '/tmp/odd' has 2 bytes, which is no "
                 "multiple of 4.\n", 3),
                (["load", "-velkossd", path, "-firmwareactivate", "FirmwareSlot=1", "CommitAction=2"],
                 self.title_and("Firmware Activation", "DULL", f"Feature is not supported. Drive {named} takes no firmware."),
                 34),
                (["dump", "-velkossd", path, "-persistenteventlog", "read"],
                 f"Error: Drive Does Not Support Persistent Event Log. Drive {named} has none.\n", 3),
                (["dump", "-velkossd", path, "-persistenteventlog", "release"],
                 f"Error: Get Log Page failed on drive {named}: Invalid Field in Command (status code type 0x0, status "
                 "code 0x02, opcode 0x02).\n", 3),
                (["show", "-velkossd", path, "-persistenteventlog"], self.title_and(
                    "Persistent Event Log Status", "DULL", "Drive Does Not Support Persistent Event Log. Drive "
                    f"{named} has none."), 251),
                (["dump", "-velkossd", path, "-nlog"],
                 "Error: Drive does not support pulling Nlogs directly. Use telemetry instead.\n", 3),
                (["create", "-velkossd", path, "-namespace", "Size=1000"], self.title_and(
                    "Namespace Management", "DULL", "The selected drive does not support this feature. Identify failed on "
                    f"drive {named}: Invalid Namespace or Format (status code type 0x0, status code 0x0B, opcode 0x06)."),
                 3),
                (["delete", "-force", "-velkossd", path, "-namespace", "1"], self.title_and(
                    "Namespace Management", "DULL", "The selected drive does not support this feature. Namespace "
                    f"Management failed on drive {named}: Invalid Command Opcode (status code type 0x0, status code 0x01, "
                    "opcode 0x0D)."), 3)):
            with self.subTest(arguments):
                self.check(*arguments, status=status, stdout=stdout)

    # The drive that holds the root file system

    def test_the_boot_drive_is_found_and_left_alone(self):
        """As a system that runs from the drive sees it: its root is what is mounted on /data."""
        run = self.machine.shell(
            "set -e; cd /data; for d in proc sys dev bin lib lib64 usr opt etc tmp run; do mkdir -p $d; "
            "[ ! -d /$d ] || mount --rbind /$d $d; done; "
            "chroot . nimbrel show -o json -d DevicePath,SerialNumber -velkossd bootdrive; "
            "! chroot . nimbrel delete -force -velkossd bootdrive; "
            "for d in run tmp etc opt usr lib64 lib bin dev sys proc; do umount -l $d || :; done")
        self.assertEqual(run.status, 0, run.stderr)
        shown, refused = run.stdout.split("Deleting...")
        self.assertIn(f'"SerialNumber":"FS"', shown)
        self.assertIn(f"{ON_OS_DRIVE} {self.node['FS']} is mounted on /.", refused)


def make_file_system(image, offset=0, kib=16384):
    subprocess.run(["/sbin/mke2fs", "-q", "-F", "-t", "ext2", "-E", f"offset={offset}", str(image), f"{kib}k"],
                   check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


if __name__ == "__main__":
    unittest.main()
