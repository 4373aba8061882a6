#pragma once

#include <cstddef>
#include <cstdint>

#include "ostrel/core/Status.h"

namespace features::jobs {

/// Where a long log goes, piece by piece, so that it is never held twice.
///
/// Errors:  a status that is no success ends the reading of the log and is what the reader returns.
/// Threads: one.
class LogSink {
public:
    virtual ~LogSink() = default;

    /// A log of so many bytes begins. A second call throws away what came since the first: the log is read again.
    virtual ostrel::core::Status begin(uint64_t bytes) = 0;
    /// The next bytes of it.
    virtual ostrel::core::Status add(const uint8_t* data, size_t bytes) = 0;
};

}  // namespace features::jobs
