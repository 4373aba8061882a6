#include "features/simulator/sata/SataDrive.h"

#include <algorithm>
#include <cerrno>
#include <exception>

#include "features/simulator/sata/CommandTable.h"
#include "features/simulator/sata/ErrorLogs.h"
#include "features/simulator/sata/InternalStatus.h"
#include "features/simulator/sata/Microcode.h"
#include "features/simulator/sata/Replay.h"
#include "features/simulator/sata/Sanitize.h"
#include "features/simulator/sata/Security.h"
#include "features/simulator/sata/SelfTest.h"
#include "features/simulator/sata/StateCheck.h"
#include "features/simulator/store/CaptureFolder.h"
#include "features/simulator/store/Extension.h"
#include "features/simulator/store/FirmwareDownload.h"
#include "features/simulator/store/NewDrive.h"
#include "features/simulator/store/RewrittenBlocks.h"

namespace features::simulator::sata {

using ostrel::core::Status;

namespace {

const FaultyCommand* findFault(const std::vector<FaultyCommand>& list, const TaskFile& command) {
    const auto row = std::find_if(list.begin(), list.end(), [&](const FaultyCommand& faulty) {
        return faulty.isAta && (faulty.isAnyOpcode || faulty.opcode == command.command);
    });
    return row == list.end() ? nullptr : &*row;
}

bool isDataCommand(const TaskFile& command) {
    const CommandRow* row = findCommand(command);
    return row != nullptr && !row->whileLocked && command.dataBytes != 0;
}

/// What ends with the power.
void restart(SataContext& context) {
    SataState& state = context.state;
    endSelfTest(context, TEST_INTERRUPTED);
    restartSecurity(state.security);
    state.sanitize.isFrozen = state.sanitize.isAntifrozen = false;
    activateWaiting(context);
    FirmwareDownload(context.folder).discard();
    state.volatileMaxLba = 0;
    state.isMaxLbaSet = state.isMaxLbaFrozen = false;
    state.hasWriteCache = state.hasLookAhead = true;
    state.apmLevel = 0;
    state.isStandby = false;
    state.timeSetTo.reset();
    state.lastCommand = 0;
    ++context.drive.health.powerCycles;
    context.drive.health.lastResetMs = context.nowMs;
}

}  // namespace

SataDrive::SataDrive(std::string folder, const Clock& clock)
    : clock_(clock), folder_(std::move(folder), impossibleIn), media_(folder_) {}

SataDrive::~SataDrive() {
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

Status SataDrive::begin(const Check& check) {
    RETURN_IF_FAILED(folder_.begin());
    Status status = check ? check(folder_.description()) : Status();
    if (succeeded(status) && !isSata(folder_.description().model)) {
        status = Status(ostrel::core::CATEGORY_OS, EINVAL, folder_.path() + ": The drive is not a SATA drive.");
    }
    if (succeeded(status)) status = loadCapture();
    if (failed(status)) {
        folder_.rollBack();
        return status;
    }
    // A drive that was made by writing its description.
    if (folder_.isNew()) folder_.state = newState(folder_.description(), nowMs());
    return status;
}

/// A capture belongs to its drive from the beginning, and does not change.
Status SataDrive::loadCapture() {
    if (isCaptureKnown_) return Status();
    TRY(capture_, readCaptureOfDrive(folder_.descriptor(), folder_.path()));
    isCaptureKnown_ = true;
    return Status();
}

SataContext SataDrive::contextOf(const TaskFile& command, std::vector<uint8_t>& data, SataState& state) {
    state = readExtension<SataState>(folder_.state);
    return SataContext{command, data, folder_.description(), folder_.state, state, media_, folder_, work_, nowMs()};
}

Status SataDrive::catchUp(SataContext& context) {
    forgetRemovedFaults(context.description, context.drive);
    if (!finishDeallocation(context)) {
        folder_.rollBack();
        return Status(ostrel::core::CATEGORY_OS, EIO, "Blocks of " + folder_.path() + " cannot be deallocated.");
    }
    if (finishSelfTest(context)) captureSavedStatus(context, "self-test failed");
    finishSanitize(context);
    finishErase(context);
    return Status();
}

Completion SataDrive::run(SataContext& context) {
    Completion completion;
    const uint64_t busyUntil = std::max(eraseEndMs(context), captiveEndMs(context));
    if (context.nowMs < busyUntil) {
        completion.delivery = Delivery::BUSY;
        completion.delayMs = static_cast<uint32_t>(busyUntil - context.nowMs);
        return completion;
    }
    if (const FaultyCommand* fault = findFault(context.description.faults.fail, context.command)) {
        context.data.clear();
        const auto error = static_cast<uint8_t>(fault->statusField);
        completion.registers = error == 0 ? completed() : failedWith(error, 0);
    } else {
        const auto replayed = capture_ ? replay(*capture_, context) : std::nullopt;
        completion.registers = replayed ? *replayed : runCommand(context);
    }
    if ((completion.registers.status & ata::STATUS_ERROR) != 0) noteError(context, completion.registers);
    const FaultyCommand* slow = findFault(context.description.faults.slow, context.command);
    completion.delayMs = context.busyMs + (slow == nullptr ? 0 : slow->delayMs);
    completion.hasRegisters = !context.description.faults.losesRegisters;
    return completion;
}

Status SataDrive::finish(SataContext& context) {
    // Reads and writes alone do not rewrite the state for their counters.
    if (!isDataCommand(context.command) && !work_.isZero()) {
        context.drive.health.work += work_;
        work_ = WorkCounters();
    }
    writeExtension(folder_.state, context.state);
    const Status status = folder_.save();
    if (failed(status)) {
        folder_.rollBack();
        return status;
    }
    for (const auto& action : context.afterSave) action();
    return folder_.commit();
}

Result<Completion> SataDrive::execute(const TaskFile& command, std::vector<uint8_t>& data, const Check& check) {
    const DriveFolder::TransactionScope scope(folder_);
    RETURN_IF_FAILED(begin(check));
    const Faults& faults = folder_.description().faults;
    Completion completion;
    const bool isPowerLost = !faults.isGone && findFault(faults.powerLoss, command) != nullptr;
    if (faults.isGone || isPowerLost) {
        completion.delivery = Delivery::GONE;
    } else if (findFault(faults.hang, command) != nullptr) {
        completion.delivery = Delivery::NEVER;
    }
    if (completion.delivery != Delivery::COMPLETED && !isPowerLost) {
        folder_.rollBack();
        return completion;
    }
    SataState state;
    SataContext context = contextOf(command, data, state);
    RETURN_IF_FAILED(catchUp(context));
    if (isPowerLost) {
        ++context.drive.health.unsafeShutdowns;
        restart(context);
    } else {
        completion = run(context);
    }
    RETURN_IF_FAILED(finish(context));
    return completion;
}

Status SataDrive::powerCycle(const Check& check) {
    const DriveFolder::TransactionScope scope(folder_);
    RETURN_IF_FAILED(begin(check));
    if (folder_.description().faults.isGone) {
        folder_.rollBack();
        return Status(ostrel::core::CATEGORY_OS, ENODEV, "System error. " + folder_.path() + ": the drive is gone.");
    }
    const TaskFile none;
    std::vector<uint8_t> data;
    SataState state;
    SataContext context = contextOf(none, data, state);
    RETURN_IF_FAILED(catchUp(context));
    restart(context);
    return finish(context);
}

Result<Description> SataDrive::describe() {
    const DriveFolder::TransactionScope scope(folder_);
    RETURN_IF_FAILED(begin(nullptr));
    folder_.rollBack();
    return folder_.description();
}

Result<uint64_t> SataDrive::sectors() {
    const DriveFolder::TransactionScope scope(folder_);
    RETURN_IF_FAILED(begin(nullptr));
    const TaskFile none;
    std::vector<uint8_t> data;
    SataState state;
    const uint64_t sectors = contextOf(none, data, state).sectors();
    folder_.rollBack();
    return sectors;
}

}  // namespace features::simulator::sata
