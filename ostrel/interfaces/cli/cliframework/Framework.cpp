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

}  // namespace cli::framework
