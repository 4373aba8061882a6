"""Runs nimbrel, and reads what it prints as JSON."""

import json
import os
import signal
import subprocess
import time

# "A drive did not answer in time" and "a drive is gone" of docs/exit-status.md: more questions would wait as long.
_NO_ANSWER = {69, 70}
# The keys of an object that shows nothing of a drive. A SMART attribute has a Status too, beside other keys.
_STATUS_ALONE = {"SerialNumber", "DevicePath", "Status"}
# How long a killed process may take to end. One that waits in the kernel does not, and is left to it.
_END_SECONDS = 2
_VERSION_SECONDS = 10


class NotRead(Exception):
    """Why something could not be read, in words. silent: the drive does not answer, or its time is over."""

    def __init__(self, words, silent=False):
        super().__init__(words)
        self.silent = silent


class Deadline:
    """The time that all questions to one drive may take together."""

    def __init__(self, seconds):
        self.seconds = seconds
        self._end = time.monotonic() + seconds

    def left(self):
        return max(0.0, self._end - time.monotonic())


class Tool:
    """The installed nimbrel. Threads: any number may call run()."""

    def __init__(self, path):
        self._path = str(path)

    def version(self):
        objects, _ = self.run("version", deadline=Deadline(_VERSION_SECONDS))
        if "Version" not in objects.get("Version Information", {}):
            raise NotRead("nimbrel did not show its version")
        return str(objects["Version Information"]["Version"])

    def run(self, *arguments, deadline):
        """The objects that `nimbrel ARGUMENTS` shows, by their names, and its exit status. A command that fails as a
        whole is NotRead; one that fails for a drive is an object with a Status."""
        verb, *rest = arguments
        status, output = _output([self._path, verb, "-output", "json", *rest], deadline)
        start = output.find("{")
        if start < 0 and status == 0:  # No drives are an empty line.
            return {}, status
        if start < 0:
            raise NotRead(output.strip() or f"nimbrel ended with {status} and showed nothing", status in _NO_ANSWER)
        try:
            objects = json.loads(output[start:])
        except (ValueError, RecursionError) as error:
            raise NotRead(f"what nimbrel printed is not JSON: {error}") from error
        if "Error_Type" in objects:
            raise NotRead(str(objects.get("Error_Description")), silent=status in _NO_ANSWER)
        return {name: value for name, value in objects.items() if isinstance(value, dict)}, status

    def of_drive(self, path, *targets, deadline):
        """The objects of one drive, and why others of it are not shown; NotRead where none is."""
        objects, status = self.run("show", "-velkossd", path, *targets, deadline=deadline)
        return without_status(objects, status)

    def details_of(self, path, deadline):
        objects, status = self.run("show", "-all", "-velkossd", path, deadline=deadline)
        return without_status(objects, status)


def without_status(objects, status):
    """The objects that show something, and the reasons of those that do not; NotRead where there are none."""
    words = [str(value.get("Status", "")) for value in objects.values() if value.keys() <= _STATUS_ALONE]
    shown = {name: value for name, value in objects.items() if not value.keys() <= _STATUS_ALONE}
    if shown and status not in _NO_ANSWER:
        # One log page of several that an object is made of.
        return shown, words + [str(value["Not read"]) for value in shown.values() if "Not read" in value]
    raise NotRead(" ".join(words) or f"nimbrel ended with {status} and showed nothing", silent=status in _NO_ANSWER)


def _output(command, deadline):
    """Exit status and standard output of a command that ends in time."""
    try:
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                   start_new_session=True)
    except OSError as error:
        raise NotRead(f"{command[0]} cannot be run: {error.strerror}", silent=True) from error
    with process.stdout:
        try:
            output, _ = process.communicate(timeout=deadline.left())
        except subprocess.TimeoutExpired:
            _end(process)
            raise NotRead(f"no answer within the time limit of {deadline.seconds:g} seconds", silent=True) from None
    return process.returncode, output.decode("utf-8", "replace")


def _end(process):
    os.killpg(process.pid, signal.SIGKILL)
    try:
        process.wait(timeout=_END_SECONDS)
    except subprocess.TimeoutExpired:
        pass  # It waits in the kernel, for the drive: the report goes on without it.
