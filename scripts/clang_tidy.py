#!/usr/bin/env python3
"""clang_tidy BUILD FILE...: runs clang-tidy on those sources that changed since they last passed.

BUILD holds compile_commands.json, which gives each FILE its options. A source is the same as one that passed when the
source, every file of the tree that it includes, .clang-tidy, this script, the options, clang-tidy itself and the
packages of scripts/setup are. Passes are empty files below ${XDG_CACHE_HOME:-~/.cache}/nimbrel-lint, for all working
trees; those that no run needed for a month go. Prints the findings, and exits with 1 when there are any.

Nine tenths of the time are the headers of the libraries, which each check walks through. Sources of the same options
that declare no name twice are therefore looked at together, as one source that includes them all, with the macros that
any of them is given: these are places of files and numbers of versions. A set with a finding is halved until the
sources with findings are alone: what a source is found to be depends on no other one.
"""

import concurrent.futures
import functools
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
CONFIGURATION = ROOT / ".clang-tidy"
CACHE = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache") / "nimbrel-lint"
INCLUDE = re.compile(rb'^[ \t]*#[ \t]*include[ \t]*"([^"\n]+)"', re.MULTILINE)
MONTH = 30 * 24 * 3600
TOGETHER = 24
# Of sources that no user gets: a test may copy what it compares, and its products are of small numbers.
TEST_CHECKS = "-performance-*,-bugprone-implicit-widening-of-multiplication-result"

# What a source declares at the margin: a function, constant, type or alias. Its name is the last word before the
# parameters, the value, the base, the body or the end. Members of classes, test cases, namespaces and using
# declarations may come twice.
DECLARATION = re.compile(
    rb"^(?:\} |(?=\w)(?!TEST|static_assert|(?:namespace|using)\b[^=\n]*$)(?:[\w<>,:&*~ ]*?[ &*>])??)"
    rb"(?<!::)\b(?!struct\b|uint)(\w+) *(?:\[[^\]\n]*\] *)*(?=[({=;]|: )", re.MULTILINE)


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


def options(entry):
    """The command without what names the source and its object."""
    words = shlex.split(entry["command"])
    output = words.index("-o")
    return tuple(words[:output] + [word for word in words[output + 2:] if word not in ("-c", entry["file"])])


def is_macro(option):
    return option.startswith("-D") and option != "-DNDEBUG"


def joined(entries):
    """The options of sources that are looked at together: those of the first, with the macros of all."""
    first, *others = [options(entry) for entry in entries]
    names = {option.partition("=")[0] for option in first}
    added = {option.partition("=")[0]: option for each in others for option in each if is_macro(option)}
    return [*first, *(option for name, option in sorted(added.items()) if name not in names)]


def key(source, entry):
    digest = hashlib.sha256(tools())
    digest.update(" ".join(options(entry)).replace(str(ROOT), ".").encode())
    for path in [CONFIGURATION, pathlib.Path(__file__).resolve()] + with_included(source):
        digest.update(b"\0%s\0%d\0" % (str(path.relative_to(ROOT)).encode(), len(content(path))))
        digest.update(content(path))
    return digest.hexdigest()


def commands(build):
    """Each source's options. One that two targets compile is looked at once, as the first of them compiles it."""
    found = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        found.setdefault(pathlib.Path(entry["directory"], entry["file"]).resolve(), entry)
    return found


def checks(source):
    """What is added to the checks of .clang-tidy."""
    product = (ROOT / folder for folder in ("CLI", "ostrel", "features", "simdrive"))
    return "" if any(source.is_relative_to(folder) for folder in product) else TEST_CHECKS


def declared(source):
    return frozenset(DECLARATION.findall(content(source)))


def sets(entries, size=TOGETHER):
    """The sources, in sets of at most `size` that have the same options but for macros, and declare no name twice."""
    found = []  # of lists of sources, with their options and names
    for source in sorted(entries):
        common = tuple(option for option in options(entries[source]) if not is_macro(option))
        kind, names = (source.suffix, checks(source), common), declared(source)
        for sources, other_kind, other_names in found:
            if len(sources) < size and kind == other_kind and not names & other_names:
                sources.append(source)
                other_names |= names
                break
        else:
            found.append(([source], kind, set(names)))
    return [sources for sources, _, _ in found]


def run(sources, entries):
    """What clang-tidy prints on its findings in sources that are looked at together; nothing without findings."""
    with tempfile.TemporaryDirectory() as folder:
        source, entry = sources[0], entries[sources[0]]
        added = checks(source)
        if len(sources) > 1:
            source = pathlib.Path(folder, "together" + source.suffix)
            source.write_text("".join(f'#include "{path}"\n' for path in sources))
            added += ",-bugprone-suspicious-include"
        # Warnings are the compilers' part.
        database = [{"directory": entry["directory"], "file": str(source),
                     "arguments": [*joined([entries[each] for each in sources]), "-w", "-c", str(source)]}]
        pathlib.Path(folder, "compile_commands.json").write_text(json.dumps(database))
        done = subprocess.run(["clang-tidy", "-p", folder, f"--config-file={CONFIGURATION}", "--quiet",
                               "--warnings-as-errors=*", f"--checks={added}", str(source)],
                              capture_output=True, text=True, check=False)
    return done.stdout + done.stderr if done.returncode != 0 else ""


def check(sources, entries):
    """The sources of a set that pass; prints what is found in the others."""
    findings = run(sources, entries)
    if not findings:
        return sources
    if len(sources) > 1:
        half = len(sources) // 2
        return check(sources[:half], entries) + check(sources[half:], entries)
    print(findings, file=sys.stderr)
    return []


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
        found = len(changed) - sum(pool.map(look_at, sets(changed)))
    remove_old()
    print(f"clang_tidy: {len(sources)} sources, {len(changed)} changed, {found} with findings")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main(*sys.argv[1:])
