#pragma once

#include <sys/stat.h>

#include <string>
#include <utility>

#include "ostrel/core/File.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/TrustedOwners.h"

namespace ostrel::core {

/// A file or folder that no other user can change: what the process runs as root or obeys comes from such a one.
///
/// It and every folder above it belong to a trusted user (TrustedOwners), and no other user may write there. A folder
/// above it may be one that all may write, when it has the sticky bit (/tmp) and what the path leads to in it belongs
/// to a trusted user, since others can neither replace nor remove that. The unmapped owner of a user namespace counts
/// as trusted, except in such a folder.
///
/// Links in the path are resolved first, and the real path is then walked from "/" through descriptors, without
/// following another link: what was checked is what is opened, and as long as the check holds no other user can put
/// something else in its place.
///
/// Errors: statuses of CATEGORY_OS with errno and a message that names the path. EPERM and refused() for what other
///         users can change: the message names the file or folder and why.
class TrustedFile {
public:
    explicit TrustedFile(TrustedOwners owners = TrustedOwners::ofThisProcess()) : owners_(std::move(owners)) {}

    /// Opens a regular file for reading; anything else is EINVAL and is not opened. With SymbolicLink::REFUSE a link as
    /// the last component is ELOOP.
    Status open(const std::string& path, SymbolicLink link);
    /// The same for a folder, which no other user may write, sticky or not. A link to one is followed.
    Status openFolder(const std::string& path);

    /// Whether the last opening failed because other users can change what it led to.
    bool refused() const { return refused_; }
    /// Only after a success, as is realPath().
    const FileDescriptor& descriptor() const { return descriptor_; }
    /// Absolute, without links.
    const std::string& realPath() const { return realPath_; }

private:
    enum class Kind { FILE, FOLDER };

    Status walk(Kind kind);
    Status step(const std::string& name, Kind kind, const std::string& place);
    Status check(const struct stat& about, Kind kind, bool isLast, const std::string& place);
    Status refuse(const std::string& reason);

    TrustedOwners owners_;
    FileDescriptor descriptor_;  // during the walk: where it has come to
    std::string realPath_;
    bool isAboveShared_ = false;
    bool refused_ = false;
};

}  // namespace ostrel::core
