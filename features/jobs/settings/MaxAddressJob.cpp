#include "features/jobs/settings/MaxAddressJob.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/Namespaces.h"
#include "features/jobs/drive/Refusals.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/Opcodes.h"
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
    {nvme::SCT_GENERIC, nvme::SC_INVALID_FIELD, statuses::maxAddressNotSupported},
};

/// What the user wants, as it was said.
struct Wanted {
    enum class Unit { LBA, GIGABYTES, PERCENT, NATIVE } unit = Unit::LBA;
    uint64_t number = 0;
};

Status readWanted(const std::string& text, Wanted& wanted) {
    std::string digits = toLower(text);
    if (digits == "native") {
        wanted.unit = Wanted::Unit::NATIVE;
        return Status();
    }
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
    return Status();
}

/// The only namespace that is allocated. The feature does not say which one it means.
Status findOnlyNamespace(nvme::Drive& drive, uint32_t& nsid) {
    const uint8_t* identify = nullptr;
    Status status = drive.identifyController(identify);
    if (failed(status)) return status;
    const bool isManaged = nvme::ControllerCapabilities(identify).supportsNamespaceManagement();
    Payload list;
    status = drive.identify(isManaged ? nvme::CNS_ALLOCATED_NAMESPACES : nvme::CNS_ACTIVE_NAMESPACES, 0, 0, list);
    if (failed(status)) return status;
    nsid = nvme::le32(list.getData());
    if (nsid == 0)
        return withDetails(statuses::featureBlockedByConfiguration(), "Drive " + drive.name() + " has no namespace.");
    return nvme::le32(list.getData() + 4) == 0 ? Status() : statuses::moreThanOneNamespace();
}

Status readLba(nvme::Drive& drive, uint8_t fid, uint64_t& lba) {
    nvme::FeatureRequest request;
    request.fid = fid;
    request.dataLength = nvme::VELKO_LBA_BYTES;
    nvme::Answer answer;
    Status status = mapNvmeStatus(REFUSALS, statuses::nvmeCommandProblem,
                                  drive.getFeature(request, nvme::Select::CURRENT, answer), drive);
    if (succeeded(status)) lba = nvme::le64(answer.data.getData());
    return status;
}

Status readBlockBytes(nvme::Drive& drive, uint32_t nsid, uint64_t& bytes) {
    Payload identify;
    Status status = drive.identify(nvme::CNS_NAMESPACE, nsid, 0, identify);
    if (failed(status)) return status;
    bytes = nvme::NamespaceProperties(identify.getData()).format().dataBytes();
    return bytes == 0 ? statuses::invalidMaxAddressSectorSize() : status;
}

Status tooLarge(const nvme::Drive& drive, uint64_t native, Status (*text)()) {
    return withDetails(text(),
                       "The native maximum LBA of drive " + drive.name() + " is " + std::to_string(native) + ".");
}

Status lbaOfGigabytes(nvme::Drive& drive, uint64_t gigabytes, uint32_t nsid, uint64_t native, uint64_t& lba) {
    uint64_t blockBytes = 0;
    Status status = readBlockBytes(drive, nsid, blockBytes);
    if (failed(status)) return status;
    if (gigabytes > UINT64_MAX / nvme::GIGABYTE) return tooLarge(drive, native, statuses::lbaResizeTooLarge);
    lba = gigabytes * nvme::GIGABYTE / blockBytes - 1;  // a gigabyte has more than one block of any size
    return lba > native ? tooLarge(drive, native, statuses::lbaResizeTooLarge) : Status();
}

uint64_t lbaOfPercent(uint64_t percent, uint64_t native) {
    if (percent == ALL_PERCENT) return native;
    const uint64_t blocks = native + 1;  // in two steps: the product may not fit
    return std::max<uint64_t>(blocks / ALL_PERCENT * percent + blocks % ALL_PERCENT * percent / ALL_PERCENT, 2) - 1;
}

Status findLba(nvme::Drive& drive, const Wanted& wanted, uint64_t& lba) {
    uint32_t nsid = 0;
    uint64_t native = 0;
    Status status = findOnlyNamespace(drive, nsid);
    if (succeeded(status)) status = readLba(drive, nvme::FID_VELKO_NATIVE_MAXIMUM_LBA, native);
    if (failed(status)) return status;
    switch (wanted.unit) {
        case Wanted::Unit::GIGABYTES:
            return lbaOfGigabytes(drive, wanted.number, nsid, native, lba);
        case Wanted::Unit::PERCENT:
            lba = lbaOfPercent(wanted.number, native);
            return status;
        case Wanted::Unit::NATIVE:
            lba = native;
            return status;
        case Wanted::Unit::LBA:
            break;
    }
    lba = wanted.number;
    return lba > native ? tooLarge(drive, native, statuses::invalidMaxAddressValue) : status;
}

Status writeLba(nvme::Drive& drive, uint64_t lba) {
    uint8_t data[nvme::VELKO_LBA_BYTES] = {};
    nvme::putLe64(data, lba);
    nvme::FeatureRequest request;
    request.fid = nvme::FID_VELKO_MAXIMUM_LBA;
    nvme::Answer answer;
    return mapNvmeStatus(REFUSALS, statuses::nvmeCommandProblem,
                         drive.setFeature(request, false, Payload(data, sizeof data), answer), drive);
}

/// Changes the size of the namespace. The kernel does not know what the maker's feature did: `seen` is the status of
/// its look. An end between the two would leave it with blocks that are gone.
Status resize(nvme::Drive& drive, uint64_t lba, Status& seen) {
    const SignalBlock untilTheHostHasLooked;
    const Status status = writeLba(drive, lba);
    if (succeeded(status)) seen = rescan(drive);
    return status;
}

Status checkReported(nvme::Drive& drive, uint64_t lba) {
    uint64_t reported = 0;
    const Status status = readLba(drive, nvme::FID_VELKO_MAXIMUM_LBA, reported);
    if (failed(status) || reported == lba) return status;
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
    Wanted wanted;
    uint64_t lba = 0;
    Status status = checkSettable(attribute, key::maximumLBA());
    if (succeeded(status)) status = readWanted(propertyToSet().text(attribute.getName()), wanted);
    if (succeeded(status) && !isVelkoDrive(drive)) status = statuses::maxAddressNotSupported();
    if (succeeded(status)) status = checkDestruction(drive, {});
    if (succeeded(status))
        status = requireVelkoFeature(drive, nvme::FID_VELKO_MAXIMUM_LBA, statuses::maxAddressNotSupported());
    if (succeeded(status)) status = findLba(drive, wanted, lba);
    if (succeeded(status)) status = checkDestruction(drive, {});  // again: much may have happened meanwhile
    Status seen;
    if (succeeded(status)) status = resize(drive, lba, seen);
    if (failed(status)) return status;
    status = checkReported(drive, lba);
    if (failed(status)) return status;
    return Status(0, 0,
                  "The maximum LBA is " + std::to_string(lba) + "." +
                      (succeeded(seen) ? "" : " The system has not seen it yet: " + seen.getMessage()));
}

}  // namespace features::jobs
