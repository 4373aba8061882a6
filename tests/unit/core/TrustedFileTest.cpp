#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "ostrel/core/TrustedFile.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"

namespace ostrel::core {
namespace {

constexpr uid_t UNMAPPED = 4000000;  // of no file in these tests

const std::string SUCCESS = "0/0 Completed successfully.";

// Below the system's folder for temporary files, which all may write and which has the sticky bit.
class TrustedFileTest : public testing::Test {
protected:
    TrustedFileTest() {
        std::filesystem::create_directory(folder_ / "inner");
        writeWholeFile(path_, "contents");
        chmod(path_.c_str(), 0644);
        chmod((folder_ / "inner").c_str(), 0755);
    }

    std::string open(const std::string& path, SymbolicLink link = SymbolicLink::FOLLOW) {
        const std::string result = statusText(file_.open(path, link));
        refused_ = file_.refused();
        return result;
    }
    static std::string mode(const std::string& path, const std::string& octal) {
        return "1/1 '" + path + "' can be written by others than its owner (mode " + octal + ")";
    }

    TemporaryFolder folder_;
    const std::string path_ = std::filesystem::canonical(folder_ / "").string() + "/inner/file";
    TrustedFile file_;
    bool refused_ = false;
};

TEST_F(TrustedFileTest, OpensAFileOfTheUserInAStickyFolder) {
    EXPECT_EQ(open(path_), SUCCESS);
    EXPECT_EQ(file_.realPath(), path_);
    std::string contents;
    EXPECT_EQ(statusText(readFile(file_.descriptor(), path_, contents)), SUCCESS);
    EXPECT_EQ(contents, "contents");
}

TEST_F(TrustedFileTest, OpensARelativePath) {
    const std::string before = std::filesystem::current_path();
    std::filesystem::current_path(folder_ / "inner");
    EXPECT_EQ(open("file"), SUCCESS);
    EXPECT_EQ(open("file", SymbolicLink::REFUSE), SUCCESS);
    std::filesystem::current_path(before);
    EXPECT_EQ(file_.realPath(), path_);
}

TEST_F(TrustedFileTest, RefusesAFileThatOthersMayWrite) {
    for (const auto& [bits, octal] : {std::pair(0664, "0664"), std::pair(0646, "0646"), std::pair(04602, "4602")}) {
        ASSERT_EQ(chmod(path_.c_str(), static_cast<mode_t>(bits)), 0);
        EXPECT_EQ(open(path_), mode(path_, octal));
        EXPECT_TRUE(refused_);
    }
    ASSERT_EQ(chmod(path_.c_str(), 01606), 0);
    EXPECT_EQ(open(path_), mode(path_, "1606")) << "the sticky bit of a file says nothing";
}

TEST_F(TrustedFileTest, RefusesAFileBelowAFolderThatOthersMayWrite) {
    const std::string inner = std::filesystem::path(path_).parent_path();
    for (const auto& [bits, octal] : {std::pair(0775, "0775"), std::pair(0757, "0757")}) {
        ASSERT_EQ(chmod(inner.c_str(), static_cast<mode_t>(bits)), 0);
        EXPECT_EQ(open(path_), mode(inner, octal));
        EXPECT_TRUE(refused_);
        EXPECT_EQ(open(inner + "/absent"), "1/2 Unable to open " + inner + "/absent: No such file or directory")
            << "what is not there cannot be resolved";
        EXPECT_FALSE(refused_);
        EXPECT_EQ(open(inner + "/absent", SymbolicLink::REFUSE), mode(inner, octal)) << "the folder is checked first";
    }
    ASSERT_EQ(chmod(inner.c_str(), 01777), 0);
    EXPECT_EQ(open(path_), SUCCESS) << "with the sticky bit no other user can replace it";
}

TEST_F(TrustedFileTest, RefusesWhatBelongsToAnotherUser) {
    struct stat about = {};
    ASSERT_EQ(stat("/", &about), 0);
    file_ = TrustedFile(TrustedOwners({UNMAPPED}));
    EXPECT_EQ(open(path_), "1/1 '/' belongs to user " + std::to_string(about.st_uid));
    EXPECT_TRUE(refused_);
}

// Nothing else of the machine is owned as these tests need it: the owners of this process play the unmapped owner.
TEST_F(TrustedFileTest, AcceptsTheUnmappedOwnerOnlyWhereNoOtherUserMayWrite) {
    struct stat root = {}, own = {};
    ASSERT_EQ(stat("/", &root), 0);
    ASSERT_EQ(stat(path_.c_str(), &own), 0);
    if (root.st_uid != own.st_uid) GTEST_SKIP() << "needs a process of the user to whom / belongs";
    file_ = TrustedFile(TrustedOwners({own.st_uid}, own.st_uid));
    EXPECT_EQ(open("/etc/passwd"), SUCCESS);
    const std::string top = std::filesystem::path(path_).parent_path().parent_path();
    EXPECT_EQ(open(path_), "1/1 '" + top + "' belongs to user " + std::to_string(own.st_uid))
        << "in a sticky folder it may belong to any user";
}

TEST_F(TrustedFileTest, ChecksWhereALinkLeads) {
    const std::string link = folder_ / "link", linkedFolder = folder_ / "folder";
    std::filesystem::create_symlink(path_, link);
    std::filesystem::create_directory_symlink("inner", linkedFolder);
    EXPECT_EQ(open(link), SUCCESS);
    EXPECT_EQ(file_.realPath(), path_);
    EXPECT_EQ(open(linkedFolder + "/file", SymbolicLink::REFUSE), SUCCESS) << "only the last component counts";
    EXPECT_EQ(file_.realPath(), path_);
    const std::string realLink = std::filesystem::canonical(folder_ / "").string() + "/link";
    EXPECT_EQ(open(link, SymbolicLink::REFUSE),
              "1/40 Unable to open " + realLink + ": Too many levels of symbolic links");
    EXPECT_FALSE(refused_);
    ASSERT_EQ(chmod(path_.c_str(), 0666), 0);
    EXPECT_EQ(open(link), mode(path_, "0666"));
}

TEST_F(TrustedFileTest, OpensRegularFilesOnly) {
    const std::string inner = std::filesystem::path(path_).parent_path();
    ASSERT_EQ(mkfifo((inner + "/pipe").c_str(), 0600), 0);
    EXPECT_EQ(open(inner + "/pipe"), "1/22 '" + inner + "/pipe' is not a regular file");
    EXPECT_EQ(open("/dev/null"), "1/22 '/dev/null' is not a regular file");
    EXPECT_EQ(open(inner), "1/22 '" + inner + "' is not a regular file");
    for (const char* name : {"", "/", "/.", "/.."})
        EXPECT_EQ(statusText(file_.open(inner + "/" + name, SymbolicLink::REFUSE)).substr(0, 5), "1/21 ") << name;
    EXPECT_EQ(open(""), "1/2 Unable to open : No such file or directory");
    EXPECT_EQ(open(path_ + "/below"), "1/20 Unable to open " + path_ + "/below: Not a directory");
}

TEST_F(TrustedFileTest, OpensAFolderThatNoOtherUserMayWrite) {
    const std::string inner = std::filesystem::path(path_).parent_path();
    EXPECT_EQ(statusText(file_.openFolder(inner + "/")), SUCCESS);
    EXPECT_EQ(file_.realPath(), inner);
    EXPECT_EQ(statusText(file_.openFolder("/")), SUCCESS);
    EXPECT_EQ(statusText(file_.openFolder(path_)), "1/20 Unable to open " + path_ + ": Not a directory");
    EXPECT_EQ(statusText(file_.openFolder(inner + "/none")),
              "1/2 Unable to open " + inner + "/none: No such file or directory");
    ASSERT_EQ(chmod(inner.c_str(), 01777), 0);
    EXPECT_EQ(statusText(file_.openFolder(inner)), mode(inner, "1777")) << "others may put files into it";
    EXPECT_TRUE(file_.refused());
    ASSERT_EQ(chmod(inner.c_str(), 0700), 0);
    EXPECT_EQ(statusText(file_.openFolder(inner)), SUCCESS);
    EXPECT_FALSE(file_.refused());
}

TEST_F(TrustedFileTest, LeavesNoDescriptorOpenAndNoTrace) {
    const auto descriptors = [] {
        size_t count = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
        return count;
    };
    const size_t before = descriptors();
    {
        TrustedFile file;
        EXPECT_EQ(statusText(file.open(path_, SymbolicLink::FOLLOW)), SUCCESS);
        EXPECT_EQ(descriptors(), before + 1);
        EXPECT_EQ(fcntl(file.descriptor().get(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    }
    EXPECT_EQ(descriptors(), before);
    EXPECT_EQ(folder_.names(), std::vector<std::string>{"inner"});
}

TEST(TrustedOwnersTest, AreRootTheUserAndTheOwnerOfTheExecutable) {
    const TrustedOwners owners = TrustedOwners::ofThisProcess();
    struct stat self = {};
    ASSERT_EQ(stat("/proc/self/exe", &self), 0);
    EXPECT_TRUE(owners.contains(0));
    EXPECT_TRUE(owners.contains(geteuid()));
    EXPECT_TRUE(owners.contains(self.st_uid) || owners.isUnmapped(self.st_uid));
    EXPECT_FALSE(owners.contains(UNMAPPED));
    EXPECT_FALSE(owners.isUnmapped(UNMAPPED));
}

TEST(TrustedOwnersTest, KeepTheUnmappedOwnerApart) {
    const TrustedOwners owners({0, 65534}, 65534);
    EXPECT_TRUE(owners.contains(0));
    EXPECT_FALSE(owners.contains(65534)) << "also when the executable belongs to it";
    EXPECT_TRUE(owners.isUnmapped(65534));
    EXPECT_FALSE(TrustedOwners({0}).isUnmapped(65534));
    EXPECT_TRUE(TrustedOwners({0, 65534}).contains(65534));
}

}  // namespace
}  // namespace ostrel::core
