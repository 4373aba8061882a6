#include "features/simulator/commands/UnreadableBlocks.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/structures/DatasetRange.h"
#include "features/simulator/store/RewrittenBlocks.h"

namespace features::simulator {

using namespace nvme;

namespace {

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

void noteRewritten(CommandContext& context) {
    if (context.description.faults.mediaErrors.empty()) return;
    const auto blocks = context.command.isAdmin ? rewrittenByAdmin(context) : rewrittenByIo(context);
    noteRewritten(context.description, context.state, blocks);
}

}  // namespace features::simulator
