"""The module health on simulated drives."""

import module_case
from module_case import FOLDER, PATH, VELKO


class Health(module_case.ModuleTestCase):
    def setUp(self):
        super().setUp()
        self.make_drive("velko")
        self.make_drive("sata")

    def problems(self, drive="velko", **parameters):
        result = self.run_module("health", **parameters)
        self.assertTrue(result["failed"], result)
        return next(fact["problems"] for fact in result["drives"] if fact["path"].endswith(drive))

    def test_drives_that_are_well_pass(self):
        result = self.passes("health", False, read_scan=True, min_available_spare=50, max_temperature=60)
        self.assertEqual([fact["problems"] for fact in result["drives"]], [[], []])
        self.assertEqual(self.leaves_alone("velko", "health")["failed"], False)

    def test_each_problem_is_reported(self):
        for faults, parameters, problems in (
                ({"critical_warning": "0x04"}, {}, ["Reliability is degraded."]),
                ({"smart": "percentage-used 95"}, {"max_percentage_used": 90},
                 ["95 % of the rated endurance is used, the limit is 90 %"]),
                ({"smart": "available-spare 20"}, {"min_available_spare": 30}, ["20 % of the spare is left, the limit is 30 %"]),
                ({"temperature": "60"}, {"max_temperature": 50}, ["the temperature is 60 C, the limit is 50 C"]),
                ({"smart": "media-and-data-integrity-errors 3"}, {}, ["3 media errors, the limit is 0"]),
                ({"fail": "admin 0x02 0x006"}, {"require_idle": False},
                 [f"Get Log Page failed on drive {VELKO} ({PATH}): Internal Error "
                  "(status code type 0x0, status code 0x06, opcode 0x02)."]),
                ({"gone": "yes"}, {},
                 [f"The device (object) was unavailable. The drive of {FOLDER}/velko is gone (errno 19: No such device)."])):
            with self.subTest(problems[0]):
                self.describe("velko", critical_warning=None, smart=None, temperature=None, fail=None)
                self.describe("velko", **faults)
                self.assertEqual(self.problems(**parameters), problems)

    def test_a_failed_self_test_is_a_problem(self):
        for drive, serial, words in (
                ("velko", VELKO, "the last self-test failed: short self-test: completed with one or more failed segments"),
                ("sata", "SIM-SATA-1", "the last self-test failed: Short self-test: Failed, read element")):
            self.describe(drive, self_test_failure="1:100")
            self.tool("start", "-velkossd", serial, "-selftest", "short")
            self.assertEqual(self.problems(drive), [words])
            self.describe(drive, self_test_failure=None)
            self.tool("start", "-velkossd", serial, "-selftest", "short")
        self.passes("health", False)

    def test_what_is_in_progress_is_a_problem_where_idle_is_required(self):
        self.describe("velko", short_self_test_seconds=600)
        self.tool("start", "-velkossd", VELKO, "-selftest", "short")
        self.assertEqual(self.problems(), ["Background process is running."])
        self.passes("health", False, require_idle=False)

    def test_blocks_that_cannot_be_read_are_found_by_a_scan(self):
        self.describe("velko", media_errors="1:100-107")
        self.passes("health", False)
        self.assertEqual(self.problems(read_scan=True), ["Read Scan: Blocks that cannot be read: 8."])

    def test_the_message_names_the_drives(self):
        self.describe("velko", critical_warning="0x04")
        self.fails("health", "Not well: SIM-VELKO-1: Reliability is degraded.")
        self.passes("health", False, serial_number=["SIM-SATA-1"])

    def test_no_drive_is_a_failure_unless_allowed(self):
        self.describe("velko", gone="yes")
        for drive in ("velko", "sata"):
            for file in (self.drives / drive).iterdir():
                file.unlink()
            (self.drives / drive).rmdir()
        self.fails("health", "there is no drive to look at")
        self.passes("health", False, allow_none=True)
