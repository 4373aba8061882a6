"""Runs nimbrel with JSON output, and reads what it answers: docs/output.md is the contract."""

import json
import os
import re
import subprocess

# What the command line takes as one word. It reads an equals sign as the one of a property, and a dash at the front as
# an option: a path or a value with either must not reach it.
WORD = re.compile(r"[^-=\s\"'(),][^=\"'(),]*")
FOLDER = "/opt/velko/nimbrel"


class ToolError(Exception):
    """A run that failed, or a drive that may not be changed; `facts` are returned by the module beside the message."""

    def __init__(self, message, **facts):
        super().__init__(message)
        self.message = message
        self.facts = facts


class Answer:
    """What one run of the tool printed.

    status:  exit status.
    objects: name and keys of each object, in the order in which they were printed.
    error:   the message of a command that failed as a whole, otherwise None.
    result:  the sentence of a command that answers with one, otherwise None.
    """

    def __init__(self, status, document):
        self.status = status
        self.error = document.get("Error_Description")
        self.result = document.get("Result")
        self.objects = [(name, keys) for name, keys in document.items() if isinstance(keys, dict)]

    def message(self):
        """What the tool says to people: the error, or the Status of each drive."""
        if self.error is not None:
            return str(self.error).strip()
        said = [keys["Status"] for _name, keys in self.objects if "Status" in keys]
        return " ".join(said) or self.result or f"exit status {self.status}"


def once(pairs):
    """A key that comes twice would hide what the first one said."""
    keys = dict(pairs)
    if len(keys) != len(pairs):
        raise ValueError("a key comes twice")
    return keys


def read_document(text):
    """The object that begins at the first line with "{"; a notice may precede it. No drives are an empty output."""
    start = re.search(r"^\{", text, re.MULTILINE)
    if start is None:
        return {}
    return json.loads(text[start.start():], object_pairs_hook=once)


def text_of(value):
    """A serial number of digits alone is a number in JSON."""
    return value if isinstance(value, str) else str(value)


def number_of(value):
    """The number of a value with a unit ("38 C"), of a bit field ("0x1F") or of a count; None: words in its place."""
    if isinstance(value, bool):
        return int(value)
    if isinstance(value, int):
        return value
    match = re.fullmatch(r"(0[xX][0-9a-fA-F]+|[0-9]+)( \S.*)?", text_of(value))
    return int(match.group(1), 0 if match.group(1)[:2] in ("0x", "0X") else 10) if match else None


def word(text):
    """A text of the playbook as one word of the command line."""
    if not WORD.fullmatch(text):
        raise ToolError(f"{text!r} cannot be passed to nimbrel: no equals sign, quotes, comma or parentheses, and no "
                        "dash or blank at the front")
    return text


class Tool:
    """nimbrel on this host. One command a process; no timeout, since an erase may take hours."""

    def __init__(self, path):
        self.path = path

    def run(self, verb, *words, typed=None):
        """Runs a command and returns its Answer, also of a failure.

        typed: what a user would type at the tool's question; standard input is a terminal then, otherwise it is empty.
        """
        command = [self.path, verb, "-output", "json", *words]
        try:
            status, out, err = self._execute(command, typed)
        except OSError as error:
            raise ToolError(f"{self.path} cannot be run: {error}") from error
        try:
            document = read_document(out)
        except ValueError as error:
            raise ToolError(f"the output of nimbrel cannot be read: {error}", command=command, exit_status=status,
                            stdout=out, stderr=err) from error
        if status != 0 and not document:
            raise ToolError(f"nimbrel ended with {status}: {(out + err).strip()}", command=command,
                            exit_status=status)
        return Answer(status, document)

    def read(self, *words):
        """A show command that must succeed; returns its objects."""
        answer = self.run("show", *words)
        if answer.status != 0:
            raise ToolError(answer.message(), command=["show", *words], exit_status=answer.status)
        return answer.objects

    @staticmethod
    def _execute(command, typed):
        """The terminal is a pseudo terminal for standard input alone: the JSON goes through a pipe."""
        master, slave = os.openpty() if typed else (None, None)
        try:
            if typed:
                os.write(master, typed.encode())
            done = subprocess.run(command, stdin=slave if typed else subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, check=False, env=dict(os.environ, LC_ALL="C"))
        finally:
            for descriptor in (master, slave):
                if descriptor is not None:
                    os.close(descriptor)
        return done.returncode, done.stdout.decode("utf-8", "replace"), done.stderr.decode("utf-8", "replace")


def find_tool(module):
    """The tool that the parameter names, otherwise that of the path or of the installation."""
    return Tool(module.params["executable"] or module.get_bin_path("nimbrel", True, [FOLDER]))
