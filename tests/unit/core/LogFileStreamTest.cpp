#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ostrel/core/LogFileStream.h"
#include "tests/support/TemporaryFolder.h"

using ostrel::core::LogFileStream;

TEST(LogFileStream, WritesNothingBeforeTheFlushAndAllOfItThen) {
    TemporaryFolder folder;
    LogFileStream stream(folder / "log", true);
    stream << "one " << 2;
    stream.put('\n');
    EXPECT_EQ(readWholeFile(folder / "log"), "");
    stream.flush();
    EXPECT_EQ(readWholeFile(folder / "log"), "one 2\n");
}

TEST(LogFileStream, AppendsOrReplaces) {
    TemporaryFolder folder;
    writeWholeFile(folder / "log", "old\n");
    LogFileStream(folder / "log", true) << "appended\n" << std::flush;
    EXPECT_EQ(readWholeFile(folder / "log"), "old\nappended\n");
    LogFileStream(folder / "log", false) << "new\n" << std::flush;
    EXPECT_EQ(readWholeFile(folder / "log"), "new\n");
}

TEST(LogFileStream, WritesToTheEndThatAnotherWriterMoved) {
    TemporaryFolder folder;
    LogFileStream one(folder / "log", false);
    LogFileStream other(folder / "log", true);
    one << "1\n" << std::flush;
    other << "2\n" << std::flush;
    one << "3\n" << std::flush;
    EXPECT_EQ(readWholeFile(folder / "log"), "1\n2\n3\n");
}

TEST(LogFileStream, CreatesTheFileForItsOwnerAlone) {
    TemporaryFolder folder;
    const mode_t before = umask(0);
    LogFileStream stream(folder / "log", true);
    umask(before);
    struct stat about = {};
    ASSERT_EQ(stat((folder / "log").c_str(), &about), 0);
    EXPECT_EQ(about.st_mode, static_cast<mode_t>(S_IFREG | 0600));
}

TEST(LogFileStream, FollowsNoLink) {
    TemporaryFolder folder;
    writeWholeFile(folder / "target", "precious");
    ASSERT_EQ(symlink((folder / "target").c_str(), (folder / "link").c_str()), 0);
    ASSERT_EQ(symlink((folder / "absent").c_str(), (folder / "dangling").c_str()), 0);
    EXPECT_FALSE(LogFileStream(folder / "link", false).isOpen());
    EXPECT_FALSE(LogFileStream(folder / "dangling", false).isOpen());
    EXPECT_EQ(readWholeFile(folder / "target"), "precious");
    EXPECT_FALSE(std::filesystem::exists(folder / "absent"));
}

TEST(LogFileStream, OpensNoFileThatAnotherUserPutThere) {
    TemporaryFolder folder;
    ASSERT_EQ(chmod((folder / ".").c_str(), 01777), 0);
    writeWholeFile(folder / "precious", "precious");
    ASSERT_EQ(link((folder / "precious").c_str(), (folder / "log").c_str()), 0);
    EXPECT_FALSE(LogFileStream(folder / "log", false).isOpen()) << "a further name of a file, which others could make";
    EXPECT_EQ(readWholeFile(folder / "precious"), "precious");
    EXPECT_TRUE(LogFileStream(folder / "new", false).isOpen());
    ASSERT_EQ(chmod((folder / "new").c_str(), 0666), 0);
    if (chown((folder / "new").c_str(), 4000000, 4000000) != 0) GTEST_SKIP() << "giving a file away takes root";
    EXPECT_FALSE(LogFileStream(folder / "new", true).isOpen()) << "its owner would read the log";
}

TEST(LogFileStream, OpensRegularFilesOnly) {
    TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    const int reader = open((folder / "pipe").c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_FALSE(LogFileStream(folder / "pipe", true).isOpen()) << "a pipe that has a reader";
    close(reader);
    EXPECT_FALSE(LogFileStream(folder / "pipe", true).isOpen()) << "a pipe without reader: opening must not wait";
    EXPECT_FALSE(LogFileStream("/dev/null", true).isOpen()) << "a device: the next one might be a drive";
    EXPECT_FALSE(LogFileStream(folder / "", true).isOpen()) << "a folder";
    EXPECT_FALSE(LogFileStream(folder / "absent/log", true).isOpen()) << "a folder that is missing";
}

TEST(LogFileStream, GoesOnAfterALineThatCouldNotBeWritten) {
    TemporaryFolder folder;
    LogFileStream stream(folder / "absent/log", true);
    stream << "lost\n" << std::flush;
    EXPECT_TRUE(stream.good());
}
