#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "features/simulator/Controller.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/Status.h"

namespace features::transport {

/// How a simulated drive and its namespaces are named, as if its folder had a /dev of its own: for the drive "one"
/// "one/dev/one", and "one/dev/onen1" for its namespace 1. No such files are there, but the tool knows a path by the
/// "/dev/" in it.
std::string controllerNode(const std::string& folder);
std::string namespaceNode(const std::string& folder, uint32_t nsid);
/// The namespaces that are attached to the controller, as a host sees them.
ostrel::core::Status attachedNamespaces(simulator::Controller& controller, const std::string& folder,
                                        std::vector<HostNamespace>& found);

}  // namespace features::transport
