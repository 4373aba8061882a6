#include "features/simulator/logs/FirmwareLog.h"

#include "features/nvme/structures/FirmwareSlotLog.h"
#include "features/simulator/store/PaddedText.h"

namespace features::simulator {

CompletionEntry buildFirmwareLog(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    const FirmwareState& firmware = context.state.firmware;
    nvme::FirmwareSlotLog log{};
    log.afi = static_cast<uint8_t>(firmware.activeSlot | firmware.pendingSlot << 4);
    for (size_t i = 0; i < firmware.slots.size(); ++i) {
        const std::string& revision = firmware.slots[i];
        if (!revision.empty()) putText(log.revision[i], revision);
    }
    page = nvme::bytesOf(log);
    return {};
}

}  // namespace features::simulator
