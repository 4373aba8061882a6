#include "features/jobs/logs/LongLogs.h"

#include <string>

#include "features/jobs/base/LogLimits.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/logs/TelemetryArea4.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"
#include "features/parsers/PersistentEventLog.h"
#include "features/parsers/TelemetryHeader.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::CommandError;
using nvme::ControllerCapabilities;
using parsers::PersistentEventLog;
using parsers::TelemetryHeader;

namespace {

/// Log Specific Field.
constexpr uint8_t LSP_CREATE_TELEMETRY = 1;
constexpr uint8_t LSP_READ_EVENTS = 0;
constexpr uint8_t LSP_ESTABLISH_CONTEXT = 1;
constexpr uint8_t LSP_RELEASE_CONTEXT = 2;

/// The data areas that every drive with telemetry hands out.
constexpr unsigned LAST_AREA_OF_ALL = 3;

bool isCommandSequenceError(const CommandError& error) {
    return error.completion.is(nvme::SC_COMMAND_SEQUENCE_ERROR);
}

/// `missing` on a drive that does not support the page.
Status requireLog(nvme::Drive& drive, bool (ControllerCapabilities::*isSupported)() const, const Status& missing) {
    TRY(const uint8_t* const identify, drive.identifyController());
    if ((ControllerCapabilities(identify).*isSupported)()) return Status();
    return withDetails(missing, "Drive " + drive.name() + " has none.");
}

/// One reading of a telemetry log.
class Telemetry {
public:
    Telemetry(nvme::Drive& drive, const TelemetryRequest& request, LogSink& log)
        : drive_(drive), request_(request), log_(log) {}

    /// Whether another capture took the place of the one that was read.
    Result<bool, CommandError> read(bool createsCapture) {
        TRY(const Payload head, readHeader(createsCapture ? LSP_CREATE_TELEMETRY : uint8_t{0}, true));
        const TelemetryHeader header(head.getData());
        const uint64_t length = header.lengthBytes(request_.dataArea);
        RETURN_IF_FAILED(log_.begin(length));
        RETURN_IF_FAILED(log_.add(head.getData(), TelemetryHeader::BYTES));
        nvme::LogPageRequest page = pageRequest(true);
        page.offset = TelemetryHeader::BYTES;
        RETURN_IF_FAILED(copyLog(drive_, page, length, log_));
        TRY(const Payload after, readHeader(0, true));
        return TelemetryHeader(after.getData()).generation != header.generation;
    }

    /// Lets the drive know that the log was read.
    Result<void, CommandError> acknowledge() {
        if (!request_.hostInitiated && !request_.retainEvent) RETURN_IF_FAILED(readHeader(0, false));
        return {};
    }

private:
    /// Only log 08h reports an event.
    nvme::LogPageRequest pageRequest(bool retain) const {
        nvme::LogPageRequest page;
        page.lid = request_.hostInitiated ? nvme::LID_TELEMETRY_HOST : nvme::LID_TELEMETRY_CONTROLLER;
        page.retainEvent = request_.hostInitiated ? request_.retainEvent : retain;
        return page;
    }
    Result<Payload, CommandError> readHeader(uint8_t lsp, bool retain) {
        nvme::LogPageRequest page = pageRequest(retain);
        page.lsp = lsp;
        return drive_.readLogPage(page, TelemetryHeader::BYTES);
    }

    nvme::Drive& drive_;
    const TelemetryRequest& request_;
    LogSink& log_;
};

/// The first bytes of the persistent event log, or an action on its context.
Result<Payload, CommandError> readEventLogHeader(nvme::Drive& drive, uint8_t lsp) {
    nvme::LogPageRequest page;
    page.lid = nvme::LID_PERSISTENT_EVENT;
    page.lsp = lsp;
    return drive.readLogPage(page, PersistentEventLog::HEADER_BYTES);
}

/// A context that is open, and the header that was read in it.
struct OpenContext {
    Payload head;
    bool isOurs;  ///< a new one
};

Result<OpenContext, CommandError> enterContext(nvme::Drive& drive, EventLogContext context) {
    const bool establishes = context != EventLogContext::ESTABLISHED;
    const auto head = readEventLogHeader(drive, establishes ? LSP_ESTABLISH_CONTEXT : LSP_READ_EVENTS);
    if (head) return OpenContext{*head, establishes};
    if (!isCommandSequenceError(head.error())) return head.error();
    if (context == EventLogContext::ESTABLISHED) {
        return CommandError(withDetails(statuses::persistentEventLogNoContext(), "Drive " + drive.name() + "."),
                            head.error().completion);
    }
    if (context == EventLogContext::NEW) RETURN_IF_FAILED(releaseEventLogContext(drive));
    const bool isOurs = context == EventLogContext::NEW;
    TRY(const Payload second, readEventLogHeader(drive, isOurs ? LSP_ESTABLISH_CONTEXT : LSP_READ_EVENTS));
    return OpenContext{second, isOurs};
}

Result<void, CommandError> readEvents(nvme::Drive& drive, const Payload& head, LogSink& log) {
    const uint64_t length = nvme::persistentEventLogBytes(head.getData());
    if (length > MAX_LOG_BYTES) {
        return withDetails(statuses::persistentEventLogCorrupted(),
                           "Drive " + drive.name() + " says that it has " + std::to_string(length) + " bytes.");
    }
    RETURN_IF_FAILED(log.begin(length));
    RETURN_IF_FAILED(log.add(head.getData(), PersistentEventLog::HEADER_BYTES));
    nvme::LogPageRequest page;
    page.lid = nvme::LID_PERSISTENT_EVENT;
    page.offset = PersistentEventLog::HEADER_BYTES;
    return copyLog(drive, page, length, log);
}

}  // namespace

namespace {

Result<void, CommandError> readTelemetryAreas(nvme::Drive& drive, const TelemetryRequest& request, LogSink& log) {
    Telemetry telemetry(drive, request, log);
    auto changed = telemetry.read(request.hostInitiated);
    if (changed && *changed) changed = telemetry.read(false);
    if (!changed) return missingLogAs(changed.error(), statuses::telemetryNotSupported());
    if (*changed) {
        return withDetails(statuses::telemetryRetrievalFailed(),
                           "Drive " + drive.name() + " made another capture while its log was read, twice.");
    }
    return telemetry.acknowledge();
}

}  // namespace

Result<void, CommandError> readTelemetryLog(nvme::Drive& drive, const TelemetryRequest& request, LogSink& log) {
    RETURN_IF_FAILED(requireLog(drive, &ControllerCapabilities::supportsTelemetry, statuses::telemetryNotSupported()));
    if (request.dataArea <= LAST_AREA_OF_ALL) return readTelemetryAreas(drive, request, log);
    return withTelemetryArea4(drive, log, [&](LogSink& sink) { return readTelemetryAreas(drive, request, sink); });
}

Result<void, CommandError> inEventLogContext(nvme::Drive& drive,
                                             const std::function<Result<void, CommandError>()>& read) {
    TRY(const OpenContext context, enterContext(drive, EventLogContext::PASSING));
    const auto result = read();
    if (!context.isOurs) return result;
    const auto released = releaseEventLogContext(drive);
    return result ? released : result;
}

Result<void, CommandError> readPersistentEventLog(nvme::Drive& drive, EventLogContext context, LogSink& log) {
    RETURN_IF_FAILED(requireLog(drive, &ControllerCapabilities::supportsPersistentEventLog,
                                statuses::persistentEventLogNotSupported()));
    const auto open = enterContext(drive, context);
    if (!open) return missingLogAs(open.error(), statuses::persistentEventLogNotSupported());
    const auto result = readEvents(drive, open->head, log);
    if (!open->isOurs || (context == EventLogContext::NEW && result)) return result;
    const auto released = releaseEventLogContext(drive);
    return result ? released : result;
}

Result<void, CommandError> releaseEventLogContext(nvme::Drive& drive) {
    RETURN_IF_FAILED(readEventLogHeader(drive, LSP_RELEASE_CONTEXT));  // the drive gives its header along
    return {};
}

}  // namespace features::jobs
