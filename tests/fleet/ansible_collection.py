"""The collection as Ansible's own tools and the linters see it."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

COLLECTION = pathlib.Path(__file__).resolve().parents[2] / "ansible" / "velko" / "nimbrel"
MODULES = ("drive_erase", "drive_feature", "drive_info", "firmware", "health", "namespace")
# Those of ansible-test sanity that fetch nothing; docs/ansible.md has the list.
SANITY = ("action-plugin-docs", "changelog", "compile", "empty-init", "future-import-boilerplate", "ignores",
          "line-endings", "metaclass-boilerplate", "no-assert", "no-basestring", "no-dict-iteritems", "no-dict-iterkeys",
          "no-dict-itervalues", "no-get-exception", "no-illegal-filenames", "no-main-display", "no-smart-quotes",
          "no-unicode-literals", "pslint", "replace-urlopen", "shebang", "shellcheck", "symlinks",
          "use-argspec-type-path", "use-compat-six")
# Ansible wants a module's documentation before its imports; DOCUMENTATION of two modules is alike.
PYLINT_ALLOWS = "wrong-import-position,duplicate-code,too-few-public-methods,too-many-arguments,too-many-positional-arguments"


class Collection(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="nimbrel-collection-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.environment = {**os.environ, "HOME": str(cls.folder), "ANSIBLE_CONFIG": str(cls.folder / "ansible.cfg"), "LC_ALL": "C.UTF-8",
                           "ANSIBLE_COLLECTIONS_PATH": str(cls.folder), "ANSIBLE_LOCAL_TEMP": str(cls.folder / "tmp"),
                           "PYTHONPATH": str(cls.folder), "PYTHONDONTWRITEBYTECODE": "1", "ANSIBLE_NOCOLOR": "1"}
        (cls.folder / "ansible.cfg").touch()
        # A copy: some of the tools write beside what they read.
        cls.package = cls.folder / "ansible_collections/velko/nimbrel"
        shutil.copytree(COLLECTION, cls.package, ignore=shutil.ignore_patterns("__pycache__"))

    def run_clean(self, *command, cwd=None):
        run = subprocess.run(command, cwd=cwd or self.package, env=self.environment, stdin=subprocess.DEVNULL,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, timeout=300)
        self.assertEqual(run.returncode, 0, f"{' '.join(command)}\n{run.stdout}")
        return run.stdout

    def test_ansible_doc_renders_each_module(self):
        for module in MODULES:
            shown = self.run_clean("ansible-doc", "-t", "module", f"velko.nimbrel.{module}")
            self.assertTrue(shown.startswith(f"> VELKO.NIMBREL.{module.upper()}"), shown)
            for heading in ("OPTIONS (= is mandatory):", "EXAMPLES:", "RETURN VALUES:", "- executable"):
                self.assertIn(heading, shown)

    def test_the_modules_are_these(self):
        self.assertEqual(sorted(path.stem for path in (COLLECTION / "plugins/modules").glob("*.py")), list(MODULES))

    def test_ansible_lint_finds_nothing(self):
        self.run_clean("ansible-lint", "--offline", "--strict", "playbooks/firmware_rollout.yml")

    def test_the_linters_find_nothing(self):
        self.run_clean("flake8", "--max-line-length", "120", "--ignore", "E402,W503", "plugins")
        self.run_clean("yamllint", "--strict", ".")
        self.run_clean("pylint", "--max-line-length", "120", "--disable", PYLINT_ALLOWS,
                       "ansible_collections/velko/nimbrel/plugins", cwd=self.folder)

    def test_the_sanity_tests_that_fetch_nothing_pass(self):
        self.run_clean("git", "init", "-q", ".")  # ansible-test asks git which files there are
        self.run_clean("git", "add", "-A")
        version = self.run_clean("/usr/bin/python3", "-c", "import sys; print('%d.%d' % sys.version_info[:2])").strip()
        self.run_clean("ansible-test", "sanity", "--python", version, *[word for test in SANITY for word in ("--test", test)])

    def test_the_archive_installs(self):
        self.run_clean("ansible-galaxy", "collection", "build", "--output-path", str(self.folder))
        archive, = self.folder.glob("velko-nimbrel-*.tar.gz")
        self.run_clean("ansible-galaxy", "collection", "install", "--offline", "-p", str(self.folder / "installed"),
                       str(archive))
        installed = self.folder / "installed/ansible_collections/velko/nimbrel"
        self.assertTrue((installed / "plugins/modules/drive_erase.py").is_file())
        self.assertFalse((installed / "tests").exists())
