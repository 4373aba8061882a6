#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/context/LogRow.h"

namespace features::simulator {

/// The maker's binary logs D3h to D7h. A read of the beginning takes a picture, which the state keeps for reads of the
/// rest.
CompletionEntry buildNlog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);
CompletionEntry buildBridgeNlog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);
CompletionEntry buildVelkoEventLog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);
CompletionEntry buildAssertLog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);
CompletionEntry buildSystemSnapshot(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);

}  // namespace features::simulator
