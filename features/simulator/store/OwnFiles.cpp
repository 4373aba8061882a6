#include "features/simulator/store/OwnFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <utility>

#include "ostrel/core/FileRules.h"
#include "ostrel/core/SystemError.h"

namespace features::simulator {

using namespace ostrel::core;

namespace {

constexpr mode_t PRIVATE_FOLDER = 0700;
constexpr mode_t WRITE_OF_OTHERS = S_IWGRP | S_IWOTH;
constexpr mode_t ANY_OF_OTHERS = S_IRWXG | S_IRWXO;

Status refused(int error, const std::string& path, const char* why) {
    return Status(CATEGORY_OS, static_cast<uint32_t>(error), "System error. " + path + " " + why);
}

Result<OwnFile> regularFile(FileDescriptor opened, const std::string& path) {
    OwnFile file{std::move(opened), {}};
    if (!file.descriptor.isOpen() || ::fstat(file.descriptor.get(), &file.info) != 0) return fileStatus(errno, path);
    if (!S_ISREG(file.info.st_mode)) return refused(EINVAL, path, "is not a regular file.");
    return file;
}

}  // namespace

Status fileStatus(int error, const std::string& path) {
    if (error == EACCES || error == EPERM) {
        return Status(CATEGORY_OS, static_cast<uint32_t>(error),
                      "System error. No permission for " + path + ": it needs the root user.");
    }
    return Status(CATEGORY_OS, static_cast<uint32_t>(error),
                  "System error. " + path + ": " + systemErrorText(error) + ".");
}

Result<FileDescriptor> openOwnFolder(const std::string& path, FolderMode mode) {
    FileDescriptor opened(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat info{};
    if (!opened.isOpen() || ::fstat(opened.get(), &info) != 0) return fileStatus(errno, path);
    RETURN_IF_FAILED(checkOwnFolder(opened.get(), info, path, mode));
    return opened;
}

Status checkOwnFolder(int folder, const struct stat& info, const std::string& path, FolderMode mode) {
    if (isOfOtherUser(info)) return refused(EPERM, path, "belongs to another user.");
    // What is in it may be theirs already: taking the permission away now would not help.
    if ((info.st_mode & WRITE_OF_OTHERS) != 0) return refused(EPERM, path, "can be changed by other users.");
    const bool isOpenToOthers = (info.st_mode & ANY_OF_OTHERS) != 0;
    const bool isFailed = mode == FolderMode::TIGHTEN && isOpenToOthers && ::fchmod(folder, PRIVATE_FOLDER) != 0;
    return isFailed ? fileStatus(errno, path) : Status();
}

Result<std::vector<std::string>> listOwnFolder(int folder, const std::string& path) {
    // A descriptor of its own: the position of the listing would be shared.
    FileDescriptor listed(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!listed.isOpen()) return fileStatus(errno, path);
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(::fdopendir(listed.get()), ::closedir);
    if (!listing) return fileStatus(errno, path);
    (void)listed.release();  // the listing's now
    std::vector<std::string> names;
    // The end of the folder and a failure differ in errno alone.
    for (errno = 0; const dirent* entry = ::readdir(listing.get()); errno = 0) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    if (errno != 0) return fileStatus(errno, path);
    return names;
}

bool isSameFile(const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

bool OwnFile::isNamed(int folder, const char* name) {
    struct stat named{};
    if (!descriptor.isOpen() || ::fstatat(folder, name, &named, AT_SYMLINK_NOFOLLOW) != 0) return false;
    if (!isSameFile(named, info)) return false;
    info = named;
    return true;
}

Result<OwnFile> openOwnFile(int folder, const char* name, const std::string& path) {
    // Without waiting for the other end, should it be a pipe.
    return regularFile(
        FileDescriptor(::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)), path);
}

Result<std::string> readOwnFile(const OwnFile& file, const std::string& path, size_t maxBytes) {
    const auto expected = static_cast<uint64_t>(file.info.st_size);
    std::string text;
    char piece[65536];
    bool isAtEnd = false;
    // Before the first byte is read, and as they come: the file may grow.
    for (uint64_t size = expected; size <= maxBytes; size = text.size()) {
        if (isAtEnd) return text;
        const ssize_t count = ::pread(file.descriptor.get(), piece, sizeof piece, static_cast<off_t>(text.size()));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return fileStatus(errno, path);
        text.append(piece, static_cast<size_t>(count));
        // Fewer than were asked for: the end, unless a signal cut the call short.
        isAtEnd = count == 0 || (static_cast<size_t>(count) < sizeof piece && text.size() >= expected);
    }
    return refused(EFBIG, path, "is too large.");
}

BytesRead readOwnBytes(int file, uint8_t* data, size_t size, uint64_t offset) {
    size_t count = 0;
    while (count < size) {
        const ssize_t read = ::pread(file, data + count, size - count, static_cast<off_t>(offset + count));
        if (read < 0 && errno == EINTR) continue;
        if (read < 0) return {count, errno};
        if (read == 0) break;
        count += static_cast<size_t>(read);
    }
    return {count, 0};
}

Result<OwnFile> openLockFile(int folder, const char* name, const std::string& path) {
    const int flags = O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    return regularFile(FileDescriptor(::openat(folder, name, flags, 0600)), path);
}

Status takeLock(int lockFile, const std::string& path, LockWait wait) {
    const int operation = LOCK_EX | (wait == LockWait::NO ? LOCK_NB : 0);
    while (::flock(lockFile, operation) != 0) {
        if (errno != EINTR) return fileStatus(errno, path);
    }
    return Status();
}

Result<FileDescriptor> lockOwnFile(int folder, const char* name, const std::string& path, LockWait wait) {
    TRY(OwnFile file, openLockFile(folder, name, path));
    RETURN_IF_FAILED(takeLock(file.descriptor.get(), path, wait));
    return std::move(file.descriptor);
}

}  // namespace features::simulator
