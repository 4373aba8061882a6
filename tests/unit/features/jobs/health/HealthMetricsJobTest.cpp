#include <gtest/gtest.h>

#include "features/jobs/drive/CriticalWarnings.h"
#include "features/jobs/health/HealthMetricsJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::interfaces::ostreli;

TEST(CriticalWarnings, ASentenceForEachBit) {
    EXPECT_EQ(deviceStatusText(0x00), "Healthy");
    EXPECT_EQ(deviceStatusText(0x01), "Available spare has fallen below the threshold.");
    EXPECT_EQ(deviceStatusText(0x02), "A temperature is beyond its threshold.");
    EXPECT_EQ(deviceStatusText(0x04), "Reliability is degraded.");
    EXPECT_EQ(deviceStatusText(0x08), "Media is in read only mode.");
    EXPECT_EQ(deviceStatusText(0x10), "The volatile memory backup device has failed.");
    EXPECT_EQ(deviceStatusText(0x20), "The persistent memory region is read only or unreliable.");
    EXPECT_EQ(deviceStatusText(0xC0), "Healthy") << "reserved bits say nothing";
    EXPECT_EQ(deviceStatusText(0x0A), "A temperature is beyond its threshold. Media is in read only mode.");
}

TEST(HealthMetricsJob, ShowsTheSensors) {
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog().byte(0, 0x02).le64(176, 9))).expect(withoutList());
    HealthMetricsJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}), R"(0/0
<Object category="Output">
<Object category="attributeList" key="Health Sensors S1">
<Property category="attribute" description="%" displayName="Available Spare" name="AvailableSpare" size="1" type="uint8" value="100"/>
<Property category="attribute" displayName="Available Spare Below Threshold" name="AvailableSpareBelowThreshold" size="1" type="boolean" value="False"/>
<Property category="attribute" displayName="Device Status" name="DeviceStatus" size="39" type="string" value="A temperature is beyond its threshold."/>
<Property category="attribute" displayName="Number of Error Info Log Entries" name="ErrorInfoLogEntries" size="2" type="string" value="9"/>
<Property category="attribute" displayName="Media Errors" name="MediaErrors" size="2" type="string" value="0"/>
<Property category="attribute" displayName="MemoryBackupDeviceFailed" name="MemoryBackupDeviceFailed" size="1" type="boolean" value="False"/>
<Property category="attribute" description="%" displayName="Percentage Used" name="PercentageUsed" size="1" type="uint8" value="3"/>
<Property category="attribute" displayName="Power Cycles" name="PowerCycles" size="2" type="string" value="6"/>
<Property category="attribute" description="hours" displayName="Power On Hours" name="PowerOnHours" size="4" type="string" value="700"/>
<Property category="attribute" displayName="Read Only Mode" name="ReadOnlyMode" size="1" type="boolean" value="False"/>
<Property category="attribute" displayName="Reliability Degraded" name="ReliabilityDegraded" size="1" type="boolean" value="False"/>
<Property category="attribute" description="C" displayName="Temperature" name="Temperature" size="4" type="sint32" value="38"/>
<Property category="attribute" displayName="Temperature Threshold Exceeded" name="TemperatureThresholdExceeded" size="1" type="boolean" value="True"/>
<Property category="attribute" displayName="Unsafe Shutdowns" name="UnsafeShutdowns" size="2" type="string" value="2"/>
</Object>
</Object>)");
}

TEST(HealthMetricsJob, ATemperatureOfZeroKelvinIsNotReported) {
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog().le16(1, 0)));
    HealthMetricsJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("Temperature").on({&drive}), R"(0/0
<Object category="Output">
<Object category="attributeList" key="Health Sensors S1">
<Property category="attribute" displayName="Temperature" name="Temperature" size="13" type="string" value="not reported"/>
</Object>
</Object>)");
}

TEST(HealthMetricsJob, TheOcpLogIsAskedForItsSensorsAndForUnknownNames) {
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog()))
        .expect(withList())
        .expect(logList(0xC0))
        .expect(lookAtLog(0xC0, 512).answers(DriveBytes(512)
                                                 .put(96, {10, 2})
                                                 .put(496, {0xC5, 0xAF, 0x10, 0x28, 0xEA, 0xBF, 0xF2, 0xA4, 0x9C, 0x4F,
                                                            0x6F, 0x7C, 0xC9, 0x14, 0xD5, 0xAF})));
    HealthMetricsJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES)
                  .asking("THERMALTHROTTLECOUNT")
                  .asking("devicestatus")
                  .asking("Foo")
                  .on({&drive}),
              R"(0/0
<Object category="Output">
<Object category="attributeList" key="Health Sensors S1">
<Property category="attribute" displayName="Device Status" name="DeviceStatus" size="8" type="string" value="Healthy"/>
<Property category="attribute" displayName="" name="Foo" size="19" type="string" value="Property not found"/>
<Property category="attribute" displayName="Thermal Throttle Count" name="ThermalThrottleCount" size="1" type="uint8" value="10"/>
</Object>
</Object>)");
}

/// Log C1h of a drive that has panicked: its GUID, the ID 7, and a main power cycle that ends it.
DriveBytes panicked() {
    return DriveBytes(512).byte(2, 0x10).le64(4, 7).put(
        496, {0x44, 0xD9, 0x31, 0x21, 0xFE, 0x30, 0x34, 0xAE, 0xAB, 0x4D, 0xFD, 0x3D, 0xBA, 0x83, 0x19, 0x5A});
}

TEST(HealthMetricsJob, TheStatusSaysThatTheFirmwareHasPanicked) {
    const auto status = [](const Expected& recoveryLog, uint8_t warning) {
        FakeDrive drive;
        drive.expect(lookAtLog(0x02, 512).answers(smartLog().byte(0, warning)))
            .expect(withList())
            .expect(logList({0xC0, 0xC1}))
            .expect(ocpLog().answers(ocpSmart()))
            .expect(recoveryLog);
        HealthMetricsJob job;
        const std::string shown = JobRun(job, JOBTYPE_GET_PROPERTIES).asking("DeviceStatus").on({&drive});
        const size_t begin = shown.find("value=\"") + 7;
        return shown.substr(begin, shown.find('"', begin) - begin);
    };
    const std::string panic = "The drive&apos;s firmware has panicked with the ID 0x7. Ended by main power cycle.";
    EXPECT_EQ(status(lookAtLog(0xC1, 512).answers(panicked()), 0), panic);
    EXPECT_EQ(status(lookAtLog(0xC1, 512).answers(panicked()), 0x04), "Reliability is degraded. " + panic);
    EXPECT_EQ(status(lookAtLog(0xC1, 512).answers(panicked().le64(4, 0)), 0), "Healthy");
    EXPECT_EQ(status(lookAtLog(0xC1, 512).answers(panicked().byte(511, 0)), 0), "Healthy") << "another maker's page";
    EXPECT_EQ(status(lookAtLog(0xC1, 512).refuses(0x0006), 0),
              "Whether its firmware has panicked is not known: Get Log Page failed on drive S1 (/dev/nvme0): Internal "
              "Error (status code type 0x0, status code 0x06, opcode 0x02).");
}

TEST(HealthMetricsJob, ADriveThatIsLostWhileItIsAskedForAPanicFails) {
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog()))
        .expect(withList())
        .expect(logList({0xC0, 0xC1}))
        .expect(ocpLog().answers(ocpSmart()))
        .expect(lookAtLog(0xC1, 512).breaks(gone()));
    HealthMetricsJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("DeviceStatus").on({&drive}), R"(0/0
<Object category="Output">
<Object category="status" key="S1" name="Health Sensors">
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme0 is gone."/>
</Object>
</Object>)");
}

TEST(HealthMetricsJob, AFailingDriveDoesNotSpoilTheOthers) {
    FakeDrive first("S1", "/dev/nvme0");
    first.expect(lookAtLog(0x02, 512).breaks(gone()));
    FakeDrive second("S2", "/dev/nvme1");
    second.expect(lookAtLog(0x02, 512).answers(smartLog())).expect(withoutList());
    FakeDrive third("S3", "/dev/nvme2");
    third.expect(lookAtLog(0x02, 512).refuses(0x4002));
    HealthMetricsJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("DeviceStatus").on({&first, &second, &third}), R"(0/0
<Object category="Output">
<Object category="status" key="S1" name="Health Sensors">
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme0 is gone."/>
</Object>
<Object category="attributeList" key="Health Sensors S2">
<Property category="attribute" displayName="Device Status" name="DeviceStatus" size="8" type="string" value="Healthy"/>
</Object>
<Object category="status" key="S3" name="Health Sensors">
<Property name="Category" value="0"/>
<Property name="Code" value="25"/>
<Property name="Message" value="Get Log Page failed on drive S3 (/dev/nvme2): Invalid Field in Command (status code type 0x0, status code 0x02, opcode 0x02)."/>
</Object>
</Object>)");
}

TEST(HealthMetricsJob, AddsTheSensorsOfTheMakersDrive) {
    FakeDrive drive;
    velko(drive)
        .expect(lookAtLog(0x02, 512).answers(smartLog()))
        .expect(withoutList())
        .expect(lookAtLog(0xD0, 512).answers(DriveBytes(512).le64(8, 12).le16(60, 346).le64(72, 5)));
    HealthMetricsJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES)
                  .asking("ProgramFailCount")
                  .asking("HighestLifetimeTemperature")
                  .asking("LowestLifetimeTemperature")
                  .asking("NandBytesWritten")
                  .on({&drive}),
              R"(0/0
<Object category="Output">
<Object category="attributeList" key="Health Sensors S1">
<Property category="attribute" displayName="Highest Lifetime Temperature" name="HighestLifetimeTemperature" size="5" type="string" value="73 C"/>
<Property category="attribute" displayName="Lowest Lifetime Temperature" name="LowestLifetimeTemperature" size="13" type="string" value="not reported"/>
<Property category="attribute" displayName="" name="NandBytesWritten" size="19" type="string" value="Property not found"/>
<Property category="attribute" displayName="Program Fail Count" name="ProgramFailCount" size="3" type="string" value="12"/>
</Object>
</Object>)");
}

}  // namespace
}  // namespace features::jobs
