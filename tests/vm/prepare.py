#!/usr/bin/env python3
"""prepare.py FOLDER AGENT [TOOL [LIBRARY]]: makes what machine.py boots: FOLDER/vmlinuz and FOLDER/initramfs.

The kernel is Debian's cloud kernel, downloaded and unpacked into FOLDER, never installed. The initramfs holds
busybox, the agent, the tool with its library, the witnesses, the shared libraries they need, and the kernel modules
that the tests load.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys

KERNEL_PACKAGE = "linux-image-cloud-amd64"
# The console port comes first; the others are loaded by the tests that need them.
BOOT_MODULES = ["virtio_pci", "virtio_console"]
TEST_MODULES = ["raid1", "dm-mod", "loop", "nvme-tcp"]
PROGRAMS = ["nvme", "smartctl", "mdadm", "dmsetup", "strace"]
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
for module in {modules}; do insmod /lib/modules/$module.ko || echo "module $module failed"; done
for port in 0 1; do
    (until [ -e /dev/vport*p$((port + 1)) ]; do sleep 0.05; done; exec /bin/agent /dev/vport*p$((port + 1))) &
done
wait
"""


def output(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, **options).stdout


def fetch_kernel(folder):
    """Downloads and unpacks the newest kernel that the package lists know; keeps it for the next time."""
    unpacked = folder / "kernel"
    if (unpacked / "complete").exists():
        return unpacked
    shutil.rmtree(unpacked, ignore_errors=True)
    unpacked.mkdir(parents=True)
    depends = output("apt-cache", "depends", KERNEL_PACKAGE).decode()
    if "Depends:" not in depends:
        raise SystemExit(f"prepare: the package lists do not know {KERNEL_PACKAGE}: run scripts/setup")
    package = re.search(r"Depends: (linux-image-\S+)", depends).group(1)
    subprocess.run(["apt-get", "download", "-q", package], check=True, cwd=unpacked, stderr=subprocess.DEVNULL,
                   stdout=subprocess.DEVNULL)
    (archive,) = unpacked.glob("*.deb")
    subprocess.run(["dpkg-deb", "-x", archive, unpacked], check=True)
    archive.unlink()
    (unpacked / "complete").touch()
    return unpacked


def module_order(modules, names):
    """The modules and what they depend on, in an order in which insmod takes them."""
    order = []

    def add(name):
        path = modules[name.replace("-", "_")]
        depends = re.search(rb"\0depends=([^\0]*)", path.read_bytes()).group(1).decode()
        for other in filter(None, depends.split(",")):
            add(other)
        if path not in order:
            order.append(path)

    for name in names:
        add(name)
    return order


def libraries(program):
    """The shared libraries a program loads, the dynamic linker included."""
    text = subprocess.run(["ldd", program], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout.decode()
    return re.findall(r"(/\S+) \(0x", text)


def install(root, source, target):
    place = root / str(target).lstrip("/")
    place.parent.mkdir(parents=True, exist_ok=True)
    shutil.copy(source, place)
    for library in libraries(source):
        if not (root / library.lstrip("/")).exists():
            install(root, library, library)


def main():
    folder, agent, *product = [pathlib.Path(argument).resolve() for argument in sys.argv[1:]]
    folder.mkdir(parents=True, exist_ok=True)
    kernel = fetch_kernel(folder)
    shutil.copy(next((kernel / "boot").glob("vmlinuz-*")), folder / "vmlinuz")

    root = folder / "root"
    shutil.rmtree(root, ignore_errors=True)
    (root / "opt/velko/nimbrel").mkdir(parents=True)
    install(root, "/bin/busybox", "/bin/busybox")
    install(root, agent, "/bin/agent")
    for name in PROGRAMS:
        found = shutil.which(name, path="/usr/sbin:/usr/bin:/sbin:/bin")
        if not found:
            raise SystemExit(f"prepare: {name} is missing: run scripts/setup")
        install(root, found, f"/usr/bin/{name}")
    for path in product:
        install(root, path, f"/opt/velko/nimbrel/{path.name}")
    if product:
        (root / "usr/local/bin").mkdir(parents=True)
        (root / "usr/local/bin/nimbrel").symlink_to("/opt/velko/nimbrel/nimbrel")

    modules = {path.stem.replace("-", "_"): path for path in (kernel / "lib/modules").rglob("*.ko")}
    (root / "lib/modules").mkdir(parents=True, exist_ok=True)
    boot = module_order(modules, BOOT_MODULES)
    for path in boot + module_order(modules, TEST_MODULES):
        shutil.copy(path, root / "lib/modules" / path.name)
    tests = [path.stem for path in module_order(modules, TEST_MODULES)]
    (root / "lib/modules/order").write_text("\n".join(tests) + "\n")
    init = root / "init"
    init.write_text(INIT.format(modules=" ".join(path.stem for path in boot)))
    init.chmod(0o755)

    names = subprocess.run(["find", ".", "-print0"], check=True, stdout=subprocess.PIPE, cwd=root).stdout
    archive = output("cpio", "--null", "--create", "--format=newc", "--owner=0:0", "--quiet", input=names, cwd=root)
    packed = output("zstd", "-3", "-q", "-c", input=archive)
    (folder / "initramfs.new").write_bytes(packed)
    os.replace(folder / "initramfs.new", folder / "initramfs")


if __name__ == "__main__":
    main()
