#include <gtest/gtest.h>

#include "exporter/Range.h"

namespace exporter {
namespace {

constexpr struct {
    const char* range;
    double value;
    bool alerts;
    const char* why;
} RANGE_CASES[] = {
    {"10", 10, false, "both ends belong to the range"},
    {"10", 0, false, "it begins at 0"},
    {"10", 10.5, true, "above"},
    {"10", -1, true, "below 0"},
    {"10:", 10, false, "no upper end"},
    {"10:", 9.99, true, "below"},
    {"~:10", -300, false, "no lower end"},
    {"~:10", 11, true, "above"},
    {"10:20", 15, false, "within"},
    {"10:20", 21, true, "outside"},
    {"@10:20", 10, true, "@ alerts within, ends included"},
    {"@10:20", 9, false, "@ does not alert outside"},
    {"@0", 0, true, "@ with one number"},
};

TEST(Range, AlertsAsTheGuidelinesSay) {
    for (const auto& c : RANGE_CASES) {
        const auto range = Range::parse(c.range);
        ASSERT_TRUE(range) << c.range;
        EXPECT_EQ(range->alerts(c.value), c.alerts) << c.range << " of " << c.value << ": " << c.why;
        EXPECT_EQ(range->text(), c.range);
    }
}

TEST(Range, RefusesOtherTexts) {
    for (const char* text :
         {"", ":", "@", "x", "10x", "20:10", "10:x", "~", ":10", "1e3", " 1", "10 ", "0x10", "nan", "1:2:3"})
        EXPECT_FALSE(Range::parse(text)) << text;
}

}  // namespace
}  // namespace exporter
