#include "features/transport/simulated/SimulatedIdentity.h"

#include "features/simulator/context/ControllerIdentity.h"

namespace features::transport {

nvme::ControllerIdentity identityOf(const simulator::Description& description) {
    return {description.serialNumber, description.shownModelNumber(), simulator::subsystemName(description)};
}

}  // namespace features::transport
