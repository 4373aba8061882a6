#pragma once

#include <string>
#include <string_view>

#include "ostrel/core/AttributeList.h"

namespace cli::system {

// The names of the settings, as `set -system` and the configuration file know them.
inline constexpr char SETTING_ENABLE_LOG[] = "EnableLog";
inline constexpr char SETTING_ENABLE_LSI_ADAPTER[] = "EnableLSIAdapter";
inline constexpr char SETTING_LOG_FILE[] = "LogFile";
inline constexpr char SETTING_ADDITIONAL_FW_MOD_DIR[] = "AdditionalFWModDir";
inline constexpr char SETTING_VELKO_SSD_FEATURES_PATH[] = "VelkoSSDFeaturesPath";

/// Heads the settings when they are shown, and names the configuration file's root element.
inline constexpr char SETTINGS_TITLE[] = "Velko Nimbrel Tool Configuration File";

/// All settings with their defaults, in the order of orderSettings().
ostrel::core::AttributeList defaultSettings();

/// The same entries in a map that, as it iterates, comes to the settings in the order in which they are shown and
/// written, and to "EnableLog" before anything else. Replacing a value keeps the order; adding an entry may not.
ostrel::core::AttributeList orderSettings(ostrel::core::AttributeList settings);

/// Whether all settings are there, under names of any case, with values that the tool can work with.
bool areSettingsValid(const ostrel::core::AttributeList& settings);

/// "true" or "false", ignoring case: what the switches among the settings may hold.
bool isSwitchValue(std::string_view text);

/// The text of the setting `key`, found ignoring case; empty when there is none.
std::string getSetting(const ostrel::core::AttributeList& settings, std::string_view key);
/// Whether that text is "true", ignoring case.
bool isSettingOn(const ostrel::core::AttributeList& settings, std::string_view key);

}  // namespace cli::system
