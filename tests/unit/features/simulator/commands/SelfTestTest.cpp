#include "features/simulator/controller/StateCheck.h"
#include "features/simulator/store/DriveFolder.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::ResetKind;

namespace {

class SelfTestOfASimulatedDrive : public SimulatedDrive {
protected:
    uint16_t start(uint32_t code, uint32_t nsid = 0xFFFFFFFF) { return status(admin(0x14, nsid, code)); }
    /// Log page 06h: the first bytes, and the first result.
    Bytes head() { return part(log(0x06, 564), 0, 4); }
    Bytes result(size_t index = 0) { return part(log(0x06, 564), 4 + 28 * index, 28); }
    static Bytes expectedResult(uint8_t status, uint8_t hours = 0) {
        Bytes bytes(28);
        bytes[0] = status;
        bytes[2] = 1;  // the namespace identifier is valid
        bytes[4] = hours;
        for (size_t i = 12; i < 16; ++i) bytes[i] = 0xFF;
        return bytes;
    }
};

TEST_F(SelfTestOfASimulatedDrive, RunsInItsTime) {
    Bytes none(28);
    none[0] = 0x0F;
    EXPECT_EQ(head(), Bytes(4));
    EXPECT_EQ(result(0), none);
    EXPECT_EQ(result(19), none);
    clock.advanceMs(2 * 3600000);
    EXPECT_EQ(start(1), 0);
    EXPECT_EQ(head(), (Bytes{1, 0, 0, 0}));
    clock.advanceMs(3000);
    reopen();
    EXPECT_EQ(head(), (Bytes{1, 30, 0, 0}));
    EXPECT_EQ(start(2), 0x011D) << "one at a time";
    clock.advanceMs(7000);
    EXPECT_EQ(head(), Bytes(4));
    EXPECT_EQ(result(), expectedResult(0x10, 2));
    EXPECT_EQ(start(2), 0);
    clock.advanceMs(59999);
    EXPECT_EQ(head(), (Bytes{2, 99, 0, 0}));
    clock.advanceMs(1);
    EXPECT_EQ(result(0), expectedResult(0x20, 2));
    EXPECT_EQ(result(1), expectedResult(0x10, 2));
}

TEST_F(SelfTestOfASimulatedDrive, IsAborted) {
    EXPECT_EQ(start(0xF), 0) << "nothing to abort";
    EXPECT_EQ(start(1), 0);
    EXPECT_EQ(start(0xF), 0);
    EXPECT_EQ(result(), expectedResult(0x11));
    EXPECT_EQ(start(1), 0);
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    EXPECT_EQ(result(), expectedResult(0x12));
    EXPECT_EQ(start(2), 0);
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    EXPECT_EQ(head(), (Bytes{2, 0, 0, 0})) << "the extended one goes on after a reset";
    EXPECT_EQ(status(admin(0x80, 1)), 0);
    EXPECT_EQ(result(), expectedResult(0x24));
    EXPECT_EQ(start(2), 0);
    EXPECT_EQ(status(admin(0x0D, 1, 1)), 0);
    EXPECT_EQ(result(), expectedResult(0x23));
    EXPECT_EQ(start(2), 0);
    EXPECT_EQ(status(admin(0x84, 0, 2)), 0);
    clock.advanceMs(10000);
    EXPECT_EQ(result(), expectedResult(0x29));
}

TEST_F(SelfTestOfASimulatedDrive, FindsBlocksThatCannotBeRead) {
    description.faults.mediaErrors = {{1, 70, 2}};
    describe();
    EXPECT_EQ(start(1), 0);
    clock.advanceMs(10000);
    EXPECT_EQ(result(), expectedResult(0x10)) << "the short one does not read the media";
    EXPECT_EQ(start(2, 0), 0);
    clock.advanceMs(60000);
    EXPECT_EQ(result()[0], 0x20) << "of the controller alone";
    EXPECT_EQ(start(2), 0);
    clock.advanceMs(60000);
    EXPECT_EQ(result(),
              (Bytes{0x27, 5, 0xF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 70, 0, 0, 0, 0, 0, 0, 0, 2, 0x81, 0, 0}));
}

TEST_F(SelfTestOfASimulatedDrive, FailsAtTheBlockThatAFaultNames) {
    description.faults.selfTestFailure = features::simulator::BlockRange{1, 1000, 1};
    describe();
    Bytes expected{0x17, 5, 0xF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0xE8, 3, 0, 0, 0, 0, 0, 0, 2, 0x81, 0, 0};
    EXPECT_EQ(start(1), 0);
    clock.advanceMs(10000);
    EXPECT_EQ(result(), expected);
    EXPECT_EQ(start(2), 0);
    clock.advanceMs(60000);
    expected[0] = 0x27;
    EXPECT_EQ(result(), expected);
    EXPECT_EQ(start(1, 0), 0);
    clock.advanceMs(10000);
    EXPECT_EQ(result()[0], 0x10) << "of the controller alone";
    EXPECT_EQ(status(io(0x02, 1, 1000)), 0) << "the block itself can be read";
}

TEST_F(SelfTestOfASimulatedDrive, KeepsTwentyResults) {
    for (int i = 0; i < 21; ++i) {
        EXPECT_EQ(start(i == 0 ? 2 : 1), 0);
        EXPECT_EQ(start(0xF), 0);
    }
    EXPECT_EQ(result(19), expectedResult(0x11)) << "the first one, an extended one, is forgotten";
    features::simulator::DriveFolder folder(path(), features::simulator::impossibleIn);
    ASSERT_TRUE(succeeded(folder.begin()));
    EXPECT_EQ(folder.state.selfTest.results.size(), 20U) << "by the state, too";
}

TEST_F(SelfTestOfASimulatedDrive, IsRefusedWithTheRightStatus) {
    EXPECT_EQ(start(3), 0x4002) << "a reserved code";
    EXPECT_EQ(start(0xE), 0x4002) << "a vendor's";
    EXPECT_EQ(start(1, 2), 0x400B);
    description.supportsSelfTest = false;
    describe();
    EXPECT_EQ(start(1), 0x4001);
    EXPECT_EQ(status(admin(0x02, 0, 0x008C0006)), 0x4109);
}

}  // namespace
