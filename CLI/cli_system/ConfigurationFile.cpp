#include "CLI/cli_system/ConfigurationFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

#include "CLI/Outcome.h"
#include "CLI/cli_system/Settings.h"
#include "CLI/cli_system/SystemFeature.h"
#include "ostrel/core/File.h"
#include "ostrel/core/TrustedFile.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"

namespace cli::system {

using framework::ErrorResult;
using ostrel::core::AttributeList;
using ostrel::core::Status;
using ostrel::core::TrustedFile;
using ostrel::core::XmlConverter;
using ostrel::core::xml::XmlElement;
using ostrel::core::xml::XmlObject;

namespace {

// The root of the document, or null when the text is no document or its root no object.
std::unique_ptr<XmlObject> parseRoot(const std::string& text) {
    std::unique_ptr<XmlElement> element = XmlConverter::toXml(text);
    auto* const object = dynamic_cast<XmlObject*>(element.get());
    if (object != nullptr) (void)element.release();  // the object is the element
    return std::unique_ptr<XmlObject>(object);
}

std::unique_ptr<ErrorResult> failure(int32_t code, const std::string& message, const std::string& path) {
    return std::make_unique<ErrorResult>(code, message + path, "");
}

std::unique_ptr<ErrorResult> notCreated(const std::string& path) {
    return failure(framework::ERRORCODE_FILE_NOT_WRITTEN, "Failed to create configuration file: ", path);
}

[[noreturn]] void endProcess(const ErrorResult& error) {
    const Outcome outcome{error.getErrorCode(), error.output() + "\n"};
    // No destructor runs: this is the middle of a static initialisation or of a command. The feature library is not
    // unloaded; it has no request at hand.
    std::_Exit(deliver(outcome, STDOUT_FILENO));
}

/// What the first look at the file left.
struct Run {
    std::string path = CONFIG_PATH;
    AttributeList settings;
};

const Run& theRun() {
    static const Run run = [] {
        Run made;
        if (const auto error = loadConfigFile(SystemFeature::getInstance(), made.path, made.settings))
            endProcess(*error);
        return made;
    }();
    return run;
}

}  // namespace

const std::string& getConfigPath() {
    return theRun().path;
}

const AttributeList& getConfiguration() {
    return theRun().settings;
}

std::unique_ptr<ErrorResult> loadConfigFile(SystemFeature& feature, const std::string& path, AttributeList& settings) {
    std::string text;
    if (auto error = readConfigText(path, text)) return error;
    if (text.empty()) {
        // Tried twice: what made the first attempt fail may have been passing.
        if (!writeConfigFile(feature.getSettings(), path) && !writeConfigFile(feature.getSettings(), path))
            return notCreated(path);
        settings = feature.getSettings();
        return nullptr;
    }
    auto valid = parseConfigText(text);
    if (valid == nullptr) {
        return failure(framework::ERRORCODE_CORRUPT_CONFIGURATION,
                       "Configuration file given is corrupted. Please resolve by deleting or manually editing: ", path);
    }
    settings = *valid;
    feature.setSettings(std::move(*valid));
    return nullptr;
}

void checkConfigFile() {
    std::string text;
    if (const auto error = readConfigText(getConfigPath(), text)) endProcess(*error);
}

std::unique_ptr<ErrorResult> readConfigText(const std::string& path, std::string& text) {
    text.clear();
    TrustedFile file;
    Status status = file.open(path, ostrel::core::SymbolicLink::REFUSE);
    // A link is the reason that the user gets, whatever else is wrong with the path.
    if (failed(status) && ostrel::core::isSymbolicLink(path)) {
        return failure(framework::ERRORCODE_SYMBOLIC_LINK,
                       "Configuration file given is a symlink. Please resolve by deleting or removing symlink: ", path);
    }
    if (status.is(ostrel::core::CATEGORY_OS, ENOENT)) return nullptr;
    if (file.refused()) {
        return failure(framework::ERRORCODE_FILE_NOT_WRITTEN,
                       "Configuration file can be changed by other users: ", path);
    }
    if (succeeded(status)) status = readFile(file.descriptor(), path, text);
    return succeeded(status) ? nullptr : notCreated(path);
}

std::unique_ptr<AttributeList> parseConfigText(const std::string& text) {
    const auto root = parseRoot(text);
    if (root == nullptr || root->getAttribute(ostrel::core::xml::KEY_NAME) != SETTINGS_TITLE) return nullptr;
    auto settings = XmlConverter::xmlToAttributeList(*root);
    return areSettingsValid(*settings) ? std::move(settings) : nullptr;
}

bool writeConfigFile(const AttributeList& settings, const std::string& path) {
    const auto root = XmlConverter::attributeListToXml(settings);
    root->attributes[ostrel::core::xml::KEY_NAME] = SETTINGS_TITLE;
    const std::string text = root->toXmlString();
    // Not every value survives the way through the file: what the next run would refuse is not written in this one.
    return parseConfigText(text) != nullptr && succeeded(ostrel::core::writeFileAtomically(path, text));
}

}  // namespace cli::system
