#pragma once

#include "features/nvme/ControllerIdentity.h"
#include "features/simulator/store/Description.h"

namespace features::transport {

/// Who a simulated drive's controller is, as its Identify Controller has it.
nvme::ControllerIdentity identityOf(const simulator::Description& description);

}  // namespace features::transport
