#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "simdrive/capture/Mask.h"

namespace simdrive {
namespace {

using features::simulator::CapturedAnswers;
using Bytes = std::vector<uint8_t>;

void put(Bytes& data, size_t offset, const Bytes& bytes) {
    std::copy(bytes.begin(), bytes.end(), data.begin() + static_cast<std::ptrdiff_t>(offset));
}
void put(Bytes& data, size_t offset, const std::string& text) {
    put(data, offset, Bytes(text.begin(), text.end()));
}
Bytes part(const Bytes& data, size_t offset, size_t size) {
    const auto first = data.begin() + static_cast<std::ptrdiff_t>(offset);
    return {first, first + static_cast<std::ptrdiff_t>(size)};
}
std::string text(const Bytes& data, size_t offset, size_t size) {
    const Bytes bytes = part(data, offset, size);
    return {bytes.begin(), bytes.end()};
}

const Bytes EUI64{0x00, 0x25, 0x38, 0x11, 0x22, 0x33, 0x44, 0xAB};

CapturedAnswers nvmeCapture() {
    Bytes controller(4096);
    put(controller, 4, "S4YNNF0T123456      ");
    put(controller, 768, "nqn.1994-11.com.maker:nvme:X:S4YNNF0T123456");
    Bytes space(4096);
    put(space, 120, EUI64);
    Bytes log(512, 0x7F);
    put(log, 10, "serial=S4YNNF0T123456;");
    put(log, 100, Bytes(EUI64.rbegin(), EUI64.rend()));
    put(log, 200, "eui.00253811223344ab");
    CapturedAnswers capture;
    capture.answers[{0x06, {0, 1, 0, 0}}].data = controller;
    capture.answers[{0x06, {1, 0, 0, 0}}].data = space;
    capture.answers[{0x02, {0xFFFFFFFF, 0xCA, 0, 0}}].data = log;
    return capture;
}

std::string hex(const Bytes& bytes) {
    std::string text;
    for (const uint8_t byte : bytes) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

TEST(Mask, ReplacesAnIdentifierByTheSameEverywhere) {
    CapturedAnswers capture = nvmeCapture();
    mask(capture);
    EXPECT_TRUE(capture.isMasked);
    const Bytes& controller = capture.answers[{0x06, {0, 1, 0, 0}}].data;
    const Bytes& log = capture.answers[{0x02, {0xFFFFFFFF, 0xCA, 0, 0}}].data;
    const std::string serial = text(controller, 4, 14);
    EXPECT_NE(serial, "S4YNNF0T123456");
    EXPECT_EQ(serial.find_first_not_of("0123456789ABCDEFGHJKLMNPQRSTVWXYZ"), std::string::npos) << serial;
    EXPECT_EQ(text(controller, 18, 6), "      ");
    EXPECT_EQ(text(log, 10, 22), "serial=" + serial + ";");
    EXPECT_EQ(text(controller, 768, 22), "nqn.1994-11.com.maker:") << "who made it is no secret";
    EXPECT_EQ(text(controller, 768, 43).find("S4YNNF0T123456"), std::string::npos);
    const Bytes name = part(capture.answers[{0x06, {1, 0, 0, 0}}].data, 120, 8);
    EXPECT_EQ(part(name, 0, 3), part(EUI64, 0, 3)) << "the maker's identifier";
    EXPECT_NE(name, EUI64);
    EXPECT_EQ(part(log, 100, 8), Bytes(name.rbegin(), name.rend())) << "in the other byte order";
    EXPECT_EQ(text(log, 200, 20), "eui." + hex(name)) << "as text";
    EXPECT_EQ(log[9], 0x7F);
    EXPECT_EQ(log[32], 0x7F) << "nothing beside it is touched";
}

TEST(Mask, ReplacesTheHostIdentifier) {
    const Bytes host{0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8};
    CapturedAnswers capture = nvmeCapture();
    capture.answers[{0x0A, {0, 0x81, 0, 0}}].data = host;
    put(capture.answers[{0x02, {0xFFFFFFFF, 0xCA, 0, 0}}].data, 300, host);
    mask(capture);
    const Bytes masked = capture.answers[{0x0A, {0, 0x81, 0, 0}}].data;
    ASSERT_EQ(masked.size(), 8U);
    EXPECT_NE(masked, host);
    EXPECT_EQ(part(capture.answers[{0x02, {0xFFFFFFFF, 0xCA, 0, 0}}].data, 300, 8), masked);
}

/// NGUID, EUI64 and UUID are identifiers; the Command Set Identifier is none.
TEST(Mask, ReplacesTheDescriptorsOfANamespace) {
    const Bytes nguid{0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F};
    const Bytes uuid{0x20, 0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2A, 0x2B, 0x2C, 0x2D, 0x2E, 0x2F};
    Bytes list(4096);
    put(list, 0, Bytes{1, 8, 0, 0});
    put(list, 4, EUI64);
    put(list, 12, Bytes{4, 1, 0, 0, 2});
    put(list, 17, Bytes{2, 16, 0, 0});
    put(list, 21, nguid);
    put(list, 37, Bytes{3, 16, 0, 0});
    put(list, 41, uuid);
    CapturedAnswers capture = nvmeCapture();
    capture.answers[{0x06, {1, 3, 0, 0}}].data = list;
    mask(capture);
    const Bytes& masked = capture.answers[{0x06, {1, 3, 0, 0}}].data;
    EXPECT_EQ(part(masked, 0, 7), part(list, 0, 7)) << "the maker's identifier stays";
    EXPECT_NE(part(masked, 7, 5), part(list, 7, 5));
    EXPECT_EQ(part(masked, 12, 9), part(list, 12, 9));
    EXPECT_NE(part(masked, 21, 16), nguid);
    EXPECT_EQ(part(masked, 37, 4), part(list, 37, 4));
    EXPECT_NE(part(masked, 41, 16), uuid);
    EXPECT_EQ(part(masked, 4, 8), part(capture.answers[{0x06, {1, 0, 0, 0}}].data, 120, 8)) << "the same everywhere";
}

TEST(Mask, HasAKeyOfItsOwnEachTime) {
    CapturedAnswers first = nvmeCapture();
    CapturedAnswers second = nvmeCapture();
    mask(first);
    mask(second);
    EXPECT_NE(text(first.answers[{0x06, {0, 1, 0, 0}}].data, 4, 20),
              text(second.answers[{0x06, {0, 1, 0, 0}}].data, 4, 20));
}

TEST(Mask, LeavesWhatIsNotReported) {
    CapturedAnswers capture;
    capture.answers[{0x06, {0, 1, 0, 0}}].data = Bytes(4096);
    capture.answers[{0x06, {1, 0, 0, 0}}].data = Bytes(4096);
    capture.answers[{0x06, {2, 0, 0, 0}}].data = Bytes(3);
    capture.answers[{0x06, {1, 3, 0, 0}}].data = Bytes{3, 200, 0, 0, 1};
    mask(capture);
    EXPECT_EQ((capture.answers[{0x06, {0, 1, 0, 0}}].data), Bytes(4096));
    EXPECT_EQ((capture.answers[{0x06, {1, 0, 0, 0}}].data), Bytes(4096));
    EXPECT_EQ((capture.answers[{0x06, {1, 3, 0, 0}}].data), (Bytes{3, 200, 0, 0, 1})) << "cut short";
}

TEST(Mask, AShortSerialNumberIsReplacedInItsPlaceAlone) {
    CapturedAnswers capture;
    Bytes controller(4096);
    put(controller, 24, "A1 MODEL");
    put(controller, 4, "A1                  ");
    capture.answers[{0x06, {0, 1, 0, 0}}].data = controller;
    for (int i = 0; i < 8; ++i) {  // one of these differs, but for a chance of 1 in 33^8
        mask(capture);
        if (text(capture.answers[{0x06, {0, 1, 0, 0}}].data, 4, 2) != "A1") break;
    }
    const Bytes& masked = capture.answers[{0x06, {0, 1, 0, 0}}].data;
    EXPECT_NE(text(masked, 4, 2), "A1");
    EXPECT_EQ(text(masked, 6, 18), std::string(18, ' '));
    EXPECT_EQ(text(masked, 24, 8), "A1 MODEL");
}

TEST(Mask, ASataSerialNumberIsReplacedWhereverItIsInItsField) {
    constexpr const char* FIELDS[] = {"S4YNF0T1234567      ", "S4YNF0T123456       ", "       S4YNF0T123456",
                                      "     WD-WXYZ12345678", "      S4YNF0T1234567", " S4YNF0T123456789012"};
    for (const std::string field : FIELDS) {
        std::string stored = field;
        for (size_t i = 0; i < stored.size(); i += 2) std::swap(stored[i], stored[i + 1]);
        CapturedAnswers capture;
        capture.isSata = true;
        Bytes identify(512);
        put(identify, 20, stored);
        Bytes log(512);
        put(log, 40, stored);
        capture.answers[{0xEC, {0, 0, 0, 0}}].data = identify;
        capture.answers[{0x2F, {0, 0x30, 0, 0}}].data = log;
        mask(capture);
        std::string masked = text(capture.answers[{0xEC, {0, 0, 0, 0}}].data, 20, 20);
        EXPECT_EQ(text(capture.answers[{0x2F, {0, 0x30, 0, 0}}].data, 40, 20), masked) << field;
        for (size_t i = 0; i < masked.size(); i += 2) std::swap(masked[i], masked[i + 1]);
        size_t same = 0;
        for (size_t i = 0; i < masked.size(); ++i) {
            EXPECT_EQ(masked[i] == ' ', field[i] == ' ') << field << " became " << masked;
            same += field[i] != ' ' && masked[i] == field[i] ? 1 : 0;
        }
        EXPECT_LT(same, 8U) << field << " became " << masked;
    }
}

TEST(Mask, OfASataDriveTheChecksumIsRight) {
    CapturedAnswers capture;
    capture.isSata = true;
    Bytes identify(512);
    put(identify, 20, "4SNY0F1T3254        ");                                  // S4YNF0T12345, its bytes swapped
    put(identify, 216, Bytes{0x02, 0x50, 0x38, 0x25, 0x22, 0x11, 0x44, 0x33});  // 5002 2538 1122 3344
    identify[510] = 0xA5;
    identify[511] = static_cast<uint8_t>(-std::accumulate(identify.begin(), identify.end(), 0U));
    Bytes log(512);
    put(log, 0, "S4YNF0T12345");
    capture.answers[{0xEC, {0, 0, 0, 0}}].data = identify;
    capture.answers[{0x2F, {0, 0x30, 0, 0}}].data = log;
    mask(capture);
    const Bytes& masked = capture.answers[{0xEC, {0, 0, 0, 0}}].data;
    EXPECT_EQ(std::accumulate(masked.begin(), masked.end(), 0U) % 256, 0U);
    EXPECT_NE(part(masked, 20, 12), part(identify, 20, 12));
    EXPECT_EQ(part(masked, 216, 4), part(identify, 216, 4)) << "NAA and OUI";
    EXPECT_NE(part(masked, 220, 4), part(identify, 220, 4));
    std::string serial = text(masked, 20, 12);
    for (size_t i = 0; i < serial.size(); i += 2) std::swap(serial[i], serial[i + 1]);
    EXPECT_EQ(text(capture.answers[{0x2F, {0, 0x30, 0, 0}}].data, 0, 12), serial) << "in the order of a text, too";
}

}  // namespace
}  // namespace simdrive
