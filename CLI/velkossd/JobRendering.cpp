#include "CLI/velkossd/JobRendering.h"

#include <charconv>
#include <cstdint>
#include <map>
#include <system_error>
#include <utility>

#include "CLI/velkossd/FlowResult.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlList.h"
#include "ostrel/core/xml/XmlMessage.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/core/xml/XmlProperty.h"
#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"

namespace cli::velkossd {

namespace xml = ostrel::core::xml;

namespace {

using framework::ObjectResult;
using framework::stringsIEqual;
using ostrel::core::XmlConverter;
using ostrel::core::xml::XmlElement;
using ostrel::core::xml::XmlMessage;
using ostrel::core::xml::XmlObject;
using ostrel::core::xml::XmlProperty;

constexpr char STATUS_CODE[] = "Code";
constexpr char STATUS_MESSAGE[] = "Message";
constexpr char STATUS_KEY[] = "Status";
constexpr char HEALTH_SCAN_STATUS_CODE[] = "HealthScanStatusCode";

/// `digits` as an exit status. One that no exit status can hold is still a failure, never a success by overflow.
int32_t toErrorCode(const std::string& digits) {
    int32_t code = 0;
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), code);
    return parsed.ec == std::errc() ? code : framework::ERRORCODE_NOT_SUPPORTED;
}

/// Of a status only the message is shown; the code goes into the exit status.
void renderStatusProperty(ObjectResult& result, const std::string& name, const std::string& value) {
    if (stringsIEqual(name, STATUS_MESSAGE)) {
        if (!value.empty()) result.insert(STATUS_KEY, value);
    } else if (stringsIEqual(name, STATUS_CODE) && value != "0") {
        result.setErrorCode(ostrel::core::isInteger(value) ? toErrorCode(value) : framework::ERRORCODE_NOT_SUPPORTED);
    }
}

void renderProperty(ObjectResult& result, const std::string& name, const std::string& value) {
    if (!stringsIEqual(name, HEALTH_SCAN_STATUS_CODE)) {
        result.insert(name, value);
    } else if (ostrel::core::isInteger(value)) {
        result.setErrorCode(toErrorCode(value));  // how a health scan reports its outcome to scripts
    }
}

void renderProperties(ObjectResult& result, const XmlObject& element) {
    const bool isStatus = stringsIEqual(element.getAttribute(xml::KEY_CATEGORY), xml::CATEGORY_STATUS);
    for (const auto& property : element.properties) {
        const std::string description = property->getAttribute(xml::KEY_DESCRIPTION);
        std::string name = property->getAttribute(xml::KEY_NAME);
        if (!description.empty()) name += " - " + description;
        // An attribute in a status is not part of the status: it says whose status it is.
        const bool isData = stringsIEqual(property->getAttribute(xml::KEY_CATEGORY), xml::CATEGORY_ATTRIBUTE);
        const auto& renderOne = isStatus && !isData ? renderStatusProperty : renderProperty;
        renderOne(result, name, property->getAttribute(xml::KEY_VALUE));
    }
}

/// In the order of the names; of equal names the last one counts, as in XmlConverter::xmlToAttributeList(). Here each
/// value, which takes a page, is released before the next one is made.
std::unique_ptr<ObjectResult> renderAttributeList(XmlObject& element) {
    std::map<std::string, std::string> textOfName;
    for (const auto& property : element.properties) {
        const auto attribute = XmlConverter::xmlToAttribute(*property);
        if (attribute == nullptr) continue;
        std::string& text = textOfName[attribute->getName()] = attribute->getText();
        if (!attribute->getDescription().empty()) text += " " + attribute->getDescription();
    }
    auto result = std::make_unique<ObjectResult>();
    for (auto& [name, text] : textOfName) result->insert(name, std::move(text));
    return result;
}

std::unique_ptr<ObjectResult> renderObject(XmlObject& element);

/// The heading of a nested object is its name and its key: "Drive" and "ABC123" make "Drive ABC123".
void renderChild(ObjectResult& result, XmlObject& child) {
    const std::string key = child.getAttribute(xml::KEY_KEY);
    if (stringsIEqual(child.getAttribute(xml::KEY_CATEGORY), xml::CATEGORY_ATTRIBUTE_LIST)) {
        result.insert(key, renderAttributeList(child));
        return;
    }
    auto rendered = renderObject(child);
    if (rendered->getErrorCode() > 0) result.setErrorCode(rendered->getErrorCode());
    std::string heading = child.getAttribute(xml::KEY_NAME);
    if (!key.empty()) heading += " " + key;
    result.insert(heading, std::move(rendered));
}

std::unique_ptr<ObjectResult> renderObject(XmlObject& element) {
    auto result = std::make_unique<ObjectResult>();
    const std::string description = element.getAttribute(xml::KEY_DESCRIPTION);
    if (!description.empty()) result->insert(description, element.getAttribute(xml::KEY_VALUE));
    renderProperties(*result, element);
    for (const auto& child : element.objects) renderChild(*result, *child);
    return result;
}

/// What may be below a root; null for a root that holds no objects of its own.
const std::vector<std::unique_ptr<XmlObject>>* objectsOf(const XmlElement& root) {
    if (const auto* object = dynamic_cast<const XmlObject*>(&root)) return &object->objects;
    if (const auto* message = dynamic_cast<const XmlMessage*>(&root)) return &message->objects;
    return nullptr;
}

}  // namespace

std::vector<XmlObject*> findOutputs(XmlElement& response) {
    std::vector<XmlObject*> outputs;
    const auto* objects = objectsOf(response);
    if (objects == nullptr) return outputs;
    for (const auto& object : *objects)
        if (stringsIEqual(object->getAttribute(xml::KEY_CATEGORY), xml::CATEGORY_OUTPUT))
            outputs.push_back(object.get());
    return outputs;
}

std::unique_ptr<ObjectResult> render(const std::vector<std::string>& hidden, XmlElement& response) {
    const auto outputs = findOutputs(response);
    if (outputs.empty()) return std::make_unique<ObjectResult>();
    return renderOutput(hidden, *outputs.front());
}

std::unique_ptr<ObjectResult> renderOutput(const std::vector<std::string>& hidden, XmlObject& output) {
    output.removeProperties(hidden);
    return renderObject(output);
}

}  // namespace cli::velkossd
