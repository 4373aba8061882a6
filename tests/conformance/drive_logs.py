"""Health scans, and the long logs of a drive, over all layers: the tool, the library and simulated drives."""

import os
import re
import unittest

from world import TOOL, World, without_emulation, without_sanitizers

SIMDRIVE = os.environ.get("NIMBREL_SIMDRIVE", "")
LIBRARY = os.environ.get("NIMBREL_FEATURE_LIBRARY", "")
DRIVES = "/opt/velko/nimbrel/SimulatedDrives"
ID = f"SerialNumber : S1\nDevicePath : {DRIVES}/a/dev/a\n"

IDENTITY = f"  SerialNumber : S1\n  DevicePath : {DRIVES}/a/dev/a\n"
HEALTH = """
  Device Status : {device}
  Available Spare : 100 %
  Percentage Used : 0 %
  Media and Data Integrity Errors : {errors}
"""
READ = """
    - Read Scan - Namespace 1 -

    Blocks : 131072
    Blocks Read : {read}
    Unreadable Blocks : {unreadable}
"""


class DriveLogsTestCase(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.world = World()
        self.addCleanup(self.world.close)
        self.world.install_library(LIBRARY)
        self.simdrive("create", "a", "--model", "ocp", "--serial", "S1", "--size", "64Mi")

    def simdrive(self, *arguments):
        run = self.world.run(*arguments, tool=SIMDRIVE)
        self.assertEqual((run.status, run.stderr), (0, ""), arguments)

    def check(self, *arguments, status=0, stdout=None, stderr=""):
        run = self.world.run(*arguments)
        self.assertEqual((run.stderr, run.status), (stderr, status), arguments)
        if stdout is not None:
            self.assertEqual(run.stdout, stdout, arguments)
        return run.stdout


class HealthScan(DriveLogsTestCase):
    def scan(self, status, result, read, findings="", device="Healthy", errors=0, drive="0"):
        if findings:
            findings = "\n    - Findings -\n\n" + findings
            read = re.sub(r"(?m)^    (?! )", "   ", read)  # the indentation of an object that follows another one
        self.check("start", "-scan", "ReadScan", "-velkossd", drive, status=status, stdout=(
            f"\n- Scan Results -\n\n  - Health Scan S1 -\n\n{IDENTITY}  Result : {result}\n  Result Code : {status}" +
            HEALTH.format(device=device, errors=errors) + findings + read + "\n"))

    def test_a_healthy_drive_is_0(self):
        self.scan(0, "Nothing was found.", READ.format(read=131072, unreadable=0))

    def test_a_scan_that_cannot_be_made_is_100(self):
        self.check("start", "-scan", "DataIntegrity", "-velkossd", "0", status=100, stdout=(
            f"\n- Scan Results -\n\n  - Health Scan S1 -\n\n{IDENTITY}  Result : The scan could not be completed.\n"
            "  Result Code : 100" + HEALTH.format(device="Healthy", errors=0) +
            "  Left out : None of its file systems is mounted.\n\n    - Findings -\n\n"
            "    Scan : Not everything could be looked at.\n\n"))

    def test_no_drive_is_100(self):
        self.simdrive("remove", "a")
        self.check("start", "-scan", "ReadScan", "-velkossd", status=100,
                   stdout="\n- Scan Results -\n\n  - Health Scan -\n\n  Result : No drive was found.\n  Result Code : 100\n\n")
        self.check("start", "-o", "json", "-scan", "ReadScan", "-velkossd", status=100,
                   stdout='{\n\t"Health Scan":\n\t{\n\t\t"Result":"No drive was found.",\n\t\t"Result Code":100\n\t}\n}\n')

    def test_a_warning_is_101(self):
        self.simdrive("fault", "a", "--critical-warning", "0x02")
        self.scan(101, "The drive gives a warning.", READ.format(read=131072, unreadable=0),
                  "    Temperature : A temperature is beyond its threshold.\n",
                  device="A temperature is beyond its threshold.")

    def test_media_errors_of_the_past_are_101(self):
        self.simdrive("fault", "a", "--media-errors", "1:0")
        self.check("start", "-scan", "ReadScan", "-velkossd", "0", status=103)
        self.simdrive("fault", "a", "clear")
        run = self.check("start", "-scan", "ReadScan", "-velkossd", "0", status=101)
        self.assertRegex(run, r"    - Findings -\n\n    Media Errors : The drive counts [1-9]\d*\.\n\n")

    def test_a_failing_drive_is_102_and_every_finding_is_shown(self):
        self.simdrive("fault", "a", "--critical-warning", "0x0D")
        self.scan(102, "The drive has failed or is failing.", READ.format(read=131072, unreadable=0),
                  "    Available Spare : 100 % is left, the threshold is 10 %.\n"
                  "    Reliability : Reliability is degraded.\n    Read Only : Media is in read only mode.\n",
                  device="Available spare has fallen below the threshold. Reliability is degraded. "
                         "Media is in read only mode.")

    def test_blocks_that_cannot_be_read_are_103(self):
        self.simdrive("fault", "a", "--critical-warning", "0x04", "--media-errors", "1:0,1:5000-5003,1:131071")
        self.scan(103, "There are read errors or data miscompares.",
                  READ.format(read=131066, unreadable=6) + "\n     - Unreadable LBAs -\n\n     Entry 0 : 0\n     Entry 1 : 5000-5003\n     Entry 2 : 131071\n",
                  "    Read Scan : Blocks that cannot be read: 6.\n    Reliability : Reliability is degraded.\n",
                  device="Reliability is degraded.")

    def test_a_panic_is_102(self):
        self.check("set", "-velkossd", "0", "-ErrorInjection", "ErrorInjectionEntries=9")
        self.check("start", "-scan", "ReadScan", "-velkossd", "0", status=100)  # the first Read makes the drive panic
        self.check("reset", "-velkossd", "0", "-nvmecontroller")
        self.scan(102, "The drive has failed or is failing.", READ.format(read=131072, unreadable=0),
                  "    Panic : The drive's firmware has panicked with the ID 0x9. Ended by NVMe Controller Reset or "
                  "NVM Subsystem Reset; the drive wants 100 ms to get ready after it.\n")

    def test_the_gravest_of_all_drives_is_the_exit_status(self):
        self.simdrive("create", "b", "--model", "ocp", "--serial", "S2", "--size", "64Mi")
        self.simdrive("fault", "a", "--critical-warning", "0x04")
        shown = self.check("start", "-scan", "ReadScan", "-velkossd", status=102)
        self.assertEqual(re.findall(r"- Health Scan (S\d) -\n\n(?:.*\n){2}  Result : (.*)\n  Result Code : (\d+)\n", shown),
                         [("S1", "The drive has failed or is failing.", "102"), ("S2", "Nothing was found.", "0")])

    def test_logs_go_into_a_new_folder(self):
        shown = self.check("start", "-scan", "-velkossd", "0")
        folder = re.search(r"Folder : \./(HealthScan_\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d)/S1\n", shown).group(1)
        files = sorted(path.name for path in (self.world.cwd / folder / "S1").iterdir())
        self.assertIn(f"Files : {len(files)}\n", shown)
        self.assertLessEqual({"identify_controller.bin", "identify_namespace_1.bin",
                              "log_02_smart_health_information.bin", "log_07_telemetry_host_initiated.bin",
                              "log_0d_persistent_event_log.bin"}, set(files))
        identify = (self.world.cwd / folder / "S1" / "identify_controller.bin").read_bytes()
        self.assertEqual((len(identify), identify[4:24]), (4096, b"S1".ljust(20)))

    def test_the_folder_that_is_named_is_used_and_nothing_is_overwritten(self):
        directory = self.world.cwd / "logs"
        directory.mkdir()
        (directory / "S1").symlink_to("/nonexistent")
        for folder in ("S1-2", "S1-3"):
            self.assertIn(f"Folder : {directory}/{folder}\n",
                          self.check("start", "-scan", "Logs", "-velkossd", "0", f"DirectoryPath={directory}"))
        self.assertEqual(sorted(path.name for path in directory.iterdir()), ["S1", "S1-2", "S1-3"])

    def test_a_log_that_the_file_system_has_no_room_for_is_left_out_alone(self):
        script = ("mkdir small && mount -t tmpfs -o size=64k tmpfs small && "
                  '"$0" start -scan Logs -velkossd 0 DirectoryPath=small; status=$?; ls small/S1 >&2; exit $status')
        run = self.world.run("-c", script, TOOL, tool="/bin/sh")
        names = {"0x07": "log_07_telemetry_host_initiated",  # which is long; the last ones find the room taken
                 "0xC1": "log_c1_ocp_error_recovery", "0xC2": "log_c2_ocp_firmware_activation_history",
                 "0xC3": "log_c3_ocp_latency_monitor", "0xC4": "log_c4_ocp_device_capabilities",
                 "0xC5": "log_c5_ocp_unsupported_requirements"}
        reasons = {lid: f"Unable to write small/S1/{name}.bin: No space left on device" for lid, name in names.items()}
        lines = "".join(f"   LID {lid} - Not read : {reason}\n" for lid, reason in reasons.items())
        files = run.stderr.split()
        self.assertEqual((run.status, run.stdout), (
            100, f"\n- Scan Results -\n\n  - Health Scan S1 -\n\n{IDENTITY}  Result : The scan could not be completed.\n"
            "  Result Code : 100" + HEALTH.format(device="Healthy", errors=0) +
            "\n    - Findings -\n\n    Scan : Not everything could be looked at.\n\n   - Logs -\n\n   Folder : small/S1\n"
            f"{lines}   Files : {len(files)}\n   Not completed : {reasons['0x07']}\n\n"))
        self.assertNotIn("log_07_telemetry_host_initiated.bin", files)
        self.assertLessEqual({"log_01_error_information.bin", "log_0d_persistent_event_log.bin", "log_81_sanitize_status.bin"}, set(files))


class LongLogs(DriveLogsTestCase):
    def test_the_event_log_of_a_drive_and_of_its_file_are_shown_alike(self):
        self.check("dump", "-velkossd", "0", "-persistenteventlog", "read",
                   stdout="Successfully written persistenteventlog data to persistenteventlog_S1.bin\n")
        of_drive = self.check("show", "-velkossd", "0", "-persistenteventlog")
        heading, identity = "\n- Persistent Event Log S1 -\n\n", IDENTITY.replace("  ", "")
        self.assertTrue(of_drive.startswith(heading + identity + "LID - Log Identifier : 0x0D\n"))
        self.assertEqual(self.check("show", "-source", "persistenteventlog_S1.bin", "-persistenteventlog"),
                         of_drive.replace(identity, ""), "a file has no drive")

    def test_a_damaged_file_is_shown_up_to_the_damage(self):
        self.check("dump", "-velkossd", "0", "-telemetrylog")  # which is an event
        self.check("dump", "-velkossd", "0", "-persistenteventlog", "read")
        log = (self.world.cwd / "persistenteventlog_S1.bin").read_bytes()
        (self.world.cwd / "cut.bin").write_bytes(log[:-1])
        whole = self.check("show", "-source", "persistenteventlog_S1.bin", "-persistenteventlog")
        cut = self.check("show", "-source", "cut.bin", "-persistenteventlog", status=248)
        self.assertEqual(whole.count("- Event 3 -"), 1)
        self.assertEqual(cut.count("- Event 3 -"), 0)
        self.assertTrue(cut.startswith(whole[:whole.rindex("- Event 3 -")].rstrip()))
        self.assertRegex(cut, r"Status : Could not parse Persistent Event Log, log may be corrupted\. It stops being "
                              r"valid at offset \d+: event 3 \(.*\) says that it has (\d+) bytes, and \d+ are left; "
                              r"the log is cut short\.\n")

    @without_sanitizers
    def test_a_file_that_the_memory_cannot_decode_is_refused(self):
        (self.world.cwd / "long.bin").write_bytes(b"\x0d" * (3 << 20))
        script = 'ulimit -v 600000 && exec "$0" show -source long.bin -persistenteventlog'
        run = self.world.run("-c", script, TOOL, tool="/bin/sh")
        self.assertEqual((run.status, run.stderr), (3, ""))
        self.assertRegex(run.stdout, r"^Error: Failed reading a file necessary for the feature\. 'long\.bin': it has "
                                     r"3145728 bytes, and at most \d+ can be taken\.\n$")

    @without_sanitizers
    @without_emulation
    def test_an_event_log_that_the_memory_cannot_decode_goes_to_a_file(self):
        # The events of 150 captures cost more than this address space when they are decoded.
        limit = "ulimit -v 32768; "
        script = ('for i in $(seq 150); do "$0" dump -destination /dev/null -velkossd 0 -telemetrylog || exit 98; done '
                  '>/dev/null; ' + limit + '"$0" show -velkossd 0 -persistenteventlog; status=$?; '
                  f'"$0" dump -destination events -velkossd {DRIVES}/a/dev/a -nvmelog 13 LogSpecificField=1 >&2 || exit 99; '
                  'exit $status')
        run = self.world.run("-c", script, TOOL, tool="/bin/sh")
        log = (self.world.cwd / "events").read_bytes()
        self.assertEqual(run.status, 37, run)
        self.assertRegex(run.stdout, rf"^\n- Persistent Event Log Status S1 -\n\n{ID}Status : The log of drive S1 "
                                     rf"\({DRIVES}/a/dev/a\) has {len(log)} bytes, and this host has the memory to "
                                     rf"decode \d+\. 'dump -destination FILE -velkossd {DRIVES}/a/dev/a -nvmelog 13 "
                                     r"LogSpecificField=1' writes it to a file piece by piece\.\n\n$")
        self.assertEqual(run.stderr, f"\n- NVMe Log S1 -\n\n{ID}Status : Wrote {len(log)} bytes of log page 0x0D (Persistent "
                                     "Event Log) to events.\n\n")
        self.assertEqual([file.name for file in self.world.cwd.iterdir()], ["events"])

    def test_the_reporting_context_lasts_until_it_is_released(self):
        none = ("Error: Persistent event log context has not been established. "
                f"Drive S1 ({DRIVES}/a/dev/a).\n")
        old = ("dump", "-velkossd", "0", "-persistenteventlog", "read", "NewContext=false")
        written = "Successfully written persistenteventlog data to persistenteventlog_S1.bin\n"
        self.check(*old, status=3, stdout=none)
        self.check("show", "-velkossd", "0", "-persistenteventlog")
        self.check(*old, status=3, stdout=none)  # a parse leaves none
        self.check("dump", "-velkossd", "0", "-persistenteventlog", "read", stdout=written)
        self.check(*old, stdout=written)
        self.check("dump", "-velkossd", "0", "-persistenteventlog", "release", stdout="\nNo results\n\n")
        self.check(*old, status=3, stdout=none)

    def test_telemetry_without_data_leaves_the_file_that_is_there(self):
        file = self.world.cwd / "TelemetryLog_S1.bin"
        file.write_bytes(b"the last good one")
        reason = (f"Failed to retrieve telemetry data. The log of drive S1 ({DRIVES}/a/dev/a) has a header and no "
                  "data.")
        for host, selected, status, stdout in (
                ("false", ("-velkossd", "0"), 3, f"Error: {reason}\n"),
                ("false", (), 0, f"\nError : {reason}\n\n")):
            self.check("dump", *selected, "-telemetrylog", f"HostInitiated={host}", status=status, stdout=stdout)
            self.assertEqual(file.read_bytes(), b"the last good one")
        self.assertEqual([path.name for path in self.world.cwd.iterdir()], [file.name])
        self.simdrive("fault", "a", "--media-errors", "1:0")
        self.check("start", "-scan", "ReadScan", "-velkossd", "0", status=103)  # over which the drive makes a capture
        self.check("dump", "-velkossd", "0", "-telemetrylog", "HostInitiated=false",
                   stdout=f"Successfully written TelemetryLog data to {file.name}\n")
        self.assertGreater(file.stat().st_size, 512)

    def test_each_drive_that_has_no_log_is_named(self):
        self.simdrive("create", "b", "--model", "velko", "--serial", "S2", "--size", "64Mi")
        self.check("dump", "-assertlog", stdout=(
            "\nError : The selected drive does not support this feature. Drive S1 "
            f"({DRIVES}/a/dev/a).\n"
            f"Error : Drive is not asserted. The log of drive S2 ({DRIVES}/b/dev/b) has a header and no data.\n\n"))
        self.assertEqual(list(self.world.cwd.iterdir()), [])

    def test_telemetry_has_as_many_blocks_as_its_header_says(self):
        lengths = []
        for area in (1, 2, 3):
            self.check("dump", "-dataarea", str(area), "-velkossd", "0", "-telemetrylog",
                       stdout="Successfully written TelemetryLog data to TelemetryLog_S1.bin\n")
            log = (self.world.cwd / "TelemetryLog_S1.bin").read_bytes()
            last = int.from_bytes(log[6 + 2 * area:8 + 2 * area], "little")
            self.assertEqual(len(log), (last + 1) * 512)
            self.assertEqual((log[0], log[381]), (0x07, area))  # one capture a command
            lengths.append(len(log))
        self.assertEqual(lengths, sorted(set(lengths)))


class LogPageInAFile(DriveLogsTestCase):
    def written(self, lid, name, destination):
        shown = self.check("dump", "-destination", destination, "-velkossd", "0", "-nvmelog", str(lid))
        return re.fullmatch(rf"(?s)(.*)\n- NVMe Log S1 -\n\n{ID}Status : Wrote (\d+) bytes of log page 0x{lid:02X} "
                            rf"\({name}\) to {destination}\.\n\n", shown)

    def make_velko(self):
        self.simdrive("remove", "a")
        self.simdrive("create", "a", "--model", "velko", "--serial", "S1", "--size", "64Mi")

    def test_is_not_replaced_by_a_header_without_data(self):
        self.make_velko()
        (self.world.cwd / "old").write_text("the last data")
        for lid, words in ((8, "Failed to retrieve telemetry data."), (0xD3, "Failed to retrieve nlog data."),
                           (0xD6, "Drive is not asserted.")):
            with self.subTest(lid=lid):
                self.check("dump", "-destination", "old", "-velkossd", "0", "-nvmelog", str(lid), status=3, stdout=(
                    f"Error: {words} The log of drive S1 ({DRIVES}/a/dev/a) has a header and no data.\n"))
                self.assertEqual((self.world.cwd / "old").read_text(), "the last data")

    def test_of_persistent_events_leaves_neither_a_context_nor_an_error(self):
        self.make_velko()
        self.written(13, "Persistent Event Log", "events")
        self.check("dump", "-destination", "part", "-velkossd", "0", "-nvmelog", "13", "LogPageOffset=512", "NumDWORDs=4",
                   stdout=f"\n- NVMe Log S1 -\n\n{ID}Status : Wrote 16 bytes of log page 0x0D (Persistent Event Log) to part.\n\n")
        self.assertEqual((self.world.cwd / "part").read_bytes(), (self.world.cwd / "events").read_bytes()[512:528])
        self.check("dump", "-velkossd", "0", "-persistenteventlog", "read", "NewContext=false", status=3, stdout=(
            f"Error: Persistent event log context has not been established. Drive S1 ({DRIVES}/a/dev/a).\n"))
        # The one entry is that of the command before: reading without a context, which the user asked for.
        self.assertIn("Entries : 1\n", self.check("show", "-velkossd", "0", "-nvmelog", "error"))

    def test_is_whole_while_the_log_grows_with_each_command(self):
        self.make_velko()
        self.simdrive("fault", "a", "--fail", "admin 0x80 0x006")  # an assert, and events
        self.check("delete", "-force", "-velkossd", "0", status=171)
        self.simdrive("fault", "a", "clear")
        self.check("reset", "-velkossd", "0", "-nvmecontroller")
        for lid, name in ((0xD3, "VELKO Nlog"), (0xD4, "VELKO Bridge Nlog"), (0xD5, "VELKO Event Log"),
                          (0xD6, "VELKO Assert Log"), (0xD7, "VELKO System Snapshot")):
            for _ in range(3):
                written = int(self.written(lid, name, "log").group(2))
                log = (self.world.cwd / "log").read_bytes()
                self.assertEqual((len(log), int.from_bytes(log[8:16], "little")), (written, written), name)
                self.assertEqual(log[60:64], log[-4:], name)

    def test_is_its_users_alone_and_no_link_is_followed(self):
        self.written(2, "SMART / Health Information", "new")
        self.assertEqual((self.world.cwd / "new").stat().st_mode & 0o777, 0o600)
        (self.world.cwd / "link").symlink_to("new")
        before = (self.world.cwd / "new").read_bytes()
        self.check("dump", "-destination", "link", "-velkossd", "0", "-nvmelog", "3", status=3,
                   stdout="Error: Unable to write link: It is a symbolic link\n")
        self.assertEqual((self.world.cwd / "new").read_bytes(), before)

    def test_goes_through_standard_output(self):
        run = self.world.run("dump", "-destination", "/dev/stdout", "-velkossd", "0", "-nvmelog", "3")
        self.assertEqual((run.status, run.stderr), (0, ""))
        self.assertIn("Wrote 512 bytes of log page 0x03 (Firmware Slot Information) to /dev/stdout.", run.stdout[512:])


if __name__ == "__main__":
    unittest.main()
