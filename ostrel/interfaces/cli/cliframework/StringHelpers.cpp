#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"

#include <algorithm>
#include <cctype>

#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

namespace {

bool isDigit(char byte) {
    return byte >= '0' && byte <= '9';
}
bool isHexDigit(char byte) {
    return std::isxdigit(static_cast<unsigned char>(byte)) != 0;
}

/// Digits with at most one "." anywhere; nothing at all and a lone "." count too.
bool isDecimal(std::string_view text) {
    CLI_TRACE();
    return std::count(text.begin(), text.end(), '.') <= 1 &&
           std::all_of(text.begin(), text.end(), [](char byte) { return isDigit(byte) || byte == '.'; });
}

}  // namespace

char foldByte(char byte) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
}

bool stringsIEqual(std::string_view a, std::string_view b) {
    CLI_TRACE();
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                              [](char left, char right) { return foldByte(left) == foldByte(right); });
}

bool stringIsNumeric(std::string_view text, bool allowHex) {
    CLI_TRACE();
    if (text.empty()) return false;
    if (allowHex && text.size() >= 3 && text[0] == '0') {
        return (text[1] == 'x' || text[1] == 'X') && std::all_of(text.begin() + 2, text.end(), isHexDigit);
    }
    if (text.size() >= 2 && text[0] == '0') return false;
    // "-", "." and "1." are numeric: callers depend on it.
    return isDecimal(text[0] == '-' ? text.substr(1) : text);
}

std::string toLower(std::string_view text) {
    CLI_TRACE();
    std::string folded(text);
    std::transform(folded.begin(), folded.end(), folded.begin(), foldByte);
    return folded;
}

std::string trim(const std::string& text) {
    CLI_TRACE();
    constexpr char BLANKS[] = " \t";
    const size_t first = text.find_first_not_of(BLANKS);
    // With nothing to keep, first is npos, which substr refuses with std::out_of_range.
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

std::vector<std::string> split(const std::string& text, char delimiter) {
    CLI_TRACE();
    std::vector<std::string> pieces;
    size_t begin = 0;
    for (size_t end = text.find(delimiter); end != std::string::npos; end = text.find(delimiter, begin)) {
        pieces.push_back(trim(text.substr(begin, end - begin)));
        begin = end + 1;
    }
    pieces.push_back(trim(text.substr(begin)));
    return pieces;
}

}  // namespace cli::framework
