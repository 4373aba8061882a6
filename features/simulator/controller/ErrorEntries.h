#pragma once

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// Whether a completion is a failure. "Success, reset needed" of Firmware Commit bears a status code and is none.
bool isError(const SubmissionEntry& command, const CompletionEntry& completion);
/// Puts an entry into the Error Information log.
void noteError(CommandContext& context, const CompletionEntry& completion);

}  // namespace features::simulator
