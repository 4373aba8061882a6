#include <gtest/gtest.h>

#include <set>
#include <utility>

#include "features/nvme/StatusCodes.h"

namespace features::nvme {
namespace {

constexpr struct {
    uint8_t type;
    uint8_t code;
    const char* text;
} CASES[] = {
    {0, 0x00, "Successful Completion"},
    {0, 0x02, "Invalid Field in Command"},
    {0, 0x0B, "Invalid Namespace or Format"},
    {0, 0x1D, "Sanitize In Progress"},
    {0, 0x17, "Reserved"},
    {0, 0x84, "Format In Progress"},
    {0, 0xBF, "Reserved"},
    {0, 0xC0, "Vendor Specific"},
    {0, 0xFF, "Vendor Specific"},
    {1, 0x00, "Completion Queue Invalid"},
    {1, 0x09, "Invalid Log Page"},
    {1, 0x12, "Firmware Activation Requires Maximum Time Violation"},
    {1, 0x82, "Attempted Write to Read Only Range"},
    {1, 0xC0, "Vendor Specific"},
    {2, 0x81, "Unrecovered Read Error"},
    {2, 0x00, "Reserved"},
    {3, 0x70, "Host Pathing Error"},
    {3, 0xC1, "Vendor Specific"},
    {4, 0x00, "Reserved"},
    {4, 0xC0, "Reserved"},
    {7, 0x00, "Vendor Specific"},
};
TEST(StatusCodes, AreReportedInTheWordsOfTheStandard) {
    for (const auto& c : CASES) EXPECT_EQ(statusCodeText(c.type, c.code), c.text) << int{c.type} << '/' << int{c.code};
}

TEST(StatusCodes, AppearOnceEach) {
    std::set<std::pair<int, int>> seen;
#define STATUS_CODE(type, code, text)                     \
    EXPECT_TRUE(seen.emplace(type, code).second) << text; \
    EXPECT_EQ(statusCodeText(type, code), text);
#include "features/nvme/StatusCodes.def"
#undef STATUS_CODE
    EXPECT_EQ(seen.size(), 105U);
}

}  // namespace
}  // namespace features::nvme
