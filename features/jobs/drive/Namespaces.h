#pragma once

#include <cstdint>
#include <vector>

#include "features/errors/Result.h"
#include "features/nvme/CommandError.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Drive.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

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
