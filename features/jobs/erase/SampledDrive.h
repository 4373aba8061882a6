#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "features/ata/Drive.h"
#include "features/errors/Result.h"
#include "features/nvme/Drive.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Blocks of a drive that can be sampled: those of a namespace; of a SATA drive all, as namespace 1.
struct SampledSpace {
    uint32_t nsid;
    uint64_t bytes;
    std::optional<uint8_t> deallocated;  ///< what the bytes of deallocated blocks read as, where the drive reports it
};

/// A drive of which pieces are read, past every cache of the system, before and after it is erased.
class SampledDrive {
public:
    static constexpr size_t PIECE_BYTES = 4096;
    using Piece = std::vector<uint8_t>;

    virtual ~SampledDrive() = default;
    /// An error where commands no longer reach the drive that was selected. Once this has succeeded, the path sends
    /// what changes a drive to that one alone, and asks no more which it is.
    virtual ostrel::core::Status checkSelected() = 0;
    /// As they are now: a format can change them.
    virtual Result<std::vector<SampledSpace>> spaces() = 0;
    /// PIECE_BYTES of user data from a byte of a space on, which must be in it. After spaces().
    virtual Result<Piece> read(uint32_t nsid, uint64_t offset) = 0;
};

/// The namespaces that are attached and have logical blocks, by Read commands.
class SampledNvmeDrive : public SampledDrive {
public:
    explicit SampledNvmeDrive(nvme::Drive& drive) : drive_(drive) {}
    ostrel::core::Status checkSelected() override;
    Result<std::vector<SampledSpace>> spaces() override;
    Result<Piece> read(uint32_t nsid, uint64_t offset) override;

private:
    /// Bytes of a block.
    struct Block {
        uint32_t data;
        uint32_t extended;  ///< metadata that follows the data of each block
        uint32_t apart;     ///< metadata that comes in a buffer of its own
    };
    nvme::Drive& drive_;
    std::map<uint32_t, Block> blocks_;  ///< by namespace
};

/// By READ DMA EXT; nothing of a drive without 48-bit addresses.
class SampledAtaDrive : public SampledDrive {
public:
    explicit SampledAtaDrive(ata::Drive& drive) : drive_(drive) {}
    ostrel::core::Status checkSelected() override;
    Result<std::vector<SampledSpace>> spaces() override;
    Result<Piece> read(uint32_t nsid, uint64_t offset) override;

private:
    ata::Drive& drive_;
    uint32_t sectorBytes_ = 0;
};

}  // namespace features::jobs
