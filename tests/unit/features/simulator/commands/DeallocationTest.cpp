#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "features/simulator/controller/StateCheck.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

namespace {

class DeallocationOnASimulatedDrive : public SimulatedDrive {
protected:
    static constexpr uint32_t DEALLOCATE = 4;

    /// Blocks 0 to 4095 (2 MiB) full of EEh.
    void fill() {
        for (uint32_t block = 0; block < 4096; block += 1024) {
            data.assign(512 * 1024, 0xEE);
            ASSERT_EQ(status(io(0x01, 1, block, 0, 1023)), 0);
        }
    }
    static Bytes range(uint32_t first, uint32_t count) {
        Bytes bytes(16);
        for (size_t i = 0; i < 4; ++i) {
            bytes[4 + i] = static_cast<uint8_t>(count >> 8 * i);
            bytes[8 + i] = static_cast<uint8_t>(first >> 8 * i);
        }
        return bytes;
    }
    static Bytes joined(const Bytes& first, const Bytes& second) {
        Bytes bytes = first;
        bytes.insert(bytes.end(), second.begin(), second.end());
        return bytes;
    }
    uint8_t firstByteOf(uint32_t block) {
        EXPECT_EQ(status(io(0x02, 1, block)), 0);
        return data[0];
    }
    uint64_t blocksInUse() { return number(identify(0x00, 1), 16, 8); }
};

TEST_F(DeallocationOnASimulatedDrive, MakesBlocksReadAsZerosAndGivesTheirRoomBack) {
    fill();
    const uint64_t before = blocksInUse();
    data = joined(range(8, 2048), range(3000, 1));
    EXPECT_EQ(status(io(0x09, 1, 1, DEALLOCATE)), 0);
    EXPECT_EQ(firstByteOf(7), 0xEE);
    EXPECT_EQ(firstByteOf(8), 0);
    EXPECT_EQ(firstByteOf(2055), 0);
    EXPECT_EQ(firstByteOf(2056), 0xEE);
    EXPECT_EQ(firstByteOf(2999), 0xEE);
    EXPECT_EQ(firstByteOf(3000), 0);
    EXPECT_EQ(firstByteOf(3001), 0xEE);
    EXPECT_EQ(before - blocksInUse(), 2048U);
    EXPECT_EQ(status(io(0x08, 1, 0, 0, 4095 | 1 << 25)), 0) << "Write Zeroes";
    EXPECT_EQ(firstByteOf(4000), 0);
    EXPECT_EQ(blocksInUse(), 0U);
}

TEST_F(DeallocationOnASimulatedDrive, IsAHintWithoutTheBit) {
    fill();
    data = range(0, 100);
    EXPECT_EQ(status(io(0x09, 1, 0, 3)), 0);
    EXPECT_EQ(firstByteOf(0), 0xEE);
}

TEST_F(DeallocationOnASimulatedDrive, TouchesNothingWhenARangeIsOutOfBounds) {
    fill();
    data = joined(range(0, 8), range(131071, 2));
    EXPECT_EQ(status(io(0x09, 1, 1, DEALLOCATE)), 0x4080);
    EXPECT_EQ(firstByteOf(0), 0xEE);
    data = range(0, 8);
    EXPECT_EQ(status(io(0x09, 1, 1, DEALLOCATE)), 0x4004) << "two ranges were announced";
    data = range(0, 8);
    EXPECT_EQ(status(io(0x09, 1, 0, 8)), 0x4002) << "a reserved bit";
    data = range(0, 8);
    EXPECT_EQ(status(io(0x09, 2, 0, DEALLOCATE)), 0x400B);
    EXPECT_EQ(status(io(0x08, 1, 131071, 0, 1)), 0x4080);
}

TEST_F(DeallocationOnASimulatedDrive, IsDoneByTheNextCommandWhenAProcessDiesOverIt) {
    fill();
    controller.reset();
    features::simulator::DriveFolder drive(path(), features::simulator::impossibleIn);
    ASSERT_TRUE(succeeded(drive.begin()));
    drive.state.deallocating = {{1, 0, 16}};
    ASSERT_TRUE(succeeded(drive.commit()));
    reopen();
    EXPECT_EQ(firstByteOf(15), 0);
    EXPECT_EQ(firstByteOf(16), 0xEE);
    data.assign(512, 0x77);
    EXPECT_EQ(status(io(0x01, 1, 0)), 0);
    reopen();
    EXPECT_EQ(firstByteOf(0), 0x77) << "and once alone";
}

TEST_F(DeallocationOnASimulatedDrive, NoCommandIsDoneBeforeIt) {
    fill();
    controller.reset();
    features::simulator::DriveFolder drive(path(), features::simulator::impossibleIn);
    ASSERT_TRUE(succeeded(drive.begin()));
    drive.state.deallocating = {{1, 0, 16}};
    ASSERT_TRUE(succeeded(drive.commit()));
    const std::string media = path() + "/media-1-1";
    ASSERT_EQ(::rename(media.c_str(), (folder / "kept").c_str()), 0);
    ASSERT_EQ(::mkdir(media.c_str(), 0700), 0);
    reopen();
    data.clear();
    const auto refused = statusOf(controller->execute(admin(0x06, 0, 1), data));
    EXPECT_TRUE(refused.is(1, EIO)) << refused.getMessage();
    EXPECT_TRUE(data.empty());
    ASSERT_EQ(::rmdir(media.c_str()), 0);
    ASSERT_EQ(::rename((folder / "kept").c_str(), media.c_str()), 0);
    EXPECT_EQ(firstByteOf(15), 0);
    EXPECT_EQ(firstByteOf(16), 0xEE);
}

TEST_F(DeallocationOnASimulatedDrive, ComparesBlocks) {
    fill();
    data.assign(512, 0xEE);
    EXPECT_EQ(status(io(0x05, 1, 3)), 0);
    data.assign(512, 0xEE);
    data[511] = 0;
    EXPECT_EQ(status(io(0x05, 1, 3)), 0x4285);
    data.assign(511, 0xEE);
    EXPECT_EQ(status(io(0x05, 1, 3)), 0x4004);
    EXPECT_EQ(status(io(0x00, 1)), 0);
    EXPECT_EQ(status(io(0x00, 0xFFFFFFFF)), 0);
    EXPECT_EQ(status(io(0x00, 2)), 0x400B);
}

}  // namespace
