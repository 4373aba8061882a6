#include "features/simulator/NvmCommands.h"

#include "features/nvme/Bytes.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/Transfer.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr uint32_t BIT_FUA = 1U << 30;
/// Protection Information Field: no format of ours has protection information.
constexpr uint32_t BITS_PRINFO = 0xFU << 26;

/// The blocks that a command is about.
struct Blocks {
    const NamespaceState* part = nullptr;
    uint64_t first = 0;
    uint32_t count = 0;
    bool withMetadata = false;  ///< it travels with the data
    uint64_t bytes = 0;         ///< of the data that travel
};

/// Checks namespace, bounds and protection, and finds the blocks out.
CompletionEntry blocksOf(const CommandContext& context, Blocks& blocks) {
    const SubmissionEntry& command = context.command;
    blocks.part = context.findAttached(command.nsid);
    if (blocks.part == nullptr) return refusal(SCT_GENERIC, SC_INVALID_NAMESPACE);
    if ((command.cdw12 & BITS_PRINFO) != 0) return refusal(SCT_GENERIC, SC_INVALID_FIELD);
    blocks.first = command.cdw10 | static_cast<uint64_t>(command.cdw11) << 32;
    blocks.count = (command.cdw12 & 0xFFFF) + 1;
    if (blocks.first >= blocks.part->size || blocks.count > blocks.part->size - blocks.first) {
        return refusal(SCT_GENERIC, SC_LBA_OUT_OF_RANGE);
    }
    const LbaFormat& format = context.formatOf(*blocks.part);
    blocks.withMetadata = blocks.part->extendedMetadata && format.metadataBytes != 0;
    blocks.bytes =
        ((uint64_t{1} << format.dataShift) + (blocks.withMetadata ? format.metadataBytes : 0)) * blocks.count;
    return {};
}

CompletionEntry dataBlocksOf(const CommandContext& context, Blocks& blocks) {
    CompletionEntry completion = blocksOf(context, blocks);
    if (!completion.isSuccess()) return completion;
    return fitsTransfer(context, blocks.bytes) ? completion : refusal(SCT_GENERIC, SC_INVALID_FIELD);
}

}  // namespace

CompletionEntry read(CommandContext& context) {
    OSTREL_TRACE();
    Blocks blocks;
    CompletionEntry completion = dataBlocksOf(context, blocks);
    if (!completion.isSuccess()) return completion;
    if (context.media.read(context.command.nsid, blocks.first, blocks.count, blocks.withMetadata, context.data) != 0) {
        return refusal(SCT_MEDIA, SC_UNRECOVERED_READ);
    }
    ++context.work.readCommands;
    context.work.bytesRead += blocks.bytes;
    return completion;
}

CompletionEntry write(CommandContext& context) {
    OSTREL_TRACE();
    Blocks blocks;
    CompletionEntry completion = dataBlocksOf(context, blocks);
    if (!completion.isSuccess()) return completion;
    if (blocks.part->writeProtection != 0) return refusal(SCT_GENERIC, SC_NAMESPACE_WRITE_PROTECTED);
    if (!hasData(context, blocks.bytes)) return dataTransferError();
    context.data.resize(static_cast<size_t>(blocks.bytes));
    const uint32_t nsid = context.command.nsid;
    int error = context.media.write(nsid, blocks.first, blocks.count, blocks.withMetadata, context.data);
    if (error == 0 && (context.command.cdw12 & BIT_FUA) != 0) error = context.media.flush(nsid);
    if (error != 0) return refusal(SCT_MEDIA, SC_WRITE_FAULT);
    ++context.work.writeCommands;
    context.work.bytesWritten += blocks.bytes;
    context.state.sanitize.globalDataErased = false;
    return completion;
}

CompletionEntry flush(CommandContext& context) {
    OSTREL_TRACE();
    const bool isForAll = context.command.nsid == NSID_ALL;
    if (!isForAll && context.findAttached(context.command.nsid) == nullptr) {
        return refusal(SCT_GENERIC, SC_INVALID_NAMESPACE);
    }
    for (const auto& [nsid, part] : context.state.namespaces) {
        if ((isForAll && part.isAttached) || nsid == context.command.nsid) {
            if (context.media.flush(nsid) != 0) return refusal(SCT_MEDIA, SC_WRITE_FAULT);
        }
    }
    return {};
}

}  // namespace features::simulator
