#include <gtest/gtest.h>

#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/DuplicateTokenErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/NoInputErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/ParseErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/SyntaxErrorBadValueResult.h"
#include "ostrel/interfaces/cli/cliframework/SyntaxErrorMissingValueResult.h"
#include "ostrel/interfaces/cli/cliframework/SyntaxErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/SyntaxErrorUnexpectedValueResult.h"
#include "tests/unit/cliframework/ExpectForms.h"

namespace cli::framework {
namespace {

/// "show [-all|-a] -velkossd [(Index)]" and "version".
std::vector<CommandSpec> twoCommands() {
    CommandSpec show(0, "Show", "show", "");
    show.addOption(OPTION_ALL);
    show.addTarget("-velkossd", true, "Index", false, "");
    return {show, CommandSpec(1, "Version", "version", "")};
}

TEST(SyntaxErrorResult, HasCode201InEveryConstructor) {
    const SyntaxErrorResult empty;
    EXPECT_EQ(empty.getErrorCode(), 201);
    EXPECT_EQ(empty.outputText(), "Syntax Error: ");
    EXPECT_TRUE(empty.getPotentialCommands().empty());

    const SyntaxErrorResult withMessage("Options 'all' and 'display' cannot be used together.");
    EXPECT_EQ(withMessage.getErrorCode(), 201);
    EXPECT_EQ(withMessage.outputText(), "Syntax Error: Options 'all' and 'display' cannot be used together.");
    EXPECT_TRUE(withMessage.getPotentialCommands().empty());

    const SyntaxErrorResult withCommands(twoCommands());
    EXPECT_EQ(withCommands.getErrorCode(), 201);
    EXPECT_EQ(withCommands.outputText(),
              "Syntax Error: \nDid you mean: \nshow [-all|-a] -velkossd [(Index)]\nversion\n");
    ASSERT_EQ(withCommands.getPotentialCommands().size(), 2u);
    EXPECT_EQ(withCommands.getPotentialCommands()[1].name, "Version");
}

TEST(SyntaxErrorResult, SuggestsCommandsInTheTextAndEsxFormsAlone) {
    ParseErrorResult result;
    result.setPotentialCommands(twoCommands());
    expectForms(result, {
                            "Syntax Error: Invalid command.\nDid you mean: \nshow [-all|-a] -velkossd "
                            "[(Index)]\nversion\n",
                            "<Error Type=\"201\">Syntax Error: Invalid command.</Error>\n",
                            "ERROR: Syntax Error: Invalid command.\nDid you mean: \nshow [-all|-a] -velkossd "
                            "[(Index)]\nversion\n",
                            "Syntax Error: Invalid command.\nDid you mean: \nshow [-all|-a] -velkossd "
                            "[(Index)]\nversion\n",
                            "{\n\t\"Error_Type\":201,\n\t\"Error_Description\":\"Syntax Error: Invalid command.\"\n}\n",
                            "Error_Type,201,\nError_Description,Syntax Error: Invalid command.,\n",
                        });
}

TEST(SyntaxErrorResult, SuggestsNothingWithoutPotentialCommands) {
    NoInputErrorResult result;
    result.setPotentialCommands(twoCommands());
    result.setPotentialCommands({});
    expectForms(result, {
                            "Syntax Error: No Input.",
                            "<Error Type=\"201\">Syntax Error: No Input.</Error>\n",
                            "ERROR: Syntax Error: No Input.",
                            "Syntax Error: No Input.",
                            "{\n\t\"Error_Type\":201,\n\t\"Error_Description\":\"Syntax Error: No Input.\"\n}\n",
                            "Error_Type,201,\nError_Description,Syntax Error: No Input.,\n",
                        });
}

void expectSyntaxError(const SyntaxErrorResult& result, const std::string& text) {
    EXPECT_EQ(result.outputText(), text);
    EXPECT_EQ(result.getErrorCode(), 201) << text;
    EXPECT_TRUE(result.getPotentialCommands().empty()) << text;
}

TEST(SyntaxErrorResult, WordsEachKindOfSyntaxError) {
    expectSyntaxError(NoInputErrorResult(), "Syntax Error: No Input.");
    expectSyntaxError(ParseErrorResult(), "Syntax Error: Invalid command.");
    expectSyntaxError(ParseErrorResult("-nosuch"), "Syntax Error: Invalid command. Error at or around '-nosuch'.");
    expectSyntaxError(ParseErrorResult(""), "Syntax Error: Invalid command. Error at or around ''.");
    expectSyntaxError(ParseErrorResult("100%s"), "Syntax Error: Invalid command. Error at or around '100%s'.");
}

TEST(SyntaxErrorResult, WordsTheKindOfTokenInLowerOrCapitalLetters) {
    constexpr struct {
        TokenType type;
        const char* missing;
        const char* unexpected;
        const char* bad;
        const char* duplicate;
    } CASES[] = {
        {TOKENTYPE_UNKNOWN, "Syntax Error: A value is required for the unknown 'T'.",
         "Syntax Error: UNKNOWN 'T' does not accept a value.",
         "Syntax Error: 'v' is not a valid setting for the unknown 'T'.",
         "Syntax Error: Duplicate token found. The UNKNOWN 'T' was found more than once."},
        {TOKENTYPE_VALUE, "Syntax Error: A value is required for the value 'T'.",
         "Syntax Error: Value 'T' does not accept a value.",
         "Syntax Error: 'v' is not a valid setting for the value 'T'.",
         "Syntax Error: Duplicate token found. The Value 'T' was found more than once."},
        {TOKENTYPE_VERB, "Syntax Error: A value is required for the verb 'T'.",
         "Syntax Error: Verb 'T' does not accept a value.",
         "Syntax Error: 'v' is not a valid setting for the verb 'T'.",
         "Syntax Error: Duplicate token found. The Verb 'T' was found more than once."},
        {TOKENTYPE_OPTION, "Syntax Error: A value is required for the option 'T'.",
         "Syntax Error: Option 'T' does not accept a value.",
         "Syntax Error: 'v' is not a valid setting for the option 'T'.",
         "Syntax Error: Duplicate token found. The Option 'T' was found more than once."},
        {TOKENTYPE_TARGET, "Syntax Error: A value is required for the target 'T'.",
         "Syntax Error: Target 'T' does not accept a value.",
         "Syntax Error: 'v' is not a valid setting for the target 'T'.",
         "Syntax Error: Duplicate token found. The Target 'T' was found more than once."},
        {TOKENTYPE_PROPERTY, "Syntax Error: A value is required for the property 'T'.",
         "Syntax Error: Property 'T' does not accept a value.",
         "Syntax Error: 'v' is not a valid setting for the property 'T'.",
         "Syntax Error: Duplicate token found. The Property 'T' was found more than once."},
        {TOKENTYPE_EQUAL, "Syntax Error: A value is required for the equal 'T'.",
         "Syntax Error: Equal 'T' does not accept a value.",
         "Syntax Error: 'v' is not a valid setting for the equal 'T'.",
         "Syntax Error: Duplicate token found. The Equal 'T' was found more than once."},
        {TOKENTYPE_COMMA, "Syntax Error: A value is required for the comma 'T'.",
         "Syntax Error: Comma 'T' does not accept a value.",
         "Syntax Error: 'v' is not a valid setting for the comma 'T'.",
         "Syntax Error: Duplicate token found. The Comma 'T' was found more than once."},
    };
    for (const auto& c : CASES) {
        expectSyntaxError(SyntaxErrorMissingValueResult(c.type, "T"), c.missing);
        expectSyntaxError(SyntaxErrorUnexpectedValueResult(c.type, "T"), c.unexpected);
        expectSyntaxError(SyntaxErrorBadValueResult(c.type, "T", "v"), c.bad);
        expectSyntaxError(DuplicateTokenErrorResult(Token{"T", c.type}), c.duplicate);
    }
}

}  // namespace
}  // namespace cli::framework
