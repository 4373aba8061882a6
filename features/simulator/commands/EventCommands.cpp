#include "features/simulator/commands/EventCommands.h"

#include "features/nvme/StatusCodes.h"
#include "features/simulator/context/AsyncEvents.h"
#include "features/simulator/context/ControllerIdentity.h"

namespace features::simulator {

using namespace nvme;

CompletionEntry requestEvent(CommandContext& context) {
    if (context.heldEventRequests > EVENT_REQUEST_LIMIT_0BASED) {
        return refusal(SC_EVENT_REQUEST_LIMIT_EXCEEDED);
    }
    if (const auto event = nextEvent(context)) return *event;
    ++context.heldEventRequests;
    CompletionEntry held;
    held.delivery = Delivery::HELD;
    return held;
}

CompletionEntry abortCommand(CommandContext&) {
    CompletionEntry completion;
    completion.dword0 = 1;  // not aborted: commands are over when the next one comes
    return completion;
}

CompletionEntry keepAlive(CommandContext&) {
    return {};
}

}  // namespace features::simulator
