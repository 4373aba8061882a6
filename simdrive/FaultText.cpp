#include "simdrive/FaultText.h"

#include <algorithm>
#include <sstream>

#include "features/simulator/store/DescriptionText.h"
#include "features/simulator/store/FaultKinds.h"
#include "ostrel/core/Strings.h"

namespace simdrive {

using features::simulator::Description;
using features::simulator::FaultKind;
using features::simulator::faultKinds;
using features::simulator::trimmed;

namespace {

constexpr const char* SECTION = "faults";

bool isHeader(const std::string& line) {
    return trimmed(line).substr(0, 1) == "[";
}

/// Whether the section begins with this line. As in the description's own parser, what follows the bracket is a
/// comment.
bool isSection(const std::string& line) {
    const std::string text = trimmed(line);
    const size_t end = text.find(']');
    return isHeader(text) && end != std::string::npos && trimmed(text.substr(1, end - 1)) == SECTION;
}

/// The key of a line; empty: it has none.
std::string keyOf(const std::string& line) {
    const size_t sign = line.find('=');
    const std::string first = trimmed(line).substr(0, 1);
    return sign == std::string::npos || first == ";" || first == "#" ? "" : trimmed(line.substr(0, sign));
}

std::string lineOf(const Fault& fault) {
    return fault.first + (fault.second.empty() ? " =" : " = ") + fault.second;
}

/// The lines of the section, by position: [first, end). Both at the end of the text when there is none.
std::pair<size_t, size_t> findSection(const std::vector<std::string>& lines) {
    const auto header = std::find_if(lines.begin(), lines.end(), isSection);
    if (header == lines.end()) return {lines.size(), lines.size()};
    const auto end = std::find_if(header + 1, lines.end(), isHeader);
    return {static_cast<size_t>(header - lines.begin()) + 1, static_cast<size_t>(end - lines.begin())};
}

std::vector<Fault> valuesOf(const Description& description) {
    std::vector<Fault> faults;
    for (const FaultKind& kind : faultKinds()) faults.emplace_back(kind.key, kind.write(description));
    return faults;
}

}  // namespace

std::vector<Fault> noFaults() {
    return valuesOf(Description());
}

std::vector<Fault> faultsOf(const Description& description) {
    std::vector<Fault> faults = valuesOf(description);
    const std::vector<Fault> none = noFaults();
    const auto isNone = [&](const Fault& fault) { return std::find(none.begin(), none.end(), fault) != none.end(); };
    faults.erase(std::remove_if(faults.begin(), faults.end(), isNone), faults.end());
    return faults;
}

std::string faultHelp() {
    constexpr size_t COLUMN = 36;  // of the explanations
    std::string text;
    for (const FaultKind& kind : faultKinds()) {
        std::string line = std::string("      --") + kind.key + " " + kind.example;
        if (line.size() >= COLUMN) {
            text += line + "\n";
            line.clear();
        }
        text += line.append(COLUMN - line.size(), ' ') + kind.help + "\n";
    }
    return text;
}

std::string withFault(const std::string& text, const Fault& fault) {
    std::vector<std::string> lines = ostrel::core::split(text, '\n');
    if (lines.back().empty()) lines.pop_back();
    const auto [first, end] = findSection(lines);
    const auto begin = lines.begin() + static_cast<std::ptrdiff_t>(first);
    const auto last = lines.begin() + static_cast<std::ptrdiff_t>(end);
    const auto line = std::find_if(begin, last, [&](auto& each) { return keyOf(each) == fault.first; });
    if (line != last) {
        *line = lineOf(fault);
    } else if (first == lines.size() && !isSection(lines.empty() ? "" : lines.back())) {
        lines.insert(lines.end(), {"", std::string("[") + SECTION + "]", lineOf(fault)});
    } else {
        lines.insert(begin, lineOf(fault));
    }
    return ostrel::core::join(lines, "\n") + "\n";
}

}  // namespace simdrive
