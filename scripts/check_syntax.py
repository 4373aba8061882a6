#!/usr/bin/env python3
"""check_syntax.py COMMANDS [PART]: runs the compiler of a compile_commands.json over all sources whose path has PART in
it, without making anything, and exits with 1 where it finds something to say."""

import concurrent.futures
import json
import os
import shlex
import subprocess
import sys


def check(entry):
    words = shlex.split(entry["command"])
    at = words.index("-o")
    words = [word for word in words[:at] + words[at + 2:] if os.path.basename(word) != "ccache"]
    done = subprocess.run([*words, "-fsyntax-only"], cwd=entry["directory"], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True)
    return done.returncode == 0 and not done.stdout, done.stdout


def main():
    commands, part = sys.argv[1], "".join(sys.argv[2:])
    with open(commands) as file:
        entries = [entry for entry in json.load(file) if part in entry["file"]]
    if not entries:
        raise SystemExit(f"check_syntax: no source has {part} in its path")
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        outcomes = list(pool.map(check, entries))
    said = [text for is_clean, text in outcomes if not is_clean]
    print("".join(said), end="")
    print(f"check_syntax: {len(entries)} sources, {len(said)} with findings")
    return 1 if said else 0


if __name__ == "__main__":
    sys.exit(main())
