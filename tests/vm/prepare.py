#!/usr/bin/env python3
"""prepare.py FOLDER AGENT [TOOL [LIBRARY]]: makes what machine.py boots: FOLDER/vmlinuz-KERNEL and
FOLDER/initramfs-KERNEL.

The kernels are Debian's, downloaded and unpacked into FOLDER once, never installed: those of this system, or of the
suite that NIMBREL_VM_SUITE names ("bullseye", "trixie"), from the archive that NIMBREL_MIRROR names. The initramfs
holds busybox, the agent, the tool with its library, the witnesses, the shared libraries they need, and the kernel
modules that the tests load.
"""

import lzma
import os
import pathlib
import re
import shutil
import subprocess
import sys

SUITE = os.environ.get("NIMBREL_VM_SUITE", "")
MIRROR = os.environ.get("NIMBREL_MIRROR", "http://deb.debian.org/debian")
# The one for virtual machines boots faster; the other has the drivers of real controllers.
KERNELS = {"cloud": "linux-image-cloud-amd64", "full": "linux-image-amd64"}
# The console port comes first; the others are loaded by the tests that need them.
BOOT_MODULES = ["virtio_pci", "virtio_console"]
# Lists of modules by name: a test loads those of /lib/modules/NAME. A target that is loaded changes what the tool does,
# so it is a list of its own.
TEST_MODULES = {"order": ["raid1", "dm-mod", "loop", "nvme-tcp"], "btrfs": ["btrfs"],
                "targets": ["nvmet", "target_core_iblock", "target_core_file"],
                "nvmet": ["nvmet-tcp", "nvme-tcp"],
                "sata": ["ata_piix", "sd-mod", "sg"], "iscsi": ["iscsi_tcp", "sd-mod", "sg"]}
# Those that the full kernel alone has, or does not have built in.
FULL_MODULES = {"controllers": ["ahci", "ata_piix", "megaraid_sas", "xhci-pci", "usb-storage", "virtio_scsi", "sd-mod",
                                "sg", "crc32c_generic", "ext4"]}
BUILDERS = ["qemu-system-x86_64", "busybox", "cpio", "zstd", "mke2fs"]
PROFILE = "/etc/nimbrel.apparmor"
PROGRAMS = ["nvme", "smartctl", "mdadm", "dmsetup", "strace", "script", "mkfs.btrfs", "hdparm",
            "sg_raw", "sg_inq", "sg_sat_identify",
            "setpriv", "iscsistart"]
INIT = """#!/bin/busybox sh
/bin/busybox --install -s /bin
export PATH=/bin:/usr/bin:/usr/local/bin HOME=/root
mkdir -p /proc /sys /dev /tmp /run /root /var/log /var/lib /etc /mnt
mount -t proc proc /proc
mount -t sysfs sysfs /sys
mount -t devtmpfs dev /dev
mkdir -p /dev/pts /dev/shm
mount -t devpts pts /dev/pts
ln -sf /proc/mounts /etc/mtab
for module in $(cat /lib/modules/boot); do insmod /lib/modules/$module.ko || echo "module $module failed"; done
# The kernel probes controllers side by side; the tests count on numbers in the order of the slots.
in_order() {
    number=0
    for slot; do
        [ -e $slot/nvme/nvme$number ] || return 1
        number=$((number + 1))
    done
}
if cd /sys/bus/pci/drivers/nvme 2>/dev/null; then
    slots=$(ls -d 0000:* 2>/dev/null)
    if ! in_order $slots; then
        for slot in $slots; do echo $slot > unbind; done
        for slot in $slots; do echo $slot > bind; done
    fi
    cd /
fi
for port in 1 2; do
    # A port whose node is there may not be ready yet.
    (until [ -e /dev/vport*p$port ] && /bin/agent /dev/vport*p$port; do sleep 0.05; done) &
done
wait
"""


def output(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, **options).stdout


def private_lists(folder):
    """Options by which apt works on package lists below `folder`, those of SUITE or of the system's sources: the system's
    own stay as they are, and no one has to be root."""
    (folder / "lists/partial").mkdir(parents=True, exist_ok=True)
    (folder / "cache/archives/partial").mkdir(parents=True, exist_ok=True)
    options = ["-o", f"Dir::State::Lists={folder}/lists", "-o", f"Dir::Cache={folder}/cache",
               "-o", "Dir::State::Status=/var/lib/dpkg/status"]
    if SUITE:
        (folder / "sources.list").write_text(f"deb {MIRROR} {SUITE} main\n")
        options += ["-o", f"Dir::Etc::SourceList={folder}/sources.list", "-o", "Dir::Etc::SourceParts=/dev/null"]
    return options


def download_kernel(folder, name, options):
    """Downloads the newest kernel that the package lists know into `folder`; returns its path, or None and why."""
    depends = subprocess.run(["apt-cache", *options, "depends", name], stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT).stdout.decode()
    package = re.search(r"Depends: (linux-image-\S+)", depends)
    if not package:
        return None, f"the package lists do not know {name}: {depends.strip()}"
    # The folder need not be open to apt's own user.
    done = subprocess.run(["apt-get", *options, "-o", "APT::Sandbox::User=root", "download", "-q", package.group(1)],
                          cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return next(folder.glob("*.deb"), None) if done.returncode == 0 else None, done.stdout.decode().strip()


def fetch_kernel(folder, kernel):
    """Downloads and unpacks a kernel, and keeps it for the next time. Package lists that are missing, or so old that
    their kernel is no longer there, are fetched again, for this alone."""
    unpacked = folder / "-".join(filter(None, ("kernel", kernel, SUITE)))
    if (unpacked / "complete").exists():
        return unpacked
    shutil.rmtree(unpacked, ignore_errors=True)
    unpacked.mkdir(parents=True)
    archive, reason = (None, "") if SUITE else download_kernel(unpacked, KERNELS[kernel], [])
    if not archive:
        options = private_lists(folder / "apt")
        subprocess.run(["apt-get", *options, "-o", "APT::Sandbox::User=root", "-q", "update"],
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        archive, reason = download_kernel(unpacked, KERNELS[kernel], options)
        shutil.rmtree(folder / "apt", ignore_errors=True)
    if not archive:
        raise SystemExit(f"prepare: no kernel to boot: {reason}\nprepare: it comes from Debian's archive: check "
                         "/etc/apt/sources.list and the network, then run apt-get update")
    subprocess.run(["dpkg-deb", "-x", archive, unpacked], check=True)
    archive.unlink()
    (unpacked / "complete").touch()
    return unpacked


def module_name(path):
    return path.name.partition(".ko")[0]


def read_module(path):
    """Debian 13 compresses its modules."""
    data = path.read_bytes()
    return lzma.decompress(data) if path.suffix == ".xz" else data


def built_in(kernel):
    """The names of the modules that the kernel itself holds."""
    lists = [path.read_text() for path in kernel.rglob("modules.builtin")]
    return {module_name(pathlib.Path(line)).replace("-", "_") for line in "".join(lists).splitlines()}


def module_order(modules, present, names):
    """The modules and what they depend on, without those that are present, in an order in which insmod takes them."""
    order = []

    def add(name):
        name = name.replace("-", "_")
        if name in present:
            return
        path = modules[name]
        depends = re.search(rb"\0depends=([^\0]*)", read_module(path)).group(1).decode()
        for other in filter(None, depends.split(",")):
            add(other)
        if path not in order:
            order.append(path)

    for name in names:
        add(name)
    return order


def program(name):
    found = shutil.which(name, path="/usr/sbin:/usr/bin:/sbin:/bin")
    if not found:
        raise SystemExit(f"prepare: {name} is missing: run scripts/setup")
    return found


def libraries(path):
    """The shared libraries a program loads, the dynamic linker included."""
    text = subprocess.run(["ldd", path], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout.decode()
    return re.findall(r"(/\S+) \(0x", text)


def install(root, source, target):
    place = root / str(target).lstrip("/")
    place.parent.mkdir(parents=True, exist_ok=True)
    shutil.copy(source, place)
    for library in libraries(source):
        if not (root / library.lstrip("/")).exists():
            install(root, library, library)


def install_loaded(root, name, user):
    """A library that the product loads by itself; `user` is a program that is linked with it."""
    path = next(path for path in libraries(user) if os.path.basename(path) == name)
    install(root, path, path)


def confinement(root):
    """The AppArmor profile in the form that the kernel takes, made for the features of Debian's kernels."""
    (root / "etc").mkdir(exist_ok=True)
    (root / PROFILE.lstrip("/")).write_bytes(output(
        program("apparmor_parser"), "--skip-kernel-load", "--skip-cache", "--stdout", "--features-file",
        "/usr/share/apparmor-features/features",
        pathlib.Path(__file__).resolve().parents[2] / "packaging/apparmor/opt.velko.nimbrel.nimbrel"))


def install_modules(place, kernel, lists):
    """Copies the modules of the lists with what they depend on, and writes each list: the names in the order in which
    insmod takes them."""
    modules = {module_name(path).replace("-", "_"): path for path in kernel.rglob("*.ko*")}
    place.mkdir(parents=True)
    for name, names in {"boot": BOOT_MODULES, **lists}.items():
        order = module_order(modules, built_in(kernel), names)
        for path in order:
            (place / f"{module_name(path)}.ko").write_bytes(read_module(path))
        (place / name).write_text("".join(module_name(path) + "\n" for path in order))


def archive(root):
    """The files below a folder, as a part of an initramfs."""
    names = subprocess.run(["find", ".", "-print0"], check=True, stdout=subprocess.PIPE, cwd=root).stdout
    packed = output("cpio", "--null", "--create", "--format=newc", "--owner=0:0", "--quiet", input=names, cwd=root)
    return output("zstd", "-3", "-q", "-c", input=packed)


def main():
    folder, agent, *product = [pathlib.Path(argument).resolve() for argument in sys.argv[1:]]
    folder.mkdir(parents=True, exist_ok=True)
    for name in BUILDERS:
        program(name)
    root = folder / "root"
    shutil.rmtree(root, ignore_errors=True)
    (root / "opt/velko/nimbrel").mkdir(parents=True)
    install(root, "/bin/busybox", "/bin/busybox")
    install(root, agent, "/bin/agent")
    for name in PROGRAMS:
        install(root, program(name), f"/usr/bin/{name}")
    if product:
        install_loaded(root, "libblkid.so.1", program("mkfs.btrfs"))
    for path in product:
        install(root, path, f"/opt/velko/nimbrel/{path.name}")
    if product:
        (root / "usr/local/bin").mkdir(parents=True)
        (root / "usr/local/bin/nimbrel").symlink_to("/opt/velko/nimbrel/nimbrel")
        confinement(root)

    init = root / "init"
    init.write_text(INIT)
    init.chmod(0o755)
    programs = archive(root)
    for kernel, lists in (("cloud", TEST_MODULES), ("full", {**TEST_MODULES, **FULL_MODULES})):
        unpacked = fetch_kernel(folder, kernel)
        shutil.copy(next((unpacked / "boot").glob("vmlinuz-*")), folder / f"vmlinuz-{kernel}")
        shutil.rmtree(folder / "modules", ignore_errors=True)
        install_modules(folder / "modules/lib/modules", unpacked, lists)
        # The kernel unpacks one archive after the other.
        (folder / "initramfs.new").write_bytes(programs + archive(folder / "modules"))
        os.replace(folder / "initramfs.new", folder / f"initramfs-{kernel}")



if __name__ == "__main__":
    main()
