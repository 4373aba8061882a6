#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "CLI/velkossd/FlowContext.h"
#include "ostrel/interfaces/cli/cliframework/FeatureBase.h"

namespace cli::velkossd {

/// The command-line feature for drives, the heart of what a user sees. It turns a command into one job for the
/// feature library, has it carried out, and shows the response. No drive is touched here, and none is looked for: a
/// command becomes one request, with or without a drive, and the library does the work for one drive or for all.
///
/// Threads: the main thread only; run() returns when the job is done.
class VelkoSSDFeature : public framework::FeatureBase {
public:
    /// With the feature library of this process.
    VelkoSSDFeature();
    /// With services that stay the caller's.
    explicit VelkoSSDFeature(FeatureServices& services);

    std::unique_ptr<framework::ResultBase> run(const framework::CommandSpec& commandSpec,
                                               const framework::ParsedCommand& parsedCommand) override;
    void getPaths(std::vector<framework::CommandSpec>& commands) override;

private:
    std::unique_ptr<framework::ResultBase> runFlow(std::int32_t commandSpecId,
                                                   const framework::ParsedCommand& parsedCommand);

    FlowContext context_;
};

}  // namespace cli::velkossd
