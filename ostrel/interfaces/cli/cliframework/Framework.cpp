#include "ostrel/interfaces/cli/cliframework/Framework.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/FeatureBase.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

namespace {

/// The rank of a key in the registry; all unknown keys share the last one.
size_t registryRank(const std::string& key) {
    CLI_TRACE();
    constexpr const char* KNOWN_KEYS[] = {"HelpFeature", "VelkoSSD", "System", "Version"};
    return static_cast<size_t>(std::find(std::begin(KNOWN_KEYS), std::end(KNOWN_KEYS), key) - KNOWN_KEYS);
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
        for (CommandSpec& spec : specs) {
            spec.addOption(OPTION_OUTPUT);
            commands.push_back({std::move(spec), feature});
        }
    }
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

}  // namespace cli::framework
