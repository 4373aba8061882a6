#include "features/jobs/logs/PersistentEventLogJob.h"

#include "features/jobs/logs/LongLogs.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/LogPageIds.h"
#include "features/parsers/PersistentEventLog.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr const char* NEW_CONTEXT = "new_context";
constexpr const char* READ = "read";
constexpr const char* RELEASE = "release";

std::string actionOf(const Arguments& arguments) {
    const std::string action = arguments.text(attributes::feature::action().getName());
    return action.empty() ? NEW_CONTEXT : action;
}

}  // namespace

PersistentEventLogJob::PersistentEventLogJob()
    : CloneableJob(ostrel::interfaces::ostreli::JOB_PERSISTENT_EVENT_LOG, "persistenteventlog",
                   {parsers::PersistentEventLog::HEADER_BYTES, statuses::deviceDataRetrievalFailed}) {}

Status PersistentEventLogJob::checkRequest(const Arguments& arguments) {
    const std::string action = actionOf(arguments);
    if (action == NEW_CONTEXT || action == READ || action == RELEASE) return Status();
    return withDetails(statuses::invalidPersistentEventLogAction(),
                       "'" + action + "' is none of " + NEW_CONTEXT + ", " + READ + " and " + RELEASE + ".");
}

uint8_t PersistentEventLogJob::logId(const Arguments&) const {
    return nvme::LID_PERSISTENT_EVENT;
}

Status PersistentEventLogJob::dumpDrive(nvme::Drive& drive, const Arguments& arguments, LogSink& log) {
    const std::string action = actionOf(arguments);
    if (action == RELEASE) return statusOf(releaseEventLogContext(drive));
    const auto context = action == READ ? EventLogContext::ESTABLISHED : EventLogContext::NEW;
    return statusOf(readPersistentEventLog(drive, context, log));
}

Status PersistentEventLogJob::ataRefusal() const {
    return statuses::persistentEventLogNotSupported();
}

}  // namespace features::jobs
