"""The packages, made of this build: what is in them, what looks at packages finds, and what a purge takes and leaves.

Nothing is installed here.
"""

import hashlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

from world import ToolTestCase, World

BUILD = os.environ["NIMBREL_BUILD"]
FEATURE_LIBRARY = os.environ["NIMBREL_FEATURE_LIBRARY"]
SIMDRIVE = os.environ["NIMBREL_SIMDRIVE"]
SOURCES = pathlib.Path(__file__).resolve().parents[2]
PACKAGING = SOURCES / "packaging/packages"
# Quick: no debug symbols, and little compression.
OPTIONS = ["-D", "CPACK_DEBIAN_DEBUGINFO_PACKAGE=OFF", "-D", "CPACK_STRIP_FILES=ON",
           "-D", "CPACK_DEBIAN_COMPRESSION_TYPE=gzip", "-D", "CPACK_RPM_COMPRESSION_TYPE=gzip"]
# Later than any checkout: each time in a package is then one that was set.
EPOCH = "2000000000"

# Beside documents and the pages of single commands.
TOOL_FILES = """\
/opt/velko/nimbrel/Velko.SSDFeatures.so.3.0.0
/opt/velko/nimbrel/nimbrel
/opt/velko/nimbrel/nimbrel-selftest
/opt/velko/nimbrel/share/nimbrel/complete
/usr/bin/nimbrel -> /opt/velko/nimbrel/nimbrel
/usr/lib/systemd/system/nimbrel-health-scan.service
/usr/lib/systemd/system/nimbrel-health-scan.timer
/usr/lib/systemd/system/nimbrel-selftest-extended.timer
/usr/lib/systemd/system/nimbrel-selftest-short.timer
/usr/lib/systemd/system/nimbrel-selftest@.service
/usr/share/bash-completion/completions/nimbrel
/usr/share/doc/nimbrel/README.md
/usr/share/doc/nimbrel/SECURITY.md
/usr/share/doc/nimbrel/changelog.Debian.gz
/usr/share/doc/nimbrel/changelog.gz
/usr/share/doc/nimbrel/copyright
/usr/share/doc/nimbrel/examples/apparmor/opt.velko.nimbrel.nimbrel
/usr/share/doc/nimbrel/examples/grafana/nimbrel-drive.json
/usr/share/doc/nimbrel/examples/grafana/nimbrel-fleet.json
/usr/share/doc/nimbrel/examples/prometheus/nimbrel.rules.yml
/usr/share/doc/nimbrel/examples/sudoers/nimbrel
/usr/share/doc/nimbrel/nimbrel.spdx.json
/usr/share/fish/vendor_completions.d/nimbrel.fish
/usr/share/lintian/overrides/nimbrel
/usr/share/man/man5/nimbrel_config.xml.5.gz
/usr/share/man/man7/nimbrel-output.7.gz
/usr/share/man/man8/nimbrel.8.gz
/usr/share/zsh/site-functions/_nimbrel
/usr/share/zsh/vendor-completions/_nimbrel
"""
SIMDRIVE_FILES = """\
/opt/velko/nimbrel/nimbrel-simdrive
/usr/bin/nimbrel-simdrive -> /opt/velko/nimbrel/nimbrel-simdrive
/usr/share/doc/nimbrel-simdrive/changelog.Debian.gz
/usr/share/doc/nimbrel-simdrive/copyright
/usr/share/doc/nimbrel-simdrive/nimbrel-simdrive.spdx.json
/usr/share/lintian/overrides/nimbrel-simdrive
/usr/share/man/man1/nimbrel-simdrive.1.gz
"""
REPORT_FILES = """\
/opt/velko/nimbrel/nimbrel-report
/opt/velko/nimbrel/share/nimbrel-report/chart.min.js
@MODULES@/opt/velko/nimbrel/share/nimbrel-report/report.schema.json
/usr/bin/nimbrel-report -> /opt/velko/nimbrel/nimbrel-report
/usr/share/doc/nimbrel-report/changelog.Debian.gz
/usr/share/doc/nimbrel-report/copyright
/usr/share/doc/nimbrel-report/nimbrel-report.spdx.json
/usr/share/lintian/overrides/nimbrel-report
/usr/share/man/man8/nimbrel-report.8.gz
"""
EXPORTER_FILES = """\
/opt/velko/nimbrel/nimbrel-exporter
/usr/bin/nimbrel-exporter -> /opt/velko/nimbrel/nimbrel-exporter
/usr/lib/systemd/system/nimbrel-exporter-listen.service
/usr/lib/systemd/system/nimbrel-exporter.service
/usr/lib/systemd/system/nimbrel-exporter.timer
/usr/share/doc/nimbrel-exporter/changelog.Debian.gz
/usr/share/doc/nimbrel-exporter/copyright
/usr/share/doc/nimbrel-exporter/nimbrel-exporter.spdx.json
/usr/share/lintian/overrides/nimbrel-exporter
/usr/share/man/man8/nimbrel-exporter.8.gz
"""
DEV_FILES = """\
/usr/include/nimbrel/FeatureLibrary.h
/usr/share/doc/nimbrel-dev/changelog.Debian.gz
/usr/share/doc/nimbrel-dev/copyright
/usr/share/doc/nimbrel-dev/examples/feature-library/Makefile
/usr/share/doc/nimbrel-dev/examples/feature-library/library.c
/usr/share/pkgconfig/nimbrel.pc
"""
COLLECTION = "/usr/share/ansible/collections/ansible_collections/velko/nimbrel"
COLLECTION_FILES = f"""\
{COLLECTION}/README.md
{COLLECTION}/galaxy.yml
{COLLECTION}/meta/runtime.yml
{COLLECTION}/playbooks/firmware_rollout.yml
{COLLECTION}/plugins/doc_fragments/drive.py
{COLLECTION}/plugins/module_utils/drive.py
{COLLECTION}/plugins/module_utils/erasure.py
{COLLECTION}/plugins/module_utils/feature.py
{COLLECTION}/plugins/module_utils/task.py
{COLLECTION}/plugins/module_utils/tool.py
{COLLECTION}/plugins/module_utils/use.py
{COLLECTION}/plugins/modules/drive_erase.py
{COLLECTION}/plugins/modules/drive_feature.py
{COLLECTION}/plugins/modules/drive_info.py
{COLLECTION}/plugins/modules/firmware.py
{COLLECTION}/plugins/modules/health.py
{COLLECTION}/plugins/modules/namespace.py
/usr/share/doc/ansible-collection-velko-nimbrel/changelog.Debian.gz
/usr/share/doc/ansible-collection-velko-nimbrel/copyright
/usr/share/lintian/overrides/ansible-collection-velko-nimbrel
"""


def make_packages(folder):
    """By CPack, in the folder, with the umask of a careful user; returns the packages' paths."""
    command = ["cpack", "--config", f"{BUILD}/CPackConfig.cmake", "-B", str(folder), "-G", "DEB;RPM", *OPTIONS]
    done = subprocess.run(command, cwd=BUILD, env={**os.environ, "SOURCE_DATE_EPOCH": EPOCH}, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, umask=0o077, timeout=500)
    if done.returncode != 0:
        raise AssertionError(done.stdout)
    return sorted(folder.glob("*.deb")) + sorted(folder.glob("*.rpm"))


def output_of(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, check=True, text=True).stdout


def listed_files(package):
    """The files of a .deb with their links, less documents and the pages of single commands."""
    rows = [line.split(None, 5) for line in output_of("dpkg-deb", "-c", str(package)).splitlines()]
    files = "".join(f"{row[5][1:]}\n" for row in rows if not row[0].startswith("d"))
    return re.sub(r"/usr/share/(man/man8/nimbrel-(?!report|exporter)|doc/nimbrel/docs/).*\n", "", files)


def report_modules():
    """Where the modules and the page of nimbrel-report are in its package."""
    folder = SOURCES / "report/nimbrel_report"
    names = sorted(str(path.relative_to(folder)) for pattern in ("*.py", "page/report.*") for path in folder.glob(pattern))
    return "".join(f"/opt/velko/nimbrel/share/nimbrel-report/nimbrel_report/{name}\n" for name in names)


class Packages(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="nimbrel-packages-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.packages = make_packages(cls.folder / "out")

    def package(self, start, suffix=".deb"):
        return next(path for path in self.packages if path.name.startswith(start) and path.suffix == suffix)

    def test_the_files_are_where_the_tool_and_the_system_look(self):
        report = REPORT_FILES.replace("@MODULES@", report_modules())
        for start, files in (("nimbrel_", TOOL_FILES), ("nimbrel-simdrive_", SIMDRIVE_FILES), ("nimbrel-dev_", DEV_FILES),
                             ("nimbrel-report_", report), ("nimbrel-exporter_", EXPORTER_FILES),
                             ("ansible-", COLLECTION_FILES)):
            self.assertEqual(listed_files(self.package(start)), files)

    def test_each_file_belongs_to_root_and_is_for_all_to_read(self):
        for path in self.packages:
            if path.suffix == ".deb":
                rows = [line.split(None, 5) for line in output_of("dpkg-deb", "-c", str(path)).splitlines()]
                self.assertEqual({row[1] for row in rows}, {"root/root"})
                self.assertEqual({row[0] for row in rows} - {"-rwxr-xr-x", "lrwxrwxrwx"}, {"drwxr-xr-x", "-rw-r--r--"})

    def test_lintian_and_rpmlint_find_nothing(self):
        debs = [str(path) for path in self.packages if path.suffix == ".deb"]
        rpms = [str(path) for path in self.packages if path.suffix == ".rpm"]
        # The manual pages are looked at by the test of the manual, and quicker.
        found = output_of("lintian", "--allow-root", "--no-user-dirs", "--fail-on", "none",
                          "--dont-check-part", "documentation/manual", *debs)
        self.assertEqual(found, "")
        found = output_of("rpmlint", "-c", str(PACKAGING / "rpmlint.toml"), *rpms)
        self.assertIn("0 errors, 0 warnings", found)

    def test_another_folder_and_another_time_give_the_same_bytes(self):
        again = make_packages(self.folder / "elsewhere" / "again")
        self.assertEqual([path.name for path in again], [path.name for path in self.packages])
        for one, other in zip(self.packages, again):
            digests = [hashlib.sha256(path.read_bytes()).hexdigest() for path in (one, other)]
            self.assertEqual(digests[0], digests[1], one.name)

    def test_an_rpm_has_no_time_of_this_tree(self):
        for path in self.packages:
            if path.suffix == ".rpm":
                times = output_of("rpm", "-qp", "--nosignature", "--qf", r"%{BUILDTIME}\n[%{FILEMTIMES}\n]", str(path))
                self.assertEqual(set(times.split()), {EPOCH}, path.name)

    def test_the_copyright_file_has_the_agreement_of_the_tool(self):
        world = World()
        self.addCleanup(world.close)
        world.install_library(FEATURE_LIBRARY)
        shown = world.run("version", "-display", "license").stdout
        agreement = shown[shown.index("By using this software"):].rstrip("\n")
        expected = "".join(f" {line or '.'}\n" for line in agreement.split("\n"))
        for start in ("nimbrel_", "nimbrel-simdrive_", "nimbrel-dev_", "nimbrel-report_", "nimbrel-exporter_",
                      "ansible-collection-velko-nimbrel_"):
            name = start[:-1]
            text = self.content(start, f"/usr/share/doc/{name}/copyright")
            self.assertIn(f"License: Velko-EULA\n{expected}\n", text)

    def check_parts(self, name, libraries):
        parts = json.loads(self.content(f"{name}_", f"/usr/share/doc/{name}/{name}.spdx.json"))
        self.assertEqual(parts["spdxVersion"], "SPDX-2.3")
        self.assertEqual(parts["creationInfo"]["created"], "2033-05-18T03:33:20Z")
        self.assertEqual([part["name"] for part in parts["packages"]], [name, *libraries])
        for library in ("Boost", "JSON for Modern C++", "CLI11", "Chart.js"):  # those that packages have a version of
            for part in parts["packages"]:
                if part["name"] == library:
                    self.assertRegex(part["versionInfo"], r"^\d+\.\d+\.\d+$")

    def test_the_parts_list_names_what_is_compiled_in_and_loaded(self):
        self.check_parts("nimbrel", ["Boost", "tl::expected", "GNU C library", "GNU C++ library", "JSON for Modern C++",
                                     "libblkid", "OpenSSL"])
        self.check_parts("nimbrel-simdrive", ["Boost", "tl::expected", "GNU C library", "GNU C++ library", "CLI11",
                                              "OpenSSL"])
        self.check_parts("nimbrel-report", ["Chart.js", "Python", "Jinja", "jsonschema"])
        needed = output_of("objdump", "-p", SIMDRIVE)
        self.assertIn("libcrypto", needed)

    def test_the_copyright_file_has_the_licence_of_each_part(self):
        text = self.content("nimbrel_", "/usr/share/doc/nimbrel/copyright")
        for licence in ("BSL-1.0", "CC0-1.0", "Expat", "BSD-3-clause"):
            self.assertEqual(len(re.findall(f"^License: {licence}\n [A-Z]", text, re.MULTILINE)), 1, licence)

    def test_the_version_is_the_same_wherever_it_is_named(self):
        world = World()
        self.addCleanup(world.close)
        world.install_library(FEATURE_LIBRARY)
        shown = json.loads(world.run("version", "-output", "json").stdout)
        version = re.search(r'"Version": ?"([0-9.]+)"', json.dumps(shown)).group(1)
        newest = re.search(r"^## (\S+)$", (SOURCES / "CHANGELOG.md").read_text(), re.MULTILINE).group(1)
        self.assertEqual(newest, version)
        self.assertEqual(output_of(SIMDRIVE, "--version"), f"nimbrel-simdrive {version}\n")
        for path in self.packages:
            if path.suffix == ".deb":
                found = output_of("dpkg-deb", "-f", str(path), "Version").strip()
                self.assertRegex(found, rf"^{re.escape(version)}-\d+\+deb\d+$", path.name)
            else:
                self.assertEqual(output_of("rpm", "-qp", "--nosignature", "--qf", "%{VERSION}", str(path)), version)
        for name in ("nimbrel", "nimbrel-simdrive"):
            parts = json.loads(self.content(f"{name}_", f"/usr/share/doc/{name}/{name}.spdx.json"))
            self.assertEqual((parts["name"], parts["packages"][0]["versionInfo"]), (f"{name}-{version}", version))
        self.assertIn(f"\nVersion: {version}\n", self.content("nimbrel-dev_", "/usr/share/pkgconfig/nimbrel.pc"))
        self.assertIn(f"\nversion: {version}\n", self.content("ansible-", f"{COLLECTION}/galaxy.yml"))
        # The name of the feature library is that of its interface, which the package for library writers has.
        header = self.content("nimbrel-dev_", "/usr/include/nimbrel/FeatureLibrary.h")
        self.assertIn(f'#define FEATURE_LIBRARY_FILE_NAME "{os.path.basename(FEATURE_LIBRARY)}"\n', header)

    def test_an_rpm_requires_what_the_tool_loads(self):
        requires = output_of("rpm", "-qp", "--nosignature", "--requires", str(self.package("nimbrel-2", ".rpm"))).split("\n")
        for library in ("libblkid.so.1(", "libcrypto.so.3("):
            self.assertTrue([line for line in requires if line.startswith(library)], requires)

    def content(self, start, path):
        archive = subprocess.run(["dpkg-deb", "--fsys-tarfile", self.package(start)], stdout=subprocess.PIPE, check=True)
        return subprocess.run(["tar", "-xO", "." + path], input=archive.stdout, stdout=subprocess.PIPE,
                              check=True).stdout.decode()


class Sudoers(unittest.TestCase):
    def test_the_example_is_taken_by_sudo(self):
        example = SOURCES / "packaging/sudoers/nimbrel"
        done = subprocess.run(["visudo", "--check", "--strict", f"--file={example}"], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, env={**os.environ, "PATH": "/usr/sbin:/usr/bin"})
        self.assertEqual((done.returncode, done.stdout), (0, f"{example}: parsed OK\n"))


class Purge(ToolTestCase):
    """The scripts of the packages, run as dpkg does."""

    def purge(self, name, action="purge"):
        return self.world.run(str(PACKAGING / name / "postrm"), action, tool="/bin/sh")

    def test_the_tool_s_own_files_go_and_what_was_asked_for_stays(self):
        self.world.install_library(FEATURE_LIBRARY)
        self.world.run("set", "-system", "LogFile=/var/log/a&b.log")
        (self.world.var_lib / "nimbrel").mkdir()
        (self.world.var_lib / "nimbrel/baseline").write_text("1")
        for log in ("VelkoSSDOSTREL.log", "a&b.log", "other.log"):
            (self.world.var_log / log).write_text("line\n")
        run = self.purge("nimbrel")
        self.assertEqual((run.status, run.stderr), (0, ""))
        self.assertEqual(run.stdout, "nimbrel: left in place: the debug log /var/log/a&b.log\n"
                                     "nimbrel: left in place: the files that commands wrote where -destination said\n")
        self.assertFalse(self.world.config.exists())
        self.assertEqual(list(self.world.var_lib.iterdir()), [])
        self.assertEqual(sorted(path.name for path in self.world.var_log.iterdir()), ["a&b.log", "other.log"])
        self.assertTrue((self.world.opt / "Velko.SSDFeatures.so.3.0.0").exists())  # put there by another hand

    def test_records_of_erases_stay_with_a_line(self):
        folder = self.world.var_lib / "nimbrel/erasures"
        folder.mkdir(parents=True)
        (folder / "one.json").write_text("{}")
        (folder.parent / "baseline").write_text("1")
        run = self.purge("nimbrel")
        self.assertEqual((run.status, run.stderr), (0, ""))
        self.assertEqual(run.stdout, "nimbrel: left in place: the records of erases in /var/lib/nimbrel/erasures\n"
                                     "nimbrel: left in place: the files that commands wrote where -destination said\n")
        self.assertEqual([path.name for path in folder.parent.iterdir()], ["erasures"])
        self.assertEqual([path.name for path in folder.iterdir()], ["one.json"])

    def test_without_settings_the_folder_goes_too(self):
        run = self.purge("nimbrel")
        self.assertEqual((run.status, run.stderr), (0, ""))
        self.assertEqual(run.stdout, "nimbrel: left in place: the files that commands wrote where -destination said\n")
        self.assertFalse(self.world.opt.parent.exists())

    def test_a_removal_leaves_everything(self):
        self.world.config.write_text("")
        for name in ("nimbrel", "nimbrel-simdrive"):
            run = self.purge(name, "remove")
            self.assertEqual((run.status, run.stdout, run.stderr), (0, "", ""))
        self.assertTrue(self.world.config.exists())

    def test_simulated_drives_stay_with_a_line(self):
        self.assertEqual(self.world.run("create", "one", "--size", "1MiB", tool=SIMDRIVE).status, 0)
        run = self.purge("nimbrel-simdrive")
        self.assertEqual((run.status, run.stderr), (0, ""))
        self.assertEqual(run.stdout, "nimbrel-simdrive: left in place: the simulated drives in "
                                     "/opt/velko/nimbrel/SimulatedDrives\n")
        self.assertTrue((self.world.opt / "SimulatedDrives/one").is_dir())
        self.assertEqual(self.world.run("remove", "one", tool=SIMDRIVE).status, 0)
        run = self.purge("nimbrel-simdrive")
        self.assertEqual((run.status, run.stdout, run.stderr), (0, "", ""))
        self.assertFalse(self.world.opt.exists())


class ExampleLibrary(ToolTestCase):
    def test_it_builds_outside_the_tree_and_is_loaded(self):
        header = SOURCES / "ostrel/interfaces/ostreli/interface"
        library = self.world.scratch / "library.so"
        subprocess.run(["cc", "-std=c11", "-Wall", "-Wextra", "-Werror", "-I", header, "-fPIC", "-fvisibility=hidden",
                        "-shared", "-o", library, PACKAGING / "feature-library/library.c"], check=True)
        self.world.install_library(library)
        self.check("show", "-velkossd", stdout="\n- Velko SSD Index 0 -\n\nIndex : 0\nSerialNumber : EXAMPLE1\n\n")
        self.check("show", "-velkossd", "0", "-smart", stdout="Error: Feature is not supported.\n", status=3)


if __name__ == "__main__":
    unittest.main()
