#include "features/jobs/settings/OcpErrorInjectionJob.h"

#include <algorithm>

#include "features/errors/Result.h"
#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/settings/FeatureAccess.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/FeatureIds.h"
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
    TRY(isSet_, isSetRequest(arguments));
    if (!isSet_) return Status();
    RETURN_IF_FAILED(checkOneDrive(getDevices().size()));
    return readEntries(arguments);
}

Status OcpErrorInjectionJob::readEntries(const Arguments& arguments) {
    const std::string list = arguments.text(key::errorInjectionEntries().getName());
    const std::string file = arguments.text(key::errorInjectionEntryFile().getName());
    if (list.empty() == file.empty()) {
        return withDetails(statuses::errorInjectionMisconfigured(),
                           "Give either " + key::errorInjectionEntries().getName() + " or " +
                               key::errorInjectionEntryFile().getName() + ".");
    }
    TRY(entries_, file.empty() ? readErrorInjections(list) : readErrorInjectionFile(file));
    return Status();
}

Status OcpErrorInjectionJob::showDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    const nvme::FeatureRow& feature = *nvme::findOcpFeature(nvme::FID_OCP_ERROR_INJECTION);
    TRY(const FeatureAddress address, requireOcpFeature(drive, feature.fid));
    nvme::FeatureRequest request = address.request(feature.fid);
    request.dataLength = feature.dataLength;
    TRY(const nvme::Answer answer,
        readFeature(drive, request, nvme::Select::CURRENT, statuses::driveDoesNotSupportFeature()));
    out.addTree(decodeAnswer(feature, nvme::Select::CURRENT, answer));
    return Status();
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
    return checkDestruction(drive.device(), scope);
}

Status OcpErrorInjectionJob::write(nvme::Drive& drive, DriveOutput& out) const {
    const Payload data = errorInjectionData(entries_);
    if (data.getSize() == 0) return statuses::mallocFailed();
    RETURN_IF_FAILED(checkUse(drive));
    TRY(const FeatureAddress address, requireOcpFeature(drive, nvme::FID_OCP_ERROR_INJECTION));
    nvme::FeatureRequest request = address.request(nvme::FID_OCP_ERROR_INJECTION);
    request.cdw11 = nvme::withField(*nvme::findOcpSetField(request.fid), 0, static_cast<uint32_t>(entries_.size()));
    RETURN_IF_FAILED(checkUse(drive));  // again: much may have happened meanwhile
    RETURN_IF_FAILED(drive.setFeature(request, false, data));
    out.addStatus(title(), Status(0, 0, "Error injections set: " + std::to_string(entries_.size()) + "."));
    return Status();
}

Status OcpErrorInjectionJob::ataRefusal() const {
    return statuses::ocpNotSupported();
}

}  // namespace features::jobs
