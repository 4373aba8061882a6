#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace features::simulator {

/// Where the buckets of latency begin, in microseconds. The last has no end.
inline constexpr uint64_t LATENCY_BUCKETS[] = {0, 20, 50, 100, 200, 500, 1000, 10000};

/// How many commands took how long: reads of the three classes of size, then writes.
struct LatencyCounters {
    struct Class {
        std::array<uint64_t, std::size(LATENCY_BUCKETS)> counts{};
        uint64_t longest = 0;  ///< microseconds

        Class& operator+=(const Class& other) {
            for (size_t i = 0; i < counts.size(); ++i) counts[i] += other.counts[i];
            longest = std::max(longest, other.longest);
            return *this;
        }
        template <class A>
        void fields(A& archive) {
            archive(counts, longest);
        }
    };
    static constexpr size_t SIZES = 3;
    std::array<Class, 2 * SIZES> classes{};

    LatencyCounters& operator+=(const LatencyCounters& other) {
        for (size_t i = 0; i < classes.size(); ++i) classes[i] += other.classes[i];
        return *this;
    }
    template <class A>
    void fields(A& archive) {
        archive(classes);
    }
};

}  // namespace features::simulator
