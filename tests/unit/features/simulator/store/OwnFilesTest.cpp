#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "features/simulator/store/OwnFiles.h"
#include "ostrel/core/File.h"
#include "tests/support/TemporaryFolder.h"

using namespace features::simulator;
using features::Result;
using features::statusOf;
using ostrel::core::FileDescriptor;
using ostrel::core::Status;

namespace {

class OwnFiles : public ::testing::Test {
protected:
    std::string path(const char* name) const { return folder / name; }
    FileDescriptor opened() const { return FileDescriptor(::open(path("").c_str(), O_RDONLY | O_DIRECTORY)); }
    static mode_t modeOf(const std::string& path) {
        struct stat info{};
        EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
        return info.st_mode & 07777;
    }
    Result<std::string> read(const char* name, size_t maxBytes) const {
        const FileDescriptor at = opened();
        TRY(const OwnFile file, openOwnFile(at.get(), name, name));
        return readOwnFile(file, name, maxBytes);
    }

    TemporaryFolder folder;
};

TEST_F(OwnFiles, FoldersAreTightenedOnlyWhenAsked) {
    const std::string drive = path("drive");
    ASSERT_EQ(::mkdir(drive.c_str(), 0700), 0);
    ASSERT_EQ(::chmod(drive.c_str(), 0755), 0);
    EXPECT_TRUE(openOwnFolder(drive, FolderMode::KEEP));
    EXPECT_EQ(modeOf(drive), 0755U);
    const auto opened = openOwnFolder(drive, FolderMode::TIGHTEN);
    EXPECT_EQ(modeOf(drive), 0700U);
    EXPECT_TRUE(opened && opened->isOpen());
}

TEST_F(OwnFiles, FoldersThatOthersMayWriteAreRefused) {
    const std::string drive = path("drive");
    ASSERT_EQ(::mkdir(drive.c_str(), 0700), 0);
    for (const mode_t mode : {0720U, 0702U, 01777U}) {
        ASSERT_EQ(::chmod(drive.c_str(), mode), 0);
        for (const FolderMode wanted : {FolderMode::KEEP, FolderMode::TIGHTEN}) {
            const Status status = statusOf(openOwnFolder(drive, wanted));
            EXPECT_TRUE(status.is(1, EPERM)) << std::oct << mode;
            EXPECT_EQ(status.getMessage(), "System error. " + drive + " can be changed by other users.");
        }
        EXPECT_EQ(modeOf(drive), mode) << "what was refused is not changed";
    }
}

TEST_F(OwnFiles, FoldersOfAnotherUserAreRefused) {
    const std::string drive = path("drive");
    ASSERT_EQ(::mkdir(drive.c_str(), 0700), 0);
    if (::chown(drive.c_str(), 12345, 0) != 0) GTEST_SKIP() << "only root can give a folder away";
    const Status status = statusOf(openOwnFolder(drive, FolderMode::TIGHTEN));
    EXPECT_TRUE(status.is(1, EPERM));
    EXPECT_EQ(status.getMessage(), "System error. " + drive + " belongs to another user.");
}

TEST_F(OwnFiles, LinksToFoldersAreNotFollowed) {
    ASSERT_EQ(::mkdir(path("real").c_str(), 0755), 0);
    ASSERT_EQ(::symlink("real", path("link").c_str()), 0);
    EXPECT_TRUE(statusOf(openOwnFolder(path("link"), FolderMode::TIGHTEN)).is(1, ENOTDIR));
    EXPECT_EQ(modeOf(path("real")) & 0777U, 0755U & ~::umask(::umask(0)));
}

TEST_F(OwnFiles, PipesDevicesAndFoldersAreNotRead) {
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    ASSERT_EQ(::mkdir(path("folder").c_str(), 0700), 0);
    for (const char* name : {"pipe", "folder"}) {
        const Status status = statusOf(read(name, 100));
        EXPECT_TRUE(status.is(1, EINVAL)) << name;
        EXPECT_EQ(status.getMessage(), std::string("System error. ") + name + " is not a regular file.");
    }
    const FileDescriptor devices(::open("/dev", O_RDONLY | O_DIRECTORY));
    EXPECT_TRUE(statusOf(openOwnFile(devices.get(), "zero", "/dev/zero")).is(1, EINVAL));
    EXPECT_TRUE(statusOf(read("missing", 100)).is(1, ENOENT));
}

TEST_F(OwnFiles, FilesAreReadUpToTheirBoundAndNotBeyond) {
    writeWholeFile(path("file"), std::string(100000, 'x'));
    EXPECT_EQ(read("file", 100000).value_or(""), std::string(100000, 'x'));
    const Status status = statusOf(read("file", 99999));
    EXPECT_TRUE(status.is(1, EFBIG));
    EXPECT_EQ(status.getMessage(), "System error. file is too large.");
    ASSERT_EQ(::truncate(path("file").c_str(), off_t{1} << 42), 0);  // sparse: reading it would take hours
    EXPECT_TRUE(statusOf(read("file", 100000)).is(1, EFBIG));
}

TEST_F(OwnFiles, TheLengthOfAFileThatGrowsIsBounded) {
    const OwnFile endless{FileDescriptor(::open("/dev/zero", O_RDONLY)), {}};  // its size is 0
    EXPECT_TRUE(statusOf(readOwnFile(endless, "endless", 1 << 20)).is(1, EFBIG));
}

TEST_F(OwnFiles, ListAllNames) {
    for (const char* name : {"a", ".b"}) writeWholeFile(path(name), "");
    const FileDescriptor at = opened();
    for (const char* why : {"once", "and from the start again"}) {
        auto names = listOwnFolder(at.get(), "folder");
        ASSERT_TRUE(names) << why;
        std::sort(names->begin(), names->end());
        EXPECT_EQ(*names, (std::vector<std::string>{".b", "a"})) << why;
    }
    const Status status = statusOf(listOwnFolder(-1, "folder"));
    EXPECT_TRUE(status.is(1, EBADF));
    EXPECT_EQ(status.getMessage(), "System error. folder: Bad file descriptor.");
}

TEST_F(OwnFiles, AreReadFromAnOffsetToTheirEnd) {
    FileDescriptor file(::open(path("file").c_str(), O_RDWR | O_CREAT, 0600));
    ASSERT_EQ(ostrel::core::writeFully(file.get(), "0123456789"), 0);
    const struct {
        uint64_t offset;
        size_t size;
        const char* read;
    } CASES[] = {{0, 4, "0123"}, {4, 6, "456789"}, {8, 6, "89"}, {10, 1, ""}, {20, 4, ""}, {3, 0, ""}};
    for (const auto& c : CASES) {
        uint8_t bytes[16];
        const BytesRead read = readOwnBytes(file.get(), bytes, c.size, c.offset);
        EXPECT_EQ(read.error, 0);
        EXPECT_EQ(std::string(bytes, bytes + read.count), c.read) << c.offset << ' ' << c.size;
    }
    uint8_t byte = 0;
    const BytesRead read = readOwnBytes(-1, &byte, 1, 0);
    EXPECT_EQ(read.error, EBADF);
    EXPECT_EQ(read.count, 0U);
}

TEST_F(OwnFiles, LocksAreForTheirOwnerAlone) {
    const FileDescriptor at = opened();
    auto lock = lockOwnFile(at.get(), "lock", "lock", LockWait::YES);
    ASSERT_TRUE(lock);
    EXPECT_EQ(modeOf(path("lock")), 0600U);
    EXPECT_TRUE(statusOf(lockOwnFile(at.get(), "lock", "lock", LockWait::NO)).is(1, EWOULDBLOCK));
    *lock = FileDescriptor();
    EXPECT_TRUE(lockOwnFile(at.get(), "lock", "lock", LockWait::NO));
}

TEST_F(OwnFiles, LocksOfAnotherKindAreRefused) {
    const FileDescriptor at = opened();
    ASSERT_EQ(::mkdir(path("folder").c_str(), 0700), 0);
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    ASSERT_EQ(::symlink("elsewhere", path("link").c_str()), 0);
    const struct {
        const char* name;
        uint32_t code;
    } CASES[] = {{"folder", EISDIR}, {"pipe", EINVAL}, {"link", ELOOP}};
    for (const auto& c : CASES) {
        EXPECT_TRUE(statusOf(lockOwnFile(at.get(), c.name, c.name, LockWait::YES)).is(1, c.code)) << c.name;
    }
    struct stat info{};
    EXPECT_NE(::lstat(path("elsewhere").c_str(), &info), 0) << "nothing is made through a link";
}

}  // namespace
