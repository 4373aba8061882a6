#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "features/jobs/drive/DrivesWithoutOcp.h"
#include "features/jobs/drive/KnownLogPages.h"
#include "features/jobs/drive/OcpSmartLog.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "tests/support/Golden.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;

constexpr const char* THIS_START = "6a1f0e52-3c8d-4b7a-9e10-5d2c7f8b9a01\n";
constexpr const char* NEXT_START = "0c4b7d11-98e2-4f63-8a35-e1d2c3b4a596\n";

/// As the kernel's driver has it.
void letKernelCarry(const FakeDrive& fake) {
    fake.device()->addCommandSet(transport::COMMAND_SET_HOST, "Linux NVMe");
}

class WithoutOcp : public testing::Test {
protected:
    TemporaryFolder folder_;
    std::string bootId_ = folder_ / "boot_id";
    std::string file_ = folder_ / "state/drives-without-ocp";
    FakeDrive fake_;
    nvme::Drive drive_{*fake_.device()};

    WithoutOcp() {
        letKernelCarry(fake_);
        writeWholeFile(bootId_, THIS_START);
    }
    bool isKept(const nvme::Drive& drive) const { return DrivesWithoutOcp(folder_ / "state", bootId_).contains(drive); }
    void keep(const nvme::Drive& drive) const {
        DrivesWithoutOcp drives(folder_ / "state", bootId_);
        drives.add(drive);
        drives.keep();
    }
    void write(const std::string& text) const {
        std::filesystem::create_directory(folder_ / "state");
        writeWholeFile(file_, text);
    }
};

TEST_F(WithoutOcp, AreReadOnce) {
    keep(drive_);
    DrivesWithoutOcp drives(folder_ / "state", bootId_);
    drives.load();
    std::filesystem::remove(file_);
    EXPECT_TRUE(drives.contains(drive_));
    EXPECT_FALSE(isKept(drive_));
}

TEST_F(WithoutOcp, AreKeptBySerialNumberFirmwareAndModel) {
    EXPECT_FALSE(isKept(drive_));
    keep(drive_);
    EXPECT_EQ(readWholeFile(file_), "6a1f0e52-3c8d-4b7a-9e10-5d2c7f8b9a01\nS1 FW1 FAKE%20DRIVE\n");
    EXPECT_TRUE(isKept(drive_));
    FakeDrive twin("S2", "/dev/nvme1");
    letKernelCarry(twin);
    const nvme::Drive other(*twin.device());
    EXPECT_FALSE(isKept(other)) << "another drive of the model";
    keep(other);
    EXPECT_EQ(readWholeFile(file_), "6a1f0e52-3c8d-4b7a-9e10-5d2c7f8b9a01\nS1 FW1 FAKE%20DRIVE\nS2 FW1 FAKE%20DRIVE\n");
    Attribute firmware = attributes::device::firmware();
    firmware.setValue(std::string("FW2"));
    fake_.device()->setAttribute(firmware);
    EXPECT_FALSE(isKept(drive_)) << "another firmware";
}

TEST_F(WithoutOcp, AreKeptUntilTheSystemStartsAgain) {
    keep(drive_);
    writeWholeFile(bootId_, NEXT_START);
    EXPECT_FALSE(isKept(drive_));
    FakeDrive twin("S2", "/dev/nvme1");
    letKernelCarry(twin);
    keep(nvme::Drive(*twin.device()));
    EXPECT_EQ(readWholeFile(file_), "0c4b7d11-98e2-4f63-8a35-e1d2c3b4a596\nS2 FW1 FAKE%20DRIVE\n");
}

TEST_F(WithoutOcp, AreNotKeptWhereTheStartIsNotKnown) {
    std::filesystem::remove(bootId_);
    keep(drive_);
    EXPECT_FALSE(std::filesystem::exists(file_));
    write("\nS1 FW1 FAKE%20DRIVE\n");
    EXPECT_FALSE(isKept(drive_));
}

TEST_F(WithoutOcp, AreDrivesOfTheKernelThatCanBeIdentified) {
    FakeDrive simulated("S2", "/dev/nvme1");
    keep(nvme::Drive(*simulated.device()));
    nameModel(fake_, "");
    keep(drive_);
    EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(WithoutOcp, ADamagedFileKnowsWhatIsWholeInIt) {
    write(THIS_START + std::string("S1 FW1\n\0\xFF\nS1 FW1 FAKE%20DRI\n", 28) + std::string(300, 'x') + " a b\n");
    EXPECT_FALSE(isKept(drive_));
    keep(drive_);
    EXPECT_EQ(readWholeFile(file_), "6a1f0e52-3c8d-4b7a-9e10-5d2c7f8b9a01\nS1 FW1 FAKE%20DRI\nS1 FW1 FAKE%20DRIVE\n");
}

TEST_F(WithoutOcp, ALinkIsNotFollowed) {
    std::filesystem::create_directory(folder_ / "state");
    writeWholeFile(folder_ / "elsewhere", THIS_START + std::string("S1 FW1 FAKE%20DRIVE\n"));
    std::filesystem::create_symlink(folder_ / "elsewhere", file_);
    EXPECT_FALSE(isKept(drive_));
    keep(drive_);
    EXPECT_EQ(readWholeFile(folder_ / "elsewhere"), THIS_START + std::string("S1 FW1 FAKE%20DRIVE\n"));
}

TEST_F(WithoutOcp, AreNotAskedASecondTime) {
    DrivesWithoutOcp drives(folder_ / "state", bootId_);
    fake_.expect(withoutList());
    EXPECT_EQ(readOfferedOcpSmartLog(drive_, drives)->getSize(), 0U);
    drives.keep();
    fake_.expectDone();
    nvme::Drive again(*fake_.device());
    DrivesWithoutOcp kept(folder_ / "state", bootId_);
    EXPECT_EQ(readOfferedOcpSmartLog(again, kept)->getSize(), 0U);
}

TEST_F(WithoutOcp, AreThoseWhoseListLeavesThePageOut) {
    DrivesWithoutOcp drives(folder_ / "state", bootId_);
    fake_.expect(withList()).expect(logList(0xD0));
    EXPECT_EQ(readOfferedOcpSmartLog(drive_, drives)->getSize(), 0U);
    EXPECT_TRUE(drives.contains(drive_));
}

TEST_F(WithoutOcp, AreNotThoseThatHaveThePageOrCannotBeAsked) {
    DrivesWithoutOcp drives(folder_ / "state", bootId_);
    fake_.expect(withList()).expect(logList(0xC0)).expect(ocpLog().answers(ocpSmart()));
    EXPECT_EQ(readOfferedOcpSmartLog(drive_, drives)->getSize(), 512U);
    FakeDrive broken("S2", "/dev/nvme1");
    letKernelCarry(broken);
    broken.expect(identify(0x01).breaks(gone()));
    nvme::Drive other(*broken.device());
    EXPECT_TRUE(statusOf(readOfferedOcpSmartLog(other, drives)).is(0, 70));
    drives.keep();
    EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(WithoutOcp, AreForgottenWhenAPageIsFoundUnoffered) {
    DrivesWithoutOcp drives;  // in the folder that this test has for KnownLogPages, too
    fake_.expect(withoutList()).expect(ocpLog().answers(ocpSmart()));
    drives.add(drive_);
    drives.keep();
    EXPECT_TRUE(DrivesWithoutOcp().contains(drive_));
    EXPECT_EQ(readOcpSmartLog(drive_, OcpGrounds::NAMED)->getSize(), 512U);
    EXPECT_TRUE(KnownLogPages().contains(drive_, 0xC0));
    EXPECT_FALSE(DrivesWithoutOcp().contains(drive_));
}

}  // namespace
}  // namespace features::jobs
