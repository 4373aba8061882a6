#!/usr/bin/env python3
"""clang_tidy BUILD FILE...: runs clang-tidy on those sources that changed since they last passed.

BUILD holds compile_commands.json, which gives each FILE its options. A source is the same as one that passed when the
source, every file of the tree that it includes, .clang-tidy, this script, the options, clang-tidy itself and the
packages of scripts/setup are. Passes are empty files below ${XDG_CACHE_HOME:-~/.cache}/nimbrel-lint, for all working
trees; those that no run needed for a month go. Prints the findings, and exits with 1 when there are any."""

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

import source_sets

ROOT = pathlib.Path(__file__).resolve().parent.parent
CONFIGURATION = ROOT / ".clang-tidy"
SCRIPTS = [pathlib.Path(__file__).resolve(), pathlib.Path(source_sets.__file__).resolve()]
CACHE = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache") / "nimbrel-lint"
INCLUDE = re.compile(rb'^[ \t]*#[ \t]*include[ \t]*"([^"\n]+)"', re.MULTILINE)
MONTH = 30 * 24 * 3600
# Of sources that no user gets: a test may copy what it compares, and its products are of small numbers.
TEST_CHECKS = "-performance-*,-bugprone-implicit-widening-of-multiplication-result"


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


@functools.lru_cache(maxsize=None)
def tools():
    """What clang-tidy is, and the versions of the packages whose headers it reads."""
    version = subprocess.run(["clang-tidy", "--version"], check=True, capture_output=True).stdout
    packages = subprocess.run(["dpkg-query", "-W", "-f", "${Package} ${Version}\n", "lib*-dev", "libstdc++*"],
                              check=True, capture_output=True).stdout
    return version + packages


def key(source, entry):
    digest = hashlib.sha256(tools())
    digest.update(" ".join(source_sets.options(entry)).replace(str(ROOT), ".").encode())
    for path in [CONFIGURATION, *SCRIPTS] + with_included(source):
        digest.update(b"\0%s\0%d\0" % (str(path.relative_to(ROOT)).encode(), len(content(path))))
        digest.update(content(path))
    return digest.hexdigest()


def checks(source):
    """What is added to the checks of .clang-tidy."""
    product = (ROOT / folder for folder in ("CLI", "ostrel", "features", "simdrive"))
    return "" if any(source.is_relative_to(folder) for folder in product) else TEST_CHECKS


def run(sources, entries):
    """What clang-tidy prints on its findings in sources that are looked at together; nothing without findings."""
    with tempfile.TemporaryDirectory() as folder:
        source, entry = source_sets.source_of(sources, folder), entries[sources[0]]
        added = checks(sources[0]) + (",-bugprone-suspicious-include" if len(sources) > 1 else "")
        # Warnings are the compilers' part.
        database = [{"directory": entry["directory"], "file": str(source),
                     "arguments": [*source_sets.joined([entries[each] for each in sources]), "-w", "-c", str(source)]}]
        pathlib.Path(folder, "compile_commands.json").write_text(json.dumps(database))
        done = subprocess.run(["clang-tidy", "-p", folder, f"--config-file={CONFIGURATION}", "--quiet",
                               "--warnings-as-errors=*", f"--checks={added}", str(source)],
                              capture_output=True, text=True, check=False)
    return done.stdout + done.stderr if done.returncode != 0 else ""


def check(sources, entries):
    """The sources of a set that pass; prints what is found in the others."""
    return source_sets.check(sources, lambda each: run(each, entries), lambda text: print(text, file=sys.stderr))


def remove_old():
    for passed in CACHE.iterdir():
        if time.time() - passed.stat().st_mtime > MONTH:
            passed.unlink(missing_ok=True)


def main(build, *names):
    entries = source_sets.commands(pathlib.Path(build).resolve())
    sources = [pathlib.Path(name).resolve() for name in names]
    missing = [source for source in sources if source not in entries]
    if missing:
        sys.exit(f"clang_tidy: not in {build}/compile_commands.json: {' '.join(map(str, missing))}")
    CACHE.mkdir(parents=True, exist_ok=True)
    passed = {source: CACHE / key(source, entries[source]) for source in sources}
    changed = {source: entries[source] for source in sources if not passed[source].exists()}
    for source in set(sources) - set(changed):
        passed[source].touch()

    def look_at(sources):
        clean = check(sources, entries)
        for source in clean:
            passed[source].touch()
        return len(clean)

    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        found = len(changed) - sum(pool.map(look_at, source_sets.sets(changed, kind_of=checks)))
    remove_old()
    print(f"clang_tidy: {len(sources)} sources, {len(changed)} changed, {found} with findings")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main(*sys.argv[1:])
