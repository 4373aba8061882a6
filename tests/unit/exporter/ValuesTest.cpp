#include <gtest/gtest.h>

#include "exporter/Values.h"

namespace exporter {
namespace {

constexpr struct {
    const char* text;
    const char* unit;
    Source source;
    std::optional<double> number;
    const char* why;
} VALUE_CASES[] = {
    {"38", "C", {}, 38, "the unit beside the value"},
    {"-5", "C", {}, -5, "below zero"},
    {"38 C", "", {}, 38, "the unit in the text"},
    {"100 %", "", {}, 1, "per cent are ratios"},
    {"7", "units of 512000 bytes", {}, 3584000, "data units are bytes"},
    {"3", "minutes", {}, 180, "seconds"},
    {"2", "hours", {}, 7200, "seconds"},
    {"32768 units of 1/65536", "", {}, 0.5, "progress of a sanitize operation"},
    {"16.0 GT/s", "", {}, 16e9, "a fraction"},
    {"6.0 Gb/s", "", {}, 75e7, "bytes, not bits"},
    {"340282366920938463463374607431768211455", "", {}, 340282366920938463463374607431768211455.0, "128 bits"},
    {"not reported", "C", {}, std::nullopt, "words are no value"},
    {"Property not found", "", {}, std::nullopt, "words are no value"},
    {"0x05", "", {}, std::nullopt, "a code is no number"},
    {"2-bit", "", {}, std::nullopt, "words that begin with a digit"},
    {"", "", {}, std::nullopt, "nothing"},
    {"-", "", {}, std::nullopt, "no digit"},
    {"5", "", {Request::NONE, "", Conversion::HOURS}, 18000, "hours without a unit"},
    {"True", "", {Request::NONE, "", Conversion::FLAG}, 1, "a flag"},
    {"False", "", {Request::NONE, "", Conversion::FLAG}, 0, "a flag"},
    {"not reported", "", {Request::NONE, "", Conversion::FLAG}, std::nullopt, "no flag"},
    {"b", "", {Request::NONE, "", Conversion::ONE_OF, "a|b"}, 1, "the second word"},
    {"bc", "", {Request::NONE, "", Conversion::ONE_OF, "a|b"}, 0, "a longer text"},
    {"Unknown", "", {Request::NONE, "", Conversion::ONE_OF, "Healthy"}, std::nullopt, "a health that was not read"},
    {"not reported: refused", "", {Request::NONE, "", Conversion::BEGINS_WITH, "a"}, std::nullopt, "not read"},
    {"Property not found", "", {Request::NONE, "", Conversion::NONE_OF, "None"}, std::nullopt, "not read"},
    {"None", "", {Request::NONE, "", Conversion::NONE_OF, "None"}, 0, "the word"},
    {"FW2", "", {Request::NONE, "", Conversion::NONE_OF, "None"}, 1, "another text"},
    {"heavy", "", {Request::NONE, "", Conversion::LEVEL, "none|light|heavy"}, 2, "the third level"},
    {"disabled", "", {Request::NONE, "", Conversion::LEVEL, "none|light|heavy"}, std::nullopt, "no level"},
    {"in progress, 12.50 % done", "", {Request::NONE, "", Conversion::BEGINS_WITH, "in progress"}, 1, "its beginning"},
    {"in progress, 12.50 % done", "", {Request::NONE, "", Conversion::DONE}, 0.125, "the percentage"},
    {"done", "", {Request::NONE, "", Conversion::DONE}, std::nullopt, "without a percentage"},
    {"in progress, 50 %", "", {Request::NONE, "", Conversion::DONE}, std::nullopt, "a percentage of something else"},
    {"50 % done", "", {Request::NONE, "", Conversion::DONE}, std::nullopt, "without what is done"},
    {"not reported", "", {Request::NONE, "", Conversion::HOURS}, std::nullopt, "no hours"},
    {"", "", {Request::NONE, "", Conversion::PRESENT}, 1, "whatever it is"},
    {"--5", "", {}, std::nullopt, "two signs"},
};

TEST(Values, BecomeNumbersInBaseUnits) {
    for (const auto& c : VALUE_CASES) {
        const Value value = toValue(c.text, c.unit, c.source);
        EXPECT_EQ(value.number, c.number) << '"' << c.text << "\": " << c.why;
        EXPECT_FALSE(value.isUnknownUnit) << c.text;
    }
}

TEST(Values, ReportAnUnknownUnitAndNoNumber) {
    for (const char* unit : {"furlongs", "MB"}) {
        const Value value = toValue("3", unit, {});
        EXPECT_TRUE(value.isUnknownUnit) << unit;
        EXPECT_FALSE(value.number) << unit;
    }
}

}  // namespace
}  // namespace exporter
