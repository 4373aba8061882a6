#pragma once

#include <memory>
#include <vector>

#include "ostrel/interfaces/cli/cliframework/FeatureBase.h"

namespace cli::version {

/// Serves the verb "version": says what the tool is and shows its license. Touches no drive and no library.
class VersionFeature : public framework::FeatureBase {
public:
    std::unique_ptr<framework::ResultBase> run(const framework::CommandSpec& commandSpec,
                                               const framework::ParsedCommand& parsedCommand) override;
    void getPaths(std::vector<framework::CommandSpec>& commands) override;

private:
    std::unique_ptr<framework::ResultBase> showVersion(const framework::ParsedCommand& parsedCommand) const;
};

}  // namespace cli::version
