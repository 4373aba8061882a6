"""What the debug log says of jobs and of the commands that drives received: a line each."""

import re
import unittest

from settings import config
from simulated import FOLDER, SimulatedTestCase

LINE = re.compile(r"^[0-2][0-9]:[0-5][0-9]:[0-5][0-9]:[0-9]{6} \[info\] (.*), [0-9]+ us$")
IDENTIFY = (f"{FOLDER}/ocp: Identify (06h), NSID 00000000h, CDW10-15 00000001h 00000000h 00000000h 00000000h 00000000h "
            "00000000h, 4096 bytes: Successful Completion (0/00h)")


class CommandLog(SimulatedTestCase):
    def setUp(self):
        super().setUp()
        self.make_drive("ocp")
        self.world.config.write_text(config(enable_log="true"))

    def lines(self, *arguments):
        """The lines of a run that end in a time, without times."""
        self.tool(*arguments)
        text = (self.world.var_log / "VelkoSSDOSTREL.log").read_text()
        return [match[1] for match in map(LINE.match, text.splitlines()) if match]

    def test_has_a_line_for_each_command_and_each_job(self):
        self.assertEqual(self.lines("show", "-velkossd", "0", "-timestamp"), [
            IDENTIFY,
            f"{FOLDER}/ocp: Get Features (0Ah), NSID 00000000h, CDW10-15 0000000Eh 00000000h 00000000h 00000000h "
            "00000000h 00000000h, 8 bytes: Successful Completion (0/00h)",
            "Job Timestamp (GetProperties): 0/0 Completed successfully."])

    def test_has_what_the_drive_refused(self):
        self.assertEqual(self.lines("show", "-velkossd", "0", "-getfeature", "0xCF"), [
            *(f"{FOLDER}/ocp: Identify (06h), NSID 00000000h, CDW10-15 {cns}h 00000000h 00000000h 00000000h 00000000h "
              "00000000h, 4096 bytes: Successful Completion (0/00h)" for cns in ("00000001", "00000017")),
            f"{FOLDER}/ocp: Get Features (0Ah), NSID 00000000h, CDW10-15 000000CFh 00000000h 00000000h 00000000h "
            "00000000h 00000000h, 4096 bytes: Invalid Field in Command (0/02h)",
            "Job NVMeFeatures (Method): 0/0 Completed successfully."])

    def test_has_a_job_that_reaches_no_drive(self):
        self.assertEqual(self.lines("show", "-velkossd", "7", "-sensor"), [
            "Job HealthMetrics (GetProperties): 0/4 Provided device index is invalid. Device could not be found."])


if __name__ == "__main__":
    unittest.main()
