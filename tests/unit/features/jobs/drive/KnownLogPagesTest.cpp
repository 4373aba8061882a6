#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "features/jobs/drive/KnownLogPages.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "tests/support/Golden.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/jobs/Models.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;

class KnownPages : public testing::Test {
protected:
    TemporaryFolder folder_;
    std::string file_ = folder_ / "state/known-log-pages";
    KnownLogPages pages_{folder_ / "state"};
    FakeDrive fake_;
    nvme::Drive drive_{*fake_.device()};

    void write(const std::string& text) {
        std::filesystem::create_directory(folder_ / "state");
        writeWholeFile(file_, text);
    }
};

TEST_F(KnownPages, AreKeptByModelAndFirmware) {
    EXPECT_FALSE(pages_.contains(drive_, 0xC0));
    pages_.add(drive_, 0xC0);
    pages_.add(drive_, 0xC0);
    EXPECT_EQ(readWholeFile(file_), "0xC0 FW1 FAKE%20DRIVE\n");
    EXPECT_TRUE(pages_.contains(drive_, 0xC0));
    EXPECT_FALSE(pages_.contains(drive_, 0xC1)) << "another page";
    FakeDrive twin("S2", "/dev/nvme1");
    EXPECT_TRUE(pages_.contains(nvme::Drive(*twin.device()), 0xC0)) << "another drive of the model";
    nameModel(twin, "OTHER");
    EXPECT_FALSE(pages_.contains(nvme::Drive(*twin.device()), 0xC0)) << "another model";
    Attribute firmware = attributes::device::firmware();
    firmware.setValue(std::string("FW2"));
    fake_.device()->setAttribute(firmware);
    EXPECT_FALSE(pages_.contains(drive_, 0xC0)) << "another firmware";
}

TEST_F(KnownPages, OfADriveThatCannotIdentifyItselfAreNotKept) {
    nameModel(fake_, "");
    pages_.add(drive_, 0xC0);
    EXPECT_FALSE(pages_.contains(drive_, 0xC0));
    EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(KnownPages, ADamagedFileKnowsWhatIsWholeInIt) {
    write(std::string("0xC0 FW1 FAKE%20DRI\nrubbish\n0xC0 OLD OTHER\n\0\xFF\n", 45));
    EXPECT_FALSE(pages_.contains(drive_, 0xC0));
    pages_.add(drive_, 0xC0);
    EXPECT_EQ(readWholeFile(file_), "0xC0 FW1 FAKE%20DRI\n0xC0 OLD OTHER\n0xC0 FW1 FAKE%20DRIVE\n");
}

TEST_F(KnownPages, AFileOfAnySizeOrKindIsNoError) {
    write(std::string(1 << 20, 'x'));
    EXPECT_FALSE(pages_.contains(drive_, 0xC0));
    pages_.add(drive_, 0xC0);
    EXPECT_EQ(readWholeFile(file_), "0xC0 FW1 FAKE%20DRIVE\n") << "it begins again";
    std::filesystem::remove(file_);
    ASSERT_EQ(mkfifo(file_.c_str(), 0600), 0);
    pages_.add(drive_, 0xC0);
    EXPECT_FALSE(pages_.contains(drive_, 0xC0)) << "and no open waits for a writer";
}

TEST_F(KnownPages, ALinkIsNeitherReadNorWrittenThrough) {
    write("");
    std::filesystem::remove(file_);
    writeWholeFile(folder_ / "other", "0xC0 FW1 FAKE%20DRIVE\n");
    std::filesystem::create_symlink(folder_ / "other", file_);
    EXPECT_FALSE(pages_.contains(drive_, 0xC0));
    pages_.add(drive_, 0xC0);
    EXPECT_TRUE(std::filesystem::is_symlink(file_));
    EXPECT_EQ(readWholeFile(folder_ / "other"), "0xC0 FW1 FAKE%20DRIVE\n");
}

TEST_F(KnownPages, APlaceThatCannotBeWrittenIsNoError) {
    const KnownLogPages pages("/proc/none");
    pages.add(drive_, 0xC0);
    EXPECT_FALSE(pages.contains(drive_, 0xC0));
}

TEST_F(KnownPages, TheOldestGoWhenThereAreTooMany) {
    std::string text;
    for (std::size_t i = 0; i < KnownLogPages::MAX_LINES; ++i) text += "0xC0 FW" + std::to_string(i) + " OTHER\n";
    write(text);
    pages_.add(drive_, 0xC0);
    EXPECT_EQ(readWholeFile(file_), text.substr(text.find('\n') + 1) + "0xC0 FW1 FAKE%20DRIVE\n");
}

}  // namespace
}  // namespace features::jobs
