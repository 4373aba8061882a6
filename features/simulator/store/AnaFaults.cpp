#include "features/simulator/store/AnaFaults.h"

#include <algorithm>
#include <iterator>

#include "features/simulator/store/DescriptionText.h"
#include "features/simulator/store/DriveState.h"
#include "ostrel/core/Strings.h"

namespace features::simulator {

namespace {

constexpr const char* ALL_GROUPS = "all";

// clang-format off
constexpr struct {
    const char* word;
    AnaState state;
    nvme::StatusCode status;  ///< of commands in the state
} STATES[] = {
    {"optimized",       AnaState::OPTIMIZED,       nvme::SC_SUCCESSFUL_COMPLETION},
    {"non-optimized",   AnaState::NON_OPTIMIZED,   nvme::SC_SUCCESSFUL_COMPLETION},
    {"inaccessible",    AnaState::INACCESSIBLE,    nvme::SC_ANA_INACCESSIBLE},
    {"persistent-loss", AnaState::PERSISTENT_LOSS, nvme::SC_ANA_PERSISTENT_LOSS},
    {"change",          AnaState::CHANGE,          nvme::SC_ANA_TRANSITION},
};
// clang-format on

const auto& rowOf(AnaState state) {
    return *std::find_if(std::begin(STATES), std::end(STATES), [&](const auto& row) { return row.state == state; });
}

std::optional<AnaState> parseState(const std::string& word) {
    const auto* row =
        std::find_if(std::begin(STATES), std::end(STATES), [&](const auto& each) { return word == each.word; });
    return row == std::end(STATES) ? std::nullopt : std::optional(row->state);
}

/// "all", or the number of one.
std::optional<uint32_t> parseGroup(const std::string& text) {
    if (text == ALL_GROUPS) return 0;
    const auto group = parseNumber<uint32_t>(text);
    return group == 0U ? std::nullopt : group;
}

/// "1:all inaccessible", "2:1 non-optimized"
std::optional<AnaFault> parseFault(const std::string& text) {
    const std::vector<std::string> words = ostrel::core::splitWords(text);
    if (words.size() != 2) return std::nullopt;
    const std::string& place = words[0];
    const size_t colon = place.find(':');
    if (colon == std::string::npos) return std::nullopt;
    const auto controllerId = parseNumber<uint16_t>(place.substr(0, colon), MAX_CONTROLLERS);
    const std::optional<uint32_t> group = parseGroup(place.substr(colon + 1));
    const std::optional<AnaState> state = parseState(words[1]);
    if (!controllerId || *controllerId == 0 || !group || !state) return std::nullopt;
    return AnaFault{*controllerId, *group, *state};
}

}  // namespace

std::optional<std::vector<AnaFault>> parseAnaFaults(const std::string& text) {
    std::vector<AnaFault> faults;
    for (const std::string& part : listOf(text)) {
        const std::optional<AnaFault> fault = parseFault(part);
        if (!fault) return std::nullopt;
        faults.push_back(*fault);
    }
    return faults;
}

std::string anaFaultsText(const std::vector<AnaFault>& faults) {
    std::string text;
    for (const AnaFault& fault : faults) {
        text += (text.empty() ? "" : ", ") + std::to_string(fault.controllerId) + ":" +
                (fault.group == 0 ? ALL_GROUPS : std::to_string(fault.group)) + " " + rowOf(fault.state).word;
    }
    return text;
}

AnaState anaStateOf(const std::vector<AnaFault>& faults, uint16_t controllerId, uint32_t group) {
    const auto fault = std::find_if(faults.rbegin(), faults.rend(), [&](const AnaFault& each) {
        return each.controllerId == controllerId && (each.group == 0 || each.group == group);
    });
    return fault == faults.rend() ? AnaState::OPTIMIZED : fault->state;
}

nvme::StatusCode anaStatus(AnaState state) {
    return rowOf(state).status;
}

}  // namespace features::simulator
