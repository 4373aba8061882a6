#include <gtest/gtest.h>

#include <string>

#include "features/jobs/settings/FeatureSetting.h"
#include "features/nvme/VelkoFeatures.h"
#include "tests/support/StatusText.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/SetCommands.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using ostrel::core::Status;

constexpr char OTHERS_DIFFER[] =
    "0/0 It holds until the next controller reset: saving it would also save other fields of this feature, which have "
    "values that are not saved.";
constexpr char SAVED[] = "0/0 ";
// Capabilities.
constexpr uint32_t SAVEABLE = 0x1;
constexpr uint32_t CHANGEABLE = 0x4;
constexpr uint16_t INVALID_FIELD = 0x4002;
constexpr uint16_t NOT_SAVEABLE = 0x410D;

/// Interrupt Coalescing, of which the time is bits 15:8 and the threshold bits 7:0.
std::string setTime(FakeDrive& drive, uint32_t value) {
    nvme::Drive opened(*drive.device());
    return statusText(setFeatureField(opened, settableField(nvme::findFeatureField("AggregationTime")), value));
}

FakeDrive& withSave(FakeDrive& drive, uint32_t current, uint32_t capabilities) {
    return drive.expect(getFeature(0x08).completes(current))
        .expect(identify(0x01).answers(identifyController().le16(520, 0x0010)))
        .expect(getFeature(0x08, 3).completes(capabilities));
}

TEST(FeatureSetting, SavesWhatTheDriveCanSave) {
    FakeDrive drive;
    withSave(drive, 0x0207, SAVEABLE | CHANGEABLE)
        .expect(getFeature(0x08, 2).completes(0x0107))
        .expect(setFeature(0x08, 0x0907, true).completes())
        .expect(getFeature(0x08).completes(0x0907))
        .expect(getFeature(0x08, 2).completes(0x0907));
    EXPECT_EQ(setTime(drive, 9), SAVED) << "the field itself may differ from its saved value";
}

TEST(FeatureSetting, NeverSavesAnotherFieldWhoseSavedValueDiffers) {
    FakeDrive drive;
    withSave(drive, 0x0207, SAVEABLE | CHANGEABLE)
        .expect(getFeature(0x08, 2).completes(0x0206))
        .expect(setFeature(0x08, 0x0907).completes())
        .expect(getFeature(0x08).completes(0x0907));
    EXPECT_EQ(setTime(drive, 9), OTHERS_DIFFER);
}

TEST(FeatureSetting, SaysHowLongAValueHoldsThatIsNotSaved) {
    FakeDrive old;
    expectSet(old, 0x08, 0x0207, 0x0907, 0x0907);
    EXPECT_EQ(setTime(old, 9), UNTIL_RESET) << "a controller without Save is not asked what it could save";
    FakeDrive notSaveable;
    withSave(notSaveable, 0x0207, CHANGEABLE)
        .expect(setFeature(0x08, 0x0907).completes())
        .expect(getFeature(0x08).completes(0x0907));
    EXPECT_EQ(setTime(notSaveable, 9), UNTIL_RESET);
    FakeDrive silent;
    silent.expect(getFeature(0x08).completes(0x0207))
        .expect(identify(0x01).answers(identifyController().le16(520, 0x0010)))
        .expect(getFeature(0x08, 3).refuses(INVALID_FIELD))
        .expect(setFeature(0x08, 0x0907).completes())
        .expect(getFeature(0x08).completes(0x0907));
    EXPECT_EQ(setTime(silent, 9), UNTIL_RESET) << "it refuses to report its capabilities";
    FakeDrive secretive;
    withSave(secretive, 0x0207, SAVEABLE | CHANGEABLE)
        .expect(getFeature(0x08, 2).refuses(INVALID_FIELD))
        .expect(setFeature(0x08, 0x0907).completes())
        .expect(getFeature(0x08).completes(0x0907));
    EXPECT_EQ(setTime(secretive, 9), UNTIL_RESET) << "it refuses to report its saved value";
}

TEST(FeatureSetting, SetsWithoutSavingWhatIsSaveableInNameAlone) {
    FakeDrive refusing;
    withSave(refusing, 0x0207, SAVEABLE | CHANGEABLE)
        .expect(getFeature(0x08, 2).completes(0x0207))
        .expect(setFeature(0x08, 0x0907, true).refuses(NOT_SAVEABLE))
        .expect(setFeature(0x08, 0x0907).completes())
        .expect(getFeature(0x08).completes(0x0907));
    EXPECT_EQ(setTime(refusing, 9), UNTIL_RESET);
    FakeDrive forgetting;
    withSave(forgetting, 0x0207, SAVEABLE | CHANGEABLE)
        .expect(getFeature(0x08, 2).completes(0x0207))
        .expect(setFeature(0x08, 0x0907, true).completes())
        .expect(getFeature(0x08).completes(0x0907))
        .expect(getFeature(0x08, 2).completes(0x0207));
    EXPECT_EQ(setTime(forgetting, 9), UNTIL_RESET) << "it accepts the save and keeps the old saved value";
    FakeDrive secretive;
    withSave(secretive, 0x0207, SAVEABLE | CHANGEABLE)
        .expect(getFeature(0x08, 2).completes(0x0207))
        .expect(setFeature(0x08, 0x0907, true).completes())
        .expect(getFeature(0x08).completes(0x0907))
        .expect(getFeature(0x08, 2).refuses(INVALID_FIELD));
    EXPECT_EQ(setTime(secretive, 9), UNTIL_RESET) << "it accepts the save and refuses to report what is saved";
}

TEST(FeatureSetting, AValueThatReadsDifferentlyIsAFailureThatNamesBoth) {
    FakeDrive drive;
    expectSet(drive, 0x08, 0x0207, 0x0907, 0x0807);
    EXPECT_EQ(setTime(drive, 9),
              "10/164 Configuration update failed. Drive S1 (/dev/nvme0) accepted AggregationTime 9 units of 100 "
              "microseconds and reports 8 units of 100 microseconds.");
    FakeDrive warm;
    expectSet(warm, 0x04, 0x0157, 0x0143, 0x0157);
    nvme::Drive opened(*warm.device());
    EXPECT_EQ(
        statusText(setFeatureField(opened, settableField(nvme::findFeatureField("TempThreshold")), 0x0143)),
        "10/164 Configuration update failed. Drive S1 (/dev/nvme0) accepted TempThreshold 50 C and reports 70 C.");
    FakeDrive ocp;
    expectSet(ocp, 0xC6, 15, 0x001E0000, 15);
    nvme::Drive openedOcp(*ocp.device());
    EXPECT_EQ(
        statusText(setFeatureField(openedOcp, settableOcpField(0xC6, 0), 30)),
        "10/164 Configuration update failed. Drive S1 (/dev/nvme0) accepted PLPCheckInterval 30 minutes and reports "
        "15 minutes.");
}

TEST(FeatureSetting, OtherFieldsThatChangedMeanwhileAreNoFailure) {
    FakeDrive drive;
    expectSet(drive, 0x08, 0x0207, 0x0907, 0x0903);
    EXPECT_EQ(setTime(drive, 9), UNTIL_RESET);
}

TEST(FeatureSetting, WritesNothingThatCannotBeChanged) {
    FakeDrive fixed;
    withSave(fixed, 0x0207, SAVEABLE);
    EXPECT_EQ(setTime(fixed, 9),
              "10/3 The selected drive does not support this feature. Interrupt Coalescing of drive S1 (/dev/nvme0) "
              "cannot be changed.");
    FakeDrive any;
    EXPECT_EQ(setTime(any, 256), "0/14 Request is out of bounds.");
}

TEST(FeatureSetting, AReadThatFailsEndsTheSetWithItsStatus) {
    const std::string lost = "0/70 The drive /dev/nvme0 is gone.";
    FakeDrive beforeCapabilities;
    beforeCapabilities.expect(getFeature(0x08).completes(0x0207))
        .expect(identify(0x01).answers(identifyController().le16(520, 0x0010)))
        .expect(getFeature(0x08, 3).breaks(gone()));
    EXPECT_EQ(setTime(beforeCapabilities, 9), lost);
    FakeDrive beforeSaved;
    withSave(beforeSaved, 0x0207, SAVEABLE | CHANGEABLE).expect(getFeature(0x08, 2).breaks(gone()));
    EXPECT_EQ(setTime(beforeSaved, 9), lost);
    FakeDrive afterSet;
    afterSet.expect(getFeature(0x08).completes(0x0207))
        .expect(identify(0x01).answers(identifyController()))
        .expect(setFeature(0x08, 0x0907).completes())
        .expect(getFeature(0x08).breaks(gone()));
    EXPECT_EQ(setTime(afterSet, 9), lost);
    FakeDrive afterSave;
    withSave(afterSave, 0x0207, SAVEABLE | CHANGEABLE)
        .expect(getFeature(0x08, 2).completes(0x0207))
        .expect(setFeature(0x08, 0x0907, true).completes())
        .expect(getFeature(0x08).completes(0x0907))
        .expect(getFeature(0x08, 2).breaks(gone()));
    EXPECT_EQ(setTime(afterSave, 9), lost);
}

TEST(FeatureSetting, SaysOfWhatLinuxSetsThatItIsSetAgainEvenWhereItIsSaved) {
    FakeDrive drive;
    drive.expect(getFeature(0x0B).completes(0x0100))
        .expect(identify(0x01).answers(identifyController().le16(520, 0x0010)))
        .expect(getFeature(0x0B, 3).completes(SAVEABLE | CHANGEABLE))
        .expect(getFeature(0x0B, 2).completes(0x0100))
        .expect(setFeature(0x0B, 0x0500, true).completes())
        .expect(getFeature(0x0B).completes(0x0500))
        .expect(getFeature(0x0B, 2).completes(0x0500));
    nvme::Drive opened(*drive.device());
    const auto field = settableField(nvme::findFeatureField("TelemetryLogNoticesConfiguration"));
    EXPECT_EQ(statusText(setFeatureField(opened, field, 1)), UNTIL_LINUX);
}

TEST(FeatureSetting, SaysNothingOfAFeatureThatKeepsItsValueByItself) {
    FakeDrive drive;
    expectSet(drive, 0xC9, 0x00328822, 0x01328822, 0x01328822);
    nvme::Drive opened(*drive.device());
    EXPECT_EQ(statusText(setFeatureField(opened, settableField(nvme::findVelkoFeatureField("IdleState")), 1)), SAVED);
}

TEST(FeatureSetting, BitsThatAreNotKeptCountNeitherInWhatIsWrittenNorInWhatIsSaved) {
    FakeDrive drive;
    drive.expect(getFeature(0xC6).completes(0x00120E01))
        .expect(identify(0x01).answers(identifyController().le16(520, 0x0010)))
        .expect(getFeature(0xC6, 3).completes(SAVEABLE | CHANGEABLE))
        .expect(getFeature(0xC6, 2).completes(0x00191400))
        .expect(setFeature(0xC6, 2, true).completes())
        .expect(getFeature(0xC6).completes(0x000C0A02))
        .expect(getFeature(0xC6, 2).completes(0x000C0A02));
    nvme::Drive opened(*drive.device());
    EXPECT_EQ(
        statusText(setFeatureField(opened, settableField(nvme::findVelkoFeatureField("PowerGovernorMode"), 0), 2)),
        SAVED);
}

TEST(FeatureSetting, OfAnUnpluggedDriveNothingIsSaidToHold) {
    const Script saved{
        getFeature(0x08).completes(0x0207),
        identify(0x01).answers(identifyController().le16(520, 0x0010)),
        getFeature(0x08, 3).completes(SAVEABLE | CHANGEABLE),
        getFeature(0x08, 2).completes(0x0107),
        setFeature(0x08, 0x0907, true),
        getFeature(0x08).completes(0x0907),
        getFeature(0x08, 2),
    };
    Script notSaved(saved.begin(), saved.begin() + 4);
    notSaved.push_back(setFeature(0x08, 0x0907, true).refuses(NOT_SAVEABLE));
    notSaved.push_back(setFeature(0x08, 0x0907));
    notSaved.push_back(getFeature(0x08));
    const auto run = [](FakeDrive& drive) { return setTime(drive, 9); };
    expectUnplugged<FakeDrive>(saved, "0/70 The drive /dev/nvme0 is gone.", run);
    expectUnplugged<FakeDrive>(notSaved, "0/70 The drive /dev/nvme0 is gone.", run, 4);
}

TEST(FeatureSetting, ARefusalToSaveIsOneWhereTheValueIsRefusedToo) {
    FakeDrive drive;
    withSave(drive, 0x0207, SAVEABLE | CHANGEABLE)
        .expect(getFeature(0x08, 2).completes(0x0107))
        .expect(setFeature(0x08, 0x0907, true).refuses(NOT_SAVEABLE))
        .expect(setFeature(0x08, 0x0907).refuses(INVALID_FIELD));
    EXPECT_EQ(setTime(drive, 9),
              "0/25 Set Features failed on drive S1 (/dev/nvme0): Invalid Field in Command (status code type 0x0, "
              "status code 0x02, opcode 0x09).");
}

}  // namespace
}  // namespace features::jobs
