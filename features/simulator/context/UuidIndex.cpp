#include "features/simulator/context/UuidIndex.h"

namespace features::simulator {

bool isUuidIndexOf(const CommandContext& context, uint8_t identifier) {
    constexpr uint8_t FIRST_VENDOR_SPECIFIC = 0xC0;
    const uint32_t index = context.command.cdw14;
    return index == 0 || (identifier >= FIRST_VENDOR_SPECIFIC && index == context.model.ocpUuidIndex);
}

}  // namespace features::simulator
