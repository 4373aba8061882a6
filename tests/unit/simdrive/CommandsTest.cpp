#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <csignal>
#include <functional>

#include "features/simulator/store/DriveFolder.h"
#include "ostrel/core/FileDescriptor.h"
#include "simdrive/Commands.h"
#include "simdrive/DriveRow.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/TemporaryFolder.h"

namespace simdrive {
namespace {

using features::simulator::ModelId;
using Names = std::vector<std::string>;

/// "1 out|error": what a command ended with.
std::string text(const Outcome& outcome) {
    return std::to_string(outcome.status) + " " + outcome.out + "|" + outcome.error;
}

FaultOptions gone() {
    FaultOptions options;
    options.faults = {{"gone", "yes"}};
    return options;
}

/// A store with the NVMe drive "a", serial number SIM-A, and the SATA drive "s", serial number SIM-S.
class Commands : public testing::Test {
protected:
    Commands() {
        make("a", ModelId::VELKO, "SIM-A");
        make("s", ModelId::SATA, "SIM-S");
    }

    void make(const std::string& name, ModelId model, const std::string& serial) {
        CreateOptions options;
        options.drive.description.setModel(model);
        options.drive.description.sizeBytes = 4 << 20;
        options.serial = serial;
        ASSERT_EQ(create(store_, {name}, options).error, "");
    }
    std::string at(const std::string& path) const { return store_.pathOf(path); }
    Names drives() const { return store_.names(); }
    std::string description(const std::string& name) const { return readWholeFile(at(name) + "/description.ini"); }
    /// What the drive's state is read from ends early.
    void damageState(const std::string& name) const { writeWholeFile(at(name) + "/state", "short"); }

    TemporaryFolder folder_;
    DriveStore store_{folder_ / "drives"};
};

TEST_F(Commands, NoneTakesAFolderThatOthersMayWrite) {
    const std::string refusal = "1 |System error. " + store_.folder() + " can be changed by other users.";
    const std::string before = description("a");
    ASSERT_EQ(snapshot(store_, "a").status, 0);
    ASSERT_EQ(::chmod(store_.folder().c_str(), 0722), 0);
    EXPECT_EQ(text(create(store_, {"b"}, {})), refusal);
    EXPECT_EQ(text(remove(store_, {"a"})), refusal);
    EXPECT_EQ(text(snapshot(store_, "a")), refusal);
    EXPECT_EQ(text(reset(store_, "a")), refusal);
    EXPECT_EQ(text(powerCycle(store_, "a")), refusal);
    EXPECT_EQ(text(fault(store_, {"a"}, gone())), refusal);
    EXPECT_EQ(drives(), (Names{"a", "s"}));
    EXPECT_EQ(description("a"), before);
}

TEST_F(Commands, EachSaysWhichDriveThereIsNot) {
    writeWholeFile(at("file"), "");
    ASSERT_EQ(::mkdir(at("empty").c_str(), 0700), 0);
    ASSERT_EQ(::mkdir(at("odd").c_str(), 0700), 0);
    ASSERT_EQ(::mkdir(at("odd/description.ini").c_str(), 0700), 0);
    ASSERT_EQ(::symlink("a", at("link").c_str()), 0);
    const auto none = [](const std::string& name) { return "1 |There is no simulated drive \"" + name + "\"."; };
    const struct {
        std::string name;
        std::string end;
    } CASES[] = {
        {"b", none("b")},
        {"file", none("file")},
        {"empty", none("empty")},
        {"odd", none("odd")},
        {"link", none("link")},
        {"../drives/a", "1 |\"../drives/a\" is not a valid name of a simulated drive."},
        {"", "1 |\"\" is not a valid name of a simulated drive."},
    };
    for (const auto& c : CASES) {
        EXPECT_EQ(text(remove(store_, {c.name})), c.end);
        EXPECT_EQ(text(snapshot(store_, c.name)), c.end);
        EXPECT_EQ(text(reset(store_, c.name)), c.end);
        EXPECT_EQ(text(powerCycle(store_, c.name)), c.end);
        EXPECT_EQ(text(fault(store_, {c.name}, gone())), c.end);
        EXPECT_EQ(text(serve(store_, c.name, {})), c.end);
    }
    EXPECT_EQ(drives(), (Names{"a", "empty", "odd", "s"})) << "nothing was removed";
}

TEST_F(Commands, RemoveStopsAtTheFirstDriveThatItCannotRemove) {
    EXPECT_EQ(text(remove(store_, {"a", "b", "s"})), "1 Removed a\n|There is no simulated drive \"b\".");
    EXPECT_EQ(drives(), Names{"s"});
}

TEST_F(Commands, NoneRemovesWhatIsNoFileOfADrive) {
    ASSERT_EQ(snapshot(store_, "a").status, 0);
    const std::string foreign = at("a") + "/served";
    const std::string refusal = "1 |" + foreign + " is no file of a simulated drive. Nothing was changed.";
    const std::function<int()> makes[] = {
        [&] { return ::mkdir(foreign.c_str(), 0700); },
        [&] { return ::mkfifo(foreign.c_str(), 0600); },
        [&] { return ::symlink("lock", foreign.c_str()); },
    };
    for (const auto& make : makes) {
        ASSERT_EQ(make(), 0);
        EXPECT_EQ(text(remove(store_, {"a"})), refusal);
        EXPECT_EQ(text(reset(store_, "a")), refusal);
        ASSERT_EQ(::remove(foreign.c_str()), 0);
    }
    writeWholeFile(at("a") + "/notes.txt", "mine");
    EXPECT_EQ(text(remove(store_, {"a"})),
              "1 |" + at("a") + "/notes.txt is no file of a simulated drive. Nothing was changed.");
    EXPECT_EQ(readWholeFile(at("a") + "/notes.txt"), "mine");
}

TEST_F(Commands, ADriveWithoutASnapshotIsNotReset) {
    EXPECT_EQ(text(reset(store_, "a")), "1 |There is no snapshot of the simulated drive \"a\".");
    EXPECT_EQ(drives(), (Names{"a", "s"}));
}

TEST_F(Commands, ADriveThatIsServedKeepsItsFiles) {
    ASSERT_EQ(snapshot(store_, "a").status, 0);
    const ostrel::core::FileDescriptor served(::open((at("a") + "/served").c_str(), O_RDWR | O_CREAT, 0600));
    ASSERT_EQ(::flock(served.get(), LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(text(remove(store_, {"a"})), "1 |The drive \"a\" is being served.");
    EXPECT_EQ(text(reset(store_, "a")), "1 |The drive \"a\" is being served.");
    EXPECT_EQ(text(serve(store_, "a", {})), "1 |The drive \"a\" is served already.");
    ASSERT_EQ(::flock(served.get(), LOCK_UN), 0);
    EXPECT_EQ(text(remove(store_, {"a"})), "0 Removed a\n|");
}

TEST_F(Commands, NoneTakesADriveWhoseFolderOthersMayWrite) {
    const std::string refusal = "1 |System error. " + at("a") + " can be changed by other users.";
    const std::string before = description("a");
    ASSERT_EQ(::chmod(at("a").c_str(), 0722), 0);
    EXPECT_EQ(text(remove(store_, {"a"})), refusal);
    EXPECT_EQ(text(snapshot(store_, "a")), refusal);
    EXPECT_EQ(text(reset(store_, "a")), refusal);
    EXPECT_EQ(text(powerCycle(store_, "a")), refusal);
    EXPECT_EQ(text(fault(store_, {"a"}, gone())), refusal);
    EXPECT_EQ(text(serve(store_, "a", {})), refusal);
    EXPECT_EQ(description("a"), before);
}

}  // namespace
}  // namespace simdrive
