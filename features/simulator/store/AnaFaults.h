#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "features/nvme/StatusCodes.h"

namespace features::simulator {

/// Asymmetric Namespace Access states, as log page 0Ch has them.
enum class AnaState : uint8_t { OPTIMIZED = 1, NON_OPTIMIZED = 2, INACCESSIBLE = 3, PERSISTENT_LOSS = 4, CHANGE = 15 };

/// The state of an ANA group on one controller.
struct AnaFault {
    uint16_t controllerId = 1;
    uint32_t group = 0;  ///< 0: all groups
    AnaState state = AnaState::OPTIMIZED;
};

/// "1:all inaccessible, 2:1 non-optimized": CONTROLLER:GROUP and the state. Empty: a text that is none.
std::optional<std::vector<AnaFault>> parseAnaFaults(const std::string& text);
std::string anaFaultsText(const std::vector<AnaFault>& faults);
/// The state of a group on a controller: that of the last fault that names them; without one, optimized.
AnaState anaStateOf(const std::vector<AnaFault>& faults, uint16_t controllerId, uint32_t group);

/// The path related status of commands to a namespace in this state, or a success: they are carried out.
nvme::StatusCode anaStatus(AnaState state);

}  // namespace features::simulator
