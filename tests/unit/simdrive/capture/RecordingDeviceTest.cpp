#include <gtest/gtest.h>

#include "features/ata/Drive.h"
#include "simdrive/capture/RecordingDevice.h"
#include "tests/support/fakedrive/FakeDrive.h"

namespace simdrive {
namespace {

using namespace fakedrive;
using features::ata::RegistersMissing;
using features::simulator::CapturedAnswers;

TEST(RecordingDevice, AFailureWhoseRegistersAreLostStaysAFailure) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice()))
        .expect(smartPage(0xD0).lacksRegisters(RegistersMissing::NO_DESCRIPTOR, false));
    CapturedAnswers answers;
    RecordingDevice recording(*fake.device(), answers);
    features::ata::Drive drive(recording);
    EXPECT_FALSE(drive.smartData());
    const auto* const smart = answers.find({0xB0, {0xD0, 0, 0, 0}});
    ASSERT_NE(smart, nullptr);
    EXPECT_EQ(smart->status, 0x5104) << "ERR, ABRT";
    EXPECT_EQ(answers.find({0xEC, {0, 0, 0, 0}})->status, 0x5000);
}

TEST(RecordingDevice, KeepsTheCountOfASanitizeStatus) {
    FakeSataDrive fake;
    fake.expect(identifyAta().answers(identifyDevice()))
        .expect(Expected::ata(0xB4, features::ata::Protocol::NON_DATA, features::ata::Addressing::BITS_48)
                    .wantsRegisters()
                    .returns({0x00, 0x50, 0x40, 0x8000, 0xFFFF}));
    CapturedAnswers answers;
    RecordingDevice recording(*fake.device(), answers);
    features::ata::Drive drive(recording);
    ASSERT_TRUE(drive.identify());
    EXPECT_TRUE(drive.sanitizeState());
    EXPECT_EQ((answers.answers.at({0xB4, {0, 0, 0, 0}}).result), 0x800000000000FFFF);
}

}  // namespace
}  // namespace simdrive
