#include "ostrel/core/Strings.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <limits>

#include "ostrel/core/AddressableSize.h"
#include "ostrel/core/Logging.h"
#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {
namespace {

constexpr char HEX_DIGITS[] = "0123456789ABCDEF";
constexpr uint8_t NO_DIGIT = 0x80;  // a bit that no nibble has, so that one test finds it in a pair

constexpr std::array<uint8_t, 256> makeNibbles() {
    std::array<uint8_t, 256> nibbles{};
    for (size_t i = 0; i < nibbles.size(); ++i) nibbles[i] = NO_DIGIT;
    for (uint8_t i = 0; i < 16; ++i) {
        nibbles[static_cast<uint8_t>(HEX_DIGITS[i])] = i;
        if (i > 9) nibbles[static_cast<uint8_t>(HEX_DIGITS[i] + ('a' - 'A'))] = i;
    }
    return nibbles;
}
constexpr std::array<uint8_t, 256> NIBBLES = makeNibbles();

uint8_t nibble(char c) {
    return NIBBLES[static_cast<uint8_t>(c)];
}

/// Decodes pairs of digits; false, and some of the bytes made, where one is no pair. Without a branch for each, so that
/// the compiler makes vector instructions of it.
bool decodePairs(const char* digits, uint8_t* bytes, size_t count) {
    OSTREL_TRACE();
    unsigned char isBad = 0;
    for (size_t i = 0; i < count; ++i) {
        const auto high = static_cast<unsigned char>(digits[2 * i]);
        const auto low = static_cast<unsigned char>(digits[2 * i + 1]);
        const auto isHexDigit = [](unsigned char c) {
            const bool isDecimal = static_cast<unsigned char>(c - '0') < 10;
            const bool isLetter = static_cast<unsigned char>((c | 0x20) - 'a') < 6;
            return static_cast<unsigned char>(isDecimal | isLetter);
        };
        const auto value = [](unsigned char c) { return static_cast<unsigned char>((c & 0xF) + (c >> 6) * 9); };
        isBad |= static_cast<unsigned char>((isHexDigit(high) & isHexDigit(low)) ^ 1);
        bytes[i] = static_cast<uint8_t>(value(high) << 4 | value(low));
    }
    return isBad == 0;
}

bool isDecimalDigit(char c) {
    return c >= '0' && c <= '9';
}

char lowerCased(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

char upperCased(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

constexpr char BLANKS[] = " \t\n\v\f\r";

/// The magnitude that the text begins with, 0 when there is none, and whether it fits.
template <typename Magnitude>
bool readMagnitude(std::string_view text, int base, Magnitude& magnitude) {
    OSTREL_TRACE();
    return std::from_chars(text.data(), text.data() + text.size(), magnitude, base).ec !=
           std::errc::result_out_of_range;
}

/// Blanks and a sign before the number, the nearest number when it does not fit, 0 when there is none.
template <typename Number>
Number readDecimal(std::string_view text) {
    OSTREL_TRACE();
    using Limits = std::numeric_limits<Number>;
    text.remove_prefix(std::min(text.find_first_not_of(BLANKS), text.size()));
    const bool isNegative = text.substr(0, 1) == "-";
    if (isNegative || text.substr(0, 1) == "+") text.remove_prefix(1);
    std::make_unsigned_t<Number> magnitude = 0;
    std::make_unsigned_t<Number> limit = Limits::max();
    if (isNegative && Limits::is_signed) ++limit;
    const bool fits = readMagnitude(text, 10, magnitude) && magnitude <= limit;
    if (!fits) return isNegative && Limits::is_signed ? Limits::min() : Limits::max();
    return static_cast<Number>(isNegative ? 0 - magnitude : magnitude);
}

template <typename Number>
Number readHex(std::string_view text) {
    OSTREL_TRACE();
    if (!isHex(text)) {
        logMessage(LOGSEVERITY_ERROR, "ERROR!!! String is not a valid hexadecimal number");
        return static_cast<Number>(-1);
    }
    if (text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X") text.remove_prefix(2);
    Number number = 0;
    return readMagnitude(text, 16, number) ? number : std::numeric_limits<Number>::max();
}

void appendHex(std::string& text, uint8_t byte) {
    text += HEX_DIGITS[byte >> 4];
    text += HEX_DIGITS[byte & 0xF];
}

}  // namespace

bool isInteger(std::string_view text) {
    OSTREL_TRACE();
    return !text.empty() && std::all_of(text.begin(), text.end(), isDecimalDigit);
}

bool isHex(std::string_view text) {
    OSTREL_TRACE();
    if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
        text.remove_prefix(std::min<size_t>(text.size(), 3));  // one too many; callers depend on it
    return std::all_of(text.begin(), text.end(), [](char c) { return nibble(c) != NO_DIGIT; });
}

bool isBoolean(std::string_view text) {
    OSTREL_TRACE();
    return text == "0" || text == "1" || equals(text, "true", true) || equals(text, "false", true);
}

bool toBoolean(std::string_view text) {
    OSTREL_TRACE();
    return equals(text, "true", true);
}

template <typename Number>
Number toNumber(std::string_view text) {
    OSTREL_TRACE();
    if (!isInteger(text) && isHex(text)) return static_cast<Number>(readHex<std::make_unsigned_t<Number>>(text));
    return readDecimal<Number>(text);
}
template int32_t toNumber(std::string_view);
template uint32_t toNumber(std::string_view);
template int64_t toNumber(std::string_view);
template uint64_t toNumber(std::string_view);

uint32_t hexToInt(std::string_view text) {
    OSTREL_TRACE();
    return readHex<uint32_t>(text);
}

uint64_t hexToInt64(std::string_view text) {
    OSTREL_TRACE();
    return readHex<uint64_t>(text);
}

std::string boolToText(bool flag) {
    OSTREL_TRACE();
    return flag ? "True" : "False";
}

template <typename Number>
std::string numberToText(Number number) {
    OSTREL_TRACE();
    return std::to_string(number);
}
template std::string numberToText(int8_t);
template std::string numberToText(int16_t);
template std::string numberToText(int32_t);
template std::string numberToText(int64_t);
template std::string numberToText(uint8_t);
template std::string numberToText(uint16_t);
template std::string numberToText(uint32_t);
template std::string numberToText(uint64_t);

std::string bytesToHex(const void* data, size_t size) {
    OSTREL_TRACE();
    const auto* bytes = static_cast<const uint8_t*>(data);
    std::string text(size * 2, '\0');
    for (size_t i = 0; i < size; ++i) {
        text[2 * i] = HEX_DIGITS[bytes[i] >> 4];
        text[2 * i + 1] = HEX_DIGITS[bytes[i] & 0xF];
    }
    return text;
}

Payload hexToBytes(std::string_view text, std::string_view removeText) {
    OSTREL_TRACE();
    std::string kept;
    if (!removeText.empty() && text.find(removeText) != std::string_view::npos) {
        kept = text;
        replaceAll(kept, removeText, "");
        text = kept;
    }
    if (text.size() % 2 != 0) text.remove_prefix(1);

    Payload payload(text.size() / 2);
    uint8_t* bytes = payload.getData();
    if (decodePairs(text.data(), bytes, payload.getSize())) return payload;
    for (size_t i = 0; i < payload.getSize(); ++i) {
        const uint32_t high = nibble(text[2 * i]);
        const uint32_t low = nibble(text[2 * i + 1]);
        const bool isPair = ((high | low) & NO_DIGIT) == 0;
        bytes[i] = static_cast<uint8_t>(isPair ? high << 4 | low : hexToInt(text.substr(2 * i, 2)));
    }
    return payload;
}

std::string hexDump(const Payload& payload, size_t bytesPerLine) {
    OSTREL_TRACE();
    const uint8_t* bytes = payload.getData();
    std::string text;
    text.reserve(addressableSize(uint64_t{payload.getSize()} * 3));
    for (size_t i = 0; i < payload.getSize(); ++i) {
        if (i != 0) text += bytesPerLine != 0 && i % bytesPerLine == 0 ? '\n' : ' ';
        appendHex(text, bytes[i]);
    }
    return text;
}

std::string bytesToHexValue(const void* data, size_t size, bool reversed) {
    OSTREL_TRACE();
    const auto* bytes = static_cast<const uint8_t*>(data);
    if (size > 8 && std::all_of(bytes, bytes + size, [](uint8_t byte) { return byte == 0; })) return "0x0";
    std::string text = "0x";
    for (size_t i = 0; i < size; ++i) appendHex(text, bytes[reversed ? size - 1 - i : i]);
    return text;
}

std::string sizeToText(uint64_t bytes, bool decimal) {
    OSTREL_TRACE();
    constexpr const char* UNITS[] = {"MB", "GB", "TB", "PB"};
    const double factor = decimal ? 1000.0 : 1024.0;
    double size = static_cast<double>(bytes) / factor / factor;
    size_t unit = 0;
    // Half of the last shown decimal less, so that no size is shown as "1000.00 MB".
    for (; size >= factor - 0.005 && unit + 1 < std::size(UNITS); ++unit) size /= factor;
    char text[32] = {};
    (void)std::snprintf(text, sizeof text, "%.2f", size);  // it fits: 2^64 MB are fewer than 20 digits
    // The point is that of the program's locale.
    const std::string_view digits = text;
    const std::string_view whole = digits.substr(0, digits.find_first_not_of("0123456789"));
    return std::string(whole) + '.' + std::string(digits.substr(digits.size() - 2)) + ' ' + UNITS[unit];
}

std::string toLower(std::string text) {
    OSTREL_TRACE();
    std::transform(text.begin(), text.end(), text.begin(), lowerCased);
    return text;
}

std::string toUpper(std::string text) {
    OSTREL_TRACE();
    std::transform(text.begin(), text.end(), text.begin(), upperCased);
    return text;
}

bool contains(std::string& text, std::string& part, bool ignoreCase) {
    OSTREL_TRACE();
    if (ignoreCase) {
        text = toLower(std::move(text));
        part = toLower(std::move(part));
    }
    return text.find(part) != std::string::npos;
}

bool equals(std::string_view a, std::string_view b, bool ignoreCase) {
    OSTREL_TRACE();
    if (!ignoreCase) return a == b;
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char left, char right) { return lowerCased(left) == lowerCased(right); });
}

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
    OSTREL_TRACE();
    if (from.empty() || text.find(from) == std::string::npos) return;
    // Into a new text: replacing in place would move the rest at each find, which long texts cannot afford.
    std::string result;
    size_t start = 0;
    for (size_t found; (found = text.find(from, start)) != std::string::npos; start = found + from.size())
        result.append(text, start, found - start).append(to);
    text = result.append(text, start, std::string::npos);
}

std::vector<std::string> split(std::string_view text, char delimiter) {
    OSTREL_TRACE();
    std::vector<std::string> fields;
    size_t start = 0;
    for (size_t found; (found = text.find(delimiter, start)) != std::string_view::npos; start = found + 1)
        fields.emplace_back(text.substr(start, found - start));
    fields.emplace_back(text.substr(start));
    return fields;
}

std::vector<std::string> splitWords(std::string_view text) {
    OSTREL_TRACE();
    std::vector<std::string> words;
    for (size_t start; (start = text.find_first_not_of(BLANKS)) != std::string_view::npos;) {
        text.remove_prefix(start);
        words.emplace_back(text.substr(0, text.find_first_of(BLANKS)));
        text.remove_prefix(words.back().size());
    }
    return words;
}

std::vector<std::string> splitLines(std::string_view text) {
    OSTREL_TRACE();
    std::vector<std::string> lines = split(text, '\n');
    if (lines.back().empty()) lines.pop_back();
    return lines;
}

std::string join(const std::vector<std::string>& list, std::string_view delimiter) {
    OSTREL_TRACE();
    std::string text;
    for (size_t i = 0; i < list.size(); ++i) {
        if (i != 0) text += delimiter;
        text += list[i];
    }
    return text;
}

std::string sanitizeValue(std::string_view text) {
    OSTREL_TRACE();
    std::string value;
    std::copy_if(text.begin(), text.end(), std::back_inserter(value), [](char c) { return c >= 0x20 && c <= 0x7E; });
    const size_t first = value.find_first_not_of(' ');
    if (first == std::string::npos) return "";
    return value.substr(first, value.find_last_not_of(' ') - first + 1);
}

}  // namespace ostrel::core
