#include <gtest/gtest.h>

#include "simdrive/iscsi/Parameters.h"
#include "simdrive/iscsi/Pdu.h"

namespace simdrive::iscsi {
namespace {

using Bytes = std::vector<uint8_t>;

/// A Data-Out unit with 5 bytes of data.
Bytes dataOut() {
    Bytes unit(48);
    unit[0] = 0x05;
    unit[1] = 0x80;
    unit[7] = 5;
    unit[15] = 0x12;
    unit[16] = 0xAA;
    unit[19] = 0x01;
    unit[43] = 0x80;
    for (const char c : std::string("hello")) unit.push_back(static_cast<uint8_t>(c));
    unit.resize(56);
    return unit;
}

TEST(IscsiPdu, IsReadWithItsPadding) {
    Bytes bytes = dataOut();
    bytes.push_back(0x40);  // the next one
    Pdu pdu;
    ASSERT_EQ(parsePdu(bytes.data(), bytes.size(), pdu), Parse::COMPLETE);
    EXPECT_EQ(pdu.header.opcode(), DATA_OUT);
    EXPECT_FALSE(pdu.header.isImmediate());
    EXPECT_EQ(pdu.header.flags(), 0x80);
    EXPECT_EQ(pdu.header.lun(), 0x12U);
    EXPECT_EQ(pdu.header.taskTag(), 0xAA000001U);
    EXPECT_EQ(pdu.header.number(40), 0x80U);
    EXPECT_EQ(std::string(pdu.data, pdu.data + pdu.dataBytes), "hello");
    EXPECT_EQ(pdu.totalBytes, 56U);
}

TEST(IscsiPdu, IsAwaitedToItsLastByte) {
    const Bytes bytes = dataOut();
    Pdu pdu;
    for (size_t size = 0; size < bytes.size(); ++size)
        EXPECT_EQ(parsePdu(bytes.data(), size, pdu), Parse::INCOMPLETE) << size;
}

TEST(IscsiPdu, AdditionalHeadersAreSkipped) {
    Bytes bytes = dataOut();
    bytes[4] = 2;
    bytes.insert(bytes.begin() + 48, 8, 0xEE);
    Pdu pdu;
    ASSERT_EQ(parsePdu(bytes.data(), bytes.size(), pdu), Parse::COMPLETE);
    EXPECT_EQ(std::string(pdu.data, pdu.data + pdu.dataBytes), "hello");
    EXPECT_EQ(pdu.totalBytes, 64U);
}

TEST(IscsiPdu, MoreDataThanWereAgreedOnAreAnError) {
    Bytes bytes(48);
    bytes[5] = 1;  // 65,536
    Pdu pdu;
    EXPECT_EQ(parsePdu(bytes.data(), bytes.size(), pdu), Parse::INCOMPLETE);
    bytes[7] = 1;
    EXPECT_EQ(parsePdu(bytes.data(), bytes.size(), pdu), Parse::ERROR);
}

TEST(IscsiPdu, IsWrittenWithItsPadding) {
    Header header(NOP_IN, FINAL);
    header.setNumber(16, 0x01020304);
    const Bytes data = {'a', 'b', 'c'};
    Bytes out;
    putPdu(out, header, data.data(), data.size());
    Bytes expected(48);
    expected[0] = 0x20;
    expected[1] = 0x80;
    expected[7] = 3;
    expected[16] = 1;
    expected[17] = 2;
    expected[18] = 3;
    expected[19] = 4;
    expected.insert(expected.end(), {'a', 'b', 'c', 0});
    EXPECT_EQ(out, expected);
}

TEST(IscsiParameters, KeysAreTexts) {
    const auto keys = parseKeys(std::string("A=1\0B=x=y\0C=\0", 13));
    ASSERT_TRUE(keys);
    EXPECT_EQ(*keys, (Keys{{"A", "1"}, {"B", "x=y"}, {"C", ""}}));
    EXPECT_EQ(keysText(*keys), std::string("A=1\0B=x=y\0C=\0", 13));
    EXPECT_FALSE(parseKeys("nonsense"));
    EXPECT_FALSE(parseKeys("=1"));
    EXPECT_EQ(parseKeys("")->size(), 0U);
}

TEST(IscsiParameters, WrongValuesAreRejected) {
    const struct {
        const char* key;
        const char* value;
        const char* answer;
    } CASES[] = {
        {"HeaderDigest", "CRC32C", "Reject"},        {"AuthMethod", "CHAP,KRB5", "Reject"},
        {"MaxBurstLength", "511", "Reject"},         {"MaxBurstLength", "16777216", "Reject"},
        {"MaxBurstLength", "-1", "Reject"},          {"FirstBurstLength", "x", "Reject"},
        {"MaxRecvDataSegmentLength", "0", "Reject"},
    };
    for (const auto& c : CASES) {
        Parameters parameters;
        EXPECT_EQ(parameters.negotiate({{c.key, c.value}}), (Keys{{c.key, c.answer}})) << c.value;
        EXPECT_TRUE(parameters.isRejected) << c.key;
    }
}

TEST(IscsiParameters, TheSmallerLengthCounts) {
    Parameters parameters;
    EXPECT_EQ(parameters.negotiate({{"MaxBurstLength", "8192"}, {"FirstBurstLength", "16384"}}),
              (Keys{{"MaxBurstLength", "8192"}, {"FirstBurstLength", "8192"}}));
    EXPECT_EQ(parameters.negotiate({{"MaxRecvDataSegmentLength", "1024"}}), Keys());
    EXPECT_EQ(parameters.hostSegmentBytes, 1024U);
    EXPECT_EQ(parameters.burstBytes, 8192U);
    EXPECT_FALSE(parameters.isRejected);
}

}  // namespace
}  // namespace simdrive::iscsi
