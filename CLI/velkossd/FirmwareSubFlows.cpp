#include <vector>

#include "CLI/velkossd/CommandTargets.h"
#include "CLI/velkossd/FlowContext.h"
#include "CLI/velkossd/JobArguments.h"
#include "CLI/velkossd/SubFlows.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace cli::velkossd {

namespace attributes = ostrel::core::attributes::feature;
using namespace ostrel::interfaces::ostreli;  // NOLINT(google-build-using-namespace): the JOB_ constants
using framework::ParsedCommand;
using ostrel::core::Status;
using ostrel::core::xml::XmlElement;
using ostrel::core::xml::XmlObject;

namespace {

constexpr uint8_t WHOLE_TREE = 255;  // the deepest that find() goes

constexpr ArgumentRule SLOT_AND_ACTION[] = {{attributes::firmwareSlot}, {attributes::commitAction}};

// Both complain of the slot.
constexpr ValueTest MUST_BE_SLOT{ostrel::core::isInteger, "Invalid slot number.",
                                 framework::ERRORCODE_INVALID_PROPERTY};
constexpr ArgumentRule ACTIVATION_SLOT[] = {{attributes::firmwareSlot, MUST_BE_SLOT}};
constexpr ArgumentRule ACTIVATION_ACTION[] = {{attributes::commitAction, MUST_BE_SLOT}};

/// What the pre-check wants to know of a drive. Empty where the response does not contain it exactly once.
struct Component {
    std::string index;
    std::string serialNumber;
    std::string isMultiComponentDevice;
};

std::string findValue(const XmlElement& tree, const ostrel::core::Attribute& attribute) {
    const auto found =
        tree.find(ostrel::core::xml::TAG_PROPERTY, ostrel::core::xml::KEY_NAME, attribute.getName(), WHOLE_TREE);
    return found.size() == 1 ? found.front()->getAttribute(ostrel::core::xml::KEY_VALUE) : "";
}

Component findComponent(const XmlElement& tree) {
    namespace device = ostrel::core::attributes::device;
    return {findValue(tree, device::index()), findValue(tree, device::serialNumber()),
            findValue(tree, device::multiComponentDevice())};
}

FlowResult askForComponents(FlowContext& context, const std::string& selector, std::unique_ptr<XmlElement>& response) {
    namespace device = ostrel::core::attributes::device;
    const auto request = Job::createRequest(JOB_VELKOSSD, JOBTYPE_GET_PROPERTIES, true, selector);
    for (const auto& attribute : {device::index(), device::serialNumber(), device::multiComponentDevice()})
        Job::addRequestedGetProperty(*request, attribute);
    Status status;
    return context.runJob(*request, response, status);
}

std::vector<Component> listComponents(const XmlElement& response) {
    using namespace ostrel::core::xml;  // NOLINT(google-build-using-namespace): the words of a message
    std::vector<Component> components;
    for (const auto& output : response.find(TAG_OBJECT, KEY_CATEGORY, CATEGORY_OUTPUT, 2))
        for (const auto& drive : output->find(TAG_OBJECT, KEY_CATEGORY, CATEGORY_ATTRIBUTE_LIST, WHOLE_TREE))
            components.push_back(findComponent(*drive));
    return components;
}

/// The part of the serial number that all components of a drive share; empty for a drive of one component.
std::string stemOf(const Component& component) {
    if (component.isMultiComponentDevice != "True") return "";
    return component.serialNumber.substr(0, component.serialNumber.find('-'));
}

/// Adds every other component of a drive that consists of several, so that one update reaches all of them. Only an
/// update from a file needs it: without one the library chooses firmware and drives itself.
FlowResult addOtherComponents(FlowContext& context, XmlObject& request, const ParsedCommand& command) {
    if (findGiven(command.options, "-source") == nullptr) return nullptr;
    std::string device;
    if (auto error = context.getDeviceTarget(command, device, targets::VELKOSSD)) return error;
    std::unique_ptr<XmlElement> response;
    if (auto error = askForComponents(context, device, response)) return error;
    const Component selected = findComponent(*response);
    const std::string stem = stemOf(selected);
    // An empty stem would reach every drive, and without an index the selected drive would count as another one.
    if (stem.empty() || selected.index.empty()) return nullptr;

    if (auto error = askForComponents(context, "", response)) return error;
    for (const Component& component : listComponents(*response))
        if (component.index != selected.index && component.serialNumber.compare(0, stem.size(), stem) == 0)
            Job::addDevice(request, component.index, ostrel::core::xml::NAME_INDEX);
    return nullptr;
}

/// `-source` is the file, which the library picks itself when there is none.
FlowResult addFirmware(FlowContext& context, XmlObject& request, const ParsedCommand& command) {
    if (auto error = expectJob(request, JOB_FIRMWARE_UPDATE, JOBTYPE_METHOD)) return error;
    Job::addProperty(request, attributes::skipMembers(), "true");
    const bool hasSlot = findGiven(command.properties, attributes::firmwareSlot().getName()) != nullptr;
    const bool hasAction = findGiven(command.properties, attributes::commitAction().getName()) != nullptr;
    if (hasAction && !hasSlot)
        return makeError(framework::ERRORCODE_INVALID_PROPERTY,
                         "Must specify slot number with activate action property.");
    if (auto error = addArguments(request, command.properties, SLOT_AND_ACTION)) return error;
    const std::string& file = valueOf(command.options, "-source");
    if (!file.empty()) Job::addProperty(request, attributes::firmwareFile(), file);
    return askUnlessForced(context, command, "WARNING! You have selected to update the drives firmware! ",
                           "Proceed with the update?");
}

}  // namespace

FlowResult addFirmwareUpdate(FlowContext& context, XmlObject& request, const ParsedCommand& command) {
    if (auto error = addOtherComponents(context, request, command)) return error;
    if (auto result = addFirmware(context, request, command)) return result;
    printNotice("Checking for firmware update...");
    return nullptr;
}

FlowResult addFirmwareActivation(FlowContext&, XmlObject& request, const ParsedCommand& command) {
    if (auto error = expectJob(request, JOB_FIRMWARE_ACTIVATE, JOBTYPE_METHOD)) return error;
    if (auto error = addArguments(request, command.properties, ACTIVATION_SLOT)) return error;
    if (findGiven(command.properties, attributes::commitAction().getName()) == nullptr)
        return makeError(framework::ERRORCODE_INVALID_PROPERTY, "Invalid action option.");
    return addArguments(request, command.properties, ACTIVATION_ACTION);
}

}  // namespace cli::velkossd
