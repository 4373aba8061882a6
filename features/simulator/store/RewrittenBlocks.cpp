#include "features/simulator/store/RewrittenBlocks.h"

#include <algorithm>
#include <tuple>

#include "features/simulator/store/Extension.h"

namespace features::simulator {

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
void addFaulty(const Description& description, const BlockRange& blocks, std::vector<BlockRange>& ranges) {
    for (const BlockRange& fault : description.faults.mediaErrors) {
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

}  // namespace

std::optional<uint64_t> firstUnreadable(const Description& description, const DriveState& state,
                                        const BlockRange& blocks) {
    std::vector<BlockRange> faulty;
    addFaulty(description, blocks, faulty);
    if (faulty.empty()) return std::nullopt;
    normalize(faulty);
    const auto rewritten = readExtension<RewrittenBlocks>(state);
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

void noteRewritten(const Description& description, DriveState& state, const std::vector<BlockRange>& blocks) {
    if (description.faults.mediaErrors.empty() || blocks.empty()) return;
    auto rewritten = readExtension<RewrittenBlocks>(state);
    for (const BlockRange& range : blocks) addFaulty(description, range, rewritten.ranges);
    normalize(rewritten.ranges);
    if (!rewritten.ranges.empty()) writeExtension(state, rewritten);
}

void forgetRemovedFaults(const Description& description, DriveState& state) {
    if (state.extensions.count(RewrittenBlocks::NAME) == 0) return;
    const auto known = readExtension<RewrittenBlocks>(state);
    RewrittenBlocks rewritten;
    for (const BlockRange& range : known.ranges) addFaulty(description, range, rewritten.ranges);
    normalize(rewritten.ranges);
    if (rewritten.ranges.empty()) {
        state.extensions.erase(RewrittenBlocks::NAME);
    } else {
        writeExtension(state, rewritten);
    }
}

}  // namespace features::simulator
