#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/context/CommandContext.h"
#include "features/simulator/context/LogRow.h"

namespace features::simulator {

/// A drive takes that many times its size of writes.
inline constexpr uint64_t ENDURANCE_FILLS = 1000;

/// The composite temperature, in Kelvin: the true one or that of a fault.
uint16_t compositeKelvin(const CommandContext& context);
/// The Critical Warning field: what is true, and what a fault sets.
uint8_t criticalWarning(const CommandContext& context);
/// How much of the drive's life its writes have used, in percent; 255 is the most.
uint8_t percentageUsed(const CommandContext& context);

/// Counts how long the composite temperature has been above WCTEMP and CCTEMP; to be called before each command. True
/// when the state changed.
bool noteTemperature(CommandContext& context);

/// Log page 02h, SMART / Health Information.
CompletionEntry buildHealthLog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);

}  // namespace features::simulator
