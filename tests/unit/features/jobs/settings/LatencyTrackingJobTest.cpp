#include <gtest/gtest.h>

#include "features/jobs/settings/LatencyTrackingJob.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/SetCommands.h"
#include "tests/unit/features/jobs/SetRun.h"
#include "tests/unit/features/jobs/StatusAnswer.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

std::string show(const std::string& ofReads, const std::string& type, const std::vector<const FakeDrive*>& drives) {
    LatencyTrackingJob job;
    JobRun run(job, JOBTYPE_METHOD);
    run.with("LatencyStatisticsForReadCommands", ofReads);
    if (!type.empty()) run.setting(Attribute("Type", "Type", typeString()), type);
    return run.on(drives);
}

/// The published example.
DriveBytes reads() {
    return DriveBytes(1024)
        .put(0, {0x01, 0x00, 0x00, 0x01, 0x03, 0x00, 0x00, 0x00, 0xE8, 0x03})
        .put(16, {0x9C, 0x01})
        .put(32, {0x00, 0x00, 0x00, 0x00, 0x64, 0x00, 0x00, 0x00, 0xDE, 0x03})
        .put(48, {0x64, 0x00, 0x00, 0x00, 0xE8, 0x03, 0x00, 0x00, 0x0A, 0x00})
        .put(64, {0xE8, 0x03, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF});
}

Expected latencyLog(uint8_t lid, uint8_t type) {
    return logPage(lid, 1024).dword(10, 0x00FF8000U | static_cast<uint32_t>(type) << 8 | lid);
}

TEST(LatencyTrackingJob, ShowsTheBucketsOfReads) {
    FakeDrive drive;
    velko(drive).expect(withoutList()).expect(latencyLog(0xD1, 0).answers(reads()));
    EXPECT_EQ(show("True", "", {&drive}), R"x(0/0
<Object category="Output">
<Object key="S1" name="VELKO Read Latency Statistics">
<Property description="Type" name="Type" value="all commands"/>
<Property description="Latency Tracking Enabled" name="LatencyTrackingEnabled" value="True"/>
<Property description="Commands counted" name="Commands" value="1000"/>
<Property description="Longest latency" name="Longest" value="412 microseconds"/>
<Property description="Time at which the buckets were emptied" name="Since" value="not set"/>
<Property description="0 to below 100 microseconds" name="Bucket 0" value="990"/>
<Property description="100 to below 1000 microseconds" name="Bucket 1" value="10"/>
<Property description="1000 and above microseconds" name="Bucket 2" value="0"/>
</Object>
</Object>)x");
}

TEST(LatencyTrackingJob, ShowsATypeOfWritesAndReportsWhichDriveCannot) {
    FakeDrive drive, off("S2", "/dev/nvme1"), other("S3", "/dev/nvme2");
    velko(drive).expect(withoutList()).expect(latencyLog(0xD2, 3).answers(DriveBytes(1024).put(0, {1, 0, 3, 1, 0, 0})));
    velko(off).expect(withoutList()).expect(latencyLog(0xD2, 3).answers(DriveBytes(1024).put(0, {1, 0, 3, 0, 0, 0})));
    EXPECT_EQ(show("False", "3", {&drive, &off, &other}), R"x(0/0
<Object category="Output">
<Object key="S1" name="VELKO Write Latency Statistics">
<Property description="Type" name="Type" value="commands of more than 64 KiB"/>
<Property description="Latency Tracking Enabled" name="LatencyTrackingEnabled" value="True"/>
<Property description="Commands counted" name="Commands" value="0"/>
<Property description="Longest latency" name="Longest" value="0 microseconds"/>
<Property description="Time at which the buckets were emptied" name="Since" value="not set"/>
</Object>
<Object category="status" key="S2" name="Latency Statistics">
<Property name="Category" value="10"/>
<Property name="Code" value="241"/>
<Property name="Message" value="Cannot run selected feature with the given configuration. Drive S2 (/dev/nvme1) does not track latencies: set LatencyTrackingEnabled to true first."/>
</Object>
<Object category="status" key="S3" name="Latency Statistics">
<Property name="Category" value="10"/>
<Property name="Code" value="3"/>
<Property name="Message" value="The selected drive does not support this feature."/>
</Object>
</Object>)x");
}

TEST(LatencyTrackingJob, ReportsARefusal) {
    FakeDrive refusing;
    velko(refusing).expect(withoutList()).expect(latencyLog(0xD1, 0).refuses(NO_SUCH_LOG));
    EXPECT_EQ(show("True", "", {&refusing}),
              statusAnswer("Latency Statistics", "10", "3",
                           "The selected drive does not support this feature. Get Log Page failed on drive S1 "
                           "(/dev/nvme0): Invalid Log Page (status code type 0x1, status code 0x09, opcode 0x02)."));
}

TEST(LatencyTrackingJob, RefusesABadRequestBeforeAnythingIsSent) {
    FakeDrive drive;
    velko(drive);
    EXPECT_EQ(show("True", "4", {&drive}), "10/36 Invalid value given for Type: '4'. It must be a number from 0 to 3.");
    EXPECT_EQ(show("reads", "", {&drive}),
              "10/36 Invalid value given for LatencyStatisticsForReadCommands: 'reads'. It must be true or false.");
    EXPECT_EQ(show("", "", {&drive}),
              "10/38 No properties specified for this feature. LatencyStatisticsForReadCommands must be true for "
              "reads, or false for writes.");
}

TEST(LatencyTrackingJob, IsSwitchedOnAndOff) {
    LatencyTrackingJob job;
    FakeDrive on, off, other, bad;
    expectSet(velko(on).expect(withoutList()), 0xE2, 0, 1, 1, true);
    EXPECT_EQ(setText(job, "LatencyTrackingEnabled", "true", on), UNTIL_RESET);
    expectSet(velko(off).expect(withoutList()), 0xE2, 1, 0, 0, true);
    EXPECT_EQ(setText(job, "LatencyTrackingEnabled", "False", off), UNTIL_RESET);
    EXPECT_EQ(setText(job, "LatencyTrackingEnabled", "1", other),
              "10/3 The selected drive does not support this feature.");
    EXPECT_EQ(setText(job, "LatencyTrackingEnabled", "2", velko(bad)),
              "10/36 Invalid value given for LatencyTrackingEnabled: '2'. It must be true or false.");
    EXPECT_EQ(setText(job, "Type", "1", bad), "10/36 Invalid property specified. Type cannot be set.");
}

}  // namespace
}  // namespace features::jobs
