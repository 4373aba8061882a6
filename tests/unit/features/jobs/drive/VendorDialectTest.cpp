#include <gtest/gtest.h>

#include <cerrno>

#include "features/jobs/drive/VendorDialect.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"

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
    bool ocp;
    uint8_t fid;
    bool asks;
    Dialect dialect;
    const char* why;
} FEATURES[] = {
    {"OTHER", false, 0x08, false, Dialect::NONE, "the standard's"},
    {"OTHER", false, 0xBF, false, Dialect::NONE, "the standard's last"},
    {"OTHER", false, 0xC0, true, Dialect::NONE, "of a maker that is not known"},
    {"OTHER", true, 0xC0, true, Dialect::OCP, "OCP's first"},
    {"OTHER", true, 0xC7, true, Dialect::OCP, "OCP's last"},
    {"OTHER", true, 0xC8, false, Dialect::NONE, "after OCP's"},
    {"VELKO X", false, 0x08, false, Dialect::NONE, "the standard's on the maker's drive too"},
    {"VELKO X", false, 0xC0, true, Dialect::VELKO, "the maker's first"},
    {"VELKO X", false, 0xC6, true, Dialect::VELKO, "the Power Governor"},
    {"VELKO X", true, 0xC0, true, Dialect::OCP, "OCP goes before the maker"},
    {"VELKO X", true, 0xC6, true, Dialect::OCP, "OCP goes before the maker"},
    {"VELKO X", true, 0xC8, false, Dialect::VELKO, "after OCP's it is the maker's"},
    {"VELKO X", false, 0xFF, false, Dialect::VELKO, "the maker's last"},
};

TEST(VendorDialect, ATableDecidesWhoseFeatureItIs) {
    for (const auto& c : FEATURES) {
        SCOPED_TRACE(c.why);
        FakeDrive fake;
        nameModel(fake, c.model);
        if (c.asks) fake.expect(withoutList());
        if (c.asks && c.ocp) fake.expect(ocpLog().answers(ocpSmart()));
        if (c.asks && !c.ocp) fake.expect(ocpLog().refuses(0x4109));
        nvme::Drive drive(*fake.device());
        const auto dialect = dialectOfFeature(drive, c.fid, OcpGrounds::NAMED);
        ASSERT_TRUE(dialect);
        EXPECT_EQ(*dialect, c.dialect);
    }
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
    const auto dialect = dialectOfFeature(drive, 0xC6, OcpGrounds::OFFERED);
    ASSERT_TRUE(dialect);
    EXPECT_EQ(*dialect, Dialect::VELKO);
}

TEST(VendorDialect, AListWithoutLogC0hIsBelievedByAWriterToo) {
    FakeDrive fake;
    nameModel(fake, "VELKO X").expect(withList()).expect(logList(0xD0));
    nvme::Drive drive(*fake.device());
    const auto dialect = dialectOfFeature(drive, 0xC6, OcpGrounds::NAMED);
    ASSERT_TRUE(dialect);
    EXPECT_EQ(*dialect, Dialect::VELKO);
}

TEST(VendorDialect, ARefusalOfAnotherCommandDoesNotAnswerForLogC0h) {
    FakeDrive fake;
    nameModel(fake, "VELKO X").expect(identify(0x01).refuses(0x4002));
    nvme::Drive drive(*fake.device());
    EXPECT_EQ(
        statusOf(dialectOfFeature(drive, 0xC1, OcpGrounds::NAMED)).toString(),
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
        statusOf(dialectOfFeature(drive, 0xC1, OcpGrounds::NAMED)).toString(),
        "Category: 0\nCode: 25\nMessage: Get Log Page failed on drive S1 (/dev/nvme0): Internal Error (status code "
        "type 0x0, status code 0x06, opcode 0x02).");
    EXPECT_EQ(requireOcp(drive).toString(), "Category: 0\nCode: 70\nMessage: gone");
}

}  // namespace
}  // namespace features::jobs
