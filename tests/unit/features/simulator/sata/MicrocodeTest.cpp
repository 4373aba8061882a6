#include <filesystem>

#include "tests/support/FileSizeLimit.h"
#include "tests/unit/features/simulator/FirmwareImageBytes.h"
#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace {

class SataMicrocode : public SimulatedSataDrive {
protected:
    /// Sectors `first` to `first + count` of an image of 8 KiB.
    Registers piece(uint16_t feature, uint16_t first, uint16_t count) {
        const auto begin = image.begin() + first * 512;
        data.assign(begin, begin + count * 512);
        return registers({0x92, Protocol::PIO_OUT, false, feature, count, uint64_t{first} << 8, 0, count * 512U});
    }
    std::string revision() {
        const Bytes page = identify();
        std::string text;
        for (size_t at = 46; at < 54; at += 2) text += {static_cast<char>(page[at + 1]), static_cast<char>(page[at])};
        return text;
    }
    Bytes image = firmwareImage("NEW12345", 0, 8192, "Simulated SATA SSD");
};

TEST_F(SataMicrocode, PiecesBecomeActiveWithTheLast) {
    EXPECT_EQ(piece(0x03, 0, 8).count, 1) << "more is expected";
    EXPECT_EQ(revision(), "TSIM0100");
    EXPECT_EQ(piece(0x03, 8, 8).count, 2) << "active";
    EXPECT_EQ(revision(), "NEW12345");
}

TEST_F(SataMicrocode, DeferredOnesWaitForTheirActivation) {
    EXPECT_EQ(registers(noData(0x92, 0x0F)).error, 0x04) << "nothing waits";
    EXPECT_EQ(piece(0x0E, 0, 16).count, 3);
    EXPECT_EQ(revision(), "TSIM0100");
    EXPECT_EQ(registers(noData(0x92, 0x0F)).count, 2);
    EXPECT_EQ(revision(), "NEW12345");
}

TEST_F(SataMicrocode, DeferredOnesBecomeActiveAtAPowerCycle) {
    EXPECT_EQ(piece(0x0E, 0, 16).count, 3);
    powerCycle();
    EXPECT_EQ(revision(), "NEW12345");
}

TEST_F(SataMicrocode, AWholeImageIsOneCommand) {
    EXPECT_EQ(piece(0x07, 0, 8).error, 0x04) << "half of it";
    EXPECT_EQ(piece(0x07, 0, 16).count, 2);
    EXPECT_EQ(revision(), "NEW12345");
}

TEST_F(SataMicrocode, ADriveWithoutPiecesTakesAWholeImageAlone) {
    description.supportsFirmwarePieces = false;
    describe();
    EXPECT_EQ(piece(0x03, 0, 16).error, 0x04);
    EXPECT_EQ(piece(0x0E, 0, 16).error, 0x04);
    EXPECT_EQ(piece(0x07, 0, 16).count, 2);
    EXPECT_EQ(revision(), "NEW12345");
}

TEST_F(SataMicrocode, AGapOrAPowerCycleThrowsThePiecesAway) {
    EXPECT_EQ(piece(0x03, 0, 4).count, 1);
    EXPECT_EQ(piece(0x03, 8, 8).error, 0x04) << "a gap";
    EXPECT_EQ(piece(0x03, 4, 12).error, 0x04) << "and the first piece is gone";
    EXPECT_EQ(piece(0x03, 0, 8).count, 1);
    powerCycle();
    EXPECT_EQ(piece(0x03, 8, 8).error, 0x04);
    EXPECT_EQ(revision(), "TSIM0100");
}

TEST_F(SataMicrocode, AnotherImageIsAbortedAtItsFirstPieceAndADamagedOneAtItsLast) {
    image[8000] ^= 1;
    EXPECT_EQ(piece(0x03, 0, 8).count, 1);
    EXPECT_EQ(piece(0x03, 8, 8).error, 0x04);
    image = firmwareImage("NEW12345", 0, 8192, "Another SSD");
    EXPECT_EQ(piece(0x03, 0, 1).error, 0x04);
    EXPECT_EQ(revision(), "TSIM0100");
}

TEST_F(SataMicrocode, AWholeImageThatIsDamagedOrAnothersIsAborted) {
    EXPECT_EQ(piece(0x03, 0, 8).count, 1);
    Bytes damaged = image;
    damaged[8000] ^= 1;
    for (const Bytes& wrong : {damaged, firmwareImage("NEW12345", 0, 8192, "Another SSD")}) {
        data = wrong;
        EXPECT_EQ(registers({0x92, Protocol::PIO_OUT, false, 0x07, 16, 0, 0, 8192}).error, 0x04);
    }
    EXPECT_EQ(piece(0x03, 8, 8).error, 0x04) << "and the piece before it is gone";
    EXPECT_EQ(revision(), "TSIM0100");
}

TEST_F(SataMicrocode, APieceHasUpTo256SectorsWithinTheLargestImage) {
    image = firmwareImage("NEW12345", 0, 257 * 512, "Simulated SATA SSD");
    const auto withCount = [&](uint16_t sectors) {
        data.assign(image.begin(), image.begin() + sectors * 512);
        const auto low = static_cast<uint16_t>(sectors & 0xFF);
        return registers({0x92, Protocol::PIO_OUT, false, 0x03, low, uint64_t{sectors} >> 8, 0, sectors * 512U});
    };
    EXPECT_EQ(withCount(257).error, 0x04);
    EXPECT_EQ(withCount(256).count, 1);
    data.assign(512, 0);
    EXPECT_EQ(registers({0x92, Protocol::PIO_OUT, false, 0x03, 1, uint64_t{0x8000} << 8, 0, 512}).error, 0x04)
        << "beyond 16 MiB";
    EXPECT_EQ(piece(0x03, 256, 1).count, 2) << "what was refused for its size takes no piece away";
    EXPECT_EQ(revision(), "NEW12345");
}

TEST_F(SataMicrocode, WithoutTheCommandNothingIsTaken) {
    description.supportsFirmwareUpdate = false;
    describe();
    for (const uint16_t feature : {uint16_t{0x03}, uint16_t{0x07}, uint16_t{0x0E}})
        EXPECT_EQ(piece(feature, 0, 16).error, 0x04) << feature;
    EXPECT_EQ(registers(noData(0x92, 0x0F)).error, 0x04);
    EXPECT_EQ(revision(), "TSIM0100");
}

TEST_F(SataMicrocode, AnActivationHasNoDataAndAPieceHas) {
    EXPECT_EQ(piece(0x0E, 0, 16).count, 3);
    EXPECT_EQ(piece(0x0F, 0, 1).error, 0x04) << "an activation with data";
    EXPECT_EQ(piece(0x05, 0, 16).error, 0x04) << "an unknown mode";
    data.clear();
    EXPECT_EQ(registers({0x92, Protocol::PIO_OUT, false, 0x03, 0, 0, 0, 0}).error, 0x04) << "no sector";
    EXPECT_EQ(revision(), "TSIM0100");
    EXPECT_EQ(registers(noData(0x92, 0x0F)).count, 2) << "what waits still waits";
}

TEST_F(SataMicrocode, PiecesThatCannotBeKeptAreADeviceFault) {
    namespace fs = std::filesystem;
    EXPECT_EQ(piece(0x03, 0, 8).count, 1);
    const fs::path download = path() + "/firmware-download";
    ASSERT_TRUE(fs::exists(download));
    fs::rename(download, folder / "kept");
    fs::create_directory(download);
    EXPECT_EQ(piece(0x03, 8, 8), (Registers{0x04, 0x71, 0x40, 0, 0}));
    fs::remove(download);
    fs::rename(folder / "kept", download);
    EXPECT_EQ(piece(0x03, 8, 8).count, 2) << "nothing was lost";
    EXPECT_EQ(revision(), "NEW12345");

    image = firmwareImage("NEXT1234", 0, 256 * 512, "Simulated SATA SSD");
    {
        const FileSizeLimit limit(32768);
        EXPECT_EQ(piece(0x03, 0, 128), (Registers{0x04, 0x71, 0x40, 0, 0}));
    }
    EXPECT_EQ(piece(0x03, 0, 128).count, 1);
    EXPECT_EQ(piece(0x03, 128, 128).count, 2);
    EXPECT_EQ(revision(), "NEXT1234");
}

TEST_F(SataMicrocode, LengthAndCountMustAgree) {
    data.assign(512, 0);
    EXPECT_EQ(registers({0x92, Protocol::PIO_OUT, false, 0x03, 2, 0, 0, 512}).error, 0x04);
    EXPECT_EQ(registers(noData(0x92, 0x03)).error, 0x04);
    EXPECT_EQ(registers({0x92, Protocol::PIO_OUT, false, 0x05, 1, 0, 0, 512}).error, 0x04) << "an unknown mode";
}

}  // namespace
