#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "features/ata/Drive.h"
#include "features/nvme/NvmeCommand.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/CommandResult.h"
#include "tests/support/StatusText.h"
#include "tests/support/fakedrive/FakeDrive.h"

namespace features::ata {
namespace {

using fakedrive::DriveBytes;
using fakedrive::Expected;
using fakedrive::FakeSataDrive;
using fakedrive::identifyAta;
using fakedrive::identifyDevice;
using fakedrive::logExt;
using fakedrive::smartLogPage;
using fakedrive::smartPage;
using ostrel::core::CommandResult;
using ostrel::core::Status;

constexpr const char* SUCCESS = "0/0 Completed successfully.";

Expected smartStatus() {
    return Expected::ata(0xB0, Protocol::NON_DATA, Addressing::BITS_28).feature(0xDA).lba(0xC24F00);
}

TEST(AtaDrive, IsNamedBySerialNumberAndNode) {
    FakeSataDrive fake("SN7", "/dev/sdc");
    EXPECT_EQ(Drive(*fake.device()).name(), "SN7 (/dev/sdc)");
}

TEST(AtaDrive, NeverSeesACommandOfNvme) {
    FakeSataDrive fake;
    CommandResult result;
    fake.device()->sendCommand(nvme::NvmeCommand(nvme::Queue::ADMIN, 0x06, "Identify"), result);
    EXPECT_EQ(statusText(result.status), "0/35 Device does not support this command set.");
}

TEST(AtaDrive, SendsACommandWhole) {
    FakeSataDrive fake;
    fake.expect(Expected::ata(0x06, Protocol::DMA_OUT, Addressing::BITS_48)
                    .feature(0x0001)
                    .count(1)
                    .writes(DriveBytes(512).le64(0, 0x0008000000001000))
                    .timeoutMs(30000));
    AtaCommand command(commands::dataSetManagement);
    command.count = 1;
    command.dataLength = 512;
    const auto answer = Drive(*fake.device()).send(command, DriveBytes(512).le64(0, 0x0008000000001000).payload());
    ASSERT_EQ(statusText(answer), SUCCESS);
    EXPECT_EQ(answer->data.getSize(), 0U);
}

TEST(AtaDrive, ReportsAFailureWithAllThatIsKnownOfIt) {
    FakeSataDrive fake;
    fake.expect(smartStatus().aborts())
        .expect(smartStatus().lacksRegisters(RegistersMissing::NO_SENSE, false))
        .expect(smartStatus().breaks(Status(0, 69, "slow")));
    Drive drive(*fake.device());
    const auto aborted = drive.send(AtaCommand(commands::smartReturnStatus));
    EXPECT_EQ(statusText(aborted),
              "0/10 SMART RETURN STATUS failed on drive S1 (/dev/sda): command aborted (command 0xB0, FEATURE 0xDA, "
              "ERROR 0x04, STATUS 0x51).");
    ASSERT_TRUE(aborted.error().isOfDrive());
    EXPECT_EQ(aborted.error().result->whole()->error, 0x04);
    EXPECT_EQ(statusText(drive.send(AtaCommand(commands::smartReturnStatus))),
              "0/10 SMART RETURN STATUS failed on drive S1 (/dev/sda): no registers: no sense data (command 0xB0, "
              "FEATURE 0xDA).");
    const auto broken = drive.send(AtaCommand(commands::smartReturnStatus));
    EXPECT_EQ(statusText(broken), "0/69 slow");
    EXPECT_FALSE(broken.error().isOfDrive());
}

TEST(AtaDrive, ReturnsRegistersOnlyWhenAllAreThere) {
    Registers registers;
    registers.status = 0x50;
    registers.lba = 0x2CF400;
    FakeSataDrive fake;
    fake.expect(smartStatus().wantsRegisters().returns(registers))
        .expect(smartStatus().wantsRegisters().lacksRegisters(RegistersMissing::DESCRIPTOR_TOO_SHORT));
    Drive drive(*fake.device());
    const auto returned = drive.sendForRegisters(AtaCommand(commands::smartReturnStatus));
    ASSERT_EQ(statusText(returned), SUCCESS);
    EXPECT_EQ(returned->lba, 0x2CF400U);
    EXPECT_EQ(statusText(drive.sendForRegisters(AtaCommand(commands::smartReturnStatus))),
              "0/16 Not enough sense data for ATA return descriptor when attempting to get returned task file. (SMART "
              "RETURN STATUS on drive S1 (/dev/sda))");
}

TEST(AtaDrive, SendsNothingThatDoesNotFitTheRegisters) {
    FakeSataDrive fake;
    AtaCommand command(commands::checkPowerMode);
    command.count = 0x100;
    EXPECT_EQ(statusText(Drive(*fake.device()).send(command)), "0/14 Request is out of bounds.");
}

TEST(AtaDrive, ReportsLessDataThanWasAskedFor) {
    FakeSataDrive fake;
    fake.expect(Expected::ata(0xEC, Protocol::PIO_IN, Addressing::BITS_28).reads(512).answers(DriveBytes(256)));
    AtaCommand command(commands::identifyDevice);
    command.dataLength = 512;
    EXPECT_EQ(statusText(Drive(*fake.device()).send(command)),
              "10/33 Failed to retrieve data from drive S1 (/dev/sda): IDENTIFY DEVICE returned less than was asked "
              "for.");
}

/// The index of log 07h has 16 bits, and a page 19 self-tests.
TEST(AtaDrive, ReadsNoMoreOfTheSelfTestsThanTheirIndexCanName) {
    constexpr uint16_t PAGES = 3450;
    constexpr uint16_t LAST_PIECE = 3328;
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice())).expect(logExt(0x00).answers(DriveBytes(512).le16(14, 0xFFFF)));
    for (uint16_t page = 0; page < LAST_PIECE; page = static_cast<uint16_t>(page + 256))
        fake.expect(logExt(0x07, page, 256).answers(DriveBytes(256 * 512)));
    fake.expect(logExt(0x07, LAST_PIECE, PAGES - LAST_PIECE).answers(DriveBytes((PAGES - LAST_PIECE) * 512)));
    const auto tests = Drive(*fake.device()).selfTests();
    ASSERT_EQ(statusText(tests), SUCCESS);
    EXPECT_TRUE(tests->empty());
}

/// Carries out every command, and notes which the selected drive alone may get.
class NotingPath : public ostrel::core::CommandPath {
public:
    using Notes = std::vector<std::string>;
    explicit NotingPath(std::shared_ptr<Notes> notes) : CommandPath("Noting", 1), notes_(std::move(notes)) {}
    std::unique_ptr<CommandPath> clone() const override { return std::make_unique<NotingPath>(*this); }
    bool isSupported(const ostrel::core::AttributeList&) const override { return true; }
    CommandResult send(const ostrel::core::Command& command, const ostrel::core::Payload&,
                       const ostrel::core::AttributeList&) override {
        const auto& sent = dynamic_cast<const AtaCommand&>(command);
        notes_->push_back((sent.needsSelectedDrive() ? "selected: " : "any: ") + sent.getName());
        CommandResult result;
        result.status = failure;
        result.protocolResult = std::make_unique<AtaResult>(Registers{0, 0x50, 0x40, 0, 0});
        if (sent.readsData()) result.inputPayload = DriveBytes(sent.dataLength).payload();
        return result;
    }
    static inline Status failure;

private:
    std::shared_ptr<Notes> notes_;
};

TEST(AtaDrive, AfterAChangeOnlyTheSelectedDriveIsAsked) {
    const Status success;
    for (const Status& ended : {success, Status(0, 70, "gone"), Status(10, 34, "in an enclosure")}) {
        SCOPED_TRACE(ended.getMessage());
        const auto notes = std::make_shared<NotingPath::Notes>();
        ostrel::core::Device device;
        device.addCommandPath(NotingPath(notes));
        device.addCommandSet(COMMAND_SET_ATA, "Noting");
        Drive drive(device);
        EXPECT_EQ(statusText(drive.identify()), SUCCESS);
        EXPECT_EQ(statusText(drive.sanitizeState()), SUCCESS);
        NotingPath::failure = ended;
        EXPECT_EQ(statusText(drive.send(AtaCommand(commands::blockEraseExt))), statusText(ended));
        NotingPath::failure = success;
        EXPECT_EQ(statusText(drive.sanitizeState()), SUCCESS);
        EXPECT_EQ(statusText(drive.identifyAgain()), SUCCESS);
        const std::string after = ended.getCategory() == 10 ? "any: " : "selected: ";
        EXPECT_EQ(*notes,
                  (NotingPath::Notes{"any: IDENTIFY DEVICE", "any: SANITIZE STATUS EXT", "selected: BLOCK ERASE EXT",
                                     after + "SANITIZE STATUS EXT", after + "IDENTIFY DEVICE"}));
    }
}

TEST(AtaDrive, AsksForItsIdentityOnceUnlessItIsAskedAgain) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice()));
    Drive drive(*fake.device());
    const auto identity = drive.identify();
    ASSERT_EQ(statusText(identity), SUCCESS);
    EXPECT_EQ((*identity)->serialNumber(), "S1");
    EXPECT_EQ(statusText(drive.identify()), SUCCESS);
    EXPECT_EQ(drive.identifyData()->getSize(), 512U);
    fake.expectDone();
    fake.expect(identifyAta().answers(identifyDevice().word(128, 0x0009)));
    const auto again = drive.identifyAgain();
    ASSERT_EQ(statusText(again), SUCCESS);
    EXPECT_TRUE((*again)->has(identify::SECURITY_FROZEN));
    fake.expectDone();
    fake.expect(identifyAta().answers(identifyDevice().word(0, 0x8580)));
    EXPECT_EQ(statusText(drive.identifyAgain()),
              "10/33 What drive S1 (/dev/sda) returned for IDENTIFY DEVICE is not the identity of an ATA drive.");
}

TEST(AtaDrive, ReadsTheDirectoryOnce) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice()))
        .expect(logExt(0x00).answers(DriveBytes(512).le16(0, 1).le16(2 * 0x04, 8).le16(2 * 0x24, 0x1234)));
    Drive drive(*fake.device());
    EXPECT_EQ(drive.pagesOfLog(0x04).value(), 8);
    EXPECT_EQ(drive.pagesOfLog(0x24).value(), 0x1234);
    EXPECT_EQ(drive.pagesOfLog(0x30).value(), 0);
}

TEST(AtaDrive, WhatCouldNotBeReadIsAskedForAgain) {
    const Status slow(0, 69, "slow");
    FakeSataDrive fake;
    fake.expect(identifyAta().breaks(slow))
        .expect(identifyAta().answers(identifyDevice()))
        .expect(logExt(0x00).breaks(slow))
        .expect(logExt(0x00).answers(DriveBytes(512).le16(2 * 0x04, 8).le16(2 * 0x07, 2)))
        .expect(logExt(0x04).breaks(slow))
        .expect(logExt(0x04).answers(DriveBytes(512).byte(8, 2).put(9, {0x00, 0x05})))
        .expect(logExt(0x04, 0x05).breaks(slow))
        .expect(logExt(0x04, 0x05).answers(DriveBytes(512).byte(2, 5)))
        .expect(logExt(0x07, 0, 2).breaks(slow));
    Drive drive(*fake.device());
    for (int i = 0; i < 4; ++i) EXPECT_EQ(statusText(drive.readListedPage(0x04, 0x05)), "0/69 slow") << i;
    const auto page = drive.readListedPage(0x04, 0x05);
    ASSERT_EQ(statusText(page), SUCCESS);
    EXPECT_EQ((*page)->getData()[2], 5);
    EXPECT_EQ(statusText(drive.selfTests()), "0/69 slow");
}

TEST(AtaDrive, WithoutItsIdentityAnswersNothing) {
    FakeSataDrive fake;
    for (int i = 0; i < 7; ++i) fake.expect(identifyAta().breaks(Status(0, 69, "slow")));
    Drive drive(*fake.device());
    EXPECT_EQ(statusText(drive.identifyData()), "0/69 slow");
    EXPECT_EQ(statusText(drive.pagesOfLog(0x04)), "0/69 slow");
    EXPECT_EQ(statusText(drive.selfTests()), "0/69 slow");
    EXPECT_EQ(statusText(drive.smartData()), "0/69 slow");
    EXPECT_EQ(statusText(drive.smartThresholds()), "0/69 slow") << "not as if the drive refused them";
    EXPECT_EQ(statusText(drive.smartHealth()), "0/69 slow");
    EXPECT_EQ(statusText(drive.readSmartLog(0x06)), "0/69 slow");
}

TEST(AtaDrive, WithoutTheDirectoryReadsNoSelfTestsOfSmart) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice())).expect(logExt(0x00).aborts());
    EXPECT_EQ(statusText(Drive(*fake.device()).selfTests()),
              "0/10 READ LOG EXT failed on drive S1 (/dev/sda): command aborted (command 0x2F, FEATURE 0x00, ERROR "
              "0x04, STATUS 0x51).");
}

TEST(AtaDrive, ThresholdsThatDoNotComeAreNotRefused) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice())).expect(smartPage(0xD1).breaks(Status(0, 69, "slow")));
    EXPECT_EQ(statusText(Drive(*fake.device()).smartThresholds()), "0/69 slow");
}

TEST(AtaDrive, WithoutGeneralPurposeLogsHasNone) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice().word(84, 0x4102)));
    Drive drive(*fake.device());
    EXPECT_EQ(drive.pagesOfLog(0x04).value(), 0);
    EXPECT_FALSE(drive.readListedPage(0x04, 0x01).value());
}

TEST(AtaDrive, ReadsALogInPiecesThatTheSystemTakes) {
    const Status tooMuch(0, 75, "too much");
    DriveBytes last(44 * 512);
    last.byte(44 * 512 - 1, 0xA9);
    FakeSataDrive fake;
    fake.expect(logExt(0x24, 0x00FF, 172).breaks(tooMuch))
        .expect(logExt(0x24, 0x00FF, 128).answers(DriveBytes(128 * 512)))
        .expect(logExt(0x24, 0x017F, 44).answers(last));
    const auto log = Drive(*fake.device()).readLog(0x24, 0x00FF, 172);
    ASSERT_EQ(statusText(log), SUCCESS);
    ASSERT_EQ(log->getSize(), 172U * 512);
    EXPECT_EQ(log->getData()[172 * 512 - 1], 0xA9);

    fake.expectDone();
    fake.expect(logExt(0x24, 0, 256).answers(DriveBytes(256 * 512))).expect(logExt(0x24, 256, 1).aborts());
    EXPECT_EQ(
        statusText(Drive(*fake.device()).readLog(0x24, 0, 257)),
        "0/10 READ LOG EXT failed on drive S1 (/dev/sda): command aborted (command 0x2F, FEATURE 0x00, ERROR 0x04, "
        "STATUS 0x51).");
    EXPECT_EQ(statusText(Drive(*fake.device()).readLog(0x24, 0xFFFF, 2)), "0/14 Request is out of bounds.");
    EXPECT_EQ(statusText(Drive(*fake.device()).readLog(0x24, 0, 0)), "0/14 Request is out of bounds.");
}

TEST(AtaDrive, ReadsAPageThatTheListHas) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice()))
        .expect(logExt(0x00).answers(DriveBytes(512).le16(2 * 0x04, 8)))
        .expect(logExt(0x04).answers(DriveBytes(512).byte(8, 2).put(9, {0x00, 0x05})))
        .expect(logExt(0x04, 0x05).answers(DriveBytes(512).byte(2, 5)));
    Drive drive(*fake.device());
    EXPECT_FALSE(drive.readListedPage(0x04, 0x07).value());
    EXPECT_EQ(drive.readListedPage(0x04, 0x05).value()->getData()[2], 5);
}

TEST(AtaDrive, ReadsSmartWhereItIsEnabled) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice()))
        .expect(smartPage(0xD0).answers(DriveBytes(512).byte(0, 0x10)))
        .expect(smartPage(0xD1).aborts())
        .expect(smartLogPage(0x06).answers(DriveBytes(512).byte(508, 1)));
    Drive drive(*fake.device());
    EXPECT_EQ(drive.smartData()->getData()[0], 0x10);
    EXPECT_EQ(drive.smartThresholds()->getSize(), 0U) << "obsolete, so a drive may refuse it";
    EXPECT_EQ(drive.readSmartLog(0x06)->getData()[508], 1);

    FakeSataDrive disabled;
    disabled.expect(identifyAta().answers(identifyDevice().word(85, 0x0020)));
    EXPECT_EQ(statusText(Drive(*disabled.device()).smartData()), "10/60 SMART is not enabled. (drive S1 (/dev/sda))");
    FakeSataDrive without;
    without.expect(identifyAta().answers(identifyDevice().word(82, 0x0020)));
    EXPECT_EQ(statusText(Drive(*without.device()).smartHealth()), "10/3 Drive S1 (/dev/sda) does not support SMART.");
}

TEST(AtaDrive, JudgesHealthByTheTwoValuesOfTheStandardAlone) {
    const struct {
        uint64_t lba;
        Drive::Health health;
    } CASES[] = {{0xC24F00, Drive::Health::GOOD},
                 {0x2CF4AA, Drive::Health::THRESHOLD_EXCEEDED},
                 {0x000000, Drive::Health::UNKNOWN},
                 {0xC24E00, Drive::Health::UNKNOWN}};
    for (const auto& row : CASES) {
        Registers registers;
        registers.status = 0x50;
        registers.lba = row.lba;
        FakeSataDrive fake;
        fake.expect(identifyAta().answers(identifyDevice())).expect(smartStatus().wantsRegisters().returns(registers));
        EXPECT_EQ(Drive(*fake.device()).smartHealth().value(), row.health) << row.lba;
    }
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice()))
        .expect(smartStatus().wantsRegisters().lacksRegisters(RegistersMissing::NO_DESCRIPTOR));
    EXPECT_TRUE(Status(Drive(*fake.device()).smartHealth().error()).is(0, 15))
        << "a missing register is no good health";
}

}  // namespace
}  // namespace features::ata
