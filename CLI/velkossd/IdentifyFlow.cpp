#include "CLI/velkossd/CommandCatalogue.h"
#include "CLI/velkossd/CommandTargets.h"
#include "CLI/velkossd/FlowContext.h"
#include "CLI/velkossd/JobArguments.h"
#include "ostrel/core/Strings.h"
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

// The Controller or Namespace Structure of the NVMe Identify command.
constexpr char CNS_NAMESPACE[] = "0";
constexpr char CNS_CONTROLLER[] = "1";
constexpr char CNS_ATTACHED_NAMESPACES[] = "2";
constexpr char CNS_NAMESPACE_DESCRIPTORS[] = "3";
constexpr char CNS_ALLOCATED_NAMESPACES[] = "16";
constexpr char CNS_CONTROLLERS_OF_NAMESPACE[] = "18";
constexpr char CNS_CONTROLLERS[] = "19";
constexpr char CNS_UUID_LIST[] = "23";
constexpr char NO_NAMESPACE[] = "0";

constexpr char BAD_NAMESPACE[] = "Invalid value for -namespace target. The value must be a valid namespace ID.";
constexpr ValueTest MUST_BE_NAMESPACE{isIntegerOrHex, BAD_NAMESPACE};
constexpr ValueTest MUST_BE_DECIMAL_NAMESPACE{ostrel::core::isInteger, BAD_NAMESPACE};

bool isGiven(const ParsedCommand& command, const char* target) {
    return findGiven(command.targets, target) != nullptr;
}

FlowResult addStructure(XmlObject& request, const char* structure, const std::string& namespaceId) {
    Job::addProperty(request, attributes::controllerNamespaceStructure(), structure);
    Job::addProperty(request, attributes::identifyNamespaceId(), namespaceId);
    return nullptr;
}

FlowResult addNamespaceList(XmlObject& request, const char* structure, bool withDescriptors) {
    if (withDescriptors)
        return makeError(framework::ERRORCODE_INVALID_VALUE,
                         "Must specify a single namespace to retrieve descriptors from.");
    return addStructure(request, structure, NO_NAMESPACE);
}

FlowResult addNamespace(XmlObject& request, const std::string* id, bool withDescriptors) {
    if (id == nullptr) return addStructure(request, CNS_CONTROLLER, NO_NAMESPACE);
    if (stringsIEqual(*id, "allocated")) return addNamespaceList(request, CNS_ALLOCATED_NAMESPACES, withDescriptors);
    if (stringsIEqual(*id, "attached")) return addNamespaceList(request, CNS_ATTACHED_NAMESPACES, withDescriptors);
    if (auto error = checkValue(MUST_BE_NAMESPACE, "-namespace", *id)) return error;
    addStructure(request, CNS_NAMESPACE, *id);
    // A second structure: the library takes the last one.
    if (withDescriptors)
        Job::addProperty(request, attributes::controllerNamespaceStructure(), CNS_NAMESPACE_DESCRIPTORS);
    return nullptr;
}

FlowResult addControllers(XmlObject& request, const std::string* namespaceId) {
    if (namespaceId == nullptr) return addStructure(request, CNS_CONTROLLERS, NO_NAMESPACE);
    if (auto error = checkValue(MUST_BE_DECIMAL_NAMESPACE, "-namespace", *namespaceId)) return error;
    return addStructure(request, CNS_CONTROLLERS_OF_NAMESPACE, *namespaceId);
}

FlowResult addIdentify(XmlObject& request, const ParsedCommand& command, bool listControllers) {
    if (isGiven(command, "-uuidlist")) return addStructure(request, CNS_UUID_LIST, NO_NAMESPACE);
    const std::string* namespaceId = findGiven(command.targets, "-namespace");
    if (listControllers) return addControllers(request, namespaceId);
    const bool withDescriptors = isGiven(command, "-descriptors");
    if (!isGiven(command, "-nvmecontroller")) return addNamespace(request, namespaceId, withDescriptors);
    if (withDescriptors)
        return makeError(framework::ERRORCODE_INVALID_VALUE, "-descriptors option incompatible with -nvmecontroller");
    if (namespaceId != nullptr)
        return makeError(framework::ERRORCODE_INVALID_VALUE,
                         "Conflicting targets provided. Please specify -nvmecontroller or -namespace, not both.");
    return addControllers(request, nullptr);
}

FlowResult identify(FlowContext& context, const CommandAction& action, const ParsedCommand& command,
                    bool listControllers) {
    std::string device;
    if (auto error = context.getDeviceTarget(command, device, targets::OPTIONAL_VELKOSSD_OR_ALL)) return error;
    const auto request =
        Job::createRequest(std::string(action.job), ostrel::interfaces::ostreli::JOBTYPE_METHOD, true, device);
    if (auto error = addIdentify(*request, command, listControllers)) return error;
    return context.runAndRender(*request);
}

}  // namespace

FlowResult identifyFlow(FlowContext& context, const CommandAction& action, const ParsedCommand& command) {
    return identify(context, action, command, false);
}

FlowResult controllerListFlow(FlowContext& context, const CommandAction& action, const ParsedCommand& command) {
    return identify(context, action, command, true);
}

}  // namespace cli::velkossd
