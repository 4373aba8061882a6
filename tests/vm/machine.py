"""A small Linux with emulated NVMe and SATA drives, for tests that need a real kernel driver.

Machine boots a Debian kernel in QEMU (software emulation, no KVM needed) with an initramfs of busybox, the tool,
its library and the witnesses nvme-cli and smartctl. It comes up in about three seconds; then commands run in it one
by one, or side by side on its second port:

    drives = [Controller("S1", [Namespace(size_mib=64)]), Controller("S2", [])]
    with Machine(drives) as machine:
        run = machine.run("nimbrel", "show", "-velkossd")
        machine.qmp("device_del", id="S1")

All that a machine needs is prepared once per build tree by prepare.py.

With NIMBREL_VM_COVERAGE in the environment, programs that are instrumented for coverage leave their counters in a
folder for each machine below the one that it names (see scripts/coverage).
"""

import dataclasses
import json
import os
import pathlib
import re
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import time

WORK = pathlib.Path(os.environ.get("NIMBREL_VM_DIR", "build/vm"))
COVERAGE = os.environ.get("NIMBREL_VM_COVERAGE")
COUNTERS = "/coverage"  # in the guest
# The kernel hands what it does not know to the first program as its environment.
COVERAGE_OPTION = f"GCOV_PREFIX={COUNTERS}" if COVERAGE else ""
BOOT_SECONDS = 120
RUN_SECONDS = 120


@dataclasses.dataclass
class Run:
    """The outcome of one command in the guest."""

    status: int
    stdout: str
    stderr: str
    stdout_bytes: bytes = b""

    def json(self):
        return json.loads(self.stdout)


@dataclasses.dataclass
class Namespace:
    """A namespace with a sparse image for its media. metadata: bytes a block; detached: not attached to the controller;
    options: further nvme-ns options; media: further -drive options, such as "throttling.bps-write=65536", with
    {image} and {folder} for the image's path and the folder of the machine."""

    size_mib: int = 64
    block: int = 512
    metadata: int = 0
    nsid: int = 0
    detached: bool = False
    shared: bool = False
    options: str = ""
    media: str = ""


@dataclasses.dataclass
class Disk:
    """A disk that is no NVMe drive, with a sparse image for its media. device: QEMU's, with the bus it is on; its model
    number and what else it has are options. rotation: 1 for an SSD, revolutions a minute of another, 0: not
    reported."""

    serial: str
    size_mib: int = 64
    device: str = "ide-hd"
    rotation: int = 1
    options: str = ""


@dataclasses.dataclass
class Controller:
    """An NVMe controller. Controllers of one subsystem have one serial number and a name each, and share the
    namespaces that are marked so; options: further nvme options, such as "mdts=5"."""

    serial: str
    namespaces: list = dataclasses.field(default_factory=list)
    name: str = ""
    options: str = ""

    def __post_init__(self):
        self.name = self.name or self.serial


def connection(path, patience=30):
    """To a socket of QEMU's, whose name is there a moment before it listens."""
    deadline = time.monotonic() + patience
    while True:
        channel = socket.socket(socket.AF_UNIX)
        try:
            channel.connect(str(path))
            return channel
        except ConnectionRefusedError:
            channel.close()
            if time.monotonic() > deadline:
                raise
            time.sleep(0.05)


class Port:
    """One channel to an agent in the guest: a request, then its answer."""

    def __init__(self, path):
        self.socket = connection(path)

    def send(self, arguments, stdin):
        message = struct.pack("<I", len(arguments))
        for argument in arguments:
            data = argument if isinstance(argument, bytes) else str(argument).encode()
            message += struct.pack("<I", len(data)) + data
        self.socket.sendall(message + struct.pack("<I", len(stdin)) + stdin)

    def receive(self, timeout):
        self.socket.settimeout(timeout)
        (status,) = struct.unpack("<I", self._exactly(4))
        out, err = (self._exactly(struct.unpack("<I", self._exactly(4))[0]) for _ in range(2))
        return Run(status, out.decode("utf-8", "surrogateescape"), err.decode("utf-8", "surrogateescape"), out)

    def _exactly(self, size):
        pieces = []
        while size:
            piece = self.socket.recv(min(size, 1 << 20))
            if not piece:
                raise ConnectionError("the machine is gone")
            pieces.append(piece)
            size -= len(piece)
        return b"".join(pieces)


class Machine:
    def __init__(self, controllers, memory_mib=512, kernel_options="", extra=(), disks=(), kernel="cloud"):
        """extra: further options of QEMU, such as the controllers of the disks; kernel: a name of prepare.KERNELS."""
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="nimbrel-vm-"))
        self.controllers = controllers
        self.command = self._command(memory_mib, kernel_options, kernel) + list(extra)
        for disk in disks:
            self.command += self._disk(disk)
        self.process = None
        self.ports = []
        self.monitor = None
        self.traced = 0

    def __enter__(self):
        try:
            self.start()
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *_):
        self.stop()

    def start(self):
        self.process = subprocess.Popen(self.command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT)
        for name in ("port0", "port1", "qmp"):
            self._await(self.folder / name)
        self.ports = [Port(self.folder / "port0"), Port(self.folder / "port1")]
        self.monitor = connection(self.folder / "qmp")
        self.monitor_lines = self.monitor.makefile("r")
        try:
            self.monitor_lines.readline()
            self.qmp("qmp_capabilities")
            self.run("true", timeout=BOOT_SECONDS)
            self.run("true", port=1, timeout=BOOT_SECONDS)
            self.await_drives()
        except (TimeoutError, ConnectionError) as error:
            self.process.kill()
            said = self.process.stdout.read().decode() + self.console()
            raise RuntimeError("the machine did not come up:\n" + said) from error

    def await_drives(self):
        """The driver looks for namespaces after it has let the system go on: returns when all of them are there."""
        attached = [(c, n) for c in self.controllers for n in c.namespaces if not n.detached]
        paths = sum(sum(other.serial == c.serial for other in self.controllers) if n.shared else 1 for c, n in attached)
        look = ("cd /sys/class; set -- $(cat nvme/*/state | grep -c live) $(ls -d nvme/*/nvme*n*/nsid | wc -l) "
                "$(ls block | grep -c '^nvme[0-9]*n[0-9]*$'); echo $*")
        expected = f"{len(self.controllers)} {paths} {len(attached)}"
        deadline = time.monotonic() + BOOT_SECONDS
        while (found := self.shell(look).stdout.strip()) != expected:
            if time.monotonic() > deadline:
                raise RuntimeError(f"controllers, paths and namespaces: {found} instead of {expected}")
            time.sleep(0.1)

    def _collect_counters(self):
        """A machine that a test has left in the middle of a command, or stopped, keeps its counters."""
        try:
            counters = self.shell(f"[ ! -d {COUNTERS} ] || tar -C {COUNTERS} -cf - .", timeout=30).stdout_bytes
        except OSError as error:
            print(f"a machine's coverage is lost: {error}", file=sys.stderr)
            return
        if counters:
            folder = tempfile.mkdtemp(prefix="machine-", dir=COVERAGE)
            subprocess.run(["tar", "-C", folder, "-xf", "-"], input=counters, check=True)

    def stop(self):
        if COVERAGE and self.ports:
            self._collect_counters()
        for port in self.ports:
            port.socket.close()
        if self.monitor:
            self.monitor_lines.close()
            self.monitor.close()
        if self.process:
            self.process.kill()
            self.process.wait()
            self.process.stdout.close()
        shutil.rmtree(self.folder, ignore_errors=True)

    def run(self, *arguments, stdin=b"", port=0, timeout=RUN_SECONDS):
        """Runs a command in the guest to its end."""
        self.ports[port].send(arguments, stdin)
        return self.ports[port].receive(timeout)

    def begin(self, *arguments, stdin=b""):
        """Begins a command on the second port; finish() brings its outcome."""
        self.ports[1].send(arguments, stdin)

    def finish(self, timeout=RUN_SECONDS):
        return self.ports[1].receive(timeout)

    def shell(self, script, **options):
        return self.run("sh", "-c", script, **options)

    def write(self, path, data):
        run = self.run("sh", "-c", 'cat > "$1"', "sh", path, stdin=data)
        if run.status != 0:
            raise OSError(run.stderr)

    def read(self, path):
        run = self.run("cat", path)
        if run.status != 0:
            raise OSError(run.stderr)
        return run.stdout_bytes

    def qmp(self, command, **arguments):
        """One command to QEMU itself; events are passed over."""
        self.monitor.sendall((json.dumps({"execute": command, "arguments": arguments}) + "\n").encode())
        while True:
            answer = json.loads(self.monitor_lines.readline())
            if "error" in answer:
                raise RuntimeError(answer["error"]["desc"])
            if "return" in answer:
                return answer["return"]

    def nvme_commands(self):
        """The names of the NVMe commands that reached the emulated controllers since the last call, in their order,
        from every sender: "NVME_ADM_CMD_IDENTIFY", "NVME_NVME_CMD_READ"."""
        return re.findall(r"opname '(\w+)'", self._trace())

    def ata_commands(self):
        """The opcodes of the ATA commands that reached the emulated disks since the last call, in their order, from
        every sender. The event has another name in QEMU 10."""
        return [int(code, 16) for code in re.findall(r"ide_(?:bus_)?exec_cmd .* cmd 0x([0-9a-f]+)", self._trace())]

    def failed_nvme_commands(self):
        """The status fields of the commands that the controllers refused since the last call, from every sender."""
        return re.findall(r"pci_nvme_err_req_status .* status (0x[0-9a-f]+)", self._trace())

    def _trace(self):
        """What QEMU traced since the last call."""
        with open(self.folder / "trace") as file:
            file.seek(self.traced)
            text = file.read()
        self.traced += len(text)
        return text

    def console(self):
        try:
            return (self.folder / "console").read_text(errors="replace")
        except FileNotFoundError:
            return ""

    def image(self, controller, nsid=1):
        """The file that holds a namespace, to look at what is on the media."""
        return self.folder / f"{controller}-{nsid}.img"

    def _await(self, path):
        deadline = time.monotonic() + 30
        while not path.exists():
            if self.process.poll() is not None:
                raise RuntimeError("QEMU ended: " + self.process.stdout.read().decode())
            if time.monotonic() > deadline:
                raise RuntimeError(f"QEMU did not make {path}")
            time.sleep(0.01)

    def _command(self, memory_mib, kernel_options, kernel):
        command = ["qemu-system-x86_64", "-accel", "tcg", "-cpu", "max", "-m", str(memory_mib), "-display", "none",
                   "-no-reboot", "-nic", "none", "-monitor", "none",
                   "-serial", f"file:{self.folder}/console",
                   "-qmp", f"unix:{self.folder}/qmp,server=on,wait=off",
                   "-trace", "pci_nvme_admin_cmd", "-trace", "pci_nvme_io_cmd",
                   "-trace", "pci_nvme_err_req_status", "-trace", "ide_*exec_cmd", "-D", f"{self.folder}/trace",
                   "-kernel", str(WORK / f"vmlinuz-{kernel}"), "-initrd", str(WORK / f"initramfs-{kernel}"),
                   # The kernel's check of its timer fails where the host gives the machine little time.
                   "-append", f"console=ttyS0 quiet panic=-1 no_timer_check {kernel_options} {COVERAGE_OPTION}".strip(),
                   "-device", "virtio-serial-pci"]
        for port in (0, 1):
            command += ["-chardev", f"socket,id=port{port},path={self.folder}/port{port},server=on,wait=off",
                        "-device", f"virtserialport,chardev=port{port},name=agent{port}"]
        subsystems = set()
        for number, controller in enumerate(self.controllers):
            if controller.serial not in subsystems:
                subsystems.add(controller.serial)
                command += ["-device", f"nvme-subsys,id=subsys-{controller.serial},nqn={controller.serial}"]
            # Eight functions a slot: a bus has only some thirty slots.
            address = f"multifunction=on,addr={8 + number // 8:02x}.{number % 8}"
            command += ["-device", ",".join(filter(None, [
                "nvme", f"id={controller.name}", f"serial={controller.serial}", f"subsys=subsys-{controller.serial}",
                address if len(self.controllers) > 16 else "", controller.options]))]
            for position, namespace in enumerate(controller.namespaces, 1):
                command += self._namespace(controller, namespace, namespace.nsid or position)
        return command

    @staticmethod
    def _make_image(image, size_mib):
        with open(image, "wb") as file:
            file.truncate(size_mib << 20)

    def _disk(self, disk):
        image = self.image(disk.serial)
        self._make_image(image, disk.size_mib)
        options = [f"drive={disk.serial}", f"serial={disk.serial}", disk.options]
        if disk.rotation:
            options.append(f"rotation_rate={disk.rotation}")
        return ["-drive", f"file={image},if=none,id={disk.serial},format=raw,discard=unmap",
                "-device", ",".join(filter(None, [disk.device, *options]))]

    def _namespace(self, controller, namespace, nsid):
        image = self.image(controller.name, nsid)
        self._make_image(image, namespace.size_mib)
        name = f"{controller.name}-{nsid}"
        options = [f"drive={name}", f"bus={controller.name}", f"nsid={nsid}",
                   f"logical_block_size={namespace.block},physical_block_size={namespace.block}",
                   f"ms={namespace.metadata}" if namespace.metadata else "",
                   "detached=on" if namespace.detached else "",
                   f"shared={'on' if namespace.shared else 'off'}", namespace.options]
        media = ["file=" + str(image), "if=none", f"id={name}", "format=raw", "discard=unmap",
                 namespace.media.format(image=image, folder=self.folder)]
        return ["-drive", ",".join(filter(None, media)),
                "-device", ",".join(filter(None, ["nvme-ns"] + options))]
