#pragma once

#include "features/nvme/ControllerIdentity.h"
#include "features/simulator/store/Description.h"

namespace features::transport {

/// Who a simulated drive is, as Identify Controller or IDENTIFY DEVICE has it. A SATA drive is in no NVM subsystem.
nvme::ControllerIdentity identityOf(const simulator::Description& description);

}  // namespace features::transport
