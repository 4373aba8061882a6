#include "ostrel/core/xml/XmlEscape.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core::xml {

namespace {

constexpr struct {
    char byte;
    std::string_view text;
} REPLACEMENTS[] = {
    {'<', "&amp;lt;"},  // twice escaped, see the header
    {'>', "&amp;gt;"},  // the same
    {'&', "&amp;"},    {'"', "&quot;"}, {'\'', "&apos;"},
};

using ByteTable = std::array<uint8_t, 256>;

constexpr ByteTable makeGrowthTable() {
    ByteTable table{};
    for (const auto& replacement : REPLACEMENTS)
        table[static_cast<unsigned char>(replacement.byte)] = static_cast<uint8_t>(replacement.text.size() - 1);
    return table;
}

// By how much each byte grows; 0: it stays as it is. Values may be large, and most of their bytes stay.
constexpr ByteTable GROWTH = makeGrowthTable();

std::size_t growthOf(char c) {
    return GROWTH[static_cast<unsigned char>(c)];
}

std::string_view replacementOf(char c) {
    return std::find_if(std::begin(REPLACEMENTS), std::end(REPLACEMENTS),
                        [c](const auto& row) { return row.byte == c; })
        ->text;
}

constexpr std::size_t BLOCK = 64;

/// How many bytes at the beginning stay as they are, in whole blocks: the comparisons of a block become vector
/// instructions, and large values are digits.
std::size_t plainBlocks(std::string_view value) {
    OSTREL_TRACE();
    std::size_t size = 0;
    for (; size + BLOCK <= value.size(); size += BLOCK) {
        unsigned char grows = 0;
        for (std::size_t i = size; i < size + BLOCK; ++i) {
            const char c = value[i];
            grows |= static_cast<unsigned char>((c == '<') | (c == '>') | (c == '&') | (c == '"') | (c == '\''));
        }
        if (grows != 0) break;
    }
    return size;
}

}  // namespace

void appendEscaped(std::string& out, std::string_view value) {
    OSTREL_TRACE();
    std::size_t plainBegin = 0;
    for (std::size_t i = plainBlocks(value); i < value.size(); ++i) {
        if (growthOf(value[i]) == 0) continue;
        out.append(value, plainBegin, i - plainBegin).append(replacementOf(value[i]));
        plainBegin = i + 1;
    }
    out.append(value, plainBegin, value.size() - plainBegin);
}

std::size_t escapedSize(std::string_view value) {
    OSTREL_TRACE();
    std::size_t size = value.size();
    for (const char c : value.substr(plainBlocks(value))) size += growthOf(c);
    return size;
}

}  // namespace ostrel::core::xml
