#pragma once

#include <string_view>

namespace cli::velkossd {

enum PartPresence : bool { PART_OPTIONAL, PART_REQUIRED };

/// What follows a part in a usage line, and whether a part that was given must have it. A plain text is a value
/// that is required.
struct PartValue {
    // NOLINTNEXTLINE(google-explicit-constructor): a row reads better with the bare text
    constexpr PartValue(const char* text, bool required = true) : text(text), required(required) {}

    std::string_view text;
    bool required;
};

constexpr PartValue optionalValue(const char* text) {
    return {text, false};
}

/// Usage shows no value, yet one that is given is let through to the flow: "-smart 5" and "-partition C" live on that.
inline constexpr PartValue NO_VALUE = optionalValue("");

/// A target or a property in the grammar of a command.
struct PartRow {
    std::string_view name{};
    PartPresence presence = PART_OPTIONAL;
    PartValue value = NO_VALUE;
    std::string_view help{};
};

}  // namespace cli::velkossd
