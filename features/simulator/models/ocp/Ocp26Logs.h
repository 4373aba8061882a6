#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/context/DriveTables.h"

namespace features::simulator {

/// Log pages of a drive of OCP 2.6, C0h to C7h and C9h, in the order of their identifiers.
Rows<LogRow> ocp26Logs();

/// Log page C0h of version 6, whole.
std::vector<uint8_t> ocp26SmartPage(const CommandContext& context);

}  // namespace features::simulator
