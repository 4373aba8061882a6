#include <gtest/gtest.h>

#include <cerrno>

#include "features/jobs/drive/VendorDialect.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "tests/support/StatusText.h"
#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;

TEST(VendorDialect, TheMakersDrivesAreKnownByTheirModelNumber) {
    for (const char* model : {"VELKO", "VELKO SSD X1 (simulated)"}) {
        FakeDrive fake;
        nameModel(fake, model);
        nvme::Drive drive(*fake.device());
        EXPECT_TRUE(isVelkoDrive(drive)) << model;
    }
    for (const char* model : {"", "VELK", "Velko X1", " VELKO", "OTHER VELKO"}) {
        FakeDrive fake;
        nameModel(fake, model);
        nvme::Drive drive(*fake.device());
        EXPECT_FALSE(isVelkoDrive(drive)) << model;
    }
}

constexpr struct {
    const char* model;
    uint8_t ocp;  // version of log page C0h; 0: there is none
    uint8_t fid;
    bool asks;
    Dialect dialect;
    const char* why;
} FEATURES[] = {
    {"OTHER", 0, 0x08, false, Dialect::NONE, "the standard's"},
    {"OTHER", 0, 0xBF, false, Dialect::NONE, "the standard's last"},
    {"OTHER", 0, 0xC0, true, Dialect::NONE, "of a maker that is not known"},
    {"OTHER", 3, 0xC0, true, Dialect::OCP, "OCP's first"},
    {"OTHER", 3, 0xC7, true, Dialect::OCP, "the last of OCP 2.0"},
    {"OTHER", 2, 0xC4, true, Dialect::OCP, "the last of OCP 1.0"},
    {"OTHER", 2, 0xC5, true, Dialect::NONE, "after those of OCP 1.0"},
    {"OTHER", 3, 0xC8, true, Dialect::NONE, "after those of OCP 2.0"},
    {"OTHER", 4, 0xC8, true, Dialect::OCP, "of OCP 2.5"},
    {"OTHER", 4, 0xC1, true, Dialect::OCP, "obsolete in OCP 2.5, and still OCP's"},
    {"OTHER", 4, 0xCA, true, Dialect::NONE, "after those of OCP 2.5"},
    {"OTHER", 5, 0xCA, true, Dialect::OCP, "of a later one"},
    {"VELKO X", 0, 0x08, false, Dialect::NONE, "the standard's on the maker's drive too"},
    {"VELKO X", 0, 0xC0, true, Dialect::VELKO, "the maker's first"},
    {"VELKO X", 0, 0xC6, true, Dialect::VELKO, "the Power Governor"},
    {"VELKO X", 0, 0xC8, true, Dialect::VELKO, "the SMBus Address"},
    {"VELKO X", 3, 0xC0, true, Dialect::OCP, "OCP goes before the maker"},
    {"VELKO X", 3, 0xC6, true, Dialect::OCP, "OCP goes before the maker"},
    {"VELKO X", 3, 0xC8, true, Dialect::VELKO, "after OCP's it is the maker's"},
    {"VELKO X", 4, 0xC8, true, Dialect::OCP, "with OCP 2.5 it is OCP's"},
    {"VELKO X", 0, 0xFF, false, Dialect::VELKO, "the maker's last"},
};

TEST(VendorDialect, ATableDecidesWhoseFeatureItIs) {
    for (const auto& c : FEATURES) {
        SCOPED_TRACE(c.why);
        FakeDrive fake;
        nameModel(fake, c.model);
        if (c.fid >= 0xC0) fake.expect(withoutList());
        if (c.asks && c.ocp != 0) fake.expect(ocpLog().answers(ocpSmart(c.ocp)));
        if (c.asks && c.ocp == 0) fake.expect(ocpLog().refuses(0x4109));
        nvme::Drive drive(*fake.device());
        const auto address = addressOfFeature(drive, c.fid, OcpGrounds::NAMED);
        ASSERT_TRUE(address);
        EXPECT_EQ(address->dialect, c.dialect);
        EXPECT_EQ(address->uuidIndex, 0) << "there is no UUID List";
    }
}

TEST(VendorDialect, TheUuidListAddressesBothsFeatures) {
    FakeDrive fake;
    nameModel(fake, "VELKO X");
    fake.expect(withUuids()).expect(identify(0x17).answers(makerAndOcpUuids()));
    for (int i = 0; i < 3; ++i) fake.expect(ocpLog(2).answers(ocpSmart(4)));
    nvme::Drive drive(*fake.device());
    const auto ocps = addressOfFeature(drive, 0xC8, OcpGrounds::OFFERED);
    ASSERT_TRUE(ocps);
    EXPECT_EQ(ocps->dialect, Dialect::OCP);
    const nvme::FeatureRequest request = ocps->request(0xC8);
    EXPECT_EQ(request.fid, 0xC8);
    EXPECT_EQ(request.uuidIndex, 2);
    EXPECT_EQ(request.nsid, 0xFFFFFFFF);
    const auto named = requireOcpFeature(drive, 0xC9);
    ASSERT_TRUE(named);
    EXPECT_EQ(named->uuidIndex, 2);
    EXPECT_EQ(named->nsid, 0U);
    const auto makers = requireVelkoFeature(drive, 0xC8, OcpGrounds::NAMED, Status(10, 3, "missing"));
    ASSERT_TRUE(makers);
    EXPECT_EQ(makers->dialect, Dialect::VELKO);
    EXPECT_EQ(makers->uuidIndex, 1);
    EXPECT_EQ(makers->nsid, 0U);
    const auto own = addressOfFeature(drive, 0xD9, OcpGrounds::NAMED);
    ASSERT_TRUE(own);
    EXPECT_EQ(own->uuidIndex, 1) << "one that OCP does not have";
    const auto standard = addressOfFeature(drive, 0x08, OcpGrounds::NAMED);
    ASSERT_TRUE(standard);
    EXPECT_EQ(standard->uuidIndex, 0);
}

TEST(VendorDialect, TheMakersFeatureIsRefusedWhereOcpsHasItsNumberAndTheListDoesNotHaveTheMaker) {
    for (const bool hasList : {false, true}) {
        FakeDrive fake;
        nameModel(fake, "VELKO X");
        fake.expect(hasList ? withUuids() : withoutList());
        if (hasList) fake.expect(identify(0x17).answers(ocpUuid()));
        fake.expect(ocpLog(hasList ? 2 : 0).answers(ocpSmart()));
        nvme::Drive drive(*fake.device());
        const auto address = requireVelkoFeature(drive, 0xC1, OcpGrounds::NAMED, Status(10, 3, "Missing."));
        EXPECT_EQ(statusOf(address).toString(),
                  "Category: 10\nCode: 3\nMessage: Missing. On drive S1 (/dev/nvme0) feature 0xC1 (Clear Firmware "
                  "Update History) is OCP's, and no entry of its UUID List is the maker's, by which the maker's own "
                  "feature of that number could be addressed.");
    }
}

TEST(VendorDialect, AFeatureOfALaterOcpVersionIsRefused) {
    FakeDrive fake;
    fake.expect(withoutList()).expect(ocpLog().answers(ocpSmart(2)));
    nvme::Drive drive(*fake.device());
    EXPECT_EQ(statusOf(requireOcpFeature(drive, 0xC7)).toString(),
              "Category: 10\nCode: 3\nMessage: The selected drive does not support this feature. The version of the "
              "OCP specification that drive S1 (/dev/nvme0) follows does not have feature 0xC7 (DSSD Power State).");
}

TEST(VendorDialect, AnotherMakersLogAtC0hIsNotOcps) {
    FakeDrive fake;
    fake.expect(withoutList()).expect(ocpLog().answers(ocpSmart().byte(511, 0xAE))).expect(ocpLog().refuses(0x4002));
    nvme::Drive drive(*fake.device());
    EXPECT_EQ(
        requireOcp(drive).toString(),
        "Category: 10\nCode: 254\nMessage: Open Compute Project NVMe Cloud SSD Specification not supported on this "
        "drive.");
    EXPECT_TRUE(requireOcp(drive).is(10, 254)) << "the log is an invalid field to older drives";
}

TEST(VendorDialect, ADriveThatDoesNotOfferLogC0hIsNotAskedForItByAReader) {
    FakeDrive fake;
    nameModel(fake, "VELKO X").expect(withoutList());
    nvme::Drive drive(*fake.device());
    const auto address = addressOfFeature(drive, 0xC6, OcpGrounds::OFFERED);
    ASSERT_TRUE(address);
    EXPECT_EQ(address->dialect, Dialect::VELKO);
}

TEST(VendorDialect, AListWithoutLogC0hIsBelievedByAWriterToo) {
    FakeDrive fake;
    nameModel(fake, "VELKO X").expect(withList()).expect(logList(0xD0));
    nvme::Drive drive(*fake.device());
    const auto address = addressOfFeature(drive, 0xC6, OcpGrounds::NAMED);
    ASSERT_TRUE(address);
    EXPECT_EQ(address->dialect, Dialect::VELKO);
}

TEST(VendorDialect, ARefusalOfAnotherCommandDoesNotAnswerForLogC0h) {
    FakeDrive fake;
    nameModel(fake, "VELKO X").expect(identify(0x01).refuses(0x4002));
    nvme::Drive drive(*fake.device());
    EXPECT_EQ(
        statusOf(addressOfFeature(drive, 0xC1, OcpGrounds::NAMED)).toString(),
        "Category: 0\nCode: 25\nMessage: Identify failed on drive S1 (/dev/nvme0): Invalid Field in Command (status "
        "code type 0x0, status code 0x02, opcode 0x06).");
}

TEST(VendorDialect, WhatCannotBeDeterminedIsNotGuessed) {
    FakeDrive fake;
    nameModel(fake, "VELKO X");
    fake.expect(withoutList())
        .expect(ocpLog().refuses(0x0006))
        .expect(ocpLog().breaks(Status(CATEGORY_CORE, 70, "gone")));
    nvme::Drive drive(*fake.device());
    EXPECT_EQ(
        statusOf(addressOfFeature(drive, 0xC1, OcpGrounds::NAMED)).toString(),
        "Category: 0\nCode: 25\nMessage: Get Log Page failed on drive S1 (/dev/nvme0): Internal Error (status code "
        "type 0x0, status code 0x06, opcode 0x02).");
    EXPECT_EQ(requireOcp(drive).toString(), "Category: 0\nCode: 70\nMessage: gone");
}

/// Whose feature it is decides what a set does: a guess may be wrong.
TEST(VendorDialect, OfAnUnpluggedDriveItIsNotKnownWhoseAFeatureIs) {
    constexpr char UNPLUGGED[] = "0/70 The drive /dev/nvme0 is gone.";
    const Script script{withUuids(), identify(0x17).answers(makerAndOcpUuids()), ocpLog(2).answers(ocpSmart())};
    expectUnplugged<FakeDrive>(script, UNPLUGGED, [](FakeDrive& fake) {
        nvme::Drive drive(*velko(fake).device());
        return statusText(addressOfFeature(drive, 0xC1, OcpGrounds::NAMED));
    });
    expectUnplugged<FakeDrive>(script, UNPLUGGED, [](FakeDrive& fake) {
        nvme::Drive drive(*velko(fake).device());
        return statusText(requireVelkoFeature(drive, 0xC1, OcpGrounds::NAMED, statuses::maxAddressNotSupported()));
    });
    expectUnplugged<FakeDrive>({script[0], script[1]}, UNPLUGGED, [](FakeDrive& fake) {
        nvme::Drive drive(*velko(fake).device());
        return statusText(requireVelkoFeature(drive, 0xD9, OcpGrounds::NAMED, statuses::maxAddressNotSupported()));
    });
    expectUnplugged<FakeDrive>(script, UNPLUGGED, [](FakeDrive& fake) {
        nvme::Drive drive(*fake.device());
        return statusText(requireOcpFeature(drive, 0xC1));
    });
    expectUnplugged<FakeDrive>(script, UNPLUGGED, [](FakeDrive& fake) {
        nvme::Drive drive(*fake.device());
        return statusText(requireOcp(drive));
    });
}

}  // namespace
}  // namespace features::jobs
