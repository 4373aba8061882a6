"""Lines have at most 120 columns and functions at most 40 lines. clang-format sees to the lines of C++; here they are
counted in seconds, with those of Python and of the shell.

What cannot be broken does not count: a text in quotes is as long as what it is compared with, a table is aligned
between clang-format's off and on, and a word has no blank to break at."""

import ast
import os
import re
import subprocess
import unittest

from cpp_source import TOKEN, blanks, cpp_functions

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")

COLUMNS = 120
FUNCTION_LINES = 40
# A test writes out all that it expects.
TEST_FUNCTION_LINES = 110

PYTHON_TEXT = re.compile(r"""[rfbu]{0,2}((?<!")"(?!"")(?:\\.|[^"\\])*"|'(?:\\.|[^'\\])*')""")


def cpp_lengths(source):
    return [(function.line, function.lines) for function in cpp_functions(source)]


def python_functions(source):
    return [(node.lineno, node.end_lineno - node.lineno) for node in ast.walk(ast.parse(source))
            if isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef))]


def long_functions(name, source):
    functions = python_functions(source) if name.endswith(".py") else cpp_lengths(source)
    limit = TEST_FUNCTION_LINES if name.startswith("tests/") else FUNCTION_LINES
    return [f"{name}:{line}: a function of {lines} lines: {limit} at most" for line, lines in functions if lines > limit]


def breakable(name, source):
    """The lines of a source without what does not count."""
    if name.endswith((".cpp", ".h", ".c")):
        source = re.sub(r"// clang-format off.*?// clang-format on", lambda match: blanks(match.group()), source,
                        flags=re.DOTALL)
        source = TOKEN.sub(lambda match: match.group() if match["comment"] or match["directive"] else
                           '""' + "\n" * match.group().count("\n"), source)
    for line in source.split("\n"):
        yield PYTHON_TEXT.sub('""', line) if name.endswith(".py") else line


def long_lines(name, source):
    return [f"{name}:{number}: {len(line)} columns: {COLUMNS} at most"
            for number, line in enumerate(breakable(name, source), 1)
            if len(line) > COLUMNS and " " in line.strip()]


def listed(*patterns):
    """(name, text) of the files of the tree."""
    names = subprocess.run(["git", "ls-files", "-z", "--", *patterns], cwd=ROOT, stdout=subprocess.PIPE, check=True)
    for name in filter(None, names.stdout.decode().split("\0")):
        with open(os.path.join(ROOT, name), encoding="utf-8") as file:
            yield name, file.read()


class Tree(unittest.TestCase):
    def test_lines(self):
        faults = [fault for name, source in listed("*.cpp", "*.h", "*.c", "*.py", "*.sh", "scripts", ".ci")
                  for fault in long_lines(name, source)]
        self.assertEqual(faults, [], "\n" + "\n".join(faults))

    def test_functions(self):
        sources = list(listed("*.cpp", "*.h", "*.c", "*.py"))
        self.assertGreater(sum(len(cpp_functions(source)) for name, source in sources if name.endswith(".cpp")), 5000)
        faults = [fault for name, source in sources for fault in long_functions(name, source)]
        self.assertEqual(faults, [], "\n" + "\n".join(faults))


class Counter(unittest.TestCase):
    """That functions and lines are seen as they are."""
    def test_functions_of_cpp(self):
        for source, functions, reason in (
                ("void f() {\n    a();\n    b();\n}\n", [(1, 2)], "the braces do not count"),
                ("namespace n {\nclass C {\n    int f() const override { return 1; }\n};\n}\n", [(3, 0)], "in a class"),
                ("extern \"C\" {\nint f(void)\n{\n  return 1;\n}\n}\n", [(3, 1)], "the brace on its own line"),
                ("C::C(int a)\n    : a_(a), b_{\n        1} {\n    f();\n}\n", [(3, 1)], "initializers"),
                ("auto f() -> int {\n    g([] {\n        h();\n    });\n}\n", [(1, 3)], "a lambda is a part of it"),
                ("auto table = g({\n    {1, 2},\n});\n", [], "a table is none"),
                ("enum E {\n    A,\n};\nint a[] = {\n    1};\n", [], "nor is an enumeration"),
                ("#define F() {\n#if A\nvoid f() {  // }\n    g(\"}\", '}', R\"(}\n})\");\n}\n", [(3, 2)],
                 "braces in comments, texts and directives are none"),
                ("int f(int a = {}) {\n    return 1'000'000;\n}\n", [(1, 1)], "an argument's default")):
            with self.subTest(reason):
                self.assertEqual(cpp_lengths(source), functions)

    def test_functions_of_python(self):
        self.assertEqual(python_functions("def f(a,\n      b):\n    return 1\n\n\nasync def g():\n    return 2\n"),
                         [(1, 2), (6, 1)])

    def test_limit_is_the_folders(self):
        def function(lines):
            return "void f() {\n" + "    g();\n" * lines + "}\n"
        self.assertEqual(long_functions("CLI/a.cpp", function(40)), [])
        self.assertEqual(long_functions("CLI/a.cpp", function(41)), ["CLI/a.cpp:1: a function of 41 lines: 40 at most"])
        self.assertEqual(long_functions("tests/a.cpp", function(110)), [])
        self.assertEqual(len(long_functions("tests/a.cpp", function(111))), 1)

    def test_lines(self):
        long = "x " * 61
        for name, source, numbers in (
                ("a.cpp", f"{long}\n\n{long}\n", [1, 3]),
                ("a.cpp", f"// {long}\n", [1]),
                ("a.cpp", f"// clang-format off\n{long}\n// clang-format on\n{long}\n", [4]),
                ("a.cpp", f"f(\"{long}\");\nf(R\"(\n{long}\n)\");\n{long}\n", [5]),
                ("a.cpp", "x" * 121 + "\n", []),
                ("a.py", f"# {long}\nf(\"{long}\")\n\"\"\"{long}\"\"\"\n", [1, 3]),
                ("a.sh", f"{long}\n", [1])):
            with self.subTest(name, source=source):
                self.assertEqual([int(fault.split(":")[1]) for fault in long_lines(name, source)], numbers)

    def test_limit_of_a_line(self):
        self.assertEqual(long_lines("a.sh", "x " * 59 + "xx\n"), [])
        self.assertEqual(long_lines("a.sh", "x " * 60 + "x\n"), ["a.sh:1: 121 columns: 120 at most"])


if __name__ == "__main__":
    unittest.main()
