#pragma once

#include <string>

#include "features/errors/Result.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/UserFile.h"

namespace features::jobs {

/// A new folder, 0700, and new files in it, 0600: those of the health scan. Nothing that is there is overwritten, and
/// links are followed as FileRules.h says: what this makes is its own, or it fails. docs/files.md is for users.
///
/// Errors:  10/194 for the folder, category 1 with errno for a file (the caller turns it into 10/168); each message
/// names the path.
class LogFolder {
public:
    /// Makes `name` in the folder `parent`, which must be there: 10/196. Where the name is taken, "name-2" and so on.
    static Result<LogFolder> create(const std::string& parent, const std::string& name);

    const std::string& path() const { return path_; }

    ostrel::core::Status write(const std::string& name, const ostrel::core::Payload& bytes) const;
    /// Creates a file, which is there once it is finished.
    ostrel::core::Status createFile(const std::string& name, ostrel::core::UserFile& file) const;

private:
    std::string path_;
    ostrel::core::FileDescriptor folder_;
};

/// A text of a drive as the name of a file: letters, digits and "-_." stay, another character becomes '_'; without any
/// `absent`.
std::string fileNameOf(const std::string& text, const std::string& absent);

}  // namespace features::jobs
