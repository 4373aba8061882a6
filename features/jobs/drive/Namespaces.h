#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "features/errors/Result.h"
#include "features/nvme/CommandError.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Drive.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// The namespace whose node the user named; none when the drive was named otherwise.
std::optional<uint32_t> namedNamespace(nvme::Drive& drive);

/// The namespaces that the host has of the drive, attached to this controller.
Result<std::vector<transport::HostNamespace>> readHostNamespaces(nvme::Drive& drive);

/// All namespaces that the host sees of the drive's subsystem, each with its uses and partitions.
Result<std::vector<transport::HostNamespace>> readUsedNamespaces(nvme::Drive& drive, transport::UseCheck check);

/// Where the drive's controller sits, and the system's names of its namespaces.
Result<transport::HostLocation> readHostLocation(nvme::Drive& drive);

/// Lets the host look again, after a command that changed namespaces or what is on them.
ostrel::core::Status rescan(nvme::Drive& drive);
/// How it ended, as the result of a command whose success does not depend on it.
struct RescanStatus {
    ostrel::core::Status status;
};

/// The whole list of CNS 02h (attached) or 10h (allocated). 10/33 for a drive whose lists have no end.
Result<std::vector<uint32_t>> readNamespaceList(nvme::Drive& drive, uint8_t cns);
/// The whole list of CNS 12h (of one namespace) or 13h (of the subsystem); the same.
Result<std::vector<uint16_t>> readControllerList(nvme::Drive& drive, uint8_t cns, uint32_t nsid);

/// All namespaces of the drive, those included that no controller has.
Result<std::vector<uint32_t>> readAllNamespaces(nvme::Drive& drive, const nvme::ControllerCapabilities& controller);
/// Identify Namespace, 4,096 bytes, of a namespace that is attached to this controller, to another one, or to none.
/// 10/80 when the drive does not have it.
Result<ostrel::core::Payload, nvme::CommandError> identifyAnyNamespace(nvme::Drive& drive,
                                                                       const nvme::ControllerCapabilities& controller,
                                                                       uint32_t nsid);

}  // namespace features::jobs
