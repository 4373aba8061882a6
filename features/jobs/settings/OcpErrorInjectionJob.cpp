#include "features/jobs/settings/OcpErrorInjectionJob.h"

#include <algorithm>

#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/settings/FeatureAccess.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Opcodes.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace key = ostrel::core::attributes::feature;

OcpErrorInjectionJob::OcpErrorInjectionJob()
    : CloneableJob(ostrel::interfaces::ostreli::JOB_OCP_ERROR_INJECTION,
                   nvme::findOcpFeature(nvme::FID_OCP_ERROR_INJECTION)->name) {}

Status OcpErrorInjectionJob::checkRequest(const Arguments& arguments) {
    Status status = readSetGetType(arguments, isSet_);
    if (succeeded(status) && isSet_) status = checkOneDrive(getDevices().size());
    return succeeded(status) && isSet_ ? readEntries(arguments) : status;
}

Status OcpErrorInjectionJob::readEntries(const Arguments& arguments) {
    const std::string list = arguments.text(key::errorInjectionEntries().getName());
    const std::string file = arguments.text(key::errorInjectionEntryFile().getName());
    if (list.empty() == file.empty()) {
        return withDetails(statuses::errorInjectionMisconfigured(),
                           "Give either " + key::errorInjectionEntries().getName() + " or " +
                               key::errorInjectionEntryFile().getName() + ".");
    }
    return file.empty() ? readErrorInjections(list, entries_) : readErrorInjectionFile(file, entries_);
}

Status OcpErrorInjectionJob::showDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    Status status = requireOcp(drive);
    if (failed(status)) return status;
    const nvme::FeatureRow& feature = *nvme::findOcpFeature(nvme::FID_OCP_ERROR_INJECTION);
    nvme::FeatureRequest request;
    request.fid = feature.fid;
    request.dataLength = feature.dataLength;
    nvme::Answer answer;
    status = readFeature(drive, request, nvme::Select::CURRENT, statuses::driveDoesNotSupportFeature(), answer);
    if (succeeded(status)) out.addTree(decodeAnswer(feature, nvme::Select::CURRENT, answer));
    return status;
}

Status OcpErrorInjectionJob::actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    return isSet_ ? write(drive, out) : showDrive(drive, arguments, out);
}

Status OcpErrorInjectionJob::checkUse(nvme::Drive& drive) const {
    const bool enables =
        std::any_of(entries_.begin(), entries_.end(), [](const ErrorInjection& entry) { return entry.enabled; });
    if (!enables) return Status();
    DestructionScope scope;
    scope.partitionsCount = false;
    return checkDestruction(drive, scope);
}

Status OcpErrorInjectionJob::write(nvme::Drive& drive, DriveOutput& out) const {
    const Payload data = errorInjectionData(entries_);
    Status status = data.getSize() == 0 ? statuses::mallocFailed() : checkUse(drive);
    if (succeeded(status)) status = requireOcp(drive);
    nvme::FeatureRequest request;
    request.fid = nvme::FID_OCP_ERROR_INJECTION;
    request.cdw11 = nvme::withField(*nvme::findOcpSetField(request.fid), 0, static_cast<uint32_t>(entries_.size()));
    nvme::Answer answer;
    if (succeeded(status)) status = checkUse(drive);  // again: much may have happened meanwhile
    if (succeeded(status)) status = drive.setFeature(request, false, data, answer);
    if (failed(status)) return status;
    out.addStatus(title(), Status(0, 0, "Error injections set: " + std::to_string(entries_.size()) + "."));
    return status;
}

}  // namespace features::jobs
