#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

#include "features/simulator/store/OwnFiles.h"
#include "ostrel/core/File.h"
#include "tests/support/TemporaryFolder.h"

using namespace features::simulator;
using ostrel::core::FileDescriptor;
using ostrel::core::Status;

namespace {

class OwnFiles : public ::testing::Test {
protected:
    std::string path(const char* name) const { return folder / name; }
    FileDescriptor opened() const { return FileDescriptor(::open(path("").c_str(), O_RDONLY | O_DIRECTORY)); }
    static mode_t modeOf(const std::string& path) {
        struct stat info {};
        EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
        return info.st_mode & 07777;
    }
    Status read(const char* name, size_t maxBytes, std::string& text) const {
        const FileDescriptor at = opened();
        FileDescriptor file;
        Status status = openOwnFile(at.get(), name, name, file);
        return succeeded(status) ? readOwnFile(file.get(), name, maxBytes, text) : status;
    }

    TemporaryFolder folder;
};

TEST_F(OwnFiles, FoldersAreTightenedOnlyWhenAsked) {
    const std::string drive = path("drive");
    ASSERT_EQ(::mkdir(drive.c_str(), 0700), 0);
    ASSERT_EQ(::chmod(drive.c_str(), 0755), 0);
    FileDescriptor opened;
    EXPECT_TRUE(succeeded(openOwnFolder(drive, FolderMode::KEEP, opened)));
    EXPECT_EQ(modeOf(drive), 0755U);
    EXPECT_TRUE(succeeded(openOwnFolder(drive, FolderMode::TIGHTEN, opened)));
    EXPECT_EQ(modeOf(drive), 0700U);
    EXPECT_TRUE(opened.isOpen());
}

TEST_F(OwnFiles, FoldersThatOthersMayWriteAreRefused) {
    const std::string drive = path("drive");
    ASSERT_EQ(::mkdir(drive.c_str(), 0700), 0);
    for (const mode_t mode : {0720U, 0702U, 01777U}) {
        ASSERT_EQ(::chmod(drive.c_str(), mode), 0);
        for (const FolderMode wanted : {FolderMode::KEEP, FolderMode::TIGHTEN}) {
            FileDescriptor opened;
            const Status status = openOwnFolder(drive, wanted, opened);
            EXPECT_TRUE(status.is(1, EPERM)) << std::oct << mode;
            EXPECT_EQ(status.getMessage(), "System error. " + drive + " can be changed by other users.");
            EXPECT_FALSE(opened.isOpen());
        }
        EXPECT_EQ(modeOf(drive), mode) << "what was refused is not changed";
    }
}

TEST_F(OwnFiles, FoldersOfAnotherUserAreRefused) {
    const std::string drive = path("drive");
    ASSERT_EQ(::mkdir(drive.c_str(), 0700), 0);
    if (::chown(drive.c_str(), 12345, 0) != 0) GTEST_SKIP() << "only root can give a folder away";
    FileDescriptor opened;
    const Status status = openOwnFolder(drive, FolderMode::TIGHTEN, opened);
    EXPECT_TRUE(status.is(1, EPERM));
    EXPECT_EQ(status.getMessage(), "System error. " + drive + " belongs to another user.");
}

TEST_F(OwnFiles, LinksToFoldersAreNotFollowed) {
    ASSERT_EQ(::mkdir(path("real").c_str(), 0755), 0);
    ASSERT_EQ(::symlink("real", path("link").c_str()), 0);
    FileDescriptor opened;
    EXPECT_TRUE(openOwnFolder(path("link"), FolderMode::TIGHTEN, opened).is(1, ENOTDIR));
    EXPECT_EQ(modeOf(path("real")) & 0777U, 0755U & ~::umask(::umask(0)));
}

TEST_F(OwnFiles, PipesDevicesAndFoldersAreNotRead) {
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    ASSERT_EQ(::mkdir(path("folder").c_str(), 0700), 0);
    std::string text = "untouched";
    for (const char* name : {"pipe", "folder"}) {
        const Status status = read(name, 100, text);
        EXPECT_TRUE(status.is(1, EINVAL)) << name;
        EXPECT_EQ(status.getMessage(), std::string("System error. ") + name + " is not a regular file.");
    }
    const FileDescriptor devices(::open("/dev", O_RDONLY | O_DIRECTORY));
    FileDescriptor file;
    EXPECT_TRUE(openOwnFile(devices.get(), "zero", "/dev/zero", file).is(1, EINVAL));
    EXPECT_TRUE(read("missing", 100, text).is(1, ENOENT));
    EXPECT_EQ(text, "untouched");
}

TEST_F(OwnFiles, FilesAreReadUpToTheirBoundAndNotBeyond) {
    std::string text;
    writeWholeFile(path("file"), std::string(100000, 'x'));
    EXPECT_TRUE(succeeded(read("file", 100000, text)));
    EXPECT_EQ(text, std::string(100000, 'x'));
    const Status status = read("file", 99999, text);
    EXPECT_TRUE(status.is(1, EFBIG));
    EXPECT_EQ(status.getMessage(), "System error. file is too large.");
    ASSERT_EQ(::truncate(path("file").c_str(), off_t{1} << 42), 0);  // sparse: reading it would take hours
    EXPECT_TRUE(read("file", 100000, text).is(1, EFBIG));
    EXPECT_EQ(text.size(), 100000U);
}

TEST_F(OwnFiles, TheLengthOfAFileThatGrowsIsBounded) {
    const FileDescriptor endless(::open("/dev/zero", O_RDONLY));  // its size is 0
    std::string text;
    EXPECT_TRUE(readOwnFile(endless.get(), "endless", 1 << 20, text).is(1, EFBIG));
}

TEST_F(OwnFiles, ListAllNames) {
    for (const char* name : {"a", ".b"}) writeWholeFile(path(name), "");
    std::vector<std::string> names;
    const FileDescriptor at = opened();
    EXPECT_TRUE(succeeded(listOwnFolder(at.get(), "folder", names)));
    EXPECT_TRUE(succeeded(listOwnFolder(at.get(), "folder", names))) << "each time from the start";
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{".b", ".b", "a", "a"}));
    const Status status = listOwnFolder(-1, "folder", names);
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
        size_t count = 99;
        EXPECT_EQ(readOwnBytes(file.get(), bytes, c.size, c.offset, count), 0);
        EXPECT_EQ(std::string(bytes, bytes + count), c.read) << c.offset << ' ' << c.size;
    }
    uint8_t byte = 0;
    size_t count = 99;
    EXPECT_EQ(readOwnBytes(-1, &byte, 1, 0, count), EBADF);
    EXPECT_EQ(count, 0U);
}

TEST_F(OwnFiles, LocksAreForTheirOwnerAlone) {
    const FileDescriptor at = opened();
    FileDescriptor lock;
    EXPECT_TRUE(succeeded(lockOwnFile(at.get(), "lock", "lock", LockWait::YES, lock)));
    EXPECT_EQ(modeOf(path("lock")), 0600U);
    FileDescriptor second;
    EXPECT_TRUE(lockOwnFile(at.get(), "lock", "lock", LockWait::NO, second).is(1, EWOULDBLOCK));
    EXPECT_FALSE(second.isOpen());
    lock = FileDescriptor();
    EXPECT_TRUE(succeeded(lockOwnFile(at.get(), "lock", "lock", LockWait::NO, second)));
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
        FileDescriptor lock;
        EXPECT_TRUE(lockOwnFile(at.get(), c.name, c.name, LockWait::YES, lock).is(1, c.code)) << c.name;
        EXPECT_FALSE(lock.isOpen());
    }
    struct stat info {};
    EXPECT_NE(::lstat(path("elsewhere").c_str(), &info), 0) << "nothing is made through a link";
}

}  // namespace
