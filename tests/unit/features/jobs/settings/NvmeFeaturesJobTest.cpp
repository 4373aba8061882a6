#include <gtest/gtest.h>

#include <cerrno>
#include <set>

#include "features/jobs/settings/NvmeFeaturesJob.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/SetCommands.h"
#include "tests/unit/features/jobs/SetRun.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

std::string set(const std::string& name, const std::string& text, FakeDrive& drive) {
    NvmeFeaturesJob job;
    return setText(job, name, text, drive);
}

constexpr struct {
    const char* name;
    const char* text;
    uint8_t fid;
    uint32_t before;
    uint32_t after;
    const char* why;
} SETS[] = {
    {"AggregationThreshold", "0", 0x08, 0x0000FFFF, 0x0000FF00, "bits 7:0"},
    {"AggregationThreshold", "255", 0x08, 0xABCD1200, 0xABCD12FF, "the largest, and all other bits kept"},
    {"AggregationThreshold", "0x10", 0x08, 0, 0x00000010, "hexadecimal"},
    {"AggregationTime", "0", 0x08, 0xFFFFFFFF, 0xFFFF00FF, "bits 15:8"},
    {"AggregationTime", "255", 0x08, 0x00000007, 0x0000FF07, "the largest"},
    {"TempThreshold", "0", 0x04, 0x00000157, 0x00000111, "273 Kelvin"},
    {"TempThreshold", "80", 0x04, 0x01C00157, 0x01C00161, "353 Kelvin; the hysteresis of NVMe 2.0 is kept"},
    {"TempThreshold", "70", 0x04, 0x003F0157, 0x00000157, "always the composite temperature, and too high"},
    {"SMARTHealthCriticalWarningsConfiguration", "255", 0x0B, 0x00004700, 0x000047FF, "bits 7:0"},
    {"SMARTHealthCriticalWarningsConfiguration", "0", 0x0B, 0xFFFFFFFF, 0xFFFFFF00, "none"},
    {"TelemetryLogNoticesConfiguration", "True", 0x0B, 0x0000031F, 0x0000071F, "bit 10"},
    {"TelemetryLogNoticesConfiguration", "False", 0x0B, 0xFFFFFFFF, 0xFFFFFBFF, "bit 10"},
    {"FirmwareActivationNoticesConfiguration", "1", 0x0B, 0x00000100, 0x00000300, "bit 9"},
    {"FirmwareActivationNoticesConfiguration", "False", 0x0B, 0xFFFFFFFF, 0xFFFFFDFF, "bit 9"},
    {"NamespaceAttributeNoticesConfiguration", "True", 0x0B, 0x00000200, 0x00000300, "bit 8"},
    {"NamespaceAttributeNoticesConfiguration", "0", 0x0B, 0xFFFFFFFF, 0xFFFFFEFF, "bit 8"},
};

TEST(NvmeFeaturesJob, ChangesOneFieldAndLeavesTheOthers) {
    for (const auto& c : SETS) {
        SCOPED_TRACE(std::string(c.name) + "=" + c.text + ": " + c.why);
        FakeDrive drive;
        expectSet(drive, c.fid, c.before, c.after, c.after);
        EXPECT_EQ(set(c.name, c.text, drive), c.fid == 0x0B ? UNTIL_LINUX : UNTIL_RESET);
    }
}

constexpr struct {
    const char* name;
    const char* text;
    const char* answer;
} BAD_VALUES[] = {
    {"AggregationThreshold", "256",
     "10/201 Invalid Aggregate threshold given. AggregationThreshold must be a number from 0 to 255, not '256'."},
    {"AggregationThreshold", "12x",
     "10/201 Invalid Aggregate threshold given. AggregationThreshold must be a number from 0 to 255, not '12x'."},
    {"AggregationThreshold", "-1",
     "10/201 Invalid Aggregate threshold given. AggregationThreshold must be a number from 0 to 255, not '-1'."},
    {"AggregationThreshold", "4294967296",
     "10/201 Invalid Aggregate threshold given. AggregationThreshold must be a number from 0 to 255, not "
     "'4294967296'."},
    {"AggregationTime", "256",
     "10/202 Invalid Aggregate Time given. AggregationTime must be a number from 0 to 255, not '256'."},
    {"TempThreshold", "81",
     "10/19 Invalid temperature threshold given. TempThreshold must be a number from 0 to 80, not '81'."},
    {"TempThreshold", "2748",
     "10/19 Invalid temperature threshold given. TempThreshold must be a number from 0 to 80, not '2748' (0xABC)."},
    {"TempThreshold", "-5",
     "10/19 Invalid temperature threshold given. TempThreshold must be a number from 0 to 80, not '-5'."},
    {"SMARTHealthCriticalWarningsConfiguration", "256",
     "10/36 Invalid property specified. SMARTHealthCriticalWarningsConfiguration must be a number from 0 to 255, not "
     "'256'."},
    {"TelemetryLogNoticesConfiguration", "2",
     "10/36 Invalid value given for TelemetryLogNoticesConfiguration: '2'. It must be true or false."},
    {"FirmwareActivationNoticesConfiguration", "yes",
     "10/36 Invalid value given for FirmwareActivationNoticesConfiguration: 'yes'. It must be true or false."},
    {"NamespaceAttributeNoticesConfiguration", "on",
     "10/36 Invalid value given for NamespaceAttributeNoticesConfiguration: 'on'. It must be true or false."},
    {"ClearCounter", "false", "10/36 Invalid property specified. ClearCounter must be true."},
    {"ClearCounter", "maybe", "10/36 Invalid value given for ClearCounter: 'maybe'. It must be true or false."},
    {"ArbitrationBurst", "3", "10/36 Invalid property specified. ArbitrationBurst cannot be set."},
};

TEST(NvmeFeaturesJob, RefusesABadValueBeforeAnythingIsSent) {
    for (const auto& c : BAD_VALUES) {
        FakeDrive drive;
        EXPECT_EQ(set(c.name, c.text, drive), c.answer) << c.name << '=' << c.text;
    }
}

TEST(NvmeFeaturesJob, SaysThatTheDriveDoesNotSupportTheFeature) {
    FakeDrive drive;
    drive.expect(getFeature(0x08).refuses(0x4002));
    EXPECT_EQ(set("AggregationTime", "1", drive),
              "10/3 The selected drive does not support this feature. Get Features failed on drive S1 (/dev/nvme0): "
              "Invalid Field in Command (status code type 0x0, status code 0x02, opcode 0x0A).");
}

TEST(NvmeFeaturesJob, ReportsTheDrivesRefusalOfAValue) {
    FakeDrive drive;
    drive.expect(getFeature(0x0B).completes(0))
        .expect(identify(0x01).answers(identifyController()))
        .expect(setFeature(0x0B, 0x400).refuses(0x4002));
    EXPECT_EQ(set("TelemetryLogNoticesConfiguration", "true", drive),
              "0/25 Set Features failed on drive S1 (/dev/nvme0): Invalid Field in Command (status code type 0x0, "
              "status code 0x02, opcode 0x09).");
}

TEST(NvmeFeaturesJob, WritesNothingToADriveThatIsGone) {
    FakeDrive drive;
    drive.expect(getFeature(0x04).breaks(Status(CATEGORY_CORE, 70, "The drive /dev/nvme0 is gone.")));
    EXPECT_EQ(set("TempThreshold", "70", drive), "0/70 The drive /dev/nvme0 is gone.");
}

TEST(NvmeFeaturesJob, ClearsThePcieCountersOfAnOcpDrive) {
    FakeDrive drive;
    drive.expect(withoutList()).expect(ocpLog().answers(ocpSmart())).expect(setFeature(0xC3, 0x80000000).completes());
    EXPECT_EQ(set("ClearCounter", "true", drive), "0/0");
}

TEST(NvmeFeaturesJob, WritesNoOcpFeatureToAnotherDrive) {
    constexpr char REFUSAL[] = "10/254 Open Compute Project NVMe Cloud SSD Specification not supported on this drive.";
    FakeDrive withoutLog;
    withoutLog.expect(withoutList()).expect(ocpLog().refuses(0x4109));
    EXPECT_EQ(set("ClearCounter", "true", withoutLog), REFUSAL);
    FakeDrive withItsOwnLog;
    withItsOwnLog.expect(withoutList()).expect(ocpLog().answers(DriveBytes(512)));
    EXPECT_EQ(set("ClearCounter", "true", withItsOwnLog), REFUSAL);
}

TEST(NvmeFeaturesJob, NamesWhatItCanSet) {
    NvmeFeaturesJob job;
    std::set<std::string> names;
    for (const auto& [name, attribute] : job.getSupportedProperties()) names.insert(name);
    EXPECT_EQ(names,
              (std::set<std::string>{"AggregationThreshold", "AggregationTime", "ClearCounter",
                                     "FirmwareActivationNoticesConfiguration", "NamespaceAttributeNoticesConfiguration",
                                     "SMARTHealthCriticalWarningsConfiguration", "TelemetryLogNoticesConfiguration",
                                     "TempThreshold"}));
}

}  // namespace
}  // namespace features::jobs
