#include "CLI/velkossd/CommandCatalogue.h"
#include "CLI/velkossd/CommandTargets.h"
#include "CLI/velkossd/FlowContext.h"
#include "CLI/velkossd/JobArguments.h"
#include "CLI/velkossd/SubFlows.h"
#include "ostrel/core/Strings.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace cli::velkossd {
namespace {

namespace attributes = ostrel::core::attributes::feature;
using framework::ParsedCommand;
using ostrel::core::Attribute;
using ostrel::core::xml::XmlObject;
using ostrel::interfaces::ostreli::Job;
using ostrel::interfaces::ostreli::JOBTYPE_GET_PROPERTIES;

template <Attribute (*attribute)()>
bool suits(std::string_view value) {
    return succeeded(attribute().fromText(std::string(value)));
}

constexpr char INVALID_VALUE[] = "Invalid %s given %s";
constexpr ArgumentRule PHY_ARGUMENTS[] = {
    {attributes::group, {suits<attributes::group>, INVALID_VALUE}},
    {attributes::lane, {suits<attributes::lane>, INVALID_VALUE}},
};
constexpr ArgumentRule SMART_ARGUMENTS[] = {{attributes::includeNVMeSmartHealthLog, MUST_BE_TRUE_OR_FALSE}};

/// -all wins over -display, whose names are then not sent.
void addDisplayed(XmlObject& request, const ParsedCommand& command) {
    if (findGiven(command.options, "-all") != nullptr) return;
    const std::string* names = findGiven(command.options, "-display");
    if (names == nullptr) return;
    for (const std::string& name : ostrel::core::split(*names, ','))
        Job::addRequestedGetProperty(request, Attribute(name, "", ostrel::core::typeString()));
}

}  // namespace

FlowResult addShowAll(FlowContext&, XmlObject& request, const ParsedCommand& command) {
    if (findGiven(command.options, "-all") != nullptr) Job::addProperty(request, attributes::showAllFlag(), "true");
    return nullptr;
}

FlowResult addSmart(FlowContext&, XmlObject& request, const ParsedCommand& command) {
    const std::string* id = findGiven(command.targets, "-smart");
    if (id == nullptr) return nullptr;
    if (auto error = addArguments(request, command.properties, SMART_ARGUMENTS)) return error;
    if (!id->empty()) Job::addProperty(request, attributes::id(), *id);
    return nullptr;
}

FlowResult addPartition(FlowContext&, XmlObject& request, const ParsedCommand& command) {
    const std::string& partition = valueOf(command.targets, "-partition");
    if (!partition.empty()) Job::addProperty(request, attributes::path(), partition);
    return nullptr;
}

FlowResult getFlow(FlowContext& context, const CommandAction& action, const ParsedCommand& command) {
    std::string device;
    if (auto error = context.getDeviceTarget(command, device, targets::OPTIONAL_VELKOSSD_OR_ALL)) return error;
    const auto request = Job::createRequest(std::string(action.job), JOBTYPE_GET_PROPERTIES, true, device);
    addDisplayed(*request, command);
    if (auto error = addArguments(*request, command.properties, PHY_ARGUMENTS)) return error;
    if (action.addArguments != nullptr)
        if (auto error = action.addArguments(context, *request, command)) return error;
    return context.runAndRender(*request);
}

}  // namespace cli::velkossd
