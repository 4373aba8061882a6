"""One sequence of commands on an emulated controller under the kernel's driver and on a simulated drive that is set up
alike. The jobs are the same code on both: what they say must be the same."""

import re

from machine import Controller, Namespace
from witness import VmTestCase, strict_json

SIZE_MIB = 64
EMULATED, SIMULATED = "S1", "S2"  # serial numbers
NODE = "/opt/velko/nimbrel/SimulatedDrives/drive/dev/drive"
NAMESPACE_FIELDS = ("NSZE", "NCAP", "FLBAS", "DPS")  # the rest is what the two drives have beside
# A command, and its exit status; None: any failure, of which the whole words are compared.
SEQUENCE = (
    (("show", "-display", "Capacity,DeviceStatus,MaximumLBA,NamespaceId,SectorSize", "-velkossd", None), 0),
    (("set", "-velkossd", None, "TempThreshold=70"), 0),
    (("set", "-velkossd", None, "TempThreshold=81"), 3),
    (("set", "-velkossd", None, "TempThreshold=x"), 8),
    (("start", "-force", "-velkossd", None, "-trim", "StartLBA=8", "Count=64"), 0),
    (("start", "-force", "-velkossd", None, "-trim", "StartLBA=131064", "Count=9"), None),
    (("start", "-force", "-velkossd", None, "-trim", "StartLBA=131072", "Count=1"), None),
    (("start", "-force", "-velkossd", None, "-nvmeformat", "-namespace", "1", "LBAFormat=1"), 0),
    (("show", "-display", "SectorSize,DeviceStatus", "-velkossd", None), 0),  # the emulated one has less room now
    (("start", "-force", "-velkossd", None, "-nvmeformat", "-namespace", "7", "LBAFormat=1"), None),
    (("start", "-force", "-velkossd", None, "-nvmeformat", "-namespace", "1", "SecureEraseSetting=3"), None),
    (("start", "-force", "-velkossd", None, "-nvmeformat", "-namespace", "1", "LBAFormat=0", "SecureEraseSetting=1"), 0),
    (("delete", "-force", "-velkossd", None), 0),
    (("set", "-velkossd", None, "Timestamp=1700000000000"), None),
    (("show", "-velkossd", None, "-smart", "AB"), None),
    (("show", "-velkossd", None, "-partition"), 0),
)


class EmulatedAndSimulated(VmTestCase):
    controllers = [Controller(EMULATED, [Namespace(SIZE_MIB)])]

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        run = cls.machine.shell("ln -s /opt/velko/nimbrel/nimbrel-simdrive /usr/local/bin/ && nimbrel-simdrive create drive "
                                f"--model velko --size {SIZE_MIB}Mi --serial {SIMULATED}")
        if run.status != 0:
            raise RuntimeError(run.stdout + run.stderr)

    def answer(self, serial, words):
        """Without what distinguishes the drives: serial number and node."""
        run = self.machine.run("nimbrel", *(serial if word is None else word for word in words))
        text = run.stdout.replace(NODE, "/dev/nvme0").replace(SIMULATED, EMULATED)
        return run.status, text, run.stderr

    def test_10_say_the_same(self):
        for words, status in SEQUENCE:
            with self.subTest(words):
                emulated, simulated = self.answer(EMULATED, words), self.answer(SIMULATED, words)
                if words[-1] == "TempThreshold=70":  # the emulated one cannot save it
                    emulated = (emulated[0], emulated[1].replace(" It holds until the next controller reset.", ""),
                                emulated[2])
                self.assertEqual(emulated, simulated)
                if status is None:
                    self.assertNotEqual(emulated[0], 0)
                else:
                    self.assertEqual(emulated[0], status)

    def test_20_are_left_in_the_same_state(self):
        found = []
        for serial in (EMULATED, SIMULATED):
            run = self.machine.run("nimbrel", "show", "-o", "json", "-velkossd", serial, "-identify", "-namespace", "1")
            ((_, fields),) = strict_json(run.stdout).items()
            found.append({label: value for label, value in fields.items()
                          if re.split(r"\W", label)[0] in NAMESPACE_FIELDS})
            run = self.machine.run("nimbrel", "show", "-o", "json", "-velkossd", serial, "-getfeature", "4")
            ((_, feature),) = strict_json(run.stdout).items()
            found[-1]["TempThreshold"] = feature["TempThreshold - Temperature Threshold"]
        self.assertEqual(found[0], found[1])
        self.assertEqual(found[0]["TempThreshold"], "70 C")
