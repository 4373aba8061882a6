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

TEST_F(SataMicrocode, LengthAndCountMustAgree) {
    data.assign(512, 0);
    EXPECT_EQ(registers({0x92, Protocol::PIO_OUT, false, 0x03, 2, 0, 0, 512}).error, 0x04);
    EXPECT_EQ(registers(noData(0x92, 0x03)).error, 0x04);
    EXPECT_EQ(registers({0x92, Protocol::PIO_OUT, false, 0x05, 1, 0, 0, 512}).error, 0x04) << "an unknown mode";
}

}  // namespace
