"""Sources that are looked at together, as one source that includes them all: nine tenths of the time that a compiler or
clang-tidy takes for one are the headers of the libraries. Together are sources of the same options that declare no name
twice, with the macros that any of them is given: these are places of files and numbers of versions. A set with a
finding is halved until the sources with findings are alone: what a source is found to be depends on no other one."""

import json
import pathlib
import re
import shlex

TOGETHER = 24

# What a source declares at the margin: a function, constant, type or alias. Its name is the last word before the
# parameters, the value, the base, the body or the end. Members of classes, test cases, namespaces and using
# declarations may come twice.
DECLARATION = re.compile(
    rb"^(?:\} |(?=\w)(?!TEST|static_assert|(?:namespace|using)\b[^=\n]*$)(?:[\w<>,:&*~ ]*?[ &*>])??)"
    rb"(?<!::)\b(?!struct\b|uint)(\w+) *(?:\[[^\]\n]*\] *)*(?=[({=;]|: )", re.MULTILINE)


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


def commands(build):
    """Each source's options. One that two targets compile is looked at once, as the first of them compiles it."""
    found = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        found.setdefault(pathlib.Path(entry["directory"], entry["file"]).resolve(), entry)
    return found


def declared(source):
    return frozenset(DECLARATION.findall(source.read_bytes()))


def sets(entries, size=TOGETHER, kind_of=lambda source: None):
    """The sources, in sets of at most `size` that are of one kind, have the same options but for macros, and declare no
    name twice."""
    found = []  # of lists of sources, with their options and names
    for source in sorted(entries):
        common = tuple(option for option in options(entries[source]) if not is_macro(option))
        kind, names = (source.suffix, kind_of(source), common), declared(source)
        for sources, other_kind, other_names in found:
            if len(sources) < size and kind == other_kind and not names & other_names:
                sources.append(source)
                other_names |= names
                break
        else:
            found.append(([source], kind, set(names)))
    return [sources for sources, _, _ in found]


def source_of(sources, folder):
    """The one source, or one in the folder that includes all of them."""
    if len(sources) == 1:
        return sources[0]
    together = pathlib.Path(folder, "together" + sources[0].suffix)
    together.write_text("".join(f'#include "{path}"\n' for path in sources))
    return together


def check(sources, findings_of, report):
    """Those of a set that pass. What findings_of() returns of each other one is given to report(); "" is none."""
    findings = findings_of(sources)
    if not findings:
        return sources
    if len(sources) > 1:
        half = len(sources) // 2
        return check(sources[:half], findings_of, report) + check(sources[half:], findings_of, report)
    report(findings)
    return []
