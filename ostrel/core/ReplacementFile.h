#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "ostrel/core/FileDescriptor.h"

namespace ostrel::core {

/// A new file on its way to take another's place. Until publish() nobody sees it, and the destructor makes it vanish.
/// Used by writeFileAtomically(); each operation returns 0 or errno.
class ReplacementFile {
public:
    /// `directory` stays the caller's and must remain open.
    explicit ReplacementFile(int directory) : directory_(directory) {}
    ~ReplacementFile();
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;

    /// Opens the file for writing.
    int create(mode_t mode);
    int write(std::string_view text);
    /// Takes over mode and owner of another file.
    int adopt(const struct stat& other);
    /// Syncs the file and puts it in the place of `name`, whatever that is, then syncs the directory.
    int publish(const std::string& name);

private:
    int giveName();

    int directory_;
    FileDescriptor file_;
    std::string temporaryName_;  // empty while there is none
};

}  // namespace ostrel::core
