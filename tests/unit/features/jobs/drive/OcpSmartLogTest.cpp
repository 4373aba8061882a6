#include <gtest/gtest.h>

#include "features/jobs/drive/KnownLogPages.h"
#include "features/jobs/drive/OcpSmartLog.h"
#include "tests/support/StatusText.h"
#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/OcpLog.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;

class OcpSmart : public testing::Test {
protected:
    FakeDrive fake_;
    nvme::Drive drive_{*fake_.device()};

    bool reads(OcpGrounds grounds) {
        const auto log = readOcpSmartLog(drive_, grounds);
        EXPECT_EQ(statusText(log), statusText(Status()));
        return log && log->getSize() == 512;
    }
    bool isKnown() { return KnownLogPages().contains(drive_, 0xC0); }
};

TEST_F(OcpSmart, IsNotAskedOfADriveThatSaysNothingOfIt) {
    fake_.expect(withoutList());
    EXPECT_FALSE(reads(OcpGrounds::OFFERED));
}

TEST_F(OcpSmart, IsAskedWhereTheDriveListsIt) {
    fake_.expect(withList()).expect(logList(0xC0)).expect(ocpLog().answers(ocpSmart()));
    EXPECT_TRUE(reads(OcpGrounds::OFFERED));
    EXPECT_FALSE(isKnown()) << "the drive says so each time";
}

TEST_F(OcpSmart, IsAskedWhereTheUuidListHasOcps) {
    fake_.expect(identify(0x01).answers(identifyController().le32(96, 0x200)))
        .expect(identify(0x17).answers(ocpUuid()))
        .expect(ocpLog(2).answers(ocpSmart()));
    EXPECT_TRUE(reads(OcpGrounds::OFFERED));
    EXPECT_FALSE(isKnown());
}

TEST_F(OcpSmart, IsNotAskedWhereTheUuidListHasOthers) {
    fake_.expect(identify(0x01).answers(identifyController().le32(96, 0x200)))
        .expect(identify(0x17).answers(ocpUuid().byte(80, 0)));
    EXPECT_FALSE(reads(OcpGrounds::OFFERED));
}

TEST_F(OcpSmart, IsNotAskedAfterTheFirstEntryOfTheUuidListThatIsZero) {
    fake_.expect(identify(0x01).answers(identifyController().le32(96, 0x200)))
        .expect(identify(0x17).answers(ocpUuid().byte(48, 0)));
    EXPECT_FALSE(reads(OcpGrounds::OFFERED));
}

TEST_F(OcpSmart, IsFoundOnceWhenItIsNamed) {
    fake_.expect(withoutList()).expect(ocpLog().answers(ocpSmart()));
    EXPECT_TRUE(reads(OcpGrounds::NAMED));
    EXPECT_TRUE(isKnown());
    FakeDrive twin("S2", "/dev/nvme1");
    twin.expect(withoutList()).expect(ocpLog().answers(ocpSmart()));
    nvme::Drive drive(*twin.device());
    const auto log = readOcpSmartLog(drive, OcpGrounds::OFFERED);
    ASSERT_TRUE(log);
    EXPECT_EQ(log->getSize(), 512U);
}

TEST_F(OcpSmart, IsNotAskedWhereTheListLeavesItOut) {
    fake_.expect(withList()).expect(logList(0xD0));
    EXPECT_FALSE(reads(OcpGrounds::NAMED));
}

TEST_F(OcpSmart, AnotherMakersPageIsNotKeptAsFound) {
    fake_.expect(withoutList()).expect(ocpLog().answers(ocpSmart().byte(511, 0)));
    EXPECT_FALSE(reads(OcpGrounds::NAMED));
    EXPECT_FALSE(isKnown());
}

TEST_F(OcpSmart, APageThatIsMissingAfterAllIsNone) {
    fake_.expect(withoutList()).expect(ocpLog().refuses(NO_SUCH_LOG)).expect(ocpLog().refuses(0x4002));
    EXPECT_FALSE(reads(OcpGrounds::NAMED));
    EXPECT_FALSE(reads(OcpGrounds::NAMED)) << "the identifier is an invalid field to older drives";
}

TEST_F(OcpSmart, AnotherRefusalAndATransportErrorAreReturned) {
    fake_.expect(withoutList()).expect(ocpLog().refuses(0x0006)).expect(ocpLog().breaks(gone()));
    EXPECT_TRUE(statusOf(readOcpSmartLog(drive_, OcpGrounds::NAMED)).is(0, 25));
    EXPECT_TRUE(statusOf(readOcpSmartLog(drive_, OcpGrounds::NAMED)).is(0, 70));
    FakeDrive list;
    list.expect(withList()).expect(lookAtLog(0x00, 1024).breaks(gone()));
    nvme::Drive drive(*list.device());
    EXPECT_TRUE(statusOf(readOcpSmartLog(drive, OcpGrounds::OFFERED)).is(0, 70));
    FakeDrive uuids;
    uuids.expect(identify(0x01).answers(identifyController().le32(96, 0x200))).expect(identify(0x17).breaks(gone()));
    nvme::Drive other(*uuids.device());
    EXPECT_TRUE(statusOf(readOcpSmartLog(other, OcpGrounds::OFFERED)).is(0, 70));
}

TEST_F(OcpSmart, AUuidListThatIsRefusedHasNoUuid) {
    fake_.expect(identify(0x01).answers(identifyController().le32(96, 0x200))).expect(identify(0x17).refuses(0x4002));
    EXPECT_FALSE(reads(OcpGrounds::OFFERED));
}

TEST_F(OcpSmart, APageThatWasShownIsKnownWhereTheDriveDoesNotOfferIt) {
    const Payload page(ocpSmart().bytes().data(), 512);
    noteOcpSmartLog(drive_, Payload(ocpSmart().bytes().data(), 256));
    fake_.expect(withoutList());
    noteOcpSmartLog(drive_, page);
    EXPECT_TRUE(isKnown());
}

}  // namespace
}  // namespace features::jobs
