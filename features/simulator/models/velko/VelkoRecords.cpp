#include "features/simulator/models/velko/VelkoRecords.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/context/Timestamp.h"
#include "features/simulator/store/Extension.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr uint8_t INFORMATION = 0;
constexpr uint8_t WARNING = 1;
constexpr uint8_t ERROR = 2;
constexpr uint8_t CRITICAL = 3;
/// An nlog entry of a refused command: this and its opcode.
constexpr uint16_t CODE_REFUSED_ADMIN = 0x1000;
constexpr uint16_t CODE_REFUSED_IO = 0x2000;
constexpr uint64_t MICROSECONDS_PER_MS = 1000;
/// Where our firmware asserts.
constexpr uint32_t ASSERT_LINE = 1;
constexpr const char* ASSERT_FILE = "command.c";

bool hasLogs(const CommandContext& context) {
    return context.model.id == ModelId::VELKO;
}

void add(VelkoRing& ring, VelkoRecord record) {
    record.sequence = ring.nextSequence++;
    ring.records.push_back(record);
    if (ring.records.size() > VelkoRing::MAX_RECORDS) ring.records.erase(ring.records.begin());
}

uint64_t sinceResetMicroseconds(const CommandContext& context) {
    return (context.nowMs - std::min(context.state.health.lastResetMs, context.nowMs)) * MICROSECONDS_PER_MS;
}

uint8_t severityOf(VelkoEvent event) {
    switch (event) {
        case VelkoEvent::CRITICAL_WARNING:
        case VelkoEvent::UNSAFE_SHUTDOWN:
            return WARNING;
        case VelkoEvent::MEDIA_ERROR:
            return ERROR;
        case VelkoEvent::ASSERT:
            return CRITICAL;
        default:
            return INFORMATION;
    }
}

/// What the host's side of the drive sees goes over the bridge.
bool isOfBridge(VelkoEvent event) {
    return event == VelkoEvent::POWER_ON || event == VelkoEvent::CONTROLLER_RESET ||
           event == VelkoEvent::UNSAFE_SHUTDOWN;
}

void recordNamespaceChange(const CommandContext& context, VelkoState& velko, const DriveEvent& event) {
    constexpr uint64_t SEL_CREATE = 0;
    const bool isCreation = (event.value & 0xF) == SEL_CREATE;
    recordVelkoEvent(context, velko, isCreation ? VelkoEvent::NAMESPACE_CREATED : VelkoEvent::NAMESPACE_DELETED,
                     event.nsid);
}

void recordReset(const CommandContext& context, VelkoState& velko, VelkoEvent event) {
    VelkoFlush& flush = velko.flush;
    if (flush.wasStarted && !flush.wasStopped) {
        flush.wasStopped = true;
        flush.stoppedMs = context.nowMs;
    }
    velko.pictures.clear();
    recordVelkoEvent(context, velko, event);
}

void record(const CommandContext& context, VelkoState& velko, const DriveEvent& event) {
    using Kind = DriveEvent::Kind;
    switch (event.kind) {
        case Kind::RESET:
            return recordReset(context, velko, VelkoEvent::CONTROLLER_RESET);
        case Kind::POWER_LOSS:
            recordReset(context, velko, VelkoEvent::UNSAFE_SHUTDOWN);
            return recordVelkoEvent(context, velko, VelkoEvent::POWER_ON);
        case Kind::FIRMWARE_COMMIT:
            if (event.before == event.after) return;
            return recordVelkoEvent(context, velko, VelkoEvent::FIRMWARE_ACTIVATED, event.selector);
        case Kind::NAMESPACE_CHANGE:
            return recordNamespaceChange(context, velko, event);
        case Kind::FORMAT_COMPLETION:
            return recordVelkoEvent(context, velko, VelkoEvent::FORMAT, event.nsid);
        case Kind::SANITIZE_START:
            return recordVelkoEvent(context, velko, VelkoEvent::SANITIZE, context.state.sanitize.command & 7);
        case Kind::WARNING:
            return recordVelkoEvent(context, velko, VelkoEvent::CRITICAL_WARNING, static_cast<uint32_t>(event.value));
        case Kind::FEATURE_SET:
            return recordVelkoEvent(context, velko, VelkoEvent::FEATURE_SET, context.command.cdw10 & 0xFF);
        default:
            return;
    }
}

}  // namespace

uint64_t velkoTime(const CommandContext& context) {
    return le64(timestampData(context).data());
}

void recordVelkoEvent(const CommandContext& context, VelkoState& velko, VelkoEvent event, uint32_t first,
                      uint64_t second) {
    VelkoRecord record;
    record.code = static_cast<uint16_t>(event);
    record.severity = severityOf(event);
    putLe32(record.details.data(), first);
    putLe64(record.details.data() + 4, second);
    record.time = velkoTime(context);
    add(velko.events, record);
    record.time = sinceResetMicroseconds(context);
    add(velko.nlog, record);
    if (isOfBridge(event)) add(velko.bridgeNlog, record);
}

void recordForVelkoLogs(CommandContext& context, const DriveEvent& event) {
    if (!hasLogs(context)) return;
    VelkoState velko = readExtension<VelkoState>(context.state);
    record(context, velko, event);
    writeExtension(context.state, velko);
}

void recordVelkoError(CommandContext& context, const CompletionEntry& completion) {
    if (!hasLogs(context)) return;
    const SubmissionEntry& command = context.command;
    const StatusCode status = completion.status();
    VelkoState velko = readExtension<VelkoState>(context.state);
    VelkoRecord refused;
    refused.time = sinceResetMicroseconds(context);
    refused.code = static_cast<uint16_t>((command.isAdmin ? CODE_REFUSED_ADMIN : CODE_REFUSED_IO) + command.opcode);
    refused.severity = WARNING;
    putLe32(refused.details.data(), command.nsid);
    putLe32(refused.details.data() + 4, command.cdw10);
    putLe32(refused.details.data() + 8, command.cdw11);
    putLe32(refused.details.data() + 12, completion.statusField);
    add(velko.nlog, refused);
    if (status.type == SCT_MEDIA && status != SC_COMPARE_FAILURE) {
        const uint64_t first = command.cdw10 | static_cast<uint64_t>(command.cdw11) << 32;
        recordVelkoEvent(context, velko, VelkoEvent::MEDIA_ERROR, command.nsid, context.failingLba.value_or(first));
    }
    if (status == SC_INTERNAL_ERROR) {
        velko.asserts.push_back({velkoTime(context), command.opcode, ASSERT_LINE, ASSERT_FILE});
        if (velko.asserts.size() > VelkoState::MAX_ASSERTS) velko.asserts.erase(velko.asserts.begin());
        recordVelkoEvent(context, velko, VelkoEvent::ASSERT);
    }
    writeExtension(context.state, velko);
}

}  // namespace features::simulator
