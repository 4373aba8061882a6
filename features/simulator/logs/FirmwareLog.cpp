#include "features/simulator/logs/FirmwareLog.h"

#include "features/simulator/store/PaddedText.h"

namespace features::simulator {

CompletionEntry buildFirmwareLog(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    const FirmwareState& firmware = context.state.firmware;
    page.resize(512);
    page[0] = static_cast<uint8_t>(firmware.activeSlot | firmware.pendingSlot << 4);
    for (size_t i = 0; i < firmware.slots.size(); ++i) {
        const std::string& revision = firmware.slots[i];
        if (revision.empty()) continue;
        uint8_t* at = page.data() + 8 + 8 * i;
        putText(at, REVISION_BYTES, revision);
    }
    return {};
}

}  // namespace features::simulator
