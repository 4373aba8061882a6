#pragma once

#include <cstdint>
#include <string>

namespace features::nvme {

/// Status code types of a completion.
inline constexpr uint8_t SCT_GENERIC = 0;
inline constexpr uint8_t SCT_COMMAND_SPECIFIC = 1;
inline constexpr uint8_t SCT_MEDIA = 2;
inline constexpr uint8_t SCT_PATH = 3;
inline constexpr uint8_t SCT_VENDOR = 7;

/// What a completion reports: a code says nothing without its type.
struct StatusCode {
    uint8_t type;
    uint8_t code;

    /// The two in the low 11 bits of a status field.
    static constexpr StatusCode ofField(uint16_t statusField) {
        return {static_cast<uint8_t>(statusField >> 8 & 7), static_cast<uint8_t>(statusField)};
    }
    constexpr uint16_t field() const { return static_cast<uint16_t>(type << 8 | code); }
    constexpr bool operator==(const StatusCode& other) const { return field() == other.field(); }
    constexpr bool operator!=(const StatusCode& other) const { return !(*this == other); }
};

// One constant a row: SC_INVALID_FIELD is {SCT_GENERIC, 0x02}.
#define STATUS_CODE(type, code, name, text) inline constexpr StatusCode name{type, code};
#define FABRICS_STATUS_CODE(type, code, name, text) inline constexpr StatusCode name{type, code};
#include "features/nvme/StatusCodes.def"
#undef STATUS_CODE
#undef FABRICS_STATUS_CODE

/// The standard's words for a status code, "Vendor Specific" or "Reserved" where it has none.
std::string statusCodeText(StatusCode status);

}  // namespace features::nvme
