#include "features/jobs/health/scan/ReadScan.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <memory>
#include <mutex>

#include "features/jobs/drive/CommandSets.h"
#include "features/jobs/drive/DriveLocking.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/support/ParallelFor.h"
#include "features/jobs/support/ProgressLine.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::NvmeCommand;

namespace {

constexpr uint64_t PAGE_BYTES = 4096;  // of the transport's buffers

/// Number of Logical Blocks has 16 bits and counts from 0.
constexpr uint64_t MAX_BLOCKS = 65536;

/// Unrecovered Read Error, and the three errors of end-to-end protection (NVMe Base Specification 1.4,
/// section 4.6.1.2.3).
constexpr nvme::StatusCode MEDIA_ERRORS[] = {
    nvme::SC_UNRECOVERED_READ,
    nvme::SC_GUARD_CHECK_ERROR,
    nvme::SC_APPLICATION_TAG_CHECK_ERROR,
    nvme::SC_REFERENCE_TAG_CHECK_ERROR,
};
bool isMediaError(const nvme::Completion& completion) {
    return std::find(std::begin(MEDIA_ERRORS), std::end(MEDIA_ERRORS), completion.status()) != std::end(MEDIA_ERRORS);
}

/// How the blocks of a namespace come over the wire. Units: bytes a block.
struct Geometry {
    uint64_t blocks = 0;
    uint32_t dataBytes = 0;      ///< with metadata that is part of it
    uint32_t metadataBytes = 0;  ///< of a buffer of its own
};

Result<Geometry> readGeometry(nvme::Drive& drive, uint32_t nsid) {
    TRY(const Payload identify, drive.identify(nvme::CNS_NAMESPACE, nsid));
    const nvme::NamespaceProperties properties(identify.getData());
    const auto& format = properties.format();
    if (format.dataBytes() == 0) {
        return withDetails(statuses::deviceDataRetrievalFailed(),
                           "Namespace " + std::to_string(nsid) + " has no block size of the standard.");
    }
    const bool isExtended = properties.metadataExtended();
    return Geometry{properties.sizeBlocks, format.dataBytes() + (isExtended ? format.metadataBytes : 0U),
                    isExtended ? 0U : format.metadataBytes};
}

/// Which blocks each piece has.
class Pieces {
public:
    Pieces(const ScannedBlocks& scanned, uint64_t maxBytes) : blocks_(scanned.blocks) {
        pieceBlocks_ = std::clamp<uint64_t>(scanned.pieceBytes / scanned.blockBytes, 1, MAX_BLOCKS);
        count_ = blocks_ / pieceBlocks_ + (blocks_ % pieceBlocks_ != 0 ? 1 : 0);
        // At least the first piece and the last.
        const uint64_t most = std::max<uint64_t>(2, maxBytes / scanned.blockBytes / pieceBlocks_);
        if (most >= count_) return;
        count_ = most;
        step_ = (blocks_ - pieceBlocks_) / (count_ - 1);
    }

    uint64_t count() const { return count_; }
    uint64_t first(uint64_t number) const {
        if (step_ == 0) return number * pieceBlocks_;
        return number == count_ - 1 ? blocks_ - pieceBlocks_ : number * step_;
    }
    uint32_t blocks(uint64_t number) const {
        return static_cast<uint32_t>(std::min(pieceBlocks_, blocks_ - first(number)));
    }

private:
    uint64_t blocks_;
    uint64_t pieceBlocks_ = 1;
    uint64_t count_ = 0;
    uint64_t step_ = 0;  ///< blocks from the first of one piece to that of the next; 0: they follow each other
};

/// What the workers share.
struct Progress {
    Progress(uint32_t bytes, const std::string& operation) : maxBytes(bytes), line(operation) {}

    std::atomic<uint64_t> nextPiece{0};
    std::atomic<uint64_t> blocksRead{0};
    std::atomic<uint32_t> maxBytes;  ///< of one command; shrinks when the system was seen to take less
    std::atomic<bool> ended{false};
    std::mutex mutex;  ///< of the rest
    std::vector<uint64_t> unreadable;
    Status failure;
    ProgressLine line;

    void addUnreadable(uint64_t lba) {
        const std::lock_guard<std::mutex> lock(mutex);
        if (unreadable.size() < ReadScanResult::MAX_UNREADABLE) unreadable.push_back(lba);
        if (unreadable.size() == ReadScanResult::MAX_UNREADABLE) ended = true;
    }
    void fail(const Status& status) {
        const std::lock_guard<std::mutex> lock(mutex);
        if (succeeded(failure)) failure = status;
        ended = true;
    }
    void shrink(uint32_t bytes) {
        uint32_t most = maxBytes;
        while (bytes < most && !maxBytes.compare_exchange_weak(most, bytes)) {
        }
    }
};

/// One of the threads: a reader of its own, one read at a time.
class Worker {
public:
    Worker(std::unique_ptr<BlockReader> reader, uint32_t blockBytes, Progress& progress)
        : reader_(std::move(reader)), blockBytes_(blockBytes), progress_(progress) {}

    void run(const Pieces& pieces) {
        while (!progress_.ended) {
            const uint64_t number = progress_.nextPiece++;
            if (number >= pieces.count()) return;
            read(pieces.first(number), pieces.blocks(number));
            progress_.line.update(number + 1, pieces.count());
        }
    }

private:
    void read(uint64_t first, uint32_t blocks) {
        if (progress_.ended) return;
        const uint64_t bytes = uint64_t{blocks} * blockBytes_;
        if (blocks > 1 && bytes > progress_.maxBytes) return split(first, blocks);
        const BlockRead done = reader_->read(first, blocks);
        if (done.outcome == BlockRead::Outcome::READ) {
            progress_.blocksRead += blocks;
        } else if (done.outcome == BlockRead::Outcome::BOUNDARY && blocks > 1) {
            split(first, blocks);
        } else if (done.outcome == BlockRead::Outcome::MEDIA_ERROR) {
            if (blocks > 1) return split(first, blocks);
            progress_.addUnreadable(first);
        } else if (done.outcome == BlockRead::Outcome::TOO_MUCH && blocks > 1) {
            progress_.shrink(static_cast<uint32_t>(bytes / 2));
            split(first, blocks);
        } else {
            progress_.fail(done.status);
        }
    }

    void split(uint64_t first, uint32_t blocks) {
        const uint32_t half = blocks / 2;
        read(first, half);
        read(first + half, blocks - half);
    }

    std::unique_ptr<BlockReader> reader_;
    uint32_t blockBytes_;
    Progress& progress_;
};

std::vector<LbaRange> rangesOf(std::vector<uint64_t> blocks) {
    std::sort(blocks.begin(), blocks.end());
    std::vector<LbaRange> ranges;
    for (const uint64_t lba : blocks) {
        if (!ranges.empty() && ranges.back().last + 1 >= lba) {
            ranges.back().last = lba;  // next to it, or the same: spread pieces of a small namespace may overlap
        } else {
            ranges.push_back({lba, lba});
        }
    }
    return ranges;
}

/// Read commands of NVMe, with a device of its own.
class NvmeReader : public BlockReader {
public:
    NvmeReader(const Device& device, uint32_t nsid, const Geometry& geometry)
        : device_(device), drive_(device_), nsid_(nsid), geometry_(geometry) {}

    BlockRead read(uint64_t first, uint32_t blocks) override {
        const NvmeCommand read = command(first, blocks);
        const auto answer = drive_.send(read, bufferFor(read.dataLength));
        if (answer) return {};
        const nvme::Completion& completion = answer.error().completion;
        if (completion.is(nvme::SC_ZONE_BOUNDARY_ERROR)) return {BlockRead::Outcome::BOUNDARY, answer.error()};
        if (isMediaError(completion)) return {BlockRead::Outcome::MEDIA_ERROR, {}};
        if (nvme::isTooMuchAtOnce(answer.error())) return {BlockRead::Outcome::TOO_MUCH, answer.error()};
        return {BlockRead::Outcome::FAILED, withLocking(drive_, answer.error(), answer.error().status)};
    }

private:
    /// The same for each read, since the data is dropped: a new one costs more than the read.
    const Payload& bufferFor(uint32_t bytes) {
        if (buffer_.getSize() < bytes) buffer_ = Payload((uint64_t{bytes} + PAGE_BYTES - 1) / PAGE_BYTES * PAGE_BYTES);
        return buffer_;
    }
    NvmeCommand command(uint64_t first, uint32_t blocks) const {
        NvmeCommand command(nvme::Queue::IO, nvme::OPC_READ, "Read");
        command.nsid = nsid_;
        command.cdw10 = static_cast<uint32_t>(first);
        command.cdw11 = static_cast<uint32_t>(first >> 32);
        command.cdw12 = blocks - 1;
        command.dataLength = blocks * geometry_.dataBytes;
        command.metadataLength = blocks * geometry_.metadataBytes;
        return command;
    }

    Device device_;
    nvme::Drive drive_;
    uint32_t nsid_;
    Geometry geometry_;
    Payload buffer_;
};

Result<ReadScanResult> readNamespace(nvme::Drive& drive, const ReadScanRequest& request) {
    RETURN_IF_FAILED(requireBlocks(drive, request.nsid, statuses::driveDoesNotSupportFeature()));
    TRY(const Geometry geometry, readGeometry(drive, request.nsid));
    TRY(const uint32_t pieceBytes, drive.maxTransferBytes());
    const ScannedBlocks scanned{geometry.blocks, geometry.dataBytes, pieceBytes,
                                "Drive " + drive.name() + ", read scan of namespace " + std::to_string(request.nsid)};
    return readScan(scanned, request, [&]() -> Result<std::unique_ptr<BlockReader>> {
        return std::unique_ptr<BlockReader>(std::make_unique<NvmeReader>(drive.device(), request.nsid, geometry));
    });
}

}  // namespace

ReadScanResult readScan(nvme::Drive& drive, const ReadScanRequest& request) {
    auto result = readNamespace(drive, request);
    return result ? *std::move(result) : failedScan(result.error());
}

ReadScanResult readScan(const ScannedBlocks& scanned, const ReadScanRequest& request, const MakeBlockReader& make) {
    const Pieces pieces(scanned, request.maxBytes);
    Progress progress(std::max(scanned.pieceBytes, scanned.blockBytes), scanned.operation);
    const auto count = static_cast<size_t>(std::min<uint64_t>(request.commandsAtOnce, pieces.count()));
    std::vector<std::unique_ptr<Worker>> workers;
    for (size_t i = 0; i < count; ++i) {
        auto reader = make();
        if (!reader) return failedScan(reader.error());
        workers.push_back(std::make_unique<Worker>(*std::move(reader), scanned.blockBytes, progress));
    }
    parallelFor(count, count, [&](std::size_t i) { workers[i]->run(pieces); });
    return ReadScanResult{scanned.blocks, progress.blocksRead, progress.unreadable.size(),
                          rangesOf(progress.unreadable), progress.failure};
}

ReadScanResult failedScan(const Status& why) {
    ReadScanResult none;
    none.failure = why;
    return none;
}

}  // namespace features::jobs
