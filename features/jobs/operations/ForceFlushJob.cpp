#include "features/jobs/operations/ForceFlushJob.h"

#include <optional>

#include "features/errors/Result.h"
#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/Refusals.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/NvmeCommand.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/VelkoInterface.h"
#include "features/nvme/VelkoLogPages.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace key = ostrel::core::attributes::feature;

namespace {

constexpr RefusalRow REFUSALS[] = {
    {nvme::SC_VELKO_FLUSH_IN_PROGRESS, statuses::backgroundProcessRunning},
    {nvme::SC_VELKO_FLUSH_NOT_IN_PROGRESS, statuses::backgroundProcessNotRunning},
    {nvme::SC_SANITIZE_IN_PROGRESS, statuses::sanitizeInProgress},
    {nvme::SC_INVALID_OPCODE, statuses::driveDoesNotSupportFeature},
};

}  // namespace

ForceFlushJob::ForceFlushJob() : CloneableJob(ostrel::interfaces::ostreli::JOB_FORCE_FLUSH, "Performance Booster") {}

Status ForceFlushJob::runMethod(const std::shared_ptr<xml::XmlObject>& output) {
    const std::string start = key::startForceFlush().getName();
    RETURN_IF_FAILED(checkOneDrive(getDevices().size()));
    TRY(const std::optional<bool> isStart, arguments().boolean(start));
    if (!isStart) return withDetails(statuses::noProperties(), start + " must be true to start, or false to stop.");
    return DriveJob::runMethod(output);
}

Status ForceFlushJob::showDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    Status missing = statuses::driveDoesNotSupportFeature();
    if (!isVelkoDrive(drive)) return missing;
    const auto page = readLog(drive, nvme::LID_VELKO_FORCE_FLUSH, nvme::VELKO_FORCE_FLUSH_BYTES);
    if (!page) return missingLogAs(page.error(), missing);
    out.addTree(nvme::decodeVelkoForceFlush(*page));
    return Status();
}

Status ForceFlushJob::actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    if (!isVelkoDrive(drive)) return statuses::driveDoesNotSupportFeature();
    const bool isStart = arguments.flag(key::startForceFlush().getName());
    nvme::NvmeCommand command(nvme::Queue::ADMIN, nvme::OPC_VELKO_FORCE_FLUSH, "Force Flush");
    command.cdw10 = isStart ? 1 : 0;
    const auto sent = drive.send(command);
    if (!sent) return mapNvmeStatus(REFUSALS, statuses::nvmeCommandProblem, sent.error());
    out.addStatus(
        title(), Status(0, 0, isStart ? "The performance booster is started." : "The performance booster is stopped."));
    return Status();
}

}  // namespace features::jobs
