#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

#include "ostrel/core/TextOutput.h"

using ostrel::core::writeText;

namespace {

/// Takes a few bytes and no more.
class ShortBuffer : public std::streambuf {
public:
    ShortBuffer() { setp(room_, room_ + sizeof room_); }
    std::string taken() const { return {pbase(), pptr()}; }

private:
    char room_[4] = {};
};

TEST(TextOutput, WritesTheBytesWhateverTheFormatIs) {
    std::ostringstream out;
    out << std::setw(9) << std::setfill('*') << std::left;
    writeText(out, std::string_view("a\0b\n", 4));
    writeText(out, "");
    writeText(out, "c");
    EXPECT_EQ(out.str(), std::string("a\0b\nc", 5));
}

TEST(TextOutput, WritesNothingWhereAnOutputHasFailedOrHasNoBuffer) {
    std::ostringstream failed;
    failed.setstate(std::ios::failbit);
    writeText(failed, "text");
    EXPECT_EQ(failed.str(), "");
    std::ostream none(nullptr);
    writeText(none, "text");
    none.clear();
    writeText(none, "text");
    EXPECT_EQ(none.rdbuf(), nullptr);
}

TEST(TextOutput, CutsShortWhatTheBufferDoesNotTake) {
    ShortBuffer buffer;
    std::ostream out(&buffer);
    writeText(out, "123456");
    EXPECT_EQ(buffer.taken(), "1234");
    EXPECT_TRUE(out.good());
}

}  // namespace
