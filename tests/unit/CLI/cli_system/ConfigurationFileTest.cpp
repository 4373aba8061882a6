#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include "CLI/cli_system/ConfigurationFile.h"
#include "CLI/cli_system/Settings.h"
#include "CLI/cli_system/SystemFeature.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"
#include "tests/support/Sanitized.h"
#include "tests/support/TemporaryFolder.h"

namespace cli::system {

using ostrel::core::AttributeList;

namespace {

const std::string HEAD = R"(<?xml version="1.0" encoding="utf-8"?>)"
                         R"(<Object category="attributeList" name="Velko Nimbrel Tool Configuration File">)";
const std::string ENABLE_LOG =
    R"(<Property category="attribute" displayName="Enable Log" name="EnableLog" size="6" type="string" value="false"/>)";
const std::string ENABLE_LSI_ADAPTER =
    R"(<Property category="attribute" displayName="Enable LSI Adapter" name="EnableLSIAdapter" size="6" )"
    R"(type="string" value="false"/>)";
const std::string LOG_FILE =
    R"(<Property category="attribute" displayName="Log File" name="LogFile" size="28" type="string" )"
    R"(value="/var/log/VelkoSSDOSTREL.log"/>)";
const std::string ADDITIONAL_FW_MOD_DIR =
    R"(<Property category="attribute" displayName="Additional Firmware Module Directories" )"
    R"(name="AdditionalFWModDir" size="1" type="string" value=""/>)";
const std::string VELKO_SSD_FEATURES_PATH =
    R"(<Property category="attribute" displayName="Velko SSD Features Library Path" )"
    R"(name="VelkoSSDFeaturesPath" size="1" type="string" value=""/>)";
const std::string TAIL = "</Object>";
const std::string DEFAULTS =
    HEAD + ENABLE_LOG + ENABLE_LSI_ADAPTER + LOG_FILE + ADDITIONAL_FW_MOD_DIR + VELKO_SSD_FEATURES_PATH + TAIL;

std::string property(const std::string& name, const std::string& value, const std::string& type = "string") {
    return R"(<Property category="attribute" name=")" + name + R"(" type=")" + type + R"(" value=")" + value + R"("/>)";
}

class ConfigurationFile : public testing::Test {
protected:
    // The outcome of loading a file: "" or "code message", and the path in a message as "PATH".
    std::string load() {
        const auto error = loadConfigFile(feature_, path_, settings_);
        return error == nullptr ? "" : describe(*error);
    }
    std::string describe(const framework::ErrorResult& error) const {
        std::string text = std::to_string(error.getErrorCode()) + " " + error.output();
        const size_t place = text.find(path_);
        if (place != std::string::npos) text.replace(place, path_.size(), "PATH");
        return text;
    }
    std::string loadText(const std::string& text) {
        writeWholeFile(path_, text);
        return load();
    }
    // The text that is read, or the error of reading.
    std::string read() {
        std::string text = "before";
        const auto error = readConfigText(path_, text);
        return error == nullptr ? text : describe(*error) + text;
    }
    std::string setting(const char* key) const { return getSetting(feature_.getSettings(), key); }

    TemporaryFolder folder_;
    std::string path_ = folder_ / "nimbrel_config.xml";
    SystemFeature feature_;
    AttributeList settings_;  ///< what the file that was loaded last holds
};

const std::string CORRUPTED =
    "12 Error: Configuration file given is corrupted. Please resolve by deleting or manually editing: PATH";
const std::string SYMLINK =
    "11 Error: Configuration file given is a symlink. Please resolve by deleting or removing symlink: PATH";
const std::string CHANGEABLE = "5 Error: Configuration file can be changed by other users: PATH";
const std::string FAILED_TO_CREATE = "5 Error: Failed to create configuration file: PATH";

TEST_F(ConfigurationFile, IsCreatedWithTheDefaults) {
    const mode_t before = umask(022);
    EXPECT_EQ(load(), "");
    umask(before);
    EXPECT_EQ(readWholeFile(path_), DEFAULTS);
    struct stat about = {};
    ASSERT_EQ(stat(path_.c_str(), &about), 0);
    EXPECT_EQ(about.st_mode, static_cast<mode_t>(S_IFREG | 0644));
    EXPECT_EQ(settings_.size(), 5U);
    EXPECT_EQ(getSetting(settings_, "LogFile"), "/var/log/VelkoSSDOSTREL.log");
}

TEST_F(ConfigurationFile, OfZeroBytesCountsAsMissing) {
    EXPECT_EQ(loadText(""), "");
    EXPECT_EQ(readWholeFile(path_), DEFAULTS);
}

TEST_F(ConfigurationFile, IsReadAndLeftAsItIs) {
    const std::string text = HEAD + property("LogFile", "/tmp/a&amp;b") + property("EnableLog", "TRUE") +
                             property("VelkoSSDFeaturesPath", "/lib.so") + property("AdditionalFWModDir", "/fw") +
                             property("EnableLSIAdapter", "True") + TAIL + "\n";
    EXPECT_EQ(loadText(text), "");
    EXPECT_EQ(readWholeFile(path_), text);
    EXPECT_EQ(setting("EnableLog"), "TRUE");
    EXPECT_EQ(setting("EnableLSIAdapter"), "True");
    EXPECT_EQ(setting("LogFile"), "/tmp/a&b");
    EXPECT_EQ(setting("AdditionalFWModDir"), "/fw");
    EXPECT_EQ(setting("VelkoSSDFeaturesPath"), "/lib.so");
}

TEST_F(ConfigurationFile, BringsFurtherPropertiesAlong) {
    EXPECT_EQ(loadText(HEAD + property("Further", "x") + ENABLE_LOG + ENABLE_LSI_ADAPTER + LOG_FILE +
                       ADDITIONAL_FW_MOD_DIR + VELKO_SSD_FEATURES_PATH + TAIL),
              "");
    EXPECT_EQ(setting("Further"), "x");
    EXPECT_EQ(feature_.getSettings().size(), 6U);
    EXPECT_EQ(settings_.size(), 6U);
    EXPECT_EQ(getSetting(settings_, "Further"), "x");
}

TEST_F(ConfigurationFile, ListsItsPropertiesInOneOrderAfterEveryReload) {
    ASSERT_EQ(load(), "");
    for (int run = 0; run < 10; ++run) {
        ASSERT_EQ(load(), "");
        ASSERT_TRUE(writeConfigFile(feature_.getSettings(), path_));
        EXPECT_EQ(readWholeFile(path_), DEFAULTS) << run;
    }
}

TEST_F(ConfigurationFile, IsRefusedCaseByCase) {
    const std::string others = ENABLE_LSI_ADAPTER + LOG_FILE + ADDITIONAL_FW_MOD_DIR + VELKO_SSD_FEATURES_PATH;
    const struct {
        std::string text;
        const char* why;
    } CASES[] = {
        {"no XML", "text"},
        {"<", "broken XML"},
        {DEFAULTS.substr(0, DEFAULTS.size() - 1), "cut short"},
        {" ", "blanks alone are not empty"},
        {"\xFF\xFE", "bytes"},
        {R"(<Property name="Velko Nimbrel Tool Configuration File"/>)", "the root is no object"},
        {R"(<Message name="Velko Nimbrel Tool Configuration File">)" + ENABLE_LOG + others + "</Message>",
         "the root is no object, though it looks like one"},
        {"<Object category=\"attributeList\">" + ENABLE_LOG + others + TAIL, "the root has no name"},
        {"<Object category=\"attributeList\" name=\"velko nimbrel tool configuration file\">" + ENABLE_LOG + others +
             TAIL,
         "the root's name in another case"},
        {HEAD + others + TAIL, "a setting is missing"},
        {HEAD + ENABLE_LOG + LOG_FILE + ADDITIONAL_FW_MOD_DIR + VELKO_SSD_FEATURES_PATH + TAIL, "another"},
        {HEAD + ENABLE_LOG + ENABLE_LSI_ADAPTER + ADDITIONAL_FW_MOD_DIR + VELKO_SSD_FEATURES_PATH + TAIL, "another"},
        {HEAD + ENABLE_LOG + ENABLE_LSI_ADAPTER + LOG_FILE + VELKO_SSD_FEATURES_PATH + TAIL, "another"},
        {HEAD + ENABLE_LOG + ENABLE_LSI_ADAPTER + LOG_FILE + ADDITIONAL_FW_MOD_DIR + TAIL, "another"},
        {HEAD + property("EnableLog", "yes") + others + TAIL, "neither true nor false"},
        {HEAD + property("EnableLog", "true", "double") + others + TAIL, "a type that is not read"},
        {HEAD + ENABLE_LOG + others + property("EnableLog", "yes") + TAIL, "of two the last counts"},
        {HEAD + ENABLE_LOG + property("EnableLSIAdapter", "on") + LOG_FILE + ADDITIONAL_FW_MOD_DIR +
             VELKO_SSD_FEATURES_PATH + TAIL,
         "neither true nor false"},
        {HEAD + ENABLE_LOG + ENABLE_LSI_ADAPTER + property("LogFile", "") + ADDITIONAL_FW_MOD_DIR +
             VELKO_SSD_FEATURES_PATH + TAIL,
         "a log without a name"},
    };
    for (const auto& c : CASES) {
        EXPECT_EQ(loadText(c.text), CORRUPTED) << c.why;
        EXPECT_EQ(readWholeFile(path_), c.text) << "nothing is repaired: " << c.why;
        EXPECT_EQ(setting("EnableLog"), "false") << "the settings stay: " << c.why;
    }
}

TEST_F(ConfigurationFile, IsAcceptedWithSwitchesOfAnyCaseAndKeysToo) {
    EXPECT_EQ(loadText(HEAD + property("ENABLELOG", "TRUE") + property("enablelsiadapter", "False") +
                       property("logfile", "l") + property("ADDITIONALFWMODDIR", "") +
                       property("velkossdfeaturespath", "") + TAIL),
              "");
    EXPECT_EQ(setting("EnableLog"), "TRUE");
    EXPECT_EQ(feature_.getSettings().begin()->first, "ENABLELOG");
}

TEST_F(ConfigurationFile, IsNeverASymbolicLink) {
    writeWholeFile(folder_ / "target", DEFAULTS);
    ASSERT_EQ(symlink((folder_ / "target").c_str(), path_.c_str()), 0);
    EXPECT_EQ(load(), SYMLINK);
    ASSERT_EQ(unlink(path_.c_str()), 0);
    ASSERT_EQ(symlink((folder_ / "absent").c_str(), path_.c_str()), 0);
    EXPECT_EQ(load(), SYMLINK) << "a dangling one";
    EXPECT_FALSE(std::filesystem::exists(folder_ / "absent"));
}

TEST_F(ConfigurationFile, CannotBeCreatedInAMissingFolder) {
    path_ = folder_ / "absent/nimbrel_config.xml";
    EXPECT_EQ(load(), FAILED_TO_CREATE);
    EXPECT_FALSE(std::filesystem::exists(folder_ / "absent"));
}

TEST_F(ConfigurationFile, CannotBeCreatedInPlaceOfAFolder) {
    std::filesystem::create_directory(path_);
    EXPECT_EQ(load(), FAILED_TO_CREATE);
    EXPECT_TRUE(std::filesystem::is_directory(path_));
}

// Nothing of this is an absent file: it would be replaced by the defaults.
TEST_F(ConfigurationFile, ThatCannotBeReadIsNotCreatedAgain) {
    const std::string target = folder_ / "target";
    writeWholeFile(target, DEFAULTS);
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(load(), FAILED_TO_CREATE) << "a pipe; opening it would wait";
    EXPECT_EQ(read(), FAILED_TO_CREATE);
    EXPECT_TRUE(std::filesystem::is_fifo(path_));

    ASSERT_EQ(unlink(path_.c_str()), 0);
    ASSERT_EQ(symlink(target.c_str(), path_.c_str()), 0);
    EXPECT_EQ(read(), SYMLINK) << "a link that replaced the file is not followed";

    const std::string file = path_ = target;
    path_ += "/nimbrel_config.xml";
    EXPECT_EQ(load(), FAILED_TO_CREATE) << "not below a folder";
    EXPECT_EQ(readWholeFile(file), DEFAULTS);

    path_ = folder_ / std::string(300, 'x');
    EXPECT_EQ(load(), FAILED_TO_CREATE) << "ENAMETOOLONG";
}

TEST_F(ConfigurationFile, ThatIsOutOfDescriptorsIsLeftAlone) {
    if (SANITIZED) GTEST_SKIP() << "the undefined behaviour sanitizer checks memory through a pipe";
    const std::string text = HEAD + property("LogFile", "/l") + property("EnableLog", "TRUE") +
                             property("VelkoSSDFeaturesPath", "") + property("AdditionalFWModDir", "") +
                             property("EnableLSIAdapter", "True") + TAIL;
    writeWholeFile(path_, text);
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none = {0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const std::string result = load();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(result, FAILED_TO_CREATE);
    EXPECT_EQ(readWholeFile(path_), text);
    EXPECT_EQ(setting("EnableLog"), "false") << "the settings stay as they were";
}

TEST_F(ConfigurationFile, ThatOthersCanChangeIsNotObeyed) {
    writeWholeFile(path_, DEFAULTS);
    for (const mode_t bits : {0646U, 0664U}) {
        ASSERT_EQ(chmod(path_.c_str(), bits), 0);
        EXPECT_EQ(load(), CHANGEABLE);
        EXPECT_EQ(read(), CHANGEABLE);
    }
    ASSERT_EQ(chmod(path_.c_str(), 0644), 0);
    ASSERT_EQ(chmod((folder_ / "").c_str(), 0757), 0);
    EXPECT_EQ(load(), CHANGEABLE) << "others could put another file in its place";
    ASSERT_EQ(unlink(path_.c_str()), 0);
    EXPECT_EQ(load(), CHANGEABLE) << "the next run would refuse it";
    EXPECT_FALSE(std::filesystem::exists(path_));
    ASSERT_EQ(chmod((folder_ / "").c_str(), 0755), 0);
    EXPECT_EQ(load(), "");
}

TEST_F(ConfigurationFile, IsCreatedForOthersToReadAloneWithoutAnUmask) {
    const mode_t before = umask(0);
    EXPECT_EQ(load(), "");
    umask(before);
    struct stat about = {};
    ASSERT_EQ(stat(path_.c_str(), &about), 0);
    EXPECT_EQ(about.st_mode, static_cast<mode_t>(S_IFREG | 0644));
    EXPECT_EQ(load(), "");
}

TEST_F(ConfigurationFile, ReadsAsText) {
    EXPECT_EQ(read(), "") << "missing";
    writeWholeFile(path_, DEFAULTS);
    EXPECT_EQ(read(), DEFAULTS);
}

TEST_F(ConfigurationFile, IsNotWrittenWithSettingsThatNoRunWouldAccept) {
    writeWholeFile(path_, DEFAULTS);
    EXPECT_FALSE(writeConfigFile(AttributeList(), path_));
    EXPECT_EQ(readWholeFile(path_), DEFAULTS);
}

TEST_F(ConfigurationFile, KeepsItsModeAndAStrangersLink) {
    writeWholeFile(path_, DEFAULTS);
    ASSERT_EQ(chmod(path_.c_str(), 0600), 0);
    ASSERT_TRUE(writeConfigFile(feature_.getSettings(), path_));
    struct stat about = {};
    ASSERT_EQ(stat(path_.c_str(), &about), 0);
    EXPECT_EQ(about.st_mode, static_cast<mode_t>(S_IFREG | 0600));
    ASSERT_EQ(symlink(path_.c_str(), (folder_ / "link").c_str()), 0);
    EXPECT_FALSE(writeConfigFile(defaultSettings(), folder_ / "link"));
    EXPECT_EQ(readWholeFile(path_), DEFAULTS);
}

}  // namespace

}  // namespace cli::system
