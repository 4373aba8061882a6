"""The binding to the feature library: where it is looked for, what is called with which arguments, what every failure
reads like. The library is the recording one; what follows a request is driven through the binding probe, a program that
starts as the tool does."""

import itertools
import os
import pathlib
import shutil
import subprocess
import unittest

from settings import CHANGEABLE, DEFAULTS, config
from world import HIDE_PROC, LIBRARY_NAME, TOOL, ToolTestCase, without_emulation, without_sanitizers

RECORDING_LIBRARY = pathlib.Path(os.environ["NIMBREL_RECORDING_LIBRARY"])
# With the shared C++ library, and with a copy of its own: an exception of either crosses into that of the tool.
THROWING = ["", "of_its_own"]
PROBE = os.environ["NIMBREL_BINDING_PROBE"]

INSTALLED = f"/opt/velko/nimbrel/{LIBRARY_NAME}"
LOG = "/var/log/VelkoSSDOSTREL.log"

NOT_FOUND = "1 Error: Failed to find or load valid library: Velko.SSDFeatures.so.3.0.0--------"
WRONG_VERSION = "1 Error: Invalid OSTREL Interface version."
FUNCTION_MISSING = "1 Error: Failed to load OSTREL Interface functions."
NOT_LOADED = "1 Error: OSTREL Interface not loaded"
RECEIVE_FAILED = "2 Out of Memory: OSTREL Interface failure receiving XML Response. "
LOG_IS_LINK = ("11 Error: Debug LogFile given is a symlink. Please resolve by deleting or removing symlink: "
               f"{LOG}")
LOG_REFUSED = (f"4 Error: Invalid debug log file given: {LOG}\n"
               "Please use show -system and set -system to correct log file path.")

START = ["GetVer()", "RegisterDeviceManager(null)", "Load(1)"]
LOGGER_ON = f'EnableLogger("{LOG}", 27, 0, 0)'
LOGGER_OFF = 'EnableLogger("", 0, 0, 1)'
SET_LSI_PATH = 'SetLSIPath("/usr/lib/nimbrel/storelib.so", 28)'

# What the probe sends for send=NAME.
REQUEST = ('<?xml version="1.0" encoding="utf-8"?><Object description="a request" name="%s" value="a&amp;lt;b">'
           '<Property name="Key" value="Value"/></Object>')
RESPONSE = ('<?xml version="1.0" encoding="utf-8"?><Object name="R"><Object category="status">'
            '<Property name="Category" value="0"/><Property name="Code" value="0"/>'
            '<Property name="Message" value="Completed successfully."/></Object></Object>')


def response(*status_properties, category="status"):
    properties = "".join(f'<Property name="{name}" value="{value}"/>' for name, value in status_properties)
    return f'<Object name="R"><Object category="{category}">{properties}</Object></Object>'


class BindingTestCase(ToolTestCase):
    library = None  # the one that was installed last, as seen from outside

    def install(self, variant="", at=None, **instructions):
        """Puts the recording library, or a variant of it, at a place as seen from outside."""
        source = RECORDING_LIBRARY
        if variant:
            source = source.with_name(f"{source.stem}_{variant}.so")
        self.library = pathlib.Path(at or self.world.opt / LIBRARY_NAME)
        shutil.copy(source, self.library)
        self.instruct(**instructions)

    def instruct(self, **instructions):
        self.beside(".instructions").write_text("".join(f"{key} {value}\n" for key, value in instructions.items()))

    def answer(self, text, number=""):
        self.beside(f".answer{number}").write_bytes(text if isinstance(text, bytes) else text.encode())

    def beside(self, suffix, library=None):
        library = library or self.library
        return library.with_name(library.name + suffix)

    def calls(self, library=None):
        """The calls since the last question."""
        file = self.beside(".calls", library)
        if not file.exists():
            return []
        lines = file.read_text().splitlines()
        file.unlink()
        return lines

    def probe(self, *arguments, **options):
        run = self.world.run(*arguments, tool=PROBE, **options)
        self.assertEqual((run.stderr, run.status), ("", 0), run)
        return run.stdout

    def check_load_error(self, error):
        """The failure is kept for the first who asks, and the tool runs on without it."""
        self.assertEqual(self.probe("loadError", "loadError"), f"loadError: {error}\nloadError: null\n")
        self.assertEqual(self.world.run("version").status, 0)
        self.assertEqual(self.world.run("help").status, 0)

    def check_send(self, result, status="7/8 (none)", text="(none)", tree="(none)"):
        self.assertEqual(self.probe("send=A"), f"{result}\nstatus: {status}\ntext: {text}\ntree: {tree}\n")


class Loading(BindingTestCase):
    def test_happens_on_every_run_whatever_the_command(self):
        self.install()
        for command in (["help"], ["version"], ["show", "-system"], ["nonsense"], []):
            self.world.run(*command)
            self.assertEqual(self.calls(), START + ["Unload()"], command)

    def test_needs_root(self):
        self.install()
        self.world.run("version", root=False)
        self.assertEqual(self.calls(), [])

    def test_is_left_alone_by_a_bad_configuration(self):
        self.install()
        self.world.config.write_text("no XML")
        self.assertEqual(self.world.run("version").status, 12)
        self.assertEqual(self.calls(), [])

    def test_without_a_library_fails_for_who_needs_one(self):
        self.check_load_error(NOT_FOUND)

    def test_looks_in_three_places_in_order(self):
        here = self.world.scratch / "bin"
        here.mkdir()
        tool = shutil.copy(TOOL, here / "nimbrel")
        configured = self.world.cwd / "my library"
        beside = here / LIBRARY_NAME
        installed = self.world.opt / LIBRARY_NAME
        self.world.config.write_text(config(library=str(configured)))
        for path in (configured, beside, installed):
            self.install(at=path)
        for used in (configured, beside, installed):
            self.world.run("version", tool=tool)
            for path in (configured, beside, installed):
                self.assertEqual(self.calls(path), START + ["Unload()"] if path == used else [], (used, path))
            used.unlink()

    def test_without_a_configured_place_looks_in_two(self):
        self.install()
        self.assertEqual(self.probe("loadError"), "loadError: null\n")
        self.assertEqual(self.calls(), START + ["Unload()"])

    def test_passes_over_files_that_do_not_load(self):
        configured = self.world.cwd / "library"
        configured.write_text("no library")
        self.world.config.write_text(config(library=str(configured)))
        self.install()
        self.assertEqual(self.probe("loadError"), "loadError: null\n")
        self.assertEqual(self.calls(), START + ["Unload()"])
        self.library.write_text("no library either")
        self.check_load_error(f"{NOT_FOUND}\n{configured}: file too short\n{INSTALLED}: file too short")
        self.library.unlink()
        self.library.mkdir()
        self.check_load_error(f"{NOT_FOUND}\n{configured}: file too short\n"
                              f"{INSTALLED}: '{INSTALLED}' is not a regular file")
        self.library.rmdir()
        configured.unlink()
        self.check_load_error(NOT_FOUND)

    def test_logs_what_it_passed_over(self):
        configured = self.world.cwd / "library"
        configured.write_text("no library")
        self.world.config.write_text(config(library=str(configured), enable_log="true"))
        self.install()
        self.check("version", "-d", "bad", status=8,
                   stdout="Error: Invalid license parameter, use -d license to view the license.\n")
        log = (self.world.var_log / "VelkoSSDOSTREL.log").read_text()
        self.assertIn(f" [error] Feature library passed over: {configured}: file too short\n", log)

    def test_passes_over_files_that_other_users_can_change(self):
        configured = self.world.cwd / "folder" / "library"
        configured.parent.mkdir()
        self.install(at=configured)
        self.install()
        self.world.config.write_text(config(library=str(configured), enable_log="true"))
        for place, mode in ((configured, 0o757), (configured, 0o775), (configured.parent, 0o777),
                            (self.world.scratch, 0o770)):
            before = place.stat().st_mode & 0o7777
            place.chmod(mode)
            self.assertEqual(self.probe("loadError"), "loadError: null\n", "the next one serves")
            self.assertEqual(self.calls(), START + [LOGGER_ON, "Unload()"])
            self.assertEqual(self.calls(configured), [])
            log = (self.world.var_log / "VelkoSSDOSTREL.log").read_text()
            reason = f"'{place}' can be written by others than its owner (mode {mode:04o})"
            self.assertIn(f" [error] Feature library passed over: {configured}: {reason}\n", log)
            self.library.rename(self.world.scratch / "away")
            self.check_load_error(f"{NOT_FOUND}\n{configured}: {reason}")
            (self.world.scratch / "away").rename(self.library)
            place.chmod(before)
        configured.parent.chmod(0o1777)
        self.assertEqual(self.probe("loadError"), "loadError: null\n", "no other user can replace it there")
        self.assertEqual(self.calls(configured), START + [LOGGER_ON, "Unload()"])

    def test_checks_where_a_link_leads(self):
        target = self.world.cwd / "target"
        link = self.world.cwd / "link"
        link.symlink_to(target)
        self.install(at=target)
        self.world.config.write_text(config(library=str(link)))
        self.assertEqual(self.probe("loadError"), "loadError: null\n")
        self.assertEqual(self.calls(target), START + ["Unload()"])
        target.chmod(0o777)
        self.check_load_error(f"{NOT_FOUND}\n{link}: '{target}' can be written by others than its owner (mode 0777)")
        self.assertEqual(self.calls(target), [])

    def test_loads_the_very_file_that_was_checked(self):
        """Without a '/' in the name the loader would search its own folders, and it would expand a '$'."""
        library = self.world.cwd / "library"
        self.install(at=library)
        self.world.config.write_text(config(library="library"))
        self.assertEqual(self.probe("loadError"), "loadError: null\n")
        self.assertEqual(self.calls(library), START + ["Unload()"])
        named = self.world.cwd / "$LIB"
        self.install(at=named)
        self.world.config.write_text(config(library=str(named)))
        self.check_load_error(f"{NOT_FOUND}\n{named}: dlopen() would expand the '$' in its path")

    def test_fails_with_a_library_that_throws(self):
        for function, calls in (("dlopen", 0), ("GetVer", 1), ("RegisterDeviceManager", 2), ("Load", 3)):
            reasons = (("throwIn", function), ("throwOtherIn", "unknown exception"))
            for variant, (key, reason) in itertools.product(THROWING, reasons):
                self.install(variant, **{key: function})
                self.check_load_error(f"1 Error: The feature library failed in {function} with an exception: {reason}")
                self.assertEqual(self.calls(), START[:calls] * 3, "closed without Unload")
                self.check_send(f"send: {NOT_LOADED}")
                self.calls()

    def test_goes_on_after_a_library_that_throws_in_a_service(self):
        self.world.config.write_text(config(enable_log="true", lsi="true"))
        for function, variant in itertools.product(("EnableLogger", "SetLSIPath"), THROWING):
            self.install(variant, throwIn=function)
            self.check_load_error(f"1 Error: The feature library failed in {function} with an exception: {function}")
            self.assertEqual(self.calls(), (START + [LOGGER_ON, SET_LSI_PATH, "Unload()"]) * 3)

    def test_does_not_pass_over_a_library_of_another_version(self):
        configured = self.world.cwd / "library"
        self.world.config.write_text(config(library=str(configured)))
        self.install(at=configured, version=30000399)
        self.install()
        self.check_load_error(WRONG_VERSION)
        self.assertEqual(self.calls(configured), ["GetVer()"] * 3)
        self.assertEqual(self.calls(), [])

    @without_emulation  # the emulator has a /proc of its own
    def test_looks_in_the_working_folder_when_the_executable_is_unknown(self):
        self.install(at=self.world.cwd / LIBRARY_NAME)
        self.world.config.write_text(DEFAULTS)
        run = self.world.run("-c", f"{HIDE_PROC} && exec {TOOL} version", tool="/bin/sh",
                             env={"ASAN_OPTIONS": "detect_leaks=0"})
        self.assertEqual(run.status, 0)
        self.assertEqual(self.calls(), START + ["Unload()"])

    def test_refuses_wrong_versions(self):
        for version in (30000399, 30000401, 0, 4294967295):
            self.install(version=version)
            self.check_load_error(WRONG_VERSION)
            self.assertEqual(self.calls(), ["GetVer()"] * 3, "closed without Unload")
        self.install("without_GetVer")
        self.check_load_error(WRONG_VERSION)
        self.assertEqual(self.calls(), [])

    def test_refuses_a_library_without_a_required_function(self):
        for function in ("RegisterDeviceManager", "Load", "SendXMLMessage", "ReceiveXMLMessage"):
            self.install(f"without_{function}")
            self.check_load_error(FUNCTION_MISSING)
            self.assertEqual(self.calls(), ["GetVer()"] * 3, function)
            self.check_send(f"send: {NOT_LOADED}")
            self.calls()

    def test_does_without_optional_functions(self):
        self.world.config.write_text(config(enable_log="true", lsi="true"))
        calls = {"EnableLogger": [SET_LSI_PATH, "Unload()"], "SetLSIPath": [LOGGER_ON, "Unload()"],
                 "Unload": [LOGGER_ON, SET_LSI_PATH]}
        for function, expected in calls.items():
            self.install(f"without_{function}")
            self.assertEqual(self.probe("loadError", "disableLoggerIfOff"), "loadError: null\n")
            self.assertEqual(self.calls(), START + expected, function)
            self.library.unlink()

    def test_stays_failed_for_the_process(self):
        self.check_send(f"send: {NOT_LOADED}")
        self.install(version=1)
        self.check_send(f"send: {NOT_LOADED}")


class HandingOver(BindingTestCase):
    def test_of_the_log(self):
        self.install()
        for value in ("true", "TRUE", "True"):
            self.world.config.write_text(config(enable_log=value))
            self.assertEqual(self.probe("loadError"), "loadError: null\n")
            self.assertEqual(self.calls(), START + [LOGGER_ON, "Unload()"])

    def test_of_a_refused_log(self):
        self.install(loggerCode=6)
        self.world.config.write_text(config(enable_log="true"))
        self.check_load_error(LOG_REFUSED)
        self.assertEqual(self.calls(), (START + [LOGGER_ON, "Unload()"]) * 3)
        self.answer(RESPONSE)
        self.assertEqual(self.probe("send=A").splitlines()[0], "send: null", "the library itself is loaded")

    def test_takes_other_codes_for_success(self):
        self.world.config.write_text(config(enable_log="true"))
        for code in (1, 5, 7, 8, 4294967295):
            self.install(loggerCode=code)
            self.assertEqual(self.probe("loadError"), "loadError: null\n", code)

    def test_of_a_log_that_is_a_link(self):
        self.install()
        self.world.config.write_text(config(enable_log="true"))
        target = self.world.scratch / "target"
        target.write_text("precious")
        for place in (target, self.world.scratch / "absent"):
            (self.world.var_log / "VelkoSSDOSTREL.log").symlink_to(place)
            self.check_load_error(LOG_IS_LINK)
            self.assertEqual(self.calls(), (START + ["Unload()"]) * 3)
            (self.world.var_log / "VelkoSSDOSTREL.log").unlink()
        self.assertEqual(target.read_text(), "precious")
        self.assertFalse((self.world.scratch / "absent").exists())

    def test_of_the_adapter_path(self):
        self.install()
        for value in ("true", "TRUE"):
            self.world.config.write_text(config(lsi=value))
            self.assertEqual(self.probe("loadError"), "loadError: null\n")
            self.assertEqual(self.calls(), START + [SET_LSI_PATH, "Unload()"])

    def test_of_the_adapter_path_after_a_log_error(self):
        self.world.config.write_text(config(enable_log="true", lsi="true"))
        self.install(loggerCode=6)
        self.check_load_error(LOG_REFUSED)
        self.assertEqual(self.calls(), (START + [LOGGER_ON, SET_LSI_PATH, "Unload()"]) * 3)
        self.install()
        (self.world.var_log / "VelkoSSDOSTREL.log").unlink()
        (self.world.var_log / "VelkoSSDOSTREL.log").symlink_to("/absent")
        self.check_load_error(LOG_IS_LINK)
        self.assertEqual(self.calls(), (START + [SET_LSI_PATH, "Unload()"]) * 3)

    def test_opens_no_adapter_library(self):
        self.install()
        self.world.config.write_text(config(lsi="true"))
        self.install(at=self.world.overlay_usr_lib() / "storelib.so")
        adapter = self.library
        self.library = self.world.opt / LIBRARY_NAME
        self.assertEqual(self.probe("loadError"), "loadError: null\n")
        self.assertEqual(self.calls(), START + [SET_LSI_PATH, "Unload()"])
        self.assertEqual(self.calls(adapter), [])

    def test_goes_by_the_configuration_that_the_run_began_with(self):
        """One reading serves a run: what becomes of the file meanwhile counts from the next run on."""
        self.install(emptyConfigurationIn="Load")
        self.world.config.write_text(config(enable_log="true", lsi="true"))
        self.assertEqual(self.probe("loadError", "disableLoggerIfOff"), "loadError: null\n")
        self.assertEqual(self.calls(), START + [LOGGER_ON, SET_LSI_PATH, "Unload()"])
        self.assertEqual(os.listdir(self.world.var_log), ["VelkoSSDOSTREL.log"])
        self.assertEqual(self.world.config.read_text(), "")
        self.install()
        self.probe("disableLoggerIfOff")
        self.assertEqual(self.calls(), START + [LOGGER_OFF, "Unload()"])
        self.assertEqual(self.world.config.read_text(), DEFAULTS)

    def test_replaces_no_configuration_that_others_can_change(self):
        """Nor could they when the run began. It is read again before it is replaced."""
        for function in ("Load", "SetLSIPath"):
            self.install(shareConfigurationIn=function)
            self.world.config.write_text(config(enable_log="true", lsi="true"))
            self.world.config.chmod(0o600)
            before = self.world.config.read_text()
            self.check("set", "-system", "EnableLog=false", status=5, stdout=CHANGEABLE)
            self.assertEqual(self.calls(), START + [LOGGER_ON, SET_LSI_PATH])
            self.assertEqual(self.world.config.read_text(), before)

    def test_of_the_log_ends_on_request(self):
        self.install()
        for value, calls in (("false", [LOGGER_OFF]), ("FALSE", [LOGGER_OFF])):
            self.world.config.write_text(config(enable_log=value))
            self.probe("disableLoggerIfOff")
            self.assertEqual(self.calls(), START + calls + ["Unload()"])
        self.world.config.write_text(config(enable_log="true"))
        self.probe("disableLoggerIfOff")
        self.assertEqual(self.calls(), START + [LOGGER_ON, "Unload()"])


class Requests(BindingTestCase):
    def setUp(self):
        super().setUp()
        self.install()

    @staticmethod
    def sent(name="A"):
        text = REQUEST % name
        return 'SendXMLMessage("' + text.replace('"', r"\x22") + f'", {len(text)}, null)'

    def test_come_back_as_text_tree_and_status(self):
        self.answer(RESPONSE)
        self.check_send("send: null", "0/0 Completed successfully.", RESPONSE, RESPONSE)
        self.assertEqual(self.calls(), START + [self.sent(), "ReceiveXMLMessage(request 1, null, 0)",
                                                f"ReceiveXMLMessage(request 1, page, {len(RESPONSE)})", "Unload()"])

    def test_go_out_one_after_the_other(self):
        first, second = response(("Code", "0"), ("Message", "one")), response(("Code", "3"), ("Message", "two"))
        self.answer(first, 1)
        self.answer(second, 2)
        head = '<?xml version="1.0" encoding="utf-8"?>'
        self.assertEqual(self.probe("send=A", "send=B"),
                         f"send: null\nstatus: 0/0 one\ntext: {first}\ntree: {head}{first}\n"
                         f"send: 3 Error: two\nstatus: 0/3 two\ntext: {second}\ntree: {head}{second}\n")
        self.assertEqual(self.calls(), START + [
            self.sent("A"), "ReceiveXMLMessage(request 1, null, 0)", f"ReceiveXMLMessage(request 1, page, {len(first)})",
            self.sent("B"), "ReceiveXMLMessage(request 2, null, 0)", f"ReceiveXMLMessage(request 2, page, {len(second)})",
            "Unload()"])

    def test_may_take_their_time(self):
        self.instruct(sleepMs=1500)
        self.answer(RESPONSE)
        self.check_send("send: null", "0/0 Completed successfully.", RESPONSE, RESPONSE)

    def test_take_the_size_of_the_second_call(self):
        self.answer(RESPONSE + "<junk")
        self.instruct(secondSize=len(RESPONSE))
        self.check_send("send: null", "0/0 Completed successfully.", RESPONSE, RESPONSE)

    def check_receive_failure(self, reason, receives):
        self.answer(RESPONSE)
        self.check_send(f"send: {RECEIVE_FAILED}{reason}")
        self.assertEqual(self.calls(), START + [self.sent()] + receives + ["Unload()"])

    def test_fail_with_the_code_of_the_first_receive(self):
        for code, text in ((1, 1), (7, 7), (4294967295, -1)):
            self.instruct(firstCode=code)
            self.check_receive_failure(f"OSTREL Interface error code = {text}", ["ReceiveXMLMessage(request 1, null, 0)"])

    def test_fail_with_the_code_of_the_second_receive_and_see_no_third(self):
        calls = ["ReceiveXMLMessage(request 1, null, 0)", f"ReceiveXMLMessage(request 1, page, {len(RESPONSE)})"]
        for code in (1, 8):
            self.instruct(secondCode=code)
            self.check_receive_failure(f"OSTREL Interface error code = {code}", calls)

    def test_fail_on_an_answer_into_an_empty_buffer(self):
        self.instruct(firstCode=0)
        self.check_receive_failure("OSTREL Interface error code = 0", ["ReceiveXMLMessage(request 1, null, 0)"])

    def test_fail_on_a_size_of_zero(self):
        calls = ["ReceiveXMLMessage(request 1, null, 0)"] * 2
        self.instruct(firstSize=0, secondSize=0)
        self.check_receive_failure("OSTREL Interface error code = 0", calls)
        self.instruct(firstSize=0)
        self.check_receive_failure(f"The response grew from 0 to {len(RESPONSE)} bytes.", calls)

    def test_fail_on_a_size_that_does_not_fit_into_memory(self):
        for size in (4294967296, 2 ** 63, 2 ** 64 - 1):
            self.instruct(firstSize=size)
            self.check_receive_failure(f"The response of {size} bytes does not fit into memory.",
                                       ["ReceiveXMLMessage(request 1, null, 0)"])

    @without_sanitizers
    def test_fail_on_a_size_that_this_process_does_not_get(self):
        self.answer(RESPONSE)
        size = 2 ** 31
        self.instruct(firstSize=size)
        # As a shell limits it: 1 GiB of address space.
        limited = f"ulimit -v 1048576 && exec {PROBE} "
        run = self.world.run("-c", limited + "send=A", tool="/bin/sh")
        self.assertEqual(run.stdout, f"send: {RECEIVE_FAILED}The response of {size} bytes does not fit into memory.\n"
                                     "status: 7/8 (none)\ntext: (none)\ntree: (none)\n")

    def test_fail_on_a_response_that_grew(self):
        size = len(RESPONSE)
        calls = ["ReceiveXMLMessage(request 1, null, 0)", f"ReceiveXMLMessage(request 1, page, {size})"]
        for grown in (size + 1, 4294967295, 2 ** 64 - 1):
            self.instruct(secondSize=grown)
            self.check_receive_failure(f"The response grew from {size} to {grown} bytes.", calls)

    def test_fail_on_a_response_that_is_no_xml(self):
        for text in ("no XML", "<Object", "<Other/>", "<!-- comment -->", "\0", b"\xff\xfe"):
            self.answer(text)
            run = self.world.run("send=A", tool=PROBE)
            lines = run.stdout.splitlines()
            self.assertEqual(lines[0], "send threw: Unable to convert the given xml string to an XmlElement", text)
            self.assertEqual(lines[1], "status: 7/8 (none)")

    def test_fail_on_an_empty_response(self):
        self.answer(RESPONSE)
        self.instruct(secondSize=0)
        self.check_send("send threw: Unable to convert the given xml string to an XmlElement", text="")

    def test_fail_with_an_exception_of_the_library(self):
        self.answer(RESPONSE)
        for function, variant in itertools.product(("SendXMLMessage", "ReceiveXMLMessage"), THROWING):
            for key, reason in (("throwIn", function), ("throwOtherIn", "unknown exception")):
                self.install(variant, **{key: function})
                self.check_send(f"send: 1 Error: The feature library failed in {function} with an exception: {reason}")

    def test_end_in_good_order_with_a_library_that_throws_at_the_end(self):
        self.instruct(throwIn="Unload")
        self.world.config.write_text(config(enable_log="true"))
        run = self.world.run("version")
        self.assertEqual((run.status, run.stderr), (0, ""))
        self.assertEqual(self.calls(), START + [LOGGER_ON, "Unload()"])
        log = (self.world.var_log / "VelkoSSDOSTREL.log").read_text()
        self.assertIn(" [error] Error: The feature library failed in Unload with an exception: Unload\n", log)
        self.assertRegex(log, r"\[debug\] Exit Code: 0\n$")
        self.assertEqual(self.probe(), "", "without the end of a run as well")

    def test_crash_with_the_library(self):
        """Nothing guards the tool: it ends as the library ends, and says so by its exit status."""
        for function in ("GetVer", "Load", "SendXMLMessage", "ReceiveXMLMessage", "Unload"):
            self.instruct(crashIn=function)
            # A sanitizer would turn the signal into a report of its own.
            leave_signals = {"ASAN_OPTIONS": "handle_segv=0", "TSAN_OPTIONS": "handle_segv=0"}
            run = self.world.run("-c", f"{PROBE} send=A >/dev/null; echo $?", tool="/bin/sh", env=leave_signals)
            self.assertEqual(run.stdout, "139\n", function)


class Statuses(BindingTestCase):
    HEAD = '<?xml version="1.0" encoding="utf-8"?>'

    def setUp(self):
        super().setUp()
        self.install()

    def check_status(self, text, result, status):
        self.answer(text)
        self.check_send(f"send: {result}", status, text, text if text.startswith("<?") else self.HEAD + text)

    def test_of_failures_end_the_command(self):
        self.check_status(response(("Category", "10"), ("Code", "5"), ("Message", "No device selected.")),
                          "3 Error: No device selected.", "10/5 No device selected.")

    def test_without_a_message_are_shown_by_their_numbers(self):
        self.check_status(response(("Category", "10"), ("Code", "5")), "3 Error: Category = 10 Code = 5", "10/5 ")
        self.check_status(response(("Category", "0x0A"), ("Code", "ff"), ("Message", "")),
                          "3 Error: Category = 0x0A Code = ff", "10/255 ")
        self.check_status(response(("Code", "5")), "3 Error: Category =  Code = 5", "0/5 ")

    def test_of_success_keep_their_message(self):
        self.check_status(response(("Category", "0"), ("Code", "0"), ("Message", "Power cycle the drive.")), "null",
                          "0/0 Power cycle the drive.")
        self.check_status(response(("Category", "10"), ("Message", "a code that is missing is 0")), "null",
                          "10/0 a code that is missing is 0")

    def test_take_the_last_of_equal_properties(self):
        self.check_status(response(("Code", "1"), ("Message", "a"), ("Other", "x"), ("Code", "0"), ("Message", "b")),
                          "null", "0/0 b")

    def test_that_are_absent_are_successes(self):
        for text in (response(("Code", "5"), category="Status"), "<Object></Object>", '<Property name="Code" value="5"/>',
                     '<Object><Object><Object category="status"><Property name="Code" value="5"/></Object></Object>'
                     '</Object>'):
            self.check_status(text, "null", "7/8 (none)")

    def test_that_are_doubled_are_passed_over(self):
        one = '<Object category="status"><Property name="Code" value="5"/></Object>'
        self.check_status(f"<Object>{one}{one}</Object>", "null", "7/8 (none)")

    def test_are_found_at_the_root_and_in_a_message(self):
        self.check_status('<Object category="status"><Property name="Code" value="5"/></Object>',
                          "3 Error: Category =  Code = 5", "0/5 ")
        self.check_status('<Message><Object category="status"><Property name="Code" value="6"/></Object></Message>',
                          "3 Error: Category =  Code = 6", "0/6 ")


class Commands(BindingTestCase):
    """What the user of a command that needs the library sees. The results above read "status text"."""

    def check_command(self, result, *command):
        status, text = result.split(" ", 1)
        self.check(*(command or ("show", "-velkossd")), status=int(status), stdout=text + "\n")

    def test_report_what_went_wrong_at_the_load(self):
        self.check_command(NOT_FOUND)
        self.install(version=30000399)
        self.check_command(WRONG_VERSION)
        self.install("without_Load")
        self.check_command(FUNCTION_MISSING)
        self.world.config.write_text(config(enable_log="true"))
        self.install(loggerCode=6)
        self.check_command(LOG_REFUSED)
        (self.world.var_log / "VelkoSSDOSTREL.log").unlink()
        (self.world.var_log / "VelkoSSDOSTREL.log").symlink_to("/absent")
        self.install()
        self.check_command(LOG_IS_LINK)

    def test_report_what_went_wrong_with_a_request(self):
        self.install(firstCode=7)
        self.check_command(f"{RECEIVE_FAILED}OSTREL Interface error code = 7")
        self.install()
        self.answer(response(("Category", "10"), ("Code", "5"), ("Message", "No device selected.")))
        self.check_command("3 Error: No device selected.")
        self.answer("no XML")
        self.check_command("1 Error: Unhandled exception. Contact Velko for further troubleshooting")

    def test_without_need_of_a_library_report_nothing(self):
        self.world.config.write_text(config(enable_log="true"))
        self.install(loggerCode=6)
        for command in (["help"], ["version"], ["show", "-system"], ["set", "-system", "EnableLog=true"]):
            self.assertEqual(self.world.run(*command).status, 0, command)


class PublicHeader(unittest.TestCase):
    def test_compiles_in_c_and_in_cpp(self):
        root = pathlib.Path(__file__).resolve().parents[2]
        header = "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"
        for compiler, language, standard in (("cc", "c", "c11"), ("c++", "c++", "c++17")):
            run = subprocess.run([compiler, "-x", language, f"-std={standard}", "-Wall", "-Wextra", "-Wpedantic",
                                  "-Werror", "-fsyntax-only", f"-I{root}", "-"], input=f'#include "{header}"\n',
                                 capture_output=True, text=True)
            self.assertEqual((run.returncode, run.stderr), (0, ""), standard)


if __name__ == "__main__":
    unittest.main()
