#include <unistd.h>

#include <cerrno>

#include "features/simulator/sata/SataState.h"
#include "features/simulator/sata/StateCheck.h"
#include "features/simulator/store/CaptureFolder.h"
#include "features/simulator/store/Extension.h"
#include "features/simulator/store/NewDrive.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/StatusText.h"
#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace {

using features::simulator::DriveState;
using features::simulator::FaultyCommand;
using features::simulator::ModelId;

class SataDriveTest : public SimulatedSataDrive {
protected:
    static FaultyCommand command(uint8_t opcode) {
        FaultyCommand faulty;
        faulty.isAta = true;
        faulty.opcode = opcode;
        return faulty;
    }
};

TEST_F(SataDriveTest, AGoneDriveDoesNotAnswer) {
    description.faults.isGone = true;
    describe();
    EXPECT_EQ(run(noData(0xE5)).delivery, Delivery::GONE);
    EXPECT_TRUE(drive->powerCycle().is(1, 19));
}

TEST_F(SataDriveTest, FaultyCommandsFailHangOrTakeTheirTime) {
    description.faults.fail = {command(0xEC)};
    description.faults.fail[0].statusField = 0x10;
    description.faults.hang = {command(0xE5)};
    description.faults.slow = {command(0xE7)};
    description.faults.slow[0].delayMs = 250;
    describe();
    EXPECT_EQ(registers(readIn(0xEC, 0, 0, 0, 512)), (Registers{0x10, 0x51, 0x40, 0, 0}));
    EXPECT_EQ(run(noData(0xE5)).delivery, Delivery::NEVER);
    EXPECT_EQ(run(noData(0xE7)).delayMs, 250U);
}

TEST_F(SataDriveTest, ALossOfPowerLeavesTheCommandUndone) {
    EXPECT_EQ(security(0xF1, 0, "mine").status, 0x50);
    description.faults.powerLoss = {command(0x35)};
    describe();
    data.assign(512, 1);
    EXPECT_EQ(run({0x35, Protocol::DMA_OUT, true, 0, 1, 0, 0, 512}).delivery, Delivery::GONE);
    EXPECT_EQ(word(128), 0x0027) << "locked since";
    EXPECT_EQ(security(0xF2, 0, "mine").status, 0x50);
    EXPECT_EQ(read(0).status, 0x50);
    EXPECT_EQ(data[0], 0);
    const Bytes page = smartPage(0xD0);
    EXPECT_EQ(page[2 + 12 * 3 + 5], 2) << "power cycles";
    EXPECT_EQ(page[2 + 12 * 6 + 5], 1) << "unexpected losses of power";
}

TEST_F(SataDriveTest, RegistersCanBeLost) {
    description.faults.losesRegisters = true;
    describe();
    EXPECT_FALSE(run(noData(0xE5)).hasRegisters);
}

TEST_F(SataDriveTest, ADriveOfACaptureAnswersWithItsRegisters) {
    features::simulator::CapturedAnswers answers;
    answers.isSata = true;
    answers.answers[{0xB4, {}}] = {0x5000, 0x800000000000FFFF, {}};  // sanitized without error
    ASSERT_TRUE(succeeded(writeCapture(answers, path())));
    reopen();
    EXPECT_EQ(registers(noDataExt(0xB4)), (Registers{0x00, 0x50, 0x40, 0x8000, 0xFFFF}));
    EXPECT_EQ(registers(noDataExt(0xB4, 0x12, 0, 0x426B4572)).error, 0x04) << "nothing changes it";
}

TEST_F(SataDriveTest, ADriveOfAnotherKindIsRefused) {
    description.setModel(ModelId::VELKO);
    ASSERT_TRUE(succeeded(store().create({{"nvme", description}}, clock)));
    features::simulator::sata::SataDrive other(folder / "drives/nvme", clock);
    EXPECT_FALSE(other.execute(noData(0xE5), data));
    EXPECT_FALSE(other.describe());
}

TEST_F(SataDriveTest, ADescriptionOfAnotherKindMakesNone) {
    description.setModel(ModelId::VELKO);
    ASSERT_TRUE(succeeded(store().create({{"nvme", description}}, clock)));
    const std::string other = folder / "drives/nvme";
    ASSERT_EQ(::unlink((other + "/state").c_str()), 0);
    features::simulator::sata::SataDrive nvme(other, clock);
    const std::string refusal = "1/22 " + other + ": The drive is not a SATA drive.";
    EXPECT_EQ(statusText(nvme.execute(noData(0xE5), data)), refusal);
    EXPECT_EQ(statusText(nvme.powerCycle()), refusal);
    EXPECT_EQ(statusText(nvme.describe()), refusal);
    EXPECT_EQ(statusText(nvme.sectors()), refusal);
    EXPECT_NE(::access((other + "/state").c_str(), F_OK), 0) << "nothing was made";
}

TEST_F(SataDriveTest, ADamagedCaptureIsReportedByEachCommand) {
    writeWholeFile(path() + "/capture.json", "[]");
    reopen();
    const std::string damage = "1/22 " + path() + "/capture.json is not a capture: it lacks the format's name.";
    EXPECT_EQ(statusText(drive->execute(noData(0xE5), data)), damage);
    EXPECT_EQ(statusText(drive->powerCycle()), damage);
}

/// What is not on the disk did not happen.
TEST_F(SataDriveTest, ACommandWhoseEffectCannotBeSavedFailsAndIsUndone) {
    EXPECT_EQ(word(128), 0x0021);
    {
        const FileSizeLimit limit(0);
        data.assign(512, 0);
        data[2] = 'x';
        const TaskFile setPassword = {0xF1, Protocol::PIO_OUT, false, 0, 0, 0, 0, 512};
        const auto failure = drive->execute(setPassword, data);
        ASSERT_FALSE(failure);
        EXPECT_TRUE(failure.error().is(1, EFBIG)) << failure.error().getMessage();
        EXPECT_TRUE(drive->powerCycle().is(1, EFBIG));
    }
    EXPECT_EQ(word(128), 0x0021) << "no password";
    EXPECT_EQ(smartPage(0xD0)[2 + 12 * 3 + 5], 1) << "power cycles";
}

TEST_F(SataDriveTest, ADriveThatWasRemovedKeepsNoCounters) {
    EXPECT_EQ(write(1, 1).status, 0x50);
    ASSERT_TRUE(succeeded(store().remove("one")));
    drive.reset();
    EXPECT_NE(::access(path().c_str(), F_OK), 0);
}

TEST_F(SataDriveTest, ACheckThatFailsEndsTheCommand) {
    const auto refuse = [](const features::simulator::Description&) { return ostrel::core::Status(1, 5, "no"); };
    data.assign(512, 1);
    EXPECT_FALSE(drive->execute({0x35, Protocol::DMA_OUT, true, 0, 1, 0, 0, 512}, data, refuse));
    EXPECT_EQ(read(0).status, 0x50);
    EXPECT_EQ(data[0], 0);
}

TEST_F(SataDriveTest, ItIsMadeByItsDescriptionAlone) {
    ASSERT_EQ(::unlink((path() + "/state").c_str()), 0);
    reopen();
    EXPECT_EQ(number(identify(), 200, 8), 131072U);
    EXPECT_EQ(*drive->sectors(), 131072U);
}

TEST_F(SataDriveTest, ImpossibleStatesAreNamed) {
    using features::simulator::sata::impossibleIn;
    const DriveState good = newState(description, START_MS);
    EXPECT_EQ(impossibleIn(good), nullptr);
    DriveState state = good;
    state.model = static_cast<uint8_t>(ModelId::OCP);
    EXPECT_STREQ(impossibleIn(state), "model");
    state = good;
    state.namespaces.clear();
    EXPECT_STREQ(impossibleIn(state), "media");
    state = good;
    state.health.createdMs = uint64_t{1} << 48;
    EXPECT_STREQ(impossibleIn(state), "times of the drive's life");
    state = good;
    state.firmware.running.clear();
    EXPECT_STREQ(impossibleIn(state), "firmware slots");
    state = good;
    state.deallocating = {{1, 131071, 2}};
    EXPECT_STREQ(impossibleIn(state), "blocks to be deallocated");
    state = good;
    features::simulator::sata::SataState sata;
    sata.maxLba = 131072;
    writeExtension(state, sata);
    EXPECT_STREQ(impossibleIn(state), "records of a SATA drive");
}

}  // namespace
