#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>

#include "features/transport/linux/MediaContent.h"
#include "ostrel/core/FileDescriptor.h"
#include "tests/support/TemporaryFolder.h"

namespace features::transport {
namespace {

constexpr size_t MEDIA_BYTES = 1 << 20;

/// Bytes at a place of media that are zero elsewhere.
struct Piece {
    size_t at;
    std::string bytes;
};

std::string text(const MediaContent& content) {
    constexpr const char* KINDS[] = {"NONE ", "KNOWN ", "UNREADABLE "};
    return KINDS[static_cast<int>(content.kind)] + content.text;
}

class MediaContentTest : public ::testing::Test {
protected:
    std::string read(const std::string& media, const char* library = "libblkid.so.1") {
        writeWholeFile(folder_ / "media", media);
        const ostrel::core::FileDescriptor file(::open((folder_ / "media").c_str(), O_RDONLY | O_CLOEXEC));
        const std::string found = text(readMediaContent(file.get(), library));
        EXPECT_EQ(readWholeFile(folder_ / "media"), media);
        return found;
    }

    TemporaryFolder folder_;
};

std::string media(const std::vector<Piece>& pieces) {
    std::string media(MEDIA_BYTES, '\0');
    for (const Piece& piece : pieces) media.replace(piece.at, piece.bytes.size(), piece.bytes);
    return media;
}

TEST_F(MediaContentTest, BlankMediaHoldsNothing) {
    EXPECT_EQ(read(media({})), "NONE ");
    EXPECT_EQ(read(std::string(MEDIA_BYTES, '\xFF')), "NONE ");
}

TEST_F(MediaContentTest, KnownFormatsAreNamed) {
    const std::string one("\x01\0\0\0", 4);
    const struct {
        std::string media;
        const char* found;
    } CASES[] = {
        {media({{1024, one}, {1028, std::string("\xFF\0\0\0", 4)}, {4086, "SWAPSPACE2"}}), "KNOWN data (swap)"},
        {media({{1024, one}, {1028, std::string("\xFF\0\0\0", 4)}, {1052, "a\x1B[31m b"}, {4086, "SWAPSPACE2"}}),
         "KNOWN data (swap, label 'a?[31m b')"},
        {media({{0, std::string("LUKS\xBA\xBE\0\x01", 8)}}), "KNOWN an encrypted volume (crypto_LUKS)"},
        // One partition of 64 blocks.
        {media({{446, std::string("\0\0\0\0\x83\0\0\0\x08\0\0\0\x40\0\0\0", 16)}, {510, "\x55\xAA"}}),
         "KNOWN a partition table (dos)"},
    };
    for (const auto& c : CASES) {
        EXPECT_EQ(read(c.media), c.found);
    }
}

TEST_F(MediaContentTest, WhatCannotBeReadIsNotCalledEmpty) {
    EXPECT_EQ(read(""), "UNREADABLE it has no blocks that the kernel can read");
    EXPECT_EQ(read(media({}), "libnone.so.1"), "UNREADABLE libnone.so.1 cannot be loaded");
    EXPECT_EQ(read(media({}), "libc.so.6"), "UNREADABLE libc.so.6 cannot be loaded") << "not the library meant";
    EXPECT_EQ(text(readMediaContent(-1)), "UNREADABLE Input/output error");
}

}  // namespace
}  // namespace features::transport
