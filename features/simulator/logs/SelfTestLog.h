#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "features/simulator/context/LogRow.h"

namespace features::simulator {

/// As many results as log page 06h has.
inline constexpr size_t MAX_SELF_TEST_RESULTS = 20;

/// Of a self-test that runs: whether its time is over.
bool isSelfTestOver(const CommandContext& context);

/// Log page 06h, Device Self-test.
CompletionEntry buildSelfTestLog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);

}  // namespace features::simulator
