#include "features/jobs/health/scan/AtaBlockReaders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "features/ata/Commands.h"
#include "features/ata/Drive.h"
#include "features/errors/HalvedPieces.h"
#include "features/jobs/drive/DriveLocking.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/SystemError.h"

namespace features::jobs {

using namespace ostrel::core;
using Outcome = BlockRead::Outcome;

namespace {

Status systemError(const char* what, const std::string& node, int error) {
    return Status(CATEGORY_OS, static_cast<uint32_t>(error),
                  std::string("Cannot ") + what + " " + node + ": " + systemErrorText(error) + ".");
}

/// By READ DMA EXT, with a device of its own.
class CommandReader : public BlockReader {
public:
    CommandReader(const Device& device, uint32_t sectorBytes)
        : device_(device), drive_(device_), sectorBytes_(sectorBytes) {}

    BlockRead read(uint64_t first, uint32_t blocks) override {
        constexpr uint8_t LBA_MODE = 0x40;
        ata::AtaCommand command(ata::commands::readDmaExt);
        command.lba = first;
        command.count = static_cast<uint16_t>(blocks);
        command.device = LBA_MODE;
        command.dataLength = blocks * sectorBytes_;
        const auto answer = drive_.send(command);
        if (answer) return {};
        if (isTooMuchAtOnce(answer.error())) return {Outcome::TOO_MUCH, answer.error()};
        const ata::Registers* const registers = answer.error().isOfDrive() ? answer.error().result->whole() : nullptr;
        const bool isMedia = registers != nullptr && (registers->error & ata::ERROR_UNCORRECTABLE) != 0;
        if (isMedia) return {Outcome::MEDIA_ERROR, answer.error()};
        return {Outcome::FAILED, withLocking(drive_, answer.error(), answer.error().status)};
    }

private:
    Device device_;
    ata::Drive drive_;
    uint32_t sectorBytes_;
};

/// From a block device.
class DiskReader : public BlockReader {
public:
    DiskReader(const Device& device, FileDescriptor disk, std::string node, uint32_t sectorBytes)
        : device_(device),
          disk_(std::move(disk)),
          node_(std::move(node)),
          sectorBytes_(sectorBytes),
          buffer_(ATA_READ_BYTES) {}

    BlockRead read(uint64_t first, uint32_t blocks) override {
        const size_t bytes = size_t{blocks} * sectorBytes_;
        if (bytes > buffer_.getSize()) return {Outcome::TOO_MUCH, statuses::invalidTransferSize()};
        const ssize_t done = ::pread(disk_.get(), buffer_.getData(), bytes, static_cast<off_t>(first * sectorBytes_));
        const int error = done < 0 ? errno : 0;
        if (done == static_cast<ssize_t>(bytes)) return {};
        // What the kernel makes of an error of the media; EIO is one of the link, or of a disk that is gone.
        if (error == ENODATA || error == EILSEQ) return {Outcome::MEDIA_ERROR, {}};
        return {Outcome::FAILED, failure(error == 0 ? EIO : error)};
    }

private:
    /// A locked drive aborts reads, of which the kernel says no more than EIO.
    Status failure(int error) {
        const Status status = systemError("read", node_, error);
        ata::Drive drive(device_);
        return error == EIO ? withLocking(drive, status) : status;
    }

    Device device_;
    FileDescriptor disk_;
    std::string node_;
    uint32_t sectorBytes_;
    Payload buffer_;
};

}  // namespace

Result<std::unique_ptr<BlockReader>> makeAtaBlockReader(const Device& device, const std::string& node,
                                                        uint32_t sectorBytes) {
    struct stat properties = {};
    if (node.empty() || ::stat(node.c_str(), &properties) != 0 || !S_ISBLK(properties.st_mode))
        return std::unique_ptr<BlockReader>(std::make_unique<CommandReader>(device, sectorBytes));
    FileDescriptor disk(::open(node.c_str(), O_RDONLY | O_DIRECT | O_CLOEXEC));
    const int error = errno;
    if (!disk.isOpen()) return systemError("open", node, error);
    return std::unique_ptr<BlockReader>(std::make_unique<DiskReader>(device, std::move(disk), node, sectorBytes));
}

}  // namespace features::jobs
