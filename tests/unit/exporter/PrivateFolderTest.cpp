#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include "exporter/PrivateFolder.h"
#include "exporter/ReaderLock.h"
#include "exporter/Snapshots.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/TemporaryFolder.h"

namespace exporter {
namespace {

using Names = std::vector<std::string>;

mode_t modeOf(const std::string& path) {
    struct stat about{};
    EXPECT_EQ(::lstat(path.c_str(), &about), 0) << path;
    return about.st_mode & 07777;
}

class PrivateFolderTest : public testing::Test {
protected:
    PrivateFolderTest() { EXPECT_EQ(own_.open(path_), ""); }

    TemporaryFolder folder_;
    const std::string path_ = std::filesystem::canonical(folder_ / "").string() + "/above/own";
    PrivateFolder own_;
};

TEST_F(PrivateFolderTest, IsMadeWithTheFolderAboveIt) {
    EXPECT_EQ(modeOf(folder_ / "above"), 0700U);
    EXPECT_EQ(modeOf(path_), 0700U);
    PrivateFolder again;
    EXPECT_EQ(again.open(path_), "");
    EXPECT_EQ(again.path(), path_);
    EXPECT_TRUE(again.descriptor().isOpen());
}

TEST_F(PrivateFolderTest, IsNoneThatOthersMayChangeOrThatIsNoFolder) {
    writeWholeFile(folder_ / "file", "");
    const std::string file = folder_ / "file";
    PrivateFolder other;
    EXPECT_EQ(other.open(file + "/own"), file + "/own: Not a directory");
    EXPECT_EQ(other.open(file), "Unable to open " + file + ": Not a directory");
    EXPECT_EQ(other.open(folder_ / "a/b/c"), (folder_ / "a/b") + ": No such file or directory");
    EXPECT_FALSE(other.descriptor().isOpen());
    ASSERT_EQ(::chmod(path_.c_str(), 0720), 0);
    EXPECT_EQ(other.open(path_), "'" + path_ + "' can be written by others than its owner (mode 0720)");
    EXPECT_FALSE(other.descriptor().isOpen());
}

TEST_F(PrivateFolderTest, ReadsWhatWasPutIntoIt) {
    std::string text = "old";
    EXPECT_EQ(own_.read("file", text), "");
    EXPECT_EQ(text, "") << "a file that is missing is empty";
    EXPECT_EQ(own_.replace("file", "one"), "");
    EXPECT_EQ(own_.replace("file", "two"), "");
    EXPECT_EQ(modeOf(path_ + "/file"), 0600U);
    EXPECT_EQ(own_.read("file", text), "");
    EXPECT_EQ(text, "two");
}

TEST_F(PrivateFolderTest, SaysWhichFileItCannotUse) {
    std::filesystem::create_directory(path_ + "/folder");
    std::filesystem::create_symlink("target", path_ + "/link");
    std::string text = "old";
    EXPECT_EQ(own_.read("link", text), path_ + "/link: Too many levels of symbolic links");
    EXPECT_EQ(own_.read("folder", text), "Unable to read " + path_ + "/folder: Is a directory");
    EXPECT_EQ(own_.replace("folder", "text"), path_ + "/folder: Is a directory");
    EXPECT_EQ(own_.touch("folder", 1), path_ + "/folder: Is a directory");
    EXPECT_EQ(own_.touch("link", 1), path_ + "/link: Too many levels of symbolic links");
    EXPECT_EQ(own_.touch("missing/file", 1), path_ + "/missing/file: No such file or directory");
    EXPECT_FALSE(std::filesystem::exists(path_ + "/target"));
}

TEST_F(PrivateFolderTest, KeepsAFileWhenAnotherCannotBeWrittenInItsPlace) {
    ASSERT_EQ(own_.replace("file", "old"), "");
    (void)std::signal(SIGXFSZ, SIG_IGN);  // the write fails instead
    {
        const FileSizeLimit limit(16);
        EXPECT_EQ(own_.replace("file", std::string(64, 'x')), path_ + "/file: File too large");
    }
    EXPECT_EQ(readWholeFile(path_ + "/file"), "old");
    std::filesystem::remove_all(path_);
    EXPECT_EQ(own_.replace("file", "new"), path_ + "/file: No such file or directory");
}

TEST_F(PrivateFolderTest, RemembersWhenAFileWasTouched) {
    EXPECT_EQ(own_.touchedAt("file"), std::nullopt);
    EXPECT_EQ(own_.touch("file", 1728043200), "");
    EXPECT_EQ(own_.touchedAt("file"), 1728043200);
    EXPECT_EQ(own_.touch("file", 1), "");
    EXPECT_EQ(own_.touchedAt("file"), 1);
    EXPECT_EQ(modeOf(path_ + "/file"), 0600U);
}

TEST_F(PrivateFolderTest, ALockIsHeldByOneReader) {
    ReaderLock first;
    ASSERT_EQ(first.open(own_, "drive"), "");
    EXPECT_EQ(first.owner(), 0);
    ASSERT_TRUE(first.acquire());
    EXPECT_EQ(first.owner(), ::getpid());
    ReaderLock second;
    ASSERT_EQ(second.open(own_, "drive"), "");
    EXPECT_EQ(second.owner(), ::getpid());
    std::thread release([&first] {
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
        first = ReaderLock();
    });
    EXPECT_TRUE(second.acquire()) << "the first reader is done soon";
    release.join();
}

TEST_F(PrivateFolderTest, ALockThatCannotBeOpenedIsNotHeld) {
    std::filesystem::create_symlink("target", path_ + "/link");
    ReaderLock lock;
    EXPECT_EQ(lock.open(own_, "link"), path_ + "/link: Too many levels of symbolic links");
    EXPECT_FALSE(lock.acquire());
    EXPECT_EQ(lock.owner(), 0);
    EXPECT_FALSE(std::filesystem::exists(path_ + "/target"));
    std::filesystem::create_directory(path_ + "/folder");
    EXPECT_EQ(lock.open(own_, "folder"), path_ + "/folder: Is a directory");
}

TEST_F(PrivateFolderTest, ASnapshotThatCannotBeReadIsNotReplaced) {
    DriveReading reading{{"/dev/nvme0", "S1", "A model", "F1"}};
    EXPECT_EQ(keepSnapshot(own_, reading, 1728043200), "");
    EXPECT_TRUE(std::filesystem::is_empty(path_)) << "of a drive that did not answer";
    reading.isUp = true;
    ASSERT_EQ(keepSnapshot(own_, reading, 1728043200), "");
    const std::string kept = std::filesystem::directory_iterator(path_)->path();
    const std::string line = readWholeFile(kept);
    EXPECT_NE(line, "");
    ASSERT_EQ(keepSnapshot(own_, reading, 1728043201), "");
    EXPECT_EQ(readWholeFile(kept), line) << "one a day";
    std::filesystem::rename(kept, path_ + "/other");
    std::filesystem::create_symlink("other", kept);
    EXPECT_EQ(keepSnapshot(own_, reading, 1728129600), kept + ": Too many levels of symbolic links");
    EXPECT_EQ(readWholeFile(path_ + "/other"), line);
}

}  // namespace
}  // namespace exporter
