"""Simulated drives are the same bytes on every processor: what one machine has made, another one reads. The golden
files were made on a little-endian one of 64 bits."""

import os
import pathlib
import unittest

from simulated import SimulatedTestCase

GOLDEN = pathlib.Path(__file__).with_name("golden") / "portable"
REWRITE = os.environ.get("NIMBREL_REWRITE_GOLDENS") == "1"
MODELS = ("velko", "ocp-2.6", "nvme-2.1", "sata")
NVME_WORK = (("set", "-velkossd", "0", "TempThreshold=71"),
             ("start", "-force", "-velkossd", "0", "-nvmeformat", "LBAFormat=1"))
SATA_WORK = (("start", "-velkossd", "0", "-selftest"),)
# Of an NVMe drive and of a SATA drive: what shows that the state was read, and its lines. 71 C are 344 K, 158h.
READ = (("-velkossd", "0", "-getfeature", "4"), ("-velkossd", "0", "-selftest"))
EXPECTED = (("Dword 0 : 0x00000158",), ("- Drive Self-Test Entry 0 SIM-SATA-1 -", "Test : Short"))


class PortableDrives(SimulatedTestCase):
    def test_the_same_commands_leave_the_same_bytes(self):
        for model in MODELS:
            with self.subTest(model):
                self.setUp()
                self.make_drive(model)
                for words in SATA_WORK if model == "sata" else NVME_WORK:
                    run = self.tool(*words)
                    self.assertEqual(run.status, 0, run.stdout)
                state, golden = (self.drives / model / "state").read_bytes(), GOLDEN / f"{model}.state"
                if REWRITE:
                    golden.write_bytes(state)
                self.assertEqual(state.hex(), golden.read_bytes().hex())

    def test_a_drive_of_another_machine_is_read(self):
        for model in MODELS:
            with self.subTest(model):
                self.setUp()
                self.make_drive(model)
                (self.drives / model / "state").write_bytes((GOLDEN / f"{model}.state").read_bytes())
                shown = self.tool("show", *READ[model == "sata"]).stdout
                for line in EXPECTED[model == "sata"]:
                    self.assertIn(f"\n{line}\n", shown)


if __name__ == "__main__":
    unittest.main()
