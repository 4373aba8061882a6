#!/usr/bin/env python3
"""clang_tidy BUILD FILE...: runs clang-tidy on those sources that changed since they last passed.

BUILD holds compile_commands.json, which gives each FILE its options. A source is the same as one that passed when the
source, every file of the tree that it includes, .clang-tidy, the options, clang-tidy itself and the packages of
scripts/setup are. Passes are empty files below ${XDG_CACHE_HOME:-~/.cache}/nimbrel-lint, for all working trees; those
that no run needed for a month go. Prints the findings, and exits with 1 when there are any.
"""

import concurrent.futures
import functools
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
CACHE = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache") / "nimbrel-lint"
INCLUDE = re.compile(rb'^[ \t]*#[ \t]*include[ \t]*"([^"\n]+)"', re.MULTILINE)
MONTH = 30 * 24 * 3600


@functools.lru_cache(maxsize=None)
def content(path):
    return path.read_bytes()


@functools.lru_cache(maxsize=None)
def included(path):
    """The files of the tree that this one names, by its folder or by the root."""
    names = [name.decode() for name in INCLUDE.findall(content(path))]
    candidates = [[path.parent / name, ROOT / name] for name in names]
    files = (next(filter(pathlib.Path.is_file, both), None) for both in candidates)
    return [path.resolve() for path in files if path]


def with_included(source):
    """The source and all that it includes, directly or not. Conditions of the preprocessor do not count."""
    found, waiting = set(), [source]
    while waiting:
        path = waiting.pop()
        if path not in found:
            found.add(path)
            waiting += included(path)
    return sorted(found)


def configurations(path):
    """Every .clang-tidy that clang-tidy may read for a source."""
    return [folder / ".clang-tidy" for folder in path.parents
            if folder.is_relative_to(ROOT) and (folder / ".clang-tidy").is_file()]


@functools.lru_cache(maxsize=None)
def tools():
    """What clang-tidy is, and the versions of the packages whose headers it reads."""
    version = subprocess.run(["clang-tidy", "--version"], check=True, capture_output=True).stdout
    packages = subprocess.run(["dpkg-query", "-W", "-f", "${Package} ${Version}\n", "lib*-dev", "libstdc++*"],
                              check=True, capture_output=True).stdout
    return version + packages


def key(source, command):
    digest = hashlib.sha256(tools())
    digest.update(" ".join(command).replace(str(ROOT), ".").encode())
    for path in configurations(source) + with_included(source):
        digest.update(b"\0%s\0%d\0" % (str(path.relative_to(ROOT)).encode(), len(content(path))))
        digest.update(content(path))
    return digest.hexdigest()


def commands(build):
    """Each source's options. One that two targets compile is looked at once, as the first of them compiles it."""
    found = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        found.setdefault(pathlib.Path(entry["directory"], entry["file"]).resolve(), entry)
    return found


def check(source, database):
    """Whether clang-tidy finds nothing; prints what it finds."""
    run = subprocess.run(["clang-tidy", "-p", database, "--quiet", "--warnings-as-errors=*", source],
                         capture_output=True, text=True, check=False)
    if run.returncode != 0:
        print(run.stdout, run.stderr, sep="", file=sys.stderr)
    return run.returncode == 0


def remove_old():
    for passed in CACHE.iterdir():
        if time.time() - passed.stat().st_mtime > MONTH:
            passed.unlink(missing_ok=True)


def main(build, *names):
    entries = commands(pathlib.Path(build).resolve())
    sources = [pathlib.Path(name).resolve() for name in names]
    missing = [source for source in sources if source not in entries]
    if missing:
        sys.exit(f"clang_tidy: not in {build}/compile_commands.json: {' '.join(map(str, missing))}")
    CACHE.mkdir(parents=True, exist_ok=True)
    passed = {source: CACHE / key(source, entries[source]["command"].split()) for source in sources}
    changed = [source for source in sources if not passed[source].exists()]
    for source in set(sources) - set(changed):
        passed[source].touch()

    def look_at(source):
        clean = check(source, database)
        if clean:
            passed[source].touch()
        return clean

    with tempfile.TemporaryDirectory() as database:
        pathlib.Path(database, "compile_commands.json").write_text(json.dumps([entries[source] for source in changed]))
        with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
            clean = list(pool.map(look_at, changed))
    remove_old()
    print(f"clang_tidy: {len(sources)} sources, {len(changed)} changed, {clean.count(False)} with findings")
    sys.exit(0 if all(clean) else 1)


if __name__ == "__main__":
    main(*sys.argv[1:])
