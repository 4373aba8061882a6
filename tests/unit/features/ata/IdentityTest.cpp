#include <gtest/gtest.h>

#include "features/ata/Identity.h"
#include "tests/support/fakedrive/DriveBytes.h"
#include "tests/unit/features/nvme/TreeText.h"

namespace features::ata {
namespace {

using fakedrive::DriveBytes;
using fakedrive::identifyDevice;

Identity of(const DriveBytes& bytes) {
    return Identity(bytes.bytes().data());
}

TEST(AtaIdentity, ReadsTextsWithTheCharactersOfAWordSwapped) {
    // "S1" is stored as 31h 53h.
    EXPECT_EQ(identifyDevice().bytes()[20], '1');
    EXPECT_EQ(identifyDevice().bytes()[21], 'S');
    const Identity identity = of(identifyDevice().ataText(20, "  SN 12", 20));
    EXPECT_EQ(identity.serialNumber(), "SN 12") << "blanks on the left, too";
    EXPECT_EQ(identity.model(), "FAKE DRIVE");
    EXPECT_EQ(identity.firmware(), "FW1");
    EXPECT_EQ(of(identifyDevice().put(20, {0x1B, 'A'})).serialNumber(), "A?") << "no control code reaches a terminal";
}

TEST(AtaIdentity, DistinguishesAtaDrivesFromOthers) {
    EXPECT_TRUE(of(identifyDevice()).isAta());
    EXPECT_FALSE(of(identifyDevice().word(0, 0x8580)).isAta()) << "ATAPI";
    EXPECT_FALSE(of(identifyDevice().word(0, 0x848A)).isAta()) << "CFA";
}

TEST(AtaIdentity, DistinguishesSolidStateFromRotating) {
    constexpr struct {
        uint16_t rate;
        bool isSolidState;
        bool isRotating;
    } CASES[] = {{0x0000, false, false}, {0x0001, true, false}, {0x0400, false, false}, {0x0401, false, true},
                 {7200, false, true},    {0xFFFE, false, true}, {0xFFFF, false, false}};
    for (const auto& row : CASES) {
        const Identity identity = of(identifyDevice().word(217, row.rate));
        EXPECT_EQ(identity.isSolidState(), row.isSolidState) << row.rate;
        EXPECT_EQ(identity.isRotating(), row.isRotating) << row.rate;
    }
}

TEST(AtaIdentity, TakesABitOfAWordThatCountsAlone) {
    EXPECT_TRUE(of(identifyDevice()).has(identify::SMART_ENABLED));
    EXPECT_FALSE(of(identifyDevice().word(87, 0)).has(identify::SMART_ENABLED)) << "word 87 does not vouch for it";
    EXPECT_FALSE(of(identifyDevice().word(83, 0xC400)).has(identify::ADDRESS_48_BIT)) << "bits 15:14 are 11b";
    EXPECT_FALSE(of(identifyDevice().word(83, 0x0400)).has(identify::ADDRESS_48_BIT)) << "bits 15:14 are 00b";
    EXPECT_FALSE(of(identifyDevice().word(169, 0xFFFF)).has(identify::TRIM));
    EXPECT_FALSE(of(identifyDevice().word(59, 0xFFFF)).has(identify::SANITIZE_BLOCK));

    DriveBytes bytes = identifyDevice().word(119, 0x4110).word(120, 0x4000);
    EXPECT_FALSE(of(bytes).has(identify::ACCESSIBLE_MAX_ADDRESS)) << "word 86 bit 15 is clear";
    EXPECT_TRUE(of(bytes.word(86, 0x8400)).has(identify::ACCESSIBLE_MAX_ADDRESS));
    EXPECT_TRUE(of(bytes).has(identify::DOWNLOAD_IN_PIECES));

    bytes = identifyDevice().word(78, 0x0008);
    EXPECT_TRUE(of(bytes).has(identify::DIPM_SUPPORTED));
    EXPECT_FALSE(of(bytes.word(76, 0)).has(identify::DIPM_SUPPORTED)) << "not a SATA drive";
}

TEST(AtaIdentity, CountsSectorsByTheWidestNumberThatIsThere) {
    EXPECT_EQ(of(identifyDevice().le64(200, 0x123456789A)).sectors(), 0x123456789AU);
    EXPECT_EQ(of(identifyDevice().word(83, 0x4000).le32(120, 0x0FFFFFFF)).sectors(), 0x0FFFFFFFU) << "28 bits";
    EXPECT_EQ(of(identifyDevice().word(69, 0x0008).le64(460, 3000000)).sectors(), 3000000U) << "words 230 to 233";
}

TEST(AtaIdentity, KnowsTheSizesOfSectors) {
    EXPECT_EQ(of(identifyDevice()).logicalSectorBytes(), 512U);
    EXPECT_EQ(of(identifyDevice()).physicalSectorBytes(), 4096U);
    const DriveBytes large = identifyDevice().word(106, 0x5000).le32(234, 2048);
    EXPECT_EQ(of(large).logicalSectorBytes(), 4096U);
    EXPECT_EQ(of(large).physicalSectorBytes(), 4096U);
    EXPECT_EQ(of(identifyDevice().word(106, 0).le32(234, 2048)).logicalSectorBytes(), 512U) << "word 106 not valid";
    EXPECT_EQ(of(identifyDevice().word(106, 0x5000).le32(234, 0xFFFFFFFF)).logicalSectorBytes(), 512U) << "no size";
    EXPECT_EQ(of(identifyDevice().word(106, 0x5000)).logicalSectorBytes(), 512U) << "0 is no size";
}

TEST(AtaIdentity, ReadsBothFormsOfTheTimeToErase) {
    constexpr struct {
        uint16_t word;
        bool isReported;
        uint32_t minutes;
        bool isMore;
    } CASES[] = {
        {0x0000, false, 0, false}, {0x0001, true, 2, false},     {0x00FE, true, 508, false}, {0x00FF, true, 508, true},
        {0x8003, true, 6, false},  {0xFFFE, true, 65532, false}, {0x8000, false, 0, false},  {0xFFFF, false, 0, false},
    };
    for (const auto& row : CASES) {
        const auto time = of(identifyDevice().word(89, row.word)).eraseTime();
        ASSERT_EQ(time.has_value(), row.isReported) << row.word;
        if (!time) continue;
        EXPECT_EQ(time->minutes, row.minutes) << row.word;
        EXPECT_EQ(time->isMore, row.isMore) << row.word;
    }
    EXPECT_EQ(of(identifyDevice().word(90, 5)).enhancedEraseTime()->minutes, 10U);
}

TEST(AtaIdentity, KnowsTheSmallThings) {
    const Identity identity = of(identifyDevice());
    EXPECT_EQ(identity.worldWideName(), 0x5000C50012345678U);
    EXPECT_FALSE(of(identifyDevice().word(87, 0x4020)).worldWideName());
    EXPECT_EQ(identity.negotiatedSpeed(), "6.0 Gb/s");
    EXPECT_EQ(of(identifyDevice().word(77, 0x000E)).negotiatedSpeed(), "");
    EXPECT_EQ(identity.formFactor(), "2.5 inch");
    EXPECT_EQ(of(identifyDevice().word(168, 0)).formFactor(), "");
    EXPECT_EQ(identity.maxTrimBlocks(), 8);
    EXPECT_EQ(of(identifyDevice().word(105, 0)).maxTrimBlocks(), 1) << "not reported";
}

TEST(AtaIdentity, ChecksTheSumWhereThereIsOne) {
    DriveBytes bytes = identifyDevice();
    EXPECT_TRUE(of(bytes.byte(511, 0x12)).isChecksumGood()) << "without the signature there is none";
    bytes.byte(510, 0xA5).byte(511, 0);
    unsigned sum = 0;
    for (const uint8_t byte : bytes.bytes()) sum += byte;
    EXPECT_TRUE(of(bytes.byte(511, static_cast<uint8_t>(0x100 - sum % 0x100))).isChecksumGood());
    EXPECT_FALSE(of(bytes.word(1, 1)).isChecksumGood());
}

TEST(AtaIdentity, IsShownWordByWord) {
    // What the words below set, by hand; most of the others are not reported.
    const DriveBytes bytes = DriveBytes(512)
                                 .word(0, 0x0040)
                                 .ataText(20, "S1", 20)
                                 .ataText(46, "FW1", 8)
                                 .ataText(54, "FAKE DRIVE", 40)
                                 .word(59, 0xB000)
                                 .le32(120, 2000000)
                                 .word(82, 0x0003)
                                 .word(83, 0x4000)
                                 .word(87, 0x4100)
                                 .word(108, 0x5000)
                                 .word(109, 0xC500)
                                 .word(110, 0x1234)
                                 .word(111, 0x5678)
                                 .word(128, 0x0129)
                                 .word(140, 0xBEEF)
                                 .word(217, 7200);
    const std::string text = nvme::treeText(decodeIdentifyDevice(bytes.payload()));
    const auto expectLine = [&](const std::string& line) {
        EXPECT_NE(text.find("\n" + line + "\n"), std::string::npos) << line << " is not in:\n" << text;
    };
    EXPECT_EQ(text.find("[Identify Device]\nW0 - General configuration: 0x0040\nW0.15 - ATAPI device: False\n"), 0U);
    expectLine("W10-19 - Serial Number: S1");
    expectLine("W23-26 - Firmware Revision: FW1");
    expectLine("W27-46 - Model Number: FAKE DRIVE");
    expectLine("W48 - Trusted Computing: not reported");
    expectLine("W59 - Sanitize and multiple sectors: 0xB000");
    expectLine("W59.15 - BLOCK ERASE EXT supported: True");
    expectLine("W59.14 - OVERWRITE EXT supported: False");
    expectLine("W60-61 - Addressable sectors of 28-bit commands: 2000000");
    expectLine("W82.1 - Security feature set supported: True");
    expectLine("W84 - Commands and feature sets supported 3: not reported");
    expectLine("W85 - Commands and feature sets enabled: not reported");
    expectLine("W108-111 - World Wide Name: 5000C50012345678");
    expectLine("W128.8 - Security level: maximum");
    expectLine("W128.5 - Enhanced security erase supported: True");
    expectLine("W128.4 - Security count expired: False");
    expectLine("W128.3 - Security frozen: True");
    expectLine("W217 - Rotation rate: 7200 rpm");
    expectLine("W255 - Checksum: not reported");
    EXPECT_EQ(text.substr(text.find("    [Other Words]")), "    [Other Words]\n    W140: 0xBEEF\n");
}

}  // namespace
}  // namespace features::ata
