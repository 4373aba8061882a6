"""A signal comes while the library carries out a request: the line, at once, and the end by the signal."""

import os
import pathlib
import signal
import time
import unittest

from feature_library import BindingTestCase, RESPONSE
from world import TOOL, kill_group, without_emulation, without_sanitizers

KERNEL = "A command that the kernel is carrying out cannot be interrupted: the process ends with it.\n"
READS = f"nimbrel ends. {KERNEL}"


def changes(show, of_sata=None):
    sata = f', of a SATA drive "nimbrel {of_sata}"' if of_sata else ""
    return (f'nimbrel ends, the drive goes on with the commands that it has received; "nimbrel {show}" shows the '
            f"outcome{sata}. {KERNEL}")


# Which command shows what came of the one that was interrupted.
LINES = (
    ("show -velkossd", READS),
    ("dump -velkossd 0 -nlog", READS),
    ("start -velkossd 0 -scan ReadScan", READS),
    ("delete -force -velkossd 0", changes("show -velkossd 0 -identify -namespace 1",
                                          of_sata="show -velkossd 0 -backgroundprocessing")),
    ("start -force -velkossd 0 -nvmeformat", changes("show -velkossd 0 -identify -namespace 1")),
    ("start -force -velkossd 0 -sanitize", changes("show -velkossd 0 -backgroundprocessing")),
    ("start -velkossd SER1 -selftest", changes("show -velkossd SER1 -selftest")),
    ("reset -velkossd 0 -enduranceanalyzer", changes("show -velkossd 0 -enduranceanalyzer")),
    ("load -force -velkossd 0", changes("show -velkossd 0 -nvmelog 3", of_sata="show -velkossd 0")),
    ("load -velkossd 0 -firmwareactivate FirmwareSlot=1 CommitAction=2",
     changes("show -velkossd 0 -nvmelog 3", of_sata="show -velkossd 0")),
    ("start -velkossd 0 -performancebooster", changes("show -velkossd 0 -performancebooster")),
    ("delete -force -velkossd 0 -namespace 1", changes("show -velkossd 0 -identify -namespace allocated")),
    ("set -velkossd 0 -timestamp 5", changes("show -velkossd 0 -timestamp")),
    ("set -velkossd 0 TempThreshold=70", changes("show -velkossd 0")),
)
HANG_MS = 120000


class Interrupted(BindingTestCase):
    def setUp(self):
        super().setUp()
        self.install(sleepMs=HANG_MS)
        self.answer(RESPONSE)

    def start(self, words, prefix=()):
        """Starts the tool and returns when its request is with the library."""
        arguments = [*prefix, TOOL, *words.split()]
        process = self.world.start(*arguments[1:], tool=arguments[0])
        self.addCleanup(kill_group, process)
        calls = self.beside(".calls")
        limit = time.monotonic() + 60
        while not calls.exists() or "SendXMLMessage" not in calls.read_text():
            self.assertLess(time.monotonic(), limit, words)
            time.sleep(0.01)
        calls.unlink()
        return process

    def test_names_the_command_that_shows_the_outcome_and_ends_by_the_signal(self):
        for number, (words, line) in enumerate(LINES):
            which = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)[number % 3]
            process = self.start(words)
            os.kill(process.pid, which)
            self.assertEqual(process.stderr.read().decode(), f"{which.name}: {line}", words)
            self.assertEqual(process.wait(), -which, words)

    def test_leaves_an_ignored_signal_ignored(self):
        self.instruct(sleepMs=1000)
        process = self.start("show -velkossd", prefix=("nohup",))
        os.kill(process.pid, signal.SIGHUP)
        out, err = process.communicate(timeout=60)
        self.assertEqual((process.returncode, out, err), (0, b"\nNo results\n\n", b""))

    @without_sanitizers
    def test_ends_the_first_process_of_a_container(self):
        """No default action ends the process with the number 1."""
        process = self.start("show -velkossd", prefix=("unshare", "--pid", "--fork", "--kill-child"))
        children = pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/children").read_text()
        os.kill(int(children), signal.SIGTERM)
        self.assertEqual(process.stderr.read().decode(), f"SIGTERM: {READS}")
        self.assertEqual(process.wait(), 128 + signal.SIGTERM)

    @without_sanitizers
    @without_emulation
    def test_before_and_after_the_request_there_is_no_thread(self):
        self.instruct(sleepMs=0)
        for words, threads in (("version", 0), ("help", 0), ("show -velkossd", 1)):
            trace = self.world.cwd / "trace"
            self.world.run("-f", "-e", "trace=clone,clone3", "-e", "signal=none", "-o", str(trace), TOOL,
                           *words.split(), tool="strace")
            self.assertEqual(trace.read_text().count("clone"), threads, words)


if __name__ == "__main__":
    unittest.main()
