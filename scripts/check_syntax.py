#!/usr/bin/env python3
"""check_syntax.py BUILD [PART]: runs the compiler of a build's compile_commands.json over all sources whose path has
PART in it, in sets (source_sets.py) and without making anything, and exits with 1 where it finds something to say."""

import concurrent.futures
import os
import pathlib
import subprocess
import sys
import tempfile

import source_sets


def findings(sources, entries):
    """What the compiler says of sources that are looked at together."""
    entry = entries[sources[0]]
    options = source_sets.joined([entries[each] for each in sources])
    words = [word for word in options if os.path.basename(word) != "ccache"]
    with tempfile.TemporaryDirectory() as folder:
        done = subprocess.run([*words, "-fsyntax-only", str(source_sets.source_of(sources, folder))], check=False,
                              cwd=entry["directory"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return done.stdout or ("" if done.returncode == 0 else f"{sources[0]}: status {done.returncode}\n")


def main(build, part=""):
    entries = {source: entry for source, entry in source_sets.commands(pathlib.Path(build).resolve()).items()
               if part in str(source)}
    if not entries:
        sys.exit(f"check_syntax: no source has {part} in its path")
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        clean = pool.map(lambda each: source_sets.check(each, lambda sources: findings(sources, entries),
                                                        lambda text: print(text, end="")), source_sets.sets(entries))
        found = len(entries) - sum(map(len, clean))
    print(f"check_syntax: {len(entries)} sources, {found} with findings")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main(*sys.argv[1:])
