#include "CLI/cli_system/Settings.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "ostrel/core/Strings.h"

namespace cli::system {

using ostrel::core::Attribute;
using ostrel::core::AttributeList;

namespace {

struct SettingRow {
    const char* key;
    const char* displayName;
    const char* defaultValue;
};

// clang-format off
constexpr SettingRow SETTINGS[] = {  // in the order in which they are shown and written
    {SETTING_ENABLE_LOG,              "Enable Log",                              "false"},
    {SETTING_ENABLE_LSI_ADAPTER,      "Enable LSI Adapter",                      "false"},
    {SETTING_LOG_FILE,                "Log File",                                "/var/log/VelkoSSDOSTREL.log"},
    {SETTING_ADDITIONAL_FW_MOD_DIR,   "Additional Firmware Module Directories",  ""},
    {SETTING_VELKO_SSD_FEATURES_PATH, "Velko SSD Features Library Path",         ""},
};
// clang-format on

// A hash map puts a new entry in front of all others if its bucket is empty: so the first setting goes in last.
AttributeList fillBackwards(AttributeList settings, size_t buckets) {
    AttributeList filled(buckets);
    AttributeList::node_type ordered[std::size(SETTINGS)];
    for (size_t i = 0; i < std::size(SETTINGS); ++i) {
        const auto found = findIgnoringCase(settings, SETTINGS[i].key);
        if (found != settings.end()) ordered[i] = settings.extract(found);
    }
    filled.merge(settings);
    for (size_t i = std::size(SETTINGS); i-- > 0;) filled.insert(std::move(ordered[i]));
    return filled;
}

bool isInOrder(const AttributeList& settings) {
    size_t next = 0;
    for (const auto& entry : settings) {
        if (next < std::size(SETTINGS) && ostrel::core::equals(entry.first, SETTINGS[next].key, true)) ++next;
        if (next == 0) return false;
    }
    return next == std::size(SETTINGS);
}

}  // namespace

AttributeList defaultSettings() {
    AttributeList settings;
    for (const SettingRow& row : SETTINGS)
        settings.emplace(row.key, Attribute(row.key, row.displayName, ostrel::core::typeString(), row.defaultValue));
    return orderSettings(std::move(settings));
}

AttributeList orderSettings(AttributeList settings) {
    // Where two entries share a bucket the trick of fillBackwards() may fail; more buckets part them. Eight rounds are
    // more than any honest file needs.
    constexpr int MAX_ROUNDS = 8;
    for (int round = 1; round <= MAX_ROUNDS && !isInOrder(settings); ++round) {
        const size_t buckets = settings.size() << round;
        settings = fillBackwards(std::move(settings), buckets);
    }
    return settings;
}

bool areSettingsValid(const AttributeList& settings) {
    const auto isThere = [&](const SettingRow& row) { return findIgnoringCase(settings, row.key) != settings.end(); };
    return std::all_of(std::begin(SETTINGS), std::end(SETTINGS), isThere) &&
           isSwitchValue(getSetting(settings, SETTING_ENABLE_LOG)) &&
           isSwitchValue(getSetting(settings, SETTING_ENABLE_LSI_ADAPTER)) &&
           !getSetting(settings, SETTING_LOG_FILE).empty();
}

bool isSwitchValue(std::string_view text) {
    return ostrel::core::equals(text, "true", true) || ostrel::core::equals(text, "false", true);
}

std::string getSetting(const AttributeList& settings, std::string_view key) {
    const auto found = findIgnoringCase(settings, key);
    return found != settings.end() ? found->second.getText() : std::string();
}

bool isSettingOn(const AttributeList& settings, std::string_view key) {
    return ostrel::core::toBoolean(getSetting(settings, key));
}

}  // namespace cli::system
