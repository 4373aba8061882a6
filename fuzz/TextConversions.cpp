// The text tests and conversions of the core with any bytes, each beside a plainer way to the same result. The first
// byte of the input gives how many bytes of it are the second argument of those that take two.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <limits>
#include <string>

#include "fuzz/Require.h"
#include "ostrel/core/Strings.h"

using namespace ostrel::core;

namespace {

bool isAllHex(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return isxdigit(c) != 0; });
}

/// The value of decimal or hexadecimal digits, the largest when it does not fit.
template <typename Number>
Number valueOfDigits(const std::string& digits, unsigned base) {
    constexpr Number LARGEST = std::numeric_limits<Number>::max();
    Number number = 0;
    for (const char c : digits) {
        const auto digit =
            static_cast<Number>(isdigit(static_cast<unsigned char>(c)) ? c - '0' : tolower(c) - 'a' + 10);
        if (number > (LARGEST - digit) / base) return LARGEST;
        number = static_cast<Number>(number * base + digit);
    }
    return number;
}

template <typename Number>
void checkNumber(const std::string& text) {
    const auto number = toNumber<Number>(text);
    if (isInteger(text)) REQUIRE(number == valueOfDigits<Number>(text, 10));
    if (!isInteger(text) && isAllHex(text)) REQUIRE(number == valueOfDigits<Number>(text, 16));
}

void checkNumbers(const std::string& text) {
    REQUIRE(!isInteger(text) || isHex(text));
    REQUIRE(!isAllHex(text) || isHex(text));
    checkNumber<uint32_t>(text);
    checkNumber<uint64_t>(text);
    (void)toNumber<int32_t>(text);
    (void)toNumber<int64_t>(text);
    if (isAllHex(text)) REQUIRE(hexToInt(text) == valueOfDigits<uint32_t>(text, 16));
    if (!isHex(text)) REQUIRE(hexToInt64(text) == std::numeric_limits<uint64_t>::max());
    REQUIRE(!toBoolean(text) || isBoolean(text));
}

std::string replacedPlainly(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = 0; !from.empty() && (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

void checkHexToBytes(const std::string& text, const std::string& removeText) {
    std::string digits = replacedPlainly(text, removeText, "");
    if (digits.size() % 2 != 0) digits.erase(0, 1);
    Payload payload = hexToBytes(text, removeText);
    REQUIRE(payload.getSize() == digits.size() / 2);
    for (size_t i = 0; i < payload.getSize(); ++i)
        REQUIRE(payload.at(i) == static_cast<uint8_t>(hexToInt(digits.substr(2 * i, 2))));
    if (isAllHex(digits)) REQUIRE(bytesToHex(payload.getData(), payload.getSize()) == toUpper(digits));
}

void checkBytes(const std::string& bytes, size_t bytesPerLine) {
    const std::string hex = bytesToHex(bytes.data(), bytes.size());
    const Payload payload = hexToBytes(hex, "");
    REQUIRE(std::string(payload.getData(), payload.getData() + payload.getSize()) == bytes);
    std::string dump = hexDump(payload, bytesPerLine);
    dump.erase(std::remove_if(dump.begin(), dump.end(), [](char c) { return c == ' ' || c == '\n'; }), dump.end());
    REQUIRE(dump == hex);
    const std::string reversed(bytes.rbegin(), bytes.rend());
    REQUIRE(bytesToHexValue(bytes.data(), bytes.size(), true) ==
            bytesToHexValue(reversed.data(), reversed.size(), false));
}

void checkStrings(const std::string& text, const std::string& part, char delimiter) {
    REQUIRE(join(split(text, delimiter), std::string(1, delimiter)) == text);
    std::string replaced = text;
    replaceAll(replaced, part, "<" + part + ">");
    REQUIRE(replaced == replacedPlainly(text, part, "<" + part + ">"));

    std::string haystack = text;
    std::string needle = part;
    const bool found = contains(haystack, needle, true);
    REQUIRE(found == (toLower(text).find(toLower(part)) != std::string::npos));
    REQUIRE(haystack == toLower(text) && needle == toLower(part));
    REQUIRE(equals(text, part, true) == (toUpper(text) == toUpper(part)));

    const std::string value = sanitizeValue(text);
    REQUIRE(std::all_of(value.begin(), value.end(), [](char c) { return c >= 0x20 && c <= 0x7E; }));
    REQUIRE(value.empty() || (value.front() != ' ' && value.back() != ' '));
    REQUIRE(sanitizeValue(value) == value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const uint8_t first = data[0];
    const size_t partSize = std::min<size_t>(first % 8, size - 1);
    const std::string part(reinterpret_cast<const char*>(data) + 1, partSize);
    const std::string text(reinterpret_cast<const char*>(data) + 1 + partSize, size - 1 - partSize);
    checkNumbers(text);
    checkHexToBytes(text, part);
    checkBytes(text, first);
    checkStrings(text, part, part.empty() ? '~' : part[0]);
    (void)sizeToText(toNumber<uint64_t>(text), first % 2 == 0);
    return 0;
}
