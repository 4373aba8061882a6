#include <gtest/gtest.h>

#include "features/jobs/drive/DriveFacts.h"
#include "features/jobs/logs/DriveLogs.h"
#include "features/jobs/logs/LogFolder.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using Fields = std::vector<std::string>;

class DriveLogs : public testing::Test {
protected:
    std::string store(const FakeDrive& fake) {
        tree_ = {};
        const auto folder = LogFolder::create(folder_ / "", "S1");
        return folder ? store(fake, *folder) : statusText(folder);
    }
    std::string store(const FakeDrive& fake, const LogFolder& folder) {
        nvme::Drive drive(*fake.device());
        DriveFacts facts(drive);
        return statusText(storeDriveLogs(facts, folder, tree_));
    }
    /// Name, description and value of each, but of the folder.
    Fields fields() const {
        Fields all;
        for (const auto& field : tree_.fields)
            if (field.name != "Folder") all.push_back(field.name + "|" + field.description + "|" + field.value);
        return all;
    }

    TemporaryFolder folder_;
    nvme::FieldTree tree_;
};

/// A drive of the maker's that lists its log pages: with telemetry, a persistent event log and OCP's SMART log.
std::vector<Expected> allCommands() {
    const DriveBytes list = DriveBytes(1024)
                                .byte(0, 1)
                                .byte(4 * 0x08, 1)
                                .byte(4 * 0x0D, 1)
                                .byte(4 * 0xC0, 1)
                                .byte(4 * 0xC1, 1)
                                .byte(4 * 0xD3, 1);
    const DriveBytes telemetry = DriveBytes(512).byte(0, 8).le16(8, 1).le16(10, 1).le16(12, 1);
    const DriveBytes events = DriveBytes(512).byte(0, 0x0D).le64(8, 512).le16(18, 492);
    const DriveBytes nlog = DriveBytes(64).text(0, "NLOG", 4).put(4, {1, 0, 0x40, 0}).le64(8, 72).le32(60, 7);
    return {
        identify(0x01).answers(identifyController().byte(261, 0x3E).byte(262, 0)),
        hostNamespaces({unusedNamespace(1)}),
        identify(0x00, 1).answers(identifyNamespace(100)),
        lookAtLog(0x00, 1024).answers(list),
        lookAtLog(0x00, 1024).answers(list),
        lookAtLog(0x01, 64).answers(DriveBytes(64)),
        lookAtLog(0x02, 512).answers(smartLog()),
        lookAtLog(0x03, 512).answers(DriveBytes(512)),
        lookAtLog(0x08, 512).answers(telemetry),
        logPage(0x08, 512, 512).dword(10, 0x007F8008).answers(DriveBytes(512)),
        lookAtLog(0x08, 512).answers(telemetry),
        logPage(0x0D, 512).dword(10, 0x007F010D).answers(events),
        logPage(0x0D, 512).dword(10, 0x007F020D).answers(events),
        lookAtLog(0xD3, 64).answers(nlog),
        logPage(0xD3, 8, 64).dword(10, 0x000180D3).answers(DriveBytes(8).le32(4, 7)),
        ocpLog().answers(ocpSmart()),
        ocpLog().answers(ocpSmart()),
        lookAtLog(0xC1, 512).answers(DriveBytes(512)),
    };
}

TEST_F(DriveLogs, OfAHealthyDriveAllAreStored) {
    FakeDrive drive;
    velko(drive);
    for (const Expected& command : allCommands()) drive.expect(command);
    EXPECT_EQ(store(drive), "0/0 Completed successfully.");
    EXPECT_EQ(fields(), Fields{"Files||11"});
}

TEST_F(DriveLogs, ADriveThatGoesAwayEndsThem) {
    expectUnplugged(
        allCommands(), "0/70 The drive /dev/nvme0 is gone.", [&](const FakeDrive& drive) { return store(drive); }, 0,
        [](FakeDrive& drive) { velko(drive); });
}

TEST_F(DriveLogs, WithoutTheControllersDataNoneIsStored) {
    FakeDrive drive;
    drive.expect(identify(0x01).refuses(0x4006));
    EXPECT_EQ(store(drive), "10/33 Failed to retrieve data from selected device.");
    EXPECT_EQ(fields(), Fields{"Files||0"});
}

/// One that is copied piece by piece is made before its log is asked for; the others are made of what came.
TEST_F(DriveLogs, AFileThatIsThereEndsThemAndIsKept) {
    const std::vector<Expected> commands = allCommands();
    const struct {
        const char* file;
        size_t commands;
    } cases[] = {
        {"identify_controller.bin", 1},
        {"identify_namespace_1.bin", 3},
        {"log_01_error_information.bin", 5},
        {"log_02_smart_health_information.bin", 6},
        {"log_0d_persistent_event_log.bin", 11},
        {"log_d3_velko_nlog.bin", 13},
        {"log_c0_ocp_smart_health_information_extended.bin", 16},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        const TemporaryFolder parent;
        const auto folder = LogFolder::create(parent / "", "S1");
        ASSERT_TRUE(folder);
        const std::string path = parent / (std::string("S1/") + c.file);
        writeWholeFile(path, "another's");
        FakeDrive drive;
        velko(drive);
        for (size_t i = 0; i < c.commands; ++i) drive.expect(commands[i]);
        EXPECT_EQ(store(drive, *folder), "10/168 Unable to write " + path + ": File exists");
        EXPECT_EQ(readWholeFile(path), "another's");
    }
}

}  // namespace
}  // namespace features::jobs
