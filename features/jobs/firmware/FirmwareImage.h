#pragma once

#include <cstdint>
#include <string>

#include "features/nvme/Drive.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Reads a firmware image: a regular file, not by a symbolic link, of a multiple of 4 bytes. 10/54 with the reason when
/// it cannot be read, 10/221 when it is empty, 10/223 when it is larger than any firmware, 10/52 for an odd size.
ostrel::core::Status readFirmwareImage(const std::string& path, std::string& image);

/// Whether the drive can be given an image of this size: a multiple of its Firmware Update Granularity, which must fit
/// into one transfer. `granularityBytes` is what every piece but the last is a multiple of. 10/52 with the reason.
ostrel::core::Status checkFirmwareImage(nvme::Drive& drive, uint64_t imageBytes, uint32_t& granularityBytes);

/// Sends the image in the largest pieces that the drive and the system take. A refusal is 10/52 with the drive's words.
ostrel::core::Status downloadFirmware(nvme::Drive& drive, const std::string& image, uint32_t granularityBytes);

}  // namespace features::jobs
