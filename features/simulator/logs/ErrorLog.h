#pragma once

#include <vector>

#include "features/simulator/context/LogRow.h"

namespace features::simulator {

/// Log page 01h, Error Information.
CompletionEntry buildErrorLog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);

}  // namespace features::simulator
