#include <gtest/gtest.h>

#include <filesystem>

#include "features/jobs/inventory/VelkoSsdJob.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/Golden.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/Unplugged.h"
#include "tests/unit/features/jobs/UsedNamespaces.h"
#include "tests/unit/features/jobs/firmware/ModuleFolder.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

constexpr const char* GOLDENS = JOBS_TEST_DATA "/goldens/";

void setIndex(const FakeDrive& drive, int32_t index) {
    Attribute attribute = attributes::device::index();
    attribute.setValue(index);
    drive.device()->setAttribute(attribute);
}

void setText(const FakeDrive& drive, Attribute attribute, const std::string& text) {
    attribute.setValue(text);
    drive.device()->setAttribute(attribute);
}

/// One property of the answer.
std::string property(const std::string& displayName, const std::string& name, const std::string& size,
                     const std::string& type, const std::string& value) {
    return "<Property category=\"attribute\" displayName=\"" + displayName + "\" name=\"" + name + "\" size=\"" + size +
           "\" type=\"" + type + "\" value=\"" + value + "\"/>\n";
}

std::string inBytes(const std::string& displayName, const std::string& name, const std::string& size,
                    const std::string& type, const std::string& value) {
    return "<Property category=\"attribute\" description=\"bytes\" displayName=\"" + displayName + "\" name=\"" + name +
           "\" size=\"" + size + "\" type=\"" + type + "\" value=\"" + value + "\"/>\n";
}

std::string answer(const std::string& properties) {
    return "0/0\n<Object category=\"Output\">\n<Object category=\"attributeList\" key=\"Velko SSD S1\">\n" +
           properties + "</Object>\n</Object>";
}

TEST(VelkoSsdJob, ShowsTheKeyPropertiesWithThreeCommands) {
    FakeDrive drive;
    setIndex(drive, 0);
    drive.expect(hostNamespaces({unusedNamespace(1)}))
        .expect(identify(0x00, 1).answers(identifyNamespace(2097152).byte(25, 3)))
        .expect(lookAtLog(0x02, 512).answers(smartLog()))
        .expect(identify(0x01).answers(identifyController()));
    VelkoSsdJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}),
              answer(property("Bootloader", "Bootloader", "19", "string", "Property not found") +
                     property("Capacity", "Capacity", "8", "string", "1.07 GB") +
                     property("Device Path", "DevicePath", "11", "string", "/dev/nvme0") +
                     property("Device Status", "DeviceStatus", "8", "string", "Healthy") +
                     property("Firmware", "Firmware", "4", "string", "FW1") +
                     property("Firmware Update Available", "FirmwareUpdateAvailable", "135", "string",
                              "No known update for SSD. If an update is expected, please contact your SSD Vendor "
                              "representative about firmware update for this drive.") +
                     property("Index", "Index", "4", "sint32", "0") +
                     property("Maximum LBA", "MaximumLBA", "8", "uint64", "2097151") +
                     property("Model Number", "ModelNumber", "11", "string", "FAKE DRIVE") +
                     property("Number LBA Formats", "NumLBAFormats", "2", "uint16", "3") +
                     property("Marketing String", "ProductFamily", "19", "string", "Property not found") +
                     inBytes("Sector Size", "SectorSize", "4", "uint32", "512") +
                     property("Serial Number", "SerialNumber", "3", "string", "S1")));
}

TEST(VelkoSsdJob, WhatIsKnownWithoutADriveAsksItNothing) {
    FakeDrive drive;
    setIndex(drive, 3);
    VelkoSsdJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("INDEX").asking("modelnumber").asking("Foo").on({&drive}),
              answer(property("", "Foo", "19", "string", "Property not found") +
                     property("Index", "Index", "4", "sint32", "3") +
                     property("Model Number", "ModelNumber", "11", "string", "FAKE DRIVE")));
}

TEST(VelkoSsdJob, ShowsEverythingThatTheDriveHas) {
    transport::HostNamespace ofAnotherController = unusedNamespace(3);
    ofAnotherController.attached = false;
    FakeDrive drive;
    setIndex(drive, 0);
    setText(drive, attributes::device::modelNumber(), "VELKO X1");
    drive.expect(hostNamespaces({unusedNamespace(1), unusedNamespace(2)}))
        .expect(hostSizes({unusedNamespace(1), unusedNamespace(2)}))
        .expect(lookAtLog(0x02, 512).answers(smartLog().byte(0, 0x08)))
        .expect(identify(0x01).answers(identifyController()
                                           .le32(80, 0x00010302)
                                           .le64(280, 4294967296)
                                           .le64(296, 2147483648)
                                           .le16(78, 7)
                                           .le16(256, 0x001F)
                                           .byte(261, 0x3E)
                                           .byte(319, 2)
                                           .le32(328, 0x05)
                                           .le32(352, 16)
                                           .le32(516, 32)
                                           .le16(520, 0x00FF)
                                           .byte(524, 0x04)
                                           .byte(525, 0x01)))
        .expect(logList(0xC0))
        .expect(lookAtLog(0xC0, 512).answers(DriveBytes(512).le16(101, 0).byte(103, 2).put(
            496, {0xC5, 0xAF, 0x10, 0x28, 0xEA, 0xBF, 0xF2, 0xA4, 0x9C, 0x4F, 0x6F, 0x7C, 0xC9, 0x14, 0xD5, 0xAF})))
        .expect(identify(0x00, 1).answers(identifyNamespace(262144, 12)
                                              .byte(26, 0x11)
                                              .byte(25, 1)
                                              .put(132, {8, 0, 12, 0})
                                              .byte(28, 0x1F)
                                              .byte(29, 0x09)))
        .expect(hostLocation({"0000:01:00.0",
                              "4",
                              "8.0 GT/s",
                              "2",
                              "16.0 GT/s",
                              "4",
                              {{"nvme-FAKE_S1", "/dev/nvme0n1"}, {"nvme-FAKE_S1-part1", "/dev/nvme0n1p1"}}}))
        .expect(lookAtLog(0x03, 512).answers(DriveBytes(512).byte(0, 0x21).text(16, "FW2", 8)))
        .expect(Expected::admin(0x82).dword(10, 0).dword(11, 512).answers(DriveBytes(512).put(7, {2, 0x00, 0x01})))
        .expect(
            Expected::admin(0x82)
                .dword(10, 0x01000100)
                .dword(11, 4096)
                .answers(
                    DriveBytes(4096).byte(3, 80).put(48, {0x00, 0x02, 0x10, 12, 0x1F}).put(64, {0x03, 0x02, 0x10, 16})))
        .expect(hostUses({mounted(1), unusedNamespace(2), ofAnotherController}))
        .expect(identify(0x00, 1).answers(
            identifyNamespace(262144, 12).le64(16, 5).byte(120, 0x02).byte(127, 0xFF).byte(104, 0xAB)))
        .expect(identify(0x00, 2).refuses(0x400B));
    VelkoSsdJob job;
    expectGolden(std::string(GOLDENS) + "velkossd_all.xml",
                 JobRun(job, JOBTYPE_GET_PROPERTIES).with("ShowAll", "true").on({&drive}));
}

TEST(VelkoSsdJob, NamespacesOfOtherCommandSetsAreNamed) {
    FakeDrive drive;
    drive.expect(hostNamespaces({unusedNamespace(1), unusedNamespace(2)}))
        .expect(hostSizes({unusedNamespace(1), unusedNamespace(2)}))
        .expect(lookAtLog(0x02, 512).answers(smartLog()))
        .expect(identify(0x01).answers(identifyController().le32(80, 0x00020000)))
        .expect(identify(0x00, 1).answers(identifyNamespace(262144, 12)))
        .expect(hostLocation())
        .expect(lookAtLog(0x03, 512).refuses(0x4002))
        .expect(hostUses({unusedNamespace(1), unusedNamespace(2)}))
        .expect(identify(0x03, 1).answers(descriptorsOf(2)))
        .expect(identify(0x00, 1).answers(identifyNamespace(262144, 12).byte(127, 0xFF)))
        .expect(identify(0x03, 2).answers(descriptorsOf(1)));  // without logical blocks there is no more to ask
    VelkoSsdJob job;
    const std::string shown = JobRun(job, JOBTYPE_GET_PROPERTIES).with("ShowAll", "true").on({&drive});
    const std::string identity =
        "<Property category=\"attribute\" displayName=\"Serial Number\" name=\"SerialNumber\" size=\"3\" "
        "type=\"string\" value=\"S1\"/>\n"
        "<Property category=\"attribute\" displayName=\"Device Path\" name=\"DevicePath\" size=\"11\" "
        "type=\"string\" value=\"/dev/nvme0\"/>\n";
    const size_t begin = shown.find("<Object key=\"S1\" name=\"Namespace 1\">");
    ASSERT_NE(begin, std::string::npos) << shown;
    EXPECT_EQ(shown.substr(begin), "<Object key=\"S1\" name=\"Namespace 1\">\n" + identity +
                                       R"(<Property name="NamespaceId" value="1"/>
<Property name="Node" value="/dev/nvme0n1"/>
<Property name="Size" value="1073741824 bytes"/>
<Property name="Use" value="none"/>
<Property name="CommandSet" value="Zoned Namespace"/>
<Property name="LBAFormat" value="0"/>
<Property name="SectorSize" value="4096 bytes"/>
<Property name="MetadataSize" value="0 bytes"/>
<Property name="Used" value="1073741824 bytes"/>
<Property name="EUI64" value="00000000000000FF"/>
<Property name="NGUID" value="not reported"/>
<Object name="By-Id Names">
</Object>
</Object>
<Object key="S1" name="Namespace 2">
)" + identity + R"(<Property name="NamespaceId" value="2"/>
<Property name="Node" value="/dev/nvme0n2"/>
<Property name="Size" value="1073741824 bytes"/>
<Property name="Use" value="none"/>
<Property name="CommandSet" value="Key Value"/>
<Object name="By-Id Names">
</Object>
</Object>
</Object>)");
}

/// From the first status on.
std::string statusesOf(const std::string& shown) {
    const size_t at = shown.find("<Object category=\"status\"");
    return at == std::string::npos ? shown : shown.substr(at);
}

TEST(VelkoSsdJob, NamespacesOfAnUnpluggedDriveAreAnErrorBesideWhatIsKnown) {
    const Script script{
        hostNamespaces({unusedNamespace(1)}),
        identify(0x00, 1).answers(identifyNamespace(262144, 12)),
        lookAtLog(0x02, 512).answers(smartLog()),
        identify(0x01).answers(identifyController().le32(80, 0x00020000)),
        hostLocation(),
        lookAtLog(0x03, 512),
        hostUses({unusedNamespace(1)}),
        identify(0x03, 1).answers(descriptorsOf(0)),
        identify(0x00, 1),
    };
    const auto run = [](const FakeDrive& drive) {
        VelkoSsdJob job;
        return JobRun(job, JOBTYPE_GET_PROPERTIES).with("ShowAll", "true").on({&drive});
    };
    const auto error = [](const std::string& title) {
        std::string object = statusObject(title, "0", "70", "The drive /dev/nvme0 is gone.");
        return object.insert(object.find("<Property"),
                             property("Serial Number", "SerialNumber", "3", "string", "S1") +
                                 property("Device Path", "DevicePath", "11", "string", "/dev/nvme0"));
    };
    const Script ofProperties(script.begin(), script.begin() + 6);
    expectUnplugged<FakeDrive>(ofProperties, output(error("Velko SSD")), run);
    expectUnplugged<FakeDrive>(
        script, error("Velko SSD Namespaces") + "</Object>",
        [&run](const FakeDrive& drive) {
            const std::string shown = run(drive);
            EXPECT_NE(shown.find(property("Maximum LBA", "MaximumLBA", "8", "uint64", "262143")), std::string::npos);
            return statusesOf(shown);
        },
        ofProperties.size());
}

TEST(VelkoSsdJob, ShowsEachUseOfANamespace) {
    using Kind = transport::NamespaceUse::Kind;
    transport::HostNamespace used = unusedNamespace(1), hidden = unusedNamespace(2);
    used.uses = {{Kind::HELD, "/dev/nvme0n1", "md0", false},
                 {Kind::PARTITION, "/dev/nvme0n1p1", "", false},
                 {Kind::CONTENT, "/dev/nvme0n1p2", "a file system (ext4)", false},
                 {Kind::UNREADABLE, "/dev/nvme0n1p3", "I/O error", false},
                 {Kind::UNKNOWN, "/dev/nvme0n1p4", "no right", false},
                 {Kind::OPENED, "/dev/nvme0n1p5", "", false},
                 {Kind::SWAP, "/dev/nvme0n1p6", "", false}};
    hidden.node = "";
    FakeDrive drive;
    drive.expect(hostNamespaces({used}))
        .expect(identify(0x00, 1).answers(identifyNamespace(262144, 12)))
        .expect(lookAtLog(0x02, 512).answers(smartLog()))
        .expect(identify(0x01).answers(identifyController().le32(80, 0x00010302)))
        .expect(hostLocation())
        .expect(lookAtLog(0x03, 512).refuses(0x4002))
        .expect(hostUses({used, hidden}))
        .expect(identify(0x00, 1).refuses(0x400B))
        .expect(identify(0x00, 2).refuses(0x400B));
    VelkoSsdJob job;
    const std::string shown = JobRun(job, JOBTYPE_GET_PROPERTIES).with("ShowAll", "true").on({&drive});
    EXPECT_NE(shown.find("name=\"Use\" value=\"part of md0; /dev/nvme0n1p1 partition; /dev/nvme0n1p2 a file system "
                         "(ext4); /dev/nvme0n1p3 unreadable: I/O error; /dev/nvme0n1p4 unknown: no right; "
                         "/dev/nvme0n1p5 opened exclusively by another program; /dev/nvme0n1p6 swap\"/>"),
              std::string::npos)
        << shown;
    EXPECT_NE(shown.find("<Property name=\"NamespaceId\" value=\"2\"/>\n<Property name=\"Node\" value=\"none\"/>"),
              std::string::npos)
        << shown;
}

TEST(VelkoSsdJob, AnUnpluggedDriveIsAnErrorAndNoLongerAsked) {
    const Script script{
        hostNamespaces({unusedNamespace(1)}),
        identify(0x00, 1).answers(identifyNamespace(2097152)),
        lookAtLog(0x02, 512).answers(smartLog()),
        withList(),
        logList({0xC0, 0xC1}),
        ocpLog().answers(ocpSmart()),
        lookAtLog(0xC1, 512),
    };
    expectUnplugged<FakeDrive>(
        script,
        output("<Object category=\"status\" key=\"S1\" name=\"Velko SSD\">\n" +
               property("Serial Number", "SerialNumber", "3", "string", "S1") +
               property("Device Path", "DevicePath", "11", "string", "/dev/nvme0") +
               "<Property name=\"Category\" value=\"0\"/>\n<Property name=\"Code\" value=\"70\"/>\n"
               "<Property name=\"Message\" value=\"The drive /dev/nvme0 is gone.\"/>\n</Object>\n"),
        [](const FakeDrive& drive) {
            VelkoSsdJob job;
            return JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive});
        });
}

/// That the firmware has not panicked is not known either.
TEST(VelkoSsdJob, AnErrorRecoveryLogThatIsRefusedIsAPartOfTheStatus) {
    const std::string unknown =
        "Whether its firmware has panicked is not known: Get Log Page failed on drive S1 (/dev/nvme0): Internal Error "
        "(status code type 0x0, status code 0x06, opcode 0x02).";
    for (const bool isWarned : {false, true}) {
        FakeDrive drive;
        drive.expect(lookAtLog(0x02, 512).answers(smartLog().byte(0, isWarned ? 0x04 : 0)))
            .expect(withList())
            .expect(logList({0xC0, 0xC1}))
            .expect(ocpLog().answers(ocpSmart()))
            .expect(lookAtLog(0xC1, 512).refuses(0x0006));
        VelkoSsdJob job;
        const std::string shown = (isWarned ? "Reliability is degraded. " : "") + unknown;
        EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("DeviceStatus").on({&drive}),
                  answer(property("Device Status", "DeviceStatus", std::to_string(shown.size() + 1), "string", shown)));
    }
}

/// "No" and 0 would be answers of the drive.
TEST(VelkoSsdJob, WhatARefusedIdentifyWouldHaveIsNotFound) {
    for (const char* name : {"FormatNVMSupported",
                             "FormatNVMCryptoEraseSupported",
                             "MaximumDataTransferSize",
                             "NamespaceManagementSupported",
                             "NumberOfNamespacesSupported",
                             "NVMe1Point1OrGreater",
                             "NVMe1Point2OrGreater",
                             "NVMe1Point3OrGreater",
                             "NVMe1Point4OrGreater",
                             "NVMeControllerID",
                             "NVMeMajorVersion",
                             "NVMeMinorVersion",
                             "NVMeTertiaryVersion",
                             "SanitizeSupported",
                             "SanitizeBlockEraseSupported",
                             "SanitizeCryptoScrambleSupported",
                             "SanitizeOverwriteSupported",
                             "SelfTestSupported",
                             "TelemetryLogSupported",
                             "TrimSupported",
                             "WriteCacheSupported",
                             "TotalCapacity",
                             "UnallocatedCapacity",
                             "PelLogSizeMax",
                             "TCGSupported",
                             "SupportPersistentEventLog",
                             "FirmwareUpdateGranularityRequirements"}) {
        FakeDrive drive;
        drive.expect(identify(0x01).refuses(0x0006));
        VelkoSsdJob job;
        const std::string shown = JobRun(job, JOBTYPE_GET_PROPERTIES).asking(name).on({&drive});
        EXPECT_NE(shown.find("type=\"string\" value=\"Property not found\"/>"), std::string::npos) << name << shown;
    }
    for (const char* name :
         {"LBAFormat", "MetadataSetting", "MetadataSize", "SectorDataSize", "ProtectionInformation",
          "ProtectionInformationLocation", "EndToEndDataProtCapabilities", "MaximumLBA", "NumLBAFormats"}) {
        FakeDrive drive;
        drive.expect(hostNamespaces({unusedNamespace(1)})).expect(identify(0x00, 1).refuses(0x0006));
        VelkoSsdJob job;
        const std::string shown = JobRun(job, JOBTYPE_GET_PROPERTIES).asking(name).on({&drive});
        EXPECT_NE(shown.find("type=\"string\" value=\"Property not found\"/>"), std::string::npos) << name << shown;
    }
}

TEST(VelkoSsdJob, WhatTheHostDoesNotHaveIsNotFound) {
    for (const char* name : {"PhysicalSize", "SectorSize"}) {
        FakeDrive drive;
        drive.expect(hostNamespaces({})).expect(hostSizes({}));
        VelkoSsdJob job;
        const std::string shown = JobRun(job, JOBTYPE_GET_PROPERTIES).asking(name).on({&drive});
        EXPECT_NE(shown.find("value=\"Property not found\"/>"), std::string::npos) << name << shown;
    }
    FakeDrive drive;
    drive.expect(hostNamespaces({}));
    VelkoSsdJob job;
    const std::string shown = JobRun(job, JOBTYPE_GET_PROPERTIES).asking("NamespaceID").on({&drive});
    EXPECT_NE(shown.find("value=\"Property not found\"/>"), std::string::npos) << shown;
}

TEST(VelkoSsdJob, TheGranularityOfFirmwareIsInBytes) {
    const struct {
        uint8_t fwug;
        const char* size;
        const char* type;
        const char* value;
    } CASES[] = {
        {0, "19", "string", "Property not found"},  // not reported
        {2, "8", "uint64", "8192"},
        {0xFE, "8", "uint64", "1040384"},
        {0xFF, "8", "uint64", "0"},  // no restriction
    };
    for (const auto& c : CASES) {
        FakeDrive drive;
        drive.expect(identify(0x01).answers(identifyController().byte(319, c.fwug)));
        VelkoSsdJob job;
        const std::string shown =
            JobRun(job, JOBTYPE_GET_PROPERTIES).asking("FirmwareUpdateGranularityRequirements").on({&drive});
        EXPECT_NE(
            shown.find(std::string("size=\"") + c.size + "\" type=\"" + c.type + "\" value=\"" + c.value + "\"/>"),
            std::string::npos)
            << shown;
    }
}

TEST(VelkoSsdJob, OfAllPropertiesThoseThatTheDriveLacksAreLeftOut) {
    FakeDrive drive;
    drive.expect(hostNamespaces({}))
        .expect(identify(0x01).answers(identifyController().byte(111, 3)))  // an administrative controller
        .expect(lookAtLog(0x02, 512).refuses(0x4002))
        .expect(hostSizes({}))
        .expect(hostLocation())
        .expect(lookAtLog(0x03, 512).refuses(0x4002))
        .expect(hostUses({}));
    VelkoSsdJob job;
    expectGolden(std::string(GOLDENS) + "velkossd_bare.xml",
                 JobRun(job, JOBTYPE_GET_PROPERTIES).with("ShowAll", "true").on({&drive}));
}

TEST(VelkoSsdJob, ADriveWithoutTcgIsNotAskedForItsLocking) {
    const Expected list = Expected::admin(0x82).dword(10, 0).dword(11, 512);
    const struct {
        Expected answer;
        const char* why;
    } CASES[] = {
        {Expected(list).answers(DriveBytes(512).put(7, {1, 0x00})), "its list has another protocol"},
        {Expected(list).reads(512).refuses(0x4002), "it refuses the list"},
    };
    for (const auto& c : CASES) {
        FakeDrive drive;
        drive.expect(identify(0x01).answers(identifyController().le16(256, 0x0001))).expect(c.answer);
        VelkoSsdJob job;
        EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("TCGLocked").on({&drive}),
                  answer(property("TCG Locked", "TCGLocked", "19", "string", "Property not found")))
            << c.why;
    }
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController()));
    VelkoSsdJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("TCGLocked").on({&drive}),
              answer(property("TCG Locked", "TCGLocked", "19", "string", "Property not found")));
}

TEST(VelkoSsdJob, ALockingThatCannotBeReadIsAnError) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController().le16(256, 0x0001)))
        .expect(Expected::admin(0x82).dword(10, 0).dword(11, 512).answers(DriveBytes(512).put(7, {2, 0x00, 0x01})))
        .expect(Expected::admin(0x82).dword(10, 0x01000100).dword(11, 4096).answers(DriveBytes(4096)));
    VelkoSsdJob job;
    const std::string shown = JobRun(job, JOBTYPE_GET_PROPERTIES).asking("TCGLocked").on({&drive});
    EXPECT_NE(shown.find(R"(<Object category="status" key="S1" name="Velko SSD Locking">)"), std::string::npos)
        << shown;
    EXPECT_NE(shown.find("Drive S1 (/dev/nvme0) returned a Level 0 Discovery that is damaged."), std::string::npos)
        << shown;
}

TEST(VelkoSsdJob, RequestedPropertiesGoBeforeShowAll) {
    FakeDrive drive;
    VelkoSsdJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).with("ShowAll", "true").asking("Firmware").on({&drive}),
              answer(property("Firmware", "Firmware", "4", "string", "FW1")));
}

TEST(VelkoSsdJob, ADriveWithoutNamespacesShowsItsTotalCapacity) {
    FakeDrive drive;
    drive.expect(hostNamespaces({})).expect(identify(0x01).answers(identifyController().le64(280, 4294967296)));
    VelkoSsdJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("Capacity").on({&drive}),
              answer(property("Capacity", "Capacity", "8", "string", "4.29 GB")));
}

TEST(VelkoSsdJob, TheCapacityIsThatOfAllNamespaces) {
    FakeDrive drive;
    drive.expect(hostNamespaces({unusedNamespace(1), unusedNamespace(2), unusedNamespace(3)}))
        .expect(hostSizes({unusedNamespace(1), unusedNamespace(2), unusedNamespace(3)}))
        .expect(identify(0x00, 1).answers(identifyNamespace(2097152)));
    VelkoSsdJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("Capacity").asking("PhysicalSize").on({&drive}),
              answer(property("Capacity", "Capacity", "8", "string", "3.22 GB") +
                     inBytes("Physical Size", "PhysicalSize", "8", "sint64", "1073741824")));
}

/// The host knows what it uses, whatever the drive says.
TEST(VelkoSsdJob, WhatTheDriveDoesNotSayOfItsSizeTheHostDoes) {
    const struct {
        Expected answer;
        const char* why;
    } CASES[] = {
        {identify(0x00, 1).refuses(0x0006), "it refuses Identify"},
        {identify(0x00, 1).answers(identifyNamespace(2097152, 0)), "its format is not there"},
        {identify(0x00, 1).answers(identifyNamespace(0)), "it has no such namespace"},
        {identify(0x00, 1).answers(identifyNamespace(UINT64_MAX)), "no number takes its size"},
    };
    for (const auto& c : CASES) {
        FakeDrive drive;
        drive.expect(hostNamespaces({unusedNamespace(1)})).expect(c.answer).expect(hostSizes({unusedNamespace(1)}));
        VelkoSsdJob job;
        EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES)
                      .asking("Capacity")
                      .asking("PhysicalSize")
                      .asking("SectorSize")
                      .on({&drive}),
                  answer(property("Capacity", "Capacity", "8", "string", "1.07 GB") +
                         inBytes("Physical Size", "PhysicalSize", "8", "sint64", "1073741824") +
                         inBytes("Sector Size", "SectorSize", "4", "uint32", "512")))
            << c.why;
    }
}

TEST(VelkoSsdJob, TheSizesAreThoseThatTheDriveSays) {
    FakeDrive drive;
    drive.expect(hostNamespaces({unusedNamespace(1)})).expect(identify(0x00, 1).answers(identifyNamespace(1000, 12)));
    VelkoSsdJob job;
    EXPECT_EQ(
        JobRun(job, JOBTYPE_GET_PROPERTIES).asking("Capacity").asking("PhysicalSize").asking("SectorSize").on({&drive}),
        answer(property("Capacity", "Capacity", "8", "string", "4.10 MB") +
               inBytes("Physical Size", "PhysicalSize", "8", "sint64", "4096000") +
               inBytes("Sector Size", "SectorSize", "4", "uint32", "4096")));
}

TEST(VelkoSsdJob, TheStatusReportsEachWarning) {
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog().byte(0, 0x05)))
        .expect(identify(0x01).answers(identifyController()));
    VelkoSsdJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("DeviceStatus").on({&drive}),
              answer(property("Device Status", "DeviceStatus", "73", "string",
                              "Available spare has fallen below the threshold. Reliability is degraded.")));
}

TEST(VelkoSsdJob, AFailingDriveDoesNotSpoilTheOthers) {
    FakeDrive first("S0", "/dev/nvme1");
    first.expect(lookAtLog(0x02, 512).breaks(gone()));
    FakeDrive second;
    second.expect(lookAtLog(0x02, 512).answers(smartLog())).expect(identify(0x01).answers(identifyController()));
    FakeDrive third("S2", "/dev/nvme2");
    third.expect(lookAtLog(0x02, 512).refuses(0x0006));
    FakeDrive broken("S3", "/dev/nvme3");
    Attribute error = attributes::device::errorString();
    error.setValue(std::string("state is too short"));
    broken.device()->setAttribute(error);
    VelkoSsdJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("DeviceStatus").on({&first, &second, &third, &broken}), R"(0/0
<Object category="Output">
<Object category="status" key="S0" name="Velko SSD">
<Property category="attribute" displayName="Serial Number" name="SerialNumber" size="3" type="string" value="S0"/>
<Property category="attribute" displayName="Device Path" name="DevicePath" size="11" type="string" value="/dev/nvme1"/>
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme0 is gone."/>
</Object>
<Object category="attributeList" key="Velko SSD S1">
<Property category="attribute" displayName="Device Status" name="DeviceStatus" size="8" type="string" value="Healthy"/>
</Object>
<Object category="attributeList" key="Velko SSD S2">
<Property category="attribute" displayName="Device Status" name="DeviceStatus" size="8" type="string" value="Unknown"/>
</Object>
<Object category="status" key="S2" name="Velko SSD Health">
<Property category="attribute" displayName="Serial Number" name="SerialNumber" size="3" type="string" value="S2"/>
<Property category="attribute" displayName="Device Path" name="DevicePath" size="11" type="string" value="/dev/nvme2"/>
<Property name="Category" value="10"/>
<Property name="Code" value="33"/>
<Property name="Message" value="Failed to retrieve data from selected device. Get Log Page failed on drive S2 (/dev/nvme2): Internal Error (status code type 0x0, status code 0x06, opcode 0x02)."/>
</Object>
<Object category="status" key="S3" name="Velko SSD">
<Property category="attribute" displayName="Serial Number" name="SerialNumber" size="3" type="string" value="S3"/>
<Property category="attribute" displayName="Device Path" name="DevicePath" size="11" type="string" value="/dev/nvme3"/>
<Property name="Category" value="10"/>
<Property name="Code" value="33"/>
<Property name="Message" value="Failed to retrieve data from selected device. state is too short"/>
</Object>
</Object>)");
}

TEST(VelkoSsdJob, AControllerWithoutNamespacesMayLackTheHealthLog) {
    constexpr struct {
        uint8_t type;
        uint16_t refusal;
        const char* size;
        const char* status;
    } CASES[] = {
        {0, 0x4109, "8", "Unknown"},              // not reported: before NVMe 1.4
        {1, 0x4109, "8", "Unknown"},              // I/O
        {2, 0x4109, "19", "Property not found"},  // discovery
        {3, 0x4002, "19", "Property not found"},  // administrative
    };
    for (const auto& c : CASES) {
        FakeDrive drive;
        drive.expect(lookAtLog(0x02, 512).refuses(c.refusal))
            .expect(identify(0x01).answers(identifyController().byte(111, c.type)));
        VelkoSsdJob job;
        const std::string shown = JobRun(job, JOBTYPE_GET_PROPERTIES).asking("DeviceStatus").on({&drive});
        const std::string attribute = property("Device Status", "DeviceStatus", c.size, "string", c.status);
        EXPECT_NE(shown.find(attribute), std::string::npos) << shown;
        EXPECT_EQ(shown.find("<Property name=\"Code\" value=\"33\"/>") != std::string::npos, c.size[0] == '8') << shown;
    }
}

TEST(VelkoSsdJob, KnowsItsProperties) {
    const VelkoSsdJob job;
    const AttributeList properties = job.getSupportedProperties();
    EXPECT_EQ(properties.size(), 100U);
    EXPECT_EQ(properties.count("Index"), 1U);
    EXPECT_EQ(properties.count("WriteCacheSupported"), 1U);
}

TEST(VelkoSsdJob, AnUpdateIsReportedByItsRevision) {
    const TemporaryFolder folder;
    addModule(folder, "new", {"FW2", "2026-02-01", "FW1", "FAKE*"});
    addModule(folder, "future", {"FW3", "2026-03-01", "FW2", "FAKE*"});
    FakeDrive drive;
    const auto available = [&] {
        VelkoSsdJob job;
        return JobRun(job, JOBTYPE_GET_PROPERTIES)
            .with("AdditionalModuleDirs", folder / "")
            .asking("FirmwareUpdateAvailable")
            .on({&drive});
    };
    const auto text = [](const std::string& size, const std::string& value) {
        return answer(property("Firmware Update Available", "FirmwareUpdateAvailable", size, "string", value));
    };
    EXPECT_EQ(available(), text("4", "FW2"));
    std::filesystem::remove(folder / "new.json");
    EXPECT_EQ(available(), text("135",
                                "No known update for SSD. If an update is expected, please contact your SSD Vendor "
                                "representative about firmware update for this drive."));
    std::filesystem::remove(folder / "future.json");
    addModule(folder, "same", {"FW1", "2026-02-01", "*", "FAKE*"});
    EXPECT_EQ(available(), text("70", "The selected drive contains current firmware as of this tool release."));
}

}  // namespace
}  // namespace features::jobs
