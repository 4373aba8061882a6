#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Reads of little-endian fields out of bytes that a drive filled. Structures are never cast onto a buffer: it may be
/// shorter than the structure, and the machine may be big-endian. The caller has checked the length.
constexpr uint16_t le16(const uint8_t* at) {
    return static_cast<uint16_t>(at[0] | at[1] << 8);
}
constexpr uint32_t le24(const uint8_t* at) {
    return static_cast<uint32_t>(at[0]) | static_cast<uint32_t>(at[1]) << 8 | static_cast<uint32_t>(at[2]) << 16;
}
constexpr uint32_t le32(const uint8_t* at) {
    return le24(at) | static_cast<uint32_t>(at[3]) << 24;
}
constexpr uint64_t le48(const uint8_t* at) {
    return le32(at) | static_cast<uint64_t>(le16(at + 4)) << 32;
}
constexpr uint64_t le64(const uint8_t* at) {
    return le32(at) | static_cast<uint64_t>(le32(at + 4)) << 32;
}

constexpr void putLe16(uint8_t* at, uint16_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
}
constexpr void putLe32(uint8_t* at, uint32_t value) {
    putLe16(at, static_cast<uint16_t>(value));
    putLe16(at + 2, static_cast<uint16_t>(value >> 16));
}
constexpr void putLe64(uint8_t* at, uint64_t value) {
    putLe32(at, static_cast<uint32_t>(value));
    putLe32(at + 4, static_cast<uint32_t>(value >> 32));
}

/// A 128-bit counter as an exact decimal, without leading zeros.
std::string decimal128(const uint8_t* at);
std::string decimal128(const Le128& number);

/// An identity string of a drive as it may be shown: trailing blanks and zero bytes off, leading blanks off, every byte
/// outside 20h to 7Eh as '?', so that a drive cannot send terminal control codes or break an answer.
std::string shownText(const uint8_t* at, size_t length);

/// Bit `position` of a field.
constexpr bool bit(uint64_t field, unsigned position) {
    return (field >> position & 1) != 0;
}
/// Bits `high` down to `low` of a field.
constexpr uint64_t bits(uint64_t field, unsigned high, unsigned low) {
    return field >> low & ((high - low == 63) ? ~uint64_t{0} : (uint64_t{1} << (high - low + 1)) - 1);
}

}  // namespace features::nvme
