#pragma once

#include <cstdint>
#include <optional>

#include "features/errors/Result.h"
#include "features/jobs/base/Arguments.h"
#include "ostrel/core/Attribute.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// The size or the capacity of a new namespace as a request gives it: "2097152" or "0x200000" blocks of its format,
/// "100GB" (10^9 bytes), "100GiB" (2^30 bytes), or "50%" of the capacity that the drive has not allocated. A blank may
/// precede the unit, whose case does not matter. Blocks are taken as they are; the others are upper limits and are
/// rounded down to what the drive takes.
struct NamespaceAmount {
    enum class Unit : uint8_t { BLOCKS, BYTES, PERCENT } unit = Unit::BLOCKS;
    uint64_t number = 0;  ///< in the unit; not 0

    /// Whole multiples of `step` blocks, 0 when it is less than that; any number of blocks that was given as such.
    uint64_t blocks(uint32_t blockBytes, uint64_t unallocatedBytes, uint64_t step) const;
};

/// Empty for an argument that is absent or empty. 10/269, with the forms that are legal, for what is no amount.
Result<std::optional<NamespaceAmount>> readAmount(const Arguments& arguments, const ostrel::core::Attribute& attribute);

}  // namespace features::jobs
