"""The module firmware on simulated drives."""

import module_case
from module_case import FOLDER, OTHER, PATH, VELKO, firmware_image

IMAGE = "NEW00001"


class Firmware(module_case.ModuleTestCase):
    def setUp(self):
        super().setUp()
        for drive, serial in (("velko", VELKO), ("velko-b", OTHER), ("velko-c", "S3")):
            self.make_drive(drive, serial_number=serial)
        self.image = self.world.cwd / "fw.bin"
        self.image.write_bytes(firmware_image("velko", IMAGE))
        self.parameters = {"model_number": "VELKO Simulated*", "revision": IMAGE, "source": str(self.image)}

    def states(self, result):
        return {fact["serial_number"]: (fact["state"], fact["before"], fact["after"], fact["required_reset"])
                for fact in result["drives"]}

    def test_the_drives_of_a_model_are_updated_once(self):
        self.make_drive("sata")
        self.values("-sensor")
        predicted = self.leaves_alone("velko", "firmware", **self.parameters)
        self.assertEqual(self.states(predicted), dict.fromkeys([VELKO, OTHER, "S3"],
                                                               ("would_update", "VSIM0100", "VSIM0100", "none")))
        self.assertIn("the revision of the image", predicted["not_predicted"])
        first = self.passes("firmware", True, **self.parameters)
        self.assertEqual(self.states(first), dict.fromkeys([VELKO, OTHER, "S3"], ("updated", "VSIM0100", IMAGE, "none")))
        self.assertEqual(first["diff"], predicted["diff"])
        before = self.state("velko")
        second = self.passes("firmware", False, **self.parameters)
        self.assertEqual(self.states(second), dict.fromkeys([VELKO, OTHER, "S3"], ("current", IMAGE, IMAGE, "none")))
        self.assertEqual(self.state("velko"), before)

    def test_a_drive_that_does_not_say_which_firmware_waits_is_not_current(self):
        self.describe("velko-b", fail="admin 0x02 0x006")  # Get Log Page
        self.fails("firmware", f"it cannot be read which firmware waits for a reset of drive {OTHER} "
                               f"({FOLDER}/velko-b/dev/velko-b)", serial_number=[OTHER], revision="VSIM0100")

    def test_the_first_failure_ends_the_task(self):
        self.describe("velko-c", fail="admin 0x10 0x107")  # Firmware Commit: Invalid Firmware Image
        failed = self.run_module("firmware", **self.parameters)
        self.assertEqual((failed["failed"], failed["changed"]), (True, True))
        self.assertIn("Invalid Firmware Image", failed["msg"])
        self.assertEqual(self.states(failed), {OTHER: ("updated", "VSIM0100", IMAGE, "none"),
                                               "S3": ("failed", "VSIM0100", "VSIM0100", "none"),
                                               VELKO: ("not_attempted", "VSIM0100", "VSIM0100", "none")})
        self.assertEqual(self.values()["Firmware"], "VSIM0100")

    def test_a_drive_that_cannot_be_read_after_a_failure_counts_as_changed(self):
        script = self.world.scratch / "tool"
        gone = f"sed -i 's/^\\[faults\\]$/&\\ngone = yes/' {FOLDER}/velko-b/description.ini"
        script.write_text(f'#!/bin/sh\ncase "$*" in load*) {gone} ;; esac\nexec {module_case.TOOL} "$@"\n')
        script.chmod(0o755)
        self.executable = script
        failed = self.run_module("firmware", **{**self.parameters, "serial_number": [OTHER]})
        self.assertEqual((failed["failed"], failed["changed"], self.states(failed)),
                         (True, True, {OTHER: ("failed", "VSIM0100", "", "none")}))

    def test_a_reset_that_is_owed_is_reported_at_each_run(self):
        self.image.write_bytes(firmware_image("velko", IMAGE, reset=2))
        parameters = {**self.parameters, "serial_number": [OTHER]}
        first = self.passes("firmware", True, **parameters)
        self.assertEqual(self.states(first), {OTHER: ("waits", "VSIM0100", "VSIM0100", "NVM subsystem reset")})
        second = self.passes("firmware", False, **parameters)
        self.assertEqual(self.states(second), {OTHER: ("waits", "VSIM0100", "VSIM0100", "controller level reset")})
        self.assertEqual((first["reset_required"], second["reset_required"]), (True, True))

    def test_the_activation_can_wait_for_the_next_reset(self):
        parameters = {**self.parameters, "serial_number": [OTHER], "activate": "next_reset", "slot": 3}
        first = self.passes("firmware", True, **parameters)
        self.assertEqual(self.states(first), {OTHER: ("waits", "VSIM0100", "VSIM0100", "controller level reset")})
        self.tool("reset", "-velkossd", OTHER, "-nvmecontroller")
        self.assertEqual(self.states(self.passes("firmware", False, **parameters)), {OTHER: ("current", IMAGE, IMAGE, "none")})

    def test_an_image_of_another_revision_is_a_failure(self):
        parameters = {**self.parameters, "revision": "OTHER001"}
        failed = self.run_module("firmware", **parameters)
        self.assertEqual(failed["msg"], f"drive {OTHER} ({FOLDER}/velko-b/dev/velko-b) has firmware {IMAGE} now and none after "
                                        "its reset (none), not OTHER001")
        self.assertEqual((failed["changed"], [fact["state"] for fact in failed["drives"]]),
                         (True, ["failed", "not_attempted", "not_attempted"]))

    def test_wrong_selections_and_images_change_nothing(self):
        self.values("-sensor")
        before = self.state("velko")
        for message, parameters in (
                ("no drive has the model number 'P100'", {"model_number": "P100"}),
                (f"not of the model 'P100': {VELKO} ({PATH})", {"model_number": "P100", "serial_number": [VELKO]}),
                ("no drive has the serial number 'S9'", {"model_number": None, "serial_number": [VELKO, "S9"]}),
                ("there is no image '/none.bin' on the host", {"source": "/none.bin"}),
                (f"no module of the host is an update of drive {OTHER} ({FOLDER}/velko-b/dev/velko-b) to {IMAGE}",
                 {"source": None})):
            self.fails("firmware", message, **{**self.parameters, **parameters})
        self.assertEqual(self.state("velko"), before)
        self.passes("firmware", False, **{**self.parameters, "model_number": "P100", "allow_none": True})

    def test_a_drive_that_cannot_be_read_stops_the_task(self):
        self.describe("velko-c", gone="yes")
        self.fails("firmware", f"The device (object) was unavailable. The drive of {FOLDER}/velko-c is gone (errno 19: No such "
                               "device).", **self.parameters)
        self.assertEqual(self.values()["Firmware"], "VSIM0100")
