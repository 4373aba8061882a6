#include "features/simulator/commands/LbaFormats.h"

#include <algorithm>

#include "features/nvme/FeatureIds.h"
#include "features/nvme/structures/FeatureData.h"
#include "features/simulator/context/FeatureValues.h"

namespace features::simulator {

uint8_t formatsForHost(const CommandContext& context) {
    const uint8_t count = context.model.formatCount;
    if (count <= PLAIN_FORMATS) return count;
    const FeatureValue value = currentFeature(context, nvme::FID_HOST_BEHAVIOR_SUPPORT);
    constexpr size_t AT_LBAFEE = offsetof(nvme::HostBehaviorSupport, lbafee);
    const bool isExtended = value.data.size() > AT_LBAFEE && value.data[AT_LBAFEE] == 1;
    return isExtended ? count : PLAIN_FORMATS;
}

uint8_t flbasOf(uint8_t format, bool extendedMetadata) {
    return static_cast<uint8_t>((format & 0x0F) | (format & 0x30) << 1 | (extendedMetadata ? 0x10 : 0));
}

uint8_t formatOfFlbas(uint8_t flbas) {
    return static_cast<uint8_t>((flbas & 0x0F) | (flbas >> 1 & 0x30));
}

}  // namespace features::simulator
