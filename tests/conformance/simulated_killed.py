"""Five hundred commands that change a simulated drive, each killed at a random instant: afterwards the drive answers,
and what the command was to change is as it was or as it should be, nothing in between."""

import os
import random
import re
import time
import unittest

from simulated import HIDE_DRIVES, SERIALS, SimulatedTestCase, firmware_image
from world import TOOL, kill_group

RUNS = 500
SEED = int(os.environ.get("NIMBREL_SEED", random.randrange(2 ** 32)))
BLOCK = 512
LATER = 1.1
PATTERN = bytes(range(1, 256)) * 300  # no zero in it

READ_FEATURE = r"show -velkossd {drive} -getfeature "
NAMESPACES = "show -velkossd {drive} -identify -namespace "


class Value:
    """A thing that commands change: how it is set, how it is read."""

    def __init__(self, name, line, show, pattern, values, drives=("ocp", "ocp-2.6", "velko")):
        self.name, self.line, self.show, self.pattern, self.values = name, line, show, re.compile(pattern), values
        self.drives = drives


# {value} is one of the values, or what WORDS says instead.
VALUES = [
    Value("temperature threshold", "set -velkossd {drive} TempThreshold={value}", READ_FEATURE + "4",
          r"^TempThreshold - .* : (\d+) C$", range(40, 80)),
    Value("aggregation time", "set -velkossd {drive} AggregationTime={value}", READ_FEATURE + "8",
          r"^AggregationTime - .* : (\d+) units of 100 microseconds$", range(1, 255)),
    Value("saved power state", "set -velkossd {drive} -setfeature 2 Save=true DWORD11={value}",
          READ_FEATURE + "2 Select=saved", r"^NVMePowerState - Power State : (\d+)$", range(3)),
    Value("timestamp", "set -velkossd {drive} -timestamp {value}", "show -velkossd {drive} -timestamp",
          r"^Timestamp - .* : (\d+) milliseconds$", range(1800000000000, 1800000001000)),
    Value("attached namespaces", "{value} -velkossd {drive} -namespace 1", NAMESPACES + "attached",
          r"^ *(Entry 0 : .*|No results)$", ("attach", "detach")),
    Value("firmware", "load -force -source {value}.bin -velkossd {drive} FirmwareSlot=2 CommitAction=3",
          "show -d Firmware -velkossd {drive}", r"^Firmware : (\S+)$", ("NEW00001", "NEW00002")),
    Value("format", "start -force -velkossd {drive} -nvmeformat -namespace 1 LBAFormat={value}",
          "show -d SectorSize -velkossd {drive}", r"^SectorSize : (.*)$", ("0", "last")),
]
FORMATS = {"ocp": {"0": "0", "last": "1"}, "ocp-2.6": {"0": "0", "last": "1"}, "velko": {"0": "0", "last": "2"}}
WORDS = {"attach": "Entry 0 : 1", "detach": "No results", "0": "512 bytes", "last": "4096 bytes"}


class KilledCommands(SimulatedTestCase):
    def setUp(self):
        super().setUp()
        self.names = ["ocp", "ocp-2.6", "velko", "sata"]
        for name in self.names:
            self.make_drive(name)
            for revision in ("NEW00001", "NEW00002"):
                (self.world.cwd / f"{name}-{revision}.bin").write_bytes(firmware_image(name, revision))
        self.tool("show", "-velkossd")
        self.random = random.Random(SEED)
        self.outcomes = {"old": 0, "new": 0}

    def line(self, value, drive, choice):
        if value.name.startswith("firmware"):
            choice = f"{drive}-{choice}"
        if value.name == "format":
            choice = FORMATS[drive][choice]
        return value.line.format(drive=SERIALS[drive], value=choice)

    def read(self, value, drive):
        run = self.tool(*value.show.format(drive=SERIALS[drive]).split())
        found = [match[1] for match in map(value.pattern.match, run.stdout.splitlines()) if match]
        self.assertEqual((run.status, run.stderr, len(found)), (0, "", 1), f"seed {SEED}: {value.name}\n{run.stdout}")
        return found[0]

    def run_killed(self, line):
        process = self.world.start("-c", HIDE_DRIVES, TOOL, *line.split(), tool="/bin/sh")
        time.sleep(self.random.uniform(0.2, 1.1) * self.whole_run)
        kill_group(process)

    def count(self, outcome):
        """Later or earlier next time: how long a run takes changes with what else the machine does, so that a time
        measured once would soon kill all runs before they begin, or after they have ended."""
        self.outcomes[outcome] += 1
        self.whole_run *= LATER if outcome == "old" else 1 / LATER

    def time_of(self, line):
        start = time.monotonic()
        run = self.tool(*line.split())
        self.assertEqual(run.status, 0, run)
        return time.monotonic() - start

    def check_one(self, value, drive):
        old = self.read(value, drive)
        choices = [choice for choice in value.values if WORDS.get(choice, str(choice)) != old]
        choice = self.random.choice(choices)
        self.run_killed(self.line(value, drive, choice))
        now = self.read(value, drive)
        self.assertIn(now, (old, WORDS.get(choice, str(choice))), f"seed {SEED}: {value.name}")
        self.count("old" if now == old else "new")
        if value.name == "attached namespaces" and now == "none":
            self.tool("attach", "-velkossd", SERIALS[drive], "-namespace", "1")

    def check_trim(self):
        """On the drive that is not formatted: its media file keeps its name."""
        media = self.drives / "velko-trim" / "media-1-1"
        media.write_bytes(PATTERN)
        os.truncate(media, 64 << 20)
        first, count = self.random.randrange(50), self.random.randrange(1, 50)
        self.run_killed(f"start -force -velkossd SIM-TRIM -trim StartLBA={first} Count={count}")
        self.tool("show", "-velkossd", "SIM-TRIM")
        trimmed = bytearray(PATTERN)
        trimmed[first * BLOCK:(first + count) * BLOCK] = bytes(count * BLOCK)
        with open(media, "rb") as file:
            now = file.read(len(PATTERN))
        self.assertIn(now, (PATTERN, bytes(trimmed)), f"seed {SEED}: trim")
        self.count("old" if now == PATTERN else "new")

    def test_leave_the_old_value_or_the_new_one(self):
        self.make_drive("velko-trim", serial_number="SIM-TRIM")
        self.tool("show", "-velkossd")  # makes its state
        times = sorted(self.time_of(self.line(value, "ocp", value.values[0])) for value in VALUES[:4])
        self.whole_run = times[len(times) // 2]
        for run in range(RUNS):
            number = run % (len(VALUES) + 1)
            if number == len(VALUES):
                self.check_trim()
            else:
                self.check_one(VALUES[number], self.random.choice(VALUES[number].drives))
        # Otherwise the instants missed what they were to hit.
        self.assertGreater(min(self.outcomes.values()), RUNS // 20, f"{self.outcomes}, seed {SEED}")
        listed = self.tool("show", "-d", "SerialNumber,DeviceStatus", "-velkossd").stdout
        self.assertEqual(listed.count("DeviceStatus : Healthy"), 5, listed)
        for name in (*self.names, "velko-trim"):
            left = {re.sub(r"^(media|log)-.*$", r"\1", path.name) for path in (self.drives / name).iterdir()}
            self.assertLessEqual(left, {"description.ini", "state", "lock", "media", "log", "firmware-download"},
                                 f"seed {SEED}: {name}")


if __name__ == "__main__":
    unittest.main()
