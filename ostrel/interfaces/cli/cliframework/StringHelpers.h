#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cli::framework {

// The framework's own string rules. The core has helpers of the same purpose with other corner cases: the two families
// are not interchangeable.

/// One byte folded with tolower; bytes above 0x7F are no letters.
char foldByte(char byte);

/// Equal when folded byte by byte with tolower; strings of different lengths are unequal without folding.
bool stringsIEqual(std::string_view a, std::string_view b);

/// A decimal number with at most one "." and one leading "-", or with allowHex a "0x" number. Leading zeros are
/// refused.
bool stringIsNumeric(std::string_view text, bool allowHex);

std::string toLower(std::string_view text);

/// Removes blanks and tabs at both ends. Throws std::out_of_range for a text that holds nothing else, or nothing.
std::string trim(const std::string& text);

/// Cuts at every delimiter and trims each piece with trim(), so an empty piece throws std::out_of_range.
std::vector<std::string> split(const std::string& text, char delimiter);

}  // namespace cli::framework
