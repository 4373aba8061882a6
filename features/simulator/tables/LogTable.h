#pragma once

#include "features/simulator/context/DriveTables.h"

namespace features::simulator {

/// Log pages of the NVMe Base Specification, in the order of their identifiers.
Rows<LogRow> standardLogs();

}  // namespace features::simulator
