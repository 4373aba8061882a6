#include <filesystem>

#include "tests/support/StatusText.h"
#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace {

class SataData : public SimulatedSataDrive {
protected:
    /// Trims one range.
    Registers trim(uint64_t first, uint64_t count) {
        data.assign(512, 0);
        for (size_t i = 0; i < 6; ++i) data[i] = static_cast<uint8_t>(first >> 8 * i);
        data[6] = static_cast<uint8_t>(count);
        data[7] = static_cast<uint8_t>(count >> 8);
        return registers({0x06, Protocol::DMA_OUT, true, 1, 1, 0, 0, 512});
    }
    int content(uint64_t lba) { return read(lba).status == 0x50 ? data.at(511) : -1; }
    Registers verify(uint64_t lba, uint16_t count) { return registers(noDataExt(0x42, 0, count, lba)); }
};

TEST_F(SataData, ReadsWhatWasWritten) {
    EXPECT_EQ(content(131071), 0);
    EXPECT_EQ(write(131071, 0x5A).status, 0x50);
    reopen();
    EXPECT_EQ(content(131071), 0x5A);
    EXPECT_EQ(read(131072).error, 0x10);
    EXPECT_EQ(read(131072).lba, 131072U);
    EXPECT_EQ(registers({0x25, Protocol::DMA_IN, true, 0, 2, 131071, 0, 1024}).error, 0x10) << "one too many";
    EXPECT_EQ(registers({0xC8, Protocol::DMA_IN, false, 0, 0, 0, 0, 131072}).status, 0x50) << "COUNT 0: 256";
    EXPECT_EQ(registers({0x25, Protocol::DMA_IN, true, 0, 2, 0, 0, 512}).error, 0x04) << "another length";
    EXPECT_EQ(registers(noData(0xE7)).status, 0x50);
    EXPECT_EQ(registers(noDataExt(0xEA)).status, 0x50);
}

TEST_F(SataData, TrimmedSectorsReadAsZeros) {
    for (const uint64_t lba : {9U, 10U, 11U, 12U}) EXPECT_EQ(write(lba, 0x77).status, 0x50);
    EXPECT_EQ(trim(10, 2).status, 0x50);
    EXPECT_EQ(content(9), 0x77);
    EXPECT_EQ(content(10), 0);
    EXPECT_EQ(content(11), 0);
    EXPECT_EQ(content(12), 0x77);
    EXPECT_EQ(trim(131071, 2).error, 0x04) << "past the end";
    EXPECT_EQ(trim(0, 0).status, 0x50) << "entries without sectors are ignored";
    data.assign(512, 0);
    EXPECT_EQ(registers({0x06, Protocol::DMA_OUT, true, 0, 1, 0, 0, 512}).error, 0x04) << "not a trim";
    EXPECT_EQ(registers({0x06, Protocol::DMA_OUT, true, 1, 2, 0, 0, 512}).error, 0x04) << "half of the ranges";
}

TEST_F(SataData, ABadSectorIsPendingUntilItIsRewritten) {
    description.faults.mediaErrors = {{1, 20, 2}};
    describe();
    EXPECT_EQ(verify(0, 20).status, 0x50);
    const Registers failed = verify(0, 100);
    EXPECT_EQ(failed.error, 0x40);
    EXPECT_EQ(failed.lba, 20U) << "the first one";
    EXPECT_EQ(number(log(0x0C), 0, 4), 1U);
    EXPECT_EQ(number(log(0x0C), 24, 8), 20U);
    EXPECT_EQ(smartPage(0xD0)[2 + 12 * 11 + 5], 1) << "attribute 197";
    EXPECT_EQ(write(20, 1).status, 0x50);
    EXPECT_EQ(content(20), 1);
    EXPECT_EQ(smartPage(0xD0)[2 + 12 * 11 + 5], 0);
    EXPECT_EQ(smartPage(0xD0)[2 + 12 * 1 + 5], 1) << "reallocated";
    EXPECT_EQ(content(21), -1);
    EXPECT_EQ(number(log(0x04, 4), 8, 8), 0xC000000000000002U) << "reported uncorrectable errors";
}

TEST_F(SataData, ACommandBeyondTheEndIsNotCarriedOut) {
    data.assign(1024, 0x11);
    EXPECT_EQ(registers({0x35, Protocol::DMA_OUT, true, 0, 2, 131071, 0, 1024}),
              (Registers{0x10, 0x51, 0x40, 0, 131071}));
    EXPECT_EQ(content(131071), 0);
    EXPECT_EQ(verify(131071, 2), (Registers{0x10, 0x51, 0x40, 0, 131071}));
    data.assign(512, 0x11);
    EXPECT_EQ(registers({0x35, Protocol::DMA_OUT, true, 0, 2, 0, 0, 1024}).error, 0x04) << "half of the data came";
    EXPECT_EQ(content(0), 0);
    data.assign(9 * 512, 0);
    EXPECT_EQ(registers({0x06, Protocol::DMA_OUT, true, 1, 9, 0, 0, 9 * 512}).error, 0x04) << "too many ranges";
    EXPECT_EQ(registers({0x06, Protocol::DMA_OUT, true, 1, 0, 0, 0, 0}).error, 0x04) << "no ranges";
}

TEST_F(SataData, TheListOfPendingSectorsEndsWith64) {
    description.faults.mediaErrors = {{1, 100, 66}};
    describe();
    for (uint64_t lba = 165; lba >= 100; --lba) EXPECT_EQ(content(lba), -1);
    EXPECT_EQ(content(165), -1) << "once more";
    EXPECT_EQ(number(log(0x0C), 0, 4), 64U);
    EXPECT_EQ(number(log(0x0C), 24, 8), 102U) << "the first";
    EXPECT_EQ(trim(160, 3).status, 0x50);
    EXPECT_EQ(number(log(0x0C), 0, 4), 61U) << "what is given back is pending no more";
    EXPECT_EQ(content(159), -1);
    EXPECT_EQ(content(163), -1);
}

/// What another program put in the place of the media. A trim that was begun goes on once they are back.
TEST_F(SataData, WithoutItsMediaADriveHasADeviceFault) {
    namespace fs = std::filesystem;
    const Registers fault = {0x04, 0x71, 0x40, 0, 0};
    EXPECT_EQ(write(7, 0x77).status, 0x50);
    EXPECT_EQ(write(8, 0x77).status, 0x50);
    const fs::path media = path() + "/media-1-1";
    fs::rename(media, folder / "kept");
    fs::create_directory(media);
    reopen();
    EXPECT_EQ(read(7), fault);
    EXPECT_EQ(write(7, 0x11), fault);
    EXPECT_EQ(registers(noDataExt(0xEA)), fault);
    EXPECT_EQ(trim(7, 1), fault);
    const std::string waits = "1/5 Blocks of " + path() + " cannot be deallocated.";
    EXPECT_EQ(statusText(drive->execute(noData(0xE5), data)), waits);
    EXPECT_EQ(statusText(drive->powerCycle()), waits);
    fs::remove(media);
    fs::rename(folder / "kept", media);
    EXPECT_EQ(content(7), 0) << "trimmed";
    EXPECT_EQ(content(8), 0x77);
}

}  // namespace
