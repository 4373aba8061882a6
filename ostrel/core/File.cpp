#include "ostrel/core/File.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "ostrel/core/AddressableSize.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/PathStatus.h"
#include "ostrel/core/ReplacementFile.h"
#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {
namespace {

/// Appends up to the end of the file; 0 or errno.
int readAll(int file, std::string& text) {
    OSTREL_TRACE();
    struct stat properties = {};
    if (fstat(file, &properties) != 0) return errno;
    // One byte more than expected, so that the end is noticed without growing. Files of /proc have no size.
    text.resize(properties.st_size > 0 ? addressableSize(static_cast<uint64_t>(properties.st_size) + 1) : 4096);
    for (size_t length = 0;;) {
        if (length == text.size()) text.resize(length + 65536);
        const ssize_t count = read(file, text.data() + length, text.size() - length);
        const int error = errno;
        if (count > 0) length += static_cast<size_t>(count);
        if (count < 0 && error != EINTR) return error;
        // There was room for more.
        const bool isWhole = S_ISREG(properties.st_mode) && count > 0 && count == properties.st_size;
        if (count == 0 || isWhole) {
            text.resize(length);
            return 0;
        }
    }
}

/// 0 or errno.
int replaceFile(const std::string& path, std::string_view text) {
    OSTREL_TRACE();
    ReplacementFile replacement;
    int error = replacement.open(path);
    if (error == 0) error = replacement.write(text);
    return error != 0 ? error : replacement.publish();
}

}  // namespace

bool pathExists(const std::string& path) {
    OSTREL_TRACE();
    struct stat properties = {};
    return stat(path.c_str(), &properties) == 0;
}

bool isDirectory(const std::string& path) {
    OSTREL_TRACE();
    struct stat properties = {};
    return stat(path.c_str(), &properties) == 0 && S_ISDIR(properties.st_mode);
}

bool isSymbolicLink(const std::string& path) {
    OSTREL_TRACE();
    struct stat properties = {};
    return lstat(path.c_str(), &properties) == 0 && S_ISLNK(properties.st_mode);
}

Status readFile(const std::string& path, SymbolicLink link, std::string& text) {
    OSTREL_TRACE();
    const int noFollow = link == SymbolicLink::REFUSE ? O_NOFOLLOW : 0;
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | noFollow));
    if (!file.isOpen()) return pathStatus("open", path, errno);
    return readFile(file, path, text);
}

Status readFile(const FileDescriptor& file, const std::string& path, std::string& text) {
    OSTREL_TRACE();
    std::string contents;
    const int error = readAll(file.get(), contents);
    if (error != 0) return pathStatus("read", path, error);
    text = std::move(contents);
    return Status();
}

Status writeFileAtomically(const std::string& path, std::string_view text) {
    OSTREL_TRACE();
    const int error = replaceFile(path, text);
    return error == 0 ? Status() : pathStatus("write", path, error);
}

}  // namespace ostrel::core
