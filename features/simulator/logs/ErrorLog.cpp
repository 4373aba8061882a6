#include "features/simulator/logs/ErrorLog.h"

#include "features/nvme/structures/ErrorInformationLog.h"

namespace features::simulator {

using namespace nvme;

CompletionEntry buildErrorLog(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    page.resize(context.model.errorEntries * sizeof(ErrorInformationEntry));
    uint8_t* at = page.data();
    for (const ErrorEntry& error : context.state.errors) {
        ErrorInformationEntry entry{};
        entry.errorCount = error.count;
        entry.sqid = error.isAdmin ? 0 : 1;
        entry.statusField = static_cast<uint16_t>(error.statusField << 1);
        entry.parameterErrorLocation = error.parameterByte;
        entry.lba = error.lba;
        entry.nsid = error.nsid;
        putStructure(at, entry);
        at += sizeof entry;
    }
    return {};
}

}  // namespace features::simulator
