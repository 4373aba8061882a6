#!/usr/bin/env python3
"""guest_scans.py FOLDER: the scans of the tool against fio on a real kernel, in the machine of tests/vm. FOLDER is what
tests/vm/prepare.py made. Prints JSON: for each scan the seconds, and the processor seconds, of the tool and of fio.

The read scan reads an emulated drive whose media is null-co of QEMU, as fio does with libaio: the same block size and
queue depth. The data integrity scan writes and reads a file on a file system, as fio does that writes with a checksum
and verifies it, with the same block size, one block at a time. The times of an emulated processor say nothing by
themselves; their ratio does. Best of runs that take turns.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/vm"))
import prepare  # noqa: E402

ROUNDS = 2
NULL_GIBIBYTES = 8
MEDIA_MEBIBYTES = 1024
MDTS_BYTES = 512 << 10  # of QEMU's controllers: what one command of the scan reads
QUEUE_DEPTH = 8
FIO = "fio --name=scan --direct=1 --output=/dev/null "
READ_SCANS = {
    "nimbrel": "nimbrel start -scan ReadScan -velkossd NULL FullScan=true",
    "fio": f"{FIO} --filename=/dev/nvme0n1 --rw=read --bs={MDTS_BYTES} --ioengine=libaio --iodepth={QUEUE_DEPTH}",
}
INTEGRITY_SCANS = {
    "nimbrel": "nimbrel start -scan DataIntegrity -velkossd MEDIA Path=/mnt",
    "fio": f"{FIO} --directory=/mnt --rw=write --bs=1m --size={{size}} --ioengine=psync --end_fsync=1 --verify=crc32c "
           "--unlink=1",
}


def folder_with_fio(machine, folder):
    """A folder to boot from, whose programs have fio among them."""
    root = folder / "root"
    prepare.install(root, prepare.program("fio"), "/usr/bin/fio")
    (folder / "vmlinuz-cloud").symlink_to(machine / "vmlinuz-cloud")
    (folder / "initramfs-cloud").write_bytes((machine / "initramfs-cloud").read_bytes() + prepare.archive(root))
    shutil.rmtree(root)


def drives(image):
    """QEMU's options for a drive that stores nothing, and one with a file system."""
    with open(image, "wb") as file:
        file.truncate(MEDIA_MEBIBYTES << 20)
    subprocess.run([prepare.program("mke2fs"), "-q", "-F", image], check=True)
    return ["-blockdev", f"driver=null-co,node-name=null,size={NULL_GIBIBYTES << 30},read-zeroes=off",
            "-device", "nvme,id=null,serial=NULL", "-device", "nvme-ns,drive=null,bus=null",
            "-drive", f"file={image},if=none,id=media,format=raw,cache=unsafe",
            "-device", "nvme,id=media-drive,serial=MEDIA", "-device", "nvme-ns,drive=media,bus=media-drive"]


def must(machine, script):
    run = machine.shell(script, timeout=600)
    if run.status != 0:
        raise SystemExit(f"{script}: {run.status}\n{run.stdout}{run.stderr}")
    return run.stdout


def timed(machine, command):
    """Seconds, and processor seconds."""
    text = must(machine, f"time -p -o /tmp/time {command} >/tmp/output 2>&1 || {{ cat /tmp/output; exit 1; }}; "
                         "cat /tmp/time")
    times = dict(line.split() for line in text.splitlines())
    return float(times["real"]), float(times["user"]) + float(times["sys"])


def measure(machine, commands):
    best = {name: (float("inf"), float("inf")) for name in commands}
    for _ in range(ROUNDS):
        for name, command in commands.items():
            best[name] = tuple(map(min, best[name], timed(machine, command)))
            print(name, *best[name], file=sys.stderr, flush=True)
    return best


def measure_scans(machine):
    must(machine, "until [ -b /dev/nvme0n1 ] && [ -b /dev/nvme1n1 ]; do sleep 0.1; done; mkdir -p /mnt")
    if must(machine, "cat /sys/block/nvme0n1/device/serial").strip() != "NULL":
        raise SystemExit("The drives have changed places.")
    found = {"read scan": measure(machine, READ_SCANS)}
    must(machine, "mount -t ext2 /dev/nvme1n1 /mnt")
    # What the scan itself says that it wrote.
    size = must(machine, f"{INTEGRITY_SCANS['nimbrel']} | sed -n 's/.*Written and Read : \\([0-9]*\\) bytes/\\1/p'").strip()
    commands = {name: command.format(size=size) for name, command in INTEGRITY_SCANS.items()}
    found["data integrity scan"] = measure(machine, commands)
    return found


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch)
        folder_with_fio(pathlib.Path(sys.argv[1]).resolve(), folder)
        os.environ["NIMBREL_VM_DIR"] = str(folder)
        from machine import Machine  # it reads the variable when it is loaded

        class MachineWithDrives(Machine):
            """Its drives are of these options alone, and measure_scans() waits for them."""

            def await_drives(self):
                pass

        with MachineWithDrives([], memory_mib=1536, kernel_options="norandmaps", extra=drives(folder / "media.img")) as machine:
            print(json.dumps(measure_scans(machine)))


if __name__ == "__main__":
    main()
