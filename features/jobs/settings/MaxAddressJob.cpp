#include "features/jobs/settings/MaxAddressJob.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "features/errors/Result.h"
#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/drive/Refusals.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/Units.h"
#include "features/nvme/VelkoFeatures.h"
#include "features/nvme/VelkoInterface.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/SignalBlock.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace key = ostrel::core::attributes::feature;

namespace {

constexpr uint64_t ALL_PERCENT = 100;
constexpr RefusalRow REFUSALS[] = {
    {nvme::SC_INVALID_FIELD, statuses::maxAddressNotSupported},
};

/// What the user wants, as it was said.
struct Wanted {
    enum class Unit { LBA, GIGABYTES, PERCENT, NATIVE } unit = Unit::LBA;
    uint64_t number = 0;
};

Result<Wanted> readWanted(const std::string& text) {
    std::string digits = toLower(text);
    if (digits == "native") return Wanted{Wanted::Unit::NATIVE, 0};
    Wanted wanted;
    if (takeSuffix(digits, "gb"))
        wanted.unit = Wanted::Unit::GIGABYTES;
    else if (takeSuffix(digits, "%"))
        wanted.unit = Wanted::Unit::PERCENT;
    const std::string said = ", not '" + text + "'.";
    if (!isInteger(digits)) {
        return withDetails(statuses::invalidMaxAddressParameter(),
                           "It must be a block's address, gigabytes like 200GB, 1% to 100%, or native" + said);
    }
    if (!readNumber(digits, Digits::DECIMAL, wanted.number) || wanted.number == 0)
        return withDetails(statuses::invalidMaxAddressValue(), "It cannot be '" + text + "'.");
    if (wanted.unit == Wanted::Unit::PERCENT && wanted.number > ALL_PERCENT)
        return withDetails(statuses::invalidMaxAddressValue(), "It must be 1% to 100%" + said);
    return wanted;
}

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

Status tooLarge(const nvme::Drive& drive, uint64_t native, Status (*text)()) {
    return withDetails(text(),
                       "The native maximum LBA of drive " + drive.name() + " is " + std::to_string(native) + ".");
}

Result<uint64_t> lbaOfGigabytes(nvme::Drive& drive, uint64_t gigabytes, uint32_t nsid, uint64_t native) {
    TRY(const uint64_t blockBytes, readBlockBytes(drive, nsid));
    if (gigabytes > UINT64_MAX / nvme::GIGABYTE) return tooLarge(drive, native, statuses::lbaResizeTooLarge);
    const uint64_t lba = gigabytes * nvme::GIGABYTE / blockBytes - 1;  // more than one block of any size
    if (lba > native) return tooLarge(drive, native, statuses::lbaResizeTooLarge);
    return lba;
}

uint64_t lbaOfPercent(uint64_t percent, uint64_t native) {
    if (percent == ALL_PERCENT) return native;
    const uint64_t blocks = native + 1;  // in two steps: the product may not fit
    return std::max<uint64_t>(blocks / ALL_PERCENT * percent + blocks % ALL_PERCENT * percent / ALL_PERCENT, 2) - 1;
}

Result<uint64_t> findLba(nvme::Drive& drive, const FeatureAddress& address, const Wanted& wanted) {
    TRY(const uint32_t nsid, findOnlyNamespace(drive));
    TRY(const uint64_t native, readLba(drive, address, nvme::FID_VELKO_NATIVE_MAXIMUM_LBA));
    switch (wanted.unit) {
        case Wanted::Unit::GIGABYTES:
            return lbaOfGigabytes(drive, wanted.number, nsid, native);
        case Wanted::Unit::PERCENT:
            return lbaOfPercent(wanted.number, native);
        case Wanted::Unit::NATIVE:
            return native;
        case Wanted::Unit::LBA:
            break;
    }
    if (wanted.number > native) return tooLarge(drive, native, statuses::invalidMaxAddressValue);
    return wanted.number;
}

Status writeLba(nvme::Drive& drive, const FeatureAddress& address, uint64_t lba) {
    uint8_t data[nvme::VELKO_LBA_BYTES] = {};
    nvme::putLe64(data, lba);
    const nvme::FeatureRequest request = address.request(nvme::FID_VELKO_MAXIMUM_LBA);
    const auto set = drive.setFeature(request, false, Payload(data, sizeof data));
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
    TRY(const Wanted wanted, readWanted(propertyToSet().text(attribute.getName())));
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

}  // namespace features::jobs
