#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ostrel/core/Payload.h"

/// Text tests and conversions of the core. The command-line framework has a family of its own with other corner cases.
/// Letters are those of ASCII, whatever the locale. Nothing here throws but for want of memory.
namespace ostrel::core {

// What a text is.

/// Decimal digits only, at least one; no sign.
bool isInteger(std::string_view text);
/// Hexadecimal digits only, after an optional "0x" or "0X". The empty text passes, and the character right after the
/// prefix is not looked at ("0xZ1" passes): callers depend on both.
bool isHex(std::string_view text);
/// "0" or "1", or "true" or "false" ignoring case.
bool isBoolean(std::string_view text);

// Text to number and back.

/// True for "true", ignoring case, alone.
bool toBoolean(std::string_view text);
/// Decimal when isInteger(); otherwise through hexToInt() when isHex() ("ff" is 255); otherwise the number that the
/// text begins with, after blanks and a sign, or 0. A number that does not fit becomes the nearest that does, a
/// negative one read as unsigned wraps. For uint32_t, int32_t, uint64_t and int64_t.
template <typename Number>
Number toNumber(std::string_view text);
/// -1, that is all bits set, and an error in the debug log when isHex() is false. A number that does not fit becomes
/// the largest; a text without digits is 0.
uint32_t hexToInt(std::string_view text);
uint64_t hexToInt64(std::string_view text);
/// "True" or "False".
std::string boolToText(bool flag);
/// Decimal text, for the eight integer types of fixed width.
template <typename Number>
std::string numberToText(Number number);

// Bytes as text.

/// Upper case, two digits a byte, no separator.
std::string bytesToHex(const void* data, size_t size);
/// The bytes that pairs of digits represent. Every `removeText`, if not empty, is taken out first; of an odd number of
/// digits the first is skipped. Each pair counts as hexToInt() reads it: "0x" is 0, and a pair with a bad digit is FFh
/// and an error in the debug log. More than 4 GiB - 1 bytes give a null Payload.
Payload hexToBytes(std::string_view text, std::string_view removeText);
/// "00 1A FF", `bytesPerLine` bytes on each line (0: all on one), no line end after the last.
std::string hexDump(const Payload& payload, size_t bytesPerLine);
/// "0x" and the digits of all bytes, from the last to the first when `reversed`. More than 8 bytes that are all zero
/// read "0x0"; up to 8 keep their digits.
std::string bytesToHexValue(const void* data, size_t size, bool reversed);
/// A size in MB, GB, TB or PB, the largest that gives at least 1 (MB below that), with two decimals: "512.11 GB". The
/// units are powers of 1000 when `decimal`, otherwise of 1024.
std::string sizeToText(uint64_t bytes, bool decimal);

// Strings.

std::string toLower(std::string text);
std::string toUpper(std::string text);
/// Whether `part` is in `text`. Ignoring case lower-cases both arguments in place.
bool contains(std::string& text, std::string& part, bool ignoreCase);
bool equals(std::string_view a, std::string_view b, bool ignoreCase);
/// In place. The search goes on after the inserted text, so `to` may hold `from`. An empty `from` changes nothing.
void replaceAll(std::string& text, std::string_view from, std::string_view to);
/// The fields between delimiters, empty ones included: always one more than there are delimiters.
std::vector<std::string> split(std::string_view text, char delimiter);
/// The words between blanks and line ends, none of them empty.
std::vector<std::string> splitWords(std::string_view text);
/// The lines without their ends; nothing after the last end is no line.
std::vector<std::string> splitLines(std::string_view text);
std::string join(const std::vector<std::string>& list, std::string_view delimiter);
/// Without the bytes outside 20h to 7Eh, and without blanks at both ends.
std::string sanitizeValue(std::string_view text);

}  // namespace ostrel::core
