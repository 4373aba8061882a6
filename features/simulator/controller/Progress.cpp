#include "features/simulator/controller/Progress.h"

#include "features/simulator/commands/Ana.h"
#include "features/simulator/commands/Deallocation.h"
#include "features/simulator/commands/Firmware.h"
#include "features/simulator/commands/Sanitize.h"
#include "features/simulator/commands/SelfTest.h"
#include "features/simulator/context/AsyncEvents.h"
#include "features/simulator/context/EventQueue.h"
#include "features/simulator/controller/EventRecorder.h"
#include "features/simulator/logs/HealthLog.h"
#include "features/simulator/store/RewrittenBlocks.h"

namespace features::simulator {

namespace {

/// Each controller has thresholds of its own; the drive records a warning once. True when one came or went.
bool noteWarnings(CommandContext& context) {
    bool isChanged = false;
    unsigned raised = 0;
    context.asEachController([&] {
        const uint8_t now = criticalWarning(context);
        isChanged = isChanged || now != context.state.events.warnings;
        raised |= raiseWarnings(context, now);
    });
    if (raised != 0) queueEvent(context, {DriveEvent::Kind::WARNING, 0, raised});
    return isChanged;
}

/// What belongs to this controller.
void restartController(CommandContext& context) {
    DriveState& state = context.state;
    state.features.current = state.features.saved;
    state.health.lastResetMs = context.nowMs;
    state.timestamp = TimestampState();
    state.events = EventState();
    resetAnaCounts(context);
}

}  // namespace

bool catchUp(CommandContext& context) {
    forgetRemovedFaults(context.description, context.state);
    const bool hasDeallocated = finishDeallocation(context);
    const bool hasTested = finishSelfTest(context);
    const bool hasSanitized = finishSanitize(context);
    const bool hasHeated = noteTemperature(context);
    const bool hasWarned = noteWarnings(context);
    const bool hasAnaChanged = noteAnaChanges(context);
    recordEvents(context);
    return hasAnaChanged || hasHeated || hasDeallocated || hasTested || hasSanitized || hasWarned;
}

void restart(CommandContext& context, bool isOfSubsystem) {
    constexpr uint8_t EXTENDED_SELF_TEST = 2;
    DriveState& state = context.state;
    if (isOfSubsystem) {
        context.asEachController([&] { restartController(context); });
    } else {
        restartController(context);
    }
    // An extended self-test goes on after a reset.
    if (state.selfTest.code != EXTENDED_SELF_TEST) abortSelfTest(context, SelfTestEnd::RESET);
    recordEvents(context);  // with the firmware that still runs
    activateAtReset(context, isOfSubsystem);
    if (isOfSubsystem) ++state.health.powerCycles;
    DriveEvent reset{DriveEvent::Kind::RESET};
    reset.value = isOfSubsystem ? 1 : 0;
    queueEvent(context, reset);
    recordEvents(context);
}

void losePower(CommandContext& context) {
    ++context.state.health.unsafeShutdowns;
    queueEvent(context, {DriveEvent::Kind::POWER_LOSS});
    recordEvents(context);
    restart(context, true);
}

}  // namespace features::simulator
