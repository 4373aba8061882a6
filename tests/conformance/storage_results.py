"""What a user sees of the library's answers: the output formats, the exit status, the files of the dump commands."""

import os
import stat
import unittest

from recording import RecordingTestCase
from world import HIDE_PROC, TOOL, without_sanitizers

HEADER = '<?xml version="1.0" encoding="utf-8"?>'


def status(code, message, **attributes):
    words = "".join(f' {key}="{value}"' for key, value in attributes.items())
    return (f'<Object category="status"{words}><Property name="Category" value="10"/>'
            f'<Property name="Code" value="{code}"/><Property name="Message" value="{message}"/></Object>')


def answer_of(*outputs):
    return f'{HEADER}<Object name="Job">{"".join(outputs)}</Object>'


def output(content, **attributes):
    words = "".join(f' {key}="{value}"' for key, value in attributes.items())
    return f'<Object category="Output"{words}>{content}</Object>'


def payload(digits):
    return f'<Property category="payload" name="payload" type="bytepointer" value="{digits}"/>'


TWO_DRIVES = answer_of(
    status(0, "Completed successfully."),
    output('<Object category="attributeList" key="Velko SSD Index 0">'
           '<Property category="attribute" name="SerialNumber" type="string" value="VX1"/>'
           '<Property category="attribute" name="Bootloader" type="string" value="Property not found"/>'
           '<Property category="attribute" name="Index" type="sint32" value="0"/></Object>'
           + status(34, "Feature is not supported.", name="Velko SSD Index 1", key="VX2")))

DRIVES_AS = {
    "text": """
- Velko SSD Index 0 -

Index : 0
SerialNumber : VX1

- Velko SSD Index 1 VX2 -

Status : Feature is not supported.

""",
    "nvmxml": """<?xml version="1.0" standalone="yes" ?>
<nimbrelTool>
	<Velko_SSD_Index_0>
		<Bootloader>Property not found</Bootloader>
		<Index>0</Index>
		<SerialNumber>VX1</SerialNumber>
	</Velko_SSD_Index_0>
	<Velko_SSD_Index_1_VX2>
		<Status>Feature is not supported.</Status>
	</Velko_SSD_Index_1_VX2>
</nimbrelTool>

""",
    "esx": "\n",
    "json": """{
	"Velko SSD Index 0":
	{
		"Bootloader":"Property not found",
		"Index":0,
		"SerialNumber":"VX1"
	},
	"Velko SSD Index 1 VX2":
	{
		"Status":"Feature is not supported."
	}
}
""",
}


class Rendering(RecordingTestCase):
    def test_every_format(self):
        self.answer(TWO_DRIVES)
        self.check("show", "-velkossd", status=34, stdout=DRIVES_AS["text"])
        for keyword, text in DRIVES_AS.items():
            with self.subTest(keyword):
                self.check("show", "-output", keyword, "-velkossd", status=34, stdout=text)

    def test_nested_groups_are_indented(self):
        self.answer(answer_of(output('<Object name="Drive"><Object name="A"/><Object name="B"/><Object name="C"/></Object>')))
        self.check("show", "-velkossd", "0", stdout="\n- Drive -\n\n  - A -\n\n  No results\n\n    - B -\n\n    No results\n"
                                                    "\n   - C -\n\n   No results\n\n")

    def test_an_answer_without_an_output(self):
        self.answer(answer_of(status(0, "Fine.")))
        self.check("show", "-velkossd", "0", stdout="\nNo results\n\n")

    def test_a_failure_that_the_library_reports(self):
        self.answer(answer_of(status(4, "Provided device index is invalid. Device could not be found.")))
        self.check("show", "-velkossd", "9", status=3,
                   stdout="Error: Provided device index is invalid. Device could not be found.\n")
        self.check("show", "-output", "json", "-velkossd", "9", status=3,
                   stdout='{\n\t"Error_Type":3,\n\t"Error_Description":"Error: Provided device index is invalid. Device '
                          'could not be found."\n}\n\n')

    def test_an_answer_that_is_no_message(self):
        for text in ("no XML", "<Object>", "<Other/>"):
            with self.subTest(text):
                self.answer(text)
                self.check("show", "-velkossd", "0", status=1,
                           stdout="Error: Unhandled exception. Contact Velko for further troubleshooting\n")


class ExitStatus(RecordingTestCase):
    def test_a_failure_never_ends_with_0(self):
        for code, expected in ((1, 1), (34, 34), (255, 255), (256, 255), (257, 1), (65536, 255), (1 << 32, 3), ("bad", 3)):
            with self.subTest(code):
                self.answer(answer_of(output(status(code, "No.", name="Drive"))))
                self.check("show", "-velkossd", status=expected, stdout="\n- Drive -\n\nStatus : No.\n\n")

    def test_the_log_shows_the_code_itself(self):
        log = self.world.var_log / "VelkoSSDOSTREL.log"
        self.world.run("set", "-system", "EnableLog=true")
        self.answer(answer_of(output(status(512, "No.", name="Drive"))))
        self.check("show", "-velkossd", status=255, stdout="\n- Drive -\n\nStatus : No.\n\n")
        self.assertEqual(log.read_text().splitlines()[-1].split(" ", 1)[1], "[debug] Exit Code: 512")

    def test_the_outcome_of_a_health_scan(self):
        for code, expected in ((0, 0), (2, 2), (768, 255)):
            with self.subTest(code):
                self.answer(answer_of(output(f'<Property name="Drive" value="seen"/>'
                                             f'<Property name="HealthScanStatusCode" value="{code}"/>')))
                self.check("start", "-scan", "Logs", "-velkossd", "0", status=expected,
                           stdout="\n- Scan Results -\n\nDrive : seen\n\n")


class Dump(RecordingTestCase):
    def names(self):
        return sorted(path.name for path in self.world.cwd.iterdir())

    def read(self, name):
        return (self.world.cwd / name).read_bytes()

    def test_files_are_named_after_log_and_drive(self):
        self.answer(answer_of(output(payload("00FF10"), name="nlog", key="VX1")))
        self.check("dump", "-nlog", stdout="Successfully written nlog data to nlog_VX1.bin\n")
        self.assertEqual(self.read("nlog_VX1.bin"), b"\x00\xFF\x10")
        self.assertEqual(stat.S_IMODE((self.world.cwd / "nlog_VX1.bin").stat().st_mode), 0o600)
        self.assertEqual(self.names(), ["nlog_VX1.bin"])

    def test_several_drives(self):
        self.answer(answer_of(output(payload("41"), name="nlog", key="VX1"),
                              output(status(246, "Not on this drive."), name="nlog", key="VX2"),
                              output("", name="nlog", key="VX3")))
        self.check("dump", "-nlog", status=2, stdout="\nSuccess : Successfully written nlog data to nlog_VX1.bin\n"
                                                     "Error : Not on this drive.\nError : No Payload data found\n\n")
        self.assertEqual(self.names(), ["nlog_VX1.bin"])

    def test_a_destination(self):
        self.answer(answer_of(output(payload("4142"), name="nlog", key="VX1")))
        self.check("dump", "-destination", "mine", "-velkossd", "0", "-nlog",
                   stdout="Successfully written nlog data to mine\n")
        self.assertEqual(self.read("mine"), b"AB")
        self.check("dump", "-destination", "missing/mine", "-velkossd", "0", "-nlog", status=2,
                   stdout="Out of Memory: Failed to write nlog data to missing/mine\n",
                   stderr="Unable to write missing/mine: No such file or directory\n")
        self.check("dump", "-destination", "/dev/full", "-velkossd", "0", "-nlog", status=2,
                   stdout="Out of Memory: Failed to write nlog data to /dev/full\n",
                   stderr="Unable to write /dev/full: No space left on device\n")
        self.check("dump", "-destination", "/dev/stdout", "-velkossd", "0", "-nlog",
                   stdout="ABSuccessfully written nlog data to /dev/stdout\n")
        self.assertEqual(self.names(), ["mine"])

    def test_names_from_outside_stay_in_the_folder(self):
        self.answer(answer_of(output(payload("41"), name="../nlog", key="/etc/&#10;passwd")))
        self.check("dump", "-nlog", stdout="Successfully written ../nlog data to .._nlog__etc__passwd.bin\n")
        self.assertEqual(self.names(), [".._nlog__etc__passwd.bin"])

    def test_no_link_in_the_place_of_the_file_is_followed(self):
        (self.world.cwd / "target").write_bytes(b"old")
        os.symlink("target", self.world.cwd / "nlog_VX1.bin")
        self.answer(answer_of(output(payload("41"), name="nlog", key="VX1")))
        for arguments in (("dump", "-nlog"), ("dump", "-destination", "nlog_VX1.bin", "-velkossd", "0", "-nlog")):
            self.check(*arguments, status=2, stdout="Out of Memory: Failed to write nlog data to nlog_VX1.bin\n",
                       stderr="Unable to write nlog_VX1.bin: It is a symbolic link\n")
        self.assertEqual(self.read("target"), b"old")

    def refused(self, destination, reason):
        self.check("dump", "-destination", destination, "-velkossd", "0", "-nlog", status=2,
                   stdout=f"Out of Memory: Failed to write nlog data to {destination}\n",
                   stderr=f"Unable to write {destination}: {reason}\n")

    def test_a_pipe_without_a_reader_is_refused_at_once(self):
        self.answer(answer_of(output(payload("41"), name="nlog", key="VX1")))
        os.mkfifo(self.world.cwd / "pipe")
        self.refused("pipe", "No process reads from this pipe")

    def test_a_mount_point_is_refused(self):
        self.answer(answer_of(output(payload("41"), name="nlog", key="VX1")))
        (self.world.cwd / "mounted").write_bytes(b"old")
        self.in_world("mount --bind mounted mounted", status=2,
                      stdout="Out of Memory: Failed to write nlog data to mounted\n",
                      stderr="Unable to write mounted: It is a mount point\n", destination="mounted")
        self.assertEqual(self.read("mounted"), b"old")

    @without_sanitizers
    def test_all_works_without_proc(self):
        self.answer(answer_of(output(payload("41"), name="nlog", key="VX1")))
        self.in_world(HIDE_PROC, stdout="Successfully written nlog data to new\n", destination="new")
        self.in_world(HIDE_PROC, stdout="Successfully written nlog data to new\n", destination="new")
        self.assertEqual(self.read("new"), b"A")
        self.in_world(HIDE_PROC, stdout="ASuccessfully written nlog data to /dev/stdout\n", destination="/dev/stdout")
        self.in_world(HIDE_PROC, stdout="ASuccessfully written nlog data to /dev/fd/3\n", destination="/dev/fd/3 3>&1")
        os.symlink("new", self.world.cwd / "link")
        self.in_world(HIDE_PROC, status=2, stdout="Out of Memory: Failed to write nlog data to link\n",
                      stderr="Unable to write link: It is a symbolic link\n", destination="link")
        self.assertEqual(self.read("new"), b"A")

    def in_world(self, preparation, destination, **expected):
        """The same run after `preparation` in the private mount namespace."""
        script = f'{preparation} && exec "$0" dump -destination {destination} -velkossd 0 -nlog'
        self.check("-c", script, TOOL, tool="/bin/sh", **expected)

    def test_a_parsed_log(self):
        self.answer(answer_of(output('<Object name="Event" key="1"><Property name="Type" value="SMART"/></Object>',
                                     name="pel", key="VX1")))
        self.check("show", "-source", "log.bin", "-destination", "parsed", "-persistenteventlog",
                   stdout="Successfully written pel data to parsed\n")
        self.assertEqual(self.read("parsed"), b"\n- Event 1 -\n\nType : SMART\n")
        self.check("show", "-source", "log.bin", "-output", "json", "-persistenteventlog",
                   stdout='{\n\t"Event 1":\n\t{\n\t\t"Type":"SMART"\n\t}\n}\n')


if __name__ == "__main__":
    unittest.main()
