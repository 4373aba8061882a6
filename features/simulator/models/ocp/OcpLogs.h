#pragma once

#include "features/simulator/context/DriveTables.h"

namespace features::simulator {

/// Log pages of the OCP Datacenter NVMe SSD specification 2.0, C0h to C5h, in the order of their identifiers.
Rows<LogRow> ocpLogs();

}  // namespace features::simulator
