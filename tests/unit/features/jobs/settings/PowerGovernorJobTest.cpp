#include <gtest/gtest.h>

#include <cerrno>

#include "features/jobs/settings/PowerGovernorJob.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/SetCommands.h"
#include "tests/unit/features/jobs/SetRun.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;

std::string set(const std::string& text, FakeDrive& drive) {
    PowerGovernorJob job;
    return setText(job, "PowerGovernorMode", text, drive);
}

/// Power states 0 to 2, of which the drive works in 0 and 1.
DriveBytes threeStates() {
    return identifyController().byte(263, 2).byte(2048 + 2 * 32 + 3, 0x02);
}

TEST(PowerGovernorJob, SetsThePowerStateAndKeepsTheRest) {
    FakeDrive high;
    high.expect(identify(1).answers(threeStates()))
        .expect(getFeature(0x02).completes(0xFFFFFFFF))
        .expect(setFeature(0x02, 0xFFFFFFE0).completes())
        .expect(getFeature(0x02).completes(0xFFFFFFE0));
    EXPECT_EQ(set("0", high), UNTIL_RESET);
    FakeDrive medium;
    medium.expect(identify(1).answers(threeStates()))
        .expect(getFeature(0x02).completes(0x00000040))
        .expect(setFeature(0x02, 0x00000041).completes())
        .expect(getFeature(0x02).completes(0x00000041));
    EXPECT_EQ(set("1", medium), UNTIL_RESET);
    FakeDrive low;
    low.expect(identify(1).answers(identifyController().byte(263, 4)))
        .expect(getFeature(0x02).completes(0x00000000))
        .expect(setFeature(0x02, 0x00000002).completes())
        .expect(getFeature(0x02).completes(0x00000002));
    EXPECT_EQ(set("2", low), UNTIL_RESET);
}

TEST(PowerGovernorJob, RefusesAModeThatTheDriveDoesNotHave) {
    FakeDrive notWorking;
    notWorking.expect(identify(1).answers(threeStates()));
    EXPECT_EQ(
        set("2", notWorking),
        "10/18 Invalid power mode given. Valid modes are 0 1 and 2. Drive S1 (/dev/nvme0) has no power state 2 in "
        "which it works: it takes 0 or 1.");
    FakeDrive oneState;
    oneState.expect(identify(1).answers(identifyController()));
    EXPECT_EQ(
        set("1", oneState),
        "10/18 Invalid power mode given. Valid modes are 0 1 and 2. Drive S1 (/dev/nvme0) has no power state 1 in "
        "which it works: it takes 0.");
    FakeDrive any;
    EXPECT_EQ(set("3", any),
              "10/18 Invalid power mode given. Valid modes are 0 1 and 2. PowerGovernorMode must be a number from 0 to "
              "2, not '3'.");
    PowerGovernorJob job;
    EXPECT_EQ(setText(job, "PowerGovernorBurstPower", "1", any),
              "10/36 Invalid property specified. PowerGovernorBurstPower cannot be set.");
}

TEST(PowerGovernorJob, SetsTheMakersFeatureOnTheMakersDrive) {
    FakeDrive maker;  // the limits beside the mode are not written back
    expectSet(velko(maker).expect(withoutList()).expect(ocpLog().refuses(0x4109)), 0xC6, 0x00120E01, 0x00000002,
              0x000C0A02, true);
    EXPECT_EQ(set("2", maker), UNTIL_RESET);
    FakeDrive old;
    velko(old).expect(withoutList()).expect(ocpLog().refuses(0x4109)).expect(getFeature(0xC6).refuses(0x4002));
    EXPECT_EQ(set("0", old),
              "10/3 The selected drive does not support this feature. Get Features failed on drive S1 (/dev/nvme0): "
              "Invalid Field in Command (status code type 0x0, status code 0x02, opcode 0x0A).");
    FakeDrive both;  // C6h is OCP's there: what is left is the standard's feature
    velko(both)
        .expect(identify(1).answers(threeStates()))
        .expect(ocpLog().answers(ocpSmart()))
        .expect(getFeature(0x02).completes(0))
        .expect(setFeature(0x02, 1).completes())
        .expect(getFeature(0x02).completes(1));
    EXPECT_EQ(set("1", both), UNTIL_RESET);
}

TEST(PowerGovernorJob, ReportsARefusalAndADriveThatIsGone) {
    FakeDrive refusing;
    refusing.expect(identify(1).answers(threeStates()))
        .expect(getFeature(0x02).completes(0))
        .expect(setFeature(0x02, 1).refuses(0x4002));
    EXPECT_EQ(set("1", refusing),
              "0/25 Set Features failed on drive S1 (/dev/nvme0): Invalid Field in Command (status code type 0x0, "
              "status code 0x02, opcode 0x09).");
    FakeDrive gone;
    gone.expect(identify(1).breaks(Status(CATEGORY_CORE, 70, "The drive /dev/nvme0 is gone.")));
    EXPECT_EQ(set("1", gone), "0/70 The drive /dev/nvme0 is gone.");
}

TEST(PowerGovernorJob, NothingIsSetOnAnUnpluggedDrive) {
    constexpr char UNPLUGGED[] = "0/70 The drive /dev/nvme0 is gone.";
    expectUnplugged<FakeDrive>(
        {identify(1).answers(threeStates()), getFeature(0x02), setFeature(0x02, 1), getFeature(0x02)}, UNPLUGGED,
        [](FakeDrive& drive) { return set("1", drive); });
    expectUnplugged<FakeDrive>(
        {withoutList(), ocpLog().refuses(0x4109), getFeature(0xC6), setFeature(0xC6, 1), getFeature(0xC6)}, UNPLUGGED,
        [](FakeDrive& drive) { return set("1", velko(drive)); });
}

TEST(PowerGovernorJob, ADriveThatWorksInNoStateTakesNone) {
    FakeDrive drive;
    drive.expect(identify(1).answers(identifyController().byte(2048 + 3, 0x02)));
    EXPECT_EQ(
        set("0", drive),
        "10/18 Invalid power mode given. Valid modes are 0 1 and 2. Drive S1 (/dev/nvme0) has no power state 0 in "
        "which it works.");
}

}  // namespace
}  // namespace features::jobs
