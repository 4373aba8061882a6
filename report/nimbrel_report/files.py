"""Writes a file as docs/files.md wants it: whole or not at all, for its owner alone, and never through a link that
another user may have put in the way. Beside files it writes into pipes that a process reads."""

import contextlib
import errno
import os
import secrets
import signal
import stat

_MAX_LINKS = 40  # as the kernel follows


class Refused(Exception):
    """Why the file is not written, in the words of docs/files.md."""


def write(path, data):
    """Writes the bytes. Refused or OSError; what was there before is there still, then."""
    folder, name = _open_folder(path)
    try:
        about = _lstat(name, folder)
        if about is not None:
            _require_own(about, folder)
        if about is not None and stat.S_ISFIFO(about.st_mode):
            _write_pipe(name, folder, data)
        elif about is None or stat.S_ISREG(about.st_mode):
            _replace(name, folder, data, about)
        else:
            raise Refused("It is neither a file nor a pipe.")
    finally:
        os.close(folder)


def _lstat(name, folder):
    try:
        return os.stat(name, dir_fd=folder, follow_symlinks=False)
    except FileNotFoundError:
        return None


def _others_write(folder):
    about = os.fstat(folder)
    return bool(about.st_mode & 0o022) or about.st_uid not in (0, os.geteuid())


def _require_own(about, folder):
    if stat.S_ISLNK(about.st_mode):
        raise Refused("It is a symbolic link.")
    if stat.S_ISBLK(about.st_mode):
        raise Refused("It is a block device.")
    if _others_write(folder) and about.st_uid != os.geteuid():
        raise Refused("It belongs to another user, in a folder that others may write.")
    if _others_write(folder) and about.st_nlink > 1:
        raise Refused("It has several names, in a folder that others may write.")


def _open_folder(path):
    """The folder of the path, open, and the name in it. Each link on the way is looked at before it is followed."""
    folder = os.open("/" if path.startswith("/") else ".", os.O_PATH | os.O_DIRECTORY | os.O_CLOEXEC)
    parts = [part for part in path.split("/") if part not in ("", ".")]
    if not parts or parts[-1] == ".." or path.endswith("/"):
        os.close(folder)
        raise Refused("It is a folder.")
    name, ahead, links = parts.pop(), parts, 0
    try:
        while ahead:
            part = ahead.pop(0)
            about = os.stat(part, dir_fd=folder, follow_symlinks=False)
            if stat.S_ISLNK(about.st_mode):
                links += 1
                target = _target(part, about, folder, links)
                ahead = [piece for piece in target.split("/") if piece not in ("", ".")] + ahead
                part = "/" if target.startswith("/") else "."
            deeper = os.open(part, os.O_PATH | os.O_DIRECTORY | os.O_NOFOLLOW | os.O_CLOEXEC, dir_fd=folder)
            os.close(folder)
            folder = deeper
        return folder, name
    except BaseException:
        os.close(folder)
        raise


def _target(name, about, folder, links):
    if links > _MAX_LINKS:
        raise OSError(errno.ELOOP, os.strerror(errno.ELOOP))
    if _others_write(folder) and about.st_uid not in (0, os.geteuid(), os.fstat(folder).st_uid):
        raise Refused("A link of another user on the way is not followed.")
    return os.readlink(name, dir_fd=folder)


def _write_pipe(name, folder, data):
    try:
        descriptor = os.open(name, os.O_WRONLY | os.O_NONBLOCK | os.O_NOFOLLOW | os.O_CLOEXEC, dir_fd=folder)
    except OSError as error:
        if error.errno == errno.ENXIO:
            raise Refused("No process reads from this pipe.") from error
        raise
    with open(descriptor, "wb") as file:
        if not stat.S_ISFIFO(os.fstat(descriptor).st_mode):
            raise Refused("Another file took its place.")
        os.set_blocking(descriptor, True)
        file.write(data)


@contextlib.contextmanager
def _uninterrupted():
    """What would end the process waits, so that no file under a hidden name is left."""
    held = signal.pthread_sigmask(signal.SIG_BLOCK, (signal.SIGINT, signal.SIGTERM, signal.SIGHUP))
    try:
        yield
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, held)


def _replace(name, folder, data, about):
    with _uninterrupted():
        _write_and_rename(name, folder, data, about)


def _write_and_rename(name, folder, data, about):
    hidden = f".nimbrel-{secrets.token_hex(8)}"
    descriptor = os.open(hidden, os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_CLOEXEC, 0o600, dir_fd=folder)
    try:
        with open(descriptor, "wb") as file:
            file.write(data)
            file.flush()
            if about is not None:  # The owner first: a change of owner takes bits of the mode away.
                os.fchown(descriptor, about.st_uid, about.st_gid)
                os.fchmod(descriptor, stat.S_IMODE(about.st_mode))
            os.fsync(descriptor)
        os.rename(hidden, name, src_dir_fd=folder, dst_dir_fd=folder)
    except BaseException:
        with contextlib.suppress(FileNotFoundError):
            os.unlink(hidden, dir_fd=folder)
        raise
    _sync_folder(folder)


def _sync_folder(folder):
    """A descriptor of O_PATH cannot be synced."""
    readable = os.open(".", os.O_RDONLY | os.O_DIRECTORY | os.O_CLOEXEC, dir_fd=folder)
    try:
        os.fsync(readable)
    finally:
        os.close(readable)
