#include <gtest/gtest.h>

#include "features/jobs/inventory/VelkoSsdJob.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/Golden.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/SataCommands.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

constexpr const char* GOLDENS = JOBS_TEST_DATA "/goldens/";

constexpr const char* IDENTITY =
    "<Property category=\"attribute\" displayName=\"Serial Number\" name=\"SerialNumber\" size=\"3\" type=\"string\" "
    "value=\"S1\"/>\n<Property category=\"attribute\" displayName=\"Device Path\" name=\"DevicePath\" size=\"9\" "
    "type=\"string\" value=\"/dev/sda\"/>\n";

/// A status with the drive's identity, which the list does not leave out.
std::string identified(std::string status) {
    return status.insert(status.find("<Property"), IDENTITY);
}

transport::HostNamespace disk() {
    transport::HostNamespace space;
    space.nsid = 1;
    space.node = "/dev/sda";
    space.sizeBytes = 1024000000;
    space.blockBytes = 512;
    return space;
}

DriveBytes fullIdentity() {
    return identifyDevice()
        .word(59, 0xB000)
        .word(69, 0x4020)
        .word(82, 0x0023)
        .word(83, 0x4401)
        .word(86, 0x8400)
        .word(89, 0x0003)
        .word(90, 0x8002)
        .word(119, 0x4100)
        .word(120, 0x4000)
        .word(128, 0x0021);
}

TEST(VelkoSsdJobAta, ShowsTheKeyPropertiesWithThreeCommands) {
    FakeSataDrive drive;
    drive.expect(hostNamespaces({disk()}))
        .expect(identifyAta().answers(identifyDevice()))
        .expect(smartStatus(SMART_GOOD))
        .expect(logExt(0x00).answers(logDirectory({0x04})));
    VelkoSsdJob job;
    expectGolden(std::string(GOLDENS) + "sata_key.xml", JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}));
}

TEST(VelkoSsdJobAta, ShowsAllWithTheNativeMaximumAndFormats) {
    ata::Registers native;
    native.status = 0x50;
    native.lba = 2999999;
    FakeSataDrive drive;
    drive.expect(hostNamespaces({disk()}))
        .expect(identifyAta().answers(fullIdentity()))
        .expect(smartStatus(SMART_GOOD))
        .expect(logExt(0x00).answers(logDirectory({0x04, 0x24, 0x2F})))
        .expect(logExt(0x2F).answers(DriveBytes(512).byte(0, 0x80).byte(16, 0x80).byte(32, 0x00)))
        .expect(
            Expected::ata(0x78, ata::Protocol::NON_DATA, ata::Addressing::BITS_48).wantsRegisters().returns(native));
    VelkoSsdJob job;
    expectGolden(std::string(GOLDENS) + "sata_all.xml",
                 JobRun(job, JOBTYPE_GET_PROPERTIES).with("ShowAll", "true").on({&drive}));
}

TEST(VelkoSsdJobAta, WhatIsKnownWithoutADriveAsksItNothing) {
    FakeSataDrive drive;
    VelkoSsdJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("serialnumber").on({&drive}),
              output("<Object category=\"attributeList\" key=\"Velko SSD S1\">\n<Property category=\"attribute\" "
                     "displayName=\"Serial Number\" name=\"SerialNumber\" size=\"3\" type=\"string\" value=\"S1\"/>\n"
                     "</Object>\n"));
}

TEST(VelkoSsdJobAta, AnUnknownHealthIsShownAsSuchAndFails) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(85, 0x0020)));
    VelkoSsdJob job;
    EXPECT_EQ(
        JobRun(job, JOBTYPE_GET_PROPERTIES).asking("DeviceStatus").on({&drive}),
        output("<Object category=\"attributeList\" key=\"Velko SSD S1\">\n<Property category=\"attribute\" "
               "displayName=\"Device Status\" name=\"DeviceStatus\" size=\"8\" type=\"string\" "
               "value=\"Unknown\"/>\n</Object>\n" +
               identified(statusObject("Velko SSD Health", "10", "33",
                                       "Failed to retrieve data from selected device. SMART is not enabled. (drive S1 "
                                       "(/dev/sda))"))));
}

/// TRUSTED RECEIVE: the protocol in FEATURE, what is asked of it in LBA 23:8.
Expected trustedReceive(uint8_t protocol, uint16_t specific, uint8_t blocks) {
    return Expected::ata(0x5C, ata::Protocol::PIO_IN, ata::Addressing::BITS_28)
        .feature(protocol)
        .count(blocks)
        .lba(uint64_t{specific} << 8)
        .reads(blocks * 512U);
}

TEST(VelkoSsdJobAta, LockingIsReadFromADriveWithTrustedComputing) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(48, 0x4001)))
        .expect(trustedReceive(0, 0, 1).answers(DriveBytes(512).byte(7, 2).byte(9, 1)))
        .expect(trustedReceive(1, 1, 8).answers(
            DriveBytes(4096).byte(3, 60).byte(7, 1).put(48, {0x00, 0x02, 0x10, 12, 0x0F})));
    VelkoSsdJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("TCGLocked").on({&drive}),
              output("<Object category=\"attributeList\" key=\"Velko SSD S1\">\n<Property category=\"attribute\" "
                     "displayName=\"TCG Locked\" name=\"TCGLocked\" size=\"1\" type=\"boolean\" value=\"True\"/>\n"
                     "</Object>\n"));
}

TEST(VelkoSsdJobAta, LockingThatTheKernelDoesNotPassOnIsReported) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(48, 0x4001)))
        .expect(trustedReceive(0, 0, 1).breaks(Status(0, 11, "The driver refused it.")));
    VelkoSsdJob job;
    const std::string answer = JobRun(job, JOBTYPE_GET_PROPERTIES).asking("TCGLocked").on({&drive});
    EXPECT_NE(answer.find(identified(statusObject("Velko SSD Locking", "0", "0",
                                                  "Whether the drive is locked is not known. The driver refused it."))),
              std::string::npos)
        << answer;
    EXPECT_NE(answer.find("Property not found"), std::string::npos) << answer;
}

/// "No" and 0 would be answers of the drive.
TEST(VelkoSsdJobAta, WhatARefusedIdentifyWouldHaveIsNotFound) {
    for (const char* name : {"PhysicalSize",
                             "SectorSize",
                             "PhysicalSectorSize",
                             "MaximumLBA",
                             "NativeMaxLBA",
                             "HDD",
                             "TrimSize",
                             "WWID",
                             "NormalSecurityEraseUnit",
                             "EnhancedSecurityEraseUnit",
                             "EnhancedSecurityExtendedTimeReported",
                             "FormFactor",
                             "SATANegotiatedSpeed",
                             "NumLBAFormats",
                             "TelemetryLogSupported",
                             "AccessibleMaxAddressSupported",
                             "DIPMEnabled",
                             "DIPMSupported",
                             "DownloadMicrocodePossible",
                             "EnhancedSecurityEraseReported",
                             "NCQ",
                             "SanitizeSupported",
                             "SanitizeBlockEraseSupported",
                             "SanitizeCryptoScrambleSupported",
                             "SanitizeOverwriteSupported",
                             "SATAGen1",
                             "SATAGen2",
                             "SATAGen3",
                             "SecurityEnabled",
                             "SecurityFrozen",
                             "SecurityLocked",
                             "SecuritySupported",
                             "SMARTEnabled",
                             "SMARTSelfTestSupported",
                             "TCGSupported",
                             "TrimSupported",
                             "WriteCacheEnabled",
                             "WriteCacheSupported"}) {
        FakeSataDrive drive;
        drive.expect(identifyAta().aborts());
        VelkoSsdJob job;
        const std::string shown = JobRun(job, JOBTYPE_GET_PROPERTIES).asking(name).on({&drive});
        EXPECT_NE(shown.find("type=\"string\" value=\"Property not found\"/>\n</Object>\n</Object>"), std::string::npos)
            << name << shown;
    }
}

TEST(VelkoSsdJobAta, ADriveWithoutADiskShowsTheCapacityThatItReports) {
    const auto capacityOf = [](const Expected& identity) {
        FakeSataDrive drive;
        drive.expect(hostNamespaces({})).expect(identity);
        VelkoSsdJob job;
        return JobRun(job, JOBTYPE_GET_PROPERTIES).asking("Capacity").on({&drive});
    };
    const auto text = [](const std::string& size, const std::string& value) {
        return output(
            "<Object category=\"attributeList\" key=\"Velko SSD S1\">\n<Property category=\"attribute\" "
            "displayName=\"Capacity\" name=\"Capacity\" size=\"" +
            size + "\" type=\"string\" value=\"" + value + "\"/>\n</Object>\n");
    };
    EXPECT_EQ(capacityOf(identifyAta().answers(identifyDevice())), text("8", "1.02 GB"));
    EXPECT_EQ(capacityOf(identifyAta().aborts()), text("19", "Property not found"));
}

TEST(VelkoSsdJobAta, WordsThatSayNothingAreNotFound) {
    const struct {
        const char* name;
        DriveBytes identity;
        const char* why;
    } CASES[] = {
        {"MaximumLBA", identifyDevice().le64(200, 0).le32(120, 0), "no sectors"},
        {"WWID", identifyDevice().word(84, 0x4022).word(87, 0x4020), "no World Wide Name"},
        {"FormFactor", identifyDevice().word(168, 0), "not reported"},
        {"TrimSize", identifyDevice().word(169, 0), "no TRIM"},
        {"NormalSecurityEraseUnit", identifyDevice().word(89, 0), "not reported"},
        {"NativeMaxLBA", identifyDevice(), "no accessible maximum address"},
    };
    for (const auto& c : CASES) {
        FakeSataDrive drive;
        drive.expect(identifyAta().answers(c.identity));
        VelkoSsdJob job;
        const std::string shown = JobRun(job, JOBTYPE_GET_PROPERTIES).asking(c.name).on({&drive});
        EXPECT_NE(shown.find("value=\"Property not found\"/>"), std::string::npos) << c.name << c.why << shown;
    }
}

TEST(VelkoSsdJobAta, LogsAndAddressesThatAreRefusedAreNotFound) {
    const Expected native = Expected::ata(0x78, ata::Protocol::NON_DATA, ata::Addressing::BITS_48).wantsRegisters();
    const struct {
        const char* name;
        Script script;
    } CASES[] = {
        {"NumLBAFormats",
         {identifyAta().answers(identifyDevice()), logExt(0x00).answers(logDirectory({0x2F})), logExt(0x2F)}},
        {"TelemetryLogSupported", {identifyAta().answers(identifyDevice()), logExt(0x00)}},
        {"NativeMaxLBA", {identifyAta().answers(fullIdentity()), native}},
    };
    for (const auto& c : CASES) {
        const auto run = [&c](const FakeSataDrive& drive) {
            VelkoSsdJob job;
            return JobRun(job, JOBTYPE_GET_PROPERTIES).asking(c.name).on({&drive});
        };
        FakeSataDrive refused;
        for (size_t i = 0; i + 1 < c.script.size(); ++i) refused.expect(c.script[i]);
        refused.expect(Expected(c.script.back()).aborts());
        EXPECT_NE(run(refused).find("value=\"Property not found\"/>\n</Object>\n</Object>"), std::string::npos)
            << c.name;
        expectUnplugged<FakeSataDrive>(
            c.script, identified(statusAnswer("Velko SSD", "0", "70", "The drive /dev/nvme0 is gone.")), run);
    }
}

TEST(VelkoSsdJobAta, AnUnpluggedDriveIsAnErrorAndNoLongerAsked) {
    const Script script{hostNamespaces({disk()}), identifyAta().answers(identifyDevice()), smartStatus(SMART_GOOD),
                        logExt(0x00)};
    expectUnplugged<FakeSataDrive>(script,
                                   identified(statusAnswer("Velko SSD", "0", "70", "The drive /dev/nvme0 is gone.")),
                                   [](const FakeSataDrive& drive) {
                                       VelkoSsdJob job;
                                       return JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive});
                                   });
}

TEST(VelkoSsdJobAta, ALockingThatCannotBeReadIsAnError) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(48, 0x4001)))
        .expect(trustedReceive(0, 0, 1).breaks(gone()));
    VelkoSsdJob job;
    const std::string shown = JobRun(job, JOBTYPE_GET_PROPERTIES).asking("TCGLocked").on({&drive});
    EXPECT_NE(shown.find("value=\"Property not found\"/>\n</Object>\n" +
                         identified(statusObject("Velko SSD Locking", "0", "70", "The drive /dev/nvme0 is gone."))),
              std::string::npos)
        << shown;
}

TEST(VelkoSsdJobAta, WhatTheSearchCouldNotReadOfADriveIsItsError) {
    FakeSataDrive drive;
    Attribute error = attributes::device::errorString();
    error.setValue(std::string("state is too short"));
    drive.device()->setAttribute(error);
    VelkoSsdJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}),
              identified(statusAnswer("Velko SSD", "10", "33",
                                      "Failed to retrieve data from selected device. state is too short")));
}

TEST(VelkoSsdJobAta, ADriveThatHangsIsAskedNothingMore) {
    FakeSataDrive drive;
    drive.expect(hostNamespaces({disk()})).expect(identifyAta().breaks(Status(0, 69, "The drive hangs.")));
    VelkoSsdJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}),
              identified(statusAnswer("Velko SSD", "0", "69", "The drive hangs.")));
}

}  // namespace
}  // namespace features::jobs
