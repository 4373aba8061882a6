"""nimbrel-simdrive: whole outputs and exit statuses of the commands that make, show, change and remove drives."""

import fcntl
import json
import os
import pathlib
import re
import unittest

from world import World

TOOL = os.environ.get("NIMBREL_SIMDRIVE", "")
DRIVES = "/opt/velko/nimbrel/SimulatedDrives"
SERIAL = re.compile(r"SIM[0-9A-HJ-NP-TV-Z]{9}")


class SimdriveTestCase(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.world = World()
        self.addCleanup(self.world.close)
        self.drives = self.world.opt / "SimulatedDrives"

    def check(self, *arguments, status=0, stdout="", stderr="", **options):
        run = self.world.run(*arguments, tool=TOOL, **options)
        message = f"nimbrel-simdrive: {stderr}\n" if stderr else ""
        self.assertEqual((run.stdout, run.stderr, run.status), (stdout, message, status), arguments)

    def make(self, name="a", *options, serial="S1"):
        self.check("create", name, "--serial", serial, *options,
                   stdout=f"Made {name}: velko, 16 GiB, serial number {serial}\n")

    def names(self):
        """What is in the folder of drives, besides its lock."""
        return sorted({path.name for path in self.drives.iterdir()} - {".nimbrel-simdrive.lock"})

    def description(self, name="a"):
        return self.drives / name / "description.ini"


class Words(SimdriveTestCase):
    def test_help_fits_a_terminal_and_needs_no_root(self):
        run = self.world.run("--help", tool=TOOL, root=False)
        self.assertEqual((run.status, run.stderr), (0, ""))
        self.assertLessEqual(max(map(len, run.stdout.splitlines())), 80)
        self.check("fault", "--help", stdout=run.stdout)
        self.check(status=2, stdout=run.stdout)

    def test_version_is_that_of_the_tool(self):
        version = re.search(r"Version: (\S+)", self.world.run("version").stdout)[1]
        self.check("--version", root=False, stdout=f"nimbrel-simdrive {version}\n")
        self.check("--version", "now", status=2,
                   stderr='There is no command "--version"; nimbrel-simdrive --help lists them.')

    def test_an_ordinary_user_is_refused(self):
        for command in (["create"], ["list"], ["remove", "a"], ["fault", "a"], ["serve", "a"], ["snapshot", "a"],
                        ["reset", "a"]):
            self.check(*command, root=False, status=1, stderr="This needs the root user, or --folder with a folder of yours.")
        self.assertEqual(list(self.world.opt.iterdir()), [])

    def test_wrong_words_are_reported(self):
        for arguments, message in (
                (["make"], 'There is no command "make"; nimbrel-simdrive --help lists them.'),
                (["list", "a"], "list takes no name."),
                (["list", "--xml"], "There is no option --xml."),
                (["create", "a", "b"], "One name is enough: --count numbers the drives."),
                (["create", "--model", "best"], "--model takes velko, ocp, nvme-1.4, nvme-2.1, sata or ocp-2.6."),
                (["create", "--size", "1.5G"],
                 "--size takes a number of bytes, or one with K, M, G, T, Ki, Mi, Gi or Ti."),
                (["create", "--count", "0"], "--count takes 1 to 10000."),
                (["create", "--count", "10001"], "--count takes 1 to 10000."),
                (["create", "--count", "1K"], "--count takes 1 to 10000."),
                (["create", "--size"], "--size needs a value."),
                (["create", "--size", "1Mi", "--size=2Mi"], "--size is given twice."),
                (["create", "--json=yes"], "--json takes no value."),
                (["create", "--serial=", "a", "--speed"], "There is no option --speed."),
                (["remove"], "remove needs the name of a drive."),
                (["fault"], "fault needs the name of a drive."),
                (["fault", "a", "b"], 'After the name: options that set faults, or "clear" and which.'),
                (["fault", "a", "clear", "rust"], 'There is no fault "rust".'),
                (["fault", "a", "clear", "--gone", "yes"],
                 'After the name: options that set faults, or "clear" and which.'),
                (["fault", "a", "--rust", "1"], "There is no option --rust."),
                (["fault", "a", "--gone", "yes\n[supports]\nformat = no"], "--gone takes one line."),
                (["create", "--model-number", "x" * 41],
                 "--model-number takes 1 to 40 printable ASCII characters, without blanks at the ends."),
                (["create", "--model-number", " x"],
                 "--model-number takes 1 to 40 printable ASCII characters, without blanks at the ends."),
                (["create", "--model-number", "x\n[faults]\ngone = yes"],
                 "--model-number takes 1 to 40 printable ASCII characters, without blanks at the ends."),
                (["create", "--firmware", ""],
                 "--firmware takes 1 to 8 printable ASCII characters, without blanks at the ends."),
                (["create", "--firmware", "123456789"],
                 "--firmware takes 1 to 8 printable ASCII characters, without blanks at the ends."),
                (["snapshot"], "snapshot needs the name of one drive."),
                (["snapshot", "a", "b"], "snapshot needs the name of one drive."),
                (["reset"], "reset needs the name of one drive."),
                (["serve"], "serve needs the name of one drive."),
                (["serve", "a", "--port", "65536"], "--port takes 0 to 65535."),
                (["serve", "a", "--port", "x"], "--port takes 0 to 65535."),
                (["serve", "a", "--second-port", ""], "--second-port takes 0 to 65535."),
                (["create", "--controllers", "3"], "--controllers takes 1 or 2."),
                (["create", "--controllers", ""], "--controllers takes 1 or 2.")):
            with self.subTest(arguments):
                self.check(*arguments, status=2, stderr=message)
        self.assertEqual(list(self.world.opt.iterdir()), [])


class Making(SimdriveTestCase):
    def test_a_drive_by_its_name(self):
        self.check("create", "a", "--model", "ocp", "--size=100G", "--serial", "S1",
                   stdout="Made a: ocp, 97656250 KiB, serial number S1\n")
        self.check("list", stdout="NAME  MODEL  SIZE          SERIAL NUMBER  FIRMWARE  FAULTS\n"
                                  f"a     ocp    97656250 KiB  S1             {self.firmware('a')}  none\n")

    def firmware(self, name):
        return next(drive["firmware"].ljust(8) for drive in self.listed() if drive["name"] == name)

    def listed(self):
        return json.loads(self.world.run("list", "--json", tool=TOOL).stdout)

    def test_drives_without_a_name_are_numbered_past_those_that_are_there(self):
        for options, names in ((["--count", "2"], ["velko-1", "velko-2"]), ([], ["velko-3"]),
                               (["--model", "ocp"], ["ocp-1"]), (["x", "--count", "2"], ["x-1", "x-2"])):
            run = self.world.run("create", *options, tool=TOOL)
            self.assertEqual((run.status, run.stderr), (0, ""))
            self.assertEqual([line.split()[1] for line in run.stdout.splitlines()], [name + ":" for name in names])
        serials = [drive["serialNumber"] for drive in self.listed()]
        self.assertEqual(len(set(serials)), 6)
        for serial in serials:
            self.assertRegex(serial, SERIAL)

    def test_with_a_free_model_number_and_firmware(self):
        self.check("create", "a", "--serial", "S1", "--model-number", "ACME  X-100 \"R\"", "--firmware", "1.2 b",
                   stdout="Made a: velko, 16 GiB, serial number S1\n")
        drive = self.listed()[0]
        self.assertEqual((drive["modelNumber"], drive["firmware"]), ('ACME  X-100 "R"', "1.2 b"))
        self.assertIn('\nmodel-number = ACME  X-100 "R"\n', self.description().read_text())

    def test_with_two_controllers(self):
        self.check("create", "a", "--controllers", "2", "--serial", "S1",
                   stdout="Made a: velko, 16 GiB, serial number S1, two controllers\n")
        self.assertIn("\ncontrollers = 2\n", self.description().read_text())
        self.assertEqual(json.loads(self.world.run("list", "--json", tool=TOOL).stdout)[0]["controllers"], 2)

    def test_serial_numbers_of_several_drives_are_numbered(self):
        self.check("create", "a", "--count", "2", "--serial", "S", "--size", "1Mi",
                   stdout="Made a-1: velko, 1 MiB, serial number S-1\nMade a-2: velko, 1 MiB, serial number S-2\n")

    def test_what_cannot_be_made_leaves_nothing(self):
        for arguments, message in (
                (["../a"], '"../a" is not a valid name of a simulated drive: letters, digits, \'-\', \'_\' '
                           "and '.', no '.' at first, 64 characters at most."),
                ([""], '"" is not a valid name of a simulated drive: letters, digits, \'-\', \'_\' '
                       "and '.', no '.' at first, 64 characters at most."),
                ([".."], '".." is not a valid name of a simulated drive: letters, digits, \'-\', \'_\' '
                         "and '.', no '.' at first, 64 characters at most."),
                (["a", "--size", "1023Ki"], '"size" takes 1 MiB to 8 TiB, for instance "16 GiB".'),
                (["a", "--size", "8193Gi"], '"size" takes 1 MiB to 8 TiB, for instance "16 GiB".'),
                (["a", "--serial", "S 1"], '"serial-number" takes 1 to 20 visible characters.'),
                (["a", "--serial", "S" * 21], '"serial-number" takes 1 to 20 visible characters.')):
            with self.subTest(arguments):
                self.check("create", *arguments, status=1, stderr=message)
                self.assertEqual(self.names(), [])

    def test_a_name_or_a_serial_number_in_use_is_refused(self):
        self.make()
        before = self.description().read_bytes()
        self.check("create", "a", status=1, stderr=f"System error. {DRIVES}/a: File exists.")
        self.check("create", "b", "--serial", "S1", status=1,
                   stderr="Another simulated drive has the serial number S1.")
        self.assertEqual(self.names(), ["a"])
        self.assertEqual(self.description().read_bytes(), before)

    def test_without_an_installation_there_is_no_place(self):
        self.world.opt.rmdir()
        self.check("create", "a", status=1, stderr=f"System error. {DRIVES}: No such file or directory.")


    def test_as_json_shows_what_list_shows(self):
        run = self.world.run("create", "--count", "2", "--model", "ocp", "--size", "1Mi", "--serial", "S", "--json",
                             tool=TOOL)
        self.assertEqual((run.status, run.stderr), (0, ""))
        self.assertEqual(run.stdout, "".join((
            "[\n",
            f'  {{"name": "ocp-1", "folder": "{DRIVES}/ocp-1", "path": "{DRIVES}/ocp-1/dev/ocp-1", "model": "ocp", "modelNumber": '
            '"Simulated OCP Datacenter NVMe SSD", ',
            '"serialNumber": "S-1", "controllers": 1, "sizeBytes": 1048576, "firmware": "OSIM0100", "faults": {}},\n',
            f'  {{"name": "ocp-2", "folder": "{DRIVES}/ocp-2", "path": "{DRIVES}/ocp-2/dev/ocp-2", "model": "ocp", "modelNumber": '
            '"Simulated OCP Datacenter NVMe SSD", ',
            '"serialNumber": "S-2", "controllers": 1, "sizeBytes": 1048576, "firmware": "OSIM0100", "faults": {}}\n',
            "]\n")))
        self.check("list", "--json", stdout=run.stdout)
        self.check("create", "ocp-1", "--json", status=1, stderr=f"System error. {DRIVES}/ocp-1: File exists.")


class Listing(SimdriveTestCase):
    def test_of_nothing(self):
        self.check("list", stdout="There are no simulated drives.\n")
        self.check("list", "--json", stdout="[]\n")

    def test_shows_faults_and_damages_for_each_drive_alone(self):
        self.make("a")
        self.make("b10", serial="S10")
        self.make("b9", serial="S9")
        self.description("b9").write_text("nonsense\n")
        self.world.run("fault", "b10", "--gone", "yes", "--temperature", "90", tool=TOOL)
        places = lambda name: {"folder": f"{DRIVES}/{name}", "path": f"{DRIVES}/{name}/dev/{name}"}
        run = self.world.run("list", "--json", tool=TOOL)
        drives = json.loads(run.stdout)
        firmware = drives[0]["firmware"]
        common = {"model": "velko", "modelNumber": "VELKO Simulated NVMe SSD", "controllers": 1, "sizeBytes": 17179869184, "firmware": firmware}
        error = f"{DRIVES}/b9/description.ini: Line 1: '=' character not found in line."
        self.assertEqual((run.status, run.stderr), (1, ""), "b9 is missing from a whole list")
        self.assertEqual(drives, [
            {"name": "a", **places("a"), "serialNumber": "S1", **common, "faults": {}},
            {"name": "b9", **places("b9"), "error": error},
            {"name": "b10", **places("b10"), "serialNumber": "S10", **common,
             "faults": {"temperature": "90", "gone": "yes"}}])
        self.check("list", status=1, stdout="NAME  MODEL  SIZE    SERIAL NUMBER  FIRMWARE  FAULTS\n"
                                  f"a     velko  16 GiB  S1             {firmware:8}  none\n"
                                  f"b9    {error}\n"
                                  f"b10   velko  16 GiB  S10            {firmware:8}  temperature, gone\n")


    def test_of_what_cannot_be_listed_is_a_failure(self):
        self.drives.write_text("")
        self.check("list", status=1, stderr=f"System error. {DRIVES}: Not a directory.")
        self.check("list", "--json", status=1, stderr=f"System error. {DRIVES}: Not a directory.")
        self.check("create", "a", status=1, stderr=f"System error. {DRIVES}: Not a directory.")

    def test_reports_what_is_no_file_at_once_and_the_other_drives(self):
        for number, name in enumerate(("a", "pipe", "giant", "device", "state")):
            self.make(name, serial=f"S{number}")
        for name in ("pipe", "giant", "device"):
            self.description(name).unlink()
        os.mkfifo(self.description("pipe"))
        self.description("giant").touch()
        os.truncate(self.description("giant"), 1 << 42)
        self.description("device").symlink_to("/dev/zero")
        (self.drives / "state/state").unlink()
        os.mkfifo(self.drives / "state/state")
        listed = {drive["name"]: drive.get("error") for drive in json.loads(
            self.world.run("list", "--json", tool=TOOL, timeout=10).stdout)}
        self.assertEqual(listed, {
            "a": None,
            "device": f"System error. {DRIVES}/device/description.ini: Too many levels of symbolic links.",
            "giant": f"System error. {DRIVES}/giant/description.ini is too large.",
            "pipe": f"System error. {DRIVES}/pipe/description.ini is not a regular file.",
            "state": f"System error. {DRIVES}/state/state is not a regular file."})
        self.check("fault", "pipe", status=1, stderr='There is no simulated drive "pipe".', timeout=10)
        self.check("fault", "giant", status=1, timeout=10,
                   stderr=f"System error. {DRIVES}/giant/description.ini is too large.")
        self.check("serve", "state", status=1, timeout=10,
                   stderr=f"System error. {DRIVES}/state/state is not a regular file.")


class Permissions(SimdriveTestCase):
    def mode(self, path):
        return path.stat().st_mode & 0o7777

    def test_drives_are_their_owners_alone(self):
        self.make()
        self.assertEqual([self.mode(self.drives), self.mode(self.drives / "a")], [0o700] * 2)
        self.assertEqual({path.name: self.mode(path) for path in (self.drives / "a").iterdir()},
                         {"description.ini": 0o600, "state": 0o600})
        # Of an older program, or made by hand.
        for folder in (self.drives, self.drives / "a"):
            folder.chmod(0o755)
        self.check("fault", "a", stdout="No faults.\n")
        self.assertEqual([self.mode(self.drives), self.mode(self.drives / "a")], [0o700] * 2)

    def test_a_lock_of_another_user_stops_nothing(self):
        """A process that opened the folders before they were closed to others may still hold locks on them."""
        self.make()
        for folder in (self.drives, self.drives / "a"):
            descriptor = os.open(folder, os.O_RDONLY)
            self.addCleanup(os.close, descriptor)
            fcntl.flock(descriptor, fcntl.LOCK_EX)
        self.make("b", serial="S2")
        self.check("fault", "a", "--gone", "yes", stdout="gone = yes\n", timeout=10)
        self.check("remove", "a", stdout="Removed a\n", timeout=10)

    def test_folders_that_others_may_write_are_refused(self):
        self.make()
        (self.drives / "a").chmod(0o720)
        message = f"System error. {DRIVES}/a can be changed by other users."
        for command in (["fault", "a"], ["remove", "a"], ["serve", "a"]):
            self.check(*command, status=1, stderr=message)
        self.drives.chmod(0o1777)
        message = f"System error. {DRIVES} can be changed by other users."
        for command in (["create", "b"], ["fault", "a"], ["remove", "a"]):
            self.check(*command, status=1, stderr=message)
        self.assertEqual(self.names(), ["a"])
        self.assertEqual([self.mode(self.drives), self.mode(self.drives / "a")], [0o1777, 0o720])

    def test_what_killed_processes_left_is_removed(self):
        self.make()
        for name in (".making-abcdef", ".removing-b-7"):
            (self.drives / name).mkdir()
            (self.drives / name / "state").write_text("left")
        self.check("list", stdout=self.world.run("list", tool=TOOL).stdout)
        self.assertEqual(self.names(), [".making-abcdef", ".removing-b-7", "a"], "reading leaves no trace")
        self.make("b", serial="S2")
        self.assertEqual(self.names(), ["a", "b"])


class Removing(SimdriveTestCase):
    def test_drives(self):
        self.make("a")
        self.make("b", serial="S2")
        self.make("c", serial="S3")
        self.check("remove", "a", "c", stdout="Removed a\nRemoved c\n")
        self.assertEqual(self.names(), ["b"])

    def test_stops_at_the_first_that_cannot_be(self):
        self.make("a")
        self.make("b", serial="S2")
        self.check("remove", "a", "x", "b", status=1, stdout="Removed a\n",
                   stderr='There is no simulated drive "x".')
        self.assertEqual(self.names(), ["b"])

    def test_takes_no_name_apart(self):
        self.make("a")
        self.make("-b", serial="S2")
        self.check("remove", "[a,-b]", status=1, stderr='"[a,-b]" is not a valid name of a simulated drive.')
        self.check("remove", "a,-b", status=1, stderr='"a,-b" is not a valid name of a simulated drive.')
        for words in (["a", "++"], ["a", "--", "-b"], ["a", "--force"], ["a", "--folder="]):
            self.assertEqual(self.world.run("remove", *words, tool=TOOL).status, 2, words)
        self.assertEqual(self.names(), ["-b", "a"])
        self.check("remove", "-b", stdout="Removed -b\n")

    def test_a_damaged_drive_too(self):
        self.make()
        self.description().write_text("nonsense\n")
        self.check("remove", "a", stdout="Removed a\n")

    def test_refuses_what_is_no_drive(self):
        outside = self.world.opt / "outside"
        outside.mkdir()
        (outside / "description.ini").write_text("[drive]\n")
        self.drives.mkdir()
        (self.drives / "link").symlink_to(outside)
        (self.drives / "file").write_text("")
        (self.drives / "folder").mkdir()
        (self.drives / "folder/state").write_text("")
        (self.drives / "linked").mkdir()
        (self.drives / "linked/description.ini").symlink_to(outside / "description.ini")
        for name in ("link", "file", "folder", "linked", "x"):
            self.check("remove", name, status=1, stderr=f'There is no simulated drive "{name}".')
        for name in ("..", "a/b", "", "/"):
            self.check("remove", name, status=1, stderr=f'"{name}" is not a valid name of a simulated drive.')
        self.assertEqual(sorted(str(path.relative_to(self.world.opt)) for path in self.world.opt.rglob("*")),
                         ["SimulatedDrives", "SimulatedDrives/.nimbrel-simdrive.lock", "SimulatedDrives/file",
                          "SimulatedDrives/folder", "SimulatedDrives/folder/state", "SimulatedDrives/link",
                          "SimulatedDrives/linked", "SimulatedDrives/linked/description.ini", "outside",
                          "outside/description.ini"])

    def test_refuses_a_folder_with_other_files(self):
        self.make()
        for name, make in (("notes.txt", pathlib.Path.touch), ("media-old", pathlib.Path.mkdir),
                           ("lock", lambda path: path.symlink_to("/etc/passwd"))):
            path = self.drives / "a" / name
            make(path)
            before = sorted((self.drives / "a").iterdir())
            self.check("remove", "a", status=1,
                       stderr=f"{DRIVES}/a/{name} is no file of a simulated drive. Nothing was changed.")
            self.assertEqual(sorted((self.drives / "a").iterdir()), before)
            path.rmdir() if path.is_dir() and not path.is_symlink() else path.unlink()


class Faults(SimdriveTestCase):
    def test_are_set_shown_and_taken_off(self):
        self.make()
        self.check("fault", "a", stdout="No faults.\n")
        self.check("fault", "a", "--critical-warning", "0x4", "--media-errors", "1:100-107, 1:500",
                   stdout="critical-warning = 0x04\nmedia-errors = 1:100-107, 1:500\n")
        self.check("fault", "a", "--fail", "admin 0x80 0x10A", "--hang", "admin 0x06", "--power-loss", "io 0x01",
                   "--temperature=-5", "--gone", "yes",
                   stdout="critical-warning = 0x04\ntemperature = -5\nmedia-errors = 1:100-107, 1:500\n"
                          "fail = admin 0x80 0x10A\nhang = admin 0x06\npower-loss = io 0x01\ngone = yes\n")
        self.check("fault", "a", "clear", "gone", "fail",
                   stdout="critical-warning = 0x04\ntemperature = -5\nmedia-errors = 1:100-107, 1:500\n"
                          "hang = admin 0x06\npower-loss = io 0x01\n")
        self.check("fault", "a", "--temperature", "", stdout="critical-warning = 0x04\n"
                   "media-errors = 1:100-107, 1:500\nhang = admin 0x06\npower-loss = io 0x01\n")
        self.check("fault", "a", "clear", stdout="No faults.\n")

    def test_as_json_show_the_drive(self):
        self.make()
        drive = (f'{{"name": "a", "folder": "{DRIVES}/a", "path": "{DRIVES}/a/dev/a", "model": "velko", '
                 '"modelNumber": "VELKO Simulated NVMe SSD", "serialNumber": "S1", "controllers": 1, "sizeBytes": 17179869184, "firmware": "VSIM0100", "faults": ')
        self.check("fault", "a", "--json", stdout=drive + "{}}\n")
        self.check("fault", "a", "--gone", "yes", "--hang", "admin 0x06", "--json",
                   stdout=drive + '{"hang": "admin 0x06", "gone": "yes"}}\n')
        self.check("fault", "a", "clear", "gone", "--json", stdout=drive + '{"hang": "admin 0x06"}}\n')
        self.check("fault", "a", "--gone", "true", "--json", status=1, stderr='"gone" takes "yes" or "no".')

    def test_leave_the_rest_of_the_file_alone(self):
        self.make()
        text = "; my own words\n" + self.description().read_text().replace("gone = no", "gone=no")
        self.description().write_text(text)
        self.check("fault", "a", "--gone", "yes", stdout="gone = yes\n")
        self.assertEqual(self.description().read_text(), text.replace("gone=no", "gone = yes"))

    def test_are_found_after_a_comment_beside_their_section(self):
        self.make()
        text = self.description().read_text().replace("[faults]", "[faults] ; of today")
        self.description().write_text(text)
        self.check("fault", "a", stdout="No faults.\n")
        self.check("fault", "a", "--gone", "yes", stdout="gone = yes\n")
        self.assertEqual(self.description().read_text(), text.replace("gone = no", "gone = yes"))
        self.assertTrue(self.world.run("list", tool=TOOL).stdout.endswith("gone\n"))
        self.check("fault", "a", "clear", "gone", stdout="No faults.\n")
        self.assertEqual(self.description().read_text(), text)

    def test_that_are_none_change_nothing(self):
        self.make()
        before = self.description().read_bytes()
        for option, value, message in (
                ("--critical-warning", "256", '"critical-warning" takes 0x00 to 0xFF.'),
                ("--temperature", "hot", '"temperature" takes -100 to 200, or nothing.'),
                ("--media-errors", "100", '"media-errors" takes blocks like "1:100-107, 1:500".'),
                ("--fail", "admin 0x80", '"fail" takes commands like "admin 0x80 0x10A".'),
                ("--hang", "0x80", '"hang" takes commands like "admin 0x06, io 0x02".'),
                ("--power-loss", "io 0x100", '"power-loss" takes commands like "admin 0x80".'),
                ("--smart", "rust 5", '"smart" takes fields like "percentage-used 95, power-on-hours 43800".'),
                ("--self-test-failure", "1000", '"self-test-failure" takes a block like "1:1000", or nothing.'),
                ("--slow", "io all", '"slow" takes commands like "admin 0x06 500", at most 3600000.'),
                ("--ana", "2:1 inaccessible", '"ana" needs a drive with "controllers" 2 in [drive].'),
                ("--tcg", "locked", '"tcg" needs a drive with "security" yes in [supports].'),
                ("--ana", "2:1 dead", '"ana" takes states like "1:all inaccessible, 2:1 non-optimized".'),
                ("--gone", "true", '"gone" takes "yes" or "no".')):
            with self.subTest(option):
                self.check("fault", "a", option, value, status=1, stderr=message)
                self.assertEqual(self.description().read_bytes(), before)

    def test_of_an_unknown_drive(self):
        self.check("fault", "x", "--gone", "yes", status=1, stderr='There is no simulated drive "x".')


class Folders(SimdriveTestCase):
    """--folder: drives of an ordinary user, in a folder that holds nothing else."""

    def user(self, *arguments, status=0, stdout="", stderr=""):
        self.check(*arguments, root=False, status=status, stdout=stdout, stderr=stderr)

    def test_belong_to_an_ordinary_user(self):
        place = f"{self.world.cwd}/mine"
        self.user("create", "a", "--serial", "S1", "--size", "1Mi", "--folder", "mine",
                  stdout="Made a: velko, 1 MiB, serial number S1\n")
        drive = (f'{{"name": "a", "folder": "{place}/a", "model": "velko", "modelNumber": "VELKO Simulated NVMe SSD", '
                 '"serialNumber": "S1", "controllers": 1, "sizeBytes": 1048576, "firmware": "VSIM0100", "faults": ')
        self.user("list", "--json", "--folder", "mine/", stdout=f"[\n  {drive}{{}}}}\n]\n")
        self.user("serve", "a", "--folder", "mine", "--address", "203.0.113.1", status=1,
                  stderr="Unable to listen on 203.0.113.1 port 4420: Cannot assign requested address.")
        self.user("fault", "a", "--gone", "yes", "--json", f"--folder={place}", stdout=drive + '{"gone": "yes"}}\n')
        self.user("snapshot", "a", "--folder", "mine", stdout="Kept a as it is\n")
        self.user("fault", "a", "clear", "--folder", "mine", stdout="No faults.\n")
        self.user("reset", "a", "--folder", "mine", stdout="Reset a to its snapshot\n")
        self.user("fault", "a", "--folder", "mine", stdout="gone = yes\n")
        self.user("remove", "a", "--folder", "mine", stdout="Removed a\n")
        self.user("list", "--folder", "mine", stdout="There are no simulated drives.\n")
        self.assertEqual(list(self.world.opt.iterdir()), [])

    def test_that_hold_something_else_are_left_alone(self):
        other = self.world.cwd / "other"
        other.mkdir()
        (other / "letter").touch()
        (other / ".lock").touch()  # many programs have one
        (self.world.cwd / "link").symlink_to(other)
        (self.world.cwd / "file").touch()
        before = other.stat().st_mode
        for arguments in (["create"], ["list"], ["remove", "a"], ["fault", "a"], ["snapshot", "a"], ["reset", "a"],
                          ["serve", "a"]):
            for folder, message in (
                    ("other", "other holds something else: simulated drives take a folder of their own."),
                    ("link", "link: Not a directory."), ("link/", "link: Not a directory."),
                    ("file", "file: Not a directory.")):
                with self.subTest((arguments, folder)):
                    place = f"{self.world.cwd}/{message}"
                    self.check(*arguments, "--folder", folder, status=1,
                               stderr=place if folder == "other" else f"System error. {place}")
        self.assertEqual((before, sorted(path.name for path in other.iterdir())),
                         (other.stat().st_mode, [".lock", "letter"]))

    def test_that_are_missing_are_made_for_drives_alone(self):
        for arguments in (["list"], ["remove", "a"], ["fault", "a"], ["snapshot", "a"], ["reset", "a"], ["serve", "a"]):
            self.check(*arguments, "--folder", "typo", status=1,
                       stderr=f"System error. {self.world.cwd}/typo: No such file or directory.")
        self.check("create", "--folder", "typo/deep", status=1,
                   stderr=f"System error. {self.world.cwd}/typo/deep: No such file or directory.")
        self.check("list", "--folder", "", status=2, stderr="--folder needs a path.")
        self.assertEqual(list(self.world.cwd.iterdir()), [])


class Snapshots(SimdriveTestCase):
    def test_bring_everything_back(self):
        self.make()
        media = self.drives / "a/media-1-1"
        media.write_bytes(b"\1" * 512)
        self.check("reset", "a", status=1, stderr='There is no snapshot of the simulated drive "a".')
        self.check("snapshot", "a", stdout="Kept a as it is\n")
        kept = {path.name: path.read_bytes() for path in (self.drives / "a").iterdir() if path.name != "lock"}
        self.check("list", stdout=self.world.run("list", tool=TOOL).stdout)
        media.write_bytes(b"\2" * 512)
        self.world.run("fault", "a", "--gone", "yes", tool=TOOL)
        for _ in range(2):
            self.check("reset", "a", stdout="Reset a to its snapshot\n")
            self.assertEqual({path.name: path.read_bytes() for path in (self.drives / "a").iterdir()}, kept)
            media.write_bytes(b"\3" * 512)
        self.assertEqual(self.names(), [".snapshot-a", "a"])
        self.check("remove", "a", stdout="Removed a\n")
        self.assertEqual(self.names(), [])

    def test_of_what_is_no_drive(self):
        self.make()
        self.check("snapshot", "x", status=1, stderr='There is no simulated drive "x".')
        self.check("reset", "x", status=1, stderr='There is no simulated drive "x".')
        (self.drives / "a/notes").touch()
        self.check("snapshot", "a", status=1,
                   stderr=f"{DRIVES}/a/notes is no file of a simulated drive. Nothing was copied.")
        self.assertEqual(self.names(), ["a"])

    def test_do_not_replace_files_of_others_or_a_drive_that_is_served(self):
        self.make()
        self.check("snapshot", "a", stdout="Kept a as it is\n")
        (self.drives / "a/notes").touch()
        self.check("reset", "a", status=1,
                   stderr=f"{DRIVES}/a/notes is no file of a simulated drive. Nothing was changed.")
        (self.drives / "a/notes").unlink()
        with open(self.drives / "a/served", "w") as served:
            fcntl.flock(served, fcntl.LOCK_EX)
            self.check("reset", "a", status=1, stderr='The drive "a" is being served.')
            self.check("snapshot", "a", stdout="Kept a as it is\n")
        self.assertEqual(self.names(), [".snapshot-a", "a"])


class Serving(SimdriveTestCase):
    def test_of_what_cannot_be_served(self):
        self.make()
        self.make("bad", serial="S2")
        self.description("bad").write_text("nonsense\n")
        self.check("serve", "x", status=1, stderr='There is no simulated drive "x".')
        self.check("serve", "bad", status=1,
                   stderr=f"{DRIVES}/bad/description.ini: Line 1: '=' character not found in line.")
        self.check("serve", "a", "--address", "localhost", status=1,
                   stderr='"localhost" is no address: Name or service not known.')
        self.check("serve", "a", "--address", "203.0.113.1", status=1,
                   stderr="Unable to listen on 203.0.113.1 port 4420: Cannot assign requested address.")
        self.check("serve", "a", "--second-port", "4421", status=1,
                   stderr="--second-port is for a drive with two controllers.")


if __name__ == "__main__":
    unittest.main()
