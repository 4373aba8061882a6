#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace {

class SataSettings : public SimulatedSataDrive {
protected:
    Registers set(uint16_t feature, uint16_t count = 0) { return registers(noData(0xEF, feature, count)); }
};

TEST_F(SataSettings, LastUntilAPowerCycle) {
    EXPECT_EQ(set(0x82).status, 0x50);
    EXPECT_EQ(set(0x55).status, 0x50);
    EXPECT_EQ(set(0x05, 0x80).status, 0x50);
    EXPECT_EQ(word(85), 0x0009) << "neither write cache nor look-ahead";
    EXPECT_EQ(word(86), 0xB409);
    EXPECT_EQ(word(91), 0x80);
    EXPECT_EQ(set(0x02).status, 0x50);
    EXPECT_EQ(word(85), 0x0029);
    powerCycle();
    EXPECT_EQ(word(85), 0x0069);
    EXPECT_EQ(word(91), 0);
    EXPECT_EQ(set(0x05, 0).error, 0x04) << "no level";
    EXPECT_EQ(set(0x4A).error, 0x04) << "a feature that it does not have";
}

TEST_F(SataSettings, PowerModes) {
    EXPECT_EQ(registers(noData(0xE5)).count, 0xFF);
    EXPECT_EQ(registers(noData(0xE0)).status, 0x50);
    EXPECT_EQ(registers(noData(0xE5)).count, 0x00);
    EXPECT_EQ(registers(noData(0xE1)).status, 0x50);
    EXPECT_EQ(registers(noData(0xE5)).count, 0xFF);
}

TEST_F(SataSettings, TheDateGoesOnFromWhatWasSet) {
    clock.advanceMs(5000);
    EXPECT_EQ(number(log(0x04, 1), 0x38, 6), 5000U) << "power-on time";
    EXPECT_EQ(registers(noDataExt(0x77, 0, 0, 1700000000000)).status, 0x50);
    clock.advanceMs(250);
    EXPECT_EQ(number(log(0x04, 1), 0x38, 6), 1700000000250U);
}

TEST_F(SataSettings, ValuesThatNoDriveTakesAreAborted) {
    EXPECT_EQ(set(0x05, 0xFE).status, 0x50);
    EXPECT_EQ(set(0x05, 0xFF).error, 0x04) << "a reserved level";
    EXPECT_EQ(word(91), 0xFE);
    EXPECT_EQ(registers(noDataExt(0x77, 0, 0, 281474976710655)).status, 0x50);
    EXPECT_EQ(registers(smart(0xDB, 0, 0x01)).error, 0x04) << "automatic off-line collection is F8h or 0";
    EXPECT_EQ(smartPage(0xD0)[362], 0x00);
    EXPECT_EQ(registers(smart(0xDB, 0, 0xF8)).status, 0x50);
    EXPECT_EQ(smartPage(0xD0)[362], 0x80);
    EXPECT_EQ(registers(smart(0xDB, 0, 0x00)).status, 0x50);
    EXPECT_EQ(smartPage(0xD0)[362], 0x00);
}

}  // namespace
