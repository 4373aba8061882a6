#include "features/transport/linux/Sysfs.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <memory>

#include "ostrel/core/FileDescriptor.h"

namespace features::transport {

using ostrel::core::FileDescriptor;

namespace {

ssize_t readSome(int descriptor, char* at, size_t size) {
    ssize_t count;
    do {
        count = ::read(descriptor, at, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

}  // namespace

std::optional<std::string> readLine(const std::string& path) {
    // One page is the most that an attribute of sysfs can have: one read takes it whole.
    char text[4096];
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) return std::nullopt;
    const ssize_t count = readSome(file.get(), text, sizeof text);
    if (count < 0) return std::nullopt;
    std::string line(text, std::find(text, text + count, '\n'));
    line.erase(line.find_last_not_of(" \t") + 1);
    return line;
}

std::optional<uint64_t> readNumber(const std::string& path) {
    const auto line = readLine(path);
    if (!line) return std::nullopt;
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(line->data(), line->data() + line->size(), number);
    if (error != std::errc() || end != line->data() + line->size()) return std::nullopt;
    return number;
}

std::optional<std::string> readAll(const std::string& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) return std::nullopt;
    std::string text;
    char piece[16384];
    for (;;) {
        const ssize_t count = readSome(file.get(), piece, sizeof piece);
        if (count < 0) return std::nullopt;
        if (count == 0) return text;
        text.append(piece, static_cast<size_t>(count));
    }
}

std::vector<std::string> listFolder(const std::string& path) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(path.c_str()), ::closedir);
    if (!folder) return names;
    while (const dirent* entry = ::readdir(folder.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<std::string> linkName(const std::string& path) {
    char target[PATH_MAX];
    const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
    if (length < 0) return std::nullopt;
    const std::string text(target, static_cast<size_t>(length));
    return text.substr(text.rfind('/') + 1);
}

}  // namespace features::transport
