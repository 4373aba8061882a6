#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "features/simulator/Controller.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/Status.h"

namespace features::transport {

/// How a namespace of a simulated drive is named: "n1" in the drive's folder, where no such file is.
std::string namespaceNode(const std::string& folder, uint32_t nsid);
/// The namespaces that are attached to the controller, as a host sees them.
ostrel::core::Status attachedNamespaces(simulator::Controller& controller, const std::string& folder,
                                        std::vector<HostNamespace>& found);

}  // namespace features::transport
