#include <gtest/gtest.h>

#include "features/jobs/drive/AtaHealth.h"
#include "tests/support/StatusText.h"
#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/unit/features/jobs/SataCommands.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using Health = ata::Drive::Health;
using ostrel::core::Status;

void expectHealth(FakeSataDrive& fake, Health health, const std::string& text) {
    ata::Drive drive(*fake.device());
    const auto read = readAtaHealth(drive);
    ASSERT_EQ(statusText(read), "0/0 Completed successfully.");
    EXPECT_EQ(read->health, health);
    EXPECT_EQ(read->text, text);
}

TEST(AtaHealth, IsWhatTheDriveReturns) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice())).expect(smartStatus(SMART_GOOD));
    expectHealth(fake, Health::GOOD, "Healthy");
}

TEST(AtaHealth, NamesTheAttributesOfADriveThatIsFailing) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice()))
        .expect(smartStatus(SMART_EXCEEDED))
        .expect(smartPage(0xD0).answers(smartData(10)))
        .expect(smartPage(0xD1).answers(smartThresholds()));
    expectHealth(fake, Health::THRESHOLD_EXCEEDED,
                 "The drive reports that it is failing (SMART threshold exceeded). Attributes at or below their "
                 "threshold: 5 (Reallocated Sector Count).");
}

TEST(AtaHealth, ADriveThatIsFailingIsOneWithoutItsAttributes) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice()))
        .expect(smartStatus(SMART_EXCEEDED))
        .expect(smartPage(0xD0).aborts(ata::ERROR_UNCORRECTABLE));
    expectHealth(fake, Health::THRESHOLD_EXCEEDED,
                 "The drive reports that it is failing (SMART threshold exceeded). SMART READ DATA failed on drive S1 "
                 "(/dev/sda): uncorrectable data (command 0xB0, FEATURE 0xD0, ERROR 0x40, STATUS 0x51).");
}

TEST(AtaHealth, IsJudgedByAttributesWhereTheStatusDoesNotCome) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice()))
        .expect(smart(0xDA).wantsRegisters().lacksRegisters(ata::RegistersMissing::NO_DESCRIPTOR))
        .expect(smartPage(0xD0).answers(smartData()))
        .expect(smartPage(0xD1).answers(smartThresholds()));
    expectHealth(fake, Health::GOOD,
                 "Healthy by its attributes. The SMART status cannot be read over this connection.");

    FakeSataDrive worn;
    worn.expect(identifyAta().answers(identifyDevice()))
        .expect(smart(0xDA).wantsRegisters().lacksRegisters(ata::RegistersMissing::NO_SENSE))
        .expect(smartPage(0xD0).answers(smartData(9)))
        .expect(smartPage(0xD1).answers(smartThresholds()));
    expectHealth(worn, Health::THRESHOLD_EXCEEDED,
                 "The SMART status cannot be read over this connection. Attributes at or below their threshold: 5 "
                 "(Reallocated Sector Count).");
}

TEST(AtaHealth, IsNotKnownWithoutStatusAndThresholds) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice()))
        .expect(smart(0xDA).wantsRegisters().lacksRegisters(ata::RegistersMissing::NO_DESCRIPTOR))
        .expect(smartPage(0xD0).answers(smartData(1)))
        .expect(smartPage(0xD1).aborts());
    ata::Drive drive(*fake.device());
    const auto unknown = readAtaHealth(drive);
    EXPECT_EQ(statusText(unknown),
              "10/33 Failed to retrieve data from selected device. The SMART status cannot be read over this "
              "connection. Drive S1 (/dev/sda) gives no thresholds of its attributes to judge it by.");
    EXPECT_TRUE(isRefusal(unknown.error()));
}

/// A refusal is one of the drive, whichever command it was for: more may be asked of the drive.
TEST(AtaHealth, IsNotKnownWithoutStatusAndAttributes) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice()))
        .expect(smart(0xDA).wantsRegisters().lacksRegisters(ata::RegistersMissing::NO_DESCRIPTOR))
        .expect(smartPage(0xD0).aborts());
    ata::Drive drive(*fake.device());
    const auto unknown = readAtaHealth(drive);
    EXPECT_EQ(statusText(unknown).substr(0, 27), "0/10 SMART READ DATA failed");
    EXPECT_TRUE(isRefusal(unknown.error()));
}

TEST(AtaHealth, ADriveThatReturnsNonsenseIsNotCalledHealthyByIt) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice()))
        .expect(smartStatus(0x0000))
        .expect(smartPage(0xD0).answers(smartData()))
        .expect(smartPage(0xD1).answers(smartThresholds()));
    expectHealth(fake, Health::GOOD,
                 "Healthy by its attributes. The drive returned a SMART status that has no meaning.");
}

TEST(AtaHealth, NamesTheStateOfSecurity) {
    FakeSataDrive locked;
    locked.expect(identifyAta().answers(identifyDevice().word(128, 0x0007))).expect(smartStatus(SMART_GOOD));
    expectHealth(locked, Health::GOOD, "The drive is locked by ATA security.");
    FakeSataDrive frozen;
    frozen.expect(identifyAta().answers(identifyDevice().word(128, 0x0009))).expect(smartStatus(SMART_GOOD));
    expectHealth(frozen, Health::GOOD, "Healthy (ATA security is frozen)");
}

TEST(AtaHealth, IsNotKnownWithoutAnAnswer) {
    FakeSataDrive disabled;
    disabled.expect(identifyAta().answers(identifyDevice().word(85, 0x0020)));
    ata::Drive drive(*disabled.device());
    const auto unknown = readAtaHealth(drive);
    EXPECT_EQ(statusText(unknown), "10/60 SMART is not enabled. (drive S1 (/dev/sda))");
    EXPECT_TRUE(isRefusal(unknown.error()));

    FakeSataDrive gone;
    gone.expect(identifyAta().answers(identifyDevice()))
        .expect(smart(0xDA).wantsRegisters().breaks(Status(0, 69, "slow")));
    ata::Drive lost(*gone.device());
    const auto error = readAtaHealth(lost);
    EXPECT_EQ(statusText(error), "0/69 slow");
    EXPECT_FALSE(isRefusal(error.error()));
}

std::string healthOf(const FakeSataDrive& fake) {
    ata::Drive drive(*fake.device());
    return statusText(readAtaHealth(drive));
}

TEST(AtaHealth, OfAnUnpluggedDriveIsNotKnown) {
    constexpr char UNPLUGGED[] = "0/70 The drive /dev/nvme0 is gone.";
    const Expected lost = smart(0xDA).wantsRegisters().lacksRegisters(ata::RegistersMissing::NO_DESCRIPTOR);
    for (const Expected& status : {lost, smartStatus(0x0000)}) {
        const Script script{identifyAta().answers(identifyDevice()), status, smartPage(0xD0).answers(smartData()),
                            smartPage(0xD1)};
        expectUnplugged<FakeSataDrive>(script, UNPLUGGED, healthOf);
    }
}

TEST(AtaHealth, AStatusWithoutMeaningIsNoneWhereTheAttributesAreRefused) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice()))
        .expect(smartStatus(0x0000))
        .expect(smartPage(0xD0).answers(smartData()))
        .expect(smartPage(0xD1).aborts());
    EXPECT_EQ(healthOf(fake),
              "10/33 Failed to retrieve data from selected device. The drive returned a SMART status that has no "
              "meaning. Drive S1 (/dev/sda) gives no thresholds of its attributes to judge it by.");
}

TEST(AtaHealth, NamesAllAttributesThatAreFailing) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice()))
        .expect(smartStatus(SMART_EXCEEDED))
        .expect(smartPage(0xD0).answers(smartData(10).put(26, {0x0A, 0x33, 0x00, 5, 5})))
        .expect(smartPage(0xD1).answers(smartThresholds().put(14, {0x0A, 5})));
    expectHealth(fake, Health::THRESHOLD_EXCEEDED,
                 "The drive reports that it is failing (SMART threshold exceeded). Attributes at or below their "
                 "threshold: 5 (Reallocated Sector Count), 10 (Vendor specific 10).");
    FakeSataDrive unsaid;
    unsaid.expect(identifyAta().answers(identifyDevice()))
        .expect(smartStatus(SMART_EXCEEDED))
        .expect(smartPage(0xD0).answers(smartData()))
        .expect(smartPage(0xD1).aborts());
    expectHealth(unsaid, Health::THRESHOLD_EXCEEDED,
                 "The drive reports that it is failing (SMART threshold exceeded).");
}

}  // namespace
}  // namespace features::jobs
