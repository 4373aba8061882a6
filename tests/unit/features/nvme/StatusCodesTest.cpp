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
    {0, 0x25, "Invalid Key Tag"},
    {0, 0x26, "Host Dispersed Namespace Support Not Enabled"},
    {0, 0x27, "Host Identifier Not Initialized"},
    {0, 0x28, "Incorrect Key"},
    {0, 0x29, "FDP Disabled"},
    {0, 0x2A, "Invalid Placement Handle List"},
    {0, 0x2B, "Reserved"},
    {0, 0x85, "Invalid Value Size"},
    {0, 0x86, "Invalid Key Size"},
    {0, 0x87, "KV Key Does Not Exist"},
    {0, 0x88, "Unrecovered Error"},
    {0, 0x89, "Key Exists"},
    {1, 0x2E, "Reserved"},
    {1, 0x2F, "Invalid Discovery Information"},
    {1, 0x30, "Zoning Data Structure Locked"},
    {1, 0x31, "Zoning Data Structure Not Found"},
    {1, 0x32, "Insufficient Discovery Resources"},
    {1, 0x33, "Requested Function Disabled"},
    {1, 0x34, "ZoneGroup Originator Invalid"},
    {1, 0x35, "Reserved"},
    {1, 0x37, "Invalid Controller Data Queue"},
    {1, 0x38, "Not Enough Resources"},
    {1, 0x39, "Controller Suspended"},
    {1, 0x3A, "Controller Not Suspended"},
    {1, 0x3B, "Controller Data Queue Full"},
    {1, 0x3C, "Exceeds Maximum Namespace Sanitize"},
    {1, 0x3D, "Reserved"},
    {1, 0x3E, "Invalid Power Limit"},
    {1, 0x85, "Incompatible Namespace or Format"},
    {1, 0x86, "Fast Copy Not Possible"},
    {1, 0x87, "Overlapping I/O Range"},
    {1, 0x88, "Reserved"},
    {1, 0x89, "Insufficient Resources"},
    {1, 0xB5, "Reserved"},
    {1, 0xB6, "Invalid Zone Operation Request"},
    {1, 0xB7, "ZRWA Resources Unavailable"},
    {1, 0xB8, "Zone Boundary Error"},
    {1, 0xB9, "Zone Is Full"},
    {1, 0xBA, "Zone Is Read Only"},
    {1, 0xBB, "Zone Is Offline"},
    {1, 0xBC, "Zone Invalid Write"},
    {1, 0xBD, "Too Many Active Zones"},
    {1, 0xBE, "Too Many Open Zones"},
    {1, 0xBF, "Invalid Zone State Transition"},
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
#define STATUS_CODE(type, code, name, text)                    \
    EXPECT_TRUE(seen.emplace(type, code).second) << (text);    \
    EXPECT_EQ((name).field(), (type) << 8 | (code)) << (text); \
    EXPECT_EQ(statusCodeText(name), text);
#define FABRICS_STATUS_CODE(type, code, name, text)
#include "features/nvme/StatusCodes.def"
#undef STATUS_CODE
#undef FABRICS_STATUS_CODE
    EXPECT_EQ(seen.size(), 143U);
}

TEST(StatusCodes, AreTypeAndCodeInOne) {
    EXPECT_EQ(SC_INVALID_FIELD.field(), 0x002);
    EXPECT_EQ(SC_INVALID_LOG_PAGE.field(), 0x109);
    EXPECT_EQ(SC_UNRECOVERED_READ.field(), 0x281);
    EXPECT_EQ(SC_AUTHENTICATION_REQUIRED.field(), 0x191);
    EXPECT_EQ(StatusCode::ofField(0x4281), SC_UNRECOVERED_READ) << "Do Not Retry is no part of it";
    EXPECT_NE(SC_CAPACITY_EXCEEDED, SC_UNRECOVERED_READ) << "the same code of another type";
}

TEST(StatusCodes, OfFabricsHaveTheTextsOfTheNvmCommandSetWhereItUsesTheSameNumber) {
    EXPECT_EQ(statusCodeText(SC_CONNECT_INCOMPATIBLE_FORMAT), "Conflicting Attributes");
    EXPECT_EQ(statusCodeText(SC_CONNECT_CONTROLLER_BUSY), "Invalid Protection Information");
    EXPECT_EQ(statusCodeText(SC_CONNECT_INVALID_PARAMETERS), "Attempted Write to Read Only Range");
    EXPECT_EQ(statusCodeText(SC_CONNECT_RESTART_DISCOVERY), "Command Size Limit Exceeded");
    EXPECT_EQ(statusCodeText(SC_INVALID_QUEUE_TYPE), "Incompatible Namespace or Format");
    EXPECT_EQ(statusCodeText({1, 0x84}), "Connect Invalid Host");
    EXPECT_EQ(statusCodeText({1, 0x90}), "Discover Restart");
    EXPECT_EQ(statusCodeText({1, 0x91}), "Authentication Required");
}

}  // namespace
}  // namespace features::nvme
