#include "ostrel/core/UserFile.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

#include "ostrel/core/Logging.h"
#include "ostrel/core/ReplacementFile.h"
#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {
namespace {

constexpr mode_t NEW_FILE_MODE = 0600;
constexpr FileError BLOCK_DEVICE = {EINVAL, "It is a block device"};
constexpr FileError OTHER_DEVICE = {EINVAL, "It is neither a file nor a pipe nor a terminal"};
constexpr FileError MOUNT_POINT = {EBUSY, "It is a mount point"};
constexpr FileError NOT_INHERITED = {EBADF, "No file was opened for writing under this number"};

/// The devices that may be opened, by their numbers: others do something as soon as they are (a watchdog starts).
constexpr struct {
    unsigned major, firstMinor, lastMinor;
} STREAM_DEVICES[] = {
    // Linux's list of allocated devices, Documentation/admin-guide/devices.txt.
    {1, 3, 3},         {1, 5, 5},         {1, 7, 7},  // null, zero, full
    {4, 0, 0xFFFFF},   {5, 0, 1},                     // virtual consoles and serial ports; /dev/tty, /dev/console
    {136, 0, 0xFFFFF}, {188, 0, 0xFFFFF},             // pseudo terminals; serial ports over USB
    {204, 0, 0xFFFFF}, {229, 0, 0xFFFFF},             // serial ports of other kinds; of virtual machines
};

bool isStreamDevice(dev_t device) {
    OSTREL_TRACE();
    for (const auto& row : STREAM_DEVICES) {
        if (row.major == major(device) && row.firstMinor <= minor(device) && minor(device) <= row.lastMinor)
            return true;
    }
    return false;
}

/// The descriptor that the path names. By its name: the links below /dev lead to /proc, which may be missing, and
/// opening a file again through them would empty it.
std::optional<int> inheritedDescriptor(const std::string& path) {
    OSTREL_TRACE();
    constexpr std::string_view PREFIX = "/dev/fd/";
    constexpr size_t MAX_DIGITS = 9;
    if (path == "/dev/stdout") return STDOUT_FILENO;
    if (path == "/dev/stderr") return STDERR_FILENO;
    if (path.compare(0, PREFIX.size(), PREFIX) != 0) return std::nullopt;
    const std::string digits = path.substr(PREFIX.size());
    if (digits.empty() || digits.size() > MAX_DIGITS || digits.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    return std::stoi(digits);
}

bool isMountPoint(int folder, const std::string& name) {
    OSTREL_TRACE();
    struct statx properties = {};
    return statx(folder, name.c_str(), AT_SYMLINK_NOFOLLOW, 0, &properties) == 0 &&
           (properties.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

FileError checkKind(const struct stat& properties) {
    OSTREL_TRACE();
    if (S_ISLNK(properties.st_mode)) return {ELOOP, "It is a symbolic link"};
    if (S_ISDIR(properties.st_mode)) return {EISDIR};
    if (S_ISBLK(properties.st_mode)) return BLOCK_DEVICE;
    const bool isStream =
        S_ISFIFO(properties.st_mode) || (S_ISCHR(properties.st_mode) && isStreamDevice(properties.st_rdev));
    return isStream ? FileError{} : OTHER_DEVICE;
}

bool isSameFile(const struct stat& a, const struct stat& b) {
    OSTREL_TRACE();
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

UserFile::UserFile() = default;
UserFile::~UserFile() = default;

Status UserFile::open(const std::string& path) {
    OSTREL_TRACE();
    path_ = path;
    if (const auto descriptor = inheritedDescriptor(path)) return result(openInherited(*descriptor));
    const size_t slash = path.rfind('/');
    FileDescriptor folder;
    const FileError error = openFolder(slash == std::string::npos ? "." : path.substr(0, slash + 1), folder);
    if (error) return result(error);
    return result(openInFolder(std::move(folder), slash == std::string::npos ? path : path.substr(slash + 1)));
}

Status UserFile::createIn(int folder, const std::string& folderPath, const std::string& name) {
    OSTREL_TRACE();
    path_ = folderPath + "/" + name;
    FileDescriptor own(fcntl(folder, F_DUPFD_CLOEXEC, 0));
    if (!own.isOpen()) return result(errno);
    replacement_ = std::make_unique<ReplacementFile>();
    const int error = replacement_->openIn(std::move(own), name, NEW_FILE_MODE);
    // A link, a folder: also something that is there.
    const bool exists = replacement_->oldFile() != nullptr || error == ELOOP || error == EISDIR || error == EINVAL;
    return result(exists ? EEXIST : error);
}

FileError UserFile::openInherited(int descriptor) {
    OSTREL_TRACE();
    const int flags = fcntl(descriptor, F_GETFD);
    const int mode = fcntl(descriptor, F_GETFL);
    struct stat properties = {};
    // What the process opened itself (a drive, a lock) is closed on exec, and never meant.
    if (flags < 0 || (flags & FD_CLOEXEC) != 0 || mode < 0 || (mode & O_ACCMODE) == O_RDONLY ||
        fstat(descriptor, &properties) != 0)
        return NOT_INHERITED;
    if (S_ISBLK(properties.st_mode)) return BLOCK_DEVICE;
    stream_ = FileDescriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    return stream_.isOpen() ? FileError{} : FileError{errno};
}

FileError UserFile::openInFolder(FileDescriptor folder, const std::string& name) {
    OSTREL_TRACE();
    struct stat above = {}, existing = {};
    if (fstat(folder.get(), &above) != 0) return {errno};
    if (fstatat(folder.get(), name.c_str(), &existing, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno != ENOENT) return {errno};
        return replace(std::move(folder), name, above);
    }
    if (S_ISREG(existing.st_mode)) return replace(std::move(folder), name, above);
    if (const FileError error = checkKind(existing)) return error;
    // Only root can make a device node, whichever user owns it: a terminal belongs to its user.
    const FileError error = S_ISCHR(existing.st_mode) ? FileError{} : checkExistingFile(existing, above);
    return error ? error : openStream(folder.get(), name, existing);
}

FileError UserFile::replace(FileDescriptor folder, const std::string& name, const struct stat& above) {
    OSTREL_TRACE();
    if (isMountPoint(folder.get(), name)) return MOUNT_POINT;
    replacement_ = std::make_unique<ReplacementFile>();
    const int error = replacement_->openIn(std::move(folder), name, NEW_FILE_MODE);
    if (error != 0) return {error};
    const struct stat* old =
        replacement_->oldFile();  // whose mode and owner the new file gets: not what was there before
    return old == nullptr ? FileError{} : checkExistingFile(*old, above);
}

FileError UserFile::openStream(int folder, const std::string& name, const struct stat& seen) {
    OSTREL_TRACE();
    FileDescriptor file(openat(folder, name.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.isOpen()) {
        if (errno == ENXIO && S_ISFIFO(seen.st_mode)) return {ENXIO, "No process reads from this pipe"};
        return {errno};
    }
    struct stat opened = {};
    if (fstat(file.get(), &opened) != 0) return {errno};
    if (!isSameFile(opened, seen)) return {ESTALE, "Another file took its place"};
    const int flags = fcntl(file.get(), F_GETFL);
    if (flags < 0 || fcntl(file.get(), F_SETFL, flags & ~O_NONBLOCK) != 0) return {errno};
    stream_ = std::move(file);
    return {};
}

Status UserFile::write(std::string_view bytes) {
    OSTREL_TRACE();
    if (replacement_ != nullptr) return result(replacement_->write(bytes));
    return result(writeFully(stream_.get(), bytes));
}

Status UserFile::restart() {
    OSTREL_TRACE();
    return result(replacement_ != nullptr ? replacement_->restart() : ESPIPE);
}

Status UserFile::checkRoom(uint64_t bytes) const {
    OSTREL_TRACE();
    if (replacement_ == nullptr) return Status();
    rlimit limit = {};
    if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && bytes > limit.rlim_cur) return result(EFBIG);
    uint64_t free = 0;
    const int error = replacement_->freeBytes(free);
    return result(error == 0 && bytes > free ? ENOSPC : error);
}

Status UserFile::finish() {
    OSTREL_TRACE();
    if (replacement_ == nullptr) return result(::close(stream_.release()) == 0 ? 0 : errno);
    const int error = replacement_->publish();
    replacement_.reset();
    return result(error == EBUSY ? MOUNT_POINT : FileError{error});  // a kernel before 5.8 says so no earlier
}

Status UserFile::result(const FileError& error) const {
    OSTREL_TRACE();
    if (!error) return Status();
    const Status status(CATEGORY_OS, static_cast<uint32_t>(error.code),
                        "Unable to write " + path_ + ": " + error.text());
    logMessage(LOGSEVERITY_ERROR, status.getMessage());
    return status;
}

}  // namespace ostrel::core
