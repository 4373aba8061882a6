#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "features/simulator/store/Description.h"
#include "features/simulator/store/DriveState.h"

namespace features::simulator {

// The blocks of the fault `media-errors` cannot be read, until the host writes, deallocates or erases them. As long as
// the fault is there, the state remembers which of them it did.

/// The first block of the range that cannot be read; empty: there is none.
std::optional<uint64_t> firstUnreadable(const Description& description, const DriveState& state,
                                        const BlockRange& blocks);
/// The host rewrote these blocks.
void noteRewritten(const Description& description, DriveState& state, const std::vector<BlockRange>& blocks);
/// Forgets the blocks of faults that were taken off: set again, they cannot be read again.
void forgetRemovedFaults(const Description& description, DriveState& state);

}  // namespace features::simulator
