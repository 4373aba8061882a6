#pragma once

#include "features/nvme/FieldTable.h"

namespace features::nvme {

/// Types of events of Flexible Data Placement: of log page 23h and feature 1Eh.
inline constexpr Word FDP_EVENT_TYPES[] = {
    {0x00, "Reclaim Unit not fully written to capacity"},
    {0x01, "Reclaim Unit time limit exceeded"},
    {0x02, "controller level reset modified Reclaim Unit Handles"},
    {0x03, "invalid Placement Identifier"},
    {0x80, "media reallocated"},
    {0x81, "Reclaim Unit Handle modified by the controller"},
    {},
};

}  // namespace features::nvme
