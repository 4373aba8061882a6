#include <gtest/gtest.h>

#include <cerrno>
#include <stdexcept>

#include "features/jobs/settings/OcpFeatureJob.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/SetCommands.h"
#include "tests/unit/features/jobs/SetRun.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

constexpr char NOT_OCP[] = "Open Compute Project NVMe Cloud SSD Specification not supported on this drive.";

std::string show(const char* name, const char* select, const FakeDrive& drive) {
    OcpFeatureJob job(name);
    return JobRun(job, JOBTYPE_GET_PROPERTIES).with("Select", select).on({&drive});
}
std::string set(const char* name, const char* property, const std::string& text, const FakeDrive& drive) {
    OcpFeatureJob job(name);
    return setText(job, property, text, drive);
}

constexpr struct {
    const char* job;
    const char* property;
    const char* text;
    uint8_t fid;
    uint32_t dword11;
    uint32_t dword0;
} SETS[] = {
    {"OCPReadOnlyWriteMode", "Mode", "1", 0xC2, 0x40000000, 1},
    {"OCPReadOnlyWriteMode", "Mode", "2", 0xC2, 0x80000000, 2},
    {"OCPIEEESilo", "Enable", "True", 0xC4, 0x80000000, 1},
    {"OCPIEEESilo", "Enable", "False", 0xC4, 0x00000000, 0},
    {"OCPPLPCheck", "PLPCheckInterval", "0", 0xC6, 0x00000000, 0},
    {"OCPPLPCheck", "PLPCheckInterval", "15", 0xC6, 0x000F0000, 15},
    {"OCPPLPCheck", "PLPCheckInterval", "65535", 0xC6, 0xFFFF0000, 65535},
    {"OCPDSSDPowerState", "DSSDPowerState", "8", 0xC7, 0x00000008, 8},
    {"OCPDSSDPowerState", "DSSDPowerState", "127", 0xC7, 0x0000007F, 127},
};

TEST(OcpFeatureJob, SetsTheFieldOfTheFeature) {
    for (const auto& c : SETS) {
        SCOPED_TRACE(std::string(c.property) + "=" + c.text);
        FakeDrive drive;
        expectSet(drive.expect(withoutList()).expect(ocpLog().answers(ocpSmart())), c.fid, 0, c.dword11, c.dword0,
                  true);
        EXPECT_EQ(set(c.job, c.property, c.text, drive), UNTIL_RESET);
    }
}

TEST(OcpFeatureJob, WritesNothingToADriveOfAnotherDialect) {
    for (const auto& c : SETS) {
        FakeDrive drive;
        drive.expect(withoutList()).expect(ocpLog().refuses(0x4109));
        EXPECT_EQ(set(c.job, c.property, c.text, drive), std::string("10/254 ") + NOT_OCP);
    }
}

constexpr struct {
    const char* job;
    const char* property;
    const char* text;
    const char* answer;
} BAD_VALUES[] = {
    {"OCPReadOnlyWriteMode", "Mode", "0",
     "10/249 Invalid read only/write through mode value given. Valid modes are 1 and 2. Mode must be a number from 1 "
     "to "
     "2, not '0'."},
    {"OCPReadOnlyWriteMode", "Mode", "3",
     "10/249 Invalid read only/write through mode value given. Valid modes are 1 and 2. Mode must be a number from 1 "
     "to "
     "2, not '3'."},
    {"OCPReadOnlyWriteMode", "Mode", "read",
     "10/249 Invalid read only/write through mode value given. Valid modes are 1 and 2. Mode must be a number from 1 "
     "to "
     "2, not 'read'."},
    {"OCPReadOnlyWriteMode", "Enable", "1", "10/36 Invalid property specified. Enable cannot be set."},
    {"OCPIEEESilo", "Enable", "on", "10/36 Invalid value given for Enable: 'on'. It must be true or false."},
    {"OCPPLPCheck", "PLPCheckInterval", "65536",
     "10/36 Invalid property specified. PLPCheckInterval must be a number from 0 to 65535, not '65536'."},
    {"OCPPLPCheck", "PLPCheckInterval", "10m",
     "10/36 Invalid property specified. PLPCheckInterval must be a number from 0 to 65535, not '10m'."},
    {"OCPDSSDPowerState", "DSSDPowerState", "128",
     "10/36 Invalid property specified. DSSDPowerState must be a number from 0 to 127, not '128'."},
};

TEST(OcpFeatureJob, RefusesABadValueBeforeAnythingIsSent) {
    for (const auto& c : BAD_VALUES) {
        FakeDrive drive;
        EXPECT_EQ(set(c.job, c.property, c.text, drive), c.answer);
    }
}

const std::string REFUSAL =
    "0/25 Set Features failed on drive S1 (/dev/nvme0): Invalid Field in Command (status code type 0x0, status code "
    "0x02, opcode 0x09).";

TEST(OcpFeatureJob, ADriveThatDoesNotListLogC4hIsNotAskedForItAfterARefusedSet) {
    FakeDrive old;
    old.expect(withoutList())
        .expect(ocpLog().answers(ocpSmart()))
        .expect(getFeature(0xC7).completes(25))
        .expect(setFeature(0xC7, 0x7F).refuses(0x4002));
    EXPECT_EQ(set("OCPDSSDPowerState", "DSSDPowerState", "127", old), REFUSAL) << "without a list of its log pages";
    FakeDrive listing;
    listing.expect(withList())
        .expect(logList(0xC0))
        .expect(ocpLog().answers(ocpSmart()))
        .expect(getFeature(0xC7).completes(25))
        .expect(setFeature(0xC7, 0x7F).refuses(0x4002));
    EXPECT_EQ(set("OCPDSSDPowerState", "DSSDPowerState", "127", listing), REFUSAL);
}

TEST(OcpFeatureJob, APowerStateThatTheDriveRefusesIsAnsweredWithThoseItTakes) {
    const DriveBytes listed = DriveBytes(4096)
                                  .byte(16 + 25, 0x80)  // 25 watts are power state 0
                                  .byte(16 + 15, 0x81)
                                  .byte(16 + 12, 0x01)  // not valid
                                  .byte(16 + 10, 0x82)
                                  .put(4080, {0x97, 0x42, 0x05, 0x0D, 0xD1, 0xE1, 0xC9, 0x98, 0x5D, 0x49, 0x58, 0x4B,
                                              0x91, 0x3C, 0x05, 0xB7});
    DriveBytes another = listed;
    another.byte(4080, 0x96);
    const struct {
        DriveBytes page;
        std::string answer;
    } CASES[] = {
        {listed, REFUSAL + " It takes 25, 15 or 10 watts."},
        {another, REFUSAL},
        {DriveBytes(listed).byte(16 + 25, 0).byte(16 + 15, 1).byte(16 + 10, 2), REFUSAL},
    };
    for (const auto& c : CASES) {
        FakeDrive drive;
        drive.expect(withList())
            .expect(logList({0xC0, 0xC4}))
            .expect(ocpLog().answers(ocpSmart()))
            .expect(getFeature(0xC7).completes(25))
            .expect(setFeature(0xC7, 0x0D).refuses(0x4002))
            .expect(lookAtLog(0xC4, 4096).answers(c.page));
        EXPECT_EQ(set("OCPDSSDPowerState", "DSSDPowerState", "13", drive), c.answer);
    }
}

constexpr struct {
    const char* job;
    uint8_t fid;
    uint32_t dword0;
    const char* heading;
    const char* property;
} SHOWS[] = {
    {"OCPReadOnlyWriteMode", 0xC2, 1, "EOL/PLP Failure Mode",
     R"x(description="End of Life and PLP Failure Mode" name="Mode" value="read only mode")x"},
    {"OCPIEEESilo", 0xC4, 1, "Enable IEEE1667 Silo",
     R"x(description="IEEE 1667 Silo Enabled" name="SiloEnabled" value="True")x"},
    {"OCPPLPCheck", 0xC6, 15, "PLP Health Check Interval",
     R"x(description="PLP Health Check Interval" name="PLPCheckInterval" value="15 minutes")x"},
    {"OCPDSSDPowerState", 0xC7, 25, "DSSD Power State",
     R"x(description="DSSD Power State" name="DSSDPowerState" value="25 watts")x"},
};

TEST(OcpFeatureJob, ShowsTheFieldOfTheFeature) {
    for (const auto& c : SHOWS) {
        FakeDrive drive;
        drive.expect(withoutList()).expect(ocpLog().answers(ocpSmart())).expect(getFeature(c.fid).completes(c.dword0));
        EXPECT_EQ(show(c.job, "0", drive),
                  std::string("0/0\n<Object category=\"Output\">\n<Object key=\"S1\" name=\"") + c.heading +
                      "\">\n<Property " + c.property + "/>\n</Object>\n</Object>");
    }
}

TEST(OcpFeatureJob, ShowsTheSavedValueAndTheCapabilities) {
    FakeDrive drive;
    drive.expect(identify(1).answers(identifyController().le16(520, 0x0010)))
        .expect(ocpLog().answers(ocpSmart()))
        .expect(getFeature(0xC6, 2).completes(30))
        .expect(identify(1).answers(identifyController().le16(520, 0x0010)))
        .expect(ocpLog().answers(ocpSmart()))
        .expect(getFeature(0xC6, 3).completes(0x5));
    EXPECT_EQ(show("OCPPLPCheck", "2", drive), R"x(0/0
<Object category="Output">
<Object key="S1" name="PLP Health Check Interval">
<Property description="PLP Health Check Interval" name="PLPCheckInterval" value="30 minutes"/>
</Object>
</Object>)x");
    EXPECT_EQ(show("OCPPLPCheck", "3", drive), R"x(0/0
<Object category="Output">
<Object key="S1" name="PLP Health Check Interval Capabilities">
<Property description="Can be saved" name="Saveable" value="True"/>
<Property description="Each namespace has its own" name="Namespace Specific" value="False"/>
<Property description="Can be changed" name="Changeable" value="True"/>
</Object>
</Object>)x");
}

TEST(OcpFeatureJob, ReportsWhichDriveCannotAnswer) {
    FakeDrive other;
    other.expect(withoutList()).expect(ocpLog().answers(DriveBytes(512)));
    FakeDrive lacking("S2", "/dev/nvme1");
    lacking.expect(withoutList()).expect(ocpLog().answers(ocpSmart())).expect(getFeature(0xC7).refuses(0x4002));
    FakeDrive gone("S3", "/dev/nvme2");
    gone.expect(withoutList()).expect(ocpLog().breaks(Status(CATEGORY_CORE, 70, "The drive /dev/nvme2 is gone.")));
    OcpFeatureJob job(JOB_OCP_DSSD_POWER_STATE);
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&other, &lacking, &gone}), std::string(R"x(0/0
<Object category="Output">
<Object category="status" key="S1" name="DSSD Power State">
<Property name="Category" value="10"/>
<Property name="Code" value="254"/>
<Property name="Message" value=")x") + NOT_OCP + R"x("/>
</Object>
<Object category="status" key="S2" name="DSSD Power State">
<Property name="Category" value="10"/>
<Property name="Code" value="3"/>
<Property name="Message" value="The selected drive does not support this feature. Get Features failed on drive S2 (/dev/nvme1): Invalid Field in Command (status code type 0x0, status code 0x02, opcode 0x0A)."/>
</Object>
<Object category="status" key="S3" name="DSSD Power State">
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme2 is gone."/>
</Object>
</Object>)x");
}

TEST(OcpFeatureJob, RefusesABadSelectionBeforeAnythingIsSent) {
    FakeDrive drive;
    EXPECT_EQ(show("OCPIEEESilo", "4", drive), R"x(0/0
<Object category="Output">
<Object category="status" name="Enable IEEE1667 Silo">
<Property name="Category" value="10"/>
<Property name="Code" value="36"/>
<Property name="Message" value="Invalid value given for Select: &apos;4&apos;. It must be a number from 0 to 3."/>
</Object>
</Object>)x");
}

TEST(OcpFeatureJob, HasRowsForItsJobsAlone) {
    EXPECT_THROW(OcpFeatureJob("SMART"), std::logic_error);
    for (const auto& c : SHOWS) EXPECT_EQ(OcpFeatureJob(c.job).clone()->getName(), c.job);
}

}  // namespace
}  // namespace features::jobs
