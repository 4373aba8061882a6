#pragma once

#include "simdrive/scsi/ScsiCommand.h"

namespace simdrive::scsi {

/// MODE SENSE (6) and (10): the caching and the control page.
Answer modeSense(const ScsiCommand& command);
/// MODE SELECT (6) and (10): WCE of the caching page, D_SENSE of the control page.
Answer modeSelect(const ScsiCommand& command);

}  // namespace simdrive::scsi
