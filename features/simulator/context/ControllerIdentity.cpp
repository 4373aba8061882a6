#include "features/simulator/context/ControllerIdentity.h"

namespace features::simulator {

std::string subsystemName(const Description& description) {
    return "nqn.2026-01.com.velko.nimbrel:simulated:" + description.serialNumber;
}

bool hasExtendedLogData(const CommandContext& context) {
    // Telemetry and persistent event log are read from offsets.
    const Description& description = context.description;
    return context.model.hasOptions || description.supportsTelemetry || description.supportsPersistentEventLog;
}

}  // namespace features::simulator
