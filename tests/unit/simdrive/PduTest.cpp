#include <gtest/gtest.h>

#include "ostrel/core/Strings.h"
#include "simdrive/tcp/Pdu.h"

namespace simdrive::tcp {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr Framing PLAIN{false, false, 0};
constexpr Framing DIGESTS{true, true, 0};

Bytes bytesOf(const std::string& hex) {
    const ostrel::core::Payload payload = ostrel::core::hexToBytes(hex, " ");
    return Bytes(payload.getData(), payload.getData() + payload.getSize());
}

Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

/// The unit of exactly these bytes; a failure when it is none.
Pdu parsed(const Bytes& bytes, const Framing& framing) {
    Pdu pdu;
    ProtocolError error;
    EXPECT_EQ(parsePdu(bytes.data(), bytes.size(), framing, pdu, error), Parse::COMPLETE);
    EXPECT_EQ(pdu.totalBytes, bytes.size());
    return pdu;
}

/// "error/information" of bytes that break the rules.
std::string errorOf(const Bytes& bytes, const Framing& framing) {
    Pdu pdu;
    ProtocolError error;
    if (parsePdu(bytes.data(), bytes.size(), framing, pdu, error) != Parse::ERROR) return "none";
    return std::to_string(error.fatalError) + "/" + std::to_string(error.information);
}

TEST(Pdu, HasTheDigestOfItsKind) {
    const std::string text = "123456789";
    EXPECT_EQ(crc32c(reinterpret_cast<const uint8_t*>(text.data()), text.size()), 0xE3069283U);
    const Bytes zeros(32);
    EXPECT_EQ(crc32c(zeros.data(), zeros.size()), 0x8A9136AAU);
}

TEST(Pdu, WithoutDataIsItsHeader) {
    const Bytes unit = joined({bytesOf("04 00 48 00 48000000"), Bytes(64, 0x5A)});
    const Pdu pdu = parsed(unit, PLAIN);
    EXPECT_EQ(pdu.type, PDU_CAPSULE_CMD);
    EXPECT_EQ(pdu.header, unit.data());
    EXPECT_EQ(pdu.headerBytes, 72U);
    EXPECT_EQ(pdu.dataBytes, 0U);
}

TEST(Pdu, HasDataWhereItSays) {
    const Bytes unit = joined({bytesOf("04 00 48 50 54000000"), Bytes(64), Bytes(8, 0xEE), bytesOf("01020304")});
    const Pdu pdu = parsed(unit, PLAIN);
    EXPECT_EQ(Bytes(pdu.data, pdu.data + pdu.dataBytes), bytesOf("01020304"));
    EXPECT_FALSE(pdu.isDataDamaged);
}

TEST(Pdu, HasItsDigestsChecked) {
    // H2CData of 4 bytes; both digests were computed bit by bit, from the polynomial.
    const Bytes header = bytesOf("06 07 18 1C 24000000 0100 0200 00000000 04000000 00000000");
    const Bytes headerDigest = bytesOf("D67C16BD");
    const Bytes data = bytesOf("01020304");
    const Bytes dataDigest = bytesOf("F48C3029");
    const Bytes unit = joined({header, headerDigest, data, dataDigest});
    const Pdu pdu = parsed(unit, DIGESTS);
    EXPECT_EQ(pdu.headerBytes, 24U);
    EXPECT_EQ(Bytes(pdu.data, pdu.data + pdu.dataBytes), data);
    EXPECT_FALSE(pdu.isDataDamaged);
    EXPECT_TRUE(parsed(joined({header, headerDigest, data, bytesOf("00000000")}), DIGESTS).isDataDamaged);
    EXPECT_EQ(errorOf(joined({header, bytesOf("04030201"), data, dataDigest}), DIGESTS), "3/16909060");
}

TEST(Pdu, IsIncompleteUntilItsLastByte) {
    const Bytes unit = joined({bytesOf("04 00 48 48 4C000000"), Bytes(64), bytesOf("01020304")});
    for (size_t size = 0; size < unit.size(); ++size) {
        Pdu pdu;
        ProtocolError error;
        EXPECT_EQ(parsePdu(unit.data(), size, PLAIN, pdu, error), Parse::INCOMPLETE) << size;
    }
    parsed(unit, PLAIN);
}

TEST(Pdu, ThatBreaksARuleIsAnErrorAtItsEighthByte) {
    const struct {
        const char* bytes;
        Framing framing;
        const char* error;
        const char* why;
    } CASES[] = {
        {"01 00 80 00 80000000", PLAIN, "1/0", "a kind of the controller"},
        {"08 00 18 00 18000000", PLAIN, "1/0", "an unknown kind"},
        {"04 01 48 00 48000000", PLAIN, "1/1", "a header digest that was not agreed on"},
        {"04 00 48 00 4C000000", DIGESTS, "1/1", "no header digest though it was agreed on"},
        {"04 01 48 4C 54000000", DIGESTS, "1/1", "data without a digest though it was agreed on"},
        {"04 03 48 00 4C000000", DIGESTS, "1/1", "a data digest without data"},
        {"00 00 7F 00 80000000", PLAIN, "1/2", "a wrong header length"},
        {"04 00 48 46 50000000", PLAIN, "1/3", "data off the alignment"},
        {"04 00 48 44 50000000", PLAIN, "1/3", "data inside the header"},
        {"04 03 48 48 54000000", DIGESTS, "1/3", "data where the header's digest is"},
        {"00 00 80 00 81000000", PLAIN, "1/4", "data that the kind does not have"},
        {"00 00 80 00 7F000000", PLAIN, "1/4", "shorter than its header"},
        {"04 00 48 48 49200000", PLAIN, "1/4", "one byte of data too much"},
        {"04 00 48 FC FD200000", PLAIN, "1/4", "one byte of data too much, far after the header"},
        {"06 00 18 18 19000200", PLAIN, "1/4", "one byte of data too much for H2CData"},
        {"02 00 18 00 99000000", PLAIN, "1/4", "more than a termination copies"},
        {"04 00 48 48 FFFFFFFF", PLAIN, "1/4", "an endless unit"},
        {"04 00 48 50 4C000000", PLAIN, "1/4", "data after its end"},
        {"04 03 48 4C 4E000000", DIGESTS, "1/4", "no room for the data's digest"},
    };
    for (const auto& c : CASES) EXPECT_EQ(errorOf(bytesOf(c.bytes), c.framing), c.error) << c.why;
}

TEST(Pdu, OfDataSaysTheLengthTwice) {
    EXPECT_EQ(errorOf(bytesOf("06 00 18 18 1C000000 0100 0200 00000000 05000000 00000000"), PLAIN), "1/16");
}

TEST(Pdu, ForTheHostIsLaidOutAsTheStandardSays) {
    Bytes out;
    putIcResp(out, DIGESTS);
    EXPECT_EQ(out, joined({bytesOf("01 00 80 00 80000000 0000 00 03 00000200"), Bytes(112)}));

    out.clear();
    const std::vector<uint8_t> entry = bytesOf("0102030405060708090A0B0C0D0E0F10");
    putCapsuleResp(out, PLAIN, features::nvme::structureAt<CompletionQueueEntry>(entry.data()));
    EXPECT_EQ(out, bytesOf("05 00 18 00 18000000 0102030405060708090A0B0C0D0E0F10"));

    out.clear();
    putR2t(out, PLAIN, 0x1234, 1, 0x100, 0x2000);
    EXPECT_EQ(out, bytesOf("09 00 18 00 18000000 3412 0100 00010000 00200000 00000000"));

    out.clear();
    putC2hData(out, PLAIN, 0x1234, bytesOf("AABBCC"), false);
    EXPECT_EQ(out, bytesOf("07 04 18 18 1B000000 3412 0000 00000000 03000000 00000000 AABBCC"));

    out.clear();
    putC2hData(out, Framing{false, false, 7}, 0x1234, bytesOf("AABBCC"), true);
    EXPECT_EQ(out, bytesOf("07 0C 18 20 23000000 3412 0000 00000000 03000000 00000000 0000000000000000 AABBCC"));

    out.clear();
    putC2hTermReq(out, ProtocolError{1, 0x0A}, bytesOf("0400").data(), 2);
    EXPECT_EQ(out, bytesOf("03 00 18 00 1A000000 0100 0A000000 00000000000000000000 0400"));
}

TEST(Pdu, ForTheHostHasDigests) {
    Bytes out;
    putR2t(out, DIGESTS, 0x1234, 1, 0, 0x2000);
    EXPECT_EQ(out, bytesOf("09 01 18 00 1C000000 3412 0100 00000000 00200000 00000000 E1536E95"));
    out.clear();
    putC2hData(out, DIGESTS, 0x1234, bytesOf("AABBCC"), false);
    EXPECT_EQ(out, bytesOf("07 07 18 1C 23000000 3412 0000 00000000 03000000 00000000 03133C74 AABBCC AA2989E1"));
}

TEST(Pdu, OfATerminationCopiesAHeaderAtMost) {
    Bytes out;
    putC2hTermReq(out, ProtocolError{2, 0}, Bytes(200, 1).data(), 200);
    EXPECT_EQ(out.size(), 24U + 128U);
    EXPECT_EQ(out[4], 152);
}

}  // namespace
}  // namespace simdrive::tcp
