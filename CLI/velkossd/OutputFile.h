#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "ostrel/core/FileDescriptor.h"

namespace ostrel::core {
class ReplacementFile;
}

namespace cli::velkossd {

/// A file that a command writes, piece by piece. A regular file, or one that is not there yet, gets its new contents as
/// a whole when finish() is called: a failure before that leaves the old file as it was, and nothing else behind. What
/// is no regular file, like a device or a pipe, is written at once.
///
/// Errors: false from the first operation that fails, and nothing can follow. The reason goes to the debug log.
class OutputFile {
public:
    enum LinkPolicy { FOLLOW_LINK, REFUSE_LINK };  ///< Where the path is a symbolic link itself.

    explicit OutputFile(std::string path);
    ~OutputFile();  ///< Gives up what was not finished.

    bool open(LinkPolicy linkPolicy);
    bool write(std::string_view bytes);
    bool finish();

private:
    int openFile(LinkPolicy linkPolicy);
    bool isGood(int error) const;

    std::string path_;
    ostrel::core::FileDescriptor device_;                         ///< open where the path is no regular file
    std::unique_ptr<ostrel::core::ReplacementFile> replacement_;  ///< there where it is one
};

}  // namespace cli::velkossd
