#pragma once

#include <string>

#include "features/nvme/Drive.h"

namespace features::jobs {

/// The DSSD power states of a drive as its OCP log C4h (Device Capabilities) lists them, for a refusal: "25, 15 or 10".
/// Empty where the drive lists none, or does not say.
std::string dssdPowerStates(nvme::Drive& drive);

}  // namespace features::jobs
