#pragma once

#include <ostream>
#include <streambuf>
#include <string>

#include "ostrel/core/FileDescriptor.h"

namespace ostrel::core {

/// An output stream to the end of a file whose every flush is a single write(2), however much was put in before: two
/// writers of one file never tear each other's lines. What cannot be written is dropped, and the stream stays good,
/// so that a log survives a disk that was full for a while.
///
/// Threads: one at a time.
class LogFileStream : public std::ostream {
public:
    /// Opens `name`, created with mode 0600 if it is missing. Anything but a regular file, a symbolic link to one, and
    /// what other users can do in a folder of theirs (FileRules.h) is left alone: isOpen() is false then.
    LogFileStream(const std::string& name, bool append);

    bool isOpen() const { return buffer_.file_.isOpen(); }

private:
    class Buffer : public std::streambuf {
    public:
        FileDescriptor file_;

    private:
        int_type overflow(int_type character) override;
        std::streamsize xsputn(const char* text, std::streamsize length) override;
        int sync() override;

        std::string pending_;
    };

    Buffer buffer_;
};

}  // namespace ostrel::core
