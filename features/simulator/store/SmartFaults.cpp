#include "features/simulator/store/SmartFaults.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/Units.h"
#include "features/nvme/structures/SmartHealthLog.h"
#include "features/simulator/store/DescriptionText.h"
#include "ostrel/core/Strings.h"

namespace features::simulator {

namespace {

constexpr uint64_t MAX_COUNT = 9999999999999999999U;  // 19 digits; no drive needs more of its 128 bits
constexpr uint64_t MAX_MINUTES = 0xFFFFFFFF;
constexpr uint64_t MAX_CELSIUS = 0xFFFF - nvme::KELVIN_AT_0_CELSIUS;

struct FieldRow {
    const char* name;
    uint16_t offset;
    uint8_t bytes;
    uint64_t max;
    uint64_t bias;  ///< added to what people write
};

// clang-format off
constexpr FieldRow FIELDS[] = {
    {"available-spare",                   FIELD(nvme::SmartHealthLog, availableSpare), 100, 0},
    {"available-spare-threshold",         FIELD(nvme::SmartHealthLog, availableSpareThreshold), 100, 0},
    {"percentage-used",                   FIELD(nvme::SmartHealthLog, percentageUsed), 255, 0},
    {"endurance-group-critical-warning",  FIELD(nvme::SmartHealthLog, enduranceGroupWarnings), 0xFF, 0},
    {"data-units-read",                   FIELD(nvme::SmartHealthLog, dataUnitsRead.low), MAX_COUNT, 0},
    {"data-units-written",                FIELD(nvme::SmartHealthLog, dataUnitsWritten.low), MAX_COUNT, 0},
    {"host-read-commands",                FIELD(nvme::SmartHealthLog, hostReadCommands.low), MAX_COUNT, 0},
    {"host-write-commands",               FIELD(nvme::SmartHealthLog, hostWriteCommands.low), MAX_COUNT, 0},
    {"controller-busy-time",              FIELD(nvme::SmartHealthLog, controllerBusyTime.low), MAX_COUNT, 0},
    {"power-cycles",                      FIELD(nvme::SmartHealthLog, powerCycles.low), MAX_COUNT, 0},
    {"power-on-hours",                    FIELD(nvme::SmartHealthLog, powerOnHours.low), MAX_COUNT, 0},
    {"unsafe-shutdowns",                  FIELD(nvme::SmartHealthLog, unsafeShutdowns.low), MAX_COUNT, 0},
    {"media-and-data-integrity-errors",   FIELD(nvme::SmartHealthLog, mediaErrors.low), MAX_COUNT, 0},
    {"error-log-entries",                 FIELD(nvme::SmartHealthLog, errorLogEntries.low), MAX_COUNT, 0},
    {"warning-temperature-time",          FIELD(nvme::SmartHealthLog, warningTemperatureTime), MAX_MINUTES, 0},
    {"critical-temperature-time",         FIELD(nvme::SmartHealthLog, criticalTemperatureTime), MAX_MINUTES, 0},
    {"temperature-sensor-1",              FIELD(nvme::SmartHealthLog, temperatureSensor[0]), MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"temperature-sensor-2",              FIELD(nvme::SmartHealthLog, temperatureSensor[1]), MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"temperature-sensor-3",              FIELD(nvme::SmartHealthLog, temperatureSensor[2]), MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"temperature-sensor-4",              FIELD(nvme::SmartHealthLog, temperatureSensor[3]), MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"temperature-sensor-5",              FIELD(nvme::SmartHealthLog, temperatureSensor[4]), MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"temperature-sensor-6",              FIELD(nvme::SmartHealthLog, temperatureSensor[5]), MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"temperature-sensor-7",              FIELD(nvme::SmartHealthLog, temperatureSensor[6]), MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"temperature-sensor-8",              FIELD(nvme::SmartHealthLog, temperatureSensor[7]), MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"thermal-transitions-1",             FIELD(nvme::SmartHealthLog, thermalTransitions[0]), 0xFFFFFFFF, 0},
    {"thermal-transitions-2",             FIELD(nvme::SmartHealthLog, thermalTransitions[1]), 0xFFFFFFFF, 0},
    {"thermal-time-1",                    FIELD(nvme::SmartHealthLog, thermalTime[0]), 0xFFFFFFFF, 0},
    {"thermal-time-2",                    FIELD(nvme::SmartHealthLog, thermalTime[1]), 0xFFFFFFFF, 0},
};
// clang-format on

const FieldRow& rowAt(uint16_t offset) {
    return *std::find_if(std::begin(FIELDS), std::end(FIELDS),
                         [offset](const FieldRow& row) { return row.offset == offset; });
}

}  // namespace

std::optional<std::vector<SmartFault>> parseSmartFaults(const std::string& text) {
    std::vector<SmartFault> faults;
    for (const std::string& part : listOf(text)) {
        const std::vector<std::string> words = ostrel::core::splitWords(part);
        if (words.size() != 2) return std::nullopt;
        const auto* row = std::find_if(std::begin(FIELDS), std::end(FIELDS),
                                       [&](const FieldRow& each) { return words[0] == each.name; });
        if (row == std::end(FIELDS) || smartFaultAt(faults, row->offset)) return std::nullopt;
        const std::optional<uint64_t> number = parseUint64(words[1], row->max);
        if (!number) return std::nullopt;
        faults.push_back({row->offset, *number});
    }
    return faults;
}

std::string smartFaultsText(const std::vector<SmartFault>& faults) {
    std::string text;
    for (const SmartFault& fault : faults) {
        text += (text.empty() ? "" : ", ") + std::string(rowAt(fault.offset).name) + " " + std::to_string(fault.value);
    }
    return text;
}

std::optional<uint64_t> smartFaultAt(const std::vector<SmartFault>& faults, uint16_t offset) {
    const auto fault =
        std::find_if(faults.begin(), faults.end(), [offset](const SmartFault& each) { return each.offset == offset; });
    return fault == faults.end() ? std::nullopt : std::optional<uint64_t>(fault->value);
}

void putSmartFaults(const std::vector<SmartFault>& faults, uint8_t* page) {
    for (const SmartFault& fault : faults) {
        const FieldRow& row = rowAt(fault.offset);
        uint8_t bytes[8];
        nvme::putLe64(bytes, fault.value + row.bias);
        std::copy_n(bytes, row.bytes, page + row.offset);
    }
}

}  // namespace features::simulator
