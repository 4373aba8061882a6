#pragma once

#include <cstdint>

#include "features/simulator/context/CommandContext.h"
#include "features/simulator/context/DriveEvent.h"
#include "features/simulator/models/velko/VelkoState.h"

namespace features::simulator {

/// Events of log page D5h (docs/vendor-interface.md).
enum class VelkoEvent : uint16_t {
    POWER_ON = 1,
    CONTROLLER_RESET,
    FIRMWARE_ACTIVATED,
    FORMAT,
    SANITIZE,
    NAMESPACE_CREATED,
    NAMESPACE_DELETED,
    FEATURE_SET,
    CRITICAL_WARNING,
    MEDIA_ERROR,
    ASSERT,
    QUICK_FORMAT,
    FORCE_FLUSH,
    UNSAFE_SHUTDOWN,
};

/// A time in the form of the Timestamp feature, as of now.
uint64_t velkoTime(const CommandContext& context);

/// Adds an event to the event log and to the nlog. `first` and `second` are bytes 3:0 and 11:4 of its details.
void recordVelkoEvent(const CommandContext& context, VelkoState& velko, VelkoEvent event, uint32_t first = 0,
                      uint64_t second = 0);

/// Keeps a record of what happened to a VELKO drive; other models have no such logs.
void recordForVelkoLogs(CommandContext& context, const DriveEvent& event);
/// The same for a command that the drive refused: the nlog has all of them, the event log media errors, the assert log
/// those of the firmware itself (Internal Error).
void recordVelkoError(CommandContext& context, const CompletionEntry& completion);

}  // namespace features::simulator
