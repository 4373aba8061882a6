#include "features/nvme/FieldTable.h"

#include "features/nvme/Bytes.h"
#include "features/nvme/StatusCodes.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"

namespace features::nvme {

namespace {

std::string versionText(const uint8_t* at) {
    return std::to_string(le16(at + 2)) + "." + std::to_string(at[1]) + "." + std::to_string(at[0]);
}

std::string statusText(uint16_t statusWithPhase) {
    const auto status = static_cast<uint16_t>(statusWithPhase >> 1 & 0x7FF);
    return hexText(status, 3) + " " + statusCodeText(static_cast<uint8_t>(status >> 8), static_cast<uint8_t>(status));
}

std::string reservedText(uint64_t code) {
    return "reserved (" + hexText(code) + ")";
}

std::string numberText(const FieldRow& row, uint64_t number) {
    if (const char* text = findWord(row.words, number)) return text;
    switch (row.format) {
        case Format::DECIMAL_0BASED:
            return number == UINT64_MAX ? "18446744073709551616" : std::to_string(number + 1);
        case Format::POWER_OF_2:
            return number < 64 ? std::to_string(uint64_t{1} << number) : reservedText(number);
        case Format::HEX:
            return hexText(number, row.width * 2U);
        case Format::FLAG:
            return ostrel::core::boolToText(number != 0);
        case Format::WORD:
            return reservedText(number);
        default:
            return std::to_string(number);
    }
}

/// An empty text has its own word in some rows.
std::string textOrWord(const FieldRow& row, const uint8_t* at) {
    const std::string text = shownText(at, row.width);
    const char* word = text.empty() ? findWord(row.words, 0) : nullptr;
    return word != nullptr ? word : text;
}

std::string fieldText(const FieldRow& row, const uint8_t* at) {
    switch (row.format) {
        case Format::TEXT:
            return textOrWord(row, at);
        case Format::COUNTER:
            return decimal128(at);
        case Format::CELSIUS:
            return celsiusText(le16(at));
        case Format::BYTES:
            return ostrel::core::bytesToHex(at, row.width);
        case Format::UUID:
            return uuidText(at);
        case Format::VERSION:
            return versionText(at);
        case Format::STATUS:
            return statusText(le16(at));
        default:
            return numberText(row, bits(leNumber(at, row.width), row.high, row.low));
    }
}

/// A field whose validity bit lies behind the end of the structure says nothing either.
bool isValid(const FieldRow& row, const uint8_t* data, std::size_t size) {
    if (row.validityBit < 0) return true;
    const auto position = static_cast<std::size_t>(row.validityBit);
    return position / 8 < size && bit(data[position / 8], position % 8);
}

}  // namespace

void addFields(FieldTree& tree, const FieldRow* rows, std::size_t count, const uint8_t* data, std::size_t size) {
    OSTREL_TRACE();
    for (const FieldRow* row = rows; row != rows + count; ++row) {
        if (row->offset + std::size_t{row->width} > size) continue;
        const uint8_t* at = data + row->offset;
        tree.add(fieldName(*row), row->description, isValid(*row, data, size) ? fieldText(*row, at) : NOT_REPORTED);
    }
}

std::string fieldName(const FieldRow& row) {
    return row.key != nullptr ? row.key().getName() : row.name;
}

uint64_t leNumber(const uint8_t* at, std::size_t width) {
    uint64_t number = 0;
    for (std::size_t i = width; i > 0; --i) number = number << 8 | at[i - 1];
    return number;
}

const char* findWord(const Word* words, uint64_t code) {
    for (; words != nullptr && words->text != nullptr; ++words) {
        if (words->code == code) return words->text;
    }
    return nullptr;
}

std::string wordText(const Word* words, uint64_t code) {
    const char* text = findWord(words, code);
    return text != nullptr ? text : reservedText(code);
}

std::string celsiusText(uint16_t kelvin) {
    return kelvin == 0 ? NOT_REPORTED : std::to_string(int{kelvin} - 273);
}

std::string uuidText(const uint8_t* at) {
    const std::string digits = ostrel::core::toLower(ostrel::core::bytesToHex(at, 16));
    return digits.substr(0, 8) + "-" + digits.substr(8, 4) + "-" + digits.substr(12, 4) + "-" + digits.substr(16, 4) +
           "-" + digits.substr(20);
}

}  // namespace features::nvme
