#include "CLI/velkossd/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "ostrel/core/Logging.h"
#include "ostrel/core/ReplacementFile.h"
#include "ostrel/core/ScopeTrace.h"

namespace cli::velkossd {
namespace {

using ostrel::core::FileDescriptor;

/// Where a chain of links ends; the path itself when there is nothing, which is then made there.
std::string resolveLinks(const std::string& path) {
    struct FreeMemory {
        void operator()(char* text) const { std::free(text); }  // NOLINT(cppcoreguidelines-no-malloc): of realpath()
    };
    const std::unique_ptr<char, FreeMemory> resolved(realpath(path.c_str(), nullptr));
    return resolved == nullptr ? path : resolved.get();
}

bool isDevice(const struct stat& properties) {
    return !S_ISREG(properties.st_mode) && !S_ISDIR(properties.st_mode) && !S_ISLNK(properties.st_mode);
}

}  // namespace

OutputFile::OutputFile(std::string path) : path_(std::move(path)) {
    OSTREL_TRACE();
}

OutputFile::~OutputFile() = default;

bool OutputFile::open(LinkPolicy linkPolicy) {
    OSTREL_TRACE();
    return isGood(openFile(linkPolicy));
}

bool OutputFile::write(std::string_view bytes) {
    OSTREL_TRACE();
    if (replacement_ != nullptr) return isGood(replacement_->write(bytes));
    return isGood(ostrel::core::writeFully(device_.get(), bytes));
}

bool OutputFile::finish() {
    OSTREL_TRACE();
    if (replacement_ != nullptr) return isGood(replacement_->publish());
    return isGood(::close(device_.release()) == 0 ? 0 : errno);
}

int OutputFile::openFile(LinkPolicy linkPolicy) {
    OSTREL_TRACE();
    const bool follows = linkPolicy == FOLLOW_LINK;
    struct stat properties = {};
    const bool exists = fstatat(AT_FDCWD, path_.c_str(), &properties, follows ? 0 : AT_SYMLINK_NOFOLLOW) == 0;
    if (exists && isDevice(properties)) {
        device_ = FileDescriptor(::open(path_.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC | (follows ? 0 : O_NOFOLLOW)));
        return device_.isOpen() ? 0 : errno;
    }
    replacement_ = std::make_unique<ostrel::core::ReplacementFile>();
    return replacement_->open(follows ? resolveLinks(path_) : path_);
}

bool OutputFile::isGood(int error) const {
    OSTREL_TRACE();
    if (error == 0) return true;
    ostrel::core::logMessage(ostrel::core::LOGSEVERITY_ERROR, "Unable to write ", path_, ": ",
                             std::generic_category().message(error));
    return false;
}

}  // namespace cli::velkossd
