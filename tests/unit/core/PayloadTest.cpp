#include <gtest/gtest.h>

#include <cstdint>

#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace ostrel::core {
namespace {

TEST(Payload, IsEmptyByDefault) {
    Payload payload;
    EXPECT_EQ(payload.getSize(), 0u);
    EXPECT_EQ(payload.getData(), nullptr);
}

TEST(Payload, SharesItsBytesWithCopies) {
    Payload original("abc", 3);
    const Payload copy = original;
    original.at(1) = 'X';
    EXPECT_EQ(copy.at(1), 'X');
    EXPECT_EQ(copy.getData(), original.getData());
}

TEST(Payload, ThrowsAStatusBehindTheLastByte) {
    Payload payload("abc", 3);
    EXPECT_EQ(payload.at(2), 'c');
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

}  // namespace
}  // namespace ostrel::core
