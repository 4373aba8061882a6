"""A simulated SATA drive as a disk of the kernel: the iSCSI target of nimbrel-simdrive, the kernel's initiator, and the
programs that SATA drives are looked at with. What smartctl, hdparm and sg3_utils read is what the drive has, what they
set is in its folder, and nimbrel says the same over the kernel and over its simulated transport."""

import json
import re
import struct
import sys
import time
import unittest
import zlib

from machine import Machine
from witness import strict_json

FOLDER = "/opt/velko/nimbrel/SimulatedDrives/drive"
NODE = f"{FOLDER}/dev/drive"
SERIAL = "SIMSATA1"
NAME = "iqn.2026-01.com.velko.nimbrel:simulated:simsata1"
MODEL = "Simulated SATA SSD"
DISK = "/dev/sda"
SURE = "--yes-i-know-what-i-am-doing"
KERNEL, SIMULATED = "0", "1"  # real drives are listed first


def firmware_image(revision, size=8192):
    """docs/simulated-drives.md describes it. No two blocks are alike."""
    rest = b"".join(number.to_bytes(4, "little") for number in range(size // 4))
    checked = MODEL.encode().ljust(40) + revision.encode().ljust(8) + b"\0" + rest[:size - 65]
    return b"NBSIMFW1" + struct.pack("<II", size, zlib.crc32(checked)) + checked


class SimulatedSata(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.machine = Machine([])
        try:
            cls.machine.start()
            cls.serve()
        except BaseException:
            cls.machine.stop()
            raise
        cls.addClassCleanup(cls.machine.stop)

    @classmethod
    def must(cls, script):
        run = cls.machine.shell(script)
        if run.status != 0:
            raise RuntimeError(f"{script}: {run.stdout}{run.stderr}{cls.machine.shell('dmesg | tail -30').stdout}")
        return run.stdout

    @classmethod
    def serve(cls):
        cls.must("cd /lib/modules && for m in $(cat iscsi); do insmod $m.ko || lsmod | grep -q ${m//-/_}; done; "
                 "ip link set lo up; ln -s /opt/velko/nimbrel/nimbrel-simdrive /usr/local/bin/")
        cls.must(f"nimbrel-simdrive create drive --model sata --size 64Mi --serial {SERIAL}")
        cls.must("sed -i -E '/^(short-self-test|extended-self-test|sanitize)-seconds/s/=.*/= 1/' "
                 f"{FOLDER}/description.ini")
        cls.must("setsid nimbrel-simdrive serve drive > /tmp/serve 2>&1 < /dev/null & "
                 "for i in $(seq 100); do grep -q target /tmp/serve && exit 0; sleep 0.1; done; cat /tmp/serve; exit 1")
        cls.must(f"iscsistart -i iqn.2026-01.com.example:host -t {NAME} -g 1 -a 127.0.0.1 -p 3260 > /tmp/iscsi 2>&1 || "
                 "{ cat /tmp/iscsi; exit 1; }")
        cls.must(f"for i in $(seq 100); do [ -b {DISK} ] && exit 0; sleep 0.1; done; exit 1")

    def ask(self, script, status=0):
        run = self.machine.shell(script)
        self.assertEqual(run.status, status, f"{script}: {run.stdout}{run.stderr}")
        return run.stdout

    def smartctl(self, options):
        run = self.machine.shell(f"smartctl -j -d sat {options} {DISK}")
        return json.loads(run.stdout)

    def identify(self):
        """Words of IDENTIFY DEVICE, as hdparm has them from the kernel."""
        text = self.ask(f"hdparm --Istdout {DISK}")
        words = re.findall(r"\b[0-9a-f]{4}\b", text.split(":", 1)[1])
        self.assertEqual(len(words), 256)
        return [int(word, 16) for word in words]

    def test_identity(self):
        report = self.smartctl("-i")
        names = (report["model_name"], report["serial_number"], report["firmware_version"])
        self.assertEqual(names, (MODEL, SERIAL, "TSIM0100"))
        self.assertEqual(report["user_capacity"], {"blocks": 131072, "bytes": 64 << 20})
        self.assertEqual((report["logical_block_size"], report["physical_block_size"]), (512, 4096))
        self.assertEqual((report["rotation_rate"], report["form_factor"]["name"]), (0, "2.5 inches"))
        self.assertEqual(report["trim"], {"supported": True, "deterministic": True, "zeroed": True})
        self.assertEqual(report["wwn"]["naa"], 5)
        self.assertEqual(report["interface_speed"]["current"]["string"], "6.0 Gb/s")
        shown = self.ask(f"hdparm -I {DISK}")
        for line in (f"Model Number:       {MODEL}", f"Serial Number:      {SERIAL}", "Firmware Revision:  TSIM0100",
                     "*\tSMART feature set", "\tSecurity Mode feature set", "*\tDOWNLOAD_MICROCODE",
                     "*\tBLOCK_ERASE_EXT command", "*\tCRYPTO_SCRAMBLE_EXT command", "Checksum: correct",
                     "2min for SECURITY ERASE UNIT. 2min for ENHANCED SECURITY ERASE UNIT."):
            self.assertIn(line, shown)
        self.assertEqual(int(self.ask(f"sg_sat_identify -i {DISK}"), 16) & 0xFFFFFFFFF, report["wwn"]["id"])
        self.assertEqual(self.ask(f"cat /sys/block/sda/device/vendor /sys/block/sda/device/model /sys/block/sda/size"),
                         "ATA     \nSimulated SATA S\n131072\n")
        page = self.machine.shell("cat /sys/block/sda/device/vpd_pg89").stdout_bytes
        self.assertEqual((len(page), page[56]), (572, 0xEC))
        self.assertEqual(list(struct.unpack("<256H", page[60:])), self.identify())

    def test_smart(self):
        report = self.smartctl("-a -l devstat -l xerror")
        self.assertTrue(report["smart_status"]["passed"])
        table = {row["id"]: row for row in report["ata_smart_attributes"]["table"]}
        self.assertEqual(sorted(table), [1, 5, 9, 12, 171, 172, 174, 177, 184, 187, 194, 197, 198, 199, 231, 241, 242])
        self.assertEqual((table[5]["value"], table[5]["thresh"], table[9]["value"]), (100, 10, 100))
        self.assertEqual(report["temperature"]["current"], 38)
        pages = {page["number"]: {row["offset"]: row for row in page["table"]} for page
                 in report["ata_device_statistics"]["pages"]}
        self.assertEqual(sorted(pages), [1, 4, 5, 6, 7])
        self.assertEqual(pages[1][8]["value"], table[12]["raw"]["value"])
        self.assertEqual(pages[7][8]["value"], 0)
        self.assertEqual(pages[5][8]["value"], 38)
        self.ask("nimbrel-simdrive fault drive --attributes '5 value 9, 5 raw 77'")
        try:
            report = self.smartctl("-a")
            self.assertFalse(report["smart_status"]["passed"])
            table = {row["id"]: row for row in report["ata_smart_attributes"]["table"]}
            self.assertEqual((table[5]["value"], table[5]["raw"]["value"], table[5]["when_failed"]), (9, 77, "now"))
        finally:
            self.ask("nimbrel-simdrive fault drive clear attributes")

    def test_self_tests(self):
        for kind, name in (("short", "Short offline"), ("long", "Extended offline"),
                           ("conveyance", "Conveyance offline")):
            self.smartctl(f"-t {kind}")
            time.sleep(1.2)
            newest = self.smartctl("-l xselftest")["ata_smart_self_test_log"]["extended"]["table"][0]
            self.assertEqual((newest["type"]["string"], newest["status"]["passed"]), (name, True))
        self.smartctl("-t short -C")
        newest = self.smartctl("-l selftest")["ata_smart_self_test_log"]["standard"]["table"][0]
        self.assertEqual((newest["type"]["string"], newest["status"]["passed"]), ("Short captive", True))

    def test_sanitize(self):
        for way in ("crypto-scramble", "block-erase"):
            self.ask(f"printf data | dd of={DISK} oflag=direct conv=sync 2>/dev/null")
            self.ask(f"hdparm {SURE} --sanitize-{way} {DISK}")
            self.assertIn("SD2 Sanitize operation In Process", self.ask(f"hdparm --sanitize-status {DISK}"))
            time.sleep(1.2)
            shown = self.ask(f"hdparm --sanitize-status {DISK}")
            self.assertIn("SD0 Sanitize Idle", shown)
            self.assertIn("Last Sanitize Operation Completed Without Error", shown)
            self.ask(f"dd if={DISK} iflag=direct count=1 2>/dev/null | cmp -n 512 - /dev/zero")

    def test_security(self):
        self.ask(f"printf data | dd of={DISK} oflag=direct conv=sync 2>/dev/null")
        self.ask(f"hdparm --user-master u --security-set-pass mine {DISK}")
        self.assertEqual(self.identify()[128], 0x0023)
        self.ask("nimbrel-simdrive power-cycle drive")
        self.assertEqual(self.identify()[128], 0x0027, "locked")
        self.ask(f"hdparm --user-master u --security-unlock mine {DISK}")
        self.assertEqual(self.identify()[128], 0x0023)
        self.ask(f"hdparm --user-master u --security-erase mine {DISK}")
        self.assertEqual(self.identify()[128], 0x0021)
        self.ask(f"dd if={DISK} iflag=direct count=1 2>/dev/null | cmp -n 512 - /dev/zero")

    def test_download(self):
        self.machine.write("/tmp/image", firmware_image("NEW00001"))
        self.ask(f"hdparm {SURE} --please-destroy-my-drive --fwdownload-mode3 /tmp/image {DISK}")
        self.assertEqual(self.smartctl("-i")["firmware_version"], "NEW00001")
        self.machine.write("/tmp/image", firmware_image("NEW00002"))
        self.ask(f"hdparm {SURE} --please-destroy-my-drive --fwdownload-modee /tmp/image {DISK}")
        self.ask("nimbrel-simdrive power-cycle drive")
        self.assertEqual(self.smartctl("-i")["firmware_version"], "NEW00002")
        self.machine.write("/tmp/image", firmware_image("TSIM0100"))
        self.ask(f"hdparm {SURE} --please-destroy-my-drive --fwdownload-mode3 /tmp/image {DISK}")

    def test_a_whole_image_of_600_blocks_is_one_command(self):
        """COUNT has one byte: the upper byte of the number of blocks is in LBA 7:0. The drive takes an image whose
        CRC-32 is right alone."""
        self.ask(f"sed -i '/^firmware-pieces/s/=.*/= no/' {FOLDER}/description.ini")
        self.ask("nimbrel set -system LogFile=/tmp/log; nimbrel set -system EnableLog=true")
        try:
            self.machine.write("/tmp/whole.bin", firmware_image("BIG00001", 600 * 512))
            shown = self.ask(f"nimbrel load -force -source /tmp/whole.bin -velkossd {DISK}")
            self.assertIn("The firmware was activated.", shown)
            self.assertEqual(self.smartctl("-i")["firmware_version"], "BIG00001")
            sent = [line for line in self.ask("cat /tmp/log").splitlines() if "DOWNLOAD MICROCODE" in line]
            self.assertEqual(len(sent), 1, sent)
            self.assertIn("FEATURE 0007h, COUNT 0058h, LBA 000000000002h", sent[0])
            self.machine.write("/tmp/whole.bin", firmware_image("TSIM0100", 600 * 512))
            self.ask(f"nimbrel load -force -source /tmp/whole.bin -velkossd {DISK}")
            self.assertEqual(self.smartctl("-i")["firmware_version"], "TSIM0100")
        finally:
            self.ask("nimbrel set -system EnableLog=false; "
                     f"sed -i '/^firmware-pieces/s/=.*/= yes/' {FOLDER}/description.ini; "
                     "echo 1 > /sys/block/sda/device/rescan")

    def test_sct_status(self):
        seen = self.smartctl("-l scttempsts")["ata_sct_status"]
        self.assertEqual((seen["device_state"]["string"], seen["temperature"]), ("Active", {
            "current": 38, "power_cycle_min": 38, "power_cycle_max": 38, "lifetime_min": 20, "lifetime_max": 40,
            "under_limit_count": 0, "over_limit_count": 0}))

    def test_trim(self):
        self.ask(f"yes | dd of={DISK} bs=64k count=4 oflag=direct 2>/dev/null")
        self.ask(f"echo 8:16 | hdparm {SURE} --please-destroy-my-drive --trim-sector-ranges-stdin {DISK}")
        self.ask(f"dd if={DISK} iflag=direct skip=8 count=16 2>/dev/null | cmp -n 8192 - /dev/zero")
        self.ask(f"dd if={DISK} iflag=direct skip=7 count=1 2>/dev/null | cmp -n 512 - /dev/zero", status=1)
        self.ask(f"blkdiscard {DISK}")  # of the kernel, by UNMAP
        self.ask(f"dd if={DISK} iflag=direct bs=64k count=4 2>/dev/null | cmp -n 262144 - /dev/zero")

    def test_maximum_lba(self):
        self.ask("nimbrel-simdrive power-cycle drive")
        self.assertIn("max sectors   = 131072/131072", self.ask(f"hdparm -N {DISK}"))
        self.ask(f"hdparm {SURE} -N p100000 {DISK}")
        self.assertIn("max sectors   = 100000/131072", self.ask(f"hdparm -N {DISK}"))
        self.ask("echo 1 > /sys/block/sda/device/rescan")
        self.assertEqual(self.ask("cat /sys/block/sda/size"), "100000\n")
        self.ask("nimbrel-simdrive power-cycle drive")
        self.ask(f"hdparm {SURE} -N p131072 {DISK}")
        self.ask("echo 1 > /sys/block/sda/device/rescan")
        self.assertEqual(self.ask("cat /sys/block/sda/size"), "131072\n")

    def test_settings(self):
        self.ask(f"hdparm -W 0 -A 0 -B 100 {DISK}")
        words = self.identify()
        self.assertEqual((words[85] & 0x60, words[91]), (0, 100))
        self.ask(f"hdparm -W 1 -A 1 -B 255 {DISK}")
        self.assertEqual(self.identify()[85] & 0x60, 0x60)
        self.ask(f"hdparm -y {DISK}")
        self.assertIn("standby", self.ask(f"hdparm -C {DISK}"))

    def test_bad_sector(self):
        self.ask("nimbrel-simdrive fault drive --media-errors 1:4096")
        try:
            self.ask(f"dd if={DISK} iflag=direct skip=4096 count=1 of=/dev/null 2>&1", status=1)
            self.assertEqual(self.smartctl("-l xerror")["ata_smart_error_log"]["extended"]["table"][0]
                             ["completion_registers"]["error"], 0x40)
            self.ask(f"hdparm {SURE} --write-sector 4096 {DISK}")
            self.ask(f"dd if={DISK} iflag=direct skip=4096 count=1 of=/dev/null 2>/dev/null")
        finally:
            self.ask("nimbrel-simdrive fault drive clear")

    def test_errors_of_the_extended_log(self):
        self.ask("nimbrel-simdrive fault drive --media-errors 1:4096")
        try:
            self.ask(f"dd if={DISK} iflag=direct skip=4096 count=1 of=/dev/null 2>&1", status=1)
            seen = self.smartctl("-l xerror")["ata_smart_error_log"]["extended"]
            run = self.machine.run("nimbrel", "start", "-o", "json", "-velkossd", DISK, "-scan", "Logs",
                                   "DirectoryPath=/root", "IncludeSystemInfo=false")
            shown = strict_json(run.stdout)[f"Health Scan {SERIAL}"]["Logs"]["Extended Comprehensive Error Log"]
            expected = {"Errors": seen["count"]}
            for number, row in enumerate(seen["table"]):
                failed, after = row["previous_commands"][0]["registers"], row["completion_registers"]
                expected[f"Error {number}"] = {
                    "Command": f"0x{failed['command']:02X}", "Command LBA": failed["lba"],
                    "Command COUNT": failed["count"], "ERROR": f"0x{after['error']:02X}",
                    "STATUS": f"0x{after['status']:02X}", "LBA": after["lba"], "Power On Hours": row["lifetime_hours"]}
            for entry in shown.values():
                if isinstance(entry, dict):
                    entry["Command"] = entry["Command"].split()[0]  # smartctl has names of its own for some
            self.assertEqual(shown, expected)
            self.assertEqual((expected["Error 0"]["ERROR"], expected["Error 0"]["LBA"]), ("0x40", 4096))
        finally:
            self.ask("nimbrel-simdrive fault drive clear")

    def test_level_0_discovery(self):
        """Bytes of TCG Storage Architecture Core, 3.3.6: header, TPer, Locking, Opal v2."""
        self.assertIn("TCGSupported : False", self.ask(f"nimbrel show -d TCGSupported,TCGLocked -velkossd {DISK}"))
        self.ask(f"sed -i 's/^security = no/security = yes/' {FOLDER}/description.ini; "
                 "nimbrel-simdrive fault drive --tcg locked")
        try:
            self.ask(f"sg_raw -r 512 -o /tmp/discovery {DISK} a2 01 00 01 00 00 00 00 02 00 00 00")
            self.assertEqual(self.machine.read("/tmp/discovery"), bytes.fromhex(
                "00000060 00000001" + "00" * 40 + "0001100c 11" + "00" * 11 + "0002100c 0f" + "00" * 11 +
                "02031010 07fe0001 00000400 08" + "00" * 7).ljust(512, b"\0"))
            shown = self.ask(f"nimbrel show -a -velkossd {DISK}")
            for line in ("TCGFeatures : TPer, Locking, Opal v2", "TCGLocked : True", "TCGLockingEnabled : True",
                         "TCGMBRShadowed : False", "TCGSupported : True"):
                self.assertIn(f"\n{line}\n", shown)
            for words in ("delete -force", "start -force -sanitize crypto", "start -scan ReadScan"):
                verb, *rest = words.split()
                run = self.machine.run("nimbrel", verb, *rest, "-velkossd", DISK)
                self.assertNotEqual(run.status, 0, words)
                self.assertIn(f"Drive {SERIAL} ({DISK}) has TCG locking enabled (TPer, Locking, Opal v2), is locked: "
                              "unlock it with the owner's password, or revert it.", run.stdout, words)
        finally:
            self.ask("nimbrel-simdrive fault drive clear")
            self.ask(f"sed -i 's/^security = yes/security = no/' {FOLDER}/description.ini")

    def test_both_transports_say_the_same(self):
        for words in ("", "-a", "-smart", "-sensor", "-performance", "-selftest", "-identify"):
            verb, target = ("show -a", []) if words == "-a" else ("show", [words] if words else [])
            outputs = []
            for index in (KERNEL, SIMULATED):
                run = self.machine.run("nimbrel", *verb.split(), "-o", "json", "-velkossd", index, *target)
                self.assertEqual((run.status, run.stderr), (0, ""), (words, run.stdout))
                text = run.stdout.replace("\\/", "/").replace(NODE, DISK)
                outputs.append(strict_json(text))
            kernel, simulated = outputs
            self.assertEqual(kernel.keys(), simulated.keys(), words)
            for heading in kernel:
                differing = {key: (kernel[heading].get(key), simulated[heading].get(key))
                             for key in {*kernel[heading], *simulated[heading]}
                             if kernel[heading].get(key) != simulated[heading].get(key)}
                # One is a device of the kernel with a place and names of its own, the other is not.
                for key in ("Index", "PhysicalLocation", "SMBusAddress"):
                    differing.pop(key, None)
                self.assertEqual(differing, {}, (words, heading))


if __name__ == "__main__":
    sys.exit(unittest.main())
