#include <gtest/gtest.h>

#include "simdrive/capture/DriveWalk.h"
#include "tests/support/fakedrive/FakeDrive.h"

namespace simdrive {
namespace {

using namespace fakedrive;
using features::ata::Addressing;
using features::ata::Protocol;
using ostrel::core::Status;

/// Without log pages and SMART, with trusted computing and the sanitize feature set.
DriveBytes lockable() {
    return identifyDevice().word(84, 0x4100).word(87, 0x4100).word(85, 0x0020).word(48, 0x4001).word(59, 0xF000);
}

/// What TRUSTED RECEIVE says of the drive's security protocols.
Expected trustedReceive() {
    return Expected::ata(0x5C, Protocol::PIO_IN, Addressing::BITS_28).count(1).reads(512);
}

Expected sanitizeStatus() {
    return Expected::ata(0xB4, Protocol::NON_DATA, Addressing::BITS_48).wantsRegisters();
}

TEST(DriveWalk, GoesOnWhereTheDriverRefusesTrustedReceive) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(lockable()))
        .expect(trustedReceive().breaks(Status(0, 11, "The driver refused it.")))
        .expect(sanitizeStatus().returns({0x00, 0x50, 0x40, 0x8000, 0xFFFF}));
    DriveWalk walk;
    EXPECT_EQ(walk.ata(*drive.device()).getCode(), 0U);
    EXPECT_EQ(walk.refused, std::vector<std::string>{"Level 0 Discovery: The driver refused it."});
    drive.expectDone();
}

TEST(DriveWalk, EndsWhereTheDriveDoesNotAnswer) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(lockable())).expect(trustedReceive().breaks(Status(0, 69, "The drive hangs.")));
    DriveWalk walk;
    EXPECT_EQ(walk.ata(*drive.device()).getMessage(), "The drive hangs.");
    EXPECT_EQ(walk.refused, std::vector<std::string>());
    drive.expectDone();
}

}  // namespace
}  // namespace simdrive
