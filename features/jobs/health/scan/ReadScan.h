#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/jobs/health/scan/BlockReader.h"
#include "features/nvme/Drive.h"
#include "features/nvme/NamespaceProperties.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// What of a namespace is read, and how.
struct ReadScanRequest {
    uint32_t nsid = 0;
    /// What is read at the most: a larger namespace is read in pieces that are evenly spread from its first block to
    /// its last. UINT64_MAX: all of it.
    uint64_t maxBytes = UINT64_MAX;
    unsigned commandsAtOnce = 8;
};

struct LbaRange {
    uint64_t first;
    uint64_t last;
};

struct ReadScanResult {
    static constexpr uint64_t MAX_UNREADABLE = 1024;

    uint64_t blocks = 0;           ///< of the namespace
    uint64_t blocksRead = 0;       ///< without an error
    uint64_t unreadable = 0;       ///< blocks; the scan ends when there are MAX_UNREADABLE
    std::vector<LbaRange> ranges;  ///< of them, in order
    ostrel::core::Status failure;  ///< why the scan was not completed
};

/// Blocks that are read, however.
struct ScannedBlocks {
    uint64_t blocks;
    uint32_t blockBytes;
    uint32_t pieceBytes;    ///< the most of one read
    std::string operation;  ///< for the line of progress
};
/// A reader for one of the threads of a scan.
using MakeBlockReader = std::function<Result<std::unique_ptr<BlockReader>>()>;

/// Reads blocks by several readers at once. A piece that cannot be read is split until the blocks are found that are to
/// blame; errors that do not come from the media end the scan.
///
/// Threads: starts threads of its own, and returns when all have ended.
ReadScanResult readScan(const ScannedBlocks& scanned, const ReadScanRequest& request, const MakeBlockReader& make);
/// The result of a scan that could not begin.
ReadScanResult failedScan(const ostrel::core::Status& why);

/// Reads the blocks of a namespace by Read commands, past every cache of the system, several at once, each as large as
/// drive and system take. A piece that the drive cannot read is split until the blocks are found that are to blame;
/// errors that do not come from the media end the scan.
///
/// Threads: starts threads of its own, each with a copy of the drive's device, and returns when all have ended.
ReadScanResult readScan(nvme::Drive& drive, const ReadScanRequest& request);

}  // namespace features::jobs
