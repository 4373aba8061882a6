"""What the checks of C++ sources see of one: its functions, and its text without comments and texts in quotes."""

import collections
import re

TOKEN = re.compile(r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<raw>R"(?P<delimiter>[^(\s]*)\(.*?\)(?P=delimiter)")
  | (?P<text>"(?:\\.|[^"\\\n])*"|(?<![0-9A-Za-z])'(?:\\.|[^'\\\n])+')
  | (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
""", re.VERBOSE | re.DOTALL | re.MULTILINE)

SCOPE = re.compile(r"\b(namespace|class|struct|union|extern)\b[^()]*$")
# A list of parameters, or the initializers of a constructor, and the qualifiers or the result that may follow.
FUNCTION = re.compile(r"\)\s*(?:(?:const|noexcept|override|final|try|&&?)\s*)*(?:->[^;{}]*)?$")
# The word before the parameters: the first list in parentheses, initializers of a constructor come later.
NAME = re.compile(r"(operator\W+|[\w:~]+)\s*\(")

# `lines` are those between the braces; `head` is what is before them; a `local` one is in an unnamed namespace.
Function = collections.namedtuple("Function", "line lines name local head body")


def blanks(text):
    return re.sub(r"[^\n]", " ", text)


def without_texts(source):
    """C++ with its comments and directives blank, and its texts empty; each line stays where it is."""
    def replace(match):
        if match["comment"] or match["directive"]:
            return blanks(match.group())
        return '""' + "\n" * match.group().count("\n")
    return TOKEN.sub(replace, source)


def is_unnamed(head):
    return head.split() == ["namespace"]


def cpp_functions(source):
    """Each function with a body. What is in a function is a part of it, lambdas included."""
    text = without_texts(source)
    found, scopes, head, line = [], [], "", 1
    for match in re.finditer(r"[{};\n]|[^{};\n]+", text):
        word = match.group()
        if word == "{":
            outside = all(kind == "scope" for kind, *_ in scopes)
            kind = "function" if FUNCTION.search(head) else "scope" if SCOPE.search(head) else "value"
            scopes.append((kind if outside else "inner", line, match.end(), head))
            head = ""
        elif word == "}":
            kind, start, begin, before = scopes.pop()
            if kind == "function":
                name = NAME.search(before)
                found.append(Function(start, max(0, line - start - 1), name.group(1) if name else "",
                                      any(is_unnamed(head) for *_, head in scopes), " ".join(before.split()),
                                      text[begin:match.start()].strip()))
            head = before + "()" if kind == "value" else ""  # the initializers of a constructor go on
        else:
            head = "" if word == ";" else head + word
            line += word == "\n"
    return found
