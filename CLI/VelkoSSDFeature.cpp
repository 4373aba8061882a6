#include "CLI/VelkoSSDFeature.h"

#include <string>

#include "CLI/LibraryServices.h"
#include "CLI/velkossd/CommandCatalogue.h"
#include "CLI/velkossd/Interruption.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/NotImplementedErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"

namespace cli::velkossd {

using framework::CommandSpec;
using framework::ParsedCommand;
using framework::Prompt;
using framework::ResultBase;

namespace {

constexpr char FEATURE_NAME[] = "VelkoSSD";

VelkoSSDFeature registeredFeature;
[[maybe_unused]] const bool isRegistered =
    framework::Framework::getInstance().registerFeature(FEATURE_NAME, &registeredFeature);

}  // namespace

VelkoSSDFeature::VelkoSSDFeature() : VelkoSSDFeature(libraryServices()) {}

VelkoSSDFeature::VelkoSSDFeature(FeatureServices& services)
    : context_(services, [this](const Prompt& prompt) { return promptUser(prompt); }) {}

std::unique_ptr<ResultBase> VelkoSSDFeature::run(const CommandSpec& commandSpec, const ParsedCommand& parsedCommand) {
    OSTREL_TRACE();
    framework::ObjectResult::setTab(true);
    if (auto loadError = context_.getServices().takeLoadError()) return loadError;
    return runFlow(commandSpec.id, parsedCommand);
}

void VelkoSSDFeature::getPaths(std::vector<CommandSpec>& commands) {
    appendCommandSpecs(commands);
}

std::unique_ptr<ResultBase> VelkoSSDFeature::runFlow(std::int32_t commandSpecId, const ParsedCommand& parsedCommand) {
    if (const CommandRow* row = findCommand(commandSpecId)) {
        context_.setInterruption(interruptionWords(*row, parsedCommand));
        return row->action.flow(context_, row->action, parsedCommand);
    }
    return std::make_unique<framework::NotImplementedErrorResult>(static_cast<std::uint32_t>(commandSpecId),
                                                                  FEATURE_NAME);
}

}  // namespace cli::velkossd
