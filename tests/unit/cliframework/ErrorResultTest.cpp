#include <gtest/gtest.h>

#include <sstream>

#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/Logger.h"
#include "ostrel/interfaces/cli/cliframework/NotImplementedErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/StreamChannel.h"
#include "tests/unit/cliframework/ExpectForms.h"

namespace cli::framework {
namespace {

TEST(ErrorResult, RendersWithoutAPrefix) {
    ErrorResult result(8, "Bad.", "");
    EXPECT_EQ(result.getErrorCode(), 8);
    expectForms(result, {
                            "Error: Bad.",
                            "<Error Type=\"8\">Error: Bad.</Error>\n",
                            "ERROR: Error: Bad.",
                            "Error: Bad.",
                            "{\n\t\"Error_Type\":8,\n\t\"Error_Description\":\"Error: Bad.\"\n}\n",
                            "Error_Type,8,\nError_Description,Error: Bad.,\n",
                        });
}

TEST(ErrorResult, RendersThePrefixInEveryForm) {
    ErrorResult result(8, "Bad.", "X");
    expectForms(result, {
                            "X: Error: Bad.",
                            "<Error Type=\"8\">X: Error: Bad.</Error>\n",
                            "ERROR: X: Error: Bad.",
                            "X: Error: Bad.",
                            "{\n\t\"Error_Type\":8,\n\t\"Error_Description\":\"X: Error: Bad.\"\n}\n",
                            "Error_Type,8,\nError_Description,X: Error: Bad.,\n",
                        });
}

TEST(ErrorResult, EscapesNothingAndKeepsLineEnds) {
    ErrorResult result(1, "a\"b/c\\<\nline two", "");
    expectForms(result, {
                            "Error: a\"b/c\\<\nline two",
                            "<Error Type=\"1\">Error: a\"b/c\\<\nline two</Error>\n",
                            "ERROR: Error: a\"b/c\\<\nline two",
                            "Error: a\"b/c\\<\nline two",
                            "{\n\t\"Error_Type\":1,\n\t\"Error_Description\":\"Error: a\"b/c\\<\nline two\"\n}\n",
                            "Error_Type,1,\nError_Description,Error: a\"b/c\\<\nline two,\n",
                        });
}

TEST(ErrorResult, HasCodeOneAndNoMessageWhenOnlyThePrefixIsGiven) {
    ErrorResult result("Drive 0");
    EXPECT_EQ(result.getErrorCode(), 1);
    EXPECT_EQ(result.outputText(), "Drive 0: Error: ");
}

TEST(ErrorResult, RendersAnEmptyMessage) {
    EXPECT_EQ(ErrorResult(1, "", "").outputText(), "Error: ");
}

TEST(ErrorResult, NamesTheKindOfErrorByItsCode) {
    constexpr struct {
        std::int32_t code;
        const char* word;
        const char* text;
    } CASES[] = {
        {0, "Error", "Error: m"},   {1, "Error", "Error: m"},  {2, "Out of Memory", "Out of Memory: m"},
        {3, "Error", "Error: m"},   {12, "Error", "Error: m"}, {201, "Syntax Error", "Syntax Error: m"},
        {238, "Error", "Error: m"}, {-1, "Error", "Error: m"},
    };
    for (const auto& c : CASES) {
        const ErrorResult result(c.code, "m", "");
        EXPECT_EQ(result.getErrorString(), c.word) << c.code;
        EXPECT_EQ(result.outputText(), c.text) << c.code;
    }
}

TEST(ErrorResult, FollowsALaterChangeOfItsCode) {
    ErrorResult result(1, "m", "");
    result.setErrorCode(201);
    EXPECT_EQ(result.outputXml(), "<Error Type=\"201\">Syntax Error: m</Error>\n");
}

/// Asks a derived class for its text in the esx form only.
class ReworkedText : public ErrorResult {
public:
    ReworkedText() : ErrorResult(1, "m", "") {}
    std::string outputText() const override { return "reworked"; }
};

TEST(ErrorResult, BuildsOnlyTheEsxFormOnADerivedText) {
    ReworkedText result;
    expectForms(result, {
                            "reworked",
                            "<Error Type=\"1\">Error: m</Error>\n",
                            "ERROR: reworked",
                            "reworked",
                            "{\n\t\"Error_Type\":1,\n\t\"Error_Description\":\"Error: m\"\n}\n",
                            "Error_Type,1,\nError_Description,Error: m,\n",
                        });
}

TEST(ErrorResult, LogsAtLevelZeroAtEachTextRendering) {
    std::ostringstream log;
    StreamChannel channel(log);
    const ErrorResult result(1, "Bad.", "X");
    Logger& logger = Logger::getInstance();
    logger.setThreshold(0);
    logger.setChannel(&channel);
    EXPECT_EQ(result.outputText(), "X: Error: Bad.");
    EXPECT_EQ(result.outputXml(), "<Error Type=\"1\">X: Error: Bad.</Error>\n");
    logger.setChannel(nullptr);
    logger.setThreshold(3);
    // No separator between the word and the message, and the line end of the message besides the channel's own.
    EXPECT_EQ(log.str(), "0: ErrorBad.\n\n0: ErrorBad.\n\n");
}

TEST(NotImplementedErrorResult, NamesTheCommandAndTheFeature) {
    NotImplementedErrorResult result(7, "Version");
    EXPECT_EQ(result.getErrorCode(), 3);
    EXPECT_EQ(result.getCommandSpecId(), 7u);
    EXPECT_EQ(result.getFeatureName(), "Version");
    expectForms(
        result,
        {
            "Error: CommandSpecId 7 of Feature Version is not supported in the current context.",
            "<Error Type=\"3\">Error: CommandSpecId 7 of Feature Version is not supported in the current "
            "context.</Error>\n",
            "ERROR: Error: CommandSpecId 7 of Feature Version is not supported in the current context.",
            "Error: CommandSpecId 7 of Feature Version is not supported in the current context.",
            "{\n\t\"Error_Type\":3,\n\t\"Error_Description\":\"Error: CommandSpecId 7 of Feature Version is not "
            "supported in the current context.\"\n}\n",
            "Error_Type,3,\nError_Description,Error: CommandSpecId 7 of Feature Version is not supported in the "
            "current "
            "context.,\n",
        });
}

TEST(NotImplementedErrorResult, ShowsTheIdAsASignedNumber) {
    EXPECT_EQ(NotImplementedErrorResult(0xFFFFFFFF, "F").outputText(),
              "Error: CommandSpecId -1 of Feature F is not supported in the current context.");
}

}  // namespace
}  // namespace cli::framework
