#include "features/simulator/Controller.h"

#include <algorithm>

#include "features/nvme/StatusCodes.h"
#include "features/simulator/CommandTable.h"
#include "features/simulator/ErrorLog.h"
#include "features/simulator/NewDrive.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::simulator {

using ostrel::core::Status;

Controller::Controller(std::string folder, const Clock& clock)
    : clock_(clock), folder_(std::move(folder)), media_(folder_) {}

Controller::~Controller() {
    if (work_.isZero()) return;
    if (!folder_.begin().is(0, 0)) return;  // the drive was removed: nobody misses the counters
    folder_.state.health.work += work_;
    (void)folder_.commit();  // as after a sudden loss of power, the last second's counters are lost
}

Status Controller::begin() {
    OSTREL_TRACE();
    const Status status = folder_.begin();
    // Somebody made the drive by writing its description.
    if (status.is(0, 0) && folder_.isNew()) folder_.state = newState(folder_.description(), clock_.nowMs());
    return status;
}

CommandContext Controller::contextOf(const SubmissionEntry& command, std::vector<uint8_t>& data) {
    return CommandContext{command,
                          data,
                          folder_.description(),
                          modelOf(folder_.description().model),
                          folder_.state,
                          media_,
                          folder_,
                          work_,
                          clock_.nowMs(),
                          {}};
}

CompletionEntry Controller::run(CommandContext& context) {
    OSTREL_TRACE();
    CompletionEntry completion = runCommand(context);
    if (isError(completion)) {
        folder_.restore();
        if (folder_.isNew()) folder_.state = newState(folder_.description(), clock_.nowMs());
        context.afterSave.clear();
        noteError(context, completion);
    }
    return completion;
}

Status Controller::finish(CommandContext& context) {
    OSTREL_TRACE();
    Status status = folder_.save();
    if (status.is(0, 0)) {
        for (const auto& action : context.afterSave) action();
        return folder_.commit();
    }
    folder_.rollBack();
    return status;
}

Status Controller::execute(const SubmissionEntry& command, std::vector<uint8_t>& data, CompletionEntry& completion) {
    OSTREL_TRACE();
    const Status status = begin();
    if (!status.is(0, 0)) return status;
    CommandContext context = contextOf(command, data);
    completion = run(context);
    // Reads and writes alone do not rewrite the state for their counters.
    if (command.isAdmin && !work_.isZero()) {
        folder_.state.health.work += work_;
        work_ = WorkCounters();
    }
    return finish(context);
}

Status Controller::reset(ResetKind kind) {
    OSTREL_TRACE();
    const Status status = begin();
    if (!status.is(0, 0)) return status;
    DriveState& state = folder_.state;
    state.features.current = state.features.saved;
    state.health.lastResetMs = clock_.nowMs();
    if (kind == ResetKind::SUBSYSTEM) ++state.health.powerCycles;
    return folder_.commit();
}

Status Controller::describe(Description& description) {
    OSTREL_TRACE();
    const Status status = folder_.begin();
    if (!status.is(0, 0)) return status;
    description = folder_.description();
    folder_.rollBack();
    return status;
}

}  // namespace features::simulator
