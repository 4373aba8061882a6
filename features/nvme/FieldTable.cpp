#include "features/nvme/FieldTable.h"

#include <cstring>

#include "features/nvme/Bytes.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"

namespace features::nvme {

namespace {

std::string fieldText(const FieldRow& row, const uint8_t* at) {
    switch (row.format) {
        case Format::DECIMAL:
            return std::to_string(leNumber(at, row.width));
        case Format::DECIMAL_0BASED:
            return std::to_string(leNumber(at, row.width) + 1);
        case Format::HEX:
            return hexText(leNumber(at, row.width), row.width * 2U);
        case Format::TEXT:
            return shownText(at, row.width);
        case Format::COUNTER:
            return decimal128(at);
        case Format::KELVIN:
            return celsiusText(le16(at));
        case Format::BYTES:
            return ostrel::core::bytesToHex(at, row.width);
        case Format::VERSION:
            return std::to_string(le16(at + 2)) + "." + std::to_string(at[1]) + "." + std::to_string(at[0]);
    }
    return {};
}

std::string bitText(const BitRow& row, uint64_t field) {
    if (row.high == row.low) return ostrel::core::boolToText(bit(field, row.low));
    return std::to_string(bits(field, row.high, row.low));
}

}  // namespace

void addFields(FieldTree& tree, const FieldRow* fields, std::size_t fieldCount, const BitRow* bits,
               std::size_t bitCount, const uint8_t* data, std::size_t size) {
    OSTREL_TRACE();
    for (const FieldRow* field = fields; field != fields + fieldCount; ++field) {
        if (field->offset + std::size_t{field->width} > size) continue;
        const uint8_t* at = data + field->offset;
        tree.add(field->name, field->description, fieldText(*field, at));
        for (const BitRow* row = bits; row != bits + bitCount; ++row) {
            if (std::strcmp(row->field, field->name) != 0) continue;
            tree.add(row->name, row->description, bitText(*row, leNumber(at, field->width)));
        }
    }
}

std::string celsiusText(uint16_t kelvin) {
    // A sensor that is not there reads 0 Kelvin, which is no temperature.
    return kelvin == 0 ? "not reported" : std::to_string(int{kelvin} - 273) + " C";
}

uint64_t leNumber(const uint8_t* at, std::size_t width) {
    uint64_t number = 0;
    for (std::size_t i = width; i > 0; --i) number = number << 8 | at[i - 1];
    return number;
}

}  // namespace features::nvme
