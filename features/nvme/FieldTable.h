#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "features/nvme/FieldTree.h"
#include "ostrel/core/Attribute.h"
#include "ostrel/core/Payload.h"

namespace features::nvme {

/// How the bytes of a field become text. Numbers are little endian and up to 8 bytes wide.
enum class Format : uint8_t {
    DECIMAL,
    DECIMAL_0BASED,  ///< the field counts from 0: shown one higher
    POWER_OF_2,      ///< the field is the exponent
    HEX,             ///< all digits of the field's width
    FLAG,            ///< "True" or "False"
    WORD,            ///< out of the row's words alone; another code reads "reserved (0x5)"
    TEXT,            ///< blanks and zero bytes at the ends off; nothing left: "not reported"
    COUNTER,         ///< 16 bytes, exact decimal
    CELSIUS,         ///< 2 bytes of Kelvin; 0, which is no temperature, reads "not reported"
    BYTES,           ///< hexadecimal digits in the order of the bytes; all zero: "not reported"
    UUID,            ///< 16 bytes, "01234567-89ab-cdef-0123-456789abcdef"
    VERSION,         ///< "1.4.0"
    DATE,            ///< 8 bytes of the Timestamp feature: "2026-11-20 18:44:00.123 UTC", or "not set"
    STATUS,          ///< 2 bytes of a completion, phase bit and status: "0x002 Invalid Field in Command"
};

inline constexpr const char* NOT_REPORTED = "not reported";

/// What a code means. A table of words ends with a null text.
struct Word {
    uint64_t code;
    const char* text;
};

/// One field of a structure, or some bits of one: where it is and how it is shown.
///
/// Names and descriptions become keys of every output format, XML among them: letters, digits, blanks and "-_./()"
/// alone, a letter first. A unit is in brackets at the end of the description, and is shown after the value.
struct FieldRow {
    const char* name;  ///< the standard's short name; bits of a field bear the field's name in front
    const char* description;
    uint16_t offset;
    uint16_t width;  ///< bytes
    Format format;

    // The rest is set by the functions below.
    uint8_t high = 63;  ///< the bits that count, in the number of `width` bytes
    uint8_t low = 0;
    const Word* words = nullptr;  ///< numbers that are shown as words
    uint16_t version = 0;         ///< of the structure, with which the field came
    int32_t validityBit = -1;     ///< of the structure, counted from its first; where it is clear the field is unset
    ostrel::core::Attribute (*key)() = nullptr;  ///< its name takes the place of `name`
};

/// Bits `high` down to `low` of the field at `offset`, counted from the field's first bit.
constexpr FieldRow bitsRow(const char* name, const char* description, uint16_t offset, unsigned high, unsigned low,
                           Format format = Format::DECIMAL, const Word* words = nullptr) {
    const unsigned first = low / 8;
    FieldRow row{name, description, static_cast<uint16_t>(offset + first), static_cast<uint16_t>(high / 8 - first + 1),
                 format};
    row.high = static_cast<uint8_t>(high - first * 8);
    row.low = static_cast<uint8_t>(low - first * 8);
    row.words = words;
    return row;
}
constexpr FieldRow flag(const char* name, const char* description, uint16_t offset, unsigned bit) {
    return bitsRow(name, description, offset, bit, bit, Format::FLAG);
}
constexpr FieldRow word(const char* name, const char* description, uint16_t offset, unsigned high, unsigned low,
                        const Word* words) {
    return bitsRow(name, description, offset, high, low, Format::WORD, words);
}
/// The numbers in `words` are shown as words.
constexpr FieldRow inWords(const Word* words, FieldRow row) {
    row.words = words;
    return row;
}
inline constexpr Word NOT_REPORTED_AT_0[] = {{0, NOT_REPORTED}, {}};
/// "not reported" where the field holds 0.
constexpr FieldRow unless0(FieldRow row) {
    return inWords(NOT_REPORTED_AT_0, row);
}
inline constexpr Word NOT_REPORTED_AT_ALL_ONES[] = {{0xFFFFFFFF, NOT_REPORTED}, {}};
/// "not reported" where the field, of 4 bytes, holds FFFFFFFFh.
constexpr FieldRow unlessAllOnes(FieldRow row) {
    return inWords(NOT_REPORTED_AT_ALL_ONES, row);
}
inline constexpr Word NO_LIMIT_AT_0[] = {{0, "no limit"}, {}};
/// Not there in a structure of an earlier version.
constexpr FieldRow since(uint16_t version, FieldRow row) {
    row.version = version;
    return row;
}
/// "not reported" where bit `bit` of the byte at `offset` is clear.
constexpr FieldRow onlyIf(unsigned offset, unsigned bit, FieldRow row) {
    row.validityBit = static_cast<int32_t>(offset * 8 + bit);
    return row;
}
/// The field bears a name of the attribute vocabulary.
constexpr FieldRow keyed(ostrel::core::Attribute (*key)(), FieldRow row) {
    row.key = key;
    return row;
}

/// A table of rows.
struct FieldRows {
    const FieldRow* rows = nullptr;
    std::size_t count = 0;

    constexpr FieldRows() = default;
    constexpr FieldRows(const FieldRow* first, std::size_t size) : rows(first), count(size) {}
    template <std::size_t COUNT>
    constexpr FieldRows(const FieldRow (&table)[COUNT]) : rows(table), count(COUNT) {}  // NOLINT: a table is its rows

    const FieldRow* begin() const { return rows; }
    const FieldRow* end() const { return rows + count; }
};

/// Adds every row that lies within `size` bytes of `data`: a short structure of an old drive has fewer fields. Those of
/// a later version than `version` are left out.
void addFields(FieldTree& tree, FieldRows rows, const uint8_t* data, std::size_t size, uint16_t version = UINT16_MAX);
/// A structure that is one table of fields.
FieldTree decodeTable(const char* heading, FieldRows rows, const ostrel::core::Payload& data,
                      uint16_t version = UINT16_MAX);

/// The name that a row is shown under.
std::string fieldName(const FieldRow& row);
/// The description without the unit, and the unit ("minutes"), empty where the row has none.
std::string fieldDescription(const FieldRow& row);
std::string fieldUnit(const FieldRow& row);
/// The number in up to 8 bytes.
uint64_t leNumber(const uint8_t* at, std::size_t width);
/// The word of a code; null when there is none.
const char* findWord(const Word* words, uint64_t code);
/// The word of a code, or "reserved (0x5)".
std::string wordText(const Word* words, uint64_t code);
/// A temperature in Celsius, or "not reported" for 0 Kelvin.
std::string celsiusText(uint16_t kelvin);
std::string uuidText(const uint8_t* at);
/// Milliseconds since 1970 as "2026-11-20 18:44:00.123 UTC".
std::string timeText(uint64_t milliseconds);

}  // namespace features::nvme
