#include <boost/crc.hpp>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <filesystem>
#include <thread>

#include "tests/support/FileSizeLimit.h"
#include "tests/support/StatusText.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::Controller;
using features::simulator::DriveFolder;
using features::simulator::DriveStore;
using ostrel::core::Status;

namespace {

class FolderOfASimulatedDrive : public SimulatedDrive {
protected:
    /// What a command says of the folder.
    std::string failure() {
        reopen();
        std::string text = statusText(controller->execute(admin(0x06, 0, 1), data));
        for (size_t at = text.find(path()); at != std::string::npos; at = text.find(path())) {
            text.replace(at, path().size(), "DRIVE");
        }
        return text;
    }
    ino_t stateInode() {
        struct stat info{};
        EXPECT_EQ(::stat((path() + "/state").c_str(), &info), 0);
        return info.st_ino;
    }
};

TEST_F(FolderOfASimulatedDrive, IsWrittenOnlyWhenSomethingChanged) {
    const std::string before = readWholeFile(path() + "/state");
    EXPECT_EQ(before.substr(0, 8), "NBSIMST1");
    EXPECT_EQ(before.substr(24, 8), "VSIM0100");
    identify(0x01);
    log(0x02, 512);
    EXPECT_EQ(status(admin(0x0A, 0, 0x02)), 0);
    EXPECT_EQ(status(io(0x02, 1)), 0);
    EXPECT_EQ(readWholeFile(path() + "/state"), before);
    EXPECT_EQ(status(admin(0x09, 0, 0x02, 1)), 0);
    EXPECT_NE(readWholeFile(path() + "/state"), before);
}

TEST_F(FolderOfASimulatedDrive, ReportsWhatIsDamaged) {
    const std::string state = readWholeFile(path() + "/state");
    const std::string description = readWholeFile(path() + "/description.ini");
    EXPECT_EQ(failure(), "0/0 Completed successfully.");

    writeWholeFile(path() + "/state", "");
    EXPECT_EQ(failure(), "1/74 The state of the simulated drive is damaged: DRIVE/state is too short.");
    writeWholeFile(path() + "/state", std::string(64, 'x'));
    EXPECT_EQ(failure(), "1/74 The state of the simulated drive is damaged: DRIVE/state is no state file.");
    std::string damaged = state;
    damaged[9] ^= 1;
    writeWholeFile(path() + "/state", damaged);
    EXPECT_EQ(failure(), "1/74 The state of the simulated drive is damaged: DRIVE/state has a wrong checksum.");
    damaged = state;
    damaged.back() ^= 1;
    writeWholeFile(path() + "/state", damaged);
    EXPECT_EQ(failure(), "1/74 The state of the simulated drive is damaged: DRIVE/state has a wrong checksum.");
    writeWholeFile(path() + "/state", state.substr(0, state.size() - 1));
    EXPECT_EQ(failure(), "1/74 The state of the simulated drive is damaged: DRIVE/state has a wrong length.");
    writeWholeFile(path() + "/state", state);

    writeWholeFile(path() + "/description.ini", "");
    EXPECT_EQ(failure(), "1/22 DRIVE/description.ini: \"model\" is missing in [drive].");
    writeWholeFile(path() + "/description.ini", "[drive\n");
    EXPECT_EQ(failure(), "1/22 DRIVE/description.ini: Line 1: unmatched '['.");
    writeWholeFile(path() + "/description.ini", "[drive]\nmodel = ocp\nserial-number = X\nsize = 64 MiB\n");
    EXPECT_EQ(failure(), "1/22 DRIVE: The drive was made as another model than \"model\" says.");
    writeWholeFile(path() + "/description.ini", description);
    EXPECT_EQ(failure(), "0/0 Completed successfully.");

    EXPECT_EQ(::unlink((path() + "/state").c_str()), 0);
    EXPECT_EQ(failure(), "0/0 Completed successfully.") << "a description alone makes a drive";
    writeWholeFile(path() + "/media-1-1", "data");
    EXPECT_EQ(::unlink((path() + "/state").c_str()), 0);
    EXPECT_EQ(failure(),
              "1/74 The state of the simulated drive is damaged: DRIVE/state is missing, and media are there.");
    EXPECT_EQ(readWholeFile(path() + "/media-1-1"), "data");
}

TEST_F(FolderOfASimulatedDrive, FollowsNoLink) {
    const std::string elsewhere = folder / "elsewhere";
    for (const char* name : {"state", "description.ini", "lock", "media-1-1"}) {
        SCOPED_TRACE(name);
        const std::string file = path() + "/" + name;
        const bool isThere = std::filesystem::exists(file);
        std::filesystem::remove(elsewhere);
        if (isThere) std::filesystem::rename(file, elsewhere);
        if (!isThere) writeWholeFile(elsewhere, "");
        const std::string before = readWholeFile(elsewhere);
        std::filesystem::create_symlink(elsewhere, file);
        reopen();
        data.assign(512, 1);
        const auto completion = controller->execute(io(0x01, 1), data);
        EXPECT_TRUE(completion ? completion->statusField == 0x4280 : completion.error().is(1, ELOOP))
            << statusText(completion);
        EXPECT_EQ(readWholeFile(elsewhere), before);
        std::filesystem::remove(file);
        if (isThere) std::filesystem::rename(elsewhere, file);
        controller.reset();
    }
    EXPECT_EQ(failure(), "0/0 Completed successfully.");
}

TEST_F(FolderOfASimulatedDrive, LosesWhatADeadProcessLeft) {
    const std::string files[] = {"media-1-99", ".nimbrel-1BE093615B7D8D22", "mine.nimbrel-1", "notes.txt"};
    for (const std::string& file : files) writeWholeFile(path() + "/" + file, "left");
    const auto left = [&] {
        std::string names;
        for (const std::string& file : files) names += std::filesystem::exists(path() + "/" + file) ? file + " " : "";
        return names;
    };
    EXPECT_EQ(failure(), "0/0 " + Status().getMessage());
    EXPECT_EQ(left(), "media-1-99 .nimbrel-1BE093615B7D8D22 mine.nimbrel-1 notes.txt ") << "a reader leaves no trace";
    Bytes none;
    // No such opcode: counted in the error log.
    EXPECT_TRUE(Controller(path(), clock).execute(admin(0x7F), none));
    EXPECT_EQ(left(), "mine.nimbrel-1 notes.txt ") << "what is not the drive's stays";
}

TEST_F(FolderOfASimulatedDrive, IsSharedByManyAtOnce) {
    constexpr int THREADS = 4;
    constexpr int ROUNDS = 25;
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([this] {
            Controller own(path(), clock);
            for (int i = 0; i < ROUNDS; ++i) {
                Bytes none;
                // No such opcode: counted in the error log.
                EXPECT_TRUE(own.execute(admin(0x7F), none));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(number(log(0x02, 512), 176, 8), uint64_t{THREADS * ROUNDS});
}

/// How many descriptors this process has.
std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST_F(FolderOfASimulatedDrive, OpensItsFilesOnceForManyCommands) {
    identify(0x01);
    const std::ptrdiff_t open = openDescriptors();
    for (int i = 0; i < 3; ++i) identify(0x01);
    EXPECT_EQ(openDescriptors(), open);
    controller.reset();
    EXPECT_EQ(openDescriptors(), open - 4) << "folder, lock, description and state";
}

TEST_F(FolderOfASimulatedDrive, SeesWhatChangedBetweenTwoCommands) {
    const std::string file = path() + "/description.ini";
    const std::string healthy = readWholeFile(file);
    const std::string name = "critical-warning = 0x0";
    const auto warning = [this] { return log(0x02, 512)[0]; };
    EXPECT_EQ(warning(), 0);
    std::string faulty = healthy;
    faulty[healthy.find(name) + name.size()] = '1';
    writeWholeFile(file, faulty);  // in place, and as long as before
    EXPECT_EQ(warning(), 1);
    writeWholeFile(file, faulty + "\n; a note\n");
    EXPECT_EQ(warning(), 1) << "it is longer";
    writeWholeFile(folder / "new", healthy);
    std::filesystem::rename(folder / "new", file);
    EXPECT_EQ(warning(), 0) << "another file has its name";

    const std::string state = readWholeFile(path() + "/state");
    EXPECT_EQ(status(admin(0x7F)), 0x4001) << "no such opcode: counted in the error log";
    EXPECT_EQ(number(log(0x02, 512), 176, 8), 1U);
    writeWholeFile(path() + "/state", state);
    EXPECT_EQ(number(log(0x02, 512), 176, 8), 0U) << "the old state was put in place";
    ASSERT_EQ(::unlink((path() + "/state").c_str()), 0);
    EXPECT_EQ(status(admin(0x06, 0, 1)), 0) << "a description alone makes a drive";
}

TEST_F(FolderOfASimulatedDrive, TakesTheLockFileThatHasTheName) {
    const std::string lock = path() + "/lock";
    identify(0x01);
    ASSERT_EQ(::unlink(lock.c_str()), 0);
    identify(0x01);
    EXPECT_TRUE(std::filesystem::exists(lock));
    std::filesystem::rename(lock, folder / "old");
    identify(0x01);
    EXPECT_TRUE(std::filesystem::exists(lock));
    ASSERT_EQ(::chmod(path().c_str(), 0770), 0);
    const Status status = statusOf(controller->execute(admin(0x06, 0, 1), data));
    EXPECT_EQ(status.getMessage(), "System error. " + path() + " can be changed by other users.");
}

TEST_F(FolderOfASimulatedDrive, IsFreeBetweenTwoCommands) {
    identify(0x01);
    const int file = ::open((path() + "/lock").c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_EQ(::flock(file, LOCK_EX | LOCK_NB), 0);
    ::close(file);
}

TEST_F(FolderOfASimulatedDrive, CanBeRemovedWhileItIsInUse) {
    identify(0x01);
    EXPECT_TRUE(succeeded(DriveStore(folder / "drives").remove("one")));
    const Status status = statusOf(controller->execute(admin(0x06, 0, 1), data));
    EXPECT_TRUE(status.is(1, ENOENT)) << status.getMessage();
    EXPECT_TRUE(DriveStore(folder / "drives").names().empty());
}

TEST_F(FolderOfASimulatedDrive, CanBeMadeAgainWhileItIsInUse) {
    data.assign(512, 0x33);
    EXPECT_EQ(status(io(0x01, 1)), 0);
    const DriveStore store(folder / "drives");
    ASSERT_TRUE(succeeded(store.remove("one")));
    ASSERT_TRUE(succeeded(store.create({{"one", description}}, clock)));
    EXPECT_EQ(status(io(0x02, 1)), 0);
    EXPECT_EQ(data, Bytes(512)) << "another drive";
    data.assign(512, 0x44);
    EXPECT_EQ(status(io(0x01, 1)), 0);
    reopen();
    EXPECT_EQ(status(io(0x02, 1)), 0);
    EXPECT_EQ(data, Bytes(512, 0x44));
}

TEST_F(FolderOfASimulatedDrive, GoesBackToItsSnapshotWhileItIsInUse) {
    const DriveStore store(folder / "drives");
    const auto write = [this](uint8_t value) {
        data.assign(512, value);
        EXPECT_EQ(status(io(0x01, 1, 70000)), 0);
    };
    write(0x11);
    EXPECT_TRUE(store.reset("one").is(1, ENOENT)) << "no snapshot";
    ASSERT_TRUE(succeeded(store.snapshot("one")));
    write(0x22);
    ASSERT_TRUE(succeeded(store.snapshot("one"))) << "another takes the first one's place";
    write(0x33);
    EXPECT_EQ(status(admin(0x0D, 1, 1)), 0) << "the namespace is deleted";
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(succeeded(store.reset("one")));
        EXPECT_EQ(status(io(0x02, 1, 70000)), 0);
        EXPECT_EQ(data, Bytes(512, 0x22));
        write(0x44);
    }
    EXPECT_EQ(store.names(), std::vector<std::string>{"one"});
    struct stat info{};
    ASSERT_EQ(::stat((folder / "drives/.snapshot-one/media-1-1").c_str(), &info), 0);
    EXPECT_LT(info.st_blocks, 64) << "what was never written takes no room";
    EXPECT_NE(::stat((folder / "drives/.snapshot-one/lock").c_str(), &info), 0);
    controller.reset();
    ASSERT_TRUE(succeeded(store.remove("one")));
    EXPECT_TRUE(std::filesystem::is_empty(folder / "drives"));
}

TEST_F(FolderOfASimulatedDrive, CarriesOutCommandsThatWaitForAReset) {
    constexpr int ROUNDS = 10;
    const DriveStore store(folder / "drives");
    ASSERT_TRUE(succeeded(store.snapshot("one")));
    std::atomic<bool> isEnded{false};
    std::thread commands([&] {
        while (!isEnded) {
            Controller own(path(), clock);
            Bytes none;
            // No such opcode: counted in the error log, that is, in the state.
            const auto completion = own.execute(admin(0x7F), none);
            EXPECT_TRUE(completion) << completion.error().getMessage();
        }
    });
    for (int i = 0; i < ROUNDS; ++i) EXPECT_TRUE(succeeded(store.reset("one")));
    isEnded = true;
    commands.join();
    ASSERT_TRUE(succeeded(store.reset("one")));
    EXPECT_EQ(number(log(0x02, 512), 176, 8), 0U) << "errors, as at the snapshot";
    EXPECT_EQ(store.names(), std::vector<std::string>{"one"});
}

TEST_F(FolderOfASimulatedDrive, IsNotCopiedWithForeignFiles) {
    const DriveStore store(folder / "drives");
    const auto status = [&](const char* name) {
        std::filesystem::create_directory_symlink("/etc", path() + "/" + name);
        const auto refused = store.snapshot("one");
        std::filesystem::remove(path() + "/" + name);
        return refused.getMessage();
    };
    log(0x02, 512);
    EXPECT_EQ(status("notes"), path() + "/notes is no file of a simulated drive. Nothing was copied.");
    EXPECT_EQ(status("media-1-1"), "System error. " + path() + "/media-1-1: Too many levels of symbolic links.");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder / "drives"), {}), 1) << "nothing is left";
}

TEST_F(FolderOfASimulatedDrive, IsNamedByAFewCharacters) {
    const struct {
        const char* name;
        bool isName;
    } CASES[] = {{"a", true},    {"A-1_b.c", true}, {"", false},    {".a", false},
                 {"a/b", false}, {"..", false},     {"a b", false}, {"\xC3\xA4", false}};
    for (const auto& c : CASES) EXPECT_EQ(DriveStore::isName(c.name), c.isName) << c.name;
    EXPECT_TRUE(DriveStore::isName(std::string(64, 'x')));
    EXPECT_FALSE(DriveStore::isName(std::string(65, 'x')));
    const DriveStore store(folder / "drives");
    EXPECT_TRUE(store.create({{"../two", description}}, clock).is(1, EINVAL));
    EXPECT_TRUE(store.create({{"one", description}}, clock).is(1, EEXIST));
    EXPECT_TRUE(store.remove("two").is(1, ENOENT));
    EXPECT_TRUE(store.describe("two", description).is(1, ENOENT));
    EXPECT_EQ(store.names(), std::vector<std::string>{"one"});
}

TEST_F(FolderOfASimulatedDrive, LeavesNothingOfADriveThatCouldNotBeMade) {
    const DriveStore store(folder / "drives");
    EXPECT_TRUE(store.create({{"two", description}, {"one", description}}, clock).is(1, EEXIST));
    EXPECT_EQ(store.names(), std::vector<std::string>{"one"});
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder / "drives")) {
        names.push_back(entry.path().filename());
    }
    EXPECT_EQ(names, std::vector<std::string>{"one"});
}

TEST_F(FolderOfASimulatedDrive, IsItsOwnersAlone) {
    const auto modeOf = [](const std::string& file) {
        struct stat info{};
        EXPECT_EQ(::lstat(file.c_str(), &info), 0) << file;
        return info.st_mode & 07777;
    };
    data.assign(512, 1);
    EXPECT_EQ(status(io(0x01, 1)), 0);
    EXPECT_EQ(modeOf(folder / "drives"), 0700U);
    EXPECT_EQ(modeOf(path()), 0700U);
    for (const char* name : {"description.ini", "state", "lock", "media-1-1"}) {
        EXPECT_EQ(modeOf(path() + "/" + name), 0600U) << name;
    }
    ASSERT_EQ(::chmod(path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod((folder / "drives").c_str(), 0755), 0);
    identify(0x01);
    EXPECT_EQ(modeOf(path()), 0700U) << "one that an older program made";
    EXPECT_TRUE(DriveStore(folder / "drives").lock());
    EXPECT_EQ(modeOf(folder / "drives"), 0700U);
    ASSERT_EQ(::chmod(path().c_str(), 0770), 0);
    EXPECT_EQ(failure(), "1/1 System error. DRIVE can be changed by other users.");
}

TEST_F(FolderOfASimulatedDrive, ReportsWhatIsNoFile) {
    for (const std::string name : {"state", "description.ini", "lock"}) {
        SCOPED_TRACE(name);
        identify(0x01);
        const std::string file = path() + "/" + name;
        const std::string text = readWholeFile(file);
        ASSERT_EQ(::unlink(file.c_str()), 0);
        ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
        EXPECT_EQ(failure(), "1/22 System error. DRIVE/" + name + " is not a regular file.");
        ASSERT_EQ(::unlink(file.c_str()), 0);
        writeWholeFile(file, text);
        if (name == "lock") continue;
        ASSERT_EQ(::truncate(file.c_str(), off_t{1} << 42), 0);
        EXPECT_EQ(failure(), "1/27 System error. DRIVE/" + name + " is too large.");
        writeWholeFile(file, text);
    }
    EXPECT_EQ(failure(), "0/0 Completed successfully.");
}

TEST_F(FolderOfASimulatedDrive, RunsNoCommandWithoutItsLock) {
    EXPECT_EQ(status(admin(0x09, 0, 0x02, 1)), 0);
    const std::string state = readWholeFile(path() + "/state");
    ASSERT_EQ(::unlink((path() + "/lock").c_str()), 0);
    ASSERT_EQ(::mkdir((path() + "/lock").c_str(), 0700), 0);
    reopen();
    const Status status = statusOf(controller->execute(admin(0x09, 0, 0x02, 2), data));
    EXPECT_TRUE(status.is(1, EISDIR)) << status.getMessage();
    EXPECT_TRUE(DriveStore(folder / "drives").describe("one", description).is(1, EISDIR));
    EXPECT_TRUE(DriveStore(folder / "drives").remove("one").is(1, EISDIR));
    EXPECT_EQ(readWholeFile(path() + "/state"), state);
    EXPECT_TRUE(std::filesystem::exists(path() + "/description.ini"));
}

TEST_F(FolderOfASimulatedDrive, RefusesCommandsWhenItsProgressCannotBeSaved) {
    description.sanitizeSeconds = 10;
    describe();
    EXPECT_EQ(status(admin(0x84, 0, 2)), 0);
    const std::string state = readWholeFile(path() + "/state");
    clock.advanceMs(10000);
    {
        const FileSizeLimit full(0);
        reopen();
        data.clear();
        const auto execute = statusOf(controller->execute(admin(0x06, 0, 1), data));
        EXPECT_TRUE(data.empty()) << "the command was not begun";
        const auto reset = controller->reset(features::simulator::ResetKind::CONTROLLER);
        const auto taken = statusOf(controller->takeEvent());
        for (const Status& each : {execute, reset, taken}) EXPECT_TRUE(each.is(1, EFBIG)) << each.getMessage();
    }
    EXPECT_EQ(readWholeFile(path() + "/state"), state);
    EXPECT_EQ(number(log(0x81, 512), 2, 2), 0x0101U) << "done, once it can be saved";
}

/// What is not on the disk did not happen, and the command says so.
TEST_F(FolderOfASimulatedDrive, UndoesACommandWhoseEffectCannotBeSaved) {
    EXPECT_EQ(status(admin(0x09, 0, 0x02, 1)), 0);
    const std::string state = readWholeFile(path() + "/state");
    {
        const FileSizeLimit full(0);
        const Status failure = statusOf(controller->execute(admin(0x09, 0, 0x02, 2), data));
        EXPECT_TRUE(failure.is(1, EFBIG)) << failure.getMessage();
    }
    EXPECT_EQ(readWholeFile(path() + "/state"), state);
    EXPECT_EQ(run(admin(0x0A, 0, 0x02)).dword0, 1U) << "the power state that was set before";
}

/// A state file: a head of 64 bytes with the checksum of what follows at byte 12, and its own at byte 60.
std::string withChecksums(std::string state) {
    const auto put = [&](size_t at, size_t first, size_t size) {
        boost::crc_32_type crc;
        crc.process_bytes(state.data() + first, size);
        for (size_t i = 0; i < 4; ++i) state[at + i] = static_cast<char>(crc.checksum() >> 8 * i);
    };
    const size_t length = state.size() - 64;
    for (size_t i = 0; i < 8; ++i) state[16 + i] = static_cast<char>(length >> 8 * i);
    put(12, 64, length);
    put(60, 0, 60);
    return state;
}

TEST_F(FolderOfASimulatedDrive, RefusesAStateWhoseChecksumsAreRight) {
    const std::string damaged = "1/74 The state of the simulated drive is damaged: DRIVE/state ";
    const std::string state = readWholeFile(path() + "/state");
    std::string other = state;
    other[8] = 2;
    writeWholeFile(path() + "/state", withChecksums(other));
    EXPECT_EQ(failure(), damaged + "is of another version of this program.");
    for (const size_t cut : {size_t{1}, state.size() / 2, state.size() - 64}) {
        writeWholeFile(path() + "/state", withChecksums(state.substr(0, state.size() - cut)));
        EXPECT_EQ(failure(), damaged + "does not hold what its version says.") << cut;
    }
    writeWholeFile(path() + "/state", withChecksums(state + "x"));
    EXPECT_EQ(failure(), damaged + "does not hold what its version says.");
    writeWholeFile(path() + "/state", withChecksums(state));
    EXPECT_EQ(failure(), "0/0 Completed successfully.");
}

TEST_F(FolderOfASimulatedDrive, ReportsADamagedCaptureInIt) {
    writeWholeFile(path() + "/capture.json", "{}");
    EXPECT_EQ(failure(), "1/22 DRIVE/capture.json is not a capture: it lacks the format's name.");
}

TEST_F(FolderOfASimulatedDrive, SaysWhyItsIdentityIsNotKnown) {
    const auto identity = [&] {
        std::string text = statusText(DriveFolder::readIdentity(path()));
        for (size_t at; (at = text.find(path())) != std::string::npos;) text.replace(at, path().size(), "DRIVE");
        return text;
    };
    const std::string description = readWholeFile(path() + "/description.ini");
    EXPECT_EQ(identity(), "0/0 Completed successfully.");
    writeWholeFile(path() + "/description.ini", "[drive\n");
    EXPECT_EQ(identity(), "1/22 DRIVE/description.ini: Line 1: unmatched '['.");
    std::filesystem::remove(path() + "/description.ini");
    EXPECT_EQ(identity(), "1/2 System error. DRIVE/description.ini: No such file or directory.");
    ASSERT_EQ(::chmod(path().c_str(), 0702), 0);
    EXPECT_EQ(identity(), "1/1 System error. DRIVE can be changed by other users.");
    std::filesystem::remove_all(path());
    EXPECT_EQ(identity(), "1/2 System error. DRIVE: No such file or directory.");
}

TEST_F(FolderOfASimulatedDrive, SaysThatADriveCannotBeMade) {
    // Folders in which nothing can be made, also by root.
    const Status none = DriveStore("/proc/self/task").create({{"one", description}}, clock);
    EXPECT_TRUE(none.is(1, ENOENT) || none.is(1, EACCES) || none.is(1, EPERM)) << none.getMessage();
    EXPECT_NE(none.getMessage().find("/proc/self/task"), std::string::npos) << none.getMessage();
    writeWholeFile(folder / "file", "");
    EXPECT_TRUE(DriveStore(folder / "file").create({{"one", description}}, clock).is(1, ENOTDIR));
    EXPECT_TRUE(DriveStore(folder / "missing/drives").create({{"one", description}}, clock).is(1, ENOENT));
    const DriveStore store(folder / "drives");
    {
        const FileSizeLimit full(0);
        EXPECT_TRUE(store.create({{"two", description}}, clock).is(1, EFBIG));
    }
    EXPECT_EQ(store.names(), std::vector<std::string>{"one"});
    EXPECT_TRUE(store.lock());
    std::vector<std::string> left;
    for (const auto& entry : std::filesystem::directory_iterator(folder / "drives")) {
        left.push_back(entry.path().filename());
    }
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{".nimbrel-simdrive.lock", "one"}));
}

TEST_F(FolderOfASimulatedDrive, SaysThatTheFolderOfADriveCannotBeMade) {
    // There is no name left in it that the system takes.
    std::string deep = folder / "drives";
    while (deep.size() + 16 < PATH_MAX) {
        deep += "/" + std::string(std::min<size_t>(200, PATH_MAX - deep.size() - 2), 'd');
        ASSERT_EQ(::mkdir(deep.c_str(), 0700), 0) << deep.size();
    }
    const Status status = DriveStore(deep).create({{"two", description}}, clock);
    EXPECT_TRUE(status.is(1, ENAMETOOLONG)) << status.getMessage();
    EXPECT_EQ(status.getMessage().find("description.ini"), std::string::npos) << "no file of it was begun";
}

TEST_F(FolderOfASimulatedDrive, StoreIsNotTakenWithoutItsLock) {
    ASSERT_EQ(::mkdir((folder / "drives/.nimbrel-simdrive.lock").c_str(), 0700), 0);
    const Status status = statusOf(DriveStore(folder / "drives").lock());
    EXPECT_TRUE(status.is(1, EISDIR)) << status.getMessage();
}

TEST_F(FolderOfASimulatedDrive, StoreIsRidOfWhatKilledProcessesLeft) {
    namespace fs = std::filesystem;
    const fs::path drives(folder / "drives");
    for (const char* name : {".making-AbCdEf", ".removing-two-123", ".mine", "making-1"}) {
        fs::create_directory(drives / name);
        writeWholeFile(drives / name / "state", "left");
    }
    fs::create_directory(folder / "elsewhere");
    writeWholeFile(folder / "elsewhere/file", "kept");
    fs::create_directory_symlink(folder / "elsewhere", drives / ".making-link");
    const DriveStore store(drives);
    const auto lock = store.lock();
    ASSERT_TRUE(lock);
    std::vector<std::string> left;
    for (const auto& entry : fs::directory_iterator(drives)) left.push_back(entry.path().filename());
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{".mine", ".nimbrel-simdrive.lock", "making-1", "one"}));
    EXPECT_EQ(readWholeFile(folder / "elsewhere/file"), "kept");
    // Another process that makes a drive now is not disturbed: it has the lock.
    const ostrel::core::FileDescriptor other(::open((drives / ".nimbrel-simdrive.lock").c_str(), O_RDWR));
    EXPECT_EQ(::flock(other.get(), LOCK_EX | LOCK_NB), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
}

}  // namespace
