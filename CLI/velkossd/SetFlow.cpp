#include "CLI/velkossd/CommandCatalogue.h"
#include "CLI/velkossd/CommandTargets.h"
#include "CLI/velkossd/FlowContext.h"
#include "CLI/velkossd/JobArguments.h"
#include "ostrel/core/xml/XmlElement.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/cli/cliframework/SimpleResult.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace cli::velkossd {
namespace {

namespace attributes = ostrel::core::attributes::feature;
using framework::ParsedCommand;
using ostrel::core::Attribute;
using ostrel::core::Status;
using ostrel::interfaces::ostreli::Job;
using ostrel::interfaces::ostreli::JOBTYPE_SET_PROPERTY;

/// The user's word is the key; the vocabulary calls the same thing DurationBase.
Attribute milliseconds() {
    return {"Milliseconds", "Duration Base", ostrel::core::typeUint32()};
}

constexpr Attribute (*LED_ATTRIBUTES[])() = {
    milliseconds,
    attributes::idleState,
    attributes::formatOffMultiplier,
    attributes::formatOnMultiplier,
    attributes::ioOffMultiplier,
    attributes::ioOnMultiplier,
};

/// Reads the value into the attribute, by the attribute's type, and has the library set it.
FlowResult sendProperty(FlowContext& context, const CommandAction& action, const std::string& device,
                        Attribute attribute, const std::string& value) {
    const std::string key = attribute.getName();
    const auto request = Job::createRequest(std::string(action.job), JOBTYPE_SET_PROPERTY, true, device);
    if (failed(attribute.fromText(value)))
        return makeError(framework::ERRORCODE_INVALID_VALUE, "Invalid value given for " + key);
    Job::addRequestedGetProperty(*request, attribute);

    std::unique_ptr<ostrel::core::xml::XmlElement> response;
    Status status;  // of a response without one, the default message is shown
    if (auto error = context.runJob(*request, response, status)) return error;
    std::string message = "Set " + key + " successful.";
    if (!status.getMessage().empty()) message += " " + status.getMessage();
    return std::make_unique<framework::SimpleResult>(message);
}

FlowResult setProperty(FlowContext& context, const CommandAction& action, const ParsedCommand& command,
                       const Attribute& attribute) {
    std::string device;
    if (auto error = context.getDeviceTarget(command, device, targets::VELKOSSD)) return error;
    const std::string& key = attribute.getName();
    const std::string* value = findGiven(command.properties, key);
    if (value == nullptr) return makeError(framework::ERRORCODE_INVALID_PROPERTY, "Property not found: " + key);
    if (auto error = checkValue(MUST_HAVE_VALUE, key, *value)) return error;
    return sendProperty(context, action, device, attribute, *value);
}

}  // namespace

FlowResult setFlow(FlowContext& context, const CommandAction& action, const ParsedCommand& command) {
    return setProperty(context, action, command, action.attribute());
}

FlowResult ledFlow(FlowContext& context, const CommandAction& action, const ParsedCommand& command) {
    if (command.properties.size() != 1)
        return makeError(framework::ERRORCODE_INVALID_VALUE,
                         "Must specify one (and only one property) for set LED activity feature.");
    const std::string& key = command.properties.begin()->first;
    for (const auto& attribute : LED_ATTRIBUTES)
        if (attribute().getName() == key) return setProperty(context, action, command, attribute());
    return makeError(framework::ERRORCODE_INVALID_VALUE, "Failed to find supported property for LED activity.");
}

FlowResult timestampFlow(FlowContext& context, const CommandAction& action, const ParsedCommand& command) {
    std::string device;
    if (auto error = context.getDeviceTarget(command, device, targets::VELKOSSD)) return error;
    const std::string* value = findGiven(command.targets, "-timestamp");
    if (value == nullptr || !isIntegerOrHex(*value))
        return makeError(framework::ERRORCODE_INVALID_VALUE, "Failed to find timestamp target.");
    return sendProperty(context, action, device, attributes::timestamp(), *value);
}

}  // namespace cli::velkossd
