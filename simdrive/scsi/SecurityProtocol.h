#pragma once

#include "simdrive/scsi/ScsiCommand.h"

namespace simdrive::scsi {

/// SECURITY PROTOCOL IN, A2h (SPC-5 6.42), as TRUSTED RECEIVE. Protocol EFh, by which SAT shows the ATA security
/// feature set, is not supported.
Answer securityProtocolIn(const ScsiCommand& command);

}  // namespace simdrive::scsi
