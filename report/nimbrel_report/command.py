"""The command line of nimbrel-report: docs/report.md is its manual."""

import argparse
import datetime
import os
import pathlib
import signal
import stat
import sys

from . import collect, document, files, page, snapshots
from .tool import NotRead, Tool

# Exit statuses. A report that lacks something says so itself; a script reads it here.
COMPLETE, INCOMPLETE, FAILED = 0, 1, 2


class Failed(Exception):
    """Nothing was written, and why."""


def main(arguments, program_folder):
    signal.signal(signal.SIGINT, signal.SIG_DFL)  # Ends at once: the drives that are asked are only read.
    try:
        options = _options(arguments)
        nimbrel = options.nimbrel or program_folder / "nimbrel"
        return _run(options, Tool(nimbrel), datetime.datetime.now(datetime.timezone.utc))
    except (Failed, NotRead, document.Damaged, page.Missing) as error:
        print(f"nimbrel-report: {error}", file=sys.stderr)
    except BrokenPipeError:
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())  # Python would complain once more at its end.
    return FAILED


def _options(arguments):
    parser = argparse.ArgumentParser(prog="nimbrel-report", allow_abbrev=False, description="""
        Makes a report on drives, one HTML file: of this host, or of the documents that nimbrel-report --collect wrote
        on other hosts.""", epilog="Exit status: 0 everything was read, 1 written and something could not be read, "
        "2 nothing was written.")
    parser.add_argument("documents", nargs="*", metavar="DOCUMENT",
                        help="a file that --collect wrote, or a folder with such files (*.json)")
    parser.add_argument("--collect", action="store_true", help="write what a report of this host is made of, as JSON")
    parser.add_argument("--output", metavar="FILE", help="write this file; without it, standard output")
    parser.add_argument("--previous", metavar="FILE", action="append",
                        help="an earlier report or document to compare with; without it, the FILE that is replaced")
    parser.add_argument("--title", default="Drive report", help="the title of the report")
    parser.add_argument("--time-limit", metavar="SECONDS", type=_seconds, default=60.0,
                        help="how long one drive may take, 60 by default")
    parser.add_argument("--snapshots", metavar="FOLDER", default=snapshots.FOLDER,
                        help=f"where the snapshots of this host are, {snapshots.FOLDER} by default")
    parser.add_argument("--nimbrel", metavar="PATH", help="the tool to ask, the one beside this program by default")
    options = parser.parse_args(arguments)
    if options.collect and (options.documents or options.previous):
        parser.error("--collect takes no documents, and nothing to compare with")
    return options


def _seconds(text):
    try:
        value = float(text)
    except ValueError:
        value = 0.0
    if not 1 <= value <= 3600:
        raise argparse.ArgumentTypeError("the time limit is 1 to 3600 seconds")
    return value


def _run(options, tool, now):
    documents, problems = _documents(options, tool, now)
    if options.collect:
        data = document.write(documents[0]).encode("ascii")
    else:
        previous, unread = _previous(options)
        problems += unread
        data = page.make(documents, previous, problems, options.title, now)
    _write(options.output, data)
    return INCOMPLETE if problems or any(_lacks(each) for each in documents) else COMPLETE


def _lacks(each):
    return bool(each["problems"]) or any(drive["not_read"] for drive in each["drives"])


def _documents(options, tool, now):
    """The documents of the report, and what could not be read of those that were named."""
    if not options.documents:
        # Through the writer and the schema, as those of other hosts come.
        return [document.parse(document.write(collect.this_host(tool, options.time_limit, options.snapshots, now)))], []
    paths, problems = _paths(options.documents)
    rows = []
    for path in paths:
        try:
            rows.append((path, document.read_file(path)))
        except (document.Damaged, OSError) as error:
            problems.append(f"{path}: {_reason(error)}")
    if not rows:
        raise Failed("no document could be read: " + "; ".join(problems))
    documents, older = document.newest_of_each_host(rows)
    return documents, problems + older


def _paths(named):
    """The named files, and the *.json of named folders; a sentence for each folder without one."""
    paths, problems = [], []
    for name in named:
        folder = pathlib.Path(name)
        found = sorted(str(path) for path in folder.glob("*.json")) if folder.is_dir() else [name]
        paths += found
        problems += [] if found else [f"{name}: the folder has no *.json"]
    return paths, problems


def _previous(options):
    """The documents to compare with, None without any, and what could not be read of them."""
    if options.previous:
        try:
            return [each for path in options.previous for each in document.read_previous(path)], []
        except (document.Damaged, OSError) as error:
            raise Failed(f"{', '.join(options.previous)} cannot be compared with: {_reason(error)}") from error
    if not options.output or not _is_file(options.output):
        return None, []
    try:
        return document.read_previous(options.output), []
    except (document.Damaged, OSError) as error:
        return None, [f"There is nothing to compare with: {options.output}: {_reason(error)}"]


def _is_file(path):
    """Whether a regular file is there; a link is refused later, and not read before."""
    try:
        return stat.S_ISREG(os.lstat(path).st_mode)
    except OSError:
        return False


def _write(path, data):
    try:
        if path in (None, "/dev/stdout"):
            sys.stdout.buffer.write(data)
            sys.stdout.buffer.flush()
        else:
            files.write(path, data)
    except BrokenPipeError:
        raise
    except (OSError, files.Refused) as error:
        raise Failed(f"Unable to write {path or 'standard output'}: {_reason(error)}") from error


def _reason(error):
    return error.strerror if isinstance(error, OSError) and error.strerror else str(error)
