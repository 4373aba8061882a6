#include "features/jobs/logs/TelemetryLogJob.h"

#include "features/jobs/logs/LongLogs.h"
#include "features/nvme/Opcodes.h"
#include "features/parsers/TelemetryHeader.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace keys = attributes::feature;

namespace {

Status readRequest(const Arguments& arguments, TelemetryRequest& request) {
    const std::string areaKey = keys::dataArea().getName();
    std::optional<uint64_t> area;
    Status status = arguments.number(areaKey, parsers::TelemetryHeader::MAX_AREAS, area);
    if (failed(status) || area == 0) {
        return Status(CATEGORY_FEATURE, statuses::invalidProperty().getCode(),
                      "Invalid value given for " + areaKey + ": '" + arguments.text(areaKey) +
                          "'. It must be a number from 1 to 3.");
    }
    request.dataArea = static_cast<unsigned>(area.value_or(request.dataArea));
    std::optional<bool> flag;
    status = arguments.boolean(keys::hostInitiated().getName(), flag);
    if (failed(status)) return status;
    request.hostInitiated = flag.value_or(request.hostInitiated);
    flag.reset();
    status = arguments.boolean(keys::retainAsynchronousEvent().getName(), flag);
    request.retainEvent = flag.value_or(request.retainEvent);
    return status;
}

}  // namespace

TelemetryLogJob::TelemetryLogJob()
    : CloneableJob(ostrel::interfaces::ostreli::JOB_TELEMETRY_LOG, "TelemetryLog",
                   {parsers::TelemetryHeader::BYTES, statuses::telemetryRetrievalFailed}) {}

Status TelemetryLogJob::checkRequest(const Arguments& arguments) {
    TelemetryRequest request;
    return readRequest(arguments, request);
}

uint8_t TelemetryLogJob::logId(const Arguments& arguments) const {
    TelemetryRequest request;
    (void)readRequest(arguments, request);  // checkRequest() had no objection
    return request.hostInitiated ? nvme::LID_TELEMETRY_HOST : nvme::LID_TELEMETRY_CONTROLLER;
}

Status TelemetryLogJob::dumpDrive(nvme::Drive& drive, const Arguments& arguments, LogSink& log) {
    TelemetryRequest request;
    const Status status = readRequest(arguments, request);
    return succeeded(status) ? readTelemetryLog(drive, request, log) : status;
}

}  // namespace features::jobs
