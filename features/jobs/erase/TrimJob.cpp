#include "features/jobs/erase/TrimJob.h"

#include <algorithm>
#include <limits>
#include <string>

#include "features/errors/PayloadCopy.h"
#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/CommandSets.h"
#include "features/jobs/drive/DriveLocking.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/Refusals.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/structures/DatasetRange.h"
#include "features/nvme/structures/IdentifyNvmController.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

/// A range of Dataset Management (NVMe Base Specification 1.4, section 6.7): context attributes, length, first block.
constexpr size_t RANGE_BYTES = sizeof(nvme::DatasetRange);
constexpr uint32_t MAX_RANGES = 256;
/// The length has 32 bits; a round number of blocks leaves no odd piece at the seams, which a drive may not free.
constexpr uint32_t MAX_BLOCKS_OF_A_RANGE = 0xFFFF0000;
constexpr uint32_t ATTRIBUTE_DEALLOCATE = 1U << 2;
/// Some drives free the blocks before they answer.
constexpr uint32_t COMMAND_TIMEOUT_MS = 10 * 60 * 1000;

/// Identify Controller of the NVM command set, since NVMe 2.0; 0 means no limit.
constexpr uint32_t VERSION_2_0 = 0x00020000;
constexpr size_t OFFSET_DMRL = offsetof(nvme::IdentifyNvmController, dmrl);
constexpr size_t OFFSET_DMRSL = offsetof(nvme::IdentifyNvmController, dmrsl);
constexpr size_t OFFSET_DMSL = offsetof(nvme::IdentifyNvmController, dmsl);

constexpr RefusalRow REFUSALS[] = {
    {nvme::SC_INVALID_OPCODE, statuses::trimNotSupported},
    {nvme::SC_INVALID_NAMESPACE, statuses::invalidNamespaceId},
    {nvme::SC_SANITIZE_IN_PROGRESS, statuses::sanitizeInProgress},
    {nvme::SC_NAMESPACE_WRITE_PROTECTED, statuses::commandBlockedByWriteProtection},
    {nvme::SC_LBA_OUT_OF_RANGE, statuses::lbaOutOfRange},
    {nvme::SC_WRITE_TO_READ_ONLY_RANGE, statuses::commandBlockedByWriteProtection},
    {nvme::SC_ACCESS_DENIED, statuses::lbaRangeAccessDenied},
};

template <typename Number>
Number orUnlimited(Number limit, Number most) {
    return limit == 0 ? most : std::min(limit, most);
}

Result<uint32_t> findNamespace(nvme::Drive& drive) {
    if (const auto named = namedNamespace(drive.device())) return *named;
    TRY(const std::vector<transport::HostNamespace> all, readHostNamespaces(drive.device()));
    if (all.empty())
        return withDetails(statuses::invalidNamespaceId(), "Drive " + drive.name() + " has no namespace attached.");
    if (all.size() > 1) return withDetails(statuses::moreThanOneNamespace(), "Select the one by its path.");
    return all.front().nsid;
}

Status checkGate(nvme::Drive& drive, uint32_t nsid) {
    DestructionScope scope;
    scope.nsid = nsid;
    scope.partitionsCount = false;
    return checkDestruction(drive.device(), scope);
}

Status sendRanges(nvme::Drive& drive, uint32_t nsid, uint32_t number, const uint8_t* ranges) {
    nvme::NvmeCommand command(nvme::Queue::IO, nvme::OPC_DATASET_MANAGEMENT, "Dataset Management");
    command.nsid = nsid;
    command.cdw10 = number - 1;
    command.cdw11 = ATTRIBUTE_DEALLOCATE;
    command.dataLength = static_cast<uint32_t>(number * RANGE_BYTES);
    command.timeoutMs = COMMAND_TIMEOUT_MS;
    const Payload data = copyOf(ranges, command.dataLength);
    if (data.getSize() == 0) return statuses::mallocFailed();
    RETURN_IF_FAILED(checkGate(drive, nsid));
    const auto sent = drive.send(command, data);
    if (sent) return Status();
    return withLocking(drive, sent.error(), mapNvmeStatus(REFUSALS, statuses::nvmeCommandProblem, sent.error()));
}

}  // namespace

TrimJob::TrimJob() : CloneableJob(ostrel::interfaces::ostreli::JOB_TRIM, "Trim") {}

Status TrimJob::checkRequest(const Arguments& arguments) {
    RETURN_IF_FAILED(checkOneDrive(getDevices().size()));
    const struct {
        Attribute (*attribute)();
        uint64_t least;
        uint64_t TrimJob::* field;
    } NUMBERS[] = {{attributes::feature::startLBA, 0, &TrimJob::startLba_},
                   {attributes::feature::count, 1, &TrimJob::count_}};
    for (const auto& row : NUMBERS) {
        const std::string name = row.attribute().getName();
        TRY(const std::optional<uint64_t> number, arguments.number(name, std::numeric_limits<uint64_t>::max()));
        if (!number || *number < row.least) {
            return withDetails(statuses::invalidProperty(),
                               name + " must be a number from " + std::to_string(row.least) + " on.");
        }
        this->*row.field = *number;
    }
    return Status();
}

Status TrimJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    TRY(const uint32_t nsid, findNamespace(drive));
    RETURN_IF_FAILED(checkGate(drive, nsid));
    TRY(const Limits limits, readLimits(drive));
    RETURN_IF_FAILED(requireBlocks(drive, nsid, statuses::trimNotSupported()));
    TRY(const uint32_t blockBytes, checkBounds(drive, nsid));
    RETURN_IF_FAILED(deallocate(drive, nsid, limits));
    out.addStatus(title(), Status(0, 0,
                                  std::to_string(count_) + " blocks of " + std::to_string(blockBytes) +
                                      " bytes from block " + std::to_string(startLba_) +
                                      " on were deallocated in "
                                      "namespace " +
                                      std::to_string(nsid) + "."));
    return Status();
}

Result<TrimJob::Limits> TrimJob::readLimits(nvme::Drive& drive) const {
    Limits limits{MAX_RANGES, MAX_BLOCKS_OF_A_RANGE, std::numeric_limits<uint64_t>::max()};
    TRY(const uint8_t* const identify, drive.identifyController());
    const nvme::ControllerCapabilities controller(identify);
    if (!controller.supportsDatasetManagement()) return statuses::trimNotSupported();
    if (controller.version < VERSION_2_0) return limits;
    const auto data = drive.identify(nvme::CNS_COMMAND_SET_CONTROLLER, 0);
    if (!data && !isRefusal(data.error())) return data.error();
    if (!data) return limits;  // the drive has none of its own
    const uint8_t* const at = data->getData();
    limits.rangesPerCommand = orUnlimited<uint32_t>(at[OFFSET_DMRL], limits.rangesPerCommand);
    limits.blocksPerRange = orUnlimited(nvme::le32(at + OFFSET_DMRSL), limits.blocksPerRange);
    limits.blocksPerCommand = orUnlimited(nvme::le64(at + OFFSET_DMSL), limits.blocksPerCommand);
    return limits;
}

Result<uint32_t> TrimJob::checkBounds(nvme::Drive& drive, uint32_t nsid) const {
    const auto data = drive.identify(nvme::CNS_NAMESPACE, nsid);
    if (!data) return mapNvmeStatus(REFUSALS, statuses::nvmeCommandProblem, data.error());
    const nvme::NamespaceProperties space(data->getData());
    const std::string size = "Namespace " + std::to_string(nsid) + " of drive " + drive.name() + " has " +
                             std::to_string(space.sizeBlocks) + " blocks.";
    if (startLba_ >= space.sizeBlocks) return withDetails(statuses::lbaOutOfRange(), size);
    if (count_ > space.sizeBlocks - startLba_) return withDetails(statuses::countExceedsLbaRange(), size);
    return space.format().dataBytes();
}

Status TrimJob::deallocate(nvme::Drive& drive, uint32_t nsid, const Limits& limits) const {
    for (uint64_t done = 0; done < count_;) {
        uint8_t ranges[MAX_RANGES * RANGE_BYTES] = {};
        const uint64_t end = done + std::min(count_ - done, limits.blocksPerCommand);
        uint32_t number = 0;
        uint64_t next = done;
        for (; next < end && number < limits.rangesPerCommand; ++number) {
            const auto blocks = static_cast<uint32_t>(std::min<uint64_t>(end - next, limits.blocksPerRange));
            nvme::putLe32(ranges + number * RANGE_BYTES + offsetof(nvme::DatasetRange, blocks), blocks);
            nvme::putLe64(ranges + number * RANGE_BYTES + offsetof(nvme::DatasetRange, startingLba), startLba_ + next);
            next += blocks;
        }
        Status status = sendRanges(drive, nsid, number, ranges);
        if (failed(status) && done != 0) {
            return withDetails(status, "The first " + std::to_string(done) + " blocks were deallocated before that.");
        }
        if (failed(status)) return status;
        done = next;
    }
    return Status();
}

}  // namespace features::jobs
