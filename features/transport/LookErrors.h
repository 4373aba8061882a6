#pragma once

#include <string>
#include <vector>

#include "ostrel/core/Status.h"

namespace features::transport {

/// What could not be looked at: files and folders of the system that may well be there. A search that adds errors
/// has found what it found, and does not show that there is nothing else.
///
/// Threads: one at a time per object.
class LookErrors {
public:
    /// The second error of one path adds nothing.
    void add(const std::string& path, int error);
    void add(const std::string& path, int error, const std::string& reason);
    void add(const LookErrors& others);

    bool isEmpty() const { return errors_.empty(); }
    /// "/sys/class/nvme: Permission denied; /proc/swaps: Input/output error."
    std::string text() const;
    /// 0/39 with all of them in its message; a success when there are none.
    ostrel::core::Status status() const;

private:
    struct Error {
        std::string path;
        int error;
        std::string reason;
    };
    std::vector<Error> errors_;
};

}  // namespace features::transport
