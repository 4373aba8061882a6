#pragma once

#include <cstdint>
#include <string>

#include "features/errors/Result.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// The last block that the host shall be able to use, as the user writes it: a block's address, gigabytes ("200GB", of
/// 1,000,000,000 bytes), percent of what the drive has ("80%"), or "native".
struct MaximumLba {
    enum class Unit { LBA, GIGABYTES, PERCENT, NATIVE } unit = Unit::LBA;
    uint64_t number = 0;
};

/// 10/43 for a text that is none of these, 10/42 for a number that cannot be.
Result<MaximumLba> readMaximumLba(const std::string& text);

/// The block's address on a drive whose last block is `native`. `blockBytes` counts for gigabytes alone. More than the
/// drive has is 10/42, of gigabytes 10/243.
Result<uint64_t> addressOf(const MaximumLba& wanted, uint64_t native, uint64_t blockBytes,
                           const std::string& driveName);

}  // namespace features::jobs
