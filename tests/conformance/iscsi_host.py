"""The initiator's side of iSCSI (RFC 7143), unit by unit, with what the target's tests send written out."""

import socket
import struct

HEADER_BYTES = 48
NO_TAG = 0xFFFFFFFF
NOP_OUT, COMMAND, TASK, LOGIN, TEXT, DATA_OUT, LOGOUT = range(7)
NOP_IN, RESPONSE, TASK_RESPONSE, LOGIN_RESPONSE, TEXT_RESPONSE, DATA_IN, LOGOUT_RESPONSE = range(0x20, 0x27)
R2T, REJECT = 0x31, 0x3F
IMMEDIATE, FINAL, READ, WRITE = 0x40, 0x80, 0x40, 0x20
SECURITY, OPERATIONAL, FULL_FEATURE = 0, 1, 3
OVERFLOW, UNDERFLOW = 0x04, 0x02
INITIATOR = "iqn.2026-01.com.example:host"


def pdu(opcode, flags=FINAL, data=b"", tag=0, lun=0, fields=()):
    """fields: pairs of an offset in the header and bytes that go there."""
    header = bytearray(HEADER_BYTES)
    header[0], header[1] = opcode, flags
    header[5:8] = len(data).to_bytes(3, "big")
    header[8:16] = lun.to_bytes(8, "big")
    header[16:20] = tag.to_bytes(4, "big")
    for offset, value in fields:
        header[offset:offset + len(value)] = value
    return bytes(header) + data + bytes(-len(data) % 4)


class Unit:
    """A unit of the target."""

    def __init__(self, header, data):
        self.header, self.data = header, data
        self.opcode, self.flags = header[0], header[1]
        self.tag = self.number(16)

    def number(self, offset, width=4):
        return int.from_bytes(self.header[offset:offset + width], "big")

    @property
    def sense(self):
        """The sense data of a response, after their length."""
        return self.data[2:2 + int.from_bytes(self.data[:2], "big")]


class Closed(Exception):
    """The target closed the connection."""


class Session:
    def __init__(self, port, address="127.0.0.1"):
        self.socket = socket.create_connection((address, port), timeout=30)
        self.number, self.tag, self.status_number = 1, 0, 0

    def close(self):
        self.socket.close()

    def send(self, unit):
        self.socket.sendall(unit)

    def _exactly(self, count):
        data = b""
        while len(data) < count:
            piece = self.socket.recv(count - len(data))
            if not piece:
                raise Closed
            data += piece
        return data

    def receive(self):
        header = self._exactly(HEADER_BYTES)
        length = int.from_bytes(header[5:8], "big")
        data = self._exactly(length + -length % 4)[:length]
        return Unit(header, data)

    def is_closed(self):
        try:
            return self.socket.recv(1) == b""
        except ConnectionResetError:
            return True

    def login_unit(self, keys, current=OPERATIONAL, following=FULL_FEATURE, flags=0x80, isid=b"\x80\0\0\0\0\1"):
        text = b"".join(f"{key}={value}".encode() + b"\0" for key, value in keys)
        return pdu(LOGIN | IMMEDIATE, flags | current << 2 | following, text, tag=1,
                   fields=[(8, isid), (24, self.number.to_bytes(4, "big"))])

    def login(self, target, keys=(), **options):
        """A login in one step; returns the target's unit."""
        names = [("InitiatorName", INITIATOR), ("SessionType", "Normal"), ("TargetName", target)]
        self.send(self.login_unit([*names, *keys], **options))
        return self.receive()

    def next_tag(self):
        self.tag += 1
        return self.tag + 100

    def command_unit(self, cdb, length=0, write=False, tag=None, lun=0):
        number, self.number = self.number, self.number + 1
        flags = FINAL | (WRITE if write else READ if length else 0)
        return pdu(COMMAND, flags, tag=self.next_tag() if tag is None else tag, lun=lun, fields=[
            (20, struct.pack(">II", length, number)), (32, bytes(cdb).ljust(16, b"\0"))])

    def command(self, cdb, length=0, data=None, lun=0, unit=65536):
        """Carries a command out; returns its data and the response."""
        self.send(self.command_unit(cdb, len(data) if data is not None else length, data is not None, lun=lun))
        read = b""
        while True:
            answer = self.receive()
            if answer.opcode == DATA_IN:
                assert answer.number(40) == len(read), "a buffer offset"
                read += answer.data
            elif answer.opcode == R2T:
                self.send_data(answer, data, unit)
            else:
                return read, answer

    def send_data(self, ready, data, unit=65536):
        """What an R2T asked for, in units of at most `unit` bytes."""
        begin, count = ready.number(40), ready.number(44)
        for at in range(begin, begin + count, unit):
            piece = data[at:min(at + unit, begin + count)]
            is_last = at + len(piece) == begin + count
            self.send(pdu(DATA_OUT, FINAL if is_last else 0, piece, tag=ready.tag, fields=[
                (20, ready.header[20:24]), (40, at.to_bytes(4, "big"))]))

    def request(self, opcode, flags=FINAL, data=b"", fields=(), immediate=True):
        """Another request; returns the answer to it."""
        number = self.number.to_bytes(4, "big")
        if not immediate:
            self.number += 1
        self.send(pdu(opcode | (IMMEDIATE if immediate else 0), flags, data, tag=self.next_tag(),
                      fields=[(24, number), *fields]))
        return self.receive()


def pass_through(command, protocol, feature=0, count=0, lba=0, extended=False, check=False, reads=True, device=0):
    """ATA PASS-THROUGH (16), with COUNT as the length in sectors."""
    has_data = protocol != 3
    flags = (0x20 if check else 0) | (0x08 if reads and has_data else 0) | (0x06 if has_data else 0)
    lba = lba.to_bytes(6, "little")
    return bytes([0x85, protocol << 1 | extended, flags, feature >> 8, feature & 0xFF, count >> 8, count & 0xFF,
                  lba[3], lba[0], lba[4], lba[1], lba[5], lba[2], device, command, 0])
