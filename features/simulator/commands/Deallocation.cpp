#include "features/simulator/commands/Deallocation.h"

#include "features/nvme/StatusCodes.h"

namespace features::simulator {

CompletionEntry deallocate(CommandContext& context, std::vector<BlockRange> ranges) {
    const CompletionEntry fault = refusal(nvme::SC_WRITE_FAULT);
    context.state.deallocating = std::move(ranges);
    if (failed(context.folder.save())) return fault;
    return finishDeallocation(context) && context.state.deallocating.empty() ? CompletionEntry{} : fault;
}

bool finishDeallocation(CommandContext& context) {
    std::vector<BlockRange>& ranges = context.state.deallocating;
    if (ranges.empty()) return false;
    for (const BlockRange& range : ranges) {
        // What cannot be deallocated now is tried again at the next command.
        if (context.media.deallocate(range) != 0) return false;
    }
    ranges.clear();
    return true;
}

}  // namespace features::simulator
