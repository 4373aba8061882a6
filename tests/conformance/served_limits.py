"""nimbrel-simdrive serve where descriptors, memory or the disk run out: words, and nothing half written."""

import json
import os
import pathlib
import resource
import signal
import struct
import time
import unittest

import iscsi_target
from iscsi_host import Session, pdu
from nvme_tcp_target import DO_NOT_RETRY, IDENTIFY, READ, TOOL, WRITE, TargetTestCase
from world import World, kill_group, without_coverage, without_emulation, without_sanitizers

DRIVES = "opt/velko/nimbrel/SimulatedDrives"
WRITE_FAULT = DO_NOT_RETRY | 0x280
INTERNAL_ERROR = DO_NOT_RETRY | 0x06
SET_FEATURES, GET_FEATURES = 0x09, 0x0A
TEMPERATURE_THRESHOLD = 4
# Exit status and words: of the program, of the dynamic linker, of the C++ runtime without the memory for an exception.
ENDS = {1: "^nimbrel-simdrive: [A-Za-z0-9]{3}", 127: "[A-Za-z]{3}",
        -signal.SIGABRT: "^terminate called without an active exception$"}
BLOCKS = 256  # of a write here: 128 KiB


class Start(unittest.TestCase):
    """A limit of the whole run."""

    model = "velko"

    def setUp(self):
        self.world = World()
        self.addCleanup(self.world.close)
        made = self.world.run("create", "drive", "--model", self.model, "--size", "64MiB", "--serial", "TGT1",
                              tool=TOOL)
        self.assertEqual((made.status, made.stderr), (0, ""))

    def serve(self, limit):
        """Whether it served; if not, it said why."""
        process = self.world.start("-c", f'{limit}; exec "$0" serve drive --port 0', TOOL, tool="/bin/sh")
        announced = process.stdout.readline() != b""
        if announced:
            os.killpg(process.pid, signal.SIGTERM)
        _, words = process.communicate(timeout=60)
        if announced:
            self.assertEqual(process.returncode, 0, limit)
        else:
            self.assertRegex(words.decode(), ENDS[process.returncode], limit)
        return announced

    def check(self, limits, too_low, enough):
        """Each limit alone: words or a drive that is served, and the drive as it was."""
        before = self.world.run("list", "--json", tool=TOOL)
        self.assertEqual(len(json.loads(before.stdout)), 1)
        folder = self.world.scratch / DRIVES / "drive"
        names = [*os.listdir(folder), "lock", "served"]
        served = []
        for limit in limits:
            served.append(self.serve(limit))
            self.assertEqual(self.world.run("list", "--json", tool=TOOL), before, limit)
            self.assertLessEqual(set(os.listdir(folder)), set(names), limit)
        self.assertEqual((served[0], served[-1]), (too_low, enough))

    @without_sanitizers
    def test_without_descriptors(self):
        self.check([f"ulimit -n {number}" for number in range(4, 33)], False, True)

    @without_sanitizers
    @without_coverage  # the kernel cannot even map that program
    @without_emulation
    def test_without_memory(self):
        self.check([f"ulimit -v {size}" for size in range(10240, 20480, 256)], False, True)

    def test_without_anywhere_to_say_the_port(self):
        with open("/dev/full", "w") as full:
            run = self.world.run("serve", "drive", "--port", "0", tool=TOOL, stdout=full)
        self.assertEqual((run.status, run.stderr), (
            1, "nimbrel-simdrive: Cannot write to standard output: No space left on device.\n"))


class StartOfSata(Start):
    """The same of the iSCSI target."""

    model = "sata"


class FullDisk(TargetTestCase):
    """The drives are on a file system of 2 MiB, half of it taken."""

    SMALL = (f'mount -t tmpfs -o size=2M,mode=700 none /{DRIVES} && head -c 1048576 /dev/zero > /{DRIVES}/ballast && '
             '"$0" create drive --size 64MiB --serial TGT1 > /dev/null && exec "$0" serve drive --port 0')

    def serve(self, *options, openness=None):
        start = self.world.start
        self.world.start = lambda *_, **__: start("-c", self.SMALL, TOOL, tool="/bin/sh")
        super().serve(*options, openness=openness)

    def pattern(self, number):
        return struct.pack("<I", number) * (BLOCKS * 128)

    def write(self, queue, number):
        return queue.command(WRITE, nsid=1, cdw10=number * BLOCKS, cdw12=BLOCKS - 1, write=self.pattern(number))[0]

    def read(self, queue, number):
        return queue.command(READ, nsid=1, cdw10=number * BLOCKS, cdw12=BLOCKS - 1, read=BLOCKS * 512)

    def test_fails_the_writes_and_keeps_what_was_written(self):
        admin, queue = self.admin(), self.io()
        outcomes = [self.write(queue, number) for number in range(16)]
        written = next(number for number, outcome in enumerate(outcomes) if outcome)
        self.assertGreater(written, 4)
        # An internal error where there is no room for the entry in the error log.
        self.assertLessEqual(set(outcomes[written:]), {WRITE_FAULT, INTERNAL_ERROR})
        for number in range(written):
            self.assertEqual(self.read(queue, number), (0, 0, self.pattern(number)))
        # The state finds no room either: a command that changes it fails, and says so on the error stream.
        change = {"cdw10": TEMPERATURE_THRESHOLD, "cdw11": 340}
        self.assertEqual(admin.command(SET_FEATURES, **change)[0], INTERNAL_ERROR)
        self.assertRegex(self.process.stderr.readline().decode(), "^nimbrel-simdrive: .*No space left on device$")
        status, before, _ = admin.command(GET_FEATURES, cdw10=TEMPERATURE_THRESHOLD)
        self.assertEqual((status, before == 340), (0, False))
        inside = pathlib.Path(f"/proc/{self.process.pid}/root/{DRIVES}")
        self.assertEqual([name for name in os.listdir(inside / "drive") if name.startswith(".")], [])
        (inside / "ballast").unlink()
        self.assertEqual(admin.command(SET_FEATURES, **change)[0], 0)
        self.assertEqual(self.write(queue, 15), 0)
        for number in [*range(written), 15]:
            self.assertEqual(self.read(queue, number), (0, 0, self.pattern(number)))


class Memory(TargetTestCase):
    @without_sanitizers
    def test_a_host_that_wants_too_much_loses_its_connection_alone(self):
        admin, modest, greedy = self.admin(), self.io(), self.io(2)
        data = os.urandom(512)
        self.assertEqual(modest.command(WRITE, nsid=1, write=data)[0], 0)
        with open(f"/proc/{self.process.pid}/statm") as file:
            used = int(file.read().split()[0]) * os.sysconf("SC_PAGE_SIZE")
        try:
            resource.prlimit(self.process.pid, resource.RLIMIT_AS, (used + (256 << 10), resource.RLIM_INFINITY))
            greedy.start(WRITE, nsid=1, write=bytes(1 << 20), cdw12=2047)
            self.assertTrue(greedy.is_ended())
            self.assertEqual(self.process.stderr.readline(),
                             b"nimbrel-simdrive: Out of memory: a connection was closed.\n")
        finally:
            resource.prlimit(self.process.pid, resource.RLIMIT_AS, (resource.RLIM_INFINITY,) * 2)
        self.assertEqual(modest.command(READ, nsid=1, read=512), (0, 0, data))
        self.assertEqual(admin.command(IDENTIFY, cdw10=1, read=4096)[:2], (0, 0))


class Iscsi(iscsi_target.TargetTestCase):
    """The iSCSI target, which has served a session already."""

    WRITE_1_MIB = [0x2A, 0, 0, 0, 0, 0, 0, 0x08, 0, 0]

    def limit(self, what, soft):
        resource.prlimit(self.process.pid, what, (soft, resource.prlimit(self.process.pid, what)[1]))
        self.addCleanup(self.lift, what)

    def lift(self, what):
        if self.process.poll() is None:
            hard = resource.prlimit(self.process.pid, what)[1]
            resource.prlimit(self.process.pid, what, (hard, hard))

    def test_without_descriptors_no_further_connection_is_taken_for_now(self):
        session = self.session()
        self.good(session, [0x00])
        descriptors = [int(name) for name in os.listdir(f"/proc/{self.process.pid}/fd")]
        self.limit(resource.RLIMIT_NOFILE, max(descriptors) + 1)
        waiting = Session(self.port)
        self.addCleanup(waiting.close)
        self.assertEqual(self.process.stderr.readline(),
                         b"nimbrel-simdrive: No further connections for now: Too many open files.\n")
        # The drive cannot open its files either, and says so: internal target failure.
        self.assertEqual(self.failed(session, [0x00]), "7204440000000000")
        self.lift(resource.RLIMIT_NOFILE)
        answer = waiting.login(iscsi_target.NAME, isid=b"\x80\0\0\0\0\2")
        self.assertEqual((answer.opcode, answer.number(36, 2)), (iscsi_target.LOGIN_RESPONSE, 0))
        self.good(session, [0x00])

    @without_sanitizers
    def test_a_host_that_wants_too_much_loses_its_connection_alone(self):
        modest, greedy = self.session(), self.session(isid=b"\x80\0\0\0\0\2")
        data = os.urandom(512)
        self.good(modest, [0x2A, 0, 0, 0, 0, 0, 0, 0, 1, 0], data=data)
        with open(f"/proc/{self.process.pid}/statm") as file:
            used = int(file.read().split()[0]) * os.sysconf("SC_PAGE_SIZE")
        self.limit(resource.RLIMIT_AS, used + (256 << 10))
        greedy.send(greedy.command_unit(self.WRITE_1_MIB, 1 << 20, True))
        self.assertTrue(greedy.is_closed())
        self.assertEqual(self.process.stderr.readline(),
                         b"nimbrel-simdrive: Out of memory: a connection was closed.\n")
        self.lift(resource.RLIMIT_AS)
        self.assertEqual(self.good(modest, [0x28, 0, 0, 0, 0, 0, 0, 0, 1, 0], 512), data)

    def test_a_host_that_stalls_is_given_up_and_holds_no_other(self):
        working, silent, halfway, hungry = (
            self.session(), self.connected(), self.session(isid=b"\x80\0\0\0\0\2"),
            self.session(isid=b"\x80\0\0\0\0\3"))
        begin = time.monotonic()
        halfway.send(pdu(iscsi_target.NOP_OUT, tag=7)[:20])
        hungry.send(hungry.command_unit(self.WRITE_1_MIB, 1 << 20, True))  # the data do not come
        for session, seconds in ((silent, 10), (halfway, 30), (hungry, 30)):
            session.socket.settimeout(60)
            while not session.is_closed():
                pass
            self.assertGreater(time.monotonic() - begin, seconds - 1)
            self.assertLess(time.monotonic() - begin, seconds + 20)
            self.good(working, [0x00])


if __name__ == "__main__":
    unittest.main()
