"""A controller's number that another drive takes while a command is about to open its node: strace, in the machine,
holds the command at that open, between its scan of sysfs and the node."""

import os
import time
import unittest

from destruction import NOTICES
from witness import VmTestCase, title_and

# Longer than the test: the open goes on when the tracer ends.
HOLD_MICROSECONDS = 600 * 1000 * 1000
PATIENCE_SECONDS = 60
NODE = "/dev/nvme0"
# Words, notice, title of the answer, and the node that the command is sent to: the namespace's has changed hands too.
COMMANDS = (
    ("delete -force -velkossd OLD", NOTICES["delete"], "Format", NODE),
    ("start -force -velkossd OLD -trim StartLBA=0 Count=8", "", "Trim", NODE + "n1"),
)
DESTRUCTIVE = {"NVME_ADM_CMD_FORMAT_NVM", "NVME_NVM_CMD_DSM"}


def of_drive(serial):
    return f"serial number {serial} (model QEMU NVMe Ctrl, subsystem nqn.2019-08.org.qemu:{serial})"


def gone(node):
    return f"The device (object) was unavailable. The drive of {node} is gone. Selected was {of_drive('OLD')}; {node} is now that of " \
           f"{of_drive('NEW')}."


class HeldCommand(VmTestCase):
    """A command that waits where it opens the drive's node for the first time."""

    held_node = None

    def await_shell(self, condition):
        """Until the condition holds in the machine."""
        deadline = time.monotonic() + PATIENCE_SECONDS
        while self.machine.shell(condition).status != 0:
            self.assertLess(time.monotonic(), deadline, condition)
            time.sleep(0.2)

    def begin_held(self, *arguments):
        """Begins the command. The tool is no child of the tracer, which can end before it."""
        self.machine.begin("strace", "-D", "-f", "-o", "/tmp/trace", "-P", self.held_node, "-e", "trace=openat",
                           "-e", f"inject=openat:delay_enter={HOLD_MICROSECONDS}:when=1", "nimbrel", *arguments)
        self.await_shell(f"grep -q {self.held_node} /tmp/trace")

    def records(self):
        """The files that erases have left since the last call."""
        return self.machine.shell("cd /var/lib/nimbrel/erasures 2>/dev/null && ls && rm *").stdout.split()

    def finish_held(self):
        """The outcome of the command, which goes on."""
        self.assertEqual(self.machine.shell("kill -9 $(pidof strace) && rm /tmp/trace").status, 0)
        run = self.machine.finish()
        return run.stdout, run.stderr, run.status


class Swapped(HeldCommand):
    """The machine's only drive is unplugged for another, and plugged in again."""

    held_node = NODE

    @classmethod
    def prepare(cls, machine):
        for serial in ("OLD", "NEW"):
            image = machine.folder / f"{serial}.img"
            image.touch()
            os.truncate(image, 16 << 20)
            machine.command += ["-drive", f"file={image},if=none,id=media-{serial},format=raw,discard=unmap"]

    def setUp(self):
        self.plug("OLD")
        self.addCleanup(lambda: self.unplug(self.plugged))

    def finish_released(self):
        """The outcome of the command that is held, and what the drives received from it."""
        self.machine.nvme_commands()
        return self.finish_held(), self.machine.nvme_commands()

    def unplug(self, serial):
        self.machine.qmp("device_del", id=serial)
        self.await_shell(f"[ ! -e {NODE} ]")

    def add(self, serial):
        """The medium is in use for a while after the kernel has lost the drive."""
        deadline = time.monotonic() + PATIENCE_SECONDS
        while True:
            try:
                return self.machine.qmp("device_add", driver="nvme", id=serial, serial=serial, drive=f"media-{serial}")
            except RuntimeError as error:
                if "already in use" not in str(error) or time.monotonic() > deadline:
                    raise
                time.sleep(0.1)

    def plug(self, serial):
        self.add(serial)
        self.await_shell(f"[ -b {NODE}n1 ] && grep -q {serial} /sys/class/nvme/nvme0/serial && "
                         "grep -q live /sys/class/nvme/nvme0/state")
        # An open waits for the kernel's look for partitions, which reads the drive after its node is there.
        self.assertEqual(self.machine.shell(f": < {NODE}n1").status, 0)
        self.plugged = serial

    def test_the_drive_that_took_the_number_is_not_changed(self):
        for words, notice, title, node in COMMANDS:
            self.begin_held(*words.split())
            self.unplug("OLD")
            self.plug("NEW")
            outcome, sent = self.finish_released()
            self.assertEqual(outcome, (notice + title_and(title, "OLD", NODE, gone(node)), "", 70))
            self.assertEqual(set(sent), {"NVME_ADM_CMD_IDENTIFY"}, words)
            self.assertEqual(self.records(), [], words)
            self.unplug("NEW")
            self.plug("OLD")

    def test_without_a_swap_the_drive_is_changed(self):
        for words, *_ in COMMANDS:
            self.begin_held(*words.split())
            outcome, sent = self.finish_released()
            self.assertEqual(outcome[1:], ("", 0), outcome)
            self.assertEqual(len(DESTRUCTIVE.intersection(sent)), 1, sent)
            self.assertEqual(len(self.records()), 0 if "-trim" in words else 2, words)


if __name__ == "__main__":
    unittest.main()
