#include "exporter/Values.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

namespace exporter {
namespace {

struct UnitRow {
    std::string_view name;
    double factor;
};
constexpr UnitRow UNITS[] = {
    {"", 1},
    {"%", 0.01},
    {"C", 1},
    {"bytes", 1},
    {"blocks", 1},
    {"units of 512000 bytes", 512000},
    {"units of 1/65536", 1.0 / 65536},
    {"seconds", 1},
    {"minutes", 60},
    {"hours", 3600},
    {"GT/s", 1e9},
    {"Gb/s", 1e9 / 8},
};
constexpr double SECONDS_PER_HOUR = 3600;

bool isNumeric(std::string_view text) {
    const std::size_t first = text.find_first_not_of('-');
    return first <= 1 && first < text.size() && text[first] >= '0' && text[first] <= '9' && text.substr(0, 2) != "0x";
}

Value numberOf(std::string_view text, std::string_view unit) {
    if (!isNumeric(text)) return {};
    const std::size_t end = text.find_first_not_of("-0123456789.");
    if (end != std::string_view::npos && text[end] != ' ') return {};  // words that begin with a digit
    if (end != std::string_view::npos) unit = text.substr(end + 1);
    for (const UnitRow& row : UNITS) {
        if (row.name == unit) return {std::strtod(std::string(text.substr(0, end)).c_str(), nullptr) * row.factor};
    }
    return {std::nullopt, true};
}

/// The words of a row, in their order.
std::vector<std::string_view> split(std::string_view words) {
    std::vector<std::string_view> parts;
    for (std::size_t bar = words.find('|'); bar != std::string_view::npos; bar = words.find('|')) {
        parts.push_back(words.substr(0, bar));
        words.remove_prefix(bar + 1);
    }
    parts.push_back(words);
    return parts;
}

/// The position of the word that is the text, or that it begins with; none: no word.
std::optional<double> position(std::string_view text, const Source& source) {
    const bool isPrefix = source.conversion == Conversion::BEGINS_WITH;
    const auto words = split(source.words);
    for (std::size_t i = 0; i < words.size(); ++i) {
        if ((isPrefix ? text.substr(0, words[i].size()) : text) == words[i]) return static_cast<double>(i);
    }
    return std::nullopt;
}

/// What the library says where the drive did not: neither one state nor another.
bool isUnknown(std::string_view text) {
    constexpr std::string_view UNKNOWN[] = {"Unknown", "not reported", "Property not found", "not supported"};
    return std::any_of(std::begin(UNKNOWN), std::end(UNKNOWN),
                       [&](std::string_view word) { return text.substr(0, word.size()) == word; });
}

Value percentDone(std::string_view text) {
    constexpr std::string_view DONE = " done";
    if (text.size() <= DONE.size() || text.substr(text.size() - DONE.size()) != DONE) return {};
    const std::size_t comma = text.rfind(", ");
    if (comma == std::string_view::npos) return {};
    return numberOf(text.substr(comma + 2, text.size() - DONE.size() - comma - 2), "");
}

}  // namespace

Value toValue(std::string_view text, std::string_view unit, const Source& source) {
    switch (source.conversion) {
        case Conversion::FLAG:
            if (text == "True") return {1.0};
            return text == "False" ? Value{0.0} : Value{};
        case Conversion::ONE_OF:
        case Conversion::BEGINS_WITH:
            return isUnknown(text) ? Value{} : Value{position(text, source) ? 1.0 : 0.0};
        case Conversion::NONE_OF:
            return isUnknown(text) ? Value{} : Value{position(text, source) ? 0.0 : 1.0};
        case Conversion::LEVEL:
            return {position(text, source)};
        case Conversion::DONE:
            return percentDone(text);
        case Conversion::PRESENT:
            return {1.0};
        case Conversion::HOURS: {
            Value value = numberOf(text, unit);
            if (value.number) *value.number *= SECONDS_PER_HOUR;
            return value;
        }
        case Conversion::NUMBER:
            break;
    }
    return numberOf(text, unit);
}

}  // namespace exporter
