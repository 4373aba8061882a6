#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "features/simulator/store/FirmwareDownload.h"

namespace features::simulator {

inline constexpr uint64_t MAX_FIRMWARE_BYTES = 16 << 20;

/// The reset that an image needs before it runs.
enum class FirmwareReset : uint8_t {
    NONE,
    CONTROLLER,
    SUBSYSTEM,
    CONVENTIONAL,
};

/// An image that a simulated drive takes; docs/simulated-drives.md describes its bytes.
struct FirmwareImage {
    std::string revision;
    FirmwareReset reset = FirmwareReset::NONE;
};

/// The length of the image that begins with these bytes; empty: they are not the head of one for this model.
std::optional<uint64_t> firmwareLength(const std::vector<uint8_t>& bytes, const std::string& modelNumber);

/// Empty: the pieces, in any order, make no image for this model.
std::optional<FirmwareImage> readFirmwareImage(std::vector<FirmwareDownload::Piece> pieces,
                                               const std::string& modelNumber);

}  // namespace features::simulator
