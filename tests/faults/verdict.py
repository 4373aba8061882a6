"""What is bad: a crash, a hang, success without the work, a file lost, changed or left, an error without words."""

import os
import re
import stat

from world import LIBRARY_NAME

WORDS = re.compile("[A-Za-z]{3}")
OUT_OF_MEMORY = "Out of Memory: \n"
# What may be left: the memory of a simulated drive that takes firmware, where an image that was not committed stays
# until the next download, and the telemetry that a drive captures by itself when it fails within, as in any drive.
MAY_BE_LEFT = re.compile("/SimulatedDrives/[^/]+/(firmware-download|log-telemetry-controller-[01])$")


# /var/lib/nimbrel/erasures/MODEL,SERIAL,20261122T204455Z.json
ERASURE_TIME = re.compile(r"(/erasures/.*,)[0-9]{8}T[0-9]{6}Z")
# The debug log, which is never a reason to fail: a line or a file for which there is no memory is dropped.
MAY_BE_MISSING = re.compile("^/var/log/chosen$")


def tree(folders):
    """{path: (kind and mode, contents)} of all that is below the folders, but for the feature library, which is large
    and written by no command."""
    found = {}
    for top in folders:
        for folder, folders_within, files in os.walk(top):
            for name in folders_within + files:
                if name == LIBRARY_NAME:
                    continue
                path = os.path.join(folder, name)
                mode = os.lstat(path).st_mode
                contents = b""
                if stat.S_ISREG(mode):
                    with open(path, "rb") as file:
                        contents = file.read()
                found[path] = (mode, contents)
    return found


def without_times(files):
    """The same, but for the records of erases: their names and contents hold the time of the run."""
    return {ERASURE_TIME.sub(r"\1TIME", path): (mode, b"" if ERASURE_TIME.search(path) else contents)
            for path, (mode, contents) in files.items()}


def differences(found, wanted, compares_contents):
    found, wanted = without_times(found), without_times(wanted)
    changed = [path for path in found.keys() & wanted.keys() if compares_contents and found[path] != wanted[path]]
    left = [path for path in found.keys() - wanted.keys() if not MAY_BE_LEFT.search(path)]
    return sorted([f"{path} left over" for path in left] +
                  [f"{path} missing" for path in wanted.keys() - found.keys() if not MAY_BE_MISSING.search(path)] +
                  [f"{path} differs" for path in changed])


def is_state(path):
    return "/SimulatedDrives/" in path and path.endswith("/state")


def judge_success(command, run, usual, found, after):
    if run.stdout != usual.stdout:
        return "success with another output"
    if command.samples:
        found, after = ({path: file for path, file in files.items() if not is_state(path)} for files in (found, after))
    wrong = differences(found, after, command.compares_contents)
    return "success without the work: " + ", ".join(wrong) if wrong else None


def judge_files(command, found, before, after):
    """After an error each file is as it was before, or as it should be. The names of those that are neither."""
    found, before, after = without_times(found), without_times(before), without_times(after)
    left = sorted(path for path in found.keys() - before.keys() - after.keys() if not MAY_BE_LEFT.search(path))
    if left:
        return "left over: " + ", ".join(left), []
    lost = sorted((before.keys() & after.keys()) - found.keys())
    if lost:
        return "lost: " + ", ".join(lost), []
    odd = [path for path in found if path in before or path in after
           if found[path] not in (before.get(path), after.get(path))]
    return None, odd if command.compares_contents else []


def judge(command, run, usual, found, before, after, probe):
    """Why a run was bad, None for a good one. `probe` is called where a drive's state is neither the old nor the new
    one, and says what is wrong with it."""
    if run.status is None:
        return "hang"
    if run.status < 0:
        return f"crash: signal {-run.status}"
    if run.status == 0:
        return judge_success(command, run, usual, found, after) or (probe() if command.samples else None)
    if run.stdout in (usual.stdout, usual.stdout + OUT_OF_MEMORY):
        return "an error after the whole result"
    said = run.stdout.replace(command.notice, "", 1) if command.notice else run.stdout
    if not WORDS.search(said + run.stderr):
        return "an error without words"
    wrong, odd = judge_files(command, found, before, after)
    if wrong is not None or not odd:
        return wrong
    states = [path for path in odd if "/SimulatedDrives/" in path]
    if states != odd or not command.probes:
        return "changed: " + ", ".join(odd)
    return probe()
