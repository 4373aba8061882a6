#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/context/LogRow.h"

namespace features::simulator {

/// Of a sanitize operation that runs: whether its time is over.
bool isSanitizeOver(const CommandContext& context);

/// Log page 81h, Sanitize Status.
CompletionEntry buildSanitizeLog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);

}  // namespace features::simulator
