#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "ostrel/core/UserFile.h"
#include "ostrel/core/WriteSignals.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/TemporaryFolder.h"

namespace ostrel::core {
namespace {

using Names = std::vector<std::string>;

constexpr uid_t OTHER_USER = 1234;
constexpr mode_t SHARED = 01777;  // as /tmp is

/// "" or what is wrong.
std::string writeAll(const std::string& path, const std::vector<std::string>& pieces) {
    UserFile file;
    Status status = file.open(path);
    for (const std::string& piece : pieces)
        if (succeeded(status)) status = file.write(piece);
    if (succeeded(status)) status = file.finish();
    return succeeded(status) ? "" : status.getMessage();
}

mode_t modeOf(const std::string& path) {
    struct stat properties = {};
    EXPECT_EQ(lstat(path.c_str(), &properties), 0) << path;
    return properties.st_mode & 07777;
}

uid_t ownerOf(const std::string& path) {
    struct stat properties = {};
    EXPECT_EQ(lstat(path.c_str(), &properties), 0) << path;
    return properties.st_uid;
}

class UserFileTest : public testing::Test {
protected:
    void expectRefused(const std::string& name, const std::string& reason) const {
        EXPECT_EQ(writeAll(folder_ / name, {"new"}), "Unable to write " + (folder_ / name) + ": " + reason);
    }
    void makeSharedFolder(const std::string& name) const {
        std::filesystem::create_directory(folder_ / name);
        ASSERT_EQ(chmod((folder_ / name).c_str(), SHARED), 0);
    }
    void giveAway(const std::string& name) const {
        ASSERT_EQ(lchown((folder_ / name).c_str(), OTHER_USER, OTHER_USER), 0);
    }

    const TemporaryFolder folder_;
};

// Regular files.

TEST_F(UserFileTest, WritesPieceByPiece) {
    EXPECT_EQ(writeAll(folder_ / "new", {"one ", std::string("t\0o", 3), "", std::string(100000, 'x')}), "");
    EXPECT_EQ(readWholeFile(folder_ / "new"), std::string("one t\0o", 7) + std::string(100000, 'x'));
    EXPECT_EQ(writeAll(folder_ / "empty", {}), "");
    EXPECT_EQ(readWholeFile(folder_ / "empty"), "");
    EXPECT_EQ(folder_.names(), (Names{"empty", "new"}));
}

TEST_F(UserFileTest, ANewFileIsForItsUserAlone) {
    const mode_t before = umask(0);
    EXPECT_EQ(writeAll(folder_ / "new", {"secret"}), "");
    umask(before);
    EXPECT_EQ(modeOf(folder_ / "new"), 0600u);
    EXPECT_EQ(ownerOf(folder_ / "new"), geteuid());
}

TEST_F(UserFileTest, LeavesTheOldFileUntilItIsFinished) {
    writeWholeFile(folder_ / "file", "old");
    {
        UserFile file;
        ASSERT_TRUE(succeeded(file.open(folder_ / "file")));
        ASSERT_TRUE(succeeded(file.write("new")));
        EXPECT_EQ(readWholeFile(folder_ / "file"), "old");
    }
    EXPECT_EQ(readWholeFile(folder_ / "file"), "old");
    EXPECT_EQ(folder_.names(), Names{"file"});
}

TEST_F(UserFileTest, KeepsTheModeOfTheUsersOldFile) {
    for (const mode_t mode : {0600u, 0640u, 0666u}) {
        writeWholeFile(folder_ / "file", "old");
        ASSERT_EQ(chmod((folder_ / "file").c_str(), mode), 0);
        EXPECT_EQ(writeAll(folder_ / "file", {"new"}), "");
        EXPECT_EQ(modeOf(folder_ / "file"), mode);
        EXPECT_EQ(readWholeFile(folder_ / "file"), "new");
    }
    EXPECT_EQ(folder_.names(), Names{"file"});
}

TEST_F(UserFileTest, ARestartThrowsAwayWhatWasWritten) {
    UserFile file;
    ASSERT_TRUE(succeeded(file.open(folder_ / "file")));
    EXPECT_TRUE(succeeded(file.write("abcdef")));
    EXPECT_TRUE(succeeded(file.restart()));
    EXPECT_TRUE(succeeded(file.write("xy")));
    EXPECT_TRUE(succeeded(file.finish()));
    EXPECT_EQ(readWholeFile(folder_ / "file"), "xy");
}

TEST_F(UserFileTest, SaysBeforehandWhatDoesNotFit) {
    UserFile file;
    ASSERT_TRUE(succeeded(file.open(folder_ / "file")));
    EXPECT_TRUE(succeeded(file.checkRoom(1)));
    EXPECT_EQ(file.checkRoom(UINT64_MAX / 2).getMessage(),
              "Unable to write " + (folder_ / "file") + ": No space left on device");
    const FileSizeLimit limit(4096);
    EXPECT_TRUE(succeeded(file.checkRoom(4096)));
    EXPECT_EQ(file.checkRoom(4097).getMessage(), "Unable to write " + (folder_ / "file") + ": File too large");
}

TEST_F(UserFileTest, RefusesWhatIsNoFileOfTheUsers) {
    std::filesystem::create_directory(folder_ / "folder");
    expectRefused("", "No such file or directory");
    expectRefused("folder", "Is a directory");
    expectRefused("folder/", "No such file or directory");
    expectRefused("folder/.", "Is a directory");
    expectRefused("missing/file", "No such file or directory");
    expectRefused(std::string(256, 'n'), "File name too long");
    EXPECT_EQ(writeAll("", {"new"}), "Unable to write : No such file or directory");
    EXPECT_EQ(folder_.names(), Names{"folder"});
}

TEST_F(UserFileTest, LeavesNothingOfAFileThatBecomesTooLarge) {
    for (const bool isOldThere : {false, true}) {
        if (isOldThere) writeWholeFile(folder_ / "file", "old");
        EXPECT_TRUE(holdsInAChild([&] {
            ignoreWriteSignals();
            const rlimit limit = {1000, 1000};
            setrlimit(RLIMIT_FSIZE, &limit);
            return writeAll(folder_ / "file", {std::string(900, 'x'), std::string(900, 'x')}) ==
                   "Unable to write " + (folder_ / "file") + ": File too large";
        }));
        EXPECT_EQ(folder_.names(), isOldThere ? Names{"file"} : Names{});
        EXPECT_EQ(readWholeFile(folder_ / "file"), isOldThere ? "old" : "");
    }
}

TEST_F(UserFileTest, CreatesANewFileInAFolderAndNoOther) {
    const int below = open((folder_ / "").c_str(), O_RDONLY | O_DIRECTORY);
    const auto create = [&](const std::string& name) {
        UserFile file;
        Status status = file.createIn(below, "/shown", name);
        if (succeeded(status)) status = file.write("new");
        return succeeded(status) ? file.finish().getMessage() : status.getMessage();
    };
    EXPECT_EQ(create("file"), "Completed successfully.");
    EXPECT_EQ(modeOf(folder_ / "file"), 0600u);
    std::filesystem::create_symlink("nowhere", folder_ / "link");
    std::filesystem::create_directory(folder_ / "folder");
    for (const char* name : {"file", "link", "folder"})
        EXPECT_EQ(create(name), std::string("Unable to write /shown/") + name + ": File exists");
    EXPECT_EQ(folder_.names(), (Names{"file", "folder", "link"}));
    close(below);
}

// Links.

TEST_F(UserFileTest, FollowsNoLinkInThePlaceOfTheFile) {
    writeWholeFile(folder_ / "target", "old");
    std::filesystem::create_symlink("target", folder_ / "link");
    std::filesystem::create_symlink("link", folder_ / "chain");
    std::filesystem::create_symlink("nowhere", folder_ / "dangling");
    std::filesystem::create_symlink(".", folder_ / "toFolder");
    std::filesystem::create_symlink("/dev/null", folder_ / "toDevice");
    for (const char* name : {"link", "chain", "dangling", "toFolder", "toDevice"})
        expectRefused(name, "It is a symbolic link");
    EXPECT_EQ(readWholeFile(folder_ / "target"), "old");
    EXPECT_EQ(folder_.names(), (Names{"chain", "dangling", "link", "target", "toDevice", "toFolder"}));
}

TEST_F(UserFileTest, FollowsLinksOfTheUserOnTheWay) {
    std::filesystem::create_directory(folder_ / "below");
    std::filesystem::create_symlink("below", folder_ / "relative");
    std::filesystem::create_symlink(folder_ / "relative/../below/", folder_ / "absolute");
    EXPECT_EQ(writeAll(folder_ / "relative/file", {"1"}), "");
    EXPECT_EQ(writeAll(folder_ / "absolute//./file", {"2"}), "");
    EXPECT_EQ(readWholeFile(folder_ / "below/file"), "2");
    std::filesystem::create_symlink("endless", folder_ / "endless");
    expectRefused("endless/file", "Too many levels of symbolic links");
    writeWholeFile(folder_ / "file", "");
    expectRefused("file/below", "Not a directory");
}

TEST_F(UserFileTest, FollowsNoLinkOfAnotherUserOnTheWayThroughASharedFolder) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
    std::filesystem::create_directory(folder_ / "victim");
    std::filesystem::create_directory(folder_ / "others");
    for (const mode_t mode : {SHARED, mode_t{0777}, mode_t{0770}}) {
        makeSharedFolder("shared");
        ASSERT_EQ(chmod((folder_ / "shared").c_str(), mode), 0);
        std::filesystem::create_symlink("../victim", folder_ / "shared/link");
        EXPECT_EQ(writeAll(folder_ / "shared/link/file", {"of root's own link"}), "");
        giveAway("shared/link");
        expectRefused("shared/link/file", "A link of another user on the way is not followed");
        std::filesystem::remove_all(folder_ / "shared");
    }
    std::filesystem::create_symlink("../victim", folder_ / "others/link");
    giveAway("others/link");
    giveAway("others");
    EXPECT_EQ(writeAll(folder_ / "others/link/file", {"the owner's link in the owner's folder"}), "");
    EXPECT_EQ(folder_.names(), (Names{"others", "victim"}));
}

// Files of other users.

TEST_F(UserFileTest, WritesNoFileOfAnotherUserWhereOthersMayWrite) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    makeSharedFolder("shared");
    writeWholeFile(folder_ / "shared/file", "theirs");
    ASSERT_EQ(chmod((folder_ / "shared/file").c_str(), 0666), 0);
    giveAway("shared/file");
    const char* reason = "It belongs to another user, in a folder that others may write";
    expectRefused("shared/file", reason);
    EXPECT_EQ(readWholeFile(folder_ / "shared/file"), "theirs");
    ASSERT_EQ(mkfifo((folder_ / "shared/pipe").c_str(), 0666), 0);
    giveAway("shared/pipe");
    const int reader = open((folder_ / "shared/pipe").c_str(), O_RDONLY | O_NONBLOCK);
    expectRefused("shared/pipe", reason);
    close(reader);
    std::filesystem::create_directory(folder_ / "home");
    writeWholeFile(folder_ / "home/file", "theirs");
    giveAway("home/file");
    EXPECT_EQ(writeAll(folder_ / "home/file", {"new"}), "") << "a folder of the user's own";
    EXPECT_EQ(ownerOf(folder_ / "home/file"), OTHER_USER);
    giveAway("home");
    expectRefused("home/file", reason);
    EXPECT_EQ(writeAll(folder_ / "home/new", {"new"}), "");
    EXPECT_EQ(ownerOf(folder_ / "home/new"), 0u);
}

TEST_F(UserFileTest, WritesToADeviceOfAnyOwner) {
    if (geteuid() != 0 || mknod((folder_ / "null").c_str(), S_IFCHR | 0666, makedev(1, 3)) != 0)
        GTEST_SKIP() << "no right to make a device";
    giveAway("null");
    ASSERT_EQ(chmod((folder_ / "").c_str(), 0755), 0);
    ASSERT_EQ(chown((folder_ / "").c_str(), OTHER_USER, OTHER_USER), 0);
    const std::string result = writeAll(folder_ / "null", {"text"});
    if (result.find("Permission denied") != std::string::npos) GTEST_SKIP() << "the file system has no devices";
    EXPECT_EQ(result, "");
}

TEST_F(UserFileTest, ReplacesAFileOfSeveralNamesOnlyWhereOthersMayNotWrite) {
    writeWholeFile(folder_ / "file", "old");
    makeSharedFolder("shared");
    std::filesystem::create_hard_link(folder_ / "file", folder_ / "shared/name");
    expectRefused("shared/name", "It has several names, in a folder that others may write");
    EXPECT_EQ(writeAll(folder_ / "file", {"new"}), "");
    EXPECT_EQ(readWholeFile(folder_ / "file"), "new");
    EXPECT_EQ(readWholeFile(folder_ / "shared/name"), "old");
}

// What is written through.

TEST_F(UserFileTest, WritesToADeviceAtOnce) {
    EXPECT_EQ(writeAll("/dev/null", {"one", "two"}), "");
    UserFile full;
    ASSERT_TRUE(succeeded(full.open("/dev/full")));
    EXPECT_TRUE(succeeded(full.checkRoom(UINT64_MAX)));
    EXPECT_EQ(full.write("one").getMessage(), "Unable to write /dev/full: No space left on device");
    EXPECT_EQ(full.restart().getCode(), static_cast<uint32_t>(ESPIPE));
}

TEST_F(UserFileTest, WritesToATerminal) {
    int master = -1, slave = -1;
    char name[64];
    ASSERT_EQ(openpty(&master, &slave, name, nullptr, nullptr), 0);
    EXPECT_EQ(writeAll(name, {"text"}), "");
    char text[16] = {};
    EXPECT_EQ(read(master, text, sizeof text), 4);
    EXPECT_STREQ(text, "text");
    close(master);
    close(slave);
}

TEST_F(UserFileTest, WritesToAPipeThatHasAReader) {
    ignoreWriteSignals();
    ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
    expectRefused("pipe", "No process reads from this pipe");
    const int reader = open((folder_ / "pipe").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_EQ(fcntl(reader, F_SETFL, 0), 0);
    UserFile file;
    ASSERT_TRUE(succeeded(file.open(folder_ / "pipe")));
    const std::string sent(300000, 'x');  // more than a pipe holds
    std::string received(sent.size(), '\0');
    std::thread thread([&] {
        for (size_t done = 0; done < received.size();) {
            const ssize_t count = read(reader, received.data() + done, received.size() - done);
            if (count <= 0) return;
            done += static_cast<size_t>(count);
        }
    });
    EXPECT_TRUE(succeeded(file.write(sent)));
    thread.join();
    EXPECT_EQ(received, sent);
    close(reader);
    EXPECT_EQ(file.write("one more").getMessage(), "Unable to write " + (folder_ / "pipe") + ": Broken pipe");
    EXPECT_TRUE(std::filesystem::is_fifo(folder_ / "pipe"));
}

TEST_F(UserFileTest, WritesThroughADescriptorThatWasInherited) {
    writeWholeFile(folder_ / "file", "");
    const int file = open((folder_ / "file").c_str(), O_WRONLY | O_APPEND);
    const std::string path = "/dev/fd/" + std::to_string(file);
    ASSERT_EQ(write(file, "before ", 7), 7);
    EXPECT_EQ(writeAll(path, {"text"}), "");
    ASSERT_EQ(write(file, " after", 6), 6);
    EXPECT_EQ(readWholeFile(folder_ / "file"), "before text after");
    EXPECT_TRUE(holdsInAChild([&] {
        dup2(file, STDOUT_FILENO);
        dup2(file, STDERR_FILENO);
        return writeAll("/dev/stdout", {"1"}).empty() && writeAll("/dev/stderr", {"2"}).empty();
    }));
    EXPECT_EQ(readWholeFile(folder_ / "file"), "before text after12");
    const std::string refusal = "Unable to write " + path + ": No file was opened for writing under this number";
    ASSERT_EQ(fcntl(file, F_SETFD, FD_CLOEXEC), 0);
    EXPECT_EQ(writeAll(path, {"text"}), refusal) << "one of the process itself";
    close(file);
    EXPECT_EQ(writeAll(path, {"text"}), refusal) << "a closed one";
    EXPECT_EQ(open((folder_ / "file").c_str(), O_RDONLY), file);
    EXPECT_EQ(writeAll(path, {"text"}), refusal) << "one for reading";
    close(file);
    EXPECT_EQ(readWholeFile(folder_ / "file"), "before text after12");
    for (const char* number : {"", "x", "1x", "-1", "1234567890"})
        EXPECT_EQ(writeAll(std::string("/dev/fd/") + number, {"text"}),
                  std::string("Unable to write /dev/fd/") + number + ": No such file or directory");
}

TEST_F(UserFileTest, WritesToTheStandardError) {
    const int before = dup(STDERR_FILENO);
    const int file = open((folder_ / "file").c_str(), O_WRONLY | O_CREAT, 0600);
    dup2(file, STDERR_FILENO);
    const std::string error = writeAll("/dev/stderr", {"text"});
    dup2(before, STDERR_FILENO);
    close(before);
    close(file);
    EXPECT_EQ(error, "");
    EXPECT_EQ(readWholeFile(folder_ / "file"), "text");
}

TEST_F(UserFileTest, OpensNoOtherDevice) {
    const char* reason = "It is neither a file nor a pipe nor a terminal";
    EXPECT_EQ(writeAll("/dev/random", {"text"}), std::string("Unable to write /dev/random: ") + reason);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {AF_UNIX, {}};
    (folder_ / "socket").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    expectRefused("socket", reason);
    close(listener);
    if (geteuid() != 0 || mknod((folder_ / "disk").c_str(), S_IFBLK | 0600, makedev(7, 250)) != 0)
        GTEST_SKIP() << "no right to make a block device";
    expectRefused("disk", "It is a block device");
}

}  // namespace
}  // namespace ostrel::core
