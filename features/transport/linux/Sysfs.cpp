#include "features/transport/linux/Sysfs.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <string_view>

#include "ostrel/core/FileDescriptor.h"

namespace features::transport {

using ostrel::core::FileDescriptor;

namespace {

constexpr size_t FOLDER_BYTES = 32768;  // what readdir() reads at once

/// ENODEV is how sysfs reports that the device of an open file was removed.
void addFailure(const std::string& path, int error, LookErrors& errors) {
    if (error != ENOENT && error != ENODEV) errors.add(path, error);
}

/// Opens a file to read; not open: absent, or an error.
FileDescriptor openToRead(const std::string& path, LookErrors& errors) {
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) addFailure(path, errno, errors);
    return file;
}

/// The bytes read, 0 at the end of the file, -1 when it is absent by now or cannot be read.
ssize_t readSome(const FileDescriptor& file, char* at, size_t size, const std::string& path, LookErrors& errors) {
    ssize_t count;
    do {
        count = ::read(file.get(), at, size);
    } while (count < 0 && errno == EINTR);
    if (count < 0) addFailure(path, errno, errors);
    return count;
}

bool isFileSystem(const LinuxPaths& paths, const std::string& folder, long magic, const char* name,
                  LookErrors& errors) {
    const long type = paths.kernel->fileSystemType(folder);
    if (type == magic) return true;
    if (type < 0) {
        errors.add(folder, errno);
    } else {
        errors.add(folder, ENOENT, std::string(name) + " is not mounted");
    }
    return false;
}

}  // namespace

std::optional<std::string> readLine(const std::string& path, LookErrors& errors) {
    // One page is the most that an attribute of sysfs can have: one read takes it whole.
    char text[4096];
    const FileDescriptor file = openToRead(path, errors);
    if (!file.isOpen()) return std::nullopt;
    const ssize_t count = readSome(file, text, sizeof text, path, errors);
    if (count < 0) return std::nullopt;
    std::string line(text, std::find(text, text + count, '\n'));
    line.erase(line.find_last_not_of(" \t") + 1);
    return line;
}

std::optional<uint64_t> readNumber(const std::string& path, LookErrors& errors) {
    const auto line = readLine(path, errors);
    if (!line) return std::nullopt;
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(line->data(), line->data() + line->size(), number);
    if (error == std::errc() && end == line->data() + line->size()) return number;
    errors.add(path, EINVAL, "not a number");
    return std::nullopt;
}

std::optional<std::string> readAll(const std::string& path, LookErrors& errors) {
    const FileDescriptor file = openToRead(path, errors);
    if (!file.isOpen()) return std::nullopt;
    std::string text;
    char piece[16384];
    for (;;) {
        const ssize_t count = readSome(file, piece, sizeof piece, path, errors);
        if (count < 0) return std::nullopt;
        if (count == 0) return text;
        text.append(piece, static_cast<size_t>(count));
    }
}

std::vector<std::string> listFolder(const std::string& path, LookErrors& errors) {
    std::vector<std::string> names;
    const FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.isOpen()) {
        addFailure(path, errno, errors);
        return names;
    }
    // Without opendir(), which looks at the folder once more, and allocates: a list of drives has a folder for each.
    alignas(dirent64) char entries[FOLDER_BYTES];
    ssize_t count;
    while ((count = ::getdents64(folder.get(), entries, sizeof entries)) > 0) {
        const dirent64* entry;
        for (ssize_t at = 0; at < count; at += entry->d_reclen) {
            entry = reinterpret_cast<const dirent64*>(entries + at);
            const std::string_view name = entry->d_name;
            if (name != "." && name != "..") names.emplace_back(name);
        }
    }
    if (count < 0) addFailure(path, errno, errors);
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<std::string> linkName(const std::string& path, LookErrors& errors) {
    char target[PATH_MAX];
    const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
    if (length < 0) {
        addFailure(path, errno, errors);
        return std::nullopt;
    }
    const std::string text(target, static_cast<size_t>(length));
    return text.substr(text.rfind('/') + 1);
}

std::string resolvedPath(const std::string& path, LookErrors& errors) {
    char target[PATH_MAX];
    if (::realpath(path.c_str(), target) != nullptr) return target;
    const int error = errno;
    const bool leadsNowhere = error == ENOENT || error == ENOTDIR || error == ELOOP || error == ENAMETOOLONG;
    if (!leadsNowhere) errors.add(path, error);
    return {};
}

std::string diskOfPartition(const LinuxPaths& paths, const std::string& partition, LookErrors& errors) {
    // The folder of a partition is in that of its disk.
    const std::string folder = resolvedPath(paths.sys + "/class/block/" + partition + "/..", errors);
    return folder.substr(folder.rfind('/') + 1);
}

bool isSysfs(const LinuxPaths& paths, LookErrors& errors) {
    return isFileSystem(paths, paths.sys, SYSFS_MAGIC, "sysfs", errors);
}

bool isProcfs(const LinuxPaths& paths, LookErrors& errors) {
    return isFileSystem(paths, paths.proc, PROC_SUPER_MAGIC, "procfs", errors);
}

}  // namespace features::transport
