#pragma once

#include <cstdint>

#include "ostrel/core/Status.h"

namespace features::jobs {

/// What became of one read.
struct BlockRead {
    enum class Outcome : uint8_t {
        READ,
        MEDIA_ERROR,  ///< a block of them cannot be read
        BOUNDARY,     ///< the drive takes them apart alone: a zoned namespace without reads across zone boundaries
        TOO_MUCH,     ///< the system takes less at a time; nothing was sent
        FAILED,       ///< an error that does not come from the media
    };
    Outcome outcome = Outcome::READ;
    ostrel::core::Status status;  ///< of a read that is not split
};

/// Reads blocks of a drive, and drops them.
///
/// Threads: one at a time per object; each thread of a scan has its own.
class BlockReader {
public:
    virtual ~BlockReader() = default;
    virtual BlockRead read(uint64_t first, uint32_t blocks) = 0;
};

}  // namespace features::jobs
