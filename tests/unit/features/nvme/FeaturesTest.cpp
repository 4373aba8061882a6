#include <gtest/gtest.h>

#include "features/nvme/Features.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "tests/unit/features/nvme/TreeText.h"

namespace features::nvme {
namespace {

using ostrel::core::Payload;

/// Features whose dword 0 is all, or nearly all, there is to them.
constexpr struct {
    uint8_t fid;
    uint32_t dword0;
    const char* shown;
} DWORDS[] = {
    {0x01, 0x1F0F0703,
     "[Arbitration]\n"
     "ArbitrationBurst - Arbitration Burst: 8\n"
     "LowPriorityWeightArbitration - Low Priority Weight: 8\n"
     "MediumPriorityWeightArbitration - Medium Priority Weight: 16\n"
     "HighPriorityWeightArbitration - High Priority Weight: 32\n"},
    {0x01, 0x000000FF,
     "[Arbitration]\n"
     "ArbitrationBurst - Arbitration Burst: no limit\n"
     "LowPriorityWeightArbitration - Low Priority Weight: 1\n"
     "MediumPriorityWeightArbitration - Medium Priority Weight: 1\n"
     "HighPriorityWeightArbitration - High Priority Weight: 1\n"},
    {0x02, 0x00000043,
     "[Power Management]\n"
     "NVMePowerState - Power State: 3\n"
     "WH - Workload Hint: 2\n"},
    {0x03, 0x0000003F, "[LBA Range Type]\nNUM - Number of LBA Ranges: 64\n"},
    {0x04, 0x01510157,
     "[Temperature Threshold]\n"
     "TempThreshold - Temperature Threshold: 70 C\n"
     "TMPTHH - Temperature Threshold Hysteresis: 5 C\n"},
    {0x04, 0xFE000107,
     "[Temperature Threshold]\n"
     "TempThreshold - Temperature Threshold: -10 C\n"
     "TMPTHH - Temperature Threshold Hysteresis: 0 C\n"},
    {0x04, 0x00000000,
     "[Temperature Threshold]\n"
     "TempThreshold - Temperature Threshold: not set\n"
     "TMPTHH - Temperature Threshold Hysteresis: 0 C\n"},
    {0x04, 0x01C0FFFF,
     "[Temperature Threshold]\n"
     "TempThreshold - Temperature Threshold: not set\n"
     "TMPTHH - Temperature Threshold Hysteresis: 7 C\n"},
    {0x05, 0x00010005,
     "[Error Recovery]\n"
     "TimeLimitedErrorRecovery - Time Limited Error Recovery: 5 units of 100 milliseconds\n"
     "DULBE - Deallocated or Unwritten Logical Block Error Enable: True\n"},
    {0x05, 0x00000000,
     "[Error Recovery]\n"
     "TimeLimitedErrorRecovery - Time Limited Error Recovery: no limit\n"
     "DULBE - Deallocated or Unwritten Logical Block Error Enable: False\n"},
    {0x06, 0x00000001, "[Volatile Write Cache]\nVolatileWriteCacheEnabled - Volatile Write Cache Enable: True\n"},
    {0x06, 0xFFFFFFFE, "[Volatile Write Cache]\nVolatileWriteCacheEnabled - Volatile Write Cache Enable: False\n"},
    {0x07, 0x003F001F,
     "[Number of Queues]\n"
     "IOSubmissionQueuesRequested - I/O Submission Queues Allocated: 32\n"
     "IOCompletionQueuesRequested - I/O Completion Queues Allocated: 64\n"},
    {0x08, 0xFFFF0A05,
     "[Interrupt Coalescing]\n"
     "AggregationThreshold - Aggregation Threshold 0-based: 5\n"
     "AggregationTime - Aggregation Time: 10 units of 100 microseconds\n"},
    {0x09, 0x00010102,
     "[Interrupt Vector Configuration]\n"
     "InterruptVector - Interrupt Vector: 258\n"
     "CoalescingDisable - Coalescing Disable: True\n"},
    {0x0A, 0x00000001, "[Write Atomicity Normal]\nWriteAtomicityDisableNormal - Disable Normal: True\n"},
    {0x0B, 0x98055515,
     "[Asynchronous Event Configuration]\n"
     "SMARTHealthCriticalWarningsConfiguration - SMART / Health Critical Warnings: 0x15\n"
     "NamespaceAttributeNoticesConfiguration - Namespace Attribute Notices: True\n"
     "FirmwareActivationNoticesConfiguration - Firmware Activation Notices: False\n"
     "TelemetryLogNoticesConfiguration - Telemetry Log Notices: True\n"
     "ANACN - Asymmetric Namespace Access Change Notices: False\n"
     "PLEALCN - Predictable Latency Event Aggregate Log Change Notices: True\n"
     "LBASIN - LBA Status Information Notices: False\n"
     "EGEALCN - Endurance Group Event Aggregate Log Change Notices: True\n"
     "NNSSHDN - Normal NVM Subsystem Shutdown: False\n"
     "TTHRY - Temperature Threshold Hysteresis Recovery: True\n"
     "RASSN - Reachability Association: False\n"
     "RGRP0 - Reachability Group: True\n"
     "ANSAN - Allocated Namespace Attribute Notices: False\n"
     "ZDCN - Zone Descriptor Changed Notices: True\n"
     "DLPCN - Discovery notices: 0x09\n"},
    {0x0C, 0x00000000,
     "[Autonomous Power State Transition]\nAPSTE - Autonomous Power State Transition Enable: False\n"},
    {0x0D, 0x00000000, "[Host Memory Buffer]\nEHM - Enable Host Memory: False\n"},
    {0x0E, 0x00000001, "[Timestamp]\n"},
    {0x0F, 0x0001D4C0, "[Keep Alive Timer]\nKATO - Keep Alive Timeout: 120000 milliseconds\n"},
    {0x0F, 0x00000000, "[Keep Alive Timer]\nKATO - Keep Alive Timeout: no limit\n"},
    {0x10, 0x01520000,
     "[Host Controlled Thermal Management]\n"
     "TMT1 - Thermal Management Temperature 1: 65 C\n"
     "TMT2 - Thermal Management Temperature 2: not set\n"},
    {0x11, 0x00000001,
     "[Non-Operational Power State Config]\n"
     "NOPPME - Non-Operational Power State Permissive Mode Enable: True\n"},
    {0x12, 0x00000004, "[Read Recovery Level Config]\nRRL - Read Recovery Level: 4\n"},
    {0x13, 0x00000001, "[Predictable Latency Mode Config]\nPLE - Predictable Latency Enable: True\n"},
    {0x14, 0x00000002, "[Predictable Latency Mode Window]\nWS - Window Select: non-deterministic window\n"},
    {0x14, 0x00000000, "[Predictable Latency Mode Window]\nWS - Window Select: reserved (0x0)\n"},
    {0x15, 0x000A0005,
     "[LBA Status Information Attributes]\n"
     "LSIRI - LBA Status Information Report Interval: 5 units of 100 milliseconds\n"
     "LSIPI - LBA Status Information Poll Interval: 10 units of 100 milliseconds\n"},
    {0x16, 0x00000000, "[Host Behavior Support]\n"},
    {0x17, 0x00000001, "[Sanitize Config]\nNODRM - No-Deallocate Response Mode: True\n"},
    {0x18, 0x00050102,
     "[Endurance Group Event Configuration]\n"
     "ENDGID - Endurance Group Identifier: 258\n"
     "EGCW - Endurance Group Critical Warnings: 0x05\n"},
    {0x19, 0x00000305, "[I/O Command Set Profile]\nIOCSCI - I/O Command Set Combination Index: 261\n"},
    {0x1A, 0x00000001, "[Spinup Control]\nSPINUP - Spinup Control: True\n"},
    {0x1B, 0x00000006, "[Power Loss Signaling Config]\nPLSM - Power Loss Signaling Mode: 2\n"},
    {0x1C, 0x000001C0, "[Performance Characteristics]\nATTRI - Attribute Index: 0xC0\n"},
    {0x1D, 0x00000301,
     "[Flexible Data Placement]\n"
     "FDPE - Flexible Data Placement Enable: True\n"
     "FDPCIDX - Flexible Data Placement Configuration Index: 3\n"},
    {0x1E, 0x00000002, "[Flexible Data Placement Events]\nNOET - Number of FDP Event Types: 2\n"},
    {0x1F, 0x00000000, "[Namespace Admin Label]\n"},
    {0x20, 0x00000000, "[Key Value Configuration]\n"},
    {0x21, 0x00000000, "[Controller Data Queue]\n"},
    {0x22, 0x00000000, "[Configurable Device Personality]\n"},
    {0x23, 0x00020019, "[Power Limit]\nPLV - Power Limit Value: 25\nPLS - Power Limit Scale: 2\n"},
    {0x24, 0x8012000A,
     "[Power Threshold]\n"
     "PTV - Power Threshold Value: 10\n"
     "PTS - Power Threshold Scale: 2\n"
     "PMTS - Power Measurement Type Select: 1\n"
     "EPT - Enable Power Threshold: True\n"},
    {0x25, 0x003C0021,
     "[Power Measurement]\n"
     "ACT - Action: 1\n"
     "PMT - Power Measurement Type: 2\n"
     "SMT - Stop Measurement Time: 60\n"},
    {0x26, 0x00000000, "[Voltage Threshold]\n"},
    {0x27, 0x00000000, "[Voltage Measurement]\n"},
    {0x28, 0x00000000, "[Rate Limiting]\n"},
    {0x80, 0x000001FF, "[Software Progress Marker]\nPBSLC - Pre-boot Software Load Count: 255\n"},
    {0x81, 0x00000000, "[Host Identifier]\n"},
    {0x82, 0x0000000A,
     "[Reservation Notification Mask]\n"
     "REGPRE - Mask Registration Preempted Notification: True\n"
     "RESREL - Mask Reservation Released Notification: False\n"
     "RESPRE - Mask Reservation Preempted Notification: True\n"},
    {0x83, 0x00000001, "[Reservation Persistence]\nPTPL - Persist Through Power Loss: True\n"},
    {0x84, 0x00000002,
     "[Namespace Write Protection Config]\nWPS - Write Protection State: write protect until power cycle\n"},
    {0x84, 0x00000007, "[Namespace Write Protection Config]\nWPS - Write Protection State: reserved (0x7)\n"},
    {0x85, 0x00000011,
     "[Boot Partition Write Protection Config]\n"
     "BP0WPS - Boot Partition 0 Write Protection State: write unlocked\n"
     "BP1WPS - Boot Partition 1 Write Protection State: write locked\n"},
};
TEST(Features, ShowDword0) {
    const FeatureRow* row = featuresBegin();
    for (const auto& c : DWORDS) {
        if (row->fid != c.fid) ++row;
        ASSERT_EQ(row->fid, c.fid) << "each feature of the table has its cases";
        EXPECT_EQ(findFeature(c.fid), row);
        EXPECT_EQ(treeText(decodeFeature(*row, c.dword0, Payload())), c.shown);
    }
    EXPECT_EQ(++row, featuresEnd());
}

constexpr struct {
    uint8_t fid;
    uint32_t dword0;
    const char* shown;
} OCP_DWORDS[] = {
    {0xC0, 0x0000007F, "[Error Injection]\nNumberOfErrorInjections - Number of Error Injections: 127\n"},
    {0xC1, 0x00000000, "[Clear Firmware Update History]\n"},
    {0xC2, 0x00000001, "[EOL/PLP Failure Mode]\nMode - End of Life and PLP Failure Mode: read only mode\n"},
    {0xC2, 0x00000002, "[EOL/PLP Failure Mode]\nMode - End of Life and PLP Failure Mode: write through mode\n"},
    {0xC2, 0x00000003, "[EOL/PLP Failure Mode]\nMode - End of Life and PLP Failure Mode: normal mode\n"},
    {0xC2, 0x00000000, "[EOL/PLP Failure Mode]\nMode - End of Life and PLP Failure Mode: reserved (0x0)\n"},
    {0xC2, 0x00000004, "[EOL/PLP Failure Mode]\nMode - End of Life and PLP Failure Mode: reserved (0x4)\n"},
    {0xC3, 0x00000000, "[Clear PCIe Correctable Error Counters]\n"},
    {0xC4, 0x00000001, "[Enable IEEE1667 Silo]\nSiloEnabled - IEEE 1667 Silo Enabled: True\n"},
    {0xC5, 0x00000000, "[Latency Monitor]\n"},
    {0xC6, 0x0000003C, "[PLP Health Check Interval]\nPLPCheckInterval - PLP Health Check Interval: 60 minutes\n"},
    {0xC7, 0x00000019, "[DSSD Power State]\nDSSDPowerState - DSSD Power State: 25 watts\n"},
    {0xC8, 0xFFFFFF02, "[Telemetry Profile]\nTPS - Telemetry Profile Select: 2\n"},
    {0xC9, 0x00000001, "[DSSD Asynchronous Event Configuration]\nEPN - Enable Panic Notices: True\n"},
    {0xCA, 0x00000000, "[Idle Wake Up Time Configuration]\nIWUT - Idle Wake Up Time: disabled\n"},
    {0xCA, 0x00000064, "[Idle Wake Up Time Configuration]\nIWUT - Idle Wake Up Time: 100\n"},
};
TEST(Features, LeaveOutFieldsOfLaterVersions) {
    EXPECT_EQ(treeText(decodeFeature(*findFeature(0x04), 0x01C00157, Payload(), 0x0200)),
              "[Temperature Threshold]\nTempThreshold - Temperature Threshold: 70 C\n");
    const std::string notices = treeText(decodeFeature(*findFeature(0x0B), 0x980F8000, Payload(), 0x0200));
    EXPECT_NE(notices.find("NNSSHDN"), std::string::npos) << "of 2.0";
    EXPECT_EQ(notices.find("TTHRY"), std::string::npos) << "of 2.1";
    EXPECT_EQ(treeText(decodeFeature(*findFeature(0x0B), 0x980F8000, Payload(), 0x0104)).find("NNSSHDN"),
              std::string::npos);
    EXPECT_TRUE(hasFieldsOfVersions(*findFeature(0x04)));
    EXPECT_TRUE(hasFieldsOfVersions(*findFeature(0x16)));
    EXPECT_FALSE(hasFieldsOfVersions(*findFeature(0x02)));
}

TEST(Features, ShowDword0OfOcpFeatures) {
    const FeatureRow* row = ocpFeaturesBegin();
    for (const auto& c : OCP_DWORDS) {
        if (row->fid != c.fid) ++row;
        ASSERT_EQ(row->fid, c.fid);
        EXPECT_EQ(findOcpFeature(c.fid), row);
        EXPECT_EQ(findFeature(c.fid), nullptr) << "OCP's on OCP's drives alone";
        EXPECT_EQ(treeText(decodeFeature(*row, c.dword0, Payload())), c.shown);
    }
    EXPECT_EQ(++row, ocpFeaturesEnd());
}

TEST(Features, ReportWhatIsToBeRead) {
    constexpr struct {
        uint8_t fid;
        uint32_t dataLength;
    } WITH_DATA[] = {{0x03, 4096}, {0x0C, 256},  {0x0D, 4096}, {0x0E, 8},    {0x13, 512},  {0x16, 512},
                     {0x1C, 4096}, {0x1E, 512},  {0x1F, 4096}, {0x20, 4096}, {0x21, 4096}, {0x22, 4096},
                     {0x26, 4096}, {0x27, 4096}, {0x28, 4096}, {0x81, 16}};
    const auto* expected = WITH_DATA;
    for (const FeatureRow* row = featuresBegin(); row != featuresEnd(); ++row) {
        if (row->dataLength == 0) continue;
        ASSERT_NE(expected, std::end(WITH_DATA)) << row->name;
        EXPECT_EQ(row->fid, expected->fid);
        EXPECT_EQ(row->dataLength, expected->dataLength) << row->name;
        ++expected;
    }
    EXPECT_EQ(expected, std::end(WITH_DATA));
    EXPECT_EQ(findOcpFeature(0xC0)->dataLength, 4096U);
    EXPECT_EQ(findOcpFeature(0xC5)->dataLength, 4096U);

    std::string namespaceSpecific;
    for (const FeatureRow* row = featuresBegin(); row != featuresEnd(); ++row) {
        if (row->namespaceSpecific) namespaceSpecific += hexText(row->fid, 2) + " ";
    }
    EXPECT_EQ(namespaceSpecific, "0x03 0x05 0x1E 0x1F 0x20 0x82 0x83 0x84 ");
}

TEST(Features, ShowCapabilities) {
    EXPECT_EQ(treeText(decodeFeatureCapabilities(*findFeature(0x05), 5)),
              "[Error Recovery Capabilities]\n"
              "Saveable - Can be saved: True\n"
              "Namespace Specific - Each namespace has its own: False\n"
              "Changeable - Can be changed: True\n");
    EXPECT_EQ(treeText(decodeFeatureCapabilities(*findOcpFeature(0xC2), 2)),
              "[EOL/PLP Failure Mode Capabilities]\n"
              "Saveable - Can be saved: False\n"
              "Namespace Specific - Each namespace has its own: True\n"
              "Changeable - Can be changed: False\n");
}

namespace key = ostrel::core::attributes::feature;
constexpr struct {
    ostrel::core::Attribute (*key)();
    uint8_t fid;
    uint64_t most;
    uint32_t value;
    uint32_t ofZeros;  // dword 11 with the value in it
    uint32_t ofOnes;
} FIELDS[] = {
    {key::arbitrationBurst, 0x01, 7, 5, 0x00000005, 0xFFFFFFFD},
    {key::lowPriorityWeightArbitration, 0x01, 255, 0x12, 0x00001200, 0xFFFF12FF},
    {key::highPriorityWeightArbitration, 0x01, 255, 0x12, 0x12000000, 0x12FFFFFF},
    {key::nvmePowerState, 0x02, 31, 2, 0x00000002, 0xFFFFFFE2},
    {key::tempThreshold, 0x04, 65535, 343, 0x00000157, 0xFFFF0157},
    {key::aggregationThreshold, 0x08, 255, 0, 0x00000000, 0xFFFFFF00},
    {key::aggregationTime, 0x08, 255, 255, 0x0000FF00, 0xFFFFFFFF},
    {key::ioCompletionQueuesRequested, 0x07, 65535, 0x1234, 0x12340000, 0x1234FFFF},
    {key::volatileWriteCacheEnabled, 0x06, 1, 0, 0x00000000, 0xFFFFFFFE},
    {key::smartHealthCriticalWarningsConfiguration, 0x0B, 255, 0x1F, 0x0000001F, 0xFFFFFF1F},
    {key::namespaceAttributeNoticesConfiguration, 0x0B, 1, 1, 0x00000100, 0xFFFFFFFF},
    {key::firmwareActivationNoticesConfiguration, 0x0B, 1, 0, 0x00000000, 0xFFFFFDFF},
    {key::telemetryLogNoticesConfiguration, 0x0B, 1, 1, 0x00000400, 0xFFFFFFFF},
};
TEST(Features, OneFieldIsChangedAndTheRestStays) {
    for (const auto& c : FIELDS) {
        const std::string name = c.key().getName();
        const FeatureField field = findFeatureField(name);
        ASSERT_NE(field.feature, nullptr) << name;
        EXPECT_EQ(field.feature->fid, c.fid) << name;
        EXPECT_TRUE(fitsField(*field.row, c.most)) << name;
        EXPECT_FALSE(fitsField(*field.row, c.most + 1)) << name;
        EXPECT_FALSE(fitsField(*field.row, UINT64_MAX)) << name;
        EXPECT_EQ(withField(*field.row, 0, c.value), c.ofZeros) << name;
        EXPECT_EQ(withField(*field.row, 0xFFFFFFFF, c.value), c.ofOnes) << name;
    }
}

TEST(Features, KnowNoFieldOfAnotherName) {
    for (const char* name : {"", "TMPTH", "tempthreshold", "Mode", "AvailableSpare"}) {
        EXPECT_EQ(findFeatureField(name).feature, nullptr) << name;
        EXPECT_EQ(findFeatureField(name).row, nullptr) << name;
    }
}

constexpr struct {
    uint8_t fid;
    uint64_t most;
    uint32_t dword11OfMost;
} OCP_SETS[] = {
    {0xC0, 127, 0x0000007F}, {0xC1, 1, 0x80000000},   {0xC2, 3, 0xC0000000},
    {0xC3, 1, 0x80000000},   {0xC4, 1, 0x80000000},   {0xC6, 65535, 0xFFFF0000},
    {0xC7, 127, 0x0000007F}, {0xC8, 255, 0x000000FF}, {0xC9, 1, 0x00000001},
};
TEST(Features, OcpFeaturesAreSetInBitsOfTheirOwn) {
    for (const auto& c : OCP_SETS) {
        const FieldRow* row = findOcpSetField(c.fid);
        ASSERT_NE(row, nullptr) << int{c.fid};
        EXPECT_TRUE(fitsField(*row, c.most)) << int{c.fid};
        EXPECT_FALSE(fitsField(*row, c.most + 1)) << int{c.fid};
        EXPECT_EQ(withField(*row, 0, static_cast<uint32_t>(c.most)), c.dword11OfMost) << int{c.fid};
    }
    EXPECT_EQ(withField(*findOcpSetField(0xC2), 0, 2), 0x80000000U) << "write through mode";
    EXPECT_EQ(withField(*findOcpSetField(0xC6), 0, 15), 0x000F0000U);
    EXPECT_EQ(findOcpSetField(0xC5), nullptr) << "its settings are a data structure";
    EXPECT_EQ(findOcpSetField(0x04), nullptr);
}

TEST(Features, OcpHasAnIdentifierSinceTheVersionThatDefinedIt) {
    constexpr struct {
        uint16_t version;  // byte 494 of log page C0h
        const char* fids;
        const char* forAll;  // addressed by NSID FFFFFFFFh
    } CASES[] = {
        {0, "", ""},
        {2, "C0 C1 C2 C3 C4 ", ""},
        {3, "C0 C1 C2 C3 C4 C5 C6 C7 ", "C0 "},
        {4, "C0 C1 C2 C3 C4 C5 C6 C7 C8 C9 ", "C0 C8 "},
        {5, "C0 C1 C2 C3 C4 C5 C6 C7 C8 C9 CA ", "C0 C8 "},
        {6, "C0 C1 C2 C3 C4 C5 C6 C7 C8 C9 CA ", "C0 C8 "},
    };
    for (const auto& c : CASES) {
        std::string fids;
        std::string forAll;
        for (unsigned fid = 0; fid < 256; ++fid) {
            const auto id = static_cast<uint8_t>(fid);
            const std::string name = hexText(fid, 2).substr(2) + " ";
            if (isOcpFeature(id, c.version)) fids += name;
            if (ocpFeatureNsid(id, c.version) == 0xFFFFFFFF) forAll += name;
        }
        EXPECT_EQ(fids, c.fids) << c.version;
        EXPECT_EQ(forAll, c.forAll) << c.version;
    }
}

}  // namespace
}  // namespace features::nvme
