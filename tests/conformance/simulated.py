"""Simulated drives in a world, with the real feature library.

    case.make_drive("ocp")                      # the folder case.drives / "ocp"; its clock is stopped
    case.describe("ocp", sanitize_seconds=10)   # other values in its description; None takes a key away
    case.tool("show", "-velkossd")              # the machine's own drives are hidden
"""

import os
import struct
import zlib

from world import TOOL, ToolTestCase

FEATURE_LIBRARY = os.environ["NIMBREL_FEATURE_LIBRARY"]
HIDE_DRIVES = 'mount -t tmpfs tmpfs /sys/class && exec "$0" "$@"'
FOLDER = "/opt/velko/nimbrel/SimulatedDrives"

START_MS = 1767225600000  # 2026-01-01 00:00:00 UTC
HOUR_MS = 3600000
# A name that begins with another goes before it: a drive is of the model that its name begins with.
MODEL_NUMBERS = {"velko": "VELKO Simulated NVMe SSD", "ocp-2.6": "Simulated OCP 2.6 Datacenter NVMe SSD",
                 "ocp": "Simulated OCP Datacenter NVMe SSD",
                 "nvme-1.4": "Simulated NVMe 1.4 SSD", "nvme-2.1": "Simulated NVMe 2.1 SSD", "sata": "Simulated SATA SSD"}
SERIALS = {"velko": "SIM-VELKO-1", "ocp-2.6": "SIM-OCP-26", "ocp": "SIM-OCP-1", "nvme-1.4": "SIM-NVME-1",
           "nvme-2.1": "SIM-NVME-2", "sata": "SIM-SATA-1"}

SECTIONS = {
    "drive": ("model", "serial-number", "model-number", "controllers", "size", "clock"),
    "supports": ("format", "namespace-management", "sanitize", "self-test", "firmware-update", "telemetry", "telemetry-mib",
                 "persistent-event-log", "accessible-max-address", "firmware-pieces", "max-namespaces", "max-transfer-kib", "security",
                 "short-self-test-seconds", "extended-self-test-seconds", "sanitize-seconds"),
    "faults": ("critical-warning", "temperature", "smart", "media-errors", "self-test-failure", "fail", "slow", "hang",
               "power-loss", "ana", "tcg", "attributes", "frozen", "locked", "lost-registers", "gone"),
}


def description(**values):
    """The description file; underscores become hyphens."""
    keys = {key.replace("_", "-"): value for key, value in values.items() if value is not None}
    text = ""
    for section, known in SECTIONS.items():
        text += f"[{section}]\n" + "".join(f"{key} = {keys.pop(key)}\n" for key in known if key in keys)
    if keys:
        raise ValueError(f"no keys of a description: {', '.join(keys)}")
    return text


def identity(name, serial=None):
    """The lines of the text form that say which simulated drive an object is of."""
    serial = serial or SERIALS[next(model for model in SERIALS if name.startswith(model))]
    return f"SerialNumber : {serial}\nDevicePath : {FOLDER}/{name}/dev/{name}\n"


def firmware_image(model, revision, reset=0, size=8192):
    """An image that a simulated drive takes; reset: 0 none, 1 controller level, 2 NVM subsystem."""
    body = (MODEL_NUMBERS[model].ljust(40) + revision.ljust(8)).encode() + bytes([reset])
    body = body.ljust(size - 16, b"\xA5")
    return b"NBSIMFW1" + struct.pack("<II", size, zlib.crc32(body)) + body


class SimulatedTestCase(ToolTestCase):
    def setUp(self):
        super().setUp()
        self.world.install_library(FEATURE_LIBRARY)
        self.drives = self.world.opt / "SimulatedDrives"
        self._descriptions = {}

    def make_drive(self, name, **values):
        """A drive of 64 MiB, of the model that its name begins with. It is made by its first command."""
        model = next((model for model in MODEL_NUMBERS if name.startswith(model)), "velko")
        (self.drives / name).mkdir(parents=True)
        self._descriptions[name] = dict(model=model, serial_number=SERIALS[model], size="64 MiB", clock=START_MS,
                                        short_self_test_seconds=0, extended_self_test_seconds=0, sanitize_seconds=0)
        self.describe(name, **values)

    def describe(self, name, **values):
        self._descriptions[name].update(values)
        (self.drives / name / "description.ini").write_text(description(**self._descriptions[name]))

    def tool(self, *arguments, **options):
        return self.world.run("-c", HIDE_DRIVES, TOOL, *arguments, tool="/bin/sh", **options)

    def check_tool(self, *arguments, **expected):
        return self.check("-c", HIDE_DRIVES, TOOL, *arguments, tool="/bin/sh", **expected)

    def state(self, name):
        """All that the drive remembers, media included, byte for byte."""
        folder = self.drives / name
        return {file.name: file.read_bytes() for file in sorted(folder.iterdir())
                if file.name == "state" or file.name.startswith("media-")}

    def media(self, name, nsid=1):
        """The file of a namespace's blocks, None before the first write."""
        files = sorted((self.drives / name).glob(f"media-{nsid}-*"))
        if len(files) > 1:
            raise AssertionError(f"more than one medium of a namespace: {files}")
        return files[0] if files else None
