#pragma once

#include <vector>

#include "features/nvme/Structures.h"

namespace features::parsers {

/// The tables of the persistent event log, as features/nvme/Structures.h says.
std::vector<nvme::Structure> eventStructures();
std::vector<nvme::Structure> eventHeaderStructures();

}  // namespace features::parsers
