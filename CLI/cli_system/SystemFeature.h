#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ostrel/core/AttributeList.h"
#include "ostrel/interfaces/cli/cliframework/FeatureBase.h"

namespace cli::system {

/// The user's way to the tool's settings, `show -system` and `set -system`, and their owner: what the configuration
/// file held at the start of the run, or the defaults.
///
/// Threads: the main thread only.
class SystemFeature : public framework::FeatureBase {
public:
    /// The one that is registered with the framework and that the configuration file is loaded into.
    static SystemFeature& getInstance();

    SystemFeature();

    std::unique_ptr<framework::ResultBase> run(const framework::CommandSpec& commandSpec,
                                               const framework::ParsedCommand& parsedCommand) override;
    void getPaths(std::vector<framework::CommandSpec>& commands) override;

    const ostrel::core::AttributeList& getSettings() const { return settings_; }
    /// Any order will do: they are put into the one in which they are shown.
    void setSettings(ostrel::core::AttributeList settings);

private:
    std::unique_ptr<framework::ResultBase> show(const framework::ParsedCommand& parsedCommand) const;
    std::unique_ptr<framework::ResultBase> setProperty(const std::string& key,
                                                       const framework::ParsedCommand& parsedCommand);
    std::unique_ptr<framework::ResultBase> writeConfig(const std::string& key, const std::string& value);

    ostrel::core::AttributeList settings_;
};

}  // namespace cli::system
