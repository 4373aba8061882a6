#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "CLI/cli_system/Settings.h"

namespace cli::system {

using ostrel::core::Attribute;
using ostrel::core::AttributeList;

namespace {

std::vector<std::string> keysOf(const AttributeList& settings) {
    std::vector<std::string> keys;
    for (const auto& entry : settings) keys.push_back(entry.first);
    return keys;
}

void put(AttributeList& settings, const std::string& key, const std::string& value) {
    settings.insert_or_assign(key, Attribute(key, "", "string", value));
}

TEST(Settings, HaveDefaults) {
    std::vector<std::string> lines;
    for (const auto& [key, attribute] : defaultSettings()) {
        lines.push_back(key + "|" + attribute.getName() + "|" + attribute.getDisplayName() + "|" + attribute.getType() +
                        "|" + attribute.getText());
    }
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "EnableLog|EnableLog|Enable Log|string|false",
                         "EnableLSIAdapter|EnableLSIAdapter|Enable LSI Adapter|string|false",
                         "LogFile|LogFile|Log File|string|/var/log/VelkoSSDOSTREL.log",
                         "AdditionalFWModDir|AdditionalFWModDir|Additional Firmware Module Directories|string|",
                         "VelkoSSDFeaturesPath|VelkoSSDFeaturesPath|Velko SSD Features Library Path|string|",
                     }));
}

TEST(Settings, KeepTheirOrderHoweverTheyWereFilled) {
    const std::vector<std::string> order = keysOf(defaultSettings());
    for (size_t buckets = 1; buckets < 100; ++buckets) {
        for (size_t first = 0; first < order.size(); ++first) {
            AttributeList settings(buckets);
            for (size_t i = 0; i < order.size(); ++i) put(settings, order[(first + i) % order.size()], "x");
            EXPECT_EQ(keysOf(orderSettings(settings)), order) << buckets << " buckets, " << order[first] << " first";
        }
    }
}

TEST(Settings, KeepTheirOrderAmongFurtherEntries) {
    const std::vector<std::string> order = keysOf(defaultSettings());
    AttributeList settings = defaultSettings();
    for (int further = 0; further < 200; ++further) {
        put(settings, "Further" + std::to_string(further), "x");
        settings = orderSettings(settings);
        std::vector<std::string> keys = keysOf(settings);
        EXPECT_EQ(keys.front(), "EnableLog") << further;
        EXPECT_EQ(keys.size(), order.size() + static_cast<size_t>(further) + 1);
        keys.erase(
            std::remove_if(keys.begin(), keys.end(), [](const auto& key) { return key.rfind("Further", 0) == 0; }),
            keys.end());
        EXPECT_EQ(keys, order) << further;
    }
}

TEST(Settings, KeepTheirOrderUnderOtherSpellings) {
    AttributeList settings;
    for (const char* key : {"enablelog", "LOGFILE", "EnableLSIAdapter", "additionalfwmoddir", "VelkoSSDFeaturesPath"})
        put(settings, key, "x");
    EXPECT_EQ(keysOf(orderSettings(settings)),
              (std::vector<std::string>{"enablelog", "EnableLSIAdapter", "LOGFILE", "additionalfwmoddir",
                                        "VelkoSSDFeaturesPath"}));
}

TEST(Settings, AreValidCaseByCase) {
    const struct {
        const char* key;
        const char* value;  // null: there is no such entry
        bool isValid;
        const char* why;
    } CASES[] = {
        {"EnableLog", "TRUE", true, "case does not matter"},
        {"EnableLog", "False", true, "nor here"},
        {"EnableLog", "yes", false, "neither true nor false"},
        {"EnableLog", "", false, "neither true nor false"},
        {"EnableLog", "true ", false, "nothing is trimmed"},
        {"EnableLSIAdapter", "TRUE", true, "case does not matter"},
        {"EnableLSIAdapter", "1", false, "neither true nor false"},
        {"LogFile", "", false, "a log needs a name"},
        {"LogFile", "/", true, "looked at when it is set, not here"},
        {"AdditionalFWModDir", "/nonexistent", true, "free"},
        {"VelkoSSDFeaturesPath", "/nonexistent", true, "free"},
        {"EnableLog", nullptr, false, "missing"},
        {"EnableLSIAdapter", nullptr, false, "missing"},
        {"LogFile", nullptr, false, "missing"},
        {"AdditionalFWModDir", nullptr, false, "missing"},
        {"VelkoSSDFeaturesPath", nullptr, false, "missing"},
        {"Further", "x", true, "another program's"},
    };
    for (const auto& c : CASES) {
        AttributeList settings = defaultSettings();
        settings.erase(c.key);
        if (c.value != nullptr) put(settings, c.key, c.value);
        EXPECT_EQ(areSettingsValid(settings), c.isValid) << c.key << ": " << c.why;
    }
}

TEST(Settings, AreFoundIgnoringCase) {
    AttributeList settings;
    put(settings, "enableLOG", "True");
    put(settings, "LogFile", "/tmp/log");
    EXPECT_EQ(getSetting(settings, SETTING_ENABLE_LOG), "True");
    EXPECT_EQ(getSetting(settings, SETTING_LOG_FILE), "/tmp/log");
    EXPECT_EQ(getSetting(settings, SETTING_ADDITIONAL_FW_MOD_DIR), "");
    EXPECT_TRUE(isSettingOn(settings, SETTING_ENABLE_LOG));
    EXPECT_FALSE(isSettingOn(settings, SETTING_LOG_FILE));
    EXPECT_FALSE(isSettingOn(settings, SETTING_ENABLE_LSI_ADAPTER));
}

}  // namespace

}  // namespace cli::system
