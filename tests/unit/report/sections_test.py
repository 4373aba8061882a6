import unittest

import samples  # noqa: F401  (sets the path)
from nimbrel_report import sections

IDENTITY = {"SerialNumber": 42, "DevicePath": "/dev/nvme0"}


def bucket(read=0, write=0, deallocate=0):
    return {"Deallocate Count - Dataset Management commands in the bucket": deallocate,
            "Write Count - Write commands in the bucket": write, "Read Count - Read commands in the bucket": read,
            "Read Latency - Measured latency of Read": "0 ms"}


def event(date="2026-11-20 18:44:00.123 UTC", **more):
    return {"ET - Event Type": "0x0D", "ETSTMP - Event Timestamp": "1795200240123 milliseconds",
            "ETSTMP Date - Date": date, "EL - Event Length": "2 bytes", **more}


class Identity(unittest.TestCase):
    def test_nvme(self):
        objects = {
            "Velko SSD 42": {**IDENTITY, "ModelNumber": "Model A ", "Firmware": 100, "NVMeMajorVersion": 2,
                             "NVMeMinorVersion": 1, "TotalCapacity": "2000 bytes", "PhysicalSize": "1000 bytes",
                             "DeviceStatus": "Healthy"},
            "Namespace 1 42": {**IDENTITY, "NamespaceId": 1, "Size": "1000 bytes", "Used": "10 bytes",
                               "Node": "/dev/nvme0n1", "Use": "mounted at /data"},
            "Namespace 2 42": {**IDENTITY, "NamespaceId": 2, "Size": "not reported", "Node": "none", "Use": "none"},
        }
        self.assertEqual(sections.identity(objects), {
            "serial_number": "42", "model_number": "Model A", "firmware_revision": "100", "interface": "NVMe 2.1",
            "capacity_bytes": 2000, "device_status": "Healthy", "namespaces": [
                {"nsid": 1, "size_bytes": 1000, "used_bytes": 10, "node": "/dev/nvme0n1", "use": "mounted at /data"},
                {"nsid": 2, "size_bytes": None, "used_bytes": None, "node": "none", "use": "none"}]})

    def test_sata(self):
        objects = {"Velko SSD 42": {**IDENTITY, "ModelNumber": "B", "Firmware": "F", "PhysicalSize": "512 bytes",
                                    "DeviceStatus": "Healthy"}}
        self.assertEqual(sections.identity(objects)["interface"], "SATA")
        self.assertEqual(sections.identity(objects)["capacity_bytes"], 512)
        objects["Velko SSD 42"]["TotalCapacity"] = "0 bytes"
        self.assertEqual(sections.identity(objects)["capacity_bytes"], 512, "a total that is not reported")

    def test_two_drives_are_not_one(self):
        with self.assertRaisesRegex(ValueError, "2 objects 'Velko SSD ' in place of one"):
            sections.identity({"Velko SSD 1": {}, "Velko SSD 2": {}})


class Health(unittest.TestCase):
    def test_what_is_not_reported_is_absent(self):
        objects = {"SMART Attributes 42": {
            **IDENTITY, "Temperature": "not reported", "PercentageUsed": "101 %", "DataUnitsWritten":
            "3 units of 512000 bytes", "PowerOnHours": "7 hours", "MediaErrors": 2**100, "AvailableSpareWarning": True,
            "ReadOnlyWarning": False, "TemperatureWarning": True}}
        self.assertEqual(sections.nvme_health(objects), {
            "percentage_used": 101, "data_written_bytes": 1536000, "power_on_hours": 7, "media_errors": 2**100,
            "critical_warnings": ["available spare", "temperature"]})

    def test_sata(self):
        objects = {"Health Sensors 42": {**IDENTITY, "Temperature": "38 C", "CrcErrorCount": 4}}
        self.assertEqual(sections.sata_health(objects), {"temperature_celsius": 38, "interface_crc_errors": 4})

    def test_attributes(self):
        objects = {"SMART Attribute 0xC2 42": {
            **IDENTITY, "Action": "Pass", "Description": "Temperature", "ID": "0xC2", "Normalized": 62, "Raw": "38 C",
            "Status": "0x0022", "Threshold": 0, "Worst": 60}}
        self.assertEqual(sections.attributes(objects), [
            {"id": "0xC2", "name": "Temperature", "value": 62, "worst": 60, "threshold": 0, "raw": "38 C",
             "state": "Pass"}])


class SelfTests(unittest.TestCase):
    def test_nvme(self):
        objects = {
            "Drive Self-Test 42": {**IDENTITY, "SelfTestStatus": "extended self-test in progress",
                                   "SelfTestProgress": "50 %"},
            "Drive Self-Test Result 1 42": {**IDENTITY, "Test": "short", "Result": "completed without error",
                                            "POH - Power On Hours": "9 hours", "FLBA - Failing LBA": "not reported"}}
        self.assertEqual(sections.self_tests(objects), {
            "state": "extended self-test in progress", "progress_percent": 50, "code": None, "results": [
                {"test": "short", "result": "completed without error", "power_on_hours": 9, "failing_lba": None}]})

    def test_sata(self):
        objects = {"Drive Self-Test 42": {**IDENTITY, "SelfTestStatus": "Failed, read element", "SelfTestStatusCode": 7},
                   "Drive Self-Test Entry 0 42": {**IDENTITY, "Test": "Short", "Result": "Failed, read element",
                                                  "Remaining": "0 %", "Power On Hours": 5, "Failing LBA": 64}}
        self.assertEqual(sections.self_tests(objects)["results"], [
            {"test": "Short", "result": "Failed, read element", "power_on_hours": 5, "failing_lba": 64}])


class Logs(unittest.TestCase):
    def test_firmware(self):
        objects = {"Firmware Slot Information 42": {
            **IDENTITY, "AFI - Active Firmware Info": "0x21", "AFI Active Slot - Slot that runs": 1,
            "AFI Next Slot - Slot that the next controller level reset activates": 2,
            "FRS1 - Firmware Revision for Slot 1": "FW1", "FRS2 - Firmware Revision for Slot 2": 200,
            "FRS3 - Firmware Revision for Slot 3": "none"}}
        self.assertEqual(sections.firmware(objects), {
            "active_slot": 1, "next_slot": 2,
            "slots": [{"slot": 1, "revision": "FW1"}, {"slot": 2, "revision": "200"}]})

    def test_buckets_of_the_latency_monitor(self):
        log = {"LMFS Enabled - Latency Monitor is enabled": True, "ATA - Active Threshold A": "6 units of 5 milliseconds",
               "ATB - Active Threshold B": "20 units of 5 milliseconds", "ATC - C": "31 units of 5 milliseconds",
               "ATD - D": "47 units of 5 milliseconds", "Active Bucket 0": bucket(read=128),
               **{f"{kind} Bucket {number}": bucket() for kind in ("Active", "Static") for number in range(4)
                  if (kind, number) != ("Active", 0)}}
        shown = sections.latency_monitor({"OCP Latency Monitor 42": log})
        self.assertTrue(shown["enabled"])
        self.assertEqual(len(shown["buckets"]), 8)
        self.assertEqual(shown["buckets"][0], {"kind": "active", "from_microseconds": 30000, "to_microseconds": 100000,
                                               "read_commands": 128, "write_commands": 0, "deallocate_commands": 0})
        last = shown["buckets"][7]
        self.assertEqual((last["kind"], last["from_microseconds"], last["to_microseconds"]), ("static", 235000, None))

    def test_statistics_of_velko_drives(self):
        log = {**IDENTITY, "LatencyTrackingEnabled - Latency Tracking Enabled": False, "Commands - Commands counted": 9,
               "Bucket 0 - 0 to below 20 microseconds": 0, "Bucket 7 - 10000 and above microseconds": 9}
        nothing = {"kind": "all", "read_commands": None, "deallocate_commands": None}
        self.assertEqual(sections.write_statistics({"VELKO Write Latency Statistics 42": log}), {
            "enabled": False, "buckets": [
                {**nothing, "from_microseconds": 0, "to_microseconds": 20, "write_commands": 0},
                {**nothing, "from_microseconds": 10000, "to_microseconds": None, "write_commands": 9}]})

    def test_events_say_when_and_what(self):
        log = {"TNEV - Total Number of Events": 10,
               "Event 10 - Power-on or Reset": event("not set", **{"FR - Firmware Revision": "F", "Reset 1": {"a": 1}}),
               "Event 2 - Thermal Excursion": event(**{"OT - Over Temperature": "5 C", "THRESH - Threshold": "0x02"})}
        self.assertEqual(sections.events({"Persistent Event Log 42": log}), {"total": 10, "newest": [
            {"name": "Thermal Excursion", "time": "2026-11-20T18:44:00Z", "drive_milliseconds": 1795200240123,
             "text": "Over Temperature: 5 C; Threshold: 0x02"},
            {"name": "Power-on or Reset", "time": None, "drive_milliseconds": 1795200240123,
             "text": "Firmware Revision: F"}]})

    def test_events_are_bounded(self):
        log = {"TNEV - Total Number of Events": 1000, **{f"Event {n} - Set Feature": event() for n in range(1, 1001)}}
        self.assertEqual(len(sections.events({"Persistent Event Log 42": log})["newest"]), 200)

    def test_errors_newest_first(self):
        def entry(number, queue):
            return {"ECNT - Error Count": number, "SQID - Submission Queue ID": queue, "LBA - First LBA": 107,
                    "SF - Status Field": "0x281 Unrecovered Read Error", "NSID - Namespace": 1}
        log = {**IDENTITY, "Entries": 2, "Error 1": entry(1, "not specific to a command"), "Error 2": entry(2, 1)}
        self.assertEqual(sections.errors({"Error Information 42": log}), {"total": 2, "newest": [
            {"number": 2, "status": "0x281 Unrecovered Read Error", "queue": 1, "lba": 107, "nsid": 1},
            {"number": 1, "status": "0x281 Unrecovered Read Error", "queue": None, "lba": 107, "nsid": 1}]})

    def test_pages(self):
        self.assertEqual(sections.pages({"Supported Log Pages 42": {**IDENTITY, "LID 0x02": "SMART"}}), {"SMART"})


if __name__ == "__main__":
    unittest.main()
