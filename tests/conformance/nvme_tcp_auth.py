"""NVMe in-band authentication (DH-HMAC-CHAP) of nimbrel-simdrive's target, with a host written after the NVMe Base
Specification 2.0, section 8.13, for itself: hashes of hashlib, Diffie-Hellman by pow(), primes by RFC 7919's
formula."""

import base64
import hashlib
import hmac
import os
import random
import shutil
import signal
import struct
import subprocess
import time
import unittest
import zlib

from nvme_tcp_host import C2H_DATA, DISCOVERY_NQN, HOST_NQN, RESPONSE, TRANSPORT, entry
from nvme_tcp_target import (CONNECT_INVALID, DO_NOT_RETRY, IDENTIFY, IN_DATA, KEEP_ALIVE, NQN, READ, SEQUENCE,
                             SGL_LENGTH, TOOL,
                             TargetTestCase)
from world import kill_group

AUTH_SEND, AUTH_RECEIVE = 0x05, 0x06
ATR = 1 << 17
AUTHENTICATION_REQUIRED = DO_NOT_RETRY | 0x191
INVALID_FIELD = DO_NOT_RETRY | 0x02
CONTROLLER_BUSY = 0x181
HASHES = {1: "sha256", 2: "sha384", 3: "sha512"}
# Bits of the prime, and X of RFC 7919, appendix A: p = 2^b - 2^(b-64) + (floor(2^(b-130) * e) + X) * 2^64 - 1.
GROUPS = {1: (2048, 560316), 2: (3072, 2625351), 3: (4096, 5736041), 4: (6144, 15705020), 5: (8192, 10965728)}
KEY = bytes(range(32))
CONTROLLER_KEY = bytes(range(100, 148))


def prime(group):
    bits, addend = GROUPS[group]
    precision = bits + 64
    e, term, divisor = 0, 1 << precision, 1
    while term:
        e += term
        term //= divisor
        divisor += 1
    return (1 << bits) - (1 << bits - 64) + ((e >> precision - (bits - 130)) + addend << 64) - 1


def secret(key, transformation=1):
    return f"DHHC-1:{transformation:02}:{base64.b64encode(key + struct.pack('<I', zlib.crc32(key))).decode()}:\n"


def transformed(key, nqn, transformation=1):
    text = nqn.encode() + b"NVMe-over-Fabrics"
    return hmac.new(key, text, HASHES[transformation]).digest() if transformation else key


class Failed(Exception):
    """AUTH_Failure1 with its reason code explanation."""


class AuthenticatingHost:
    """The host's side of a transaction on one queue."""

    def __init__(self, queue, key=transformed(KEY, HOST_NQN), hashes=(1, 2, 3), groups=(0, 1, 2, 3, 4, 5),
                 challenge=None, transaction=0x1234):
        self.queue, self.key, self.hashes, self.groups = queue, key, hashes, groups
        self.own_challenge, self.transaction = challenge, transaction

    def send(self, message, length=None, protocol=(1, 1, 0xE9)):
        length = len(message) if length is None else length
        dwords = struct.pack("<xBBBI", *protocol, length)
        self.queue.capsule(entry(0x7F, 0, nsid=AUTH_SEND, sgl=(0, len(message), 0x01), dwords=dwords), message)
        return self.queue.response()[1]

    def receive(self, length=4096):
        dwords = struct.pack("<xBBBI", 1, 1, 0xE9, length)
        self.queue.capsule(entry(0x7F, 0, nsid=AUTH_RECEIVE, sgl=(0, length, TRANSPORT), dwords=dwords))
        kind, _, specific, data = self.queue.receive()
        if kind == RESPONSE:
            return struct.unpack("<QHHHH", specific)[4] >> 1
        assert (kind, len(data)) == (C2H_DATA, length)
        assert self.queue.response()[1] == 0
        if data[:2] == b"\x00\xF1":
            assert data[:7] == struct.pack("<BBHHB", 0, 0xF1, 0, self.transaction, 1) and not any(data[8:]), data[:16]
            raise Failed(data[7])
        return data

    def negotiation(self, secure=0, protocols=1):
        descriptor = (struct.pack("<BBBB", 1, 0, len(self.hashes), len(self.groups)) +
                      bytes(self.hashes).ljust(30, b"\0") + bytes(self.groups).ljust(30, b"\0"))
        return struct.pack("<BBHHBB", 0, 0, 0, self.transaction, secure, protocols) + descriptor * protocols

    def mac(self, key, value, sequence, role, first, second):
        text = value + struct.pack("<IHB", sequence, self.transaction, 0) + role
        return hmac.new(key, text + first.encode() + b"\0" + second.encode(), self.hash).digest()

    def take_challenge(self):
        message = self.receive()
        self.checked_header(message, 1)
        length, _, hash_id, self.group, value_length, self.sequence = struct.unpack("<BBBBHI", message[6:16])
        self.hash = HASHES[hash_id]
        assert length == hashlib.new(self.hash).digest_size and message[7] == 0
        assert value_length == (GROUPS[self.group][0] // 8 if self.group else 0)
        end = 16 + length + value_length
        assert not any(message[end:])
        self.challenge, self.value = message[16:16 + length], message[16 + length:end]

    def checked_header(self, message, number):
        assert message[:6] == struct.pack("<BBHH", 1, number, 0, self.transaction), message[:16]

    def session(self):
        """Own public value; challenges are augmented from now on."""
        if not self.group:
            self.augmented = self.challenge
            return b""
        modulus, size = prime(self.group), GROUPS[self.group][0] // 8
        exponent = random.SystemRandom().getrandbits(512)
        shared = pow(int.from_bytes(self.value, "big"), exponent, modulus).to_bytes(size, "big")
        self.session_key = hashlib.new(self.hash, shared).digest()
        self.augmented = hmac.new(self.session_key, self.challenge, self.hash).digest()
        return pow(2, exponent, modulus).to_bytes(size, "big")

    def reply(self, value=None, damage=0):
        own_value = self.session()
        response = bytearray(self.mac(self.key, self.augmented, self.sequence, b"HostHost", HOST_NQN, NQN))
        response[0] ^= damage
        wanted = (self.own_challenge or b"").ljust(len(response), b"\0")[:len(response)]
        value = own_value if value is None else value
        return (struct.pack("<BBHHBBBBHI", 1, 2, 0, self.transaction, len(response), 0, 1 if self.own_challenge else 0, 0,
                            len(value), 77 if self.own_challenge else 0) + response + wanted + value)

    def run(self):
        assert self.send(self.negotiation()) == 0
        self.take_challenge()
        assert self.send(self.reply()) == 0
        return self.finish()

    def finish(self):
        """Success1; with a challenge of our own also the controller's proof, and Success2."""
        message = self.receive()
        self.checked_header(message, 3)
        length = len(self.challenge)
        assert message[6:16] == bytes([length, 0, 1 if self.own_challenge else 0]) + bytes(7), message[:16]
        proof = message[16:16 + length]
        if self.own_challenge:
            value = self.own_challenge.ljust(length, b"\0")[:length]
            if self.group:
                value = hmac.new(self.session_key, value, self.hash).digest()
            key = transformed(CONTROLLER_KEY, NQN, 2)
            assert proof == self.mac(key, value, 77, b"Controller", NQN, HOST_NQN), "the controller's proof"
            assert self.send(struct.pack("<BBHH10x", 1, 4, 0, self.transaction)) == 0
        else:
            assert not any(proof)
        return HASHES[{32: 1, 48: 2, 64: 3}[length]], self.group


class AuthenticationTestCase(TargetTestCase):
    both = False

    def serve(self):
        options = ["--dhchap-secret-file", self.secret_file("host", secret(KEY))]
        if self.both:
            options += ["--dhchap-ctrl-secret-file", self.secret_file("controller", secret(CONTROLLER_KEY, 2))]
        super().serve(*options, openness="authentication required: DH-HMAC-CHAP")

    def secret_file(self, name, text, mode=0o600):
        path = self.world.cwd / name
        path.write_text(text)
        path.chmod(mode)
        return str(path)

    def connected(self, queue_id=0, **options):
        queue = self.initialized()
        status, result = queue.connect(NQN, queue_id=queue_id, **options)
        self.assertEqual((status, result), (0, ATR | 1))
        return queue

    def authenticated(self, queue_id=0, **options):
        queue = self.connected(queue_id, **options)
        AuthenticatingHost(queue, groups=(0,)).run()
        return queue

    def refused(self, queue, **options):
        """The explanation with which the host is refused; the connection ends with it."""
        host = AuthenticatingHost(queue, **options)
        with self.assertRaises(Failed) as failure:
            host.run()
        self.assertTrue(queue.is_ended())
        return failure.exception.args[0]


class OneWay(AuthenticationTestCase):
    def test_each_hash_and_group(self):
        for hash_id, name in HASHES.items():
            with self.subTest(name), self.connected() as queue:
                self.assertEqual(AuthenticatingHost(queue, hashes=(hash_id,), groups=(0,)).run(), (name, 0))
                self.assertEqual(queue.enable(), (0, 0))
        for group in GROUPS:
            with self.subTest(group=group), self.connected() as queue:
                self.assertEqual(AuthenticatingHost(queue, hashes=(1,), groups=(group,)).run(), ("sha256", group))

    def test_the_strongest_that_both_have_is_used(self):
        with self.connected() as queue:
            self.assertEqual(AuthenticatingHost(queue, hashes=(1, 3, 2), groups=(0, 2, 1)).run(), ("sha512", 2))

    def test_nothing_else_is_answered_before(self):
        for queue_id in (0, 1):
            admin = self.authenticated() if queue_id else None
            if admin:
                self.assertEqual(admin.enable(), (0, 0))
            queue = self.connected(queue_id, controller=1 if queue_id else 0xFFFF)
            with self.subTest(queue_id):
                self.assertEqual(queue.set_property(0x14, 1), (AUTHENTICATION_REQUIRED, 0))
                self.assertEqual(queue.get_property(0x00, wide=True), (AUTHENTICATION_REQUIRED, 0))
                for opcode in (IDENTIFY, KEEP_ALIVE, READ, 0x80, 0x84):
                    self.assertEqual(queue.command(opcode, nsid=1), (AUTHENTICATION_REQUIRED, 0, b""))
                self.assertEqual(queue.command(0x01, nsid=1, write=bytes(512)), (AUTHENTICATION_REQUIRED, 0, b""))
                # In the middle of the transaction, too.
                host = AuthenticatingHost(queue, groups=(0,))
                self.assertEqual(host.send(host.negotiation()), 0)
                self.assertEqual(queue.command(IDENTIFY, cdw10=1, read=4096), (AUTHENTICATION_REQUIRED, 0, b""))
                host.take_challenge()
                self.assertEqual(queue.command(IDENTIFY, cdw10=1, read=4096), (AUTHENTICATION_REQUIRED, 0, b""))
                self.assertEqual(host.send(host.reply()), 0)
                self.assertEqual(queue.command(IDENTIFY, cdw10=1, read=4096), (AUTHENTICATION_REQUIRED, 0, b""))
                host.finish()
                if queue_id:
                    self.assertEqual(queue.command(READ, nsid=1, read=512), (0, 0, bytes(512)))
                else:
                    self.assertEqual(queue.enable(), (0, 0))
                    self.assertEqual(queue.command(IDENTIFY, cdw10=1, read=4096)[:2], (0, 0))
            for each in filter(None, (queue, admin)):
                each.socket.close()
            self.wait_for_controller()

    def wait_for_controller(self):
        time.sleep(0.2)  # the target notices the end of the association by its next look

    def test_wrong_secrets_are_refused(self):
        for wrong in (transformed(KEY[:-1] + b"\0", HOST_NQN), transformed(KEY, NQN), KEY, b"\0" * 32):
            with self.subTest(wrong):
                self.assertEqual(self.refused(self.connected(), key=wrong, groups=(0,)), 1)
                self.assertEqual(self.refused(self.connected(), key=wrong, groups=(1,)), 1)

    def test_wrong_negotiations_are_refused(self):
        for options, explanation in (({"hashes": (4,)}, 4), ({"hashes": ()}, 4), ({"groups": (6,)}, 5),
                                     ({"groups": ()}, 5)):
            with self.subTest(options):
                self.assertEqual(self.refused(self.connected(), **options), explanation)
        good = AuthenticatingHost(None).negotiation()
        for message, explanation, why in (
                (AuthenticatingHost(None).negotiation(secure=1), 3, "a secure channel is to follow"),
                (good[:-1], 6, "shorter than its descriptors"), (good + b"\0", 6, "longer than its descriptors"),
                (good[:7] + b"\2" + good[8:], 6, "more descriptors than there are"),
                (good[:8] + b"\2" + good[9:], 2, "another protocol"), (good[:7] + b"\0", 2, "no protocol"),
                (good[:10] + b"\x1F" + good[11:], 6, "more hashes than have room"),
                (good[:11] + b"\x1F" + good[12:], 6, "more groups than have room"),
                (b"\1" + good[1:], 7, "another type"), (good[:1] + b"\2" + good[2:], 7, "another message")):
            with self.subTest(why):
                queue = self.connected()
                host = AuthenticatingHost(queue)
                self.assertEqual(host.send(message), 0)
                with self.assertRaises(Failed) as failure:
                    host.receive()
                self.assertEqual(failure.exception.args, (explanation,))
                self.assertTrue(queue.is_ended())

    def check_reply(self, make, explanation, groups=(0,)):
        queue = self.connected()
        host = AuthenticatingHost(queue, groups=groups)
        self.assertEqual(host.send(host.negotiation()), 0)
        host.take_challenge()
        self.assertEqual(host.send(make(host)), 0)
        with self.assertRaises(Failed) as failure:
            host.receive()
        self.assertEqual(failure.exception.args, (explanation,))
        self.assertTrue(queue.is_ended())

    def test_wrong_replies_are_refused(self):
        def changed(at, value):
            return lambda host: (lambda reply: reply[:at] + bytes([value]) + reply[at + 1:])(host.reply())
        for why, make, explanation in (
                ("one bit of the response", lambda host: host.reply(damage=1), 1),
                ("another message", changed(1, 3), 7), ("another transaction", changed(4, 0x35), 7),
                ("another length of the hash", changed(6, 32), 6), ("a third kind of validity", changed(8, 2), 6),
                ("a DH value without a group", lambda host: host.reply(value=bytes(256)), 6),
                ("cut", lambda host: host.reply()[:-1], 6), ("longer", lambda host: host.reply() + b"\0", 6),
                ("no reply at all", lambda host: host.negotiation(), 7),
                ("nothing to prove with", lambda host: host.reply()[:16], 6),
                ("a proof of a controller without a secret",
                 lambda host: setattr(host, "own_challenge", b"\x55" * 64) or host.reply(), 1)):
            with self.subTest(why):
                self.check_reply(make, explanation)

    def test_values_outside_of_the_group_are_refused(self):
        """They would make the session key known to all."""
        modulus = prime(1)
        for value in (0, 1, modulus - 1, modulus, modulus + 1):
            with self.subTest(value):
                self.check_reply(lambda host, value=value: host.reply(value=value.to_bytes(256, "big")), 6, groups=(1,))
        self.check_reply(lambda host: host.reply(value=bytes([2])), 6, groups=(1,))

    def test_messages_out_of_turn_are_refused(self):
        queue = self.connected()
        host = AuthenticatingHost(queue, groups=(0,))
        self.assertEqual(host.receive(), SEQUENCE)
        self.assertEqual(host.send(host.negotiation()), 0)
        self.assertEqual(host.send(host.negotiation()), SEQUENCE)
        host.take_challenge()
        self.assertEqual(host.receive(), SEQUENCE)
        self.assertEqual(host.send(host.reply()), 0)
        self.assertEqual(host.send(host.reply()), SEQUENCE)
        host.finish()

    def test_fields_of_the_commands_are_checked(self):
        queue = self.connected()
        host = AuthenticatingHost(queue, groups=(0,))
        message = host.negotiation()
        for protocol in ((0, 1, 0xE9), (1, 0, 0xE9), (1, 1, 0xE8)):
            self.assertEqual(host.send(message, protocol=protocol), INVALID_FIELD)
        self.assertEqual(host.send(message, length=len(message) + 1), INVALID_FIELD)
        self.assertEqual(host.receive(16385), INVALID_FIELD)
        self.assertEqual(host.send(message), 0)

    def test_a_message_waits_for_a_buffer_that_holds_it(self):
        for group in (0, 1):
            with self.subTest(group), self.connected() as queue:
                host = AuthenticatingHost(queue, groups=(group,))
                self.assertEqual(host.send(host.negotiation()), 0)
                self.assertEqual(host.receive(16), SGL_LENGTH, "no room for the challenge")
                self.assertEqual(host.send(host.negotiation()), SEQUENCE, "the challenge was not given yet")
                host.take_challenge()
                self.assertEqual(host.send(host.reply()), 0)
                self.assertEqual(host.receive(15), SGL_LENGTH)
                self.assertEqual(queue.command(IDENTIFY, cdw10=1, read=4096), (AUTHENTICATION_REQUIRED, 0, b""))
                host.finish()
                self.assertEqual(queue.enable(), (0, 0))
                queue.socket.close()
                self.wait_for_controller()

    def test_challenges_are_never_the_same(self):
        seen = set()
        for _ in range(20):
            with self.connected() as queue:
                host = AuthenticatingHost(queue, groups=(0,))
                host.send(host.negotiation())
                host.take_challenge()
                seen.add(host.challenge)
        self.assertEqual(len(seen), 20)

    def test_a_stranger_keeps_no_host_away(self):
        strangers = [self.connected() for _ in range(3)]
        with self.authenticated() as admin:
            self.assertEqual(admin.enable(), (0, 0))
            self.assertEqual(self.initialized().connect(NQN)[0], CONTROLLER_BUSY)
            # One that began before, and has the secret, came too late.
            AuthenticatingHost(strangers[0], groups=(0,)).run()
            self.assertTrue(strangers[0].is_ended())
            self.assertEqual(admin.command(KEEP_ALIVE), (0, 0, b""))
            # Nor does it take an I/O queue of the other's controller without the secret.
            io = self.connected(queue_id=1, controller=1)
            self.assertEqual(self.refused(io, key=bytes(32), groups=(0,)), 1)

    def test_an_io_queue_needs_an_authenticated_controller(self):
        self.connected()
        self.assertEqual(self.initialized().connect(NQN, queue_id=1, controller=1), (CONNECT_INVALID, IN_DATA | 16))

    def test_a_host_that_does_not_authenticate_is_closed(self):
        started = time.monotonic()
        queue = self.connected()
        queue.socket.settimeout(30)
        while time.monotonic() - started < 5:  # whatever it says meanwhile
            self.assertEqual(queue.command(KEEP_ALIVE), (AUTHENTICATION_REQUIRED, 0, b""))
            time.sleep(1)
        self.assertTrue(queue.is_ended())
        self.assertLess(time.monotonic() - started, 15)

    def test_discovery_needs_none(self):
        queue = self.initialized()
        status, result = queue.connect(DISCOVERY_NQN)
        self.assertEqual((status, result & ATR), (0, 0))
        self.assertEqual(queue.enable(), (0, 0))


class BothWays(AuthenticationTestCase):
    both = True

    def test_the_controller_proves_its_secret(self):
        for groups in ((0,), (1,), (5,)):
            with self.subTest(groups), self.connected() as queue:
                AuthenticatingHost(queue, groups=groups, challenge=bytes(range(64))).run()
                self.assertEqual(queue.enable(), (0, 0))

    def test_success_waits_for_the_hosts_word(self):
        with self.connected() as queue:
            host = AuthenticatingHost(queue, groups=(0,), challenge=bytes(range(64)))
            host.send(host.negotiation())
            host.take_challenge()
            host.send(host.reply())
            host.receive()
            self.assertEqual(queue.command(IDENTIFY, cdw10=1, read=4096), (AUTHENTICATION_REQUIRED, 0, b""))
            self.assertEqual(host.send(struct.pack("<BBHHBB8x", 0, 0xF0, 0, 0x1234, 1, 1)), 0)
            self.assertTrue(queue.is_ended())

    def test_a_host_need_not_ask(self):
        with self.authenticated() as queue:
            self.assertEqual(queue.enable(), (0, 0))


class Secrets(AuthenticationTestCase):
    def serve(self):
        self.process = None

    def end(self):
        if self.process is not None:
            super().end()

    def check_refused(self, message, *options, status=1):
        run = self.world.run("serve", "drive", "--port", "0", *options, tool=TOOL, timeout=20)
        self.assertEqual((run.status, run.stdout, run.stderr), (status, "", f"nimbrel-simdrive: {message}\n"))

    def test_files_that_are_none_are_refused_without_their_contents(self):
        good = secret(KEY)
        crc = base64.b64encode(KEY + b"1234").decode()
        form = "The secret is not of the form DHHC-1:hh:BASE64:"
        for text, message in (
                ("", form), ("\n", form), (good[:-2], form), (good + "more\n", form), ("DHHC-2" + good[6:], form),
                ("DHHC-1:01::\n", form), ("DHHC-1:01:?AAA:\n", form), ("DHHC-1:01:====:\n", form),
                (good.replace(":01:", ":04:"), "The secret's hash function is none of 00, 01, 02 and 03."),
                (good.replace(":01:", ":1:"), "The secret's hash function is none of 00, 01, 02 and 03."),
                (f"DHHC-1:01:{crc}:\n", "The secret's checksum is wrong."),
                (secret(KEY[:31]), "The secret has neither 32, 48 nor 64 bytes."),
                (secret(b""), "The secret has neither 32, 48 nor 64 bytes."),
                (secret(bytes(65)), "The secret has neither 32, 48 nor 64 bytes.")):
            with self.subTest(text):
                path = self.secret_file("host", text)
                self.check_refused(f"{path}: {message}", "--dhchap-secret-file", path)

    def test_files_that_others_may_open_are_refused(self):
        for mode in (0o640, 0o604, 0o620):
            path = self.secret_file("host", secret(KEY), mode)
            self.check_refused(f"{path}: can be opened by other users: its mode must be 0600.",
                               "--dhchap-secret-file", path)

    def test_what_is_no_file_is_refused_at_once(self):
        real = self.secret_file("real", secret(KEY))
        for name, make, message in (("missing", None, "No such file or directory."),
                                    ("link", lambda path: os.symlink(real, path), "Too many levels of symbolic links."),
                                    ("pipe", os.mkfifo, "is not a regular file."),
                                    ("folder", os.mkdir, "is not a regular file.")):
            path = str(self.world.cwd / name)
            if make:
                make(path)
            self.check_refused(f"{path}: {message}", "--dhchap-secret-file", path)
        self.check_refused("--dhchap-ctrl-secret-file goes with --dhchap-secret-file.",
                           "--dhchap-ctrl-secret-file", real, status=2)
        self.check_refused(f"{self.world.cwd}/missing: No such file or directory.", "--dhchap-secret-file", real,
                           "--dhchap-ctrl-secret-file", str(self.world.cwd / "missing"))

    @unittest.skipUnless(shutil.which("nvme"), "no nvme-cli")
    def test_what_nvme_cli_makes_is_taken(self):
        """For each length and hash function; nvme-cli's own check of ours is the other way round."""
        for length, transformation in ((32, 0), (32, 1), (48, 2), (64, 3)):
            with self.subTest(length=length):
                made = subprocess.run(["nvme", "gen-dhchap-key", "-l", str(length), "-m", str(transformation), "-n",
                                       HOST_NQN], capture_output=True, check=True, text=True).stdout
                key = base64.b64decode(made.split(":")[2])[:-4]
                self.process = None
                TargetTestCase.serve(self, "--dhchap-secret-file", self.secret_file("host", made),
                                     openness="authentication required: DH-HMAC-CHAP")
                with self.connected() as queue:
                    AuthenticatingHost(queue, transformed(key, HOST_NQN, transformation), groups=(0,)).run()
                kill_group(self.process, signal.SIGTERM)
                check = subprocess.run(["nvme", "check-dhchap-key", "-k", secret(key, transformation).strip()],
                                       capture_output=True, text=True)
                self.assertEqual(check.returncode, 0, check)


if __name__ == "__main__":
    unittest.main()
