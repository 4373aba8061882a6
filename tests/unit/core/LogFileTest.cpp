#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ostrel/core/LogFile.h"
#include "tests/support/TemporaryFolder.h"

using ostrel::core::LogFile;

TEST(LogFile, AppendsOrReplaces) {
    TemporaryFolder folder;
    writeWholeFile(folder / "log", "old\n");
    LogFile(folder / "log", true).write("appended\n");
    EXPECT_EQ(readWholeFile(folder / "log"), "old\nappended\n");
    LogFile(folder / "log", false).write("new\n");
    EXPECT_EQ(readWholeFile(folder / "log"), "new\n");
}

TEST(LogFile, WritesToTheEndThatAnotherWriterMoved) {
    TemporaryFolder folder;
    LogFile one(folder / "log", false);
    LogFile other(folder / "log", true);
    one.write("1\n");
    other.write("2\n");
    one.write("3\n");
    EXPECT_EQ(readWholeFile(folder / "log"), "1\n2\n3\n");
}

TEST(LogFile, CreatesTheFileForItsOwnerAlone) {
    TemporaryFolder folder;
    const mode_t before = umask(0);
    LogFile stream(folder / "log", true);
    umask(before);
    struct stat about = {};
    ASSERT_EQ(stat((folder / "log").c_str(), &about), 0);
    EXPECT_EQ(about.st_mode, static_cast<mode_t>(S_IFREG | 0600));
}

TEST(LogFile, FollowsNoLink) {
    TemporaryFolder folder;
    writeWholeFile(folder / "target", "precious");
    ASSERT_EQ(symlink((folder / "target").c_str(), (folder / "link").c_str()), 0);
    ASSERT_EQ(symlink((folder / "absent").c_str(), (folder / "dangling").c_str()), 0);
    EXPECT_FALSE(LogFile(folder / "link", false).isOpen());
    EXPECT_FALSE(LogFile(folder / "dangling", false).isOpen());
    EXPECT_EQ(readWholeFile(folder / "target"), "precious");
    EXPECT_FALSE(std::filesystem::exists(folder / "absent"));
}

TEST(LogFile, OpensNoFileThatAnotherUserPutThere) {
    TemporaryFolder folder;
    ASSERT_EQ(chmod((folder / ".").c_str(), 01777), 0);
    writeWholeFile(folder / "precious", "precious");
    ASSERT_EQ(link((folder / "precious").c_str(), (folder / "log").c_str()), 0);
    EXPECT_FALSE(LogFile(folder / "log", false).isOpen()) << "a further name of a file, which others could make";
    EXPECT_EQ(readWholeFile(folder / "precious"), "precious");
    EXPECT_TRUE(LogFile(folder / "new", false).isOpen());
    ASSERT_EQ(chmod((folder / "new").c_str(), 0666), 0);
    if (chown((folder / "new").c_str(), 4000000, 4000000) != 0) GTEST_SKIP() << "giving a file away takes root";
    EXPECT_FALSE(LogFile(folder / "new", true).isOpen()) << "its owner would read the log";
}

TEST(LogFile, OpensRegularFilesOnly) {
    TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    const int reader = open((folder / "pipe").c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_FALSE(LogFile(folder / "pipe", true).isOpen()) << "a pipe that has a reader";
    close(reader);
    EXPECT_FALSE(LogFile(folder / "pipe", true).isOpen()) << "a pipe without reader: opening must not wait";
    EXPECT_FALSE(LogFile("/dev/null", true).isOpen()) << "a device: the next one might be a drive";
    EXPECT_FALSE(LogFile(folder / "", true).isOpen()) << "a folder";
    EXPECT_FALSE(LogFile(folder / "absent/log", true).isOpen()) << "a folder that is missing";
}

TEST(LogFile, GoesOnAfterALineThatCouldNotBeWritten) {
    TemporaryFolder folder;
    LogFile stream(folder / "absent/log", true);
    stream.write("lost\n");
    EXPECT_FALSE(std::filesystem::exists(folder / "absent"));
}
