#include "features/jobs/erase/EraseCheck.h"

#include <algorithm>

#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/NamespaceIds.h"

namespace features::jobs {

using namespace ostrel::core;
using Piece = SampledDrive::Piece;

namespace {

constexpr size_t PATTERN_BYTES = 4;  // of the pattern of an overwrite
/// On a drive that is dying each read may take minutes, and it must be erasable in spite of that: before the erase and
/// after it.
constexpr unsigned MAX_FAILURES = 4;

bool isRepeated(const Piece& piece) {
    return std::equal(piece.begin() + PATTERN_BYTES, piece.end(), piece.begin());
}

/// Dwords are little endian, in the pattern as everywhere.
bool repeats(const Piece& piece, uint32_t pattern) {
    return nvme::le32(piece.data()) == pattern && isRepeated(piece);
}

bool isFilledWith(const Piece& piece, uint8_t value) {
    return std::all_of(piece.begin(), piece.end(), [&](uint8_t byte) { return byte == value; });
}

/// From the first piece to the last; those between begin where a block of each usual size does.
std::vector<uint64_t> offsetsIn(uint64_t bytes, size_t maxPlaces) {
    if (bytes < SampledDrive::PIECE_BYTES) return {};
    const uint64_t last = bytes - SampledDrive::PIECE_BYTES;
    const uint64_t count = std::clamp<uint64_t>(last / SampledDrive::PIECE_BYTES + 1, 1, maxPlaces);
    std::vector<uint64_t> offsets;
    for (uint64_t i = 0; i + 1 < count; ++i)
        offsets.push_back(last / (count - 1) * i / SampledDrive::PIECE_BYTES * SampledDrive::PIECE_BYTES);
    offsets.push_back(last);
    return offsets;
}

}  // namespace

void EraseCheck::before(SampledDrive& drive, uint32_t nsid) {
    auto spaces = drive.spaces();
    if (!spaces) {
        problem_ = Status(spaces.error()).getMessage();
        return;
    }
    const size_t maxPlaces = std::clamp<size_t>(MAX_PLACES_OF_ALL / std::max<size_t>(spaces->size(), 1), 2, MAX_PLACES);
    unsigned failures = 0;
    for (const SampledSpace& space : *spaces) {
        if (nsid != nvme::NSID_ALL && nsid != space.nsid) continue;
        for (const uint64_t offset : offsetsIn(space.bytes, maxPlaces)) {
            Place place{space.nsid, offset, std::nullopt};
            if (failures < MAX_FAILURES) {
                auto piece = drive.read(space.nsid, offset);
                if (!piece) ++failures;
                if (piece) place.before = *std::move(piece);
            }
            places_.push_back(std::move(place));
        }
    }
    if (places_.empty()) problem_ = "The drive has no blocks that can be sampled.";
}

Status EraseCheck::after(SampledDrive& drive, const Status& failure) {
    if (places_.empty()) return Status();
    const auto spaces = drive.spaces();
    if (!spaces)
        return withDetails(failure, "What was erased could not be checked: " + Status(spaces.error()).getMessage());
    unsigned failures = 0;
    for (Place& place : places_) {
        const auto space = std::find_if(spaces->begin(), spaces->end(),
                                        [&](const SampledSpace& candidate) { return candidate.nsid == place.nsid; });
        const bool isThere = space != spaces->end() && place.offset + SampledDrive::PIECE_BYTES <= space->bytes;
        if (!isThere || failures == MAX_FAILURES) continue;
        auto piece = drive.read(place.nsid, place.offset);
        if (!piece) ++failures;
        place.verdict = verdictOf(place, *space, piece ? std::optional<Piece>(*std::move(piece)) : std::nullopt);
    }
    const auto first = std::find_if(places_.begin(), places_.end(),
                                    [](const Place& place) { return place.verdict >= Verdict::UNCHANGED; });
    if (first == places_.end()) return Status();
    return withDetails(failure, "The check of the erase failed: " + nameOf(*first) + " is " +
                                    rowOf(first->verdict).text + "; " +
                                    std::to_string(count(Verdict::UNCHANGED) + count(Verdict::UNREADABLE)) + " of " +
                                    std::to_string(places_.size()) + " places failed.");
}

EraseCheck::Verdict EraseCheck::verdictOf(const Place& place, const SampledSpace& space,
                                          const std::optional<Piece>& now) const {
    if (!now) return place.before ? Verdict::UNREADABLE : Verdict::NOT_JUDGED;
    if (space.deallocated && isFilledWith(*now, *space.deallocated)) return Verdict::DEALLOCATED;
    const bool isOverwritten =
        std::any_of(patterns_.begin(), patterns_.end(), [&](uint32_t pattern) { return repeats(*now, pattern); });
    return isOverwritten ? Verdict::OVERWRITTEN : comparedWithBefore(place, *now);
}

EraseCheck::Verdict EraseCheck::comparedWithBefore(const Place& place, const Piece& now) {
    if (!place.before) return Verdict::NOT_JUDGED;
    if (now != *place.before) return Verdict::CHANGED;
    return isRepeated(now) ? Verdict::NOT_JUDGED : Verdict::UNCHANGED;
}

size_t EraseCheck::count(Verdict verdict) const {
    return static_cast<size_t>(
        std::count_if(places_.begin(), places_.end(), [&](const Place& place) { return place.verdict == verdict; }));
}

const EraseCheck::VerdictRow& EraseCheck::rowOf(Verdict verdict) {
    // In the order of the enumerators.
    static constexpr VerdictRow ROWS[] = {{"deallocated", "deallocated"}, {"overwritten", "overwritten"},
                                          {"changed", "changed"},         {"notJudged", "not judged"},
                                          {"unchanged", "unchanged"},     {"unreadable", "unreadable"}};
    return ROWS[static_cast<size_t>(verdict)];
}

std::string EraseCheck::nameOf(const Place& place) {
    return "namespace " + std::to_string(place.nsid) + ", byte " + std::to_string(place.offset);
}

ErasureRecord::Section EraseCheck::section() const {
    ErasureRecord::Section section{"verification", "Verification by samples", {}};
    if (places_.empty()) {
        section.facts.push_back({"notDone", "Not done", problem_});
        return section;
    }
    section.facts = {{"places", "Places", std::to_string(places_.size()), true},
                     {"bytesOfEach", "Bytes of each", std::to_string(SampledDrive::PIECE_BYTES), true}};
    for (const Verdict verdict : {Verdict::DEALLOCATED, Verdict::OVERWRITTEN, Verdict::CHANGED, Verdict::NOT_JUDGED,
                                  Verdict::UNCHANGED, Verdict::UNREADABLE}) {
        const VerdictRow& row = rowOf(verdict);
        section.facts.push_back({row.key, row.text, std::to_string(count(verdict)), true});
    }
    section.listKey = "samples";
    for (const Place& place : places_) {
        const VerdictRow& row = rowOf(place.verdict);
        section.list.push_back({nameOf(place),
                                row.text,
                                {{"namespace", "", std::to_string(place.nsid), true},
                                 {"offsetBytes", "", std::to_string(place.offset), true},
                                 {"verdict", "", row.key}}});
    }
    return section;
}

}  // namespace features::jobs
