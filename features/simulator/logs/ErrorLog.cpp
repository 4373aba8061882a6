#include "features/simulator/logs/ErrorLog.h"

#include "features/nvme/Bytes.h"

namespace features::simulator {

using namespace nvme;

CompletionEntry buildErrorLog(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    constexpr size_t ENTRY_BYTES = 64;
    page.resize(context.model.errorEntries * ENTRY_BYTES);
    uint8_t* at = page.data();
    for (const ErrorEntry& entry : context.state.errors) {
        putLe64(at, entry.count);
        putLe16(at + 8, entry.isAdmin ? 0 : 1);  // Submission Queue ID
        putLe16(at + 12, static_cast<uint16_t>(entry.statusField << 1));
        putLe16(at + 14, entry.parameterByte);
        putLe64(at + 16, entry.lba);
        putLe32(at + 24, entry.nsid);
        at += ENTRY_BYTES;
    }
    return {};
}

}  // namespace features::simulator
