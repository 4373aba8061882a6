#include <gtest/gtest.h>

#include "features/jobs/settings/MaxAddressJob.h"
#include "tests/unit/features/jobs/SetRun.h"
#include "tests/unit/features/jobs/Unplugged.h"
#include "tests/unit/features/jobs/UsedNamespaces.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using ata::Addressing;
using ata::Protocol;

constexpr uint64_t NATIVE = 1999999;    // 2,000,000 sectors of 512 bytes
constexpr uint16_t WITH_AMAC = 0x4100;  // word 119: valid, Accessible Max Address
constexpr uint16_t WITH_HPA = 0x0401;   // word 82: Host Protected Area, SMART

std::string set(const std::string& text, const FakeSataDrive& drive) {
    MaxAddressJob job;
    return setText(job, "MaximumLBA", text, drive);
}
Expected unusedDisk() {
    return hostUses({unusedNamespace(1)});
}
Expected identified(uint64_t sectors = NATIVE + 1) {
    return identifyAta().answers(identifyDevice().word(86, 0x8000).word(119, WITH_AMAC).le64(200, sectors));
}
Expected getNative(uint64_t lba = NATIVE) {
    return Expected::ata(0x78, Protocol::NON_DATA, Addressing::BITS_48)
        .wantsRegisters()
        .returns({0, 0x50, 0x40, 0, lba});
}
Expected setAccessible(uint64_t lba) {
    return Expected::ata(0x78, Protocol::NON_DATA, Addressing::BITS_48).feature(1).lba(lba).wantsRegisters();
}

TEST(AtaMaxAddress, SetsBlocksPercentGigabytesOrTheNativeMaximum) {
    const struct {
        const char* text;
        uint64_t lba;
    } values[] = {{"999999", 999999}, {"50%", 999999}, {"native", NATIVE}, {"1GB", 1953124}};
    for (const auto& value : values) {
        SCOPED_TRACE(value.text);
        FakeSataDrive drive;
        drive.expect(unusedDisk())
            .expect(identified())
            .expect(getNative())
            .expect(unusedDisk())
            .expect(getNative())
            .expect(setAccessible(value.lba).completes())
            .expect(lookAgain())
            .expect(identified(value.lba + 1))
            .expect(getNative());
        EXPECT_EQ(set(value.text, drive),
                  "0/0 The maximum LBA is " + std::to_string(value.lba) + ", the native one 1999999.");
    }
}

TEST(AtaMaxAddress, AnOlderDriveHasAHostProtectedArea) {
    const auto older = [](uint64_t sectors) {
        return identifyAta().answers(identifyDevice().word(82, WITH_HPA).le64(200, sectors));
    };
    const auto readNative = [] {
        return Expected::ata(0x27, Protocol::NON_DATA, Addressing::BITS_48)
            .device(0x40)
            .wantsRegisters()
            .returns({0, 0x50, 0x40, 0, NATIVE});
    };
    FakeSataDrive drive;
    drive.expect(unusedDisk())
        .expect(older(NATIVE + 1))
        .expect(readNative())
        .expect(unusedDisk())
        .expect(readNative())
        .expect(Expected::ata(0x37, Protocol::NON_DATA, Addressing::BITS_48)
                    .device(0x40)
                    .count(1)
                    .lba(999)
                    .wantsRegisters()
                    .completes())
        .expect(lookAgain())
        .expect(older(1000))
        .expect(readNative());
    EXPECT_EQ(set("999", drive), "0/0 The maximum LBA is 999, the native one 1999999.");
}

/// LBA 27:24 are in DEVICE, 23:0 in the registers of the LBA.
TEST(AtaMaxAddress, ADriveWithAddressesOf28BitsHasFourOfThemInDevice) {
    constexpr uint32_t LAST = 0x0A123456;
    const auto oldest = [](uint32_t sectors) {
        return identifyAta().answers(
            identifyDevice().word(82, WITH_HPA).word(83, 0x4000).word(86, 0).le32(120, sectors));
    };
    const auto readNative = [] {
        return Expected::ata(0xF8, Protocol::NON_DATA, Addressing::BITS_28)
            .device(0x40)
            .wantsRegisters()
            .returns({0, 0x50, 0x4A, 0, 0x123456});
    };
    FakeSataDrive drive;
    drive.expect(unusedDisk())
        .expect(oldest(1000))
        .expect(readNative())
        .expect(unusedDisk())
        .expect(readNative())
        .expect(Expected::ata(0xF9, Protocol::NON_DATA, Addressing::BITS_28)
                    .device(0x40)
                    .count(1)
                    .lba(LAST)
                    .wantsRegisters()
                    .completes())
        .expect(lookAgain())
        .expect(oldest(LAST + 1))
        .expect(readNative());
    EXPECT_EQ(set("native", drive), "0/0 The maximum LBA is 168965206, the native one 168965206.");
}

TEST(AtaMaxAddress, ADriveWithoutEitherDoesNotHaveIt) {
    FakeSataDrive drive;
    drive.expect(unusedDisk()).expect(identifyAta().answers(identifyDevice()));
    EXPECT_EQ(set("999", drive),
              "10/237 Max address command not supported on this drive, use namespace management instead.");
}

TEST(AtaMaxAddress, MoreThanTheDriveHasIsRefused) {
    const std::string native = " The native maximum LBA of drive S1 (/dev/sda) is 1999999.";
    const struct {
        const char* text;
        const char* status;
    } values[] = {
        {"2000000",
         "10/42 Invalid max address value. Please select a positive value less than or equal to the native max LBA."},
        {"2GB", "10/243 Requested LBA resize larger than maximum size of drive."},
    };
    for (const auto& value : values) {
        FakeSataDrive drive;
        drive.expect(unusedDisk()).expect(identified()).expect(getNative());
        EXPECT_EQ(set(value.text, drive), value.status + native);
    }
}

TEST(AtaMaxAddress, ANativeMaximumBelowWhatTheDriveHasIsNotBelieved) {
    for (const char* text : {"native", "50%"}) {
        FakeSataDrive drive;
        drive.expect(unusedDisk()).expect(identified()).expect(getNative(0));
        EXPECT_EQ(
            set(text, drive),
            "10/33 Failed to retrieve data from selected device. The native maximum LBA of drive S1 (/dev/sda) is said "
            "to be 0, and it has 2000000 sectors.");
    }
}

TEST(AtaMaxAddress, ADriveInUseIsLeftAlone) {
    FakeSataDrive drive;
    drive.expect(hostUses({mounted(1)}));
    EXPECT_EQ(set("999", drive), mountedRefusal(1));
    drive.expectDone();
    drive.expect(unusedDisk()).expect(identified()).expect(getNative()).expect(hostUses({partitioned(1)}));
    EXPECT_EQ(set("999", drive), partitionRefusal(1));
}

TEST(AtaMaxAddress, ASecondChangeInAPowerCycleIsExplained) {
    FakeSataDrive drive;
    drive.expect(unusedDisk())
        .expect(identified())
        .expect(getNative())
        .expect(unusedDisk())
        .expect(getNative())
        .expect(setAccessible(999).aborts());
    const std::string got = set("999", drive);
    EXPECT_EQ(got.compare(0, 7, "10/164 "), 0) << got;
    EXPECT_NE(got.find("A drive takes one change in a power cycle: switch its power off and on before another."),
              std::string::npos)
        << got;
}

TEST(AtaMaxAddress, ADriveThatReportsAnotherMaximumHasFailed) {
    FakeSataDrive drive;
    drive.expect(unusedDisk())
        .expect(identified())
        .expect(getNative())
        .expect(unusedDisk())
        .expect(getNative())
        .expect(setAccessible(999).completes())
        .expect(lookAgain())
        .expect(identified())
        .expect(getNative());
    const std::string got = set("999", drive);
    EXPECT_NE(got.find("Drive S1 (/dev/sda) accepted the maximum LBA 999 and reports 2000000 sectors."),
              std::string::npos)
        << got;
}

TEST(AtaMaxAddress, ANativeMaximumThatIsNotReportedIsNotGuessed) {
    FakeSataDrive drive;
    drive.expect(unusedDisk()).expect(identified()).expect(getNative().lacksRegisters(ata::RegistersMissing::NO_SENSE));
    EXPECT_EQ(set("999", drive).compare(0, 5, "0/17 "), 0);
}

TEST(AtaMaxAddress, AnUnpluggedDriveIsAskedAndCutNoMore) {
    const Script script{
        unusedDisk(),       identified(), getNative(),      unusedDisk(), getNative(),
        setAccessible(999), lookAgain(),  identified(1000), getNative(),
    };
    const auto run = [](const FakeSataDrive& drive) { return set("999", drive); };
    const std::string unplugged = "0/70 The drive /dev/nvme0 is gone.";
    expectUnplugged<FakeSataDrive>({script.begin(), script.begin() + 6}, unplugged, run);
    expectUnplugged<FakeSataDrive>(script, unplugged, run, 7);
}

TEST(AtaMaxAddress, ASystemThatDoesNotLookAgainIsNamedBesideTheSuccess) {
    FakeSataDrive drive;
    drive.expect(unusedDisk())
        .expect(identified())
        .expect(getNative())
        .expect(unusedDisk())
        .expect(getNative())
        .expect(setAccessible(999))
        .expect(lookAgain().breaks(ostrel::core::Status(1, 13, "No right to rescan.")))
        .expect(identified(1000))
        .expect(getNative());
    EXPECT_EQ(
        set("999", drive),
        "0/0 The maximum LBA is 999, the native one 1999999. The system has not seen it yet: No right to rescan.");
}

}  // namespace
}  // namespace features::jobs
