#include "features/nvme/NamespaceProperties.h"

#include <algorithm>

#include "features/nvme/Bytes.h"

namespace features::nvme {

NamespaceProperties::NamespaceProperties(const uint8_t* identify)
    : sizeBlocks(le64(identify)),
      capacityBlocks(le64(identify + 8)),
      utilizationBlocks(le64(identify + 16)),
      flbas(identify[26]),
      dpc(identify[28]),
      dps(identify[29]),
      mc(identify[27]),
      nmic(identify[30]),
      numberOfFormats(static_cast<uint8_t>(std::min(identify[25] + 1U, MAX_FORMATS))),
      formats{} {
    constexpr unsigned OFFSET_FORMATS = 128;
    for (unsigned i = 0; i < numberOfFormats; ++i) {
        const uint8_t* at = identify + OFFSET_FORMATS + i * 4;
        formats[i] = {le16(at), at[2], static_cast<uint8_t>(at[3] & 3)};
    }
}

}  // namespace features::nvme
