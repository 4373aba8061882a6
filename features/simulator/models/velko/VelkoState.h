#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace features::simulator {

/// An entry of nlog, bridge nlog or event log. `time` is microseconds since the last reset in the nlogs, and a time of
/// the Timestamp feature in the event log.
struct VelkoRecord {
    uint64_t time = 0;
    uint32_t sequence = 0;
    uint16_t code = 0;
    uint8_t severity = 0;  ///< 0 information, 1 warning, 2 error, 3 critical
    uint8_t core = 0;
    std::array<uint8_t, 16> details{};

    template <class A>
    void fields(A& archive) {
        archive(time, sequence, code, severity, core, details);
    }
};

/// The last records of a kind, the oldest first.
struct VelkoRing {
    std::vector<VelkoRecord> records;
    uint32_t nextSequence = 0;

    static constexpr size_t MAX_RECORDS = 128;

    template <class A>
    void fields(A& archive) {
        archive(records, nextSequence);
    }
};

struct VelkoAssert {
    uint64_t time = 0;
    uint32_t code = 0;
    uint32_t line = 0;
    std::string file;

    template <class A>
    void fields(A& archive) {
        archive(time, code, line, file);
    }
};

/// A run of Force Flush. How far it is follows from the time that went by.
struct VelkoFlush {
    bool wasStarted = false;
    bool wasStopped = false;
    uint64_t startedMs = 0;
    uint64_t stoppedMs = 0;
    uint64_t startTime = 0;       ///< of the Timestamp feature
    uint64_t bytes = 0;           ///< to be moved
    uint64_t writtenAtStart = 0;  ///< what the host had written

    template <class A>
    void fields(A& archive) {
        archive(wasStarted, wasStopped, startedMs, stoppedMs, startTime, bytes, writtenAtStart);
    }
};

/// What the maker's features and logs remember beside what every drive does.
struct VelkoState {
    static constexpr const char* NAME = "velko";  ///< of the extension of the drive's state

    VelkoRing events;
    VelkoRing nlog;
    VelkoRing bridgeNlog;
    std::vector<VelkoAssert> asserts;  ///< the oldest first
    VelkoFlush flush;
    uint64_t latencyEmptiedTime = 0;  ///< of the Timestamp feature
    uint64_t crcErrorsAtReset = 0;
    uint32_t quickFormats = 0;
    uint64_t quickFormatMs = 0;
    static constexpr size_t MAX_ASSERTS = 16;
    static constexpr size_t MAX_PICTURE_BYTES = 1 << 20;

    /// The pictures of binary logs that were taken last, by log page identifier.
    std::map<uint8_t, std::vector<uint8_t>> pictures;
    uint32_t generation = 0;

    template <class A>
    void fields(A& archive) {
        archive(events, nlog, bridgeNlog, asserts, flush, latencyEmptiedTime, crcErrorsAtReset, quickFormats,
                quickFormatMs, pictures, generation);
    }
    /// Whether the logs can show what is there.
    bool isPossible() const {
        const auto fits = [](const VelkoRing& ring) { return ring.records.size() <= VelkoRing::MAX_RECORDS; };
        const auto isSmall = [](const auto& picture) { return picture.second.size() <= MAX_PICTURE_BYTES; };
        return fits(events) && fits(nlog) && fits(bridgeNlog) && asserts.size() <= MAX_ASSERTS &&
               std::all_of(pictures.begin(), pictures.end(), isSmall);
    }
};

}  // namespace features::simulator
