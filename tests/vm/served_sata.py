"""What nimbrel does to SATA drives through the kernel, to the end: simulated drives over iSCSI that are erased, that
are frozen, that lose their registers, and that hang. Each is found a second time as a simulated drive, and so named by
its node."""

import struct
import time
import unittest

import destruction
from machine import Machine
from witness import VmTestCase, title_and

FOLDER = "/opt/velko/nimbrel/SimulatedDrives"
DELETING, SANITIZING = destruction.NOTICES["delete"], destruction.NOTICES["sanitize"]
SERVE = """set -e
nimbrel-simdrive create {name} --model sata --size 16Mi --serial {serial}
sed -i -E -e '/-seconds/s/=.*/= 1/' -e '/^sanitize =/s/=.*/= {sanitize}/' {folder}/{name}/description.ini
setsid nimbrel-simdrive serve {name} --port {port} > /tmp/serve-{name} 2>&1 < /dev/null &
for i in $(seq 100); do grep -q target /tmp/serve-{name} && break; sleep 0.1; done
iscsistart -i iqn.2026-01.com.example:host -t iqn.2026-01.com.velko.nimbrel:simulated:{name} -g 1 -a 127.0.0.1 \
    -p {port} > /tmp/login-{name} 2>&1
for i in $(seq 100); do [ ! -b {node} ] || exit 0; sleep 0.1; done
cat /tmp/serve-{name} /tmp/login-{name}; exit 1
"""
PASSWORD = ("Drive {} ({}) is erased with the user password \"nimbrel-erase\", which it keeps if its power fails "
            "before the end. Do not switch it off.\n")
NO_REGISTERS = ("No ATA return descriptor found when attempting to get returned task file. (SANITIZE STATUS EXT on "
                "drive {})")
FROZEN = ("The selected Velko SSD is in the Security Frozen state. Secure Erase cannot run until the Security Freeze "
          "Lock is cleared. To remove the lock, power-cycle the SSD while the operating system is running. This can be "
          "done by unplugging and plugging in the SSD.")
TIMED_OUT = ("The command was detected to have timed-out. The drive of {} did not answer in time (errno 62: Timer "
             "expired).")


class ServedSata(VmTestCase):
    @classmethod
    def setUpClass(cls):
        cls.machine = Machine([], memory_mib=640)
        cls.addClassCleanup(cls.machine.stop)
        cls.machine.start()
        cls.shell("cd /lib/modules; for m in $(cat iscsi); do insmod $m.ko || lsmod | grep -q ${m//-/_}; done; "
                  "ip link set lo up; ln -s /opt/velko/nimbrel/nimbrel-simdrive /usr/local/bin/")
        # The one without sanitize commands is erased by its security commands.
        for port, name, node, sanitize in ((3260, "sanitized", "/dev/sda", "yes"), (3261, "secured", "/dev/sdb", "no"),
                                           (3262, "broken", "/dev/sdc", "yes")):
            cls.shell(SERVE.format(folder=FOLDER, name=name, serial=name.upper(), node=node, port=port,
                                   sanitize=sanitize))

    @classmethod
    def shell(cls, script):
        run = cls.machine.shell(script)
        if run.status != 0:
            raise RuntimeError(f"{script}: {run.stdout}{run.stderr}")
        return run.stdout

    def fault(self, name, words):
        self.shell(f"nimbrel-simdrive fault {name} {words}")
        self.addCleanup(self.shell, f"nimbrel-simdrive fault {name} clear")

    def fill(self, node):
        """A partition table, and something after it; the kernel knows the partition then."""
        table = bytes(446) + struct.pack("<B3xB3xII", 0, 0x83, 2048, 16384) + bytes(48) + b"\x55\xAA"
        self.machine.write("/tmp/data", table + b"data" * 128)
        self.shell(f"dd if=/tmp/data of={node} conv=fsync 2>/dev/null; blockdev --rereadpt {node}; "
                   f"until [ -b {node}1 ]; do sleep 0.1; done")

    def media(self, node):
        return self.machine.shell(f"dd if={node} iflag=direct bs=1024 count=1 2>/dev/null").stdout_bytes

    def assert_erased(self, node):
        self.assertEqual(self.media(node), bytes(1024))
        self.assertEqual(self.machine.run("test", "-e", node + "1").status, 1, "the kernel has seen that it is empty")

    def test_delete_sanitizes_what_has_a_partition_with_force_alone(self):
        self.fill("/dev/sda")
        before = self.media("/dev/sda")
        run = self.machine.run("nimbrel", "delete", "-velkossd", "/dev/sda", stdin=b"Y\n")
        self.assertEqual((run.stdout, run.status), (DELETING + title_and(
            "Format", "SANITIZED", "/dev/sda", f"{destruction.HAS_PARTITION} /dev/sda1 is a partition."), 94))
        self.assertEqual(self.media("/dev/sda"), before)
        self.check("delete", "-force", "-velkossd", "/dev/sda", stdout=DELETING + title_and(
            "Format", "SANITIZED", "/dev/sda", "The drive was sanitized. Method: block erase."))
        self.assert_erased("/dev/sda")

    def test_sanitize(self):
        for action in ("block", "crypto"):
            self.fill("/dev/sda")
            before = self.media("/dev/sda")
            with self.subTest(action):
                self.check("start", "-force", "-velkossd", "/dev/sda", "-sanitize", action,
                           stdout=SANITIZING + title_and("Format", "SANITIZED", "/dev/sda", "The drive was sanitized."))
                self.assertNotEqual(self.media("/dev/sda"), before)
                self.assertIn("Last Sanitize Operation Completed Without Error",
                              self.shell("hdparm --sanitize-status /dev/sda"))

    def test_delete_by_security_erase_leaves_no_password(self):
        self.fill("/dev/sdb")
        self.check("delete", "-force", "-velkossd", "/dev/sdb", stderr=PASSWORD.format("SECURED", "/dev/sdb"),
                   stdout=DELETING + title_and(
                       "Format", "SECURED", "/dev/sdb",
                       "The drive was erased by an enhanced SECURITY ERASE UNIT and has no password."))
        self.assert_erased("/dev/sdb")
        security = self.shell("hdparm -I /dev/sdb").split("Security:", 1)[1]
        for state in ("not\tenabled", "not\tlocked"):
            self.assertIn(state, security)

    def test_a_frozen_drive_is_left_alone(self):
        self.fill("/dev/sdb")
        before = self.media("/dev/sdb")
        self.fault("secured", "--frozen yes")
        self.check("delete", "-force", "-velkossd", "/dev/sdb", status=7,
                   stdout=DELETING + title_and("Format", "SECURED", "/dev/sdb", FROZEN))
        self.assertEqual(self.media("/dev/sdb"), before)

    def test_a_drive_in_use_is_left_alone(self):
        self.fill("/dev/sda")
        before = self.media("/dev/sda")
        self.shell("mkswap /dev/sda1 > /dev/null && swapon /dev/sda1")
        self.addCleanup(self.shell, "swapoff /dev/sda1")
        self.check("delete", "-force", "-velkossd", "/dev/sda", status=192, stdout=DELETING + title_and(
            "Format", "SANITIZED", "/dev/sda", f"{destruction.ON_OS_DRIVE} /dev/sda1 is used as swap."))
        self.assertEqual(self.media("/dev/sda"), before)

    def test_registers_that_do_not_come_erase_nothing(self):
        self.fill("/dev/sdc")
        before = self.media("/dev/sdc")
        self.fault("broken", "--lost-registers yes")
        refused = NO_REGISTERS.format("BROKEN (/dev/sdc)")
        for words, notice in ((["delete", "-force", "-velkossd", "/dev/sdc"], DELETING),
                              (["start", "-force", "-velkossd", "/dev/sdc", "-sanitize"], SANITIZING)):
            self.check(*words, status=15, stdout=notice + title_and("Format", "BROKEN", "/dev/sdc", refused))
        self.assertEqual(self.media("/dev/sdc"), before)
        self.assertEqual(self.drives("-d", "DeviceStatus", "-velkossd", "/dev/sdc"), [
            ("Velko SSD BROKEN",
             {"DeviceStatus": "Healthy by its attributes. The SMART status cannot be read over this connection."})])

    def test_a_drive_that_hangs_is_asked_once_and_holds_no_other_up(self):
        self.shell("nimbrel set -system LogFile=/tmp/log; nimbrel set -system EnableLog=true")
        self.addCleanup(self.shell, "nimbrel set -system EnableLog=false")
        self.fault("broken", "--hang 'ata 0xB0'")
        begin = time.monotonic()
        run = self.machine.run("nimbrel", "show", "-sensor")
        self.assertLess(time.monotonic() - begin, 90)
        self.assertIn(title_and("Health Sensors", "BROKEN sdc", "/dev/sdc", TIMED_OUT.format("/dev/sdc"))
                      .replace("SerialNumber : BROKEN sdc", "SerialNumber : BROKEN"), run.stdout)
        for heading in ("SANITIZED sda", "SECURED sdb"):
            self.assertIn(f"\n- Health Sensors {heading} -\n\nCrcErrorCount : 0\n", run.stdout)
        lines = [line for line in self.shell("cat /tmp/log").splitlines() if "/dev/sdc: " in line]
        hung = [line for line in lines if "The drive of /dev/sdc did not answer in time" in line]
        self.assertEqual((len(hung), lines[-1]), (1, hung[0]), lines)


if __name__ == "__main__":
    unittest.main()
