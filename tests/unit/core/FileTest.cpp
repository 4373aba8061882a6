#include <boost/property_tree/ptree.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <thread>
#include <vector>

#include "ostrel/core/File.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Emulated.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/UnnamedFiles.h"

namespace ostrel::core {
namespace {

class File : public testing::Test {
protected:
    std::vector<std::string> names() const { return folder_.names(); }

    TemporaryFolder folder_;
    const std::string path_ = folder_ / "file";
};

struct stat propertiesOf(const std::string& path) {
    struct stat properties = {};
    EXPECT_EQ(lstat(path.c_str(), &properties), 0) << path;
    return properties;
}

/// From now on this process can write no file of more than so many bytes. Never taken back.
void limitFileSize(rlim_t bytes) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
}

// Questions.

TEST_F(File, ReportsWhatAPathIs) {
    writeWholeFile(path_, "text");
    std::filesystem::create_directory(folder_ / "directory");
    std::filesystem::create_symlink("file", folder_ / "toFile");
    std::filesystem::create_symlink("directory", folder_ / "toDirectory");
    std::filesystem::create_symlink("nowhere", folder_ / "dangling");
    const struct {
        const char* name;
        bool exists;
        bool directory;
        bool link;
    } cases[] = {
        {"file", true, false, false},        {"directory", true, true, false}, {"toFile", true, false, true},
        {"toDirectory", true, true, true},   {"dangling", false, false, true}, {"missing", false, false, false},
        {"file/below", false, false, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(pathExists(folder_ / c.name), c.exists) << c.name;
        EXPECT_EQ(isDirectory(folder_ / c.name), c.directory) << c.name;
        EXPECT_EQ(isSymbolicLink(folder_ / c.name), c.link) << c.name;
    }
    EXPECT_FALSE(pathExists(""));
}

// Reading.

TEST_F(File, ReadsEveryByte) {
    const std::string bytes("a\0\r\n\xFF", 5);
    writeWholeFile(path_, bytes);
    std::string text = "old";
    EXPECT_EQ(readFile(path_, SymbolicLink::REFUSE, text).toString(), Status().toString());
    EXPECT_EQ(text, bytes);
}

TEST_F(File, ReadsFilesOfAllSizes) {
    for (const size_t size : {0u, 1u, 65535u, 65536u, 65537u, 1000000u}) {
        writeWholeFile(path_, std::string(size, 'x'));
        std::string text = "old";
        EXPECT_TRUE(succeeded(readFile(path_, SymbolicLink::FOLLOW, text)));
        EXPECT_EQ(text, std::string(size, 'x')) << size;
    }
}

TEST_F(File, ReadsAFileWhoseSizeIsNotKnown) {
    std::string text;
    EXPECT_TRUE(succeeded(readFile("/proc/self/comm", SymbolicLink::REFUSE, text)));
    EXPECT_EQ(text, readWholeFile("/proc/self/comm"));
    EXPECT_NE(text, "");
}

TEST_F(File, ReadsThroughALinkOnlyOnRequest) {
    writeWholeFile(path_, "text");
    const std::string link = folder_ / "link";
    std::filesystem::create_symlink("file", link);
    std::string text = "old";
    EXPECT_EQ(readFile(link, SymbolicLink::REFUSE, text).toString(),
              "Category: 1\nCode: 40\nMessage: Unable to open " + link + ": Too many levels of symbolic links");
    EXPECT_EQ(text, "old");
    EXPECT_TRUE(succeeded(readFile(link, SymbolicLink::FOLLOW, text)));
    EXPECT_EQ(text, "text");
}

TEST_F(File, SaysWhyItCannotRead) {
    std::string text = "old";
    EXPECT_EQ(readFile(path_, SymbolicLink::FOLLOW, text).toString(),
              "Category: 1\nCode: 2\nMessage: Unable to open " + path_ + ": No such file or directory");
    EXPECT_EQ(readFile(folder_ / "", SymbolicLink::FOLLOW, text).toString(),
              "Category: 1\nCode: 21\nMessage: Unable to read " + (folder_ / "") + ": Is a directory");
    EXPECT_EQ(text, "old");
}

// Writing.

TEST_F(File, CreatesANewFile) {
    const mode_t old = umask(027);
    EXPECT_EQ(writeFileAtomically(path_, "text").toString(), Status().toString());
    umask(old);
    EXPECT_EQ(readWholeFile(path_), "text");
    EXPECT_EQ(propertiesOf(path_).st_mode, static_cast<mode_t>(S_IFREG | 0640)) << "0644 less the umask";
    EXPECT_EQ(names(), std::vector<std::string>{"file"});
}

TEST_F(File, WritesEveryByteOfAnyLength) {
    for (const size_t size : {0u, 1u, 4096u, 5000000u}) {
        std::string bytes(size, '\0');
        for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7);
        EXPECT_TRUE(succeeded(writeFileAtomically(path_, bytes)));
        EXPECT_EQ(readWholeFile(path_), bytes) << size;
    }
}

TEST_F(File, WritesBelowTheCurrentDirectory) {
    const auto old = std::filesystem::current_path();
    std::filesystem::current_path(folder_ / "");
    const Status status = writeFileAtomically("file", "text");
    std::filesystem::current_path(old);
    EXPECT_TRUE(succeeded(status));
    EXPECT_EQ(readWholeFile(path_), "text");
}

TEST_F(File, WritesANameOfTheGreatestLength) {
    const std::string path = folder_ / std::string(255, 'n');
    EXPECT_TRUE(succeeded(writeFileAtomically(path, "text")));
    EXPECT_EQ(readWholeFile(path), "text");
}

TEST_F(File, KeepsTheModeOfTheFileItReplaces) {
    for (const mode_t mode : {0600u, 0640u, 0666u, 04755u, 0400u, 0u}) {
        writeWholeFile(path_, "old");
        ASSERT_EQ(chmod(path_.c_str(), mode), 0);
        const mode_t old = umask(077);
        EXPECT_TRUE(succeeded(writeFileAtomically(path_, "new")));
        umask(old);
        EXPECT_EQ(propertiesOf(path_).st_mode, S_IFREG | mode);
        ASSERT_EQ(unlink(path_.c_str()), 0);
    }
}

TEST_F(File, KeepsTheOwnerOfTheFileItReplaces) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    writeWholeFile(path_, "old");
    ASSERT_EQ(chown(path_.c_str(), 1234, 5678), 0);
    ASSERT_EQ(chmod(path_.c_str(), 06755), 0);
    EXPECT_TRUE(succeeded(writeFileAtomically(path_, "new")));
    EXPECT_EQ(readWholeFile(path_), "new");
    EXPECT_EQ(propertiesOf(path_).st_uid, 1234u);
    EXPECT_EQ(propertiesOf(path_).st_gid, 5678u);
    EXPECT_EQ(propertiesOf(path_).st_mode, static_cast<mode_t>(S_IFREG | 06755));
}

TEST_F(File, PutsANewFileInThePlaceOfTheOld) {
    writeWholeFile(path_, "old");
    const std::string other = folder_ / "other";
    std::filesystem::create_hard_link(path_, other);
    EXPECT_TRUE(succeeded(writeFileAtomically(path_, "new")));
    EXPECT_EQ(readWholeFile(path_), "new");
    EXPECT_EQ(readWholeFile(other), "old") << "a reader that holds the old file keeps it as it was";
}

TEST_F(File, NeverWritesThroughALink) {
    writeWholeFile(folder_ / "target", "old");
    for (const char* target : {"target", "nowhere", "."}) {
        std::filesystem::create_symlink(target, path_);
        EXPECT_EQ(writeFileAtomically(path_, "new").toString(),
                  "Category: 1\nCode: 40\nMessage: Unable to write " + path_ + ": Too many levels of symbolic links");
        EXPECT_EQ(std::filesystem::read_symlink(path_), target);
        ASSERT_EQ(unlink(path_.c_str()), 0);
    }
    EXPECT_EQ(readWholeFile(folder_ / "target"), "old");
    EXPECT_EQ(names(), std::vector<std::string>{"target"});
}

TEST_F(File, ReplacesRegularFilesAlone) {
    std::filesystem::create_directory(path_);
    EXPECT_EQ(writeFileAtomically(path_, "new").toString(),
              "Category: 1\nCode: 21\nMessage: Unable to write " + path_ + ": Is a directory");
    std::filesystem::remove(path_);
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(writeFileAtomically(path_, "new").toString(),
              "Category: 1\nCode: 22\nMessage: Unable to write " + path_ + ": Invalid argument");
    EXPECT_TRUE(S_ISFIFO(propertiesOf(path_).st_mode));
    EXPECT_EQ(writeFileAtomically(folder_ / "", "new").getCode(), static_cast<uint32_t>(ENOENT)) << "no name";
    EXPECT_EQ(names(), std::vector<std::string>{"file"});
}

TEST_F(File, SaysThatTheDirectoryIsMissing) {
    const std::string path = folder_ / "none/file";
    EXPECT_EQ(writeFileAtomically(path, "new").toString(),
              "Category: 1\nCode: 2\nMessage: Unable to write " + path + ": No such file or directory");
    EXPECT_EQ(names(), std::vector<std::string>{});
}

TEST_F(File, LeavesTheOldFileWhenTheNewOneCannotBeWritten) {
    writeWholeFile(path_, "old");
    EXPECT_TRUE(holdsInAChild([this] {
        limitFileSize(1000);
        return writeFileAtomically(path_, std::string(1001, 'x')).is(1, EFBIG);
    }));
    EXPECT_EQ(readWholeFile(path_), "old");
    EXPECT_EQ(names(), std::vector<std::string>{"file"});
}

TEST_F(File, ReplacesAlsoWhereTheFileSystemKnowsNamedFilesAlone) {
    if (isEmulated()) GTEST_SKIP() << "an emulator has no filter of system calls";
    writeWholeFile(path_, "old");
    ASSERT_EQ(chmod(path_.c_str(), 0604), 0);
    const std::string other = folder_ / "other";
    EXPECT_TRUE(holdsInAChild([&] {
        return refuseUnnamedFiles() && succeeded(writeFileAtomically(path_, "new")) &&
               succeeded(writeFileAtomically(other, "created"));
    }));
    EXPECT_EQ(readWholeFile(path_), "new");
    EXPECT_EQ(propertiesOf(path_).st_mode, static_cast<mode_t>(S_IFREG | 0604));
    EXPECT_EQ(readWholeFile(other), "created");
    EXPECT_EQ(names(), (std::vector<std::string>{"file", "other"}));
}

TEST_F(File, RemovesTheNamedFileWhenItCannotBeWritten) {
    if (isEmulated()) GTEST_SKIP() << "an emulator has no filter of system calls";
    writeWholeFile(path_, "old");
    EXPECT_TRUE(holdsInAChild([this] {
        limitFileSize(1000);
        return refuseUnnamedFiles() && writeFileAtomically(path_, std::string(1001, 'x')).is(1, EFBIG);
    }));
    EXPECT_EQ(readWholeFile(path_), "old");
    EXPECT_EQ(names(), std::vector<std::string>{"file"});
}

TEST_F(File, LeavesTheOldFileWhenItsOwnerCannotBeKept) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    writeWholeFile(path_, "old");
    ASSERT_EQ(chmod((folder_ / "").c_str(), 0777), 0);
    EXPECT_TRUE(holdsInAChild([this] { return dropPrivileges() && writeFileAtomically(path_, "new").is(1, EPERM); }));
    EXPECT_EQ(readWholeFile(path_), "old");
    EXPECT_EQ(names(), std::vector<std::string>{"file"});
}

TEST_F(File, LeavesTheOldFileWithoutTheRightToTheDirectory) {
    if (geteuid() != 0) GTEST_SKIP() << "needs another user to be";
    writeWholeFile(path_, "old");
    ASSERT_EQ(chmod(path_.c_str(), 0666), 0);
    ASSERT_EQ(chmod((folder_ / "").c_str(), 0755), 0);
    EXPECT_TRUE(holdsInAChild([this] { return dropPrivileges() && writeFileAtomically(path_, "new").is(1, EACCES); }));
    EXPECT_EQ(readWholeFile(path_), "old");
}

TEST_F(File, ShowsReadersTheOldOrTheNewFileWhole) {
    const std::string first(200000, '1');
    const std::string second(300000, '2');
    ASSERT_TRUE(succeeded(writeFileAtomically(path_, first)));
    std::atomic<bool> done = false;
    std::thread writer([&] {
        for (int i = 0; i < 100; ++i) EXPECT_TRUE(succeeded(writeFileAtomically(path_, i % 2 == 0 ? second : first)));
        done = true;
    });
    int readings = 0;
    for (std::string text; !done || readings == 0; ++readings) {
        EXPECT_TRUE(succeeded(readFile(path_, SymbolicLink::REFUSE, text)));
        EXPECT_TRUE(text == first || text == second) << text.size() << " bytes";
    }
    writer.join();
    EXPECT_EQ(names(), std::vector<std::string>{"file"});
}

TEST_F(File, ManyWritersLeaveOneWholeFile) {
    std::vector<std::thread> writers;
    for (char c = 'a'; c < 'e'; ++c)
        writers.emplace_back([this, c] {
            for (int i = 0; i < 25; ++i) EXPECT_TRUE(succeeded(writeFileAtomically(path_, std::string(50000, c))));
        });
    for (auto& writer : writers) writer.join();
    const std::string text = readWholeFile(path_);
    EXPECT_EQ(text, std::string(50000, text.empty() ? '-' : text[0]));
    EXPECT_EQ(names(), std::vector<std::string>{"file"});
}

TEST_F(File, AKilledWriterLeavesTheOldFileOrTheNew) {
    const std::string oldText(100000, 'o');
    const std::string newText(1000000, 'n');
    ASSERT_TRUE(succeeded(writeFileAtomically(path_, oldText)));
    for (int i = 0; i < 50; ++i) {
        const pid_t child = fork();
        if (child == 0)
            for (;;) {
                (void)writeFileAtomically(path_, newText);  // killed in the middle of one of them
                (void)writeFileAtomically(path_, oldText);
            }
        usleep(static_cast<useconds_t>(200 + 137 * i));
        ASSERT_EQ(kill(child, SIGKILL), 0);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
        const std::string text = readWholeFile(path_);
        EXPECT_TRUE(text == oldText || text == newText) << text.size() << " bytes after run " << i;
    }
}

// Trees.

TEST_F(File, ReadsAnXmlFileIntoATree) {
    writeWholeFile(path_, "<?xml version=\"1.0\"?><a b=\"1\"> <c>text</c> </a>");
    LogCapture log;
    const auto tree = readXml(path_);
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(tree->get<std::string>("a.<xmlattr>.b"), "1");
    EXPECT_EQ(tree->get<std::string>("a.c"), "text");
    EXPECT_EQ(tree->get<std::string>("a"), "  ") << "blanks are kept: the reader runs without flags";
    EXPECT_EQ(log.lines(), "");
}

// A nesting that the parser's recursion would answer with an overflow of the stack.
TEST_F(File, ReadsNoXmlFileThatNestsTooDeep) {
    const auto nested = [](size_t levels) {
        std::string text;
        for (size_t i = 0; i < levels; ++i) text += "<a>";
        for (size_t i = 0; i < levels; ++i) text += "</a>";
        return text;
    };
    LogCapture log;
    writeWholeFile(path_, nested(512));
    EXPECT_NE(readXml(path_), nullptr);
    EXPECT_EQ(log.lines(), "");
    for (const size_t levels : {size_t{513}, size_t{1000000}}) {
        writeWholeFile(path_, nested(levels));
        EXPECT_EQ(readXml(path_), nullptr);
    }
    EXPECT_EQ(log.lines(),
              "[error] Error parsing xml: XML elements are nested too deep\n"
              "[error] Error parsing xml: XML elements are nested too deep\n");
}

TEST_F(File, ReadsAJsonFileIntoATree) {
    writeWholeFile(path_, "{\"a\": {\"b\": [1, 2]}}");
    LogCapture log;
    const auto tree = readJson(path_);
    ASSERT_NE(tree, nullptr);
    ASSERT_EQ(tree->get_child("a.b").size(), 2u);
    EXPECT_EQ(tree->get_child("a.b").back().second.data(), "2");
    EXPECT_EQ(log.lines(), "");
}

TEST_F(File, LogsWhyAFileIsNoTree) {
    writeWholeFile(path_, "<a>\n<b></a>");
    LogCapture log;
    EXPECT_EQ(readXml(path_), nullptr);
    EXPECT_EQ(readJson(path_), nullptr);
    EXPECT_EQ(readXml(folder_ / "none"), nullptr);
    EXPECT_EQ(readJson(folder_ / "none"), nullptr);
    const std::string missing =
        "[error] Error parsing xml: Unable to open " + (folder_ / "none") + ": No such file or directory\n";
    EXPECT_EQ(log.lines(),
              "[error] Error parsing xml: <unspecified file>(2): unexpected end of data\n"
              "[error] Error parsing xml: <unspecified file>(1): expected value\n" +
                  missing + missing);
}

}  // namespace
}  // namespace ostrel::core
