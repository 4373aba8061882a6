#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "features/jobs/health/scan/HealthScanJob.h"
#include "features/nvme/VelkoInterface.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/fakedrive/MediaDrive.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;
using transport::HostNamespace;
using transport::NamespaceUse;

std::string property(const std::string& name, const std::string& value) {
    return "\n<Property name=\"" + name + "\" value=\"" + value + "\"/>";
}
std::string property(const std::string& name, const std::string& description, const std::string& value) {
    return "\n<Property description=\"" + description + "\" name=\"" + name + "\" value=\"" + value + "\"/>";
}

const std::string NOTHING = property("Result", "Nothing was found.") + property("Result Code", "0");
const std::string NOT_COMPLETED =
    property("Result", "The scan could not be completed.") + property("Result Code", "100");
const std::string FAILING = property("Result", "The drive has failed or is failing.") + property("Result Code", "102");
const std::string ERRORS =
    property("Result", "There are read errors or data miscompares.") + property("Result Code", "103");
const std::string SMART = property("Available Spare", "100 %") + property("Percentage Used", "3 %") +
                          property("Media and Data Integrity Errors", "0");
const std::string HEALTHY = property("Device Status", "Healthy") + SMART;

/// The answer: on the wire the outcome precedes the trees, as a property precedes objects.
std::string answer(unsigned code, const std::string& fields, const std::string& parts = "") {
    return "0/0\n<Object category=\"Output\">" + property("HealthScanStatusCode", std::to_string(code)) +
           "\n<Object key=\"S1\" name=\"Health Scan\">" + fields + parts + "\n</Object>\n</Object>";
}

std::string part(const std::string& name, const std::string& fields) {
    return "\n<Object name=\"" + name + "\">" + fields + "\n</Object>";
}

std::string findings(const std::string& fields) {
    return part("Findings", fields);
}
const std::string INCOMPLETE = property("Scan", "Not everything could be looked at.");

class HealthScan : public testing::Test {
protected:
    JobRun run() { return JobRun(job_, JOBTYPE_METHOD); }
    std::string readScan(const MediaDrive& drive) {
        return run().naming("S1").with("ReadScan", "true").onDevice(drive.device());
    }

    const TemporaryFolder folder_;
    HealthScanJob job_{[] { return std::time_t{1763288426}; }, {uint64_t{16} << 30, 2097152, 3145728}};
};

std::string readPart(const std::string& fields) {
    return part("Read Scan - Namespace 1", fields);
}
std::string blocks(uint64_t all, uint64_t read, uint64_t unreadable) {
    return property("Blocks", std::to_string(all)) + property("Blocks Read", std::to_string(read)) +
           property("Unreadable Blocks", std::to_string(unreadable));
}

std::string unreadable(const std::vector<std::string>& ranges) {
    std::string entries;
    for (const std::string& range : ranges)
        entries += property("Entry " + std::to_string(&range - ranges.data()), range);
    return part("Unreadable LBAs", entries);
}

TEST_F(HealthScan, ReadsAHealthyDrive) {
    const MediaDrive drive(5000);
    EXPECT_EQ(readScan(drive), answer(0, NOTHING + HEALTHY, readPart(blocks(5000, 5000, 0))));
    EXPECT_EQ(drive.blocksRead(), std::vector<unsigned>(5000, 1));
}

TEST_F(HealthScan, ReportsWhichBlocksCannotBeRead) {
    MediaDrive drive(5000);
    drive.unreadable = {0, 100, 101, 4999};
    EXPECT_EQ(readScan(drive), answer(103, ERRORS + HEALTHY,
                                      findings(property("Read Scan", "Blocks that cannot be read: 4.")) +
                                          readPart(blocks(5000, 4996, 4) + unreadable({"0", "100-101", "4999"}))));
}

TEST_F(HealthScan, OfManyRangesTheFirstAreReported) {
    MediaDrive drive(5000);
    std::vector<std::string> ranges;
    for (uint64_t i = 0; i < 20; ++i) {
        drive.unreadable.insert(i * 3);
        if (i < 16) ranges.push_back(std::to_string(i * 3));
    }
    EXPECT_EQ(readScan(drive), answer(103, ERRORS + HEALTHY,
                                      findings(property("Read Scan", "Blocks that cannot be read: 20.")) +
                                          readPart(blocks(5000, 4980, 20) + property("More Unreadable Ranges", "4") +
                                                   unreadable(ranges))));
}

TEST_F(HealthScan, OfAWholeDriveThatCannotBeReadTheRestIsNotTried) {
    MediaDrive drive(2000);
    for (uint64_t lba = 0; lba < 2000; ++lba) drive.unreadable.insert(lba);
    const std::string shown = readScan(drive);
    EXPECT_EQ(shown.substr(0, 70), answer(103, ERRORS).substr(0, 70));
    EXPECT_NE(shown.find(property("Read Scan", "Blocks that cannot be read: 1024.")), std::string::npos) << shown;
    EXPECT_NE(shown.find(property("Ended", "So many blocks cannot be read that the rest was not tried.")),
              std::string::npos)
        << shown;
}

TEST_F(HealthScan, WhatTheDriveReportsIsFoundInEveryScan) {
    MediaDrive drive(100);
    drive.criticalWarning = 0x08;
    const std::string device = property("Device Status", "Media is in read only mode.") + SMART;
    const std::string readOnly = property("Read Only", "Media is in read only mode.");
    EXPECT_EQ(readScan(drive), answer(102, FAILING + device, findings(readOnly) + readPart(blocks(100, 100, 0))));
    drive.unreadable = {7};
    EXPECT_EQ(readScan(drive), answer(103, ERRORS + device,
                                      findings(property("Read Scan", "Blocks that cannot be read: 1.") + readOnly) +
                                          readPart(blocks(100, 99, 1) + unreadable({"7"}))))
        << "read errors are graver, and nothing is kept back";
    drive.breaksAt = 7;
    drive.unreadable = {};
    EXPECT_EQ(readScan(drive),
              answer(102, FAILING + device,
                     findings(readOnly + INCOMPLETE) +
                         readPart(blocks(100, 0, 0) + property("Not completed", "The drive /dev/nvme0 is gone."))))
        << "a finding outweighs what could not be looked at";
}

TEST_F(HealthScan, TheSelfTestLogAndTheThresholdsAreAskedOfADriveThatHasThem) {
    HealthScanJob job;
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog().le16(1, 353)))
        .expect(identify(0x01).answers(identifyController().le16(256, 0x0010).le16(266, 343).le16(268, 353)))
        .expect(lookAtLog(0x06, 564).answers(DriveBytes(564).byte(4, 0x27).byte(5, 2).le64(8, 700)))
        .expect(hostUses({}));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("ReadScan", "true").on({&drive}),
              answer(102, FAILING + HEALTHY + property("Left out", "It has no namespace that could be scanned."),
                     findings(property("Temperature", "It is 80 C, the critical threshold is 80 C.") +
                              property("Self-test",
                                       "The last one, extended, failed after 700 power on hours: completed "
                                       "with one or more failed segments, the first is segment 2."))));
}

/// A drive that lists OCP's SMART log, of this version, and its Error Recovery log.
void expectOcpSmart(FakeDrive& drive, uint16_t version, bool listsRecovery = true) {
    drive.expect(lookAtLog(0x02, 512).answers(smartLog()))
        .expect(withList())
        .expect(listsRecovery ? logList({0xC0, 0xC1}) : logList(0xC0))
        .expect(ocpLog().answers(ocpSmart().le16(494, version)));
}

TEST_F(HealthScan, APanicIsLookedForOnADriveThatHasTheLog) {
    HealthScanJob job;
    const auto scan = [&job](const FakeDrive& drive) {
        return JobRun(job, JOBTYPE_METHOD).with("ReadScan", "true").on({&drive});
    };
    const std::string leftOut = property("Left out", "It has no namespace that could be scanned.");
    const DriveBytes recovery =
        DriveBytes(512)
            .put(0, {100, 0, 0x09, 0x02})
            .le64(4, 0x1122334455667788)
            .put(496, {0x44, 0xD9, 0x31, 0x21, 0xFE, 0x30, 0x34, 0xAE, 0xAB, 0x4D, 0xFD, 0x3D, 0xBA, 0x83, 0x19, 0x5A});
    FakeDrive panicked, other, old, unlisted, broken;
    expectOcpSmart(panicked, 3);
    panicked.expect(lookAtLog(0xC1, 512).answers(recovery)).expect(hostUses({}));
    EXPECT_EQ(scan(panicked), answer(102, FAILING + HEALTHY + leftOut,
                                     findings(property("Panic",
                                                       "The drive&apos;s firmware has panicked with the ID "
                                                       "0x1122334455667788. Ended by NVMe Controller Reset or PERST; "
                                                       "the drive wants 100 ms to get ready after it; Device Recovery "
                                                       "Action 1 is 0x02."))));
    expectOcpSmart(other, 3);
    other.expect(lookAtLog(0xC1, 512).answers(DriveBytes(512).le64(4, 7))).expect(hostUses({}));
    EXPECT_EQ(scan(other), answer(0, NOTHING + HEALTHY + leftOut)) << "without the GUID it is another page";
    expectOcpSmart(old, 2);
    old.expect(lookAtLog(0xC1, 512).answers(DriveBytes(recovery).byte(4, 0))).expect(hostUses({}));
    EXPECT_NE(scan(old).find("0x1122334455667700"), std::string::npos) << "OCP 1.0 has the log, too";
    expectOcpSmart(unlisted, 3, false);
    unlisted.expect(hostUses({}));
    EXPECT_EQ(scan(unlisted), answer(0, NOTHING + HEALTHY + leftOut)) << "it is not asked for";
    expectOcpSmart(broken, 3);
    broken.expect(lookAtLog(0xC1, 512).breaks(gone()));
    EXPECT_EQ(scan(broken), answer(100,
                                   NOT_COMPLETED + HEALTHY +
                                       property("OCP Error Recovery Log", "Not read", "The drive /dev/nvme0 is gone."),
                                   findings(INCOMPLETE)));
}

TEST_F(HealthScan, ALogThatTheDriveRefusesIsNotCompleted) {
    const std::string refused =
        "Get Log Page failed on drive S1 (/dev/nvme0): Invalid Log Page (status code type 0x1, status code 0x09, "
        "opcode "
        "0x02).";
    HealthScanJob job;
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog()))
        .expect(identify(0x01).answers(identifyController().le16(256, 0x0010)))
        .expect(lookAtLog(0x06, 564).refuses(NO_SUCH_LOG))
        .expect(hostUses({}));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("ReadScan", "true").on({&drive}),
              answer(100,
                     NOT_COMPLETED + HEALTHY + property("Device Self-test Log", "Not read", refused) +
                         property("Left out", "It has no namespace that could be scanned."),
                     findings(INCOMPLETE)));
    FakeDrive without;
    without.expect(lookAtLog(0x02, 512).refuses(NO_SUCH_LOG))
        .expect(identify(0x01).refuses(0x4002))
        .expect(hostUses({}));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("ReadScan", "true").on({&without}),
              answer(100,
                     NOT_COMPLETED + property("Not completed", "The drive gives no SMART / Health log.") +
                         property("Identify Controller", "Not read", "Failed to retrieve data from selected device.") +
                         property("Left out", "It has no namespace that could be scanned."),
                     findings(INCOMPLETE)));
}

TEST_F(HealthScan, NoDriveIsNoHealthyDrive) {
    EXPECT_EQ(run().with("StoreLogs", "true").with("DirectoryPath", folder_ / "").on({}),
              "0/0\n<Object category=\"Output\">" + property("HealthScanStatusCode", "100") +
                  "\n<Object name=\"Health Scan\">" + property("Result", "No drive was found.") +
                  property("Result Code", "100") + "\n</Object>\n</Object>");
    EXPECT_EQ(folder_.names(), std::vector<std::string>());
}

TEST_F(HealthScan, AScanThatFailsIsNotCompleted) {
    MediaDrive drive(100);
    drive.breaksAt = 0;
    EXPECT_EQ(readScan(drive),
              answer(100, NOT_COMPLETED + HEALTHY,
                     findings(INCOMPLETE) +
                         readPart(blocks(100, 0, 0) + property("Not completed", "The drive /dev/nvme0 is gone."))));
    FakeDrive gone;
    gone.expect(lookAtLog(0x02, 512).breaks(features::jobs::gone()));
    EXPECT_EQ(
        run().with("ReadScan", "true").on({&gone}),
        answer(100, NOT_COMPLETED + property("Not completed", "The drive /dev/nvme0 is gone."), findings(INCOMPLETE)));
}

TEST_F(HealthScan, AnUnpluggedDriveIsAskedNothingMore) {
    const Script script{
        lookAtLog(0x02, 512).answers(smartLog()),
        identify(0x01).answers(identifyController().le16(256, 0x0010).byte(261, 0x24)),
        lookAtLog(0x06, 564),
        logList({0xC0, 0xC1}),
        ocpLog().answers(ocpSmart()),
        lookAtLog(0xC1, 512),
        hostUses({unusedNamespace(1)}),
        identify(0x03, 1).answers(descriptorsOf(0)),
        identify(0x00, 1).answers(identifyNamespace(8)),
        Expected::io(0x02).nsid(1).dword(12, 7).reads(4096),
    };
    expectUnplugged<FakeDrive>(script, "not completed", [this](const FakeDrive& drive) {
        const std::string shown = run().with("ReadScan", "true").on({&drive});
        EXPECT_NE(shown.find("The drive /dev/nvme0 is gone."), std::string::npos) << shown;
        return shown.find(property("HealthScanStatusCode", "100")) == std::string::npos ? shown : "not completed";
    });
}

/// A use of namespace 1.
HostNamespace used(NamespaceUse::Kind kind, const std::string& detail, bool system = false) {
    HostNamespace space = unusedNamespace(1);
    space.uses.push_back({kind, "/dev/nvme0n1p1", detail, system});
    return space;
}

const std::string LEFT_OUT =
    property("Left out", "It holds the running system, which is left out unless IncludeOS is true.");

TEST_F(HealthScan, TheSystemsDriveIsReadWhenThatIsAskedFor) {
    MediaDrive drive(100);
    drive.namespaces = {used(NamespaceUse::Kind::MOUNTED, "/", true)};
    EXPECT_EQ(readScan(drive), answer(100, NOT_COMPLETED + HEALTHY + LEFT_OUT, findings(INCOMPLETE)))
        << "the drive was named";
    EXPECT_EQ(run().with("ReadScan", "true").onDevice(drive.device()), answer(0, NOTHING + HEALTHY + LEFT_OUT))
        << "among all drives it is left out";
    EXPECT_EQ(drive.blocksRead(), std::vector<unsigned>(100, 0));
    EXPECT_EQ(run().with("ReadScan", "true").with("IncludeOS", "true").onDevice(drive.device()),
              answer(0, NOTHING + HEALTHY, readPart(blocks(100, 100, 0))));
}

TEST_F(HealthScan, TheNamespaceThatThePathNamedIsReadAlone) {
    MediaDrive drive(100);
    drive.namespaces = {unusedNamespace(1), unusedNamespace(2), unusedNamespace(3)};
    drive.namespaces[2].attached = false;
    nameNamespace(drive, 1);
    EXPECT_EQ(readScan(drive), answer(0, NOTHING + HEALTHY, readPart(blocks(100, 100, 0))));
    nameNamespace(drive, 3);
    EXPECT_EQ(readScan(drive),
              answer(100, NOT_COMPLETED + HEALTHY + property("Left out", "It has no namespace that could be scanned."),
                     findings(INCOMPLETE)));
}

TEST_F(HealthScan, AScanThatIsNotFullReadsAPart) {
    const MediaDrive drive(1000);  // 128 blocks a command; a part is of two commands
    EXPECT_EQ(readScan(drive), answer(0, NOTHING + HEALTHY, readPart(blocks(1000, 1000, 0))))
        << "a drive that is smaller than the part is read whole";
    HealthScanJob job([] { return std::time_t{0}; }, {131072, 0, 0});
    const MediaDrive large(1000);
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("ReadScan", "true").onDevice(large.device()),
              answer(0, NOTHING + HEALTHY, readPart(blocks(1000, 256, 0))));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("ReadScan", "true").with("FullScan", "true").onDevice(large.device()),
              answer(0, NOTHING + HEALTHY, readPart(blocks(1000, 1000, 0))));
}

std::string integrityPart(const std::string& path, uint64_t bytes) {
    return part("Data Integrity Scan", property("Path", path) +
                                           property("Written and Read", std::to_string(bytes) + " bytes") +
                                           property("Mismatches", "0 units of 4096 bytes"));
}

TEST_F(HealthScan, ChecksTheDataOnTheFileSystemsOfTheDrive) {
    MediaDrive drive(100);
    drive.namespaces = {used(NamespaceUse::Kind::MOUNTED, folder_ / "")};
    drive.namespaces[0].uses.push_back({NamespaceUse::Kind::MOUNTED, "/dev/nvme0n1p1", "/again", false});
    drive.namespaces[0].uses.push_back({NamespaceUse::Kind::SWAP, "/dev/nvme0n1p2", "", false});
    EXPECT_EQ(run().naming("S1").with("DataIntegrityScan", "true").onDevice(drive.device()),
              answer(0, NOTHING + HEALTHY, integrityPart(folder_ / "", 2097152)));
    std::filesystem::create_directory(folder_ / "below");
    const std::string below = folder_ / "below";
    EXPECT_EQ(run()
                  .naming("S1")
                  .with("DataIntegrityScan", "true")
                  .with("FullScan", "true")
                  .with("Path", below)
                  .onDevice(drive.device()),
              answer(0, NOTHING + HEALTHY, integrityPart(below, 3145728)));
    EXPECT_EQ(folder_.names(), std::vector<std::string>{"below"}) << "nothing is left";
}

TEST_F(HealthScan, WithoutAFileSystemNoDataIsChecked) {
    MediaDrive drive(100);
    drive.namespaces = {used(NamespaceUse::Kind::SWAP, "")};
    EXPECT_EQ(run().naming("S1").with("DataIntegrityScan", "true").onDevice(drive.device()),
              answer(100, NOT_COMPLETED + HEALTHY + property("Left out", "None of its file systems is mounted."),
                     findings(INCOMPLETE)));
    drive.namespaces = {used(NamespaceUse::Kind::MOUNTED, "/nonexistent/data")};
    EXPECT_EQ(run().naming("S1").with("DataIntegrityScan", "true").with("Path", folder_ / "").onDevice(drive.device()),
              answer(100,
                     NOT_COMPLETED + HEALTHY +
                         property("Left out", "&apos;" + (folder_ / "") + "&apos; is on none of its file systems."),
                     findings(INCOMPLETE)));
    EXPECT_EQ(folder_.names(), std::vector<std::string>());
}

TEST_F(HealthScan, APathThatIsElsewhereIsNotWrittenTo) {
    MediaDrive drive(100);
    drive.namespaces = {used(NamespaceUse::Kind::MOUNTED, "/proc")};
    EXPECT_EQ(run().naming("S1").with("DataIntegrityScan", "true").with("Path", folder_ / "").onDevice(drive.device()),
              answer(100,
                     NOT_COMPLETED + HEALTHY +
                         property("Left out", "&apos;" + (folder_ / "") + "&apos; is on none of its file systems."),
                     findings(INCOMPLETE)));
    EXPECT_EQ(run().naming("S1").with("DataIntegrityScan", "true").onDevice(drive.device()),
              answer(100, NOT_COMPLETED + HEALTHY,
                     findings(INCOMPLETE) + part("Data Integrity Scan",
                                                 property("Path", "/proc") + property("Written and Read", "0 bytes") +
                                                     property("Mismatches", "0 units of 4096 bytes") +
                                                     property("Not completed",
                                                              "Selected Partition does not have enough free space for "
                                                              "this feature. There is no room for a file in /proc."))));
    drive.namespaces = {unusedNamespace(1)};
    EXPECT_EQ(run().naming("S1").with("DataIntegrityScan", "true").onDevice(drive.device()),
              answer(100, NOT_COMPLETED + HEALTHY + property("Left out", "None of its file systems is mounted."),
                     findings(INCOMPLETE)));
}

/// With telemetry, a persistent event log, self-tests and effects.
DriveBytes manyLogs() {
    return identifyController().byte(261, 0x1E).byte(262, 0).le16(256, 0x0010);
}
Expected look(uint8_t lid, uint32_t bytes, uint64_t offset = 0, uint8_t lsp = 0, bool retain = true) {
    return logPage(lid, bytes, offset)
        .dword(10, lid | uint32_t{lsp} << 8 | uint32_t{retain} << 15 | (bytes / 4 - 1) << 16);
}
DriveBytes eventLog() {
    return DriveBytes(512).byte(0, 0x0D).le64(8, 512).le16(18, 492);
}

void expectAllLogs(FakeDrive& drive) {
    drive.expect(look(0x02, 512).answers(smartLog()))
        .expect(identify(0x01).answers(manyLogs()))
        .expect(look(0x06, 564).answers(DriveBytes(564)))
        .expect(hostNamespaces({unusedNamespace(1)}))
        .expect(identify(0x00, 1).answers(identifyNamespace(100)))
        .expect(look(0x01, 64).answers(DriveBytes(64)))
        .expect(look(0x02, 512).answers(smartLog()))
        .expect(look(0x03, 512).refuses(NO_SUCH_LOG))
        .expect(look(0x05, 4096).answers(DriveBytes(4096)))
        .expect(look(0x06, 564).answers(DriveBytes(564)))
        .expect(look(0x07, 512, 0, 1, false).answers(DriveBytes(512).byte(0, 7).le16(8, 1)))
        .expect(look(0x07, 512, 512, 0, false).answers(DriveBytes(512).byte(0, 0xAA)))
        .expect(look(0x07, 512, 0, 0, false).answers(DriveBytes(512).byte(0, 7)))
        .expect(look(0x08, 512).answers(DriveBytes(512).byte(0, 8)))
        .expect(look(0x08, 512).answers(DriveBytes(512).byte(0, 8)))
        .expect(look(0x0D, 512, 0, 1, false).answers(eventLog()))
        .expect(look(0x0D, 512, 0, 2, false).answers(eventLog()));
}

const std::vector<std::string> FILES = {
    "identify_controller.bin",
    "identify_namespace_1.bin",
    "log_01_error_information.bin",
    "log_02_smart_health_information.bin",
    "log_05_commands_supported_and_effects.bin",
    "log_06_device_self_test.bin",
    "log_07_telemetry_host_initiated.bin",
    "log_08_telemetry_controller_initiated.bin",
    "log_0d_persistent_event_log.bin",
};

std::string logsPart(const std::string& folder) {
    return part("Logs", property("Folder", folder) +
                            property("LID 0x03", "Not read",
                                     "Get Log Page failed on drive S1 (/dev/nvme0): Invalid Log Page (status code type "
                                     "0x1, status code 0x09, opcode 0x02).") +
                            property("Files", "9"));
}

std::vector<std::string> namesIn(const std::string& path) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

TEST_F(HealthScan, StoresAllLogsInTheFolderThatIsNamed) {
    FakeDrive drive;
    expectAllLogs(drive);
    EXPECT_EQ(run().with("StoreLogs", "true").with("DirectoryPath", folder_ / "").on({&drive}),
              answer(0, NOTHING + HEALTHY, logsPart(folder_ / "S1")));
    EXPECT_EQ(namesIn(folder_ / "S1"), FILES);
    EXPECT_EQ(readWholeFile(folder_ / "S1/log_07_telemetry_host_initiated.bin"),
              std::string("\7\0\0\0\0\0\0\0\1", 9) + std::string(503, '\0') + "\xAA" + std::string(511, '\0'));
    EXPECT_EQ(std::filesystem::file_size(folder_ / "S1/identify_controller.bin"), 4096U);
    expectAllLogs(drive);
    EXPECT_EQ(run().with("DirectoryPath", folder_ / "").on({&drive}),
              answer(0, NOTHING + HEALTHY, logsPart(folder_ / "S1-2")))
        << "a second scan has a folder of its own, and logs are what is scanned when nothing is said";
}

/// A binary log of the maker's: the header and four bytes.
DriveBytes velkoLog(const char* signature) {
    return DriveBytes(64).text(0, signature, 4).put(4, {1, 0, 0x40, 0}).le64(8, 68).le32(60, 7);
}
void expectVelkoLog(FakeDrive& drive, uint8_t lid, const char* signature) {
    drive.expect(look(lid, 64).answers(velkoLog(signature))).expect(look(lid, 4, 64).answers(DriveBytes(4).le32(0, 7)));
}

TEST_F(HealthScan, StoresTheMakersLogsOfItsDrives) {
    FakeDrive drive;
    velko(drive)
        .expect(look(0x02, 512).answers(smartLog()))
        .expect(identify(0x01).answers(identifyController().byte(262, 0)))
        .expect(hostNamespaces({}))
        .expect(look(0x01, 64).answers(DriveBytes(64)))
        .expect(look(0x02, 512).answers(smartLog()))
        .expect(look(0x03, 512).answers(DriveBytes(512)))
        .expect(look(0xD0, nvme::VELKO_EXTENDED_SMART_BYTES).answers(DriveBytes(nvme::VELKO_EXTENDED_SMART_BYTES)))
        .expect(look(0xD1, nvme::VELKO_LATENCY_BYTES).answers(DriveBytes(nvme::VELKO_LATENCY_BYTES)))
        .expect(look(0xD2, nvme::VELKO_LATENCY_BYTES).refuses(NO_SUCH_LOG));
    expectVelkoLog(drive, 0xD3, "NLOG");
    expectVelkoLog(drive, 0xD5, "EVNT");
    drive.expect(look(0xD6, 64).answers(velkoLog("????")));
    expectVelkoLog(drive, 0xD7, "SNAP");
    drive.expect(look(0xD8, nvme::VELKO_FORCE_FLUSH_BYTES).answers(DriveBytes(nvme::VELKO_FORCE_FLUSH_BYTES)))
        .expect(look(0xD9, nvme::VELKO_BACKGROUND_BYTES).answers(DriveBytes(nvme::VELKO_BACKGROUND_BYTES)));
    const std::string damaged =
        "Invalid assert log data. The log of drive S1 (/dev/nvme0) does not begin with its header.";
    EXPECT_EQ(
        run().with("StoreLogs", "true").with("DirectoryPath", folder_ / "").on({&drive}),
        answer(100, NOT_COMPLETED + HEALTHY,
               findings(INCOMPLETE) +
                   part("Logs", property("Folder", folder_ / "S1") +
                                    property("LID 0xD2", "Not read",
                                             "Get Log Page failed on drive S1 (/dev/nvme0): Invalid Log Page (status "
                                             "code type 0x1, status code 0x09, opcode 0x02).") +
                                    property("LID 0xD6", "Not read", damaged) + property("Files", "11") +
                                    property("Not completed", damaged))));
    EXPECT_EQ(namesIn(folder_ / "S1"),
              (std::vector<std::string>{"identify_controller.bin", "log_01_error_information.bin",
                                        "log_02_smart_health_information.bin", "log_03_firmware_slot_information.bin",
                                        "log_d0_velko_extended_smart.bin", "log_d1_velko_read_latency_statistics.bin",
                                        "log_d3_velko_nlog.bin", "log_d5_velko_event_log.bin",
                                        "log_d7_velko_system_snapshot.bin", "log_d8_velko_force_flush_status.bin",
                                        "log_d9_velko_background_activity.bin"}));
    EXPECT_EQ(std::filesystem::file_size(folder_ / "S1/log_d3_velko_nlog.bin"), 68U);
}

TEST_F(HealthScan, WithoutAFolderItMakesADatedOne) {
    setenv("TZ", "UTC", 1);
    tzset();
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder_ / "");
    FakeDrive drive;
    expectAllLogs(drive);
    const std::string result = run().with("StoreLogs", "true").on({&drive});
    std::filesystem::current_path(before);
    EXPECT_EQ(result, answer(0, NOTHING + HEALTHY, logsPart("./HealthScan_2025-11-16_10-20-26/S1")));
    EXPECT_EQ(namesIn(folder_ / "HealthScan_2025-11-16_10-20-26/S1"), FILES);
}

TEST_F(HealthScan, AFolderThatIsNotThereIsReportedBeforeTheDriveIsAsked) {
    const FakeDrive drive;
    const std::string none = folder_ / "none";
    EXPECT_EQ(run().with("StoreLogs", "true").with("DirectoryPath", none).on({&drive}),
              "10/196 Directory does not exist. '" + none + "'.");
    EXPECT_EQ(run().with("DataIntegrityScan", "true").with("Path", none).on({&drive}),
              "10/196 Directory does not exist. '" + none + "'.");
}

TEST_F(HealthScan, AFolderThatCannotBeMadeIsReported) {
    FakeDrive drive;
    drive.expect(look(0x02, 512).answers(smartLog())).expect(identify(0x01).answers(identifyController()));
    EXPECT_EQ(
        run().with("StoreLogs", "true").with("DirectoryPath", "/proc").on({&drive}),
        answer(100, NOT_COMPLETED + HEALTHY,
               findings(INCOMPLETE) + part("Logs", property("Not completed",
                                                            "Failed to create directory. &apos;/proc/S1&apos;: No such "
                                                            "file or directory."))));
}

TEST_F(HealthScan, ALogThatIsLongerThanAFileMayBeIsLeftOutAlone) {
    constexpr uint64_t LONG = uint64_t{32} << 30;
    const FileSizeLimit limit(1 << 20);
    FakeDrive drive;
    drive.expect(look(0x02, 512).answers(smartLog()))
        .expect(identify(0x01).answers(identifyController().byte(261, 0x10).byte(262, 0)))  // persistent event log
        .expect(hostNamespaces({}))
        .expect(look(0x01, 64).refuses(NO_SUCH_LOG))
        .expect(look(0x02, 512).refuses(NO_SUCH_LOG))
        .expect(look(0x03, 512).refuses(NO_SUCH_LOG))
        .expect(look(0x0D, 512, 0, 1, false).answers(DriveBytes(512).byte(0, 0x0D).le64(8, LONG).le16(18, 492)))
        .expect(look(0x0D, 512, 0, 2, false).answers(eventLog()));
    const std::string answered = run().with("StoreLogs", "true").with("DirectoryPath", folder_ / "").on({&drive});
    const std::string reason =
        "Unable to write " + (folder_ / "S1/log_0d_persistent_event_log.bin") + ": File too large";
    EXPECT_NE(answered.find(property("LID 0x0D", "Not read", reason) + property("Files", "1") +
                            property("Not completed", reason)),
              std::string::npos)
        << answered;
    EXPECT_EQ(namesIn(folder_ / "S1"), std::vector<std::string>{"identify_controller.bin"});
}

// The drive refuses the release, which is the last command: the log's own error is what counts.
TEST_F(HealthScan, ADamagedEventLogIsAFailureAlsoWhenItsContextIsNotReleased) {
    constexpr uint64_t TOO_LONG = uint64_t{1} << 62;
    FakeDrive drive;
    drive.expect(look(0x02, 512).answers(smartLog()))
        .expect(identify(0x01).answers(identifyController().byte(261, 0x10).byte(262, 0)))  // persistent event log
        .expect(hostNamespaces({}))
        .expect(look(0x01, 64).answers(DriveBytes(64)))
        .expect(look(0x02, 512).answers(smartLog()))
        .expect(look(0x03, 512).answers(DriveBytes(512)))
        .expect(look(0x0D, 512, 0, 1, false).answers(DriveBytes(512).byte(0, 0x0D).le64(8, TOO_LONG).le16(18, 492)))
        .expect(look(0x0D, 512, 0, 2, false).refuses(NO_SUCH_LOG));
    const std::string damaged =
        "Could not parse Persistent Event Log, log may be corrupted. Drive S1 (/dev/nvme0) says that it has "
        "4611686018427387904 bytes.";
    EXPECT_EQ(run().with("StoreLogs", "true").with("DirectoryPath", folder_ / "").on({&drive}),
              answer(100, NOT_COMPLETED + HEALTHY,
                     findings(INCOMPLETE) +
                         part("Logs", property("Folder", folder_ / "S1") + property("LID 0x0D", "Not read", damaged) +
                                          property("Files", "4") + property("Not completed", damaged))));
}

TEST_F(HealthScan, ALogWithoutRoomIsAFailureAlsoAfterARefusedCommand) {
    const FileSizeLimit limit(8192);
    FakeDrive drive;
    drive.expect(look(0x02, 512).answers(smartLog()))
        .expect(identify(0x01).answers(identifyController().byte(261, 0).byte(262, 255)))  // 256 error log entries
        .expect(hostNamespaces({unusedNamespace(1)}))
        .expect(identify(0x00, 1).refuses(NO_SUCH_LOG))
        .expect(look(0x02, 512).refuses(NO_SUCH_LOG))
        .expect(look(0x03, 512).refuses(NO_SUCH_LOG));
    const std::string answered = run().with("StoreLogs", "true").with("DirectoryPath", folder_ / "").on({&drive});
    const std::string reason = "Unable to write " + (folder_ / "S1/log_01_error_information.bin") + ": File too large";
    EXPECT_NE(answered.find(property("LID 0x01", "Not read", reason)), std::string::npos) << answered;
    EXPECT_NE(answered.find(property("Files", "1") + property("Not completed", reason)), std::string::npos) << answered;
}

TEST_F(HealthScan, ATransportErrorEndsTheLogs) {
    FakeDrive drive;
    drive.expect(look(0x02, 512).answers(smartLog()))
        .expect(identify(0x01).answers(manyLogs()))
        .expect(look(0x06, 564).answers(DriveBytes(564)))
        .expect(hostNamespaces({}))
        .expect(look(0x01, 64).breaks(gone()));
    EXPECT_EQ(
        run().with("StoreLogs", "true").with("DirectoryPath", folder_ / "").on({&drive}),
        answer(100, NOT_COMPLETED + HEALTHY,
               findings(INCOMPLETE) + part("Logs", property("Folder", folder_ / "S1") + property("Files", "1") +
                                                       property("Not completed", "The drive /dev/nvme0 is gone."))));
    EXPECT_EQ(namesIn(folder_ / "S1"), std::vector<std::string>{"identify_controller.bin"});
}

TEST_F(HealthScan, ABadArgumentIsTheStatusOfTheRequest) {
    const MediaDrive drive(100);
    for (const char* key : {"StoreLogs", "ReadScan", "DataIntegrityScan", "FullScan", "IncludeOS", "IncludeSystemInfo"})
        EXPECT_EQ(run().with(key, "maybe").onDevice(drive.device()),
                  std::string("10/36 Invalid value given for ") + key + ": 'maybe'. It must be true or false.");
}

}  // namespace
}  // namespace features::jobs
