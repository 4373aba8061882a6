#include "exporter/LibraryClient.h"

#include <stdexcept>

#include "CLI/cli_system/ConfigurationFile.h"
#include "CLI/cli_system/Settings.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlElement.h"
#include "ostrel/core/xml/XmlProperty.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"

namespace exporter {

namespace xml = ostrel::core::xml;
using xml::XmlElement;
using xml::XmlObject;

namespace {

bool isStatus(const XmlObject& object) {
    return object.getAttribute(xml::KEY_CATEGORY) == xml::CATEGORY_STATUS;
}

/// What the status objects among the outputs of a drive say.
std::string errorIn(const XmlObject& output) {
    for (const auto& object : output.objects) {
        if (isStatus(*object) && propertyText(*object, "Code") != "0") return propertyText(*object, "Message");
    }
    return "";
}

std::unique_ptr<XmlObject> takeOutput(XmlElement& response) {
    auto* const root = dynamic_cast<XmlObject*>(&response);
    if (root == nullptr) return nullptr;
    for (auto& object : root->objects) {
        if (ostrel::core::equals(object->getAttribute(xml::KEY_CATEGORY), xml::CATEGORY_OUTPUT, true))
            return std::move(object);
    }
    return nullptr;
}

}  // namespace

std::string LibraryClient::load() {
    std::string text;
    if (const auto error = cli::system::readConfigText(cli::system::CONFIG_PATH, text)) return error->output();
    const auto settings = cli::system::parseConfigText(text);
    if (settings == nullptr && !text.empty())
        return std::string("The configuration file is corrupted: ") + cli::system::CONFIG_PATH;
    const std::string configured =
        settings == nullptr ? "" : cli::system::getSetting(*settings, cli::system::SETTING_VELKO_SSD_FEATURES_PATH);
    const auto error = library_.load(cli::featureLibraryPaths(configured));
    return error == nullptr ? "" : error->output();
}

Answer LibraryClient::ask(const XmlObject& request) const {
    std::unique_ptr<XmlElement> response;
    ostrel::core::Status status;
    try {
        if (const auto error = cli::exchange(library_.functions(), request, response, status))
            return {error->output(), nullptr};
    } catch (const std::runtime_error& error) {
        return {error.what(), nullptr};
    }
    Answer answer{"", takeOutput(*response)};
    if (answer.output == nullptr) return {"The feature library answered without an output.", nullptr};
    answer.error = errorIn(*answer.output);
    return answer;
}

const XmlElement* findProperty(const XmlObject& object, const std::string& name) {
    for (const auto& property : object.properties) {
        if (property->getAttribute(xml::KEY_NAME) == name) return property.get();
    }
    return nullptr;
}

std::string propertyText(const XmlObject& object, const std::string& name) {
    const XmlElement* const property = findProperty(object, name);
    return property == nullptr ? "" : property->getAttribute(xml::KEY_VALUE);
}

const XmlElement* findInOutput(const XmlObject& output, const std::string& name) {
    for (const auto& object : output.objects) {
        if (isStatus(*object)) continue;
        if (const XmlElement* const property = findProperty(*object, name)) return property;
    }
    return nullptr;
}

bool hasTitle(const XmlObject& object, const std::string& title) {
    const std::string name = object.getAttribute(xml::KEY_NAME);
    const std::string heading = name.empty() ? object.getAttribute(xml::KEY_KEY) : name;
    return heading.compare(0, title.size() + 1, title + " ") == 0;
}

}  // namespace exporter
