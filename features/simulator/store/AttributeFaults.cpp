#include "features/simulator/store/AttributeFaults.h"

#include <algorithm>
#include <iterator>

#include "features/simulator/store/DescriptionText.h"
#include "ostrel/core/Strings.h"

namespace features::simulator {

namespace {

struct PartRow {
    const char* name;
    AttributeFault::Part part;
    uint64_t max;
};
constexpr PartRow PARTS[] = {
    {"value", AttributeFault::Part::VALUE, 0xFF},
    {"worst", AttributeFault::Part::WORST, 0xFF},
    {"raw", AttributeFault::Part::RAW, 0xFFFFFFFFFFFF},
};

/// "5 raw 100"
std::optional<AttributeFault> parseOne(const std::string& text) {
    const std::vector<std::string> words = ostrel::core::splitWords(text);
    if (words.size() != 3) return std::nullopt;
    const auto* row =
        std::find_if(std::begin(PARTS), std::end(PARTS), [&](const PartRow& each) { return words[1] == each.name; });
    if (row == std::end(PARTS)) return std::nullopt;
    const auto attribute = parseNumber<uint8_t>(words[0]);
    const std::optional<uint64_t> value = parseUint64(words[2], row->max);
    if (!attribute || *attribute == 0 || !value) return std::nullopt;
    return AttributeFault{*attribute, row->part, *value};
}

}  // namespace

std::optional<std::vector<AttributeFault>> parseAttributeFaults(const std::string& text) {
    std::vector<AttributeFault> faults;
    for (const std::string& each : listOf(text)) {
        const std::optional<AttributeFault> fault = parseOne(each);
        if (!fault || attributeFaultOf(faults, fault->id, fault->part)) return std::nullopt;
        faults.push_back(*fault);
    }
    return faults;
}

std::string attributeFaultsText(const std::vector<AttributeFault>& faults) {
    std::string text;
    for (const AttributeFault& fault : faults) {
        const auto* row = std::find_if(std::begin(PARTS), std::end(PARTS),
                                       [&](const PartRow& each) { return each.part == fault.part; });
        text += (text.empty() ? "" : ", ") + std::to_string(fault.id) + " " + row->name + " " +
                std::to_string(fault.number);
    }
    return text;
}

std::optional<uint64_t> attributeFaultOf(const std::vector<AttributeFault>& faults, uint8_t id,
                                         AttributeFault::Part part) {
    const auto fault = std::find_if(faults.begin(), faults.end(),
                                    [&](const AttributeFault& each) { return each.id == id && each.part == part; });
    return fault == faults.end() ? std::nullopt : std::optional<uint64_t>(fault->number);
}

}  // namespace features::simulator
