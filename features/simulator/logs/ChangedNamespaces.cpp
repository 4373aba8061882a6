#include "features/simulator/logs/ChangedNamespaces.h"

#include "features/nvme/Bytes.h"

namespace features::simulator {

CompletionEntry buildChangedNamespaces(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page) {
    page.resize(4096);  // 1,024 entries, as many as a drive can have namespaces
    auto& changed = context.state.events.changedNamespaces;
    for (size_t i = 0; i < changed.size(); ++i) nvme::putLe32(page.data() + 4 * i, changed[i]);
    if (!request.retainEvent) changed.clear();
    return {};
}

}  // namespace features::simulator
