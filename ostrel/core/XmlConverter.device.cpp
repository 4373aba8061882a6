// The converters of the device layer.

#include "ostrel/core/XmlConverter.h"

#include <boost/date_time/posix_time/time_formatters.hpp>

#include <utility>

#include "ostrel/core/Command.h"
#include "ostrel/core/CommandHistory.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/ProtocolResult.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlConstants.h"

namespace ostrel::core {

using namespace xml;

namespace {

template <typename Element>
std::unique_ptr<Element> elementOf(const char* category) {
    OSTREL_TRACE();
    auto element = std::make_unique<Element>();
    element->attributes[KEY_CATEGORY] = category;
    return element;
}

std::unique_ptr<XmlProperty> payloadProperty(const Payload& payload, const char* category) {
    OSTREL_TRACE();
    auto property = XmlConverter::payloadToXml(payload);
    property->attributes[KEY_CATEGORY] = category;
    return property;
}

}  // namespace

std::unique_ptr<XmlObject> XmlConverter::commandToXml(const CommandResult& result) {
    OSTREL_TRACE();
    auto object = elementOf<XmlObject>(CATEGORY_COMMAND_RESULT);
    if (result.command != nullptr) object->objects.push_back(result.command->toXml());
    if (result.protocolResult != nullptr) object->objects.push_back(result.protocolResult->toXml());
    object->objects.push_back(statusToXml(result.status));
    if (!result.quietToXml) {
        object->properties.push_back(payloadProperty(result.inputPayload, CATEGORY_INPUT_PAYLOAD));
        object->properties.push_back(payloadProperty(result.outputPayload, CATEGORY_OUTPUT_PAYLOAD));
    }
    addVerbatimProperty(*object, CATEGORY_QUIET_TO_XML, boolToText(result.quietToXml));
    addVerbatimProperty(*object, CATEGORY_START_TIME, to_simple_string(result.startTime));
    addVerbatimProperty(*object, CATEGORY_END_TIME, to_simple_string(result.endTime));
    addVerbatimProperty(*object, CATEGORY_DURATION, to_simple_string(result.duration));
    if (result.commandPath != nullptr) object->objects.push_back(commandPathToXml(*result.commandPath));
    return object;
}

std::unique_ptr<XmlList> XmlConverter::commandHistoryToXml(const CommandHistory& history) {
    OSTREL_TRACE();
    const std::vector<CommandResult> results = history.getResults();
    auto list = elementOf<XmlList>(CATEGORY_COMMAND_HISTORY);
    list->attributes[KEY_SIZE] = numberToText<std::uint64_t>(results.size());
    list->attributes[KEY_MAX_SIZE] = numberToText(history.getMaxSize());
    for (const CommandResult& result : results) list->objects.push_back(commandToXml(result));
    return list;
}

std::unique_ptr<XmlObject> XmlConverter::commandPathToXml(const CommandPath& path) {
    OSTREL_TRACE();
    auto object = elementOf<XmlObject>(CATEGORY_COMMAND_PATH);
    addVerbatimProperty(*object, "name", path.getName());
    addVerbatimProperty(*object, "timeout", numberToText(path.getTimeoutNanoseconds()));
    return object;
}

std::unique_ptr<XmlList> XmlConverter::commandPathListToXml(
    const std::map<std::string, std::unique_ptr<CommandPath>>& paths) {
    OSTREL_TRACE();
    auto list = elementOf<XmlList>(CATEGORY_COMMAND_PATH_LIST);
    for (const auto& [name, path] : paths) list->objects.push_back(commandPathToXml(*path));
    return list;
}

std::unique_ptr<XmlList> XmlConverter::commandSetListToXml(const std::map<std::string, std::string>& sets) {
    OSTREL_TRACE();
    auto list = elementOf<XmlList>(CATEGORY_COMMAND_SET_LIST);
    for (const auto& [name, pathName] : sets) {
        auto set = elementOf<XmlObject>(CATEGORY_COMMAND_SET);
        addVerbatimProperty(*set, "name", name);
        addVerbatimProperty(*set, "commandPathName", pathName);
        list->objects.push_back(std::move(set));
    }
    return list;
}

std::unique_ptr<XmlList> XmlConverter::partitionListToXml(const std::vector<AttributeList>& partitions) {
    OSTREL_TRACE();
    auto list = elementOf<XmlList>(CATEGORY_PARTITION_LIST);
    for (const AttributeList& partition : partitions) {
        auto object = attributeListToXml(partition);
        object->attributes[KEY_CATEGORY] = CATEGORY_PARTITION;
        list->objects.push_back(std::move(object));
    }
    return list;
}

std::unique_ptr<XmlObject> XmlConverter::deviceToXml(const Device& device) {
    OSTREL_TRACE();
    auto object = elementOf<XmlObject>(CATEGORY_DEVICE);
    object->objects.push_back(attributeListToXml(device.getAttributes()));
    object->lists.push_back(commandSetListToXml(device.getCommandSets()));
    object->lists.push_back(commandPathListToXml(device.getCommandPaths()));
    object->lists.push_back(partitionListToXml(device.getPartitions()));
    return object;
}

std::unique_ptr<XmlList> XmlConverter::deviceListToXml(const std::vector<std::shared_ptr<Device>>& devices) {
    OSTREL_TRACE();
    auto list = elementOf<XmlList>(CATEGORY_DEVICE_LIST);
    for (const auto& device : devices) list->objects.push_back(deviceToXml(*device));
    return list;
}

}  // namespace ostrel::core
