#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/context/LogRow.h"

namespace features::simulator {

/// Log page 04h, Changed Namespace List. Reading it empties it, unless the event is retained.
CompletionEntry buildChangedNamespaces(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);

}  // namespace features::simulator
