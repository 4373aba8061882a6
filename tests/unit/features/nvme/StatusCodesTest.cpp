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
    for (const auto& c : CASES)
        EXPECT_EQ(statusCodeText({c.type, c.code}), c.text) << int{c.type} << '/' << int{c.code};
}

TEST(StatusCodes, AppearOnceEach) {
    std::set<std::pair<int, int>> seen;
#define STATUS_CODE(type, code, name, text)               \
    EXPECT_TRUE(seen.emplace(type, code).second) << text; \
    EXPECT_EQ(name.field(), type << 8 | code) << text;    \
    EXPECT_EQ(statusCodeText(name), text);
#define FABRICS_STATUS_CODE(type, code, name)
#include "features/nvme/StatusCodes.def"
#undef STATUS_CODE
#undef FABRICS_STATUS_CODE
    EXPECT_EQ(seen.size(), 105U);
}

TEST(StatusCodes, AreTypeAndCodeInOne) {
    EXPECT_EQ(SC_INVALID_FIELD.field(), 0x002);
    EXPECT_EQ(SC_INVALID_LOG_PAGE.field(), 0x109);
    EXPECT_EQ(SC_UNRECOVERED_READ.field(), 0x281);
    EXPECT_EQ(SC_AUTHENTICATION_REQUIRED.field(), 0x191);
    EXPECT_EQ(StatusCode::ofField(0x4281), SC_UNRECOVERED_READ) << "Do Not Retry is no part of it";
    EXPECT_NE(SC_CAPACITY_EXCEEDED, SC_UNRECOVERED_READ) << "the same code of another type";
}

TEST(StatusCodes, OfFabricsHaveTheTextsOfTheNvmCommandSet) {
    EXPECT_EQ(statusCodeText(SC_CONNECT_INVALID_PARAMETERS), "Attempted Write to Read Only Range");
    EXPECT_EQ(statusCodeText(SC_AUTHENTICATION_REQUIRED), "Reserved");
}

}  // namespace
}  // namespace features::nvme
