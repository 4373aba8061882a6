#include "features/simulator/store/SmartFaults.h"

#include <algorithm>
#include <iterator>
#include <sstream>

#include "features/nvme/Bytes.h"
#include "features/nvme/Units.h"
#include "features/simulator/store/DescriptionText.h"

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
    {"available-spare",                 SMART_AVAILABLE_SPARE, 1, 100, 0},
    {"available-spare-threshold",       SMART_SPARE_THRESHOLD, 1, 100, 0},
    {"percentage-used",                 SMART_PERCENTAGE_USED, 1, 255, 0},
    {"endurance-group-critical-warning",  6, 1, 0xFF, 0},
    {"data-units-read",                  32, 8, MAX_COUNT, 0},
    {"data-units-written",               48, 8, MAX_COUNT, 0},
    {"host-read-commands",               64, 8, MAX_COUNT, 0},
    {"host-write-commands",              80, 8, MAX_COUNT, 0},
    {"controller-busy-time",             96, 8, MAX_COUNT, 0},
    {"power-cycles",                    112, 8, MAX_COUNT, 0},
    {"power-on-hours",                  128, 8, MAX_COUNT, 0},
    {"unsafe-shutdowns",                144, 8, MAX_COUNT, 0},
    {"media-and-data-integrity-errors", 160, 8, MAX_COUNT, 0},
    {"error-log-entries",               176, 8, MAX_COUNT, 0},
    {"warning-temperature-time",        192, 4, MAX_MINUTES, 0},
    {"critical-temperature-time",       196, 4, MAX_MINUTES, 0},
    {"temperature-sensor-1",            200, 2, MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"temperature-sensor-2",            202, 2, MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"temperature-sensor-3",            204, 2, MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"temperature-sensor-4",            206, 2, MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"temperature-sensor-5",            208, 2, MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"temperature-sensor-6",            210, 2, MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"temperature-sensor-7",            212, 2, MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"temperature-sensor-8",            214, 2, MAX_CELSIUS, nvme::KELVIN_AT_0_CELSIUS},
    {"thermal-transitions-1",           216, 4, 0xFFFFFFFF, 0},
    {"thermal-transitions-2",           220, 4, 0xFFFFFFFF, 0},
    {"thermal-time-1",                  224, 4, 0xFFFFFFFF, 0},
    {"thermal-time-2",                  228, 4, 0xFFFFFFFF, 0},
};
// clang-format on

const FieldRow& rowAt(uint16_t offset) {
    return *std::find_if(std::begin(FIELDS), std::end(FIELDS),
                         [offset](const FieldRow& row) { return row.offset == offset; });
}

}  // namespace

bool parseSmartFaults(const std::string& text, std::vector<SmartFault>& faults) {
    std::vector<SmartFault> read;
    for (const std::string& part : listOf(text)) {
        std::istringstream in(part);
        std::string name;
        std::string value;
        std::string more;
        in >> name >> value;
        const auto* row =
            std::find_if(std::begin(FIELDS), std::end(FIELDS), [&](const FieldRow& each) { return name == each.name; });
        SmartFault fault;
        if (row == std::end(FIELDS) || in >> more || !parseNumber(value, row->max, fault.value)) return false;
        fault.offset = row->offset;
        if (smartFaultAt(read, fault.offset)) return false;
        read.push_back(fault);
    }
    faults = std::move(read);
    return true;
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
