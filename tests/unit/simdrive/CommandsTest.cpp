#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
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

TEST_F(Commands, ADriveWithADamagedDescriptionKeepsIt) {
    writeWholeFile(at("a") + "/description.ini", "[drive]\nsize = much\n");
    EXPECT_EQ(text(powerCycle(store_, "a")), "1 |" + at("a") + "/description.ini: \"model\" is missing in [drive].");
    EXPECT_EQ(text(fault(store_, {"a"}, gone())), "1 |\"model\" is missing in [drive].");
    EXPECT_EQ(description("a"), "[drive]\nsize = much\n");
    std::filesystem::remove(at("a") + "/description.ini");
    ASSERT_EQ(::mkfifo((at("a") + "/description.ini").c_str(), 0600), 0);
    EXPECT_EQ(text(fault(store_, {"a"}, gone())), "1 |There is no simulated drive \"a\".");
    writeWholeFile(at("s") + "/description.ini", std::string(1 << 20, '\n'));
    const std::string large = "1 |System error. " + at("s") + "/description.ini is too large.";
    EXPECT_EQ(text(fault(store_, {"s"}, gone())), large);
    EXPECT_EQ(text(powerCycle(store_, "s")), large);
}

TEST_F(Commands, ADriveWithADamagedStateKeepsItAndIsListedWithTheReason) {
    damageState("a");
    damageState("s");
    const std::string reason = "The state of the simulated drive is damaged: ";
    EXPECT_EQ(text(powerCycle(store_, "a")), "1 |" + reason + at("a") + "/state is too short.");
    EXPECT_EQ(text(powerCycle(store_, "s")), "1 |" + reason + at("s") + "/state is too short.");
    EXPECT_EQ(readWholeFile(at("a") + "/state"), "short");
    EXPECT_EQ(readWholeFile(at("s") + "/state"), "short");
    EXPECT_EQ(text(list(store_, false)), "1 NAME  MODEL  SIZE  SERIAL NUMBER  FIRMWARE  FAULTS\na     " + reason +
                                             at("a") + "/state is too short.\ns     " + reason + at("s") +
                                             "/state is too short.\n|");
    const auto json = [&](const std::string& name) {
        return "{\"name\": \"" + name + "\", \"folder\": \"" + at(name) + "\", \"error\": \"" + reason + at(name) +
               "/state is too short.\"}";
    };
    EXPECT_EQ(text(list(store_, true)), "1 [\n  " + json("a") + ",\n  " + json("s") + "\n]\n|");
    FaultOptions options = gone();
    options.wantsJson = true;
    EXPECT_EQ(text(fault(store_, {"a"}, options)), "1 " + json("a") + "\n|");
}

TEST_F(Commands, AFaultThatCannotBeWrittenLeavesTheDescription) {
    const std::string before = description("a");
    (void)std::signal(SIGXFSZ, SIG_IGN);  // the write fails instead
    {
        const FileSizeLimit limit(16);
        EXPECT_EQ(text(fault(store_, {"a"}, gone())),
                  "1 |Unable to write " + at("a") + "/description.ini: File too large");
    }
    EXPECT_EQ(description("a"), before);
}

TEST_F(Commands, FaultsAreClearedByTheirNames) {
    FaultOptions two = gone();
    two.faults.push_back({"temperature", "90"});
    EXPECT_EQ(text(fault(store_, {"a"}, two)), "0 temperature = 90\ngone = yes\n|");
    EXPECT_EQ(text(fault(store_, {"a"}, {})), "0 temperature = 90\ngone = yes\n|");
    EXPECT_EQ(text(fault(store_, {"a", "clear", "hot"}, {})), "2 |There is no fault \"hot\".");
    EXPECT_EQ(text(fault(store_, {"a", "clear"}, gone())),
              "2 |After the name: options that set faults, or \"clear\" and which.");
    EXPECT_EQ(text(fault(store_, {"a", "gone"}, {})),
              "2 |After the name: options that set faults, or \"clear\" and which.");
    EXPECT_EQ(text(fault(store_, {"a", "clear", "gone"}, {})), "0 temperature = 90\n|");
    EXPECT_EQ(text(fault(store_, {"a", "clear"}, {})), "0 No faults.\n|");
}

TEST_F(Commands, NewDrivesHaveNamesAndSerialNumbersOfTheirOwn) {
    writeWholeFile(at("a") + "/state", "short");  // a damaged drive has no serial number that it could share
    CreateOptions options;
    options.drive.description.sizeBytes = 4 << 20;
    options.serial = "SIM-S";
    EXPECT_EQ(text(create(store_, {"b"}, options)), "1 |Another simulated drive has the serial number SIM-S.");
    options.serial = "SIM-A";
    EXPECT_EQ(text(create(store_, {"b"}, options)), "0 Made b: velko, 4 MiB, serial number SIM-A\n|");
    options.serial = "X";
    options.count = 2;
    EXPECT_EQ(text(create(store_, {"b"}, options)),
              "0 Made b-1: velko, 4 MiB, serial number X-1\nMade b-2: velko, 4 MiB, serial number X-2\n|");
    options.serial = "Y";
    EXPECT_EQ(text(create(store_, {"b"}, options)),
              "0 Made b-3: velko, 4 MiB, serial number Y-1\nMade b-4: velko, 4 MiB, serial number Y-2\n|");
    EXPECT_EQ(text(create(store_, {}, options)), "1 |Another simulated drive has the serial number Y-1.");
    EXPECT_EQ(drives(), (Names{"a", "b", "b-1", "b-2", "b-3", "b-4", "s"}));
}

TEST_F(Commands, ADriveWithAnImpossibleDescriptionIsNotMade) {
    CreateOptions options;
    options.serial = "S 1";
    EXPECT_EQ(text(create(store_, {"b"}, options)), "1 |\"serial-number\" takes 1 to 20 visible characters.");
    options.serial = "S1";
    options.drive.description.sizeBytes = 0;
    EXPECT_EQ(text(create(store_, {"b"}, options)), "1 |\"size\" takes 1 MiB to 8 TiB, for instance \"16 GiB\".");
    options.drive.description.sizeBytes = 4 << 20;
    EXPECT_EQ(text(create(store_, {"b/c"}, options)),
              "1 |\"b/c\" is not a valid name of a simulated drive: letters, digits, '-', '_' and '.', "
              "no '.' at first, 64 characters at most.");
    EXPECT_EQ(text(create(store_, {"a"}, options)), "1 |System error. " + at("a") + ": File exists.");
    EXPECT_EQ(drives(), (Names{"a", "s"}));
}

TEST_F(Commands, ACaptureComesWithoutOtherOptions) {
    const std::string refusal = "1 |--from takes the drive as it was captured: no other option but --json.";
    CreateOptions plain;
    plain.capture = folder_ / "capture";
    CreateOptions counted = plain;
    counted.count = 2;
    CreateOptions numbered = plain;
    numbered.serial = "SIM-B";
    CreateOptions programmed = plain;
    programmed.drive.firmware = "1.0";
    CreateOptions sized = plain;
    sized.drive.description.sizeBytes = 4 << 20;
    for (const CreateOptions& options : {counted, numbered, programmed, sized})
        EXPECT_EQ(text(create(store_, {"b"}, options)), refusal);
    EXPECT_EQ(text(create(store_, {"b"}, plain)),
              "1 |System error. " + (folder_ / "capture") + ": No such file or directory.");
    EXPECT_EQ(drives(), (Names{"a", "s"}));
}

TEST_F(Commands, AListThatCannotBeReadIsNoEmptyOne) {
    const DriveStore none(folder_ / "none");
    EXPECT_EQ(text(list(none, false)), "0 There are no simulated drives.\n|");
    EXPECT_EQ(text(list(none, true)), "0 []\n|");
    writeWholeFile(folder_ / "file", "");
    const DriveStore file(folder_ / "file");
    const std::string refusal = "1 |System error. " + (folder_ / "file") + ": Not a directory.";
    EXPECT_EQ(text(list(file, false)), refusal);
    EXPECT_EQ(text(list(file, true)), refusal);
    EXPECT_EQ(text(create(file, {"b"}, {})), refusal);
}

TEST_F(Commands, JsonQuotesWhatIsInAPath) {
    const DriveStore odd(folder_ / "a \"b\\\n\x1F");
    CreateOptions options;
    options.drive.description.sizeBytes = 4 << 20;
    options.serial = "SIM-B";
    options.wantsJson = true;
    EXPECT_EQ(create(odd, {"b"}, options).out,
              "[\n  {\"name\": \"b\", \"folder\": \"" + (folder_ / "a \\\"b\\\\\\u000a\\u001f/b") +
                  "\", \"model\": \"velko\", \"modelNumber\": \"VELKO Simulated NVMe SSD\", "
                  "\"serialNumber\": \"SIM-B\", \"controllers\": 1, "
                  "\"sizeBytes\": 4194304, \"firmware\": \"VSIM0100\", \"faults\": {}}\n]\n");
}

TEST(DriveRow, SizesAreInTheLargestUnitWithoutAFraction) {
    EXPECT_EQ(sizeText(0), "0");
    EXPECT_EQ(sizeText(1023), "1023");
    EXPECT_EQ(sizeText(1024), "1 KiB");
    EXPECT_EQ(sizeText(1025), "1025");
    EXPECT_EQ(sizeText(uint64_t{3} << 29), "1536 MiB");
    EXPECT_EQ(sizeText(uint64_t{1} << 30), "1 GiB");
    EXPECT_EQ(sizeText(uint64_t{1} << 40), "1 TiB");
    EXPECT_EQ(sizeText(uint64_t{1} << 50), "1024 TiB");
}

}  // namespace
}  // namespace simdrive
