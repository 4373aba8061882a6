#include <sys/stat.h>

#include <filesystem>
#include <functional>

#include "tests/support/FileSizeLimit.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

namespace {

namespace fs = std::filesystem;

using MediaOfASimulatedDrive = SimulatedDrive;

TEST_F(MediaOfASimulatedDrive, KeepsWhatIsWritten) {
    Bytes written(1024);
    for (size_t i = 0; i < written.size(); ++i) written[i] = static_cast<uint8_t>(i * 7);
    data = written;
    EXPECT_EQ(status(io(0x01, 1, 100, 0, 1)), 0);
    reopen();
    EXPECT_EQ(status(io(0x02, 1, 99, 0, 3)), 0);
    Bytes expected(2048);
    std::copy(written.begin(), written.end(), expected.begin() + 512);
    EXPECT_EQ(data, expected);
}

TEST_F(MediaOfASimulatedDrive, ComparesEachByteOfSeveralBlocks) {
    Bytes written(4096);
    for (size_t i = 0; i < written.size(); ++i) written[i] = static_cast<uint8_t>(i * 11);
    data = written;
    EXPECT_EQ(status(io(0x01, 1, 100, 0, 7)), 0);
    data = written;
    EXPECT_EQ(status(io(0x05, 1, 100, 0, 7)), 0);
    for (const size_t wrong : {size_t{0}, size_t{511}, size_t{512}, size_t{2048}, size_t{4095}}) {
        data = written;
        data[wrong] ^= 0x80;
        EXPECT_EQ(status(io(0x05, 1, 100, 0, 7)), 0x4285) << wrong;
    }
    data = written;
    EXPECT_EQ(status(io(0x05, 1, 101, 0, 7)), 0x4285) << "from another block on";
    data.assign(written.begin(), written.end() - 1);
    EXPECT_EQ(status(io(0x05, 1, 100, 0, 7)), 0x4004) << "less than the blocks";
    EXPECT_EQ(number(log(0x02, 512), 160, 8), 0U) << "a difference is no media error";
    data = written;
    EXPECT_EQ(status(io(0x02, 1, 100, 0, 7)), 0);
    EXPECT_EQ(data, written) << "comparing changes nothing";
}

TEST_F(MediaOfASimulatedDrive, CountsWork) {
    data.assign(4096, 1);
    EXPECT_EQ(status(io(0x01, 1, 0, 0, 7)), 0);
    EXPECT_EQ(status(io(0x02, 1, 0, 0, 7)), 0);
    EXPECT_EQ(status(io(0x02, 1, 0, 0, 7)), 0);
    reopen();
    const Bytes smart = log(0x02, 512);
    EXPECT_EQ(number(smart, 32, 8), 1U) << "8192 bytes are a part of one unit";
    EXPECT_EQ(number(smart, 48, 8), 1U);
    EXPECT_EQ(number(smart, 64, 8), 2U);
    EXPECT_EQ(number(smart, 80, 8), 1U);
}

TEST_F(MediaOfASimulatedDrive, RefusesWhatIsOutOfBounds) {
    EXPECT_EQ(status(io(0x02, 1, 131072)), 0x4080);
    EXPECT_EQ(status(io(0x02, 1, 131071, 0, 1)), 0x4080);
    EXPECT_EQ(status(io(0x02, 1, 0xFFFFFFFF, 0xFFFFFFFF, 1)), 0x4080);
    EXPECT_EQ(status(io(0x02, 2)), 0x400B);
    EXPECT_EQ(status(io(0x02, 1, 0, 0, 1024)), 0x4002) << "more than 512 KiB";
    data.assign(511, 0);
    EXPECT_EQ(status(io(0x01, 1)), 0x4004) << "less than a block";
    const Bytes errors = log(0x01, 384);
    EXPECT_EQ(part(errors, 0, 64), (Bytes{6, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 8, 0x80, 0xFF, 0xFF,  //
                                          0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0,    0,    0,     //
                                          0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,    0,    0,     //
                                          0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,    0,    0}));
}

/// The file of namespace 1's media.
fs::path mediaFile(const std::string& folder) {
    for (const auto& entry : fs::directory_iterator(folder))
        if (entry.path().filename().string().compare(0, 8, "media-1-") == 0) return entry.path();
    ADD_FAILURE() << "no media in " << folder;
    return {};
}

// What another program put in the place of the media fails the commands, and is neither followed, waited for nor
// written.
TEST_F(MediaOfASimulatedDrive, FailsWhereSomethingElseHasTheMediasName) {
    data.assign(512, 1);
    EXPECT_EQ(status(io(0x01, 1)), 0);
    const fs::path media = mediaFile(path());
    const fs::path other = folder / "other";
    const struct {
        const char* what;
        std::function<void()> make;
    } intruders[] = {
        {"folder", [&] { fs::create_directory(media); }},
        {"pipe", [&] { ASSERT_EQ(::mkfifo(media.c_str(), 0600), 0); }},
        {"link", [&] { fs::create_symlink(other, media); }},
    };
    for (const auto& intruder : intruders) {
        fs::remove(media);
        intruder.make();
        reopen();
        EXPECT_EQ(status(io(0x02, 1)), 0x4281) << intruder.what;
        data.assign(512, 2);
        EXPECT_EQ(status(io(0x01, 1)), 0x4280) << intruder.what;
        EXPECT_FALSE(fs::exists(other)) << intruder.what;
    }
    fs::remove(media);
    EXPECT_EQ(status(io(0x02, 1)), 0);
    EXPECT_EQ(data, Bytes(512)) << "media without a file are all zeros";
}

// A format, maybe by another process, gives a namespace new media: the file that is still open here is of the old ones.
TEST_F(MediaOfASimulatedDrive, AreNewAfterAFormatByAnotherProcess) {
    data.assign(512, 1);
    EXPECT_EQ(status(io(0x01, 1)), 0);
    const std::string before = mediaFile(path()).filename();
    features::simulator::Controller other(path(), clock);
    Bytes none;
    const auto completion = other.execute(admin(0x80, 1), none);
    ASSERT_TRUE(completion && completion->isSuccess());
    EXPECT_EQ(status(io(0x02, 1)), 0);
    EXPECT_EQ(data, Bytes(512));
    data.assign(512, 3);
    EXPECT_EQ(status(io(0x01, 1)), 0);
    EXPECT_NE(mediaFile(path()).filename(), before);
    EXPECT_EQ(status(io(0x02, 1)), 0);
    EXPECT_EQ(data, Bytes(512, 3));
}

/// Blocks of 512 bytes with 8 bytes of metadata after each. The metadata of all are after the data of all.
TEST_F(MediaOfASimulatedDrive, MetadataIsDeallocatedWithItsBlock) {
    EXPECT_EQ(status(admin(0x80, 1, 0x11)), 0) << "Format NVM: format 1, metadata as part of the block";
    data.assign(2 * 520, 0xEE);
    EXPECT_EQ(status(io(0x01, 1, 7, 0, 1)), 0);
    data = {0, 0, 0, 0, 1, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0};  // one block from block 7 on
    EXPECT_EQ(status(io(0x09, 1, 0, 4)), 0);
    EXPECT_EQ(status(io(0x02, 1, 7, 0, 1)), 0);
    EXPECT_EQ(part(data, 0, 520), Bytes(520));
    EXPECT_EQ(part(data, 520, 520), Bytes(520, 0xEE));
}

TEST_F(MediaOfASimulatedDrive, AWriteThatHasNoRoomFails) {
    const auto writeAt = [&](uint32_t block, size_t bytes) {
        data.assign(bytes, 0xEE);
        return status(io(0x01, 1, block));
    };
    {
        const FileSizeLimit limit(1 << 20);
        EXPECT_EQ(writeAt(2048, 512), 0x4280) << "at 1 MiB";
        EXPECT_EQ(writeAt(2047, 512), 0) << "before it";
    }
    EXPECT_EQ(status(io(0x02, 1, 2048)), 0);
    EXPECT_EQ(data, Bytes(512));
    EXPECT_EQ(status(admin(0x80, 1, 0x11)), 0);
    const FileSizeLimit limit(32 << 20);
    EXPECT_EQ(writeAt(0, 520), 0x4280) << "the metadata come after all data";
}

}  // namespace
