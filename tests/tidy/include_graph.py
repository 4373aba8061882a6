"""The includes of the product against the dependencies that CMake knows.

Include paths begin at the root, so the compiler takes any header of any folder. What a folder may include is what its
target names in DEPENDS, each target for itself: what a dependency depends on does not count.

A header belongs to the target that compiles the source of the same name, or has the header among its SOURCES; a header
without a source, to the one target of its folder, which may be compiled twice.
"""
import os
import re

INCLUDE = re.compile(r'\s*#\s*include\s+"([^"]+)"')
ENDINGS = (".h", ".cpp", ".c", ".def")


class Target:
    def __init__(self, name, folder):
        self.name = name
        self.folder = folder
        self.sources = set()
        self.depends = set()


def read_targets(lines):
    """The targets by name, of the lines that cmake/TargetGraph.cmake writes."""
    targets = {}
    target = None
    for line in lines:
        kind, _, value = line.rstrip("\n").partition(" ")
        if kind == "target":
            name, folder = value.split(" ")
            target = targets[name] = Target(name, folder)
        elif kind == "source":
            target.sources.add(os.path.normpath(value))
        elif kind == "depends":
            target.depends.add(value)
    return targets


def unit_of(path):
    """A header and its sources: "a/System" for a/System.h, a/System.cpp and a/System.linux.cpp."""
    folder, name = os.path.split(path)
    return os.path.join(folder, name.split(".")[0])


def cycles(graph):
    """The sets of nodes that reach each other (Tarjan), each of two nodes or more, sorted."""
    numbers, lowest, stack, found = {}, {}, [], []

    def visit(node):
        numbers[node] = lowest[node] = len(numbers)
        stack.append(node)
        for other in sorted(graph.get(node, ())):
            if other not in numbers:
                visit(other)
            if other in stack:
                lowest[node] = min(lowest[node], lowest[other])
        if lowest[node] == numbers[node]:
            members = stack[stack.index(node):]
            del stack[stack.index(node):]
            if len(members) > 1:
                found.append(sorted(members))

    for node in sorted(graph):
        if node not in numbers:
            visit(node)
    return sorted(found)


class IncludeGraph:
    """The files in the targets' folders below `root`, and what they include."""

    def __init__(self, root, targets):
        self.root = root
        self.targets = targets
        self.includes = {}  # of each file: (line, included path)
        self._owners = {}
        for folder in {target.folder for target in targets.values()}:
            for path, _, names in os.walk(os.path.join(root, folder)):
                for name in names:
                    if name.endswith(ENDINGS):
                        self._read(os.path.relpath(os.path.join(path, name), root))

    def _read(self, file):
        with open(os.path.join(self.root, file), encoding="utf-8") as lines:
            matches = ((number, INCLUDE.match(line)) for number, line in enumerate(lines, 1))
            self.includes[file] = [(number, match.group(1)) for number, match in matches if match]

    def owners(self, file):
        """The targets that the file belongs to: several where one folder is compiled more than once."""
        if file not in self._owners:
            self._owners[file] = self._find_owners(file)
        return self._owners[file]

    def _find_owners(self, file):
        owners = {t.name for t in self.targets.values() if file in t.sources}
        if file.endswith((".cpp", ".c")):
            return owners
        unit = unit_of(file)
        owners = owners or {t.name for t in self.targets.values() if unit in map(unit_of, t.sources)}
        folder = os.path.dirname(file)
        while folder and not any(t.folder == folder for t in self.targets.values()):
            folder = os.path.dirname(folder)
        here = [t for t in self.targets.values() if t.folder == folder]
        if not owners and len({frozenset(t.sources) for t in here if t.sources}) == 1:
            owners = {t.name for t in here}
        # A target without sources is the headers of its folder.
        return owners | {t.name for t in here if owners and not t.sources}

    def missing_dependencies(self):
        """A line for each include without a dependency, and for each file that is in no target."""
        faults = [f"{file}:1: no target has this file" for file in self.includes if not self.owners(file)]
        for file, includes in self.includes.items():
            for number, included in includes:
                if included not in self.includes:
                    faults.append(f"{file}:{number}: there is no {included} in the folders of the targets")
                    continue
                faults += [f"{file}:{number}: {name} includes {included}, and does not depend on {wanted}"
                           for name, wanted in self._missing(file, included)]
        return sorted(faults)

    def _missing(self, file, included):
        wanted = self.owners(included)
        for name in sorted(self.owners(file)) if wanted else ():
            target = self.targets[name]
            if target.sources and not (target.depends | {name}) & wanted:
                yield name, " or ".join(sorted(wanted))

    def unit_cycles(self):
        graph = {}
        for file, includes in self.includes.items():
            units = {unit_of(path) for _, path in includes} - {unit_of(file)}
            graph.setdefault(unit_of(file), set()).update(units)
        return cycles(graph)

    def target_cycles(self):
        return cycles({name: target.depends & set(self.targets) for name, target in self.targets.items()})
