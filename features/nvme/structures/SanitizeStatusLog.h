#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Log page 81h, NVMe Base Specification 1.4, section 5.14.1.16.2, with what 2.1 adds. Times in seconds; FFFFFFFFh: not
/// reported.
struct SanitizeStatusLog {
    Le16 sprog;  ///< units of 1/65536
    Le16 sstat;
    Le32 scdw10;
    Le32 overwriteTime;
    Le32 blockEraseTime;
    Le32 cryptoEraseTime;
    Le32 overwriteTimeNoDeallocate;
    Le32 blockEraseTimeNoDeallocate;
    Le32 cryptoEraseTimeNoDeallocate;
    Le32 postVerificationTime;  ///< of the deallocation after a media verification; since NVMe 2.1
    uint8_t state;              ///< sanitize state in bits 3:0, the one that failed in bits 7:4; since NVMe 2.1
    ByteArray<475> reserved37;
};
static_assert(sizeof(SanitizeStatusLog) == 512 && alignof(SanitizeStatusLog) == 1);
static_assert(offsetof(SanitizeStatusLog, cryptoEraseTimeNoDeallocate) == 28);
static_assert(offsetof(SanitizeStatusLog, state) == 36);

}  // namespace features::nvme
