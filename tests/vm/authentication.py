"""The kernel's NVMe/TCP host authenticates with a simulated drive on the network (DH-HMAC-CHAP), and refuses and is
refused where a secret is wrong. The host is the kernel's alone; nvme-cli makes the secrets."""

import contextlib
import unittest

from simulated_drive import ADDRESS, NQN, SERIAL, SimulatedDriveTestCase

HOST = "/tmp/host.secret"
CONTROLLER = "/tmp/controller.secret"
OTHER = "/tmp/other.secret"
STRONGEST = "hash hmac(sha512) dhgroup ffdhe8192"


class KernelsHost(SimulatedDriveTestCase):
    MODEL = "velko"

    @classmethod
    def serve(cls):
        cls.prepare_host()
        cls.must("echo 11111111-2222-3333-4444-555555555555 > /etc/nvme/hostid")
        # The names of the options are there without what they ask for.
        if cls.machine.shell("grep -q ' nvme_auth_generate_key' /proc/kallsyms").status != 0:
            cls.machine.stop()
            raise unittest.SkipTest("a kernel without in-band authentication")
        cls.must(f"nimbrel-simdrive create drive --model {cls.MODEL} --size 64Mi --serial {SERIAL}")
        for path in (HOST, CONTROLLER, OTHER):
            cls.make_secret(path, 1)

    @classmethod
    def make_secret(cls, path, transformation):
        cls.must(f"umask 077; nvme gen-dhchap-key --hmac {transformation} --nqn $(cat /etc/nvme/hostnqn) > {path}")

    @contextlib.contextmanager
    def served(self, *options):
        self.must("dmesg -c > /dev/null")
        self.put_on_the_network(" ".join(("drive", f"--dhchap-secret-file {HOST}", *options)))
        try:
            self.assertIn("authentication required: DH-HMAC-CHAP\n", self.must("cat /tmp/serve"))
            yield
        finally:
            self.must("killall nimbrel-simdrive; while pidof nimbrel-simdrive; do sleep 0.1; done")

    def connects(self, options):
        """The drive is there and keeps a block: the target takes no command on a queue that has not authenticated."""
        self.connect(options)
        try:
            self.assertEqual(self.must("nvme id-ctrl /dev/nvme0 | grep ^sn").split(), ["sn", ":", SERIAL])
            self.must("dd if=/dev/urandom of=/tmp/block bs=4096 count=1; dd if=/tmp/block of=/dev/nvme0n1 bs=4096 "
                      "oflag=direct conv=notrunc; dd if=/dev/nvme0n1 bs=4096 count=1 iflag=direct | cmp - /tmp/block")
        finally:
            self.disconnect()
        log = self.must("dmesg -c")
        self.assertIn(f"qid 0: authenticated with {STRONGEST}", log)
        return log

    def fails(self, options):
        """What the kernel says about it."""
        run = self.machine.shell(f"nvme connect {ADDRESS} -n {NQN} {options}")
        self.assertNotEqual(run.status, 0)
        self.assertEqual(self.must("ls /sys/class/nvme"), "")
        return self.must("dmesg -c")

    def test_with_each_form_of_a_secret(self):
        for transformation in range(4):
            self.make_secret(HOST, transformation)
            with self.subTest(transformation=transformation), self.served():
                self.connects(f'--dhchap-secret "$(cat {HOST})"')

    def test_both_prove_themselves(self):
        secrets = f'--dhchap-secret "$(cat {HOST})" --dhchap-ctrl-secret'
        with self.served(f"--dhchap-ctrl-secret-file {CONTROLLER}"):
            self.assertIn("qid 0: controller authenticated", self.connects(f'{secrets} "$(cat {CONTROLLER})"'))
            self.assertIn("controller authentication failed", self.fails(f'{secrets} "$(cat {OTHER})"'))

    def test_a_host_without_the_secret_is_refused(self):
        with self.served():
            self.assertIn("qid 0: authentication failed", self.fails(f'--dhchap-secret "$(cat {OTHER})"'))
            self.assertIn("qid 0: authentication", self.fails(""))
            self.connects(f'--dhchap-secret "$(cat {HOST})"')


if __name__ == "__main__":
    unittest.main()
