"""`nimbrel-simdrive snapshot` and `reset`, killed before each of their system calls, one after the other: drive and
snapshot are whole, each as it was or as it should be, and the next command leaves nothing of the killed one."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from injection import call_numbers, program_calls

SIMDRIVE = os.environ.get("NIMBREL_SIMDRIVE", "")
FAILING_CALL = os.environ.get("NIMBREL_FAILING_CALL", "")
KILLED = -9
MEMORY = "/dev/shm"
LOCKS = ("lock", "served")
OLD, NEW = 30, 40  # a temperature, and the byte that the media are full of
LEFT_ALONE = (
    "exit_group",  # all is done
    "getrandom",  # changes nothing; how often mkdtemp(3) asks depends on where the kernel put the stack
)


class KilledCommands(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        # In memory, where there is such a place: each run waits until the file system is on its disk.
        memory = MEMORY if os.access(MEMORY, os.W_OK) else None
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="nimbrel-killed-", dir=memory))
        self.addCleanup(shutil.rmtree, self.scratch)
        self.drives = self.scratch / "drives"
        self.report = self.scratch / "report"

    def simdrive(self, *words, fault=None):
        command = [SIMDRIVE, *words, "--folder", str(self.drives)]
        if fault:
            command = [FAILING_CALL, str(self.report), fault, *command]
        return subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, timeout=60)

    def must(self, *words, **options):
        run = self.simdrive(*words, **options)
        self.assertEqual((run.returncode, run.stderr), (0, b""), words)

    def mark(self, value):
        """The drive's description and its other files say the same number."""
        self.must("fault", "a", "--temperature", str(value))
        with open(self.drives / "a/media-1-1", "wb") as media:
            media.write(bytes([value]) * 200000)
            media.seek(1 << 19)  # after a hole
            media.write(bytes([value]) * 512)
        (self.drives / "a/firmware-download").write_bytes(bytes([value]) * 5000)

    def files(self, name):
        folder = self.drives / name
        if not folder.exists():
            return None
        return {path.name: path.read_bytes() for path in folder.iterdir() if path.name not in LOCKS}

    def names(self):
        return sorted({path.name for path in self.drives.iterdir()} - {".nimbrel-simdrive.lock"})

    def restore(self, kept):
        shutil.rmtree(self.drives)
        shutil.copytree(kept, self.drives)

    def kill_everywhere(self, command, begin, outcomes):
        """Whole outcomes: (drive, snapshot) as it was and as it should be."""
        kept = self.scratch / "kept"
        begin()
        shutil.copytree(self.drives, kept)
        self.restore(kept)  # a copy may have other holes
        self.must(*command, fault="list")
        calls = [call for call in program_calls(self.report.read_text()) if call[0] not in LEFT_ALONE]
        self.assertGreater(len(calls), 50)
        numbers = call_numbers()
        seen = set()
        for name, number, subject in calls:
            with self.subTest(f"{name} {number} {subject}"):
                self.restore(kept)
                run = self.simdrive(*command, fault=f"{numbers[name]}:{number}:kill")
                self.assertEqual((run.returncode, run.stderr), (KILLED, b""))
                found = (self.files("a"), self.files(".snapshot-a"))
                self.assertIn(found, outcomes)
                seen.add(outcomes.index(found))
                self.must("fault", "a")  # takes the lock
                self.assertEqual(self.names(), [".snapshot-a", "a"] if found[1] else ["a"])
                self.assertEqual((self.files("a"), self.files(".snapshot-a")), found)
                self.must(*command)
                self.assertEqual((self.files("a"), self.files(".snapshot-a")), outcomes[1])
        self.assertEqual(seen, {0, 1})

    def make(self):
        """A drive that is NEW with a snapshot that is OLD; returns the files of both."""
        self.must("create", "a", "--size", "1MiB", "--serial", "S1")
        self.mark(OLD)
        old = self.files("a")
        self.must("snapshot", "a")
        self.mark(NEW)
        new = self.files("a")
        self.assertNotEqual(old, new)
        self.assertEqual(sorted(new), ["description.ini", "firmware-download", "media-1-1", "state"])
        return old, new

    def test_first_snapshot(self):
        _, new = self.make()
        self.kill_everywhere(["snapshot", "a"], lambda: shutil.rmtree(self.drives / ".snapshot-a"),
                             [(new, None), (new, new)])

    def test_snapshot_that_replaces_another(self):
        old, new = self.make()
        self.kill_everywhere(["snapshot", "a"], lambda: None, [(new, old), (new, new)])

    def test_reset(self):
        old, new = self.make()
        self.kill_everywhere(["reset", "a"], lambda: None, [(new, old), (old, old)])


if __name__ == "__main__":
    unittest.main()
