#pragma once

#include "features/simulator/commands/LogPages.h"

namespace features::simulator {

/// Log pages of the OCP Datacenter NVMe SSD specification 2.0, C0h to C5h, in the order of their identifiers.
const LogRow* ocpLogsBegin();
const LogRow* ocpLogsEnd();

}  // namespace features::simulator
