#pragma once

#include <vector>

#include "features/nvme/Structures.h"

namespace features::ata {

/// All tables of fields of what SATA drives return, by the files that have them, as those of features/nvme: out of them
/// docs/output.md is made.
std::vector<nvme::Structure> identifyDeviceStructures();
std::vector<nvme::Structure> identifyLogStructures();
std::vector<nvme::Structure> smartDataStructures();

}  // namespace features::ata
