"""Lists, SMART data, logs and the exporter against 64 simulated drives for a long time, while some of them fail, hang,
vanish and come back. What grows meanwhile is a leak: memory, descriptors, processes, files.

    soak.py [MINUTES]     60 by default; scripts/soak builds and runs it

Prints the figures of the first and the last quarter, and ends with 1 when one has grown or a command has ended in a
signal. The first rounds do not count: they create what lasts."""

import collections
import os
import pathlib
import statistics
import subprocess
import sys
import time
import urllib.request
import uuid

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "conformance"))
from simulated import FEATURE_LIBRARY, MODEL_NUMBERS, description  # noqa: E402
from world import TOOL, World  # noqa: E402

EXPORTER = os.environ["NIMBREL_EXPORTER"]
ADDRESS, INTERVAL_SECONDS = "127.0.0.1:19826", 30
DRIVES = 64
COMMAND_SECONDS = 600
MAX_GROWTH = 1.05  # of a median: the allocator's own steps
SETTLING_ROUNDS = 4  # what lasts is created in them
MIN_ROUNDS = SETTLING_ROUNDS + 8  # two of each quarter: one with the drives that vanish, one without
MARK = "NIMBREL_SOAK"
# What is wrong with each eighth drive, with the one after it, and with one alone, whose time-outs are waited for: NVMe,
# SATA.
FAULTY = (({"fail": "admin 0x02 0x006"}, {"fail": "ata 0x2F 0x04"}),
          ({"slow": "admin 0x02 50"}, {"slow": "ata 0x2F 50"}))
HUNG_DRIVE, HUNG = 2, {"hang": "admin 0x02"}


class Soak:
    def __init__(self, minutes):
        self.end = time.monotonic() + 60 * minutes
        self.mark = str(uuid.uuid4())
        # The server takes the rights of another user, whom a user namespace of ours has not: as root.
        World._namespace = ["unshare", "-m"]
        self.world = World()
        self.world.install_library(FEATURE_LIBRARY)
        self.failures = []
        self.rounds = 0
        self.samples = collections.defaultdict(list)
        self.statuses = collections.Counter()
        self.server = None
        for index in range(DRIVES):
            (self.world.opt / f"SimulatedDrives/drive-{index:02}").mkdir(parents=True)
            self.describe(index, self.faults(index))

    @staticmethod
    def model(index):
        return list(MODEL_NUMBERS)[index % len(MODEL_NUMBERS)]

    def faults(self, index):
        if index == HUNG_DRIVE:
            return HUNG
        of_each = FAULTY[index % 8] if index % 8 < len(FAULTY) else ({}, {})
        return of_each[self.model(index) == "sata"]

    def describe(self, index, faults):
        folder = self.world.opt / f"SimulatedDrives/drive-{index:02}"
        text = description(model=self.model(index), serial_number=f"SOAK-{index:02}", size="16 MiB", **faults)
        (folder / "description.ini.new").write_text(text)
        (folder / "description.ini.new").replace(folder / "description.ini")

    def change_drives(self):
        """Each fourth drive is gone in odd rounds."""
        for index in range(3, DRIVES, 4):
            self.describe(index, {"gone": "yes"} if self.rounds % 2 else {})

    def command(self, kind, *arguments, tool=TOOL):
        """Runs one command to its end; its peak of memory and its status are samples."""
        peak = self.world.var_log / "peak"  # time(1) has little memory itself, which the new process begins with
        done = subprocess.run(self.world.command("-q", "-f", "%M", "-o", "/var/log/peak", tool, *arguments,
                                                 tool="/usr/bin/time"),
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              cwd=self.world.cwd, env={**os.environ, MARK: self.mark}, timeout=COMMAND_SECONDS,
                              check=False)
        self.samples[f"{kind}: peak memory (KiB)"].append(int(peak.read_text()))
        peak.unlink()
        self.statuses[kind, done.returncode] += 1
        if done.returncode in range(128 + 1, 128 + 32):
            self.failures.append(f"round {self.rounds}: {kind} ended with status {done.returncode}")

    def serve(self):
        """The exporter that serves, for the whole time: the one program here that goes on."""
        command = self.world.command("--listen", ADDRESS, "--interval", str(INTERVAL_SECONDS), tool=EXPORTER)
        self.server = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL, cwd=self.world.cwd,
                                       env={**os.environ, MARK: self.mark + "-server"})

    def processes(self, mark):
        """Folders in /proc of the processes with the mark in their environment."""
        found = []
        for entry in pathlib.Path("/proc").iterdir():
            try:
                if entry.name.isdigit() and f"{MARK}={mark}\0".encode() in (entry / "environ").read_bytes():
                    found.append(entry)
            except OSError:
                pass  # it has ended, or is not ours
        return found

    def sample_server(self):
        """The processes of the server that last; those that read a drive come and go."""
        if self.server.poll() is not None:
            self.failures.append(f"round {self.rounds}: the server has ended with {self.server.returncode}")
            return
        lasting = [entry for entry in self.processes(self.mark + "-server")
                   if self.age_seconds(entry) > INTERVAL_SECONDS * 4]
        texts = [(entry / "status").read_text() for entry in lasting]
        memory = [int(line.split()[1]) for text in texts for line in text.splitlines() if line.startswith("VmRSS:")]
        self.samples["server: processes that last"].append(len(lasting))
        self.samples["server: memory (KiB)"].append(sum(memory))
        self.samples["server: descriptors"].append(sum(len(list((entry / "fd").iterdir())) for entry in lasting))
        with urllib.request.urlopen(f"http://{ADDRESS}/metrics", timeout=60) as answer:
            self.samples["server: drives in the metrics"].append(answer.read().count(b"\nnimbrel_drive_up{"))

    @staticmethod
    def age_seconds(entry):
        begin_ticks = int((entry / "stat").read_text().rpartition(")")[2].split()[19])
        return time.clock_gettime(time.CLOCK_BOOTTIME) - begin_ticks / os.sysconf("SC_CLK_TCK")

    def files(self):
        paths = [path for path in self.world.scratch.rglob("*") if not path.is_dir()]
        return len(paths), sum(path.lstat().st_blocks * 512 for path in paths if path.exists()) // 1024

    def run_round(self):
        self.change_drives()
        self.command("list", "show", "-velkossd")
        self.command("smart", "show", "-o", "json", "-smart")
        self.command("sensors", "show", "-o", "json", "-sensor")
        drive = f"SOAK-{5 + self.rounds % 3 * 8:02}"
        self.command("telemetry", "dump", "-destination", "/var/log/telemetry.bin", "-velkossd", drive,
                     "-telemetrylog")
        (self.world.var_log / "telemetry.bin").unlink(missing_ok=True)
        self.command("exporter", "--output", "/var/log/nimbrel.prom", tool=EXPORTER)
        self.sample_server()
        files, kibibytes = self.files()
        self.samples["files"].append(files)
        self.samples["files (KiB)"].append(kibibytes)
        self.samples["processes left"].append(len(self.processes(self.mark)))
        self.rounds += 1

    def report(self):
        print(f"{self.rounds} rounds with {DRIVES} drives")
        for (kind, status), count in sorted(self.statuses.items()):
            print(f"  {kind}: status {status} {count} times")
        for name, values in self.samples.items():
            values = values[SETTLING_ROUNDS:]
            quarter = len(values) // 8 * 2
            first, last = statistics.median(values[:quarter]), statistics.median(values[-quarter:])
            grows = last > first * MAX_GROWTH if name != "processes left" else max(values) > 0
            print(f"  {name}: first quarter {first:.0f}, last quarter {last:.0f}, maximum {max(values)}"
                  f"{'  GROWS' if grows else ''}")
            if grows:
                self.failures.append(f"{name} grows")
        for failure in self.failures:
            print(failure)
        return 1 if self.failures else 0


def main():
    minutes = float(sys.argv[1]) if len(sys.argv) > 1 else 60
    soak = Soak(minutes)
    soak.serve()
    try:
        while time.monotonic() < soak.end or soak.rounds < MIN_ROUNDS:
            soak.run_round()
        return soak.report()
    finally:
        soak.server.terminate()
        soak.server.wait()
        soak.world.close()


if __name__ == "__main__":
    sys.exit(main())
