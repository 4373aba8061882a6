#pragma once

#include <string>
#include <vector>

#include "features/simulator/controller/Controller.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/Status.h"

namespace features::transport {

/// The namespaces that are attached to the controller, as a host sees them.
struct AttachedNamespaces {
    std::vector<HostNamespace> found;
    ostrel::core::Status status;  ///< an error: there may be more than were found before it
};
/// `withSizes`: each namespace is identified for them.
AttachedNamespaces attachedNamespaces(simulator::Controller& controller, const std::string& folder, bool withSizes);

}  // namespace features::transport
