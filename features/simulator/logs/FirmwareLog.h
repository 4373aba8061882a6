#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/context/LogRow.h"

namespace features::simulator {

/// Log page 03h, Firmware Slot Information.
CompletionEntry buildFirmwareLog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);

}  // namespace features::simulator
