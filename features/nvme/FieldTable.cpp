#include "features/nvme/FieldTable.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "features/nvme/Bytes.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/Units.h"
#include "ostrel/core/Strings.h"

namespace features::nvme {

namespace {

std::string versionText(const uint8_t* at) {
    return std::to_string(le16(at + 2)) + "." + std::to_string(at[1]) + "." + std::to_string(at[0]);
}

/// Figures of the Timestamp feature: 6 bytes of milliseconds, then who began to count them.
std::string dateText(const uint8_t* at) {
    return bits(at[6], 3, 1) == 0 ? "not set" : timeText(le48(at));  // not set: it counts from a reset
}

std::string statusText(uint16_t statusWithPhase) {
    const StatusCode status = StatusCode::ofField(static_cast<uint16_t>(statusWithPhase >> 1));
    return hexText(status.field(), 3) + " " + statusCodeText(status);
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
        case Format::CELSIUS:
            return celsiusText(static_cast<uint16_t>(number));
        default:
            return std::to_string(number);
    }
}

/// A text that is empty says nothing, but in some rows it has a word.
std::string textOrWord(const FieldRow& row, const uint8_t* at) {
    const std::string text = shownText(at, row.width);
    if (!text.empty()) return text;
    const char* word = findWord(row.words, 0);
    return word != nullptr ? word : NOT_REPORTED;
}

/// An identifier that is zero is none.
std::string bytesText(const uint8_t* at, std::size_t width) {
    if (std::all_of(at, at + width, [](uint8_t byte) { return byte == 0; })) return NOT_REPORTED;
    return ostrel::core::bytesToHex(at, width);
}

std::string fieldText(const FieldRow& row, const uint8_t* at) {
    switch (row.format) {
        case Format::TEXT:
            return textOrWord(row, at);
        case Format::COUNTER:
            return decimal128(at);
        case Format::BYTES:
            return bytesText(at, row.width);
        case Format::UUID:
            return uuidText(at);
        case Format::VERSION:
            return versionText(at);
        case Format::STATUS:
            return statusText(le16(at));
        case Format::DATE:
            return dateText(at);
        default:
            return numberText(row, bits(leNumber(at, row.width), row.high, row.low));
    }
}

/// Where the unit's bracket opens, with the blank before it; npos where there is no unit.
size_t unitAt(const std::string& description) {
    return description.empty() || description.back() != ')' ? std::string::npos : description.rfind(" (");
}

/// A field whose validity bit is after the end of the structure says nothing either.
bool isValid(const FieldRow& row, const uint8_t* data, std::size_t size) {
    if (row.validityBit < 0) return true;
    const auto position = static_cast<std::size_t>(row.validityBit);
    return position / 8 < size && bit(data[position / 8], position % 8);
}

}  // namespace

void addFields(FieldTree& tree, FieldRows rows, const uint8_t* data, std::size_t size, uint16_t version) {
    for (const FieldRow& row : rows) {
        if (row.version > version || row.offset + std::size_t{row.width} > size) continue;
        tree.add(fieldName(row), fieldDescription(row),
                 isValid(row, data, size) ? withUnit(fieldText(row, data + row.offset), fieldUnit(row)) : NOT_REPORTED);
    }
}

FieldTree decodeTable(const char* heading, FieldRows rows, const ostrel::core::Payload& data, uint16_t version) {
    FieldTree tree{heading, {}, {}};
    addFields(tree, rows, data.getData(), data.getSize(), version);
    return tree;
}

std::string fieldName(const FieldRow& row) {
    return row.key != nullptr ? row.key().getName() : row.name;
}

std::string fieldDescription(const FieldRow& row) {
    const std::string description = row.description;
    return description.substr(0, unitAt(description));
}

std::string fieldUnit(const FieldRow& row) {
    const std::string description = row.description;
    const size_t at = unitAt(description);
    return at == std::string::npos ? "" : description.substr(at + 2, description.size() - at - 3);
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
    return kelvin == 0 ? NOT_REPORTED : std::to_string(int{kelvin} - KELVIN_AT_0_CELSIUS);
}

std::string timeText(uint64_t milliseconds) {
    const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
    std::tm date{};
    gmtime_r(&seconds, &date);
    char text[40];
    const size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &date);
    std::snprintf(text + length, sizeof text - length, ".%03u UTC", static_cast<unsigned>(milliseconds % 1000));
    return text;
}

std::string uuidText(const uint8_t* at) {
    const std::string digits = ostrel::core::toLower(ostrel::core::bytesToHex(at, 16));
    return digits.substr(0, 8) + "-" + digits.substr(8, 4) + "-" + digits.substr(12, 4) + "-" + digits.substr(16, 4) +
           "-" + digits.substr(20);
}

}  // namespace features::nvme
