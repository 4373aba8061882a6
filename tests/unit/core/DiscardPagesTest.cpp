#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "ostrel/core/DiscardPages.h"

namespace ostrel::core {
namespace {

/// Four pages of 'x' on addresses of their own.
class DiscardPages : public ::testing::Test {
protected:
    DiscardPages()
        : pages_(static_cast<char*>(
              mmap(nullptr, 4 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
        std::fill_n(pages_, 4 * page_, 'x');
    }
    ~DiscardPages() override { munmap(pages_, 4 * page_); }

    /// Of each page: whether it is in memory.
    std::vector<int> resident() {
        std::vector<unsigned char> flags(4);
        EXPECT_EQ(mincore(pages_, 4 * page_, flags.data()), 0);
        return {flags[0] & 1, flags[1] & 1, flags[2] & 1, flags[3] & 1};
    }

    const std::size_t page_ = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    char* const pages_;
};

TEST_F(DiscardPages, ReleasesThePagesThatTheRangeCovers) {
    discardPages(pages_ + page_, 2 * page_);
    EXPECT_EQ(resident(), (std::vector<int>{1, 0, 0, 1}));
    EXPECT_EQ(std::string(pages_, 4 * page_),
              std::string(page_, 'x') + std::string(2 * page_, '\0') + std::string(page_, 'x'));
}

TEST_F(DiscardPages, LeavesPagesThatTheRangeCoversInPart) {
    discardPages(pages_ + 1, 3 * page_ - 2);
    EXPECT_EQ(resident(), (std::vector<int>{1, 0, 1, 1}));
    EXPECT_EQ(std::string(pages_, 4 * page_),
              std::string(page_, 'x') + std::string(page_, '\0') + std::string(2 * page_, 'x'));
}

TEST_F(DiscardPages, LeavesARangeWithoutAWholePageAlone) {
    discardPages(pages_ + 1, 2 * page_ - 2);
    discardPages(pages_ + page_, page_ - 1);
    discardPages(pages_, 0);
    EXPECT_EQ(std::string(pages_, 4 * page_), std::string(4 * page_, 'x'));
}

}  // namespace
}  // namespace ostrel::core
