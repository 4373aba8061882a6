// What becomes of a request for log pages when one of its commands fails.

#include <gtest/gtest.h>

#include "features/jobs/logs/NvmeLogJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;
using Arguments = std::vector<std::pair<std::string, std::string>>;

const std::string GONE = statusAnswer("NVMe Log", "0/70 The drive /dev/nvme0 is gone.");

std::string run(const FakeDrive& drive, const Arguments& arguments) {
    NvmeLogJob job;
    JobRun run(job, JOBTYPE_METHOD);
    for (const auto& [key, value] : arguments) run.with(key, value);
    return run.on({&drive});
}

DriveBytes anaController() {
    return identifyController().byte(76, 0x08).le32(516, 0xFFFFFFFF);
}
Expected withAna() {
    return identify(0x01).answers(anaController());
}
Expected anaHead() {
    return lookAtLog(0x0C, 16).answers(DriveBytes(16).le16(8, 2));
}
/// One group of 1,020 namespaces, and another one after it.
Expected anaBeginning() {
    return lookAtLog(0x0C, 4096).answers(DriveBytes(4096).le32(16, 1).le32(20, 1020));
}
Expected secondAnaGroup() {
    return logPage(0x0C, 32, 4128).dword(10, 0x0007800C).answers(DriveBytes(32).le32(0, 2).le32(4, 1));
}

struct Case {
    const char* title;
    Arguments arguments;
    std::vector<Expected> commands;
};

/// Commands of which each decides what the request does next.
std::vector<Case> cases() {
    const DriveBytes effects = DriveBytes(4096).le32(1024, 1);
    return {
        {"the drive's own list", {{"List", "True"}}, {withList(), logList(0xC0), ocpLog().answers(ocpSmart())}},
        {"a list by OCP's pages",
         {{"List", "True"}},
         {withUuids(), identify(0x17).answers(ocpUuid()), ocpLog(2).answers(ocpSmart())}},
        {"features with a vendor's among them",
         {{"LogId", "18"}},
         {withList(), logList({0x12, 0xC0}), lookAtLog(0x12, 1024).answers(DriveBytes(1024).byte(0xC0 * 4, 1)),
          ocpLog().answers(ocpSmart())}},
        {"commands of each command set",
         {{"LogId", "5"}},
         {identify(0x01).answers(identifyController().le32(80, 0x20000).byte(261, 0x02)),
          lookAtLog(0x05, 4096).answers(effects), identify(0x02).answers(namespaceList({1, 2})),
          identify(0x03, 1).answers(descriptorsOf(0)), identify(0x03, 2).answers(descriptorsOf(2)),
          lookAtLog(0x05, 4096).dword(14, 0x02000000)}},
        {"a page of the namespace",
         {{"LogId", "202"}, {"NamespaceSpecific", "true"}},
         {hostNamespaces({unusedNamespace(3)}), identify(0x01).answers(identifyController()),
          logPage(0xCA, 512, 0, 3).dword(10, 0x007F80CA)}},
        {"the endurance group of the namespace",
         {{"LogId", "9"}},
         {identify(0x01).answers(identifyController().le32(96, 0x10)), hostNamespaces({unusedNamespace(1)}),
          identify(0x00, 1).answers(identifyNamespace(1000).le16(102, 7)), lookAtLog(0x09, 512).dword(11, 0x00070000)}},
        {"as many entries as the controller says",
         {{"LogId", "1"}},
         {identify(0x01).answers(identifyController().byte(262, 3)), lookAtLog(0x01, 256)}},
        {"groups of namespaces",
         {{"LogId", "12"}},
         {withAna(), anaHead(), anaBeginning(), secondAnaGroup(), lookAtLog(0x0C, 4164)}},
        {"a page of OCP by its name",
         {{"LogName", "OCP Error Recovery"}},
         {withUuids(), identify(0x17).answers(ocpUuid()), ocpLog(2).answers(ocpSmart()),
          lookAtLog(0xC1, 512).dword(14, 2)}},
        {"a page of OCP by its number",
         {{"LogId", "193"}},
         {withUuids(), identify(0x17).answers(ocpUuid()), ocpLog(2).answers(ocpSmart()),
          lookAtLog(0xC1, 512).dword(14, 2)}},
    };
}

TEST(NvmeLogFailures, ADriveThatGoesAwayIsReportedAndAskedNothingMore) {
    for (const Case& c : cases()) {
        SCOPED_TRACE(c.title);
        expectUnplugged(c.commands, GONE, [&](const FakeDrive& drive) { return run(drive, c.arguments); });
    }
}

/// Without the pages that were shown before.
std::string statusOfAll(const FakeDrive& drive) {
    const std::string answer = run(drive, {});
    const size_t status = answer.find("<Object category=\"status\"");
    return "0/0\n<Object category=\"Output\">\n" + (status == std::string::npos ? answer : answer.substr(status));
}

TEST(NvmeLogFailures, ADriveThatGoesAwayEndsTheRowOfAllPages) {
    const std::vector<Expected> ofTheStandard = {lookAtLog(0x01, 4096).answers(DriveBytes(4096)),
                                                 lookAtLog(0x02, 512).answers(smartLog()),
                                                 lookAtLog(0x03, 512).answers(DriveBytes(512).byte(0, 1))};
    const Expected list = lookAtLog(0x00, 1024).answers(DriveBytes(1024).byte(0, 1).byte(0xC0 * 4, 1));
    std::vector<Expected> listed = {withList(), list, list, ocpLog().answers(ocpSmart())};  // to decide, and as a page
    listed.insert(listed.end(), ofTheStandard.begin(), ofTheStandard.end());
    listed.push_back(ocpLog().answers(ocpSmart()));
    expectUnplugged(listed, GONE, statusOfAll);

    std::vector<Expected> identified = {withUuids()};
    identified.insert(identified.end(), ofTheStandard.begin(), ofTheStandard.end());
    identified.push_back(identify(0x17).answers(ocpUuid()));
    identified.push_back(ocpLog(2).answers(ocpSmart()));
    expectUnplugged(identified, GONE, statusOfAll);
}

TEST(NvmeLogFailures, WithoutTheControllersDataTheLengthOfAPageIsNotKnown) {
    FakeDrive drive;
    drive.expect(identify(0x01).refuses(0x4006));
    EXPECT_EQ(run(drive, {{"LogId", "1"}}),
              statusAnswer("NVMe Log", "10/33 Failed to retrieve data from selected device."));
}

TEST(NvmeLogFailures, ADriveWithoutNamespacesHasNoPageOfOne) {
    FakeDrive drive;
    drive.expect(hostNamespaces({}));
    EXPECT_EQ(run(drive, {{"LogId", "202"}, {"NamespaceSpecific", "true"}}),
              statusAnswer("NVMe Log", "10/76 No namespace ID given."));
    FakeDrive group;
    group.expect(identify(0x01).answers(identifyController().le32(96, 0x10)))
        .expect(hostNamespaces({}))
        .expect(lookAtLog(0x09, 512).refuses(NO_SUCH_LOG));
    EXPECT_NE(run(group, {{"LogId", "9"}}).find("Invalid Log Page"), std::string::npos) << "asked for group 0";
}

TEST(NvmeLogFailures, APartEndsBeforeTheLastOffset) {
    const FakeDrive drive;
    EXPECT_EQ(run(drive, {{"LogId", "202"}, {"LogPageOffset", "18446744073709551612"}, {"NumDWORDs", "2"}}),
              statusAnswer("NVMe Log", "0/14 Request is out of bounds."));
}

class NvmeLogFileFailures : public testing::Test {
protected:
    void SetUp() override { writeWholeFile(file_, "old"); }
    void TearDown() override { EXPECT_EQ(folder_.names(), std::vector<std::string>{"log.bin"}); }
    std::string dump(const FakeDrive& drive, const std::string& lid) {
        const std::string answer = run(drive, {{"LogId", lid}, {"file", file_}});
        EXPECT_EQ(readWholeFile(file_), "old");
        return answer;
    }

    TemporaryFolder folder_;
    const std::string file_ = folder_ / "log.bin";
};

TEST_F(NvmeLogFileFailures, ADriveThatGoesAwayLeavesTheOldFile) {
    const DriveBytes whole = DriveBytes(4164).le16(8, 2).le32(16, 1).le32(20, 1020).le32(4128, 2).le32(4132, 1);
    expectUnplugged({withAna(), anaHead(), anaBeginning(), secondAnaGroup(), lookAtLog(0x0C, 4164).answers(whole),
                     anaBeginning(), secondAnaGroup()},
                    "0/70 The drive /dev/nvme0 is gone.", [&](const FakeDrive& drive) { return dump(drive, "12"); });
}

TEST_F(NvmeLogFileFailures, ALogThatGrewBeyondAnyLogIsRefused) {
    const auto header = [](size_t bytes, uint64_t length) {
        return DriveBytes(bytes).byte(0, 0x0D).le64(8, length).le16(18, 492);
    };
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController().byte(261, 0x1C)))
        .expect(logPage(0x0D, 512).dword(10, 0x007F010D).answers(header(512, 1024)))
        .expect(lookAtLog(0x0D, 512).answers(header(512, 1024)))
        .expect(lookAtLog(0x0D, 1024).answers(header(1024, uint64_t{1} << 60)))
        .expect(logPage(0x0D, 512).dword(10, 0x007F020D).answers(header(512, 1024)));
    EXPECT_EQ(dump(drive, "13"),
              "0/37 The log of drive S1 (/dev/nvme0) says that it has 1152921504606846976 bytes, and no log has more "
              "than 34359738368.");
}

}  // namespace
}  // namespace features::jobs
