#include "features/simulator/store/DescriptionText.h"

#include <algorithm>
#include <stdexcept>

#include "ostrel/core/Strings.h"

namespace features::simulator {

std::string trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t\r");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::vector<std::string> listOf(const std::string& text) {
    std::vector<std::string> parts;
    if (trimmed(text).empty()) return parts;
    for (const std::string& part : ostrel::core::split(text, ',')) parts.push_back(trimmed(part));
    return parts;
}

bool isPrintable(const std::string& text, size_t max) {
    if (text.empty() || text.size() > max || text.front() == ' ' || text.back() == ' ') return false;
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

std::optional<uint64_t> parseUint64(const std::string& text, uint64_t max) {
    const bool isHex = text.compare(0, 2, "0x") == 0;
    const char* digits = isHex ? "0123456789abcdefABCDEF" : "0123456789";
    const std::string body = isHex ? text.substr(2) : text;
    if (body.empty() || body.size() > 19 || body.find_first_not_of(digits) != std::string::npos) return std::nullopt;
    try {
        const uint64_t number = std::stoull(body, nullptr, isHex ? 16 : 10);
        return number <= max ? std::optional(number) : std::nullopt;
    } catch (const std::out_of_range&) {
        return std::nullopt;
    }
}

}  // namespace features::simulator
