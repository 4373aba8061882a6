// TRIM on SATA drives: DATA SET MANAGEMENT with ranges of sectors.

#include "features/jobs/erase/TrimJob.h"

#include <algorithm>
#include <string>

#include "features/ata/Commands.h"
#include "features/jobs/drive/DriveLocking.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr uint32_t BLOCK_BYTES = 512;
/// A range is 8 bytes: 48 bits of address, 16 bits of count.
constexpr uint32_t RANGE_BYTES = 8;
constexpr uint32_t RANGES_OF_A_BLOCK = BLOCK_BYTES / RANGE_BYTES;
constexpr uint64_t MAX_SECTORS_OF_A_RANGE = 0xFFFF;
constexpr unsigned COUNT_SHIFT = 48;
/// Some drives hang when one command frees more.
constexpr uint64_t MAX_BYTES_OF_A_COMMAND = uint64_t{128} << 20;

Status checkGate(ata::Drive& drive) {
    DestructionScope scope;
    scope.partitionsCount = false;
    return checkDestruction(drive.device(), scope);
}

/// The ranges of `sectors` sectors from `first` on, in whole blocks; entries of the last block that are unused are
/// zero.
Payload rangesOf(uint64_t first, uint64_t sectors) {
    const uint64_t ranges = (sectors + MAX_SECTORS_OF_A_RANGE - 1) / MAX_SECTORS_OF_A_RANGE;
    Payload data((ranges + RANGES_OF_A_BLOCK - 1) / RANGES_OF_A_BLOCK * BLOCK_BYTES);
    std::fill_n(data.getData(), data.getSize(), uint8_t{0});
    for (uint64_t i = 0; i < ranges && data.getSize() != 0; ++i) {
        const uint64_t done = i * MAX_SECTORS_OF_A_RANGE;
        const uint64_t count = std::min(sectors - done, MAX_SECTORS_OF_A_RANGE);
        nvme::putLe64(data.getData() + i * RANGE_BYTES, (first + done) | count << COUNT_SHIFT);
    }
    return data;
}

Status sendRanges(ata::Drive& drive, uint64_t first, uint64_t sectors) {
    const Payload data = rangesOf(first, sectors);
    if (data.getSize() == 0) return statuses::mallocFailed();
    ata::AtaCommand command(ata::commands::dataSetManagement);
    command.count = static_cast<uint16_t>(data.getSize() / BLOCK_BYTES);
    command.dataLength = data.getSize();
    RETURN_IF_FAILED(checkGate(drive));
    const auto sent = drive.send(command, data);
    return sent ? Status() : withLocking(drive, sent.error(), sent.error().status);
}

}  // namespace

Status TrimJob::actOnAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput& out) {
    RETURN_IF_FAILED(checkGate(drive));
    TRY(const ata::Identity* const identity, drive.identifyAgain());
    if (!identity->has(ata::identify::TRIM)) return statuses::trimNotSupported();
    const uint64_t size = identity->sectors();
    const std::string words = "Drive " + drive.name() + " has " + std::to_string(size) + " blocks.";
    if (startLba_ >= size) return withDetails(statuses::lbaOutOfRange(), words);
    if (count_ > size - startLba_) return withDetails(statuses::countExceedsLbaRange(), words);
    RETURN_IF_FAILED(deallocate(drive, *identity));
    out.addStatus(title(),
                  Status(0, 0,
                         std::to_string(count_) + " blocks of " + std::to_string(identity->logicalSectorBytes()) +
                             " bytes from block " + std::to_string(startLba_) + " on were deallocated."));
    return Status();
}

Status TrimJob::deallocate(ata::Drive& drive, const ata::Identity& identity) const {
    const uint64_t ranges = uint64_t{identity.maxTrimBlocks()} * RANGES_OF_A_BLOCK;
    const uint64_t most = std::min(ranges * MAX_SECTORS_OF_A_RANGE,
                                   std::max<uint64_t>(MAX_BYTES_OF_A_COMMAND / identity.logicalSectorBytes(), 1));
    for (uint64_t done = 0; done < count_;) {
        const uint64_t sectors = std::min(count_ - done, most);
        const Status status = sendRanges(drive, startLba_ + done, sectors);
        if (failed(status) && done != 0) {
            return withDetails(status, "The first " + std::to_string(done) + " blocks were deallocated before that.");
        }
        if (failed(status)) return status;
        done += sectors;
    }
    return Status();
}

}  // namespace features::jobs
