#pragma once

#include <cstdint>

#include "features/simulator/context/CommandContext.h"
#include "features/simulator/models/velko/VelkoState.h"

namespace features::simulator {

/// Force Flush, the maker's command, and how far a run is.
CompletionEntry forceFlush(CommandContext& context);

/// States of log page D8h.
enum class FlushState : uint8_t { NEVER_RUN, IN_PROGRESS, COMPLETED, STOPPED };

struct FlushProgress {
    FlushState state = FlushState::NEVER_RUN;
    uint8_t percent = 0;
    uint32_t secondsToGo = 0;
    uint64_t movedBytes = 0;
    uint64_t endTime = 0;  ///< of the Timestamp feature; 0 while it runs
};
FlushProgress flushProgress(const VelkoFlush& flush, uint64_t nowMs);

}  // namespace features::simulator
