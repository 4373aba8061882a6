#include "features/jobs/logs/PersistentEventLogParseJob.h"

#include "features/jobs/base/LogLimits.h"
#include "features/jobs/logs/LongLogs.h"
#include "features/jobs/logs/StringSink.h"
#include "features/jobs/support/InputFile.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/LogPageIds.h"
#include "features/parsers/PersistentEventLog.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

/// Makes the output of a log under the serial number that it bears.
Result<std::unique_ptr<DriveOutput>> show(const std::string& bytes, const std::string& whence, const Device* device,
                                          const std::string& title) {
    const auto log = parsers::parsePersistentEventLog(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    if (!log.isOne) {
        return withDetails(statuses::persistentEventLogCorrupted(),
                           whence + " does not begin like a persistent event log.");
    }
    auto out = std::make_unique<DriveOutput>(log.serialNumber, nullptr, device);
    out->addTree(log.tree);
    const std::string damage = log.damageText();
    if (!damage.empty()) out->addStatus(title, withDetails(statuses::persistentEventLogCorrupted(), damage));
    return out;
}

}  // namespace

PersistentEventLogParseJob::PersistentEventLogParseJob()
    : CloneableJob(ostrel::interfaces::ostreli::JOB_PERSISTENT_EVENT_LOG_PARSE, "Persistent Event Log Status") {}

Status PersistentEventLogParseJob::runMethod(const std::shared_ptr<xml::XmlObject>& output) {
    const std::string path = arguments().text(attributes::feature::pelFilePath().getName());
    if (path.empty()) return DriveJob::runMethod(output);
    TRY(const std::string bytes, readInputFile(path, decodableBytes()));
    TRY(const std::unique_ptr<DriveOutput> out, show(bytes, "'" + path + "'", nullptr, title()));
    addOutput(*output, *out);
    return Status();
}

Status PersistentEventLogParseJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    std::string bytes;
    StringSink sink(NamedLog(drive.device(), nvme::LID_PERSISTENT_EVENT), bytes);
    RETURN_IF_FAILED(readPersistentEventLog(drive, EventLogContext::PASSING, sink));
    TRY(const auto log, show(bytes, "The log of drive " + drive.name(), &drive.device(), title()));
    for (auto& object : log->take()) out.add(std::move(object));
    return Status();
}

}  // namespace features::jobs
