#pragma once

#include <string>
#include <vector>

#include "features/simulator/controller/Controller.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/Status.h"

namespace features::transport {

/// The namespaces that are attached to the controller, as a host sees them.
ostrel::core::Status attachedNamespaces(simulator::Controller& controller, const std::string& folder,
                                        std::vector<HostNamespace>& found);

}  // namespace features::transport
