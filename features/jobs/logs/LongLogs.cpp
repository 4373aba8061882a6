#include "features/jobs/logs/LongLogs.h"

#include <string>

#include "features/jobs/base/LogLimits.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Opcodes.h"
#include "features/parsers/PersistentEventLog.h"
#include "features/parsers/TelemetryHeader.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::ControllerCapabilities;
using parsers::PersistentEventLog;
using parsers::TelemetryHeader;

namespace {

/// Log Specific Field.
constexpr uint8_t LSP_CREATE_TELEMETRY = 1;
constexpr uint8_t LSP_READ_EVENTS = 0;
constexpr uint8_t LSP_ESTABLISH_CONTEXT = 1;
constexpr uint8_t LSP_RELEASE_CONTEXT = 2;

bool isCommandSequenceError(const nvme::Drive& drive) {
    return drive.lastCompletion().is(0x0, 0x0C);
}

/// `missing` on a drive that does not support the page.
Status requireLog(nvme::Drive& drive, bool (ControllerCapabilities::*isSupported)() const, const Status& missing) {
    const uint8_t* identify = nullptr;
    const Status status = drive.identifyController(identify);
    if (failed(status)) return status;
    if ((ControllerCapabilities(identify).*isSupported)()) return Status();
    return withDetails(missing, "Drive " + drive.name() + " has none.");
}

/// One reading of a telemetry log.
class Telemetry {
public:
    Telemetry(nvme::Drive& drive, const TelemetryRequest& request, LogSink& log)
        : drive_(drive), request_(request), log_(log) {}

    /// `changed`: whether another capture took the place of the one that was read.
    Status read(bool createsCapture, bool& changed) {
        Payload head;
        Status status = readHeader(createsCapture ? LSP_CREATE_TELEMETRY : uint8_t{0}, true, head);
        if (failed(status)) return status;
        const TelemetryHeader header(head.getData());
        const uint64_t length = header.lengthBytes(request_.dataArea);
        status = log_.begin(length);
        if (succeeded(status)) status = log_.add(head.getData(), TelemetryHeader::BYTES);
        nvme::LogPageRequest page = pageRequest(true);
        page.offset = TelemetryHeader::BYTES;
        if (succeeded(status)) status = statusOf(copyLog(drive_, page, length, log_));
        Payload after;
        if (succeeded(status)) status = readHeader(0, true, after);
        if (succeeded(status)) changed = TelemetryHeader(after.getData()).generation != header.generation;
        return status;
    }

    /// Lets the drive know that the log was read.
    Status acknowledge() {
        Payload head;
        return request_.hostInitiated || request_.retainEvent ? Status() : readHeader(0, false, head);
    }

private:
    /// Only log 08h reports an event.
    nvme::LogPageRequest pageRequest(bool retain) const {
        nvme::LogPageRequest page;
        page.lid = request_.hostInitiated ? nvme::LID_TELEMETRY_HOST : nvme::LID_TELEMETRY_CONTROLLER;
        page.retainEvent = request_.hostInitiated ? request_.retainEvent : retain;
        return page;
    }
    Status readHeader(uint8_t lsp, bool retain, Payload& head) {
        nvme::LogPageRequest page = pageRequest(retain);
        page.lsp = lsp;
        return drive_.readLogPage(page, TelemetryHeader::BYTES, head);
    }

    nvme::Drive& drive_;
    const TelemetryRequest& request_;
    LogSink& log_;
};

/// The first bytes of the persistent event log, or an action on its context.
Status readEventLogHeader(nvme::Drive& drive, uint8_t lsp, Payload& head) {
    nvme::LogPageRequest page;
    page.lid = nvme::LID_PERSISTENT_EVENT;
    page.lsp = lsp;
    return drive.readLogPage(page, PersistentEventLog::HEADER_BYTES, head);
}

/// Opens the context and reads the header in it. `isOurs`: whether it is a new one.
Status enterContext(nvme::Drive& drive, EventLogContext context, Payload& head, bool& isOurs) {
    isOurs = context != EventLogContext::ESTABLISHED;
    Status status = readEventLogHeader(drive, isOurs ? LSP_ESTABLISH_CONTEXT : LSP_READ_EVENTS, head);
    if (succeeded(status)) return status;
    if (!isCommandSequenceError(drive)) {
        isOurs = false;
        return status;
    }
    switch (context) {
        case EventLogContext::ESTABLISHED:
            return withDetails(statuses::persistentEventLogNoContext(), "Drive " + drive.name() + ".");
        case EventLogContext::PASSING:
            isOurs = false;
            return readEventLogHeader(drive, LSP_READ_EVENTS, head);
        case EventLogContext::NEW:
            break;
    }
    status = releaseEventLogContext(drive);
    if (succeeded(status)) status = readEventLogHeader(drive, LSP_ESTABLISH_CONTEXT, head);
    isOurs = succeeded(status);
    return status;
}

Status readEvents(nvme::Drive& drive, const Payload& head, LogSink& log) {
    const uint64_t length = parsers::persistentEventLogBytes(head.getData());
    if (length > MAX_LOG_BYTES) {
        return withDetails(statuses::persistentEventLogCorrupted(),
                           "Drive " + drive.name() + " says that it has " + std::to_string(length) + " bytes.");
    }
    Status status = log.begin(length);
    if (succeeded(status)) status = log.add(head.getData(), PersistentEventLog::HEADER_BYTES);
    nvme::LogPageRequest page;
    page.lid = nvme::LID_PERSISTENT_EVENT;
    page.offset = PersistentEventLog::HEADER_BYTES;
    return succeeded(status) ? statusOf(copyLog(drive, page, length, log)) : status;
}

}  // namespace

Status readTelemetryLog(nvme::Drive& drive, const TelemetryRequest& request, LogSink& log) {
    Status status = requireLog(drive, &ControllerCapabilities::supportsTelemetry, statuses::telemetryNotSupported());
    if (failed(status)) return status;
    Telemetry telemetry(drive, request, log);
    bool changed = false;
    status = telemetry.read(request.hostInitiated, changed);
    if (succeeded(status) && changed) status = telemetry.read(false, changed);
    if (failed(status)) return missingLogAs(status, drive, statuses::telemetryNotSupported());
    if (changed) {
        return withDetails(statuses::telemetryRetrievalFailed(),
                           "Drive " + drive.name() + " made another capture while its log was read, twice.");
    }
    return telemetry.acknowledge();
}

Status inEventLogContext(nvme::Drive& drive, const std::function<Status()>& read) {
    Payload head;
    bool isOurs = false;
    Status status = enterContext(drive, EventLogContext::PASSING, head, isOurs);
    if (failed(status)) return status;
    status = read();
    if (!isOurs) return status;
    const Status released = releaseEventLogContext(drive);
    return succeeded(status) ? released : status;
}

Status readPersistentEventLog(nvme::Drive& drive, EventLogContext context, LogSink& log) {
    Status status = requireLog(drive, &ControllerCapabilities::supportsPersistentEventLog,
                               statuses::persistentEventLogNotSupported());
    if (failed(status)) return status;
    Payload head;
    bool isOurs = false;
    status = enterContext(drive, context, head, isOurs);
    if (failed(status)) return missingLogAs(status, drive, statuses::persistentEventLogNotSupported());
    status = readEvents(drive, head, log);
    if (isOurs && (context == EventLogContext::PASSING || failed(status))) {
        const Status released = releaseEventLogContext(drive);
        if (succeeded(status)) status = released;
    }
    return status;
}

Status releaseEventLogContext(nvme::Drive& drive) {
    Payload ignored;  // the drive gives its header along, for which there is no use
    return readEventLogHeader(drive, LSP_RELEASE_CONTEXT, ignored);
}

}  // namespace features::jobs
