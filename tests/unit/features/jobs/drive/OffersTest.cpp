#include <gtest/gtest.h>

#include <initializer_list>

#include "features/jobs/drive/Offers.h"
#include "features/nvme/VelkoLogPages.h"
#include "ostrel/core/StatusCatalogue.h"
#include "tests/support/StatusText.h"
#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;

bool isOffered(FakeDrive& fake, const nvme::LogPageRow* row) {
    nvme::Drive drive(*fake.device());
    const auto offered = isLogOffered(drive, *row);
    EXPECT_TRUE(offered);
    return offered.value_or(false);
}

TEST(Offers, NothingIsAskedAboutALogPageThatAllControllersHave) {
    for (const uint8_t lid : std::initializer_list<uint8_t>{0x01, 0x02, 0x03}) {
        FakeDrive fake;
        EXPECT_TRUE(isOffered(fake, nvme::findLogPage(lid)));
    }
}

TEST(Offers, TheListGoesBeforeTheBitsOfIdentify) {
    const DriveBytes selfTests = identifyController().le16(256, 0x0010).byte(261, 0x24);
    FakeDrive listed, unlisted;
    listed.expect(withList()).expect(logList(0x06));
    EXPECT_TRUE(isOffered(listed, nvme::findLogPage(0x06)));
    unlisted.expect(identify(0x01).answers(selfTests)).expect(logList(0x81));
    EXPECT_FALSE(isOffered(unlisted, nvme::findLogPage(0x06)));
}

TEST(Offers, WithoutAListTheBitsOfIdentifyDecide) {
    FakeDrive with, without, refused;
    with.expect(identify(0x01).answers(identifyController().le16(256, 0x0010)));
    EXPECT_TRUE(isOffered(with, nvme::findLogPage(0x06)));
    without.expect(identify(0x01).answers(identifyController()));
    EXPECT_FALSE(isOffered(without, nvme::findLogPage(0x06)));
    refused.expect(withList()).expect(lookAtLog(0x00, 1024).refuses(NO_SUCH_LOG));
    EXPECT_FALSE(isOffered(refused, nvme::findLogPage(0x06)));
}

TEST(Offers, AMakersPageIsThereUnlessTheListLeavesItOut) {
    FakeDrive without, listed, unlisted;
    without.expect(withoutList());
    EXPECT_TRUE(isOffered(without, nvme::findVelkoLogPage(0xD8)));
    listed.expect(withList()).expect(logList(0xD8));
    EXPECT_TRUE(isOffered(listed, nvme::findVelkoLogPage(0xD8)));
    unlisted.expect(withList()).expect(logList(0xD9));
    EXPECT_FALSE(isOffered(unlisted, nvme::findVelkoLogPage(0xD8)));
}

TEST(Offers, TheListIsAskedOnce) {
    FakeDrive fake;
    fake.expect(withList()).expect(logList(0x06));
    nvme::Drive drive(*fake.device());
    for (const uint8_t lid : std::initializer_list<uint8_t>{0x05, 0x06, 0x0D}) {
        const auto offered = isLogOffered(drive, *nvme::findLogPage(lid));
        ASSERT_TRUE(offered);
        EXPECT_EQ(*offered, lid == 0x06);
    }
}

/// Which field of Identify Controller announces each feature.
constexpr struct {
    uint8_t fid;
    unsigned offset;
    uint32_t bits;
} FEATURES[] = {
    {0x06, 525, 0x01}, {0x0C, 265, 0x01}, {0x0D, 272, 0x01}, {0x0E, 520, 0x40}, {0x0F, 320, 0x01}, {0x10, 322, 0x01},
    {0x11, 96, 0x02},  {0x12, 96, 0x08},  {0x13, 96, 0x20},  {0x14, 96, 0x20},  {0x15, 257, 0x02}, {0x17, 328, 0x01},
    {0x18, 93, 0x40},  {0x82, 520, 0x20}, {0x83, 520, 0x20}, {0x84, 531, 0x01},
};

std::string check(FakeDrive& fake, uint8_t fid) {
    nvme::Drive drive(*fake.device());
    return requireFeatureOffered(drive, *nvme::findFeature(fid), statuses::driveDoesNotSupportFeature()).getMessage();
}

TEST(Offers, IdentifyAnnouncesFeatures) {
    for (const auto& c : FEATURES) {
        SCOPED_TRACE(static_cast<int>(c.fid));
        const DriveBytes nothing = identifyController().byte(261, 0);
        FakeDrive without, with;
        without.expect(identify(0x01).answers(nothing));
        EXPECT_NE(check(without, c.fid)
                      .find("The selected drive does not support this feature. Drive S1 (/dev/nvme0) "
                            "does not offer feature 0x"),
                  std::string::npos);
        with.expect(identify(0x01).answers(DriveBytes(nothing).byte(c.offset, static_cast<uint8_t>(c.bits))));
        EXPECT_EQ(check(with, c.fid), Status().getMessage());
    }
}

TEST(Offers, AFeatureIsThereWithTheLogPageThatItConfigures) {
    FakeDrive with, without;
    with.expect(withList()).expect(logList(0x0F));
    EXPECT_EQ(check(with, 0x18), Status().getMessage());
    // Endurance groups alone, and their page 09h, say nothing of events.
    without.expect(identify(0x01).answers(identifyController().byte(96, 0x10).byte(93, 0x40).byte(261, 0x24)))
        .expect(logList(0x09));
    EXPECT_EQ(check(without, 0x18),
              "The selected drive does not support this feature. Drive S1 (/dev/nvme0) does not offer feature 0x18 "
              "(Endurance Group Event Configuration).");
}

TEST(Offers, NothingIsAskedAboutAFeatureThatAllControllersHave) {
    for (const uint8_t fid : std::initializer_list<uint8_t>{0x01, 0x02, 0x04, 0x05, 0x07, 0x08, 0x09, 0x0A, 0x0B}) {
        FakeDrive fake;
        EXPECT_EQ(check(fake, fid), Status().getMessage());
    }
}

TEST(Offers, WhatIdentifyDoesNotAnnounceIsInLog12h) {
    for (const uint8_t fid : std::initializer_list<uint8_t>{0x03, 0x16, 0x80, 0x81, 0x85}) {
        SCOPED_TRACE(static_cast<int>(fid));
        FakeDrive unknown, with, without;
        unknown.expect(withoutList());
        EXPECT_EQ(check(unknown, fid), Status().getMessage()) << "it was named, and may be there";
        with.expect(withList())
            .expect(logList(0x12))
            .expect(lookAtLog(0x12, 1024).answers(DriveBytes(1024).byte(fid * 4, 1)));
        EXPECT_EQ(check(with, fid), Status().getMessage());
        without.expect(withList())
            .expect(logList(0x12))
            .expect(lookAtLog(0x12, 1024).answers(DriveBytes(1024).byte(fid * 4, 2)));
        EXPECT_NE(check(without, fid).find("does not offer feature"), std::string::npos);
    }
}

TEST(Offers, AFeatureOfWhichNothingIsSaidIsNotAnnounced) {
    const auto isAnnounced = [](FakeDrive& fake, uint8_t fid) {
        nvme::Drive drive(*fake.device());
        const auto announced = isFeatureAnnounced(drive, *nvme::findFeature(fid));
        EXPECT_TRUE(announced);
        return announced.value_or(false);
    };
    FakeDrive everywhere, unknown, listed, refused;
    EXPECT_TRUE(isAnnounced(everywhere, 0x02)) << "all controllers have it";
    unknown.expect(withoutList());
    EXPECT_FALSE(isAnnounced(unknown, 0x03));
    listed.expect(withList())
        .expect(logList(0x12))
        .expect(lookAtLog(0x12, 1024).answers(DriveBytes(1024).byte(0x03 * 4, 1)));
    EXPECT_TRUE(isAnnounced(listed, 0x03));
    refused.expect(withList()).expect(logList(0x12)).expect(lookAtLog(0x12, 1024).refuses(NO_SUCH_LOG));
    EXPECT_FALSE(isAnnounced(refused, 0x03)) << "the log is listed, and refused";
}

/// "Not offered" would be an answer; that the drive did not give one is an error.
TEST(Offers, AnUnpluggedDriveIsNotOneThatOffersNothing) {
    constexpr char UNPLUGGED[] = "0/70 The drive /dev/nvme0 is gone.";
    const auto requireLog = [](const FakeDrive& fake) {
        nvme::Drive drive(*fake.device());
        return statusText(requireLogOffered(drive, *nvme::findLogPage(0x06)));
    };
    const auto requireFeature = [](uint8_t fid) {
        return [fid](const FakeDrive& fake) {
            nvme::Drive drive(*fake.device());
            return statusText(
                requireFeatureOffered(drive, *nvme::findFeature(fid), statuses::driveDoesNotSupportFeature()));
        };
    };
    const auto announced = [](const FakeDrive& fake) {
        nvme::Drive drive(*fake.device());
        return statusText(isFeatureAnnounced(drive, *nvme::findFeature(0x81)));
    };
    expectUnplugged<FakeDrive>({withList(), logList(0x06)}, UNPLUGGED, requireLog);
    expectUnplugged<FakeDrive>({identify(0x01)}, UNPLUGGED, requireFeature(0x0C));
    const Script ofLog12h{withList(), logList(0x12), lookAtLog(0x12, 1024)};
    expectUnplugged<FakeDrive>(ofLog12h, UNPLUGGED, requireFeature(0x03));
    expectUnplugged<FakeDrive>(ofLog12h, UNPLUGGED, announced);
}

TEST(Offers, ALogPageThatIsNotOfferedIsNamed) {
    FakeDrive fake;
    fake.expect(withoutList());
    nvme::Drive drive(*fake.device());
    EXPECT_EQ(statusText(requireLogOffered(drive, *nvme::findLogPage(0x06))),
              "10/3 The selected drive does not support this feature. Drive S1 (/dev/nvme0) does not offer log page "
              "0x06 (Device Self-test).");
}

}  // namespace
}  // namespace features::jobs
