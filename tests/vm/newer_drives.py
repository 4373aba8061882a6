"""Simulated drives of NVMe 2.1 and of OCP 2.6, over the kernel's nvme-tcp driver: what nvme-cli decodes of their pages,
field by field, and the bytes of those that it does not decode. docs/nvme-versions.md and docs/ocp.md have the table."""

import json
import unittest

from data import (CONTROLLER, ENDURANCE_LOG, NAMES, NAMESPACE, SINCE_NVME_21, SINCE_NVME_22, bare, descriptors,
                  expected, fields)
from simulated_drive import KERNEL, NODE, PREFERRED_SIZES, SIMULATED, SimulatedDriveTestCase

GROUP_LOGS = (0x09, 0x20, 0x21, 0x22, 0x23)


class NewerDriveTestCase(SimulatedDriveTestCase):
    def agree(self, theirs, ours, pairs):
        """`pairs`: their names to ours."""
        self.assertEqual({name: str(theirs[name]) for name in pairs},
                         {name: str(bare(ours[pairs[name]])) for name in pairs})

    def page(self, lid):
        return self.only("-nvmelog", f"0x{lid:02X}")[1]

    def check_controller(self):
        theirs = expected(self.theirs("nvme id-ctrl /dev/nvme0"), CONTROLLER)
        _, stdout, _ = self.nimbrel(KERNEL, "show", "-identify")
        shown = dict(line.split(" : ", 1) for line in stdout.splitlines() if " : " in line)
        ours = fields(shown)
        later = SINCE_NVME_22 | (SINCE_NVME_21 if ours["VER"] < "2.1" else set())
        theirs = {name: value for name, value in theirs.items() if name not in later}
        self.assertEqual({name: ours.get(name) for name in theirs}, theirs)

    def check_bytes(self, lid, options=""):
        """Both transports show the page alike, and it is what nvme-cli reads."""
        self.both("show", "-nvmelog", f"0x{lid:02X}")
        self.act(KERNEL, f"dump -destination /tmp/page{lid}", "-nvmelog", f"0x{lid:02X}")
        ours = self.machine.read(f"/tmp/page{lid}")
        self.assertEqual(ours.hex(), self.raw(f"nvme get-log -i {lid} -l {len(ours)} {options} /dev/nvme0").hex())


class Nvme21Drive(NewerDriveTestCase):
    MODEL = "nvme-2.1"

    def test_identify(self):
        self.check_controller()
        theirs = self.theirs("nvme id-ns -n 1 /dev/nvme0")
        _, ours = self.only("-identify", "-namespace", "1")
        formats = [{"ms": bare(part["MS - Metadata Size"]), "ds": part["LBADS - LBA Data Size"]}
                   for name, part in ours.items() if name.startswith("LBA Format")]
        wanted = expected(theirs, NAMESPACE)
        found = {name: value for name, value in fields(ours).items() if name not in PREFERRED_SIZES}
        self.assertEqual({name: found.get(name) for name in wanted}, wanted)
        self.assertEqual(len(theirs["lbafs"]), 64, "Linux knows of more than 16")
        self.assertEqual([(bare(each["ms"]), bare(each["ds"])) for each in formats],
                         [(str(each["ms"]), str(1 << each["ds"])) for each in theirs["lbafs"]])

    def test_descriptors(self):
        _, ours = self.only("-identify", "-namespace", "1", "-descriptors")
        theirs = descriptors(self.theirs("nvme ns-descs -n 1 /dev/nvme0"))
        self.assertEqual(fields(ours), {"EUI64": theirs["eui64"].upper(), "NGUID": theirs["nguid"].upper(),
                                        "UUID": theirs["uuid"], "CSI": f"0x{int(theirs['csi']):02X}"})

    def test_endurance_group(self):
        self.must("dd if=/dev/zero of=/dev/nvme0n1 bs=1M count=8 oflag=direct")
        ours = fields(self.page(0x09))
        self.agree(self.theirs("nvme endurance-log -g 1 /dev/nvme0"), ours, ENDURANCE_LOG)
        self.assertEqual(self.theirs("nvme list-endgrp /dev/nvme0"), {"num_endgrp_id": 1, "endgrp_list": [{"endgrp_id": 1}]})
        self.assertEqual(self.theirs("nvme endurance-event-agg-log -e 64 /dev/nvme0")["num_entries_avail"], 0)
        self.assertEqual(self.page(0x0F)["Entries"], 0)

    def test_supported_features(self):
        theirs = {}
        for entry in self.theirs("nvme fid-support-effects-log /dev/nvme0")["fid_support"]:
            ((name, value),) = entry.items()
            theirs[int(name[4:])] = value
        scopes = {1 << 20: "namespace", 1 << 21: "controller", 1 << 23: "Endurance Group", 1 << 25: "NVM subsystem"}
        ours = {int(label.split()[1], 16): value for label, value in self.page(0x12).items()}
        self.assertEqual(ours, {fid: f"supported; scope: {scopes[value & ~1]}" for fid, value in theirs.items()})
        self.assertEqual(self.theirs("nvme mi-cmd-support-effects-log /dev/nvme0"), {"mi_command_support": []})
        self.both("show", "-nvmelog", "0x13")

    def test_flexible_data_placement(self):
        theirs = self.theirs("nvme fdp configs -e 1 /dev/nvme0")
        ours = self.page(0x20)
        self.assertEqual((theirs["n"], fields(ours)["NUMFDPC"]), (0, "1"), "they count from 0")
        first = fields(ours["Configuration 0"])
        self.assertEqual(first.pop("ERUTL"), "not reported")
        self.agree(theirs["configs"][0], first, {"vss": "VSS", "nrg": "NRG", "nruh": "NRUH", "nnss": "NNS", "runs": "RUNS"})
        self.assertEqual((theirs["configs"][0]["fdpa"], theirs["configs"][0]["erutl"]), (int(first["FDPA"], 16), 0))
        usage = self.theirs("nvme fdp usage -e 1 /dev/nvme0")
        words = {0: "unused", 1: "host specified", 2: "controller specified"}
        self.assertEqual(list(self.page(0x21)["Reclaim Unit Handles"].values()),
                         [words[each["ruha"]] for each in usage["ruhus"]])
        self.agree(self.theirs("nvme fdp stats -e 1 /dev/nvme0"), fields(self.page(0x22)),
                   {"hbmw": "HBMW", "mbmw": "MBMW", "mbe": "MBE"})
        self.assertEqual(self.theirs("nvme fdp events -e 1 -E /dev/nvme0"), {"n": 0, "events": []})
        self.assertEqual(fields(self.page(0x23)), {"NEV": "0"})

    def test_features(self):
        shown = self.must("nvme get-feature -f 0x1d -c 1 -H /dev/nvme0")
        self.assertIn("(FDPE)       : Yes", shown)
        self.assertIn("Configuration Index : 0", shown)
        self.both("show", "-getfeature", "0x1D")
        self.assertIn("value:0x00000006", self.must("nvme get-feature -f 0x1e -n 1 -c 0xff0000 -l 510 /dev/nvme0"))
        self.both("show", "-getfeature", "0x1E", "-namespace", "1")
        self.assertIn("(ENDGID): 1", self.must("nvme get-feature -f 0x18 -c 1 -H /dev/nvme0"))
        for fid in ("0x16", "0x17", "0x18"):
            self.both("show", "-getfeature", fid)

    def test_bytes_of_all_pages(self):
        supported = self.raw("nvme get-log -i 0 -l 1024 /dev/nvme0")
        self.assertEqual([int(label.split()[1], 16) for label in self.only("-nvmelog", "list")[1]],
                         [lid for lid in range(256) if supported[4 * lid] & 1])
        for lid in (0x05, 0x12, 0x13, 0x81, *GROUP_LOGS, 0x0F):
            with self.subTest(log=f"0x{lid:02X}"):
                self.check_bytes(lid, "--lsi=1" if lid in GROUP_LOGS else "")

    def refusal_of_host_behavior(self):
        self.must("nvme get-feature -f 22 -b /dev/nvme0 | head -c 512 > /tmp/behavior")
        return self.refusal_of_linux("/dev/nvme0", "-f 22 -l 512 -d /tmp/behavior")

    def test_data_area_4(self):
        """This drive reports that Set Features changes the controller's capabilities: Linux 6.1 sets Host Behavior
        Support after each one, and takes data area 4 away. Linux 6.12 does not, but a later version of it lets no
        program set that feature."""
        status, stdout, _ = self.nimbrel(KERNEL, "dump -destination /tmp/none", "-telemetrylog", "-dataarea", "4")
        self.act(SIMULATED, "dump -destination /tmp/area4", "-telemetrylog", "-dataarea", "4")
        ours = self.machine.read("/tmp/area4")
        if self.machine.shell("uname -r").stdout.startswith("6.1."):
            self.assertEqual(status, 3, stdout)
            self.assertIn("does not keep Extended Telemetry Data Area 4 Supported", stdout)
            self.assertNotEqual(self.machine.shell("test -e /tmp/none").status, 0, "nothing was written")
        elif refusal := self.refusal_of_host_behavior():
            self.assertEqual((status, stdout), (3, f"Error: {refusal}\n"))
            self.assertNotEqual(self.machine.shell("test -e /tmp/none").status, 0, "nothing was written")
        else:
            self.assertEqual(status, 0, stdout)
            # The areas before it differ: they record the commands of the first dump.
            self.assertEqual(self.machine.read("/tmp/none")[-512:], ours[-512:])
        self.assertEqual(ours[-512:], b"\x4A" * 512)
        areas = ours[:16] + bytes(4) + ours[20:-512]
        self.assertEqual(self.raw("nvme get-log -i 7 -l 512 /dev/nvme0")[16:20], bytes(4), "the setting was put back")
        theirs = b"".join(self.raw(f"nvme get-log -i 7 -l 512 --lpo={at} /dev/nvme0") for at in range(0, len(areas), 512))
        self.assertEqual(areas.hex(), theirs.hex(), "without data area 4")

    def test_media_verification(self):
        self.must("nvme admin-passthru /dev/nvme0 --opcode=0x84 --cdw10=0x402")
        self.must("sleep 3")
        log = self.page(0x81)
        self.assertEqual((log["SSI State - Sanitize state"], log["SSTAT Status - Most recent sanitize operation"]),
                         ("media verification", "a sanitize operation is in progress"))
        theirs = self.raw("nvme get-log -i 0x81 -l 512 /dev/nvme0")
        self.assertEqual((theirs[2] & 7, theirs[36]), (2, 5))
        self.must("nvme admin-passthru /dev/nvme0 --opcode=0x84 --cdw10=5")
        self.assertEqual(self.page(0x81)["SSI State - Sanitize state"], "idle")


# nvme-cli's names of log page C0h, as far as it knows them: those of OCP 2.0.
OCP_SMART = {
    "Bad user nand blocks - Raw": "BUNBR", "Bad user nand blocks - Normalized": "BUNBN",
    "Bad system nand blocks - Raw": "BSNBR", "Bad system nand blocks - Normalized": "BSNBN",
    "XOR recovery count": "XRC", "Uncorrectable read error count": "UREC", "Soft ecc error count": "SEEC",
    "End to end corrected errors": "EECE", "End to end detected errors": "EEDC", "System data percent used": "SDPU",
    "Refresh counts": "RFSC", "Max User data erase counts": "MXUDEC", "Min User data erase counts": "MNUDEC",
    "Number of Thermal throttling events": "NTTE", "PCIe correctable error count": "PCEC",
    "Incomplete shutdowns": "ICS", "Percent free blocks": "PFB", "Capacitor health": "CPH", "Unaligned I/O": "UIO",
    "Security Version Number": "SVN", "NUSE - Namespace utilization": "NUSE", "PLP start count": "PSC",
    "Endurance estimate": "EEST", "Log page version": "LPV", "Errata Version Field": "EVF",
    "Point Version Field": "PVF", "Minor Version Field": "MNVF", "Major Version Field": "MJVF",
    "NVMe Errata Version": "NEV", "PCIe Link Retraining Count": "PLRC",
}
# What nvme-cli 2.13 calls otherwise, and the fields that it knows beside them.
OCP_SMART_SINCE_25 = {
    **{name: label for name, label in OCP_SMART.items() if name != "NVMe Errata Version"},
    "NVMe Base Errata Version": "NEV", "NVMe Command Set Errata Version": "NCEV",
    "NVMe Over Pcie Errata Version": "NPEV", "NVMe Mi Errata Version": "NMEV", "Power State Change Count": "PSCC", "Lowest Permitted Firmware Revision": "LPFR",
    "Total media dies": "TMD", "Total die failure tolerance": "TDFT", "Media dies offline": "MDO",
    "Max temperature recorded": "MXTR", "Nand avg erase count": "NAEC", "Command timeouts": "CTOC",
    "Sys area program fail count raw": "SAPFR", "Sys area program fail count noralized": "SAPFN",
    "Sys area uncorrectable read count raw": "SAURR", "Sys area uncorrectable read count noralized": "SAURN",
    "Sys area erase fail count raw": "SAEFR", "Sys area erase fail count noralized": "SAEFN",
    "Max peak power capability": "MPPC", "Current max avg power": "CMAP", "Lifetime power consumed": "LPC",
    "Dssd firmware revision": "DFR", "Dssd firmware build UUID": "DFBU",
}


# The commands of nvme-cli's plugin since 2.9 or so: the page, and its names of the fields.
OCP_PAGES = {
    "error-recovery-log": (0xC1, {
        "Panic Reset Wait Time": "PRWT", "Panic Reset Action": "PRA", "Device Recovery Action 1": "DRA1",
        "Device Capabilities": "DC", "Vendor Specific Recovery Opcode": "VSRO",
        "Vendor Specific Command CDW12": "VSCC12", "Vendor Specific Command CDW13": "VSCC13",
        "Vendor Specific Command Timeout": "VSCT", "Device Recovery Action 2": "DRA2",
        "Device Recovery Action 2 Timeout": "DRA2T", "Log Page Version": "LPV"}),
    "device-capability-log": (0xC4, {
        "PCI Express Ports": "PCIEP", "OOB Management Support": "OMSC", "Write Zeroes Command Support": "WZC",
        "Sanitize Command Support": "SCS", "Dataset Management Command Support": "DSMC",
        "Write Uncorrectable Command Support": "WUNC", "Fused Operation Support": "FOS",
        "Minimum Valid DSSD Power State": "MVDPS", "Log Page Version": "LPV"}),
    "tcg-configuration-log": (0xC7, {
        "State": "State", "Locking SP Activation Count": "LSPAC", "Tper Revert Count": "TPRC",
        "Number of Locking Objects": "NLO", "SID Authentication Try Limit": "SATL", "TCG Error Count": "TCGEC",
        "Log Page Version": "LPV"}),
}


class Ocp26DriveTestCase(NewerDriveTestCase):
    def has_command(self, command):
        return f"  {command} " in self.machine.shell("nvme ocp help 2>&1").stdout

    def check_pages(self, *commands):
        if not self.has_command("error-recovery-log"):
            self.skipTest("this nvme-cli does not decode them: that of Debian 13 does")
        for command in commands:
            lid, names = OCP_PAGES[command]
            with self.subTest(command):
                theirs = self.theirs(f"nvme ocp {command} /dev/nvme0")
                ours = fields(self.page(lid))
                self.assertEqual({name: theirs[name] for name in names},
                                 {name: int(ours[label].split()[0], 0) for name, label in names.items()})


class Ocp26Drive(Ocp26DriveTestCase):
    MODEL = "ocp-2.6"

    def test_pages_that_newer_plugins_decode(self):
        self.check_pages(*OCP_PAGES)
        theirs = self.theirs("nvme ocp unsupported-reqs-log /dev/nvme0")
        self.assertEqual([theirs["Unsupported Requirement List 0"]], list(self.page(0xC5)["Requirements"].values()))
        theirs = self.theirs("nvme ocp telemetry-string-log /dev/nvme0")
        ours = self.page(0xC9)
        self.assertEqual([theirs[f"FIFO {number} ASCII String"] for number in (1, 2)],
                         [ours[f"FIFO {number} - Name of the event FIFO"] for number in (1, 2)])

    def test_identify(self):
        self.check_controller()

    def test_uuids(self):
        _, ours = self.only("-identify", "-uuidlist")
        # nvme-cli 2.3 leaves the first entry out of its list: the bytes have both.
        theirs = self.machine.shell("nvme admin-passthru /dev/nvme0 --opcode=6 --cdw10=0x17 -l 4096 -r -b").stdout_bytes
        self.assertEqual([each["UUID"].replace("-", "") for each in ours.values()],
                         [theirs[at + 16:at + 32].hex() for at in (32, 64)])
        both = [ours[f"UUID {number}"]["UUID"] for number in (1, 2)]
        self.assertIn([each["uuid"] for each in self.theirs("nvme id-uuid /dev/nvme0")["UUID-list"]], (both, both[1:]))

    def test_extended_smart(self):
        self.must("dd if=/dev/nvme0n1 of=/dev/null bs=4k count=3 skip=1 iflag=direct; "
                  "dd of=/dev/nvme0n1 if=/dev/zero bs=1M count=2 oflag=direct; "
                  "dd if=/dev/nvme0n1 of=/dev/null bs=512 count=3 skip=1 iflag=direct")
        theirs = self.theirs("nvme ocp smart-add-log /dev/nvme0")
        ours = fields(self.page(0xC0))
        self.agree(theirs, ours, OCP_SMART if "NVMe Errata Version" in theirs else OCP_SMART_SINCE_25)
        for name, label in (("Physical media units written", "PMUW"), ("Physical media units read", "PMUR")):
            self.assertEqual((theirs[name]["hi"], str(theirs[name]["lo"])), (0, ours[label]))
        self.assertGreater(int(ours["UIO"]), 0)
        self.assertEqual(theirs["Log page GUID"], "0x" + bytes.fromhex(ours["LPG"])[::-1].hex())
        self.assertEqual(theirs["Current throttling status"], 0)

    def test_bytes_of_ocps_pages_by_uuid_index(self):
        for lid in (0xC0, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC9):
            with self.subTest(log=f"0x{lid:02X}"):
                self.check_bytes(lid, "--uuid-index=2")
                run = self.machine.shell(f"nvme get-log -i {lid} -l 512 --uuid-index=1 /dev/nvme0")
                self.assertEqual((run.status, "Invalid Field in Command" in run.stderr), (1, True), "the maker's")

    def test_features_by_uuid_index(self):
        for fid in (0xC0, 0xC2, 0xC3, 0xC4, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA):
            with self.subTest(feature=f"0x{fid:02X}"):
                length = "-l 4096" if fid == 0xC0 else ""
                theirs = self.must(f"nvme get-feature -f {fid} -U 2 {length} /dev/nvme0")
                value = int(theirs.split("value:")[1].split()[0], 16)
                _, ours = self.only("-getfeature", fid)
                self.assertEqual(ours["Dword 0"], f"0x{value:08X}")
                self.assertEqual(self.machine.shell(f"nvme get-feature -f {fid} -U 1 /dev/nvme0").status, 1)
        self.act(KERNEL, "set", "-setfeature", "0xC8", "DWORD11=1")
        self.assertIn("value:0x00000001", self.must("nvme get-feature -f 0xc8 -U 2 /dev/nvme0"))

    def test_what_newer_plugins_set_is_shown(self):
        if not self.has_command("set-dssd-power-state-feature"):
            self.skipTest("this nvme-cli does not set them: that of Debian 13 does")
        for command, fid, field, value in (
                ("set-plp-health-check-interval -p 30", 0xC6, "PLPCheckInterval", "30"),
                ("set-dssd-power-state-feature -p 15", 0xC7, "DSSDPowerState", "15 watts"),
                ("set-dssd-async-event-config -e", 0xC9, "EPN", "True"),
                ("set-enable-ieee1667-silo -e", 0xC4, "SiloEnabled", "True"),
                ("set-telemetry-profile -t 1", 0xC8, "TPS", "1")):
            with self.subTest(command):
                self.must(f"nvme ocp {command} /dev/nvme0")
                self.assertEqual(fields(self.only("-getfeature", fid)[1])[field], value)

    def test_latency_monitor(self):
        """nvme-cli 2.3 knows version 1 of the page alone: its bytes are compared. That of Debian 13 decodes it."""
        self.must("nimbrel-simdrive fault drive --slow 'io 0x02 45, io 0x01 25'")
        self.machine.write("/tmp/setting", bytes([0xE0, 7, 1, 3, 5, 7, 0xFF, 0x0F, 10, 0, 0, 0, 1]).ljust(4096, b"\0"))
        self.must("nvme set-feature -f 0xc5 -l 4096 -d /tmp/setting /dev/nvme0")
        self.must("dd if=/dev/nvme0n1 of=/dev/null bs=4k count=3 iflag=direct; "
                  "dd of=/dev/nvme0n1 if=/dev/zero bs=4k count=2 oflag=direct; nimbrel-simdrive fault drive clear")
        page = self.raw("nvme get-log -i 0xc3 -l 512 --uuid-index=2 /dev/nvme0")
        ours = self.page(0xC3)
        reads, writes = (int.from_bytes(page[at:at + 4], "little") for at in (32 + 48 + 12, 32 + 16 + 8))
        self.assertGreaterEqual((reads, writes), (3, 2))
        self.assertEqual(ours["Active Bucket 3"]["Read Count - Read commands in the bucket"], reads)
        self.assertEqual(ours["Active Bucket 1"]["Write Count - Write commands in the bucket"], writes)
        self.assertEqual(ours["Active Bucket 3"]["Read Latency - Measured latency of Read"], "45 ms")
        if not self.has_command("error-recovery-log"):
            self.assertIn("invalid latency monitor version",
                          self.machine.shell("nvme ocp latency-monitor-log /dev/nvme0").stderr)
            return
        theirs = self.theirs("nvme ocp latency-monitor-log /dev/nvme0")
        for bucket in range(4):
            part = ours[f"Active Bucket {bucket}"]
            counts = theirs[f"Active Bucket Counter: Bucket {bucket}"]
            self.assertEqual((counts["Read"], counts["Write"], counts["Trim"]),
                             (part["Read Count - Read commands in the bucket"],
                              part["Write Count - Write commands in the bucket"],
                              part["Deallocate Count - Dataset Management commands in the bucket"]))
            latencies = theirs[f"Active Measured Latency: Bucket {bucket}"]
            self.assertEqual((f"{latencies['Read']} ms", f"{latencies['Write']} ms"),
                             (part["Read Latency - Measured latency of Read"],
                              part["Write Latency - Measured latency of Write"]))

    def test_telemetry(self):
        self.act(KERNEL, "dump -destination /tmp/telemetry", "-telemetrylog")
        ours = self.machine.read("/tmp/telemetry")
        theirs = b"".join(self.raw(f"nvme get-log -i 7 -l 512 --lpo={at} /dev/nvme0") for at in range(0, len(ours), 512))
        self.assertEqual(ours.hex(), theirs.hex())


    def test_telemetry_that_newer_plugins_decode(self):
        if not self.has_command("error-recovery-log"):
            self.skipTest("this nvme-cli does not decode it: that of Debian 13 does")
        # Each refusal has an entry in the log of errors; tests before this one had commands refused.
        refused = self.theirs("nvme smart-log /dev/nvme0")["num_err_log_entries"]
        self.must("cd /tmp && nvme ocp internal-log /dev/nvme0 -t host -f json -a 1 -o /tmp/decoded")
        log = json.loads(self.machine.read("/tmp/decoded"))
        head = log["Log Page Header"]
        self.assertEqual([head[f"Telemetry Host-Initiated Data Area {area} Last Block"] for area in (1, 2)],
                         ["0x0004", "0x0005"])
        statistics = {each["Statistics Identifier"]: (each["Statistic Identifier String"], each["Statistic Data Size"],
                                                      each["Statistic Specific Data"])
                      for each in log["Data Area 1 Statistics"]}
        self.assertEqual({number: statistics[number] for number in ("0x4", "0xb", "0xc", "0x8001")},
                         {"0x4": ("Active Namespaces", "0x1", "01000000"),
                          "0xb": ("Current NVMe Power State", "0x1", "00000000"),
                          "0xc": ("Current DSSD Power State", "0x1", "19000000"),
                          "0x8001": ("Commands refused", "0x1", int(refused).to_bytes(4, "little").hex())})
        (name, events), = log["Data Area 1 Event FIFO info"].items()
        self.assertEqual((name, events[0]["Debug Event Class type"]), ("EVENT FIFO 1 - Host and resets", "0x1"))


class Ocp26Pages(Ocp26DriveTestCase):
    """A replayed drive whose pages have another value in each field: fields that were mixed up do not agree."""

    MODEL = "ocp-2.6"
    KEPT = "/root/kept"

    @classmethod
    def serve(cls):
        cls.prepare_host()
        cls.must(f"nimbrel-simdrive create first --model {cls.MODEL} --size 64Mi --serial SIM1 && "
                 f"nimbrel-simdrive capture {NODE.replace('drive', 'first')} {cls.KEPT} && nimbrel-simdrive remove first")
        cls.captured = json.loads(cls.machine.read(f"{cls.KEPT}/capture.json"))
        for lid in (0xC0, 0xC1):
            cls.fill(lid, end=494)
        cls.machine.write(f"{cls.KEPT}/capture.json", json.dumps(cls.captured).encode())
        cls.must(f"nimbrel-simdrive create drive --from {cls.KEPT}")
        cls.put_on_the_network("drive")
        cls.connect()

    @classmethod
    def fill(cls, lid, end):
        """Fills a page up to its version with printable characters. nvme-cli 2.3 asks for it without an index."""
        answers = cls.captured["answers"]
        (answer,) = [each for each in answers if each["name"] == f"Get Log Page 0x{lid:02X}"]
        copy = {**answer, "fields": answer["fields"][:-1] + [0], "file": f"capture-{len(answers) + 1:04}.bin"}
        page = cls.machine.read(f"{cls.KEPT}/{answer['file']}")
        filled = bytes(64 + at * 37 % 58 for at in range(end)) + page[end:]
        for each in (answer, copy):
            cls.machine.write(f"{cls.KEPT}/{each['file']}", filled)
        answers.append(copy)

    def test_extended_smart(self):
        theirs = self.theirs("nvme ocp smart-add-log /dev/nvme0")
        ours = fields(self.page(0xC0))
        if "NVMe Errata Version" not in theirs:
            self.agree(theirs, ours, OCP_SMART_SINCE_25)
            return
        # nvme-cli 2.3 shows the counts of End to End each as the other, and the low bytes of three fields alone: later
        # ones agree in these too.
        detected, corrected = (theirs.pop(f"End to end {kind} errors") for kind in ("detected", "corrected"))
        self.assertEqual((str(corrected), str(detected)), (ours["EEDC"], ours["EECE"]))
        for name, label, mask in (("Minor Version Field", "MNVF", 0xFF), ("Point Version Field", "PVF", 0xFF),
                                  ("PCIe Link Retraining Count", "PLRC", 0xFFFFFFFF)):
            self.assertEqual(theirs.pop(name), int(ours[label]) & mask, name)
        self.agree(theirs, ours, {name: label for name, label in OCP_SMART.items() if name in theirs})

    def test_pages_that_newer_plugins_decode(self):
        self.check_pages("error-recovery-log")


class OcpDriveOf20(NewerDriveTestCase):
    """The page of the latency monitor that nvme-cli decodes is that of a drive of OCP 2.0."""

    MODEL = "ocp"

    def test_latency_monitor(self):
        self.machine.write("/tmp/setting", bytes([0x10, 0, 1, 3, 5, 7, 0x3B, 0x05, 10, 0x21, 0, 0, 1]).ljust(4096, b"\0"))
        self.must("nvme set-feature -f 0xc5 -l 4096 -d /tmp/setting /dev/nvme0")
        theirs = self.theirs("nvme ocp latency-monitor-log /dev/nvme0")
        ours = self.page(0xC3)
        plain = fields(ours)
        self.assertEqual((theirs["Feature Status"], ours["LMFS Enabled - Latency Monitor is enabled"]), (1, True))
        # They multiply by the units.
        for name, label, unit in (("Active Bucket Timer", "ABT", 5), ("Active Bucket Timer Threshold", "ABTT", 5),
                                  *((f"Active Threshold {each}", f"AT{each}", 5) for each in "ABCD")):
            self.assertEqual(theirs[name], int(plain[label]) * unit, name)
        window = theirs.get("Active Lantency Minimum Window", theirs.get("Active Latency Minimum Window"))
        self.assertEqual(window, int(plain["ALMW"]) * 100)
        for name, label in (("Active Latency Stamp Units", "ALSU"), ("Static Latency Stamp Units", "SLSU"),
                            ("Debug Log Trigger Enable", "DLTE")):
            self.assertEqual(theirs[name], int(plain[label], 16), name)
        self.assertEqual(theirs["Debug Log Trigger Enable"], 0x21)
        self.assertEqual(int(plain["ALC"], 16), 0x053B)
        # nvme-cli 2.3 shows bit 0 of the configuration for every bucket and command, later ones the configuration.
        if "Active Latency Configuration" in theirs:
            self.assertEqual(theirs["Active Latency Configuration"], 0x053B)
        else:
            modes = {each for bucket in range(4) for each in theirs[f"Active Latency Mode: Bucket {bucket}"].values()}
            self.assertEqual(modes, {1})
        for bucket in range(4):
            for kind in ("Active", "Static"):
                part = ours[f"{kind} Bucket {bucket}"]
                counts = theirs[f"{kind} Bucket Counter: Bucket {bucket}"]
                self.assertEqual((counts["Read"], counts["Write"], counts["Trim"]),
                                 (part["Read Count - Read commands in the bucket"],
                                  part["Write Count - Write commands in the bucket"],
                                  part["Deallocate Count - Dataset Management commands in the bucket"]))
                self.assertEqual(set(theirs[f"{kind} Latency Time Stamp: Bucket {bucket}"].values()), {"NA"})
                self.assertEqual(part["Read Stamp - Latency stamp of Read"], "none")


if __name__ == "__main__":
    unittest.main()
