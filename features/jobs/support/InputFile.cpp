#include "features/jobs/support/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/SystemError.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

Status unreadable(const std::string& path, const std::string& reason, Status (*kind)() = statuses::fileReadFailed) {
    return withDetails(kind(), "'" + path + "': " + reason + ".");
}

Status unreadable(const std::string& path, int error) {
    return unreadable(path, systemErrorText(error));
}

Status checkType(const std::string& path, const struct stat& file) {
    if (S_ISREG(file.st_mode)) return Status();
    return unreadable(path, S_ISLNK(file.st_mode) ? "a symbolic link" : "not a regular file");
}

struct OpenFile {
    FileDescriptor descriptor;
    uint64_t sizeBytes;
};

Result<OpenFile> openRegular(const std::string& path, SymbolicLink link) {
    const bool isFollowed = link == SymbolicLink::FOLLOW;
    struct stat info = {};
    // Before it is opened: the opening of a device can do something.
    if (::fstatat(AT_FDCWD, path.c_str(), &info, isFollowed ? 0 : AT_SYMLINK_NOFOLLOW) != 0)
        return unreadable(path, errno);
    RETURN_IF_FAILED(checkType(path, info));
    // O_NONBLOCK: should it have become a pipe since it was looked at, opening it must not wait.
    constexpr int FLAGS = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    FileDescriptor file(::open(path.c_str(), FLAGS | (isFollowed ? 0 : O_NOFOLLOW)));
    if (!file.isOpen() || ::fstat(file.get(), &info) != 0) return unreadable(path, errno);
    RETURN_IF_FAILED(checkType(path, info));
    return OpenFile{std::move(file), static_cast<uint64_t>(info.st_size)};
}

}  // namespace

Result<std::string> readInputFile(const std::string& path, uint64_t maxBytes, SymbolicLink link, Status (*tooLarge)()) {
    TRY(const OpenFile file, openRegular(path, link));
    if (file.sizeBytes > maxBytes) {
        return unreadable(path,
                          "it has " + std::to_string(file.sizeBytes) + " bytes, and at most " +
                              std::to_string(maxBytes) + " can be taken",
                          tooLarge);
    }
    std::string contents;
    const Status status = readFile(file.descriptor, path, contents);
    if (failed(status)) return unreadable(path, static_cast<int>(status.getCode()));
    return contents;
}

}  // namespace features::jobs
