#pragma once

#include <cstdint>
#include <string>

#include "features/errors/Result.h"
#include "features/nvme/Drive.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Reads a firmware image: a regular file, not by a symbolic link, of a multiple of 4 bytes. 10/54 with the reason when
/// it cannot be read, 10/221 when it is empty, 10/223 when it is larger than any firmware, 10/52 for an odd size.
Result<std::string> readFirmwareImage(const std::string& path);

/// Whether the drive can be given an image of this size: a multiple of its Firmware Update Granularity, which must fit
/// into one transfer. The result is what every piece but the last is a multiple of, in bytes. 10/52 with the reason.
Result<uint32_t> checkFirmwareImage(nvme::Drive& drive, uint64_t imageBytes);

/// Sends the image in the largest pieces that the drive and the system take. A refusal is 10/52 with the drive's words.
ostrel::core::Status downloadFirmware(nvme::Drive& drive, const std::string& image, uint32_t granularityBytes);

}  // namespace features::jobs
