#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "CLI/velkossd/OutputFile.h"
#include "tests/unit/velkossd/InFolder.h"

namespace cli::velkossd {
namespace {

using Names = std::vector<std::string>;

bool writeAll(const std::string& path, const std::vector<std::string>& pieces,
              OutputFile::LinkPolicy linkPolicy = OutputFile::FOLLOW_LINK) {
    OutputFile file(path);
    if (!file.open(linkPolicy)) return false;
    for (const std::string& piece : pieces)
        if (!file.write(piece)) return false;
    return file.finish();
}

TEST(OutputFile, WritesPieceByPiece) {
    const InFolder folder;
    EXPECT_TRUE(writeAll("new", {"one ", std::string("t\0o", 3), "", std::string(100000, 'x')}));
    EXPECT_EQ(readWholeFile("new"), std::string("one t\0o", 7) + std::string(100000, 'x'));
    EXPECT_TRUE(writeAll("empty", {}));
    EXPECT_EQ(readWholeFile("empty"), "");
    EXPECT_EQ(folder.names(), (Names{"empty", "new"}));
}

TEST(OutputFile, LeavesTheOldFileUntilItIsFinished) {
    const InFolder folder;
    writeWholeFile("file", "old");
    {
        OutputFile file("file");
        ASSERT_TRUE(file.open(OutputFile::REFUSE_LINK));
        ASSERT_TRUE(file.write("new"));
        EXPECT_EQ(readWholeFile("file"), "old");
    }
    EXPECT_EQ(readWholeFile("file"), "old");
    EXPECT_EQ(folder.names(), Names{"file"});
    EXPECT_TRUE(writeAll("file", {"new"}, OutputFile::REFUSE_LINK));
    EXPECT_EQ(readWholeFile("file"), "new");
    EXPECT_EQ(folder.names(), Names{"file"});
}

TEST(OutputFile, FollowsALinkOnlyWhereTold) {
    const InFolder folder;
    std::filesystem::create_directory("below");
    writeWholeFile("below/target", "old");
    std::filesystem::create_symlink("below/target", "link");
    std::filesystem::create_symlink("link", "chain");
    std::filesystem::create_symlink("nowhere", "dangling");
    std::filesystem::create_symlink("below", "toFolder");
    std::filesystem::create_symlink("/dev/null", "toDevice");
    for (const char* name : {"link", "chain", "dangling", "toFolder", "toDevice"})
        EXPECT_FALSE(writeAll(name, {"new"}, OutputFile::REFUSE_LINK)) << name;
    EXPECT_EQ(readWholeFile("below/target"), "old");
    EXPECT_TRUE(writeAll("chain", {"new"}));
    EXPECT_TRUE(std::filesystem::is_symlink("chain"));
    EXPECT_TRUE(std::filesystem::is_symlink("link"));
    EXPECT_EQ(readWholeFile("below/target"), "new");
    EXPECT_TRUE(writeAll("toDevice", {"new"}));
    for (const char* name : {"dangling", "toFolder"}) EXPECT_FALSE(writeAll(name, {"new"})) << name;
    EXPECT_EQ(folder.names(), (Names{"below", "chain", "dangling", "link", "toDevice", "toFolder"}));
}

TEST(OutputFile, RefusesWhatCannotBeWritten) {
    const InFolder folder;
    std::filesystem::create_directory("folder");
    for (const char* name : {"", "folder", "folder/", "missing/file", "missing/"})
        EXPECT_FALSE(writeAll(name, {"new"})) << name;
    EXPECT_FALSE(writeAll(std::string(256, 'n'), {"new"})) << "a name that is too long";
    EXPECT_EQ(folder.names(), Names{"folder"});
}

TEST(OutputFile, WritesToADeviceAtOnce) {
    EXPECT_TRUE(writeAll("/dev/null", {"one", "two"}));
    OutputFile full("/dev/full");
    ASSERT_TRUE(full.open(OutputFile::FOLLOW_LINK));
    EXPECT_FALSE(full.write("one"));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

TEST(OutputFile, WritesToAPipeAtOnce) {
    for (const auto linkPolicy : {OutputFile::FOLLOW_LINK, OutputFile::REFUSE_LINK}) {
        const InFolder folder;
        ASSERT_EQ(mkfifo("pipe", 0600), 0);
        std::string received;
        std::thread reader([&received] { received = readWholeFile("pipe"); });
        EXPECT_TRUE(writeAll("pipe", {"one ", "two"}, linkPolicy));
        reader.join();
        EXPECT_EQ(received, "one two");
        EXPECT_TRUE(std::filesystem::is_fifo("pipe"));
    }
}

TEST(OutputFile, LeavesNothingOfAFileThatBecomesTooLarge) {
    for (const bool isOldThere : {false, true}) {
        const InFolder folder;
        if (isOldThere) writeWholeFile("file", "old");
        const pid_t child = fork();
        if (child == 0) {
            signal(SIGXFSZ, SIG_IGN);
            const rlimit limit = {1000, 1000};
            setrlimit(RLIMIT_FSIZE, &limit);
            _exit(writeAll("file", {std::string(900, 'x'), std::string(900, 'x')}) ? 1 : 0);
        }
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << "the write was taken for a success";
        EXPECT_EQ(folder.names(), isOldThere ? Names{"file"} : Names{});
        EXPECT_EQ(readWholeFile("file"), isOldThere ? "old" : "");
    }
}

}  // namespace
}  // namespace cli::velkossd
