#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "ostrel/core/FileDescriptor.h"

namespace ostrel::core {

/// New contents on their way to take the place of a file, or to become one. Until publish() no other process sees them,
/// and the destructor makes them vanish. See writeFileAtomically(), which suffices for a text that is in memory as a
/// whole.
///
/// Each operation returns 0 or errno; after an error only the destructor may follow.
class ReplacementFile {
public:
    ReplacementFile() = default;
    ~ReplacementFile();
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;

    /// Begins. Only a regular file is replaced: a symbolic link is ELOOP, a directory EISDIR, anything else EINVAL.
    int open(const std::string& path);
    /// The same for `name` in a folder that is open for reading. A file that is not there yet gets `mode`, less the
    /// umask.
    int openIn(FileDescriptor directory, const std::string& name, mode_t mode);
    /// The file that is to be replaced; null where there is none.
    const struct stat* oldFile() const { return oldFile_.st_mode == 0 ? nullptr : &oldFile_; }

    int write(std::string_view text);
    /// Throws away what was written.
    int restart();
    /// Room in the file system that an ordinary user may take.
    int freeBytes(uint64_t& bytes) const;
    /// Syncs the contents, gives them mode and owner of the old file, if there is one, and puts them in its place; then
    /// syncs the directory.
    int publish();

private:
    int examineOldFile();
    int create(mode_t mode);
    int adoptOldFile();
    int giveName();

    FileDescriptor directory_;  // everything goes through it: the directory cannot be swapped for another halfway
    std::string name_;
    struct stat oldFile_ = {};  // all zero while there is none
    FileDescriptor file_;
    std::string temporaryName_;  // empty while there is none
};

}  // namespace ostrel::core
