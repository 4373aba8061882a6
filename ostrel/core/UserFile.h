#pragma once

#include <sys/stat.h>

#include <memory>
#include <string>
#include <string_view>

#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/FileRules.h"
#include "ostrel/core/Status.h"

namespace ostrel::core {

class ReplacementFile;

/// A file that a command writes for its user, piece by piece: a dump, a parsed log. docs/files.md is the policy for
/// users, and this is all of its code, with FileRules.h.
///
/// - A regular file, or one that is not there yet, gets its new contents as a whole in finish(). Until then nothing is
///   to be seen of them, and a failure leaves the old file, and nothing else. A new file has mode 0600, less the umask;
///   an old one keeps its mode and owner.
/// - "/dev/stdout", "/dev/stderr" and "/dev/fd/N" are descriptors that the process was started with, and are written
///   through; so are pipes that have a reader, terminals, /dev/null, /dev/zero and /dev/full.
/// - Refused: a link, a folder, a mount point, any other device, and what FileRules.h says.
///
/// Errors:  CATEGORY_OS with errno, "Unable to write PATH: reason"; nothing but the destructor may follow.
/// Signals: the program has called ignoreWriteSignals(), so that a pipe which is no longer read is EPIPE.
/// Threads: one.
class UserFile {
public:
    UserFile();
    ~UserFile();  ///< Gives up what was not finished.
    UserFile(const UserFile&) = delete;
    UserFile& operator=(const UserFile&) = delete;

    Status open(const std::string& path);
    /// A new file in an open folder, whose path is for messages; one that exists is EEXIST. The name has no '/'.
    Status createIn(int folder, const std::string& folderPath, const std::string& name);

    Status write(std::string_view bytes);
    /// Throws away what was written. ESPIPE where it is out already.
    Status restart();
    /// Whether so many bytes fit: EFBIG when the process may not write so large a file (RLIMIT_FSIZE), ENOSPC when the
    /// file system has less room. Others may take it meanwhile.
    Status checkRoom(uint64_t bytes) const;
    Status finish();

private:
    FileError openInherited(int descriptor);
    FileError openInFolder(FileDescriptor folder, const std::string& name);
    FileError openStream(int folder, const std::string& name, const struct stat& seen);
    FileError replace(FileDescriptor folder, const std::string& name, const struct stat& above);
    Status result(const FileError& error) const;
    Status result(int error) const { return result(FileError{error}); }

    std::string path_;
    FileDescriptor stream_;                         ///< open where bytes are written through
    std::unique_ptr<ReplacementFile> replacement_;  ///< there otherwise
};

}  // namespace ostrel::core
