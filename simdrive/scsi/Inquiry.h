#pragma once

#include "simdrive/scsi/ScsiCommand.h"

namespace simdrive::scsi {

/// INQUIRY of the only logical unit: standard data, and the pages of vital product data.
Answer inquiry(const ScsiCommand& command);
/// INQUIRY of any other logical unit: there is none.
Answer inquiryOfNothing(const ScsiCommand& command);

}  // namespace simdrive::scsi
