#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

/// The values of a description file as text.
namespace features::simulator {

/// Without blanks, tabs and carriage returns around it.
std::string trimmed(const std::string& text);
/// The parts between commas; none of an empty text.
std::vector<std::string> listOf(const std::string& text);
/// Whether it can be an identity string: 1 to `max` printable ASCII characters, without blanks at the ends, which the
/// drive's padding would swallow.
bool isPrintable(const std::string& text, size_t max);
/// Decimal digits, or hexadecimal ones after "0x", up to `max`.
bool parseNumber(const std::string& text, uint64_t max, uint64_t& number);

template <class Number>
bool parseInto(const std::string& text, Number& into) {
    uint64_t number = 0;
    if (!parseNumber(text, std::numeric_limits<Number>::max(), number)) return false;
    into = static_cast<Number>(number);
    return true;
}

}  // namespace features::simulator
