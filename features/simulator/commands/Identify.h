#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// The Identify Controller structure, 4,096 bytes.
std::vector<uint8_t> controllerStructure(const CommandContext& context);

/// The Identify command.
CompletionEntry identify(CommandContext& context);

}  // namespace features::simulator
