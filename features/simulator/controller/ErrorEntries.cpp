#include "features/simulator/controller/ErrorEntries.h"

#include "features/nvme/Bytes.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/context/EventQueue.h"
#include "features/simulator/controller/EventRecorder.h"
#include "features/simulator/logs/Telemetry.h"
#include "features/simulator/models/ocp/OcpDebugEvents.h"
#include "features/simulator/models/velko/VelkoRecords.h"

namespace features::simulator {

using namespace nvme;

bool isError(const SubmissionEntry& command, const CompletionEntry& completion) {
    const StatusCode status = completion.status();
    const bool isActivationHint =
        command.isAdmin && command.opcode == OPC_FIRMWARE_COMMIT &&
        (status == SC_FIRMWARE_NEEDS_CONVENTIONAL_RESET || status == SC_FIRMWARE_NEEDS_SUBSYSTEM_RESET ||
         status == SC_FIRMWARE_NEEDS_CONTROLLER_RESET);
    return !completion.isSuccess() && !isActivationHint;
}

namespace {

/// Where in the submission entry the fault lies, when the status alone shows it.
uint16_t parameterOf(const CommandContext& context, const CompletionEntry& completion) {
    constexpr uint16_t BYTE_OPCODE = 0;
    constexpr uint16_t BYTE_NSID = 4;
    constexpr uint16_t BYTE_CDW10 = 40;
    if (completion.status() == SC_INVALID_OPCODE) return BYTE_OPCODE;
    if (completion.status() == SC_INVALID_NAMESPACE) return BYTE_NSID;
    if (completion.status() == SC_LBA_OUT_OF_RANGE) return BYTE_CDW10;
    if (completion.status() == SC_INVALID_LOG_PAGE) return BYTE_CDW10;
    return context.parameterLocation;
}

void recordFailedCommit(CommandContext& context, const CompletionEntry& completion) {
    DriveEvent commit{DriveEvent::Kind::FIRMWARE_COMMIT};
    commit.value = context.command.cdw10 >> 3 & 7;
    commit.selector = context.command.cdw10 & 7;
    commit.statusField = completion.statusField;
    commit.before = commit.after = context.state.firmware.running;
    queueEvent(context, commit);
}

/// The first logical block of a command that names one.
uint64_t firstBlock(const SubmissionEntry& command) {
    const bool hasBlocks = !command.isAdmin && (command.opcode == OPC_READ || command.opcode == OPC_WRITE ||
                                                command.opcode == OPC_COMPARE || command.opcode == OPC_WRITE_ZEROES);
    return hasBlocks ? command.cdw10 | static_cast<uint64_t>(command.cdw11) << 32 : 0;
}

}  // namespace

void noteError(CommandContext& context, const CompletionEntry& completion) {
    const SubmissionEntry& command = context.command;
    const StatusCode status = completion.status();
    // Neither blocks that differ nor a locked drive are errors of its media.
    const bool isMediaError = status.type == SCT_MEDIA && status != SC_COMPARE_FAILURE && status != SC_ACCESS_DENIED;
    if (isMediaError) ++context.state.health.mediaErrors;
    ErrorEntry entry;
    entry.count = ++context.state.errorCount;
    entry.statusField = completion.statusField;
    entry.opcode = command.opcode;
    entry.isAdmin = command.isAdmin;
    entry.nsid = command.nsid;
    entry.parameterByte = parameterOf(context, completion);
    entry.lba = context.failingLba.value_or(firstBlock(command));
    auto& errors = context.state.errors;
    errors.insert(errors.begin(), entry);
    if (errors.size() > context.model.errorEntries) errors.resize(context.model.errorEntries);
    recordVelkoError(context, completion);
    recordOcpError(context, completion);
    const bool isCommit = command.isAdmin && command.opcode == OPC_FIRMWARE_COMMIT;
    if (isCommit && context.description.supportsFirmwareUpdate) recordFailedCommit(context, completion);
    if (isMediaError) queueEvent(context, {DriveEvent::Kind::MEDIA_ERROR});
    recordEvents(context);
    if (isMediaError) captureForController(context, "Media and data integrity error");
}

}  // namespace features::simulator
