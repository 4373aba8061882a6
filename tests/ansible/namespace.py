"""The module namespace on simulated drives."""

import module_case
from module_case import NOT_PREDICTED, PATH, VELKO


class Namespace(module_case.ModuleTestCase):
    def setUp(self):
        super().setUp()
        self.make_drive("velko", size="4 GiB")

    def test_a_namespace_is_deleted_once_and_made_once(self):
        self.values("-sensor")
        absent = {"serial_number": VELKO, "nsid": 1, "state": "absent"}
        predicted = self.leaves_alone("velko", "namespace", **absent)
        self.assertEqual((predicted["changed"], predicted["not_predicted"]),
                         (True, ["the size that the drive gives"] + NOT_PREDICTED))
        self.assertEqual(self.passes("namespace", True, **absent)["message"], ["Namespace 1 was deleted."])
        self.passes("namespace", False, **absent)
        present = {"serial_number": VELKO, "nsid": 1, "size": "1GiB", "lba_format": 2}
        predicted = self.leaves_alone("velko", "namespace", **present)
        self.assertEqual((predicted["changed"], predicted["message"]), (True, ["would create", "would attach"]))
        made = self.passes("namespace", True, **present)
        self.assertEqual(made["after"], {"allocated": True, "attached": True, "node": f"{PATH}n1", "size_bytes": 2**30,
                                         "lba_format": 2, "use": "none", "block_bytes": 4096})
        self.assertEqual(self.passes("namespace", False, **present)["diff"],
                         {"before": made["after"], "after": made["after"]})
        self.passes("namespace", False, serial_number=VELKO, nsid=1, size="262144")
        self.passes("namespace", False, serial_number=VELKO, nsid=1, size="50%")

    def test_one_of_another_size_or_format_is_not_changed(self):
        self.values("-sensor")
        before = self.state("velko")
        drive = f"drive {VELKO} ({PATH})"
        for parameters, found in (({"size": "1GiB"}, "4294967296 bytes and not 1GiB"),
                                  ({"size": "8GB"}, "4294967296 bytes and not 8GB"),
                                  ({"size": "8388607"}, "8388608 blocks and not 8388607"),
                                  ({"size": "4GiB", "lba_format": 2}, "LBA format 0 and not 2")):
            self.fails("namespace", f"namespace 1 of {drive} has {found}: it is not changed", serial_number=VELKO, nsid=1,
                       **parameters)
        self.assertEqual(self.state("velko"), before)

    def test_one_that_is_detached_is_attached_again_where_it_is_as_wanted(self):
        self.tool("detach", "-velkossd", VELKO, "-namespace", "1")
        self.run_module("namespace", serial_number=VELKO, nsid=1, size="1GiB")
        self.assertEqual(self.values("-identify", "-namespace", "attached")["Namespaces"], {})
        self.passes("namespace", True, serial_number=VELKO, nsid=1, size="4GiB")
        self.passes("namespace", False, serial_number=VELKO, nsid=1, size="4GiB")

    def test_an_identifier_that_the_drive_would_not_choose_is_refused(self):
        self.values("-sensor")
        before = self.state("velko")
        self.fails("namespace", f"drive {VELKO} ({PATH}) would give a new namespace the identifier 2 and not 5",
                   serial_number=VELKO, nsid=5, size="1GiB")
        for size in ("0", "1TB", "1GiB LBAFormat=1", ""):
            self.fails("namespace", f"size must be a number of blocks, an amount like 100GB or 100GiB, or a part like 50%, not "
                                    f"{size!r}", serial_number=VELKO, nsid=2, size=size)
        self.fails("namespace", "nsid must be 1 to 4294967294, not 4294967295", serial_number=VELKO, nsid=4294967295,
                   state="absent")
        self.assertEqual(self.state("velko"), before)

    def test_a_namespace_that_was_made_and_not_attached_is_a_change(self):
        self.tool("delete", "-force", "-velkossd", VELKO, "-namespace", "1")
        self.describe("velko", fail="admin 0x15 0x006")  # Namespace Attachment ends in Internal Error
        failed = self.run_module("namespace", serial_number=VELKO, nsid=1, size="1GiB")
        self.assertEqual((failed["failed"], failed["changed"]), (True, True), failed)
        self.assertEqual(self.values("-identify", "-namespace", "allocated")["Namespaces"], {"Entry 0": 1})

    def test_a_drive_without_space_is_a_failure(self):
        self.fails("namespace", f"More free space is required to create the namespace. Drive {VELKO} ({PATH}) has 0 bytes left.",
                   serial_number=VELKO, nsid=2, size="1GiB")

    def test_one_that_is_in_use_is_not_deleted(self):
        namespace = {"SerialNumber": VELKO, "DevicePath": PATH, "NamespaceId": 1, "Node": "/dev/nvme0n1", "Size": "1 bytes"}
        for use, refused in (("mounted at /data", "mounted at /data"),
                             ("/dev/nvme0n1p1 partition; /dev/nvme0n1p2 swap", "/dev/nvme0n1p2 swap"),
                             ("mounted at /a partition", "mounted at /a partition")):
            self.answer_to("-a", {f"Namespace 1 {VELKO}": {**namespace, "Use": use}})
            self.fails("namespace", f"namespace 1 of drive {VELKO} ({PATH}) is in use: {refused}", serial_number=VELKO, nsid=1,
                       state="absent")
        self.answer_to("-a", {f"Namespace 1 {VELKO}": {**namespace, "Use": "/dev/nvme0n1p1 partition"}})
        self.assertTrue(self.leaves_alone("velko", "namespace", serial_number=VELKO, nsid=1, state="absent")["changed"])
