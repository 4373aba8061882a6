#include "features/transport/simulated/SimulatedIdentity.h"

#include "features/simulator/context/ControllerIdentity.h"

namespace features::transport {

nvme::ControllerIdentity identityOf(const simulator::Description& description) {
    const bool isSata = simulator::isSata(description.model);
    return {description.serialNumber, description.shownModelNumber(),
            isSata ? std::string() : simulator::subsystemName(description)};
}

}  // namespace features::transport
