#include <gtest/gtest.h>

#include "features/jobs/health/SmartJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/Golden.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/StatusAnswer.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::interfaces::ostreli;

constexpr const char* GOLDENS = JOBS_TEST_DATA "/goldens/";

/// With the GUID of the OCP page, and some numbers.
DriveBytes ocpNumbers() {
    return DriveBytes(512)
        .le64(0, 4096)  // physical media units written
        .le64(104, 77)  // PCIe correctable errors
        .le16(128, 98)  // capacitor health
        .le16(494, 3)   // log page version
        .put(496, {0xC5, 0xAF, 0x10, 0x28, 0xEA, 0xBF, 0xF2, 0xA4, 0x9C, 0x4F, 0x6F, 0x7C, 0xC9, 0x14, 0xD5, 0xAF});
}

TEST(SmartJob, ShowsTheHealthLogOfAPlainDrive) {
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog())).expect(withoutList());
    SmartJob job;
    expectGolden(std::string(GOLDENS) + "smart.xml", JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}));
}

TEST(SmartJob, AddsTheOcpLogWhereThereIsOne) {
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog()))
        .expect(withList())
        .expect(logList(0xC0))
        .expect(lookAtLog(0xC0, 512).answers(ocpNumbers()));
    SmartJob job;
    expectGolden(std::string(GOLDENS) + "smart_ocp.xml", JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}));
}

TEST(SmartJob, AnotherMakersPageAtTheOcpIdentifierIsLeftAlone) {
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog()))
        .expect(withList())
        .expect(logList(0xC0))
        .expect(lookAtLog(0xC0, 512).answers(ocpNumbers().byte(511, 0)));
    SmartJob job;
    expectGolden(std::string(GOLDENS) + "smart.xml", JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}));
}

TEST(SmartJob, TheHealthLogCanBeLeftOut) {
    FakeDrive drive;
    drive.expect(withList()).expect(logList(0xC0)).expect(lookAtLog(0xC0, 512).answers(ocpNumbers()));
    SmartJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES)
                  .with("IncludeNVMeSmartHealthLog", "FALSE")
                  .asking("pciecorrectableERRORcount")
                  .asking("Temperature")
                  .on({&drive}),
              R"(0/0
<Object category="Output">
<Object category="attributeList" key="SMART Attributes S1">
<Property category="attribute" displayName="PCIe Correctable Error Count" name="PCIeCorrectableErrorCount" size="3" type="string" value="77"/>
<Property category="attribute" displayName="" name="Temperature" size="19" type="string" value="Property not found"/>
</Object>
</Object>)");
}

TEST(SmartJob, WithoutTheHealthLogAPlainDriveHasNothing) {
    FakeDrive drive;
    drive.expect(withoutList());
    SmartJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).with("IncludeNVMeSmartHealthLog", "false").on({&drive}), R"(0/0
<Object category="Output">
<Object category="status" key="S1" name="SMART Attributes">
<Property name="Category" value="10"/>
<Property name="Code" value="3"/>
<Property name="Message" value="Drive S1 (/dev/nvme0) has no SMART attributes beside those of the NVMe SMART / Health log."/>
</Object>
</Object>)");
}

TEST(SmartJob, AnIdOfTheHealthLogAsksForNothingMore) {
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog()));
    SmartJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).with("ID", "percentageused").on({&drive}), R"(0/0
<Object category="Output">
<Object category="attributeList" key="SMART Attributes S1">
<Property category="attribute" description="%" displayName="Percentage Used" name="PercentageUsed" size="1" type="uint8" value="3"/>
</Object>
</Object>)");
}

TEST(SmartJob, AnIdOfTheOcpLogIsFound) {
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog()))
        .expect(withList())
        .expect(logList(0xC0))
        .expect(lookAtLog(0xC0, 512).answers(ocpNumbers()));
    SmartJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).with("ID", "CapacitorHealth").on({&drive}), R"(0/0
<Object category="Output">
<Object category="attributeList" key="SMART Attributes S1">
<Property category="attribute" displayName="Capacitor Health" name="CapacitorHealth" size="5" type="string" value="98 %"/>
</Object>
</Object>)");
}

TEST(SmartJob, AnUnknownIdIsAnErrorOfTheDrive) {
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog())).expect(withoutList());
    SmartJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).with("ID", "5").on({&drive}), R"(0/0
<Object category="Output">
<Object category="status" key="S1" name="SMART Attributes">
<Property name="Category" value="10"/>
<Property name="Code" value="36"/>
<Property name="Message" value="Drive S1 (/dev/nvme0) has no SMART attribute &apos;5&apos;."/>
</Object>
</Object>)");
}

TEST(SmartJob, RequestedPropertiesOfTheHealthLogAskForNothingMore) {
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog()));
    SmartJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("tempERATURE").asking("PowerOnHours").on({&drive}), R"(0/0
<Object category="Output">
<Object category="attributeList" key="SMART Attributes S1">
<Property category="attribute" description="hours" displayName="Power On Hours" name="PowerOnHours" size="4" type="string" value="700"/>
<Property category="attribute" description="C" displayName="Temperature" name="Temperature" size="4" type="sint32" value="38"/>
</Object>
</Object>)");
}

TEST(SmartJob, AFailingDriveDoesNotSpoilTheOthers) {
    FakeDrive first("S1", "/dev/nvme0");
    first.expect(lookAtLog(0x02, 512).breaks(gone()));
    FakeDrive second("S2", "/dev/nvme1");
    second.expect(lookAtLog(0x02, 512).answers(smartLog()));
    FakeDrive third("S3", "/dev/nvme2");
    third.expect(lookAtLog(0x02, 512).refuses(0x0006));
    FakeDrive fourth("S4", "/dev/nvme3");
    fourth.expect(lookAtLog(0x02, 512).answers(smartLog()))
        .expect(withList())
        .expect(logList(0xC0))
        .expect(lookAtLog(0xC0, 512).breaks(gone()));
    SmartJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).with("ID", "AvailableSpare").on({&first, &second, &third}), R"(0/0
<Object category="Output">
<Object category="status" key="S1" name="SMART Attributes">
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme0 is gone."/>
</Object>
<Object category="attributeList" key="SMART Attributes S2">
<Property category="attribute" description="%" displayName="Available Spare Normalized percentage of the remaining spare capacity available" name="AvailableSpare" size="1" type="uint8" value="100"/>
</Object>
<Object category="status" key="S3" name="SMART Attributes">
<Property name="Category" value="0"/>
<Property name="Code" value="25"/>
<Property name="Message" value="Get Log Page failed on drive S3 (/dev/nvme2): Internal Error (status code type 0x0, status code 0x06, opcode 0x02)."/>
</Object>
</Object>)");
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&fourth}), R"(0/0
<Object category="Output">
<Object category="status" key="S4" name="SMART Attributes">
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme0 is gone."/>
</Object>
</Object>)");
}

TEST(SmartJob, RefusesAnIncludeThatIsNoBooleanBeforeAnyDriveIsTouched) {
    FakeDrive drive;
    SmartJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).with("IncludeNVMeSmartHealthLog", "maybe").on({&drive}), R"(0/0
<Object category="Output">
<Object category="status" name="SMART Attributes">
<Property name="Category" value="10"/>
<Property name="Code" value="36"/>
<Property name="Message" value="Invalid value given for IncludeNVMeSmartHealthLog: &apos;maybe&apos;. It must be true or false."/>
</Object>
</Object>)");
}

/// The maker's page: some numbers, and what it does not report.
DriveBytes velkoLog() {
    return DriveBytes(512)
        .le16(0, 1)
        .le64(8, 12)           // program fails
        .le32(40, 0xFFFFFFFF)  // erase cycles
        .byte(56, 1)           // throttle status
        .le16(60, 346)         // highest temperature
        .le64(80, 1);          // NAND bytes written: 2^64
}

TEST(SmartJob, AddsTheMakersLogOnTheMakersDrive) {
    FakeDrive drive, refusing;
    velko(drive).expect(withoutList()).expect(lookAtLog(0xD0, 512).answers(velkoLog()));
    SmartJob job;
    expectGolden(std::string(GOLDENS) + "smart_velko.xml",
                 JobRun(job, JOBTYPE_GET_PROPERTIES).with("IncludeNVMeSmartHealthLog", "false").on({&drive}));
    velko(refusing)
        .expect(lookAtLog(0x02, 512).answers(smartLog()))
        .expect(withoutList())
        .expect(lookAtLog(0xD0, 512).refuses(NO_SUCH_LOG));
    expectGolden(std::string(GOLDENS) + "smart.xml", JobRun(job, JOBTYPE_GET_PROPERTIES).on({&refusing}));
}

TEST(SmartJob, ADriveWithBothDialectsHasBothLogs) {
    FakeDrive drive;
    velko(drive)
        .expect(withList())
        .expect(logList(0xC0))
        .expect(lookAtLog(0xC0, 512).answers(ocpNumbers()))
        .expect(lookAtLog(0xD0, 512).answers(velkoLog()));
    SmartJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES)
                  .with("IncludeNVMeSmartHealthLog", "false")
                  .asking("PCIeCorrectableErrorCount")
                  .asking("ProgramFailCount")
                  .on({&drive}),
              R"(0/0
<Object category="Output">
<Object category="attributeList" key="SMART Attributes S1">
<Property category="attribute" displayName="PCIe Correctable Error Count" name="PCIeCorrectableErrorCount" size="3" type="string" value="77"/>
<Property category="attribute" displayName="Program Fail Count" name="ProgramFailCount" size="3" type="string" value="12"/>
</Object>
</Object>)");
}

TEST(SmartJob, ADriveThatGoesAwayAtTheMakersLogIsAFailure) {
    FakeDrive drive;
    velko(drive).expect(withoutList()).expect(lookAtLog(0xD0, 512).breaks(gone()));
    SmartJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).with("IncludeNVMeSmartHealthLog", "false").on({&drive}),
              statusAnswer("SMART Attributes", "0", "70", "The drive /dev/nvme0 is gone."));
}

}  // namespace
}  // namespace features::jobs
