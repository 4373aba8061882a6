"""The iSCSI target of nimbrel-simdrive over a real socket: units, SCSI commands and sense data, byte by byte."""

import os
import re
import signal
import struct
import time
import unittest

from iscsi_host import (FINAL, IMMEDIATE, INITIATOR, LOGIN, LOGIN_RESPONSE, LOGOUT, LOGOUT_RESPONSE, NO_TAG, NOP_IN,
                        NOP_OUT, OPERATIONAL, OVERFLOW, REJECT, RESPONSE, SECURITY, TASK, TASK_RESPONSE, TEXT,
                        TEXT_RESPONSE, UNDERFLOW, Closed, Session, pass_through, pdu)
from world import World, kill_group

TOOL = os.environ.get("NIMBREL_SIMDRIVE", "")
NAME = "iqn.2026-01.com.velko.nimbrel:simulated:tgt-1"
GOOD, CHECK_CONDITION = 0, 2
NON_DATA, PIO_IN, PIO_OUT, DMA = 3, 4, 5, 6
IDENTIFY, SMART, CHECK_POWER_MODE = 0xEC, 0xB0, 0xE5


def keys_of(unit):
    return [tuple(each.split("=", 1)) for each in unit.data.decode().split("\0")[:-1]]


class TargetTestCase(unittest.TestCase):
    """Each test has a drive of its own on a port of its own."""

    maxDiff = None

    def setUp(self):
        self.world = World()
        self.addCleanup(self.world.close)
        self.simdrive("create", "drive", "--model", "sata", "--size", "64MiB", "--serial", "TGT_1")
        self.serve()

    def simdrive(self, *arguments):
        run = self.world.run(*arguments, tool=TOOL)
        self.assertEqual((run.status, run.stderr), (0, ""), arguments)

    def serve(self):
        self.process = self.world.start("serve", "drive", "--port", "0", tool=TOOL)
        self.addCleanup(self.end)
        line = self.process.stdout.readline().decode()
        found = re.fullmatch(r"drive listens on 127\.0\.0\.1:(\d+)\n", line)
        self.assertTrue(found, line)
        self.port = int(found.group(1))
        self.assertEqual(self.process.stdout.readline().decode(), f"target {NAME}\n")
        self.assertEqual(self.process.stdout.readline().decode(), "no authentication: anyone who reaches "
                         f"127.0.0.1:{self.port} can read and erase the drive\n")

    def end(self):
        if self.process.poll() is None:
            kill_group(self.process, signal.SIGTERM)  # what a signal ends regularly counts for the coverage

    def connected(self):
        session = Session(self.port)
        self.addCleanup(session.close)
        return session

    def session(self, *keys, **options):
        session = self.connected()
        answer = session.login(NAME, keys, **options)
        self.assertEqual((answer.opcode, answer.number(36, 2)), (LOGIN_RESPONSE, 0))
        return session

    def good(self, session, cdb, length=0, data=None):
        read, response = session.command(cdb, length, data)
        self.assertEqual((response.opcode, response.header[3], response.data), (RESPONSE, GOOD, b""), cdb)
        return read

    def failed(self, session, cdb, length=0, data=None, lun=0):
        """The sense data of a command that fails, in hexadecimal."""
        _, response = session.command(cdb, length, data, lun)
        self.assertEqual((response.opcode, response.header[3]), (RESPONSE, CHECK_CONDITION), cdb)
        return response.sense.hex()


class Login(TargetTestCase):
    def test_what_both_sides_agree_on(self):
        session = self.connected()
        answer = session.login(NAME, [
            ("HeaderDigest", "CRC32C,None"), ("DataDigest", "None"), ("MaxRecvDataSegmentLength", "131072"),
            ("MaxBurstLength", "16776192"), ("FirstBurstLength", "262144"), ("InitialR2T", "No"),
            ("ImmediateData", "Yes"), ("MaxOutstandingR2T", "4"), ("MaxConnections", "2"), ("DataPDUInOrder", "Yes"),
            ("DataSequenceInOrder", "Yes"), ("ErrorRecoveryLevel", "2"), ("DefaultTime2Wait", "2"),
            ("DefaultTime2Retain", "20"), ("X-com.example.key", "1")])
        self.assertEqual((answer.opcode, answer.flags, answer.number(36, 2)), (LOGIN_RESPONSE, 0x87, 0))
        self.assertNotEqual(answer.number(14, 2), 0, "the session's handle")
        self.assertEqual(answer.header[8:14], b"\x80\0\0\0\0\1")
        self.assertEqual((answer.number(28), answer.number(32)), (1, 32), "ExpCmdSN, MaxCmdSN")
        self.assertEqual(keys_of(answer), [
            ("HeaderDigest", "None"), ("DataDigest", "None"), ("MaxBurstLength", "262144"),
            ("FirstBurstLength", "65536"), ("InitialR2T", "Yes"), ("ImmediateData", "No"), ("MaxOutstandingR2T", "1"),
            ("MaxConnections", "1"), ("DataPDUInOrder", "Yes"), ("DataSequenceInOrder", "Yes"),
            ("ErrorRecoveryLevel", "0"), ("DefaultTime2Wait", "2"), ("DefaultTime2Retain", "0"),
            ("X-com.example.key", "NotUnderstood"), ("TargetPortalGroupTag", "1"), ("MaxRecvDataSegmentLength", "65536")])

    def test_in_two_stages(self):
        session = self.connected()
        session.send(session.login_unit([("InitiatorName", INITIATOR), ("TargetName", NAME), ("AuthMethod", "None,CHAP")],
                                        current=SECURITY, following=OPERATIONAL))
        answer = session.receive()
        self.assertEqual((answer.flags, answer.number(14, 2)), (0x81, 0))
        self.assertEqual(keys_of(answer), [("AuthMethod", "None"), ("TargetPortalGroupTag", "1")])
        session.send(session.login_unit([("InitialR2T", "Yes")]))
        answer = session.receive()
        self.assertEqual(answer.flags, 0x87)
        self.assertEqual(keys_of(answer), [("InitialR2T", "Yes"), ("MaxRecvDataSegmentLength", "65536")])
        self.good(session, [0x00])

    def test_is_refused_with_the_reason(self):
        other = "iqn.2026-01.com.velko.nimbrel:simulated:other"
        named = ("InitiatorName", INITIATOR)
        for why, keys, options, status in (
                ("another target", [named, ("TargetName", other)], {}, 0x0203),
                ("no target", [named], {}, 0x0207),
                ("no initiator", [("TargetName", NAME)], {}, 0x0207),
                ("authentication alone", [named, ("TargetName", NAME), ("AuthMethod", "CHAP")], {}, 0x0200),
                ("digests alone", [named, ("TargetName", NAME), ("DataDigest", "CRC32C")], {}, 0x0200),
                ("a wrong number", [named, ("TargetName", NAME), ("MaxBurstLength", "1")], {}, 0x0200),
                ("a stage that is none", [named, ("TargetName", NAME)], {"current": 2}, 0x0200),
                ("an old session", [named, ("TargetName", NAME)], {"isid": b"\x80\0\0\0\0\1\0\7"}, 0x020A)):
            with self.subTest(why):
                session = self.connected()
                session.send(session.login_unit(keys, **options))
                answer = session.receive()
                self.assertEqual((answer.opcode, answer.number(36, 2)), (LOGIN_RESPONSE, status))
                self.assertTrue(session.is_closed())

    def test_nothing_goes_before_it(self):
        session = self.connected()
        session.send(session.command_unit([0x00]))
        self.assertTrue(session.is_closed())

    def test_another_one_of_the_same_host_takes_the_place(self):
        first = self.session()
        other = self.session(isid=b"\x80\0\0\0\0\2")
        self.session()
        self.assertTrue(first.is_closed())
        self.good(other, [0x00])


class Discovery(TargetTestCase):
    def test_names_the_target_and_where_it_is(self):
        session = self.connected()
        session.send(session.login_unit([("InitiatorName", INITIATOR), ("SessionType", "Discovery")]))
        answer = session.receive()
        self.assertEqual((answer.flags, keys_of(answer)), (0x87, [("MaxRecvDataSegmentLength", "65536")]))
        answer = session.request(TEXT, data=b"SendTargets=All\0")
        self.assertEqual((answer.opcode, answer.flags, answer.number(20)), (TEXT_RESPONSE, FINAL, NO_TAG))
        self.assertEqual(keys_of(answer), [("TargetName", NAME), ("TargetAddress", f"127.0.0.1:{self.port},1")])
        session.send(session.command_unit([0x00]))
        self.assertEqual(session.receive().opcode, REJECT)
        self.assertTrue(session.is_closed())

    def test_another_name_is_not_here(self):
        session = self.session()
        self.assertEqual(keys_of(session.request(TEXT, data=b"SendTargets=iqn.2026-01.com.example:x\0")), [])
        self.assertEqual(keys_of(session.request(TEXT, data=b"Y=1\0")), [("Y", "NotUnderstood")])
        self.assertEqual(session.request(TEXT, data=b"nonsense").opcode, REJECT)


class Session_(TargetTestCase):
    def test_an_echo(self):
        session = self.session()
        answer = session.request(NOP_OUT, data=b"hello")
        self.assertEqual((answer.opcode, answer.data, answer.number(20)), (NOP_IN, b"hello", NO_TAG))
        before = answer.number(24)
        self.assertEqual(session.request(NOP_OUT, immediate=False).number(24), before + 1, "StatSN counts")
        session.send(pdu(NOP_OUT | IMMEDIATE, tag=NO_TAG))
        self.good(session, [0x00])

    def test_logout_ends_it(self):
        session = self.session()
        self.assertEqual(session.request(LOGOUT, FINAL).opcode, LOGOUT_RESPONSE)
        self.assertTrue(session.is_closed())

    def test_commands_out_of_turn_are_dropped(self):
        session = self.session()
        session.number += 5
        session.send(session.command_unit([0x00]))
        session.number = 1
        _, response = session.command([0x00])
        self.assertEqual(response.tag, 102, "the second one's")

    def test_unknown_units_are_rejected(self):
        for unit in (pdu(0x10), pdu(LOGIN | IMMEDIATE), pdu(0x21)):
            session = self.session()
            session.send(unit)
            answer = session.receive()
            self.assertEqual((answer.opcode, answer.header[2], answer.data), (REJECT, 5, unit[:48]))
            self.assertTrue(session.is_closed())

    def test_too_much_data_ends_it(self):
        session = self.session()
        session.send(pdu(NOP_OUT | IMMEDIATE, data=bytes(65537)))
        self.assertTrue(session.is_closed())

    def test_task_management(self):
        self.simdrive("fault", "drive", "--hang", "ata 0xE7, ata 0xEA")
        session = self.session()
        session.send(session.command_unit([0x35], tag=7))

        def function(number, referenced=0, lun=0):
            answer = session.request(TASK, FINAL | number, fields=[(8, lun.to_bytes(8, "big")),
                                                                    (20, referenced.to_bytes(4, "big"))])
            self.assertEqual(answer.opcode, TASK_RESPONSE)
            return answer.header[2]
        self.assertEqual(function(1, 7), 0, "aborted")
        self.assertEqual(function(1, 7), 1, "no such task")
        session.send(session.command_unit([0x35], tag=8))
        self.assertEqual(function(5), 0, "a reset of the logical unit")
        self.assertEqual(function(1, 8), 1)
        self.assertEqual(function(5, lun=1 << 48), 2, "no such logical unit")
        self.assertEqual(function(8), 4, "no reassignment")
        self.assertEqual(function(9), 5, "no such function")
        self.good(session, [0x00])

    def test_a_slow_drive_answers_later_and_others_before(self):
        self.simdrive("fault", "drive", "--slow", "ata 0xEA 300")
        session = self.session()
        session.send(session.command_unit([0x35], tag=1))
        session.send(session.command_unit([0x00], tag=2))
        self.assertEqual([session.receive().tag, session.receive().tag], [2, 1])

    def test_a_captive_test_holds_the_drive(self):
        folder = self.world.opt / "SimulatedDrives/drive/description.ini"
        folder.write_text(re.sub("(?m)^short-self-test-seconds.*$", "short-self-test-seconds = 1", folder.read_text()))
        session = self.session()
        begin = time.monotonic()
        session.send(session.command_unit(pass_through(SMART, NON_DATA, 0xD4, 0, 0xC24F81), tag=1))
        session.send(session.command_unit([0x00], tag=2))
        self.assertEqual(sorted([session.receive().tag, session.receive().tag]), [1, 2])
        self.assertGreaterEqual(time.monotonic() - begin, 0.99)

    def test_many_connections_are_too_many(self):
        sessions = [self.session(isid=b"\x80\0\0\0\1" + bytes([number])) for number in range(16)]
        self.assertTrue(self.connected().is_closed())
        sessions[0].close()
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline:
            session = self.connected()
            try:
                self.assertEqual(session.login(NAME).number(36, 2), 0)
                return
            except (Closed, ConnectionError):
                time.sleep(0.05)
        self.fail("no place became free")


class Commands(TargetTestCase):
    def test_inquiry(self):
        session = self.session()
        data = self.good(session, [0x12, 0, 0, 0, 96], 96)
        self.assertEqual(data[:8].hex(), "0000060" "25b000002")
        self.assertEqual(data[8:36], b"ATA     Simulated SATA S0100")
        self.assertEqual(data[58:66].hex(), "00a0046004c01ec0")
        self.assertEqual(self.good(session, [0x12, 1, 0, 0, 96], 96), bytes.fromhex("00000007008083" "89b0b1b2"))
        self.assertEqual(self.good(session, [0x12, 1, 0x80, 0, 96], 96), b"\0\x80\0\x14TGT_1               ")
        page = self.good(session, [0x12, 1, 0x83, 0, 255], 255)
        self.assertEqual(page[:8].hex(), "0083005401030008")
        self.assertEqual(page[8] >> 4, 5, "NAA")
        self.assertEqual(page[16:20].hex(), "02010044")
        self.assertEqual(page[20:], b"ATA     " + b"Simulated SATA SSD".ljust(40) + b"TGT_1".ljust(20))
        page = self.good(session, [0x12, 1, 0x89, 2, 0x3C], 572)
        self.assertEqual(len(page), 572)
        self.assertEqual(page[:4].hex(), "00890238")
        self.assertEqual(page[36:57].hex(), "3400500101000000000000000100000000000000ec")
        identify = self.good(session, pass_through(IDENTIFY, PIO_IN, count=1), 512)
        self.assertEqual(page[60:], identify)
        self.assertEqual(self.good(session, [0x12, 1, 0xB0, 0, 64], 64)[:32].hex(),
                         "00b0003c00000008000008000000000000000000" "01fffe00" "00000040" "00000008")
        self.assertEqual(self.good(session, [0x12, 1, 0xB1, 0, 64], 64)[:8].hex(), "00b1003c00010003")
        self.assertEqual(self.good(session, [0x12, 1, 0xB2, 0, 64], 64).hex(), "00b2000400840000")
        self.assertEqual(self.failed(session, [0x12, 1, 0xB9, 0, 64], 64), "7205240000000000")
        self.assertEqual(self.failed(session, [0x12, 0, 0x80, 0, 64], 64), "7205240000000000")

    def test_residuals(self):
        session = self.session()
        _, response = session.command([0x12, 0, 0, 0, 96], 255)
        self.assertEqual((response.flags, response.number(44)), (FINAL | UNDERFLOW, 159))
        data, response = session.command([0x12, 0, 0, 0, 96], 36)
        self.assertEqual((len(data), response.flags, response.number(44)), (36, FINAL | OVERFLOW, 60))

    def test_the_only_logical_unit_is_0(self):
        session = self.session()
        self.assertEqual(self.good(session, [0xA0, *bytes(8), 16], 16).hex(), "00000008" + "00" * 12)
        self.assertEqual(self.failed(session, [0x00], lun=1 << 48), "7205250000000000")
        data, response = session.command([0x12, 0, 0, 0, 36], 36, lun=1 << 48)
        self.assertEqual((data[0], response.header[3]), (0x7F, GOOD))

    def test_capacity(self):
        session = self.session()
        self.assertEqual(self.good(session, [0x25], 8).hex(), "0001ffff00000200")
        data = self.good(session, [0x9E, 0x10, *bytes(11), 32], 32)
        self.assertEqual(data[:16].hex(), "000000000001ffff0000020000" "03c000")
        self.failed(session, [0x9E, 0x11, *bytes(11), 32], 32)

    def test_reads_and_writes(self):
        session = self.session(("MaxRecvDataSegmentLength", "8192"))
        pattern = bytes(range(256)) * 2048  # 512 KiB: two bursts
        write16 = bytes([0x8A, 0]) + struct.pack(">QI", 100, 1024) + b"\0\0"
        self.good(session, write16, data=pattern)
        read16 = bytes([0x88, 0]) + struct.pack(">QI", 100, 1024) + b"\0\0"
        self.assertEqual(self.good(session, read16, len(pattern)), pattern)
        read10 = bytes([0x28, 0]) + struct.pack(">IxHx", 101, 1)
        self.assertEqual(self.good(session, read10, 512), pattern[512:1024])
        self.assertEqual(self.good(session, [0x08, 0, 0, 100, 1], 512), pattern[:512])
        write10 = bytes([0x2A, 0x08]) + struct.pack(">IxHx", 101, 1)
        _, response = session.command(write10, data=b"Z" * 512, unit=100)
        self.assertEqual(response.header[3], GOOD, "in units of 100 bytes, forced to the media")
        self.assertEqual(self.good(session, read10, 512), b"Z" * 512)
        self.good(session, [0x35])
        self.good(session, [0x91])
        self.good(session, bytes([0x2F, 0]) + struct.pack(">IxHx", 0, 128))
        self.good(session, bytes([0x28, 0]) + struct.pack(">IxHx", 0, 0))
        self.assertEqual(self.failed(session, bytes([0x28, 0]) + struct.pack(">IxHx", 131072, 1), 512),
                         "7205210000000000")
        too_long = bytes([0x88, 0]) + struct.pack(">QI", 0, 2049) + b"\0\0"
        self.assertEqual(self.failed(session, too_long, 2049 * 512), "7205240000000000")
        self.assertEqual(self.failed(session, write16, data=bytes((1 << 20) + 512)), "7205240000000000")

    def test_unmap(self):
        session = self.session()
        self.good(session, bytes([0x2A, 0]) + struct.pack(">IxHx", 8, 3), data=b"X" * 1536)
        ranges = struct.pack(">QI4x", 9, 1)
        self.good(session, [0x42, *bytes(6), 0, 24], data=struct.pack(">HH4x", 22, 16) + ranges)
        data = self.good(session, bytes([0x28, 0]) + struct.pack(">IxHx", 8, 3), 1536)
        self.assertEqual(data, b"X" * 512 + bytes(512) + b"X" * 512)
        whole = struct.pack(">HH4x", 22, 16) + struct.pack(">QI4x", 0, 131072)
        self.good(session, [0x42, *bytes(6), 0, 24], data=whole)
        beyond = struct.pack(">HH4x", 22, 16) + struct.pack(">QI4x", 131072, 1)
        self.assertEqual(self.failed(session, [0x42, *bytes(6), 0, 24], data=beyond), "720b000000000000")

    def test_mode_pages(self):
        session = self.session()
        self.assertEqual(self.good(session, [0x1A, 0, 0x3F, 0, 255], 255).hex(),
                         "23000000" "0812" "04" + "00" * 17 + "0a0a" "04" + "00" * 9)
        self.assertEqual(self.good(session, [0x5A, 0, 0x08, *bytes(4), 0, 255], 255)[:12].hex(),
                         "001a000000000000" "08120400")
        off = bytes(4) + bytes.fromhex("0812") + bytes(18)
        self.good(session, [0x15, 0x10, 0, 0, len(off)], data=off)
        self.assertEqual(self.good(session, [0x1A, 0, 0x08, 0, 255], 255)[6], 0, "no write cache")
        self.assertEqual(self.good(session, pass_through(IDENTIFY, PIO_IN, count=1), 512)[170] & 0x20, 0)
        self.failed(session, [0x1A, 0, 0x05, 0, 255], 255)
        self.failed(session, [0x15, 0x10, 0, 0, 8], data=bytes(4) + bytes.fromhex("0502") + bytes(2))

    def test_power_and_sense(self):
        session = self.session()
        self.good(session, [0x1B, 0, 0, 0, 0])
        self.good(session, [0x1B, 0, 0, 0, 1])
        self.assertEqual(self.good(session, [0x03, 0, 0, 0, 18], 18).hex(), "70000000000000" "0a" + "00" * 10)
        self.assertEqual(self.failed(session, [0xFF]), "7205200000000000")

    def test_errors_of_the_drive(self):
        self.simdrive("fault", "drive", "--media-errors", "1:50")
        session = self.session()
        self.assertEqual(self.failed(session, bytes([0x28, 0]) + struct.pack(">IxHx", 48, 8), 4096), "7203110000000000")
        self.simdrive("fault", "drive", "--gone", "yes")
        self.assertEqual(self.failed(session, [0x00]), "7202040000000000")


    def test_security_protocol_in(self):
        session = self.session()
        discovery = [0xA2, 1, 0, 1, 0, 0, 0, 0, 2, 0, 0, 0]
        self.assertEqual(self.failed(session, discovery, 512)[:8], "720b0000", "not self-encrypting")
        folder = self.world.opt / "SimulatedDrives/drive/description.ini"
        folder.write_text(folder.read_text().replace("security = no", "security = yes"))
        self.simdrive("fault", "drive", "--tcg", "locked")
        expected = bytes.fromhex("00000060 00000001" + "00" * 40 + "0001100c 11" + "00" * 11 + "0002100c 0f" + "00" * 11 +
                                 "02031010 07fe0001 00000400 08" + "00" * 7).ljust(512, b"\0")
        self.assertEqual(self.good(session, discovery, 512), expected)
        self.assertEqual(self.good(session, [0xA2, 1, 0, 1, 0x80, 0, 0, 0, 0, 1, 0, 0], 512), expected, "INC_512")
        self.assertEqual(self.good(session, [0xA2, 1, 0, 1, 0, 0, 0, 0, 0, 16, 0, 0], 16), expected[:16])
        self.assertEqual(self.good(session, [0xA2, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0], 512)[:10].hex(), "00000000000000020001")
        self.good(session, [0xA2, 1, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0])
        for cdb in ([0xA2, 0xEF, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0], [0xA2, 1, 0, 1, 0x80, 0, 0, 1, 0, 0, 0, 0]):
            self.assertEqual(self.failed(session, cdb, 512)[:8], "72052400")


class PassThrough(TargetTestCase):
    """Registers in both formats of sense data."""

    def fixed(self, session):
        """D_SENSE of the control mode page off."""
        page = bytes(4) + bytes.fromhex("0a0a") + bytes(10)
        self.good(session, [0x15, 0x10, 0, 0, len(page)], data=page)

    def test_registers_after_a_success_on_request(self):
        session = self.session()
        self.good(session, pass_through(CHECK_POWER_MODE, NON_DATA))
        cdb = pass_through(CHECK_POWER_MODE, NON_DATA, check=True)
        self.assertEqual(self.failed(session, cdb), "7201001d0000000e" "090c0000" "00ff" "000000000000" "4050")
        native = pass_through(0x78, NON_DATA, extended=True, check=True)
        self.assertEqual(self.failed(session, native), "7201001d0000000e" "090c0100" "0000" "00ff00ff0001" "4050")
        status = pass_through(0xB4, NON_DATA, extended=True, check=True)
        self.assertEqual(self.failed(session, status), "7201001d0000000e" "090c0100" "0000" "00ff00ff0000" "4050")

    def test_registers_after_an_error(self):
        session = self.session()
        self.assertEqual(self.failed(session, pass_through(0x5C, NON_DATA)),
                         "720b00000000000e" "090c0004" "0000" "000000000000" "4051")
        read = pass_through(0x25, DMA, count=1, lba=0x123456789A, extended=True)
        self.assertEqual(self.failed(session, read, 512), "720521000000000e" "090c0110" "0000" "349a12780056" "4051")

    def test_fixed_format(self):
        session = self.session()
        self.fixed(session)
        self.assertEqual(self.failed(session, pass_through(CHECK_POWER_MODE, NON_DATA, check=True)),
                         "f00001005040ff0a00000000001d00000000")
        block = pass_through(0xB4, NON_DATA, 0x12, 0, 0x426B4572, extended=True, check=True)
        self.assertEqual(self.failed(session, block)[:24], "f0000100504000" "0ac0" "000000", "COUNT 4000h: upper not zero")
        self.assertEqual(self.failed(session, pass_through(0x5C, NON_DATA)), "f0000b0451400" "00a000000000000" "00000000")
        self.assertEqual(self.failed(session, [0xFF]), "700005000000000a0000000020000000" "0000")

    def test_lost_registers(self):
        self.simdrive("fault", "drive", "--lost-registers", "yes")
        session = self.session()
        self.assertEqual(self.failed(session, pass_through(CHECK_POWER_MODE, NON_DATA, check=True)),
                         "700001000000000a00000000001d00000000")

    def test_data_in_and_out(self):
        session = self.session()
        identify = self.good(session, pass_through(IDENTIFY, PIO_IN, count=1), 512)
        self.assertEqual(identify[20:30], b"GT_T 1    ")
        twelve = bytes([0xA1, PIO_IN << 1, 0x0E, 0, 1, 0, 0, 0, 0, IDENTIFY, 0, 0])
        self.assertEqual(self.good(session, twelve, 512), identify)
        by_transport = bytes([0x85, PIO_IN << 1, 0x0F, *bytes(11), IDENTIFY, 0])
        self.assertEqual(self.good(session, by_transport, 512), identify)
        data, response = session.command(pass_through(IDENTIFY, PIO_IN, count=1, check=True), 512)
        self.assertEqual((data, response.header[3], response.sense[:4].hex()), (identify, CHECK_CONDITION, "7201001d"))
        self.good(session, pass_through(0x35, DMA, count=2, lba=4, extended=True, reads=False), data=b"D" * 1024)
        self.assertEqual(self.good(session, pass_through(0x25, DMA, count=2, lba=4, extended=True), 1024), b"D" * 1024)
        password = bytes(2) + b"mine".ljust(510, b"\0")
        self.good(session, pass_through(0xF1, PIO_OUT, count=1, reads=False), data=password)
        self.assertEqual(self.good(session, pass_through(IDENTIFY, PIO_IN, count=1), 512)[256], 0x23)

    def test_what_cannot_be_carried_out_is_refused(self):
        session = self.session()
        cases = {"a hard reset": pass_through(IDENTIFY, 0, count=1), "NCQ": pass_through(IDENTIFY, 12, count=1),
                 "the other way": pass_through(IDENTIFY, PIO_IN, count=1, reads=False),
                 "no length": pass_through(IDENTIFY, PIO_IN), "too long": pass_through(0x25, DMA, count=4096, extended=True),
                 "MULTIPLE_COUNT": bytes([0x85, 0x28, 0x0E, 0, 0, 0, 1, *bytes(7), IDENTIFY, 0])}
        for why, cdb in cases.items():
            with self.subTest(why):
                self.assertEqual(self.failed(session, cdb, 512), "7205240000000000")


if __name__ == "__main__":
    unittest.main()
