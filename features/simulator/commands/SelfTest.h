#pragma once

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// How a self-test ended: bits 3:0 of a result's status.
enum class SelfTestEnd : uint8_t {
    PASSED = 0,
    COMMAND = 1,    ///< aborted by a Device Self-test command
    RESET = 2,      ///< aborted by a controller level reset
    NAMESPACE = 3,  ///< aborted, since the namespace was removed
    FORMAT = 4,     ///< aborted by a Format NVM command
    FAILED = 7,     ///< in a segment that is known
    SANITIZE = 9,   ///< aborted by a sanitize operation
};

/// The Device Self-test command.
CompletionEntry deviceSelfTest(CommandContext& context);
/// Ends the running self-test, if there is one.
void abortSelfTest(CommandContext& context, SelfTestEnd end);
/// Ends it when it tests this namespace, which is being removed.
void abortSelfTestOf(CommandContext& context, uint32_t nsid);
/// Ends it when its time is over. True when it was.
bool finishSelfTest(CommandContext& context);

}  // namespace features::simulator
