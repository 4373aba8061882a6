#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "ostrel/interfaces/cli/cliframework/FeatureBase.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"
#include "tests/support/VirtualSlots.h"

namespace cli::framework {
namespace {

class PlainFeature : public FeatureBase {
public:
    std::unique_ptr<ResultBase> run(const CommandSpec&, const ParsedCommand&) override { return nullptr; }
    void getPaths(std::vector<CommandSpec>&) override {}
    using FeatureBase::promptUser;
};

using Options = std::map<std::string, std::string>;

/// "" when the options are in order.
std::string validated(const Options& options) {
    ParsedCommand parsed;
    parsed.options = options;
    const auto failure = PlainFeature().validate(parsed);
    if (!failure) return "";
    EXPECT_EQ(failure->getErrorCode(), 201);
    return failure->outputText();
}

constexpr char BOTH[] = "Syntax Error: Options 'all' and 'display' cannot be used together.";
constexpr char ALL_VALUE[] = "Syntax Error: Option 'all' does not accept a value.";
constexpr char DISPLAY_NO_VALUE[] = "Syntax Error: A value is required for the option 'display'.";
constexpr char HELP_VALUE[] = "Syntax Error: Option 'help' does not accept a value.";
constexpr char OUTPUT_BAD[] = "Syntax Error: Option 'output' expects 'text', 'nvmxml' or 'json'.";

TEST(FeatureBase, ValidatesTheSharedOptions) {
    struct {
        Options options;
        const char* message;
        const char* why;
    } const cases[] = {
        {{}, "", "no options"},
        {{{"-all", ""}}, "", "without a value"},
        {{{"-display", "x"}}, "", "with a value"},
        {{{"-help", ""}}, "", "without a value"},
        {{{"-all", ""}, {"-display", "x"}}, BOTH, "they exclude each other"},
        {{{"-all", "y"}, {"-display", ""}}, BOTH, "even when both have bad values"},
        {{{"-all", "y"}}, ALL_VALUE, "a value that is not taken"},
        {{{"-display", ""}}, DISPLAY_NO_VALUE, "a missing value"},
        {{{"-help", "y"}}, HELP_VALUE, "a value that is not taken"},
        {{{"-all", "y"}, {"-help", "y"}, {"-output", "y"}}, ALL_VALUE, "-all comes first"},
        {{{"-display", ""}, {"-help", "y"}, {"-output", "y"}}, DISPLAY_NO_VALUE, "then -display"},
        {{{"-help", "y"}, {"-output", "y"}}, HELP_VALUE, "then -help"},
        {{{"-ALL", "y"}, {"-Display", ""}, {"all", "y"}}, "", "names are compared exactly"},
        {{{"-force", "y"}}, "", "other options are not looked at"},
    };
    for (const auto& c : cases) EXPECT_EQ(validated(c.options), c.message) << c.why;
}

TEST(FeatureBase, ValidatesTheOutputKeyword) {
    for (const char* keyword : {"text", "TEXT", "nvmxml", "NvmXml", "json", "JSON", "esx", "Esx"}) {
        EXPECT_EQ(validated({{"-output", keyword}}), "") << keyword;
    }
    for (const char* keyword : {"csv", "CSV", "table", "xml", "", " json", "json,text"}) {
        EXPECT_EQ(validated({{"-output", keyword}}), OUTPUT_BAD) << keyword;
    }
}

class PromptTest : public testing::Test {
protected:
    void SetUp() override {
        input_ = std::cin.rdbuf(typed.rdbuf());
        error_ = std::clog.rdbuf(asked.rdbuf());
        output_ = std::cout.rdbuf(printed.rdbuf());
    }
    void TearDown() override {
        std::cin.rdbuf(input_);
        std::cin.clear();
        std::clog.rdbuf(error_);
        std::cout.rdbuf(output_);
    }

    /// "" when the user agreed, otherwise the result that ends the command.
    std::string answerTo(const std::string& text) {
        typed.str(text);
        typed.clear();
        std::cin.clear();
        asked.str("");
        return ask();
    }

    std::string ask() {
        const auto refusal = PlainFeature().promptUser(Prompt("All data will be lost!", "Proceed?", true));
        if (!refusal) return "";
        EXPECT_EQ(refusal->getErrorCode(), 0) << "a refusal is no failure";
        return refusal->outputText();
    }

    std::istringstream typed;
    std::ostringstream asked;
    std::ostringstream printed;

private:
    std::streambuf* input_ = nullptr;
    std::streambuf* error_ = nullptr;
    std::streambuf* output_ = nullptr;
};

constexpr char ASKED_ONCE[] = "All data will be lost!\nProceed? (Y|N): ";

TEST_F(PromptTest, TakesTheFirstCharacterOfALine) {
    for (const char* yes : {"y\n", "Y\n", "yes\n", "Yellow", "y"}) {
        EXPECT_EQ(answerTo(yes), "") << yes;
        EXPECT_EQ(asked.str(), ASKED_ONCE);
    }
    for (const char* no : {"n\n", "N\n", "no thanks\n", "x\n", " \n", " y\n", "\ty\n", "9\n", "\x99\n"}) {
        EXPECT_EQ(answerTo(no), "Cancelled") << no;
        EXPECT_EQ(asked.str(), ASKED_ONCE);
    }
    EXPECT_EQ(printed.str(), "") << "nothing goes to standard output";
}

TEST_F(PromptTest, AsksAgainAfterAnEmptyLine) {
    EXPECT_EQ(answerTo("\n\ny\n"), "");
    EXPECT_EQ(asked.str(), std::string(ASKED_ONCE) + ASKED_ONCE + ASKED_ONCE);
    EXPECT_EQ(answerTo("\nn\n"), "Cancelled");
    EXPECT_EQ(asked.str(), std::string(ASKED_ONCE) + ASKED_ONCE);
}

TEST_F(PromptTest, TheEndOfTheInputIsARefusal) {
    EXPECT_EQ(answerTo(""), "Cancelled");
    EXPECT_EQ(asked.str(), ASKED_ONCE);
    EXPECT_EQ(answerTo("\n"), "Cancelled") << "an empty line and then the end";
    EXPECT_EQ(asked.str(), std::string(ASKED_ONCE) + ASKED_ONCE);
}

TEST_F(PromptTest, LeavesTheNextLineToTheNextQuestion) {
    EXPECT_EQ(answerTo("no, y\nyes\nn\n"), "Cancelled");
    EXPECT_EQ(ask(), "");
    EXPECT_EQ(ask(), "Cancelled");
    EXPECT_EQ(ask(), "Cancelled") << "the end of the input";
}

TEST_F(PromptTest, AsksEvenWhenAnEarlierReadFailed) {
    typed.str("y\n");
    std::cin.setstate(std::ios::failbit);
    EXPECT_EQ(ask(), "Cancelled") << "that failed read is this question's";
    EXPECT_EQ(ask(), "Cancelled") << "and took the line with it";
}

TEST(Prompt, GivesBackWhatItWasMadeOf) {
    const Prompt prompt("warning", "question", true);
    EXPECT_EQ(prompt.getWarning(), "warning");
    EXPECT_EQ(prompt.getQuestion(), "question");
    EXPECT_TRUE(prompt.getConfirmation());
    EXPECT_FALSE(Prompt("", "", false).getConfirmation());
}

// Slots 0 and 1 are the destructor's.
struct FeatureWithOneMore : FeatureBase {
    virtual void next();
};

TEST(FeatureBase, KeepsTheSlotsOfItsOperations) {
    EXPECT_EQ(virtualSlot(&FeatureBase::run), 2u);
    EXPECT_EQ(virtualSlot(&FeatureBase::validate), 3u);
    EXPECT_EQ(virtualSlot(&FeatureBase::getPaths), 4u);
    EXPECT_EQ(virtualSlot(&FeatureWithOneMore::next), 5u);
}

}  // namespace
}  // namespace cli::framework
