#include "features/jobs/logs/TelemetryLogJob.h"

#include "features/jobs/logs/AtaTelemetry.h"
#include "features/jobs/logs/LongLogs.h"
#include "features/nvme/LogPageIds.h"
#include "features/parsers/TelemetryHeader.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace keys = attributes::feature;

TelemetryLogJob::TelemetryLogJob()
    : CloneableJob(ostrel::interfaces::ostreli::JOB_TELEMETRY_LOG, "TelemetryLog",
                   {parsers::TelemetryHeader::BYTES, statuses::telemetryRetrievalFailed}) {}

Result<TelemetryRequest> TelemetryLogJob::readRequest(const Arguments& arguments) {
    TelemetryRequest request;
    const std::string areaKey = keys::dataArea().getName();
    const auto area = arguments.number(areaKey, parsers::TelemetryHeader::MAX_AREAS);
    if (!area || *area == 0) {
        return Status(CATEGORY_FEATURE, statuses::invalidProperty().getCode(),
                      "Invalid value given for " + areaKey + ": '" + arguments.text(areaKey) +
                          "'. It must be a number from 1 to 4.");
    }
    request.dataArea = static_cast<unsigned>(area->value_or(request.dataArea));
    TRY(const std::optional<bool> hostInitiated, arguments.boolean(keys::hostInitiated().getName()));
    request.hostInitiated = hostInitiated.value_or(request.hostInitiated);
    TRY(const std::optional<bool> retain, arguments.boolean(keys::retainAsynchronousEvent().getName()));
    request.retainEvent = retain.value_or(request.retainEvent);
    return request;
}

Status TelemetryLogJob::checkRequest(const Arguments& arguments) {
    return statusOf(readRequest(arguments));
}

uint8_t TelemetryLogJob::logId(const Arguments& arguments) const {
    const TelemetryRequest request = readRequest(arguments).value_or(TelemetryRequest());  // checkRequest() read it
    return request.hostInitiated ? nvme::LID_TELEMETRY_HOST : nvme::LID_TELEMETRY_CONTROLLER;
}

Status TelemetryLogJob::dumpDrive(nvme::Drive& drive, const Arguments& arguments, LogSink& log) {
    TRY(const TelemetryRequest request, readRequest(arguments));
    return statusOf(readTelemetryLog(drive, request, log));
}

Status TelemetryLogJob::dumpAtaDrive(ata::Drive& drive, const Arguments& arguments, LogSink& log) {
    TRY(const TelemetryRequest request, readRequest(arguments));
    return statusOf(readInternalStatus(drive, request, log));
}

}  // namespace features::jobs
