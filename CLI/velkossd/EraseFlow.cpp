#include <algorithm>
#include <iterator>

#include "CLI/velkossd/CommandCatalogue.h"
#include "CLI/velkossd/CommandTargets.h"
#include "CLI/velkossd/FlowContext.h"
#include "CLI/velkossd/JobArguments.h"
#include "CLI/velkossd/SubFlows.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace cli::velkossd {
namespace {

namespace attributes = ostrel::core::attributes::feature;
using framework::ParsedCommand;
using ostrel::core::xml::XmlObject;
using ostrel::interfaces::ostreli::Job;
using ostrel::interfaces::ostreli::JOB_FORMAT;
using ostrel::interfaces::ostreli::JOBTYPE_METHOD;

constexpr ArgumentRule FORMAT_ARGUMENTS[] = {
    {attributes::secureEraseSetting},
    {attributes::lbaFormat},
    {attributes::protectionInformation},
    {attributes::metadataSettings},
};
constexpr ArgumentRule FORMAT_NAMESPACE[] = {{attributes::namespaceId, MUST_BE_NAMESPACE_ID, "-namespace"}};

constexpr ArgumentRule SANITIZE_ARGUMENTS[] = {
    {attributes::noDeallocateAfterSanitize}, {attributes::overwriteInvertPattern}, {attributes::overwritePassCount},
    {attributes::allowUnrestrictedExit},     {attributes::overwritePattern},       {attributes::returnImmediately},
};

/// The Sanitize Action field of the NVMe command. The words are compared exactly, unlike most others.
constexpr struct {
    const char* word;
    const char* action;
} SANITIZE_ACTIONS[] = {{"", "2"}, {"block", "2"}, {"crypto", "4"}, {"overwrite", "3"}, {"exit_failure", "1"}};

FlowResult addNothing(XmlObject&, const ParsedCommand&) {
    return nullptr;
}

FlowResult addFormat(XmlObject& request, const ParsedCommand& command) {
    return addArguments(request, command.properties, FORMAT_ARGUMENTS);
}

FlowResult addFormatNamespace(XmlObject& request, const ParsedCommand& command) {
    return addArguments(request, command.targets, FORMAT_NAMESPACE);
}

FlowResult addSanitize(XmlObject& request, const ParsedCommand& command) {
    const std::string& word = valueOf(command.targets, "-sanitize");
    const auto* row = std::find_if(std::begin(SANITIZE_ACTIONS), std::end(SANITIZE_ACTIONS),
                                   [&word](const auto& candidate) { return candidate.word == word; });
    if (row == std::end(SANITIZE_ACTIONS))
        return makeError(framework::ERRORCODE_INVALID_VALUE, "Invalid value for sanitize operation type.");
    Job::addProperty(request, attributes::sanitizeAction(), row->action);
    return addArguments(request, command.properties, SANITIZE_ARGUMENTS);
}

/// What one way of erasing asks, says and sends.
struct Erasure {
    const char* warning;
    const char* question;
    const char* notice;
    FlowResult (*addArguments)(XmlObject&, const ParsedCommand&);
    FlowResult (*addAfterForce)(XmlObject&, const ParsedCommand&);
};

// clang-format off
constexpr Erasure DELETION{
    "WARNING! You have selected to delete all the data on the drive! ", "Proceed with the delete?",
    "Deleting...",   addNothing,  addNothing};
constexpr Erasure FORMAT{
    "WARNING! You have selected to format the drive! ",                 "Proceed with the format?",
    "Formatting...", addFormat,   addFormatNamespace};
constexpr Erasure SANITIZE{
    "WARNING! You have selected to sanitize the drive! ",               "Proceed with the sanitize?",
    "Sanitizing...", addSanitize, addNothing};
// clang-format on

FlowResult erase(FlowContext& context, const CommandAction& action, const ParsedCommand& command,
                 const Erasure& erasure) {
    std::string device;
    if (auto error = context.getDeviceTarget(command, device, targets::VELKOSSD)) return error;
    if (auto refusal = askUnlessForced(context, command, erasure.warning, erasure.question)) return refusal;
    const auto request = Job::createRequest(JOB_FORMAT, JOBTYPE_METHOD, true, device);
    Job::addProperty(*request, attributes::type(), std::string(action.job));
    if (auto error = erasure.addArguments(*request, command)) return error;
    const bool isForced = findGiven(command.options, "-force") != nullptr;
    Job::addProperty(*request, attributes::force(), isForced ? "true" : "false");
    if (auto error = erasure.addAfterForce(*request, command)) return error;
    printNotice(std::string(erasure.notice) + " (This can take several minutes to complete)");
    return context.runAndRender(*request);
}

}  // namespace

FlowResult deleteFlow(FlowContext& context, const CommandAction& action, const ParsedCommand& command) {
    return erase(context, action, command, DELETION);
}

FlowResult formatFlow(FlowContext& context, const CommandAction& action, const ParsedCommand& command) {
    return erase(context, action, command, FORMAT);
}

FlowResult sanitizeFlow(FlowContext& context, const CommandAction& action, const ParsedCommand& command) {
    return erase(context, action, command, SANITIZE);
}

}  // namespace cli::velkossd
