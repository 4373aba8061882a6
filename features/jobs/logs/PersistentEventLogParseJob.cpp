#include "features/jobs/logs/PersistentEventLogParseJob.h"

#include "features/jobs/base/LogLimits.h"
#include "features/jobs/logs/LongLogs.h"
#include "features/jobs/support/InputFile.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Opcodes.h"
#include "features/parsers/PersistentEventLog.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

/// A log that is to be decoded.
class StringSink : public LogSink {
public:
    StringSink(const nvme::Drive& drive, std::string& bytes) : log_(drive, nvme::LID_PERSISTENT_EVENT), bytes_(bytes) {}
    Status begin(uint64_t bytes) override {
        const Status status = checkDecoding(log_, bytes);
        if (failed(status)) return status;
        bytes_.clear();
        bytes_.reserve(bytes);
        return Status();
    }
    Status add(const uint8_t* data, size_t bytes) override {
        bytes_.append(reinterpret_cast<const char*>(data), bytes);
        return Status();
    }

private:
    const NamedLog log_;
    std::string& bytes_;
};

/// Makes the output of a log under the serial number that it bears.
Status show(const std::string& bytes, const std::string& whence, const Device* device,
            std::unique_ptr<DriveOutput>& out, const std::string& title) {
    const auto log = parsers::parsePersistentEventLog(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    if (!log.isOne) {
        return withDetails(statuses::persistentEventLogCorrupted(),
                           whence + " does not begin like a persistent event log.");
    }
    out = std::make_unique<DriveOutput>(log.serialNumber, nullptr, device);
    out->addTree(log.tree);
    const std::string damage = log.damageText();
    if (!damage.empty()) out->addStatus(title, withDetails(statuses::persistentEventLogCorrupted(), damage));
    return Status();
}

}  // namespace

PersistentEventLogParseJob::PersistentEventLogParseJob()
    : CloneableJob(ostrel::interfaces::ostreli::JOB_PERSISTENT_EVENT_LOG_PARSE, "Persistent Event Log Status") {}

Status PersistentEventLogParseJob::runMethod(const std::shared_ptr<xml::XmlObject>& output) {
    const std::string path = arguments().text(attributes::feature::pelFilePath().getName());
    if (path.empty()) return DriveJob::runMethod(output);
    std::string bytes;
    Status status = readInputFile(path, decodableBytes(), bytes);
    if (failed(status)) return status;
    std::unique_ptr<DriveOutput> out;
    status = show(bytes, "'" + path + "'", nullptr, out, title());
    if (succeeded(status)) addOutput(*output, *out);
    return status;
}

Status PersistentEventLogParseJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    std::string bytes;
    StringSink sink(drive, bytes);
    Status status = readPersistentEventLog(drive, EventLogContext::PASSING, sink);
    if (failed(status)) return status;
    std::unique_ptr<DriveOutput> log;
    status = show(bytes, "The log of drive " + drive.name(), &drive.device(), log, title());
    if (failed(status)) return status;
    for (auto& object : log->take()) out.add(std::move(object));
    return Status();
}

}  // namespace features::jobs
