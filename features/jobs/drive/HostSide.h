#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "features/errors/Result.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

// What the host knows of a drive, whatever commands the drive itself understands. Nothing is asked of the drive.

/// The namespace whose node the user named; none when the drive was named otherwise.
std::optional<uint32_t> namedNamespace(const ostrel::core::Device& device);

/// The namespaces that the host has of the drive, attached to this controller.
Result<std::vector<transport::HostNamespace>> readHostNamespaces(ostrel::core::Device& device);

/// The same namespaces, with the sizes that the host gives them.
Result<std::vector<transport::HostNamespace>> readHostSizes(ostrel::core::Device& device);

/// All namespaces that the host sees of the drive's subsystem, each with its uses and partitions.
Result<std::vector<transport::HostNamespace>> readUsedNamespaces(ostrel::core::Device& device,
                                                                 transport::UseCheck check);

/// Where the drive sits, and the system's names of its namespaces.
Result<transport::HostLocation> readHostLocation(ostrel::core::Device& device);

/// Lets the host look again, after a command that changed namespaces or what is on them.
ostrel::core::Status rescan(ostrel::core::Device& device);
/// How it ended, as the result of a command whose success does not depend on it.
struct RescanStatus {
    ostrel::core::Status status;
};

}  // namespace features::jobs
