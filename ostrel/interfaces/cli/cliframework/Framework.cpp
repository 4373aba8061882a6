#include "ostrel/interfaces/cli/cliframework/Framework.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/FeatureBase.h"
#include "ostrel/interfaces/cli/cliframework/HelpFeature.h"
#include "ostrel/interfaces/cli/cliframework/Lexer.h"
#include "ostrel/interfaces/cli/cliframework/ParseErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/Parser.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

namespace {

/// The rank of a key in the registry; all unknown keys share the last one.
size_t registryRank(const std::string& key) {
    CLI_TRACE();
    constexpr const char* KNOWN_KEYS[] = {"HelpFeature", "VelkoSSD", "System", "Version"};
    return static_cast<size_t>(std::find(std::begin(KNOWN_KEYS), std::end(KNOWN_KEYS), key) - KNOWN_KEYS);
}

/// Long names of the shared options by the words that select them. "-s" is not among them.
struct OptionAlias {
    std::string_view word;
    const char* name;
};
constexpr OptionAlias OPTION_ALIASES[] = {
    {"-a", "-all"},  {"-d", "-display"},     {"-w", "-wait"},   {"-f", "-force"},   {"-help", "-help"},
    {"-h", "-help"}, {"-output", "-output"}, {"-o", "-output"}, {"-x", "-examine"},
};

bool asksForHelp(int argc, const char* const* argv) {
    CLI_TRACE();
    return std::any_of(argv, argv + argc, [](const char* argument) {
        return stringsIEqual(argument, OPTION_HELP.name) || stringsIEqual(argument, OPTION_HELP.shortName);
    });
}

/// -1 when the left name goes first, 1 when the right one does. The greater character goes first, yet the shorter of
/// two names with the same beginning.
int compareNames(const std::string& left, const std::string& right) {
    CLI_TRACE();
    const auto [l, r] = std::mismatch(left.begin(), left.end(), right.begin(), right.end(),
                                      [](char a, char b) { return foldByte(a) == foldByte(b); });
    if (l != left.end() && r != right.end()) return foldByte(*l) > foldByte(*r) ? -1 : 1;
    if (left.size() != right.size()) return left.size() < right.size() ? -1 : 1;
    return 0;
}

/// The order in which incomplete commands are removed, and so of the suggestions.
bool optionsGoBefore(const CandidateCommand& left, const CandidateCommand& right) {
    CLI_TRACE();
    const std::vector<CommandPart>& a = left.commandSpec.options;
    const std::vector<CommandPart>& b = right.commandSpec.options;
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        const int order = compareNames(a[i].name, b[i].name);
        if (order != 0) return order < 0;
    }
    return a.size() < b.size();
}

std::unique_ptr<ResultBase> noCommandLeft(const std::vector<CommandSpec>& removedCommands) {
    CLI_TRACE();
    // Commands without "-help" stay unknown to the user.
    std::vector<CommandSpec> suggestions;
    std::copy_if(removedCommands.begin(), removedCommands.end(), std::back_inserter(suggestions), HelpFeature::isShown);
    auto failure = std::make_unique<ParseErrorResult>();
    failure->setPotentialCommands(std::move(suggestions));
    return failure;
}

std::string quotedUsages(const CandidateCommands& commands) {
    CLI_TRACE();
    std::string text;
    for (const CandidateCommand& candidate : commands) text += "\"" + candidate.commandSpec.asStr() + "\" ";
    return text;
}

/// A defect of the commands' grammar and not of the user's line.
std::unique_ptr<ResultBase> severalCommandsLeft(const CandidateCommands& commands) {
    CLI_TRACE();
    CLI_LOG("The conflicting commands are: " << quotedUsages(commands));
    return std::make_unique<ErrorResult>(
        ERRORCODE_GENERAL,
        "The command list had more than one after filtering. This means that there might be more than one CommandSpec "
        "with the same required syntax.",
        "");
}

std::unique_ptr<ResultBase> runFeature(FeatureBase& feature, const CommandSpec& command, const ParsedCommand& parsed,
                                       const Parser& parser) {
    CLI_TRACE();
    CLI_LOG("Executing: " << command.asStr());
    if (auto failure = feature.validate(parsed)) return failure;
    if (auto failure = parser.checkValues(command)) return failure;
    return feature.run(command, parsed);
}

}  // namespace

bool Framework::RegistryOrder::operator()(const std::string& left, const std::string& right) const {
    CLI_TRACE();
    const size_t leftRank = registryRank(left);
    const size_t rightRank = registryRank(right);
    return leftRank != rightRank ? leftRank < rightRank : left < right;
}

Framework& Framework::getInstance() {
    CLI_TRACE();
    static Framework instance;
    return instance;
}

Framework::~Framework() {
    CLI_TRACE();
    clearFeatureList();
}

bool Framework::registerFeature(const std::string& key, FeatureBase* feature) {
    CLI_TRACE();
    return features_.emplace(key, feature).second;
}

void Framework::removeFeature(const std::string& key) {
    CLI_TRACE();
    features_.erase(key);
}

void Framework::clearFeatureList() {
    CLI_TRACE();
    features_.clear();
}

void Framework::buildCommands(CandidateCommands& commands) const {
    CLI_TRACE();
    for (const auto& [key, feature] : features_) {
        std::vector<CommandSpec> specs;
        feature->getPaths(specs);
        commands.reserve(commands.size() + specs.size());
        for (CommandSpec& spec : specs) {
            spec.addOption(OPTION_OUTPUT);
            commands.push_back({std::move(spec), feature});
        }
    }
}

std::unique_ptr<ResultBase> Framework::execute(const std::vector<std::string>& arguments) {
    CLI_TRACE();
    std::vector<const char*> argv;
    argv.reserve(arguments.size());
    for (const std::string& argument : arguments) argv.push_back(argument.c_str());
    return execute(static_cast<int>(argv.size()), argv.data());
}

std::unique_ptr<ResultBase> Framework::execute(int argc, const char* const* argv) {
    CLI_TRACE();
    if (argc < 1) {
        ParsedCommand help;
        help.verb = VERB_HELP;
        return HelpFeature().run(CommandSpec(), help);
    }
    removedCommands_.clear();
    Parser parser;
    std::unique_ptr<ResultBase> result = executeLine(argc, argv, parser);
    // Last, so that it holds for every kind of result. A failed parse may leave an empty "-output": that is plain text.
    if (result) (void)result->setOutputOption(parser.getParsedCommand().options);
    return result;
}

std::unique_ptr<ResultBase> Framework::executeLine(int argc, const char* const* argv, Parser& parser) {
    CLI_TRACE();
    CLI_LOG("Executing: " << tokenArrayToString(argc, argv));
    CandidateCommands commands;
    buildCommands(commands);
    CLI_LOG("Commands to consider: " << commands.size());
    const std::vector<Token> tokens = tokenize(argc, argv, commands);
    CLI_LOG("Tokenized input is: " << tokenArrayToString(tokens));
    std::unique_ptr<ResultBase> failure = parser.parse(tokens, &commands);
    CLI_LOG("Commands left after Parser filtered: " << commands.size());
    if (failure) return failure;

    if (asksForHelp(argc, argv)) {
        removeIncompleteForHelp(commands);
    } else {
        removeIncompleteCommands(commands);
    }
    if (commands.empty()) return noCommandLeft(removedCommands_);
    if (commands.size() > 1) return severalCommandsLeft(commands);
    return runOnlyCommand(commands, parser);
}

void Framework::removeIncompleteCommands(CandidateCommands& commands) {
    CLI_TRACE();
    std::sort(commands.begin(), commands.end(), optionsGoBefore);
    filterIncompleteCommands(TOKENTYPE_TARGET, commands);
    CLI_LOG("Commands left after checking required targets: " << commands.size());
    filterIncompleteCommands(TOKENTYPE_PROPERTY, commands);
    CLI_LOG("Commands left after checking required properties: " << commands.size());
    filterIncompleteCommands(TOKENTYPE_OPTION, commands);
    CLI_LOG("Commands left after checking required options: " << commands.size());
}

/// Help needs no required properties and options, and not even the targets once a single command is left.
void Framework::removeIncompleteForHelp(CandidateCommands& commands) {
    CLI_TRACE();
    if (commands.size() < 2) {
        CLI_LOG("Command filtering check skipped due to help option: ");
        return;
    }
    filterIncompleteCommands(TOKENTYPE_TARGET, commands);
}

std::unique_ptr<ResultBase> Framework::runOnlyCommand(const CandidateCommands& commands, const Parser& parser) const {
    CLI_TRACE();
    const auto& [command, feature] = commands.front();
    const ParsedCommand parsed = parser.getParsedCommand();
    if (parsed.options.count(OPTION_HELP.name) == 0) return runFeature(*feature, command, parsed, parser);
    HelpFeature help(command);
    return runFeature(help, command, parsed, parser);
}

std::vector<Token> Framework::tokenize(int argc, const char* const* argv, const CandidateCommands& commands) const {
    CLI_TRACE();
    std::vector<Token> tokens = Lexer(commands).tokenize(argc, argv);
    for (Token& token : tokens) {
        if (token.tokenType != TOKENTYPE_OPTION) continue;
        const auto alias = std::find_if(std::begin(OPTION_ALIASES), std::end(OPTION_ALIASES),
                                        [&](const OptionAlias& each) { return each.word == token.text; });
        if (alias != std::end(OPTION_ALIASES)) token.text = alias->name;
    }
    return tokens;
}

std::vector<CommandPart>* Framework::getCommandPart(TokenType tokenType, CommandSpec& commandSpec) {
    CLI_TRACE();
    switch (tokenType) {
        case TOKENTYPE_TARGET:
            return &commandSpec.targets;
        case TOKENTYPE_PROPERTY:
            return &commandSpec.properties;
        case TOKENTYPE_OPTION:
            return &commandSpec.options;
        default:
            return nullptr;
    }
}

void Framework::filterIncompleteCommands(TokenType tokenType, CandidateCommands& commands) {
    CLI_TRACE();
    removeCandidates(commands, removedCommands_, [&](CommandSpec& command) {
        const std::vector<CommandPart>* parts = getCommandPart(tokenType, command);
        if (parts == nullptr) return true;
        const auto missing = std::find_if(parts->begin(), parts->end(),
                                          [](const CommandPart& part) { return part.required && !part.found; });
        if (missing == parts->end()) return true;
        CLI_LOG(tokenTypeToString(tokenType) << " '" << missing->name << "' required, but not found?");
        return false;
    });
}

std::string Framework::tokenArrayToString(int argc, const char* const* argv) {
    CLI_TRACE();
    std::string text;
    for (int i = 0; i < argc; ++i) text += (i > 0 ? " " : "") + std::string(argv[i]);
    return text;
}

std::string Framework::tokenArrayToString(const std::vector<Token>& tokens) {
    CLI_TRACE();
    std::string text;
    for (const Token& token : tokens) {
        text += (text.empty() ? "" : " ") + tokenTypeToString(token.tokenType) + "(" + token.text + ")";
    }
    return text;
}

}  // namespace cli::framework
