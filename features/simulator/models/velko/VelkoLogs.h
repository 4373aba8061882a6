#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/context/DriveTables.h"

namespace features::simulator {

/// The maker's log pages. All rows, in the order of their identifiers.
Rows<LogRow> velkoLogs();

}  // namespace features::simulator
