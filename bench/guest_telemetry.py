#!/usr/bin/env python3
"""guest_telemetry.py FOLDER: a long telemetry log read by the tool and by nvme-cli, in the machine of tests/vm. FOLDER
is what tests/vm/prepare.py made, with nimbrel-simdrive. Prints JSON: the seconds of both.

A simulated drive of NVMe 2.1, whose data area 4 has 256 MiB, is served over TCP to the kernel's own driver. The tool
makes a capture and reads it into a file; nvme-cli reads the same capture after it. Both files must be equal.
"""

import json
import os
import pathlib
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/vm"))
os.environ["NIMBREL_VM_DIR"] = sys.argv[1] if len(sys.argv) == 2 else sys.exit(__doc__)

from machine import Machine  # noqa: E402

MEBIBYTES = 256
ROUNDS = 1  # each takes minutes
FOLDER = "/opt/velko/nimbrel/SimulatedDrives/long"
NQN = "nqn.2026-01.com.velko.nimbrel:simulated:LONG"
PREPARATION = f"""
cd /lib/modules && for m in $(cat order); do insmod $m.ko; done; ip link set lo up; mkdir -p /etc/nvme
echo nqn.2014-08.org.nvmexpress:uuid:11111111-2222-3333-4444-555555555555 >/etc/nvme/hostnqn
simdrive=/opt/velko/nimbrel/nimbrel-simdrive
$simdrive create long --model nvme-2.1 --size 64Mi --serial LONG || exit
sed -i 's/^telemetry-mib.*/telemetry-mib = {MEBIBYTES}/' {FOLDER}/description.ini
setsid $simdrive serve long >/tmp/serve 2>&1 </dev/null &
for i in $(seq 100); do grep -q subsystem /tmp/serve && break; sleep 0.1; done
nvme connect -t tcp -a 127.0.0.1 -s 4420 -n {NQN} || exit
for i in $(seq 100); do [ -b /dev/nvme0n1 ] && break; sleep 0.1; done
# The host knows data area 4: Host Behavior Support, by the path to the simulated drive, since Linux 6.1 sets that
# feature itself after each Set Features of a program.
{{ printf '\\0\\1'; head -c 510 /dev/zero; }} >/tmp/behavior
nimbrel set -velkossd {FOLDER}/dev/long -setfeature 0x16 InputFile=/tmp/behavior
"""
COMMANDS = {
    "nimbrel": "nimbrel dump -destination /tmp/ours -velkossd /dev/nvme0 -telemetrylog -dataarea 4",
    "nvme": "nvme telemetry-log /dev/nvme0 --host-generate=0 --data-area=4 --output-file=/tmp/theirs",
}


def must(machine, script):
    run = machine.shell(script, timeout=900)
    if run.status != 0:
        raise SystemExit(f"{script}: {run.status}\n{run.stdout}{run.stderr}")
    return run.stdout


def seconds(machine, command):
    """By the guest's own clock."""
    text = must(machine, f"read a b </proc/uptime; {command} >/tmp/said 2>&1 || {{ cat /tmp/said; exit 1; }}; "
                         "read c d </proc/uptime; echo $a $c")
    before, after = map(float, text.split())
    return after - before


def main():
    with Machine([], memory_mib=3072, kernel_options="norandmaps") as machine:
        must(machine, PREPARATION)
        best = {tool: float("inf") for tool in COMMANDS}
        for _ in range(ROUNDS):
            must(machine, "rm -f /tmp/ours /tmp/theirs")
            for tool, command in COMMANDS.items():
                best[tool] = min(best[tool], seconds(machine, command))
                print(tool, best[tool], file=sys.stderr, flush=True)
            must(machine, f"cmp /tmp/ours /tmp/theirs && [ $(stat -c %s /tmp/ours) -gt {MEBIBYTES << 20} ]")
    print(json.dumps(best))


if __name__ == "__main__":
    main()
