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

}  // namespace
}  // namespace simdrive
