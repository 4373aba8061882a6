#include "features/simulator/commands/Sanitize.h"

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/commands/Firmware.h"
#include "features/simulator/commands/NamespaceCommands.h"
#include "features/simulator/commands/SelfTest.h"
#include "features/simulator/context/AsyncEvents.h"
#include "features/simulator/context/EventQueue.h"
#include "features/simulator/context/FeatureValues.h"
#include "features/simulator/logs/SanitizeLog.h"
#include "features/simulator/logs/SanitizeVerification.h"
#include "features/simulator/store/Extension.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr uint32_t ACTION_EXIT_FAILURE_MODE = 1;
constexpr uint32_t ACTION_CRYPTO_ERASE = 4;
constexpr uint32_t ACTION_EXIT_VERIFICATION = 5;
constexpr unsigned BIT_NO_DEALLOCATE = 9;
constexpr unsigned BIT_ENTER_VERIFICATION = 10;

// Status of the last sanitize operation, SSTAT bits 2:0.
constexpr uint8_t STATUS_DONE = 1;
constexpr uint8_t STATUS_RUNNING = 2;
constexpr uint8_t STATUS_DONE_BUT_DEALLOCATED = 4;

CompletionEntry checkSanitize(const CommandContext& context, uint32_t action) {
    if (isInMediaVerification(context.state) && action == ACTION_EXIT_VERIFICATION) return {};
    if (context.state.sanitize.isRunning) return passingRefusal(SC_SANITIZE_IN_PROGRESS);
    if (action < ACTION_EXIT_FAILURE_MODE || action > ACTION_CRYPTO_ERASE) return refusal(SC_INVALID_FIELD);
    // Blocks are always deallocated. In the error mode (NODRM 0) a host that does not want it is refused.
    const bool isWarningMode = bit(currentFeature(context, FID_SANITIZE_CONFIG).dword, 0);
    if (bit(context.command.cdw10, BIT_NO_DEALLOCATE) && !isWarningMode) return refusal(SC_INVALID_FIELD);
    if (const auto pending = pendingActivation(context)) return *pending;
    for (const auto& [nsid, part] : context.state.namespaces) {
        if (part.writeProtection != 0) return refusal(SC_NAMESPACE_WRITE_PROTECTED);
    }
    return {};
}

void setVerification(CommandContext& context, bool isActive) {
    SanitizeVerification verification{isActive};
    writeExtension(context.state, verification);
}

void endSanitize(CommandContext& context) {
    SanitizeState& state = context.state.sanitize;
    state.isRunning = false;
    state.status = bit(state.command, BIT_NO_DEALLOCATE) ? STATUS_DONE_BUT_DEALLOCATED : STATUS_DONE;
    state.globalDataErased = true;
    context.asEachController([&] { raiseEvent(context, EventKind::SANITIZE_COMPLETED); });
    queueEvent(context, {DriveEvent::Kind::SANITIZE_COMPLETION});
}

}  // namespace

CompletionEntry sanitize(CommandContext& context) {
    const uint32_t action = context.command.cdw10 & 7;
    CompletionEntry completion = checkSanitize(context, action);
    // A sanitize operation never fails here: there is no failure mode to leave.
    if (!completion.isSuccess() || action == ACTION_EXIT_FAILURE_MODE) return completion;
    if (action == ACTION_EXIT_VERIFICATION) {
        setVerification(context, false);
        endSanitize(context);
        return completion;
    }
    abortSelfTest(context, SelfTestEnd::SANITIZE);
    SanitizeState& state = context.state.sanitize;
    state.isRunning = true;
    state.status = STATUS_RUNNING;
    state.command = context.command.cdw10;
    state.pattern = context.command.cdw11;
    state.startedMs = context.nowMs;
    for (const auto& [nsid, part] : context.state.namespaces) renewMedia(context, nsid);
    queueEvent(context, {DriveEvent::Kind::SANITIZE_START});
    return completion;
}

bool finishSanitize(CommandContext& context) {
    const SanitizeState& state = context.state.sanitize;
    if (!state.isRunning || !isSanitizeOver(context)) return false;
    if (isInMediaVerification(context.state)) return false;  // a host ends it
    if (bit(state.command, BIT_ENTER_VERIFICATION)) {
        setVerification(context, true);
    } else {
        endSanitize(context);
    }
    return true;
}

}  // namespace features::simulator
