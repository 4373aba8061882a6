#include "features/simulator/logs/ChangedNamespaces.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/structures/ChangedNamespaceList.h"

namespace features::simulator {

CompletionEntry buildChangedNamespaces(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page) {
    nvme::ChangedNamespaceList list{};  // as many entries as a drive can have namespaces
    auto& changed = context.state.events.changedNamespaces;
    std::copy(changed.begin(), changed.end(), std::begin(list.nsid));
    page = nvme::bytesOf(list);
    if (!request.retainEvent) changed.clear();
    return {};
}

}  // namespace features::simulator
