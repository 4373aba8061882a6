#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
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
std::optional<uint64_t> parseUint64(const std::string& text, uint64_t max);

template <class Number>
std::optional<Number> parseNumber(const std::string& text, Number max = std::numeric_limits<Number>::max()) {
    const std::optional<uint64_t> number = parseUint64(text, static_cast<uint64_t>(max));
    return number ? std::optional(static_cast<Number>(*number)) : std::nullopt;
}

}  // namespace features::simulator
