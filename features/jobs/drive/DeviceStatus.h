#pragma once

#include <string>

#include "features/errors/Result.h"
#include "features/jobs/drive/DriveFacts.h"
#include "features/nvme/CommandError.h"

namespace features::jobs {

/// Whether the drive's firmware has panicked, and what ends the panic, in sentences, by OCP's log page C1h (Error
/// Recovery). Empty: it has not, or the drive is not known to have that page, which is not asked for then.
Result<std::string, nvme::CommandError> readPanicStatus(DriveFacts& facts);

/// The drive's status in words: the warnings of `smart`, the 512 bytes of its SMART / Health log, and a panic of its
/// firmware. A drive that refuses to answer whether it has panicked is not called healthy; a transport error is in
/// `facts`.failure().
std::string readDeviceStatus(DriveFacts& facts, const uint8_t* smart);

}  // namespace features::jobs
