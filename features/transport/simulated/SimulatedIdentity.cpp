#include "features/transport/simulated/SimulatedIdentity.h"

#include "features/simulator/context/ControllerIdentity.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::transport {

nvme::ControllerIdentity identityOf(const simulator::Description& description) {
    OSTREL_TRACE();
    return {description.serialNumber, description.shownModelNumber(), simulator::subsystemName(description)};
}

}  // namespace features::transport
