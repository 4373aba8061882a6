#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::ata {

/// Page 0 of logs 24h and 25h, ACS-4 clause 9.8. The pages of area n end with the page that lastPage[n - 1] names; an
/// area whose last page is not after that of the one before is empty.
struct InternalStatusHeader {
    uint8_t log;
    nvme::ByteArray<3> reserved1;
    nvme::Le32 organization;  ///< IEEE OUI
    nvme::Le16 lastPage[3];
    nvme::ByteArray<368> reserved14;
    uint8_t savedAvailable;  ///< 01h: log 25h has data
    uint8_t savedGeneration;
    nvme::ByteArray<128> reason;
};
static_assert(sizeof(InternalStatusHeader) == 512 && alignof(InternalStatusHeader) == 1);
static_assert(offsetof(InternalStatusHeader, lastPage) == 8 && offsetof(InternalStatusHeader, savedAvailable) == 382);

}  // namespace features::ata
