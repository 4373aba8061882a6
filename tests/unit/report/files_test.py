import os
import pathlib
import stat
import tempfile
import threading
import unittest
from unittest import mock

import samples  # noqa: F401  (sets the path)
from nimbrel_report import files


class Files(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name)
        self.path = self.folder / "report.html"

    def refused(self, words, path=None):
        with self.assertRaisesRegex(files.Refused, words):
            files.write(str(path or self.path), b"new")

    def test_a_new_file_is_its_owners_alone(self):
        files.write(str(self.path), b"new")
        self.assertEqual(self.path.read_bytes(), b"new")
        self.assertEqual(stat.S_IMODE(self.path.stat().st_mode), 0o600)
        self.assertEqual(os.listdir(self.folder), ["report.html"])

    def test_a_replaced_file_keeps_its_mode_and_other_names_their_contents(self):
        self.path.write_bytes(b"old")
        self.path.chmod(0o644)
        os.link(self.path, self.folder / "other")
        files.write(str(self.path), b"new")
        self.assertEqual(stat.S_IMODE(self.path.stat().st_mode), 0o644)
        self.assertEqual((self.folder / "other").read_bytes(), b"old")

    def test_a_failure_leaves_the_old_file_and_nothing_else(self):
        self.path.write_bytes(b"old")
        with mock.patch("os.fsync", side_effect=OSError(28, "No space left on device")):
            with self.assertRaises(OSError):
                files.write(str(self.path), b"new")
        self.assertEqual(self.path.read_bytes(), b"old")
        self.assertEqual(os.listdir(self.folder), ["report.html"])

    def test_a_link_is_not_written_through(self):
        target = self.folder / "target"
        target.write_bytes(b"old")
        self.path.symlink_to(target)
        self.refused("It is a symbolic link.")
        self.assertEqual(target.read_bytes(), b"old")

    def test_ones_own_link_on_the_way_is_followed(self):
        (self.folder / "real").mkdir()
        (self.folder / "way").symlink_to("real")
        files.write(str(self.folder / "way/report.html"), b"new")
        self.assertEqual((self.folder / "real/report.html").read_bytes(), b"new")

    def test_a_link_of_another_user_in_an_open_folder_is_not_followed(self):
        (self.folder / "real").mkdir()
        (self.folder / "way").symlink_to("real")
        self.folder.chmod(0o777)
        with mock.patch("os.stat", side_effect=lambda *a, real=os.stat, **k: foreign(real(*a, **k))):
            self.refused("A link of another user on the way is not followed.", self.folder / "way/report.html")
        self.assertEqual(os.listdir(self.folder / "real"), [])

    def test_a_file_of_another_user_in_an_open_folder_is_refused(self):
        self.path.write_bytes(b"old")
        self.folder.chmod(0o777)
        with mock.patch("os.geteuid", return_value=os.geteuid() + 1):
            self.refused("It belongs to another user, in a folder that others may write.")

    def test_a_file_with_several_names_in_an_open_folder_is_refused(self):
        self.path.write_bytes(b"old")
        os.link(self.path, self.folder / "other")
        self.folder.chmod(0o777)
        self.refused("It has several names, in a folder that others may write.")

    def test_a_pipe_without_a_reader_is_refused_and_one_with_a_reader_written(self):
        os.mkfifo(self.path)
        self.refused("No process reads from this pipe.")
        read = []
        reader = threading.Thread(target=lambda: read.append(self.path.read_bytes()))
        reader.start()
        while True:  # Until the reader has opened the pipe.
            try:
                files.write(str(self.path), b"new" * 100000)
                break
            except files.Refused:
                continue
        reader.join(timeout=30)
        self.assertEqual(read, [b"new" * 100000])

    def test_folders_and_loops_are_errors(self):
        self.refused("It is a folder.", str(self.folder) + "/")
        self.path.mkdir()
        self.refused("It is neither a file nor a pipe.")
        (self.folder / "loop").symlink_to("loop")
        with self.assertRaises(OSError):
            files.write(str(self.folder / "loop/report.html"), b"new")


def foreign(about):
    """The same, of an owner that nothing else belongs to."""
    return os.stat_result((about.st_mode, about.st_ino, about.st_dev, about.st_nlink, 54321, *about[5:]))


if __name__ == "__main__":
    unittest.main()
