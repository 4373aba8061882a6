#include <gtest/gtest.h>

#include "features/jobs/settings/LedActivityJob.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/SetCommands.h"
#include "tests/unit/features/jobs/SetRun.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::interfaces::ostreli;

std::string set(const std::string& name, const std::string& text, const FakeDrive& drive) {
    LedActivityJob job;
    return setText(job, name, text, drive);
}

/// What is asked before a feature is written that OCP 2.5 has, too.
FakeDrive& withoutOcp(FakeDrive& drive) {
    return velko(drive).expect(withoutList()).expect(ocpLog().refuses(NO_SUCH_LOG));
}

TEST(LedActivityJob, ShowsAllFields) {
    FakeDrive drive;
    velko(drive).expect(withoutList()).expect(getFeature(0xC9).completes(0x01328842));
    LedActivityJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}), R"(0/0
<Object category="Output">
<Object category="attributeList" key="LED Activity S1">
<Property category="attribute" displayName="Duration Base" name="DurationBase" size="16" type="string" value="50 milliseconds"/>
<Property category="attribute" displayName="Format Off Multiplier" name="FormatOffMultiplier" size="2" type="string" value="8"/>
<Property category="attribute" displayName="Format On Multiplier" name="FormatOnMultiplier" size="2" type="string" value="8"/>
<Property category="attribute" displayName="Idle State" name="IdleState" size="3" type="string" value="on"/>
<Property category="attribute" displayName="I/O Off Multiplier" name="IoOffMultiplier" size="2" type="string" value="4"/>
<Property category="attribute" displayName="I/O On Multiplier" name="IoOnMultiplier" size="2" type="string" value="2"/>
</Object>
</Object>)");
}

TEST(LedActivityJob, ShowsWhatIsAskedForAndTheDrivesThatHaveNone) {
    FakeDrive first("S1"), second("S2", "/dev/nvme1");
    velko(first).expect(withoutList()).expect(getFeature(0xC9).completes(0x00190000));
    LedActivityJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("idlestate").asking("Color").on({&first, &second}), R"(0/0
<Object category="Output">
<Object category="attributeList" key="LED Activity S1">
<Property category="attribute" displayName="" name="Color" size="19" type="string" value="Property not found"/>
<Property category="attribute" displayName="Idle State" name="IdleState" size="4" type="string" value="off"/>
</Object>
<Object category="status" key="S2" name="LED Activity">
<Property name="Category" value="10"/>
<Property name="Code" value="3"/>
<Property name="Message" value="The selected drive does not support this feature."/>
</Object>
</Object>)");
}

constexpr struct {
    const char* name;
    const char* text;
    uint32_t before;
    uint32_t after;
} SETS[] = {
    {"IdleState", "on", 0x00328822, 0x01328822},          {"IdleState", "OFF", 0xFFFFFFFF, 0xFEFFFFFF},
    {"Milliseconds", "25", 0x01328822, 0x01198822},       {"Milliseconds", "50", 0x00000000, 0x00320000},
    {"DurationBase", "50", 0x01190000, 0x01320000},       {"FormatOnMultiplier", "15", 0x01328822, 0x01328F22},
    {"FormatOffMultiplier", "0", 0x01328822, 0x01320822}, {"IoOffMultiplier", "1", 0x01328822, 0x01328812},
    {"IoOnMultiplier", "0x3", 0x01328822, 0x01328823},
};
TEST(LedActivityJob, ChangesOneFieldAndKeepsTheRest) {
    for (const auto& c : SETS) {
        SCOPED_TRACE(std::string(c.name) + "=" + c.text);
        FakeDrive drive;
        expectSet(withoutOcp(drive), 0xC9, c.before, c.after, c.after, true);
        EXPECT_EQ(set(c.name, c.text, drive), "0/0");
    }
}

constexpr struct {
    const char* name;
    const char* text;
    const char* details;
} BAD[] = {
    {"IdleState", "1", "IdleState must be 'on' or 'off', not '1'."},
    {"Milliseconds", "26", "Milliseconds must be 25 or 50, not '26'."},
    {"Milliseconds", "025", "Milliseconds must be 25 or 50, not '025'."},
    {"IoOnMultiplier", "16", "IoOnMultiplier must be a number from 0 to 15, not '16'."},
    {"FormatOffMultiplier", "x", "FormatOffMultiplier must be a number from 0 to 15, not 'x'."},
    {"Color", "red", "Color cannot be set."},
};
TEST(LedActivityJob, RefusesABadValueBeforeAnythingIsSent) {
    for (const auto& c : BAD) {
        FakeDrive drive;
        EXPECT_EQ(set(c.name, c.text, velko(drive)), std::string("10/36 Invalid property specified. ") + c.details);
    }
}

TEST(LedActivityJob, WritesNothingToAnotherMakersDrive) {
    FakeDrive other;
    EXPECT_EQ(set("IdleState", "on", other), "10/3 The selected drive does not support this feature.");
    FakeDrive refusing;
    withoutOcp(refusing).expect(getFeature(0xC9).refuses(0x4002));
    EXPECT_EQ(set("IdleState", "on", refusing),
              "10/3 The selected drive does not support this feature. Get Features failed on drive S1 (/dev/nvme0): "
              "Invalid Field in Command (status code type 0x0, status code 0x02, opcode 0x0A).");
    FakeDrive unplugged;
    withoutOcp(unplugged).expect(getFeature(0xC9).completes(0)).expect(setFeature(0xC9, 0x01000000).breaks(gone()));
    EXPECT_EQ(set("IdleState", "on", unplugged), "0/70 The drive /dev/nvme0 is gone.");
}
TEST(LedActivityJob, IsAddressedByTheMakersUuidWhereOcpHasTheNumber) {
    FakeDrive drive;
    const auto feature = [](uint8_t opcode) { return Expected::admin(opcode).dword(10, 0xC9).dword(14, 1); };
    velko(drive)
        .expect(withUuids())
        .expect(identify(0x17).answers(makerAndOcpUuids()))
        .expect(ocpLog(2).answers(ocpSmart(4)))
        .expect(feature(0x0A).completes(0))
        .expect(feature(0x09).dword(11, 0x01000000).completes())
        .expect(feature(0x0A).completes(0x01000000));
    EXPECT_EQ(set("IdleState", "on", drive), "0/0");
    FakeDrive ocpAlone;
    velko(ocpAlone).expect(withoutList()).expect(ocpLog().answers(ocpSmart(4)));
    EXPECT_EQ(set("IdleState", "on", ocpAlone),
              "10/3 The selected drive does not support this feature. On drive S1 (/dev/nvme0) feature 0xC9 (DSSD "
              "Asynchronous Event Configuration) is OCP's, and no entry of its UUID List is the maker's, by which the "
              "maker's own feature of that number could be addressed.");
}

TEST(LedActivityJob, AnUnpluggedDriveIsAnError) {
    expectUnplugged<FakeDrive>({withoutList(), getFeature(0xC9)},
                               statusAnswer("LED Activity", "0/70 The drive /dev/nvme0 is gone."),
                               [](FakeDrive& drive) {
                                   LedActivityJob job;
                                   return JobRun(job, JOBTYPE_GET_PROPERTIES).on({&velko(drive)});
                               });
    expectUnplugged<FakeDrive>({withoutList(), ocpLog().refuses(NO_SUCH_LOG), getFeature(0xC9).completes(0x00328822),
                                setFeature(0xC9, 0x01328822), getFeature(0xC9)},
                               "0/70 The drive /dev/nvme0 is gone.",
                               [](FakeDrive& drive) { return set("IdleState", "on", velko(drive)); });
}

}  // namespace
}  // namespace features::jobs
