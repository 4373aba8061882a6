#include "features/simulator/commands/NvmCommands.h"

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/DatasetRange.h"
#include "features/simulator/commands/Deallocation.h"
#include "features/simulator/commands/LatencyStatistics.h"
#include "features/simulator/context/FeatureValues.h"
#include "features/simulator/context/Transfer.h"
#include "features/simulator/store/RewrittenBlocks.h"

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
    if (blocks.part == nullptr) return refusal(SC_INVALID_NAMESPACE);
    if ((command.cdw12 & BITS_PRINFO) != 0) return refusal(SC_INVALID_FIELD);
    blocks.first = command.cdw10 | static_cast<uint64_t>(command.cdw11) << 32;
    blocks.count = (command.cdw12 & 0xFFFF) + 1;
    if (blocks.first >= blocks.part->size || blocks.count > blocks.part->size - blocks.first) {
        return refusal(SC_LBA_OUT_OF_RANGE);
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
    return fitsTransfer(context, blocks.bytes) ? completion : refusal(SC_INVALID_FIELD);
}

void countAlignment(CommandContext& context, const Blocks& blocks) {
    constexpr uint64_t ALIGNED_BYTES = 4096;
    const unsigned shift = context.formatOf(*blocks.part).dataShift;
    const uint64_t firstByte = blocks.first << shift;
    const uint64_t bytes = uint64_t{blocks.count} << shift;
    if ((firstByte | bytes) % ALIGNED_BYTES != 0) ++context.work.unalignedCommands;
}

}  // namespace

CompletionEntry read(CommandContext& context) {
    Blocks blocks;
    CompletionEntry completion = dataBlocksOf(context, blocks);
    if (!completion.isSuccess()) return completion;
    context.failingLba =
        firstUnreadable(context.description, context.state, {context.command.nsid, blocks.first, blocks.count});
    if (context.failingLba) return refusal(SC_UNRECOVERED_READ);
    if (context.media.read(context.command.nsid, blocks.first, blocks.count, blocks.withMetadata, context.data) != 0) {
        return refusal(SC_UNRECOVERED_READ);
    }
    ++context.work.readCommands;
    context.work.bytesRead += blocks.bytes;
    countLatency(context, true, blocks.bytes);
    countAlignment(context, blocks);
    return completion;
}

CompletionEntry write(CommandContext& context) {
    Blocks blocks;
    CompletionEntry completion = dataBlocksOf(context, blocks);
    if (!completion.isSuccess()) return completion;
    if (blocks.part->writeProtection != 0) return refusal(SC_NAMESPACE_WRITE_PROTECTED);
    if (!hasData(context, blocks.bytes)) return dataTransferError();
    context.data.resize(static_cast<size_t>(blocks.bytes));
    const uint32_t nsid = context.command.nsid;
    int error = context.media.write(nsid, blocks.first, blocks.count, blocks.withMetadata, context.data);
    const bool isCached = currentFeature(context, FID_VOLATILE_WRITE_CACHE).dword != 0;
    if (error == 0 && (!isCached || (context.command.cdw12 & BIT_FUA) != 0)) error = context.media.flush(nsid);
    if (error != 0) return refusal(SC_WRITE_FAULT);
    ++context.work.writeCommands;
    context.work.bytesWritten += blocks.bytes;
    countLatency(context, false, blocks.bytes);
    countAlignment(context, blocks);
    context.state.sanitize.globalDataErased = false;
    return completion;
}

CompletionEntry flush(CommandContext& context) {
    const bool isForAll = context.command.nsid == NSID_ALL;
    if (!isForAll && context.findAttached(context.command.nsid) == nullptr) {
        return refusal(SC_INVALID_NAMESPACE);
    }
    for (const auto& [nsid, part] : context.state.namespaces) {
        if ((isForAll && part.isAttachedTo(context.controllerId)) || nsid == context.command.nsid) {
            if (context.media.flush(nsid) != 0) return refusal(SC_WRITE_FAULT);
        }
    }
    return {};
}

CompletionEntry compare(CommandContext& context) {
    Blocks blocks;
    const CompletionEntry completion = dataBlocksOf(context, blocks);
    if (!completion.isSuccess()) return completion;
    if (!hasData(context, blocks.bytes)) return dataTransferError();
    std::vector<uint8_t> expected(context.data.begin(),
                                  context.data.begin() + static_cast<std::ptrdiff_t>(blocks.bytes));
    const CompletionEntry reading = read(context);
    if (!reading.isSuccess()) return reading;
    const bool isEqual = expected == context.data;
    context.data.clear();
    return isEqual ? completion : refusal(SC_COMPARE_FAILURE);
}

CompletionEntry writeZeroes(CommandContext& context) {
    Blocks blocks;
    const CompletionEntry completion = blocksOf(context, blocks);
    if (!completion.isSuccess()) return completion;
    if (blocks.part->writeProtection != 0) return refusal(SC_NAMESPACE_WRITE_PROTECTED);
    return deallocate(context, {{context.command.nsid, blocks.first, blocks.count}});
}

CompletionEntry manageDataset(CommandContext& context) {
    constexpr unsigned BIT_DEALLOCATE = 2;
    constexpr size_t RANGE_BYTES = sizeof(DatasetRange);
    const uint32_t nsid = context.command.nsid;
    const NamespaceState* part = context.findAttached(nsid);
    if (part == nullptr) return refusal(SC_INVALID_NAMESPACE);
    const size_t count = (context.command.cdw10 & 0xFF) + 1;
    if (!hasData(context, count * RANGE_BYTES)) return dataTransferError();
    // The attributes of a range are hints, and no one here takes them.
    std::vector<BlockRange> ranges;
    for (size_t i = 0; i < count; ++i) {
        const auto wanted = structureAt<DatasetRange>(context.data.data() + i * RANGE_BYTES);
        const BlockRange range{nsid, wanted.startingLba, wanted.blocks};
        if (range.first > part->size || range.count > part->size - range.first) {
            return refusal(SC_LBA_OUT_OF_RANGE);
        }
        if (range.count != 0) ranges.push_back(range);
    }
    if (!bit(context.command.cdw11, BIT_DEALLOCATE) || ranges.empty()) return {};
    if (part->writeProtection != 0) return refusal(SC_NAMESPACE_WRITE_PROTECTED);
    return deallocate(context, std::move(ranges));
}

}  // namespace features::simulator
