"""Drives that are captured, and simulated drives that answer what a capture has: what nimbrel says of both is the same,
a capture leaves no trace, masked ones hold no identifier, and a folder that is no capture makes no drive."""

import json
import os
import pathlib
import unittest

from simulated import FOLDER, MODEL_NUMBERS, SERIALS, SimulatedTestCase

SIMDRIVE = os.environ["NIMBREL_SIMDRIVE"]
COLLECTION = pathlib.Path(__file__).resolve().parents[1] / "captures"
SHOWN = [words.split() for words in (
    "show -a -velkossd 0", "show -velkossd 0 -identify", "show -velkossd 0 -smart", "show -velkossd 0 -sensor",
    "show -velkossd 0 -performance")]
SHOWN_OF_NVME = [words.split() for words in (
    "show -velkossd 0 -nvmelog list", "show -velkossd 0 -nvmelog 1", "show -velkossd 0 -nvmelog 2",
    "show -velkossd 0 -nvmelog 3", "show -velkossd 0 -getfeature 2", "show -velkossd 0 -getfeature 4",
    "show -velkossd 0 -identify -namespace 1", "show -velkossd 0 -getfeature 0xB")]
NOT_SHOWN = ["show", "-velkossd", "0", "-nvmelog", "0x0D"]


class CaptureTestCase(SimulatedTestCase):
    def simdrive(self, *words, **options):
        return self.world.run(*map(str, words), tool=SIMDRIVE, **options)

    def capture(self, path, folder, *options):
        run = self.simdrive("capture", path, self.world.cwd / folder, *options)
        self.assertEqual((run.status, run.stderr), (0, ""), run.stdout)
        return run.stdout

    def path(self, name):
        return f"{FOLDER}/{name}/dev/{name}"

    def answers(self, folder):
        return json.loads((self.world.cwd / folder / "capture.json").read_text())["answers"]

    def data(self, folder, opcode, *fields):
        [entry] = [e for e in self.answers(folder) if (e["opcode"], *e["fields"]) == (opcode, *fields)]
        return (self.world.cwd / folder / entry["file"]).read_bytes()


class Replayed(CaptureTestCase):
    def shown(self, name):
        words = SHOWN + ([] if name == "sata" else SHOWN_OF_NVME)
        runs = [self.tool(*each) for each in words]
        return {" ".join(each): (run.status, run.stdout, run.stderr) for each, run in zip(words, runs)}

    def check_model(self, name):
        self.make_drive(name, **({"security": "yes", "tcg": "locked"} if name in ("ocp", "sata") else {}))
        before = self.shown(name)
        self.assertEqual({status for status, _, _ in before.values()}, {0}, before)
        state = self.state(name)
        out = self.capture(self.path(name), "kept")
        self.assertNotIn("Refused", out)
        if name != "velko":  # it makes logs D3h to D7h when a host begins to read them, and counts that
            self.assertTrue(self.state(name) == state, "a capture leaves no trace")
        self.assertEqual(self.simdrive("remove", name).status, 0)
        run = self.simdrive("create", name, "--from", self.world.cwd / "kept")
        model = "sata" if name == "sata" else "nvme-1.4"
        self.assertEqual((run.status, run.stdout, run.stderr),
                         (0, f"Made {name}: {model}, 64 MiB, serial number {SERIALS[name]}\n", ""))
        self.assertEqual(self.shown(name), before)
        self.check_unchanged(name, before)
        # A capture of the replay is the capture.
        self.capture(self.path(name), "again")
        self.assertEqual(self.answers("again"), self.answers("kept"))
        for entry in self.answers("kept"):
            if "file" in entry:
                again, kept = ((self.world.cwd / folder / entry["file"]).read_bytes() for folder in ("again", "kept"))
                self.assertTrue(again == kept, entry["name"])

    def check_unchanged(self, name, before):
        changes = ("delete -force -velkossd 0", "start -force -velkossd 0 -sanitize crypto",
                   "start -force -velkossd 0 -trim StartLBA=0 Count=1")
        for words in changes:
            self.assertNotEqual(self.tool(*words.split()).status, 0, words)
        if name != "sata":
            self.assertNotEqual(self.tool("set", "-velkossd", "0", "TempThreshold=60").status, 0)
        self.assertEqual(self.shown(name), before)

    def test_a_snapshot_keeps_the_capture(self):
        self.make_drive("velko")
        self.capture(self.path("velko"), "kept")
        self.simdrive("remove", "velko")
        self.simdrive("create", "one", "--from", self.world.cwd / "kept")
        before = self.tool("show", "-velkossd", "0", "-smart").stdout
        for words in (("snapshot", "one"), ("reset", "one")):
            self.assertEqual(self.simdrive(*words).status, 0)
        self.assertEqual(self.tool("show", "-velkossd", "0", "-smart").stdout, before)
        self.assertEqual(self.simdrive("remove", "one").stdout, "Removed one\n")

    def test_faults_lie_over_the_answers(self):
        self.make_drive("velko")
        self.capture(self.path("velko"), "kept")
        self.simdrive("remove", "velko")
        self.simdrive("create", "one", "--from", self.world.cwd / "kept")
        self.assertEqual(self.simdrive("fault", "one", "--fail", "admin 0x02 0x006").status, 0)
        self.assertIn("Internal Error", self.tool("show", "-velkossd", "0", "-smart").stdout)

    def test_what_was_not_captured_is_not_supported(self):
        self.make_drive("nvme-1.4")
        self.capture(self.path("nvme-1.4"), "kept")
        self.simdrive("remove", "nvme-1.4")
        self.simdrive("create", "nvme-1.4", "--from", self.world.cwd / "kept")
        self.assertIn("The selected drive does not support this feature.", self.tool(*NOT_SHOWN).stdout)
        self.assertIn("Invalid Log Page", self.tool("show", "-velkossd", "0", "-nvmelog", "0xCB").stdout)


for _model in MODEL_NUMBERS:
    setattr(Replayed, f"test_{_model.replace('-', '_').replace('.', '_')}_answers_the_same",
            lambda self, name=_model: self.check_model(name))


class Masked(CaptureTestCase):
    def test_no_identifier_is_left(self):
        self.make_drive("velko")
        self.capture(self.path("velko"), "kept")
        self.capture(self.path("velko"), "masked", "--mask")
        serial = SERIALS["velko"].encode()
        descriptors = self.data("kept", 6, 1, 3, 0, 0)
        namespace = self.data("kept", 6, 1, 0, 0, 0)
        secret = {"serial number": serial, "NGUID": namespace[104:120], "EUI-64": namespace[120:128],
                  "UUID": descriptors[descriptors.index(b"\x03\x10") + 4:][:16]}
        whole = b"".join(file.read_bytes() for file in sorted((self.world.cwd / "kept").iterdir()))
        masked = b"".join(file.read_bytes() for file in sorted((self.world.cwd / "masked").iterdir()))
        for what, value in secret.items():
            self.assertIn(value, whole, what)
            self.assertNotIn(value, masked, what)
        # Consistent: the descriptors of the namespace have what Identify Namespace has.
        masked_namespace = self.data("masked", 6, 1, 0, 0, 0)
        self.assertIn(masked_namespace[104:120], self.data("masked", 6, 1, 3, 0, 0))
        self.assertEqual(masked_namespace[120:123], namespace[120:123], "the maker's identifier stays")
        controller = self.data("masked", 6, 0, 1, 0, 0)
        self.assertNotEqual(controller[4:24].strip(), serial)
        self.assertEqual(len(controller[4:24].strip()), len(serial))
        # By a key of its own: another capture has others.
        self.capture(self.path("velko"), "other", "--mask")
        self.assertNotEqual(self.data("other", 6, 0, 1, 0, 0)[4:24], controller[4:24])

    def test_a_masked_sata_drive_has_a_right_checksum(self):
        self.make_drive("sata")
        self.capture(self.path("sata"), "masked", "--mask")
        identify = self.data("masked", 0xEC, 0, 0, 0, 0)
        self.assertEqual(sum(identify) % 256, 0)
        swapped = b"".join(identify[i + 1:i + 2] + identify[i:i + 1] for i in range(20, 40, 2))
        self.assertNotIn(SERIALS["sata"].encode(), swapped)
        self.simdrive("remove", "sata")
        self.simdrive("create", "sata", "--from", self.world.cwd / "masked")
        run = self.tool("show", "-velkossd", "0", "-identify")
        self.assertIn("W255 - Checksum : good", run.stdout)
        self.assertIn(swapped.strip().decode(), run.stdout)


class Refused(CaptureTestCase):
    def check_refused(self, words, text, status=1):
        run = self.simdrive(*words)
        self.assertEqual((run.status, run.stdout), (status, ""), run.stderr)
        self.assertIn(text, run.stderr)

    def kept(self):
        self.make_drive("nvme-1.4")
        self.capture(self.path("nvme-1.4"), "kept")
        self.simdrive("remove", "nvme-1.4")
        return self.world.cwd / "kept"

    def test_a_folder_that_is_there_is_not_written_into(self):
        self.make_drive("velko")
        (self.world.cwd / "mine").mkdir()
        self.check_refused(("capture", self.path("velko"), self.world.cwd / "mine"), "File exists")
        self.assertEqual(list((self.world.cwd / "mine").iterdir()), [])

    def test_what_is_no_drive_is_not_captured(self):
        for path in ("/dev/null", "/nowhere", f"{FOLDER}/velko"):
            self.check_refused(("capture", path, self.world.cwd / "new"), "There is no drive at")
            self.assertFalse((self.world.cwd / "new").exists())
        self.check_refused(("capture", "/dev/null"), "capture needs the path of a drive and a folder.", 2)

    def test_a_drive_that_does_not_answer_leaves_no_folder(self):
        self.make_drive("velko", gone="yes")
        self.check_refused(("capture", self.path("velko"), self.world.cwd / "new"), "gone")
        self.assertFalse((self.world.cwd / "new").exists())

    def test_other_options_are_not_for_a_capture(self):
        kept = self.kept()
        for option in (("--model", "ocp"), ("--size", "1Gi"), ("--count", "2"), ("--serial", "X"), ("--firmware", "Y")):
            self.check_refused(("create", "x", "--from", kept, *option), "--from takes the drive as it was captured")
        self.assertEqual(self.simdrive("list").stdout, "There are no simulated drives.\n")

    def test_a_serial_number_that_is_taken_is_refused(self):
        kept = self.kept()
        self.assertEqual(self.simdrive("create", "x", "--from", kept).status, 0)
        self.check_refused(("create", "y", "--from", kept), "has the serial number SIM-NVME-1")

    def test_what_is_no_capture_makes_no_drive(self):
        kept = self.kept()
        good = (kept / "capture.json").read_text()
        tree = json.loads(good)

        def changed(**members):
            return json.dumps(tree | members)

        def first(**members):
            return changed(answers=[tree["answers"][0] | members] + tree["answers"][1:])

        cases = {
            "no JSON": ("{", "it lacks the format's name"),
            "a list": ("[]", "it lacks the format's name"),
            "another format": (changed(format="x"), "it lacks the format's name"),
            "a later version": (changed(version=2), "its version is unknown"),
            "another kind of drive": (changed(drive="tape"), "\"drive\" is neither nvme nor sata"),
            "no answers": (changed(answers={}), "it has no list of answers"),
            "too many answers": (changed(answers=[{}] * 8193), "it has too many answers"),
            "an answer that is a number": (changed(answers=[1]), "answer 1 is no object"),
            "a field too few": (first(fields=[0, 0, 0]), "answer 1 lacks a field"),
            "a field that is too large": (first(fields=[1 << 32, 0, 0, 0]), "answer 1 lacks a field"),
            "a negative opcode": (first(opcode=-1), "answer 1 lacks a field"),
            "a path outside": (first(file="../capture.json"), "answer 1 names another file than capture-0001.bin"),
            "twice": (changed(answers=[tree["answers"][0] | {"file": "capture-0001.bin"}] +
                              [tree["answers"][0] | {"file": "capture-0002.bin"}]), "answer 2 is there twice"),
            "no Identify": (changed(answers=[]), "The capture has no answer to Identify."),
        }
        for why, (text, message) in cases.items():
            with self.subTest(why):
                (kept / "capture.json").write_text(text)
                self.check_refused(("create", "x", "--from", kept), message)
                self.assertEqual(self.simdrive("list").stdout, "There are no simulated drives.\n")
        (kept / "capture.json").write_text(good)
        name = tree["answers"][0]["file"]
        (kept / name).unlink()
        self.check_refused(("create", "x", "--from", kept), "No such file")
        (kept / name).symlink_to("/etc/passwd")
        self.check_refused(("create", "x", "--from", kept), "Too many levels of symbolic links")
        (kept / name).unlink()
        with open(kept / name, "wb") as file:
            file.truncate((16 << 20) + 1)
        self.check_refused(("create", "x", "--from", kept), "is too large")
        self.check_refused(("create", "x", "--from", self.world.cwd / "nothing"), "No such file")


class Collection(CaptureTestCase):
    """The captures of tests/captures, each with its drive: all commands that only show succeed on it."""

    def test_all_of_it_can_be_shown(self):
        folders = sorted(each.parent for each in COLLECTION.glob("*/capture.json"))
        self.assertNotEqual(folders, [])
        for folder in folders:
            with self.subTest(folder.name):
                self.assertEqual(self.simdrive("create", folder.name, "--from", folder).status, 0)
                self.check_shown(folder)
                self.assertEqual(self.simdrive("remove", folder.name).status, 0)

    def test_groups_of_the_linux_target_are_shown_as_they_are(self):
        self.assertEqual(self.simdrive("create", "target", "--from", COLLECTION / "linux-target-ana").status, 0)
        run = self.tool("show", "-o", "json", "-velkossd", "0", "-nvmelog", "0x0C")
        self.assertEqual((run.status, run.stderr), (0, ""), run.stdout)
        (shown,) = json.loads(run.stdout).values()
        groups = [(name, group["STATE - Asymmetric Namespace Access State"], group["Namespaces"])
                  for name, group in shown.items() if name.startswith("ANA Group")]
        self.assertEqual(groups, [("ANA Group 1", "optimized", {"Entry 0": 1}),
                                  ("ANA Group 2", "non-optimized", {"Entry 0": 2})])

    def check_shown(self, folder):
        capture = json.loads((folder / "capture.json").read_text())
        self.assertTrue(capture["masked"], "identifiers are not published")
        # QEMU's SATA drive has neither sensors nor counters.
        for words in SHOWN + SHOWN_OF_NVME[:4] if capture["drive"] == "nvme" else SHOWN[:3]:
            run = self.tool(*words)
            self.assertEqual((run.status, run.stderr), (0, ""), f"{words}: {run.stdout}")
        self.assertNotIn("Unknown", self.tool("show", "-d", "DeviceStatus", "-velkossd", "0").stdout)


if __name__ == "__main__":
    unittest.main()
