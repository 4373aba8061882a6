#pragma once

#include <cstdint>
#include <string>

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// Asynchronous Event Requests that a host may leave with the controller, one less (AERL).
inline constexpr uint8_t EVENT_REQUEST_LIMIT_0BASED = 3;

/// The NVM subsystem's NVMe Qualified Name (SUBNQN).
std::string subsystemName(const Description& description);

/// Whether Get Log Page takes an offset and the wide Number of Dwords (LPA bit 2).
bool hasExtendedLogData(const CommandContext& context);

}  // namespace features::simulator
