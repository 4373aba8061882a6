#include <gtest/gtest.h>

#include <filesystem>

#include "features/jobs/logs/NvmeLogJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/Golden.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/StatusAnswer.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

constexpr const char* GOLDENS = JOBS_TEST_DATA "/goldens/";
constexpr const char* REFUSED =
    "Get Log Page failed on drive S1 (/dev/nvme0): Invalid Log Page (status code type 0x1, status code 0x09, opcode "
    "0x02).";

/// Telemetry, a persistent event log, and offsets in them.
DriveBytes withLongLogs() {
    return identifyController().byte(261, 0x1C);
}

/// The answer of a job that holds nothing but this status of drive S1.
std::string answerOf(const std::string& category, const std::string& code, const std::string& message) {
    return statusAnswer("NVMe Log", category, code, message);
}

/// A page with this text at its beginning.
DriveBytes page(size_t bytes, const std::string& text) {
    return DriveBytes(bytes).text(0, text, text.size());
}

std::string asText(const DriveBytes& bytes) {
    return {bytes.bytes().begin(), bytes.bytes().end()};
}

const std::string FIRMWARE_SLOTS = R"(0/0
<Object category="Output">
<Object key="S1" name="Firmware Slot Information">
<Property description="Active Firmware Info" name="AFI" value="0x01"/>
<Property description="Slot that the running firmware was loaded from" name="AFI Active Slot" value="1"/>
<Property description="Slot that the next controller level reset activates" name="AFI Next Slot" value="none"/>
<Property description="Firmware Revision for Slot 1" name="FRS1" value="FW1"/>
<Property description="Firmware Revision for Slot 2" name="FRS2" value="none"/>
<Property description="Firmware Revision for Slot 3" name="FRS3" value="none"/>
<Property description="Firmware Revision for Slot 4" name="FRS4" value="none"/>
<Property description="Firmware Revision for Slot 5" name="FRS5" value="none"/>
<Property description="Firmware Revision for Slot 6" name="FRS6" value="none"/>
<Property description="Firmware Revision for Slot 7" name="FRS7" value="none"/>
</Object>
</Object>)";

DriveBytes firmwareSlots() {
    return DriveBytes(512).byte(0, 1).text(8, "FW1", 8);
}

TEST(NvmeLogJob, ShowsAPageByNumberOrByName) {
    FakeDrive drive;
    drive.expect(lookAtLog(0x03, 512).answers(firmwareSlots()))
        .expect(lookAtLog(0x03, 512).answers(firmwareSlots()))
        .expect(lookAtLog(0x03, 512).answers(firmwareSlots()));
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "3").on({&drive}), FIRMWARE_SLOTS);
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogName", "firmware-slot INFORMATION").on({&drive}), FIRMWARE_SLOTS);
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "0x3").on({&drive}), FIRMWARE_SLOTS);
}

TEST(NvmeLogJob, AnUnknownPageIsShownAsBytes) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController()))
        .expect(lookAtLog(0xCA, 20).answers(page(20, "0123456789ABCDEFGHIJ")));
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "202").with("NumDWORDs", "5").on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="Log Page 0xCA">
<Property name="Offset 0x00000000" value="30313233343536373839414243444546"/>
<Property name="Offset 0x00000010" value="4748494A"/>
</Object>
</Object>)");
    drive.expect(identify(0x01).answers(identifyController())).expect(lookAtLog(0xCA, 512).refuses(NO_SUCH_LOG));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "202").on({&drive}), answerOf("0", "25", REFUSED));
}

TEST(NvmeLogJob, EveryFieldOfTheCommandIsHonoured) {
    FakeDrive drive;
    drive.expect(hostNamespaces({unusedNamespace(3)}))
        .expect(identify(0x01).answers(identifyController()))  // has it offsets?
        // 8 dwords, without retaining the event, with Log Specific Field 5 and identifier 9, at offset 2^32 + 4.
        .expect(Expected::admin(0x02)
                    .nsid(3)
                    .dword(10, 0x000705CA)
                    .dword(11, 0x00090000)
                    .dword(12, 4)
                    .dword(13, 1)
                    .reads(32)
                    .answers(page(32, "")));
    NvmeLogJob job;
    const std::string answer = JobRun(job, JOBTYPE_METHOD)
                                   .with("LogId", "202")
                                   .with("NamespaceSpecific", "true")
                                   .with("LogSpecificField", "5")
                                   .with("LogSpecificId", "9")
                                   .with("RetainAsynchronousEvent", "false")
                                   .with("LogPageOffset", "4294967300")
                                   .with("NumDWORDs", "8")
                                   .on({&drive});
    EXPECT_EQ(answer, R"(0/0
<Object category="Output">
<Object key="S1" name="Log Page 0xCA">
<Property name="Offset 0x100000004" value="00000000000000000000000000000000"/>
<Property name="Offset 0x100000014" value="00000000000000000000000000000000"/>
</Object>
</Object>)");
}

TEST(NvmeLogJob, TheRestOfAPageAfterAnOffsetIsShownAsBytes) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController()))
        .expect(logPage(0x03, 8, 504).dword(10, 0x00018003).answers(page(8, "the end.")));
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "3").with("LogPageOffset", "504").on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="Firmware Slot Information">
<Property name="Offset 0x000001F8" value="74686520656E642E"/>
</Object>
</Object>)");
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "3").with("LogPageOffset", "512").on({&drive}),
              answerOf("10", "36",
                       "The offset 512 is not within the log page, which has 512 bytes on drive S1 "
                       "(/dev/nvme0)."));
}

TEST(NvmeLogJob, TheErrorLogHasAsManyEntriesAsTheControllerSays) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController().byte(262, 3)))
        .expect(lookAtLog(0x01, 256).answers(DriveBytes(256)));
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogName", "errorinformation").on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="Error Information">
<Property name="Entries" value="0"/>
</Object>
</Object>)");
}

TEST(NvmeLogJob, TheEnduranceGroupIsThatOfTheNamespace) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController().le32(96, 0x10)))
        .expect(hostNamespaces({unusedNamespace(1)}))
        .expect(identify(0x00, 1).answers(identifyNamespace(1000).le16(102, 7)))
        .expect(lookAtLog(0x09, 512).dword(11, 0x00070000).refuses(NO_SUCH_LOG));
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "9").on({&drive}), answerOf("0", "25", REFUSED));
}

/// NVMe 2.0, with log page 05h; namespace 2 is of a command set of its own.
FakeDrive& withCommandSets(FakeDrive& drive, uint8_t csi) {
    return drive.expect(identify(0x01).answers(identifyController().le32(80, 0x20000).byte(261, 0x02)))
        .expect(lookAtLog(0x05, 4096).answers(DriveBytes(4096).le32(0x0C, 1).le32(1024, 1).le32(1024 + 0x7D * 4, 1)))
        .expect(identify(0x02).answers(namespaceList({1, 2})))
        .expect(identify(0x03, 1).answers(descriptorsOf(0)))
        .expect(identify(0x03, 2).answers(descriptorsOf(csi)));
}

const std::string EFFECTS_OF_NVM = R"(0/0
<Object category="Output">
<Object key="S1" name="Commands Supported and Effects">
<Property description="Reserved" name="Admin 0x03" value="supported"/>
<Property description="Flush" name="I/O 0x00" value="supported"/>
<Property description="Reserved" name="I/O 0x7D" value="supported"/>
)";

TEST(NvmeLogJob, TheCommandsOfEachCommandSetOfTheNamespacesAreShown) {
    FakeDrive drive;
    const DriveBytes ofZones =
        DriveBytes(4096).le32(4 * 0x06, 1).le32(1024 + 4, 3).le32(1024 + 0x79 * 4, 0x100003).le32(1024 + 0x7D * 4, 3);
    withCommandSets(drive, 2).expect(lookAtLog(0x05, 4096).dword(14, 0x02000000).answers(ofZones));
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "5").on({&drive}),
              EFFECTS_OF_NVM + R"(<Object name="Zoned Namespace Command Set">
<Property description="Identify" name="Admin 0x06" value="supported"/>
<Property description="Write" name="I/O 0x01" value="supported; changes user data"/>
<Property description="Zone Management Send" name="I/O 0x79" value="supported; changes user data; scope: namespace"/>
<Property description="Zone Append" name="I/O 0x7D" value="supported; changes user data"/>
</Object>
</Object>
</Object>)");
}

TEST(NvmeLogJob, ACommandOfACommandSetWithoutNamesKeepsItsNumber) {
    FakeDrive drive;
    withCommandSets(drive, 1).expect(
        lookAtLog(0x05, 4096)
            .dword(14, 0x01000000)
            .answers(
                DriveBytes(4096).le32(1024, 1).le32(1024 + 4, 1).le32(1024 + 0x12 * 4, 1).le32(1024 + 0xC0 * 4, 1)));
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "5").on({&drive}),
              EFFECTS_OF_NVM + R"(<Object name="Key Value Command Set">
<Property description="Flush" name="I/O 0x00" value="supported"/>
<Property name="I/O 0x01" value="supported"/>
<Property description="I/O Management Receive" name="I/O 0x12" value="supported"/>
<Property description="Vendor Specific" name="I/O 0xC0" value="supported"/>
</Object>
</Object>
</Object>)");
}

TEST(NvmeLogJob, ARefusedCommandSetIsReportedInItsPlace) {
    FakeDrive drive;
    withCommandSets(drive, 2).expect(lookAtLog(0x05, 4096).dword(14, 0x02000000).refuses(NO_SUCH_LOG));
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "5").on({&drive}),
              EFFECTS_OF_NVM + R"(<Object name="Zoned Namespace Command Set">
<Property name="Not read" value=")" +
                  REFUSED + R"("/>
</Object>
</Object>
</Object>)");
}

TEST(NvmeLogJob, APageOfTheStandardThatTheDriveDoesNotOfferIsNotAskedFor) {
    FakeDrive drive, list;
    drive.expect(identify(0x01).answers(identifyController()));
    list.expect(withList()).expect(logList(0xC0));
    NvmeLogJob job;
    for (const FakeDrive* one : {&drive, &list}) {
        EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "5").on({one}),
                  answerOf("10", "3",
                           "The selected drive does not support this feature. Drive S1 (/dev/nvme0) does not offer "
                           "log page 0x05 (Commands Supported and Effects)."));
    }
}

TEST(NvmeLogJob, AnOcpPageThatIsNotOfferedIsKnownOnceItWasNamed) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController()))
        .expect(lookAtLog(0xC0, 512).answers(ocpSmart()))
        .expect(identify(0x01).answers(identifyController()))
        .expect(lookAtLog(0xC0, 512).answers(ocpSmart()));
    NvmeLogJob job;
    (void)JobRun(job, JOBTYPE_METHOD).with("LogId", "192").on({&drive});
    EXPECT_NE(JobRun(job, JOBTYPE_METHOD).with("List", "True").on({&drive}).find("LID 0xC0"), std::string::npos);
}

/// The header of a persistent event log of so many bytes, and the commands that establish and release a reporting
/// context.
DriveBytes eventLogHeader(uint64_t bytes = 512) {
    return DriveBytes(512).byte(0, 0x0D).le64(8, bytes).le16(18, 492);
}
Expected establish() {
    return logPage(0x0D, 512).dword(10, 0x007F010D);
}
Expected release() {
    return logPage(0x0D, 512).dword(10, 0x007F020D).answers(eventLogHeader());
}

TEST(NvmeLogJob, TheHeaderOfThePersistentEventLogIsReadInAContextThatIsLeft) {
    const DriveBytes header = eventLogHeader();
    FakeDrive drive;
    drive.expect(identify(0x01).answers(withLongLogs()))
        .expect(establish().answers(header))
        .expect(lookAtLog(0x0D, 512).answers(header))
        .expect(release());
    NvmeLogJob job;
    const std::string shown = JobRun(job, JOBTYPE_METHOD).with("LogId", "13").on({&drive});
    EXPECT_NE(shown.find("<Object key=\"S1\" name=\"Persistent Event Log Header\">"), std::string::npos) << shown;
    FakeDrive held;  // by another process, which keeps its context
    held.expect(identify(0x01).answers(withLongLogs()))
        .expect(establish().refuses(0x400C))
        .expect(logPage(0x0D, 512).answers(header))
        .expect(lookAtLog(0x0D, 512).answers(header));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "13").on({&held}), shown);
    FakeDrive asked;  // for what the user's own field says: the context that is there
    asked.expect(identify(0x01).answers(withLongLogs())).expect(lookAtLog(0x0D, 512).answers(header));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "13").with("LogSpecificField", "0").on({&asked}), shown);
}

TEST(NvmeLogJob, AContextThatCannotBeReadInIsLeftToo) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(withLongLogs()))
        .expect(establish().answers(eventLogHeader()))
        .expect(lookAtLog(0x0D, 512).refuses(0x4006))
        .expect(release());
    NvmeLogJob job;
    EXPECT_NE(JobRun(job, JOBTYPE_METHOD).with("LogId", "13").on({&drive}).find("Internal Error"), std::string::npos);
    FakeDrive refusing;
    refusing.expect(identify(0x01).answers(withLongLogs())).expect(establish().refuses(0x4006));
    EXPECT_NE(JobRun(job, JOBTYPE_METHOD).with("LogId", "13").on({&refusing}).find("Internal Error"),
              std::string::npos);
}

TEST(NvmeLogJob, AnOcpPageIsDecodedByItsGuidAlone) {
    FakeDrive drive;
    const DriveBytes foreign = page(512, "no OCP");
    drive.expect(identify(0x01).answers(identifyController()))
        .expect(lookAtLog(0xC0, 512).answers(foreign))
        .expect(identify(0x01).answers(identifyController()))
        .expect(lookAtLog(0xC0, 8).answers(page(8, "no OCP")));
    NvmeLogJob job;
    const std::string answer =
        JobRun(job, JOBTYPE_METHOD).with("LogName", "ocp smart health information extended").on({&drive});
    EXPECT_EQ(answer.substr(0, answer.find("<Property name=\"Offset 0x00000010\"")), R"(0/0
<Object category="Output">
<Object key="S1" name="Log Page 0xC0">
<Property name="Offset 0x00000000" value="6E6F204F435000000000000000000000"/>
)");
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "192").with("NumDWORDs", "2").on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="Log Page 0xC0">
<Property name="Offset 0x00000000" value="6E6F204F43500000"/>
</Object>
</Object>)");
}

TEST(NvmeLogJob, TheListIsTheDrivesOwnWhereItHasOne) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController().byte(261, 0x24)))
        .expect(lookAtLog(0x00, 1024).answers(DriveBytes(1024).byte(8, 1).byte(0xC1 * 4, 1)));
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("List", "True").on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="Supported Log Pages">
<Property name="LID 0x02" value="SMART / Health Information"/>
<Property name="LID 0xC1" value="Vendor Specific"/>
</Object>
</Object>)");
}

/// The descriptor of an ANA group.
Expected anaGroup(uint64_t offset) {
    return Expected::admin(0x02)
        .nsid(0xFFFFFFFF)
        .dword(10, 0x0007800C)
        .dword(12, static_cast<uint32_t>(offset))
        .reads(32);
}

TEST(NvmeLogJob, WhatIsTooLongToBeDecodedIsRefusedBeforeItIsRead) {
    const auto refusal = [](const std::string& bytes, const std::string& lid) {
        return answerOf("0", "37",
                        "The log of drive S1 (/dev/nvme0) has " + bytes +
                            " bytes, and at most 4194304 are decoded. &apos;dump -destination FILE -velkossd "
                            "/dev/nvme0 -nvmelog " +
                            lid + "&apos; writes it to a file piece by piece.");
    };
    NvmeLogJob job;
    FakeDrive lba;
    lba.expect(identify(0x01).answers(identifyController().le16(256, 0x0200)))
        .expect(lookAtLog(0x0E, 16).answers(DriveBytes(16).le32(0, 0xFFFFFFFF)));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "14").on({&lba}), refusal("4294967296", "14"));
    FakeDrive ana;
    ana.expect(identify(0x01).answers(identifyController().byte(76, 0x08).le32(516, 0xFFFFFFFF)))
        .expect(lookAtLog(0x0C, 16).answers(DriveBytes(16).le16(8, 1)))
        .expect(lookAtLog(0x0C, 4096).answers(DriveBytes(4096).le32(20, 0xFFFFFFFF)));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "12").on({&ana}), refusal("17179869228", "12"));
    FakeDrive any;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "202").with("NumDWORDs", "1048577").on({&any}),
              refusal("4194308", "202"));
}

/// A log of two groups with three namespaces, of a controller that takes thousands.
TEST(NvmeLogJob, TheGroupsOfAnAnaLogSayHowLongItIs) {
    const DriveBytes controller = identifyController().byte(76, 0x08).le32(516, 0xFFFFFFFF);
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller))
        .expect(lookAtLog(0x0C, 16).answers(DriveBytes(16).le16(8, 2)))
        .expect(lookAtLog(0x0C, 4096)
                    .answers(DriveBytes(4096).le32(16, 1).le32(20, 2).le32(48, 4).le32(52, 9).le32(56, 7).le32(60, 1)))
        .expect(lookAtLog(0x0C, 92).answers(
            DriveBytes(92).le16(8, 1).le32(16, 1).le32(20, 2).byte(32, 1).le32(48, 4).le32(52, 9)));
    NvmeLogJob job;
    const std::string answer = JobRun(job, JOBTYPE_METHOD).with("LogId", "12").on({&drive});
    EXPECT_NE(answer.find("<Object name=\"Namespaces\">\n<Property name=\"Entry 0\" value=\"4\"/>\n"
                          "<Property name=\"Entry 1\" value=\"9\"/>\n</Object>"),
              std::string::npos)
        << answer;
}

/// The Linux target answers the beginning of its log at every offset: what the beginning has is not read by one.
TEST(NvmeLogJob, GroupsAfterTheBeginningOfAnAnaLogAreReadByTheirOffsets) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController().byte(76, 0x08).le32(516, 0xFFFFFFFF)))
        .expect(lookAtLog(0x0C, 16).answers(DriveBytes(16).le16(8, 2)))
        .expect(lookAtLog(0x0C, 4096).answers(DriveBytes(4096).le32(16, 1).le32(20, 1020)))
        .expect(anaGroup(4128).answers(DriveBytes(32).le32(0, 2).le32(4, 1)))
        .expect(lookAtLog(0x0C, 4164).refuses(NO_SUCH_LOG));
    NvmeLogJob job;
    (void)JobRun(job, JOBTYPE_METHOD).with("LogId", "12").on({&drive});
}

TEST(NvmeLogJob, AGroupWithMoreNamespacesThanTheControllerTakesIsReadUpToTheirNumber) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController().byte(76, 0x08).le32(516, 4)))
        .expect(lookAtLog(0x0C, 16).answers(DriveBytes(16).le16(8, 1)))
        .expect(lookAtLog(0x0C, 64).answers(DriveBytes(64).le32(16, 1).le32(20, 5)))
        .expect(lookAtLog(0x0C, 64).refuses(NO_SUCH_LOG));
    NvmeLogJob job;
    (void)JobRun(job, JOBTYPE_METHOD).with("LogId", "12").on({&drive});
}

/// The first group's fifth namespace leaves 28 bytes for the second group.
TEST(NvmeLogJob, NoGroupIsReadThatDoesNotFitInWhatTheControllerTakes) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController().byte(76, 0x08).le32(516, 4)))
        .expect(lookAtLog(0x0C, 16).answers(DriveBytes(16).le16(8, 2)))
        .expect(lookAtLog(0x0C, 96).answers(DriveBytes(96).le32(16, 1).le32(20, 5)))
        .expect(lookAtLog(0x0C, 96).refuses(NO_SUCH_LOG));
    NvmeLogJob job;
    (void)JobRun(job, JOBTYPE_METHOD).with("LogId", "12").on({&drive});
}

/// OCP 2.0 has C5h, and its C8h came with 2.5. Where the maker and OCP have a feature each, it is OCP's.
TEST(NvmeLogJob, VendorSpecificFeaturesHaveTheNamesOfTheDrivesDialects) {
    const DriveBytes features =
        DriveBytes(1024).byte(4 * 0xC5, 1).byte(4 * 0xC6, 1).byte(4 * 0xC8, 1).byte(4 * 0xD0, 1);
    const struct {
        bool isVelko;
        bool isOcp;
        const char* names[4];
    } cases[] = {
        {false, false, {"Vendor Specific", "Vendor Specific", "Vendor Specific", "Vendor Specific"}},
        {true, false, {"Vendor Specific", "Power Governor", "SMBus Address", "Vendor Specific"}},
        {false, true, {"Latency Monitor", "PLP Health Check Interval", "Vendor Specific", "Vendor Specific"}},
        {true, true, {"Latency Monitor", "PLP Health Check Interval", "SMBus Address", "Vendor Specific"}},
    };
    for (const auto& c : cases) {
        FakeDrive drive;
        if (c.isVelko) velko(drive);
        drive.expect(withList())
            .expect(logList({0x12, 0xC0}))
            .expect(lookAtLog(0x12, 1024).answers(features))
            .expect(c.isOcp ? ocpLog().answers(ocpSmart(3)) : ocpLog().refuses(NO_SUCH_LOG));
        NvmeLogJob job;
        std::string expected =
            "0/0\n<Object category=\"Output\">\n<Object key=\"S1\" name=\"Feature Identifiers Supported and "
            "Effects\">\n";
        const char* const fids[] = {"0xC5", "0xC6", "0xC8", "0xD0"};
        for (size_t i = 0; i < 4; ++i) {
            expected += std::string("<Property description=\"") + c.names[i] + "\" name=\"FID " + fids[i] +
                        "\" value=\"supported\"/>\n";
        }
        EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "18").on({&drive}), expected + "</Object>\n</Object>");
    }
}

TEST(NvmeLogJob, OneThatIsTooLongIsShownInItsPlaceAmongAllPages) {
    FakeDrive drive;
    drive
        .expect(identify(0x01).answers(identifyController().byte(76, 0x08).le32(516, 0xFFFFFFFF)))  // ANA
        .expect(lookAtLog(0x01, 4096).refuses(NO_SUCH_LOG))
        .expect(lookAtLog(0x02, 512).refuses(NO_SUCH_LOG))
        .expect(lookAtLog(0x03, 512).refuses(NO_SUCH_LOG))
        .expect(lookAtLog(0x0C, 16).answers(DriveBytes(16).le16(8, 1)))
        .expect(lookAtLog(0x0C, 4096).answers(DriveBytes(4096).le32(20, 0xFFFFFFFF)));
    NvmeLogJob job;
    const std::string answer = JobRun(job, JOBTYPE_METHOD).on({&drive});
    EXPECT_NE(answer.find("<Object key=\"S1\" name=\"Asymmetric Namespace Access\">\n<Property name=\"Not read\" "
                          "value=\"The log of drive S1 (/dev/nvme0) has 17179869228 bytes, and at most"),
              std::string::npos)
        << answer;
}

const std::string PLAIN_LIST = R"(0/0
<Object category="Output">
<Object key="S1" name="Supported Log Pages">
<Property name="LID 0x01" value="Error Information"/>
<Property name="LID 0x02" value="SMART / Health Information"/>
<Property name="LID 0x03" value="Firmware Slot Information"/>
</Object>
</Object>)";

TEST(NvmeLogJob, WithoutAListOfItsOwnTheControllersBitsDecide) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController()));
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("List", "True").on({&drive}), PLAIN_LIST);
    // A controller that claims the list and refuses it.
    drive.expect(identify(0x01).answers(identifyController().byte(261, 0x24)))
        .expect(lookAtLog(0x00, 1024).refuses(NO_SUCH_LOG));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("List", "True").on({&drive}), PLAIN_LIST);
}

TEST(NvmeLogJob, TheListHasAllThatTheBitsReportAndTheOcpPage) {
    FakeDrive drive;
    const DriveBytes identifyAll = identifyController()
                                       .byte(76, 0x08)     // ANA
                                       .le32(92, 0x4100)   // notices of namespaces and endurance groups
                                       .le32(96, 0x230)    // endurance groups, predictable latency, UUID List
                                       .le16(256, 0x0210)  // self-test, LBA status
                                       .byte(261, 0x1E)    // effects, telemetry, persistent event log
                                       .le32(328, 0x01)    // sanitize
                                       .le16(520, 0x20);   // reservations
    drive.expect(identify(0x01).answers(identifyAll))
        .expect(identify(0x17).answers(ocpUuid()))
        .expect(lookAtLog(0xC0, 512).dword(14, 2).answers(DriveBytes(512).put(
            496, {0xC5, 0xAF, 0x10, 0x28, 0xEA, 0xBF, 0xF2, 0xA4, 0x9C, 0x4F, 0x6F, 0x7C, 0xC9, 0x14, 0xD5, 0xAF})));
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("List", "True").on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="Supported Log Pages">
<Property name="LID 0x01" value="Error Information"/>
<Property name="LID 0x02" value="SMART / Health Information"/>
<Property name="LID 0x03" value="Firmware Slot Information"/>
<Property name="LID 0x04" value="Changed Namespace List"/>
<Property name="LID 0x05" value="Commands Supported and Effects"/>
<Property name="LID 0x06" value="Device Self-test"/>
<Property name="LID 0x07" value="Telemetry Host-Initiated"/>
<Property name="LID 0x08" value="Telemetry Controller-Initiated"/>
<Property name="LID 0x09" value="Endurance Group Information"/>
<Property name="LID 0x0A" value="Predictable Latency Per NVM Set"/>
<Property name="LID 0x0B" value="Predictable Latency Event Aggregate"/>
<Property name="LID 0x0C" value="Asymmetric Namespace Access"/>
<Property name="LID 0x0D" value="Persistent Event Log"/>
<Property name="LID 0x0E" value="LBA Status Information"/>
<Property name="LID 0x0F" value="Endurance Group Event Aggregate"/>
<Property name="LID 0x80" value="Reservation Notification"/>
<Property name="LID 0x81" value="Sanitize Status"/>
<Property name="LID 0xC0" value="OCP SMART / Health Information Extended"/>
</Object>
</Object>)");
}

/// Without an identifier, or with 0: all that can be decoded.
TEST(NvmeLogJob, AllPagesAreThoseThatTheDriveHasAndARefusedOneIsReportedInItsPlace) {
    for (const bool withZero : {false, true}) {
        FakeDrive drive;
        drive.expect(identify(0x01).answers(identifyController().le32(92, 0x100)))
            .expect(lookAtLog(0x01, 4096).answers(DriveBytes(4096)))
            .expect(lookAtLog(0x02, 512).answers(smartLog()))
            .expect(lookAtLog(0x03, 512).answers(firmwareSlots()))
            .expect(lookAtLog(0x04, 4096).refuses(NO_SUCH_LOG));
        NvmeLogJob job;
        JobRun run(job, JOBTYPE_METHOD);
        if (withZero) run.with("LogId", "0");
        expectGolden(std::string(GOLDENS) + "nvmelog_all.xml", run.on({&drive}));
    }
}

TEST(NvmeLogJob, ADriveThatGoesAwayEndsTheRow) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController().byte(262, 0)))
        .expect(lookAtLog(0x01, 64).answers(DriveBytes(64)))
        .expect(lookAtLog(0x02, 512).breaks(gone()));
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="Error Information">
<Property name="Entries" value="0"/>
</Object>
<Object category="status" key="S1" name="NVMe Log">
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme0 is gone."/>
</Object>
</Object>)");
}

TEST(NvmeLogJob, OneOfSeveralDrivesFails) {
    FakeDrive first("S0", "/dev/nvme1");
    first.expect(lookAtLog(0x03, 512).breaks(gone()));
    FakeDrive second;
    second.expect(lookAtLog(0x03, 512).answers(firmwareSlots()));
    NvmeLogJob job;
    const std::string header = "0/0\n<Object category=\"Output\">\n";
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "3").on({&first, &second}),
              header + R"(<Object category="status" key="S0" name="NVMe Log">
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme0 is gone."/>
</Object>
)" + FIRMWARE_SLOTS.substr(header.size()));
}

constexpr struct {
    const char* key;
    const char* value;
    const char* answer;
} BAD_ARGUMENTS[] = {
    {"LogId", "256", "10/4 Invalid log ID given. It must be a number from 0 to 255."},
    {"LogId", "4294967296",
     "10/36 Invalid value given for LogId: '4294967296'. It must be a number from 0 to 4294967295."},
    {"LogName", "foo", "10/270 Invalid log name specified. There is no log page 'foo'; 'list' shows those of a drive."},
    {"List", "maybe", "10/36 Invalid value given for List: 'maybe'. It must be true or false."},
    {"NamespaceSpecific", "2", "10/36 Invalid value given for NamespaceSpecific: '2'. It must be true or false."},
    {"RetainAsynchronousEvent", "x",
     "10/36 Invalid value given for RetainAsynchronousEvent: 'x'. It must be true or false."},
    {"LogSpecificField", "128",
     "10/36 Invalid value given for LogSpecificField: '128'. It must be a number from 0 to 127."},
    {"LogSpecificId", "65536",
     "10/36 Invalid value given for LogSpecificId: '65536'. It must be a number from 0 to 65535."},
    {"LogPageOffset", "2", "10/36 Invalid value given for LogPageOffset: '2'. It must be a multiple of 4 bytes."},
    {"NumDWORDs", "0", "10/36 Invalid value given for NumDWORDs: '0'. It must be 1 or more."},
    {"NumDWORDs", "67108865",
     "10/36 Invalid value given for NumDWORDs: '67108865'. It must be a number from 0 to 67108864."},
    {"file", "/tmp/x", "10/4 Invalid log ID given. Name the one log page that is to be written."},
};

TEST(NvmeLogJob, BadArgumentsTouchNoDrive) {
    for (const auto& c : BAD_ARGUMENTS) {
        FakeDrive drive;
        NvmeLogJob job;
        EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(c.key, c.value).on({&drive}), c.answer);
    }
    FakeDrive drive;
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("List", "True").with("file", "/tmp/x").on({&drive}),
              "10/36 The list of log pages is shown, not written to a file. Leave the destination out.");
}

TEST(NvmeLogJob, AnArgumentWithoutAValueCountsAsAbsent) {
    FakeDrive drive;
    drive.expect(lookAtLog(0x03, 512).answers(firmwareSlots()));
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD)
                  .with("LogId", "3")
                  .with("LogPageOffset", "")
                  .with("NumDWORDs", "")
                  .with("LogSpecificField", "")
                  .with("file", "")
                  .on({&drive}),
              FIRMWARE_SLOTS);
}

class NvmeLogFile : public testing::Test {
protected:
    TemporaryFolder folder_;
    std::string file_ = folder_ / "log.bin";
    FakeDrive drive_;
    NvmeLogJob job_;

    std::string dump(const std::string& lid) {
        return JobRun(job_, JOBTYPE_METHOD).with("LogId", lid).with("file", file_).on({&drive_});
    }
};

TEST_F(NvmeLogFile, HoldsThePageByteForByte) {
    drive_.expect(lookAtLog(0x03, 512).answers(firmwareSlots()));
    EXPECT_EQ(dump("3"),
              answerOf("0", "0", "Wrote 512 bytes of log page 0x03 (Firmware Slot Information) to " + file_ + "."));
    EXPECT_EQ(readWholeFile(file_), asText(firmwareSlots()));
}

TEST_F(NvmeLogFile, HoldsTheWholeOfALogWhoseHeaderHoldsItsLength) {
    const DriveBytes header = DriveBytes(512).byte(0, 7).le16(8, 1).le16(10, 2).le16(12, 3);
    const DriveBytes whole = DriveBytes(2048).byte(0, 7).le16(8, 1).le16(10, 2).le16(12, 3).byte(2047, 0xEE);
    drive_.expect(identify(0x01).answers(withLongLogs()))
        .expect(lookAtLog(0x07, 512).answers(header))
        .expect(lookAtLog(0x07, 2048).answers(whole));
    EXPECT_EQ(dump("7"),
              answerOf("0", "0", "Wrote 2048 bytes of log page 0x07 (Telemetry Host-Initiated) to " + file_ + "."));
    EXPECT_EQ(readWholeFile(file_), asText(whole));
    const DriveBytes events = DriveBytes(1024).byte(0, 13).le64(8, 1024);
    drive_.expect(identify(0x01).answers(withLongLogs()))
        .expect(establish().answers(eventLogHeader(1024)))
        .expect(lookAtLog(0x0D, 512).answers(eventLogHeader(1024)))
        .expect(lookAtLog(0x0D, 1024).answers(events))
        .expect(release());
    EXPECT_EQ(dump("13"),
              answerOf("0", "0", "Wrote 1024 bytes of log page 0x0D (Persistent Event Log) to " + file_ + "."));
    EXPECT_EQ(readWholeFile(file_), asText(events));
}

TEST_F(NvmeLogFile, HoldsAPartOfThePersistentEventLogReadInAContext) {
    drive_.expect(identify(0x01).answers(withLongLogs()))
        .expect(establish().answers(eventLogHeader(1024)))
        .expect(logPage(0x0D, 8, 512).dword(10, 0x0001800D).answers(page(8, "event 1.")))
        .expect(release());
    EXPECT_EQ(JobRun(job_, JOBTYPE_METHOD)
                  .with("LogId", "13")
                  .with("LogPageOffset", "512")
                  .with("NumDWORDs", "2")
                  .with("file", file_)
                  .on({&drive_}),
              answerOf("0", "0", "Wrote 8 bytes of log page 0x0D (Persistent Event Log) to " + file_ + "."));
    EXPECT_EQ(readWholeFile(file_), "event 1.");
}

TEST_F(NvmeLogFile, IsNotReplacedByAHeaderWithoutData) {
    const std::string noData = " The log of drive S1 (/dev/nvme0) has a header and no data.";
    writeWholeFile(file_, "data");
    drive_.expect(identify(0x01).answers(withLongLogs()))
        .expect(lookAtLog(0x08, 512).answers(DriveBytes(512).byte(0, 8)));
    EXPECT_EQ(dump("8"), "10/200 Failed to retrieve telemetry data." + noData);
    drive_.expect(identify(0x01).answers(withLongLogs()))
        .expect(establish().answers(eventLogHeader(512)))
        .expect(lookAtLog(0x0D, 512).answers(eventLogHeader(512)))
        .expect(release());
    EXPECT_EQ(dump("13"), "10/33 Failed to retrieve data from selected device." + noData);
    velko(drive_)
        .expect(identify(0x01).answers(identifyController()))
        .expect(lookAtLog(0xD3, 64).answers(DriveBytes(64).text(0, "NLOG", 4).le64(8, 68)));
    EXPECT_EQ(dump("211"), "10/231 Failed to retrieve nlog data." + noData);
    EXPECT_EQ(readWholeFile(file_), "data");
    drive_.expect(identify(0x01).answers(withLongLogs())).expect(lookAtLog(0x08, 8).answers(page(8, "\x08")));
    EXPECT_EQ(JobRun(job_, JOBTYPE_METHOD).with("LogId", "8").with("NumDWORDs", "2").with("file", file_).on({&drive_}),
              answerOf("0", "0", "Wrote 8 bytes of log page 0x08 (Telemetry Controller-Initiated) to " + file_ + "."))
        << "a part is what the user asked for";
}

TEST_F(NvmeLogFile, HoldsAnEventLogWhoseLengthIsNoMultipleOfADword) {
    drive_.expect(identify(0x01).answers(withLongLogs()))
        .expect(establish().answers(eventLogHeader(515)))
        .expect(lookAtLog(0x0D, 512).answers(DriveBytes(512).byte(0, 13).le64(8, 515)))
        .expect(lookAtLog(0x0D, 516).answers(DriveBytes(516).byte(0, 13).le64(8, 515).text(512, "end.", 4)))
        .expect(release());
    EXPECT_EQ(dump("13"),
              answerOf("0", "0", "Wrote 515 bytes of log page 0x0D (Persistent Event Log) to " + file_ + "."));
    EXPECT_EQ(readWholeFile(file_).substr(512), "end");
}

/// A telemetry log whose last block is `last`.
DriveBytes telemetry(size_t bytes, uint16_t last) {
    return DriveBytes(bytes).byte(0, 7).le16(8, last).le16(10, last).le16(12, last);
}

TEST_F(NvmeLogFile, IsNotCutWhereTheLogGrewSinceItsLengthWasAsked) {
    drive_.expect(identify(0x01).answers(withLongLogs()))
        .expect(lookAtLog(0x07, 512).answers(telemetry(512, 1)))
        .expect(lookAtLog(0x07, 1024).answers(telemetry(1024, 2)))
        .expect(logPage(0x07, 512, 1024).dword(10, 0x007F8007).answers(page(512, "what was added")));
    EXPECT_EQ(dump("7"),
              answerOf("0", "0", "Wrote 1536 bytes of log page 0x07 (Telemetry Host-Initiated) to " + file_ + "."));
    EXPECT_EQ(readWholeFile(file_), asText(telemetry(1024, 2)) + asText(page(512, "what was added")));
}

TEST_F(NvmeLogFile, TheActionOfALogHappensOnce) {
    drive_.expect(identify(0x01).answers(withLongLogs()))
        .expect(logPage(0x07, 512).dword(10, 0x007F8107).answers(telemetry(512, 1)))
        .expect(lookAtLog(0x07, 1024).answers(telemetry(1024, 1)));
    EXPECT_EQ(
        JobRun(job_, JOBTYPE_METHOD).with("LogId", "7").with("LogSpecificField", "1").with("file", file_).on({&drive_}),
        answerOf("0", "0", "Wrote 1024 bytes of log page 0x07 (Telemetry Host-Initiated) to " + file_ + "."));
}

TEST_F(NvmeLogFile, HoldsHeadAndRestOfOnePictureOfAMakersBinaryLog) {
    // Each reading from the start takes another picture: one that is longer than its head said would be cut.
    const DriveBytes header = DriveBytes(64).text(0, "NLOG", 4).le64(8, 76).le32(60, 5);
    const DriveBytes rest = DriveBytes(12).text(0, "abcdefgh", 8).le32(8, 5);
    velko(drive_)
        .expect(identify(0x01).answers(identifyController()))
        .expect(lookAtLog(0xD3, 64).answers(header))
        .expect(logPage(0xD3, 12, 64).dword(10, 0x000280D3).answers(rest));
    EXPECT_EQ(dump("211"), answerOf("0", "0", "Wrote 76 bytes of log page 0xD3 (VELKO Nlog) to " + file_ + "."));
    EXPECT_EQ(readWholeFile(file_), asText(header) + asText(rest));
}

TEST_F(NvmeLogFile, TheFieldsOfTheCommandAreHonouredForAMakersBinaryLogToo) {
    const DriveBytes whole = DriveBytes(72).text(0, "NLOG", 4).le64(8, 72);
    velko(drive_)
        .expect(identify(0x01).answers(identifyController()))
        .expect(logPage(0xD3, 64).dword(10, 0x000F00D3).answers(DriveBytes(64).text(0, "NLOG", 4).le64(8, 72)))
        .expect(logPage(0xD3, 72).dword(10, 0x001100D3).answers(whole));
    EXPECT_EQ(JobRun(job_, JOBTYPE_METHOD)
                  .with("LogId", "211")
                  .with("RetainAsynchronousEvent", "false")
                  .with("file", file_)
                  .on({&drive_}),
              answerOf("0", "0", "Wrote 72 bytes of log page 0xD3 (VELKO Nlog) to " + file_ + "."));
    EXPECT_EQ(readWholeFile(file_), asText(whole));
}

TEST_F(NvmeLogFile, ALengthThatNoLogHasIsRefusedBeforeItIsRead) {
    drive_.expect(identify(0x01).answers(withLongLogs()))
        .expect(establish().answers(eventLogHeader()))
        .expect(lookAtLog(0x0D, 512).answers(DriveBytes(512).byte(0, 13).le64(8, uint64_t{1} << 60)))
        .expect(release());
    EXPECT_EQ(dump("13"),
              "0/37 The log of drive S1 (/dev/nvme0) says that it has 1152921504606846976 bytes, and no log has more "
              "than 34359738368.");
    EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(NvmeLogFile, ARefusalIsTheStatusOfTheRequestAndLeavesTheOldFile) {
    writeWholeFile(file_, "old");
    drive_.expect(lookAtLog(0x03, 512).refuses(NO_SUCH_LOG)).expect(lookAtLog(0x03, 512).breaks(gone()));
    EXPECT_EQ(dump("3"), std::string("0/25 ") + REFUSED);
    EXPECT_EQ(dump("3"), "0/70 The drive /dev/nvme0 is gone.");
    EXPECT_EQ(readWholeFile(file_), "old");
}

TEST_F(NvmeLogFile, GoesThroughNoLink) {
    writeWholeFile(folder_ / "other", "precious");
    std::filesystem::create_symlink(folder_ / "other", file_);
    EXPECT_EQ(dump("3"), "10/168 Unable to write " + file_ + ": It is a symbolic link") << "and nothing was read";
    EXPECT_EQ(readWholeFile(folder_ / "other"), "precious");
    EXPECT_TRUE(std::filesystem::is_symlink(file_));
}

TEST_F(NvmeLogFile, IsForOneDriveAlone) {
    FakeDrive other("S2", "/dev/nvme1");
    EXPECT_EQ(JobRun(job_, JOBTYPE_METHOD).with("LogId", "3").with("file", file_).on({&drive_, &other}),
              "10/6 Multiple devices selected.");
    EXPECT_EQ(JobRun(job_, JOBTYPE_METHOD).with("LogId", "3").with("file", file_).on({}), "10/5 No device selected.");
    EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST(NvmeLogJob, TheListHasTheMakersPagesOnTheMakersDrive) {
    FakeDrive bits;
    velko(bits).expect(identify(0x01).answers(identifyController().byte(76, 0x01)));  // two ports
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("List", "True").on({&bits}), R"(0/0
<Object category="Output">
<Object key="S1" name="Supported Log Pages">
<Property name="LID 0x01" value="Error Information"/>
<Property name="LID 0x02" value="SMART / Health Information"/>
<Property name="LID 0x03" value="Firmware Slot Information"/>
<Property name="LID 0xD0" value="VELKO Extended SMART"/>
<Property name="LID 0xD1" value="VELKO Read Latency Statistics"/>
<Property name="LID 0xD2" value="VELKO Write Latency Statistics"/>
<Property name="LID 0xD3" value="VELKO Nlog"/>
<Property name="LID 0xD4" value="VELKO Bridge Nlog"/>
<Property name="LID 0xD5" value="VELKO Event Log"/>
<Property name="LID 0xD6" value="VELKO Assert Log"/>
<Property name="LID 0xD7" value="VELKO System Snapshot"/>
<Property name="LID 0xD8" value="VELKO Force Flush Status"/>
<Property name="LID 0xD9" value="VELKO Background Activity"/>
</Object>
</Object>)");
    FakeDrive list, other("S2", "/dev/nvme1");
    const DriveBytes supported = DriveBytes(1024).byte(8, 1).byte(0xC5 * 4, 1).byte(0xD3 * 4, 1);
    for (FakeDrive* drive : {&velko(list), &other}) {
        drive->expect(identify(0x01).answers(identifyController().byte(261, 0x24)))
            .expect(lookAtLog(0x00, 1024).answers(supported));
    }
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("List", "True").on({&list, &other}), R"(0/0
<Object category="Output">
<Object key="S1" name="Supported Log Pages">
<Property name="LID 0x02" value="SMART / Health Information"/>
<Property name="LID 0xC5" value="Vendor Specific"/>
<Property name="LID 0xD3" value="VELKO Nlog"/>
</Object>
<Object key="S2" name="Supported Log Pages">
<Property name="LID 0x02" value="SMART / Health Information"/>
<Property name="LID 0xC5" value="Vendor Specific"/>
<Property name="LID 0xD3" value="Vendor Specific"/>
</Object>
</Object>)");
}

TEST(NvmeLogJob, TheMakersPagesAreDecodedOnTheMakersDriveAlone) {
    const DriveBytes header = DriveBytes(64).text(0, "EVNT", 4).put(4, {1, 0, 0x40, 0, 68}).byte(20, 32).byte(60, 9);
    FakeDrive byName, byNumber;
    velko(byName).expect(identify(0x01).answers(identifyController())).expect(lookAtLog(0xD5, 64).answers(header));
    velko(byNumber).expect(identify(0x01).answers(identifyController())).expect(lookAtLog(0xD5, 64).answers(header));
    const std::string shown = R"x(0/0
<Object category="Output">
<Object key="S1" name="VELKO Event Log">
<Property name="Signature" value="EVNT"/>
<Property name="Version" value="1"/>
<Property description="Length of the log" name="Length" value="68 bytes"/>
<Property description="Number of entries" name="Entries" value="0"/>
<Property description="Length of an entry" name="Entry Length" value="32 bytes"/>
<Property name="Time" value="not set"/>
<Property name="Serial Number" value="not reported"/>
<Property name="Firmware" value="not reported"/>
<Property name="Generation" value="9"/>
</Object>
</Object>)x";
    NvmeLogJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogName", "velko event log").on({&byName}), shown);
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogId", "213").on({&byNumber}), shown);
    FakeDrive other;  // D5h of another maker is something else
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("LogName", "VELKO Event Log").on({&other}),
              answerOf("10", "3", "The selected drive does not support this feature."));
}

}  // namespace
}  // namespace features::jobs
