#include <gtest/gtest.h>

#include "features/ata/Drive.h"
#include "features/nvme/Drive.h"
#include "simdrive/capture/RecordingDevice.h"
#include "tests/support/StatusText.h"
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

TEST(RecordingDevice, WhatWouldChangeADriveIsNotSent) {
    FakeDrive fake;
    FakeSataDrive sata;
    CapturedAnswers answers;
    RecordingDevice recording(*fake.device(), answers), recordingSata(*sata.device(), answers);
    features::nvme::Drive nvme(recording);
    features::nvme::FeatureRequest request;
    request.fid = 0x02;
    EXPECT_EQ(statusText(nvme.setFeature(request, false)), "10/34 Feature is not supported.");
    EXPECT_EQ(statusText(features::ata::Drive(recordingSata)
                             .send(features::ata::AtaCommand(features::ata::commands::smartExecuteOffline))),
              "10/34 Feature is not supported.");
    EXPECT_TRUE(answers.answers.empty());
}

TEST(RecordingDevice, OfABrokenCommandNothingIsKept) {
    FakeDrive fake;
    fake.expect(identify(0x01).breaks(ostrel::core::Status(0, 70, "gone")));
    CapturedAnswers answers;
    RecordingDevice recording(*fake.device(), answers);
    EXPECT_FALSE(features::nvme::Drive(recording).identifyController());
    EXPECT_TRUE(answers.answers.empty());
}

/// A drive may refuse the piece after the end of a log: what it gave before stays.
TEST(RecordingDevice, ARefusalDoesNotTakeThePlaceOfAnAnswer) {
    FakeDrive fake;
    FakeSataDrive sata;
    fake.expect(logPage(0x02, 512).answers(DriveBytes(512).byte(0, 7)))
        .expect(logPage(0x02, 512).refuses(0x4002))
        .expect(logPage(0x03, 512).refuses(0x4109))
        .expect(logPage(0x03, 512).answers(DriveBytes(512).byte(0, 9)));
    sata.expect(logExt(0x03).answers(DriveBytes(512).byte(0, 7))).expect(logExt(0x03, 1).aborts());
    CapturedAnswers answers;
    RecordingDevice recording(*fake.device(), answers), recordingSata(*sata.device(), answers);
    features::nvme::Drive nvme(recording);
    features::nvme::LogPageRequest request;
    for (const uint8_t lid : {uint8_t{0x02}, uint8_t{0x02}, uint8_t{0x03}, uint8_t{0x03}}) {
        request.lid = lid;
        (void)nvme.readLogPage(request, 512);
    }
    features::ata::Drive ata(recordingSata);
    ASSERT_TRUE(ata.readLogPage(0x03, 0));
    EXPECT_FALSE(ata.readLogPage(0x03, 1));
    const auto& kept = answers.answers.at({0x02, {0xFFFFFFFF, 0x02, 0, 0}});
    EXPECT_EQ(kept.status, 0);
    EXPECT_EQ(kept.data.at(0), 7);
    const auto& later = answers.answers.at({0x02, {0xFFFFFFFF, 0x03, 0, 0}});
    EXPECT_EQ(later.status, 0) << "it answered at last";
    EXPECT_EQ(later.data.at(0), 9);
    const auto& log = answers.answers.at({0x2F, {0, 0x03, 0, 0}});
    EXPECT_EQ(log.status, 0x5000);
    EXPECT_EQ(log.data.at(0), 7);
}

TEST(RecordingDevice, WhatIsTooLargeIsCountedAndLeftOut) {
    FakeSataDrive sata;
    // Page 32767 is the last of 16 MiB.
    sata.expect(logExt(0x03, 32767).answers(DriveBytes(512).byte(0, 7))).expect(logExt(0x04, 32768));
    CapturedAnswers answers;
    RecordingDevice recording(*sata.device(), answers);
    features::ata::Drive drive(recording);
    ASSERT_TRUE(drive.readLogPage(0x03, 32767));
    EXPECT_EQ(recording.leftOut(), 0U);
    ASSERT_TRUE(drive.readLogPage(0x04, 32768));
    EXPECT_EQ(recording.leftOut(), 1U);
    EXPECT_EQ(answers.answers.size(), 1U);
    EXPECT_EQ((answers.answers.at({0x2F, {0, 0x03, 0, 0}}).data.size()), size_t{16} << 20);
}

}  // namespace
}  // namespace simdrive
