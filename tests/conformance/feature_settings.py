"""How long a setting of a drive holds, on simulated drives: it is saved where the drive can save it, and otherwise the
message says what ends it."""

import json
import shutil
import unittest

from simulated import FOLDER, SERIALS, SimulatedTestCase, identity

UNTIL_RESET = "It holds until the next controller reset."
UNTIL_LINUX = "It holds until the next controller reset, when Linux sets this feature."
OTHERS_DIFFER = ("It holds until the next controller reset: saving it would also save other fields of this feature, "
                 "which have values that are not saved.")

# The model, what is set, the feature that shows it, and the value shown.
SAVED = [
    ("velko", "AggregationTime=100", 8, "AggregationTime - Aggregation Time", "100 units of 100 microseconds"),
    ("velko", "AggregationThreshold=7", 8, "AggregationThreshold - Aggregation Threshold 0-based", 7),
    ("velko", "TempThreshold=70", 4, "TempThreshold - Temperature Threshold", "70 C"),
    ("velko", "PowerGovernorMode=2", 0xC6, "PowerGovernorMode - Power Governor Mode", "low"),
    ("velko", "LatencyTrackingEnabled=true", 0xE2, "LatencyTrackingEnabled - Latency Tracking Enabled", True),
    ("velko", "-led IdleState=off", 0xC9, "IdleState - Idle State", "off"),
    ("ocp", "PowerGovernorMode=1", 2, "NVMePowerState - Power State", 1),
    ("ocp", "-dssdpowerstate DSSDPowerState=15", 0xC7, "DSSDPowerState - DSSD Power State", "15 watts"),
    ("ocp", "-plpcheck PLPCheckInterval=30", 0xC6, "PLPCheckInterval - PLP Health Check Interval", "30 minutes"),
    ("ocp", "-ieeesilo Enable=true", 0xC4, "SiloEnabled - IEEE 1667 Silo Enabled", True),
    ("ocp", "-readonlywritethrough Mode=2", 0xC2, "Mode - End of Life and PLP Failure Mode", "write through mode"),
]


class HowLongASettingHolds(SimulatedTestCase):
    def set(self, setting, message="", key=None):
        key = key or setting.split(" ")[-1].split("=")[0]
        said = f"Set {key} successful." + (message and " " + message)
        self.check_tool("set", "-velkossd", "0", *setting.split(" "), stdout=said + "\n")

    def reset(self):
        self.assertEqual(self.tool("reset", "-velkossd", "0", "-nvmecontroller").status, 0)

    def feature(self, fid, select="current"):
        run = self.tool("show", "-o", "json", "-velkossd", "0", "-getfeature", str(fid), "Select=" + select)
        self.assertEqual(run.status, 0, run.stdout)
        return next(iter(json.loads(run.stdout).values()))

    def test_a_feature_that_can_be_saved_outlives_a_reset(self):
        for number, (model, setting, fid, key, value) in enumerate(SAVED):
            with self.subTest(setting):
                name = f"{model}{number}"
                self.make_drive(name)
                self.set(setting)
                self.reset()
                self.assertEqual(self.feature(fid)[key], value)
                shutil.rmtree(self.drives / name)

    def test_without_save_a_setting_ends_at_the_reset_and_the_message_says_so(self):
        self.make_drive("basic", model="nvme-1.4")
        self.set("TempThreshold=60", UNTIL_RESET)
        self.assertEqual(self.feature(4)["Dword 0"], "0x0000014D")
        self.reset()
        self.assertNotEqual(self.feature(4)["Dword 0"], "0x0000014D")

    def test_the_other_fields_of_a_feature_are_saved_one_by_one(self):
        self.make_drive("velko")
        self.set("AggregationTime=100")
        self.set("AggregationThreshold=7")
        self.reset()
        self.assertEqual(self.feature(8)["Dword 0"], "0x00006407")

    def test_what_was_set_for_the_time_being_is_not_saved_with_another_field(self):
        self.make_drive("velko")
        self.assertEqual(self.tool("set", "-velkossd", "0", "-setfeature", "8", "DWORD11=0x0105").status, 0)
        self.set("AggregationTime=100", OTHERS_DIFFER)
        self.assertEqual((self.feature(8)["Dword 0"], self.feature(8, "saved")["Dword 0"]),
                         ("0x00006405", "0x00000000"))
        self.reset()
        self.assertEqual(self.feature(8)["Dword 0"], "0x00000000")

    def set_by_number(self, *arguments, words, status=0):
        self.check_tool("set", "-velkossd", "0", "-setfeature", *arguments, status=status,
                        stdout=f"\n- NVMe Feature {SERIALS['velko']} -\n\n{identity('velko')}Status : {words}\n\n")

    def test_a_set_by_number_is_saved_only_when_the_user_says_so(self):
        self.make_drive("velko")
        name = "Feature 0x04 (Temperature Threshold) is set"
        self.set_by_number("4", "DWORD11=0x143", words=f"{name}. {UNTIL_RESET}")
        self.assertEqual(self.feature(4, "saved")["Dword 0"], "0x00000157")
        self.set_by_number("4", "DWORD11=0x143", "Save=true", words=f"{name} and saved.")
        self.assertEqual(self.feature(4, "saved")["Dword 0"], "0x00000143")
        self.set_by_number("11", "DWORD11=0x100", "Save=true",
                           words=f"Feature 0x0B (Asynchronous Event Configuration) is set and saved. {UNTIL_LINUX}")

    def test_a_drive_that_keeps_the_old_value_fails_the_set(self):
        self.make_drive("velko", fail="admin 0x09 0x0")
        drive = f"Configuration update failed. Drive {SERIALS['velko']} ({FOLDER}/velko/dev/velko) accepted "
        self.check_tool("set", "-velkossd", "0", "TempThreshold=60", status=3,
                        stdout=f"Error: {drive}TempThreshold 60 C and reports 70 C.\n")
        self.set_by_number("4", "DWORD11=0x143", status=164,
                           words=drive + "0x00000143 for Feature 0x04 (Temperature Threshold) and reports 0x00000157.")

    def test_letters_are_hexadecimal_digits_and_a_refusal_shows_them(self):
        self.make_drive("velko")
        self.check_tool("set", "-velkossd", "0", "TempThreshold=abc", status=3, stdout=(
            "Error: Invalid temperature threshold given. TempThreshold must be a number from 0 to 80, not '2748' (0xABC).\n"))
        self.set("TempThreshold=3c")
        self.assertEqual(self.feature(4)["Dword 0"], "0x0000014D")

    def test_what_linux_sets_at_each_reset_is_said_to_end_there(self):
        self.make_drive("ocp")
        for key, value in (("SMARTHealthCriticalWarningsConfiguration", "5"),
                           ("TelemetryLogNoticesConfiguration", "true"),
                           ("FirmwareActivationNoticesConfiguration", "true"),
                           ("NamespaceAttributeNoticesConfiguration", "true")):
            self.set(f"{key}={value}", UNTIL_LINUX)
        self.assertEqual(self.feature(11)["Dword 0"], "0x00000705")
        self.set("-timestamp 1800000000000", UNTIL_LINUX, key="Timestamp")

    def test_programs_get_the_same_words(self):
        self.make_drive("velko")
        self.check_tool("set", "-o", "json", "-velkossd", "0", "TelemetryLogNoticesConfiguration=true", stdout=(
            '{\n\t"Result":"Set TelemetryLogNoticesConfiguration successful. ' + UNTIL_LINUX + '"\n}\n'))
        self.check_tool("set", "-o", "nvmxml", "-velkossd", "0", "TelemetryLogNoticesConfiguration=false", stdout=(
            f"<Result>Set TelemetryLogNoticesConfiguration successful. {UNTIL_LINUX}</Result>\n\n"))


if __name__ == "__main__":
    unittest.main()
