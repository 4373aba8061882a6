"""The published interface of feature libraries is binary compatible with the recorded one, by libabigail: a library
that a maker built goes on working until FEATURE_LIBRARY_VERSION is raised.

NIMBREL_REWRITE_GOLDENS=1 records the interface as it is now: only together with another version."""

import os
import pathlib
import platform
import re
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).parents[2]
HEADER = ROOT / "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"
FOLDER = pathlib.Path(__file__).parent / "abi"
EXPORTS, RECORDED = FOLDER / "exports.c", FOLDER / "feature-library.abi"
FUNCTIONS = ("EnableLogger", "GetVer", "Load", "ReceiveXMLMessage", "RegisterDeviceManager", "SendXMLMessage",
             "SetLSIPath", "Unload")
# Bits of the exit status of abidiff.
ERROR, CHANGE = 1, 4


def run(*command):
    return subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          check=False)


class InterfaceAbi(unittest.TestCase):
    def setUp(self):
        if platform.machine() != "x86_64":
            self.skipTest("the interface was recorded on x86-64")
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def build(self, changes=()):
        """A library with the functions of the interface, without optimisation, for its debug information."""
        for source, name in ((HEADER, "FeatureLibrary.h"), (EXPORTS, "exports.c")):
            text = source.read_text()
            for before, after in changes:
                text = text.replace(before, after)
            (self.folder / name).write_text(text)
        library = self.folder / "library.so"
        # The types that no function takes are part of the interface, too: the enumerators are its constants.
        done = run("cc", "-std=c11", "-g", "-fno-eliminate-unused-debug-types", "-fPIC", "-shared", "-I", self.folder,
                   "-o", library, self.folder / "exports.c")
        self.assertEqual((done.returncode, done.stdout), (0, ""))
        return library

    def compare(self, changes=()):
        suppressions = self.folder / "suppressions"
        suppressions.write_text("[suppress_type]\nname = __fsid_t\n")  # the C library's: two records differ in it
        done = run("abidiff", "--no-show-locs", "--non-reachable-types", "--suppressions", suppressions, RECORDED,
                   self.build(changes))
        self.assertEqual(done.returncode & ERROR, 0, done.stdout)
        return done

    def test_the_interface_is_the_recorded_one(self):
        if os.environ.get("NIMBREL_REWRITE_GOLDENS"):
            done = run("abidw", "--no-corpus-path", "--no-comp-dir-path", "--no-show-locs", "--load-all-types",
                       self.build())
            RECORDED.write_text(re.sub(r" path='[^']*'", "", done.stdout))
        done = self.compare()
        self.assertEqual(done.returncode, 0, done.stdout)

    def test_the_record_has_each_function_and_no_other(self):
        found = re.findall(r"<elf-symbol name='([^']+)'", RECORDED.read_text())
        self.assertEqual(sorted(found), sorted(FUNCTIONS))

    def test_each_kind_of_change_is_found(self):
        for before, after, names in (
            ("EnableLogger(const char* path, uint64_t", "EnableLogger(const char* path, uint32_t", "EnableLogger"),
            ("int32_t GetVer(void)", "int64_t GetVer(void)", "GetVer"),
            ("BUFFER_SIZE = 8", "BUFFER_SIZE = 9", "FEATURE_LIBRARY_INVALID_BUFFER_SIZE"),
            ("void SetLSIPath(", "void SetLsiPath(", "SetLSIPath"),
        ):
            with self.subTest(after):
                done = self.compare([(before, after)])
                self.assertNotEqual(done.returncode & CHANGE, 0, done.stdout)
                self.assertIn(names, done.stdout)


if __name__ == "__main__":
    unittest.main()
