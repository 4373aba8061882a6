#include "features/simulator/store/SizeText.h"

#include <algorithm>
#include <limits>

#include "ostrel/core/Strings.h"

namespace features::simulator {

std::optional<uint64_t> parseSize(const std::string& text) {
    constexpr char UNITS[] = "kmgt";
    const size_t end = std::min(text.find_first_not_of("0123456789"), text.size());
    if (end == 0 || end > 19) return std::nullopt;
    uint64_t number = std::stoull(text.substr(0, end));
    std::string unit = ostrel::core::toLower(text.substr(end));
    if (!unit.empty() && unit.back() == 'b') unit.pop_back();
    if (!unit.empty()) {
        const size_t power = std::string(UNITS).find(unit[0]);
        const bool isBinary = unit.size() == 2 && unit[1] == 'i';
        if (power == std::string::npos || (unit.size() != 1 && !isBinary)) return std::nullopt;
        const uint64_t factor = isBinary ? 1024 : 1000;
        for (size_t i = 0; i <= power; ++i) {
            if (number > std::numeric_limits<uint64_t>::max() / factor) return std::nullopt;
            number *= factor;
        }
    }
    return number;
}

}  // namespace features::simulator
