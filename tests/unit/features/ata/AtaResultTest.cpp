#include <gtest/gtest.h>

#include <sstream>

#include "features/ata/AtaResult.h"
#include "ostrel/core/xml/XmlObject.h"
#include "tests/support/StatusText.h"

namespace features::ata {
namespace {

Registers ended(uint8_t status, uint8_t error = 0) {
    Registers registers;
    registers.status = status;
    registers.error = error;
    return registers;
}

TEST(AtaResult, FailsByErrorOrDeviceFaultAlone) {
    constexpr struct {
        uint8_t status;
        bool succeeded;
        const char* why;
    } CASES[] = {
        {0x50, true, "ready"},
        {0x58, true, "DRQ, which a transport left set, is no error"},
        {0x52, true, "sense data available"},
        {0x51, false, "ERR"},
        {0x70, false, "DF"},
    };
    for (const auto& row : CASES) EXPECT_EQ(AtaResult(ended(row.status)).succeeded, row.succeeded) << row.why;
}

TEST(AtaResult, NamesWhatTheDriveReports) {
    EXPECT_EQ(AtaResult(ended(0x50)).meaning(), "success");
    EXPECT_EQ(AtaResult(ended(0x51, 0x04)).meaning(), "command aborted");
    EXPECT_EQ(AtaResult(ended(0x51, 0x44)).meaning(), "uncorrectable data");
    EXPECT_EQ(AtaResult(ended(0x51, 0x10)).meaning(), "address not found");
    EXPECT_EQ(AtaResult(ended(0x51, 0x84)).meaning(), "interface CRC error");
    EXPECT_EQ(AtaResult(ended(0x71, 0x04)).meaning(), "device fault");
    EXPECT_EQ(AtaResult(ended(0x51, 0x01)).meaning(), "error");
}

TEST(AtaResult, HasAStatusForEachWayToLoseRegisters) {
    constexpr struct {
        RegistersMissing missing;
        uint32_t code;
    } CASES[] = {
        {RegistersMissing::NOT_ASKED, 18},     {RegistersMissing::NO_SENSE, 17},
        {RegistersMissing::NO_DESCRIPTOR, 15}, {RegistersMissing::DESCRIPTOR_TOO_SHORT, 16},
        {RegistersMissing::UPPER_IN_LOG, 91},  {RegistersMissing::UPPER_LOST, 92},
        {RegistersMissing::UNTRUSTED, 15},
    };
    for (const auto& row : CASES) {
        AtaResult result;
        result.missing = row.missing;
        result.registers = ended(0x50);
        EXPECT_TRUE(result.missingStatus().is(0, row.code)) << statusText(result.missingStatus());
        EXPECT_EQ(result.whole(), nullptr) << row.code;
    }
    const AtaResult all(ended(0x50));
    EXPECT_TRUE(all.missingStatus().is(0, 0));
    ASSERT_NE(all.whole(), nullptr);
    EXPECT_EQ(all.whole()->status, 0x50);
}

TEST(AtaResult, WritesItselfForTheHistory) {
    Registers registers = ended(0x51, 0x04);
    registers.count = 0x8000;
    registers.lba = 0x2CF400;
    registers.device = 0x40;
    std::ostringstream out;
    AtaResult(registers).toString(out);
    EXPECT_EQ(out.str(),
              "Result: command aborted\nRegisters: all registers\nSTATUS: 0x51\nERROR: 0x04\nCOUNT: 0x8000\n"
              "LBA: 0x0000002CF400\nDEVICE: 0x40");

    AtaResult lost;
    lost.missing = RegistersMissing::NO_SENSE;
    std::string xml;
    lost.toXml()->appendXml(xml);
    EXPECT_EQ(xml,
              "<Object category=\"protocolResult\"><Property name=\"Result\" value=\"no registers: no sense data\"/>"
              "<Property name=\"Registers\" value=\"no registers: no sense data\"/></Object>");
}

}  // namespace
}  // namespace features::ata
