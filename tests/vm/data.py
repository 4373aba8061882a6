"""What a drive says of itself, and what is set in it: identify structures, log pages, features. Every value that
nvme-cli names is compared; tables relate the two ways of showing one."""

import datetime
import re
import unittest
import xml.etree.ElementTree

from machine import Controller, Namespace
from witness import VmTestCase, Witness, strict_json, title_and, values

UNTIL_RESET = "It holds until the next controller reset."
UNTIL_LINUX = "It holds until the next controller reset, when Linux sets this feature."


def hexadecimal(digits):
    return lambda value: f"0x{int(value):0{digits}X}"


def celsius(kelvin):
    return str(kelvin - 273) if kelvin else "not reported"


def plus_1(value):
    return str(value + 1)


def power_of_2(value):
    return str(1 << value)


def unless_0(word):
    return lambda value: str(value) if value else word


def identifier(value):
    digits = value.replace("-", "").upper()
    return digits if digits.strip("0") else "not reported"


def rules(**names_of_rule):
    """{"plus_1": "acl aerl"} as {"acl": plus_1, "aerl": plus_1}."""
    kinds = {"hex2": hexadecimal(2), "hex4": hexadecimal(4), "hex6": hexadecimal(6), "hex8": hexadecimal(8),
             "celsius": celsius, "plus_1": plus_1, "power_of_2": power_of_2, "text": str.strip,
             "identifier": identifier, "unless_0": unless_0("not reported"), "none_if_0": unless_0("none"),
             "never": lambda _: "not reported"}
    return {name: kinds[kind] for kind, names in names_of_rule.items() for name in names.split()}


# The values that are not shown as plain numbers. cntrltype: QEMU's controller is an I/O controller.
CONTROLLER = {
    **rules(hex2="cmic nvmsr vwci mec frmw lpa avscc apsta dsto anacap sqes cqes fna vwc icsvscc nwpc fcatt "
                 "tmpthha trattr crcap kpioc plsi",
            hex4="vid ssvid cntlid rrls oacs hctma oncs fuses ocfs ofcs bpcap", hex6="ieee",
            hex8="oaes ctratt rpmbs sanicap sgls", plus_1="acl aerl elpe npss awun awupf acwu",
            power_of_2="rab", text="sn mn fr subnqn", celsius="wctemp cctemp mntmt mxtmt",
            unless_0="rtd3r rtd3e mtfa fwug nssl mptfawr", identifier="fguid"),
    "ver": lambda value: f"{value >> 16}.{value >> 8 & 255}.{value & 255}",
    "cntrltype": {1: "I/O controller"}.get,
}
# QEMU defines the preferred sizes (NSFEAT bit 4) and not the atomic units (bit 1).
NAMESPACE = rules(hex2="nsfeat flbas mc dpc dps nmic rescap fpi dlfeat nsattr kpios", unless_0="noiob mssrl mcl",
                  plus_1="nlbaf npwg npwa npdg npda nows msrc", none_if_0="nabsn nabspf",
                  never="nawun nawupf nacwu", identifier="eui64 nguid")
SMART_LOG = rules(hex2="critical_warning endurance_grp_critical_warning_summary", celsius="temperature")
# Fields of Identify Controller and Identify Namespace since NVMe 2.1, which newer versions of nvme-cli show of every
# drive. The bytes are reserved in older ones, and the tool leaves them out there.
SINCE_NVME_21 = {"BPCAP", "CMMRTD", "CQT", "CRCAP", "HIRT", "KPIOC", "MAXMRTG", "MINMRTG", "MPTFAWR",
                 "NMMRTD", "NSSL", "OAQD", "PLSI", "RHIRI", "TMPTHHA", "TRATTR", "KPIODAAG", "KPIOS"}
# Those of NVMe 2.2 and later, which no drive here has.
SINCE_NVME_22 = {"MCDQPC", "MCMR", "MCUDMQ", "MNSUDMQ", "NMCMR"}
# Commands that nvme-cli has, and shows in log page 05h without their names: "Unknown". QEMU 10 lists them.
UNNAMED_BY_NVME_CLI = {"I/O 0x12": "I/O Management Receive", "I/O 0x1D": "I/O Management Send"}
ENDURANCE_LOG = {
    "avl_spare": "AVSP", "avl_spare_threshold": "AVSPT", "percent_used": "PUSED", "endurance_estimate": "EE",
    "data_units_read": "DUR", "data_units_written": "DUW", "media_units_written": "MUW", "host_read_cmds": "HRC",
    "host_write_cmds": "HWC", "media_data_integrity_err": "MDIE", "num_err_info_log_entries": "NEIL"}
# Where the names are not the same, too.
NAMES = {
    "icsvscc": "NVSCC", "domainid": "DID",
    "critical_warning": "CW", "temperature": "CTEMP", "avail_spare": "AVSP", "spare_thresh": "AVSPT",
    "percent_used": "PUSED", "endurance_grp_critical_warning_summary": "EGCWS", "data_units_read": "DUR",
    "data_units_written": "DUW", "host_read_commands": "HRC", "host_write_commands": "HWC",
    "controller_busy_time": "CBT", "power_cycles": "PWRC", "power_on_hours": "POH", "unsafe_shutdowns": "UPL",
    "media_errors": "MDIE", "num_err_log_entries": "NEIL", "warning_temp_time": "WCTT", "critical_comp_time": "CCTT",
    "thm_temp1_trans_count": "TMT1TC", "thm_temp2_trans_count": "TMT2TC", "thm_temp1_total_time": "TTTMT1",
    "thm_temp2_total_time": "TTTMT2",
}


def of_older_drive(theirs):
    """What nvme-cli shows of a drive before NVMe 2.1, without the fields that are newer than the drive."""
    newer = {name: value for name, value in theirs.items() if name.upper() in SINCE_NVME_21 | SINCE_NVME_22}
    if any(newer.values()):
        raise AssertionError(f"reserved fields that are not 0: {newer}")
    return {name: value for name, value in theirs.items() if name not in newer}


def expected(theirs, table):
    """nvme-cli's plain values as ours."""
    return {NAMES.get(key, key.upper()): table.get(key, str)(value)
            for key, value in theirs.items() if not isinstance(value, (list, dict))}


def descriptors(theirs):
    """The descriptors of a namespace by their names; nvme-cli 2.3 also names the type of each."""
    return {name: value for each in theirs["ns-descs"] for name, value in each.items() if name != "type"}


def bare(value):
    """A number without its unit: nvme-cli shows none."""
    return re.sub(r"^(-?[\d.]+) (?:%|C|bytes|blocks|hours|minutes|seconds|milliseconds|microseconds|units of .*)$", r"\1", str(value))


def fields(ours):
    """The fields of a structure by their abbreviations, without the bits that some of them are taken apart into."""
    names = {label: label.split(" - ")[0] for label, value in ours.items() if not isinstance(value, dict)}
    return {name: bare(ours[label]) for label, name in names.items() if " " not in name}


class DriveDataTestCase(VmTestCase):
    def theirs(self, command):
        run = self.machine.shell(f"{command} -o json")
        self.assertEqual((run.status, run.stderr), (0, ""), command)
        return run.json()

    def raw(self, command):
        run = self.machine.shell(f"{command} -b")
        self.assertEqual((run.status, run.stderr), (0, ""), command)
        return run.stdout_bytes

    def only(self, *arguments):
        """The one object that a successful show prints, after its heading, without the drive's identity."""
        ((heading, values),) = self.drives(*arguments)
        self.assertIn(values.pop("SerialNumber"), heading)
        self.assertIn(values.pop("DevicePath"), arguments)
        return heading, values

    def effects(self, drive, csi):
        """What nvme-cli shows of log page 05h of a command set, as ours; it shows opcodes as decimal numbers."""
        text = self.machine.shell(f"nvme effects-log {drive} --csi={csi} -H").stdout
        theirs, queue = {}, None
        for line in text.splitlines():
            queue = {"Admin Commands": "Admin", "I/O Commands": "I/O"}.get(line, queue)
            if "[" not in line or "]" not in line:
                continue
            opcode = int("".join(filter(str.isdigit, line[:line.index("[")])))
            command = f"{queue} 0x{opcode:02X}"
            name = line[line.index("[") + 1:line.index("]")].strip()
            if name == "Unknown":
                name = UNNAMED_BY_NVME_CLI[command]
            words = [word for mark, word in (("CSUPP+", "supported"), ("LBCC+", "changes user data"),
                                             ("NCC+", "changes capabilities of a namespace"),
                                             ("NIC+", "changes the inventory of namespaces"),
                                             ("CCC+", "changes capabilities of the controller")) if mark in line]
            theirs[f"{command} - {name}"] = "; ".join(words)
        self.assertGreater(len(theirs), 15, text)
        return theirs


class DriveData(DriveDataTestCase):
    controllers = [
        Controller("S1", [Namespace(64, options="uuid=11112222-3333-4444-5555-666677778888,eui64=0x5254001122334455"),
                          Namespace(32, block=4096, metadata=8, shared=True), Namespace(16, detached=True, nsid=7)]),
        Controller("S1", name="S1b"),
        Controller("S3", [Namespace(16)], options="mdts=5"),
    ]

    def setUp(self):
        # "nvme0 0 S1": name, controller identifier, serial number
        listing = self.machine.shell("cd /sys/class/nvme; for c in *; do echo $c $(cat $c/cntlid $c/serial); done").stdout
        nodes = {(serial, int(cntlid)): f"/dev/{name}" for name, cntlid, serial in map(str.split, listing.splitlines())}
        self.first, self.other = nodes["S1", 0], nodes["S3", 0]

    # Identify

    def test_identify_controller(self):
        for path in (self.first, self.other):
            theirs = of_older_drive(self.theirs(f"nvme id-ctrl {path}"))
            self.assertEqual(theirs["ver"], 0x10400, "the machine is as it was meant")
            heading, ours = self.only("-velkossd", path, "-identify")
            self.assertEqual(heading, f"Identify Controller {theirs['sn'].strip()}")
            self.assertEqual(fields(ours), expected(theirs, CONTROLLER))
            states = [part for part in ours.values() if isinstance(part, dict)]
            self.assertEqual([(s["MP - Maximum Power"], s["ENLAT - Entry Latency"],
                               s["EXLAT - Exit Latency"]) for s in states],
                             [(f"{s['max_power'] / 100:.2f} watts", f"{s['entry_lat']} microseconds",
                               f"{s['exit_lat']} microseconds") for s in theirs["psds"]],
                             "QEMU's unit is 0.01 W")

    def test_identify_namespace(self):
        for path, nsid in ((self.first, 1), (self.first, 2), (self.other, 1)):
            theirs = of_older_drive(self.theirs(f"nvme id-ns -n {nsid} {path}"))
            del theirs["nulbaf"]  # formats with a number of their own, which this tool does not count apart
            heading, ours = self.only("-velkossd", path, "-identify", "-namespace", nsid)
            self.assertEqual(heading.rsplit(" ", 1)[0], f"Identify Namespace {nsid}")
            self.assertEqual(fields(ours), expected(theirs, NAMESPACE))
            formats = [part for part in ours.values() if isinstance(part, dict)]
            self.assertEqual([(f["LBADS - LBA Data Size"], f["MS - Metadata Size"], f["In Use"])
                              for f in formats],
                             [(f"{1 << f['ds']} bytes", f"{f['ms']} bytes", i == theirs["flbas"] & 15) for i, f in enumerate(theirs["lbafs"])])

    def test_lists_of_namespaces_and_controllers(self):
        def list_of(command, name, key):
            return {f"Entry {i}": entry[key] for i, entry in enumerate(self.theirs(f"{command} {self.first}")[name])}

        for command, name, key, arguments, heading, label in (
                ("nvme list-ns", "nsid_list", "nsid", ["-identify", "-namespace", "attached"],
                 "Attached Namespaces S1", "Namespaces"),
                ("nvme list-ns --all", "nsid_list", "nsid", ["-identify", "-namespace", "allocated"],
                 "Allocated Namespaces S1", "Namespaces"),
                ("nvme list-ctrl", "ctrl_list", "ctrl_id", ["-nvmecontroller"], "Controllers S1", "Controllers"),
                ("nvme list-ctrl -n 1", "ctrl_list", "ctrl_id", ["-namespace", "1", "-nvmecontroller"],
                 "Controllers of Namespace 1 S1", "Controllers"),
                ("nvme list-ctrl -n 2", "ctrl_list", "ctrl_id", ["-namespace", "2", "-nvmecontroller"],
                 "Controllers of Namespace 2 S1", "Controllers")):
            with self.subTest(heading):
                found_heading, ours = self.only("-velkossd", self.first, *arguments)
                self.assertEqual((found_heading, ours),
                                 (heading, {label: list_of(command, name, key)}))

    def test_namespace_descriptors(self):
        theirs = descriptors(self.theirs(f"nvme ns-descs -n 1 {self.first}"))
        heading, ours = self.only("-velkossd", self.first, "-identify", "-namespace", 1, "-descriptors")
        self.assertEqual(heading, "Namespace Identification Descriptors of Namespace 1 S1")
        self.assertEqual(fields(ours), {"UUID": theirs["uuid"], "EUI64": theirs["eui64"].upper(),
                                        "CSI": hexadecimal(2)(theirs["csi"])})
        self.assertEqual(theirs["uuid"], "11112222-3333-4444-5555-666677778888", "the machine is as it was meant")

    def test_what_identify_refuses(self):
        for arguments, status, message in (
                (["-identify", "-namespace", "7"], 80, f"Namespace 7 is not attached to drive S1 ({self.first})."),
                (["-identify", "-namespace", "4294967295"], 25, f"Identify failed on drive S1 ({self.first}): Invalid "
                 "Namespace or Format (status code type 0x0, status code 0x0B, opcode 0x06)."),
                (["-identify", "-uuidlist"], 3, "The selected drive does not support this feature. Drive S1 "
                 f"({self.first}) does not offer the UUID List (CNS 0x17).")):
            with self.subTest(arguments):
                self.check("show", "-velkossd", self.first, *arguments, status=status,
                           stdout=title_and("Identify", "S1", self.first, message))

    # Log pages

    def read_something(self):
        """So that the counters differ."""
        # The kernel reads no blocks with metadata: the first namespaces have none.
        run = self.machine.shell("set -e; cd /sys/block; for b in $(grep -lx 1 nvme*/nsid | cut -d/ -f1); do "
                                 "[ ! -b /dev/$b ] || dd if=/dev/$b of=/dev/null bs=64k count=40; done")
        self.assertEqual(run.status, 0, run.stderr)

    def test_smart_log(self):
        self.read_something()
        for path in (self.first, self.other):
            theirs = self.theirs(f"nvme smart-log {path}")
            self.assertGreater(int(theirs["host_read_commands"]), 20, "the machine is as it was meant")
            _, log = self.only("-velkossd", path, "-nvmelog", "2")
            ours = fields(log)
            self.assertEqual({k: v for k, v in ours.items() if not k.startswith("TSEN")}, expected(theirs, SMART_LOG))
            self.assertEqual({v for k, v in ours.items() if k.startswith("TSEN")}, {"not reported"})

    def test_smart_attributes_sensors_and_performance(self):
        # nvme-cli's 128-bit numbers are texts.
        theirs = {name: int(value) for name, value in self.theirs(f"nvme smart-log {self.first}").items()}
        self.assertEqual(theirs["critical_warning"], 0)
        common = {"AvailableSpare": f"{theirs['avail_spare']} %", "MediaErrors": theirs["media_errors"],
                  "PercentageUsed": f"{theirs['percent_used']} %", "PowerCycles": theirs["power_cycles"],
                  "PowerOnHours": f"{theirs['power_on_hours']} hours", "Temperature": f"{theirs['temperature'] - 273} C",
                  "UnsafeShutdowns": theirs["unsafe_shutdowns"]}
        work = {"ControllerBusyTime": f"{theirs['controller_busy_time']} minutes",
                "DataUnitsRead": f"{theirs['data_units_read']} units of 512000 bytes",
                "DataUnitsWritten": f"{theirs['data_units_written']} units of 512000 bytes"}
        self.assertEqual(self.only("-velkossd", self.first, "-smart"), ("SMART Attributes S1", {
            **common, **work,
            "HostReadCommands": theirs["host_read_commands"], "HostWriteCommands": theirs["host_write_commands"],
            "AvailableSpareThreshold": f"{theirs['spare_thresh']} %",
            "CriticalCompositeTemperatureTime": f"{theirs['critical_comp_time']} minutes",
            "WarningCompositeTemperatureTime": f"{theirs['warning_temp_time']} minutes",
            "CriticalWarnings": "0x00", "EnduranceGroupCriticalWarningSummary": "0x00",
            "NumErrorInfoLogEntries": theirs["num_err_log_entries"],
            **{f"TemperatureSensor{i}": "not reported" for i in range(1, 9)},
            **{name: False for name in (
                "AvailableSpareWarning", "EnduranceGroupAvailSpareCapacityThresholdWarning",
                "EnduranceGroupReadOnlyWarning", "EnduranceGroupReliabilityWarning", "ReadOnlyWarning",
                "ReliabilityWarning", "TemperatureWarning", "VolatileMemoryWarning")},
            **{f"ThermalManagementTemperature{i}TransitionCount": theirs[f"thm_temp{i}_trans_count"] for i in (1, 2)},
            **{f"TotalTimeForThermalManagementTemperature{i}": f"{theirs[f'thm_temp{i}_total_time']} seconds"
               for i in (1, 2)},
        }))
        self.assertEqual(self.only("-velkossd", self.first, "-sensor"), ("Health Sensors S1", {
            **common, "DeviceStatus": "Healthy", "ErrorInfoLogEntries": theirs["num_err_log_entries"],
            **{name: False for name in ("AvailableSpareBelowThreshold", "MemoryBackupDeviceFailed", "ReadOnlyMode",
                                        "ReliabilityDegraded", "TemperatureThresholdExceeded")},
        }))
        self.assertEqual(self.only("-velkossd", self.first, "-performance"), ("Performance Metrics S1", {
            **work, "HostReadCommands": theirs["host_read_commands"], "HostWriteCommands": theirs["host_write_commands"]}))

    def test_the_other_log_pages(self):
        errors = self.theirs(f"nvme error-log {self.first}")["errors"]
        self.assertEqual([entry["error_count"] for entry in errors], [0], "no entry was ever used")
        self.assertEqual(self.only("-velkossd", self.first, "-nvmelog", "1"), ("Error Information S1", {"Entries": 0}))

        firmware = self.theirs(f"nvme fw-log {self.first}")[self.first[5:]]
        # nvme-cli has the eight characters as a number: "2314885530819505713 (1.0.....)".
        slot1 = int(firmware["Firmware Rev Slot 1"].split()[0]).to_bytes(8, "little").decode().strip()
        active = firmware["Active Firmware Slot (afi)"]
        self.assertEqual(len(firmware), 2, "the other slots are empty")
        heading, ours = self.only("-velkossd", self.first, "-nvmelog", "3")
        self.assertEqual((heading, list(map(str, ours.values()))),
                         ("Firmware Slot Information S1", [hexadecimal(2)(active), str(active), "none", slot1] +
                          ["none"] * 6))

        changed = self.theirs(f"nvme changed-ns-list-log {self.first}")[self.first[5:]]
        self.assertEqual(self.only("-velkossd", self.first, "-nvmelog", "4"),
                         ("Changed Namespace List S1",
                          {"More - More than 1024 namespaces changed": False, "Namespaces": {}}))
        self.assertEqual(changed, {})

    def test_command_effects_log(self):
        self.assertEqual(self.only("-velkossd", self.first, "-nvmelog", "5"),
                         ("Commands Supported and Effects S1", self.effects(self.first, 0)))

    def test_the_list_of_logs_and_all_of_them(self):
        names = {"LID 0x01": "Error Information", "LID 0x02": "SMART / Health Information",
                 "LID 0x03": "Firmware Slot Information", "LID 0x04": "Changed Namespace List",
                 "LID 0x05": "Commands Supported and Effects",
                 **({"LID 0x09": "Endurance Group Information"} if self.has_endurance_groups() else {})}
        self.assertEqual(self.only("-velkossd", self.first, "-nvmelog", "list"), ("Supported Log Pages S1", names))
        self.assertEqual([heading for heading, _ in self.drives("-velkossd", self.first, "-nvmelog")],
                         [f"{name} S1" for name in names.values()])

    def has_endurance_groups(self):
        """By the attributes of the controller: the drive has none in QEMU 7.2, and one in QEMU 10."""
        return bool(self.theirs(f"nvme id-ctrl {self.first}")["ctratt"] & 0x10)

    def check_not_offered(self, lid, name):
        self.check("show", "-velkossd", self.first, "-nvmelog", lid, status=3, stdout=title_and(
            "NVMe Log", "S1", self.first, f"The selected drive does not support this feature. Drive S1 "
            f"({self.first}) does not offer log page 0x{lid:02X} ({name})."))

    def test_the_logs_of_endurance_groups(self):
        self.check_not_offered(15, "Endurance Group Event Aggregate")
        if not self.has_endurance_groups():
            self.check_not_offered(9, "Endurance Group Information")
            return
        self.read_something()
        theirs = self.theirs(f"nvme endurance-log -g 1 {self.first}")
        heading, ours = self.only("-velkossd", self.first, "-nvmelog", "9")
        self.assertEqual(heading, "Endurance Group Information S1")
        ours = fields(ours)
        self.assertEqual({ours_of: ours[ours_of] for ours_of in ENDURANCE_LOG.values()},
                         {ours_of: str(theirs[name]) for name, ours_of in ENDURANCE_LOG.items()})
        # QEMU 10 announces no notices of its endurance group, and does not have their page.
        run = self.machine.shell(f"nvme get-log -i 15 -l 512 {self.first}")
        self.assertIn("Invalid Field in Command", run.stderr)

    def test_a_dumped_log_is_what_the_drive_gave(self):
        for arguments, command in ((["-nvmelog", "5"], "-i 5 -l 4096"),
                                   (["-nvmelog", "5", "LogPageOffset=512", "NumDWORDs=8"], "-i 5 -l 32 --lpo=512")):
            with self.subTest(arguments):
                self.machine.shell("rm -f /tmp/log")
                run = self.machine.run("nimbrel", "dump", "-destination", "/tmp/log", "-velkossd", self.first, *arguments)
                theirs = self.raw(f"nvme get-log {command} {self.first}")
                self.assertEqual((run.stdout, run.stderr, run.status), (
                    title_and("NVMe Log", "S1", self.first, f"Wrote {len(theirs)} bytes of log page 0x05 (Commands "
                              "Supported and Effects) to /tmp/log."), "", 0))
                self.assertEqual(self.machine.read("/tmp/log"), theirs)

    # Features

    def theirs_of_feature(self, fid, select=0, extra=""):
        """The value that nvme-cli gets; None when the drive refuses."""
        run = self.machine.shell(f"nvme get-feature -f {fid} -s {select} {extra} {self.first}")
        return int(run.stdout.split("value:")[1].split()[0], 16) if run.status == 0 else None

    def is_changeable(self, fid):
        """QEMU 10 lets Write Atomicity Normal be set, QEMU 7.2 does not."""
        return bool(self.theirs_of_feature(fid, select=3) & 4)

    def decoded(self, fid, value):
        """The fields of a feature, by the standard's tables."""
        part = lambda low, high: value >> low & (1 << high - low + 1) - 1
        weights = ("Low", "Medium", "High")
        return {
            1: lambda: {"ArbitrationBurst - Arbitration Burst":
                        "no limit" if part(0, 2) == 7 else 1 << part(0, 2),
                        **{f"{w}PriorityWeightArbitration - {w} Priority Weight":
                           part(8 + 8 * i, 15 + 8 * i) + 1 for i, w in enumerate(weights)}},
            2: lambda: {"NVMePowerState - Power State": part(0, 4), "WH - Workload Hint": part(5, 7)},
            4: lambda: {"TempThreshold - Temperature Threshold": f"{part(0, 15) - 273} C"},
            5: lambda: {"TimeLimitedErrorRecovery - Time Limited Error Recovery":
                        f"{part(0, 15)} units of 100 milliseconds" if part(0, 15) else "no limit",
                        "DULBE - Deallocated or Unwritten Logical Block Error Enable": bool(part(16, 16))},
            6: lambda: {"VolatileWriteCacheEnabled - Volatile Write Cache Enable": bool(part(0, 0))},
            7: lambda: {"IOSubmissionQueuesRequested - I/O Submission Queues Allocated": part(0, 15) + 1,
                        "IOCompletionQueuesRequested - I/O Completion Queues Allocated": part(16, 31) + 1},
            8: lambda: {"AggregationThreshold - Aggregation Threshold 0-based": part(0, 7),
                        "AggregationTime - Aggregation Time": f"{part(8, 15)} units of 100 microseconds"},
            9: lambda: {"InterruptVector - Interrupt Vector": part(0, 15),
                        "CoalescingDisable - Coalescing Disable": bool(part(16, 16))},
            10: lambda: {"WriteAtomicityDisableNormal - Disable Normal": bool(part(0, 0))},
            11: lambda: {
                "SMARTHealthCriticalWarningsConfiguration - SMART / Health Critical Warnings": f"0x{part(0, 7):02X}",
                **{name: bool(part(8 + bit, 8 + bit)) for bit, name in enumerate((
                    "NamespaceAttributeNoticesConfiguration - Namespace Attribute Notices",
                    "FirmwareActivationNoticesConfiguration - Firmware Activation Notices",
                    "TelemetryLogNoticesConfiguration - Telemetry Log Notices",
                    "ANACN - Asymmetric Namespace Access Change Notices",
                    "PLEALCN - Predictable Latency Event Aggregate Log Change Notices",
                    "LBASIN - LBA Status Information Notices",
                    "EGEALCN - Endurance Group Event Aggregate Log Change Notices"))}},
        }[fid]()

    FEATURES = {1: "Arbitration", 2: "Power Management", 4: "Temperature Threshold", 5: "Error Recovery",
                6: "Volatile Write Cache", 7: "Number of Queues", 8: "Interrupt Coalescing",
                9: "Interrupt Vector Configuration", 10: "Write Atomicity Normal", 11: "Asynchronous Event Configuration"}
    WITH_DATA = {14: "Timestamp", 22: "Host Behavior Support"}
    SELECTS = ("current", "default", "saved", "capabilities")

    def test_every_feature_is_shown(self):
        for fid, name in self.FEATURES.items():
            of_namespace = "-n 1" if fid == 5 else ""
            target = ["-namespace", "1"] if fid == 5 else []
            # All ways of asking at two of them: the way is the same for all.
            for select, word in enumerate(self.SELECTS if fid in (4, 11) else self.SELECTS[:1]):
                with self.subTest(feature=name, select=word):
                    value = self.theirs_of_feature(fid, select, of_namespace)
                    heading = f"{name} Capabilities S1" if select == 3 else f"{name} S1"
                    details = self.decoded(fid, value) if select != 3 else {
                        "Saveable - Can be saved": bool(value & 1),
                        "Namespace Specific - Each namespace has its own": bool(value & 2),
                        "Changeable - Can be changed": bool(value & 4)}
                    self.assertEqual(
                        self.only("-velkossd", self.first, "-getfeature", fid, *target, f"Select={word}"),
                        (heading, {"FID - Feature Identifier": f"0x{fid:02X}", "SEL - Select": word,
                                   **({"NSID - Namespace Identifier": 1} if fid == 5 else {}),
                                   "Dword 0": f"0x{value:08X}", **details}))

    NOT_OFFERED = {
        0x0C: "Autonomous Power State Transition", 0x0D: "Host Memory Buffer", 0x0F: "Keep Alive Timer",
        0x10: "Host Controlled Thermal Management", 0x11: "Non-Operational Power State Config",
        0x12: "Read Recovery Level Config", 0x13: "Predictable Latency Mode Config",
        0x14: "Predictable Latency Mode Window", 0x15: "LBA Status Information Attributes",
        0x17: "Sanitize Config"}

    def test_a_feature_that_the_drive_does_not_support_is_reported(self):
        for fid in range(1, 24):
            if fid in self.FEATURES or fid in self.WITH_DATA:
                continue
            with self.subTest(feature=fid):
                target = ["-namespace", "1"] if fid == 3 else []
                self.assertIsNone(self.theirs_of_feature(fid, 0, "-n 1" if target else ""))
                # What Identify does not offer is not asked for.
                reason = (f"Drive S1 ({self.first}) does not offer feature 0x{fid:02X} ({self.NOT_OFFERED[fid]})."
                          if fid in self.NOT_OFFERED else f"Get Features failed on drive S1 ({self.first}): Invalid "
                          "Field in Command (status code type 0x0, status code 0x02, opcode 0x0A).")
                self.check("show", "-velkossd", self.first, "-getfeature", fid, *target, status=3, stdout=title_and(
                    "NVMe Feature", "S1", self.first, f"The selected drive does not support this feature. {reason}"))

    def test_changeable_features_are_set_and_read_back(self):
        atomicity = ((10, "", 1), (10, "", 0)) if self.is_changeable(10) else ()
        for fid, target, value in ((4, "", 0x140), (5, "-n 1", 0x0009), (6, "", 0), (6, "", 1), (11, "", 0x31F),
                                   *atomicity):
            namespace = ["-namespace", "1"] if target else []
            with self.subTest(feature=fid):
                before = self.theirs_of_feature(fid, 0, target)
                self.assertNotEqual(before, value, "the setting changes something")
                end = ", when Linux sets this feature" if fid == 11 else ""
                self.check("set", "-velkossd", self.first, "-setfeature", fid, *namespace, f"DWORD11=0x{value:x}",
                           stdout=title_and("NVMe Feature", "S1", self.first, f"Feature 0x{fid:02X} ({self.FEATURES[fid]}) "
                                            f"is set. It holds until the next controller reset{end}."))
                self.assertEqual(self.theirs_of_feature(fid, 0, target), value)
                _, ours = self.only("-velkossd", self.first, "-getfeature", fid, *namespace)
                self.assertEqual(ours["Dword 0"], f"0x{value:08X}")

    def test_a_feature_with_data_is_set_from_a_file(self):
        behavior = bytes([1]) + bytes(511)  # Advanced Command Retry Enable
        before = self.raw(f"nvme get-feature -f 22 {self.other}")[:512]
        self.machine.write("/tmp/before", before)
        self.machine.write("/tmp/behavior", behavior)
        refusal = self.refusal_of_linux(self.other, "-f 22 -l 512 -d /tmp/before")
        self.check("set", "-velkossd", self.other, "-setfeature", 22, "InputFile=/tmp/behavior",
                   status=238 if refusal else 0, stdout=title_and(
                       "NVMe Feature", "S3", self.other, refusal or
                       "Feature 0x16 (Host Behavior Support) is set. It holds until the next controller reset."))
        after = before if refusal else behavior
        self.assertEqual(self.raw(f"nvme get-feature -f 22 {self.other}")[:512], after)
        heading, ours = self.only("-velkossd", self.other, "-getfeature", 22)
        self.assertEqual((heading, ours["ACRE - Advanced Command Retry Enable"]),
                         ("Host Behavior Support S3", bool(after[0])))

    def test_what_cannot_be_set_is_refused_and_unchanged(self):
        not_changeable = "Feature Not Changeable (status code type 0x1, status code 0x0E"
        for fid, value, why in ((1, 0x04030201, not_changeable), (2, 0, not_changeable), (8, 0x0102, not_changeable),
                                (7, 0x00010001, "Command Sequence Error (status code type 0x0, status code 0x0C"),
                                (9, 0x00010001, not_changeable),
                                *(() if self.is_changeable(10) else ((10, 1, not_changeable),))):
            with self.subTest(feature=fid):
                before = self.theirs_of_feature(fid)
                refusal = self.refusal_of_linux(self.first, f"-f {fid} --value={value}") if fid == 7 else None
                self.check("set", "-velkossd", self.first, "-setfeature", fid, f"DWORD11=0x{value:x}",
                           status=238 if refusal else 25, stdout=title_and(
                               "NVMe Feature", "S1", self.first, refusal or
                               f"Set Features failed on drive S1 ({self.first}): {why}, opcode 0x09)."))
                self.assertEqual(self.theirs_of_feature(fid), before)
        self.check("set", "-velkossd", self.first, "-setfeature", 4, "DWORD11=0x141", "Save=true", status=25,
                   stdout=title_and("NVMe Feature", "S1", self.first, f"Set Features failed on drive S1 ({self.first}): "
                                    "Feature Identifier Not Saveable (status code type 0x1, status code 0x0D, opcode "
                                    "0x09)."))

    def test_commands_that_set_one_field(self):
        self.check("set", "-velkossd", "S3", "TempThreshold=66",
                   stdout=f"Set TempThreshold successful. {UNTIL_RESET}\n")
        self.assertEqual(int(self.value_of(4), 16), 66 + 273)
        for value, message in (("81", "81"), ("x", None)):
            before = self.value_of(4)
            run = self.machine.run("nimbrel", "set", "-velkossd", "S3", f"TempThreshold={value}")
            self.assertNotEqual((run.status, message), (0, message))
            self.assertEqual(self.value_of(4), before)
        mask = int(self.value_of(11), 16)
        self.assertEqual(mask, 0x100, "what the driver of the system has set")
        for setting, mask in (("SMARTHealthCriticalWarningsConfiguration=31", 0x11F),
                              ("TelemetryLogNoticesConfiguration=true", 0x51F),
                              ("FirmwareActivationNoticesConfiguration=true", 0x71F),
                              ("NamespaceAttributeNoticesConfiguration=false", 0x61F),
                              ("TelemetryLogNoticesConfiguration=false", 0x21F)):
            self.check("set", "-velkossd", "S3", setting,
                       stdout=f"Set {setting.split('=')[0]} successful. {UNTIL_LINUX}\n")
            self.assertEqual(int(self.value_of(11), 16), mask, setting)
        self.assertEqual(self.machine.run("nimbrel", "reset", "-velkossd", "S3", "-nvmecontroller").status, 0)
        self.assertEqual(int(self.value_of(11), 16), 0x100, "the driver has set it again, as the messages say")
        if self.machine.shell("uname -r").stdout.startswith("5.10."):
            self.forget_doorbells(self.other)

    def forget_doorbells(self, path):
        """Linux 5.10 keeps the last values of the doorbells that it shares with an emulated controller in memory
        (Doorbell Buffer Config) over a controller reset. It takes the new queue for one that the controller is still
        at work on and does not ring: the next command to a namespace never ends, after `nvme reset` either. Linux 6.1
        rings. A driver that is bound to the controller again has new ones."""
        self.assertEqual(self.machine.shell(
            f"set -e; address=$(basename $(readlink -f /sys/class/nvme/{path[5:]}/device)); "
            "cd /sys/bus/pci/drivers/nvme; echo $address > unbind; echo $address > bind").status, 0)
        self.machine.await_drives()

    def value_of(self, fid):
        return self.machine.shell(f"nvme get-feature -f {fid} {self.other}").stdout.split("value:")[1].strip()

    def test_interrupt_coalescing_and_power_mode_are_refused_by_this_drive(self):
        errors = self.theirs(f"nvme smart-log {self.other}")["num_err_log_entries"]
        for setting, feature in (("AggregationThreshold=7", "Interrupt Coalescing"),
                                 ("AggregationTime=9", "Interrupt Coalescing"),
                                 ("PowerGovernorMode=0", "Power Management")):
            self.check("set", "-velkossd", "S3", setting, status=3, stdout=(
                "Error: The selected drive does not support this feature. "
                f"{feature} of drive S3 ({self.other}) cannot be changed.\n"))
        self.assertEqual(self.theirs(f"nvme smart-log {self.other}")["num_err_log_entries"], errors)
        self.check("set", "-velkossd", "S3", "PowerGovernorMode=1", status=3, stdout=(
            f"Error: Invalid power mode given. Valid modes are 0 1 and 2. Drive S3 ({self.other}) has no power state 1 in "
            "which it works: it takes 0.\n"))
        self.check("set", "-velkossd", "S3", "AggregationTime=256", status=3, stdout=(
            "Error: Invalid Aggregate Time given. AggregationTime must be a number from 0 to 255, not '256'.\n"))
        self.assertEqual((self.value_of(8), self.value_of(2)), ("00000000", "00000000"))

    def test_timestamp(self):
        def theirs():
            # 48 bits of milliseconds, then Synch (bit 0) and Origin (bits 1 to 3).
            data = self.raw(f"nvme get-feature -f 14 {self.first}")
            return int.from_bytes(data[:6], "little"), data[6]

        self.check("set", "-velkossd", self.first, "-timestamp", "1600000000000",
                   stdout=f"Set Timestamp successful. {UNTIL_LINUX}\n")
        before, attributes = theirs()
        heading, ours = self.only("-velkossd", self.first, "-timestamp")
        after, _ = theirs()
        self.assertTrue(1600000000000 <= before < 1600000060000, before)
        self.assertEqual(attributes, 2, "set by the host, counted without a stop")
        now = int(bare(ours.pop("Timestamp - Timestamp")))
        self.assertTrue(before <= now <= after, (before, now, after))
        date = datetime.datetime.fromtimestamp(now // 1000, datetime.timezone.utc)
        self.assertEqual((heading, ours), ("Timestamp S1", {
            "TimestampOrigin - Timestamp Origin": "set by the host",
            "TimestampSynch - Timestamp Synch": "counted without a stop",
            "Date": f"{date:%Y-%m-%d %H:%M:%S}.{now % 1000:03} UTC"}))

    # Formats of the output

    def test_every_format_of_the_main_commands_is_well_formed(self):
        # The short form of this option is another one in newer versions of nvme-cli.
        self.assertEqual(self.machine.shell(f"nvme set-feature -f 4 --value=0x157 {self.first}").status, 0)
        for arguments in (["-velkossd"], ["-a", "-velkossd"], ["-smart", "-velkossd"], ["-sensor", "-velkossd"],
                          ["-velkossd", "-identify"], ["-velkossd", self.first, "-identify", "-namespace", "1"],
                          ["-velkossd", "-nvmelog"], ["-velkossd", "-nvmelog", "list"],
                          ["-velkossd", self.first, "-nvmecontroller"], ["-partition", "-velkossd"],
                          ["-velkossd", self.first, "-backgroundprocessing"],
                          ["-velkossd", self.first, "-getfeature", "4"]):
            with self.subTest(arguments):
                options = arguments[:1] if arguments[0] == "-a" else []
                rest = arguments[len(options):]
                runs = [self.machine.run("nimbrel", "show", *options, "-o", kind, *rest)
                        for kind in ("json", "nvmxml")]
                self.assertEqual([(run.status, run.stderr) for run in runs], [(0, "")] * 2)
                tree = strict_json(runs[0].stdout)
                self.assertEqual(flat_xml(xml.etree.ElementTree.fromstring(runs[1].stdout)), flat_json(tree))

    def test_an_error_is_well_formed_too(self):
        run = self.machine.run("nimbrel", "show", "-o", "json", "-velkossd", "S9")
        self.assertEqual((run.status, strict_json(run.stdout)),
                         (3, {"Error_Type": 3, "Error_Description":
                              "Error: Provided device serial is invalid. Device could not be found."}))
        run = self.machine.run("nimbrel", "show", "-o", "nvmxml", "-velkossd", "S9")
        element = xml.etree.ElementTree.fromstring(run.stdout)
        self.assertEqual((run.status, element.tag, element.attrib, element.text),
                         (3, "Error", {"Type": "3"}, "Error: Provided device serial is invalid. Device could not be found."))


def xml_name(name, is_property):
    name = name.replace(" ", "_").replace(":", "-").replace("/", "-")
    return name.replace("(", "").replace(")", "") if is_property else name


def flat_json(tree, path=()):
    """Every value with its name and the names above it, as the XML has them."""
    found = []
    for name, value in tree.items():
        if isinstance(value, dict):
            found += flat_json(value, path + (xml_name(name, False),))
        else:
            found.append((path, xml_name(name, True), str(value)))
    return found


def flat_xml(element, path=()):
    found = []
    for child in element:
        # An empty list has no entries, and is no value either.
        if len(child) or (child.text and child.text.isspace()):
            found += flat_xml(child, path + (child.tag,))
        else:
            found.append((path, child.tag, child.text))
    return found


class ZonedDrive(DriveDataTestCase):
    """QEMU's drives are of NVMe 1.4, as the first drives with zones were."""

    controllers = [Controller("S1", [Namespace(64), Namespace(64, options="zoned=on,zoned.zone_size=16M")])]

    def test_the_commands_of_its_command_sets(self):
        effects = self.effects("/dev/nvme0", 2)
        self.assertIn("I/O 0x7D - Zone Append", effects)
        heading, ours = self.only("-velkossd", "/dev/nvme0", "-nvmelog", "5")
        self.assertEqual(ours.pop("Zoned Namespace Command Set"), effects)
        self.assertEqual((heading, ours), ("Commands Supported and Effects S1", self.effects("/dev/nvme0", 0)))

    def test_its_namespaces(self):
        theirs = descriptors(self.theirs("nvme ns-descs -n 2 /dev/nvme0"))
        _, ours = self.only("-velkossd", "/dev/nvme0", "-identify", "-namespace", "2", "-descriptors")
        self.assertEqual((int(theirs["csi"], 0), fields(ours)["CSI"]), (2, "0x02"))
        ours = self.show("-a", "-velkossd", "/dev/nvme0")
        self.assertEqual([ours[f"Namespace {nsid} S1"].get("CommandSet") for nsid in (1, 2)], [None, "Zoned Namespace"])


if __name__ == "__main__":
    unittest.main()
