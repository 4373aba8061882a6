#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/FieldTree.h"

namespace features::nvme {

/// How the bytes of a field become text. The numbers are little endian and up to 8 bytes wide.
enum class Format : uint8_t {
    DECIMAL,
    DECIMAL_0BASED,  ///< the field counts from 0: shown one higher
    HEX,             ///< all digits of the field's width
    TEXT,            ///< blanks and zero bytes at the ends off
    COUNTER,         ///< 16 bytes, exact decimal
    KELVIN,          ///< shown in Celsius; 0: "not reported"
    BYTES,           ///< hexadecimal digits in the order of the bytes
    VERSION,         ///< "1.4.0"
};

/// One field of a structure of the standard: where it is and how it is shown.
struct FieldRow {
    const char* name;
    const char* description;
    uint16_t offset;
    uint16_t width;
    Format format;
};

/// One bit, or group of bits, of a field, shown under the field.
struct BitRow {
    const char* field;  ///< the name in the FieldRow
    uint8_t high;
    uint8_t low;
    const char* name;
    const char* description;
};

/// Adds every row that lies within `size` bytes of `data`: a short structure of an old drive has fewer fields. Behind a
/// field come its bits, one that stands alone as "True" or "False", a group as its decimal value.
void addFields(FieldTree& tree, const FieldRow* fields, std::size_t fieldCount, const BitRow* bits,
               std::size_t bitCount, const uint8_t* data, std::size_t size);

template <std::size_t FIELDS, std::size_t BITS>
void addFields(FieldTree& tree, const FieldRow (&fields)[FIELDS], const BitRow (&bits)[BITS], const uint8_t* data,
               std::size_t size) {
    addFields(tree, fields, FIELDS, bits, BITS, data, size);
}
template <std::size_t FIELDS>
void addFields(FieldTree& tree, const FieldRow (&fields)[FIELDS], const uint8_t* data, std::size_t size) {
    addFields(tree, fields, FIELDS, nullptr, 0, data, size);
}

/// "35 C", or "not reported" for 0 Kelvin.
std::string celsiusText(uint16_t kelvin);
/// The number in up to 8 bytes.
uint64_t leNumber(const uint8_t* at, std::size_t width);

}  // namespace features::nvme
