#include "CLI/cli_system/SystemFeature.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "CLI/cli_system/ConfigurationFile.h"
#include "CLI/cli_system/Settings.h"
#include "ostrel/core/File.h"
#include "ostrel/core/Strings.h"
#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/NotImplementedErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/ObjectListResult.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"

namespace cli::system {

using namespace framework;
using ostrel::core::AttributeList;

namespace {

constexpr char FEATURE_NAME[] = "System";
constexpr std::int32_t COMMAND_SHOW = 2;
constexpr const char* DEFAULT_DISPLAY_LIST[] = {SETTING_ENABLE_LOG, SETTING_LOG_FILE};

[[maybe_unused]] const bool isRegistered =
    Framework::getInstance().registerFeature(FEATURE_NAME, &SystemFeature::getInstance());

struct CommandRow {
    std::int32_t id;
    const char* name;  // of a `set` command also the setting
    const char* verb;
    bool hasHelpOption;
    const char* help;
    const char* propertyHelp;
    const char* valueHint;
};

// clang-format off
constexpr CommandRow COMMANDS[] = {
    {0, SETTING_ENABLE_LOG,              VERB_SET,  true,  "Enable/Disable Velko Nimbrel Tool debug log.",
        "true = enable Velko Nimbrel Tool logging. false = disable Velko Nimbrel Tool logging.", "'true'|'false'"},
    {1, SETTING_LOG_FILE,                VERB_SET,  true,  "Set the path and filename of the Velko Nimbrel Tool log file.",
        "Valid directory path and file name", "file name"},
    {COMMAND_SHOW, FEATURE_NAME,         VERB_SHOW, true,  "Show Velko Nimbrel Tool's configuration settings.", "", ""},
    {4, SETTING_ADDITIONAL_FW_MOD_DIR,   VERB_SET,  false, "Add an additional firmware module directory.",
        "Valid path to directory containing firmware module(s).", "directory path"},
    {5, SETTING_VELKO_SSD_FEATURES_PATH, VERB_SET,  false, "Set the path to the Velko SSD Features library.",
        "Valid path to Velko SSD Features library.", "library path"},
};
// clang-format on

// Served, but not in the grammar: this setting is only changed by editing the file.
constexpr std::int32_t COMMAND_SET_ENABLE_LSI_ADAPTER = 3;

// The setting that a command sets; null for a command that sets none.
const char* settingOf(std::int32_t commandId) {
    if (commandId == COMMAND_SET_ENABLE_LSI_ADAPTER) return SETTING_ENABLE_LSI_ADAPTER;
    for (const CommandRow& row : COMMANDS)
        if (row.id == commandId && row.id != COMMAND_SHOW) return row.name;
    return nullptr;
}

std::unique_ptr<ErrorResult> failure(std::int32_t code, const std::string& message) {
    return std::make_unique<ErrorResult>(code, message, "");
}

// Null when the value will do for the setting.
std::unique_ptr<ErrorResult> checkValue(const std::string& key, const std::string& value) {
    using ostrel::core::isDirectory;
    if (key == SETTING_ENABLE_LOG || key == SETTING_ENABLE_LSI_ADAPTER) {
        if (isSwitchValue(value)) return nullptr;
        return failure(ERRORCODE_NOT_BOOLEAN,
                       "Invalid value for " + key + " property. Supported values are 'true' and 'false'.");
    }
    if (key == SETTING_ADDITIONAL_FW_MOD_DIR) {
        if (isDirectory(value)) return nullptr;
        return failure(ERRORCODE_INVALID_VALUE,
                       "Invalid directory given for " + key + " property. Directory must exist.");
    }
    if (key == SETTING_VELKO_SSD_FEATURES_PATH) {
        if (ostrel::core::pathExists(value) && !isDirectory(value)) return nullptr;
        return failure(ERRORCODE_INVALID_VALUE, "Invalid path given for " + key + " property. File must exist.");
    }
    if (key == SETTING_LOG_FILE) {
        // An empty name would make a configuration file that the next run refuses.
        if (!value.empty() && value != "." && value != ".." && !isDirectory(value)) return nullptr;
        return failure(ERRORCODE_INVALID_LOG_FILE, "Invalid file name - " + value);
    }
    return failure(ERRORCODE_INVALID_PROPERTY, "Invalid property");
}

bool containsIgnoringCase(const std::vector<std::string>& list, const std::string& text) {
    return std::any_of(list.begin(), list.end(), [&](const std::string& item) { return stringsIEqual(item, text); });
}

}  // namespace

SystemFeature& SystemFeature::getInstance() {
    static SystemFeature instance;
    return instance;
}

SystemFeature::SystemFeature() : settings_(defaultSettings()) {}

std::unique_ptr<ResultBase> SystemFeature::run(const CommandSpec& commandSpec, const ParsedCommand& parsedCommand) {
    if (commandSpec.id == COMMAND_SHOW) return show(parsedCommand);
    const char* const key = settingOf(commandSpec.id);
    if (key != nullptr) return setProperty(key, parsedCommand);
    return std::make_unique<NotImplementedErrorResult>(static_cast<std::uint32_t>(commandSpec.id), FEATURE_NAME);
}

void SystemFeature::getPaths(std::vector<CommandSpec>& commands) {
    for (const CommandRow& row : COMMANDS) {
        CommandSpec& command = commands.emplace_back(row.id, row.name, row.verb, row.help);
        command.addTarget("-system", true, "", false, "System target is required.");
        if (row.hasHelpOption) command.addOption(OPTION_HELP);
        if (row.id == COMMAND_SHOW)
            command.addOption(OPTION_DISPLAY);
        else
            command.addProperty(row.name, true, row.valueHint, true, row.propertyHelp);
    }
}

void SystemFeature::setSettings(AttributeList settings) {
    settings_ = orderSettings(std::move(settings));
}

std::unique_ptr<ResultBase> SystemFeature::show(const ParsedCommand& parsedCommand) const {
    std::vector<std::string> displayList(std::begin(DEFAULT_DISPLAY_LIST), std::end(DEFAULT_DISPLAY_LIST));
    const auto display = parsedCommand.options.find(OPTION_DISPLAY.name);
    const bool isUsersList = display != parsedCommand.options.end();
    // The core's split: it does not trim, so a blank after a comma belongs to the name.
    if (isUsersList) displayList = ostrel::core::split(display->second, ',');

    PropertyListResult properties;
    for (const auto& [name, attribute] : settings_)
        if (containsIgnoringCase(displayList, name)) properties.insert(name, attribute.getText());
    if (isUsersList) {
        for (const std::string& name : displayList)
            if (!properties.contains(name)) properties.insert(name, "Property does not exist.");
    }
    auto result = std::make_unique<ObjectListResult>();
    result->insert(SETTINGS_TITLE, properties);
    return result;
}

std::unique_ptr<ResultBase> SystemFeature::setProperty(const std::string& key, const ParsedCommand& parsedCommand) {
    const auto property = parsedCommand.properties.find(key);
    if (property == parsedCommand.properties.end())
        return failure(ERRORCODE_INVALID_PROPERTY, "Could not find property for: " + key);
    if (auto error = checkValue(key, property->second)) return error;
    return writeConfig(key, property->second);
}

std::unique_ptr<ResultBase> SystemFeature::writeConfig(const std::string& key, const std::string& value) {
    const auto setting = findIgnoringCase(settings_, key);
    if (setting != settings_.end()) {
        setting->second.setType(ostrel::core::typeString());  // a file edited by hand may have another
        setting->second.setValue(value);
    }
    checkConfigFile();  // ends the process: what cannot be read is not replaced
    if (!writeConfigFile(settings_, getConfigPath())) {
        return failure(ERRORCODE_FILE_NOT_WRITTEN,
                       "Failed to write Velko Nimbrel Tool configuration file. " + getConfigPath());
    }
    return std::make_unique<SimpleResult>("Set " + key + " successful.");
}

}  // namespace cli::system
