#include "exporter/PrivateFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

#include "ostrel/core/File.h"
#include "ostrel/core/ReplacementFile.h"
#include "ostrel/core/SystemError.h"
#include "ostrel/core/TrustedFile.h"

namespace exporter {

using ostrel::core::FileDescriptor;
using ostrel::core::systemErrorText;

namespace {

constexpr mode_t FILE_MODE = S_IRUSR | S_IWUSR;

std::string makeFolder(const std::string& path) {
    if (::mkdir(path.c_str(), S_IRWXU) == 0 || errno == EEXIST) return "";
    return path + ": " + systemErrorText(errno);
}

/// A descriptor of its own: what takes one closes it.
FileDescriptor duplicate(const FileDescriptor& folder) {
    return FileDescriptor(::openat(folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

}  // namespace

std::string PrivateFolder::open(const std::string& path) {
    path_ = path;
    for (const std::string& folder : {path.substr(0, path.rfind('/')), path}) {
        std::string error = makeFolder(folder);
        if (!error.empty()) return error;
    }
    ostrel::core::TrustedFile trusted;
    const auto status = trusted.openFolder(path);
    if (failed(status)) return status.getMessage();
    folder_ = duplicate(trusted.descriptor());
    return folder_.isOpen() ? "" : failure(errno, ".");
}

std::string PrivateFolder::read(const std::string& name, std::string& text) const {
    text.clear();
    const FileDescriptor file(::openat(folder_.get(), name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file.isOpen()) return errno == ENOENT ? "" : failure(errno, name);
    const auto status = ostrel::core::readFile(file, path_ + "/" + name, text);
    return failed(status) ? status.getMessage() : "";
}

std::string PrivateFolder::replace(const std::string& name, const std::string& text) const {
    FileDescriptor own = duplicate(folder_);
    int error = own.isOpen() ? 0 : errno;
    ostrel::core::ReplacementFile file;
    if (error == 0) error = file.openIn(std::move(own), name, FILE_MODE);
    if (error == 0) error = file.write(text);
    if (error == 0) error = file.publish();
    return error == 0 ? "" : failure(error, name);
}

std::string PrivateFolder::touch(const std::string& name, std::time_t when) const {
    const FileDescriptor file(
        ::openat(folder_.get(), name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    const struct timespec times[] = {{when, 0}, {when, 0}};
    return file.isOpen() && ::futimens(file.get(), times) == 0 ? "" : failure(errno, name);
}

std::optional<std::time_t> PrivateFolder::touchedAt(const std::string& name) const {
    struct stat status{};
    if (::fstatat(folder_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
    return status.st_mtime;
}

std::string PrivateFolder::failure(int error, const std::string& name) const {
    return path_ + "/" + name + ": " + systemErrorText(error);
}

}  // namespace exporter
