#pragma once

#include <cstdint>
#include <vector>

#include "features/errors/Result.h"
#include "features/simulator/store/DriveFolder.h"
#include "ostrel/core/Status.h"

namespace features::simulator {

/// The firmware image that is on its way: a file of pieces in the order in which they came, each with a head of offset
/// and length, 4 bytes each. It outlives the process, as a drive's memory does, and is not synced: should the machine
/// crash, so has the drive lost its power. A piece that a killed process left half written does not count.
///
/// Errors: those of the system, with the path.
class FirmwareDownload {
public:
    struct Piece {
        uint32_t offset;  ///< bytes
        std::vector<uint8_t> bytes;
    };

    explicit FirmwareDownload(const DriveFolder& folder) : folder_(folder) {}

    Result<std::vector<Piece>> pieces() const;
    ostrel::core::Status append(uint32_t offset, const std::vector<uint8_t>& bytes) const;
    void discard() const;

private:
    std::string path() const;

    const DriveFolder& folder_;
};

}  // namespace features::simulator
