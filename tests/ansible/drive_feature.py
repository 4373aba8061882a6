"""The module drive_feature on simulated drives."""

import module_case
from module_case import FOLDER, VELKO


class DriveFeature(module_case.ModuleTestCase):
    def setUp(self):
        super().setUp()
        self.make_drive("velko")
        self.make_drive("ocp")

    def sets_once(self, before, after, **parameters):
        """Check mode predicts what the first run does; the second run changes nothing."""
        self.values("-sensor", serial=parameters["serial_number"])
        drive = "ocp" if parameters["serial_number"] == "SIM-OCP-1" else "velko"
        predicted = self.leaves_alone(drive, "drive_feature", **parameters)
        first = self.passes("drive_feature", True, **parameters)
        self.assertEqual((predicted["changed"], predicted["diff"]), (True, first["diff"]))
        self.assertEqual((first["before"], first["after"]), (before, after))
        second = self.passes("drive_feature", False, **parameters)
        self.assertEqual((second["before"], second["after"]), (after, after))
        return first

    def test_each_property_is_set_once(self):
        for name, old, value, new, saved in (
                ("TempThreshold", "70", "0x3D", "61", True),
                ("AggregationThreshold", "0", "4", "4", False),
                ("AggregationTime", "0", "10", "10", False),
                ("SMARTHealthCriticalWarningsConfiguration", "0", "3", "3", False),
                ("NamespaceAttributeNoticesConfiguration", "false", "true", "true", False),
                ("FirmwareActivationNoticesConfiguration", "false", "true", "true", False),
                ("TelemetryLogNoticesConfiguration", "false", "True", "true", False),
                ("IdleState", "on", "off", "off", False), ("Milliseconds", "50", "25", "25", False),
                ("FormatOnMultiplier", "8", "7", "7", False), ("FormatOffMultiplier", "8", "7", "7", False),
                ("IoOnMultiplier", "2", "3", "3", False), ("IoOffMultiplier", "2", "3", "3", False)):
            with self.subTest(name):
                names = ["current", "saved"] if saved else ["current"]
                self.sets_once(dict.fromkeys(names, old), dict.fromkeys(names, new), serial_number=VELKO, name=name,
                               value=value)

    def test_each_property_of_ocp_is_set_once(self):
        for name, old, value in (("Mode", "1", "2"), ("Enable", "false", "true"), ("PLPCheckInterval", "15", "30"),
                                 ("DSSDPowerState", "25", "15")):
            with self.subTest(name):
                self.sets_once({"current": old, "saved": old}, {"current": value, "saved": value},
                               serial_number="SIM-OCP-1", name=name, value=value)

    def test_a_feature_is_set_by_its_identifier(self):
        self.sets_once({"current": "1"}, {"current": "0"}, serial_number=VELKO, feature_id=6, value="0")
        # What is current is not saved.
        first = self.sets_once({"current": "0", "saved": "1"}, {"current": "0", "saved": "0"}, serial_number=VELKO,
                               feature_id=6, value="0", save=True)
        self.assertEqual(first["message"], "Feature 0x06 (Volatile Write Cache) is set and saved.")

    def test_a_saved_value_that_differs_is_set_again(self):
        self.tool("set", "-velkossd", VELKO, "-setfeature", "4", "DWORD11=14E")
        first = self.sets_once({"current": "61", "saved": "70"}, {"current": "61", "saved": "61"}, serial_number=VELKO,
                               name="TempThreshold", value="61")
        self.assertEqual(first["message"], "Set TempThreshold successful.")

    def test_a_drive_that_saves_nothing_is_not_asked_what_it_saved(self):
        self.make_drive("nvme-1.4")
        serial = "SIM-NVME-1"
        for changed in (True, False):
            result = self.passes("drive_feature", changed, serial_number=serial, name="TempThreshold", value="61")
            self.assertEqual(result["after"], {"current": "61"})
        self.assertEqual(self.values("-nvmelog", "error", serial=serial)["Entries"], 0)
        self.fails("drive_feature", f"drive {serial} ({FOLDER}/nvme-1.4/dev/nvme-1.4) cannot save feature 0x04",
                   serial_number=serial, feature_id=4, value="0x14E", save=True)

    def test_wrong_values_change_nothing(self):
        for message, parameters in (
                ("Error: Invalid temperature threshold given. TempThreshold must be a number from 0 to 80, not '700' (0x2BC).",
                 {"name": "TempThreshold", "value": "700"}),
                ("'61 IdleState=off' cannot be passed to nimbrel: no equals sign, quotes, comma or parentheses, and no dash or "
                 "blank at the front", {"name": "TempThreshold", "value": "61 IdleState=off"}),
                ("feature_id must be 1 to 255, not 256", {"feature_id": 256, "value": "0"}),
                ("value must be a number for a feature_id, not 'off'", {"feature_id": 6, "value": "off"}),
                ("save is for feature_id: the tool saves named properties where the drive can",
                 {"name": "TempThreshold", "value": "61", "save": True})):
            with self.subTest(message):
                self.fails("drive_feature", message, serial_number=VELKO, **parameters)
                self.assertEqual(self.values("-getfeature", "4")["Dword 0"], "0x00000157")
                self.assertEqual(self.values("-getfeature", "6")["Dword 0"], "0x00000001")

    def test_a_drive_that_accepts_and_does_not_change_is_a_failure(self):
        self.values("-sensor")
        self.describe("velko", fail="admin 0x09 0x0")  # Set Features succeeds and changes nothing
        failed = self.run_module("drive_feature", serial_number=VELKO, name="TempThreshold", value="61")
        self.assertTrue(failed["failed"])
        self.assertIn("accepted", failed["msg"])
