#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "features/jobs/support/StateFolder.h"
#include "tests/support/TemporaryFolder.h"

namespace features::jobs {
namespace {

mode_t modeOf(const std::string& path) {
    struct stat info = {};
    EXPECT_EQ(lstat(path.c_str(), &info), 0);
    return info.st_mode & 07777;
}

class StateFolderTest : public testing::Test {
protected:
    static std::string make(const std::string& path) {
        const ostrel::core::Status status = makeStateFolder(path);
        return std::to_string(status.getCategory()) + "/" + std::to_string(status.getCode()) + " " +
               status.getMessage();
    }

    TemporaryFolder folder_;
    const std::string above_ = std::filesystem::canonical(folder_ / "").string();
    const std::string path_ = above_ + "/state";
};

const std::string SUCCESS = "0/0 Completed successfully.";

TEST_F(StateFolderTest, HasItsModeWhateverTheUmask) {
    for (const mode_t mask : {0000U, 0022U, 0077U, 0777U}) {
        const mode_t before = umask(mask);
        EXPECT_EQ(make(path_), SUCCESS);
        umask(before);
        EXPECT_EQ(modeOf(path_), 0700U) << mask;
        std::filesystem::remove(path_);
    }
}

TEST_F(StateFolderTest, StaysAsItIsWhereItIsThere) {
    ASSERT_EQ(mkdir(path_.c_str(), 0755), 0);
    EXPECT_EQ(make(path_), SUCCESS);
    EXPECT_EQ(modeOf(path_), 0755U);
}

TEST_F(StateFolderTest, IsNotMadeWhereOthersMayWrite) {
    for (const mode_t mode : {0777U, 01777U}) {
        ASSERT_EQ(chmod(above_.c_str(), mode), 0);
        EXPECT_EQ(make(path_), "1/1 '" + above_ + "' can be written by others than its owner (mode " +
                                   (mode == 0777 ? "0777)" : "1777)"));
        EXPECT_FALSE(std::filesystem::exists(path_));
    }
}

TEST_F(StateFolderTest, IsRefusedWhereOthersMayWriteInIt) {
    ASSERT_EQ(mkdir(path_.c_str(), 0700), 0);
    ASSERT_EQ(chmod(path_.c_str(), 0770), 0);
    EXPECT_EQ(make(path_), "1/1 '" + path_ + "' can be written by others than its owner (mode 0770)");
}

TEST_F(StateFolderTest, IsRefusedWhereItBelongsToAnotherUser) {
    if (geteuid() != 0) GTEST_SKIP() << "root alone gives a folder away";
    ASSERT_EQ(mkdir(path_.c_str(), 0700), 0);
    ASSERT_EQ(chown(path_.c_str(), 65534, 65534), 0);
    EXPECT_EQ(make(path_), "1/1 '" + path_ + "' belongs to user 65534");
    std::filesystem::rename(path_, above_ + "/others");
    std::filesystem::create_symlink("others", path_);
    EXPECT_EQ(make(path_), "1/1 '" + above_ + "/others' belongs to user 65534");
}

TEST_F(StateFolderTest, SaysWhatIsInItsPlace) {
    writeWholeFile(path_, "a file");
    EXPECT_EQ(make(path_), "1/20 Unable to open " + path_ + ": Not a directory");
    EXPECT_EQ(make(above_ + "/absent/state"), "1/2 Unable to open " + above_ + "/absent/: No such file or directory");
    EXPECT_EQ(readWholeFile(path_), "a file");
}

}  // namespace
}  // namespace features::jobs
