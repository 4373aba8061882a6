#pragma once

#include <memory>
#include <string>

#include "ostrel/interfaces/cli/cliframework/FeatureBase.h"

namespace test {

/// Answers every command with what it was given, "Name: verb -option(value) -target(value) Property(value)", and notes
/// when that is something which the grammar of the command does not allow.
class EchoFeature : public cli::framework::FeatureBase {
public:
    std::unique_ptr<cli::framework::ResultBase> run(const cli::framework::CommandSpec& commandSpec,
                                                    const cli::framework::ParsedCommand& parsedCommand) override;

    /// The last run that should never have come here; empty while all is well.
    const std::string& violation() const { return violation_; }

protected:
    /// The answer's text; notes a violation.
    std::string echo(const cli::framework::CommandSpec& commandSpec,
                     const cli::framework::ParsedCommand& parsedCommand);

private:
    std::string violation_;
};

}  // namespace test
