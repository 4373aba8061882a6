"""The settings: the configuration file, `show -system` and `set -system`."""

import os
import pathlib
import unittest

from world import TOOL, ToolTestCase

HEAD = ('<?xml version="1.0" encoding="utf-8"?>'
        '<Object category="attributeList" name="Velko Nimbrel Tool Configuration File">')
TAIL = '</Object>'

PATH = "/opt/velko/nimbrel/nimbrel_config.xml"
SYMLINK = f"Error: Configuration file given is a symlink. Please resolve by deleting or removing symlink: {PATH}\n"
CORRUPTED = ("Error: Configuration file given is corrupted. Please resolve by deleting or manually editing: "
             f"{PATH}\n")
FAILED_TO_CREATE = f"Error: Failed to create configuration file: {PATH}\n"
CHANGEABLE = f"Error: Configuration file can be changed by other users: {PATH}\n"
FAILED_TO_WRITE = f"Error: Failed to write Velko Nimbrel Tool configuration file. {PATH}\n"


def setting(name, display_name, value):
    return (f'<Property category="attribute" displayName="{display_name}" name="{name}" '
            f'size="{len(value) + 1}" type="string" value="{value}"/>')


def config(enable_log="false", log_file="/var/log/VelkoSSDOSTREL.log", directory="", library="", lsi="false"):
    """The file as the tool writes it."""
    return (HEAD + setting("EnableLog", "Enable Log", enable_log) +
            setting("EnableLSIAdapter", "Enable LSI Adapter", lsi) + setting("LogFile", "Log File", log_file) +
            setting("AdditionalFWModDir", "Additional Firmware Module Directories", directory) +
            setting("VelkoSSDFeaturesPath", "Velko SSD Features Library Path", library) + TAIL)


DEFAULTS = (
    '<?xml version="1.0" encoding="utf-8"?>'
    '<Object category="attributeList" name="Velko Nimbrel Tool Configuration File">'
    '<Property category="attribute" displayName="Enable Log" name="EnableLog" size="6" type="string" value="false"/>'
    '<Property category="attribute" displayName="Enable LSI Adapter" name="EnableLSIAdapter" size="6" type="string"'
    ' value="false"/>'
    '<Property category="attribute" displayName="Log File" name="LogFile" size="28" type="string"'
    ' value="/var/log/VelkoSSDOSTREL.log"/>'
    '<Property category="attribute" displayName="Additional Firmware Module Directories" name="AdditionalFWModDir"'
    ' size="1" type="string" value=""/>'
    '<Property category="attribute" displayName="Velko SSD Features Library Path" name="VelkoSSDFeaturesPath"'
    ' size="1" type="string" value=""/>'
    '</Object>')


def shown(*lines):
    """What `show -system` prints."""
    return "".join(line + "\n" for line in ("- Velko Nimbrel Tool Configuration File -", *lines, "", ""))


DEFAULT_SHOWN = shown("EnableLog: false", "LogFile: /var/log/VelkoSSDOSTREL.log")


class ConfigurationFile(ToolTestCase):
    def test_is_created_by_the_first_run_whatever_the_command(self):
        self.world.run("version")
        self.assertEqual(self.world.config.read_text(), DEFAULTS)
        self.assertEqual(config(), DEFAULTS, "the helper of these tests agrees")
        self.assertEqual(self.world.config.stat().st_mode & 0o777, 0o644)

    def test_is_left_alone_by_a_run_that_only_reads_it(self):
        self.world.run("version")
        before = self.world.config.stat()
        self.check("show", "-system", stdout=DEFAULT_SHOWN)
        after = self.world.config.stat()
        self.assertEqual((after.st_ino, after.st_mtime_ns), (before.st_ino, before.st_mtime_ns))
        self.assertEqual(sorted(entry.name for entry in self.world.opt.iterdir()), ["nimbrel_config.xml"])

    def test_needs_its_folder(self):
        self.world.opt.rmdir()
        self.check("show", "-system", status=5, stdout=FAILED_TO_CREATE)
        self.assertFalse(self.world.opt.exists())

    def test_of_zero_bytes_gets_the_defaults(self):
        self.world.config.write_text("")
        self.check("show", "-system", stdout=DEFAULT_SHOWN)
        self.assertEqual(self.world.config.read_text(), DEFAULTS)

    def test_that_is_a_link_is_refused(self):
        target = self.world.scratch / "target"
        target.write_text(DEFAULTS)
        self.world.config.symlink_to(target)
        self.check("show", "-system", status=11, stdout=SYMLINK)
        self.world.config.unlink()
        self.world.config.symlink_to(self.world.scratch / "absent")
        self.check("show", "-system", status=11, stdout=SYMLINK)
        self.assertFalse((self.world.scratch / "absent").exists())

    def test_that_is_a_folder_cannot_be_created(self):
        self.world.config.mkdir()
        self.check("show", "-system", status=5, stdout=FAILED_TO_CREATE)

    def contents(self):
        """Of a file that its owner may have no right to read."""
        mode = self.world.config.stat().st_mode
        self.world.config.chmod(0o600)
        text = self.world.config.read_text()
        self.world.config.chmod(mode)
        return text

    def check_left_alone(self, message, run=None):
        """Whatever the command, the run ends with status 5 and the message, and the file is as it was."""
        before, text = self.world.config.stat(), self.contents()
        for command in (["version"], ["help"], [], ["nonsense"], ["show", "-system"], ["show", "-velkossd"],
                        ["set", "-system", "EnableLog=false"]):
            if run is None:
                self.check(*command, status=5, stdout=message)
            else:
                run(command)
        after = self.world.config.stat()
        self.assertEqual(self.contents(), text)
        self.assertEqual((after.st_ino, after.st_mtime_ns, after.st_mode),
                         (before.st_ino, before.st_mtime_ns, before.st_mode))
        self.assertEqual([entry.name for entry in self.world.opt.iterdir()], ["nimbrel_config.xml"])

    def test_that_cannot_be_read_is_not_replaced(self):
        """It could be: the folder is open to the user, who lacks the right to read the file alone."""
        self.world.config.write_text(config(enable_log="TRUE", directory="/fw"))
        self.world.config.chmod(0o200)
        self.check_left_alone(FAILED_TO_CREATE, lambda command: self.check(
            "--bounding-set", "-dac_override,-dac_read_search", TOOL, *command, tool="setpriv", status=5,
            stdout=FAILED_TO_CREATE))
        self.world.config.chmod(0o600)
        self.check("show", "-system", stdout=shown("EnableLog: TRUE", "LogFile: /var/log/VelkoSSDOSTREL.log"))

    def test_that_is_a_pipe_is_not_waited_for(self):
        os.mkfifo(self.world.config)
        for command in (["version"], ["set", "-system", "EnableLog=true"]):
            self.check(*command, status=5, stdout=FAILED_TO_CREATE, timeout=20)
        self.assertTrue(self.world.config.is_fifo())

    def test_that_other_users_can_change_is_not_obeyed(self):
        self.world.config.write_text(config(enable_log="TRUE", library="/tmp/library"))
        for place, mode in ((self.world.config, 0o646), (self.world.config, 0o664), (self.world.opt, 0o757),
                            (self.world.opt.parent, 0o775), (self.world.opt.parent.parent, 0o777)):
            before = place.stat().st_mode
            place.chmod(mode)
            self.check_left_alone(CHANGEABLE)
            place.chmod(before)
        self.world.opt.parent.chmod(0o1777)
        self.check("show", "-system", stdout=shown("EnableLog: TRUE", "LogFile: /var/log/VelkoSSDOSTREL.log"))

    def test_is_not_created_where_other_users_can_change_it(self):
        self.world.opt.chmod(0o777)
        self.check("version", status=5, stdout=CHANGEABLE)
        self.assertEqual(list(self.world.opt.iterdir()), [])

    def test_accepts_switches_in_any_case(self):
        self.world.config.write_text(config(enable_log="TRUE", lsi="fAlSe"))
        self.check("show", "-system", stdout=shown("EnableLog: TRUE", "LogFile: /var/log/VelkoSSDOSTREL.log"))

    def test_is_refused_before_anything_else(self):
        for text in (config(enable_log="yes"), config(lsi="yes"), config(log_file=""), "no XML", DEFAULTS[:-1],
                     DEFAULTS.replace("Velko Nimbrel Tool Configuration File", "Another File"),
                     DEFAULTS.replace(setting("EnableLog", "Enable Log", "false"), ""),
                     DEFAULTS.replace("<Object", "<List").replace("</Object", "</List")):
            self.world.config.write_text(text)
            for command in (["help"], ["version"], ["nonsense"], [], ["show", "-system"],
                            ["set", "-system", "EnableLog=false"], ["version", "-output", "json"]):
                self.check(*command, status=12, stdout=CORRUPTED)
            self.assertEqual(self.world.config.read_text(), text, "nothing is repaired")
        self.world.config.unlink()
        self.check("show", "-system", stdout=DEFAULT_SHOWN)

    def test_is_not_looked_at_for_an_ordinary_user(self):
        self.world.config.write_text("no XML")
        self.check("show", "-system", root=False, status=238, stdout=f"{TOOL} Requires admin privileges.\n")


class ShowSystem(ToolTestCase):
    def test_shows_the_log_settings(self):
        self.check("show", "-system", stdout=DEFAULT_SHOWN)

    def test_shows_what_is_asked_for(self):
        self.check("show", "-display", "EnableLSIAdapter", "-system", stdout=shown("EnableLSIAdapter: false"))
        self.check("show", "-d", "logfile,ENABLELOG", "-system", stdout=DEFAULT_SHOWN)

    def test_says_what_does_not_exist(self):
        self.check("show", "-display", "Foo", "-system", stdout=shown("Foo: Property does not exist."))
        self.check("show", "-display", "Foo,LogFile", "-system",
                   stdout=shown("LogFile: /var/log/VelkoSSDOSTREL.log", "Foo: Property does not exist."))

    def test_shows_it_in_other_formats(self):
        self.check("show", "-output", "json", "-system", stdout=(
            '{\n'
            '\t"Velko Nimbrel Tool Configuration File":\n'
            '\t{\n'
            '\t\t"EnableLog":false,\n'
            '\t\t"LogFile":"\\/var\\/log\\/VelkoSSDOSTREL.log"\n'
            '\t}\n'
            '}\n'
            '\n'))
        self.check("show", "-output", "nvmxml", "-system", stdout=(
            "<RootList>\n"
            "<Velko_Nimbrel_Tool_Configuration_File>\n"
            "\t<EnableLog>false</EnableLog>\n"
            "\t<LogFile>/var/log/VelkoSSDOSTREL.log</LogFile>\n"
            "</Velko_Nimbrel_Tool_Configuration_File>\n"
            "</RootList>\n"
            "\n"))

    def test_keeps_its_order_over_ten_runs_and_sets(self):
        for run in range(10):
            value = ("true", "false")[run % 2]
            self.check("set", "-system", f"EnableLog={value}", stdout="Set EnableLog successful.\n")
            self.assertEqual(self.world.config.read_text(), config(enable_log=value))
            self.check("set", "-system", f"LogFile=/var/log/run{run}", stdout="Set LogFile successful.\n")
            self.check("show", "-system", stdout=shown(f"EnableLog: {value}", f"LogFile: /var/log/run{run}"))
            self.assertEqual(self.world.config.read_text(), config(enable_log=value, log_file=f"/var/log/run{run}"))
            self.check("set", "-system", "LogFile=/var/log/VelkoSSDOSTREL.log", stdout="Set LogFile successful.\n")

    def test_keeps_its_order_with_further_settings(self):
        further = "".join(setting(f"Further{i}", "Further", "x") for i in range(30))
        self.world.config.write_text(DEFAULTS.replace(TAIL, further + TAIL))
        for _ in range(3):
            self.check("set", "-system", "EnableLog=false", stdout="Set EnableLog successful.\n")
            self.check("show", "-system", stdout=DEFAULT_SHOWN)
            text = self.world.config.read_text()
            self.assertTrue(text.startswith(HEAD + setting("EnableLog", "Enable Log", "false")), text)
            self.assertEqual(text.count("<Property"), 35)
        self.check("show", "-display", "Further7", "-system", stdout=shown("Further7: x"))


class SetSystem(ToolTestCase):
    def set(self, key, value):
        self.check("set", "-system", f"{key}={value}", stdout=f"Set {key} successful.\n")

    def refuse(self, key, value, status, message):
        self.world.run("version")
        before = self.world.config.read_bytes()
        self.check("set", "-system", f"{key}={value}", status=status, stdout=f"Error: {message}\n")
        self.assertEqual(self.world.config.read_bytes(), before)

    def test_stores_a_switch_as_it_was_typed(self):
        self.set("EnableLog", "TRUE")
        self.assertEqual(self.world.config.read_text(), config(enable_log="TRUE"))
        self.check("show", "-system", stdout=shown("EnableLog: TRUE", "LogFile: /var/log/VelkoSSDOSTREL.log"))

    def test_matches_the_property_ignoring_case(self):
        self.check("set", "-system", "enablelog=true", stdout="Set EnableLog successful.\n")
        self.assertEqual(self.world.config.read_text(), config(enable_log="true"))

    def test_refuses_what_is_no_switch(self):
        self.refuse("EnableLog", "maybe", 6,
                    "Invalid value for EnableLog property. Supported values are 'true' and 'false'.")

    def test_sets_a_log_file_that_need_not_exist(self):
        for path in ("/var/log/other.log", "relative", "/nonexistent/log", "a&b", 'quo"te', "with blank", "grüße"):
            self.set("LogFile", path)
            self.check("show", "-system", stdout=shown("EnableLog: false", f"LogFile: {path}"))
        self.set("LogFile", "/nonexistent/.")  # passes: the whole path is looked at, not its last component

    def test_refuses_folders_as_log_file(self):
        for path in ("/tmp", "/var/log/", "/var/log/.", ".", ".."):
            self.refuse("LogFile", path, 9, f"Invalid file name - {path}")
        (self.world.cwd / "here").mkdir()
        self.refuse("LogFile", "here", 9, "Invalid file name - here")

    def test_sets_an_existing_firmware_folder(self):
        self.set("AdditionalFWModDir", "/tmp")
        self.assertEqual(self.world.config.read_text(), config(directory="/tmp"))
        self.refuse("AdditionalFWModDir", "/nonexistent", 8,
                    "Invalid directory given for AdditionalFWModDir property. Directory must exist.")
        self.refuse("AdditionalFWModDir", "/etc/passwd", 8,
                    "Invalid directory given for AdditionalFWModDir property. Directory must exist.")

    def test_sets_anything_but_a_folder_as_library(self):
        (self.world.cwd / "library").write_text("")
        (self.world.cwd / "link").symlink_to("library")
        (self.world.cwd / "dangling").symlink_to("absent")
        (self.world.cwd / "folder").symlink_to("/tmp")
        os.mkfifo(self.world.cwd / "pipe")
        for name in ("library", "link", "/etc/passwd"):
            self.set("VelkoSSDFeaturesPath", name)
            self.assertEqual(self.world.config.read_text(), config(library=name))
        for name in ("/nonexistent", "dangling", "folder", "/tmp"):
            self.refuse("VelkoSSDFeaturesPath", name, 8,
                        "Invalid path given for VelkoSSDFeaturesPath property. File must exist.")
        self.set("VelkoSSDFeaturesPath", "pipe")

    def test_does_not_set_the_adapter_switch(self):
        run = self.world.run("set", "-system", "EnableLSIAdapter=true")
        self.assertEqual(run.status, 201)
        self.assertEqual(self.world.config.read_text(), DEFAULTS)

    def test_replaces_the_value_under_the_files_own_spelling(self):
        self.world.config.write_text(DEFAULTS.replace('name="EnableLog"', 'name="enableLOG"'))
        self.set("EnableLog", "true")
        self.assertEqual(self.world.config.read_text(),
                         config(enable_log="true").replace('name="EnableLog"', 'name="enableLOG"'))
        self.check("show", "-system", stdout=shown("enableLOG: true", "LogFile: /var/log/VelkoSSDOSTREL.log"))

    def test_keeps_mode_and_owner(self):
        self.world.run("version")
        self.world.config.chmod(0o600)
        before = self.world.config.stat()
        self.set("LogFile", "/var/log/other")
        after = self.world.config.stat()
        self.assertEqual((after.st_mode, after.st_uid, after.st_gid), (before.st_mode, before.st_uid, before.st_gid))
        self.assertEqual(sorted(entry.name for entry in self.world.opt.iterdir()), ["nimbrel_config.xml"])

    def test_writes_no_file_that_the_next_run_would_refuse(self):
        # A zero byte, which only an editor can bring in, ends the text for who reads it back.
        text = config(directory="a&#0;b")
        self.world.config.write_text(text)
        self.check("set", "-system", "EnableLog=true", status=5, stdout=FAILED_TO_WRITE)
        self.assertEqual(self.world.config.read_text(), text)
        self.check("show", "-system", stdout=DEFAULT_SHOWN)

    def test_leaves_the_file_as_it_was_when_it_cannot_be_written(self):
        self.world.run("version")
        script = f"mount --bind -o ro /opt /opt && exec {TOOL} set -system EnableLog=true"
        self.check("-c", script, tool="/bin/sh", status=5, stdout=FAILED_TO_WRITE)
        self.assertEqual(self.world.config.read_text(), DEFAULTS)
        self.assertEqual(sorted(entry.name for entry in self.world.opt.iterdir()), ["nimbrel_config.xml"])

    def test_leaves_the_file_as_it_was_when_the_disk_is_full(self):
        script = ("mount -t tmpfs -o size=4k tmpfs /opt/velko/nimbrel && "
                  f"{TOOL} version >/dev/null && cat {PATH} >/opt/velko/before && head -c 4096 /dev/zero | "
                  f"cat >/opt/velko/nimbrel/filler 2>/dev/null; {TOOL} set -system EnableLog=true; status=$?; "
                  f"cmp {PATH} /opt/velko/before && exit $status")
        run = self.world.run("-c", script, tool="/bin/sh")
        self.assertEqual((run.stdout, run.status), (FAILED_TO_WRITE, 5), run.stderr)
        self.assertEqual(pathlib.Path(self.world.opt.parent / "before").read_text(), DEFAULTS)


if __name__ == "__main__":
    unittest.main()
