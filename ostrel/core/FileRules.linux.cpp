#include "ostrel/core/FileRules.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/SystemError.h"

namespace ostrel::core {
namespace {

constexpr int PATH_FLAGS = O_PATH | O_NOFOLLOW | O_CLOEXEC;
/// As many as the kernel follows.
constexpr unsigned MAX_LINKS = 40;

bool groupOrOthersMayWrite(const struct stat& folder) {
    OSTREL_TRACE();
    return (folder.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

/// A path, component by component.
class FolderWalk {
public:
    explicit FolderWalk(std::string path) : rest_(std::move(path)) {}

    FileError run(FileDescriptor& folder) {
        OSTREL_TRACE();
        FileError error = enter(rest_[0] == '/' ? "/" : ".");
        while (!error && !rest_.empty()) {
            const std::string component = takeComponent();
            if (!component.empty()) error = step(component);
        }
        if (error) return error;
        folder = FileDescriptor(openat(current_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        return folder.isOpen() ? FileError{} : FileError{errno};
    }

private:
    std::string takeComponent() {
        OSTREL_TRACE();
        const size_t end = rest_.find('/');
        std::string component = rest_.substr(0, end);
        rest_.erase(0, end == std::string::npos ? end : end + 1);
        return component;
    }

    FileError enter(const char* component) {
        OSTREL_TRACE();
        const int above = current_.isOpen() ? current_.get() : AT_FDCWD;
        // As a folder, so that one that is mounted on demand is mounted.
        FileDescriptor next(openat(above, component, PATH_FLAGS | O_DIRECTORY));
        if (!next.isOpen()) return {errno};
        current_ = std::move(next);
        return {};
    }

    FileError step(const std::string& component) {
        OSTREL_TRACE();
        const FileError error = enter(component.c_str());
        return error.code == ENOTDIR ? follow(component) : error;
    }

    /// What was checked is what is read: the link is open.
    FileError follow(const std::string& component) {
        OSTREL_TRACE();
        const FileDescriptor link(openat(current_.get(), component.c_str(), PATH_FLAGS));
        struct stat ofLink = {}, ofFolder = {};
        if (!link.isOpen() || fstat(link.get(), &ofLink) != 0 || fstat(current_.get(), &ofFolder) != 0) return {errno};
        if (!S_ISLNK(ofLink.st_mode)) return {ENOTDIR};
        if (++links_ > MAX_LINKS) return {ELOOP};
        if (const FileError error = checkLink(ofLink, ofFolder)) return error;
        std::array<char, PATH_MAX> target{};
        const ssize_t length = readlinkat(link.get(), "", target.data(), target.size());
        if (length < 0) return {errno};
        rest_ = std::string(target.data(), static_cast<size_t>(length)) + "/" + rest_;
        return rest_[0] == '/' ? enter("/") : FileError{};
    }

    std::string rest_;  ///< what has not been entered yet
    FileDescriptor current_;
    unsigned links_ = 0;
};

}  // namespace

std::string FileError::text() const {
    OSTREL_TRACE();
    return words != nullptr ? words : systemErrorText(code);
}

bool isOfOtherUser(const struct stat& file) {
    OSTREL_TRACE();
    return file.st_uid != geteuid() && file.st_uid != 0;
}

bool othersMayWrite(const struct stat& folder) {
    OSTREL_TRACE();
    return groupOrOthersMayWrite(folder) || isOfOtherUser(folder);
}

FileError checkLink(const struct stat& link, const struct stat& folder) {
    OSTREL_TRACE();
    if (!isOfOtherUser(link) || link.st_uid == folder.st_uid || !groupOrOthersMayWrite(folder)) return {};
    return {EACCES, "A link of another user on the way is not followed"};
}

FileError checkExistingFile(const struct stat& file, const struct stat& folder) {
    OSTREL_TRACE();
    if (!othersMayWrite(folder)) return {};
    if (file.st_uid != geteuid()) return {EACCES, "It belongs to another user, in a folder that others may write"};
    // The other name may be one that its owner gave away or that another user made: its mode is not to be trusted.
    if (S_ISREG(file.st_mode) && file.st_nlink > 1)
        return {EMLINK, "It has several names, in a folder that others may write"};
    return {};
}

FileError openFolder(const std::string& path, FileDescriptor& folder) {
    OSTREL_TRACE();
    return FolderWalk(path).run(folder);
}

}  // namespace ostrel::core
