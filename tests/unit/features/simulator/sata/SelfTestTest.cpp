#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace {

class SataSelfTest : public SimulatedSataDrive {
protected:
    Registers start(uint8_t test) { return registers(smart(0xD4, test)); }
    uint8_t status() { return smartPage(0xD0)[363]; }
    /// The newest entry of log 07h.
    Bytes newest() {
        const Bytes page = log(0x07);
        const uint64_t index = number(page, 2, 2);
        EXPECT_NE(index, 0U);
        const auto at = page.begin() + static_cast<std::ptrdiff_t>(4 + 26 * (index - 1));
        return {at, at + 11};
    }
};

TEST_F(SataSelfTest, RunsByTheClock) {
    clock.advanceMs(uint64_t{3} * 3600000);
    EXPECT_EQ(start(1).status, 0x50);
    EXPECT_EQ(status(), 0xF9);
    clock.advanceMs(5000);
    EXPECT_EQ(status(), 0xF5) << "half of it is left";
    EXPECT_EQ(number(log(0x07), 2, 2), 0U) << "no entry yet";
    clock.advanceMs(5000);
    EXPECT_EQ(status(), 0x00);
    EXPECT_EQ(newest(), (Bytes{1, 0x00, 3, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST_F(SataSelfTest, IsInBothLogs) {
    for (uint8_t test = 1; test <= 3; ++test) {
        EXPECT_EQ(start(test).status, 0x50);
        clock.advanceMs(60000);
    }
    EXPECT_EQ(newest()[0], 3);
    ASSERT_EQ(registers(readIn(0xB0, 0xD5, 1, 0xC24F06, 512)).status, 0x50);
    EXPECT_EQ(number(data, 0, 2), 1U);
    EXPECT_EQ(data[508], 3) << "the index of the newest";
    EXPECT_EQ(data[2], 1);
    EXPECT_EQ(data[2 + 24], 2);
    EXPECT_EQ(data[2 + 48], 3);
    EXPECT_EQ(sum(data), 0U);
}

TEST_F(SataSelfTest, AnotherOneOrTheHostAbortsIt) {
    EXPECT_EQ(start(2).status, 0x50);
    clock.advanceMs(30000);
    EXPECT_EQ(start(1).status, 0x50);
    EXPECT_EQ(newest(), (Bytes{2, 0x15, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(start(0x7F).status, 0x50);
    EXPECT_EQ(newest()[0], 1);
    EXPECT_EQ(newest()[1], 0x19);
    EXPECT_EQ(start(0x7F).status, 0x50) << "nothing to abort";
    EXPECT_EQ(number(log(0x07), 2, 2), 2U);
}

TEST_F(SataSelfTest, FailsAtABlock) {
    description.faults.selfTestFailure = features::simulator::BlockRange{1, 65536, 1};
    describe();
    EXPECT_EQ(start(1).status, 0x50);
    clock.advanceMs(4999);
    EXPECT_EQ(status() >> 4, 0xF);
    clock.advanceMs(1);
    EXPECT_EQ(status(), 0x75) << "read failure, half of it left";
    EXPECT_EQ(newest(), (Bytes{1, 0x75, 0, 0, 0, 0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(log(0x25)[382], 1) << "the drive saved its status";
}

TEST_F(SataSelfTest, ACaptiveOneHoldsTheDrive) {
    const Completion completion = run(smart(0xD4, 0x81));
    EXPECT_EQ(completion.delayMs, 10000U);
    EXPECT_EQ(completion.registers.lba, 0xC24F00U);
    clock.advanceMs(4000);
    const Completion held = run(readIn(0xEC, 0, 0, 0, 512));
    EXPECT_EQ(held.delivery, Delivery::BUSY);
    EXPECT_EQ(held.delayMs, 6000U);
    clock.advanceMs(6000);
    EXPECT_EQ(status(), 0x00);
    EXPECT_EQ(newest()[0], 0x81);
}

TEST_F(SataSelfTest, ACaptiveOneThatFailsSaysSoInItsRegisters) {
    description.faults.selfTestFailure = features::simulator::BlockRange{1, 0, 1};
    describe();
    const Registers end = start(0x82);
    EXPECT_EQ(end.status, 0x51);
    EXPECT_EQ(end.lba, 0x2CF400U);
    EXPECT_EQ(newest()[1], 0x79);
}

TEST_F(SataSelfTest, APowerCycleInterruptsIt) {
    EXPECT_EQ(start(2).status, 0x50);
    powerCycle();
    EXPECT_EQ(status(), 0x29);
}

TEST_F(SataSelfTest, OfflineCollectionHasAStatusOfItsOwn) {
    EXPECT_EQ(smartPage(0xD0)[362], 0x00) << "never";
    EXPECT_EQ(start(0).status, 0x50);
    EXPECT_EQ(smartPage(0xD0)[362], 0x03);
    clock.advanceMs(10000);
    EXPECT_EQ(smartPage(0xD0)[362], 0x02);
    EXPECT_EQ(registers(smart(0xDB, 0, 0xF8)).status, 0x50);
    EXPECT_EQ(smartPage(0xD0)[362], 0x82) << "automatic";
}

TEST_F(SataSelfTest, IsNotThereWhenTheDescriptionSaysSo) {
    description.supportsSelfTest = false;
    describe();
    EXPECT_EQ(start(1).error, 0x04);
    EXPECT_EQ(smartPage(0xD0)[367], 0x03);
    EXPECT_EQ(number(log(0x00), 2 * 7, 2), 0U);
}

TEST_F(SataSelfTest, TheLogHasTheLast19) {
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(start(i == 0 ? 2 : 1).status, 0x50);
        clock.advanceMs(60000);
    }
    const Bytes page = log(0x07);
    for (size_t i = 0; i < 19; ++i) EXPECT_EQ(page[4 + 26 * i], 1) << "the extended one was the first";
    EXPECT_EQ(number(page, 2, 2), 19U) << "the index of the newest";
    reopen();
    EXPECT_EQ(newest()[0], 1) << "and the drive can be opened with them";
}

TEST_F(SataSelfTest, OneThatIsUnknownIsAbortedAndEndsNone) {
    EXPECT_EQ(start(1).status, 0x50);
    for (const uint8_t test : {uint8_t{4}, uint8_t{5}, uint8_t{0x84}}) EXPECT_EQ(start(test).error, 0x04);
    EXPECT_EQ(status() >> 4, 0xF) << "the first one still runs";
}

TEST_F(SataSelfTest, OneThatTakesNoTimeIsOverAtOnce) {
    description.shortSelfTestSeconds = 0;
    describe();
    EXPECT_EQ(start(1).status, 0x50);
    EXPECT_EQ(newest()[1], 0x00);
    description.faults.selfTestFailure = features::simulator::BlockRange{1, 65536, 1};
    describe();
    EXPECT_EQ(start(1).status, 0x50);
    EXPECT_EQ(newest()[1], 0x70) << "a read failure, nothing left";
}

TEST_F(SataSelfTest, AFailureOfAnotherNamespaceIsNone) {
    description.faults.selfTestFailure = features::simulator::BlockRange{2, 65536, 1};
    describe();
    EXPECT_EQ(start(1).status, 0x50);
    clock.advanceMs(10000);
    EXPECT_EQ(newest()[1], 0x00);
}

TEST_F(SataSelfTest, ACaptiveOneHoldsTheDriveUpToTheBlockAtWhichItFails) {
    description.faults.selfTestFailure = features::simulator::BlockRange{1, 65536, 1};
    describe();
    const Completion completion = run(smart(0xD4, 0x81));
    EXPECT_EQ(completion.delayMs, 5000U);
    EXPECT_EQ(completion.registers.lba, 0x2CF400U);
    clock.advanceMs(2000);
    const Completion held = run(readIn(0xEC, 0, 0, 0, 512));
    EXPECT_EQ(held.delivery, Delivery::BUSY);
    EXPECT_EQ(held.delayMs, 3000U);
    clock.advanceMs(3000);
    EXPECT_EQ(newest()[1], 0x75);
}

}  // namespace
