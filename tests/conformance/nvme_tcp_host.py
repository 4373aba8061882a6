"""A small NVMe/TCP host: lays the bytes of every unit out by hand and takes the target's answers apart.

    with Queue(port) as admin:
        admin.initialize()
        admin.connect(subsystem)
        admin.enable()
        status, result, data = admin.command(IDENTIFY, cdw10=1, read=4096)
"""

import socket
import struct

IC_REQ, IC_RESP, H2C_TERM, C2H_TERM, CAPSULE, RESPONSE, H2C_DATA, C2H_DATA, R2T = 0, 1, 2, 3, 4, 5, 6, 7, 9
HEADER_DIGEST, DATA_DIGEST, LAST, SUCCESS = 1, 2, 4, 8
HOST_NQN = "nqn.2014-08.org.nvmexpress:uuid:11111111-2222-3333-4444-555555555555"
DISCOVERY_NQN = "nqn.2014-08.org.nvmexpress.discovery"
PROPERTY_SET, CONNECT, PROPERTY_GET, DISCONNECT = 0x00, 0x01, 0x04, 0x08
CAP, VS, CC, CSTS, NSSR = 0x00, 0x08, 0x14, 0x1C, 0x20
CONFIGURATION = 0x00460000  # entries of 64 and 16 bytes
IN_CAPSULE, TRANSPORT = 0x01, 0x5A


def crc32c(data):
    crc = 0xFFFFFFFF
    for byte in data:
        crc ^= byte
        for _ in range(8):
            crc = crc >> 1 ^ (0x82F63B78 if crc & 1 else 0)
    return crc ^ 0xFFFFFFFF


def pdu(kind, specific, data=b"", flags=0, pdo=None, hlen=None, plen=None):
    """One unit: the 8 common bytes, those of its kind, and data right after."""
    header = 8 + len(specific)
    if pdo is None:
        pdo = header if data else 0
    total = header + len(data) if plen is None else plen
    return struct.pack("<BBBBI", kind, flags, header if hlen is None else hlen, pdo, total) + specific + data


def ic_req(version=0, alignment=0, digests=0, most_r2t=0):
    return pdu(IC_REQ, struct.pack("<HBBI", version, alignment, digests, most_r2t) + bytes(112))


def entry(opcode, command_id, nsid=0, sgl=(0, 0, TRANSPORT), flags=0x40, dwords=b""):
    """A submission queue entry: dwords are its bytes 40 to 63."""
    address, length, kind = sgl
    head = struct.pack("<BBHI", opcode, flags, command_id, nsid) + bytes(16)
    return head + struct.pack("<QI3xB", address, length, kind) + dwords.ljust(24, b"\0")


def connect_entry(queue_id, size, keep_alive_ms=0, attributes=0, record_format=0, command_id=0):
    dwords = struct.pack("<HHHBxI", record_format, queue_id, size, attributes, keep_alive_ms)
    return entry(0x7F, command_id, nsid=CONNECT, sgl=(0, 1024, IN_CAPSULE), dwords=dwords)


def connect_data(subsystem, host=HOST_NQN, controller=0xFFFF, identifier=b"\x11" * 16):
    return (identifier + struct.pack("<H", controller) + bytes(238) + subsystem.encode().ljust(256, b"\0") +
            host.encode().ljust(256, b"\0") + bytes(256))


class Ended(Exception):
    """The target closed the connection."""


class Queue:
    """One connection."""

    def __init__(self, port, address="127.0.0.1", source=None):
        self.socket = socket.create_connection((address, port), timeout=30,
                                               source_address=(source, 0) if source else None)
        self.next_id = 1
        self.digests = 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, data):
        self.socket.sendall(data)

    def exactly(self, size):
        data = b""
        while len(data) < size:
            piece = self.socket.recv(size - len(data))
            if not piece:
                raise Ended()
            data += piece
        return data

    def receive(self):
        """The next unit: kind, flags, the bytes after the common ones, data. Digests are checked and taken off."""
        common = self.exactly(8)
        kind, flags, hlen, pdo, plen = struct.unpack("<BBBBI", common)
        rest = self.exactly(plen - 8)
        specific, tail = rest[:hlen - 8], rest[hlen - 8:]
        if flags & HEADER_DIGEST:
            assert struct.unpack("<I", tail[:4])[0] == crc32c(common + specific), "header digest"
            tail = tail[4:]
        if kind == C2H_DATA:
            tail = rest[pdo - 8:]
        if flags & DATA_DIGEST:
            assert struct.unpack("<I", tail[-4:])[0] == crc32c(tail[:-4]), "data digest"
            tail = tail[:-4]
        return kind, flags, specific, tail

    def response(self):
        """The next unit is a completion: command identifier, status field, dwords 0 and 1, SQHD."""
        kind, _, specific, _ = self.receive()
        assert kind == RESPONSE, kind
        result, head, _, command_id, status = struct.unpack("<QHHHH", specific)
        return command_id, status >> 1, result, head

    def initialize(self, **options):
        self.send(ic_req(**options))
        kind, _, specific, _ = self.receive()
        assert kind == IC_RESP, kind
        self.digests = specific[3]
        return specific

    def capsule(self, sqe, data=b""):
        header_digest, data_digest = self.digests & 1, self.digests & 2 and data
        flags = (HEADER_DIGEST if header_digest else 0) | (DATA_DIGEST if data_digest else 0)
        begin = 72 + (4 if header_digest else 0)
        total = begin + len(data) + (4 if data_digest else 0)
        head = struct.pack("<BBBBI", CAPSULE, flags, 72, begin if data else 0, total) + sqe
        if header_digest:
            head += struct.pack("<I", crc32c(head))
        self.send(head + data + (struct.pack("<I", crc32c(data)) if data_digest else b""))

    def connect(self, subsystem, queue_id=0, size=31, controller=0xFFFF, host=HOST_NQN, **options):
        """Status field and result of Fabrics Connect."""
        self.capsule(connect_entry(queue_id, size, **options), connect_data(subsystem, host, controller))
        _, status, result, _ = self.response()
        return status, result

    def get_property(self, offset, wide=False):
        dwords = struct.pack("<B3xI", 1 if wide else 0, offset)
        self.capsule(entry(0x7F, 0, nsid=PROPERTY_GET, dwords=dwords))
        return self.response()[1:3]

    def set_property(self, offset, value):
        self.capsule(entry(0x7F, 0, nsid=PROPERTY_SET, dwords=struct.pack("<B3xIQ", 0, offset, value)))
        return self.response()[1:3]

    def enable(self):
        return self.set_property(CC, CONFIGURATION | 1)

    def start(self, opcode, nsid=0, read=0, write=b"", cdw10=0, cdw11=0, cdw12=0, cdw13=0, cdw14=0, cdw15=0,
              in_capsule=False):
        """Sends a command and returns its identifier."""
        command_id, self.next_id = self.next_id, self.next_id % 60000 + 1
        sgl = (0, len(write), IN_CAPSULE) if in_capsule else (0, read or len(write), TRANSPORT)
        dwords = struct.pack("<6I", cdw10, cdw11, cdw12, cdw13, cdw14, cdw15)
        self.capsule(entry(opcode, command_id, nsid, sgl, dwords=dwords), write if in_capsule else b"")
        return command_id

    def command(self, opcode, write=b"", piece=131072, in_capsule=False, **fields):
        """Carries out a command: status field, result, data."""
        command_id = self.start(opcode, write=write, in_capsule=in_capsule, **fields)
        data = b""
        while True:
            kind, flags, specific, tail = self.receive()
            if kind == R2T:
                self.send_data(specific, write, piece)
            elif kind == C2H_DATA:
                assert struct.unpack("<HxxII", specific[:12])[::2] == (command_id, len(tail)), specific
                data += tail
                if flags & SUCCESS:
                    return 0, 0, data
            elif kind == RESPONSE:
                result, _, _, answered, status = struct.unpack("<QHHHH", specific)
                assert answered == command_id, (answered, command_id)
                return status >> 1, result, data
            else:
                raise AssertionError((kind, specific, tail))

    def send_data(self, r2t, data, piece):
        command_id, tag, offset, length = struct.unpack("<HHII", r2t[:12])
        end = offset + length
        while offset < end:
            part = data[offset:min(offset + piece, end)]
            last = LAST if offset + len(part) == end else 0
            self.send_h2c(command_id, tag, offset, part, last)
            offset += len(part)

    def send_h2c(self, command_id, tag, offset, part, flags, length=None):
        header_digest, data_digest = self.digests & 1, self.digests & 2
        flags |= (HEADER_DIGEST if header_digest else 0) | (DATA_DIGEST if data_digest else 0)
        begin = 24 + (4 if header_digest else 0)
        head = struct.pack("<BBBBIHHIIxxxx", H2C_DATA, flags, 24, begin,
                           begin + len(part) + (4 if data_digest else 0), command_id, tag, offset,
                           len(part) if length is None else length)
        if header_digest:
            head += struct.pack("<I", crc32c(head))
        self.send(head + part + (struct.pack("<I", crc32c(part)) if data_digest else b""))

    def is_ended(self):
        """Whether the target closes the connection without another byte."""
        try:
            return self.socket.recv(1) == b""
        except ConnectionResetError:
            return True
