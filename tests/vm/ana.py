"""A simulated drive with two controllers, each on a port of its own: the kernel's driver makes one block device with
two paths of it, follows the states of the paths, and nimbrel sees one drive."""

import time
import unittest

from simulated_drive import NQN, SERIAL, SimulatedDriveTestCase
from witness import strict_json

# nimbrel lists the drives of another folder alone, so that the kernel's driver is the only way to this one.
FOLDER = "--folder /root/drives"
DATA = "/tmp/data"


class TwoControllers(SimulatedDriveTestCase):
    MODEL = "velko"

    @classmethod
    def serve(cls):
        cls.prepare_host()
        cls.must(f"nimbrel-simdrive create drive --controllers 2 --size 64Mi --serial {SERIAL} {FOLDER}")
        cls.put_on_the_network(f"drive {FOLDER}")
        cls.connect()

    @classmethod
    def connect(cls, options=""):
        for port in (4420, 4421):
            cls.must(f"nvme connect -t tcp -a 127.0.0.1 -s {port} -n {NQN} {options}")
        cls.await_node("/dev/nvme0n1")

    def setUp(self):
        self.addCleanup(self.fault, "clear")

    def fault(self, *arguments):
        self.must(f"nimbrel-simdrive fault drive {' '.join(arguments)} {FOLDER}")

    def ana(self, states):
        self.fault(f"--ana '{states}'")

    def states(self):
        """As the kernel knows them, of controller 1 and 2, without a path that goes meanwhile."""
        return self.must("cat /sys/class/nvme/nvme*/nvme0c*n1/ana_state 2> /dev/null || true").split()

    def await_that(self, condition, what, seconds=30):
        deadline = time.monotonic() + seconds
        while not condition():
            if time.monotonic() > deadline:
                self.fail(f"{what}: {self.states()}")
            time.sleep(0.1)

    def await_states(self, *states):
        self.await_that(lambda: self.states() == list(states), states)

    def test_10_the_kernel_sees_one_drive_with_two_paths(self):
        self.await_states("optimized", "optimized")
        self.assertEqual(self.must("cd /sys/class/nvme-subsystem; ls; ls -d nvme-subsys0/nvme?; cat nvme-subsys0/subsysnqn"),
                         f"nvme-subsys0\nnvme-subsys0/nvme0\nnvme-subsys0/nvme1\n{NQN}\n")
        self.assertEqual(self.must("cat /sys/class/nvme/nvme[01]/cntlid; ls /dev/nvme*n*; ls /sys/block | grep nvme"),
                         "1\n2\n/dev/nvme0n1\nnvme0c0n1\nnvme0c1n1\nnvme0n1\n")
        paths = self.must("nvme list-subsys /dev/nvme0n1")
        for number, port in ((0, 4420), (1, 4421)):
            line = next(line for line in paths.splitlines() if f" nvme{number} " in line)
            for word in ("tcp", f"trsvcid={port}", "live", "optimized"):
                self.assertIn(word, line)

    def test_11_identify_says_it(self):
        for number in (0, 1):
            theirs = self.theirs(f"nvme id-ctrl /dev/nvme{number}")
            self.assertEqual({key: theirs[key] for key in ("sn", "cmic", "cntlid", "anatt", "anacap", "anagrpmax", "nanagrpid")},
                             {"sn": SERIAL.ljust(20), "cmic": 11, "cntlid": number + 1, "anatt": 10, "anacap": 0x5F,
                              "anagrpmax": 16, "nanagrpid": 16})
            theirs = self.theirs(f"nvme id-ns -n 1 /dev/nvme{number}")
            self.assertEqual((theirs["nmic"], theirs["anagrpid"]), (1, 1))
            for command in ("nvme list-ctrl", "nvme list-ctrl -n 1"):
                self.assertEqual(self.theirs(f"{command} /dev/nvme{number}")["ctrl_list"], [{"ctrl_id": 1}, {"ctrl_id": 2}])

    def test_12_the_log_says_it(self):
        self.ana("2:1 non-optimized")
        self.await_states("optimized", "non-optimized")
        for number, state in ((0, 1), (1, 2)):
            log = self.raw(f"nvme get-log -i 0x0C -l 52 /dev/nvme{number}")
            self.assertEqual((log[8], log[16], log[20], log[32], log[48]), (1, 1, 1, state, 1))
        self.assertIn("non-optimized", self.must("nvme ana-log /dev/nvme1"))
        run = self.machine.shell("nimbrel show -nvmelog 0x0C -velkossd /dev/nvme1")
        self.assertEqual(run.status, 0, run.stdout)
        self.assertIn("\n  STATE - Asymmetric Namespace Access State : non-optimized\n", run.stdout)

    def test_20_io_goes_on_when_a_path_is_lost(self):
        self.must(f"dd if=/dev/urandom of={DATA} bs=1M count=16")
        for lost, states in (("1:all inaccessible", ("inaccessible", "optimized")),
                             ("2:all persistent-loss", ("optimized", "persistent-loss"))):
            with self.subTest(lost):
                self.must("dd if=/dev/zero of=/dev/nvme0n1 bs=1M count=16 oflag=direct")
                self.must(f"(dd if={DATA} of=/dev/nvme0n1 bs=16k oflag=direct; echo $? > /tmp/done) > /dev/null 2>&1 & "
                          "rm -f /tmp/done; sleep 0.3")
                self.ana(lost)
                self.await_that(lambda: self.machine.run("test", "-e", "/tmp/done").status == 0, "dd", 120)
                self.assertEqual(self.must("cat /tmp/done"), "0\n")
                self.await_states(*states)
                self.must(f"dd if=/dev/nvme0n1 bs=1M count=16 iflag=direct | cmp - {DATA}")
                self.fault("clear")
                self.await_states("optimized", "optimized")

    def test_21_io_waits_while_no_path_is_there(self):
        self.ana("1:all inaccessible, 2:all inaccessible")
        self.await_states("inaccessible", "inaccessible")
        self.must("rm -f /tmp/done; (dd if=/dev/nvme0n1 of=/dev/null bs=4k count=1 iflag=direct; echo $? > /tmp/done) "
                  "> /dev/null 2>&1 &")
        time.sleep(1)
        self.assertNotEqual(self.machine.run("test", "-e", "/tmp/done").status, 0)
        self.ana("1:all inaccessible")
        self.await_that(lambda: self.machine.run("test", "-e", "/tmp/done").status == 0, "dd")
        self.assertEqual(self.must("cat /tmp/done"), "0\n")

    def run_nimbrel(self, line):
        run = self.machine.shell(f"nimbrel {line}")
        return run.status, run.stdout

    def test_30_nimbrel_sees_one_drive(self):
        status, stdout = self.run_nimbrel("show -o json -d SerialNumber,DevicePath -velkossd")
        self.assertEqual(status, 0, stdout)
        self.assertEqual([drive["DevicePath"] for drive in strict_json(stdout).values()], ["/dev/nvme0", "/dev/nvme1"])
        # One serial number of two controllers is one drive.
        for name in (SERIAL, "/dev/nvme0", "/dev/nvme0n1"):
            status, stdout = self.run_nimbrel(f"show -o json -nvmecontroller -velkossd {name}")
            self.assertEqual((status, list(strict_json(stdout).values())), (0, [
                {"SerialNumber": SERIAL, "DevicePath": "/dev/nvme0", "Controllers": {"Entry 0": 1, "Entry 1": 2}}]), stdout)

    def test_31_a_mounted_drive_is_refused_on_both_paths(self):
        self.must("mke2fs -q -F /dev/nvme0n1 && mount -t ext2 /dev/nvme0n1 /mnt")
        self.addCleanup(self.must, "umount /mnt")
        for name in (SERIAL, "/dev/nvme0", "/dev/nvme1"):
            status, stdout = self.run_nimbrel(f"delete -force -velkossd {name}")
            self.assertEqual(status, 241, stdout)
            self.assertIn("/dev/nvme0n1 is mounted on /mnt", stdout)

    def test_32_a_format_takes_the_path_that_was_named(self):
        self.must("dd if=/dev/urandom of=/dev/nvme0n1 bs=1M count=1 oflag=direct")
        self.ana("1:all inaccessible")
        self.await_states("inaccessible", "optimized")
        status, stdout = self.run_nimbrel("delete -force -velkossd /dev/nvme0")
        self.assertNotEqual(status, 0, stdout)
        self.assertIn("Asymmetric Access Inaccessible (status code type 0x3, status code 0x02, opcode 0x80)", stdout)
        status, stdout = self.run_nimbrel("delete -force -velkossd /dev/nvme1")
        self.assertEqual(status, 0, stdout)
        self.must("dd if=/dev/nvme0n1 bs=1M count=1 iflag=direct | cmp -n 1048576 - /dev/zero")

    def test_33_a_namespace_is_attached_to_each_controller_alone(self):
        def paths():
            return self.must("ls -d /sys/class/nvme/nvme[01]/nvme0c*n1 | sed 's|.*/||'").split()

        self.assertEqual(paths(), ["nvme0c0n1", "nvme0c1n1"])
        status, stdout = self.run_nimbrel("detach -velkossd /dev/nvme0 -namespace 1 -nvmecontroller 2")
        self.assertEqual(status, 0, stdout)
        self.await_that(lambda: paths() == ["nvme0c0n1"], "the second path goes")
        status, stdout = self.run_nimbrel("show -o json -namespace 1 -nvmecontroller -velkossd /dev/nvme0")
        self.assertEqual((status, [drive["Controllers"] for drive in strict_json(stdout).values()]), (0, [{"Entry 0": 1}]))
        self.must("dd if=/dev/nvme0n1 of=/dev/null bs=4k count=1 iflag=direct")
        status, stdout = self.run_nimbrel("attach -velkossd /dev/nvme0 -namespace 1 -nvmecontroller 2")
        self.assertEqual(status, 0, stdout)
        self.await_that(lambda: paths() == ["nvme0c0n1", "nvme0c1n1"], "the second path comes")

    def test_40_a_controller_that_goes_leaves_the_other(self):
        """The last test: the driver may give the controller that comes back another number."""
        self.must("nvme disconnect -d nvme0")
        self.must("dd if=/dev/nvme0n1 of=/dev/null bs=4k count=1 iflag=direct")
        self.must(f"nvme connect -t tcp -a 127.0.0.1 -s 4420 -n {NQN}")
        self.await_states("optimized", "optimized")


if __name__ == "__main__":
    unittest.main()
