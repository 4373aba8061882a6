"""Which drive a task is for, and what is refused; drive_feature shows it."""

import module_case
from module_case import FOLDER, OTHER, PATH, TOOL, VELKO


class Selection(module_case.ModuleTestCase):
    LIST = "show -output json -display Index,SerialNumber,DevicePath,ModelNumber,Firmware -velkossd"

    def setUp(self):
        super().setUp()
        self.make_drive("velko")

    def set_threshold(self, message, **parameters):
        self.fails("drive_feature", message, name="TempThreshold", value="61", **parameters)
        self.assertEqual(self.values("-getfeature", "4")["Dword 0"], "0x00000157")

    def test_a_drive_that_is_not_there_is_refused(self):
        self.set_threshold("no drive has the serial number 'S9'", serial_number="S9")

    def test_a_serial_number_in_another_case_is_refused(self):
        self.set_threshold("the serial number is 'SIM-VELKO-1', and not 'sim-velko-1'", serial_number="sim-velko-1")

    def test_a_serial_number_that_fits_two_drives_wants_a_path(self):
        self.make_drive("velko-twin")
        twin = f"{FOLDER}/velko-twin/dev/velko-twin"
        self.set_threshold(f"'SIM-VELKO-1' fits several drives: name one by its path ({twin}, {PATH})", serial_number=VELKO)
        self.passes("drive_feature", True, serial_number=VELKO, path=twin, name="TempThreshold", value="61")
        self.assertEqual(self.values("-getfeature", "4", serial=PATH)["TempThreshold - Temperature Threshold"], "70 C")
        self.assertEqual(self.values("-getfeature", "4", serial=twin)["TempThreshold - Temperature Threshold"], "61 C")

    def test_a_path_that_is_not_needed_to_choose_is_not_what_the_drive_is_changed_by(self):
        """Another drive may have the node when the command comes."""
        script = self.world.scratch / "tool"
        script.write_text(f'#!/bin/sh\necho "$*" >> {self.world.scratch}/log\nexec {TOOL} "$@"\n')
        script.chmod(0o755)
        self.executable = script
        self.passes("drive_feature", True, serial_number=VELKO, path=PATH, name="TempThreshold", value="61")
        lines = (self.world.scratch / "log").read_text().splitlines()
        changes = [line for line in lines if not line.startswith("show")]
        self.assertEqual(changes, [f"set -output json -velkossd {VELKO} TempThreshold=61"])

    def test_sata_drives_with_one_serial_number_are_two_drives(self):
        for name in ("sata", "sata-twin"):
            self.make_drive(name)
        one, twin = (f"{FOLDER}/{name}/dev/{name}" for name in ("sata", "sata-twin"))
        self.fails("drive_erase", f"'SIM-SATA-1' fits several drives: name one by its path ({twin}, {one})",
                   serial_number="SIM-SATA-1", method="delete", check=True)

    def test_the_path_of_another_drive_is_refused(self):
        self.make_drive("velko-other", serial_number=OTHER)
        self.set_threshold(f"the drive with the serial number 'SIM-VELKO-1' is not at {FOLDER}/velko-other/dev/velko-other, "
                           f"but at {PATH}", serial_number=VELKO, path=f"{FOLDER}/velko-other/dev/velko-other")

    def test_a_serial_number_that_is_the_index_of_another_drive_is_refused(self):
        self.make_drive("velko-one", serial_number="1")
        one = f"{FOLDER}/velko-one/dev/velko-one"
        self.set_threshold(f"'1' fits several drives: name one by its path ({one}, {PATH})", serial_number="1")
        self.assertEqual(self.tool("set", "-velkossd", "1", "TempThreshold=61").status, 3)
        self.passes("drive_feature", True, serial_number="1", path=one, name="TempThreshold", value="61")

    def test_two_controllers_of_a_subsystem_are_one_drive(self):
        identity = {"SerialNumber": VELKO, "ModelNumber": "M", "Index": 0}
        name, number = "SUBNQN - NVM Subsystem NVMe Qualified Name", "CNTLID - Controller ID"
        script = self.world.scratch / "tool"
        for second, message in (({name: "nqn.a", number: 2}, None), ({name: "nqn.b", number: 2}, "fits several drives"),
                                ({name: "nqn.a", number: 1}, "fits several drives"), ({name: ""}, "fits several drives")):
            answers = {self.LIST: {"Velko SSD 1": {**identity, "DevicePath": "/dev/nvme0"},
                                  "Velko SSD 2": {**identity, "DevicePath": "/dev/nvme1"}},
                       "show -output json -velkossd /dev/nvme0 -identify": {"I": {**identity, name: "nqn.a", number: 1}},
                       "show -output json -velkossd /dev/nvme1 -identify": {"I": {**identity, **second}},
                       "show -output json -velkossd /dev/nvme0 -led": {"L": {**identity, "IdleState": "on"}}}
            script.write_text("#!/usr/bin/env python3\nimport json, sys\n"
                              f"print(json.dumps({answers!r}[' '.join(sys.argv[1:])], indent=0))\n")
            script.chmod(0o755)
            self.executable = script
            result = self.run_module("drive_feature", serial_number=VELKO, name="IdleState", value="on")
            self.assertEqual((result["failed"], result.get("path")), (message is not None, None if message else "/dev/nvme0"))
            self.assertIn(message or "", result.get("msg", ""))

    def test_digits_are_a_serial_number(self):
        self.make_drive("velko-digits", serial_number="0042")
        self.make_drive("velko-number", serial_number="20260042")
        for serial in ("0042", "20260042"):
            self.passes("drive_feature", True, serial_number=serial, name="TempThreshold", value="61")
            self.assertEqual(self.values("-getfeature", "4", serial=serial)["TempThreshold - Temperature Threshold"], "61 C")

    def test_a_serial_number_that_the_command_line_would_read_otherwise_is_refused(self):
        self.make_drive("velko-odd", serial_number="A=B")
        self.set_threshold("'A=B' cannot be passed to nimbrel: no equals sign, quotes, comma or parentheses, and no dash or "
                           "blank at the front", serial_number="A=B")

    def test_a_drive_that_is_gone_is_refused(self):
        self.describe("velko", gone="yes")
        self.fails("drive_feature", f"The device (object) was unavailable. The drive of {FOLDER}/velko is gone (errno 19: No "
                                    "such device).", serial_number=VELKO, name="TempThreshold", value="61")

    def test_an_answer_of_another_drive_is_refused(self):
        """A node can pass to another drive between two commands."""
        self.answer_to("-getfeature", {"Temperature Threshold S2": {"SerialNumber": OTHER, "DevicePath": PATH}})
        self.set_threshold(f"the serial number at {PATH} is 'S2' now, and not 'SIM-VELKO-1'", serial_number=VELKO)

    def test_an_output_that_is_no_json_is_an_error(self):
        self.answer_to("-getfeature", {})
        (self.world.scratch / "answer.json").write_text('{"a": 1, "a": 2}')
        self.set_threshold("the output of nimbrel cannot be read: a key comes twice", serial_number=VELKO)
