#pragma once

#include <cstdint>
#include <optional>

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// The asynchronous events that the controller reports.
enum class EventKind : uint8_t {
    RELIABILITY,  ///< SMART / Health: NVM subsystem reliability, and what has no kind of its own
    TEMPERATURE,  ///< SMART / Health
    SPARE,        ///< SMART / Health
    NAMESPACES,   ///< notice: namespace attributes changed
    FIRMWARE,     ///< notice: firmware activation starting
    TELEMETRY,    ///< notice: the controller-initiated telemetry log changed
    SANITIZE_COMPLETED,
    ANA_CHANGE,  ///< notice: the state of an ANA group changed
};

/// Notes an event of this controller; it is reported when the host has asked for such (Asynchronous Event
/// Configuration), has an Asynchronous Event Request outstanding, and has read the log page of an earlier event of its
/// type.
void raiseEvent(CommandContext& context, EventKind kind);
/// Raises the events of bits of this controller's Critical Warning, `now`, that were not set before. Returns those
/// bits.
uint8_t raiseWarnings(CommandContext& context, uint8_t now);
/// A log page was read, and its event is not to be retained.
void clearEventsOf(CommandContext& context, uint8_t lid);
/// The next event to report, as the completion of an Asynchronous Event Request.
std::optional<CompletionEntry> nextEvent(CommandContext& context);

}  // namespace features::simulator
