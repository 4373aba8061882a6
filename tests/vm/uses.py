"""Uses of a namespace that no table of mounts or holders shows, and content that is not in use: the drive's own record
of commands shows that nothing destructive reached it."""

import re
import struct
import unittest

import destruction
from machine import Controller, Machine, Namespace
from witness import VmTestCase, title_and

IN_USE, HAS_PARTITION = destruction.IN_USE, destruction.HAS_PARTITION
# Neither is a command that loses anything: reads of the tool and the kernel, writes of mounted file systems.
HARMLESS = {"NVME_ADM_CMD_IDENTIFY", "NVME_ADM_CMD_GET_LOG_PAGE", "NVME_ADM_CMD_GET_FEATURES",
            "NVME_ADM_CMD_ASYNC_EV_REQ", "NVME_NVM_CMD_READ", "NVME_NVM_CMD_WRITE", "NVME_NVM_CMD_FLUSH"}
UNFORCED = {
    "delete": ["delete", "-velkossd", None],
    "format": ["start", "-velkossd", None, "-nvmeformat"],
    "sanitize": ["start", "-velkossd", None, "-sanitize"],
}
CONTAINER = """
umount /held && mount -t tmpfs dev /dev && mknod {controller} c $(tr : ' ' < /sys/class/nvme/{name}/dev) || exit 99
{more}
nimbrel delete -force -velkossd {controller}; status=$?; ls -A /dev >&2; exit $status
"""


class UsesTestCase(VmTestCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.shell("for module in $(cat /lib/modules/order); do insmod /lib/modules/$module.ko; done")
        names = cls.shell("cd /sys/class/nvme; for c in *; do echo $(cat $c/serial) $c; done").split()
        cls.names = dict(zip(names[::2], names[1::2]))

    @classmethod
    def shell(cls, script, **values):
        run = cls.machine.shell(script.format(**values) if values else script)
        if run.status != 0:
            raise RuntimeError(f"{script}: {run.stdout}{run.stderr}")
        return run.stdout

    def path(self, serial):
        return f"/dev/{self.names[serial]}"

    def node(self, serial):
        return f"/dev/{self.names[serial]}n1"

    def assert_answer(self, run, sent, serial, message, status, notice="delete"):
        self.assertEqual((run.stdout, run.status),
                         (destruction.NOTICES[notice] + title_and("Format", serial, self.path(serial), message),
                          status))
        self.assertLessEqual(set(sent), HARMLESS)

    def assert_refused(self, serial, message):
        """By the controller, forced, and by the namespace, unforced."""
        for path, force in ((self.path(serial), ["-force"]), (self.node(serial), [])):
            self.machine.nvme_commands()
            run = self.machine.run("nimbrel", "delete", *force, "-velkossd", path, stdin=b"Y\n")
            with self.subTest(path=path, force=force):
                self.assert_answer(run, self.machine.nvme_commands(), serial, f"{IN_USE} {message}", 241)

    def assert_erased(self, serial, *arguments, count=1):
        self.machine.nvme_commands()
        run = self.machine.run("nimbrel", *arguments, self.path(serial), stdin=b"Y\n")
        self.assertEqual(run.status, 0, run.stdout + run.stderr)
        self.assertEqual(self.machine.nvme_commands().count("NVME_ADM_CMD_FORMAT_NVM"), count)


class Uses(UsesTestCase):
    controllers = [Controller(serial, [Namespace(size)]) for serial, size in (
        ("HIDDEN", 16), ("LOOP", 16), ("NVMET", 16), ("FILEIO", 16), ("IBLOCK", 16), ("BTRFS1", 128), ("BTRFS2", 128),
        ("EXCL", 16), ("EXCLPART", 16), ("CONTENT", 16), ("TRIM", 16), ("BLANK", 16))] + [
        Controller("BAD", [Namespace(16, media="file=blkdebug:{folder}/errors:{image}")])]

    @classmethod
    def prepare(cls, machine):
        for serial in ("HIDDEN", "CONTENT", "TRIM"):
            destruction.make_file_system(machine.image(serial))
        table = bytes(446) + struct.pack("<B3xB3xII", 0, 0x83, 2048, 16384) + bytes(48) + b"\x55\xAA"
        with open(machine.image("EXCLPART"), "r+b") as image:
            image.write(table)
        # The first block of each 4 KiB that superblocks are looked for in.
        (machine.folder / "errors").write_text("".join(
            f'[inject-error]\nevent = "read_aio"\nerrno = "5"\nsector = "{sector}"\n' for sector in range(8)))

    # A container that has the controller's node alone

    def in_container(self, more=""):
        self.shell("mkdir -p /held && mount -t ext2 {node} /held", node=self.node("HIDDEN"))
        self.addCleanup(self.shell, "umount /held")
        self.machine.nvme_commands()
        run = self.machine.run("unshare", "-m", "sh", "-c",
                               CONTAINER.format(controller=self.path("HIDDEN"), name=self.names["HIDDEN"],
                                                more=more))
        return run, self.machine.nvme_commands()

    def test_a_mount_is_seen_without_the_node_of_the_namespace(self):
        run, sent = self.in_container()
        self.assert_answer(run, sent, "HIDDEN", f"{IN_USE} {self.node('HIDDEN')} is opened exclusively by another "
                           "program.", 241)
        self.assertEqual(run.stderr, self.names["HIDDEN"] + "\n", "no other node is left in the folder")

    def test_where_no_node_can_be_made_the_drive_is_refused(self):
        run, sent = self.in_container("mount -o remount,ro /dev || exit 98")
        self.assertEqual(run.status, 241, run.stdout + run.stderr)
        self.assertRegex(run.stdout, re.escape(f"{IN_USE} Whether {self.node('HIDDEN')} is in use cannot be determined: "
                                               "mknod /dev/.nimbrel-") + "[0-9a-f]+: Read-only file system[.]\n\n$")
        self.assertLessEqual(set(sent), HARMLESS)

    # What opens a device without a claim

    def test_a_loop_device_holds_what_backs_it(self):
        self.shell("losetup /dev/loop3 {node}", node=self.node("LOOP"))
        self.assert_refused("LOOP", f"{self.node('LOOP')} is part of loop3 ({self.node('LOOP')}).")
        self.shell("losetup -d /dev/loop3")
        self.assert_erased("LOOP", "delete", "-force", "-velkossd")

    def test_what_the_targets_export_is_held(self):
        self.shell("for module in $(cat /lib/modules/targets); do insmod /lib/modules/$module.ko; done")
        self.assert_refused("NVMET", f"Whether {self.node('NVMET')} is in use cannot be determined: "
                            "/sys/kernel/config/nvmet: nvmet is loaded, but configfs is not mounted there; "
                            "/sys/kernel/config/target: target_core_mod is loaded, but configfs is not mounted there.")
        self.shell("""mount -t configfs config /sys/kernel/config && cd /sys/kernel/config
            mkdir nvmet/subsystems/q nvmet/subsystems/q/namespaces/7 && cd nvmet/subsystems/q/namespaces/7
            mkdir -p /dev/disk && ln -s {nvmet} /dev/disk/link &&
                echo -n /dev/disk/link > device_path && echo 1 > enable
            cd /sys/kernel/config/target/core && mkdir -p fileio_0/f iblock_0/i
            echo fd_dev_name={fileio},fd_dev_size=16777216 > fileio_0/f/control && echo 1 > fileio_0/f/enable
            echo udev_path={iblock} > iblock_0/i/control && echo 1 > iblock_0/i/enable""",
                   nvmet=self.node("NVMET"), fileio=self.node("FILEIO"), iblock=self.node("IBLOCK"))
        exports = "is part of the exports of the kernel's"
        self.assert_refused("NVMET", f"{self.node('NVMET')} {exports} NVMe target (q).")
        self.assert_refused("FILEIO", f"{self.node('FILEIO')} {exports} SCSI target (f).")
        self.assert_refused("IBLOCK", f"{self.node('IBLOCK')} {exports} SCSI target (i).")
        self.shell("cd /sys/kernel/config; echo 0 > nvmet/subsystems/q/namespaces/7/enable; "
                   "rmdir target/core/fileio_0/f target/core/iblock_0/i")
        for serial in ("NVMET", "FILEIO", "IBLOCK"):
            self.assert_erased(serial, "delete", "-force", "-velkossd")
        self.shell("cd /sys/kernel/config; rmdir nvmet/subsystems/q/namespaces/7 nvmet/subsystems/q "
                   "target/core/*_0; umount /sys/kernel/config; rmmod target_core_file target_core_iblock "
                   "target_core_mod nvmet")

    def test_each_device_of_a_btrfs_file_system_is_held(self):
        self.shell("for module in $(cat /lib/modules/btrfs); do insmod /lib/modules/$module.ko; done; mkdir -p /b; "
                   "mkfs.btrfs -q -d raid1 -m raid1 -U 12345678-1234-4321-8765-123456789abc {one} {two} >/dev/null 2>&1 && "
                   "mount -t btrfs -o device={two} {one} /b", one=self.node("BTRFS1"), two=self.node("BTRFS2"))
        self.assert_refused("BTRFS1", f"{self.node('BTRFS1')} is mounted on /b.")
        self.assert_refused("BTRFS2", f"{self.node('BTRFS2')} is part of the btrfs file system "
                            "12345678-1234-4321-8765-123456789abc.")
        self.shell("umount /b; mkdir -p /boot && mount -t btrfs -o device={two} {one} /boot",
                   one=self.node("BTRFS1"), two=self.node("BTRFS2"))
        run = self.machine.run("nimbrel", "delete", "-force", "-velkossd", self.path("BTRFS2"))
        self.assertEqual((run.stdout.split("Status : ")[1].split(".")[0], run.status),
                         ("Restricted feature on OS drive", 192))
        self.shell("umount /boot")

    def hold(self, node):
        """Another program that holds the node open exclusively, until the test is over."""
        pid = self.shell("agent hold {node} > /tmp/held 2>&1 & until grep -q . /tmp/held; do sleep 0.1; done; "
                         "grep -qx held /tmp/held && echo $!", node=node).strip()
        self.addCleanup(self.shell, f"kill {pid}")

    def test_an_exclusive_open_of_a_program_is_seen(self):
        self.hold(self.node("EXCL"))
        self.assert_refused("EXCL", f"{self.node('EXCL')} is opened exclusively by another program.")

    def test_an_exclusive_open_of_a_partition_is_seen_by_the_whole(self):
        self.hold(self.node("EXCLPART") + "p1")
        self.assert_refused("EXCLPART", f"{self.node('EXCLPART')} is opened exclusively by another program.")

    # Content that is not in use

    def test_content_is_a_reason_without_force(self):
        for serial, words in (("CONTENT", f"{self.node('CONTENT')} holds a file system (ext2)."),
                              ("BAD", f"The content of {self.node('BAD')} cannot be read: Input/output error.")):
            for notice, arguments in UNFORCED.items():
                self.machine.nvme_commands()
                run = self.machine.run("nimbrel", *(argument or self.path(serial) for argument in arguments), stdin=b"Y\n")
                with self.subTest(serial=serial, command=arguments):
                    self.assert_answer(run, self.machine.nvme_commands(), serial, f"{HAS_PARTITION} {words}", 94, notice)
        self.assert_erased("CONTENT", "delete", "-force", "-velkossd")
        self.assert_erased("BLANK", "delete", "-velkossd")
        # The emulated drive fails at its own media then; it was asked.
        self.machine.run("nimbrel", "delete", "-force", "-velkossd", self.path("BAD"))
        self.assertIn("NVME_ADM_CMD_FORMAT_NVM", self.machine.nvme_commands())

    def test_content_does_not_stop_a_trim(self):
        self.check("start", "-force", "-velkossd", self.node("TRIM"), "-trim", "StartLBA=0", "Count=8",
                   stdout=title_and("Trim", "TRIM", self.path("TRIM"), "8 blocks of 512 bytes from block 0 on were "
                                    "deallocated in namespace 1."))


class WithoutMultipath(UsesTestCase):
    """A shared namespace has a node for each of its controllers."""

    controllers = [Controller("SHARED", [Namespace(16, shared=True)], name="one"), Controller("SHARED", [], name="two")]

    @classmethod
    def setUpClass(cls):
        cls.machine = Machine(cls.controllers, kernel_options="nvme_core.multipath=N")
        cls.addClassCleanup(cls.machine.stop)
        destruction.make_file_system(cls.machine.image("one"))
        cls.machine.await_drives = lambda: None  # it counts on multipath
        cls.machine.start()
        cls.shell("until [ -e /dev/nvme0n1 -a -e /dev/nvme1n1 ]; do sleep 0.1; done")

    def test_a_use_through_the_other_controller_counts(self):
        for mounted in ("/dev/nvme0n1", "/dev/nvme1n1"):
            self.shell(f"mount -t ext2 {mounted} /mnt")
            for path in ("/dev/nvme0", "/dev/nvme1", "/dev/nvme0n1", "/dev/nvme1n1"):
                self.machine.nvme_commands()
                run = self.machine.run("nimbrel", "delete", "-force", "-velkossd", path)
                with self.subTest(mounted=mounted, path=path):
                    self.assertEqual((run.status, run.stdout.split("configuration. ")[1:]),
                                     (241, [f"{mounted} is mounted on /mnt.\n\n"]), run.stdout)
                    self.assertLessEqual(set(self.machine.nvme_commands()), HARMLESS)
            self.shell("umount /mnt")


if __name__ == "__main__":
    unittest.main()
