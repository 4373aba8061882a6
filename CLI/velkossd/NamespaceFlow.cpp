#include "CLI/velkossd/CommandCatalogue.h"
#include "CLI/velkossd/CommandTargets.h"
#include "CLI/velkossd/FlowContext.h"
#include "CLI/velkossd/JobArguments.h"
#include "CLI/velkossd/SubFlows.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace cli::velkossd {

namespace attributes = ostrel::core::attributes::feature;
using ostrel::interfaces::ostreli::Job;

namespace {

constexpr ArgumentRule NAMESPACE_ARGUMENTS[] = {
    {attributes::size},
    {attributes::capacity},
    {attributes::namespaceManagementLBAFormat},
    {attributes::namespaceManagementProtectionInformation},
};

constexpr ArgumentRule NAMESPACE_TARGETS[] = {
    {attributes::namespaceManagementNamespaceId, {}, "-namespace"},
    {attributes::nvmeControllerID,
     {ostrel::core::isInteger, "Invalid value for -nvmecontroller target. The value must be an integer."},
     "-nvmecontroller"},
};

}  // namespace

FlowResult namespaceFlow(FlowContext& context, const CommandAction& action, const framework::ParsedCommand& command) {
    if (command.verb == framework::VERB_DELETE)
        if (auto refusal = askUnlessForced(context, command, "WARNING! You have selected to delete the namespace!",
                                           "Proceed with the delete?"))
            return refusal;
    std::string device;
    if (auto error = context.getDeviceTarget(command, device, targets::VELKOSSD)) return error;
    const auto request =
        Job::createRequest(std::string(action.job), ostrel::interfaces::ostreli::JOBTYPE_METHOD, true, device);
    Job::addProperty(*request, attributes::action(), command.verb);
    if (auto error = addArguments(*request, command.properties, NAMESPACE_ARGUMENTS)) return error;
    const auto multiPath = attributes::multiPathIoCapabilities();
    const std::string* given = findGiven(command.properties, multiPath.getName());
    Job::addProperty(*request, multiPath, given == nullptr ? "0" : *given);
    if (auto error = addArguments(*request, command.targets, NAMESPACE_TARGETS)) return error;
    return context.runAndRender(*request);
}

}  // namespace cli::velkossd
