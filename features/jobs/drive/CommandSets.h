#pragma once

#include <cstdint>
#include <set>

#include "features/errors/Result.h"
#include "features/nvme/Drive.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// The I/O command set of a namespace, a CSI of Identify. Before NVMe 1.4 there is one, and where the drive refuses to
/// say, it is the NVM command set.
Result<uint8_t> readCommandSet(nvme::Drive& drive, uint32_t nsid);

/// Those of the namespaces that are attached to the controller, and that of NVM: asking for one that a controller does
/// not support would be an error for it.
Result<std::set<uint8_t>> readCommandSets(nvme::Drive& drive);

/// Whether a namespace of this I/O command set has logical blocks, which one of Key Value does not.
bool hasBlocks(uint8_t csi);

/// `missing` with words for a namespace without logical blocks, as one of the Key Value command set: opcodes of the NVM
/// command set mean other commands there. To be asked before a command that names blocks.
ostrel::core::Status requireBlocks(nvme::Drive& drive, uint32_t nsid, const ostrel::core::Status& missing);

}  // namespace features::jobs
