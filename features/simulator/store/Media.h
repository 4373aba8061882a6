#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "features/simulator/store/DriveFolder.h"
#include "ostrel/core/FileDescriptor.h"

namespace features::simulator {

struct LbaFormat;

/// The media of a drive: a sparse file for each namespace that was ever written to. A block that is not in it reads as
/// zeros. After the blocks, from the next multiple of 4 KiB on, the file holds their metadata.
///
/// Ownership: the folder must outlive it. Files stay open from one command to the next.
/// Errors:    0 or errno.
/// Threads:   one at a time, inside the folder's transaction.
class Media {
public:
    explicit Media(DriveFolder& folder) : folder_(folder) {}

    /// `data` holds the blocks with their metadata after each, when `withMetadata` says so; otherwise the blocks
    /// alone.
    int read(uint32_t nsid, uint64_t first, uint32_t blocks, bool withMetadata, std::vector<uint8_t>& data);
    int write(uint32_t nsid, uint64_t first, uint32_t blocks, bool withMetadata, const std::vector<uint8_t>& data);
    /// What was written is on the disk.
    int flush(uint32_t nsid);
    /// Makes the blocks read as zeros and gives their room back.
    int deallocate(const BlockRange& range);
    /// Blocks that take room.
    uint64_t blocksInUse(uint32_t nsid);
    /// Closes and removes files that the state does not name any more.
    void forget(const std::string& mediaName);

private:
    struct Layout {
        uint32_t dataBytes;
        uint32_t metadataBytes;
        uint64_t metadataStart;
    };
    Layout layoutOf(const NamespaceState& part) const;
    /// A namespace's file.
    struct Opened {
        int descriptor = -1;  ///< -1: there is none
        int error = 0;        ///< errno of one that cannot be opened
    };
    Opened open(uint32_t nsid, bool create);

    DriveFolder& folder_;
    std::map<std::string, ostrel::core::FileDescriptor> files_;
};

}  // namespace features::simulator
