#include <algorithm>
#include <optional>

#include "features/nvme/Bytes.h"
#include "features/simulator/sata/Handlers.h"
#include "features/simulator/sata/IdentifyData.h"
#include "features/simulator/sata/InternalStatus.h"
#include "features/simulator/store/RewrittenBlocks.h"

namespace features::simulator::sata {

using nvme::le48;
using nvme::le64;

namespace {

constexpr uint32_t MAX_COUNT_28_BIT = 256;  // what 0 means
constexpr uint32_t MAX_COUNT_48_BIT = 65536;
constexpr uint16_t TRIM = 0x0001;
constexpr size_t TRIM_ENTRY_BYTES = 8;

/// Sectors that a command names; empty: they are not all there.
std::optional<BlockRange> sectorsOf(const SataContext& context) {
    const TaskFile& command = context.command;
    const uint32_t none = command.is48Bit ? MAX_COUNT_48_BIT : MAX_COUNT_28_BIT;
    const uint32_t count = command.count == 0 ? none : command.count;
    const uint64_t sectors = context.sectors();
    if (command.lba >= sectors || count > sectors - command.lba) return std::nullopt;
    return BlockRange{1, command.lba, count};
}

void notePending(SataContext& context, uint64_t sector) {
    std::vector<uint64_t>& pending = context.state.pending;
    const auto place = std::lower_bound(pending.begin(), pending.end(), sector);
    const bool isKnown = place != pending.end() && *place == sector;
    if (!isKnown && pending.size() < MAX_PENDING) pending.insert(place, sector);
}

/// Sectors that were written or given back need no longer be read.
void noteReallocated(SataContext& context, const std::vector<BlockRange>& ranges) {
    noteRewritten(context.description, context.drive, ranges);
    std::vector<uint64_t>& pending = context.state.pending;
    const auto isRewritten = [&](uint64_t sector) {
        return std::any_of(ranges.begin(), ranges.end(), [sector](const BlockRange& range) {
            return sector >= range.first && sector - range.first < range.count;
        });
    };
    const auto end = std::remove_if(pending.begin(), pending.end(), isRewritten);
    context.state.reallocated += static_cast<uint32_t>(pending.end() - end);
    pending.erase(end, pending.end());
}

std::optional<ata::Registers> mediaError(SataContext& context, const BlockRange& range) {
    const auto sector = firstUnreadable(context.description, context.drive, range);
    if (!sector) return std::nullopt;
    ++context.state.uncorrectableErrors;
    notePending(context, *sector);
    captureSavedStatus(context, "uncorrectable error");
    return failedWith(ERROR_UNCORRECTABLE, *sector);
}

/// The ranges of a trim; empty: one of them is beyond the end.
std::optional<std::vector<BlockRange>> trimRanges(const SataContext& context) {
    std::vector<BlockRange> ranges;
    const uint64_t sectors = context.sectors();
    for (size_t at = 0; at + TRIM_ENTRY_BYTES <= context.data.size(); at += TRIM_ENTRY_BYTES) {
        const uint8_t* entry = context.data.data() + at;
        const uint64_t first = le48(entry);
        const uint64_t count = le64(entry) >> 48;
        if (count == 0) continue;
        if (first >= sectors || count > sectors - first) return std::nullopt;
        ranges.push_back({1, first, count});
    }
    return ranges;
}

}  // namespace

ata::Registers readSectors(SataContext& context) {
    const auto range = sectorsOf(context);
    if (!range) return failedWith(ERROR_NOT_FOUND, context.command.lba);
    if (context.command.dataBytes != range->count * SECTOR_BYTES) return aborted();
    if (const auto error = mediaError(context, *range)) return *error;
    if (context.media.read(1, range->first, static_cast<uint32_t>(range->count), false, context.data) != 0) {
        return deviceFault();
    }
    context.work.bytesRead += range->count * SECTOR_BYTES;
    ++context.work.readCommands;
    return completed();
}

ata::Registers verifySectors(SataContext& context) {
    const auto range = sectorsOf(context);
    if (!range) return failedWith(ERROR_NOT_FOUND, context.command.lba);
    return mediaError(context, *range).value_or(completed());
}

ata::Registers writeSectors(SataContext& context) {
    const auto range = sectorsOf(context);
    if (!range) return failedWith(ERROR_NOT_FOUND, context.command.lba);
    if (context.data.size() != range->count * SECTOR_BYTES) return aborted();
    if (context.media.write(1, range->first, static_cast<uint32_t>(range->count), false, context.data) != 0) {
        return deviceFault();
    }
    noteReallocated(context, {*range});
    context.work.bytesWritten += range->count * SECTOR_BYTES;
    ++context.work.writeCommands;
    return completed();
}

ata::Registers flushCache(SataContext& context) {
    return context.media.flush(1) == 0 ? completed() : deviceFault();
}

ata::Registers dataSetManagement(SataContext& context) {
    const TaskFile& command = context.command;
    const bool isWhole = context.data.size() == command.count * SECTOR_BYTES;
    if (command.feature != TRIM || command.count == 0 || command.count > MAX_TRIM_SECTORS || !isWhole) {
        return aborted();
    }
    const auto ranges = trimRanges(context);
    if (!ranges) return aborted();
    if (!deallocate(context, *ranges)) return deviceFault();
    noteReallocated(context, *ranges);
    return completed();
}

}  // namespace features::simulator::sata
