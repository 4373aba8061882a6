"""The NVMe/TCP target of nimbrel-simdrive over a real socket, unit by unit."""

import os
import re
import resource
import signal
import struct
import time
import unittest

from nvme_tcp_host import (C2H_DATA, C2H_TERM, CAP, CAPSULE, CC, CONFIGURATION, CSTS, DISCOVERY_NQN, H2C_DATA, H2C_TERM,
                           LAST, NSSR, R2T, VS, Queue, connect_data, connect_entry, entry, ic_req, pdu)
from world import World, kill_group

TOOL = os.environ.get("NIMBREL_SIMDRIVE", "")
NQN = "nqn.2026-01.com.velko.nimbrel:simulated:TGT1"
DO_NOT_RETRY = 0x4000
WRITE, READ = 0x01, 0x02
GET_LOG, IDENTIFY, ABORT, SET_FEATURES, GET_FEATURES, EVENT_REQUEST, KEEP_ALIVE = 2, 6, 8, 9, 0x0A, 0x0C, 0x18
INVALID_FIELD, CONFLICT, SEQUENCE, SGL_LENGTH, SGL_TYPE, SGL_OFFSET = (DO_NOT_RETRY | code for code in (
    0x02, 0x03, 0x0C, 0x0F, 0x11, 0x16))
CONNECT_INVALID = DO_NOT_RETRY | 0x182
IN_DATA = 1 << 16


class TargetTestCase(unittest.TestCase):
    """Each test has a drive of its own on a port of its own."""

    maxDiff = None

    def setUp(self):
        self.world = World()
        self.addCleanup(self.world.close)
        made = self.world.run("create", "drive", "--size", "64MiB", "--serial", "TGT1", tool=TOOL)
        self.assertEqual((made.status, made.stderr), (0, ""))
        self.serve()

    def serve(self, *options, openness=None):
        self.process = self.world.start("serve", "drive", "--port", "0", *options, tool=TOOL)
        self.addCleanup(self.end)
        line = self.process.stdout.readline().decode()
        found = re.fullmatch(r"drive listens on 127\.0\.0\.1:(\d+)\n", line)
        self.assertTrue(found, line)
        self.assertEqual(self.process.stdout.readline().decode(), f"subsystem {NQN}\n")
        self.port = int(found.group(1))
        openness = openness or f"no authentication: anyone who reaches 127.0.0.1:{self.port} can read and erase the drive"
        self.assertEqual(self.process.stdout.readline().decode(), openness + "\n")

    def end(self):
        if self.process.poll() is None:
            kill_group(self.process, signal.SIGTERM)  # what a signal ends regularly counts for the coverage

    def fault(self, *arguments):
        run = self.world.run("fault", "drive", *arguments, tool=TOOL)
        self.assertEqual((run.status, run.stderr), (0, ""))

    def queue(self, source=None):
        queue = Queue(self.port, source=source)
        self.addCleanup(queue.socket.close)
        return queue

    def initialized(self, **options):
        queue = self.queue()
        queue.initialize(**options)
        return queue

    def admin(self, **options):
        """An enabled controller's admin queue."""
        queue = self.initialized()
        deadline = time.monotonic() + 10
        # A host that has just left may still be there.
        while (outcome := queue.connect(NQN, **options)) == (0x181, 0) and time.monotonic() < deadline:
            time.sleep(0.01)
        self.assertEqual(outcome, (0, 1))
        self.assertEqual(queue.enable(), (0, 0))
        return queue

    def io(self, queue_id=1, size=127, **options):
        queue = self.initialized(**options)
        self.assertEqual(queue.connect(NQN, queue_id, size, controller=1), (0, 1))
        return queue

    def check_terminated(self, queue, fatal_error, information, header):
        """What the target says of a unit that breaks the rules: the words of the refusal and the offending header."""
        kind, flags, specific, data = queue.receive()
        self.assertEqual((kind, flags, struct.unpack("<HI", specific[:6]), specific[6:], data),
                         (C2H_TERM, 0, (fatal_error, information), bytes(10), header))
        self.assertTrue(queue.is_ended())


class Initialization(TargetTestCase):
    def test_is_answered(self):
        queue = self.queue()
        queue.send(ic_req())
        self.assertEqual(queue.exactly(128), bytes.fromhex("01008000 80000000 0000 00 00 00000200") + bytes(112))

    def test_takes_digests(self):
        queue = self.queue()
        queue.send(ic_req(digests=3))
        self.assertEqual(queue.exactly(128), bytes.fromhex("01008000 80000000 0000 00 03 00000200") + bytes(112))

    def test_comes_in_pieces(self):
        queue = self.queue()
        for byte in ic_req():
            queue.send(bytes([byte]))
        self.assertEqual(queue.receive()[0], 1)

    def test_of_another_version_is_refused(self):
        queue = self.queue()
        queue.send(ic_req(version=1))
        self.check_terminated(queue, 6, 8, ic_req(version=1))

    def test_with_too_wide_an_alignment_is_refused(self):
        queue = self.queue()
        queue.send(ic_req(alignment=32))
        self.check_terminated(queue, 1, 10, ic_req(alignment=32))

    def test_comes_first(self):
        queue = self.queue()
        capsule = pdu(CAPSULE, entry(0x7F, 0))
        queue.send(capsule)
        self.check_terminated(queue, 2, 0, capsule)

    def test_comes_once(self):
        queue = self.initialized()
        queue.send(ic_req())
        self.check_terminated(queue, 2, 0, ic_req())


class MalformedUnits(TargetTestCase):
    CAPSULE_UNIT = pdu(CAPSULE, entry(0x7F, 0))

    def test_end_the_connection_and_name_the_field(self):
        sqe = entry(0x7F, 0)
        h2c = struct.pack("<HHIIxxxx", 1, 1, 0, 8)
        for what, unit, fatal_error, information, header in (
                ("an unknown kind", pdu(8, bytes(16)), 1, 0, pdu(8, bytes(16))),
                ("a kind of the controller", pdu(5, bytes(16)), 1, 0, pdu(5, bytes(16))),
                ("a wrong header length", pdu(CAPSULE, sqe, hlen=71), 1, 2, pdu(CAPSULE, sqe, hlen=71)[:71]),
                ("an unexpected header digest", pdu(CAPSULE, sqe, flags=1), 1, 1, pdu(CAPSULE, sqe, flags=1)),
                ("an unexpected data digest", pdu(CAPSULE, sqe, bytes(8), flags=2), 1, 1,
                 pdu(CAPSULE, sqe, bytes(8), flags=2)[:72]),
                ("too short a unit", pdu(CAPSULE, sqe, plen=71), 1, 4, pdu(CAPSULE, sqe, plen=71)),
                ("too much data", pdu(CAPSULE, sqe, bytes(4), plen=72 + 8193), 1, 4,
                 pdu(CAPSULE, sqe, bytes(4), plen=72 + 8193)[:72]),
                ("an endless unit", pdu(CAPSULE, sqe, plen=0xFFFFFFFF, pdo=72), 1, 4,
                 pdu(CAPSULE, sqe, plen=0xFFFFFFFF, pdo=72)),
                ("data before the header's end", pdu(CAPSULE, sqe, bytes(8), pdo=68), 1, 3,
                 pdu(CAPSULE, sqe, bytes(8), pdo=68)[:72]),
                ("data off the alignment", pdu(CAPSULE, sqe, bytes(8), pdo=74), 1, 3,
                 pdu(CAPSULE, sqe, bytes(8), pdo=74)[:72]),
                ("data after the unit's end", pdu(CAPSULE, sqe, bytes(8), pdo=84), 1, 4,
                 pdu(CAPSULE, sqe, bytes(8), pdo=84)[:72]),
                ("a length of data that is not there", pdu(H2C_DATA, h2c, bytes(4)), 1, 16,
                 pdu(H2C_DATA, h2c, bytes(4))[:24]),
                ("data that was not requested", pdu(H2C_DATA, h2c, bytes(8), flags=LAST), 2, 0,
                 pdu(H2C_DATA, h2c, bytes(8), flags=LAST)[:24])):
            with self.subTest(what):
                queue = self.initialized()
                queue.send(unit)
                self.check_terminated(queue, fatal_error, information, header)

    def test_leave_other_connections_alone(self):
        admin = self.admin()
        queue = self.initialized()
        queue.send(pdu(8, bytes(16)))
        self.check_terminated(queue, 1, 0, pdu(8, bytes(16)))
        self.assertEqual(admin.command(KEEP_ALIVE), (0, 0, b""))

    def test_a_termination_of_the_host_is_not_answered(self):
        queue = self.initialized()
        queue.send(pdu(H2C_TERM, struct.pack("<HI10x", 1, 0), bytes(24)))
        self.assertTrue(queue.is_ended())

    def test_a_header_with_a_wrong_digest_ends_the_connection(self):
        queue = self.initialized(digests=1)
        unit = pdu(CAPSULE, entry(0x7F, 0), b"\x01\x02\x03\x04", flags=1, pdo=0)
        queue.send(unit)
        self.check_terminated(queue, 3, 0x04030201, unit[:72])


class Connecting(TargetTestCase):
    def test_comes_before_other_commands(self):
        queue = self.initialized()
        self.assertEqual(queue.command(IDENTIFY, read=4096, cdw10=1), (SEQUENCE, 0, b""))
        self.assertEqual(queue.get_property(CC), (SEQUENCE, 0))
        self.assertEqual(queue.connect(NQN), (0, 1))

    def test_twice_is_a_wrong_sequence(self):
        queue = self.admin()
        self.assertEqual(queue.connect(NQN), (SEQUENCE, 0))

    def test_with_wrong_parameters_is_refused_with_their_place(self):
        for what, options, result in (
                ("an entry of an unknown format", {"record_format": 1}, None),
                ("a queue of one entry", {"size": 0}, 44),
                ("a queue longer than the controller's", {"size": 128}, 44),
                ("a static controller", {"controller": 1}, IN_DATA | 16),
                ("an unknown subsystem", {"subsystem": NQN + "x"}, IN_DATA | 256),
                ("no name of a subsystem", {"subsystem": ""}, IN_DATA | 256),
                ("an invalid name of a host", {"host": "another"}, IN_DATA | 512),
                ("a host's name without an end", {"host": "nqn." + 252 * "x"}, IN_DATA | 512),
                ("an I/O queue of no controller", {"queue_id": 1, "controller": 1}, IN_DATA | 16)):
            with self.subTest(what):
                queue = self.initialized()
                expected = (DO_NOT_RETRY | 0x180, 0) if result is None else (CONNECT_INVALID, result)
                self.assertEqual(queue.connect(**{"subsystem": NQN, **options}), expected)

    def test_needs_all_its_data(self):
        queue = self.initialized()
        sqe = entry(0x7F, 5, nsid=1, sgl=(0, 1020, 1), dwords=connect_entry(0, 31)[40:])
        queue.capsule(sqe, connect_data(NQN)[:1020])
        self.assertEqual(queue.response(), (5, SGL_LENGTH, 0, 1))

    def test_data_may_be_asked_for(self):
        queue = self.initialized()
        sqe = entry(0x7F, 5, nsid=1, sgl=(0, 1024, 0x5A), dwords=connect_entry(0, 31)[40:])
        queue.capsule(sqe)
        kind, flags, specific, data = queue.receive()
        self.assertEqual((kind, flags, specific, data), (R2T, 0, struct.pack("<HHII4x", 5, 1, 0, 1024), b""))
        queue.send_data(specific, connect_data(NQN), 1000)
        self.assertEqual(queue.response()[:3], (5, 0, 1))

    def test_a_second_host_waits_until_the_first_is_gone(self):
        first = self.admin()
        second = self.initialized()
        self.assertEqual(second.connect(NQN), (0x181, 0))
        first.socket.close()
        self.assertEqual(self.admin().command(KEEP_ALIVE), (0, 0, b""))

    def test_an_io_queue_belongs_to_its_host_and_is_taken_once(self):
        self.admin()
        for what, options, expected in (
                ("another host", {"queue_id": 1, "host": "nqn.2014-08.org.example:x"}, (CONNECT_INVALID, IN_DATA | 512)),
                ("too high a number", {"queue_id": 65}, (CONNECT_INVALID, 42)),
                ("a free one", {"queue_id": 1}, (0, 1)), ("the last one", {"queue_id": 64}, (0, 1)),
                ("a taken one", {"queue_id": 1}, (SEQUENCE, 0))):
            with self.subTest(what):
                self.assertEqual(self.initialized().connect(NQN, controller=1, **options), expected)

    def test_an_io_queue_needs_an_enabled_controller(self):
        admin = self.initialized()
        admin.connect(NQN)
        self.assertEqual(self.initialized().connect(NQN, 1, controller=1), (SEQUENCE, 0))

    def test_an_io_queue_ends_by_disconnect_and_may_come_again(self):
        admin = self.admin()
        queue = self.io()
        queue.capsule(entry(0x7F, 9, nsid=8))
        self.assertEqual(queue.response(), (9, 0, 0, 1 + 1))
        self.assertTrue(queue.is_ended())
        self.io()
        admin.capsule(entry(0x7F, 9, nsid=8))
        self.assertEqual(admin.response()[:3], (9, DO_NOT_RETRY | 0x185, 0))

    def test_the_end_of_the_admin_queue_ends_the_others(self):
        admin = self.admin()
        queue = self.io()
        admin.socket.close()
        self.assertTrue(queue.is_ended())


class Properties(TargetTestCase):
    def test_read(self):
        queue = self.initialized()
        queue.connect(NQN)
        self.assertEqual(queue.get_property(CAP, wide=True), (0, 0x30_1401_007F))
        self.assertEqual(queue.get_property(CAP), (INVALID_FIELD, 0))
        self.assertEqual(queue.get_property(VS), (0, 0x00010400))
        self.assertEqual(queue.get_property(CC), (0, 0))
        self.assertEqual(queue.get_property(CSTS), (0, 0))
        self.assertEqual(queue.get_property(0x0C), (INVALID_FIELD, 0))
        self.assertEqual(queue.set_property(VS, 1), (INVALID_FIELD, 0))

    def test_the_controller_is_enabled_and_disabled(self):
        queue = self.initialized()
        queue.connect(NQN)
        self.assertEqual(queue.command(IDENTIFY, cdw10=1, read=4096), (SEQUENCE, 0, b""))
        queue.enable()
        self.assertEqual(queue.get_property(CSTS), (0, 1))
        self.assertEqual(queue.get_property(CC), (0, CONFIGURATION | 1))
        self.assertEqual(queue.command(IDENTIFY, cdw10=1, read=4096)[:2], (0, 0))
        other = self.io()
        queue.set_property(CC, CONFIGURATION)
        self.assertEqual(queue.get_property(CSTS), (0, 0))
        self.assertTrue(other.is_ended(), "a reset deletes I/O queues")
        queue.enable()
        self.assertEqual(queue.get_property(CSTS), (0, 1))

    def test_a_shutdown_is_reported_as_complete(self):
        queue = self.admin()
        queue.set_property(CC, CONFIGURATION | 1 | 1 << 14)
        self.assertEqual(queue.get_property(CSTS), (0, 1 | 2 << 2))

    def test_a_subsystem_reset_disables_the_controller(self):
        queue = self.admin()
        self.assertEqual(queue.set_property(NSSR, 1), (0, 0))
        other = self.io()
        self.assertEqual(queue.set_property(NSSR, 0x4E564D65), (0, 0))
        self.assertTrue(other.is_ended())
        self.assertEqual((queue.get_property(CC), queue.get_property(CSTS)), ((0, 0), (0, 0)))
        queue.enable()
        self.assertEqual(queue.command(KEEP_ALIVE), (0, 0, b""))


class Identity(TargetTestCase):
    def test_has_what_a_controller_on_a_fabric_has(self):
        status, result, data = self.admin().command(IDENTIFY, cdw10=1, read=4096)
        self.assertEqual((status, result, len(data)), (0, 0, 4096))
        self.assertEqual(data[4:24], b"TGT1".ljust(20))
        self.assertEqual(data[77], 7)  # MDTS: 512 KiB, the drive's own
        self.assertEqual(data[78:80], bytes.fromhex("0100"))  # CNTLID
        self.assertEqual(data[320:322], bytes.fromhex("0A00"))  # KAS: 1 s
        self.assertEqual(data[514:516], bytes.fromhex("8000"))  # MAXCMD
        self.assertEqual(data[536:540], bytes.fromhex("01003400"))  # SGLS
        self.assertEqual(data[768:1024], NQN.encode().ljust(256, b"\0"))
        self.assertEqual(data[1792:1808], bytes.fromhex("04020000 01000000 0000 00 01 0100 0000"))

    def test_a_drive_without_a_bound_gets_one(self):
        path = self.world.opt / "SimulatedDrives/drive/description.ini"
        path.write_text(path.read_text().replace("max-transfer-kib = 512", "max-transfer-kib = 0"))
        self.assertEqual(self.admin().command(IDENTIFY, cdw10=1, read=4096)[2][77], 8)


class Data(TargetTestCase):
    PATTERN = bytes((i * 7 + i // 251) & 255 for i in range(1 << 18))

    def written(self, queue, size, **options):
        data = self.PATTERN[:size]
        self.assertEqual(queue.command(WRITE, nsid=1, cdw12=size // 512 - 1, write=data, **options), (0, 0, b""))
        self.assertEqual(queue.command(READ, nsid=1, cdw12=size // 512 - 1, read=size), (0, 0, data))

    def test_travel_in_the_capsule_and_by_request(self):
        self.admin()
        queue = self.io()
        self.written(queue, 4096, in_capsule=True)
        self.written(queue, 8192, in_capsule=True)
        self.written(queue, 8192)
        self.written(queue, 262144)
        self.written(queue, 4096, piece=512)

    def test_travel_with_digests(self):
        self.admin()
        for digests, queue_id in ((1, 1), (2, 2), (3, 3)):
            with self.subTest(digests):
                queue = self.io(queue_id, digests=digests)
                self.written(queue, 4096, in_capsule=True)
                self.written(queue, 16384, piece=4096)

    def test_begin_where_the_host_wants_them(self):
        admin = self.initialized(alignment=31)
        admin.connect(NQN)
        admin.enable()
        admin.start(IDENTIFY, cdw10=1, read=4096)
        common = admin.exactly(8)
        self.assertEqual(common, bytes.fromhex("07 04 18 80 80100000"))

    def test_with_a_wrong_digest_fail_the_command_alone(self):
        self.admin()
        queue = self.io(digests=2)
        sqe = entry(WRITE, 7, nsid=1, sgl=(0, 512, 1))
        queue.send(pdu(CAPSULE, sqe, bytes(512) + b"\1\2\3\4", flags=2))
        self.assertEqual(queue.response()[:3], (7, 0x22, 0))
        self.written(queue, 4096)

    def test_the_success_flag_replaces_the_completion(self):
        admin = self.initialized()
        admin.capsule(connect_entry(0, 31, attributes=4), connect_data(NQN))
        self.assertEqual(admin.response(), (0, 0, 1, 0xFFFF))
        admin.enable()
        admin.start(IDENTIFY, cdw10=1, read=4096)
        kind, flags, _, data = admin.receive()
        self.assertEqual((kind, flags, len(data)), (C2H_DATA, LAST | 8, 4096))
        self.assertEqual(admin.command(KEEP_ALIVE), (0, 0, b""))

    def test_data_pointers_are_checked(self):
        admin = self.admin()
        queue = self.io()
        cases = (
            ("PRPs", entry(WRITE, 1, 1, flags=0), b"", INVALID_FIELD),
            ("a fused command", entry(WRITE, 1, 1, flags=0x41), b"", INVALID_FIELD),
            ("a segment", entry(WRITE, 1, 1, (0, 512, 0x20)), b"", SGL_TYPE),
            ("an address", entry(WRITE, 1, 1, (0, 512, 0x00)), b"", SGL_TYPE),
            ("a read into the capsule", entry(READ, 1, 1, (0, 512, 1)), b"", SGL_TYPE),
            ("an offset after the data", entry(WRITE, 1, 1, (1024, 512, 1)), bytes(512), SGL_OFFSET),
            ("more than the capsule has", entry(WRITE, 1, 1, (0, 1024, 1)), bytes(512), SGL_LENGTH),
            ("more than a command may carry", entry(WRITE, 1, 1, (0, (1 << 20) + 4, 0x5A)), b"", SGL_LENGTH),
            ("less than the command reads", entry(READ, 1, 1, (0, 256, 0x5A)), b"", SGL_LENGTH),
        )
        for what, sqe, data, expected in cases:
            with self.subTest(what):
                queue.capsule(sqe, data)
                self.assertEqual(queue.response()[:3], (1, expected, 0))
        self.assertEqual(admin.command(KEEP_ALIVE), (0, 0, b""))

    def test_a_part_that_does_not_fit_ends_the_connection(self):
        self.admin()
        for what, command, tag, offset, size, flags, expected in (
                ("another command", 2, 1, 0, 512, LAST, (1, 8)),
                ("another tag", 1, 2, 0, 512, LAST, (1, 10)),
                ("a gap", 1, 1, 4, 508, LAST, (4, 12)),
                ("too much", 1, 1, 0, 516, LAST, (4, 16)),
                ("the last part too early", 1, 1, 0, 256, LAST, (1, 1)),
                ("the last part not marked", 1, 1, 0, 512, 0, (1, 1))):
            with self.subTest(what):
                queue = self.io()
                queue.start(WRITE, nsid=1, write=bytes(512))
                self.assertEqual(queue.receive()[0], R2T)
                queue.send_h2c(command, tag, offset, bytes(size), flags)
                kind, _, specific, _ = queue.receive()
                self.assertEqual((kind, struct.unpack("<HI", specific[:6])), (C2H_TERM, expected))
                self.assertTrue(queue.is_ended())

    def test_of_several_commands_are_fetched_one_after_the_other(self):
        self.admin()
        queue = self.io()
        for number in (1, 2):
            queue.capsule(entry(WRITE, number, 1, (0, 512, 0x5A), dwords=struct.pack("<II", number, 0)))
        for number in (1, 2):
            kind, _, specific, _ = queue.receive()
            self.assertEqual((kind, struct.unpack("<HH", specific[:4])), (R2T, (number, 1)))
            queue.send_h2c(number, 1, 0, bytes([number]) * 512, LAST)
            # The next data are asked for before the command is carried out.
            answers = [queue.receive() for _ in range(2)] if number == 1 else [queue.receive()]
            if number == 1:
                self.assertEqual([kind for kind, *_ in answers], [R2T, 5])
                queue.send_h2c(2, 1, 0, bytes([2]) * 512, LAST)
                self.assertEqual(queue.response()[:3], (2, 0, 0))
                break
        self.assertEqual(queue.command(READ, nsid=1, cdw10=1, cdw12=1, read=1024)[2], b"\1" * 512 + b"\2" * 512)


class Commands(TargetTestCase):
    def test_with_an_identifier_in_use_are_refused(self):
        admin = self.admin()
        for _ in range(2):
            admin.capsule(entry(EVENT_REQUEST, 7))
        self.assertEqual(admin.response()[:3], (7, CONFLICT, 0))

    def test_more_than_the_queue_holds_end_the_connection(self):
        admin = self.admin(size=1)
        for number in range(3):
            admin.capsule(entry(EVENT_REQUEST, number))
        kind, _, specific, _ = admin.receive()
        self.assertEqual((kind, specific[:6]), (C2H_TERM, bytes.fromhex("0200 00000000")))

    def test_the_head_of_the_queue_goes_round(self):
        admin = self.initialized()
        admin.connect(NQN, size=3)
        heads = []
        for _ in range(5):
            admin.capsule(entry(0x7F, 0, nsid=4, dwords=struct.pack("<II", 0, CC)))
            heads.append(admin.response()[3])
        self.assertEqual(heads, [2, 3, 0, 1, 2])

    def test_more_event_requests_than_allowed_are_refused(self):
        admin = self.admin()
        for number in range(1, 6):
            admin.capsule(entry(EVENT_REQUEST, number))
        self.assertEqual(admin.response()[:3], (5, DO_NOT_RETRY | 0x105, 0))

    def test_a_held_command_is_aborted(self):
        admin = self.admin()
        admin.capsule(entry(EVENT_REQUEST, 7))
        admin.capsule(entry(ABORT, 8, dwords=struct.pack("<I", 7 << 16)))
        self.assertEqual([admin.response()[:3] for _ in range(2)], [(7, 0x07, 0), (8, 0, 0)])
        admin.capsule(entry(ABORT, 9, dwords=struct.pack("<I", 7 << 16)))
        self.assertEqual(admin.response()[:3], (9, 0, 1), "there is nothing to abort any more")

    def test_keep_alive_timer_is_read_and_changed(self):
        admin = self.admin(keep_alive_ms=20000)
        self.assertEqual(admin.command(GET_FEATURES, cdw10=0x0F), (0, 20000, b""))
        self.assertEqual(admin.command(SET_FEATURES, cdw10=0x0F, cdw11=30000), (0, 0, b""))
        self.assertEqual(admin.command(GET_FEATURES, cdw10=0x0F), (0, 30000, b""))
        self.assertEqual(admin.command(GET_FEATURES, cdw10=0x30F), (0, 4, b""))
        longest = 0xFFFF * 1000
        self.assertEqual(admin.command(SET_FEATURES, cdw10=0x0F, cdw11=longest), (0, 0, b""))
        self.assertEqual(admin.command(SET_FEATURES, cdw10=0x0F, cdw11=longest + 1), (DO_NOT_RETRY | 0x1A, 0, b""))
        self.assertEqual(admin.command(GET_FEATURES, cdw10=0x0F), (0, longest, b""))

    def test_as_many_queues_are_granted_as_may_connect(self):
        admin = self.admin()
        for asked in (63, 64, 0xFFFE):
            self.assertEqual(admin.command(SET_FEATURES, cdw10=7, cdw11=asked << 16 | asked), (0, 0x3F003F, b""))

    def test_a_silent_host_loses_its_controller(self):
        admin = self.admin(keep_alive_ms=200)
        queue = self.io()
        begin = time.monotonic()
        self.assertTrue(queue.is_ended())
        self.assertGreater(time.monotonic() - begin, 1.0)
        self.assertTrue(admin.is_ended())
        self.admin()

    def test_keep_alive_keeps_a_controller(self):
        admin = self.admin(keep_alive_ms=200)
        for _ in range(8):
            time.sleep(0.25)
            self.assertEqual(admin.command(KEEP_ALIVE), (0, 0, b""))


class Faults(TargetTestCase):
    """What a host on the network sees of them."""

    def test_a_command_that_fails(self):
        admin = self.admin()
        self.fault("--fail", "admin 0x06 0x106, io 0x02 0x281")
        self.assertEqual(admin.command(IDENTIFY, cdw10=1, read=4096), (0x106, 0, b""))
        self.assertEqual(self.io().command(READ, nsid=1, read=512), (0x281, 0, b""))
        self.fault("clear")
        self.assertEqual(admin.command(IDENTIFY, cdw10=1, read=4096)[0], 0)

    def test_a_block_that_cannot_be_read(self):
        self.admin()
        queue = self.io()
        self.fault("--media-errors", "1:8-15")
        self.assertEqual(queue.command(READ, nsid=1, cdw12=7, read=4096)[0], 0)
        self.assertEqual(queue.command(READ, nsid=1, cdw10=15, read=512)[0] & 0x7FF, 0x281)

    def test_a_command_that_is_never_answered_is_aborted_or_forgotten(self):
        admin = self.admin()
        queue = self.io()
        self.fault("--hang", "io 0x02, admin 0x06")
        queue.capsule(entry(READ, 7, 1, (0, 512, 0x5A)))
        queue.capsule(entry(0x00, 8, 1))  # Flush: the queue goes on
        self.assertEqual(queue.response()[:3], (8, 0, 0))
        admin.capsule(entry(ABORT, 9, dwords=struct.pack("<I", 7 << 16 | 1)))
        self.assertEqual((admin.response()[:3], queue.response()[:3]), ((9, 0, 0), (7, 0x07, 0)))
        admin.capsule(entry(IDENTIFY, 9, sgl=(0, 4096, 0x5A), dwords=b"\1"))
        admin.set_property(CC, CONFIGURATION)
        self.fault("clear")
        admin.enable()
        admin.capsule(entry(IDENTIFY, 9, sgl=(0, 4096, 0x5A), dwords=b"\1"))
        self.assertEqual(admin.receive()[0], C2H_DATA, "the identifier is free again")

    def test_a_slow_command_is_answered_in_its_time_and_keeps_no_other_waiting(self):
        self.admin()
        queue = self.io()
        self.fault("--slow", "io 0x02 400")
        begin = time.monotonic()
        queue.capsule(entry(READ, 7, 1, (0, 512, 0x5A)))
        queue.capsule(entry(0x00, 8, 1))
        self.assertEqual(queue.response()[:3], (8, 0, 0))
        self.assertEqual(queue.receive()[0], C2H_DATA)
        self.assertEqual(queue.response()[:3], (7, 0, 0))
        self.assertTrue(0.4 <= time.monotonic() - begin < 5, time.monotonic() - begin)

    def test_a_reset_forgets_slow_commands(self):
        admin = self.admin()
        self.fault("--slow", "admin 0x06 60000")
        admin.capsule(entry(IDENTIFY, 9, sgl=(0, 4096, 0x5A), dwords=b"\1"))
        admin.set_property(CC, CONFIGURATION)
        self.fault("clear")
        admin.enable()
        admin.capsule(entry(IDENTIFY, 9, sgl=(0, 4096, 0x5A), dwords=b"\1"))
        self.assertEqual(admin.receive()[0], C2H_DATA, "the identifier is free again")

    def test_a_drive_that_is_gone_closes_the_connections(self):
        for fault, value in (("--gone", "yes"), ("--power-loss", "admin 0x06")):
            with self.subTest(fault):
                admin = self.admin()
                queue = self.io()
                self.fault(fault, value)
                admin.start(IDENTIFY, cdw10=1, read=4096)
                self.assertTrue(admin.is_ended())
                self.assertTrue(queue.is_ended())
                self.fault("clear")
                with self.admin() as admin:
                    self.assertEqual(admin.command(IDENTIFY, cdw10=1, read=4096)[0], 0)
                self.assertEqual(self.process.poll(), None)

    def test_a_drive_that_vanishes_between_commands_does_not_wait_for_one(self):
        admin = self.admin()
        self.fault("--gone", "yes")
        self.assertTrue(admin.is_ended())
        newcomer = self.initialized()
        newcomer.capsule(connect_entry(0, 31), connect_data(NQN))
        self.assertTrue(newcomer.is_ended())

    def test_a_warning_is_reported_as_an_event(self):
        admin = self.admin()
        self.assertEqual(admin.command(SET_FEATURES, cdw10=0x0B, cdw11=0xFF)[0], 0)
        admin.capsule(entry(EVENT_REQUEST, 70))
        self.fault("--critical-warning", "0x02")
        self.assertEqual(admin.response()[:3], (70, 0, 0x020101))  # SMART / Health, temperature, log page 02h
        self.assertEqual(admin.command(GET_LOG, nsid=0xFFFFFFFF, cdw10=2 | 127 << 16, read=512)[2][0], 2)


class Discovery(TargetTestCase):
    def test_names_the_drive(self):
        queue = self.initialized()
        status, controller = queue.connect(DISCOVERY_NQN)
        self.assertEqual(status, 0)
        queue.enable()
        status, _, data = queue.command(IDENTIFY, cdw10=1, read=4096)
        self.assertEqual((status, data[78:80], data[111]), (0, struct.pack("<H", controller), 2))
        status, _, log = queue.command(GET_LOG, cdw10=0x70 | 511 << 16, read=2048)
        record = (bytes.fromhex("03 01 02 04 0100 FFFF 2000") + bytes(22) + str(self.port).encode().ljust(32) + bytes(192) +
                  NQN.encode().ljust(256, b"\0") + b"127.0.0.1".ljust(256) + bytes(256))
        self.assertEqual((status, log), (0, struct.pack("<QQ", 1, 1) + bytes(1008) + record))
        self.assertEqual(queue.command(GET_LOG, cdw10=0x70 | 1 << 16, cdw12=8, read=8),
                         (0, 0, bytes.fromhex("0100000000000000")))
        self.assertEqual(queue.command(GET_LOG, cdw10=2 | 127 << 16, read=512), (DO_NOT_RETRY | 0x109, 0, b""))

    def test_is_there_beside_a_host_of_the_drive(self):
        self.admin()
        self.assertEqual(self.initialized().connect(DISCOVERY_NQN)[0], 0)


class TwoControllers(unittest.TestCase):
    """Each controller has a port; what a host does on one is its own, the namespace is shared."""

    maxDiff = None
    LISTENS = re.compile(r"(?:drive|controller 2) listens on 127\.0\.0\.1:(\d+)\n")

    def setUp(self):
        self.world = World()
        self.addCleanup(self.world.close)
        made = self.world.run("create", "drive", "--size", "64MiB", "--serial", "TGT1", "--controllers", "2", tool=TOOL)
        self.assertEqual((made.status, made.stderr), (0, ""))
        self.process = self.world.start("serve", "drive", "--port", "0", tool=TOOL)
        self.addCleanup(kill_group, self.process, signal.SIGTERM)
        self.ports = [int(self.LISTENS.fullmatch(self.process.stdout.readline().decode())[1]) for _ in range(2)]
        addresses = " or ".join(f"127.0.0.1:{port}" for port in self.ports)
        self.assertEqual(self.process.stdout.readline().decode(), f"subsystem {NQN}\n")
        self.assertEqual(self.process.stdout.readline().decode(),
                         f"no authentication: anyone who reaches {addresses} can read and erase the drive\n")

    def initialized(self, index):
        queue = Queue(self.ports[index])
        self.addCleanup(queue.socket.close)
        queue.initialize()
        return queue

    def admin(self, index):
        queue = self.initialized(index)
        self.assertEqual(queue.connect(NQN), (0, index + 1))
        self.assertEqual(queue.enable(), (0, 0))
        return queue

    def io(self, index):
        queue = self.initialized(index)
        self.assertEqual(queue.connect(NQN, 1, 127, controller=index + 1), (0, index + 1))
        return queue

    def fault(self, *arguments):
        run = self.world.run("fault", "drive", *arguments, tool=TOOL)
        self.assertEqual((run.status, run.stderr), (0, ""))

    def test_are_there_at_once_and_identify_themselves(self):
        for index, queue in enumerate([self.admin(0), self.admin(1)]):
            status, _, data = queue.command(IDENTIFY, cdw10=1, read=4096)
            self.assertEqual((status, data[76], data[78:80]), (0, 0x0B, struct.pack("<H", index + 1)))
            self.assertEqual(data[768:1024], NQN.encode().ljust(256, b"\0"))

    def test_each_take_one_host(self):
        self.admin(0)
        self.assertEqual(self.initialized(0).connect(NQN), (0x181, 0), "busy")
        self.admin(1)

    def test_take_io_queues_on_their_own_port(self):
        self.admin(0)
        self.admin(1)
        self.assertEqual(self.initialized(1).connect(NQN, 1, controller=1), (CONNECT_INVALID, IN_DATA | 16))
        self.io(1)

    def test_share_data_until_one_cannot_reach_them(self):
        queues = [self.admin(0), self.admin(1)]
        first, second = self.io(0), self.io(1)
        self.assertEqual(first.command(WRITE, nsid=1, write=b"\xA5" * 512), (0, 0, b""))
        self.assertEqual(second.command(READ, nsid=1, read=512), (0, 0, b"\xA5" * 512))
        self.assertEqual(queues[1].command(SET_FEATURES, cdw10=0x0B, cdw11=0x800), (0, 0, b""))
        held = queues[1].start(EVENT_REQUEST)
        self.fault("--ana", "2:all inaccessible")
        self.assertEqual(second.command(READ, nsid=1, read=512), (0x302, 0, b""))
        self.assertEqual(first.command(READ, nsid=1, read=512), (0, 0, b"\xA5" * 512))
        self.assertEqual(queues[1].response()[:3], (held, 0, 0x000C0302), "notice, ANA change, log page 0Ch")
        status, _, log = queues[1].command(GET_LOG, nsid=0xFFFFFFFF, cdw10=0x0C | 12 << 16, read=52)
        self.assertEqual((status, log), (0, struct.pack("<QHxxxxxxIIQB15xI", 1, 1, 1, 1, 1, 3, 1)))
        self.fault("clear", "ana")
        self.assertEqual(second.command(READ, nsid=1, read=512), (0, 0, b"\xA5" * 512))

    def test_are_reset_alone(self):
        first, second = self.admin(0), self.admin(1)
        for queue in (first, second):
            self.assertEqual(queue.command(SET_FEATURES, cdw10=4, cdw11=330), (0, 0, b""))
        self.assertEqual(second.set_property(CC, CONFIGURATION), (0, 0))
        second.enable()
        self.assertEqual(second.command(GET_FEATURES, cdw10=4)[:2], (0, 343))
        self.assertEqual(first.command(GET_FEATURES, cdw10=4)[:2], (0, 330))

    def test_are_both_in_the_discovery_log(self):
        queue = self.initialized(1)
        self.assertEqual(queue.connect(DISCOVERY_NQN)[0], 0)
        queue.enable()
        status, _, log = queue.command(GET_LOG, cdw10=0x70 | 767 << 16, read=3072)
        records = b"".join(bytes.fromhex("03 01 02 04") + struct.pack("<H", index + 1) + bytes.fromhex("FFFF 2000") +
                           bytes(22) + str(port).encode().ljust(32) + bytes(192) + NQN.encode().ljust(256, b"\0") +
                           b"127.0.0.1".ljust(256) + bytes(256) for index, port in enumerate(self.ports))
        self.assertEqual((status, log), (0, struct.pack("<QQ", 1, 2) + bytes(1008) + records))


class Life(TargetTestCase):
    def test_ends_cleanly(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(number):
                admin = self.admin()
                os.killpg(self.process.pid, number)
                self.assertTrue(admin.is_ended())
                self.assertEqual(self.process.wait(30), 0)
                self.assertEqual((self.process.stdout.read(), self.process.stderr.read()), (b"", b""))
                self.process.stdout.close()
                self.process.stderr.close()
                self.serve()

    def test_many_connections_are_bounded(self):
        """Of one address first, then in all."""
        queues = [self.queue() for _ in range(100)]
        queues += [self.queue(source=f"127.0.0.{2 + number % 3}") for number in range(40)]
        for queue in queues[:96] + queues[100:132]:
            queue.initialize()
        for queue in queues[96:100] + queues[132:]:
            self.assertTrue(queue.is_ended())
        for queue in queues:
            queue.socket.close()
        self.admin()

    def test_a_host_that_does_not_read_stops_only_itself(self):
        admin = self.admin()
        deaf = self.io()
        deaf.socket.settimeout(0.5)
        try:
            for number in range(20000):
                deaf.capsule(entry(READ, number % 60000, 1, (0, 131072, 0x5A), dwords=struct.pack("<IIHH", 0, 0, 255, 0)))
        except TimeoutError:
            pass
        self.assertEqual(admin.command(KEEP_ALIVE), (0, 0, b""))
        with open(f"/proc/{self.served()}/statm") as file:
            resident = int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")
        self.assertLess(resident, 64 << 20)

    def cpu_seconds(self):
        with open(f"/proc/{self.served()}/stat") as file:
            user, system = file.read().rsplit(")", 1)[1].split()[11:13]
        return (int(user) + int(system)) / os.sysconf("SC_CLK_TCK")

    def test_without_descriptors_it_waits_and_goes_on(self):
        discovery = self.initialized()  # which needs no file of the drive
        discovery.connect(DISCOVERY_NQN)
        discovery.enable()
        limits = resource.prlimit(self.served(), resource.RLIMIT_NOFILE)
        used = 1 + max(map(int, os.listdir(f"/proc/{self.served()}/fd")))
        resource.prlimit(self.served(), resource.RLIMIT_NOFILE, (used, limits[1]))
        waiting = self.queue()
        before = self.cpu_seconds()
        time.sleep(2)
        self.assertLess(self.cpu_seconds() - before, 0.5, "it spins")
        self.assertEqual(discovery.command(KEEP_ALIVE), (0, 0, b""))
        resource.prlimit(self.served(), resource.RLIMIT_NOFILE, limits)
        waiting.initialize()
        os.killpg(self.process.pid, signal.SIGTERM)
        self.assertEqual(self.process.wait(30), 0)
        self.assertEqual(self.process.stderr.read(),
                         b"nimbrel-simdrive: No further connections for now: Too many open files.\n")

    def test_connections_leave_the_drive_the_descriptors_that_it_needs(self):
        admin = self.admin()
        used = 1 + max(map(int, os.listdir(f"/proc/{self.served()}/fd")))
        resource.prlimit(self.served(), resource.RLIMIT_NOFILE, (used + 20, used + 20))
        queues = [self.queue() for _ in range(50)]
        for queue in queues[5:]:
            self.assertTrue(queue.is_ended())
        self.assertEqual(admin.command(IDENTIFY, cdw10=1, read=4096)[:2], (0, 0))

    def test_connections_that_come_to_nothing_are_closed_after_a_time(self):
        """Ten seconds until it is a queue; thirty without a byte in the middle of a unit."""
        started = time.monotonic()
        silent, initialized, slow = self.queue(), self.initialized(), self.initialized()
        slow.send(bytes([CAPSULE, 0]))
        admin, stalled = self.admin(), self.io()
        stalled.send(bytes([CAPSULE, 0]))
        for queue in (silent, initialized, slow):
            queue.socket.settimeout(30)
            self.assertTrue(queue.is_ended())
        self.assertTrue(9 < time.monotonic() - started < 20, time.monotonic() - started)
        stalled.socket.settimeout(60)
        self.assertTrue(stalled.is_ended())
        self.assertTrue(29 < time.monotonic() - started < 50, time.monotonic() - started)
        self.assertEqual(admin.command(KEEP_ALIVE), (0, 0, b""), "an idle queue stays")

    def served(self):
        """The tool itself: what began the world has become it."""
        return self.process.pid

    def test_a_served_drive_is_neither_removed_nor_served_again(self):
        for command, message in (("remove", 'The drive "drive" is being served.'),
                                 ("serve", 'The drive "drive" is served already.')):
            run = self.world.run(command, "drive", tool=TOOL)
            self.assertEqual((run.status, run.stdout, run.stderr), (1, "", f"nimbrel-simdrive: {message}\n"))


if __name__ == "__main__":
    unittest.main()
