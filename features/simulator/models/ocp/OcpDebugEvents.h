#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/context/CommandContext.h"
#include "features/simulator/context/DriveEvent.h"

namespace features::simulator {

/// The debug events of a drive of OCP 2.6, which its telemetry shows. FIFO 1 has what the host and resets do, FIFO 2
/// what happens in the drive. Nothing is recorded on a drive of another model.

/// Vendor unique events: their class, and what log page C9h names.
inline constexpr uint8_t OCP_CLASS_VENDOR = 0x80;
inline constexpr uint16_t OCP_EVENT_FIRMWARE_ACTIVATED = 1;
inline constexpr uint16_t OCP_EVENT_ERROR_INJECTED = 2;
/// A statistic of this maker alone.
inline constexpr uint16_t OCP_STATISTIC_REFUSED_COMMANDS = 0x8001;
/// Vendor unique parts of other events.
inline constexpr uint8_t OCP_CLASS_ASSERT = 6;
inline constexpr uint16_t OCP_PART_INJECTED_PANIC = 1;
inline constexpr uint8_t OCP_CLASS_MEDIA = 8;
inline constexpr uint16_t OCP_PART_FAILED_BLOCK = 1;
inline constexpr uint8_t OCP_CLASS_VIRTUAL_FIFO = 0x0B;
inline constexpr uint16_t OCP_PART_DRIVE_EVENTS = 1;

/// The composite temperature in degrees Celsius, as one byte holds it.
uint8_t ocpCelsius(const CommandContext& context);
/// What happened to the drive.
void recordDebugEvents(CommandContext& context, const DriveEvent& event);
/// A command that was refused.
void recordOcpError(CommandContext& context, const CompletionEntry& completion);
/// An injected error of type `type`.
void recordInjection(CommandContext& context, uint16_t type, bool isPanic);

}  // namespace features::simulator
