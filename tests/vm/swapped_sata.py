"""A disk's name that another SATA drive takes while a command is about to open its node, as swapped.py does it with
NVMe drives: simulated drives over iSCSI, whose hosts lose and find their disks again."""

import unittest

from destruction import NOTICES
from machine import Machine
from served_sata import FOLDER, SERVE
from swapped import HeldCommand
from witness import title_and

DISK = "/dev/sda"
PORTS = {"old": 3260, "new": 3261}
DATA = b"data" * 2048
# Words, notice, title of the answer.
COMMANDS = (
    (f"delete -force -velkossd {DISK}", NOTICES["delete"], "Format"),
    (f"start -force -velkossd {DISK} -sanitize", NOTICES["sanitize"], "Format"),
    (f"start -force -velkossd {DISK} -trim StartLBA=0 Count=8", "", "Trim"),
)


def of_drive(serial):
    return f"serial number {serial} (model Simulated SATA SSD)"


GONE = (f"The device (object) was unavailable. The drive of {DISK} is gone. Selected was {of_drive('OLD')}; {DISK} is now "
        f"that of {of_drive('NEW')}.")


class SwappedSata(HeldCommand):
    held_node = DISK

    @classmethod
    def setUpClass(cls):
        cls.machine = Machine([], memory_mib=640)
        cls.addClassCleanup(cls.machine.stop)
        cls.machine.start()
        cls.shell("cd /lib/modules; for m in $(cat iscsi); do insmod $m.ko || lsmod | grep -q ${m//-/_}; done; "
                  "ip link set lo up; ln -s /opt/velko/nimbrel/nimbrel-simdrive /usr/local/bin/")
        cls.hosts = {}
        for name, port in PORTS.items():
            cls.shell(SERVE.format(folder=FOLDER, name=name, serial=name.upper(), node=DISK, port=port, sanitize="yes"))
            cls.hosts[name] = cls.shell("readlink -f /sys/class/block/sda/device | grep -o 'host[0-9]*' | head -1").strip()
            cls.lose()

    @classmethod
    def shell(cls, script):
        run = cls.machine.shell(script)
        if run.status != 0:
            raise RuntimeError(f"{script}: {run.stdout}{run.stderr}")
        return run.stdout

    @classmethod
    def lose(cls):
        cls.shell(f"echo 1 > /sys/class/block/sda/device/delete; until [ ! -e {DISK} ]; do sleep 0.1; done")

    def find(self, name):
        self.shell(f"echo '- - -' > /sys/class/scsi_host/{self.hosts[name]}/scan; "
                   f"until [ -b {DISK} ]; do sleep 0.1; done")

    def media(self):
        return self.machine.shell(f"dd if={DISK} iflag=direct bs={len(DATA)} count=1 2>/dev/null").stdout_bytes

    def setUp(self):
        self.machine.write("/tmp/data", DATA)
        for name in ("new", "old"):
            self.find(name)
            self.shell(f"dd if=/tmp/data of={DISK} conv=fsync 2>/dev/null")
            if name == "new":
                self.lose()
        self.addCleanup(self.lose)

    def test_the_drive_that_took_the_name_is_not_changed(self):
        for words, notice, title in COMMANDS:
            self.begin_held(*words.split())
            self.lose()
            self.find("new")
            outcome, media = self.finish_held(), self.media()
            sanitized = self.shell(f"hdparm --sanitize-status {DISK}")
            self.lose()
            self.find("old")
            with self.subTest(words):
                self.assertEqual(outcome, (notice + title_and(title, "OLD", DISK, GONE), "", 70))
                self.assertEqual(media, DATA)
                self.assertNotIn("Completed Without Error", sanitized)
                self.assertEqual(self.records(), [])

    def test_without_a_swap_the_drive_is_changed(self):
        for words, *_ in COMMANDS:
            with self.subTest(words):
                self.shell(f"dd if=/tmp/data of={DISK} conv=fsync 2>/dev/null")
                self.begin_held(*words.split())
                outcome = self.finish_held()
                self.assertEqual(outcome[1:], ("", 0), outcome)
                self.assertNotEqual(self.media()[:4096], DATA[:4096])
                self.assertEqual(len(self.records()), 0 if "-trim" in words else 2)


if __name__ == "__main__":
    unittest.main()
