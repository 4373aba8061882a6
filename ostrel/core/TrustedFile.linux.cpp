#include "ostrel/core/TrustedFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "ostrel/core/PathStatus.h"
#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {
namespace {

constexpr int FOLDER_FLAGS = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
// O_NONBLOCK: should the file have become a pipe since it was looked at, opening it must not wait.
constexpr int FILE_FLAGS = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC;

Status notRegular(const std::string& path) {
    OSTREL_TRACE();
    return Status(CATEGORY_OS, EINVAL, "'" + path + "' is not a regular file");
}

/// 0 or errno.
int resolve(const std::string& path, std::string& real) {
    OSTREL_TRACE();
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr), &std::free);
    if (resolved == nullptr) return errno;
    real = resolved.get();
    return 0;
}

/// All components but the last: a last one that is a link stays one. 0 or errno.
int resolveFolders(const std::string& path, std::string& real) {
    OSTREL_TRACE();
    const size_t nameStart = path.rfind('/') + 1;  // 0 without a '/'
    const std::string name = path.substr(nameStart);
    if (name.empty() || name == "." || name == "..") return EISDIR;
    const int error = resolve(nameStart == 0 ? "." : path.substr(0, nameStart), real);
    if (error == 0) real += real.back() == '/' ? name : '/' + name;
    return error;
}

/// Absolute, and without a component that resolve() would take away. It may have links.
bool isPlain(const std::string& path) {
    OSTREL_TRACE();
    if (path.empty() || path.front() != '/') return false;
    for (size_t begin = 1, end = 0; end < path.size(); begin = end + 1) {
        end = std::min(path.find('/', begin), path.size());
        const std::string_view name = std::string_view(path).substr(begin, end - begin);
        if (name.empty() || name == "." || name == "..") return false;
    }
    return true;
}

std::string octal(mode_t mode) {
    OSTREL_TRACE();
    char text[16] = {};
    std::snprintf(text, sizeof text, "%04o", mode & 07777);
    return text;
}

}  // namespace

Status TrustedFile::open(const std::string& path, SymbolicLink link) {
    OSTREL_TRACE();
    refused_ = false;
    if (isPlain(path)) {
        // Most paths have no link. One that has, and any other failure, is for the walk after the links are resolved.
        realPath_ = path;
        if (succeeded(walk(Kind::FILE))) return Status();
        refused_ = false;
    }
    const int error = link == SymbolicLink::FOLLOW ? resolve(path, realPath_) : resolveFolders(path, realPath_);
    return error != 0 ? pathStatus("open", path, error) : walk(Kind::FILE);
}

Status TrustedFile::openFolder(const std::string& path) {
    OSTREL_TRACE();
    refused_ = false;
    const int error = resolve(path, realPath_);
    return error != 0 ? pathStatus("open", path, error) : walk(Kind::FOLDER);
}

Status TrustedFile::walk(Kind kind) {
    OSTREL_TRACE();
    isAboveShared_ = false;
    descriptor_ = FileDescriptor();
    const bool isRoot = realPath_.size() == 1;
    if (isRoot) descriptor_ = FileDescriptor(::open("/", FOLDER_FLAGS));
    struct stat root = {};
    if (isRoot != descriptor_.isOpen() || stat("/", &root) != 0) return pathStatus("open", "/", errno);
    Status status = check(root, Kind::FOLDER, isRoot, "/");
    for (size_t begin = 1; succeeded(status) && begin < realPath_.size();) {
        const size_t end = std::min(realPath_.find('/', begin), realPath_.size());
        const bool isLast = end == realPath_.size();
        const Kind kindHere = isLast ? kind : Kind::FOLDER;
        const std::string place = realPath_.substr(0, end);
        status = step(descriptor_.isOpen() ? realPath_.substr(begin, end - begin) : place, kindHere, place);
        struct stat about = {};
        if (succeeded(status) && fstat(descriptor_.get(), &about) != 0) status = pathStatus("open", place, errno);
        if (succeeded(status)) status = check(about, kindHere, isLast, place);
        begin = end + 1;
    }
    return status;
}

Status TrustedFile::step(const std::string& name, Kind kind, const std::string& place) {
    OSTREL_TRACE();
    const int above = descriptor_.isOpen() ? descriptor_.get() : AT_FDCWD;  // from "/" on the name is a path
    if (kind == Kind::FILE) {
        // Before it is opened: the opening of a device can do something.
        struct stat about = {};
        if (fstatat(above, name.c_str(), &about, AT_SYMLINK_NOFOLLOW) != 0) return pathStatus("open", place, errno);
        if (S_ISLNK(about.st_mode)) return pathStatus("open", place, ELOOP);
        if (!S_ISREG(about.st_mode)) return notRegular(place);
    }
    FileDescriptor next(openat(above, name.c_str(), kind == Kind::FILE ? FILE_FLAGS : FOLDER_FLAGS));
    if (!next.isOpen()) return pathStatus("open", place, errno);
    descriptor_ = std::move(next);
    return Status();
}

Status TrustedFile::check(const struct stat& about, Kind kind, bool isLast, const std::string& place) {
    OSTREL_TRACE();
    if (kind == Kind::FILE && !S_ISREG(about.st_mode)) return notRegular(place);
    const bool isTrusted = owners_.contains(about.st_uid) || (owners_.isUnmapped(about.st_uid) && !isAboveShared_);
    if (!isTrusted) return refuse("'" + place + "' belongs to user " + std::to_string(about.st_uid));
    const bool isShared = (about.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    const bool isSticky = kind == Kind::FOLDER && !isLast && (about.st_mode & S_ISVTX) != 0;
    if (isShared && !isSticky) {
        return refuse("'" + place + "' can be written by others than its owner (mode " + octal(about.st_mode) + ")");
    }
    isAboveShared_ = isShared;
    return Status();
}

Status TrustedFile::refuse(const std::string& reason) {
    OSTREL_TRACE();
    refused_ = true;
    return Status(CATEGORY_OS, EPERM, reason);
}

}  // namespace ostrel::core
