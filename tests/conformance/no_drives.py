"""The tool with the real feature library on a machine without drives."""

import os
import unittest

from world import TOOL, ToolTestCase

FEATURE_LIBRARY = os.environ["NIMBREL_FEATURE_LIBRARY"]
# Whatever drives the machine of the test has: inside there are none.
HIDE_DRIVES = 'mount -t tmpfs tmpfs /sys/class && exec "$0" "$@"'


class NoDrives(ToolTestCase):
    def setUp(self):
        super().setUp()
        self.world.install_library(FEATURE_LIBRARY)

    def check_tool(self, *arguments, **expected):
        self.check("-c", HIDE_DRIVES, TOOL, *arguments, tool="/bin/sh", **expected)

    def test_a_list_is_empty(self):
        self.check_tool("show", "-velkossd", stdout="\nNo results\n\n")

    def test_a_drive_that_is_named_is_unknown_by_its_kind(self):
        for name, kind in (("0", "index"), ("S1", "serial"), ("/dev/nvme0", "path"), ("/dev/null", "path"),
                           ("bootdrive", "ID")):
            with self.subTest(name):
                self.check_tool("show", "-velkossd", name, status=3,
                                stdout=f"Error: Provided device {kind} is invalid. Device could not be found.\n")


if __name__ == "__main__":
    unittest.main()
