#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/commands/LogPages.h"

namespace features::simulator {

/// The maker's log pages. All rows, in the order of their identifiers.
const LogRow* velkoLogsBegin();
const LogRow* velkoLogsEnd();

}  // namespace features::simulator
