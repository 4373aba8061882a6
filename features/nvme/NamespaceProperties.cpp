#include "features/nvme/NamespaceProperties.h"

#include <algorithm>

namespace features::nvme {

NamespaceProperties::NamespaceProperties(const uint8_t* identify)
    : NamespaceProperties(structureAt<IdentifyNamespace>(identify)) {}

NamespaceProperties::NamespaceProperties(const IdentifyNamespace& identify)
    : sizeBlocks(identify.nsze),
      capacityBlocks(identify.ncap),
      utilizationBlocks(identify.nuse),
      flbas(identify.flbas),
      dpc(identify.dpc),
      dps(identify.dps),
      mc(identify.mc),
      nmic(identify.nmic),
      numberOfFormats(static_cast<uint8_t>(std::min(identify.nlbaf + 1U + identify.nulbaf, MAX_FORMATS))),
      formats{} {
    for (unsigned i = 0; i < numberOfFormats; ++i) {
        const LbaFormatDescriptor& format = identify.lbaf[i];
        formats[i] = {format.ms, format.lbads, static_cast<uint8_t>(format.rp & 3)};
    }
}

}  // namespace features::nvme
