#include <gtest/gtest.h>

#include "features/nvme/VelkoFeatures.h"
#include "tests/unit/features/nvme/TreeText.h"

namespace features::nvme {
namespace {

using ostrel::core::Payload;

constexpr struct {
    uint8_t fid;
    uint32_t dword0;
    const char* shown;
} DWORDS[] = {
    {0xC1, 0x00000000, "[Maximum LBA]\n"},
    {0xC2, 0x00000000, "[Native Maximum LBA]\n"},
    {0xC6, 0x00120E01,
     "[Power Governor]\nPowerGovernorMode - Power Governor Mode: medium\n"
     "PowerGovernorAveragePower - Power Governor Average Power: 14 watts\n"
     "PowerGovernorBurstPower - Power Governor Burst Power: 18 watts\n"},
    {0xC6, 0xFF0000FF,
     "[Power Governor]\nPowerGovernorMode - Power Governor Mode: reserved (0x3)\n"
     "PowerGovernorAveragePower - Power Governor Average Power: 0 watts\n"
     "PowerGovernorBurstPower - Power Governor Burst Power: 0 watts\n"},
    {0xC8, 0x003AFFD4,
     "[SMBus Address]\nAddress 0 - NVMe-MI Basic Management: 0xD4\nAddress 1 - VPD EEPROM: disabled\n"
     "Address 2 - NVMe-MI over MCTP: 0x3A\n"},
    {0xC9, 0x01328842,
     "[LED Activity]\nIoOnMultiplier - I/O On Multiplier: 2\nIoOffMultiplier - I/O Off Multiplier: 4\n"
     "FormatOnMultiplier - Format On Multiplier: 8\nFormatOffMultiplier - Format Off Multiplier: 8\n"
     "DurationBase - Duration Base: 50 milliseconds\nIdleState - Idle State: on\n"},
    {0xC9, 0x001900F1,
     "[LED Activity]\nIoOnMultiplier - I/O On Multiplier: 1\nIoOffMultiplier - I/O Off Multiplier: 15\n"
     "FormatOnMultiplier - Format On Multiplier: 0\nFormatOffMultiplier - Format Off Multiplier: 0\n"
     "DurationBase - Duration Base: 25 milliseconds\nIdleState - Idle State: off\n"},
    {0xCB, 0x00000001, "[Dynamic MMIO]\nDynamicMMIOEnabled - Dynamic MMIO Enabled: True\n"},
    {0xD5, 0x0000000C, "[Reset CRC]\nCrcErrorCount - CRC Error Count since the last reset: 12\n"},
    {0xD5, 0xFFFFFFFF, "[Reset CRC]\nCrcErrorCount - CRC Error Count since the last reset: 4294967295 or more\n"},
    {0xD9, 0x00000001, "[Thermal Throttle Disable]\nDisableThermalThrottle - Disable Thermal Throttle: True\n"},
    {0xE2, 0x00000000, "[Latency Tracking]\nLatencyTrackingEnabled - Latency Tracking Enabled: False\n"},
    {0xE3, 0x00000003, "[Quick Format]\nCount - Quick formats that the drive has done: 3\n"},
};

TEST(VelkoFeatures, ShowDword0OfEachFeature) {
    const FeatureRow* row = velkoFeaturesBegin();
    for (const auto& c : DWORDS) {
        if (row->fid != c.fid) ++row;
        ASSERT_EQ(row->fid, c.fid) << "each feature of the table has its cases";
        EXPECT_EQ(findVelkoFeature(c.fid), row);
        EXPECT_EQ(findFeature(c.fid), nullptr) << "the maker's on the maker's drives alone";
        EXPECT_EQ(treeText(decodeFeature(*row, c.dword0, Payload())), c.shown);
    }
    EXPECT_EQ(++row, velkoFeaturesEnd());
    EXPECT_EQ(findVelkoFeature(0xC0), nullptr);
}

TEST(VelkoFeatures, TheBlocksComeAsData) {
    for (const FeatureRow* row = velkoFeaturesBegin(); row != velkoFeaturesEnd(); ++row) {
        EXPECT_EQ(row->dataLength, row->fid == 0xC1 || row->fid == 0xC2 ? 16U : 0U) << row->name;
        EXPECT_FALSE(row->namespaceSpecific) << row->name;
    }
}

TEST(VelkoFeatures, PutAFieldIntoItsBitsAlone) {
    constexpr struct {
        const char* key;
        uint8_t fid;
        uint32_t value;
        uint32_t ofZeros;
        uint32_t ofOnes;
    } FIELDS[] = {
        {"PowerGovernorMode", 0xC6, 2, 0x00000002, 0xFFFFFFFE},
        {"IoOnMultiplier", 0xC9, 5, 0x00000005, 0xFFFFFFF5},
        {"IoOffMultiplier", 0xC9, 4, 0x00000040, 0xFFFFFF4F},
        {"FormatOnMultiplier", 0xC9, 15, 0x00000F00, 0xFFFFFFFF},
        {"FormatOffMultiplier", 0xC9, 1, 0x00001000, 0xFFFF1FFF},
        {"DurationBase", 0xC9, 25, 0x00190000, 0xFF19FFFF},
        {"IdleState", 0xC9, 0, 0x00000000, 0xFEFFFFFF},
        {"LatencyTrackingEnabled", 0xE2, 1, 0x00000001, 0xFFFFFFFF},
    };
    for (const auto& c : FIELDS) {
        const FeatureField field = findVelkoFeatureField(c.key);
        ASSERT_NE(field.row, nullptr) << c.key;
        EXPECT_EQ(field.feature->fid, c.fid) << c.key;
        EXPECT_EQ(withField(*field.row, 0, c.value), c.ofZeros) << c.key;
        EXPECT_EQ(withField(*field.row, 0xFFFFFFFF, c.value), c.ofOnes) << c.key;
    }
    EXPECT_EQ(findVelkoFeatureField("AggregationTime").row, nullptr) << "of the standard";
}

}  // namespace
}  // namespace features::nvme
