"""scripts/clang_tidy.py and scripts/check_syntax.py look at sources together, and find what they would find in each
alone."""

import contextlib
import io
import os
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts"))
import check_syntax  # noqa: E402
import clang_tidy  # noqa: E402
import source_sets  # noqa: E402

CLEAN = "int {name}() {{ return 1; }}\n"
BAD = "const char* {name}() {{ return 0; }}\n"  # modernize-use-nullptr


class Sources(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def source(self, name, text, *options):
        """(path, its row of compile_commands.json)"""
        path = self.folder / name
        path.write_text(text)
        command = " ".join(["c++", *options, "-std=c++17", "-o", name + ".o", "-c", str(path)])
        return path, {"directory": str(self.folder), "file": str(path), "command": command}

    def sets(self, *sources):
        return [[path.name for path in paths] for paths in source_sets.sets(dict(sources), size=3)]

    def test_are_together_up_to_a_number(self):
        self.assertEqual(self.sets(*(self.source(f"{name}.cpp", f"void {name}() {{}}\n") for name in "dbca")),
                         [["a.cpp", "b.cpp", "c.cpp"], ["d.cpp"]])

    def test_are_apart_with_other_options_or_another_language(self):
        self.assertEqual(self.sets(self.source("a.cpp", ""), self.source("b.cpp", "", "-m32"), self.source("c.c", "")),
                         [["a.cpp"], ["b.cpp"], ["c.c"]])

    def test_are_together_with_the_macros_of_all(self):
        sources = (self.source("a.cpp", "int a() { return A; }\n", "-DA=1"),
                   self.source("b.cpp", "int b() { return B + A; }\n", "-DB=1", "-DA=2"))
        self.assertEqual(self.sets(*sources), [["a.cpp", "b.cpp"]])
        self.assertEqual([option for option in source_sets.joined(dict(sources).values()) if option.startswith("-D")],
                         ["-DA=1", "-DB=1"])
        self.assertEqual(self.check(*sources), (["a.cpp", "b.cpp"], ""))

    def test_are_apart_when_both_declare_a_name(self):
        for number, (first, second, sets) in enumerate((
                ("int f(int a) {\n}\n", "constexpr int f = 1;\n", 2),
                ("class C : public B {\n};\n", "struct C {\n};\n", 2),
                ("const Row ROWS[] = {\n};\n", "std::vector<int> ROWS;\n", 2),
                ("struct {\n} CASES[] = {\n};\n", "struct {\n} CASES[] = {\n};\n", 2),
                ("namespace a = b;\n", "namespace a = c;\n", 2),
                ("using A = int;\n", "using A = long;\n", 2),
                ("using std::string;\nnamespace a {\n", "using std::string;\nnamespace a {\n", 1),
                ("void A::f() {\n    int i = 1;\n}\n", "void B::f() {\n    int i = 2;\n}\n", 1),
                ("TEST(A, B) {\n}\n", "TEST(A, C) {\n}\n", 1))):
            with self.subTest(first=first, second=second):
                pair = self.source(f"a{number}.cpp", first), self.source(f"b{number}.cpp", second)
                self.assertEqual(len(self.sets(*pair)), sets)

    def check(self, *sources):
        """(names of those that pass, what is printed)"""
        entries = dict(sources)
        printed = io.StringIO()
        with contextlib.redirect_stderr(printed):
            passed = clang_tidy.check(sorted(entries), entries)
        return [path.name for path in passed], printed.getvalue()

    def test_with_a_finding_are_named_and_the_others_pass(self):
        names = ("a", "b", "c", "d")
        passed, printed = self.check(*(self.source(f"{name}.cpp", (BAD if name == "c" else CLEAN).format(name=name))
                                       for name in names))
        self.assertEqual(passed, ["a.cpp", "b.cpp", "d.cpp"])
        self.assertIn("c.cpp:1:26: error: use nullptr", printed)

    def test_that_do_not_compile_together_are_looked_at_alone(self):
        passed, printed = self.check(self.source("a.cpp", "#define A 1\nint a() { return A; }\n"),
                                     self.source("b.cpp", "enum B { A };\nB b() { return A; }\n"))
        self.assertEqual((passed, printed), (["a.cpp", "b.cpp"], ""))

    def test_that_do_not_compile_are_findings(self):
        passed, printed = self.check(self.source("a.cpp", "int a() { return b; }\n"))
        self.assertEqual(passed, [])
        self.assertIn("use of undeclared identifier 'b'", printed)

    def test_with_a_compilers_warning_are_named(self):
        texts = {name: CLEAN.format(name=name) for name in "ac"}
        texts["b"] = "int b(int unused) { return 1; }\n"
        entries = dict(self.source(f"{name}.cpp", texts[name], "-Wall", "-Wextra") for name in texts)
        said = []
        self.assertEqual(source_sets.sets(entries), [sorted(entries)])
        passed = source_sets.check(sorted(entries), lambda each: check_syntax.findings(each, entries), said.append)
        self.assertEqual([path.name for path in passed], ["a.cpp", "c.cpp"])
        self.assertEqual(len(said), 1)
        self.assertIn("b.cpp:1:11: warning: unused parameter", said[0])


if __name__ == "__main__":
    unittest.main()
