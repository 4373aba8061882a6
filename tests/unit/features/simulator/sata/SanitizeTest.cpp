#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace {

constexpr uint64_t CRYPTO = 0x43727970;
constexpr uint64_t BLOCK = 0x426B4572;

class SataSanitize : public SimulatedSataDrive {
protected:
    SataSanitize() { EXPECT_EQ(write(5, 0xAB).status, 0x50); }
    Registers sanitize(uint16_t feature, uint64_t lba = 0, uint16_t count = 0) {
        return registers(noDataExt(0xB4, feature, count, lba));
    }
    uint8_t content() {
        EXPECT_EQ(read(5).status, 0x50);
        return data.at(0);
    }
};

TEST_F(SataSanitize, ErasesByTheClock) {
    EXPECT_EQ(sanitize(0), (Registers{0, 0x50, 0x40, 0x0000, 0xFFFF})) << "never";
    EXPECT_EQ(sanitize(0x0012, BLOCK), (Registers{0, 0x50, 0x40, 0x4000, 0x0000}));
    clock.advanceMs(5000);
    EXPECT_EQ(sanitize(0), (Registers{0, 0x50, 0x40, 0x4000, 0x8000})) << "half of it";
    EXPECT_EQ(read(5).error, 0x04);
    EXPECT_EQ(sanitize(0x0011, CRYPTO).error, 0x04) << "one at a time";
    EXPECT_EQ(registers(smart(0xDA)).status, 0x50);
    EXPECT_EQ(word(59), 0xFC00);
    clock.advanceMs(5000);
    EXPECT_EQ(sanitize(0), (Registers{0, 0x50, 0x40, 0x8000, 0xFFFF}));
    EXPECT_EQ(content(), 0);
}

TEST_F(SataSanitize, GoesOnOverALossOfPower) {
    EXPECT_EQ(sanitize(0x0011, CRYPTO).status, 0x50);
    powerCycle();
    EXPECT_EQ(sanitize(0).count, 0x4000);
    clock.advanceMs(10000);
    EXPECT_EQ(sanitize(0).count, 0x8000);
    EXPECT_EQ(content(), 0);
}

TEST_F(SataSanitize, EachOperationHasItsKey) {
    description.sanitizeSeconds = 0;
    describe();
    EXPECT_EQ(sanitize(0x0012, CRYPTO).lba, 2U) << "unsupported value";
    EXPECT_EQ(sanitize(0x0012, 0).lba, 2U);
    EXPECT_EQ(sanitize(0x0012, BLOCK, 0x0001).lba, 2U) << "an unknown bit";
    EXPECT_EQ(sanitize(0x0013, BLOCK).lba, 2U) << "an unknown operation";
    EXPECT_EQ(content(), 0xAB);
    EXPECT_EQ(sanitize(0x0014, 0x4F5712345678, 0x91).count, 0x8000) << "overwrite: a pass, failure mode, invert";
    EXPECT_EQ(content(), 0);
}

TEST_F(SataSanitize, FrozenItIsUntilAPowerCycle) {
    EXPECT_EQ(sanitize(0x0020, 0x46724C6B).count, 0x2000);
    EXPECT_EQ(sanitize(0x0012, BLOCK).lba, 3U);
    EXPECT_EQ(sanitize(0).count, 0x2000);
    powerCycle();
    EXPECT_EQ(sanitize(0).count, 0x0000);
    EXPECT_EQ(sanitize(0x0040, 0x416E7469).count, 0x1000);
    EXPECT_EQ(sanitize(0x0020, 0x46724C6B).lba, 4U) << "refused by antifreeze";
    EXPECT_EQ(content(), 0xAB);
}

TEST_F(SataSanitize, ALockedDriveAborts) {
    EXPECT_EQ(security(0xF1, 0, "mine").status, 0x50);
    powerCycle();
    EXPECT_EQ(sanitize(0x0011, CRYPTO).error, 0x04);
}

}  // namespace
