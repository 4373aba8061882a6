#pragma once

#include "features/simulator/context/DriveTables.h"

namespace features::simulator {

/// Data areas 1 and 2 of the telemetry of a drive of OCP 2.6: statistics and debug events. FIFO 1 is in area 1, FIFO 2
/// in area 2.
TelemetryAreas ocpTelemetryAreas(CommandContext& context);

}  // namespace features::simulator
