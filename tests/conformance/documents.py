"""The commands of README.md and docs/ print what the documents show.

In a fenced block ```console a line that begins with "# " is run by root, one with "$ " by an ordinary user; what follows
up to the next such line must be what the command prints, byte for byte, both streams as they come. A command that ends
in " &" goes on in the background. `echo $?` shows the status of the command before it. HTML comments direct the test:

    <!-- setup                  A fresh machine without drives, on which this shell script has run. The commands of a
    nimbrel-simdrive create ...  document run one after the other on one machine, until the next setup.
    -->
    <!-- varies: port -->       Until the next setup, texts of VARYING with this name may differ.
    <!-- file: check.py -->     The next block is this file, in the folder in which the commands run.
    <!-- terminal: n -->        The next block's commands have a terminal of 80 columns, on which these answers
                                are typed.

The lines of ```sh blocks are commands that no test can run: NOT_RUN has the reason of each. A ```usage block is a part
of the program's help. NIMBREL_REWRITE_GOLDENS=1 writes what the commands print into the documents; read what
changed."""

import difflib
import fcntl
import os
import pathlib
import pty
import re
import select
import struct
import subprocess
import termios
import time
import unittest

from simulated import HIDE_DRIVES
from world import TOOL, World

ROOT = pathlib.Path(__file__).resolve().parents[2]
SIMDRIVE = os.environ.get("NIMBREL_SIMDRIVE", "")
EXPORTER = os.environ.get("NIMBREL_EXPORTER", "")
FEATURE_LIBRARY = os.environ.get("NIMBREL_FEATURE_LIBRARY", "")
REWRITE = os.environ.get("NIMBREL_REWRITE_GOLDENS") == "1"
DOCUMENTS = [ROOT / "README.md", *sorted((ROOT / "docs").rglob("*.md"))]
PROMPT = re.compile(r"([#$]) (.+)")
COMMENT = re.compile(r"<!-- (setup|varies:|file:|terminal:)(.*?)-->", re.DOTALL)
PROGRAM = re.compile(r"(?:[#$] )?(?:sudo )?nimbrel(?:-simdrive|-exporter)? \S")
QUIET_SECONDS = 5  # in which a command in the background prints what the document shows
LOOPBACK_UP = ("import fcntl, socket, struct; "
               "fcntl.ioctl(socket.socket(), 0x8914, struct.pack('16sh14x', b'lo', 1))")  # SIOCSIFFLAGS, IFF_UP

# What may differ from run to run, by the name that a document gives in "varies:".
VARYING = {
    "folder-date": r"\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d",
    "utc-time": r"\b\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ",
    "random-serial": r"\bSIM[0-9A-HJ-NP-TV-Z]{9}\b",
}

MEASURES = "measures: minutes, and a machine without other work"
BUILDS = "installs packages and builds the whole project"
KERNEL = "needs the kernel's driver, which tests/vm/ has in a machine of its own"
BACKPLANE = "needs a backplane with lamps"
FLEET = "needs a fleet: tests/fleet has its servers"
SYSTEMD = "needs a machine that systemd has started"
CONFINES = "changes what the machine allows: tests/vm/confined.py loads the profile in a machine of its own"

REPORTS = "gathers from the reader's own hosts: tests/conformance/report.py has each command of it"

# Commands in ```sh blocks, without the comments at their ends, and why no test runs them.
NOT_RUN = {
    "scripts/run": BUILDS,
    "scripts/test": BUILDS,
    "cmake --preset bench && cmake --build --preset bench": BUILDS,
    "bench/run": MEASURES,
    "scripts/setup bench": "installs packages",
    "bench/run --guest": MEASURES,
    "cp /usr/share/doc/nimbrel/examples/apparmor/opt.velko.nimbrel.nimbrel /etc/apparmor.d/": CONFINES,
    "apparmor_parser -r /etc/apparmor.d/opt.velko.nimbrel.nimbrel": CONFINES,
    "echo '/data/drives/** rwl,' >>/etc/apparmor.d/local/opt.velko.nimbrel.nimbrel": CONFINES,
    "ansible-galaxy collection build ansible/velko/nimbrel": "needs Ansible: tests/fleet/ builds and installs it",
    "ansible-galaxy collection install velko-nimbrel-2.2.18.tar.gz": "needs Ansible: tests/fleet/ builds and installs it",
    "ansible-playbook velko.nimbrel.firmware_rollout -e drives='VELKO P100*' -e revision=VP100205 -e batch=10%":
        "needs Ansible and hosts: tests/fleet/ has both",
    "nimbrel show -velkossd 0 -nvmelog 0xC0": "needs a drive after OCP 1.0, which no simulated drive is",
    "nimbrel start -scan DataIntegrity -velkossd 0 Path=/data": "needs a file system on a drive: tests/vm/ has one",
    "(umask 077; nvme gen-dhchap-key --hmac 1 > host.secret)": "makes a new secret each time, with nvme-cli",
    'nvme connect -t tcp -a 192.0.2.7 -n NQN --dhchap-secret "$(cat host.secret)"': KERNEL,
    "systemctl enable --now nimbrel-exporter.timer": SYSTEMD,
    "systemctl enable --now nimbrel-exporter-listen.service": SYSTEMD,
    "systemctl enable --now nimbrel-selftest-short.timer": SYSTEMD,
    "systemctl enable --now nimbrel-selftest-extended.timer": SYSTEMD,
    "systemctl enable --now nimbrel-health-scan.timer": SYSTEMD,
    'ansible -i hosts.ini all -b -m copy -a "src=packages/ dest=/root/nimbrel/"': FLEET,
    'ansible -i hosts.ini all -b -m shell -a "apt-get install -y prometheus-node-exporter /root/nimbrel/nimbrel_*.deb /root/nimbrel/nimbrel-exporter_*.deb"': FLEET,
    'ansible -i hosts.ini all -b -m systemd -a "name=nimbrel-exporter.timer enabled=yes state=started daemon_reload=yes"': FLEET,
    'ansible -i hosts.ini all -b -m systemd -a "name=nimbrel-selftest-short.timer enabled=yes state=started"': FLEET,
    'ansible -i hosts.ini all -b -m systemd -a "name=nimbrel-selftest-extended.timer enabled=yes state=started"': FLEET,
    "apt-get install -y prometheus prometheus-alertmanager": FLEET,
    "install -D -m 644 packaging/prometheus/nimbrel.rules.yml /etc/prometheus/rules/nimbrel.rules.yml": FLEET,
    "install -m 644 prometheus.yml /etc/prometheus/prometheus.yml": FLEET,
    "promtool check config /etc/prometheus/prometheus.yml": FLEET,
    "systemctl restart prometheus": FLEET,
    "modprobe nvme-tcp": KERNEL,
    "nimbrel-simdrive capture /dev/nvme0 my-drive --mask": KERNEL,
    "tar czf my-drive.tar.gz my-drive": KERNEL,
    "modprobe iscsi_tcp": KERNEL,
    "iscsistart -i iqn.2026-01.com.example:host -t iqn.2026-01.com.velko.nimbrel:simulated:t1 -g 1 -a 127.0.0.1 "
    "-p 3260": KERNEL,
    "nvme discover -t tcp -a 127.0.0.1 -s 4420": KERNEL,
    "nvme connect -t tcp -a 127.0.0.1 -s 4420 -n nqn.2026-01.com.velko.nimbrel:simulated:SIM3K90ZQ4TA": KERNEL,
    "nvme list": KERNEL,
    "nvme disconnect -n nqn.2026-01.com.velko.nimbrel:simulated:SIM3K90ZQ4TA": KERNEL,
    "nvme connect-all -t tcp -a 127.0.0.1 -s 4430": KERNEL,
    "nvme list-subsys": KERNEL,
    'nimbrel-simdrive fault two --ana "1:all inaccessible"': KERNEL,
    "cmp --bytes=$(blockdev --getsize64 /dev/nvme0n1) /dev/zero /dev/nvme0n1": KERNEL,
    "mkfs.ext4 /dev/nvme0n1": KERNEL,
    "mount /dev/nvme0n1 /data": KERNEL,
    "ls -l /dev/disk/by-id/ | grep nvme": KERNEL,
    "nimbrel show -velkossd /dev/disk/by-id/nvme-MODEL_SERIAL": KERNEL,
    "ledctl locate=/dev/nvme0n1": BACKPLANE,
    "ledctl locate_off=/dev/nvme0n1": BACKPLANE,
    "cat /sys/class/nvme/nvme*/nvme*c*n*/ana_state": KERNEL,
    "nimbrel-report --output report.html": REPORTS,
    "mkdir documents": REPORTS,
    "for host in web1 db1 db2; do ssh root@$host nimbrel-report --collect >documents/$host.json; done": REPORTS,
    "nimbrel-report --output fleet.html documents": REPORTS,
}


class Block:
    """A fenced block: its language, its lines, and where they are in the document."""

    def __init__(self, language, first, lines):
        self.language, self.first, self.lines = language, first, lines


def blocks(lines):
    """The fenced blocks of a document."""
    found, language = [], None
    for number, line in enumerate(lines):
        if language is None and line.startswith("```"):
            language, first = line[3:].strip(), number + 1
        elif language is not None and line.rstrip() == "```":
            found.append(Block(language, first, lines[first:number]))
            language = None
    if language is not None:
        raise AssertionError(f"a fenced block has no end: {language}")
    return found


def transcript(lines):
    """Splits the lines of a console block into commands, each with what the document says it prints."""
    steps, number = [], 0
    while number < len(lines):
        if not PROMPT.fullmatch(lines[number]):
            if not steps:
                raise AssertionError(f"a console block begins with a command, not with {lines[number]!r}")
            steps[-1][1].append(lines[number])
            number += 1
            continue
        command = [lines[number]]
        while command[-1].endswith("\\"):
            number += 1
            command.append(lines[number])
        steps.append((command, []))
        number += 1
    return steps


class Machine:
    """A machine without drives for the commands of a document."""

    def __init__(self, case):
        self.world = World()
        case.addCleanup(self.world.close)
        self.case = case
        self.status = 0
        self.varying = []
        self.world.install_library(FEATURE_LIBRARY)
        self.programs = self.world.scratch / "bin"
        self.programs.mkdir()
        (self.programs / "nimbrel").symlink_to(TOOL)
        (self.programs / "nimbrel-simdrive").symlink_to(SIMDRIVE)
        (self.programs / "nimbrel-exporter").symlink_to(EXPORTER)
        self.environment = {"PATH": f"{self.programs}:{os.environ['PATH']}", "LC_ALL": "C", "TZ": "UTC",
                            "HOME": str(self.world.cwd), "SOURCES": str(ROOT)}

    def start(self, command, root, network=False, **streams):
        # Only root can hide the drives of the machine that runs the test, and no other user is shown them.
        enter = [HIDE_DRIVES, "/bin/sh"] if root else ['exec "$0" "$@"', "/bin/sh"]
        words = ["-c", *enter, "-c", f"(exit {self.status}); {command}"]
        if network:  # of its own: other processes of the machine have the port, or may reach it
            words = ["-c", 'unshare -n /bin/sh -c "$0" "$@"', f'python3 -c "{LOOPBACK_UP}"; exec "$0" "$@"',
                     *([] if root else ["unshare", "-U"]), "/bin/sh", *words]
        return subprocess.Popen(self.world.command(*words, tool="/bin/sh", root=root or network), cwd=self.world.cwd,
                                env={**os.environ, **self.environment}, start_new_session=True, **streams)

    def set_up(self, script):
        process = self.start(f"set -e\n{script}", True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT)
        output, _ = process.communicate(timeout=60)
        self.case.assertEqual(process.returncode, 0, f"the setup failed: {output.decode()}")

    def run(self, command, root, answers, lines):
        """What the command prints. `lines`: as many as the document shows."""
        if command.endswith(" &"):
            return self.run_in_background(command[:-2], root, lines)
        if answers is not None:
            return self.run_on_terminal(command, root, answers)
        process = self.start(command, root, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT)
        output, _ = process.communicate(timeout=120)
        self.status = process.returncode
        return output.decode("utf-8", "surrogateescape")

    def run_in_background(self, command, root, lines):
        process = self.start(f"exec {command}", root, network=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT)
        self.case.addCleanup(lambda: (process.stdout.close(), process.poll() is None and os.killpg(process.pid, 9),
                                      process.wait()))
        output, end = b"", time.monotonic() + QUIET_SECONDS
        while REWRITE or output.count(b"\n") < lines:
            wait = end - time.monotonic()
            if wait <= 0 or not select.select([process.stdout], [], [], wait)[0]:
                break
            piece = os.read(process.stdout.fileno(), 65536)
            if not piece:
                break
            output += piece
        self.status = 0
        return output.decode()

    def run_on_terminal(self, command, root, answers):
        master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 80, 0, 0))
        process = self.start(command, root, stdin=slave, stdout=slave, stderr=slave)
        os.close(slave)
        output = b""
        while True:
            try:
                output += os.read(master, 65536)
            except OSError:  # the last process closed the terminal
                break
            if answers and output.endswith(b": "):
                os.write(master, answers.pop(0).encode() + b"\n")
        os.close(master)
        self.status = process.wait()
        return output.decode().replace("\r\n", "\n")

    def unvaried(self, text):
        for name in self.varying:
            text = re.sub(VARYING[name], f"<{name}>", text)
        return text

    def shown(self, expected, output):
        """The lines of the output; those of the document where they differ in nothing but what varies."""
        if output and not output.endswith("\n"):
            output += "\n"
        lines = output.split("\n")[:-1]
        self.case.assertFalse([line for line in lines if PROMPT.fullmatch(line) or line.startswith("```")],
                              "the output cannot be shown in a console block")
        fixed = [[self.unvaried(line) for line in each] for each in (expected, lines)]
        for first, place, count in difflib.SequenceMatcher(None, *fixed, autojunk=False).get_matching_blocks():
            lines[place:place + count] = expected[first:first + count]
        return lines


class Documents(unittest.TestCase):
    maxDiff = None

    def machine(self):
        return Machine(self)

    def replayed(self, path):
        """The document with what its commands print now."""
        text = path.read_text()
        lines = text.split("\n")
        comments = {text.count("\n", 0, found.end()): found for found in COMMENT.finditer(text)}
        fenced = blocks(lines)
        consoles = {block.first: block for block in fenced if block.language == "console"}
        machine, answers, shown, number = None, None, [], 0
        while number < len(lines):
            if number in comments:
                kind, words = comments[number].groups()
                if kind == "setup":
                    machine = self.machine()
                    machine.set_up(words)
                elif kind == "varies:":
                    machine = machine or self.machine()
                    machine.varying = [word.strip() for word in words.split(",")]
                elif kind == "file:":
                    content = next(block.lines for block in fenced if block.first > number)
                    (machine.world.cwd / words.strip()).write_text("\n".join(content) + "\n")
                else:
                    answers = [word.strip() for word in words.split(",") if word.strip()]
            if number not in consoles:
                shown.append(lines[number])
                number += 1
                continue
            machine = machine or self.machine()
            for command, expected in transcript(consoles[number].lines):
                words = "\n".join(command)
                output = machine.run(words[2:], words[0] == "#", answers, len(expected))
                shown += command + machine.shown(expected, output)
            number += len(consoles[number].lines)
            answers = None
        return "\n".join(shown)

    def test_print_what_they_show(self):
        for path in DOCUMENTS:
            with self.subTest(path.name):
                text = self.replayed(path)
                if REWRITE:
                    path.write_text(text)
                # The lines that differ: a whole document would hide them.
                difference = "\n".join(difflib.unified_diff(path.read_text().split("\n"), text.split("\n"), "shown",
                                                            "printed", n=1, lineterm=""))
                self.assertFalse(difference, f"{path.name}:\n{difference}")

    def test_show_each_command_with_its_output(self):
        """Code is in fenced blocks, and a command in a block that the test runs, or listed as one that cannot."""
        listed = set()
        for path in DOCUMENTS:
            lines = path.read_text().split("\n")
            fenced = {block.first + number for block in blocks(lines) for number in range(len(block.lines))}
            fenced.update(number for comment in COMMENT.finditer("\n".join(lines)) for number in range(
                *("\n".join(lines).count("\n", 0, place) for place in comment.span())))
            for number, line in enumerate(lines):
                self.assertFalse(number not in fenced and line.startswith("    "),
                                 f"{path.name}:{number + 1}: code that no fence encloses: {line}")
            for block in blocks(lines):
                self.assertNotEqual(block.language, "", f"{path.name}:{block.first}: a fence without a language")
                for number, line in enumerate(block.lines):
                    place = f"{path.name}:{block.first + number + 1}: {line}"
                    command = line.partition(" # ")[0].strip()
                    if block.language == "sh" and command:
                        self.assertIn(command, NOT_RUN, f"a command without its output, {place}")
                        listed.add(command)
                    elif block.language not in ("console", "usage", "sh"):
                        self.assertIsNone(PROGRAM.match(line.strip()), f"a command in no console block, {place}")
        self.assertEqual(set(NOT_RUN) - listed, set(), "on the list, and in no document")

    def test_show_how_programs_are_used_as_their_help_does(self):
        help_text = " ".join(word for program in (SIMDRIVE, EXPORTER)
                             for word in self.machine().world.run("--help", tool=program).stdout.split())
        for path in DOCUMENTS:
            for block in blocks(path.read_text().split("\n")):
                if block.language == "usage":
                    self.assertIn(" ".join(" ".join(block.lines).split()), help_text, path.name)

    def test_name_commands_that_they_show(self):
        """A command in a sentence is one of a console block, or a form with a word in capitals to be filled in."""
        shown = " ".join(line for path in DOCUMENTS for block in blocks(path.read_text().split("\n"))
                         if block.language in ("console", "usage") for line in block.lines)
        for path in DOCUMENTS:
            for command in re.findall(r"`(nimbrel(?:-simdrive|-exporter)? [^`]*)`", path.read_text()):
                words = " ".join(command.split())
                self.assertTrue(words in shown or re.search(r"\b[A-Z]{3,}\b", words),
                                f"{path.name}: {words} is in no console block")


if __name__ == "__main__":
    unittest.main()
