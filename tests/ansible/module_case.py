"""Runs a module of the collection on simulated drives. run_module.py is in place of Ansible."""

import json
import pathlib
import sys

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "conformance"))

from simulated import FOLDER, HIDE_DRIVES, SimulatedTestCase, firmware_image  # noqa: E402, F401: some are for the tests
from world import TOOL  # noqa: E402

VELKO, OTHER = "SIM-VELKO-1", "S2"  # serial numbers of the drives "velko" and of a second one
PATH = f"{FOLDER}/velko/dev/velko"
NOT_PREDICTED = [
    "a file system or other known content on a namespace without partitions",
    "a device that another program opened exclusively, and uses that cannot be determined",
    "another process that changes the drive at that moment",
    "a command that the drive refuses",
]


class ModuleTestCase(SimulatedTestCase):
    def setUp(self):
        super().setUp()
        self.executable = TOOL

    def run_module(self, module, /, check=False, **parameters):
        parameters = {"executable": str(self.executable), **parameters}
        run = self.world.run("-c", HIDE_DRIVES, sys.executable, "-B", str(HERE / "run_module.py"), module,
                             json.dumps(parameters), *(["check"] if check else []), tool="/bin/sh")
        self.assertEqual((run.status, run.stderr), (0, ""))
        return json.loads(run.stdout)

    def passes(self, module, changed, /, **parameters):
        result = self.run_module(module, **parameters)
        self.assertEqual((result["failed"], result.get("changed")), (False, changed), result)
        return result

    def fails(self, module, message, /, **parameters):
        result = self.run_module(module, **parameters)
        self.assertEqual((result["failed"], result.get("msg")), (True, message), result)
        return result

    def leaves_alone(self, drive, module, /, **parameters):
        """A run in check mode, which must leave every byte of the drive as it was."""
        before = self.state(drive)
        result = self.run_module(module, check=True, **parameters)
        self.assertEqual(self.state(drive), before)
        return result

    def answer_to(self, words, objects):
        """From now on the tool prints these objects for commands with the words."""
        script = self.world.scratch / "tool"
        document = self.world.scratch / "answer.json"
        document.write_text(json.dumps(objects, indent=0))
        script.write_text(f'#!/bin/sh\ncase "$*" in *{words}*) exec cat {document} ;; esac\nexec {TOOL} "$@"\n')
        script.chmod(0o755)
        self.executable = script

    def values(self, *words, serial=VELKO):
        """The keys of the one object that a show command prints."""
        run = self.tool("show", "-output", "json", "-velkossd", serial, *words)
        self.assertEqual(run.status, 0, run.stdout)
        return next(iter(json.loads(run.stdout).values()))
