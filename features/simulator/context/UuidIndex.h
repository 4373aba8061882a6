#pragma once

#include <cstdint>

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// Whether the UUID Index of Get Log Page, Get Features or Set Features (dword 14) leads to the log page or feature
/// `identifier`. 0 does, and OCP's index to the vendor specific ones of a drive after OCP's specification. A maker's
/// UUID has none of its own there.
bool isUuidIndexOf(const CommandContext& context, uint8_t identifier);

}  // namespace features::simulator
