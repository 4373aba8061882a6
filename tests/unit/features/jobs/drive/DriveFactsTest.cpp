#include <gtest/gtest.h>

#include "features/jobs/drive/DriveFacts.h"
#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;

class DriveFactsTest : public testing::Test {
protected:
    FakeDrive fake_;
    nvme::Drive drive_{*fake_.device()};
    DriveFacts facts_{drive_};
};

TEST_F(DriveFactsTest, NothingIsAskedBeforeItIsNeeded) {
    EXPECT_TRUE(succeeded(facts_.failure()));
    EXPECT_EQ(&facts_.drive(), &drive_);
}

TEST_F(DriveFactsTest, EachPartIsAskedForOnce) {
    fake_.expect(identify(0x01).answers(identifyController().le16(78, 5).byte(261, 0x24)))
        .expect(hostNamespaces({unusedNamespace(4)}))
        .expect(identify(0x00, 4).answers(identifyNamespace(77)))
        .expect(lookAtLog(0x02, 512).answers(smartLog()))
        .expect(lookAtLog(0x03, 512).answers(DriveBytes(512).byte(0, 0x21)))
        .expect(logList(0xC0))
        .expect(lookAtLog(0xC0, 512).answers(DriveBytes(512).put(
            496, {0xC5, 0xAF, 0x10, 0x28, 0xEA, 0xBF, 0xF2, 0xA4, 0x9C, 0x4F, 0x6F, 0x7C, 0xC9, 0x14, 0xD5, 0xAF})));
    for (int i = 0; i < 2; ++i) {
        ASSERT_NE(facts_.identifyController(), nullptr);
        EXPECT_EQ(facts_.identifyController()[78], 5);
        EXPECT_EQ(facts_.controller()->cntlid, 5);
        EXPECT_EQ(facts_.hostNamespaces()->size(), 1U);
        EXPECT_EQ(facts_.hostNamespace()->nsid, 4U);
        EXPECT_EQ(facts_.identifyNamespace()[0], 77);
        EXPECT_EQ(facts_.namespaceProperties()->sizeBlocks, 77U);
        EXPECT_EQ(facts_.smart()[3], 100);
        EXPECT_EQ(facts_.firmwareSlots()[0], 0x21);
        ASSERT_NE(facts_.ocpSmart(), nullptr);
        EXPECT_EQ(facts_.ocpSmart()[511], 0xAF);
    }
    EXPECT_TRUE(succeeded(facts_.failure()));
}

TEST_F(DriveFactsTest, WhatTheDriveRefusesIsMissingAndNotAskedAgain) {
    fake_.expect(lookAtLog(0x02, 512).refuses(0x4002))
        .expect(lookAtLog(0x03, 512).refuses(NO_SUCH_LOG))
        .expect(withList())
        .expect(logList(0xC0))
        .expect(lookAtLog(0xC0, 512).refuses(NO_SUCH_LOG))
        .expect(hostNamespaces({unusedNamespace(1)}))
        .expect(identify(0x00, 1).refuses(0x400B));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(facts_.smart(), nullptr);
        EXPECT_EQ(facts_.firmwareSlots(), nullptr);
        EXPECT_EQ(facts_.ocpSmart(), nullptr);
        EXPECT_EQ(facts_.identifyNamespace(), nullptr);
        EXPECT_EQ(facts_.namespaceProperties(), nullptr);
    }
    EXPECT_TRUE(succeeded(facts_.failure()));
}

TEST_F(DriveFactsTest, AnotherMakersPageIsNoOcpPage) {
    fake_.expect(withList()).expect(logList(0xC0)).expect(lookAtLog(0xC0, 512).answers(DriveBytes(512)));
    EXPECT_EQ(facts_.ocpSmart(), nullptr);
    EXPECT_EQ(facts_.ocpSmart(), nullptr);
    EXPECT_TRUE(succeeded(facts_.failure()));
}

TEST_F(DriveFactsTest, AfterATransportErrorNothingMoreIsAsked) {
    fake_.expect(lookAtLog(0x02, 512).breaks(gone()));
    EXPECT_EQ(facts_.smart(), nullptr);
    EXPECT_TRUE(facts_.failure().is(0, 70));
    EXPECT_EQ(facts_.failure().getMessage(), "The drive /dev/nvme0 is gone.");
    EXPECT_EQ(facts_.identifyController(), nullptr);
    EXPECT_EQ(facts_.controller(), nullptr);
    EXPECT_EQ(facts_.hostNamespaces(), nullptr);
    EXPECT_EQ(facts_.hostNamespace(), nullptr);
    EXPECT_EQ(facts_.identifyNamespace(), nullptr);
    EXPECT_EQ(facts_.firmwareSlots(), nullptr);
    EXPECT_EQ(facts_.ocpSmart(), nullptr);
}

TEST_F(DriveFactsTest, WhatIsKnownBeforeTheFailureStaysKnown) {
    fake_.expect(lookAtLog(0x02, 512).answers(smartLog()))
        .expect(Expected::host(transport::HostRequest::NAMESPACES).breaks(gone()));
    EXPECT_NE(facts_.smart(), nullptr);
    EXPECT_EQ(facts_.hostNamespaces(), nullptr);
    EXPECT_TRUE(facts_.failure().is(0, 70));
    EXPECT_NE(facts_.smart(), nullptr);
}

TEST_F(DriveFactsTest, TheNamespaceOfThePathGoesBeforeTheFirst) {
    nameNamespace(fake_, 9);
    fake_.expect(hostNamespaces({unusedNamespace(1), unusedNamespace(9)}))
        .expect(identify(0x00, 9).answers(identifyNamespace(5)));
    EXPECT_EQ(facts_.hostNamespace()->nsid, 9U);
    EXPECT_EQ(facts_.namespaceProperties()->sizeBlocks, 5U);
}

TEST_F(DriveFactsTest, ANamedNamespaceThatIsNotThereIsNone) {
    nameNamespace(fake_, 2);
    fake_.expect(hostNamespaces({unusedNamespace(1)}));
    EXPECT_EQ(facts_.hostNamespace(), nullptr);
    EXPECT_EQ(facts_.identifyNamespace(), nullptr);
    EXPECT_TRUE(succeeded(facts_.failure()));
}

TEST_F(DriveFactsTest, AControllerWithoutNamespaces) {
    fake_.expect(hostNamespaces({}));
    EXPECT_EQ(facts_.hostNamespaces()->size(), 0U);
    EXPECT_EQ(facts_.hostNamespace(), nullptr);
    EXPECT_EQ(facts_.namespaceProperties(), nullptr);
    EXPECT_TRUE(succeeded(facts_.failure()));
}

}  // namespace
}  // namespace features::jobs
