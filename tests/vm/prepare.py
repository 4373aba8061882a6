#!/usr/bin/env python3
"""prepare.py FOLDER AGENT [TOOL [LIBRARY]]: makes what machine.py boots: FOLDER/vmlinuz and FOLDER/initramfs.

The kernel is Debian's cloud kernel, downloaded and unpacked into FOLDER once, never installed. The initramfs holds
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
# Lists of modules by name: a test loads those of /lib/modules/NAME. A target that is loaded changes what the tool does,
# so it is a list of its own.
TEST_MODULES = {"order": ["raid1", "dm-mod", "loop", "nvme-tcp"], "btrfs": ["btrfs"],
                "targets": ["nvmet", "target_core_iblock", "target_core_file"]}
BUILDERS = ["qemu-system-x86_64", "busybox", "cpio", "zstd", "mke2fs"]
PROFILE = "/etc/nimbrel.apparmor"
PROGRAMS = ["nvme", "smartctl", "mdadm", "dmsetup", "strace", "script", "mkfs.btrfs"]
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


def private_lists(folder):
    """Options by which apt works on package lists below `folder`: the system's own stay as they are, and no one has to
    be root."""
    (folder / "lists/partial").mkdir(parents=True, exist_ok=True)
    (folder / "cache/archives/partial").mkdir(parents=True, exist_ok=True)
    return ["-o", f"Dir::State::Lists={folder}/lists", "-o", f"Dir::Cache={folder}/cache",
            "-o", "Dir::State::Status=/var/lib/dpkg/status"]


def download_kernel(folder, options):
    """Downloads the newest kernel that the package lists know into `folder`; returns its path, or None and why."""
    depends = subprocess.run(["apt-cache", *options, "depends", KERNEL_PACKAGE], stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT).stdout.decode()
    package = re.search(r"Depends: (linux-image-\S+)", depends)
    if not package:
        return None, f"the package lists do not know {KERNEL_PACKAGE}: {depends.strip()}"
    # The folder need not be open to apt's own user.
    done = subprocess.run(["apt-get", *options, "-o", "APT::Sandbox::User=root", "download", "-q", package.group(1)],
                          cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return next(folder.glob("*.deb"), None) if done.returncode == 0 else None, done.stdout.decode().strip()


def fetch_kernel(folder):
    """Downloads and unpacks a kernel, and keeps it for the next time. Package lists that are missing, or so old that
    their kernel is no longer there, are fetched again, for this alone."""
    unpacked = folder / "kernel"
    if (unpacked / "complete").exists():
        return unpacked
    shutil.rmtree(unpacked, ignore_errors=True)
    unpacked.mkdir(parents=True)
    archive, reason = download_kernel(unpacked, [])
    if not archive:
        options = private_lists(folder / "apt")
        subprocess.run(["apt-get", *options, "-o", "APT::Sandbox::User=root", "-q", "update"],
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        archive, reason = download_kernel(unpacked, options)
        shutil.rmtree(folder / "apt", ignore_errors=True)
    if not archive:
        raise SystemExit(f"prepare: no kernel to boot: {reason}\nprepare: it comes from Debian's archive: check "
                         "/etc/apt/sources.list and the network, then run apt-get update")
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


def main():
    folder, agent, *product = [pathlib.Path(argument).resolve() for argument in sys.argv[1:]]
    folder.mkdir(parents=True, exist_ok=True)
    for name in BUILDERS:
        program(name)
    kernel = fetch_kernel(folder)
    shutil.copy(next((kernel / "boot").glob("vmlinuz-*")), folder / "vmlinuz")

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

    modules = {path.stem.replace("-", "_"): path for path in (kernel / "lib/modules").rglob("*.ko")}
    (root / "lib/modules").mkdir(parents=True, exist_ok=True)
    boot = module_order(modules, BOOT_MODULES)
    orders = {name: module_order(modules, names) for name, names in TEST_MODULES.items()}
    for path in set(boot).union(*orders.values()):
        shutil.copy(path, root / "lib/modules" / path.name)
    for name, order in orders.items():
        (root / "lib/modules" / name).write_text("".join(path.stem + "\n" for path in order))
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
