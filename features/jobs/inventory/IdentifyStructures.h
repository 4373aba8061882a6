#pragma once

#include <cstdint>
#include <vector>

#include "features/errors/Result.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Drive.h"
#include "features/nvme/FieldTree.h"

namespace features::jobs {

/// A data structure of Identify, by its CNS.
struct IdentifyStructure {
    uint8_t cns;
    bool ofOneNamespace;
    /// Asks the drive for it, and decodes it.
    Result<nvme::FieldTree> (*show)(nvme::Drive& drive, uint8_t cns, uint32_t nsid);
    const char* name;
    /// Which controllers have it (NVMe Base Specification 1.4, figure 244); null: all.
    bool (nvme::ControllerCapabilities::*isSupported)() const;
};

/// All that can be decoded.
std::vector<IdentifyStructure> identifyStructures();
/// Null: there is none with that CNS.
const IdentifyStructure* findIdentifyStructure(uint64_t cns);

}  // namespace features::jobs
