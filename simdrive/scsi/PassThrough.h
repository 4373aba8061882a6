#pragma once

#include <optional>

#include "simdrive/scsi/ScsiCommand.h"

namespace simdrive::scsi {

/// ATA PASS-THROUGH (12) and (16), A1h and 85h (SAT-4 12.2).
Answer passThrough(const ScsiCommand& command);

}  // namespace simdrive::scsi
