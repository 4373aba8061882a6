#pragma once

#include <optional>

#include "features/simulator/context/CommandContext.h"
#include "features/simulator/store/CapturedAnswers.h"

namespace features::simulator {

/// What a drive of a capture answers: to Identify, Get Log Page, Get Features and Security Receive what was captured,
/// and that it does not support what was not. It reads as zeros, and nothing changes it: an answer that another command
/// made untrue would be worse than none. Empty: the command belongs to the connection of a host (events, number of
/// queues, keep alive), and the model of the drive answers it.
std::optional<CompletionEntry> replay(const CapturedAnswers& capture, CommandContext& context);

}  // namespace features::simulator
