#pragma once

#include <vector>

#include "features/simulator/context/CommandContext.h"
#include "features/simulator/context/LogRow.h"

namespace features::simulator {

/// Whether a completion is a failure. "Success, reset needed" of Firmware Commit bears a status code and is none.
bool isError(const SubmissionEntry& command, const CompletionEntry& completion);
/// Puts an entry into the Error Information log.
void noteError(CommandContext& context, const CompletionEntry& completion);

/// Log page 01h, Error Information.
CompletionEntry buildErrorLog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);

}  // namespace features::simulator
