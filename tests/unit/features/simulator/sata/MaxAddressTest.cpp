#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace {

class SataMaxAddress : public SimulatedSataDrive {
protected:
    Registers accessible(uint16_t feature, uint64_t lba = 0) { return registers(noDataExt(0x78, feature, 0, lba)); }
    uint64_t sectors() { return number(identify(), 200, 8); }
};

TEST_F(SataMaxAddress, IsSetOnceInAPowerCycle) {
    EXPECT_EQ(accessible(0).lba, 131071U);
    EXPECT_EQ(accessible(1, 999).lba, 999U);
    EXPECT_EQ(sectors(), 1000U);
    EXPECT_EQ(accessible(0).lba, 131071U) << "the native one stays";
    EXPECT_EQ(read(1000).error, 0x10);
    EXPECT_EQ(accessible(1, 131071).error, 0x04) << "a second one";
    powerCycle();
    EXPECT_EQ(sectors(), 1000U);
    EXPECT_EQ(accessible(1, 131072).error, 0x04) << "beyond the native one";
    EXPECT_EQ(accessible(1, 131071).status, 0x50);
    EXPECT_EQ(sectors(), 131072U);
}

TEST_F(SataMaxAddress, FrozenItIsUntilAPowerCycle) {
    EXPECT_EQ(accessible(2).status, 0x50);
    EXPECT_EQ(accessible(1, 999).error, 0x04);
    EXPECT_EQ(accessible(0).lba, 131071U);
    powerCycle();
    EXPECT_EQ(accessible(1, 999).status, 0x50);
}

TEST_F(SataMaxAddress, TheHostProtectedAreaTakesItsPlace) {
    EXPECT_EQ(registers(noData(0xF8)).error, 0x04);
    description.supportsAccessibleMaxAddress = false;
    describe();
    EXPECT_EQ(accessible(0).error, 0x04);
    EXPECT_EQ(registers(noDataExt(0x37, 0, 1, 999)).error, 0x04) << "not directly after READ NATIVE MAX";
    EXPECT_EQ(registers(noDataExt(0x27)).lba, 131071U);
    EXPECT_EQ(registers(noDataExt(0x37, 0, 0, 999)).status, 0x50);
    EXPECT_EQ(sectors(), 1000U);
    powerCycle();
    EXPECT_EQ(sectors(), 131072U) << "that one did not last";
    EXPECT_EQ(registers(noData(0xF8)).lba, 131071U);
    EXPECT_EQ(registers(noData(0xF9, 0, 1, 99)).status, 0x50);
    powerCycle();
    EXPECT_EQ(sectors(), 100U);
    EXPECT_EQ(registers(noDataExt(0x27)).lba, 131071U);
    EXPECT_EQ(registers(noDataExt(0x37, 0, 1, 131071)).status, 0x50);
    EXPECT_EQ(sectors(), 131072U);
    EXPECT_EQ(registers(noDataExt(0x27)).lba, 131071U);
    EXPECT_EQ(registers(noDataExt(0x37, 0, 1, 99)).error, 0x10) << "one that lasts, in each power cycle";
}

TEST_F(SataMaxAddress, Of28BitsHasFourInDevice) {
    description.supportsAccessibleMaxAddress = false;
    description.sizeBytes = uint64_t{16} << 30;
    ASSERT_TRUE(succeeded(store().create({{"two", description}}, clock)));
    drive = std::make_unique<features::simulator::sata::SataDrive>(folder / "drives/two", clock);
    const Registers native = registers(noData(0xF8));
    EXPECT_EQ(native.lba, 0xFFFFFFU);
    EXPECT_EQ(native.device, 0x41);
    EXPECT_EQ(registers(noDataExt(0x27)).lba, 0x1FFFFFFU);
}

TEST_F(SataMaxAddress, AnAddressThatIsNoneIsAborted) {
    EXPECT_EQ(accessible(1, 0).error, 0x04) << "no sector would be left";
    EXPECT_EQ(accessible(3, 999).error, 0x04) << "no such command";
    EXPECT_EQ(registers(noDataExt(0x37, 0, 1, 999)).error, 0x04) << "of the other feature set";
    description.supportsAccessibleMaxAddress = false;
    describe();
    for (const uint64_t lba : {uint64_t{0}, uint64_t{131072}}) {
        EXPECT_EQ(registers(noDataExt(0x27)).status, 0x50);
        EXPECT_EQ(registers(noDataExt(0x37, 0, 1, lba)).error, 0x04) << lba;
    }
    EXPECT_EQ(registers(noData(0xF8)).status, 0x50);
    EXPECT_EQ(registers(noDataExt(0x37, 0, 1, 999)).error, 0x04) << "READ NATIVE MAX of the other addressing";
    EXPECT_EQ(sectors(), 131072U);
}

}  // namespace
