#pragma once

#include <cstdint>
#include <string>

namespace cli::framework {

/// What a word of the command line is. The numbers count: the parser takes every type up to TOKENTYPE_PROPERTY as the
/// value of a property.
enum TokenType : std::uint32_t {
    TOKENTYPE_UNKNOWN = 0,
    TOKENTYPE_VALUE = 1,
    TOKENTYPE_VERB = 2,
    TOKENTYPE_OPTION = 3,
    TOKENTYPE_TARGET = 4,
    TOKENTYPE_PROPERTY = 5,
    TOKENTYPE_EQUAL = 6,
    TOKENTYPE_COMMA = 7,
};

/// The word that error messages use ("Option", "Target"); empty for a number that is no TokenType.
std::string tokenTypeToString(TokenType type);

}  // namespace cli::framework
