#include "features/simulator/controller/FaultyDelivery.h"

#include <algorithm>

namespace features::simulator {

namespace {

const FaultyCommand* findCommand(const std::vector<FaultyCommand>& list, const SubmissionEntry& command) {
    const auto row = std::find_if(list.begin(), list.end(), [&](const FaultyCommand& faulty) {
        return !faulty.isAta && faulty.isAdmin == command.isAdmin &&
               (faulty.isAnyOpcode || faulty.opcode == command.opcode);
    });
    return row == list.end() ? nullptr : &*row;
}

}  // namespace

Delivery faultyDelivery(const CommandContext& context) {
    const Faults& faults = context.description.faults;
    if (faults.isGone || losesPower(context)) return Delivery::GONE;
    return findCommand(faults.hang, context.command) != nullptr ? Delivery::NEVER : Delivery::COMPLETED;
}

uint32_t faultyDelayMs(const CommandContext& context) {
    const FaultyCommand* fault = findCommand(context.description.faults.slow, context.command);
    return fault == nullptr ? 0 : fault->delayMs;
}

bool losesPower(const CommandContext& context) {
    const Faults& faults = context.description.faults;
    return !faults.isGone && findCommand(faults.powerLoss, context.command) != nullptr;
}

std::optional<CompletionEntry> faultyRefusal(const CommandContext& context) {
    const FaultyCommand* fault = findCommand(context.description.faults.fail, context.command);
    if (fault == nullptr) return std::nullopt;
    CompletionEntry completion;
    completion.statusField = fault->statusField;
    return completion;
}

}  // namespace features::simulator
