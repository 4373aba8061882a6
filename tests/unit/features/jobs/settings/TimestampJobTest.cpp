#include <gtest/gtest.h>

#include <cerrno>

#include "features/jobs/settings/TimestampJob.h"
#include "tests/unit/features/jobs/SetCommands.h"
#include "tests/unit/features/jobs/SetRun.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

std::string show(const std::vector<const FakeDrive*>& drives) {
    TimestampJob job;
    return JobRun(job, JOBTYPE_GET_PROPERTIES).on(drives);
}
std::string set(const std::string& text, FakeDrive& drive) {
    TimestampJob job;
    return setText(job, "Timestamp", text, drive);
}

TEST(TimestampJob, ShowsClockOriginSynchAndDate) {
    FakeDrive set;
    // 1,795,200,240,123 ms; set by the host, and it may have stopped.
    set.expect(identify(1).answers(identifyController().le16(520, 0x0040)))
        .expect(getFeature(0x0E, 0, 0, 8).answers({0xFB, 0xC9, 0x45, 0xFA, 0xA1, 0x01, 0x03, 0x00}));
    FakeDrive reset("S2", "/dev/nvme1");
    reset.expect(identify(1).answers(identifyController().le16(520, 0x0040)))
        .expect(getFeature(0x0E, 0, 0, 8).answers({0xE8, 0x03, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(show({&set, &reset}), R"x(0/0
<Object category="Output">
<Object key="S1" name="Timestamp">
<Property description="Timestamp" name="Timestamp" value="1795200240123 milliseconds"/>
<Property description="Timestamp Origin" name="TimestampOrigin" value="set by the host"/>
<Property description="Timestamp Synch" name="TimestampSynch" value="may have stopped at times"/>
<Property name="Date" value="2026-11-20 18:44:00.123 UTC"/>
</Object>
<Object key="S2" name="Timestamp">
<Property description="Timestamp" name="Timestamp" value="1000 milliseconds"/>
<Property description="Timestamp Origin" name="TimestampOrigin" value="cleared by a controller level reset"/>
<Property description="Timestamp Synch" name="TimestampSynch" value="counted without a stop"/>
<Property name="Date" value="not set"/>
</Object>
</Object>)x");
}

TEST(TimestampJob, ShowsTheOthersWhenADriveHasNoneOrIsGone) {
    FakeDrive without;
    without.expect(identify(1).answers(identifyController().le16(520, 0x0040)))
        .expect(getFeature(0x0E, 0, 0, 8).refuses(0x4002));
    FakeDrive gone("S2", "/dev/nvme1");
    gone.expect(identify(1).answers(identifyController().le16(520, 0x0040)))
        .expect(getFeature(0x0E, 0, 0, 8).breaks(Status(CATEGORY_CORE, 70, "The drive /dev/nvme1 is gone.")));
    EXPECT_EQ(show({&without, &gone}), R"x(0/0
<Object category="Output">
<Object category="status" key="S1" name="Timestamp">
<Property name="Category" value="10"/>
<Property name="Code" value="245"/>
<Property name="Message" value="Timestamp not supported by drive. Get Features failed on drive S1 (/dev/nvme0): Invalid Field in Command (status code type 0x0, status code 0x02, opcode 0x0A)."/>
</Object>
<Object category="status" key="S2" name="Timestamp">
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme1 is gone."/>
</Object>
</Object>)x");
}

TEST(TimestampJob, IsNotAskedForWhereTheControllerDoesNotOfferIt) {
    FakeDrive drive;
    drive.expect(identify(1).answers(identifyController()));
    EXPECT_EQ(show({&drive}), R"x(0/0
<Object category="Output">
<Object category="status" key="S1" name="Timestamp">
<Property name="Category" value="10"/>
<Property name="Code" value="245"/>
<Property name="Message" value="Timestamp not supported by drive. Drive S1 (/dev/nvme0) does not offer feature 0x0E (Timestamp)."/>
</Object>
</Object>)x");
}

TEST(TimestampJob, SetsFortyEightBits) {
    FakeDrive zero;
    zero.expect(setFeature(0x0E, 0).writes({0, 0, 0, 0, 0, 0, 0, 0}).completes())
        .expect(getFeature(0x0E, 0, 0, 8).answers({0, 0, 0, 0, 0, 0, 2, 0}));
    EXPECT_EQ(set("0", zero), UNTIL_LINUX);
    FakeDrive some;
    some.expect(setFeature(0x0E, 0).writes({0xFB, 0xC9, 0x45, 0xFA, 0xA1, 0x01, 0, 0}).completes())
        .expect(getFeature(0x0E, 0, 0, 8).answers({0xFD, 0xC9, 0x45, 0xFA, 0xA1, 0x01, 2, 0}));
    EXPECT_EQ(set("1795200240123", some), UNTIL_LINUX);
    FakeDrive most;
    most.expect(setFeature(0x0E, 0).writes({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0}).completes())
        .expect(getFeature(0x0E, 0, 0, 8).answers({9, 0, 0, 0, 0, 0, 2, 0}));
    EXPECT_EQ(set("0xFFFFFFFFFFFF", most), UNTIL_LINUX) << "10 milliseconds later";
}

TEST(TimestampJob, RefusesWhatDoesNotFitBeforeAnythingIsSent) {
    FakeDrive drive;
    EXPECT_EQ(set("281474976710656", drive),
              "10/36 Invalid value given for Timestamp: '281474976710656'. It must be a number from 0 to "
              "281474976710655.");
    EXPECT_EQ(set("12:00", drive),
              "10/36 Invalid value given for Timestamp: '12:00'. It must be a number from 0 to 281474976710655.");
    TimestampJob job;
    EXPECT_EQ(setText(job, "TimestampOrigin", "1", drive),
              "10/36 Invalid property specified. TimestampOrigin cannot be set.");
}

TEST(TimestampJob, ReportsARefusedSet) {
    FakeDrive without;
    without.expect(setFeature(0x0E, 0).writes({1, 0, 0, 0, 0, 0, 0, 0}).refuses(0x4002));
    EXPECT_EQ(set("1", without),
              "10/245 Timestamp not supported by drive. Set Features failed on drive S1 (/dev/nvme0): Invalid Field in "
              "Command (status code type 0x0, status code 0x02, opcode 0x09).");
    FakeDrive failing;
    failing.expect(setFeature(0x0E, 0).writes({1, 0, 0, 0, 0, 0, 0, 0}).refuses(0x0006));
    EXPECT_EQ(set("1", failing),
              "0/25 Set Features failed on drive S1 (/dev/nvme0): Internal Error (status code type 0x0, status code "
              "0x06, opcode 0x09).");
}

TEST(TimestampJob, FailsWhenTheDriveReportsAnotherTime) {
    FakeDrive drive;
    drive.expect(setFeature(0x0E, 0).writes({232, 3, 0, 0, 0, 0, 0, 0}).completes())
        .expect(getFeature(0x0E, 0, 0, 8).answers({231, 3, 0, 0, 0, 0, 2, 0}));
    EXPECT_EQ(set("1000", drive),
              "10/164 Configuration update failed. Drive S1 (/dev/nvme0) accepted Timestamp 1000 and reports 999.");
}

TEST(TimestampJob, TheClockOfAnUnpluggedDriveIsNotKnown) {
    expectUnplugged<FakeDrive>({setFeature(0x0E, 0).writes(DriveBytes(8).le64(0, 1000)), getFeature(0x0E, 0, 0, 8)},
                               "0/70 The drive /dev/nvme0 is gone.",
                               [](FakeDrive& drive) { return set("1000", drive); });
}

TEST(TimestampJob, AValueIsNeeded) {
    FakeDrive drive;
    EXPECT_EQ(set("", drive), "10/39 No value associated with specified property.");
}

}  // namespace
}  // namespace features::jobs
