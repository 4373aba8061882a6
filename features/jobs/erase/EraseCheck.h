#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "features/jobs/erase/ErasureRecord.h"
#include "features/jobs/erase/SampledDrive.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Reads samples of a drive before and after an erase, and judges them: begin and end of each namespace, and places
/// evenly spread between them.
///
///   - A sample passes that reads as deallocated blocks do, where the drive reports what that is, that repeats the
///     pattern of an overwrite, or that is not what it was.
///   - One that is what it was fails. So does one that could be read before the erase, and cannot after it.
///   - Not judged is one that repeats four bytes and still does (the erase may leave the same), one that could be
///     read neither before nor after, one that is beyond the new end of its namespace, and what is left when a few
///     places could not be read.
class EraseCheck {
public:
    static constexpr size_t MAX_PLACES = 64;  ///< of a namespace; fewer, at least two, where there are many
    static constexpr size_t MAX_PLACES_OF_ALL = 256;

    /// That the erase writes four bytes over and over, or one of several.
    void expect(std::vector<uint32_t> patterns) { patterns_ = std::move(patterns); }
    /// The samples before. What cannot be read is no reason not to erase.
    void before(SampledDrive& drive, uint32_t nsid);
    /// The samples after. Whether the erase can have been what the drive says; the details name the first place.
    ostrel::core::Status after(SampledDrive& drive, const ostrel::core::Status& failure);

    /// For the record: counts, and each place with its verdict.
    ErasureRecord::Section section() const;

private:
    enum class Verdict : uint8_t { DEALLOCATED, OVERWRITTEN, CHANGED, NOT_JUDGED, UNCHANGED, UNREADABLE };
    struct Place {
        uint32_t nsid;
        uint64_t offset;
        std::optional<SampledDrive::Piece> before;
        Verdict verdict = Verdict::NOT_JUDGED;
    };
    struct VerdictRow {
        const char* key;   ///< of the JSON
        const char* text;  ///< of the text, and of a message
    };
    static const VerdictRow& rowOf(Verdict verdict);
    static std::string nameOf(const Place& place);
    static Verdict comparedWithBefore(const Place& place, const SampledDrive::Piece& now);
    /// Of what a place holds now; empty: it cannot be read.
    Verdict verdictOf(const Place& place, const SampledSpace& space,
                      const std::optional<SampledDrive::Piece>& now) const;
    size_t count(Verdict verdict) const;

    std::vector<uint32_t> patterns_;
    std::vector<Place> places_;
    std::string problem_;  ///< why nothing was sampled
};

}  // namespace features::jobs
