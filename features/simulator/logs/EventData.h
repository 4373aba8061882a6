#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/context/CommandContext.h"
#include "features/simulator/context/DriveEvent.h"

namespace features::simulator {

/// The data of persistent events, byte for byte as section 5.14.1.13.1 lays them out. They hold the present: the
/// state, and the command with its data.

std::vector<uint8_t> firmwareCommitData(const DriveEvent& commit);
std::vector<uint8_t> timestampChangeData(const CommandContext& context, const DriveEvent& change);
struct PowerOn {
    bool isActivation = false;  ///< other firmware than before runs
    uint64_t powerCycle = 1;
    uint64_t sincePowerOnMs = 0;
};
std::vector<uint8_t> powerOnData(const CommandContext& context, const PowerOn& powerOn);
/// `code`: of the NVM subsystem hardware error event; `more` follows it.
std::vector<uint8_t> hardwareErrorData(uint16_t code, const std::vector<uint8_t>& more);
/// By how many degrees a threshold is passed: 1 WCTEMP, 2 CCTEMP. Only when it is.
std::vector<uint8_t> thermalExcursionData(const CommandContext& context);
std::vector<uint8_t> namespaceChangeData(const CommandContext& context, const DriveEvent& change);
std::vector<uint8_t> formatStartData(const CommandContext& context, const DriveEvent& format);
std::vector<uint8_t> formatCompletionData(const DriveEvent& format);
std::vector<uint8_t> sanitizeStartData(const CommandContext& context);
std::vector<uint8_t> sanitizeCompletionData(CommandContext& context);
std::vector<uint8_t> setFeatureData(const CommandContext& context);
/// Vendor specific: the name "Self-test", and its entry of log page 06h.
std::vector<uint8_t> selfTestData(CommandContext& context);

}  // namespace features::simulator
