"""The completion: what `complete` prints for a command line, and what bash, zsh and fish make of it on a terminal.

The machine of these tests has two real drives in sysfs, without nodes, and simulated ones that only root may see."""

import json
import os
import pathlib
import pty
import re
import select
import shlex
import shutil
import signal
import subprocess
import time
import unittest

from world import ToolTestCase

COMPLETION = pathlib.Path(os.environ.get("NIMBREL_COMPLETION", ""))
COMPLETE = "/opt/velko/nimbrel/share/nimbrel/complete"
GRAMMAR = os.environ.get("NIMBREL_GRAMMAR", "")
SIMDRIVE = os.environ.get("NIMBREL_SIMDRIVE", "")
TIMEOUT_SECONDS = 60

# A serial number is a text of the drive's own, and no shell may run it.
HOSTILE = "E$(touch$IFS!ran)`touch\tran`;'\""
SHOWN_HOSTILE = HOSTILE.replace("\t", "")
DRIVES = (("nvme0", "S4YNNE0K", "VELKO P10"), ("nvme1", "X 77", "Other\tdisk"), ("nvme10", HOSTILE, "Third"))



def ata_page(serial, model, rotation=1, general=0x0040):
    """What the kernel read of a SATA drive: IDENTIFY DEVICE, whose texts have the characters of each word swapped."""
    identify = bytearray(512)
    for word, text, size in ((10, serial, 20), (27, model, 40)):
        padded = text.ljust(size).encode()
        identify[2 * word:2 * word + size:2], identify[2 * word + 1:2 * word + size:2] = padded[1::2], padded[::2]
    identify[0:2] = general.to_bytes(2, "little")
    identify[434:436] = rotation.to_bytes(2, "little")
    return b"\0\x89\x02\x38" + bytes(52) + b"\xec\0\0\0" + bytes(identify)


# Mounts sysfs as the tests want it, then becomes its arguments.
ENTER = "mount -t tmpfs tmpfs /sys/class && cp -a \"$CLASS\"/. /sys/class && exec \"$0\" \"$@\""


class Machine(ToolTestCase):
    def setUp(self):
        super().setUp()
        share = self.world.opt / "share/nimbrel"
        share.mkdir(parents=True)
        shutil.copy(COMPLETION / "complete", share)
        self.sys_class = self.world.scratch / "class"
        for name, serial, model in DRIVES:
            folder = self.sys_class / "nvme" / name
            folder.mkdir(parents=True)
            (folder / "serial").write_text(serial.ljust(20) + "\n")
            (folder / "model").write_text(model.ljust(40) + "\n")

    def add_disk(self, block, way, address, page, vendor="ATA", kind=0, rotational=0):
        """A disk of the SCSI layer."""
        device = self.sys_class / "scsi" / way / address
        device.mkdir(parents=True)
        for name, value in (("type", kind), ("vendor", vendor.ljust(8))):
            (device / name).write_text(f"{value}\n")
        if page:
            (device / "vpd_pg89").write_bytes(page)
        disk = self.sys_class / "block" / block
        (disk / "queue").mkdir(parents=True)
        (disk / "queue/rotational").write_text(f"{rotational}\n")
        (disk / "device").symlink_to(f"../../scsi/{way}/{address}")

    def enter(self, *command, root=True):
        """The words that run a command in the world, with the drives."""
        words = ["-c", ENTER, *([] if root else ["unshare", "-U"]), *command]
        return self.world.command(*words, tool="/bin/sh")

    def complete(self, *lines, root=True):
        """What `complete` prints for the last word of each line, all in one world."""
        script = "".join(f"{COMPLETE} {' '.join(map(shlex.quote, line.split(' ')))} && echo DONE\n" for line in lines)
        run = subprocess.run(self.enter("/bin/sh", "-c", script, root=root), capture_output=True, text=True,
                             cwd=self.world.cwd, env={**os.environ, "CLASS": str(self.sys_class)},
                             timeout=TIMEOUT_SECONDS)
        self.assertEqual((run.stderr, run.returncode), ("", 0), lines)
        found = [output.split("\n")[:-1] for output in run.stdout.split("DONE\n")[:-1]]
        self.assertEqual(len(found), len(lines))
        return found if len(lines) > 1 else found[0]

    def check_candidates(self, expected):
        """The candidates for each line, without their descriptions."""
        found = [[candidate.split("\t")[0] for candidate in output] for output in self.complete(*expected)]
        self.assertEqual(dict(zip(expected, found)), expected)


class Complete(Machine):
    def test_offers_verbs(self):
        self.check_candidates({
            "": ["attach", "create", "delete", "detach", "dump", "help", "load", "reset", "set", "show", "start",
                 "stop", "version"],
            "ST": ["start", "stop"],
        })

    def test_offers_what_fits_the_verb_options_before_targets(self):
        self.check_candidates({
            "delete ": ["-help", "-force", "-output", "-velkossd", "-namespace"],
            "delete -f": ["-force"],
            "delete -f -": ["-help", "-output", "-velkossd", "-namespace"],
            "delete -velkossd S1 ": ["-namespace"],  # no option after a target
            "delete -velkossd S1 -namespace 1 ": [],
            "start -scan ": ["DataIntegrity", "ReadScan", "Logs", "-velkossd", "IncludeOS=", "FullScan=", "Path=",
                             "DirectoryPath=", "IncludeSystemInfo="],
            "start -scan Logs I": ["IncludeOS=", "IncludeSystemInfo="],
            "start -scan Logs IncludeOS=true I": ["IncludeSystemInfo="],
            "show -velkossd 0 -sm": ["-smart"],
            "SHOW -VELKOSSD 0 -SM": ["-smart"],
            "set -velkossd 0 te": ["TelemetryLogNoticesConfiguration=", "TempThreshold="],
            "set -velkossd 0 -led I": ["IdleState=", "IoOffMultiplier=", "IoOnMultiplier="],
            "set -system ": ["AdditionalFWModDir=", "EnableLog=", "LogFile=", "VelkoSSDFeaturesPath="],
            "set Enable": [],  # its target is missing
            "version -": ["-all", "-display", "-help", "-output"],
            "help ": ["-output", "Name=", "verb="],
            "erase ": [],
            "show -nothing ": [],
        })

    def test_offers_values(self):
        self.check_candidates({
            "show -output ": ["text", "nvmxml", "json"],
            "show -o J": ["json"],
            "show -d Temperature,PowerC": ["Temperature,PowerCycles"],
            "show -velkossd 0 -nvmelog sm": ["smart"],
            "show -velkossd 0 -getfeature 0xC": ["0xC1", "0xC2", "0xC6", "0xC8", "0xC9", "0xCB"],
            "show -velkossd 0 -getfeature 1 Select=": ["Select=current", "Select=default", "Select=saved",
                                                       "Select=capabilities"],
            "set -velkossd 0 TempThreshold=": [],  # a number
            "set -velkossd 0 PowerGovernorMode=": ["PowerGovernorMode=0", "PowerGovernorMode=1", "PowerGovernorMode=2"],
            "set -velkossd 0 maximumlba=": ["maximumlba=native"],
            "set -system EnableLog=t": ["EnableLog=true"],
            "load -velkossd 0 FirmwareSlot=": [f"FirmwareSlot={slot}" for slot in range(1, 8)],
            "dump -dataarea ": ["1", "2", "3"],
            "dump -velkossd 0 -persistenteventlog ": ["read", "release"],
            "set -velkossd 0 -PCIeCorrectable ClearCounter=": ["ClearCounter=true"],
            "help verb=st": ["verb=start", "verb=stop"],
            "help Name=San": ["Name=Sanitize"],
            "load -source ": [":files"],
            "show -velkossd /dev/nv": [":files"],
            "set -velkossd 0 -setfeature 4 InputFile=": [":files"],
            "start -scan Logs DirectoryPath=": [":folders"],
        })

    def test_counts_sata_ssds_as_nimbrel_does(self):
        simulated = self.world.opt / "SimulatedDrives/one"
        simulated.mkdir(parents=True)
        (simulated / "description.ini").write_text("serial-number = SIM1\n")
        self.add_disk("sda", "ata11/host10/target10:0:0", "10:0:0:0", ata_page("SATA10", "Last"))
        self.add_disk("sdb", "ata3/host2/target2:0:0", "2:0:0:0", ata_page("SATA2", "A model of many words"))
        self.add_disk("sdc", "ata1/host0/target0:0:0", "0:0:0:0", ata_page("HDD", "Disk", rotation=7200))
        self.add_disk("sdd", "ata2/host1/target1:0:0", "1:0:0:0", ata_page("OPTICAL", "Drive", general=0x8580))
        self.add_disk("sde", "usb1/host3/target3:0:0", "3:0:0:0", ata_page("USB", "Enclosure"))
        self.add_disk("sdf", "host4/target4:2:0", "4:2:0:0", None, vendor="RAID")
        self.add_disk("sdg", "ata9/host8/target8:0:0", "8:0:0:0", ata_page("TAPE", "Other"), kind=1)
        self.add_disk("sdh", "host5/target5:0:0", "5:0:0:0", None)  # nimbrel asks it
        self.add_disk("sdi", "host6/target6:0:0", "6:0:0:0", None, rotational=1)
        self.assertEqual(self.complete("delete -velkossd ")[4:], [
            "2\t" + f"{SHOWN_HOSTILE}, Third, nvme10", f"{SHOWN_HOSTILE}\tThird, nvme10",
            "3\tSATA2, A model of many words, sdb", "SATA2\tA model of many words, sdb",
            "4\t, , sdh",
            "5\tSATA10, Last, sda", "SATA10\tLast, sda",
            "6\tSIM1, simulated drive, one", "SIM1\tsimulated drive, one"])

    def test_offers_each_word_of_each_command(self):
        """What a command cannot do without, word by word."""
        steps = {}
        for command in json.loads(subprocess.run([GRAMMAR], check=True, capture_output=True).stdout,
                                  strict=False)["commands"]:
            line = ""
            needed = [(command["verb"], False)]
            needed += [(part["name"], part["valueRequired"]) for part in command["targets"] if part["required"]]
            needed += [(part["name"] + "=", True) for part in command["properties"] if part["required"]]
            for word, takes_value in needed:
                steps.setdefault(line, set()).add(word)
                line += word + ("" if word.endswith("=") or not takes_value else " 1")
                line += "1 " if word.endswith("=") else " "
        self.assertGreater(sum(map(len, steps.values())), 80)
        found = self.complete(*steps)
        missing = {line: words - {candidate.split("\t")[0] for candidate in output}
                   for (line, words), output in zip(steps.items(), found)}
        self.assertEqual({line: words for line, words in missing.items() if words}, {})

    def test_describes_candidates(self):
        self.assertEqual(self.complete("show -velkossd 0 -smart I"), [
            "IncludeNVMeSmartHealthLog=\tDetermines whether SMART health info is included as part of SMART pull "
            "(NVMe only)"])
        self.assertEqual(self.complete("show -velkossd 0 -nvmelog SM"),
                         ["smart\tSMART / Health Information"])

    def test_offers_indexes_and_serial_numbers_in_the_order_of_the_tool(self):
        real = ["0\tS4YNNE0K, VELKO P10, nvme0", "S4YNNE0K\tVELKO P10, nvme0",
                "1\tX 77, Otherdisk, nvme1", "X 77\tOtherdisk, nvme1",
                f"2\t{SHOWN_HOSTILE}, Third, nvme10", f"{SHOWN_HOSTILE}\tThird, nvme10"]
        self.assertEqual(self.complete("delete -velkossd "), real)
        self.assertEqual(self.complete("delete -velkossd s"), [real[1]])
        self.assertEqual(self.complete("delete -velkossd S4YNNE0K,S"), ["S4YNNE0K,S4YNNE0K\tVELKO P10, nvme0"])

    def test_offers_simulated_drives_to_a_user_who_may_read_them(self):
        for name, serial in (("a", "SIM1"), ("a-b", "SIM2")):
            self.world.run("create", name, "--serial", serial, "--size", "1MiB", tool=SIMDRIVE)
        simulated = ["3\tSIM2, simulated drive, a-b", "SIM2\tsimulated drive, a-b",  # "a-b/..." is before "a/..."
                     "4\tSIM1, simulated drive, a", "SIM1\tsimulated drive, a"]
        self.assertEqual(self.complete("delete -velkossd ")[6:], simulated)
        (self.world.opt / "SimulatedDrives").chmod(0)  # the other user is the owner, too, in a world
        self.assertEqual(len(self.complete("delete -velkossd ", root=False)), 6)
        (self.world.opt / "SimulatedDrives").chmod(0o700)

    def test_offers_drives_to_every_user(self):
        self.assertEqual(len(self.complete("delete -velkossd ", root=False)), 6)

    def test_counts_a_drive_whose_serial_number_cannot_be_read(self):
        (self.sys_class / "nvme/nvme0/serial").unlink()
        self.assertEqual(self.complete("delete -velkossd ")[:2], ["0\t, VELKO P10, nvme0", "1\tX 77, Otherdisk, nvme1"])

    def test_offers_no_drive_without_one(self):
        shutil.rmtree(self.sys_class / "nvme")
        self.assertEqual(self.complete("delete -velkossd "), [])


class Shell:
    """What the tests of a shell share: `nimbrel` prints its arguments between brackets."""

    command = ()
    setup_file = "setup"
    setup = ""

    def setUp(self):
        super().setUp()
        programs = self.world.scratch / "bin"
        programs.mkdir()
        (programs / "nimbrel").write_text("#!/bin/sh\nprintf '\\n'; printf '<%s>' \"$@\"; printf 'END\\n'\n")
        (programs / "nimbrel").chmod(0o755)
        (self.world.cwd / "fw file.bin").write_text("")
        (self.world.cwd / "data.bin").write_text("")
        (self.world.cwd / "folder").mkdir()
        self.environment = {**os.environ, "CLASS": str(self.sys_class), "HOME": str(self.world.scratch),
                            "ZDOTDIR": str(self.world.scratch), "PATH": f"{programs}:/usr/bin:/bin:/usr/sbin:/sbin",
                            "TERM": "xterm", "LC_ALL": "C.UTF-8", "HISTFILE": "/dev/null"}
        (self.world.scratch / self.setup_file).write_text(self.setup.replace("FOLDER", str(COMPLETION)))
        self.start()

    def start(self):
        pid, self.terminal = pty.fork()
        if pid == 0:
            os.chdir(self.world.cwd)
            command = self.enter(*(word.replace("SETUP", str(self.world.scratch / "setup")) for word in self.command))
            os.execvpe(command[0], command, self.environment)
        self.addCleanup(self.stop, pid)
        self.type("nimbrel ready\r")
        self.wait_for("<ready>END")

    def stop(self, pid):
        os.kill(pid, signal.SIGKILL)
        os.waitpid(pid, 0)
        os.close(self.terminal)

    def type(self, text):
        os.write(self.terminal, text.encode())

    def wait_for(self, *texts):
        """What the terminal shows until it has shown all these texts."""
        output, end = b"", time.monotonic() + TIMEOUT_SECONDS
        while True:
            shown = re.sub(rb"\x1b\[[0-9;?<>=]*[a-zA-Z]|\x1b[()=>][0B]?|\r", b"", output).decode(errors="replace")
            if all(text in shown for text in texts):
                return shown
            wait = end - time.monotonic()
            if wait <= 0 or not select.select([self.terminal], [], [], wait)[0]:
                self.fail(f"not all of {texts!r} in {shown!r}")
            output += os.read(self.terminal, 65536)

    def check(self, typed, *words):
        """Types a line with tabs; `nimbrel` then runs with the words."""
        self.type(typed)
        self.type("\r")
        shown = self.wait_for("END")
        self.assertEqual(re.search(r"(<.*>)END", shown, re.DOTALL).group(1), "".join(f"<{word}>" for word in words))

    def test_completes_a_command(self):
        self.check("nimbrel sho\t-o j\t-velko\tS4\t-sma\tInc\tt\t",
                   "show", "-o", "json", "-velkossd", "S4YNNE0K", "-smart", "IncludeNVMeSmartHealthLog=true")
        self.check("nimbrel del\t-fo\t-velkossd 0", "delete", "-force", "-velkossd", "0")

    def test_leaves_the_cursor_after_the_name_of_a_property(self):
        self.check("nimbrel set -velkossd 0 TempT\t70", "set", "-velkossd", "0", "TempThreshold=70")

    def test_completes_the_value_of_a_property(self):
        self.check("nimbrel show -velkossd 0 -getfeature 1 Select=cu\t",
                   "show", "-velkossd", "0", "-getfeature", "1", "Select=current")

    def test_completes_the_last_of_a_list(self):
        self.check("nimbrel show -display Temperature,PowerC\t-sens\t",
                   "show", "-display", "Temperature,PowerCycles", "-sensor")

    def test_ignores_case(self):
        self.check("nimbrel SHOW -VELKOSSD 0 -SMA\t", "SHOW", "-VELKOSSD", "0", "-smart")

    def test_lists_the_targets(self):
        self.type("nimbrel show -velkossd 0 -n\t\t")
        self.assertNotIn("-output", self.wait_for("-namespace", "-nvmecontroller", "-nvmelog"))

    def test_completes_names_of_files(self):
        self.check("nimbrel load -source fw\t-velkossd 0", "load", "-source", "fw file.bin", "-velkossd", "0")
        self.check("nimbrel set -velkossd 0 -setfeature 4 InputFile=da\t",
                   "set", "-velkossd", "0", "-setfeature", "4", "InputFile=data.bin")
        self.check("nimbrel start -scan Logs DirectoryPath=f\t", "start", "-scan", "Logs", "DirectoryPath=folder/")

    def test_completes_words_in_quotes(self):
        self.check("nimbrel load -source 'fw f\t -velkossd 0", "load", "-source", "fw file.bin", "-velkossd", "0")
        self.check('nimbrel delete -velkossd "X 7\t', "delete", "-velkossd", "X 77")
        self.check("nimbrel delete -velkossd X\\ 7\t", "delete", "-velkossd", "X 77")

    def test_never_runs_a_serial_number(self):
        self.check("nimbrel delete -velkossd E\t", "delete", "-velkossd", SHOWN_HOSTILE)
        self.check("nimbrel delete -velkossd X\t", "delete", "-velkossd", "X 77")
        self.assertEqual(sorted(path.name for path in self.world.cwd.iterdir()), ["data.bin", "folder", "fw file.bin"])


class Bash(Shell, Machine):
    command = ("bash", "--noprofile", "--rcfile", "SETUP", "-i")
    setup = """PS1='$ '
bind 'set show-all-if-ambiguous on'; bind 'set bell-style none'; bind 'set enable-bracketed-paste off'
bind 'set page-completions off'
. FOLDER/nimbrel.bash
"""


class Zsh(Shell, Machine):
    command = ("zsh", "-d", "-i")
    setup_file = ".zshrc"
    setup = """PS1='$ '
unset zle_bracketed_paste
setopt no_beep no_auto_remove_slash
fpath=(FOLDER ${fpath:#*Completion/(AIX|BSD|Cygwin|Darwin|Debian|Linux|Mandriva|openSUSE|Redhat|Solaris|X)}) # quicker
autoload -U compinit
compinit -u -D
"""


class Fish(Shell, Machine):
    command = ("fish", "--no-config", "--private", "-i", "-C", "source SETUP")
    setup = """function fish_prompt; echo '$ '; end
function fish_greeting; end
set -g fish_autosuggestion_enabled 0
source FOLDER/nimbrel.fish
"""


if __name__ == "__main__":
    unittest.main()
