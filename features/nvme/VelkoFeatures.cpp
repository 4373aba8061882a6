#include "features/nvme/VelkoFeatures.h"

#include <iterator>

#include "features/nvme/FindRow.h"
#include "features/nvme/Structures.h"
#include "features/nvme/VelkoInterface.h"
#include "ostrel/core/AttributeVocabulary.h"

namespace features::nvme {

using ostrel::core::Payload;
namespace key = ostrel::core::attributes::feature;

namespace {

// Fields of dword 0, by feature.

// clang-format off
constexpr Word POWER_MODES[] = {{0, "high"}, {1, "medium"}, {2, "low"}, {}};
constexpr FieldRow POWER_GOVERNOR[] = {
    keyed(key::powerGovernorMode, word("PGM", "Power Governor Mode", 0, 1, 0, POWER_MODES)),
    keyed(key::powerGovernorAveragePower, bitsRow("PGAP", "Power Governor Average Power (watts)", 0, 15, 8)),
    keyed(key::powerGovernorBurstPower, bitsRow("PGBP", "Power Governor Burst Power (watts)", 0, 23, 16)),
};
constexpr Word SMBUS_ADDRESSES[] = {{0xFF, "disabled"}, {}};
constexpr FieldRow SMBUS_ADDRESS[] = {
    inWords(SMBUS_ADDRESSES, bitsRow("Address 0", "NVMe-MI Basic Management", 0, 7, 0, Format::HEX)),
    inWords(SMBUS_ADDRESSES, bitsRow("Address 1", "VPD EEPROM", 0, 15, 8, Format::HEX)),
    inWords(SMBUS_ADDRESSES, bitsRow("Address 2", "NVMe-MI over MCTP", 0, 23, 16, Format::HEX)),
};
constexpr Word IDLE_STATES[] = {{0, "off"}, {1, "on"}, {}};
constexpr FieldRow LED_ACTIVITY[] = {
    keyed(key::ioOnMultiplier, bitsRow("IOON", "I/O On Multiplier", 0, 3, 0)),
    keyed(key::ioOffMultiplier, bitsRow("IOOFF", "I/O Off Multiplier", 0, 7, 4)),
    keyed(key::formatOnMultiplier, bitsRow("FMTON", "Format On Multiplier", 0, 11, 8)),
    keyed(key::formatOffMultiplier, bitsRow("FMTOFF", "Format Off Multiplier", 0, 15, 12)),
    keyed(key::durationBase, bitsRow("BASE", "Duration Base (milliseconds)", 0, 23, 16)),
    keyed(key::idleState, word("IDLE", "Idle State", 0, 24, 24, IDLE_STATES)),
};
constexpr FieldRow DYNAMIC_MMIO[] = {
    keyed(key::dynamicMMIOEnabled, flag("EN", "Dynamic MMIO Enabled", 0, 0)),
};
constexpr Word MAX_CRC_ERRORS[] = {{0xFFFFFFFF, "4294967295 or more"}, {}};
constexpr FieldRow RESET_CRC[] = {
    keyed(key::crcErrorCount,
          inWords(MAX_CRC_ERRORS, bitsRow("CRC", "CRC Error Count since the last reset", 0, 31, 0))),
};
constexpr FieldRow THERMAL_THROTTLE_DISABLE[] = {
    keyed(key::disableThermalThrottle, flag("DIS", "Disable Thermal Throttle", 0, 0)),
};
constexpr FieldRow LATENCY_TRACKING[] = {
    keyed(key::latencyTrackingEnabled, flag("EN", "Latency Tracking Enabled", 0, 0)),
};
constexpr FieldRow QUICK_FORMAT[] = {
    bitsRow("Count", "Quick formats that the drive has done", 0, 31, 0),
};

// Fields of data structures.

constexpr FieldRow MAXIMUM_LBA[] = {
    keyed(key::maximumLBA, {"MLBA", "Maximum LBA", 0, 8, Format::DECIMAL}),
};
constexpr FieldRow NATIVE_MAXIMUM_LBA[] = {
    keyed(key::nativeMaxLBA, {"NMLBA", "Native Maximum LBA", 0, 8, Format::DECIMAL}),
};
// clang-format on

// clang-format off
constexpr FeatureRow VELKO_FEATURES[] = {
    // identifier                          name             data             per ns  dword 0         data structure, controllers, persistent
    {FID_VELKO_MAXIMUM_LBA,              "Maximum LBA",     VELKO_LBA_BYTES, false, {},              addTable<MAXIMUM_LBA>, nullptr, true},
    {FID_VELKO_NATIVE_MAXIMUM_LBA,       "Native Maximum LBA", VELKO_LBA_BYTES, false, {},           addTable<NATIVE_MAXIMUM_LBA>},
    {FID_VELKO_POWER_GOVERNOR,           "Power Governor",   0,              false, POWER_GOVERNOR,  nullptr},
    {FID_VELKO_SMBUS_ADDRESS,            "SMBus Address",    0,              false, SMBUS_ADDRESS,   nullptr, nullptr, true},
    {FID_VELKO_LED_ACTIVITY,             "LED Activity",     0,              false, LED_ACTIVITY,    nullptr, nullptr, true},
    {FID_VELKO_DYNAMIC_MMIO,             "Dynamic MMIO",     0,              false, DYNAMIC_MMIO,    nullptr},
    {FID_VELKO_RESET_CRC,                "Reset CRC",        0,              false, RESET_CRC,       nullptr, nullptr, true},
    {FID_VELKO_THERMAL_THROTTLE_DISABLE, "Thermal Throttle Disable", 0,      false, THERMAL_THROTTLE_DISABLE, nullptr},
    {FID_VELKO_LATENCY_TRACKING,         "Latency Tracking", 0,              false, LATENCY_TRACKING, nullptr},
    {FID_VELKO_QUICK_FORMAT,             "Quick Format",     0,              false, QUICK_FORMAT,    nullptr, nullptr, true},
};
// clang-format on

}  // namespace

const FeatureRow* findVelkoFeature(uint8_t fid) {
    return findRow(velkoFeaturesBegin(), velkoFeaturesEnd(), [fid](const FeatureRow& row) { return row.fid == fid; });
}

const FeatureRow* velkoFeaturesBegin() {
    return std::begin(VELKO_FEATURES);
}
const FeatureRow* velkoFeaturesEnd() {
    return std::end(VELKO_FEATURES);
}

FeatureField findVelkoFeatureField(const std::string& key) {
    return findFeatureField(velkoFeaturesBegin(), velkoFeaturesEnd(), key);
}

std::vector<Structure> velkoFeatureStructures() {
    std::vector<Structure> structures = {{"Maximum LBA", MAXIMUM_LBA}, {"Native Maximum LBA", NATIVE_MAXIMUM_LBA}};
    for (const FeatureRow& row : VELKO_FEATURES) structures.push_back({row.name, row.dword0});
    return structures;
}

}  // namespace features::nvme
