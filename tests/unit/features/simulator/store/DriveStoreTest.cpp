#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <functional>

#include "features/simulator/store/CapturedAnswers.h"
#include "features/simulator/store/DriveStore.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/StatusText.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

namespace {

namespace fs = std::filesystem;
using features::simulator::CapturedAnswers;
using features::simulator::DriveStore;
using ostrel::core::Status;
using Names = std::vector<std::string>;

class StoreOfSimulatedDrives : public SimulatedDrive {
protected:
    /// All that is in the folder of the drives, but for its lock.
    Names entries() const {
        Names names;
        for (const auto& entry : fs::directory_iterator(drives()))
            if (entry.path().filename() != ".nimbrel-simdrive.lock") names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }
    std::string drives() const { return folder / "drives"; }
    std::string statusOf(const std::function<Status()>& operation) const {
        std::string text = statusText(operation());
        for (size_t at; (at = text.find(drives())) != std::string::npos;) text.replace(at, drives().size(), "DRIVES");
        return text;
    }
    /// Of each operation on a drive that is there.
    Names statusesOf(const std::string& name) const {
        return {statusOf([&] { return store_.remove(name); }), statusOf([&] { return store_.snapshot(name); }),
                statusOf([&] { return store_.reset(name); }),
                statusOf([&] { return store_.describe(name, description); })};
    }

    const DriveStore store_{folder / "drives"};
};

TEST_F(StoreOfSimulatedDrives, RefusesWhatIsNoDrive) {
    writeWholeFile(folder / "drives/file", "a file");
    fs::create_directory_symlink(path(), folder / "drives/link");
    const struct {
        const char* name;
        const char* status;
    } cases[] = {
        {"../one",
         "1/22 \"../one\" is not a valid name of a simulated drive: letters, digits, '-', '_' and '.', no '.' at "
         "first, 64 characters at most."},
        {"none", "1/2 System error. DRIVES/none: No such file or directory."},
        {"file", "1/20 System error. DRIVES/file: Not a directory."},
        {"link", "1/20 System error. DRIVES/link: Not a directory."},
    };
    for (const auto& c : cases) EXPECT_EQ(statusesOf(c.name), Names(4, c.status));
    EXPECT_EQ(entries(), (Names{"file", "link", "one"}));
    EXPECT_EQ(readWholeFile(folder / "drives/file"), "a file");
}

TEST_F(StoreOfSimulatedDrives, LeavesADriveAloneThatOthersCanChange) {
    ASSERT_TRUE(succeeded(store_.snapshot("one")));
    const std::string before = readWholeFile(path() + "/description.ini");
    description.serialNumber = "OTHER";
    ASSERT_EQ(::chmod(path().c_str(), 0770), 0);
    EXPECT_EQ(statusesOf("one"), Names(4, "1/1 System error. DRIVES/one can be changed by other users."));
    EXPECT_EQ(entries(), (Names{".snapshot-one", "one"}));
    EXPECT_EQ(readWholeFile(path() + "/description.ini"), before);
}

TEST_F(StoreOfSimulatedDrives, TakesNoSnapshotThatOthersCanChange) {
    ASSERT_TRUE(succeeded(store_.snapshot("one")));
    EXPECT_EQ(status(admin(0x7F)), 0x4001) << "no such opcode: counted in the error log";
    const std::string snapshot = folder / "drives/.snapshot-one";
    ASSERT_EQ(::chmod(snapshot.c_str(), 0770), 0);
    EXPECT_EQ(statusOf([&] { return store_.reset("one"); }),
              "1/1 System error. DRIVES/.snapshot-one can be changed by other users.");
    fs::remove_all(snapshot);
    fs::create_directory_symlink(path(), snapshot);
    EXPECT_EQ(statusOf([&] { return store_.reset("one"); }),
              "1/20 System error. DRIVES/.snapshot-one: Not a directory.");
    EXPECT_EQ(number(log(0x02, 512), 176, 8), 1U) << "the drive is as it was";
}

TEST_F(StoreOfSimulatedDrives, MakesNoneOfTwoDrivesOfOneName) {
    EXPECT_EQ(statusOf([&] { return store_.create({{"two", description}, {"two", description}}, clock); }),
              "1/17 System error. DRIVES/two: File exists.");
    EXPECT_EQ(entries(), Names{"one"});
}

TEST_F(StoreOfSimulatedDrives, KeepsADriveThatCannotBeTakenOutOfSight) {
    ASSERT_TRUE(succeeded(store_.snapshot("one")));
    const std::string hidden = ".removing-one-" + std::to_string(::getpid());
    fs::create_directories(folder / ("drives/" + hidden + "/full"));
    EXPECT_EQ(statusOf([&] { return store_.remove("one"); }),
              "1/39 System error. DRIVES/.snapshot-one: Directory not empty.");
    EXPECT_EQ(entries(), (Names{hidden, ".snapshot-one", "one"}));
    fs::remove_all(folder / "drives/.snapshot-one");
    EXPECT_EQ(statusOf([&] { return store_.remove("one"); }), "1/39 System error. DRIVES/one: Directory not empty.");
    identify(0x01);
}

TEST_F(StoreOfSimulatedDrives, LeavesNothingOfASnapshotThatHasNoRoom) {
    EXPECT_EQ(status(admin(0x7F)), 0x4001);
    ASSERT_TRUE(succeeded(store_.snapshot("one")));
    EXPECT_EQ(status(admin(0x7F)), 0x4001);
    {
        const FileSizeLimit limit(0);
        EXPECT_TRUE(store_.snapshot("one").is(1, EFBIG));
        EXPECT_TRUE(store_.reset("one").is(1, EFBIG));
    }
    EXPECT_EQ(entries(), (Names{".snapshot-one", "one"}));
    EXPECT_EQ(number(log(0x02, 512), 176, 8), 2U) << "errors";
    ASSERT_TRUE(succeeded(store_.reset("one")));
    EXPECT_EQ(number(log(0x02, 512), 176, 8), 1U) << "the older snapshot is still there";
}

TEST_F(StoreOfSimulatedDrives, LeavesNothingOfADriveWhoseCaptureHasNoRoom) {
    CapturedAnswers answers;
    answers.answers[{0x06, {0, 1, 0, 0}}] = {0, 0, Bytes(65536, 0x33)};
    const auto capture = std::make_shared<const CapturedAnswers>(answers);
    std::string failure;
    {
        const FileSizeLimit limit(32768);
        failure = statusOf([&] { return store_.create({{"two", description, "", capture}}, clock); });
    }
    EXPECT_EQ(failure.substr(0, failure.find(".making-")), "1/27 System error. DRIVES/");
    EXPECT_EQ(failure.substr(failure.find("capture-")), "capture-0001.bin: File too large.");
    EXPECT_EQ(entries(), Names{"one"});
    EXPECT_EQ(statusOf([&] { return store_.create({{"two", description, "", capture}}, clock); }),
              "0/0 Completed successfully.");
}

/// There is a name left for the drive's folder, and none for a file in it.
TEST_F(StoreOfSimulatedDrives, LeavesNothingOfADriveWhoseFilesHaveNoName) {
    constexpr size_t FOLDER_BYTES = 15;  // "/.making-XXXXXX"
    std::string deep = folder / "drives";
    const size_t wanted = PATH_MAX - 1 - FOLDER_BYTES - 8;
    while (deep.size() + 1 < wanted) {
        deep += "/" + std::string(std::min<size_t>(200, wanted - deep.size() - 1), 'd');
        ASSERT_EQ(::mkdir(deep.c_str(), 0700), 0) << deep.size();
    }
    const Status status = DriveStore(deep).create({{"two", description}}, clock);
    EXPECT_TRUE(status.is(1, ENAMETOOLONG)) << status.getMessage();
    EXPECT_NE(status.getMessage().find("/description.ini: File name too long."), std::string::npos);
    EXPECT_TRUE(fs::is_empty(deep));
}

}  // namespace
