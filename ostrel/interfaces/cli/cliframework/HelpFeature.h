#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ostrel/interfaces/cli/cliframework/CommandSpec.h"
#include "ostrel/interfaces/cli/cliframework/FeatureBase.h"

namespace cli::framework {

/// Serves the verb "help", the bare invocation and the option "-help" of any command. It only chooses the commands; the
/// HelpResult renders them. A command without a "-help" option is hidden from help.
class HelpFeature : public FeatureBase {
public:
    /// The registered feature.
    HelpFeature();
    /// For one run with "-help" on this command.
    explicit HelpFeature(CommandSpec commandSpec);

    /// With any verb but "help": the page of the command given to the constructor. The commandSpec argument is not
    /// looked at.
    std::unique_ptr<ResultBase> run(const CommandSpec& commandSpec, const ParsedCommand& parsedCommand) override;
    void getPaths(std::vector<CommandSpec>& commands) override;

    /// Whether the command has a "-help" option.
    static bool isShown(const CommandSpec& command);
    /// Whether the filter occurs anywhere in the name; case does not matter.
    static bool matchCommandName(const std::string& filter, const std::string& name);

private:
    std::string name_;
    CommandSpec commandSpec_;
};

}  // namespace cli::framework
