#include <gtest/gtest.h>

#include "ostrel/interfaces/cli/cliframework/TokenType.h"

namespace cli::framework {
namespace {

struct TypeRow {
    TokenType type;
    int number;
    const char* text;
};

constexpr TypeRow TYPE_ROWS[] = {
    {TOKENTYPE_UNKNOWN, 0, "UNKNOWN"}, {TOKENTYPE_VALUE, 1, "Value"},   {TOKENTYPE_VERB, 2, "Verb"},
    {TOKENTYPE_OPTION, 3, "Option"},   {TOKENTYPE_TARGET, 4, "Target"}, {TOKENTYPE_PROPERTY, 5, "Property"},
    {TOKENTYPE_EQUAL, 6, "Equal"},     {TOKENTYPE_COMMA, 7, "Comma"},
};

TEST(TokenType, HasANumberAndADisplayTextEach) {
    for (const TypeRow& row : TYPE_ROWS) {
        EXPECT_EQ(static_cast<int>(row.type), row.number) << row.text;
        EXPECT_EQ(tokenTypeToString(row.type), row.text);
    }
}

TEST(TokenType, HasNoTextAboveTheLastNumber) {
    EXPECT_EQ(tokenTypeToString(static_cast<TokenType>(8)), "");
}

}  // namespace
}  // namespace cli::framework
