#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "features/transport/DriveLock.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace features::transport {
namespace {

using ostrel::core::Status;

class DriveLockTest : public testing::Test {
protected:
    static std::string text(const Status& status) {
        return std::to_string(status.getCategory()) + "/" + std::to_string(status.getCode()) +
               (succeeded(status) ? "" : " " + status.getMessage());
    }
    mode_t modeOf(const std::string& path) const {
        struct stat info{};
        return ::lstat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
    }
    std::string held() const {
        return "11/9 Blocked by running job: process " + std::to_string(::getpid()) + " is changing the drive.";
    }

    TemporaryFolder folder_;
    const std::string locks_ = folder_ / "locks";
    const std::string file_ = locks_ + "/one-1a08aa1921ca5caf";
};

TEST_F(DriveLockTest, IsHeldByOneObjectAtATime) {
    DriveLock first(locks_);
    DriveLock second(locks_);
    EXPECT_EQ(text(first.acquire("one")), "0/0");
    EXPECT_EQ(text(second.acquire("one")), held());
    EXPECT_EQ(text(second.acquire("two")), "0/0") << "another drive";
    first.release();
    second.release();
    EXPECT_EQ(text(second.acquire("one")), "0/0");
    EXPECT_EQ(text(first.acquire("one")), held());
}

TEST_F(DriveLockTest, IsReleasedAsOftenAsItWasAcquired) {
    DriveLock first(locks_);
    DriveLock second(locks_);
    EXPECT_EQ(text(first.acquire("one")), "0/0");
    EXPECT_EQ(text(first.acquire("one")), "0/0");
    first.release();
    EXPECT_EQ(text(second.acquire("one")), held());
    first.release();
    EXPECT_EQ(text(second.acquire("one")), "0/0");
    first.release();
    EXPECT_EQ(text(first.acquire("one")), held()) << "what was not acquired is not released";
}

TEST_F(DriveLockTest, TheFileHoldsTheProcessIdOfItsOwnerAndIsForRootAlone) {
    const mode_t mask = ::umask(0);
    DriveLock lock(locks_);
    EXPECT_EQ(text(lock.acquire("one")), "0/0");
    ::umask(mask);
    EXPECT_EQ(modeOf(locks_), 0700U);
    EXPECT_EQ(modeOf(file_), 0600U);
    EXPECT_EQ(readWholeFile(file_), std::to_string(::getpid()));
    lock.release();
    EXPECT_EQ(readWholeFile(file_), "");
}

TEST_F(DriveLockTest, EndsWithTheProcess) {
    const pid_t child = fork();
    if (child == 0) {
        DriveLock lock(locks_);
        _exit(succeeded(lock.acquire("one")) ? 0 : 1);
    }
    int result = -1;
    ASSERT_EQ(::waitpid(child, &result, 0), child);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(readWholeFile(file_), std::to_string(child)) << "the file of a killed process remains";
    DriveLock lock(locks_);
    EXPECT_EQ(text(lock.acquire("one")), "0/0");
}

TEST_F(DriveLockTest, IsNotInheritedByAnotherProgram) {
    {
        DriveLock lock(locks_);
        EXPECT_EQ(text(lock.acquire("one")), "0/0");
        const pid_t child = fork();
        if (child == 0) {
            ::execl("/bin/sh", "sh", "-c", "for f in /proc/self/fd/*; do readlink $f; done | grep -q locks/one",
                    nullptr);
            _exit(127);
        }
        int result = -1;
        ASSERT_EQ(::waitpid(child, &result, 0), child);
        EXPECT_EQ(WEXITSTATUS(result), 1);
    }
}

TEST_F(DriveLockTest, WhatAnotherUserCanChangeIsRefused) {
    const std::string unsafe = ": it belongs to another user or can be changed by other users.";
    ASSERT_EQ(::mkdir(locks_.c_str(), 0700), 0);
    for (const mode_t mode : {0720U, 0702U}) {
        ASSERT_EQ(::chmod(locks_.c_str(), mode), 0);
        EXPECT_EQ(text(DriveLock(locks_).acquire("one")),
                  "10/104 Unable to create file. The drive cannot be locked: " + locks_ + unsafe)
            << std::oct << mode;
    }
    ASSERT_EQ(::chmod(locks_.c_str(), 0755), 0);
    writeWholeFile(file_, "");
    ASSERT_EQ(::chmod(file_.c_str(), 0622), 0);
    EXPECT_EQ(text(DriveLock(locks_).acquire("one")),
              "10/104 Unable to create file. The drive cannot be locked: " + file_ + unsafe);
    ASSERT_EQ(::chmod(file_.c_str(), 0644), 0);
    EXPECT_EQ(text(DriveLock(locks_).acquire("one")), "0/0");
    if (::geteuid() != 0) return;
    ASSERT_EQ(::chown(locks_.c_str(), 65534, 65534), 0);
    EXPECT_EQ(text(DriveLock(locks_).acquire("one")),
              "10/104 Unable to create file. The drive cannot be locked: " + locks_ + unsafe);
}

TEST_F(DriveLockTest, NoLinkIsFollowed) {
    ASSERT_EQ(::mkdir((folder_ / "elsewhere").c_str(), 0700), 0);
    ASSERT_EQ(::symlink("elsewhere", locks_.c_str()), 0);
    EXPECT_EQ(text(DriveLock(locks_).acquire("one")),
              "10/104 Unable to create file. The drive cannot be locked: " + locks_ + ": Not a directory.");
    ASSERT_EQ(::unlink(locks_.c_str()), 0);
    ASSERT_EQ(::mkdir(locks_.c_str(), 0700), 0);
    writeWholeFile(folder_ / "victim", "kept");
    ASSERT_EQ(::symlink((folder_ / "victim").c_str(), file_.c_str()), 0);
    EXPECT_EQ(text(DriveLock(locks_).acquire("one")), "10/104 Unable to create file. The drive cannot be locked: " +
                                                          file_ + ": Too many levels of symbolic links.");
    EXPECT_EQ(readWholeFile(folder_ / "victim"), "kept");
    ASSERT_EQ(::unlink(file_.c_str()), 0);
    ASSERT_EQ(::mkfifo(file_.c_str(), 0600), 0);
    EXPECT_EQ(text(DriveLock(locks_).acquire("one")), "10/104 Unable to create file. The drive cannot be locked: " +
                                                          file_ + ": it is not of the expected type.");
}

TEST_F(DriveLockTest, WithoutAFolderThatCanBeWrittenThereIsNoLock) {
    EXPECT_EQ(
        text(DriveLock(locks_ + "/deeper").acquire("one")),
        "10/104 Unable to create file. The drive cannot be locked: " + locks_ + "/deeper: No such file or directory.");
    EXPECT_TRUE(holdsInAChild([&] {
        if (::chmod((folder_ / "").c_str(), 0755) != 0 || !dropPrivileges()) return false;
        ::chmod((folder_ / "").c_str(), 0555);
        return DriveLock(locks_).acquire("one").is(10, 104);
    }));
    ::chmod((folder_ / "").c_str(), 0700);
}

TEST(DriveLock, DrivesHaveFilesOfTheirOwn) {
    EXPECT_EQ(DriveLock::fileName("nqn.2014-08.org.nvmexpress:uuid:1"),
              "nqn.2014-08.org.nvmexpress_uuid_1-a2db1717e872dd1f");
    EXPECT_EQ(DriveLock::fileName(std::string("a/\0\xFF", 4)), "a___-73bb21827f29206c");
    EXPECT_NE(DriveLock::fileName("a:b"), DriveLock::fileName("a/b"));
    EXPECT_EQ(DriveLock::fileName(std::string(300, 'x')).size(), 217U);
    EXPECT_NE(DriveLock::fileName(std::string(300, 'x') + "1"), DriveLock::fileName(std::string(300, 'x') + "2"));
}

}  // namespace
}  // namespace features::transport
