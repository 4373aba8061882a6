#include "features/simulator/controller/Controller.h"

#include <cerrno>
#include <exception>

#include "features/nvme/StatusCodes.h"
#include "features/simulator/commands/UnreadableBlocks.h"
#include "features/simulator/context/AsyncEvents.h"
#include "features/simulator/controller/Dispatch.h"
#include "features/simulator/controller/ErrorEntries.h"
#include "features/simulator/controller/EventRecorder.h"
#include "features/simulator/controller/FaultyDelivery.h"
#include "features/simulator/controller/Progress.h"
#include "features/simulator/controller/Replay.h"
#include "features/simulator/controller/StateCheck.h"
#include "features/simulator/models/ocp/OcpLatencyMonitor.h"
#include "features/simulator/models/ocp/OcpPanic.h"
#include "features/simulator/store/CaptureFolder.h"
#include "features/simulator/store/NewDrive.h"
#include "features/simulator/tables/ModelTables.h"

namespace features::simulator {

using ostrel::core::Status;

Controller::Controller(std::string folder, const Clock& clock, uint16_t id)
    : clock_(clock), id_(id), folder_(std::move(folder), impossibleIn), media_(folder_) {}

Controller::~Controller() {
    if (work_.isZero()) return;
    try {
        const DriveFolder::TransactionScope scope(folder_);
        if (failed(folder_.begin())) return;  // the drive was removed, and its counters with it
        folder_.state.health.work += work_;
        (void)folder_.commit();  // as after a sudden loss of power, the last second's counters are lost
    } catch (const std::exception&) {
        // No memory for it: they are lost the same way.
    }
}

Status Controller::begin(const Check& check) {
    RETURN_IF_FAILED(folder_.begin());
    Status status = check ? check(folder_.description()) : Status();
    if (succeeded(status)) status = loadCapture();
    if (failed(status)) {
        folder_.rollBack();
        return status;
    }
    // A drive that was made by writing its description.
    if (folder_.isNew()) folder_.state = newState(folder_.description(), nowMs());
    const bool isOfDrive = id_ <= folder_.description().controllerCount();
    if (isOfDrive && folder_.state.model == static_cast<uint8_t>(folder_.description().model)) return status;
    folder_.rollBack();
    if (!isOfDrive)
        return Status(ostrel::core::CATEGORY_OS, ENODEV, folder_.path() + ": The drive has one controller.");
    return Status(ostrel::core::CATEGORY_OS, EINVAL,
                  folder_.path() + ": The drive was made as another model than \"model\" says.");
}

/// A capture belongs to its drive from the beginning, and does not change.
Status Controller::loadCapture() {
    if (isCaptureKnown_) return Status();
    TRY(capture_, readCaptureOfDrive(folder_.descriptor(), folder_.path()));
    isCaptureKnown_ = true;
    return Status();
}

CommandContext Controller::contextOf(const SubmissionEntry& command, std::vector<uint8_t>& data) {
    const Description& description = folder_.description();
    CommandContext context{command,
                           data,
                           description,
                           modelOf(description.model),
                           tablesOf(description.model),
                           folder_.state,
                           media_,
                           folder_,
                           work_,
                           heldEventRequests_,
                           nowMs(),
                           {}};
    context.turnTo(id_);
    return context;
}

Status Controller::catchUp(CommandContext& context) {
    const bool isChanged = simulator::catchUp(context);
    if (!folder_.state.deallocating.empty()) {
        folder_.rollBack();
        return Status(ostrel::core::CATEGORY_OS, EIO, "Blocks of " + folder_.path() + " cannot be deallocated.");
    }
    if (!isChanged) return Status();
    Status status = folder_.save();
    if (failed(status)) folder_.rollBack();
    return status;
}

CompletionEntry Controller::run(CommandContext& context) {
    const std::optional<CompletionEntry> refused = faultyRefusal(context);
    const auto replayed = capture_ && !refused ? replay(*capture_, context) : std::nullopt;
    CompletionEntry completion = refused ? *refused : replayed ? *replayed : runCommand(context);
    if (!isError(context.command, completion)) {
        recordEvents(context);
        if (!refused) noteRewritten(context);
    } else {
        folder_.restore();
        if (folder_.isNew()) folder_.state = newState(folder_.description(), nowMs());
        context.turnTo(id_);
        context.afterSave.clear();
        context.driveEvents.clear();
        noteError(context, completion);
    }
    return completion;
}

Status Controller::finish(CommandContext& context) {
    if (context.afterSave.empty()) return folder_.commit();  // which saves, too
    Status status = folder_.save();
    if (succeeded(status)) {
        for (const auto& action : context.afterSave) action();
        return folder_.commit();
    }
    folder_.rollBack();
    return status;
}

Result<CompletionEntry> Controller::execute(const SubmissionEntry& command, std::vector<uint8_t>& data,
                                            const Check& check) {
    const DriveFolder::TransactionScope scope(folder_);
    RETURN_IF_FAILED(begin(check));
    CommandContext context = contextOf(command, data);
    CompletionEntry completion;
    completion.delivery = faultyDelivery(context);
    const bool isPowerLost = losesPower(context);
    if (completion.delivery != Delivery::COMPLETED && !isPowerLost) {
        folder_.rollBack();
        return completion;
    }
    RETURN_IF_FAILED(catchUp(context));
    if (isPowerLost) {
        heldEventRequests_ = 0;
        losePower(context);
    } else if (const auto panic = panicCompletion(context)) {
        completion = *panic;
        if (completion.delivery == Delivery::COMPLETED) noteError(context, completion);
    } else {
        completion = run(context);
    }
    completion.delayMs = faultyDelayMs(context) + context.delayMs;
    countOcpLatency(context, completion);
    // Reads and writes alone do not rewrite the state for their counters.
    if (command.isAdmin && !work_.isZero()) {
        folder_.state.health.work += work_;
        work_ = WorkCounters();
    }
    RETURN_IF_FAILED(finish(context));
    return completion;
}

Status Controller::reset(ResetKind kind, const Check& check) {
    const DriveFolder::TransactionScope scope(folder_);
    RETURN_IF_FAILED(begin(check));
    if (folder_.description().faults.isGone) {
        folder_.rollBack();
        return Status(ostrel::core::CATEGORY_OS, ENODEV, "System error. " + folder_.path() + ": the drive is gone.");
    }
    const SubmissionEntry none;
    std::vector<uint8_t> data;
    CommandContext context = contextOf(none, data);
    RETURN_IF_FAILED(catchUp(context));
    heldEventRequests_ = 0;
    restart(context, kind == ResetKind::SUBSYSTEM);
    return finish(context);
}

Result<std::optional<CompletionEntry>> Controller::takeEvent() {
    const DriveFolder::TransactionScope scope(folder_);
    RETURN_IF_FAILED(begin());
    if (folder_.description().faults.isGone) {
        folder_.rollBack();
        return std::nullopt;
    }
    const SubmissionEntry none;
    std::vector<uint8_t> data;
    CommandContext context = contextOf(none, data);
    RETURN_IF_FAILED(catchUp(context));
    std::optional<CompletionEntry> event;
    if (heldEventRequests_ != 0) event = nextEvent(context);
    if (event) --heldEventRequests_;
    RETURN_IF_FAILED(finish(context));
    return event;
}

Result<Description> Controller::describe() {
    const DriveFolder::TransactionScope scope(folder_);
    RETURN_IF_FAILED(folder_.begin());
    folder_.rollBack();
    return folder_.description();
}

}  // namespace features::simulator
