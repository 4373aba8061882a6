#include "CLI/velkossd/CommandCatalogue.h"
#include "CLI/velkossd/CommandTargets.h"
#include "CLI/velkossd/FlowContext.h"
#include "CLI/velkossd/SubFlows.h"
#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace cli::velkossd {
using ostrel::interfaces::ostreli::Job;
using ostrel::interfaces::ostreli::JOBTYPE_METHOD;

namespace {

FlowResult runMethod(FlowContext& context, const CommandAction& action, const framework::ParsedCommand& command,
                     std::unique_ptr<framework::ObjectResult>& result) {
    std::string device;
    if (auto error = context.getDeviceTarget(command, device, targets::OPTIONAL_VELKOSSD_OR_ALL)) return error;
    const auto request = Job::createRequest(std::string(action.job), JOBTYPE_METHOD, true, device);
    if (action.addArguments != nullptr)
        if (auto error = action.addArguments(context, *request, command)) return error;
    return context.runAndRender(*request, result);
}

}  // namespace

FlowResult methodFlow(FlowContext& context, const CommandAction& action, const framework::ParsedCommand& command) {
    std::unique_ptr<framework::ObjectResult> result;
    if (auto error = runMethod(context, action, command, result)) return error;
    return result;
}

FlowResult selfTestFlow(FlowContext& context, const CommandAction& action, const framework::ParsedCommand& command) {
    std::unique_ptr<framework::ObjectResult> result;
    if (auto error = runMethod(context, action, command, result)) return error;
    if (result->getErrorCode() == 0) noteRunningSelfTest(*result);
    return result;
}

}  // namespace cli::velkossd
