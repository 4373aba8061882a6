"""Which system calls can fail, and with what."""

import dataclasses
import errno
import re

UNISTD = "/usr/include/x86_64-linux-gnu/asm/unistd_64.h"

# Two plausible errors each.
ERRORS = {
    "open": ("ENFILE", "EIO"), "openat": ("ENFILE", "EIO"), "access": ("EIO", "EACCES"),
    "faccessat": ("EIO", "EACCES"), "faccessat2": ("EIO", "EACCES"), "close": ("EIO", "EINTR"),
    "read": ("EIO", "EINTR"), "pread64": ("EIO", "EINTR"), "write": ("ENOSPC", "EIO"), "pwrite64": ("ENOSPC", "EIO"),
    "lseek": ("EINVAL", "EIO"), "getdents64": ("EIO", "ENOMEM"), "stat": ("EIO", "ENOMEM"), "lstat": ("EIO", "ENOMEM"),
    "fstat": ("EIO", "ENOMEM"), "newfstatat": ("EIO", "ENOMEM"), "statx": ("EIO", "ENOMEM"),
    "statfs": ("EIO", "ENOMEM"), "fstatfs": ("EIO", "ENOMEM"), "readlink": ("EIO", "EACCES"),
    "readlinkat": ("EIO", "EACCES"), "getcwd": ("ENOENT", "ENOMEM"), "fcntl": ("EBADF", "EINVAL"),
    "ioctl": ("EIO", "ENOTTY"), "flock": ("ENOLCK", "EINTR"), "fsync": ("EIO", "ENOSPC"),
    "fdatasync": ("EIO", "ENOSPC"), "syncfs": ("EIO", "ENOSPC"), "sync_file_range": ("EIO", "ENOSPC"),
    "ftruncate": ("ENOSPC", "EIO"), "fallocate": ("ENOSPC", "EOPNOTSUPP"), "fchmod": ("EPERM", "EIO"),
    "chmod": ("EPERM", "EIO"), "fchmodat": ("EPERM", "EIO"), "fchown": ("EPERM", "EIO"), "mkdir": ("ENOSPC", "EACCES"),
    "mkdirat": ("ENOSPC", "EACCES"), "link": ("ENOSPC", "EIO"), "linkat": ("ENOSPC", "EIO"),
    "rename": ("ENOSPC", "EIO"), "renameat": ("ENOSPC", "EIO"), "renameat2": ("ENOSPC", "EIO"),
    "unlink": ("EIO", "EACCES"), "unlinkat": ("EIO", "EACCES"), "rmdir": ("EIO", "EACCES"),
    "mknod": ("EPERM", "ENOSPC"), "mknodat": ("EPERM", "ENOSPC"), "mmap": ("ENOMEM", "EAGAIN"),
    "mprotect": ("ENOMEM", "EACCES"), "munmap": ("ENOMEM", "EINVAL"), "madvise": ("ENOMEM", "EAGAIN"),
    "clone": ("EAGAIN", "ENOMEM"), "clone3": ("EAGAIN", "ENOMEM"), "vfork": ("EAGAIN", "ENOMEM"),
    "pipe2": ("EMFILE", "ENFILE"), "dup": ("EMFILE", "EBADF"), "wait4": ("ECHILD", "EINTR"), "uname": ("EFAULT",),
    "getrandom": ("EAGAIN", "ENOSYS"), "prlimit64": ("EPERM", "EINVAL"), "sysinfo": ("EFAULT",),
    "sched_getaffinity": ("EINVAL", "ESRCH"), "eventfd2": ("EMFILE", "ENOMEM"), "signalfd4": ("EMFILE", "ENOMEM"),
    "poll": ("ENOMEM", "EINTR"), "pselect6": ("ENOMEM", "EINTR"), "epoll_create1": ("EMFILE", "ENOMEM"),
    "umask": (), "sendto": ("EIO", "ENOBUFS"), "socket": ("EMFILE", "EACCES"),
    "setsockopt": ("ENOMEM", "EDOM"),
}
# A transfer may always be shorter than what was asked for.
SHORTENED = ("read", "pread64", "write", "pwrite64", "getdents64")

# Limits of the whole run, from where the program can be loaded up to where it has room enough, and what they are of.
# A limit of the processes does not hold for root; the threads that cannot be made are among the calls above.
LIMITS = {
    "RLIMIT_NOFILE": tuple(range(3, 16)),
    "RLIMIT_AS": tuple(mib << 20 for mib in (24, 28, 32, 36, 40, 44, 48, 56, 64, 80)),
    "RLIMIT_FSIZE": (0, 100, 1000, 4096),
}

# Calls that are left alone, with the reason.
LEFT_ALONE = {
    "brk": "reports a failure by the old end of the heap and not by an errno; mmap covers memory",
    "futex": "never fails for a correct program: the C library ends the process on purpose where it does",
    "rt_sigprocmask": "fails for a wrong argument alone", "rt_sigaction": "fails for a wrong argument alone",
    "rt_sigtimedwait": "sigwait(3) repeats it until there is a signal",
    "rt_sigreturn": "cannot fail", "exit": "cannot fail", "exit_group": "cannot fail", "set_robust_list": "cannot fail",
    "rseq": "cannot fail where the kernel has it", "geteuid": "cannot fail", "getuid": "cannot fail",
    "getgid": "cannot fail", "getegid": "cannot fail", "getpid": "cannot fail", "getppid": "cannot fail",
    "gettid": "cannot fail",
    "sched_yield": "cannot fail", "clock_nanosleep": "fails for a wrong argument, or is cut short by a signal handler",
    "clock_gettime": "fails for a wrong clock alone; a call where the kernel's page has no time (an unstable TSC)",
    "gettimeofday": "as clock_gettime", "arch_prctl": "cannot fail", "set_tid_address": "cannot fail",
    "umask": "cannot fail", "tgkill": "cannot fail",
}


def call_names():
    with open(UNISTD, encoding="ascii") as header:
        return {int(number): name for name, number in re.findall(r"#define __NR_(\w+) (\d+)", header.read())}


def call_numbers():
    return {name: number for number, name in call_names().items()}


@dataclasses.dataclass(frozen=True)
class Case:
    """One fault: the number-th system call of a kind fails or is cut short, or the number-th allocation fails. Or a
    limit holds for the whole run, which is the number, or standard output is a full device."""

    command: str
    call: str  # or "allocation", the name of a limit, "stdout"
    number: int
    fault: str  # the name of an errno, "short" or "limit"

    def __str__(self):
        return f"{self.command}:{self.call}:{self.number}:{self.fault}"

    @staticmethod
    def parse(text):
        command, call, number, fault = text.split(":")
        return Case(command, call, int(number), fault)

    @property
    def is_repeatable(self):
        """A transfer or lock that was interrupted or cut short: the program repeats it and does its work."""
        return self.fault == "short" or (self.fault == "EINTR" and self.call in ("read", "pread64", "flock"))

    @property
    def argument(self):
        """How failing_call wants it."""
        fault = self.fault if self.fault == "short" else getattr(errno, self.fault)
        return f"{call_numbers()[self.call]}:{self.number}:{fault}"


def all_calls(report):
    """(name, number, subject) of each call in a report of failing_call."""
    names = call_names()
    calls = []
    for line in report.splitlines():
        call, number, subject = line.split(" ", 2)
        calls.append((names[int(call)], int(number), subject.strip()))
    return calls


def program_calls(report):
    """The calls after the dynamic loader's own: its failures before main are answered by the loader, with words of its
    own and status 127. What dlopen does later is the program's affair."""
    calls = all_calls(report)
    cache = next(i for i, call in enumerate(calls) if call[0] == "openat" and call[2] == "/etc/ld.so.cache")
    unmapped = next(i for i in range(cache, len(calls)) if calls[i][0] == "munmap")
    return calls[unmapped + 1:]


def cases_of_limits(command):
    cases = [Case(command, limit, value, "limit") for limit, values in LIMITS.items() for value in values]
    return cases + [Case(command, "stdout", 1, "ENOSPC")]


def cases_of(command, calls):
    unknown = sorted({name for name, _, _ in calls} - set(ERRORS) - set(LEFT_ALONE))
    if unknown:
        raise SystemExit(f"{command}: say in injection.py how these calls fail: {' '.join(unknown)}")
    cases = []
    for name, number, _ in calls:
        if name in LEFT_ALONE:
            continue
        cases += [Case(command, name, number, error) for error in ERRORS[name]]
        if name in SHORTENED:
            cases.append(Case(command, name, number, "short"))
    return cases
