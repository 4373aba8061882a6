#include "features/jobs/namespaces/NamespaceCreation.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <vector>

#include "features/errors/PayloadCopy.h"
#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/Namespaces.h"
#include "features/jobs/namespaces/NamespaceCommands.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/structures/IdentifyController.h"
#include "features/nvme/structures/IdentifyNamespace.h"
#include "features/nvme/structures/NamespaceGranularityList.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::bit;
using nvme::ControllerCapabilities;
using nvme::NamespaceProperties;

namespace {

constexpr uint64_t UNKNOWN = std::numeric_limits<uint64_t>::max();
/// Thin Provisioning in NSFEAT of Identify Namespace.
constexpr size_t OFFSET_NSFEAT = offsetof(nvme::IdentifyNamespace, nsfeat);

/// The Namespace Granularity List, which a controller has by CTRATT bit 7: attributes, the number of descriptors less
/// one, and for each the granularity of sizes and of capacities in bytes.
constexpr unsigned CTRATT_GRANULARITY = 7;
constexpr unsigned MAX_DESCRIPTORS = 16;

constexpr SettableProperty LBA_FORMAT{attributes::feature::namespaceManagementLBAFormat, 0,
                                      NamespaceProperties::MAX_FORMATS - 1, statuses::invalidLbaFormat};
constexpr SettableProperty PROTECTION{attributes::feature::namespaceManagementProtectionInformation, 0, 3,
                                      statuses::invalidProtectionInformation};
constexpr SettableProperty SHARING{attributes::feature::multiPathIoCapabilities, 0, 1,
                                   statuses::invalidMultiPathIoCapabilities};

/// 0 for an argument without a value.
Result<uint32_t> readOptional(const Arguments& arguments, const SettableProperty& property) {
    if (arguments.text(property.attribute().getName()).empty()) return 0U;
    return readValue(arguments, property);
}

/// A counter of 128 bits, or the most that 64 hold.
uint64_t saturated128(const nvme::Le128& counter) {
    return counter.high == 0 ? uint64_t{counter.low} : UNKNOWN;
}

/// How many blocks a granularity in bytes is; 1 where it is none, or no whole number of blocks.
uint64_t stepOf(uint64_t bytes, uint32_t blockBytes) {
    return bytes == 0 || bytes % blockBytes != 0 ? 1 : bytes / blockBytes;
}

/// A step that is a multiple of both; of steps beyond all reason the larger.
uint64_t commonStep(uint64_t one, uint64_t other) {
    return (one | other) >> 32 != 0 ? std::max(one, other) : std::lcm(one, other);
}

}  // namespace

Result<NamespaceRequest> readNamespaceRequest(const Arguments& arguments) {
    const Attribute sizeAttribute = attributes::feature::size();
    if (arguments.text(sizeAttribute.getName()).empty()) return statuses::noNamespaceSize();
    NamespaceRequest request;
    TRY(const std::optional<NamespaceAmount> size, readAmount(arguments, sizeAttribute));
    request.size = *size;
    TRY(request.capacity, readAmount(arguments, attributes::feature::capacity()));
    if (request.capacity && request.capacity->unit == request.size.unit &&
        request.capacity->number > request.size.number)
        return statuses::namespaceCapacityAboveSize();
    TRY(const uint32_t lbaFormat, readOptional(arguments, LBA_FORMAT));
    TRY(const uint32_t protection, readOptional(arguments, PROTECTION));
    TRY(const uint32_t shared, readOptional(arguments, SHARING));
    request.lbaFormat = static_cast<uint8_t>(lbaFormat);
    request.protectionType = static_cast<uint8_t>(protection);
    request.isShared = shared != 0;
    return request;
}

Result<std::string> NamespaceCreation::run(const uint8_t* controllerBytes) {
    const ControllerCapabilities controller(controllerBytes);
    // A controller that reports no capacity at all does not count it.
    const auto identify = nvme::structureAt<nvme::IdentifyController>(controllerBytes);
    const bool isCounted = saturated128(identify.tnvmcap) != 0;
    const uint64_t freeBytes = isCounted ? saturated128(identify.unvmcap) : UNKNOWN;
    RETURN_IF_FAILED(checkCount(controller));
    const auto data = drive_.identify(nvme::CNS_NAMESPACE, nvme::NSID_ALL);
    // Every controller with namespace management reports what its namespaces have in common.
    if (!data && isRefusal(data.error()))
        return withDetails(statuses::driveDoesNotSupportFeature(), data.error().status.getMessage());
    if (!data) return data.error();
    RETURN_IF_FAILED(checkFormat(NamespaceProperties(data->getData())));
    RETURN_IF_FAILED(readGranularity(controller));
    RETURN_IF_FAILED(findBlocks(freeBytes));
    if (capacity_ < size_ && !bit(data->getData()[OFFSET_NSFEAT], 0)) return statuses::thinProvisioningNotSupported();
    RETURN_IF_FAILED(checkSize(freeBytes));
    return create();
}

Status NamespaceCreation::checkCount(const ControllerCapabilities& controller) {
    TRY(const std::vector<uint32_t> all, readAllNamespaces(drive_, controller));
    if (all.size() < controller.maxNamespaces()) return Status();
    return withDetails(statuses::tooManyNamespaces(),
                       "Drive " + drive_.name() + " has " + std::to_string(all.size()) + " of them already.");
}

Status NamespaceCreation::checkFormat(const NamespaceProperties& common) {
    if (request_.lbaFormat >= common.numberOfFormats || common.formats[request_.lbaFormat].dataBytes() == 0) {
        return withDetails(statuses::lbaFormatNotSupported(), "Drive " + drive_.name() + " has the formats 0 to " +
                                                                  std::to_string(common.numberOfFormats - 1) + ".");
    }
    format_ = common.formats[request_.lbaFormat];
    // A buffer of its own is what hosts handle best.
    metadataExtended_ = format_.metadataBytes != 0 && !bit(common.mc, 1);
    return request_.protectionType == 0 ? Status() : checkProtection(common);
}

Status NamespaceCreation::checkProtection(const NamespaceProperties& common) {
    const std::string type = std::to_string(request_.protectionType);
    if (format_.metadataBytes < NamespaceProperties::PROTECTION_BYTES) {
        return withDetails(statuses::invalidProtectionInformation(),
                           "Type " + type + " needs a format with 8 bytes of metadata; format " +
                               std::to_string(request_.lbaFormat) + " has " + std::to_string(format_.metadataBytes) +
                               ".");
    }
    if (!bit(common.dpc, request_.protectionType - 1U)) {
        return withDetails(statuses::invalidProtectionInformation(),
                           "Drive " + drive_.name() + " does not support type " + type + ".");
    }
    protectionFirst_ = !bit(common.dpc, 4);
    return Status();
}

Status NamespaceCreation::findBlocks(uint64_t freeBytes) {
    // A size that is the capacity as well has to fit both.
    if (!request_.capacity) sizeStep_ = capacityStep_ = commonStep(sizeStep_, capacityStep_);
    TRY(size_, toBlocks("Size", request_.size, sizeStep_, freeBytes));
    capacity_ = size_;
    if (request_.capacity) {
        TRY(capacity_, toBlocks("Capacity", *request_.capacity, capacityStep_, freeBytes));
    }
    return capacity_ > size_ ? statuses::namespaceCapacityAboveSize() : Status();
}

Result<uint64_t> NamespaceCreation::toBlocks(const char* what, const NamespaceAmount& amount, uint64_t step,
                                             uint64_t freeBytes) const {
    if (amount.unit == NamespaceAmount::Unit::PERCENT && freeBytes == UNKNOWN) {
        return withDetails(statuses::invalidCapacity(), "Drive " + drive_.name() +
                                                            " does not report its unallocated capacity: give " + what +
                                                            " in blocks, GB or GiB.");
    }
    const uint64_t blocks = amount.blocks(format_.dataBytes(), freeBytes, step);
    if (blocks != 0) return blocks;
    const bool isOfRest = amount.unit == NamespaceAmount::Unit::PERCENT;
    return withDetails(isOfRest ? statuses::notEnoughSpaceForNamespace() : statuses::invalidCapacity(),
                       std::string(what) + " is less than " + std::to_string(step * format_.dataBytes()) +
                           " bytes, the smallest amount on drive " + drive_.name() + ".");
}

Status NamespaceCreation::checkSize(uint64_t freeBytes) {
    const uint64_t freeBlocks = freeBytes == UNKNOWN ? UNKNOWN : freeBytes / format_.dataBytes();
    if (capacity_ > freeBlocks) {
        std::string text = "Drive " + drive_.name() + " has " + std::to_string(freeBytes) + " bytes left";
        const uint64_t most = freeBlocks / capacityStep_ * capacityStep_;
        if (most != 0)
            text +=
                ": " + std::to_string(most) + " blocks of " + std::to_string(format_.dataBytes()) + " bytes would fit";
        return withDetails(statuses::notEnoughSpaceForNamespace(), text + ".");
    }
    RETURN_IF_FAILED(checkMultiple("Size", size_, sizeStep_, request_.capacity ? UNKNOWN : freeBlocks));
    return checkMultiple("Capacity", capacity_, capacityStep_, freeBlocks);
}

/// Reports the multiples of `step` below and above, as far as they are not more than `most`.
Status NamespaceCreation::checkMultiple(const char* what, uint64_t blocks, uint64_t step, uint64_t most) const {
    if (blocks % step == 0) return Status();
    const uint64_t below = blocks / step * step;
    std::vector<std::string> fitting;
    if (below != 0) fitting.push_back(std::to_string(below));
    if (most - below >= step) fitting.push_back(std::to_string(below + step));
    std::string text =
        std::string(what) + " must be a multiple of " + std::to_string(step) + " blocks on drive " + drive_.name();
    if (!fitting.empty())
        text += ": " + fitting.front() + (fitting.size() > 1 ? " or " + fitting.back() : "") + " would fit";
    return withDetails(statuses::invalidCapacity(), text + ".");
}

Status NamespaceCreation::readGranularity(const ControllerCapabilities& controller) {
    if (!bit(controller.ctratt, CTRATT_GRANULARITY)) return Status();
    const auto data = drive_.identify(nvme::CNS_GRANULARITIES, 0);
    // A drive that refuses it takes any size.
    if (!data) return isRefusal(data.error()) ? Status() : data.error().status;
    const auto list = nvme::structureAt<nvme::NamespaceGranularityList>(data->getData());
    // One descriptor for all formats, or one for each.
    const unsigned index = bit(list.attributes, 0) ? request_.lbaFormat : 0U;
    const unsigned number = std::min(list.numberOfDescriptors0Based + 1U, MAX_DESCRIPTORS);
    if (index >= number) return Status();
    sizeStep_ = stepOf(list.descriptors[index].size, format_.dataBytes());
    capacityStep_ = stepOf(list.descriptors[index].capacity, format_.dataBytes());
    return Status();
}

Result<std::string> NamespaceCreation::create() {
    nvme::IdentifyNamespace wanted{};
    wanted.nsze = size_;
    wanted.ncap = capacity_;
    wanted.flbas = static_cast<uint8_t>((request_.lbaFormat & 0x0F) | (metadataExtended_ ? 0x10 : 0) |
                                        (request_.lbaFormat >> 4) << 5);
    wanted.dps = static_cast<uint8_t>(request_.protectionType | (protectionFirst_ ? 0x08 : 0));
    wanted.nmic = request_.isShared ? 1 : 0;
    const std::vector<uint8_t> data = nvme::bytesOf(wanted);
    const auto answer = drive_.send(namespaceManagement(SEL_CREATE, 0), copyOf(data.data(), data.size()));
    if (!answer) return mapNamespaceStatus(answer.error());
    drive_.forgetIdentify();
    return "Namespace " + std::to_string(answer->completion.dword0) + " was created: " + std::to_string(size_) +
           " blocks of " + std::to_string(format_.dataBytes()) + " bytes" +
           (capacity_ == size_ ? "" : ", capacity " + std::to_string(capacity_) + " blocks") +
           ". It can be used when it is attached to a controller.";
}

}  // namespace features::jobs
