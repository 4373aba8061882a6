#pragma once

#include <string>

#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/LogCore.h"

namespace ostrel::core {

/// Lines at the end of a file, each a single write(2): two writers of one file never tear each other's lines. What
/// cannot be written is dropped, so that a log survives a disk that was full for a while.
///
/// Threads: one at a time.
class LogFile : public logcore::LogTarget {
public:
    /// Opens `name`, created with mode 0600 if it is missing. Anything but a regular file, a symbolic link to one, and
    /// what other users can do in a folder of theirs (FileRules.h) is left alone: isOpen() is false then.
    LogFile(const std::string& name, bool append);

    bool isOpen() const { return file_.isOpen(); }
    void write(std::string_view line) override;

private:
    FileDescriptor file_;
};

}  // namespace ostrel::core
