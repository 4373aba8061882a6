#pragma once

#include "features/nvme/Drive.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// A controller level reset through the host's driver. Returns when the controller has been asked who it is and has
/// answered, with Identify Controller of after the reset. 10/34 where the drive's transport has no reset, otherwise
/// 10/176 with the reason.
ostrel::core::Status resetController(nvme::Drive& drive);

/// The revision of the firmware that runs, as Identify Controller has it.
Result<std::string> runningFirmware(nvme::Drive& drive);

}  // namespace features::jobs
