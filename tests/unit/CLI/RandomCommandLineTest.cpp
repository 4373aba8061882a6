#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "CLI/Outcome.h"
#include "CLI/VersionFeature.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/HelpFeature.h"
#include "ostrel/interfaces/cli/cliframework/LogChannelBase.h"
#include "ostrel/interfaces/cli/cliframework/Logger.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"
#include "tests/support/allocations/Allocations.h"
#include "tests/support/catalogue/CatalogueFeature.h"
#include "tests/unit/CLI/CommandLineGenerator.h"

namespace {

using namespace cli::framework;
using Line = std::vector<std::string>;

/// The commands of another feature, which are never run: tests must not touch this machine's drives and settings.
class HarmlessCopy : public test::EchoFeature {
public:
    explicit HarmlessCopy(FeatureBase& original) : original_(original) {}
    void getPaths(std::vector<CommandSpec>& commands) override { original_.getPaths(commands); }

private:
    FeatureBase& original_;
};

/// The features that registered themselves, in the order of the registry; read before any test changes it.
const std::vector<FeatureBase*> registeredFeatures = [] {
    CandidateCommands commands;
    Framework::getInstance().buildCommands(commands);
    std::vector<FeatureBase*> features;
    for (const CandidateCommand& command : commands) {
        if (features.empty() || features.back() != command.feature) features.push_back(command.feature);
    }
    return features;
}();

/// Each test has the registry for itself.
class CommandLineTest : public testing::Test {
protected:
    CommandLineTest() { framework.clearFeatureList(); }
    ~CommandLineTest() override { framework.clearFeatureList(); }

    void useTheCatalogue() {
        framework.registerFeature("HelpFeature", &help_);
        framework.registerFeature("VelkoSSD", &catalogue_);
        framework.registerFeature("Version", &version_);
    }

    void useWhatTheToolHas() {
        const char* const otherKeys[] = {"VelkoSSD", "System"};
        for (FeatureBase* feature : registeredFeatures) {
            if (dynamic_cast<HelpFeature*>(feature) != nullptr) {
                framework.registerFeature("HelpFeature", feature);
            } else if (dynamic_cast<cli::version::VersionFeature*>(feature) != nullptr) {
                framework.registerFeature("Version", feature);
            } else {
                ASSERT_LT(copies_.size(), std::size(otherKeys));
                copies_.push_back(std::make_unique<HarmlessCopy>(*feature));
                framework.registerFeature(otherKeys[copies_.size() - 1], copies_.back().get());
            }
        }
    }

    CandidateCommands commands() const {
        CandidateCommands built;
        framework.buildCommands(built);
        return built;
    }

    cli::Outcome run(const Line& line) const {
        return cli::outcomeOf([&] { return framework.execute(line); });
    }

    /// What a feature saw that its grammar does not allow.
    std::string violation() const {
        std::string text = catalogue_.violation();
        for (const auto& copy : copies_) text += copy->violation();
        return text;
    }

    void checkLine(const Line& line);
    void checkLines(uint64_t seed, int count);

    Framework& framework = Framework::getInstance();
    std::map<int, int> statusCounts;

private:
    HelpFeature help_;
    cli::version::VersionFeature version_;
    test::CatalogueFeature catalogue_;
    std::vector<std::unique_ptr<HarmlessCopy>> copies_;
};

/// What must hold for any line whatever.
void CommandLineTest::checkLine(const Line& line) {
    bool hasThrown = true;
    std::string rendered;
    const cli::Outcome outcome = cli::outcomeOf([&] {
        std::unique_ptr<ResultBase> result = framework.execute(line);
        hasThrown = false;
        rendered = result ? result->output() + "\n" : "";
        return result;
    });
    const cli::Outcome again = run(line);
    EXPECT_EQ(outcome.exitStatus, again.exitStatus) << "the same line ends in the same way";
    EXPECT_EQ(outcome.output, again.output);

    // An exception leaves no result; any other line leaves its result and one line end.
    if (!hasThrown) {
        EXPECT_EQ(outcome.output, rendered);
    }
    EXPECT_THAT(outcome.exitStatus, testing::AnyOf(0, 1, 2, 3, 8, 201));
    EXPECT_TRUE(outcome.exitStatus == 0 || !outcome.output.empty()) << "a failure says what is wrong";
    EXPECT_TRUE(outcome.output.empty() || outcome.output.back() == '\n');
    EXPECT_EQ(violation(), "");
    ++statusCounts[outcome.exitStatus];
}

std::string written(const Line& line) {
    std::string text;
    for (const std::string& argument : line) text += "'" + argument.substr(0, 100) + "' ";
    return text.substr(0, 2000);
}

void CommandLineTest::checkLines(uint64_t seed, int count) {
    test::CommandLineGenerator generator(seed, commands());
    for (int i = 0; i < count && !HasFailure(); ++i) {
        const Line line = generator.next();
        SCOPED_TRACE("line " + std::to_string(i) + " of seed " + std::to_string(seed) + ": " + written(line));
        checkLine(line);
    }
}

TEST_F(CommandLineTest, RandomLinesOfTheCatalogueKeepTheRules) {
    useTheCatalogue();
    checkLines(20181105, 16000);
    // Enough of each kind came along for the rules to mean something.
    EXPECT_GT(statusCounts[0], 1500);
    EXPECT_GT(statusCounts[1], 100);
    EXPECT_GT(statusCounts[2], 50);
    EXPECT_GT(statusCounts[3], 50);
    EXPECT_GT(statusCounts[201], 5000);
}

TEST_F(CommandLineTest, RandomLinesOfTheToolKeepTheRules) {
    useWhatTheToolHas();
    checkLines(20181106, 4500);
    EXPECT_GT(statusCounts[0], 400);
    EXPECT_GT(statusCounts[201], 2000);
}

/// Counts the calls of framework functions.
class CallCounter : public LogChannelBase {
public:
    CallCounter() { Logger::getInstance().setChannel(this); }
    ~CallCounter() override { Logger::getInstance().setChannel(nullptr); }
    void write(const LogMessage&) override { ++count; }
    size_t count = 0;
};

/// A line that grows: its shape is repeated so many times.
struct Shape {
    const char* name;
    Line (*line)(size_t times);
};

std::string repeated(const std::string& text, size_t times) {
    std::string result;
    for (size_t i = 0; i < times; ++i) result += text;
    return result;
}

Line withCopies(Line line, const std::string& argument, size_t times) {
    line.insert(line.end(), times, argument);
    return line;
}

const Shape SHAPES[] = {
    {"one value", [](size_t n) { return Line{"show", "-velkossd", std::string(n, 'x')}; }},
    {"values in an argument", [](size_t n) { return Line{"show", "-velkossd", "0" + repeated(",1", n)}; }},
    {"values in arguments", [](size_t n) { return withCopies({"show", "-velkossd", "0"}, ",1", n); }},
    {"option values", [](size_t n) { return withCopies({"show", "-d", "0"}, ",1", n); }},
    {"commas", [](size_t n) { return Line{"show", "-velkossd", std::string(n, ',')}; }},
    {"equals signs", [](size_t n) { return Line{"show", "-velkossd", std::string(n, '=')}; }},
    {"equals arguments", [](size_t n) { return withCopies({"show"}, "=", n); }},
    {"unknown words", [](size_t n) { return withCopies({"show"}, "nosuchword", n); }},
    {"unknown options", [](size_t n) { return withCopies({"show", "-velkossd"}, "-nosuch", n); }},
    {"doubled options", [](size_t n) { return withCopies({"show"}, "-a", n); }},
    {"doubled targets", [](size_t n) { return withCopies({"show"}, "-velkossd", n); }},
    {"doubled properties", [](size_t n) { return withCopies({"set", "-velkossd", "1"}, "AggregationTime=5", n); }},
    {"a property's value",
     [](size_t n) { return Line{"set", "-velkossd", "1", "AggregationTime=" + std::string(n, 'x')}; }},
    {"verbs", [](size_t n) { return withCopies({}, "show", n); }},
    {"empty arguments", [](size_t n) { return withCopies({"show"}, "", n); }},
    {"help options", [](size_t n) { return withCopies({"show", "-velkossd", "0"}, "-h", n); }},
    {"an unknown first word", [](size_t n) { return Line{std::string(n, 'x')}; }},
    {"no verb", [](size_t n) { return withCopies({}, "x", n); }},
};

/// Doubling the line may double the work, with some room for buffers that grow in steps. Counted, not timed.
constexpr double MAX_GROWTH = 2.6;

TEST_F(CommandLineTest, MemoryGrowsInStepWithTheLine) {
    useTheCatalogue();
    const auto bytesFor = [&](const Line& line) {
        (void)run(line);
        const size_t before = test::allocatedBytes();
        (void)run(line);
        return static_cast<double>(test::allocatedBytes() - before);
    };
    for (const Shape& shape : SHAPES) {
        EXPECT_LT(bytesFor(shape.line(4000)), MAX_GROWTH * bytesFor(shape.line(2000))) << shape.name;
    }
}

TEST_F(CommandLineTest, CallsGrowInStepWithTheLine) {
    useTheCatalogue();
    const auto callsFor = [&](const Line& line) {
        const CallCounter calls;
        (void)run(line);
        return static_cast<double>(calls.count);
    };
    for (const Shape& shape : SHAPES) {
        EXPECT_LT(callsFor(shape.line(400)), MAX_GROWTH * callsFor(shape.line(200))) << shape.name;
    }
}

}  // namespace
