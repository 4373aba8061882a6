"""The logs that tests/vm/simulated_sata.py cannot fill: a simulated SATA drive that answers logs which are written out
here, as a disk of the kernel. What a health scan shows of them in words is what smartctl reads, field by field."""

import json
import struct
import unittest

from served_sata import FOLDER
from witness import VmTestCase, strict_json

SERIAL, PORT, DISK = "LOGS1", 3260, "/dev/sda"
NAME = f"iqn.2026-01.com.velko.nimbrel:simulated:{SERIAL.lower()}"
PAGE = 512
READ_LOG_EXT, SMART, IDENTIFY_DEVICE = 0x2F, 0xB0, 0xEC
SMART_READ_DATA, SMART_READ_LOG = 0xD0, 0xD5
SELECTIVE_TESTS = 0x40  # of the capabilities in SMART data
# By identifier: bytes, value. Counters that are missing are not of this drive.
COUNTERS = {0x001: (2, 5), 0x002: (4, 65537), 0x003: (2, 1), 0x004: (2, 2), 0x005: (2, 3), 0x006: (2, 4), 0x007: (2, 6),
            0x008: (2, 7), 0x009: (2, 8), 0x00A: (6, 281474976710655), 0x00B: (2, 9), 0x00D: (2, 10), 0x00F: (2, 11),
            0x010: (2, 12), 0x012: (2, 13), 0x013: (8, 14), 0x8001: (4, 70000)}
DEFECTS = ((1000, 4096), (70000, 0x123456789A))
SPANS = ((100, 200), (0, 0), (0x100000000, 0x1FFFFFFFF), (0, 0), (7, 7))
# Register by register: the command, FEATURE, COUNT, LBA, ERROR, LBA after it, hours. The newest is the last.
ERRORS = ((0xB0, 0xD0, 1, 0x0C24F00, 0x04, 0x0C24F00, 99), (0x25, 0, 8, 0x3445566, 0x40, 0x3445568, 1000))

COUNTER_NAMES = {
    0x001: "Commands failed by an interface CRC error", 0x002: "R_ERR for data FIS",
    0x003: "R_ERR for data FIS from the drive", 0x004: "R_ERR for data FIS to the drive",
    0x005: "R_ERR for non-data FIS", 0x006: "R_ERR for non-data FIS from the drive",
    0x007: "R_ERR for non-data FIS to the drive", 0x008: "Retries of non-data FIS from the drive",
    0x009: "Transitions from PhyRdy to PhyNRdy", 0x00A: "Register FIS sent after COMRESET",
    0x00B: "CRC errors in FIS to the drive", 0x00D: "Non-CRC errors in FIS to the drive",
    0x00F: "R_ERR for data FIS to the drive (CRC)", 0x010: "R_ERR for data FIS to the drive (non-CRC)",
    0x012: "R_ERR for non-data FIS to the drive (CRC)", 0x013: "R_ERR for non-data FIS to the drive (non-CRC)",
    0x8001: "Counter 0x8001"}


def lba_of(registers):
    """Of 28 bits; smartctl has the upper four in DEVICE."""
    return registers["lba"] | (registers["device"] & 0xF) << 24


def summed(page):
    """A page whose last byte makes the sum of all bytes 0."""
    return page[:-1] + bytes([-sum(page[:-1]) % 256])


def with_bytes(data, *parts):
    data = bytearray(data)
    for offset, layout, *numbers in parts:
        struct.pack_into("<" + layout, data, offset, *numbers)
    return bytes(data)


def directory(data, pages):
    return with_bytes(data, *((2 * address, "H", count) for address, count in pages.items()))


def pending_defects():
    return with_bytes(bytes(PAGE), (0, "I", len(DEFECTS)),
                      *((16 * i, "IIQ", hours, 0, lba) for i, (hours, lba) in enumerate(DEFECTS, 1)))


def phy_counters():
    page = bytes(4)
    for identifier, (size, value) in COUNTERS.items():
        page += struct.pack("<H", identifier | size // 2 << 12) + value.to_bytes(size, "little")
    return summed(page.ljust(PAGE, b"\0"))


def sct_status():
    return with_bytes(bytes(PAGE), (0, "HHHI", 3, 1, 0x0001, 0), (10, "B", 4), (200, "bbbbb", 38, -5, 45, -128, 61),
                      (206, "II", 3, 2))


def selective_log():
    page = with_bytes(bytes(PAGE), (0, "H", 1), *((2 + 16 * i, "QQ", *span) for i, span in enumerate(SPANS)),
                      (492, "QHH", 0x100000007, 3, 0x0A), (508, "H", 30))
    return summed(page)


def summary_errors():
    page = with_bytes(bytes(PAGE), (0, "BB", 1, len(ERRORS)), (452, "H", 7))
    for number, (command, feature, count, lba, error, failing, hours) in enumerate(ERRORS):
        entry = 2 + 90 * number
        low, after = lba.to_bytes(4, "little"), failing.to_bytes(4, "little")
        page = with_bytes(page, (entry + 48, "BBB3sBB", 0, feature, count, low[:3], 0xE0 | low[3], command),
                          (entry + 60, "BBB3sBB", 0, error, count, after[:3], 0xE0 | after[3], 0x51),
                          (entry + 88, "H", hours))
    return summed(page)


class SataLogs(VmTestCase):
    shown = None

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.shell("cd /lib/modules; for m in $(cat iscsi); do insmod $m.ko || lsmod | grep -q ${m//-/_}; done; "
                  "ip link set lo up; ln -s /opt/velko/nimbrel/nimbrel-simdrive /usr/local/bin/")
        cls.shell(f"nimbrel-simdrive create source --model sata --size 16Mi --serial {SERIAL} && "
                  f"nimbrel-simdrive capture {FOLDER}/source/dev/source /root/logs && nimbrel-simdrive remove source")
        cls.write_logs()
        cls.shell(f"""nimbrel-simdrive create drive --from /root/logs || exit 1
            setsid nimbrel-simdrive serve drive --port {PORT} > /tmp/serve 2>&1 < /dev/null &
            for i in $(seq 100); do grep -q target /tmp/serve && break; sleep 0.1; done
            iscsistart -i iqn.2026-01.com.example:host -t {NAME} -g 1 -a 127.0.0.1 -p {PORT} > /tmp/login 2>&1
            for i in $(seq 100); do [ ! -b {DISK} ] || exit 0; sleep 0.1; done; cat /tmp/serve /tmp/login; exit 1""")

    @classmethod
    def shell(cls, script):
        run = cls.machine.shell(script)
        if run.status != 0:
            raise RuntimeError(f"{script}: {run.stdout}{run.stderr}")
        return run.stdout

    @classmethod
    def write_logs(cls):
        """Puts the logs into the capture, in the place of what the drive of the model has."""
        capture = json.loads(cls.machine.read("/root/logs/capture.json"))
        answers = {(answer["opcode"], *answer["fields"][:2]): answer for answer in capture["answers"]}

        def bytes_of(*key):
            return cls.machine.read("/root/logs/" + answers[key]["file"])

        def put(opcode, feature, address, data):
            answer = answers.setdefault((opcode, feature, address), {
                "name": "written", "opcode": opcode, "fields": [feature, address, 0, 0], "status": 0x5000, "result": 0,
                "file": f"capture-{len(answers) + 1:04}.bin"})
            cls.machine.write("/root/logs/" + answer["file"], data)

        identity = bytes_of(IDENTIFY_DEVICE, 0, 0)
        put(IDENTIFY_DEVICE, 0, 0, summed(with_bytes(identity, (2 * 206, "H", 0x0001))))
        smart = bytearray(bytes_of(SMART, SMART_READ_DATA, 0))
        smart[367] |= SELECTIVE_TESTS
        put(SMART, SMART_READ_DATA, 0, summed(bytes(smart)))
        # Without the extended logs of errors and self-tests.
        put(READ_LOG_EXT, 0, 0x00, directory(bytes_of(READ_LOG_EXT, 0, 0x00), {0x03: 0, 0x07: 0, 0x0C: 1, 0xE0: 1}))
        put(SMART, SMART_READ_LOG, 0x00, directory(bytes_of(SMART, SMART_READ_LOG, 0x00), {0x09: 1, 0xE0: 1}))
        for address, data in ((0x0C, pending_defects()), (0x11, phy_counters()), (0xE0, sct_status())):
            put(READ_LOG_EXT, 0, address, data)
        for address, data in ((0x01, summary_errors()), (0x09, selective_log()), (0xE0, sct_status())):
            put(SMART, SMART_READ_LOG, address, data)
        capture["answers"] = list(answers.values())
        cls.machine.write("/root/logs/capture.json", json.dumps(capture).encode())

    def smartctl(self, log):
        return self.machine.shell(f"smartctl -j -d sat -l {log} {DISK}").json()

    @classmethod
    def logs(cls):
        """What a health scan shows of the logs, asked once."""
        if cls.shown is None:
            run = cls.machine.run("nimbrel", "start", "-o", "json", "-velkossd", DISK, "-scan", "Logs",
                                  "DirectoryPath=/root", "IncludeSystemInfo=false")
            if (run.stderr, run.status) != ("", 0):
                raise RuntimeError(run.stdout + run.stderr)
            cls.shown = strict_json(run.stdout)[f"Health Scan {SERIAL}"]["Logs"]
        return cls.shown

    def test_pending_defects(self):
        seen = self.smartctl("defects")["ata_pending_defects_log"]
        entries = [f"LBA {row['lba']}, at {row['power_on_hours']} power on hours" for row in seen["table"]]
        self.assertEqual(self.logs()["Pending Defects Log"], {
            "Defects": seen["count"], "Entries": {f"Entry {i}": text for i, text in enumerate(entries)}})
        self.assertEqual([(row["power_on_hours"], row["lba"]) for row in seen["table"]], list(DEFECTS))

    def test_counters_of_the_link(self):
        # smartctl 7.3 looks for the log in a directory that it has read for another option alone.
        seen = {row["id"]: row["value"] for row in
                self.smartctl("directory,g -l sataphy")["sata_phy_event_counters"]["table"]}
        self.assertEqual(seen, {identifier: value for identifier, (_, value) in COUNTERS.items()})
        self.assertEqual(self.logs()["SATA Phy Event Counters Log"],
                         {COUNTER_NAMES[identifier]: value for identifier, value in seen.items()})

    def test_sct_status(self):
        seen = self.smartctl("scttempsts")["ata_sct_status"]
        self.assertEqual(seen["device_state"], {
            "value": 4, "string": "SMART Off-line Data Collection executing in background"})
        celsius = {key: f"{value} C" for key, value in seen["temperature"].items()}
        self.assertEqual(self.logs()["SCT Status"], {
            "State": "offline collection in the background",
            "Temperature": celsius["current"],
            "Power Cycle Minimum Temperature": celsius["power_cycle_min"],
            "Power Cycle Maximum Temperature": celsius["power_cycle_max"],
            "Lifetime Minimum Temperature": "not reported",
            "Lifetime Maximum Temperature": celsius["lifetime_max"]})
        self.assertNotIn("lifetime_min", celsius)

    def test_selective_self_test(self):
        seen = self.smartctl("selective")["ata_smart_selective_self_test_log"]
        spans = [f"LBA {row['lba_min']} to {row['lba_max']}" if row["lba_max"] else "unused" for row in seen["table"]]
        tested = [(number, row["current_lba_min"]) for number, row in enumerate(seen["table"], 1)
                  if "current_lba_min" in row]
        flags = {True: "yes", False: "no"}
        self.assertEqual(len(tested), 1)
        self.assertEqual(self.logs()["Selective Self-test Log"], {
            **{f"Span {number}": text for number, text in enumerate(spans, 1)},
            "Current Span": tested[0][0], "Current LBA": tested[0][1],
            "Off-line Scan After It": flags[seen["flags"]["remainder_scan_enabled"]],
            "Off-line Scan Pending": flags[seen["flags"]["power_up_scan_pending"]],
            "Off-line Scan Active": flags[seen["flags"]["remainder_scan_active"]],
            "Pending Time": f"{seen['power_up_scan_resume_minutes']} minutes"})
        self.assertEqual(spans, ["LBA 100 to 200", "unused", "LBA 4294967296 to 8589934591", "unused", "LBA 7 to 7"])

    def test_summary_errors(self):
        seen = self.smartctl("error")["ata_smart_error_log"]["summary"]
        expected = {"Errors": seen["count"]}
        for number, row in enumerate(seen["table"]):
            failed, after = row["previous_commands"][0], row["completion_registers"]
            command = failed["registers"]
            expected[f"Error {number}"] = {
                "Command": f"0x{command['command']:02X} {failed['command_name']}",
                "Command LBA": lba_of(command), "Command COUNT": command["count"],
                "ERROR": f"0x{after['error']:02X}", "STATUS": f"0x{after['status']:02X}", "LBA": lba_of(after),
                "Power On Hours": row["lifetime_hours"]}
        self.assertEqual(self.logs()["Summary Error Log"], expected)
        self.assertEqual([expected[f"Error {i}"]["LBA"] for i in (0, 1)], [0x3445568, 0x0C24F00])


if __name__ == "__main__":
    unittest.main()
