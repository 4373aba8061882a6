#include <gtest/gtest.h>

#include <cstdint>
#include <new>

#include "ostrel/core/AddressableSize.h"

namespace ostrel::core {
namespace {

TEST(AddressableSize, IsTheNumberItself) {
    EXPECT_EQ(addressableSize(0), 0u);
    EXPECT_EQ(addressableSize(4294967295), 4294967295u);
}

TEST(AddressableSize, OfMoreThanThereAreAddressesIsNoMemory) {
    if constexpr (sizeof(size_t) == 4) {
        EXPECT_THROW(addressableSize(4294967296), std::bad_alloc);
        EXPECT_THROW(addressableSize(UINT64_MAX), std::bad_alloc);
    } else {
        EXPECT_EQ(addressableSize(4294967296), 4294967296u);
        EXPECT_EQ(addressableSize(UINT64_MAX), UINT64_MAX);
    }
}

}  // namespace
}  // namespace ostrel::core
