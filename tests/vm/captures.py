"""Drives that are captured under the kernel's driver, an emulated controller, the kernel's own target and an emulated
SATA drive, and simulated drives that answer what was captured: nvme-cli and smartctl read the same from both, and so
does nimbrel. A capture leaves no entry in a drive's error log."""

import os
import pathlib
import re
import shutil
import subprocess
import unittest

from machine import Controller, Disk, Namespace
from sata import SataTestCase
from simulated_drive import ADDRESS, SimulatedDriveTestCase

FOLDER = "--folder /root/drives"
FABRICS = {"sgls", "ioccsz", "iorcsz", "icdoff", "fcatt", "msdbd", "ofcs", "kas", "cntlid", "mdts", "maxcmd"}
# What may fail comes first: the kernel's target counts it in the logs that are read after it.
FEATURES = ("nvme get-feature -f 1", "nvme get-feature -f 2", "nvme get-feature -f 4", "nvme get-feature -f 5 -n 1",
            "nvme get-feature -f 6")
TOOL = ("-getfeature 2", "-getfeature 4", "-smart", "-sensor", "-nvmelog list", "-nvmelog 1", "-nvmelog 2",
        "-nvmelog 3", "-nvmelog 5", "-identify", "-identify -namespace 2")
TEXTS = ("nvme list-ns", "nvme ns-descs -n 1", "smartctl -x")
# Of nvme-cli, bytes as they come.
STRUCTURES = ("nvme id-ns -n 1 -b", "nvme id-ns -n 2 -b", "nvme get-log -i 1 -l 4096 -b", "nvme get-log -i 2 -l 512 -b",
              "nvme get-log -i 3 -l 512 -b", "nvme get-log -i 5 -l 4096 -b")
TOOL_OF_SATA = ("-smart", "-sensor", "-identify", "-selftest", "-performance")
WITNESSES_OF_SATA = ("smartctl -d sat -x", "hdparm -I", "sg_sat_identify -HHH")
SERVE_SATA = """set -e
cd /lib/modules; for m in $(cat iscsi); do insmod $m.ko || lsmod | grep -q ${m//-/_}; done; ip link set lo up
setsid nimbrel-simdrive serve sata > /tmp/serve 2>&1 < /dev/null &
for i in $(seq 100); do grep -q target /tmp/serve && break; sleep 0.1; done
iscsistart -i iqn.2026-01.com.example:host -t $(sed -n 's/^target //p' /tmp/serve) -g 1 -a 127.0.0.1 -p 3260
until [ $(ls /sys/block | grep -c '^sd') = 2 ]; do sleep 0.1; done
"""
COLLECTION = pathlib.Path(__file__).resolve().parents[1] / "captures"
FABRICS_LINES = r"(?mi)^ *(" + "|".join(FABRICS | {"ctratt"}) + r")\b.*$"
NVMET = """set -e
cd /lib/modules; for m in $(cat nvmet); do insmod $m.ko || lsmod | grep -q ${{m//-/_}}; done
truncate -s 64M /tmp/one; truncate -s 32M /tmp/two
mount -t configfs none /sys/kernel/config; cd /sys/kernel/config/nvmet
mkdir subsystems/{name} ports/1 ports/1/ana_groups/2
cd subsystems/{name}; echo 1 > attr_allow_any_host; echo {serial} > attr_serial; cd namespaces; mkdir 1 2
echo 1 > 1/buffered_io; echo /tmp/one > 1/device_path
echo 1 > 2/buffered_io; echo /tmp/two > 2/device_path; echo 2 > 2/ana_grpid
echo 1 > 1/enable; echo 1 > 2/enable
cd ../../../ports/1; echo tcp > addr_trtype; echo ipv4 > addr_adrfam
echo 127.0.0.1 > addr_traddr; echo 4430 > addr_trsvcid
echo non-optimized > ana_groups/2/ana_state; ln -s ../../subsystems/{name} subsystems/
nvme connect -t tcp -a 127.0.0.1 -s 4430 -n {name}
"""
LINES_OF_HOST = r"(?m)^(Local Time is|Controller ID|Number of Namespaces|Maximum Data Transfer Size).*\n"


def keep_capture(machine, path, name):
    """With NIMBREL_TAKE_CAPTURES in the environment: takes the capture of tests/captures/ again, masked."""
    if "NIMBREL_TAKE_CAPTURES" not in os.environ:
        return
    run = machine.shell(f"nimbrel-simdrive capture {path} /root/{name} --mask >&2 && tar -C /root -cf - {name}")
    shutil.rmtree(COLLECTION / name, ignore_errors=True)
    subprocess.run(["tar", "-C", COLLECTION, "-xf", "-", "--no-same-owner"], input=run.stdout_bytes, check=True)


class Replayed:
    """A drive under the kernel's driver is captured, made unavailable, and replayed over the network."""

    MODEL = "captured"

    FEATURES, TOOL, TEXTS, STRUCTURES = FEATURES, TOOL, TEXTS, STRUCTURES

    @classmethod
    def serve(cls):
        cls.prepare_host()
        cls.make_real()
        cls.real = cls.answers()
        cls.errors = [cls.number_of_errors()]
        cls.said = cls.must("nimbrel-simdrive capture /dev/nvme0 /root/kept && "
                            "nimbrel-simdrive capture /dev/nvme0 /root/masked --mask")
        cls.errors.append(cls.number_of_errors())
        keep_capture(cls.machine, "/dev/nvme0", cls.COLLECTED)
        # Both have one name: the kernel would take them for two paths of one drive.
        cls.remove_real()
        cls.must(f"nimbrel-simdrive create drive --from /root/kept {FOLDER}")
        cls.put_on_the_network(f"drive {FOLDER}")
        cls.must(f"nvme connect {ADDRESS} -n {cls.NQN}")
        cls.await_node("/dev/nvme0n1")

    @classmethod
    def theirs_of(cls, command):
        return cls.machine.shell(f"{command} /dev/nvme0 -o json").json()

    @classmethod
    def number_of_errors(cls):
        return cls.theirs_of("nvme smart-log")["num_err_log_entries"]

    @classmethod
    def shown(cls, command):
        run = cls.machine.shell(f"{command} /dev/nvme0")
        return run.status, re.sub(LINES_OF_HOST, "", run.stdout), run.stderr

    @classmethod
    def answers(cls):
        found = {command: cls.shown(command) for command in cls.FEATURES}
        for words in cls.TOOL:
            run = cls.machine.run("nimbrel", "show", "-velkossd", cls.SERIAL, *words.split())
            found[words] = run.status, re.sub(FABRICS_LINES, "", run.stdout), run.stderr
        found.update((command, cls.shown(command)) for command in cls.TEXTS)
        for command in cls.STRUCTURES:
            run = cls.machine.shell(f"{command} /dev/nvme0")
            found[command] = run.status, run.stdout_bytes, run.stderr
        found["id-ctrl"] = {key: value for key, value in cls.theirs_of("nvme id-ctrl").items() if key not in FABRICS}
        return found

    def test_20_witnesses_and_tool_read_the_same(self):
        replayed = self.answers()
        for command, answer in self.real.items():
            with self.subTest(command):
                self.assertEqual(replayed[command], answer)

    def test_30_blocks_read_as_zeros_and_are_not_written(self):
        self.assertEqual(self.must("dd if=/dev/nvme0n2 bs=4k count=8 2>/dev/null | tr -d '\\0' | wc -c"), "0\n")
        self.assertNotEqual(self.machine.shell("dd if=/dev/urandom of=/dev/nvme0n1 bs=4k count=1 oflag=direct").status, 0)
        self.assertNotEqual(self.machine.run("nimbrel", "delete", "-force", "-velkossd", self.SERIAL).status, 0)

    def test_40_a_masked_one_has_no_serial_number(self):
        files = {folder: self.must(f"cat /root/{folder}/*.bin | tr -d '\\0' | grep -ac {self.SECRET} || true")
                 for folder in ("kept", "masked")}
        self.assertNotEqual(files["kept"], "0\n")
        self.assertEqual(files["masked"], "0\n")


class CapturedController(Replayed, SimulatedDriveTestCase):
    SERIAL = "S1"
    NQN = "nqn.2019-08.org.qemu:S1"  # as QEMU reports it
    SECRET = "qemu:S1"
    COLLECTED = "qemu-nvme"
    FEATURES = FEATURES + ("nvme get-feature -f 4 -s 1",)
    STRUCTURES = STRUCTURES + ("nvme get-log -i 2 -l 256 --lpo=256 -b",)
    controllers = [Controller(SERIAL, [Namespace(64), Namespace(32, block=4096)])]

    @classmethod
    def make_real(cls):
        pass

    @classmethod
    def remove_real(cls):
        cls.must("echo 1 > /sys/class/nvme/nvme0/device/remove")

    def test_10_a_capture_leaves_no_error(self):
        self.assertEqual(self.errors[0], self.errors[1])
        self.assertNotIn("Refused", self.said)
        for command, (status, *_) in ((command, answer) for command, answer in self.real.items() if command != "id-ctrl"):
            self.assertEqual(status, 0, command)


class CapturedTarget(Replayed, SimulatedDriveTestCase):
    """The kernel's target, with namespaces in two ANA groups of which one is not optimized."""

    SERIAL = "TARGET1"
    NQN = "nqn.2026-01.com.example:target"
    SECRET = SERIAL
    COLLECTED = "linux-target-ana"
    FEATURES = FEATURES + ("nvme get-feature -f 0x84 -n 1",)
    TOOL = TOOL + ("-nvmelog 0x0C", "-nvmecontroller")
    TEXTS = TEXTS + ("nvme ana-log",)
    STRUCTURES = STRUCTURES + ("nvme get-log -i 0x0C -l 96 -b",)

    @classmethod
    def make_real(cls):
        cls.must(NVMET.format(name=cls.NQN, serial=cls.SERIAL))
        cls.await_node("/dev/nvme0n1")
        cls.await_node("/dev/nvme0n2")

    @classmethod
    def remove_real(cls):
        cls.must(f"nvme disconnect -n {cls.NQN}")

    def test_10_the_driver_has_the_states_of_the_groups(self):
        self.await_node("/dev/nvme0n2")
        states = self.must("cd /sys/class/nvme/nvme0 && for n in nvme0c0n*; do echo $(cat $n/nsid $n/ana_*); done | sort")
        self.assertEqual(states, "1 1 optimized\n2 2 non-optimized\n")  # the kernel numbers its nodes in any order

    def test_11_the_driver_may_ask_for_the_events_that_the_target_has(self):
        self.assertNotIn("Failed to configure AEN", self.must("dmesg"))


class CapturedDisk:
    """A SATA drive of libata, and its replay both in its folder and as a disk of the kernel's iSCSI initiator."""

    REPLAYED = "/opt/velko/nimbrel/SimulatedDrives/sata/dev/sata"

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.real = cls.node["SATA1"]
        cls.shell("ln -s /opt/velko/nimbrel/nimbrel-simdrive /usr/local/bin/")
        cls.said = cls.shell(f"nimbrel-simdrive capture {cls.real} /root/sata && nimbrel-simdrive create sata --from /root/sata")
        keep_capture(cls.machine, cls.real, cls.COLLECTED)
        cls.shell(SERVE_SATA)
        (cls.served,) = cls.shell("ls /sys/block | grep '^sd' | sed s,^,/dev/,").replace(cls.real + "\n", "").split()

    def shown(self, node):
        found = {}
        for words in TOOL_OF_SATA:
            run = self.machine.run("nimbrel", "show", "-velkossd", node, *words.split())
            found[words] = run.status, run.stdout.replace(node, "NODE"), run.stderr
        return found

    def check_same(self, real, replayed):
        for words, answer in real.items():
            with self.subTest(words):
                self.assertEqual(replayed[words], answer)

    def test_nothing_is_refused(self):
        self.assertNotIn("Refused", self.said)

    def test_nimbrel_reads_the_same_from_all_three(self):
        real = self.shown(self.real)
        self.assertEqual((real["-smart"][0], real["-identify"][0]), (0, 0))
        self.check_same(real, self.shown(self.REPLAYED))
        self.check_same(real, self.shown(self.served))

    def witnessed(self, node):
        """Without standard error: there hdparm shows the sense data of what a drive does not have, which differ."""
        runs = {command: self.machine.shell(f"{command} {node}") for command in WITNESSES_OF_SATA}
        return {command: (run.status, re.sub(LINES_OF_HOST, "", run.stdout).replace(node, "NODE"))
                for command, run in runs.items()}

    def test_witnesses_read_the_same_from_both_disks(self):
        real = self.witnessed(self.real)
        self.assertIn("SATA1", real["hdparm -I"][1])
        self.assertIn("SMART overall-health self-assessment test result: PASSED", real["smartctl -d sat -x"][1])
        self.check_same(real, self.witnessed(self.served))

    def test_blocks_are_not_written(self):
        run = self.machine.shell(f"dd if={self.served} bs=4k count=8 iflag=direct 2>/dev/null | cmp -n 32768 - /dev/zero && "
                                 f"dd if=/dev/urandom of={self.served} bs=4k count=1 oflag=direct")
        self.assertIn("error", run.stderr)
        self.assertNotEqual(self.machine.run("nimbrel", "delete", "-force", "-velkossd", self.served).status, 0)


class CapturedPata(CapturedDisk, SataTestCase):
    COLLECTED = "qemu-sata"
    disks = [Disk("SATA1", device="ide-hd,bus=ide.0,unit=0", options="wwn=0x5000c50012345678")]


class CapturedAhci(CapturedDisk, SataTestCase):
    COLLECTED = "qemu-ahci"
    kernel = "full"
    modules = "controllers"
    extra = ("-device", "ich9-ahci,id=ahci")
    disks = [Disk("SATA1", device="ide-hd,bus=ahci.0", options="wwn=0x5000c50012345678")]


if __name__ == "__main__":
    unittest.main()
