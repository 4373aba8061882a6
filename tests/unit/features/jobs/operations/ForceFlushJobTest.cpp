#include <gtest/gtest.h>

#include "features/jobs/operations/ForceFlushJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/StatusAnswer.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::interfaces::ostreli;

constexpr const char* TITLE = "Performance Booster";

std::string act(const std::string& start, const std::vector<const FakeDrive*>& drives) {
    ForceFlushJob job;
    return JobRun(job, JOBTYPE_METHOD).with("StartForceFlush", start).on(drives);
}

std::string show(const FakeDrive& drive) {
    ForceFlushJob job;
    return JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive});
}

TEST(ForceFlushJob, StartsAndStops) {
    FakeDrive start, stop;
    velko(start).expect(Expected::admin(0xC0).dword(10, 1).completes());
    EXPECT_EQ(act("true", {&start}), statusAnswer(TITLE, "0", "0", "The performance booster is started."));
    velko(stop).expect(Expected::admin(0xC0).dword(10, 0).completes());
    EXPECT_EQ(act("false", {&stop}), statusAnswer(TITLE, "0", "0", "The performance booster is stopped."));
}

constexpr struct {
    const char* start;
    uint16_t statusField;
    const char* code;
    const char* message;
} REFUSALS[] = {
    {"true", 0x41C0, "198",
     "Background process is running. Force Flush failed on drive S1 (/dev/nvme0): Vendor Specific (status code type "
     "0x1, status code 0xC0, opcode 0xC0)."},
    {"false", 0x41C1, "199",
     "Background process is not running. Force Flush failed on drive S1 (/dev/nvme0): Vendor Specific (status code "
     "type 0x1, status code 0xC1, opcode 0xC0)."},
    {"true", 0x001D, "226",
     "Sanitize operation in progress. Force Flush failed on drive S1 (/dev/nvme0): Sanitize In Progress (status code "
     "type 0x0, status code 0x1D, opcode 0xC0)."},
    {"true", 0x4001, "3",
     "The selected drive does not support this feature. Force Flush failed on drive S1 (/dev/nvme0): Invalid Command "
     "Opcode (status code type 0x0, status code 0x01, opcode 0xC0)."},
};
TEST(ForceFlushJob, ReportsWhatARefusalMeans) {
    for (const auto& c : REFUSALS) {
        FakeDrive drive;
        velko(drive).expect(
            Expected::admin(0xC0).dword(10, c.start == std::string("true") ? 1 : 0).refuses(c.statusField));
        EXPECT_EQ(act(c.start, {&drive}), statusAnswer(TITLE, "10", c.code, c.message));
    }
}

TEST(ForceFlushJob, ShowsItsProgress) {
    FakeDrive drive;  // the published example
    velko(drive)
        .expect(identify(0x01).answers(identifyController()))
        .expect(lookAtLog(0xD8, 64).answers(DriveBytes(64).put(0, {1, 0x19, 0, 0, 3}).byte(11, 0x40).byte(19, 0x10)));
    EXPECT_EQ(show(drive), R"x(0/0
<Object category="Output">
<Object key="S1" name="VELKO Force Flush Status">
<Property name="State" value="in progress"/>
<Property description="Progress" name="Progress" value="25 %"/>
<Property description="Estimated time to go" name="Remaining" value="3 seconds"/>
<Property description="Bytes to be moved by this run" name="To Move" value="1073741824 bytes"/>
<Property description="Bytes moved so far" name="Moved" value="268435456 bytes"/>
<Property name="Started" value="not set"/>
<Property name="Ended" value="not set"/>
</Object>
</Object>)x");
}

TEST(ForceFlushJob, SendsNothingToAnotherMakersDriveAndNothingOfABadRequest) {
    FakeDrive other, second("S2", "/dev/nvme1");
    const std::string missing = statusAnswer(TITLE, "10", "3", "The selected drive does not support this feature.");
    EXPECT_EQ(act("true", {&other}), missing);
    EXPECT_EQ(show(other), missing);
    EXPECT_EQ(act("true", {&other, &second}), "10/6 Multiple devices selected.");
    velko(other);
    EXPECT_EQ(act("", {&other}),
              "10/38 No properties specified for this feature. StartForceFlush must be true to start, or false to "
              "stop.");
    EXPECT_EQ(act("go", {&other}), "10/36 Invalid value given for StartForceFlush: 'go'. It must be true or false.");
}

TEST(ForceFlushJob, ADriveThatIsGone) {
    FakeDrive drive;
    velko(drive)
        .expect(Expected::admin(0xC0).dword(10, 1).breaks(gone()))
        .expect(identify(0x01).answers(identifyController()))
        .expect(lookAtLog(0xD8, 64).breaks(gone()));
    EXPECT_EQ(act("true", {&drive}), statusAnswer(TITLE, "0", "70", "The drive /dev/nvme0 is gone."));
    EXPECT_EQ(show(drive), statusAnswer(TITLE, "0", "70", "The drive /dev/nvme0 is gone."));
}

}  // namespace
}  // namespace features::jobs
