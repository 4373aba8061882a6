#!/usr/bin/env python3
"""Captures what QEMU's NVMe controller answers, and how nvme-cli reads the same bytes: NAME.bin and NAME.json (.txt).

Run it from the root of the tree, on a machine prepared by tests/vm/prepare.py (NIMBREL_VM_DIR). What it writes is
committed; run it again to take in another version of QEMU, and read the differences.
"""

import pathlib
import sys

FOLDER = pathlib.Path(__file__).parent
sys.path.insert(0, str(FOLDER.parents[3] / "vm"))
from machine import Controller, Machine, Namespace  # noqa: E402

SERIAL = "CAPTURE-0001"
DRIVE = Controller(
    SERIAL,
    [Namespace(size_mib=64, options="uuid=01234567-89ab-cdef-0123-456789abcdef,eui64=81985529216486895"),
     Namespace(size_mib=32, block=4096, metadata=64, options="pi=1,mset=1"),
     Namespace(size_mib=16, nsid=5, detached=True)],
    options="mdts=5,aerl=3")

# What the counters and settings are to show.
PREPARATION = """
dd if=/dev/zero of=/dev/nvme0n1 bs=1M count=8 oflag=direct
dd if=/dev/nvme0n1 of=/dev/null bs=1M count=16 iflag=direct
nvme set-feature /dev/nvme0 -f 0x04 -v 0x14B
nvme set-feature /dev/nvme0 -f 0x06 -v 0
nvme set-feature /dev/nvme0 -f 0x0B -v 0x0115
"""


def identify(cns, nsid=0, length=4096):
    return f"nvme admin-passthru /dev/nvme0 -o 0x06 -n {nsid} --cdw10={cns} -l {length} -r -b"


def log(lid, length):
    dword10 = lid | (length // 4 - 1) << 16
    return f"nvme admin-passthru /dev/nvme0 -o 0x02 -n 0xFFFFFFFF --cdw10={dword10} -l {length} -r -b"


# Name of the file, what brings the bytes, and what brings nvme-cli's reading of them.
CAPTURES = [
    ("identify_controller", identify(1), "nvme id-ctrl /dev/nvme0 -o json"),
    ("identify_namespace_1", identify(0, 1), "nvme id-ns /dev/nvme0 -n 1 -o json"),
    ("identify_namespace_2", identify(0, 2), "nvme id-ns /dev/nvme0 -n 2 -o json"),
    ("identify_namespace_5", identify(0x11, 5), "nvme id-ns /dev/nvme0 -n 5 --force -o json"),
    ("descriptors_1", identify(3, 1), "nvme ns-descs /dev/nvme0 -n 1 -o json"),
    ("active_namespaces", identify(2), "nvme list-ns /dev/nvme0 -o json"),
    ("allocated_namespaces", identify(0x10), "nvme list-ns /dev/nvme0 -a -o json"),
    ("controllers", identify(0x13), "nvme list-ctrl /dev/nvme0 -o json"),
    ("smart", log(2, 512), "nvme smart-log /dev/nvme0 -o json"),
    ("errors", log(1, 64), "nvme error-log /dev/nvme0 -o json"),
    ("firmware", log(3, 512), "nvme fw-log /dev/nvme0 -o json"),
    ("effects", log(5, 4096), "nvme effects-log /dev/nvme0 --csi=0 -H"),
]
FEATURES = [0x01, 0x02, 0x04, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B]


def main():
    with Machine([DRIVE]) as machine:
        prepared = machine.shell("set -e\n" + PREPARATION)
        if prepared.status != 0:
            raise SystemExit(prepared.stderr)
        machine.qmp("qom-set", path=f"/machine/peripheral/{SERIAL}", property="smart_critical_warning", value=0x15)
        for name, bytes_command, reading_command in CAPTURES:
            data = machine.shell(bytes_command)
            reading = machine.shell(reading_command)
            if data.status != 0 or reading.status != 0:
                raise SystemExit(f"{name}: {data.stderr}{reading.stderr}")
            (FOLDER / f"{name}.bin").write_bytes(data.stdout_bytes)
            kind = "json" if reading_command.endswith("json") else "txt"
            (FOLDER / f"{name}.{kind}").write_text(reading.stdout)
        readings = [machine.shell(f"nvme get-feature /dev/nvme0 -f {fid} -H").stdout for fid in FEATURES]
        (FOLDER / "features.txt").write_text("".join(readings))


if __name__ == "__main__":
    main()
