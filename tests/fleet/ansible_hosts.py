"""ansible-playbook with the collection, against three hosts with simulated drives."""

import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

from host import Host
from simulated import firmware_image

SOURCES = pathlib.Path(__file__).resolve().parents[2]
COLLECTION = SOURCES / "ansible" / "velko" / "nimbrel"
OLD, NEW = "VSIM0100", "NEW00001"
NAMES = ("alpha", "beta", "gamma")
COMMIT_FAILS = "admin 0x10 0x107"  # Firmware Commit ends in Invalid Firmware Image
RECAP = re.compile(r"^(\w+) +: ok=(\d+) +changed=(\d+) +unreachable=(\d+) +failed=(\d+)", re.MULTILINE)
TASKS = """\
---
- name: Everything that changes a drive
  hosts: all
  gather_facts: false
  tasks:
    - name: Set a threshold
      velko.nimbrel.drive_feature:
        serial_number: "{{ inventory_hostname }}-1"
        name: TempThreshold
        value: "61"
    - name: Turn the write cache off
      velko.nimbrel.drive_feature:
        serial_number: "{{ inventory_hostname }}-1"
        feature_id: 6
        value: "0"
        save: true
    - name: Delete a namespace
      velko.nimbrel.namespace:
        serial_number: "{{ inventory_hostname }}-2"
        nsid: 1
        state: absent
    - name: Erase
      velko.nimbrel.drive_erase:
        serial_number: "{{ inventory_hostname }}-3"
        method: "{{ method }}"
    - name: Read all
      velko.nimbrel.drive_info:
    - name: Pass the gate
      velko.nimbrel.health:
"""


class AnsibleTestCase(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="nimbrel-ansible-"))
        self.addCleanup(shutil.rmtree, self.folder)
        package = self.folder / "collections/ansible_collections/velko"
        package.mkdir(parents=True)
        (package / "nimbrel").symlink_to(COLLECTION)
        self.hosts = {}
        for name in NAMES:
            self.hosts[name] = Host(name)
            self.addCleanup(self.hosts[name].close)
            for number in (1, 2, 3):
                self.hosts[name].make_drive(f"{name}-{number}")
            self.hosts[name].show("-velkossd")  # makes what the drives remember
        (self.folder / "image.bin").write_bytes(firmware_image("velko", NEW))
        (self.folder / "ansible.cfg").touch()
        (self.folder / "inventory").write_text("".join(
            f"{name} ansible_connection=local ansible_python_interpreter={host.interpreter()}\n"
            for name, host in self.hosts.items()))

    def environment(self):
        """Ansible writes to its home alone, and takes no settings of the machine."""
        home = self.folder / "home"
        home.mkdir(exist_ok=True)
        return {**os.environ, "HOME": str(home), "ANSIBLE_COLLECTIONS_PATH": str(self.folder / "collections"),
                "ANSIBLE_CONFIG": str(self.folder / "ansible.cfg"), "ANSIBLE_LOCAL_TEMP": str(home / "local"), "ANSIBLE_NOCOLOR": "1",
                "ANSIBLE_REMOTE_TEMP": str(home / "remote"), "PYTHONDONTWRITEBYTECODE": "1", "LC_ALL": "C.UTF-8"}

    def play(self, playbook, *options):
        """The run's output, and of each host the numbers of tasks that are ok, changed, unreachable, failed."""
        run = subprocess.run(["ansible-playbook", "-i", str(self.folder / "inventory"), str(playbook), *options],
                             cwd=self.folder, env=self.environment(), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT, text=True, check=False, timeout=600)
        self.output = run.stdout
        return {name: tuple(map(int, numbers)) for name, *numbers in RECAP.findall(run.stdout)}

    def roll_out(self, *options):
        return self.play("velko.nimbrel.firmware_rollout", "-e", "drives='VELKO Simulated*'", "-e", f"revision={NEW}", "-e",
                         f"source={self.folder}/image.bin", "-e", "as_root=false", *options)

    def revisions(self, name):
        shown = self.hosts[name].show("-display", "Firmware", "-velkossd")
        return re.findall(r"^Firmware : (.*)$", shown, re.MULTILINE)

    def remembered(self):
        return {name: host.remembered() for name, host in self.hosts.items()}


class Rollout(AnsibleTestCase):
    def test_the_first_failure_ends_the_rollout_on_all_hosts(self):
        self.hosts["beta"].make_drive("beta-2", fail=COMMIT_FAILS)
        before = self.hosts["gamma"].remembered()
        recap = self.roll_out("-e", "batch=1")
        # Of the tasks health, firmware and the note of resets; gamma was not reached.
        self.assertEqual(recap, {"alpha": (2, 1, 0, 0), "beta": (1, 0, 0, 1)}, self.output)
        self.assertIn("Invalid Firmware Image", self.output)
        self.assertEqual(self.revisions("alpha"), [NEW, NEW, NEW])
        self.assertEqual(self.revisions("beta"), [NEW, OLD, OLD])
        self.assertEqual(self.hosts["gamma"].remembered(), before)
        # Mended, the rest is done, and only the rest; then nothing is left to do.
        self.hosts["beta"].make_drive("beta-2")
        done = self.hosts["alpha"].remembered()
        self.assertEqual(self.roll_out("-e", "batch=1"), {"alpha": (2, 0, 0, 0), "beta": (2, 1, 0, 0), "gamma": (2, 1, 0, 0)},
                         self.output)
        self.assertEqual(self.hosts["alpha"].remembered(), done)
        self.assertEqual([self.revisions(name) for name in NAMES], [[NEW] * 3] * 3)
        self.assertEqual(self.roll_out("-e", "batch=100%"), dict.fromkeys(NAMES, (2, 0, 0, 0)), self.output)

    def test_a_drive_that_is_not_well_ends_the_rollout_before_its_host_changes(self):
        self.hosts["beta"].make_drive("beta-3", critical_warning="0x04")
        self.hosts["beta"].show("-sensor")  # the drive records what befell it
        before = self.hosts["beta"].remembered()
        self.assertEqual(self.roll_out("-e", "batch=1"), {"alpha": (2, 1, 0, 0), "beta": (0, 0, 0, 1)}, self.output)
        self.assertIn("Not well: beta-3: Reliability is degraded.", self.output)
        self.assertEqual(self.hosts["beta"].remembered(), before)

    def test_check_mode_predicts_and_changes_nothing(self):
        before = self.remembered()
        self.assertEqual(self.roll_out("--check", "--diff", "-e", "batch=3"), dict.fromkeys(NAMES, (2, 1, 0, 0)), self.output)
        self.assertIn(f'-    "gamma-3": "{OLD}"', self.output)
        self.assertIn(f'+    "gamma-3": "{NEW}"', self.output)
        self.assertEqual(self.remembered(), before)

    def test_a_reset_that_is_owed_is_named(self):
        (self.folder / "image.bin").write_bytes(firmware_image("velko", NEW, reset=2))
        self.assertEqual(self.roll_out("-l", "alpha"), {"alpha": (3, 1, 0, 0)}, self.output)
        self.assertEqual(self.output.count("waits for: NVM subsystem reset"), 3, self.output)
        self.assertEqual(self.roll_out("-l", "alpha"), {"alpha": (3, 0, 0, 0)}, self.output)


class Modules(AnsibleTestCase):
    def setUp(self):
        super().setUp()
        (self.folder / "play.yml").write_text(TASKS)

    def test_a_second_run_changes_nothing(self):
        for method in ("sanitize_block", "delete"):
            before = self.remembered()
            changes = 4 if method == "sanitize_block" else 1
            checked = self.play("play.yml", "-e", f"method={method}", "--check", "--diff")
            self.assertEqual(checked, dict.fromkeys(NAMES, (6, changes, 0, 0)), self.output)
            self.assertEqual(self.remembered(), before)
            for changed in (changes, 0):
                self.assertEqual(self.play("play.yml", "-e", f"method={method}"), dict.fromkeys(NAMES, (6, changed, 0, 0)),
                                 self.output)

    def test_a_wrong_serial_number_erases_nothing(self):
        before = self.remembered()
        text = TASKS[:TASKS.index("    - name: Set")] + TASKS[TASKS.index("    - name: Erase"):]
        (self.folder / "play.yml").write_text(text.replace("inventory_hostname }}-3", "inventory_hostname }}-9"))
        self.assertEqual(self.play("play.yml", "-e", "method=delete"), dict.fromkeys(NAMES, (0, 0, 0, 1)), self.output)
        self.assertIn("no drive has the serial number 'alpha-9'", self.output)
        self.assertEqual(self.remembered(), before)


del AnsibleTestCase
