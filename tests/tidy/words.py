"""The project's English: comments, names, documents and messages use the words of the standards and of manual pages.

Each row of WORDS has what is not written, what is written instead, and a text that the row must find. Names count, too:
"isBehindLsi", "is_behind". A phrase is found across the lines of a comment. Recorded outputs are not looked at: they
follow the sources."""

import functools
import pathlib
import re
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]

WORDS = (
    (r"tells?|telling|told", "reports, returns, shows, indicates", "the log page tells the length"),
    (r"roads?", "transport; a transport error", "the road to the drive failed"),
    (r"let(s|ting)? go", "releases, frees", "lets go of the lock"),
    (r"keep(s|ing)? hold", "holds", "keeps hold of the lock"),
    (r"behind", "after; of, below", "the bytes behind the header"),
    (r"stands?|standing|stood", "is; selects, means, matches, replaces", "the field stands in dword 11"),
    (r"anew", "again; rewrites, renumbers", "writes the file anew"),
    (r"likewise", "the same", "a target likewise"),
    (r"all the same", "still", "it is read all the same"),
    (r"whoever|somebody|nobody|anybody", "the caller, another process, no drive; unused", "whoever calls this"),
    (r"is no (valid )?(name|key) of", "is not a valid name of, unknown key", "is no key of [fault]"),
    (r"has no command (?!line)\w+", "does not support the command", "drive S1 has no command Format NVM"),
    (r"(drive|controller) does not have the (command|feature|log|log page|page)", "does not support the",
     "null: the drive does not have the page"),
    (r"in one piece", "as a whole; does not support log page offsets", "from its start and in one piece only"),
    (r"c[oa]mes? back different", "data miscompare", "data that came back different"),
    (r"there is no secret", "no authentication", "there is no secret for this host"),
    (r"happenings?", "event; record()", "a happening of the drive"),
    (r"offences?", "error", "an offence against the protocol"),
    (r"watch(es|ing)? over", "enables keep-alive, monitors", "watches over the connection"),
)

# As WORDS, for names alone: as words of a sentence they are good English.
NAMES = (
    (r"MOST_\w+|most[A-Z]\w*", "MAX_, max", "MOST_BYTES"),
    (r"LEAST_\w+|least[A-Z]\w*", "MIN_, min", "leastBytes"),
    (r"\w*[sS]ideBySide\w*", "parallelFor", "runSideBySide"),
    (r"call_once|once_flag", "ostrel::core::Once, which an exception can leave", "std::call_once"),
)

# Texts that programs compare, and so are never reworded: text, reason, files. A file without the text fails.
EXCEPTIONS = (
    ("Can't tell if command passed or failed.", "scripts compare this text",
     ("ostrel/core/StatusCatalogue.def", "docs/exit-status.md",
      "tests/unit/features/transport/AtaSenseTest.cpp", "tests/unit/features/transport/LinuxAtaPathTest.cpp",
      "tests/unit/features/transport/LinuxNvmePathTest.cpp")),
)

SOURCES = re.compile(r"\.(cpp|h|c|def|py|sh|md|txt|cmake|map|layout)$|^scripts/|^\.ci/")
RECORDED = re.compile(r"^fuzz/corpus/|/goldens?/|[Gg]oldens?\.|/captured/")

GAP = r"(?:\s|[/#*])+"  # between the words of a phrase: the end of a line, and the mark of the next one's comment
PATTERNS = tuple(re.compile(rf"\b(?:{row[0]})".replace(" ", GAP) + r"\b", re.IGNORECASE) for row in WORDS)
ANY = re.compile("|".join(pattern.pattern for pattern in PATTERNS), re.IGNORECASE)
NAME_PATTERNS = tuple(re.compile(rf"\b(?:{row[0]})\b") for row in NAMES)


def findings(name, text):
    """One line for each word that is in the table: file, line, word, what to write."""
    spaced = re.sub(r"(?<=[a-z0-9])(?=[A-Z])|(?<=[A-Z])(?=[A-Z][a-z])", " ", text).replace("_", " ")
    found = []
    for match in ANY.finditer(spaced):
        row = next(row for row, pattern in zip(WORDS, PATTERNS) if pattern.match(spaced, match.start()))
        word = " ".join(re.split(GAP, match.group()))
        found.append(f"{name}:{spaced.count(chr(10), 0, match.start()) + 1}: \"{word}\": write {row[1]}")
    for row, pattern in zip(NAMES, NAME_PATTERNS):
        for match in pattern.finditer(text):
            found.append(f"{name}:{text.count(chr(10), 0, match.start()) + 1}: \"{match.group()}\": write {row[1]}")
    return found


def without_exceptions(name, text):
    for exception, _, files in EXCEPTIONS:
        if name in files:
            text = text.replace(exception, "")
    return text


@functools.lru_cache(maxsize=None)
def sources():
    """Names and texts of the files that people write, but this one, which has to spell the words."""
    found = []
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, stdout=subprocess.PIPE, check=True).stdout.decode()
    for name in listed.split("\0"):
        path = ROOT / name
        if SOURCES.search(name) and not RECORDED.search(name) and path != pathlib.Path(__file__).resolve():
            found.append((name, path.read_text(encoding="utf-8")))
    return found


class Words(unittest.TestCase):
    def test_all_files_use_them(self):
        found = [line for name, text in sources() for line in findings(name, without_exceptions(name, text))]
        self.assertEqual(found, [], "\n" + "\n".join(found))

    def test_every_exception_applies(self):
        for exception, reason, files in EXCEPTIONS:
            for name in files:
                with self.subTest(exception, file=name, reason=reason):
                    self.assertIn(exception, (ROOT / name).read_text(encoding="utf-8"))

    def test_an_exception_spares_its_text_in_its_files_alone(self):
        text = EXCEPTIONS[0][0]
        self.assertEqual(findings("x", without_exceptions("docs/exit-status.md", text)), [])
        self.assertNotEqual(findings("x", without_exceptions("docs/exit-status.md", text + " It tells so.")), [])
        self.assertNotEqual(findings("x", without_exceptions("docs/files.md", text)), [])

    def test_every_row_finds_its_example(self):
        for (_, instead, example), pattern in zip(WORDS + NAMES, PATTERNS + NAME_PATTERNS):
            with self.subTest(example):
                self.assertRegex(example, pattern)
                self.assertRegex("\n".join(findings("a.h", example)), re.escape(f": write {instead}"))

    def test_finds_words_in_text_in_names_and_across_lines(self):
        self.assertEqual(
            findings("a.h",
                     "// Whoever calls,\n// reads all the\n//   same: isBehindLsi(), test_is_told, STANDS_FOR\n"),
            ['a.h:1: "Whoever": write the caller, another process, no drive; unused',
             'a.h:2: "all the same": write still',
             'a.h:3: "Behind": write after; of, below',
             'a.h:3: "told": write reports, returns, shows, indicates',
             'a.h:3: "STANDS": write is; selects, means, matches, replaces'])

    def test_finds_names(self):
        self.assertEqual(findings("a.h", "// at most\nconst int MOST_BYTES = mostBlocks;\n"),
                         ['a.h:2: "MOST_BYTES": write MAX_, max', 'a.h:2: "mostBlocks": write MAX_, max'])

    def test_leaves_other_words_alone(self):
        self.assertEqual(findings("a.h", "standard output, intellect, broad, a command without a command line, "
                                         "it has no command line, all the samples, outstanding, "
                                         "at most 4 bytes, MAX_BYTES, almostAll, side by side"), [])

    def test_looks_at_sources_and_not_at_recorded_outputs(self):
        names = [name for name, _ in sources()]
        for name in ("README.md", "CLI/main.cpp", "tests/CMakeLists.txt", "scripts/test", "ostrel/core/Status.h"):
            self.assertIn(name, names)
        self.assertEqual([name for name in names if "golden/" in name or "corpus/" in name], [])


if __name__ == "__main__":
    unittest.main()
