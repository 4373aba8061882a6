#include <gtest/gtest.h>

#include "features/ata/Drive.h"
#include "features/jobs/logs/AtaDriveLogs.h"
#include "features/jobs/logs/LogFolder.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/jobs/SataCommands.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using Names = std::vector<std::string>;

/// Of the general purpose logs 10h is shown, 24h captured, and 30h copied.
std::vector<Expected> allCommands() {
    const DriveBytes status = DriveBytes(512).byte(0, 0x24).le16(8, 1).le16(10, 1).le16(12, 1);
    const DriveBytes page(512);
    return {
        identifyAta().answers(identifyDevice()),
        smartPage(0xD0).answers(smartData()),
        smartPage(0xD1).answers(smartThresholds()),
        smartLogPage(0x00).answers(logDirectory({0x01, 0x02, 0x06})),
        smartLogPage(0x01).answers(page),
        logExt(0x00).answers(logDirectory({0x10, 0x24, 0x30})),
        smartLogPage(0x02).answers(page),
        smartLogPage(0x06).answers(page),
        logExt(0x00).answers(logDirectory({0x10, 0x24, 0x30})),
        logExt(0x10).answers(page),
        logExt(0x24).feature(1).answers(status),
        logExt(0x24, 1, 1).answers(page),
        logExt(0x24).answers(status),
        logExt(0x30).answers(page),
    };
}
class AtaDriveLogs : public testing::Test {
protected:
    std::string store(const FakeDrive& fake) {
        ata::Drive drive(*fake.device());
        tree_ = {};
        const auto folder = LogFolder::create(folder_ / "", "S1");
        return folder ? statusText(storeAtaDriveLogs(drive, *folder, tree_)) : statusText(folder);
    }
    std::string field(const std::string& name) const {
        for (const auto& field : tree_.fields)
            if (field.name == name) return field.description + "|" + field.value;
        return "none";
    }

    TemporaryFolder folder_;
    nvme::FieldTree tree_;
};

TEST_F(AtaDriveLogs, OfAHealthyDriveAllAreStored) {
    FakeSataDrive drive;
    for (const Expected& command : allCommands()) drive.expect(command);
    EXPECT_EQ(store(drive), "0/0 Completed successfully.");
    EXPECT_EQ(field("Files"), "|11");
}

TEST_F(AtaDriveLogs, ADriveThatGoesAwayEndsThem) {
    expectUnplugged<FakeSataDrive>(allCommands(), "0/70 The drive /dev/nvme0 is gone.",
                                   [&](const FakeDrive& drive) { return store(drive); });
}

/// One that is copied piece by piece is made before its log is asked for; the others are made of what came.
TEST_F(AtaDriveLogs, AFileThatIsThereEndsThemAndIsKept) {
    const std::vector<Expected> commands = allCommands();
    const struct {
        const char* file;
        size_t commands;
    } cases[] = {
        {"identify_device.bin", 1}, {"smart_data.bin", 2},   {"smart_thresholds.bin", 3}, {"smart_log_00.bin", 4},
        {"smart_log_01.bin", 5},    {"smart_log_02.bin", 7}, {"smart_log_06.bin", 8},     {"log_00.bin", 8},
        {"log_10.bin", 10},         {"log_24.bin", 10},      {"log_30.bin", 13},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        const TemporaryFolder parent;
        const auto folder = LogFolder::create(parent / "", "S1");
        ASSERT_TRUE(folder);
        const std::string path = parent / (std::string("S1/") + c.file);
        writeWholeFile(path, "another's");
        FakeSataDrive fake;
        for (size_t i = 0; i < c.commands; ++i) fake.expect(commands[i]);
        ata::Drive drive(*fake.device());
        nvme::FieldTree tree;
        EXPECT_EQ(statusText(storeAtaDriveLogs(drive, *folder, tree)),
                  "10/168 Unable to write " + path + ": File exists");
        EXPECT_EQ(readWholeFile(path), "another's");
    }
}

TEST_F(AtaDriveLogs, WhatTheDriveRefusesIsLeftOutAlone) {
    const std::vector<Expected> commands = allCommands();
    const struct {
        size_t refused;
        const char* name;
        const char* command;
    } cases[] = {
        {1, "SMART Data", "SMART READ DATA failed on drive S1 (/dev/sda): command aborted (command 0xB0, FEATURE 0xD0"},
        {4, "SMART Log 0x01",
         "SMART READ LOG failed on drive S1 (/dev/sda): command aborted (command 0xB0, FEATURE 0xD5"},
        {6, "SMART Log 0x02",
         "SMART READ LOG failed on drive S1 (/dev/sda): command aborted (command 0xB0, FEATURE 0xD5"},
        {9, "Log 0x10", "READ LOG EXT failed on drive S1 (/dev/sda): command aborted (command 0x2F, FEATURE 0x00"},
        {13, "Log 0x30", "READ LOG EXT failed on drive S1 (/dev/sda): command aborted (command 0x2F, FEATURE 0x00"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        FakeSataDrive drive;
        for (size_t i = 0; i < commands.size(); ++i)
            drive.expect(i == c.refused ? Expected(commands[i]).aborts() : commands[i]);
        EXPECT_EQ(store(drive), "0/0 Completed successfully.");
        EXPECT_EQ(field(c.name), std::string("Not read|") + c.command + ", ERROR 0x04, STATUS 0x51).");
        EXPECT_EQ(field("Files"), "|10");
    }
}

}  // namespace
}  // namespace features::jobs
