"""The commands whose system calls fail, one at a time: how their world is prepared, and what shows their work."""

import dataclasses
import os

from simulated import SERIALS, START_MS, description, firmware_image

NIMBREL = os.environ.get("NIMBREL_TOOL", "")
SIMDRIVE = os.environ.get("NIMBREL_SIMDRIVE", "")

VELKO = SERIALS["velko"]


@dataclasses.dataclass
class Command:
    """A row: the words, the simulated drives that are there, and runs that prepare the drive."""

    name: str
    words: str
    drives: tuple = ("velko",)
    prepare: tuple = ()
    program: str = NIMBREL
    # What a run says before its work: no words for an error.
    notice: str = ""
    # Another state than that before or after the command is judged by the output of these: it must be that of one or
    # the other. Without /sys and /dev, so that the host's drives stay out.
    probes: tuple = (f"show -all -velkossd {VELKO}", f"show -velkossd {VELKO} -identify -namespace allocated")
    # False where the files hold the time or a random number: then their names are compared alone.
    compares_contents: bool = True
    # Reads samples of the drive, of which one may fail: the drive counts its reads, so that the probes judge its state.
    samples: bool = False
    # Calls of which every fault belongs to the quick part: some were bad once.
    always: tuple = ()


COMMANDS = (
    Command("version", "version", always=("allocation",)),
    # The log's times are in its contents.
    Command("logged", "version", prepare=("set -system EnableLog=true",), compares_contents=False,
            always=("allocation",)),
    Command("list", "show -velkossd", drives=("velko", "ocp")),
    Command("one-drive", f"show -all -velkossd {VELKO}", always=("allocation",)),
    Command("smart", f"show -velkossd {VELKO} -smart"),
    Command("sensors", f"show -velkossd {VELKO} -sensor"),
    Command("telemetry", f"dump -destination telemetry.bin -velkossd {VELKO} -telemetrylog HostInitiated=true"),
    Command("log", f"dump -destination log.bin -velkossd {VELKO} -nvmelog 2"),
    Command("firmware", f"load -force -source firmware.bin -velkossd {VELKO} FirmwareSlot=2 CommitAction=3",
            notice="Checking for firmware update...\n", always=("pread64", "unlinkat")),
    Command("settings", "set -system AdditionalFWModDir=/var/lib"),
    Command("sanitize", f"start -force -velkossd {VELKO} -sanitize", samples=True,
            notice="Sanitizing... (This can take several minutes to complete)\n"),
    Command("delete", f"delete -force -velkossd {VELKO}", samples=True,
            notice="Deleting... (This can take several minutes to complete)\n"),
    Command("create-namespace", f"create -velkossd {VELKO} -namespace Size=2048",
            prepare=(f"delete -force -velkossd {VELKO} -namespace 1",)),
    Command("delete-namespace", f"delete -force -velkossd {VELKO} -namespace 1"),
    Command("create-drive", "create new --serial SIM-NEW-1 --size 64Mi", program=SIMDRIVE, compares_contents=False,
            probes=()),
    Command("list-drives", "list", program=SIMDRIVE, always=("pread64",)),
    Command("fault-drive", "fault velko --temperature 90", program=SIMDRIVE, probes=()),
    Command("remove-drive", "remove velko", program=SIMDRIVE, probes=(),
            always=("rename", "unlinkat", "rmdir", "fcntl", "allocation")),
)


def describe(model):
    """The description of a drive whose clock is stopped: what it remembers depends on the commands alone."""
    return description(model=model, serial_number=SERIALS[model], size="64 MiB", clock=START_MS, sanitize_seconds=0,
                       short_self_test_seconds=0, extended_self_test_seconds=0)


def image():
    return firmware_image("velko", "NEW00001")
