#include "ostrel/interfaces/cli/cliframework/FeatureBase.h"

#include <iostream>
#include <limits>

#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/SimpleResult.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/cli/cliframework/SyntaxErrorMissingValueResult.h"
#include "ostrel/interfaces/cli/cliframework/SyntaxErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/SyntaxErrorUnexpectedValueResult.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

namespace {

/// "csv" is rendered by the results and yet no choice of the user's; "esx" is one that no message names.
bool isOutputKeyword(const std::string& value) {
    CLI_TRACE();
    for (const char* keyword : {OUTPUT_NVMXML, OUTPUT_TEXT, OUTPUT_ESX, OUTPUT_JSON}) {
        if (stringsIEqual(value, keyword)) return true;
    }
    return false;
}

/// The first character of the user's next line that is not empty; "n" at the end of the input.
char askUntilAnswered(const Prompt& prompt) {
    CLI_TRACE();
    char answer = 'n';
    do {
        std::clog << prompt.getWarning() << "\n" << prompt.getQuestion() << " (Y|N): " << std::flush;
        if (!std::cin.get(answer)) return 'n';
    } while (answer == '\n');
    return answer;
}

}  // namespace

FeatureBase::~FeatureBase() = default;

std::unique_ptr<ResultBase> FeatureBase::validate(const ParsedCommand& parsedCommand) {
    CLI_TRACE();
    const auto& options = parsedCommand.options;
    const auto none = options.end();
    const auto all = options.find(OPTION_ALL.name);
    const auto display = options.find(OPTION_DISPLAY.name);
    const auto help = options.find(OPTION_HELP.name);
    const auto output = options.find(OPTION_OUTPUT.name);
    // These messages name the options without their "-".
    if (all != none && display != none)
        return std::make_unique<SyntaxErrorResult>("Options 'all' and 'display' cannot be used together.");
    if (all != none && !all->second.empty())
        return std::make_unique<SyntaxErrorUnexpectedValueResult>(TOKENTYPE_OPTION, "all");
    if (display != none && display->second.empty())
        return std::make_unique<SyntaxErrorMissingValueResult>(TOKENTYPE_OPTION, "display");
    if (help != none && !help->second.empty())
        return std::make_unique<SyntaxErrorUnexpectedValueResult>(TOKENTYPE_OPTION, "help");
    if (output != none && !isOutputKeyword(output->second))
        return std::make_unique<SyntaxErrorResult>(
            formatString("Option 'output' expects '%s', '%s' or '%s'.", OUTPUT_TEXT, OUTPUT_NVMXML, OUTPUT_JSON));
    return nullptr;
}

std::unique_ptr<ResultBase> FeatureBase::promptUser(const Prompt& prompt) {
    CLI_TRACE();
    const char answer = askUntilAnswered(prompt);
    // The rest of the line is no answer to a later question.
    std::cin.clear();
    std::cin.ignore(std::numeric_limits<int>::max(), '\n');
    if (answer == 'Y' || answer == 'y') return nullptr;
    return std::make_unique<SimpleResult>("Cancelled");
}

}  // namespace cli::framework
