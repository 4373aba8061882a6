"""A world of its own for each test of the whole tool.

The tool uses fixed places (/opt/velko/nimbrel, /var/lib/nimbrel, /var/log, /run/nimbrel, /usr/lib/nimbrel) and wants to
be root. World gives it both without touching the machine: a private user and mount namespace in which scratch folders
take the fixed places. The scratch folders last as long as the World, so several runs share their state, as on a
real machine, and a test looks at them from outside.

    world.run("show", "-system")                      # as root, standard input is /dev/null
    world.run("help", root=False)                     # as an ordinary user
    world.run("help", terminal=80)                    # standard input is a terminal of 80 columns
    world.run("delete", ..., terminal=80, typed="n\n")  # and a user types
"""

import dataclasses
import fcntl
import os
import pathlib
import pty
import shutil
import signal
import struct
import subprocess
import tempfile
import termios
import unittest

ENTER = str(pathlib.Path(__file__).with_name("enter_world.sh"))
TOOL = os.environ.get("NIMBREL_TOOL", "")
TIMEOUT_SECONDS = 60
# For tests that limit a process, or look at its threads: a sanitizer has memory, descriptors and threads of its own.
without_sanitizers = unittest.skipIf(os.environ.get("NIMBREL_SANITIZE"), "built with a sanitizer")
# For tests that limit memory, trace a process or load a library into Python, which QEMU's user emulation does not run.
without_emulation = unittest.skipIf(os.environ.get("NIMBREL_EMULATED"), "under QEMU's user emulation")
without_coverage = unittest.skipIf(os.environ.get("NIMBREL_COVERAGE") == "1", "built for coverage")
# What the tests make is for its owner to write: the tool refuses settings and libraries that others can change.
os.umask(0o022)
# Shell commands of a world: /proc without open files and executable. Left is what a sanitizer needs, and the map of
# users: where an ordinary user runs the tests, / belongs to an unmapped one.
HIDE_PROC = ("mkdir -p /opt/proc && mount --rbind /proc /opt/proc && mount -t tmpfs tmpfs /proc && mkdir /proc/self && "
             "for name in maps cmdline environ uid_map; do ln -s /opt/proc/self/$name /proc/self/; done")
CONFIG_FILE = "nimbrel_config.xml"
LIBRARY_NAME = "Velko.SSDFeatures.so.3.0.0"


@dataclasses.dataclass
class Run:
    """The outcome of one process."""

    status: int
    stdout: str
    stderr: str


def namespace_command():
    """The unshare call that this machine grants: a user namespace, or a plain mount namespace for real root."""
    for command in (["unshare", "-r", "-m"], ["unshare", "-m"]):
        if subprocess.run(command + ["mount", "-t", "tmpfs", "tmpfs", "/opt"], capture_output=True).returncode == 0:
            return command
    raise RuntimeError("these tests need a private mount namespace: allow user namespaces or run as root")


class World:
    _namespace = None

    def __init__(self):
        if World._namespace is None:
            World._namespace = namespace_command()
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="nimbrel-world-"))
        # Of the tool's fixed places only this one must exist: an installation makes it.
        self.opt = self.scratch / "opt/velko/nimbrel"
        self.opt.mkdir(parents=True)
        self.var_lib = self.scratch / "var_lib"
        self.var_lib.mkdir()
        self.var_log = self.scratch / "var_log"
        self.var_log.mkdir()
        self.run_folder = self.scratch / "run"
        self.run_folder.mkdir()
        (self.scratch / "overlay").mkdir()
        self.cwd = self.scratch / "cwd"
        self.cwd.mkdir()

    def close(self):
        shutil.rmtree(self.scratch)

    @property
    def config(self):
        return self.opt / CONFIG_FILE

    def overlay_usr_lib(self):
        """From now on /usr/lib/nimbrel exists inside; returns the scratch folder whose content is copied there."""
        folder = self.scratch / "usr_lib" / "nimbrel"
        folder.mkdir(parents=True, exist_ok=True)
        return folder

    def install_library(self, path, name=LIBRARY_NAME):
        """Puts a feature library where an installed one is; returns its place as seen from outside."""
        return pathlib.Path(shutil.copy(path, self.opt / name))

    def run(self, *arguments, tool=None, root=True, stdin="null", terminal=None, typed=None, env=None, cwd=None,
            stdout=subprocess.PIPE, timeout=TIMEOUT_SECONDS):
        """Runs the tool (or another program, tool=PATH) to its end.

        stdin: "null", "closed", or the bytes of a file. terminal: columns of a terminal in place of stdin;
        typed is what is written to it. Arguments may be bytes."""
        command = self.command(*arguments, tool=tool, root=root, stdin=stdin)
        options = dict(stdout=stdout, stderr=subprocess.PIPE, cwd=cwd or self.cwd, env={**os.environ, **(env or {})})
        if terminal is not None:
            return self._run_on_terminal(command, terminal, typed, timeout, options)
        if isinstance(stdin, bytes):
            with tempfile.TemporaryFile() as file:
                file.write(stdin)
                file.seek(0)
                done = subprocess.run(command, stdin=file, timeout=timeout, **options)
        else:
            done = subprocess.run(command, stdin=subprocess.DEVNULL, timeout=timeout, **options)
        return Run(done.returncode, _text(done.stdout), _text(done.stderr))

    def start(self, *arguments, tool=None, env=None):
        """Starts the tool and returns its Popen object, for tests that kill it; it leads a process group."""
        return subprocess.Popen(self.command(*arguments, tool=tool), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, cwd=self.cwd, env={**os.environ, **(env or {})},
                                start_new_session=True)

    def command(self, *arguments, tool=None, root=True, stdin="null"):
        """The whole command line that enters the world and runs the tool there."""
        enter = World._namespace + ["/bin/sh", ENTER, str(self.scratch), "closed" if stdin == "closed" else "open"]
        # A second user namespace without a mapping: the process has no user.
        user = [] if root else ["unshare", "-U"]
        return enter + user + [str(tool or TOOL), *arguments]

    @staticmethod
    def _run_on_terminal(command, columns, typed, timeout, options):
        master, slave = pty.openpty()
        try:
            fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
            attributes = termios.tcgetattr(slave)
            attributes[3] &= ~termios.ECHO
            termios.tcsetattr(slave, termios.TCSANOW, attributes)
            process = subprocess.Popen(command, stdin=slave, **options)
            os.close(slave)
            slave = -1
            if typed is not None:
                os.write(master, typed.encode())
            out, err = process.communicate(timeout=timeout)
        finally:
            os.close(master)
            if slave >= 0:
                os.close(slave)
        return Run(process.returncode, _text(out), _text(err))


def _text(data):
    return (data or b"").decode("utf-8", "surrogateescape")


class ToolTestCase(unittest.TestCase):
    """A test with a fresh world; check() compares everything that a run leaves."""

    maxDiff = None

    def setUp(self):
        self.world = World()
        self.addCleanup(self.world.close)

    def check(self, *arguments, status=0, stdout="", stderr="", **options):
        run = self.world.run(*arguments, **options)
        self.assertEqual(run.stdout, stdout, arguments)
        self.assertEqual(run.stderr, stderr, arguments)
        self.assertEqual(run.status, status, arguments)
        return run


def kill_group(process, number=signal.SIGKILL):
    """Ends a process of World.start() and all that it started; returns its status."""
    try:
        os.killpg(process.pid, number)
    except ProcessLookupError:
        pass
    status = process.wait()
    process.stdout.close()
    process.stderr.close()
    return status


if __name__ == "__main__":
    raise SystemExit("world.py is the harness; run one of the test files beside it")
