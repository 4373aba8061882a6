#include "features/transport/DriveLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/SystemError.h"

namespace features::transport {

using namespace ostrel::core;

namespace {

constexpr std::size_t MAX_NAME_BYTES = 200;
constexpr std::size_t MAX_PID_DIGITS = 20;

Status cannotLock(const std::string& path, const std::string& reason) {
    Status status = statuses::fileCreationFailed();
    status.setMessage(status.getMessage() + " The drive cannot be locked: " + path + ": " + reason + ".");
    return status;
}

Status cannotLock(int error, const std::string& path) {
    return cannotLock(path, systemErrorText(error));
}

/// Only this user can have made what is here, and only this user can change it.
Status checkOwner(const FileDescriptor& opened, mode_t type, const std::string& path) {
    struct stat info{};
    if (::fstat(opened.get(), &info) != 0) return cannotLock(errno, path);
    if ((info.st_mode & S_IFMT) != type) return cannotLock(path, "it is not of the expected type");
    if (info.st_uid != ::geteuid() || (info.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return cannotLock(path, "it belongs to another user or can be changed by other users");
    return Status();
}

/// FNV-1a.
uint64_t hashOf(const std::string& text) {
    uint64_t hash = 0xCBF29CE484222325;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    return hash;
}

/// "process 123", or "another process" where its file does not say.
std::string ownerIn(const FileDescriptor& file) {
    char text[MAX_PID_DIGITS];
    ssize_t count = 0;
    do {
        count = ::pread(file.get(), text, sizeof text, 0);
    } while (count < 0 && errno == EINTR);
    const std::string pid(text, count > 0 ? static_cast<std::size_t>(count) : 0);
    const bool isNumber = std::all_of(pid.begin(), pid.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
    return pid.empty() || !isNumber ? "another process" : "process " + pid;
}

}  // namespace

std::string DriveLock::fileName(const std::string& drive) {
    constexpr std::string_view OTHERS = "-._";
    std::string name = drive.substr(0, MAX_NAME_BYTES);
    std::replace_if(
        name.begin(), name.end(),
        [=](unsigned char c) { return std::isalnum(c) == 0 && OTHERS.find(static_cast<char>(c)) == OTHERS.npos; }, '_');
    char hash[17];
    (void)std::snprintf(hash, sizeof hash, "%016llx", static_cast<unsigned long long>(hashOf(drive)));  // it fits
    return name + "-" + hash;
}

Status DriveLock::acquire(const std::string& drive) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (holders_ == 0) RETURN_IF_FAILED(lockFile(fileName(drive)));
    ++holders_;
    return Status();
}

void DriveLock::release() {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (holders_ == 0 || --holders_ != 0) return;
    // The next owner is not to be taken for this one before it has written its own id; no matter if that fails.
    (void)!::ftruncate(file_.get(), 0);
    file_ = FileDescriptor();
}

Status DriveLock::lockFile(const std::string& name) {
    const std::string path = folder_ + "/" + name;
    TRY(FileDescriptor file, openFile(path, name));
    while (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        if (error == EINTR) continue;
        if (error != EWOULDBLOCK) return cannotLock(error, path);
        Status status = statuses::jobBlocked();
        status.setMessage(status.getMessage() + ": " + ownerIn(file) + " is changing the drive.");
        return status;
    }
    if (::ftruncate(file.get(), 0) != 0) return cannotLock(errno, path);
    const int error = writeFully(file.get(), std::to_string(::getpid()));
    if (error != 0) return cannotLock(error, path);
    file_ = std::move(file);
    return Status();
}

Result<FileDescriptor> DriveLock::openFolder() const {
    if (::mkdir(folder_.c_str(), S_IRWXU) != 0 && errno != EEXIST) return cannotLock(errno, folder_);
    FileDescriptor folder(::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder.isOpen()) return cannotLock(errno, folder_);
    RETURN_IF_FAILED(checkOwner(folder, S_IFDIR, folder_));
    return folder;
}

Result<FileDescriptor> DriveLock::openFile(const std::string& path, const std::string& name) const {
    TRY(const FileDescriptor folder, openFolder());
    FileDescriptor file(::openat(folder.get(), name.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
                                 S_IRUSR | S_IWUSR));
    if (!file.isOpen()) return cannotLock(errno, path);
    RETURN_IF_FAILED(checkOwner(file, S_IFREG, path));
    return file;
}

}  // namespace features::transport
