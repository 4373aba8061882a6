#include "features/jobs/logs/TelemetryLogParseJob.h"

#include <string>

#include "features/errors/PayloadCopy.h"
#include "features/jobs/base/LogLimits.h"
#include "features/jobs/drive/DriveFacts.h"
#include "features/jobs/drive/OcpLogOffers.h"
#include "features/jobs/logs/LongLogs.h"
#include "features/jobs/logs/NvmeLogPage.h"
#include "features/jobs/logs/StringSink.h"
#include "features/jobs/logs/TelemetryLogJob.h"
#include "features/jobs/support/InputFile.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/OcpLogPages.h"
#include "features/parsers/TelemetryHeader.h"
#include "features/parsers/TelemetryLog.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace keys = attributes::feature;

namespace {

/// Shows a log. `whence`: begins a sentence on its bytes.
Status show(const std::string& bytes, const Payload& stringLog, const std::string& whence, const std::string& title,
            DriveOutput& out) {
    if (bytes.size() < parsers::TelemetryHeader::BYTES)
        return withDetails(statuses::telemetryFileTooSmall(),
                           whence + " has " + std::to_string(bytes.size()) + " bytes.");
    const auto log =
        parsers::parseTelemetryLog(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), stringLog);
    if (!log.isOne)
        return withDetails(statuses::telemetryRetrievalFailed(), whence + " does not begin like a telemetry log.");
    out.addTree(log.tree);
    const std::string damage = log.damageText();
    if (!damage.empty()) out.addStatus(title, withDetails(statuses::telemetryObjectOverrun(), damage));
    return Status();
}

/// The maker's names; empty on a drive that is not known to have the page.
Result<Payload> readStringLog(nvme::Drive& drive) {
    DriveFacts facts(drive);
    const nvme::OcpLogPageRow& row = *nvme::findOcpLogPage(nvme::LID_OCP_TELEMETRY_STRINGS);
    TRY(const bool isOffered, isOcpLogOffered(facts, row));
    if (!isOffered) return Payload();
    NvmeLogRequest request;
    request.isOcp = true;
    TRY(const Payload page, readLogPage(facts, request, row.page.lid));
    return page;
}

}  // namespace

TelemetryLogParseJob::TelemetryLogParseJob()
    : CloneableJob(ostrel::interfaces::ostreli::JOB_TELEMETRY_LOG_PARSE, "Telemetry Log Status") {}

Status TelemetryLogParseJob::checkRequest(const Arguments& arguments) {
    return statusOf(TelemetryLogJob::readRequest(arguments));
}

Status TelemetryLogParseJob::runMethod(const std::shared_ptr<xml::XmlObject>& output) {
    const std::string path = arguments().text(keys::telemetryBinaryFilePath().getName());
    if (path.empty()) return DriveJob::runMethod(output);
    TRY(const std::string bytes, readInputFile(path, decodableBytes()));
    const std::string strings = arguments().text(keys::inputConfiguration().getName());
    std::string stringBytes;
    if (!strings.empty()) {
        TRY(stringBytes, readInputFile(strings, decodableBytes()));
    }
    const Payload stringLog = copyOf(stringBytes.data(), stringBytes.size());
    DriveOutput out("", nullptr, nullptr);
    RETURN_IF_FAILED(show(bytes, stringLog, "'" + path + "'", title(), out));
    addOutput(*output, out);
    return Status();
}

Status TelemetryLogParseJob::actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    TRY(const TelemetryRequest request, TelemetryLogJob::readRequest(arguments));
    const uint8_t lid = request.hostInitiated ? nvme::LID_TELEMETRY_HOST : nvme::LID_TELEMETRY_CONTROLLER;
    std::string bytes;
    StringSink sink(NamedLog(drive.device(), lid), bytes);
    RETURN_IF_FAILED(readTelemetryLog(drive, request, sink));
    TRY(const Payload stringLog, readStringLog(drive));
    return show(bytes, stringLog, "The log of drive " + drive.name(), title(), out);
}

}  // namespace features::jobs
