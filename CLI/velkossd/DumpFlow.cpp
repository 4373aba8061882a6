#include "CLI/velkossd/CommandCatalogue.h"
#include "CLI/velkossd/CommandTargets.h"
#include "CLI/velkossd/FlowContext.h"
#include "CLI/velkossd/JobArguments.h"
#include "CLI/velkossd/SavedOutput.h"
#include "CLI/velkossd/SubFlows.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace cli::velkossd {
namespace {

namespace attributes = ostrel::core::attributes::feature;
using framework::ParsedCommand;
using framework::stringsIEqual;
using ostrel::core::xml::XmlObject;
using ostrel::interfaces::ostreli::Job;
using ostrel::interfaces::ostreli::JOBTYPE_METHOD;

constexpr ArgumentRule DATA_AREA[] = {{attributes::dataArea, {}, "-dataarea"}};
constexpr ArgumentRule HOST_INITIATED[] = {{attributes::hostInitiated, MUST_BE_TRUE_OR_FALSE}};
constexpr ArgumentRule RETAIN_EVENT[] = {{attributes::retainAsynchronousEvent, {isTrueOrFalse, NOT_A_BOOLEAN}}};

}  // namespace

FlowResult addHostInitiated(XmlObject& request, const ParsedCommand& command, bool byDefault) {
    const auto attribute = attributes::hostInitiated();
    const bool isGiven = findGiven(command.properties, attribute.getName()) != nullptr;
    if (!isGiven && byDefault) Job::addProperty(request, attribute, "true");
    return addArguments(request, command.properties, HOST_INITIATED);
}

FlowResult addPersistentEventLogAction(FlowContext&, XmlObject& request, const ParsedCommand& command) {
    const std::string& word = valueOf(command.targets, "-persistenteventlog");
    const bool isRead = stringsIEqual(word, "read");
    if (!isRead && !stringsIEqual(word, "release"))
        return makeError(framework::ERRORCODE_INVALID_VALUE, "Invalid persistent event log action given " + word);
    const bool isOldContext = stringsIEqual(valueOf(command.properties, attributes::newContext().getName()), "false");
    const char* readAction = isOldContext ? "read" : "new_context";
    Job::addProperty(request, attributes::action(), isRead ? readAction : "release");
    return nullptr;
}

namespace {

FlowResult dump(FlowContext& context, const CommandAction& action, const ParsedCommand& command,
                bool isHostInitiatedByDefault) {
    std::string device;
    if (auto error = context.getDeviceTarget(command, device, targets::OPTIONAL_VELKOSSD_OR_ALL)) return error;
    const auto request = Job::createRequest(std::string(action.job), JOBTYPE_METHOD, true, device);
    if (auto error = addArguments(*request, command.targets, DATA_AREA)) return error;
    if (auto error = addHostInitiated(*request, command, isHostInitiatedByDefault)) return error;
    if (auto error = addArguments(*request, command.properties, RETAIN_EVENT)) return error;
    if (findGiven(command.options, "-destination") != nullptr && device.empty())
        return makeError(framework::ERRORCODE_INVALID_VALUE,
                         "-destination can only be used when one -velkossd is selected.");
    if (action.addArguments != nullptr)
        if (auto error = action.addArguments(context, *request, command)) return error;

    std::unique_ptr<ostrel::core::xml::XmlElement> response;
    ostrel::core::Status status;
    if (auto error = context.runJob(*request, response, status)) return error;
    return saveBinary(*response, valueOf(command.options, "-destination"));
}

}  // namespace

FlowResult dumpFlow(FlowContext& context, const CommandAction& action, const ParsedCommand& command) {
    return dump(context, action, command, false);
}

FlowResult telemetryDumpFlow(FlowContext& context, const CommandAction& action, const ParsedCommand& command) {
    return dump(context, action, command, true);
}

}  // namespace cli::velkossd
