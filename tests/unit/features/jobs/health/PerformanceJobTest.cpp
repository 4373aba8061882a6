#include <gtest/gtest.h>

#include "features/jobs/health/PerformanceJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::interfaces::ostreli;

TEST(PerformanceJob, ShowsTheWorkDoneWithOneCommand) {
    FakeDrive drive;
    // 2 to the power of 64: the counters have 128 bits.
    drive.expect(lookAtLog(0x02, 512).answers(smartLog().le64(48, 0).le64(56, 1)));
    PerformanceJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}), R"(0/0
<Object category="Output">
<Object category="attributeList" key="Performance Metrics S1">
<Property category="attribute" description="minutes" displayName="Controller Busy Time" name="ControllerBusyTime" size="3" type="string" value="50"/>
<Property category="attribute" description="units of 512000 bytes" displayName="Data Units Read" name="DataUnitsRead" size="5" type="string" value="1000"/>
<Property category="attribute" description="units of 512000 bytes" displayName="Data Units Written" name="DataUnitsWritten" size="21" type="string" value="18446744073709551616"/>
<Property category="attribute" displayName="Host Read Commands" name="HostReadCommands" size="6" type="string" value="30000"/>
<Property category="attribute" displayName="Host Write Commands" name="HostWriteCommands" size="6" type="string" value="40000"/>
</Object>
</Object>)");
}

TEST(PerformanceJob, KnownAndUnknownNamesInAnyCase) {
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog()));
    PerformanceJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("controllerBUSYtime").asking("speed").on({&drive}), R"(0/0
<Object category="Output">
<Object category="attributeList" key="Performance Metrics S1">
<Property category="attribute" description="minutes" displayName="Controller Busy Time" name="ControllerBusyTime" size="3" type="string" value="50"/>
<Property category="attribute" displayName="" name="speed" size="19" type="string" value="Property not found"/>
</Object>
</Object>)");
}

TEST(PerformanceJob, AFailingDriveDoesNotSpoilTheOthers) {
    FakeDrive first("S1", "/dev/nvme0");
    first.expect(lookAtLog(0x02, 512).refuses(0x4002));
    FakeDrive second("S2", "/dev/nvme1");
    second.expect(lookAtLog(0x02, 512).answers(smartLog()));
    FakeDrive third("S3", "/dev/nvme2");
    third.expect(lookAtLog(0x02, 512).breaks(gone()));
    PerformanceJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("DataUnitsRead").on({&first, &second, &third}), R"(0/0
<Object category="Output">
<Object category="status" key="S1" name="Performance Metrics">
<Property name="Category" value="0"/>
<Property name="Code" value="25"/>
<Property name="Message" value="Get Log Page failed on drive S1 (/dev/nvme0): Invalid Field in Command (status code type 0x0, status code 0x02, opcode 0x02)."/>
</Object>
<Object category="attributeList" key="Performance Metrics S2">
<Property category="attribute" description="units of 512000 bytes" displayName="Data Units Read" name="DataUnitsRead" size="5" type="string" value="1000"/>
</Object>
<Object category="status" key="S3" name="Performance Metrics">
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme0 is gone."/>
</Object>
</Object>)");
}

}  // namespace
}  // namespace features::jobs
