// Every decoder, over structures laid out by hand: the whole tree is compared, cut structures are walked through, and
// what is shown suits every output format.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <set>
#include <sstream>
#include <string>

#include "features/nvme/Features.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/Identify.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/VelkoFeatures.h"
#include "features/nvme/VelkoLogPages.h"
#include "tests/support/Golden.h"
#include "tests/unit/features/nvme/Layout.h"
#include "tests/unit/features/nvme/TreeText.h"

namespace features::nvme {
namespace {

using ostrel::core::Payload;

struct Case {
    const char* layout;
    std::function<FieldTree(const Payload& data, uint32_t dword0)> decode;
};

std::function<FieldTree(const Payload&, uint32_t)> of(FieldTree (*decode)(const Payload&)) {
    return [decode](const Payload& data, uint32_t) { return decode(data); };
}
std::function<FieldTree(const Payload&, uint32_t)> of(FieldTree (*decode)(const Payload&, uint32_t)) {
    return [decode](const Payload& data, uint32_t) { return decode(data, 7); };
}
/// As the newest controller has it, or one of an earlier version.
std::function<FieldTree(const Payload&, uint32_t)> of(FieldTree (*decode)(const Payload&, uint16_t),
                                                      uint16_t nvmeVersion = UINT16_MAX) {
    return [=](const Payload& data, uint32_t) { return decode(data, nvmeVersion); };
}
std::function<FieldTree(const Payload&, uint32_t)> of(FieldTree (*decode)(const Payload&, uint32_t, uint16_t),
                                                      uint16_t nvmeVersion = UINT16_MAX) {
    return [=](const Payload& data, uint32_t) { return decode(data, 7, nvmeVersion); };
}
std::function<FieldTree(const Payload&, uint32_t)> feature(const FeatureRow* row, uint16_t nvmeVersion = UINT16_MAX) {
    return [=](const Payload& data, uint32_t dword0) { return decodeFeature(*row, dword0, data, nvmeVersion); };
}

const Case CASES[] = {
    {"identify_controller", of(decodeIdentifyController)},
    {"identify_controller_old", of(decodeIdentifyController)},
    {"identify_controller_2_1", of(decodeIdentifyController)},
    {"identify_namespace", of(decodeIdentifyNamespace, 0x0104)},
    {"identify_namespace_plain", of(decodeIdentifyNamespace, 0x0104)},
    {"identify_namespace_2_1", of(decodeIdentifyNamespace, 0x0201)},
    {"identify_05_nvm", of(decodeNvmNamespace, 0x0201)},
    {"identify_05_nvm_2_0", of(decodeNvmNamespace, 0x0200)},
    {"identify_05_zoned", of(decodeZonedNamespace)},
    {"identify_06_nvm", of(decodeNvmController, 0x0201)},
    {"identify_06_nvm_2_0", of(decodeNvmController, 0x0200)},
    {"identify_06_zoned", of(decodeZonedController)},
    {"identify_08_independent", of(decodeIndependentNamespace, 0x0201)},
    {"identify_08_independent_2_0", of(decodeIndependentNamespace, 0x0200)},
    {"identify_16_granularities", of(decodeGranularities)},
    {"identify_18_domains", of(decodeDomains)},
    {"identify_1c_combinations", of(decodeCommandSetCombinations)},
    {"namespace_descriptors", of(decodeNamespaceDescriptors)},
    {"namespace_descriptors_damaged", of(decodeNamespaceDescriptors)},
    {"uuid_list", of(decodeUuidList)},
    {"log_00_supported", of(decodeSupportedLogs)},
    {"log_01_error", of(decodeErrorInformation)},
    {"log_01_error_2_0", of(decodeErrorInformation)},
    {"log_02_smart", of(decodeSmartHealth)},
    {"log_02_smart_2_2", of(decodeSmartHealth)},
    {"log_03_firmware", of(decodeFirmwareSlots)},
    {"log_04_changed", of(decodeChangedNamespaces)},
    {"log_04_too_many", of(decodeChangedNamespaces)},
    {"log_05_effects", of(decodeCommandEffects)},
    {"log_05_effects_2_0", of(decodeCommandEffects)},
    {"log_06_self_test", of(decodeSelfTest)},
    {"log_06_idle", of(decodeSelfTest)},
    {"log_07_telemetry", of(decodeTelemetryHeader)},
    {"log_08_telemetry", of(decodeTelemetryHeader)},
    {"log_09_endurance", of(decodeEnduranceGroup, 0x0104)},
    {"log_09_endurance_2_0", of(decodeEnduranceGroup, 0x0200)},
    {"log_0a_latency", of(decodePredictableLatency)},
    {"log_0b_aggregate", of(decodePredictableLatencyAggregate)},
    {"log_0c_ana", of(decodeAna)},
    {"log_0d_events", of(decodePersistentEventHeader)},
    {"log_0e_lba_status", of(decodeLbaStatus)},
    {"log_0f_aggregate", of(decodeEnduranceGroupAggregate)},
    {"log_10_media_units", of(decodeMediaUnitStatus)},
    {"log_12_features", of(decodeSupportedFeatures)},
    {"log_13_mi_commands", of(decodeSupportedMiCommands)},
    {"log_14_lockdown", of(decodeLockdown)},
    {"log_14_lockdown_features", of(decodeLockdown)},
    {"log_15_boot", of(decodeBootPartition)},
    {"log_20_fdp", of(decodeFdpConfigurations)},
    {"log_21_fdp", of(decodeFdpUsage)},
    {"log_22_fdp", of(decodeFdpStatistics)},
    {"log_23_fdp", of(decodeFdpEvents)},
    {"log_80_reservation", of(decodeReservation)},
    {"log_81_sanitize", of(decodeSanitizeStatus, 0x0200)},
    {"log_81_sanitize_2_1", of(decodeSanitizeStatus, 0x0201)},
    {"log_bf_zones", of(decodeChangedZones)},
    {"log_bf_too_many", of(decodeChangedZones)},
    {"log_c0_ocp", of(decodeOcpSmart)},
    {"log_c0_ocp_1_0", of(decodeOcpSmart)},
    {"log_c0_ocp_2_6", of(decodeOcpSmart)},
    {"log_c1_ocp", of(decodeOcpErrorRecovery)},
    {"log_c1_ocp_1_0", of(decodeOcpErrorRecovery)},
    {"log_c2_ocp", of(decodeOcpFirmwareHistory)},
    {"log_c3_ocp", of(decodeOcpLatencyMonitor)},
    {"log_c3_ocp_2_0", of(decodeOcpLatencyMonitor)},
    {"log_c4_ocp", of(decodeOcpCapabilities)},
    {"log_c5_ocp", of(decodeOcpUnsupportedRequirements)},
    {"log_c6_ocp", of(decodeOcpHardwareComponents)},
    {"log_c6_ocp_damaged", of(decodeOcpHardwareComponents)},
    {"log_c7_ocp", of(decodeOcpTcgConfiguration)},
    {"log_c9_ocp", of(decodeOcpTelemetryStrings)},
    {"feature_03_ranges", feature(findFeature(0x03))},
    {"feature_0c_transitions", feature(findFeature(0x0C))},
    {"feature_0d_memory", feature(findFeature(0x0D))},
    {"feature_0e_timestamp", feature(findFeature(0x0E))},
    {"feature_0e_reset", feature(findFeature(0x0E))},
    {"feature_0e_far", feature(findFeature(0x0E))},
    {"feature_13_thresholds", feature(findFeature(0x13))},
    {"feature_16_behavior", feature(findFeature(0x16), 0x0104)},
    {"feature_16_behavior_2_1", feature(findFeature(0x16), 0x0201)},
    {"feature_1e_events", feature(findFeature(0x1E))},
    {"feature_81_host", feature(findFeature(0x81))},
    {"feature_81_short", feature(findFeature(0x81))},
    {"feature_ocp_c0_injections", feature(findOcpFeature(0xC0))},
    {"feature_ocp_c5_monitor", feature(findOcpFeature(0xC5))},
    {"log_velko_d0_smart", of(decodeVelkoExtendedSmart)},
    {"log_velko_d1_reads", of(decodeVelkoReadLatency)},
    {"log_velko_d2_writes", of(decodeVelkoWriteLatency)},
    {"log_velko_d3_nlog", of(decodeVelkoLogHeader)},
    {"log_velko_d8_flush", of(decodeVelkoForceFlush)},
    {"log_velko_d8_unknown", of(decodeVelkoForceFlush)},
    {"log_velko_d9_background", of(decodeVelkoBackground)},
    {"feature_velko_c1_maximum", feature(findVelkoFeature(0xC1))},
    {"feature_velko_c2_native", feature(findVelkoFeature(0xC2))},
};

TEST(Decoders, ShowWholeStructures) {
    for (const Case& c : CASES) {
        const Layout layout(c.layout);
        expectGolden(std::string(NVME_TEST_DATA) + "/layouts/" + c.layout + ".tree",
                     treeText(c.decode(layout.data(), layout.dword0())));
    }
}

std::set<std::string> linesOf(const std::string& text) {
    std::set<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.insert(line);
    return lines;
}

// Fields that lie after the end are not shown, the others are as in the whole structure. What an end within reach may
// change is one list that is cut, with the count beside it, or one field whose validity bit is gone.
TEST(Decoders, ShowLessOfAStructureThatIsCutShort) {
    for (const Case& c : CASES) {
        const Layout layout(c.layout);
        const std::set<std::string> whole = linesOf(treeText(c.decode(layout.data(), layout.dword0())));
        for (size_t size = 0; size < layout.size(); size += size < 64 ? 1 : 37) {
            const std::set<std::string> cut = linesOf(treeText(c.decode(layout.firstBytes(size), layout.dword0())));
            EXPECT_LE(cut.size(), whole.size()) << c.layout << " cut at " << size;
            EXPECT_LE(std::count_if(cut.begin(), cut.end(), [&](const auto& line) { return whole.count(line) == 0; }),
                      2)
                << c.layout << " cut at " << size;
        }
    }
}

/// Letters, digits, blanks and "-_./()", a letter first: what survives as the name of an XML element.
bool suitsXml(const std::string& name) {
    const auto suits = [](unsigned char c) {
        return std::isalnum(c) != 0 || std::string(" -_./()").find(static_cast<char>(c)) != std::string::npos;
    };
    return !name.empty() && std::isalpha(static_cast<unsigned char>(name[0])) != 0 &&
           std::all_of(name.begin(), name.end(), suits);
}

void expectSuitable(const FieldTree& tree, const std::string& where) {
    EXPECT_TRUE(suitsXml(tree.heading)) << where;
    EXPECT_EQ(tree.heading.find_first_of("()"), std::string::npos) << "brackets stay in headings: " << where;
    for (const Field& field : tree.fields) {
        const std::string name = field.name + (field.description.empty() ? "" : " - " + field.description);
        EXPECT_TRUE(suitsXml(name)) << where << ": " << name;
        EXPECT_EQ(field.value.find(','), std::string::npos) << "a comma is another column of CSV: " << name;
        EXPECT_FALSE(field.value.empty()) << where << ": " << name;
    }
    for (const FieldTree& part : tree.parts) expectSuitable(part, where + " / " + part.heading);
}

void expectUniqueNames(const FieldTree& tree, const std::string& where) {
    for (const Field& field : tree.fields) {
        const auto same = [&](const Field& other) { return other.name == field.name; };
        EXPECT_EQ(std::count_if(tree.fields.begin(), tree.fields.end(), same), 1) << where << ": " << field.name;
    }
    for (const FieldTree& part : tree.parts) {
        const auto same = [&](const FieldTree& other) { return other.heading == part.heading; };
        EXPECT_EQ(std::count_if(tree.parts.begin(), tree.parts.end(), same), 1) << where << ": " << part.heading;
        expectUniqueNames(part, where + " / " + part.heading);
    }
}

TEST(Decoders, GiveNamesThatSuitEveryFormat) {
    for (const Case& c : CASES) {
        const Layout layout(c.layout);
        const FieldTree tree = c.decode(layout.data(), layout.dword0());
        expectSuitable(tree, c.layout);
        expectUniqueNames(tree, c.layout);
    }
}

}  // namespace
}  // namespace features::nvme
