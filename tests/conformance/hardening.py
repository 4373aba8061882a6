"""How the built programs and the feature library are protected by compiler and linker, read from the files."""

import os
import re
import subprocess
import tempfile
import unittest

PROGRAMS = [os.environ["NIMBREL_TOOL"], os.environ["NIMBREL_SIMDRIVE"]]
PROGRAMS += [path for path in [os.environ["NIMBREL_EXPORTER"]] if path]
LIBRARY = os.environ["NIMBREL_FEATURE_LIBRARY"]
FILES = PROGRAMS + [LIBRARY]
IS_HARDENED = os.environ["NIMBREL_HARDENED"] == "1"
hardened = unittest.skipUnless(IS_HARDENED, "a build for development: not optimised, or instrumented")

EXPORTS = ["EnableLogger", "GetVer", "Load", "ReceiveXMLMessage", "RegisterDeviceManager", "SendXMLMessage",
           "SetLSIPath", "Unload"]
# Includes the part of Boost.PropertyTree that has boost::none.
FOREIGN_OBJECTS = {"XmlElement.cpp"}
# Stripped. GCC 12 makes 2.26 MB of it, GCC 14 some 3 % more.
MAX_LIBRARY_BYTES = 2400000
# The first instruction of a function that an indirect call may reach: ENDBR64 of x86-64; PACIASP or BTI C of AArch64.
LANDINGS = {"Advanced Micro Devices X86-64": [b"\xf3\x0f\x1e\xfa"],
            "AArch64": [b"\x3f\x23\x03\xd5", b"\x5f\x24\x03\xd5"]}


def readelf(path, *options):
    environment = {**os.environ, "LC_ALL": "C"}
    return subprocess.run(["readelf", "--wide", *options, path], capture_output=True, text=True, check=True,
                          env=environment).stdout


def dynamic_symbols(path, undefined):
    """The names, without their versions, that the file takes from others, or gives to them."""
    names = set()
    for line in readelf(path, "--dyn-syms").splitlines():
        fields = line.split()
        if len(fields) >= 8 and fields[0].rstrip(":").isdigit() and (fields[6] == "UND") == undefined:
            names.add(fields[7].split("@")[0])
    return names


def first_bytes(path, function):
    """The first four bytes of a function of the file."""
    address, = {int(line.split()[1], 16) for line in readelf(path, "--syms").splitlines()
                if line.split()[3:4] == ["FUNC"] and line.split()[-1] == function}
    for line in readelf(path, "--segments").splitlines():
        fields = line.split()
        if fields[:1] != ["LOAD"]:
            continue
        offset, start, length = (int(fields[i], 16) for i in (1, 2, 4))
        if start <= address < start + length:
            with open(path, "rb") as file:
                file.seek(address - start + offset)
                return file.read(4)
    raise AssertionError(f"{path}: {function} is in no segment")


class Hardening(unittest.TestCase):
    def test_programs_and_library_are_position_independent(self):
        for path in FILES:
            self.assertRegex(readelf(path, "--file-header"), r"Type: +DYN ", path)
        for path in PROGRAMS:
            self.assertRegex(readelf(path, "--dynamic"), r"FLAGS_1\).*\bPIE\b", path)

    def test_relocations_are_read_only_before_main(self):
        for path in FILES:
            self.assertRegex(readelf(path, "--dynamic"), r"\(FLAGS(_1)?\).*\b(BIND_NOW|NOW)\b", path)
            self.assertIn("GNU_RELRO", readelf(path, "--segments"), path)

    def test_no_stack_is_executable_and_no_segment_is_writable_code(self):
        for path in FILES:
            segments = readelf(path, "--segments")
            self.assertRegex(segments, r"GNU_STACK +(0x[0-9a-f]+ +){5}RW +0x", path)
            self.assertNotRegex(segments, r"(?m)^ +LOAD .* RWE ", path)

    @hardened
    def test_tool_exports_nothing_to_feature_libraries(self):
        exported = dynamic_symbols(os.environ["NIMBREL_TOOL"], undefined=False)
        self.assertEqual([name for name in sorted(exported) if name.startswith(("_Z", "_Unwind"))], [])

    def test_library_exports_its_functions_alone(self):
        self.assertEqual(sorted(dynamic_symbols(LIBRARY, undefined=False)), EXPORTS)

    @hardened
    def test_tool_and_library_load_nothing_but_the_c_library(self):
        """Each further library would have its symbols looked up by name at every command."""
        for path in (PROGRAMS[0], LIBRARY):
            needed = set(re.findall(r"\(NEEDED\).*\[(.+)\]", readelf(path, "--dynamic")))
            self.assertIn("libc.so.6", needed)
            self.assertEqual({name for name in needed if not name.startswith(("libc.so.", "ld-linux", "ld64"))}, set())

    def test_library_has_its_thread_local_data_without_asking_for_memory(self):
        """The C library ends a process that has none left at the first use of other data."""
        self.assertRegex(readelf(LIBRARY, "--dynamic"), r"\(FLAGS\).*\bSTATIC_TLS\b")

    @hardened
    def test_library_constructs_nothing_when_it_is_loaded(self):
        """Its static objects are constants, or made when they are first needed. That of Boost is not ours:
        boost::none."""
        sources = set(re.findall(r" _GLOBAL__sub_I_(\w+\.cpp)$", readelf(LIBRARY, "--syms"), re.M))
        self.assertEqual(sources - FOREIGN_OBJECTS, set())

    @hardened
    def test_library_has_no_streams(self):
        """They come with locales and their facets for two kinds of characters: a sixth of the library it was."""
        names = set(re.findall(r" (_Z\w+)$", readelf(LIBRARY, "--syms"), re.M))
        self.assertGreater(len(names), 1000, "it is stripped")
        self.assertEqual({name for name in names if re.match("_ZNK?St(6locale|8ios_base)", name)}, set())

    @hardened
    def test_library_is_small(self):
        with tempfile.TemporaryDirectory() as folder:
            stripped = os.path.join(folder, "library")
            subprocess.run(["strip", "-o", stripped, LIBRARY], check=True)
            self.assertLessEqual(os.path.getsize(stripped), MAX_LIBRARY_BYTES)

    @hardened
    def test_stacks_are_protected(self):
        for path in FILES:
            self.assertIn("__stack_chk_fail", dynamic_symbols(path, undefined=True), path)

    @hardened
    def test_calls_of_the_c_library_are_checked(self):
        for path in FILES:
            checked = [name for name in dynamic_symbols(path, undefined=True) if re.match(r"__[a-z]+_chk$", name)]
            self.assertNotEqual(checked, [], path)

    @hardened
    def test_indirect_calls_land_where_they_may(self):
        """By the code and not by the property note of the file: the linker leaves that out where an object of the C
        library lacks it."""
        machine = re.search(r"Machine: +(.+)", readelf(LIBRARY, "--file-header")).group(1)
        if machine not in LANDINGS:
            self.skipTest(f"no control-flow protection on {machine}")
        for path, function in [(LIBRARY, name) for name in EXPORTS] + [(path, "main") for path in PROGRAMS]:
            self.assertIn(first_bytes(path, function), LANDINGS[machine], (path, function))


if __name__ == "__main__":
    unittest.main()
