#include "features/jobs/settings/MaxAddressJob.h"

#include <string>

#include "features/errors/PayloadCopy.h"
#include "features/errors/Result.h"
#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/drive/Refusals.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/settings/AtaMaxAddress.h"
#include "features/jobs/settings/MaximumLba.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/VelkoFeatures.h"
#include "features/nvme/VelkoInterface.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/SignalBlock.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace key = ostrel::core::attributes::feature;

namespace {

constexpr RefusalRow REFUSALS[] = {
    {nvme::SC_INVALID_FIELD, statuses::maxAddressNotSupported},
};

/// The only namespace that is allocated. The feature does not say which one it means.
Result<uint32_t> findOnlyNamespace(nvme::Drive& drive) {
    TRY(const uint8_t* const identify, drive.identifyController());
    const bool isManaged = nvme::ControllerCapabilities(identify).supportsNamespaceManagement();
    TRY(const Payload list,
        drive.identify(isManaged ? nvme::CNS_ALLOCATED_NAMESPACES : nvme::CNS_ACTIVE_NAMESPACES, 0));
    const uint32_t nsid = nvme::le32(list.getData());
    if (nsid == 0)
        return withDetails(statuses::featureBlockedByConfiguration(), "Drive " + drive.name() + " has no namespace.");
    if (nvme::le32(list.getData() + 4) != 0) return statuses::moreThanOneNamespace();
    return nsid;
}

Result<uint64_t> readLba(nvme::Drive& drive, const FeatureAddress& address, uint8_t fid) {
    nvme::FeatureRequest request = address.request(fid);
    request.dataLength = nvme::VELKO_LBA_BYTES;
    const auto answer = drive.getFeature(request, nvme::Select::CURRENT);
    if (!answer) return mapNvmeStatus(REFUSALS, statuses::nvmeCommandProblem, answer.error());
    return nvme::le64(answer->data.getData());
}

Result<uint64_t> readBlockBytes(nvme::Drive& drive, uint32_t nsid) {
    TRY(const Payload identify, drive.identify(nvme::CNS_NAMESPACE, nsid));
    const uint64_t bytes = nvme::NamespaceProperties(identify.getData()).format().dataBytes();
    if (bytes == 0) return statuses::invalidMaxAddressSectorSize();
    return bytes;
}

Result<uint64_t> findLba(nvme::Drive& drive, const FeatureAddress& address, const MaximumLba& wanted) {
    TRY(const uint32_t nsid, findOnlyNamespace(drive));
    TRY(const uint64_t native, readLba(drive, address, nvme::FID_VELKO_NATIVE_MAXIMUM_LBA));
    uint64_t blockBytes = 0;
    if (wanted.unit == MaximumLba::Unit::GIGABYTES) {
        TRY(blockBytes, readBlockBytes(drive, nsid));
    }
    return addressOf(wanted, native, blockBytes, drive.name());
}

Status writeLba(nvme::Drive& drive, const FeatureAddress& address, uint64_t lba) {
    uint8_t data[nvme::VELKO_LBA_BYTES] = {};
    nvme::putLe64(data, lba);
    const nvme::FeatureRequest request = address.request(nvme::FID_VELKO_MAXIMUM_LBA);
    const auto set = drive.setFeature(request, false, copyOf(data, sizeof data));
    return set ? Status() : mapNvmeStatus(REFUSALS, statuses::nvmeCommandProblem, set.error());
}

/// Changes the size of the namespace. The kernel does not know what the maker's feature did: the result is the status
/// of its look. An end between the two would leave it with blocks that are gone.
Result<RescanStatus> resize(nvme::Drive& drive, const FeatureAddress& address, uint64_t lba) {
    const SignalBlock untilTheHostHasLooked;
    RETURN_IF_FAILED(writeLba(drive, address, lba));
    return RescanStatus{rescan(drive.device())};
}

Status checkReported(nvme::Drive& drive, const FeatureAddress& address, uint64_t lba) {
    TRY(const uint64_t reported, readLba(drive, address, nvme::FID_VELKO_MAXIMUM_LBA));
    if (reported == lba) return Status();
    return withDetails(statuses::configurationUpdateFailed(), "Drive " + drive.name() + " accepted the maximum LBA " +
                                                                  std::to_string(lba) + " and reports " +
                                                                  std::to_string(reported) + ".");
}

}  // namespace

MaxAddressJob::MaxAddressJob() : CloneableJob(ostrel::interfaces::ostreli::JOB_MAX_ADDRESS, "Maximum LBA") {}

AttributeList MaxAddressJob::getSupportedProperties() const {
    return {{key::maximumLBA().getName(), key::maximumLBA()}};
}

Status MaxAddressJob::setOnDrive(nvme::Drive& drive, const Attribute& attribute) {
    RETURN_IF_FAILED(checkSettable(attribute, key::maximumLBA()));
    TRY(const MaximumLba wanted, readMaximumLba(propertyToSet().text(attribute.getName())));
    if (!isVelkoDrive(drive)) return statuses::maxAddressNotSupported();
    RETURN_IF_FAILED(checkDestruction(drive.device(), {}));
    TRY(const FeatureAddress address,
        requireVelkoFeature(drive, nvme::FID_VELKO_MAXIMUM_LBA, OcpGrounds::NAMED, statuses::maxAddressNotSupported()));
    TRY(const uint64_t lba, findLba(drive, address, wanted));
    RETURN_IF_FAILED(checkDestruction(drive.device(), {}));  // again: much may have happened meanwhile
    TRY(const RescanStatus rescanned, resize(drive, address, lba));
    RETURN_IF_FAILED(checkReported(drive, address, lba));
    return Status(
        0, 0,
        "The maximum LBA is " + std::to_string(lba) + "." +
            (succeeded(rescanned.status) ? "" : " The system has not seen it yet: " + rescanned.status.getMessage()));
}

Status MaxAddressJob::setOnAtaDrive(ata::Drive& drive, const Attribute& attribute) {
    RETURN_IF_FAILED(checkSettable(attribute, key::maximumLBA()));
    TRY(const MaximumLba wanted, readMaximumLba(propertyToSet().text(attribute.getName())));
    TRY(const std::string report, setAtaMaximumLba(drive, wanted));
    return Status(0, 0, report);
}

}  // namespace features::jobs
