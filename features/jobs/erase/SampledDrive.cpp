#include "features/jobs/erase/SampledDrive.h"

#include <algorithm>

#include "features/ata/AtaCommand.h"
#include "features/ata/structures/IdentifyDevice.h"
#include "features/jobs/drive/CommandSets.h"
#include "features/jobs/drive/DriveLocking.h"
#include "features/jobs/drive/Namespaces.h"
#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/structures/IdentifyNamespace.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

/// DLFEAT bits 2:0.
std::optional<uint8_t> deallocatedValue(const Payload& identify) {
    switch (identify.getData()[offsetof(nvme::IdentifyNamespace, dlfeat)] & 7U) {
        case 1:
            return uint8_t{0x00};
        case 2:
            return uint8_t{0xFF};
        default:
            return std::nullopt;
    }
}

/// Which blocks have the piece.
struct BlockRun {
    BlockRun(uint64_t offset, uint32_t blockBytes)
        : first(offset / blockBytes),
          skipBytes(static_cast<uint32_t>(offset % blockBytes)),
          count(static_cast<uint32_t>((skipBytes + SampledDrive::PIECE_BYTES + blockBytes - 1) / blockBytes)) {}
    uint64_t first;
    uint32_t skipBytes;  ///< of the first block
    uint32_t count;
};

/// Beyond that no drive has blocks: the numbers of a damaged or hostile one would not fit a transfer.
constexpr uint32_t MAX_BLOCK_BYTES = uint32_t{1} << 20;

/// Whether blocks of this size, and so many, can be sampled.
bool isPossible(uint64_t blocks, uint32_t blockBytes) {
    return blockBytes != 0 && blockBytes <= MAX_BLOCK_BYTES && blocks <= UINT64_MAX / blockBytes;
}

constexpr uint8_t OPCODE_READ_DMA_EXT = 0x25;
constexpr uint8_t DEVICE_LBA = 0x40;
constexpr uint32_t READ_TIMEOUT_MS = 30000;

}  // namespace

Status SampledNvmeDrive::checkSelected() {
    nvme::NvmeCommand command(nvme::Queue::ADMIN, nvme::OPC_IDENTIFY, "Identify");
    command.cdw10 = nvme::CNS_CONTROLLER;
    command.dataLength = nvme::IDENTIFY_BYTES;
    command.onlySelectedDrive = true;
    return statusOf(drive_.send(command));
}

Result<std::vector<SampledSpace>> SampledNvmeDrive::spaces() {
    TRY(const std::vector<uint32_t> attached, readNamespaceList(drive_, nvme::CNS_ACTIVE_NAMESPACES));
    std::vector<SampledSpace> spaces;
    blocks_.clear();
    for (const uint32_t nsid : attached) {
        TRY(const uint8_t csi, readCommandSet(drive_, nsid));
        if (!hasBlocks(csi)) continue;
        TRY(const Payload identify, drive_.identify(nvme::CNS_NAMESPACE, nsid));
        const nvme::NamespaceProperties properties(identify.getData());
        const auto& format = properties.format();
        const uint32_t data = format.dataBytes();
        if (!isPossible(properties.sizeBlocks, data)) continue;
        const bool isExtended = properties.metadataExtended();
        blocks_[nsid] = {data, isExtended ? format.metadataBytes : 0U, isExtended ? 0U : format.metadataBytes};
        spaces.push_back({nsid, properties.sizeBlocks * data, deallocatedValue(identify)});
    }
    return spaces;
}

Result<SampledDrive::Piece> SampledNvmeDrive::read(uint32_t nsid, uint64_t offset) {
    const Block& block = blocks_.at(nsid);
    const BlockRun run(offset, block.data);
    nvme::NvmeCommand command(nvme::Queue::IO, nvme::OPC_READ, "Read");
    command.nsid = nsid;
    command.cdw10 = static_cast<uint32_t>(run.first);
    command.cdw11 = static_cast<uint32_t>(run.first >> 32);
    command.cdw12 = run.count - 1;
    command.dataLength = run.count * (block.data + block.extended);
    command.metadataLength = run.count * block.apart;
    command.onlySelectedDrive = true;
    const auto answer = drive_.send(command);
    if (!answer) return withLocking(drive_, answer.error(), answer.error().status);
    Piece data;
    for (uint32_t i = 0; i < run.count; ++i) {
        const uint8_t* const at = answer->data.getData() + size_t{i} * (block.data + block.extended);
        data.insert(data.end(), at, at + block.data);
    }
    const auto begin = data.begin() + run.skipBytes;
    return Piece(begin, begin + PIECE_BYTES);
}

Status SampledAtaDrive::checkSelected() {
    ata::AtaCommand command(ata::commands::identifyDevice);
    command.count = 1;
    command.dataLength = sizeof(ata::IdentifyDevice);
    command.onlySelectedDrive = true;
    return statusOf(drive_.send(command));
}

Result<std::vector<SampledSpace>> SampledAtaDrive::spaces() {
    TRY(const ata::Identity* const identity, drive_.identifyAgain());
    sectorBytes_ = identity->logicalSectorBytes();
    const bool canBeRead =
        identity->has(ata::identify::ADDRESS_48_BIT) && isPossible(identity->sectors(), sectorBytes_);
    if (!canBeRead) return std::vector<SampledSpace>();
    // What an erase of the ATA standard leaves is not defined.
    return std::vector<SampledSpace>{{1, identity->sectors() * sectorBytes_, std::nullopt}};
}

Result<SampledDrive::Piece> SampledAtaDrive::read(uint32_t, uint64_t offset) {
    const BlockRun run(offset, sectorBytes_);
    ata::AtaCommand command(OPCODE_READ_DMA_EXT, ata::Protocol::DMA_IN, ata::Addressing::BITS_48, "READ DMA EXT");
    command.device = DEVICE_LBA;
    command.lba = run.first;
    command.count = static_cast<uint16_t>(run.count);
    command.dataLength = run.count * sectorBytes_;
    command.timeoutMs = READ_TIMEOUT_MS;
    command.onlySelectedDrive = true;
    const auto answer = drive_.send(command);
    if (!answer) return withLocking(drive_, answer.error(), answer.error().status);
    const uint8_t* const begin = answer->data.getData() + run.skipBytes;
    return Piece(begin, begin + PIECE_BYTES);
}

}  // namespace features::jobs
