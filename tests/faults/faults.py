"""Has every system call of a command fail once, and judges what came of it.

    faults.py                         all of it: some thousand runs, a few minutes
    faults.py --quick                 an even sample of them
    faults.py --command NAME ...      the cases of these commands alone
    faults.py --case NAME:openat:3:EIO  one case: what it says otherwise than undisturbed, and the verdict

Each run begins with the same files, in a mount namespace of its own (see tests/conformance/world.py). A command is
run undisturbed first; afterwards the same run is repeated for each of its system calls, with that call failing. The
last line counts; each bad case is a line that names the case, the system call and what was bad, and the exit status is
1 when there is one."""

import argparse
import difflib
import os
import pathlib
import resource
import stat
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "conformance"))

import commands  # noqa: E402
import injection  # noqa: E402
import simulated  # noqa: E402
import verdict  # noqa: E402
from world import Run, World  # noqa: E402

FAILING_CALL = os.environ.get("NIMBREL_FAILING_CALL", "")
FAILING_ALLOCATION = os.environ.get("NIMBREL_FAILING_ALLOCATION", "")
TIMEOUT_SECONDS = 60
QUICK_CASES = 400
ALLOCATIONS = 60  # of each command, at even distances, unless --allocations says otherwise
LAST_ALLOCATIONS = 20
OPT = "/opt/velko/nimbrel"


class Stage:
    """The inside of the namespace: the folders that a command may change, and their contents at its beginning."""

    def __init__(self, cwd, report):
        self.cwd = cwd
        self.report = report
        self.folders = [OPT, "/var/lib", "/var/log", cwd]
        self.kept = self.snapshot()

    def set_up(self, command):
        """The files before the command."""
        self.restore(self.kept)
        for drive in command.drives:
            folder = pathlib.Path(OPT, "SimulatedDrives", drive)
            folder.mkdir(parents=True)
            (folder / "description.ini").write_text(commands.describe(drive))
        pathlib.Path(self.cwd, "firmware.bin").write_bytes(commands.image())
        # Settings that are not the defaults: those that were written over must be seen.
        for words in ("set -system LogFile=/var/log/chosen", "show -velkossd", *command.prepare):
            run = self.run(commands.NIMBREL, words)
            if run.status != 0:
                raise SystemExit(f"{command.name}: preparation: {words}: {run}")

    def snapshot(self):
        return verdict.tree(self.folders)

    def restore(self, wanted):
        """Exactly these files."""
        found = self.snapshot()
        for path in sorted(found, reverse=True):
            is_folder = stat.S_ISDIR(found[path][0])
            if path not in wanted and is_folder:
                os.rmdir(path)
            elif not is_folder and found[path] != wanted.get(path):
                os.unlink(path)
        for path in sorted(wanted):
            mode, contents = wanted[path]
            if not os.path.exists(path):
                if stat.S_ISDIR(mode):
                    os.mkdir(path)
                else:
                    pathlib.Path(path).write_bytes(contents)
            os.chmod(path, stat.S_IMODE(mode))

    def run(self, program, words, prefix=(), env=None, stdout=subprocess.PIPE, limit=None):
        """To its end; no status after the time-out. limit: the resource and its limit."""
        lower = None if limit is None else lambda: resource.setrlimit(limit[0], (limit[1], limit[1]))
        try:
            done = subprocess.run([*prefix, program, *words.split()], cwd=self.cwd, stdin=subprocess.DEVNULL,
                                  stdout=stdout, stderr=subprocess.PIPE, timeout=TIMEOUT_SECONDS, preexec_fn=lower,
                                  env={**os.environ, **(env or {})}, errors="surrogateescape", text=True)
        except subprocess.TimeoutExpired:
            return Run(None, "", "")
        return Run(done.returncode, done.stdout or "", done.stderr)


class Trial:
    """A command on the stage: its undisturbed run, then one case after the other."""

    def __init__(self, stage, command):
        self.stage = stage
        self.command = command
        stage.set_up(command)
        self.before = stage.snapshot()
        self.probes_before = self._probe()
        stage.restore(self.before)
        self.usual = self._run("list")
        if self.usual.status != 0:
            raise SystemExit(f"{command.name}: fails undisturbed: {self.usual}")
        self.calls = injection.program_calls(pathlib.Path(stage.report).read_text(errors="surrogateescape"))
        self.after = stage.snapshot()
        self.probes_after = self._probe()
        self._check_repeatability()

    def _run(self, fault):
        return self.stage.run(self.command.program, self.command.words, (FAILING_CALL, self.stage.report, fault))

    def _probe(self):
        return [self.stage.run(commands.NIMBREL, words) for words in self.command.probes]

    def _check_repeatability(self):
        """Otherwise every verdict of a difference would be chance."""
        self.stage.restore(self.before)
        again = self._run("list")
        wrong = verdict.judge_success(self.command, again, self.usual, self.stage.snapshot(), self.after)
        if wrong:
            raise SystemExit(f"{self.command.name}: two undisturbed runs differ: {wrong}")

    def count_allocations(self):
        self.stage.restore(self.before)
        self._run_without_memory(0)
        return int(pathlib.Path(self.stage.report).read_text())

    def _run_without_memory(self, number):
        return self.stage.run(self.command.program, self.command.words, env={
            "LD_PRELOAD": FAILING_ALLOCATION, "FAILING_ALLOCATION": str(number),
            "FAILING_ALLOCATION_REPORT": self.stage.report})

    def cases(self, sampled):
        allocations = self.count_allocations()
        step = max(allocations // sampled, 1)
        # The last ones too: they are those of the end of the run, where an exception leaves a destructor.
        last = range(max(allocations - LAST_ALLOCATIONS, 0) + 1, allocations + 1)
        numbers = sorted({*range(1, allocations + 1, step), *last})
        return (injection.cases_of(self.command.name, self.calls) + injection.cases_of_limits(self.command.name) +
                [injection.Case(self.command.name, "allocation", number, "ENOMEM") for number in numbers])

    def run_case(self, case):
        """The run and what was bad about it."""
        self.stage.restore(self.before)
        pathlib.Path(self.stage.report).write_bytes(b"")
        run = self._run_case(case)
        # The dynamic loader does not repeat its reads of a library.
        if case.is_repeatable and run.status not in (None, 0) and ".so" not in self.hit(case):
            return run, f"status {run.status}: not repeated"
        found = self.stage.snapshot()
        return run, verdict.judge(self.command, run, self.usual, found, self.before, self.after, self.judge_state)

    def _run_case(self, case):
        if case.call == "allocation":
            return self._run_without_memory(case.number)
        if case.call in injection.LIMITS:
            return self.stage.run(self.command.program, self.command.words,
                                  limit=(getattr(resource, case.call), case.number))
        if case.call == "stdout":
            with open("/dev/full", "w", encoding="ascii") as full:
                return self.stage.run(self.command.program, self.command.words, stdout=full)
        return self._run(case.argument)

    def judge_state(self):
        probes = self._probe()
        return None if probes in (self.probes_before, self.probes_after) else "a drive neither as before nor as after"

    def hit(self, case):
        """The system call that failed, in words."""
        text = pathlib.Path(self.stage.report).read_text(errors="surrogateescape").strip()
        if case.call not in injection.ERRORS:
            return "for the whole run" if case.fault == "limit" else "no room"
        if not text:
            return "not reached"
        return (text + " ").split(" ", 2)[2].strip()


def sample(cases, count):
    """As many of them at even distances."""
    return [cases[i * len(cases) // count] for i in range(count)] if count < len(cases) else cases


def run_all(stage, names, quick, allocations):
    chosen = [command for command in commands.COMMANDS if not names or command.name in names]
    total, bad = 0, 0
    for command in chosen:
        trial = Trial(stage, command)
        cases = trial.cases(allocations)
        if quick:
            always = [case for case in cases if case.call in command.always]
            cases = always + sample([case for case in cases if case not in always], QUICK_CASES // len(chosen))
        for case in cases:
            _, wrong = trial.run_case(case)
            total += 1
            if wrong:
                bad += 1
                print(f"{case}: {trial.hit(case)}: {wrong}", flush=True)
    print(f"{total} faults, {bad} bad")
    return 1 if bad else 0


def show_case(stage, text):
    case = injection.Case.parse(text)
    trial = Trial(stage, next(command for command in commands.COMMANDS if command.name == case.command))
    run, wrong = trial.run_case(case)
    sys.stdout.writelines(difflib.unified_diff(trial.usual.stdout.splitlines(True), run.stdout.splitlines(True),
                                               "undisturbed", "output"))
    print(f"{run.stderr}status {run.status}\n{trial.hit(case)}: {wrong or 'good'}")
    return 1 if wrong else 0


def enter(arguments):
    """Runs this program again, inside."""
    world = World()
    try:
        world.install_library(simulated.FEATURE_LIBRARY)
        inside = world.command("-c", simulated.HIDE_DRIVES, sys.executable, "-B", __file__, "--inside", str(world.cwd),
                               str(world.scratch / "report"), *arguments, tool="/bin/sh")
        return subprocess.run(inside, check=False).returncode
    finally:
        world.close()


def main():
    parser = argparse.ArgumentParser(description="Has every system call of a command fail once.")
    parser.add_argument("--quick", action="store_true", help="an even sample")
    parser.add_argument("--command", nargs="+", default=[], choices=[command.name for command in commands.COMMANDS])
    parser.add_argument("--allocations", type=int, default=ALLOCATIONS, help="how many of each command's fail")
    parser.add_argument("--case", help="NAME:CALL:NUMBER:ERRNO; the call may be allocation, the errno short")
    parser.add_argument("--inside", nargs=2, help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.inside is None:
        return enter(sys.argv[1:])
    stage = Stage(*options.inside)
    if options.case:
        return show_case(stage, options.case)
    return run_all(stage, options.command, options.quick, options.allocations)


if __name__ == "__main__":
    sys.exit(main())
