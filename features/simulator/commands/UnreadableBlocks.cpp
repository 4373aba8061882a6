#include "features/simulator/commands/UnreadableBlocks.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/structures/DatasetRange.h"
#include "features/simulator/store/Extension.h"

namespace features::simulator {

using namespace nvme;

namespace {

/// Blocks of media errors that were rewritten since.
struct RewrittenBlocks {
    static constexpr const char* NAME = "rewritten-blocks";
    std::vector<BlockRange> ranges;

    template <class A>
    void fields(A& archive) {
        archive(ranges);
    }
};

/// What two ranges share; of no blocks: nothing.
BlockRange intersection(const BlockRange& a, const BlockRange& b) {
    const uint64_t first = std::max(a.first, b.first);
    const uint64_t end = std::min(a.first + a.count, b.first + b.count);
    return a.nsid != b.nsid || end <= first ? BlockRange{} : BlockRange{a.nsid, first, end - first};
}

/// Puts what `blocks` share with the media errors into `ranges`.
void addFaulty(const CommandContext& context, const BlockRange& blocks, std::vector<BlockRange>& ranges) {
    for (const BlockRange& fault : context.description.faults.mediaErrors) {
        const BlockRange shared = intersection(fault, blocks);
        if (shared.count != 0) ranges.push_back(shared);
    }
}

/// Sorts and joins ranges that touch.
void normalize(std::vector<BlockRange>& ranges) {
    std::sort(ranges.begin(), ranges.end(), [](const BlockRange& a, const BlockRange& b) {
        return std::tie(a.nsid, a.first) < std::tie(b.nsid, b.first);
    });
    std::vector<BlockRange> joined;
    for (const BlockRange& range : ranges) {
        BlockRange* last = joined.empty() ? nullptr : &joined.back();
        if (last != nullptr && last->nsid == range.nsid && last->first + last->count >= range.first) {
            last->count = std::max(last->first + last->count, range.first + range.count) - last->first;
        } else {
            joined.push_back(range);
        }
    }
    ranges = std::move(joined);
}

/// What a command of the NVM command set rewrote.
std::vector<BlockRange> rewrittenByIo(const CommandContext& context) {
    const SubmissionEntry& command = context.command;
    std::vector<BlockRange> blocks;
    if (command.opcode == OPC_WRITE || command.opcode == OPC_WRITE_ZEROES) {
        blocks.push_back({command.nsid, command.cdw10 | static_cast<uint64_t>(command.cdw11) << 32,
                          (command.cdw12 & 0xFFFFULL) + 1});
    } else if (command.opcode == OPC_DATASET_MANAGEMENT && bit(command.cdw11, 2)) {
        constexpr size_t RANGE_BYTES = sizeof(DatasetRange);
        const size_t count = std::min<size_t>((command.cdw10 & 0xFF) + 1, context.data.size() / RANGE_BYTES);
        for (size_t i = 0; i < count; ++i) {
            const auto range = structureAt<DatasetRange>(context.data.data() + i * RANGE_BYTES);
            blocks.push_back({command.nsid, range.startingLba, range.blocks});
        }
    }
    return blocks;
}

/// What an admin command rewrote: whole namespaces.
std::vector<BlockRange> rewrittenByAdmin(const CommandContext& context) {
    const SubmissionEntry& command = context.command;
    const bool isFormat = command.opcode == OPC_FORMAT_NVM;
    const bool isDelete = command.opcode == OPC_NAMESPACE_MANAGEMENT && bits(command.cdw10, 3, 0) == 1;
    std::vector<BlockRange> blocks;
    if (!isFormat && !isDelete && command.opcode != OPC_SANITIZE) return blocks;
    const bool isForAll = command.opcode == OPC_SANITIZE || command.nsid == NSID_ALL;
    for (const BlockRange& fault : context.description.faults.mediaErrors) {
        if (isForAll || fault.nsid == command.nsid) blocks.push_back(fault);
    }
    return blocks;
}

}  // namespace

std::optional<uint64_t> firstUnreadable(const CommandContext& context, const BlockRange& blocks) {
    std::vector<BlockRange> faulty;
    addFaulty(context, blocks, faulty);
    if (faulty.empty()) return std::nullopt;
    normalize(faulty);
    const auto rewritten = readExtension<RewrittenBlocks>(context.state);
    for (const BlockRange& range : faulty) {
        // Rewritten ranges are sorted and joined, so each can only move the first block on.
        uint64_t first = range.first;
        for (const BlockRange& good : rewritten.ranges) {
            if (good.nsid == range.nsid && good.first <= first && first < good.first + good.count) {
                first = good.first + good.count;
            }
        }
        if (first < range.first + range.count) return first;
    }
    return std::nullopt;
}

void noteRewritten(CommandContext& context) {
    if (context.description.faults.mediaErrors.empty()) return;
    const auto blocks = context.command.isAdmin ? rewrittenByAdmin(context) : rewrittenByIo(context);
    if (blocks.empty()) return;
    auto rewritten = readExtension<RewrittenBlocks>(context.state);
    for (const BlockRange& range : blocks) addFaulty(context, range, rewritten.ranges);
    normalize(rewritten.ranges);
    if (!rewritten.ranges.empty()) writeExtension(context.state, rewritten);
}

void forgetRemovedFaults(CommandContext& context) {
    if (context.state.extensions.count(RewrittenBlocks::NAME) == 0) return;
    const auto known = readExtension<RewrittenBlocks>(context.state);
    RewrittenBlocks rewritten;
    for (const BlockRange& range : known.ranges) addFaulty(context, range, rewritten.ranges);
    normalize(rewritten.ranges);
    if (rewritten.ranges.empty()) {
        context.state.extensions.erase(RewrittenBlocks::NAME);
    } else {
        writeExtension(context.state, rewritten);
    }
}

}  // namespace features::simulator
