#include "features/simulator/store/AnaFaults.h"

#include <algorithm>
#include <iterator>
#include <sstream>

#include "features/simulator/store/DescriptionText.h"
#include "features/simulator/store/DriveState.h"

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

bool parseState(const std::string& word, AnaState& state) {
    const auto* row =
        std::find_if(std::begin(STATES), std::end(STATES), [&](const auto& each) { return word == each.word; });
    if (row == std::end(STATES)) return false;
    state = row->state;
    return true;
}

/// "1:all", "2:1"
bool parsePlace(const std::string& text, AnaFault& fault) {
    const size_t colon = text.find(':');
    if (colon == std::string::npos || !parseInto(text.substr(0, colon), fault.controllerId)) return false;
    const std::string group = text.substr(colon + 1);
    const bool isGroup = group == ALL_GROUPS || (parseInto(group, fault.group) && fault.group != 0);
    return isGroup && fault.controllerId != 0 && fault.controllerId <= MAX_CONTROLLERS;
}

}  // namespace

bool parseAnaFaults(const std::string& text, std::vector<AnaFault>& faults) {
    std::vector<AnaFault> read;
    for (const std::string& part : listOf(text)) {
        std::istringstream in(part);
        std::string place;
        std::string state;
        std::string more;
        in >> place >> state;
        AnaFault fault;
        if (in >> more || !parsePlace(place, fault) || !parseState(state, fault.state)) return false;
        read.push_back(fault);
    }
    faults = std::move(read);
    return true;
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
