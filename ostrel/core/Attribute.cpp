#include "ostrel/core/Attribute.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <utility>

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/Uint128.h"

namespace ostrel::core {
namespace {

constexpr char LIST_DELIMITER[] = "~";

/// The bytes of a value, which must not be lost: an attribute without its value reads as one that the drive does not
/// have.
Payload allocated(Payload value, uint64_t wantedBytes) {
    OSTREL_TRACE();
    if (value.getSize() != wantedBytes) throw std::bad_alloc();
    return value;
}

Payload terminated(std::string_view text) {
    OSTREL_TRACE();
    Payload value = allocated(Payload(text.size() + 1), text.size() + 1);
    std::copy(text.begin(), text.end(), value.getData());
    value.getData()[text.size()] = 0;
    return value;
}

Payload littleEndian(const Uint128& number, unsigned widthBytes) {
    OSTREL_TRACE();
    Payload value = allocated(Payload(widthBytes), widthBytes);
    for (unsigned i = 0; i < value.getSize(); ++i) value.getData()[i] = number.byteAt(i);
    return value;
}

Uint128 readLittleEndian(const Payload& value, unsigned maximumBytes) {
    OSTREL_TRACE();
    Uint128 number;
    for (unsigned i = 0; i < std::min(value.getSize(), maximumBytes); ++i) number.setByte(i, value.getData()[i]);
    return number;
}

// Bytes to text. `widthBytes` is that of the type.

std::string_view charactersOf(const Payload& value) {
    OSTREL_TRACE();
    if (value.getSize() == 0) return {};
    return {reinterpret_cast<const char*>(value.getData()), value.getSize() - 1};
}

std::string charactersText(const Payload& value, unsigned) {
    OSTREL_TRACE();
    return std::string(charactersOf(value));
}

std::string signedText(const Payload& value, unsigned widthBytes) {
    OSTREL_TRACE();
    const unsigned bytes = std::min(value.getSize(), widthBytes);
    if (bytes == 0) return "-1";  // but "0" for the unsigned types; callers depend on both
    const unsigned unusedBits = 64 - 8 * bytes;
    return std::to_string(static_cast<int64_t>(readLittleEndian(value, bytes).low64() << unusedBits) >> unusedBits);
}

std::string unsignedText(const Payload& value, unsigned) {
    OSTREL_TRACE();
    return std::to_string(readLittleEndian(value, sizeof(uint64_t)).low64());
}

std::string bigNumberText(const Payload& value, unsigned) {
    OSTREL_TRACE();
    return readLittleEndian(value, 16).text();
}

bool isOne(const Payload& value) {
    OSTREL_TRACE();
    return value.getSize() != 0 && value.getData()[0] == 1;
}

std::string booleanText(const Payload& value, unsigned) {
    OSTREL_TRACE();
    return boolToText(isOne(value));
}

std::string hexText(const Payload& value, unsigned) {
    OSTREL_TRACE();
    return bytesToHex(value.getData(), value.getSize());
}

std::string hexValueText(const Payload& value, unsigned) {
    OSTREL_TRACE();
    const uint8_t* end = value.getData() + value.getSize();
    const uint8_t* first = std::find_if(value.getData(), end, [](uint8_t byte) { return byte != 0; });
    return first == end ? "0x0" : "0x" + bytesToHex(first, static_cast<size_t>(end - first));
}

std::string noText(const Payload&, unsigned) {
    OSTREL_TRACE();
    return "";
}

// Text to bytes; nothing when the text does not suit.

using OptionalPayload = std::optional<Payload>;

std::string_view withoutHexPrefix(std::string_view text) {
    OSTREL_TRACE();
    const std::string_view prefix = text.substr(0, 2);
    if (prefix == "0x" || prefix == "0X") text.remove_prefix(2);
    return text;
}

bool hasOnlyHexDigits(std::string_view text) {
    OSTREL_TRACE();
    // After a prefix isHex() overlooks a character, so that no prefix may be left.
    return !text.empty() && withoutHexPrefix(text).size() == text.size() && isHex(text);
}

/// The decimal or hexadecimal number, if it has no more than `bits` bits.
std::optional<Uint128> parseNumber(std::string_view text, unsigned bits) {
    OSTREL_TRACE();
    const unsigned base = isInteger(text) ? 10 : 16;
    if (base == 16) text = withoutHexPrefix(text);
    if (!hasOnlyHexDigits(text)) return std::nullopt;

    Uint128 number;
    for (const char digit : text) {
        const auto value = static_cast<uint32_t>(digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10);
        if (!number.multiplyAdd(base, value)) return std::nullopt;
    }
    if (number.hasBitsFrom(bits)) return std::nullopt;
    return number;
}

OptionalPayload parseCharacters(std::string_view text, unsigned) {
    OSTREL_TRACE();
    return terminated(text);
}

OptionalPayload parseInteger(std::string_view text, unsigned widthBytes, unsigned bits) {
    OSTREL_TRACE();
    const auto number = parseNumber(text, bits);
    if (!number) return std::nullopt;
    return littleEndian(*number, widthBytes);
}

OptionalPayload parseUnsigned(std::string_view text, unsigned widthBytes) {
    OSTREL_TRACE();
    return parseInteger(text, widthBytes, 8 * widthBytes);
}

OptionalPayload parseSigned(std::string_view text, unsigned widthBytes) {
    OSTREL_TRACE();
    return parseInteger(text, widthBytes, 8 * widthBytes - 1);  // no sign is accepted, so its bit stays free
}

/// Digits and a point. By the C library, whose code every process has: std::from_chars() for this one number brings 20
/// KiB and the whole mathematics library. The program keeps the locale "C", whose point is a point.
std::optional<double> parseFraction(std::string_view text) {
    OSTREL_TRACE();
    if (text.empty() || text.find_first_not_of("0123456789.") != std::string_view::npos) return std::nullopt;
    const std::string copy(text);
    char* end = nullptr;
    errno = 0;
    const double number = std::strtod(copy.c_str(), &end);
    const bool isOutOfRange = errno == ERANGE && (number == 0 || number == HUGE_VAL);
    if (isOutOfRange || end != copy.c_str() + copy.size()) return std::nullopt;
    return number;
}

OptionalPayload parseDouble(std::string_view text, unsigned widthBytes) {
    OSTREL_TRACE();
    auto number = parseFraction(text);
    if (!number) {
        const auto hex = parseNumber(text, 64);
        if (!hex) return std::nullopt;
        number = static_cast<double>(hex->low64());
    }
    uint64_t bits = 0;
    std::memcpy(&bits, &*number, sizeof bits);
    return littleEndian(Uint128(bits), widthBytes);
}

OptionalPayload parseBoolean(std::string_view text, unsigned widthBytes) {
    OSTREL_TRACE();
    if (!isBoolean(text)) return std::nullopt;
    return littleEndian(Uint128(text == "1" || toBoolean(text) ? 1 : 0), widthBytes);
}

OptionalPayload parseHexPairs(std::string_view text, unsigned) {
    OSTREL_TRACE();
    if (text.size() % 2 != 0 || !(text.empty() || hasOnlyHexDigits(text))) return std::nullopt;
    return allocated(hexToBytes(text, ""), text.size() / 2);
}

OptionalPayload parseHexValue(std::string_view text, unsigned) {
    OSTREL_TRACE();
    text = withoutHexPrefix(text);
    if (!hasOnlyHexDigits(text)) return std::nullopt;
    const std::string pairs = text.size() % 2 == 0 ? std::string(text) : '0' + std::string(text);
    return allocated(hexToBytes(pairs, ""), pairs.size() / 2);
}

OptionalPayload parseNothing(std::string_view, unsigned) {
    OSTREL_TRACE();
    return std::nullopt;
}

struct TypeRow {
    const char* name;
    unsigned widthBytes;
    std::string (*toText)(const Payload& value, unsigned widthBytes);
    OptionalPayload (*fromText)(std::string_view text, unsigned widthBytes);
};

// clang-format off
constexpr TypeRow TYPES[] = {
    {typeString(),           0,  charactersText, parseCharacters},
    {typeSint8(),            1,  signedText,     parseSigned},
    {typeSint16(),           2,  signedText,     parseSigned},
    {typeSint32(),           4,  signedText,     parseSigned},
    {typeSint64(),           8,  signedText,     parseSigned},
    {typeUint8(),            1,  unsignedText,   parseUnsigned},
    {typeUint16(),           2,  unsignedText,   parseUnsigned},
    {typeUint32(),           4,  unsignedText,   parseUnsigned},
    {typeUint64(),           8,  unsignedText,   parseUnsigned},
    {typeUint128(),          16, bigNumberText,  parseUnsigned},
    {typeUlong(),            8,  bigNumberText,  parseUnsigned},
    {typeDouble(),           8,  noText,         parseDouble},
    {typeBoolean(),          1,  booleanText,    parseBoolean},
    {typeBytepointer(),      0,  hexText,        parseHexPairs},
    {typeListUint64(),       0,  hexText,        parseHexPairs},  // not the list itself: readers expect it so
    {typeVectorOfStrings(),  0,  charactersText, parseCharacters},
    {typeVectorOfPayloads(), 0,  noText,         parseNothing},
    {typeHexValue(),         0,  hexValueText,   parseHexValue},
};
// clang-format on
constexpr TypeRow UNKNOWN_TYPE = {"", 0, noText, parseNothing};

const TypeRow& rowOf(const std::string& type) {
    OSTREL_TRACE();
    const auto* row =
        std::find_if(std::begin(TYPES), std::end(TYPES), [&type](const TypeRow& r) { return type == r.name; });
    return row == std::end(TYPES) ? UNKNOWN_TYPE : *row;
}

}  // namespace

Attribute::Attribute() : type_(typeBytepointer()) {}

Attribute::Attribute(std::string name, std::string displayName, std::string type)
    : name_(std::move(name)), displayName_(std::move(displayName)), type_(std::move(type)) {}

void Attribute::setNumber(uint64_t number, unsigned widthBytes) {
    OSTREL_TRACE();
    value_ = littleEndian(Uint128(number), widthBytes);
}

void Attribute::setValue(const std::string& value) {
    OSTREL_TRACE();
    value_ = terminated(value);
}

void Attribute::setValue(const void* data, uint64_t size) {
    OSTREL_TRACE();
    value_ = data == nullptr ? Payload() : allocated(Payload(data, size), size);
}

void Attribute::setList(const std::vector<std::string>& list) {
    OSTREL_TRACE();
    setValue(join(list, LIST_DELIMITER));
}

void Attribute::setList(const std::vector<uint64_t>& list) {
    OSTREL_TRACE();
    std::vector<std::string> texts(list.size());
    std::transform(list.begin(), list.end(), texts.begin(), numberToText<uint64_t>);
    setList(texts);
}

std::string Attribute::getText() const {
    OSTREL_TRACE();
    const TypeRow& row = rowOf(type_);
    return row.toText(value_, row.widthBytes);
}

std::string_view Attribute::getCharacters() const {
    OSTREL_TRACE();
    return charactersOf(value_);
}

bool Attribute::isTrue() const {
    OSTREL_TRACE();
    return isOne(value_);
}

uint64_t Attribute::getNumber() const {
    OSTREL_TRACE();
    return readLittleEndian(value_, sizeof(uint64_t)).low64();
}

Status Attribute::fromText(const std::string& text) {
    OSTREL_TRACE();
    const TypeRow& row = rowOf(type_);
    const auto value = row.fromText(text, row.widthBytes);
    if (!value) return statuses::invalidAttributeValueType();
    setValue(*value);
    return Status();
}

bool operator<(const Attribute& left, const Attribute& right) {
    OSTREL_TRACE();
    return toUpper(left.getName()) < toUpper(right.getName());
}

bool operator==(const Attribute& left, const Attribute& right) {
    OSTREL_TRACE();
    return equals(left.getName(), right.getName(), true) && left.getType() == right.getType();
}

bool operator!=(const Attribute& left, const Attribute& right) {
    OSTREL_TRACE();
    return !(left == right);
}

}  // namespace ostrel::core
