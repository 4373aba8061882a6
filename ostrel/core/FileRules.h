#pragma once

#include <sys/stat.h>

#include <string>

#include "ostrel/core/FileDescriptor.h"

/// What other users of the machine may not do to files that this process writes: docs/files.md has the whole policy.
/// Other users are all but the effective user of the process and root.
namespace ostrel::core {

/// Why a file or folder is not used: an errno, in the system's words or in better ones. Converts to true for an error.
struct FileError {
    int code = 0;
    const char* words = nullptr;  ///< static; null: those of the system

    explicit operator bool() const { return code != 0; }
    std::string text() const;
};

/// Whether a file or folder belongs to another user.
bool isOfOtherUser(const struct stat& file);

/// Whether another user can put something into the folder: its owner, or one that the mode allows to write.
bool othersMayWrite(const struct stat& folder);

/// Whether the link in `folder` may be followed. What the kernel refuses in sticky folders (fs.protected_symlinks) is
/// refused in each folder that its group or others may write, whatever the kernel is set to: a link that belongs
/// neither to the effective user nor to root nor to the owner of the folder.
FileError checkLink(const struct stat& link, const struct stat& folder);

/// Whether the file in `folder`, which exists, may be written or replaced by the effective user: not a file of another
/// user, and no further name of a regular file, in a folder that others may write.
FileError checkExistingFile(const struct stat& file, const struct stat& folder);

/// Opens a folder for reading, whatever is below it then stays in it. Each link on the way goes through checkLink(). An
/// empty path is the current folder. Works without /proc.
FileError openFolder(const std::string& path, FileDescriptor& folder);

}  // namespace ostrel::core
