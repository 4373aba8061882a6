#include <fstream>
#include <optional>

#include "features/simulator/store/DriveFolder.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::BlockRange;
using features::simulator::Delivery;
using features::simulator::FaultyCommand;
using features::simulator::ResetKind;

namespace {

class FaultsOfASimulatedDrive : public SimulatedDrive {
protected:
    FaultsOfASimulatedDrive() { reopen(); }

    /// The whole state file.
    Bytes stateFile() const {
        std::ifstream file(path() + "/state", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    features::simulator::SubmissionEntry readBlocks(uint32_t first, uint32_t count) const {
        return io(0x02, 1, first, 0, count - 1);
    }
    uint16_t writeBlocks(uint32_t first, uint32_t count) {
        data.assign(count * 512, 0x5A);
        return status(io(0x01, 1, first, 0, count - 1));
    }
    uint64_t mediaErrors() { return number(log(0x02, 512), 160, 8); }
};

TEST_F(FaultsOfASimulatedDrive, CriticalWarningAndTemperatureLieOverTheTruth) {
    EXPECT_EQ(part(log(0x02, 512), 0, 3), (Bytes{0x00, 0x37, 0x01})) << "38 degrees";
    description.faults.criticalWarning = 0x15;
    describe();
    EXPECT_EQ(part(log(0x02, 512), 0, 3), (Bytes{0x15, 0x37, 0x01}));
    description.faults.temperatureCelsius = 70;  // WCTEMP
    describe();
    EXPECT_EQ(part(log(0x02, 512), 0, 3), (Bytes{0x17, 0x57, 0x01})) << "the drive's own warning beside";
    description.faults = {};
    describe();
    EXPECT_EQ(part(log(0x02, 512), 0, 3), (Bytes{0x00, 0x37, 0x01}));
}

TEST_F(FaultsOfASimulatedDrive, FieldsOfTheSmartLogShowOtherValues) {
    const auto truth = log(0x02, 512);
    description.faults.smart = {{3, 40}, {5, 95}, {128, 43800}, {144, 46}, {192, 7}, {202, 60}};
    describe();
    Bytes expected = truth;
    expected[3] = 40;
    expected[5] = 95;
    expected[128] = 0x18;  // 43800
    expected[129] = 0xAB;
    expected[144] = 46;
    expected[192] = 7;
    expected[202] = 0x4D;  // 333 Kelvin
    expected[203] = 0x01;
    EXPECT_EQ(log(0x02, 512), expected);
    description.faults.smart = {{3, 9}};
    describe();
    EXPECT_EQ(part(log(0x02, 512), 0, 5), (Bytes{0x01, 0x37, 0x01, 9, 10})) << "a warning: below the threshold";
    description.faults.smart = {{4, 100}};
    describe();
    EXPECT_EQ(part(log(0x02, 512), 0, 5), (Bytes{0x00, 0x37, 0x01, 100, 100})) << "at the threshold is not below it";
    description.faults.smart = {};
    describe();
    EXPECT_EQ(log(0x02, 512), truth);
}

TEST_F(FaultsOfASimulatedDrive, SlowCommandsAreCarriedOutAndAnsweredLater) {
    description.faults.slow = {{true, 0x06, 0, false, 500}, {false, 0, 0, true, 20}};
    describe();
    EXPECT_EQ(run(admin(0x06, 0, 1)).delayMs, 500U);
    EXPECT_EQ(text(data, 4, 4), "SIM1") << "carried out";
    EXPECT_EQ(run(admin(0x02, 0xFFFFFFFF, 0x007F0002)).delayMs, 0U);
    EXPECT_EQ(run(readBlocks(0, 1)).delayMs, 20U);
    EXPECT_EQ(run(io(0x00, 1)).delayMs, 20U) << "all opcodes of the queue";
}

TEST_F(FaultsOfASimulatedDrive, AllCommandsOfAQueueFail) {
    description.faults.fail = {{false, 0, 0x281, true}};
    describe();
    EXPECT_EQ(status(readBlocks(0, 1)), 0x281);
    EXPECT_EQ(status(io(0x00, 1)), 0x281);
    EXPECT_EQ(status(admin(0x06, 0, 1)), 0);
}

TEST_F(FaultsOfASimulatedDrive, TimeOfHeatIsCounted) {
    const auto beAt = [this](std::optional<int32_t> celsius, uint64_t minutes) {
        description.faults.temperatureCelsius = celsius;
        describe();
        EXPECT_EQ(status(readBlocks(0, 1)), 0);
        clock.advanceMs(minutes * 60000);
    };
    beAt(80, 10);
    beAt(90, 5);
    beAt(69, 30);
    beAt(70, 2);
    EXPECT_EQ(part(log(0x02, 512), 192, 8), (Bytes{12, 0, 0, 0, 5, 0, 0, 0})) << "above 70 and above 85 degrees";
    beAt(std::nullopt, 100);
    EXPECT_EQ(part(log(0x02, 512), 192, 8), (Bytes{12, 0, 0, 0, 5, 0, 0, 0}));
}

TEST_F(FaultsOfASimulatedDrive, MediaErrorsFailReadsUntilTheBlocksAreRewritten) {
    description.faults.mediaErrors = {{1, 100, 4}, {1, 500, 1}};
    describe();
    EXPECT_EQ(status(readBlocks(99, 1)), 0);
    EXPECT_EQ(status(readBlocks(104, 396)), 0);
    EXPECT_EQ(status(readBlocks(96, 8)), 0x4281);
    EXPECT_EQ(mediaErrors(), 1U);
    const Bytes entry = part(log(0x01, 64), 0, 64);
    EXPECT_EQ(part(entry, 0, 28), (Bytes{1,   0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0x02, 0x85, 0xFF, 0xFF,  //
                                         100, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0}))
        << "the block that failed, not the first of the command";

    EXPECT_EQ(writeBlocks(101, 2), 0);
    EXPECT_EQ(status(readBlocks(101, 2)), 0) << "they were rewritten";
    EXPECT_EQ(status(readBlocks(101, 3)), 0x4281);
    EXPECT_EQ(number(log(0x01, 64), 16, 8), 103U);
    EXPECT_EQ(status(readBlocks(100, 1)), 0x4281);
    reopen();
    EXPECT_EQ(status(readBlocks(101, 2)), 0) << "also for another process";
    EXPECT_EQ(writeBlocks(100, 1), 0);
    EXPECT_EQ(writeBlocks(103, 1), 0);
    EXPECT_EQ(status(readBlocks(96, 8)), 0);
    EXPECT_EQ(status(readBlocks(500, 1)), 0x4281);
    EXPECT_EQ(mediaErrors(), 4U);
}

TEST_F(FaultsOfASimulatedDrive, MediaErrorsAreHealedInDeallocatedRanges) {
    description.faults.mediaErrors = {{1, 100, 4}, {1, 500, 1}};
    describe();
    // Two ranges of 16 bytes: context attributes, length in blocks, first block.
    const Bytes ranges = {0, 0, 0, 0, 2, 0, 0, 0, 101,  0,    0, 0, 0, 0, 0, 0,  //
                          0, 0, 0, 0, 1, 0, 0, 0, 0xF4, 0x01, 0, 0, 0, 0, 0, 0};
    data = ranges;
    EXPECT_EQ(status(io(0x09, 1, 1, 0)), 0) << "hints alone, nothing is deallocated";
    EXPECT_EQ(status(readBlocks(500, 1)), 0x4281);
    data = ranges;
    EXPECT_EQ(status(io(0x09, 1, 1, 4)), 0);
    EXPECT_EQ(status(readBlocks(500, 1)), 0);
    EXPECT_EQ(status(readBlocks(101, 2)), 0);
    EXPECT_EQ(status(readBlocks(100, 1)), 0x4281) << "before the range";
    EXPECT_EQ(status(readBlocks(103, 1)), 0x4281) << "after it";
    EXPECT_EQ(mediaErrors(), 3U);
}

TEST_F(FaultsOfASimulatedDrive, MediaErrorThatIsPutOnAgainCountsInFull) {
    description.faults.mediaErrors = {{1, 100, 4}};
    describe();
    EXPECT_EQ(writeBlocks(100, 4), 0);
    EXPECT_EQ(status(readBlocks(100, 4)), 0);
    description.faults.mediaErrors.clear();
    describe();
    EXPECT_EQ(status(readBlocks(100, 4)), 0);
    EXPECT_EQ(part(data, 0, 4), (Bytes{0x5A, 0x5A, 0x5A, 0x5A})) << "the blocks are what they were";
    description.faults.mediaErrors = {{1, 100, 4}};
    describe();
    EXPECT_EQ(status(readBlocks(100, 4)), 0x4281);
}

TEST_F(FaultsOfASimulatedDrive, MediaErrorsAreHealedWhereAWholeNamespaceIsErased) {
    using Command = features::simulator::SubmissionEntry;
    description.sanitizeSeconds = 0;
    const struct {
        Command command;
        bool healsFirst;
        bool healsSecond;
        const char* why;
    } CASES[] = {
        {admin(0x80, 1), true, false, "format of namespace 1"},
        {admin(0x80, 2), false, true, "format of namespace 2"},
        {admin(0x80, 0xFFFFFFFF), true, true, "format of all"},
        {admin(0x84, 0, 2), true, true, "sanitize: block erase"},
        {admin(0x80, 1, 0x600), false, false, "a format that is refused"},
        {admin(0x14, 1, 1), false, false, "a self-test"},
    };
    for (const auto& c : CASES) {
        SCOPED_TRACE(c.why);
        description.faults.mediaErrors.clear();
        describe();
        EXPECT_EQ(status(admin(0x0D, 0xFFFFFFFF, 1)), 0);
        for (uint32_t nsid = 1; nsid <= 2; ++nsid) {
            data.assign(4096, 0);
            data[1] = data[9] = 0x08;  // 2048 blocks
            EXPECT_EQ(status(admin(0x0D)), 0);
            data.assign(4096, 0);
            data[0] = data[2] = 1;
            EXPECT_EQ(status(admin(0x15, nsid, 0)), 0);
        }
        description.faults.mediaErrors = {{1, 100, 4}, {2, 500, 1}};
        describe();
        EXPECT_EQ(status(io(0x02, 1, 100)), 0x4281);
        EXPECT_EQ(status(io(0x02, 2, 500)), 0x4281);
        (void)run(c.command);
        reopen();
        EXPECT_EQ(status(io(0x02, 1, 100, 0, 3)), c.healsFirst ? 0 : 0x4281);
        EXPECT_EQ(status(io(0x02, 2, 500)), c.healsSecond ? 0 : 0x4281);
        reopen();
    }
}

TEST_F(FaultsOfASimulatedDrive, MediaErrorsAreHealedByDeletionOfTheirNamespaceAlone) {
    description.faults.mediaErrors = {{1, 100, 1}, {2, 100, 1}};
    describe();
    const auto make = [this] {
        data.assign(4096, 0);
        data[1] = data[9] = 0x08;
        EXPECT_EQ(status(admin(0x0D)), 0);
        data.assign(4096, 0);
        data[0] = data[2] = 1;
    };
    EXPECT_EQ(status(admin(0x0D, 1, 1)), 0);
    make();
    EXPECT_EQ(status(admin(0x15, 1, 0)), 0);
    make();
    EXPECT_EQ(status(admin(0x15, 2, 0)), 0);
    EXPECT_EQ(status(io(0x02, 1, 100)), 0) << "another namespace";
    EXPECT_EQ(status(io(0x02, 2, 100)), 0x4281);
}

TEST_F(FaultsOfASimulatedDrive, CommandFailsUndoneWithTheGivenStatus) {
    description.faults.fail = {{true, 0x06, 0x106}, {false, 0x01, 0x280}};
    describe();
    EXPECT_EQ(status(admin(0x06, 0, 1)), 0x106);
    EXPECT_EQ(status(admin(0x02, 0, 0x007F0002)), 0) << "another opcode";
    EXPECT_EQ(status(readBlocks(0, 1)), 0) << "the same opcode number on the other queue";
    EXPECT_EQ(writeBlocks(0, 1), 0x280);
    EXPECT_EQ(status(readBlocks(0, 1)), 0);
    EXPECT_EQ(part(data, 0, 4), (Bytes{0, 0, 0, 0}));
    const Bytes errors = log(0x01, 128);
    EXPECT_EQ(part(errors, 0, 28), (Bytes{2, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0x00, 0x05, 0xFF, 0xFF,  //
                                          0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(part(errors, 64, 16), (Bytes{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x0C, 0x02, 0xFF, 0xFF}));
    EXPECT_EQ(number(log(0x02, 512), 176, 8), 2U) << "Number of Error Information Log Entries";
}

TEST_F(FaultsOfASimulatedDrive, CommandThatEndsInStatus0IsASuccessThatIsNotCarriedOut) {
    description.faults.fail = {{false, 0x01, 0}};
    describe();
    data.assign(512, 0x5A);
    EXPECT_EQ(status(io(0x01, 1)), 0);
    EXPECT_EQ(status(readBlocks(0, 1)), 0);
    EXPECT_EQ(data, Bytes(512));
    EXPECT_EQ(number(log(0x02, 512), 176, 8), 0U) << "Number of Error Information Log Entries";
}

TEST_F(FaultsOfASimulatedDrive, HangingCommandIsNeitherAnsweredNorCarriedOut) {
    description.faults.hang = {{false, 0x01, 0}};
    describe();
    log(0x02, 512);
    const Bytes before = stateFile();
    data.assign(512, 0x5A);
    EXPECT_EQ(run(io(0x01, 1)).delivery, Delivery::NEVER);
    EXPECT_EQ(stateFile(), before);
    EXPECT_EQ(run(readBlocks(0, 1)).delivery, Delivery::COMPLETED);
    EXPECT_EQ(data, Bytes(512)) << "the drive goes on with other commands";
}

TEST_F(FaultsOfASimulatedDrive, PowerLossUndoesTheCommandAndIsCounted) {
    description.faults.powerLoss = {{false, 0x01, 0}};
    describe();
    clock.advanceMs(5000);
    data.assign(512, 0x5A);
    EXPECT_EQ(run(io(0x01, 1)).delivery, Delivery::GONE);
    EXPECT_EQ(run(readBlocks(0, 1)).delivery, Delivery::COMPLETED) << "it has its power again";
    EXPECT_EQ(data, Bytes(512));
    const Bytes smart = log(0x02, 512);
    EXPECT_EQ(number(smart, 112, 8), 2U) << "power cycles";
    EXPECT_EQ(number(smart, 144, 8), 1U) << "unsafe shutdowns";
}

TEST_F(FaultsOfASimulatedDrive, GoneDriveAnswersNothingAndForgetsNothing) {
    EXPECT_EQ(writeBlocks(7, 1), 0);
    log(0x02, 512);
    const Bytes before = stateFile();
    description.faults.isGone = true;
    describe();
    EXPECT_EQ(run(admin(0x06, 0, 1)).delivery, Delivery::GONE);
    EXPECT_EQ(run(readBlocks(7, 1)).delivery, Delivery::GONE);
    const auto status = controller->reset(ResetKind::CONTROLLER);
    EXPECT_TRUE(status.is(1, 19));
    EXPECT_EQ(status.getMessage(), "System error. " + path() + ": the drive is gone.");
    EXPECT_EQ(stateFile(), before);
    description.faults.isGone = false;
    describe();
    EXPECT_EQ(run(readBlocks(7, 1)).delivery, Delivery::COMPLETED);
    EXPECT_EQ(data, Bytes(512, 0x5A));
}

TEST_F(FaultsOfASimulatedDrive, ErrorLogSaysWhereACommandIsWrong) {
    const struct {
        features::simulator::SubmissionEntry command;
        uint16_t status;
        uint16_t location;
        const char* why;
    } CASES[] = {
        {admin(0xFF), 0x4001, 0x0000, "the opcode"},
        {admin(0x06, 99, 0), 0x400B, 0x0004, "the namespace"},
        {admin(0x06, 0, 0x101), 0x4002, 0x0029, "bit 0 of byte 41"},
        {admin(0x06, 0, 1, 0, 0x80000000), 0x4002, 0x0733, "bit 7 of byte 51"},
        {admin(0x02, 0, 0x007F00BF), 0x4109, 0x0028, "the log page"},
        {io(0x02, 1, 131072), 0x4080, 0x0028, "the first block"},
        {io(0x02, 1, 0, 0, 0, 0x100), 0x4002, 0x0035, "bit 0 of byte 53"},
    };
    uint64_t count = 0;
    for (const auto& c : CASES) {
        EXPECT_EQ(status(c.command), c.status) << c.why;
        const Bytes entry = log(0x01, 64);
        EXPECT_EQ(number(entry, 0, 8), ++count) << c.why;
        EXPECT_EQ(number(entry, 12, 2), static_cast<uint16_t>(c.status << 1)) << c.why;
        EXPECT_EQ(number(entry, 14, 2), c.location) << c.why;
    }
}

TEST_F(FaultsOfASimulatedDrive, ErrorLogKeepsTheNewestEntriesAndCountsAll) {
    for (unsigned i = 0; i < 70; ++i) EXPECT_EQ(status(admin(0xFF, i)), 0x4001);
    const Bytes errors = log(0x01, 64 * 64);
    for (unsigned i = 0; i < 64; ++i) {
        EXPECT_EQ(number(errors, i * 64, 8), 70U - i);
        EXPECT_EQ(number(errors, i * 64 + 24, 4), 69U - i);
    }
    EXPECT_EQ(number(log(0x02, 512), 176, 8), 70U);
}

TEST_F(FaultsOfASimulatedDrive, WarningsAreEvents) {
    EXPECT_EQ(status(admin(0x09, 0, 0x0B, 0x3)), 0) << "spare and temperature are asked for";
    EXPECT_EQ(run(admin(0x0C)).delivery, Delivery::HELD);
    description.faults.criticalWarning = 0x09;  // spare, read only
    description.faults.temperatureCelsius = 90;
    describe();
    const auto temperature = controller->takeEvent();
    ASSERT_TRUE(temperature && *temperature);
    EXPECT_EQ((*temperature)->dword0, 0x00020101U) << "temperature: type 1, information 1, log page 02h";
    const auto none = controller->takeEvent();
    EXPECT_TRUE(none && !*none) << "no request is held any more";
    EXPECT_EQ(run(admin(0x0C)).delivery, Delivery::HELD) << "the type is masked until the log is read";
    log(0x02, 512);
    const auto spare = controller->takeEvent();
    ASSERT_TRUE(spare && *spare);
    EXPECT_EQ((*spare)->dword0, 0x00020201U);
}

TEST_F(FaultsOfASimulatedDrive, ExtendedSelfTestFindsTheUnreadableBlock) {
    description.faults.mediaErrors = {{1, 100, 2}};
    describe();
    EXPECT_EQ(writeBlocks(100, 1), 0);
    EXPECT_EQ(status(admin(0x14, 1, 2)), 0);
    clock.advanceMs(60000);
    EXPECT_EQ(part(log(0x06, 564), 4, 28), (Bytes{0x27, 5, 0x0F, 0, 0, 0, 0, 0, 0, 0,    0, 0, 1, 0, 0, 0,  //
                                                  101,  0, 0,    0, 0, 0, 0, 0, 2, 0x81, 0, 0}));
}

}  // namespace
