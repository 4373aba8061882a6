#include <boost/multiprecision/cpp_int.hpp>
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "features/nvme/Bytes.h"

namespace features::nvme {
namespace {

TEST(Bytes, ReadsLittleEndianFields) {
    const uint8_t bytes[] = {0x01, 0x82, 0x03, 0x84, 0x05, 0x86, 0x07, 0x88, 0xFF};
    EXPECT_EQ(le16(bytes), 0x8201);
    EXPECT_EQ(le24(bytes), 0x038201U);
    EXPECT_EQ(le32(bytes), 0x84038201U);
    EXPECT_EQ(le48(bytes), 0x860584038201U);
    EXPECT_EQ(le64(bytes), 0x8807860584038201U);
    EXPECT_EQ(le16(bytes + 7), 0xFF88);
}

TEST(Bytes, WritesLittleEndianFieldsAndNothingBeside) {
    uint8_t bytes[12];
    std::memset(bytes, 0xEE, sizeof bytes);
    putLe16(bytes + 1, 0x8201);
    EXPECT_EQ(std::string(bytes, bytes + 4), std::string("\xEE\x01\x82\xEE", 4));
    putLe32(bytes + 1, 0x84038201);
    EXPECT_EQ(std::string(bytes, bytes + 6), std::string("\xEE\x01\x82\x03\x84\xEE", 6));
    putLe64(bytes + 1, 0x8807860584038201);
    EXPECT_EQ(std::string(bytes, bytes + 10), std::string("\xEE\x01\x82\x03\x84\x05\x86\x07\x88\xEE", 10));
}

TEST(Bytes, TakesBitsOutOfAField) {
    EXPECT_TRUE(bit(0x80000000, 31));
    EXPECT_FALSE(bit(0x7FFFFFFF, 31));
    EXPECT_TRUE(bit(uint64_t{1} << 63, 63));
    EXPECT_EQ(bits(0xABCD, 15, 12), 0xAU);
    EXPECT_EQ(bits(0xABCD, 7, 4), 0xCU);
    EXPECT_EQ(bits(0xABCD, 0, 0), 1U);
    EXPECT_EQ(bits(0xFEDCBA9876543210, 63, 0), 0xFEDCBA9876543210U);
    EXPECT_EQ(bits(0xFEDCBA9876543210, 63, 60), 0xFU);
}

constexpr struct {
    uint8_t bytes[16];
    const char* decimal;
} COUNTERS[] = {
    {{}, "0"},
    {{1}, "1"},
    {{0xFF}, "255"},
    {{0xFF, 0xC9, 0x9A, 0x3B}, "999999999"},
    {{0x00, 0xCA, 0x9A, 0x3B}, "1000000000"},
    {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, "18446744073709551615"},
    {{0, 0, 0, 0, 0, 0, 0, 0, 1}, "18446744073709551616"},
    {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x80}, "170141183460469231731687303715884105728"},
    {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
     "340282366920938463463374607431768211455"},
};
TEST(Bytes, Decimal128IsExact) {
    for (const auto& c : COUNTERS) EXPECT_EQ(decimal128(c.bytes), c.decimal);
}

TEST(Bytes, Decimal128AgreesWithAnotherArithmetic) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 2000; ++i) {
        uint8_t bytes[16] = {};
        const unsigned length = static_cast<unsigned>(random() % 17);  // short numbers too
        for (unsigned k = 0; k < length; ++k) bytes[k] = static_cast<uint8_t>(random());
        boost::multiprecision::cpp_int number;
        boost::multiprecision::import_bits(number, bytes, bytes + sizeof bytes, 8, false);
        EXPECT_EQ(decimal128(bytes), number.str());
    }
}

const struct {
    std::string bytes;
    const char* shown;
    const char* why;
} TEXTS[] = {
    {"SN1234   ", "SN1234", "padded with blanks, as the standard has it"},
    {std::string("SN1234\0\0\0", 9), "SN1234", "padded with zero bytes, as some drives have it"},
    {std::string("SN \0 \0", 6), "SN", "padded with both"},
    {"   SN", "SN", "padded in front"},
    {"A B  C", "A B  C", "blanks inside belong to it"},
    {"        ", "", "nothing but blanks"},
    {std::string(8, '\0'), "", "nothing at all"},
    {"", "", "no field"},
    {std::string("A\0B", 3), "A?B", "a zero byte inside"},
    {"\x1B[31mred\r\n", "?[31mred??", "terminal control"},
    {"\x7F\x80\xC3\xA4\xFF~ ", "?????~", "nothing but ASCII passes"},
    {"<&>\"'", "<&>\"'", "what is written into the answer is escaped there"},
};
TEST(Bytes, ShownTextIsFitToBeShown) {
    for (const auto& c : TEXTS)
        EXPECT_EQ(shownText(reinterpret_cast<const uint8_t*>(c.bytes.data()), c.bytes.size()), c.shown) << c.why;
}

}  // namespace
}  // namespace features::nvme
