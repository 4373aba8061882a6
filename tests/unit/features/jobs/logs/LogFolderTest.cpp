#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "features/jobs/logs/FileSink.h"
#include "features/jobs/logs/LogFolder.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"

namespace features::jobs {
namespace {

using namespace ostrel::core;
using Names = std::vector<std::string>;

constexpr const char* SUCCESS = "0/0 Completed successfully.";

Payload bytes(const std::string& text) {
    return {text.data(), text.size()};
}

TEST(LogFolder, IsNewWhateverIsThere) {
    const TemporaryFolder temporary;
    writeWholeFile(temporary / "S1-2", "a file of the user's");
    std::filesystem::create_directory_symlink("/nonexistent", temporary / "S1-3");
    const auto first = LogFolder::create(temporary / "", "S1");
    const auto second = LogFolder::create(temporary / "", "S1");
    ASSERT_EQ(statusText(first), SUCCESS);
    ASSERT_EQ(statusText(second), SUCCESS);
    EXPECT_EQ(first->path(), temporary / "S1");
    EXPECT_EQ(second->path(), temporary / "S1-4");
    EXPECT_EQ(temporary.names(), (Names{"S1", "S1-2", "S1-3", "S1-4"}));
}

TEST(LogFolder, ReportsWhyItCannotBeMade) {
    const TemporaryFolder temporary;
    EXPECT_EQ(statusText(LogFolder::create(temporary / "none", "S1")),
              "10/196 Directory does not exist. '" + (temporary / "none") + "': No such file or directory.");
    writeWholeFile(temporary / "file", "");
    EXPECT_EQ(statusText(LogFolder::create(temporary / "file", "S1")),
              "10/196 Directory does not exist. '" + (temporary / "file") + "': Not a directory.");
    EXPECT_EQ(statusText(LogFolder::create("/proc", "S1")),
              "10/194 Failed to create directory. '/proc/S1': No such file or directory.");
}

TEST(LogFolder, WritesNewFilesAlone) {
    const TemporaryFolder temporary;
    const auto folder = LogFolder::create(temporary / "", "S1");
    ASSERT_TRUE(folder);
    EXPECT_EQ(statusText(folder->write("a.bin", bytes("first"))), SUCCESS);
    EXPECT_EQ(statusText(folder->write("a.bin", bytes("second"))),
              "1/17 Unable to write " + (temporary / "S1/a.bin") + ": File exists");
    EXPECT_EQ(readWholeFile(temporary / "S1/a.bin"), "first");
    EXPECT_EQ(std::filesystem::status(temporary / "S1").permissions(), std::filesystem::perms::owner_all);
    EXPECT_EQ(std::filesystem::status(temporary / "S1/a.bin").permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    writeWholeFile(temporary / "victim", "precious");
    std::filesystem::create_symlink(temporary / "victim", temporary / "S1/b.bin");
    EXPECT_EQ(statusText(folder->write("b.bin", bytes("third"))),
              "1/17 Unable to write " + (temporary / "S1/b.bin") + ": File exists");
    EXPECT_EQ(readWholeFile(temporary / "victim"), "precious");
}

TEST(LogFolder, AFileThatHasNoRoomIsNotThere) {
    const TemporaryFolder temporary;
    const auto folder = LogFolder::create(temporary / "", "S1");
    ASSERT_TRUE(folder);
    const FileSizeLimit limit(4);
    EXPECT_EQ(statusText(folder->write("a.bin", bytes("first"))),
              "1/27 Unable to write " + (temporary / "S1/a.bin") + ": File too large");
    EXPECT_TRUE(std::filesystem::is_empty(temporary / "S1"));
}

TEST(LogFolder, AFileIsThereOnceItIsFinished) {
    const TemporaryFolder temporary;
    const auto folder = LogFolder::create(temporary / "", "S1");
    ASSERT_TRUE(folder);
    {
        UserFile file;
        ASSERT_TRUE(succeeded(folder->createFile("a.bin", file)));
        FileSink log(file);
        EXPECT_EQ(statusText(log.begin(3)), SUCCESS);
        EXPECT_EQ(statusText(log.add(reinterpret_cast<const uint8_t*>("abc"), 3)), SUCCESS);
    }
    EXPECT_TRUE(std::filesystem::is_empty(temporary / "S1"));
}

TEST(FileSink, ALogThatIsReadAgainReplacesItself) {
    const TemporaryFolder temporary;
    UserFile file;
    ASSERT_TRUE(succeeded(file.open(temporary / "a.bin")));
    FileSink log(file);
    EXPECT_EQ(statusText(log.begin(6)), SUCCESS);
    EXPECT_EQ(statusText(log.add(reinterpret_cast<const uint8_t*>("abcdef"), 6)), SUCCESS);
    EXPECT_EQ(statusText(log.begin(2)), SUCCESS);
    EXPECT_EQ(statusText(log.add(reinterpret_cast<const uint8_t*>("xy"), 2)), SUCCESS);
    EXPECT_EQ(log.bytes(), 2u);
    EXPECT_EQ(statusText(file.finish()), SUCCESS);
    EXPECT_EQ(readWholeFile(temporary / "a.bin"), "xy");
}

TEST(FileSink, RefusesALogThatTheFileSystemHasNoRoomFor) {
    const TemporaryFolder temporary;
    UserFile file;
    ASSERT_TRUE(succeeded(file.open(temporary / "a.bin")));
    EXPECT_EQ(statusText(FileSink(file).begin(uint64_t{1} << 60)),
              "1/28 Unable to write " + (temporary / "a.bin") + ": No space left on device");
}

TEST(LogFolder, NamesOfDrivesBecomeNamesOfFiles) {
    EXPECT_EQ(fileNameOf("S1-2_x.y", "drive"), "S1-2_x.y");
    EXPECT_EQ(fileNameOf("../etc/passwd", "drive"), "_._etc_passwd");
    EXPECT_EQ(fileNameOf("a b\n\xFF", "drive"), "a_b__");
    EXPECT_EQ(fileNameOf("..", "drive"), "_.");
    EXPECT_EQ(fileNameOf("", "drive"), "drive");
}

}  // namespace
}  // namespace features::jobs
