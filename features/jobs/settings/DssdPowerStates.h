#pragma once

#include <string>

#include "features/nvme/Drive.h"

namespace features::jobs {

/// The DSSD power states of a drive as its OCP log C4h (Device Capabilities) lists them, for a refusal: "25, 15 or 10".
/// Empty where the drive lists none, and where its log page 00h does not name that page: nothing is asked of it then.
std::string dssdPowerStates(nvme::Drive& drive);

}  // namespace features::jobs
