"""A host of a fleet: its own drives, installation, name and network, on this machine.

The namespaces last until close(), so that programs enter them again and again, as they log in to a host. Files of the
machine are those that the host sees, but for the fixed places of the tool (tests/conformance/world.py).
"""

import hashlib
import pathlib
import shutil
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "conformance"))

import world  # noqa: E402
from simulated import FEATURE_LIBRARY, START_MS, description  # noqa: E402

# The drives of the machine are in /sys/class; what the tests want is a host that has simulated ones alone.
BEGIN = 'hostname "$0" && mount -t tmpfs tmpfs /sys/class && echo ready && exec sleep infinity'


class Host:
    QUICK = {"short_self_test_seconds": 0, "extended_self_test_seconds": 0}  # self-tests that have ended at once

    def __init__(self, name):
        self.name = name
        self.world = world.World()
        self.world.install_library(FEATURE_LIBRARY)
        shutil.copy(world.TOOL, self.world.opt / "nimbrel")
        self.drives = self.world.opt / "SimulatedDrives"
        self.drives.mkdir(mode=0o700)
        namespace = world.namespace_command()
        self._enter_user = ["-U"] if "-r" in namespace else []
        self._process = subprocess.Popen([*namespace, "-n", "-u", "/bin/sh", world.ENTER, str(self.world.scratch), "open",
                                          "/bin/sh", "-c", BEGIN, name], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        if self._process.stdout.readline() != b"ready\n":
            raise RuntimeError(f"the namespaces of {name} cannot be made")

    def close(self):
        self._process.kill()
        self._process.wait()
        self._process.stdout.close()
        self.world.close()

    def enter(self):
        """The command line that runs what follows it on this host."""
        return ["nsenter", "-t", str(self._process.pid), *self._enter_user, "-m", "-n", "-u"]

    def run(self, *command):
        return subprocess.run([*self.enter(), *command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, check=False)

    def interpreter(self):
        """A file that is Python on this host, for an inventory."""
        path = self.world.scratch / "python"
        path.write_text("#!/bin/sh\nexec " + " ".join(self.enter()) + ' /usr/bin/python3 -B "$@"\n')
        path.chmod(0o755)
        return path

    def make_drive(self, serial, **values):
        """A simulated drive in the folder with the name of its serial number; again, with other values."""
        folder = self.drives / serial
        folder.mkdir(mode=0o700, exist_ok=True)
        settings = {"model": "velko", "serial_number": serial, "size": "64 MiB", "clock": START_MS,
                    "sanitize_seconds": 0, **values}
        (folder / "description.ini").write_text(description(**settings))
        (folder / "description.ini").chmod(0o600)

    def show(self, *words):
        """The tool's own text, of a run that must succeed."""
        run = self.run("/opt/velko/nimbrel/nimbrel", "show", *words)
        if run.returncode != 0:
            raise AssertionError(run.stdout)
        return run.stdout

    def remembered(self):
        """Digests of all that the drives remember, their logs and media included."""
        return {str(path.relative_to(self.drives)): hashlib.sha256(path.read_bytes()).hexdigest()
                for path in sorted(self.drives.rglob("*"))
                if path.is_file() and path.name not in ("lock", "description.ini")}
