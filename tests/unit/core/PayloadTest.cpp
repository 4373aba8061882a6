#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"
#include "tests/support/LogCapture.h"

namespace ostrel::core {
namespace {

TEST(Payload, IsEmptyByDefault) {
    Payload payload;
    EXPECT_EQ(payload.getSize(), 0u);
    EXPECT_EQ(payload.getData(), nullptr);
}

TEST(Payload, StartsOnAPageBoundary) {
    for (const size_t size : {1u, 2u, 511u, 512u, 4095u, 4096u, 4097u, 1u << 20}) {
        Payload payload(size);
        ASSERT_NE(payload.getData(), nullptr) << size;
        EXPECT_EQ(payload.getSize(), size);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(payload.getData()) % 4096, 0u) << size;
        memset(payload.getData(), 0xA5, size);  // every byte is there, for the sanitizer to see
    }
}

TEST(Payload, CopiesTheBytesItIsMadeOf) {
    char bytes[] = {'a', '\0', 'c'};
    const Payload payload(bytes, sizeof bytes);
    bytes[0] = 'X';
    EXPECT_EQ(std::string(payload.getData(), payload.getData() + payload.getSize()), std::string("a\0c", 3));
}

TEST(Payload, MadeOfNothingIsEmpty) {
    LogCapture log;
    EXPECT_EQ(Payload(nullptr, 5).getSize(), 0u);
    EXPECT_EQ(Payload("abc", 0).getSize(), 0u);
    EXPECT_EQ(log.lines(), "");
}

TEST(Payload, SharesItsBytesWithCopies) {
    Payload original("abc", 3);
    const Payload copy = original;
    original.at(1) = 'X';
    EXPECT_EQ(copy.at(1), 'X');
    EXPECT_EQ(copy.getData(), original.getData());
}

TEST(Payload, KeepsItsBytesUntilTheLastCopyIsGone) {
    Payload copy;
    {
        const Payload original("abc", 3);
        copy = original;
    }
    EXPECT_EQ(copy.at(2), 'c');
}

TEST(Payload, ThrowsAStatusAfterTheLastByte) {
    Payload payload("abc", 3);
    const Payload& constPayload = payload;
    EXPECT_EQ(payload.at(2), 'c');
    EXPECT_EQ(constPayload.at(2), 'c');
    EXPECT_THROW((void)constPayload.at(3), Status);
    try {
        (void)payload.at(3);
        FAIL() << "index 3 of 3 bytes was accepted";
    } catch (const Status& status) {
        EXPECT_EQ(status.toString(), "Category: 0\nCode: 14\nMessage: Request is out of bounds.");
    }
}

TEST(Payload, OfNoBytesHasNoValidIndex) {
    Payload payload(0);
    EXPECT_EQ(payload.getSize(), 0u);
    EXPECT_THROW((void)payload.at(0), Status);
}

TEST(Payload, ThatCannotBeAllocatedIsNullAndLogsIt) {
    LogCapture log;
    Payload payload(uint64_t{1} << 32);  // a size has 32 bits
    EXPECT_EQ(payload.getSize(), 0u);
    EXPECT_EQ(payload.getData(), nullptr);
    EXPECT_THROW((void)payload.at(0), Status);
    EXPECT_EQ(log.lines(), "[fatal] Unable to allocate data with a size of 4294967296 and alignment of 4096\n");
}

TEST(Payload, IsNotMadeOfASizeByTheWay) {
    EXPECT_FALSE((std::is_convertible_v<uint64_t, Payload>));
}

}  // namespace
}  // namespace ostrel::core
