#include <gtest/gtest.h>

#include "features/jobs/drive/DriveLocking.h"
#include "tests/support/StatusText.h"
#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using nvme::Completion;
using ostrel::core::Status;

constexpr char UNPLUGGED[] = "0/70 The drive /dev/nvme0 is gone.";

/// Security protocols 00h, 01h (TCG) and 02h.
DriveBytes protocols() {
    return DriveBytes(512).put(6, {0, 3, 0x00, 0x01, 0x02});
}

/// Level 0 Discovery with TPer, and Locking with these flags.
DriveBytes discovery(uint8_t flags, size_t bytes = 4096) {
    return DriveBytes(bytes).byte(3, 76).put(48, {0x00, 0x01, 0x10, 12}).put(64, {0x00, 0x02, 0x10, 12, flags});
}
constexpr uint8_t SUPPORTED = 0x09;
constexpr uint8_t ENABLED = 0x0B;
constexpr uint8_t LOCKED = 0x0F;
constexpr uint8_t SHADOWED = 0x1B;

Expected withSecurity() {
    return identify(0x01).answers(identifyController().le16(256, 0x0001));
}
Expected askProtocols() {
    return Expected::admin(0x82).dword(11, 512).reads(512);
}
Expected askDiscovery() {
    return Expected::admin(0x82).dword(10, 0x01000100).dword(11, 4096).reads(4096);
}

Expected withTrusted() {
    return identifyAta().answers(identifyDevice().word(48, 0x4001));
}
Expected trustedProtocols() {
    return Expected::ata(0x5C, ata::Protocol::PIO_IN, ata::Addressing::BITS_28).count(1).reads(512);
}
Expected trustedDiscovery() {
    return Expected::ata(0x5C, ata::Protocol::PIO_IN, ata::Addressing::BITS_28)
        .feature(1)
        .lba(0x100)
        .count(8)
        .reads(4096);
}

/// "none", or the features with "enabled", "locked" and "shadowed".
template <typename Read>
std::string textOf(const Read& locking) {
    if (!locking) return statusText(locking);
    if (!*locking) return "none";
    return (*locking)->featureText() + ((*locking)->isLockingEnabled ? ", enabled" : "") +
           ((*locking)->isLocked ? ", locked" : "") + ((*locking)->isMbrShadowed ? ", shadowed" : "");
}
std::string readNvme(const FakeDrive& fake) {
    nvme::Drive drive(*fake.device());
    return textOf(readDriveLocking(drive));
}
std::string readSata(const FakeDrive& fake) {
    ata::Drive drive(*fake.device());
    return textOf(readDriveLocking(drive));
}

/// What the user is shown of a read that was refused so.
std::string withNvme(const FakeDrive& fake, uint16_t statusField) {
    nvme::Drive drive(*fake.device());
    const Status status(0, 25, "Refused.");
    return statusText(withLocking(drive, nvme::CommandError(status, Completion(statusField, 0)), status));
}
std::string withSata(const FakeDrive& fake) {
    ata::Drive drive(*fake.device());
    return statusText(withLocking(drive, Status(0, 10, "Aborted.")));
}

TEST(DriveLocking, IsReadWhereTheListOfProtocolsHasTcg) {
    FakeDrive nvme;
    nvme.expect(withSecurity()).expect(askProtocols().answers(protocols()));
    nvme.expect(askDiscovery().answers(discovery(SUPPORTED)));
    EXPECT_EQ(readNvme(nvme), "TPer, Locking");
    FakeSataDrive sata;
    sata.expect(withTrusted()).expect(trustedProtocols().answers(protocols()));
    sata.expect(trustedDiscovery().answers(discovery(LOCKED)));
    EXPECT_EQ(readSata(sata), "TPer, Locking, enabled, locked");
}

TEST(DriveLocking, ADriveWithoutSecurityIsNotAskedForIt) {
    FakeDrive nvme, nvmeWithoutTcg, nvmeWithoutList;
    nvme.expect(identify(0x01).answers(identifyController()));
    EXPECT_EQ(readNvme(nvme), "none");
    nvmeWithoutTcg.expect(withSecurity()).expect(askProtocols().answers(protocols().byte(9, 0xEA)));
    EXPECT_EQ(readNvme(nvmeWithoutTcg), "none");
    nvmeWithoutList.expect(withSecurity()).expect(askProtocols().refuses(0x4002));
    EXPECT_EQ(readNvme(nvmeWithoutList), "none");
    FakeSataDrive sata, sataWithoutTcg, sataWithoutList;
    sata.expect(identifyAta().answers(identifyDevice()));
    EXPECT_EQ(readSata(sata), "none");
    sataWithoutTcg.expect(withTrusted()).expect(trustedProtocols().answers(protocols().byte(9, 0xEA)));
    EXPECT_EQ(readSata(sataWithoutTcg), "none");
    sataWithoutList.expect(withTrusted()).expect(trustedProtocols().aborts());
    EXPECT_EQ(readSata(sataWithoutList), "none");
}

/// Of such a drive it is not known whether it is locked.
TEST(DriveLocking, AnUnpluggedDriveIsNotOneWithoutLocking) {
    expectUnplugged<FakeDrive>({withSecurity(), askProtocols().answers(protocols()), askDiscovery()}, UNPLUGGED,
                               readNvme);
    expectUnplugged<FakeSataDrive>({withTrusted(), trustedProtocols().answers(protocols()), trustedDiscovery()},
                                   UNPLUGGED, readSata);
}

TEST(DriveLocking, ADiscoveryThatIsRefusedOrDamagedIsAnError) {
    FakeDrive refused, damaged;
    refused.expect(withSecurity()).expect(askProtocols().answers(protocols())).expect(askDiscovery().refuses(0x4002));
    EXPECT_EQ(readNvme(refused),
              "0/25 Security Receive failed on drive S1 (/dev/nvme0): Invalid Field in Command (status code type 0x0, "
              "status code "
              "0x02, opcode 0x82).");
    damaged.expect(withSecurity()).expect(askProtocols().answers(protocols()));
    damaged.expect(askDiscovery().answers(discovery(SUPPORTED).byte(67, 11)));
    EXPECT_EQ(readNvme(damaged),
              "10/33 Failed to retrieve data from selected device. Drive S1 (/dev/nvme0) returned a Level 0 Discovery "
              "that is damaged.");
    FakeSataDrive aborted, torn;
    aborted.expect(withTrusted()).expect(trustedProtocols().answers(protocols())).expect(trustedDiscovery().aborts());
    EXPECT_EQ(readSata(aborted),
              "0/10 TRUSTED RECEIVE failed on drive S1 (/dev/sda): command aborted (command 0x5C, FEATURE 0x01, ERROR "
              "0x04, STATUS "
              "0x51).");
    torn.expect(withTrusted()).expect(trustedProtocols().answers(protocols()));
    torn.expect(trustedDiscovery().answers(discovery(SUPPORTED).byte(2, 0x10)));
    EXPECT_EQ(readSata(torn),
              "10/33 Failed to retrieve data from selected device. Drive S1 (/dev/sda) returned a Level 0 Discovery "
              "that is damaged.");
}

constexpr struct {
    uint8_t flags;
    const char* text;  // after the drive's name
} WORDS[] = {
    {SUPPORTED, nullptr},
    {ENABLED, "has TCG locking enabled (TPer, Locking): its owner may have denied the access."},
    {LOCKED, "has TCG locking enabled (TPer, Locking), is locked: unlock it with the owner's password, or revert it."},
    {SHADOWED,
     "has TCG locking enabled (TPer, Locking), shows a shadow MBR: unlock it with the owner's password, or revert it."},
    {LOCKED | SHADOWED,
     "has TCG locking enabled (TPer, Locking), is locked, shows a shadow MBR: unlock it with the owner's password, or "
     "revert it."},
};

TEST(DriveLocking, IsSaidOfACommandThatWasDenied) {
    for (const auto& c : WORDS) {
        for (const uint16_t denied : {uint16_t{0x4015}, uint16_t{0x4286}}) {
            FakeDrive nvme;
            nvme.expect(withSecurity()).expect(askProtocols().answers(protocols()));
            nvme.expect(askDiscovery().answers(discovery(c.flags)));
            EXPECT_EQ(withNvme(nvme, denied), c.text == nullptr
                                                  ? "0/25 Refused."
                                                  : std::string("0/25 Refused. Drive S1 (/dev/nvme0) ") + c.text);
        }
        FakeSataDrive sata;
        sata.expect(withTrusted()).expect(trustedProtocols().answers(protocols()));
        sata.expect(trustedDiscovery().answers(discovery(c.flags)));
        EXPECT_EQ(withSata(sata),
                  c.text == nullptr ? "0/10 Aborted." : std::string("0/10 Aborted. Drive S1 (/dev/sda) ") + c.text);
    }
}

TEST(DriveLocking, APasswordIsNamedAndNothingElseIsAsked) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice().word(48, 0x4001).word(128, 0x0007)));
    EXPECT_EQ(withSata(fake), "0/10 Aborted. Drive S1 (/dev/sda) is locked by a password: unlock it first.");
}

TEST(DriveLocking, ARefusalStaysWithoutLocking) {
    FakeDrive nvme;
    nvme.expect(identify(0x01).answers(identifyController()));
    EXPECT_EQ(withNvme(nvme, 0x4015), "0/25 Refused.");
    FakeSataDrive sata;
    sata.expect(identifyAta().answers(identifyDevice()));
    EXPECT_EQ(withSata(sata), "0/10 Aborted.");
}

TEST(DriveLocking, IsNotAskedForAfterAnotherRefusal) {
    FakeDrive nvme;
    for (const uint16_t other : {uint16_t{0x4002}, uint16_t{0x4115}, uint16_t{0x0281}})
        EXPECT_EQ(withNvme(nvme, other), "0/25 Refused.");
    FakeSataDrive fake;
    ata::Drive drive(*fake.device());
    const Status status(0, 10, "Failed.");
    ata::Registers registers;
    registers.status = 0x51;
    registers.error = 0x40;
    EXPECT_EQ(statusText(withLocking(drive, ata::AtaError(status, ata::AtaResult(registers)), status)), "0/10 Failed.");
    EXPECT_EQ(statusText(withLocking(drive, ata::AtaError(gone()), status)), "0/10 Failed.");
}

TEST(DriveLocking, AFailureWithoutRegistersMayBeAnAbort) {
    ata::Registers aborted;
    aborted.status = 0x51;
    aborted.error = 0x04;
    ata::AtaResult unknown;
    unknown.missing = ata::RegistersMissing::NO_SENSE;
    for (const ata::AtaResult& result : {ata::AtaResult(aborted), unknown}) {
        FakeSataDrive fake;
        fake.expect(identifyAta().answers(identifyDevice().word(128, 0x0007)));
        ata::Drive drive(*fake.device());
        const Status status(0, 10, "Failed.");
        EXPECT_EQ(statusText(withLocking(drive, ata::AtaError(status, result), status)),
                  "0/10 Failed. Drive S1 (/dev/sda) is locked by a password: unlock it first.");
    }
}

TEST(DriveLocking, WhyTheCauseOfARefusalIsNotKnownIsSaidBesideIt) {
    expectUnplugged<FakeDrive>({withSecurity(), askProtocols().answers(protocols()), askDiscovery()},
                               "0/25 Refused. The drive /dev/nvme0 is gone.",
                               [](const FakeDrive& fake) { return withNvme(fake, 0x4286); });
    expectUnplugged<FakeSataDrive>({withTrusted(), trustedProtocols().answers(protocols()), trustedDiscovery()},
                                   "0/10 Aborted. The drive /dev/nvme0 is gone.", withSata);
}

}  // namespace
}  // namespace features::jobs
