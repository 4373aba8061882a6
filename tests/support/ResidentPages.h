#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

/// How many of the pages that lie within a range as a whole are in memory.
inline std::size_t residentPages(const void* begin, std::size_t bytes) {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t first = (reinterpret_cast<std::uintptr_t>(begin) + page - 1) / page;
    const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(begin) + bytes) / page;
    if (end <= first) return 0;
    std::vector<unsigned char> flags(end - first);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the beginning of a page
    EXPECT_EQ(mincore(reinterpret_cast<void*>(first * page), (end - first) * page, flags.data()), 0);
    return static_cast<std::size_t>(std::count_if(flags.begin(), flags.end(), [](auto flag) { return flag & 1; }));
}
