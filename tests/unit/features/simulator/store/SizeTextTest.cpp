#include <gtest/gtest.h>

#include "features/simulator/store/SizeText.h"

namespace features::simulator {
namespace {

TEST(SizeText, IsANumberWithAUnit) {
    constexpr struct {
        const char* text;
        uint64_t bytes;
    } CASES[] = {
        {"0", 0},
        {"4096", 4096},
        {"1K", 1000},
        {"1k", 1000},
        {"2KB", 2000},
        {"1Ki", 1024},
        {"1KiB", 1024},
        {"3M", 3000000},
        {"3MiB", 3145728},
        {"16G", 16000000000},
        {"16gib", 17179869184},
        {"2T", 2000000000000},
        {"2TiB", 2199023255552},
        {"5b", 5},
        {"16777215TiB", 18446742974197923840U},
    };
    for (const auto& c : CASES) {
        EXPECT_EQ(parseSize(c.text), c.bytes) << c.text;
    }
}

TEST(SizeText, IsRefusedOtherwise) {
    for (const char* text : {"", "G", "-1", "+1", "1.5G", " 1", "1 G", "0x10", "1P", "1i", "1iB", "1KK", "1Kii", "1BB",
                             "16777216TiB", "18446745T", "99999999999999999999", "1K\n"}) {
        EXPECT_EQ(parseSize(text), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace features::simulator
