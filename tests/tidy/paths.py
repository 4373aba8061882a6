"""Each path of the tree that a document names is there: `features/nvme/Drive.h`, and the files that its links lead
to."""
import glob
import os
import re
import tempfile
import unittest

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
DOCUMENTS = ("*.md", "docs/*.md")
CODE = re.compile(r"`([\w.-]+/[\w./-]*)")
LINK = re.compile(r"\]\(([^)#:]+)(?:#[^)]*)?\)")
# What represents a name of the reader's own.
PLACEHOLDERS = {"fuzz/corpus/NAME"}


def missing_paths(root, documents):
    """A line for each path that is not there. Paths in back quotes begin with a folder at the root; others are not the
    tree's. Links begin at their document."""
    folders = {name for name in os.listdir(root) if os.path.isdir(os.path.join(root, name))} - {"build"}
    faults = []
    for document in documents:
        with open(os.path.join(root, document), encoding="utf-8") as file:
            lines = list(enumerate(file, 1))
        for number, line in lines:
            named = [path for path in CODE.findall(line) if path.split("/")[0] in folders and path not in PLACEHOLDERS]
            linked = [os.path.join(os.path.dirname(document), path) for path in LINK.findall(line)]
            faults += [f"{document}:{number}: there is no {path}" for path in named + linked
                       if not os.path.exists(os.path.join(root, path))]
    return faults


class Product(unittest.TestCase):
    def test_documents_name_what_is_there(self):
        documents = [os.path.relpath(path, ROOT) for pattern in DOCUMENTS
                     for path in sorted(glob.glob(os.path.join(ROOT, pattern)))]
        self.assertIn("ARCHITECTURE.md", documents)
        self.assertEqual(missing_paths(ROOT, documents), [])


class Check(unittest.TestCase):
    """That the check finds what it is for."""

    def test_names_document_line_and_path(self):
        with tempfile.TemporaryDirectory() as root:
            os.makedirs(os.path.join(root, "docs"))
            os.makedirs(os.path.join(root, "code"))
            for name, text in {
                "code/There.h": "",
                "README.md": "`code/There.h`, `code/` and\n`code/Gone.h:12`, `/etc/code/Gone.h` and `other/Gone.h`\n",
                "docs/a.md": "[up](../README.md#top) [gone](gone.md) [far](https://example.org/gone.md)\n",
            }.items():
                with open(os.path.join(root, name), "w", encoding="utf-8") as file:
                    file.write(text)
            self.assertEqual(missing_paths(root, ["README.md", "docs/a.md"]),
                             ["README.md:2: there is no code/Gone.h", "docs/a.md:1: there is no docs/gone.md"])


if __name__ == "__main__":
    unittest.main()
