"""A simulated drive, over three transports at once: the kernel's nvme-tcp driver makes /dev/nvme0 of it, which nvme-cli
reads (the witness) and nimbrel through its Linux transport, and nimbrel reads it through its simulated transport. All
of them must say the same."""

import pathlib
import re
import struct
import sys
import time
import unittest
import zlib

from data import CONTROLLER, NAMESPACE, SMART_LOG, descriptors, expected, fields, of_older_drive
from machine import Machine
from witness import VmTestCase, strict_json

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "conformance"))
from show_commands import SHOWS

FOLDER = "/opt/velko/nimbrel/SimulatedDrives/drive"
NODE = f"{FOLDER}/dev/drive"  # and its namespaces: NODEn1
SERIAL = "SIM1"
NQN = f"nqn.2026-01.com.velko.nimbrel:simulated:{SERIAL}"
ADDRESS = "-t tcp -a 127.0.0.1 -s 4420"
KERNEL, SIMULATED = "0", "1"  # real drives are listed first
# What the target puts into Identify over what the drive has.
FABRICS_FIELDS = {"SGLS", "IOCCSZ", "IORCSZ", "ICDOFF", "FCATT", "MSDBD", "OFCS", "KAS"}
PREFERRED_SIZES = {"NPWG", "NPWA", "NPDG", "NPDA", "NOWS"}
CAPTURES = range(0xD3, 0xD8)  # of the maker: made again, with time and number, when a host begins to read
CAPTURED = r"(Time|Generation) : .*\n"
EVENT_LOG_CLOCKS = r"(?m)^(TSTMP|POH).*$"
KEEP_ALIVE_TIMER, TIMESTAMP = 15, 14  # the first belongs to the association, the second goes on


def firmware_image(model, revision):
    """An image that runs after a controller reset; docs/simulated-drives.md describes it."""
    checked = model.encode().ljust(40) + revision.encode().ljust(8) + b"\1" + bytes(8192 - 65)
    return b"NBSIMFW1" + struct.pack("<II", 8192, zlib.crc32(checked)) + checked


class SimulatedDriveTestCase(VmTestCase):
    MODEL = None

    @classmethod
    def prepare(cls, machine):
        if cls.MODEL is None:
            raise unittest.SkipTest("the tests are those of the classes below")

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        try:
            cls.serve()
        except BaseException:
            cls.machine.stop()
            raise

    @classmethod
    def must(cls, script):
        run = cls.machine.shell(script)
        if run.status != 0:
            raise RuntimeError(f"{script}: {run.stdout}{run.stderr}")
        return run.stdout

    @classmethod
    def prepare_host(cls):
        cls.must("cd /lib/modules && for m in $(cat order); do insmod $m.ko; done; ip link set lo up; mkdir -p /etc/nvme; "
                 "ln -s /opt/velko/nimbrel/nimbrel-simdrive /usr/local/bin/; "
                 "echo nqn.2014-08.org.nvmexpress:uuid:11111111-2222-3333-4444-555555555555 > /etc/nvme/hostnqn")

    @classmethod
    def serve(cls):
        cls.prepare_host()
        cls.must(f"nimbrel-simdrive create drive --model {cls.MODEL} --size 64Mi --serial {SERIAL}")
        cls.must(f"sed -i -e '/^short-self-test-seconds/s/=.*/= 2/' -e '/^sanitize-seconds/s/=.*/= 2/' "
                 f"{FOLDER}/description.ini")
        cls.put_on_the_network("drive")
        cls.connect()

    @classmethod
    def put_on_the_network(cls, arguments):
        cls.must(f"setsid nimbrel-simdrive serve {arguments} > /tmp/serve 2>&1 < /dev/null & "
                 "for i in $(seq 100); do grep -q subsystem /tmp/serve && exit 0; sleep 0.1; done; cat /tmp/serve; exit 1")

    @classmethod
    def connect(cls, options=""):
        cls.must(f"nvme connect {ADDRESS} -n {NQN} {options}")
        cls.await_node("/dev/nvme0n1")

    @classmethod
    def disconnect(cls):
        cls.must(f"nvme disconnect -n {NQN}")

    @classmethod
    def await_node(cls, path, is_there=True, seconds=30):
        deadline = time.monotonic() + seconds
        while (cls.machine.run("test", "-b", path).status == 0) != is_there:
            if time.monotonic() > deadline:
                raise RuntimeError(f"{path} {'did not come' if is_there else 'stayed'}: {cls.machine.shell('dmesg').stdout}")
            time.sleep(0.1)

    def nimbrel(self, index, verb, *arguments):
        """A run over one transport, with the drive's own place in the words of both."""
        words = ["nimbrel", *verb.split(), "-velkossd", index, *arguments]
        run = self.machine.run(*words)
        run.stdout = run.stdout.replace(NODE.replace("/", "\\/"), "\\/dev\\/nvme0").replace(NODE, "/dev/nvme0")
        return run.status, run.stdout, run.stderr

    def both(self, verb, *arguments, without=None):
        """What both transports show alike; `without`: lines that may differ."""
        kernel, simulated = (self.nimbrel(index, verb, *arguments) for index in (KERNEL, SIMULATED))
        if without:
            kernel, simulated = ((status, re.sub(without, "", out), err) for status, out, err in (kernel, simulated))
        self.assertEqual(kernel, simulated, arguments)
        return kernel

    def shown(self, *arguments):
        status, stdout, stderr = self.both("show -o json", *arguments)
        self.assertEqual((status, stderr), (0, ""), (arguments, stdout))
        return list(strict_json(stdout).items())

    def only(self, *arguments):
        """The one object shown, after its heading, without the drive's identity."""
        ((heading, values),) = self.shown(*arguments)
        return heading, self.without_identity(values)

    def without_identity(self, values):
        self.assertEqual(values.pop("SerialNumber"), SERIAL)
        self.assertEqual(values.pop("DevicePath"), "/dev/nvme0")
        return values

    def act(self, index, verb, *arguments):
        status, stdout, stderr = self.nimbrel(index, verb, *arguments)
        self.assertEqual((status, stderr), (0, ""), (verb, arguments, stdout))
        return stdout

    def theirs(self, command):
        run = self.machine.shell(f"{command} -o json")
        self.assertEqual((run.status, run.stderr), (0, ""), command)
        return run.json()

    def raw(self, command):
        run = self.machine.shell(f"{command} -b")
        self.assertEqual((run.status, run.stderr), (0, ""), command)
        return run.stdout_bytes


class Agreement:
    """The tests of both models; in order of their names, since some leave another drive."""

    def test_10_the_list_shows_it_twice(self):
        run = self.machine.run("nimbrel", "show", "-o", "json", "-velkossd")
        shown = strict_json(run.stdout)
        self.assertEqual(list(shown), [f"Velko SSD {SERIAL} nvme0", f"Velko SSD {SERIAL} drive"])
        drives = list(shown.values())
        self.assertEqual([drive["DevicePath"] for drive in drives], ["/dev/nvme0", NODE])
        for drive in drives:
            del drive["DevicePath"], drive["Index"]
        self.assertEqual(drives[0], drives[1])

    def test_11_identify_controller(self):
        theirs = of_older_drive(self.theirs("nvme id-ctrl /dev/nvme0"))
        found = []
        for index in (KERNEL, SIMULATED):
            _, stdout, _ = self.nimbrel(index, "show -o json", "-identify")
            ((heading, ours),) = strict_json(stdout).items()
            self.assertEqual(heading, f"Identify Controller {SERIAL}")
            found.append(self.without_identity(ours))
        self.assertEqual(fields(found[0]), expected(theirs, CONTROLLER))
        kernel, simulated = ({label: value for label, value in ours.items() if label.split()[0] not in FABRICS_FIELDS}
                             for ours in found)
        self.assertEqual(kernel, simulated)
        self.assertEqual((theirs["ioccsz"], theirs["iorcsz"], theirs["icdoff"], theirs["sgls"], theirs["kas"]),
                         (516, 1, 0, 0x340001, 10))

    def test_12_identify_namespace(self):
        theirs = of_older_drive(self.theirs("nvme id-ns -n 1 /dev/nvme0"))
        del theirs["nulbaf"]
        heading, ours = self.only("-identify", "-namespace", "1")
        self.assertEqual(heading, f"Identify Namespace 1 {SERIAL}")
        # The drive defines no preferred sizes, and nvme-cli leaves them out.
        found = {name: value for name, value in fields(ours).items() if name not in PREFERRED_SIZES}
        self.assertEqual(found, expected(theirs, NAMESPACE))
        _, ours = self.only("-identify", "-namespace", "1", "-descriptors")
        theirs = descriptors(self.theirs("nvme ns-descs -n 1 /dev/nvme0"))
        self.assertEqual(fields(ours), {"EUI64": theirs["eui64"].upper(), "NGUID": theirs["nguid"].upper(),
                                        "UUID": theirs["uuid"]})

    def test_13_lists(self):
        for command, name, key, arguments, label in (
                ("nvme list-ns", "nsid_list", "nsid", ["-identify", "-namespace", "attached"], "Namespaces"),
                ("nvme list-ns --all", "nsid_list", "nsid", ["-identify", "-namespace", "allocated"], "Namespaces"),
                ("nvme list-ctrl", "ctrl_list", "ctrl_id", ["-nvmecontroller"], "Controllers"),
                ("nvme list-ctrl -n 1", "ctrl_list", "ctrl_id", ["-namespace", "1", "-nvmecontroller"], "Controllers")):
            with self.subTest(command):
                theirs = {f"Entry {i}": entry[key] for i, entry in enumerate(self.theirs(f"{command} /dev/nvme0")[name])}
                self.assertEqual(self.only(*arguments)[1], {label: theirs})

    def test_20_every_log_page(self):
        logs = [int(label.split()[1], 16) for label in self.only("-nvmelog", "list")[1]]
        self.assertLessEqual({1, 2, 3, 4, 5, 6, 0x81}, set(logs))
        for lid in logs:
            if lid == 0:
                continue  # selects all logs
            with self.subTest(log=f"0x{lid:02X}"):
                changing = CAPTURED if lid in CAPTURES else EVENT_LOG_CLOCKS if lid == 0x0D else None
                self.both("show", "-nvmelog", f"0x{lid:02X}", without=changing)
                if lid in (0x07, 0x08, 0x0D):
                    continue  # tests of their own
                dumped = f"/tmp/log{lid}"
                status, stdout, _ = self.nimbrel(SIMULATED, f"dump -destination {dumped}", "-nvmelog", f"0x{lid:02X}")
                if lid in CAPTURES and status == 3:  # a new drive has no assert
                    self.assertIn("has a header and no data.", stdout)
                    continue
                self.assertEqual(status, 0, stdout)
                ours = self.machine.read(dumped)
                # A read at another offset than 0 gives the last capture.
                begin = 4 if lid in CAPTURES else 0
                theirs = self.raw(f"nvme get-log -i {lid} -l {len(ours) - begin} --lpo={begin} /dev/nvme0")
                self.assertEqual(ours[begin:].hex(), theirs.hex())

    def test_21_smart_log(self):
        self.must("dd if=/dev/nvme0n1 of=/dev/null bs=64k count=40 iflag=direct")
        theirs = self.theirs("nvme smart-log /dev/nvme0")
        sensor = theirs.pop("temperature_sensor_1")
        ours = fields(self.only("-nvmelog", "2")[1])
        self.assertGreater(int(theirs["host_read_commands"]), 20)
        self.assertEqual(ours.pop("TSEN1"), str(sensor - 273))
        self.assertEqual({k: v for k, v in ours.items() if not k.startswith("TSEN")}, expected(theirs, SMART_LOG))
        for view in ("-smart", "-sensor", "-performance", "-enduranceanalyzer", "-backgroundprocessing"):
            self.both("show", view)

    def test_22_telemetry(self):
        self.act(SIMULATED, "dump -destination /tmp/telemetry", "-telemetrylog")
        ours = self.machine.read("/tmp/telemetry")
        theirs = b""
        while len(theirs) < len(ours):
            size = min(len(ours) - len(theirs), 65536)
            theirs += self.raw(f"nvme get-log -i 7 -l {size} --lpo={len(theirs)} /dev/nvme0")
        self.assertEqual(ours.hex(), theirs.hex())

    def test_22_telemetry_without_data_is_a_failure(self):
        header = self.raw("nvme get-log -i 8 -l 512 /dev/nvme0")
        self.assertEqual(header[8:14], bytes(6), "the last block of each data area is 0")
        self.must("echo kept > /tmp/telemetry8")
        self.assertEqual(self.nimbrel(SIMULATED, "dump -destination /tmp/telemetry8", "-telemetrylog",
                                      "HostInitiated=False"),
                         (3, f"Error: Failed to retrieve telemetry data. The log of drive {SERIAL} (/dev/nvme0) has a "
                             "header and no data.\n", ""))
        self.assertEqual(self.machine.read("/tmp/telemetry8"), b"kept\n")

    def test_23_persistent_event_log(self):
        def read():
            log = bytearray(self.machine.read("/tmp/events"))
            log[20:44] = bytes(24)  # Timestamp and Power on Hours of the header
            return log.hex()

        self.act(SIMULATED, "dump -destination /tmp/events", "-persistenteventlog", "read", "NewContext=true")
        ours = read()
        self.act(SIMULATED, "dump", "-persistenteventlog", "release")
        size = len(ours) // 2
        self.must(f"nvme persistent-event-log -a 1 -l {size} -b /dev/nvme0 > /tmp/events")
        self.assertEqual(ours, read())
        self.must("nvme persistent-event-log -a 2 /dev/nvme0")
        self.both("show", "-persistenteventlog", without="(?m)^.*(Timestamp|TSTMP).*$")

    def test_30_every_feature(self):
        found = []
        for fid in [*range(1, 0x18), 0x84, *self.VENDOR_FEATURES]:
            if fid in (KEEP_ALIVE_TIMER, TIMESTAMP):
                continue
            target = ["-namespace", "1"] if fid in (3, 5, 0x84) else []
            with self.subTest(feature=f"0x{fid:02X}"):
                run = self.machine.shell(f"nvme get-feature -f {fid} {'-n 1' if target else ''} /dev/nvme0")
                if run.status != 0:
                    continue
                found.append(fid)
                status, stdout, _ = self.both("show", "-getfeature", fid, *target)
                self.assertEqual(status, 0, stdout)
                value = re.search(r"Current value:\s*(?:0x)?([0-9a-f]+)", run.stdout)
                if value:
                    self.assertIn(f"Dword 0 : 0x{int(value.group(1), 16):08X}\n", stdout)
        self.assertLessEqual({1, 2, 4, 5, 6, 7, 8, 9, 10, 11}, set(found))

    def test_31_a_feature_set_over_one_transport_is_seen_over_the_others(self):
        for index, celsius in ((KERNEL, 66), (SIMULATED, 67)):
            self.act(index, "set", "TempThreshold=" + str(celsius))
            theirs = self.must("nvme get-feature -f 4 /dev/nvme0")
            self.assertEqual(int(theirs.split("value:")[1].split()[0], 16), celsius + 273)
            self.assertEqual(self.only("-getfeature", "4")[1]["TempThreshold - Temperature Threshold"], f"{celsius} C")
        self.must("nvme set-feature -f 4 --value=0x155 /dev/nvme0")
        self.assertEqual(self.only("-getfeature", "4")[1]["TempThreshold - Temperature Threshold"],
                             f"{0x155 - 273} C")

    def test_40_data(self):
        self.must("dd if=/dev/urandom of=/tmp/data bs=1M count=8 && dd if=/tmp/data of=/dev/nvme0n1 bs=1M oflag=direct")
        for options in ("", "-g -G", "-D -Q 16"):
            self.disconnect()
            self.connect(options)
            self.must("dd if=/dev/nvme0n1 bs=1M count=8 iflag=direct | cmp - /tmp/data")
        self.must("dd if=/tmp/data of=/dev/nvme0n1 bs=1M seek=8 oflag=direct")
        # Trimmed over one transport, it is gone over the other.
        self.act(SIMULATED, "start -force", "-trim", "StartLBA=0", "Count=16384")
        self.must("dd if=/dev/nvme0n1 bs=1M count=8 iflag=direct of=/tmp/read && cmp -n 8388608 /tmp/read /dev/zero")
        self.must("dd if=/dev/nvme0n1 bs=1M count=8 skip=8 iflag=direct | cmp - /tmp/data")

    def test_50_namespaces_come_and_go(self):
        self.act(SIMULATED, "detach", "-namespace", "1")
        self.await_node("/dev/nvme0n1", False)  # the drive notified the kernel: there was no rescan
        self.act(KERNEL, "delete -force", "-namespace", "1")
        self.assertEqual(self.theirs("nvme list-ns --all /dev/nvme0"), {"nsid_list": []})
        self.must("nvme create-ns /dev/nvme0 -s 32768 -c 32768 -f 0")
        self.act(SIMULATED, "create", "-namespace", "Size=16384")
        self.assertEqual(self.only("-identify", "-namespace", "allocated")[1], {"Namespaces": {"Entry 0": 1, "Entry 1": 2}})
        self.act(SIMULATED, "attach", "-namespace", "1")
        self.await_node("/dev/nvme0n1")
        self.must("nvme attach-ns /dev/nvme0 -n 2 -c 1")
        self.must("nvme ns-rescan /dev/nvme0")
        self.assertEqual(self.only("-identify", "-namespace", "attached")[1], {"Namespaces": {"Entry 0": 1, "Entry 1": 2}})
        for nsid, size in ((1, 32768), (2, 16384)):
            self.assertEqual(self.theirs(f"nvme id-ns -n {nsid} /dev/nvme0")["nsze"], size)
            self.both("show", "-identify", "-namespace", str(nsid))
        for index in (KERNEL, SIMULATED):
            status, stdout, _ = self.nimbrel(index, "create", "-namespace", "Size=999999999")
            self.assertNotEqual(status, 0, stdout)
        self.act(KERNEL, "detach", "-namespace", "2")
        self.act(KERNEL, "delete -force", "-namespace", "2")

    def test_60_format(self):
        self.must("dd if=/dev/urandom of=/dev/nvme0n1 bs=1M count=1 oflag=direct")
        self.act(KERNEL, "start -force", "-nvmeformat", f"LBAFormat={self.FORMAT_OF_4KIB}")
        theirs = self.theirs("nvme id-ns -n 1 /dev/nvme0")
        self.assertEqual((theirs["flbas"], theirs["nuse"]), (self.FORMAT_OF_4KIB, 0))
        self.both("show", "-identify", "-namespace", "1")
        self.assertEqual(self.must("cat /sys/block/nvme0n1/queue/logical_block_size"), "4096\n")
        self.must("dd if=/dev/nvme0n1 bs=1M count=1 iflag=direct of=/tmp/read && cmp -n 1048576 /tmp/read /dev/zero")
        self.act(SIMULATED, "start -force", "-nvmeformat", "LBAFormat=0")
        self.assertEqual(self.theirs("nvme id-ns -n 1 /dev/nvme0")["flbas"], 0)
        self.must("nvme ns-rescan /dev/nvme0")

    def test_70_self_test(self):
        self.must("nvme device-self-test /dev/nvme0 -n 0xffffffff -s 1")
        deadline = time.monotonic() + 30
        while (log := self.theirs("nvme self-test-log /dev/nvme0"))["Current Device Self-Test Operation"]:
            self.assertLess(time.monotonic(), deadline, log)
            time.sleep(0.5)
        self.assertEqual(log["List of Valid Reports"][0]["Self test result"], 0)
        self.both("show", "-selftest")
        self.both("show", "-nvmelog", "6")

    def test_71_sanitize(self):
        self.must("dd if=/dev/urandom of=/dev/nvme0n1 bs=1M count=1 oflag=direct")
        self.must("nvme sanitize /dev/nvme0 -a 2")
        deadline = time.monotonic() + 30
        while (log := self.theirs("nvme sanitize-log /dev/nvme0")["nvme0"])["sprog"] != 65535:
            self.assertLess(time.monotonic(), deadline, log)
            time.sleep(0.5)
        self.both("show", "-nvmelog", "0x81")
        self.must("dd if=/dev/nvme0n1 bs=1M count=1 iflag=direct of=/tmp/read && cmp -n 1048576 /tmp/read /dev/zero")

    def test_80_resets(self):
        for command in ("nvme reset", "nvme subsystem-reset"):
            with self.subTest(command):
                self.must(f"{command} /dev/nvme0")
                self.must("for i in $(seq 200); do [ $(cat /sys/class/nvme/nvme0/state) = live ] && exit 0; sleep 0.1; "
                          "done; exit 1")
                self.must("dd if=/dev/nvme0n1 of=/dev/null bs=4k count=1 iflag=direct")
                self.both("show", "-nvmelog", "2")
        self.act(KERNEL, "reset", "-nvmecontroller")
        self.must("dd if=/dev/nvme0n1 of=/dev/null bs=4k count=1 iflag=direct")

    def test_81_firmware(self):
        model = self.theirs("nvme id-ctrl /dev/nvme0")["mn"].strip()
        self.machine.write("/tmp/image", firmware_image(model, "NEW00001"))
        self.must("nvme fw-download /dev/nvme0 -f /tmp/image -x 4096 && nvme fw-commit /dev/nvme0 -s 2 -a 1")
        self.both("show", "-nvmelog", "3")
        run = self.machine.shell("nvme fw-commit /dev/nvme0 -s 2 -a 2")
        self.both("show", "-nvmelog", "3")
        self.act(KERNEL, "reset", "-nvmecontroller")
        self.assertEqual(self.theirs("nvme id-ctrl /dev/nvme0")["fr"].strip(), "NEW00001", run)
        self.both("show", "-nvmelog", "3")


class VelkoDrive(Agreement, SimulatedDriveTestCase):
    MODEL = "velko"
    FORMAT_OF_4KIB = 2
    VENDOR_FEATURES = (0xC1, 0xC2, 0xC6, 0xC8, 0xC9, 0xCB, 0xD5, 0xD9, 0xE2, 0xE3)


class OcpDrive(Agreement, SimulatedDriveTestCase):
    MODEL = "ocp"
    FORMAT_OF_4KIB = 1
    VENDOR_FEATURES = tuple(range(0xC0, 0xC8))


class MandatoryPartsAlone(SimulatedDriveTestCase):
    """A drive that offers nothing optional, and records each command that asks for more."""

    MODEL = "nvme-1.4"

    def seen_by_nvme(self):
        return (self.theirs("nvme smart-log /dev/nvme0")["num_err_log_entries"],
                self.raw("nvme get-log -i 1 -l 4096 /dev/nvme0"))

    def test_nothing_that_is_shown_makes_an_entry(self):
        # The driver itself asks for more while it connects.
        before = self.seen_by_nvme()
        for line in (line for lines in SHOWS.values() for line in lines):
            self.machine.run("nimbrel", *line.split())
            self.assertEqual(self.seen_by_nvme(), before, line)
        self.must("mkdir /tmp/logs && nimbrel start -scan Logs -velkossd 0 DirectoryPath=/tmp/logs")
        self.assertEqual(self.seen_by_nvme(), before)

    def test_the_drive_does_record_what_it_does_not_have(self):
        before, _ = self.seen_by_nvme()
        self.assertNotEqual(self.machine.shell("nvme get-log -i 0xC0 -l 512 /dev/nvme0").status, 0)
        after, entries = self.seen_by_nvme()
        self.assertEqual((int(after), entries[12:14]), (int(before) + 1, b"\x12\x82"),
                         "Invalid Log Page, Do Not Retry")


if __name__ == "__main__":
    unittest.main()
