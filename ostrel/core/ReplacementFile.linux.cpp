#include "ostrel/core/ReplacementFile.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/SignalBlock.h"
#include "ostrel/core/Strings.h"

namespace ostrel::core {
namespace {

std::string randomName() {
    OSTREL_TRACE();
    std::array<unsigned char, 8> bytes{};
    (void)!getrandom(bytes.data(), bytes.size(), 0);  // a name that is taken is refused, so a bad one does no harm
    return ".nimbrel-" + bytesToHex(bytes.data(), bytes.size());
}

/// Through which a file without a name gets one.
std::string selfPath(int file) {
    OSTREL_TRACE();
    return "/proc/self/fd/" + std::to_string(file);
}

int resultOf(int returned) {
    return returned < 0 ? errno : 0;
}

}  // namespace

ReplacementFile::~ReplacementFile() {
    OSTREL_TRACE();
    if (!temporaryName_.empty()) unlinkat(directory_.get(), temporaryName_.c_str(), 0);
}

int ReplacementFile::open(const std::string& path) {
    OSTREL_TRACE();
    const size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    FileDescriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened.isOpen()) return errno;
    return openIn(std::move(opened), slash == std::string::npos ? path : path.substr(slash + 1), 0644);
}

int ReplacementFile::openIn(FileDescriptor directory, const std::string& name, mode_t mode) {
    OSTREL_TRACE();
    directory_ = std::move(directory);
    name_ = name;
    if (name_.empty()) return ENOENT;
    const int error = examineOldFile();
    if (error != 0) return error;
    return create(oldFile() == nullptr ? mode : 0600);
}

int ReplacementFile::examineOldFile() {
    OSTREL_TRACE();
    struct stat properties = {};
    if (fstatat(directory_.get(), name_.c_str(), &properties, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? 0 : errno;
    if (S_ISLNK(properties.st_mode)) return ELOOP;
    if (S_ISDIR(properties.st_mode)) return EISDIR;
    if (!S_ISREG(properties.st_mode)) return EINVAL;
    oldFile_ = properties;
    return 0;
}

int ReplacementFile::create(mode_t mode) {
    OSTREL_TRACE();
    FileDescriptor unnamed(openat(directory_.get(), ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, mode));
    if (unnamed.isOpen() && access(selfPath(unnamed.get()).c_str(), F_OK) == 0) {
        file_ = std::move(unnamed);
        return 0;
    }
    // Not every file system knows files without a name, and they differ in how they say so; and without /proc such a
    // file gets none.
    std::string name = randomName();
    file_ = FileDescriptor(
        openat(directory_.get(), name.c_str(), O_CREAT | O_EXCL | O_NOFOLLOW | O_WRONLY | O_CLOEXEC, mode));
    if (!file_.isOpen()) return errno;
    temporaryName_ = std::move(name);
    return 0;
}

int ReplacementFile::write(std::string_view text) {
    OSTREL_TRACE();
    return writeFully(file_.get(), text);
}

int ReplacementFile::restart() {
    OSTREL_TRACE();
    const int error = resultOf(ftruncate(file_.get(), 0));
    return error != 0 ? error : lseek(file_.get(), 0, SEEK_SET) < 0 ? errno : 0;
}

int ReplacementFile::freeBytes(uint64_t& bytes) const {
    OSTREL_TRACE();
    struct statvfs properties = {};
    if (fstatvfs(directory_.get(), &properties) != 0) return errno;
    // A file system that does not count its blocks says that it has none.
    bytes = properties.f_blocks == 0 ? UINT64_MAX : uint64_t{properties.f_bavail} * properties.f_frsize;
    return 0;
}

int ReplacementFile::adoptOldFile() {
    OSTREL_TRACE();
    if (oldFile() == nullptr) return 0;
    struct stat own{};
    if (fstat(file_.get(), &own) != 0) return errno;
    // Not to the owner that it has: a user whose namespace has no number for them cannot name it.
    const bool isOwn = own.st_uid == oldFile_.st_uid && own.st_gid == oldFile_.st_gid;
    // The owner first: a change of owner clears the set-user-ID bit of the mode.
    const int error = isOwn ? 0 : resultOf(fchown(file_.get(), oldFile_.st_uid, oldFile_.st_gid));
    return error != 0 ? error : resultOf(fchmod(file_.get(), oldFile_.st_mode & 07777));
}

int ReplacementFile::giveName() {
    OSTREL_TRACE();
    const std::string self = selfPath(file_.get());
    std::string name = randomName();
    const int error = resultOf(linkat(AT_FDCWD, self.c_str(), directory_.get(), name.c_str(), AT_SYMLINK_FOLLOW));
    // Moved: a copy may find no memory, and the file would keep the temporary name.
    if (error == 0) temporaryName_ = std::move(name);
    return error;
}

int ReplacementFile::publish() {
    OSTREL_TRACE();
    int error = adoptOldFile();
    if (error == 0) error = resultOf(fsync(file_.get()));
    const SignalBlock temporary;  // a process that ended here would leave its temporary file
    if (error == 0 && temporaryName_.empty()) error = giveName();
    const int directory = directory_.get();
    if (error == 0) error = resultOf(renameat(directory, temporaryName_.c_str(), directory, name_.c_str()));
    if (error != 0) return error;
    temporaryName_.clear();
    error = resultOf(fsync(directory));
    return error == EINVAL ? 0 : error;  // the file system has nothing to sync for a directory
}

}  // namespace ostrel::core
