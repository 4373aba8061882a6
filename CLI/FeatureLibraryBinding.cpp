#include "CLI/FeatureLibraryBinding.h"

#include <utility>

#include "CLI/LibraryCall.h"
#include "CLI/cli_system/ConfigurationFile.h"
#include "CLI/cli_system/Settings.h"
#include "ostrel/core/File.h"
#include "ostrel/core/Logging.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/Strings.h"
#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"

namespace cli {

using framework::ErrorResult;
using framework::ResultBase;
using ostrel::core::logMessage;
using ostrel::core::LOGSEVERITY_ERROR;
using ostrel::core::Status;
using ostrel::core::xml::XmlElement;
using ostrel::core::xml::XmlObject;

namespace {

// Only handed on: whether it exists is the library's business.
constexpr char LSI_SUPPORT_LIBRARY[] = "/usr/lib/nimbrel/storelib.so";

// Null until it is constructed: the end of a run whose start failed must not load a library.
FeatureLibraryBinding* loadedBinding = nullptr;

std::unique_ptr<ResultBase> failure(int32_t code, const std::string& message) {
    return std::make_unique<ErrorResult>(code, message, "");
}

}  // namespace

FeatureLibraryBinding& FeatureLibraryBinding::getInstance() {
    static FeatureLibraryBinding instance;
    return instance;
}

void FeatureLibraryBinding::unload() {
    if (loadedBinding != nullptr) loadedBinding->library_.unload();
}

FeatureLibraryBinding::FeatureLibraryBinding() {
    listLibraryPaths();
    lsiPaths_.emplace_back(LSI_SUPPORT_LIBRARY);
    loadError_ = library_.load(libraryPaths_);
    if (loadError_ == nullptr) loadError_ = handOver();
    loadedBinding = this;
}

FeatureLibraryBinding::~FeatureLibraryBinding() {
    loadedBinding = nullptr;
    library_.unload();
}

std::unique_ptr<ResultBase> FeatureLibraryBinding::takeLoadError() {
    return std::move(loadError_);
}

std::unique_ptr<ResultBase> FeatureLibraryBinding::sendRequest(const XmlObject& request, std::string& responseText,
                                                               Status& status) {
    return exchange(library_.functions(), request, responseText, status);
}

std::unique_ptr<ResultBase> FeatureLibraryBinding::sendRequest(const XmlObject& request,
                                                               std::unique_ptr<XmlElement>& response, Status& status) {
    return exchange(library_.functions(), request, response, status);
}

void FeatureLibraryBinding::disableLoggerIfOff() {
    if (library_.functions().enableLogger == nullptr) return;
    const std::string enableLog = system::getSetting(system::getConfiguration(), system::SETTING_ENABLE_LOG);
    if (!ostrel::core::equals(enableLog, "false", true)) return;
    const auto error = callLibrary("EnableLogger", [this] { library_.functions().enableLogger("", 0, 0, 1); });
    if (error != nullptr) logMessage(LOGSEVERITY_ERROR, error->output());
}

// Without a scope trace: a run that passed nothing over begins its log with the tool's version.
void FeatureLibraryBinding::logPassedOver() const {
    for (const std::string& line : library_.passedOver())
        logMessage(LOGSEVERITY_ERROR, "Feature library passed over: ", line);
}

void FeatureLibraryBinding::listLibraryPaths() {
    libraryPaths_ =
        featureLibraryPaths(system::getSetting(system::getConfiguration(), system::SETTING_VELKO_SSD_FEATURES_PATH));
}

// Its error leaves a library that is loaded and may still be sent requests.
std::unique_ptr<ResultBase> FeatureLibraryBinding::handOver() {
    const auto setLsiPath = library_.resolve<SetLSIPathFunction>("SetLSIPath");
    std::unique_ptr<ResultBase> result;
    if (library_.functions().enableLogger != nullptr) result = configureLog();
    // Also after a log that was refused: requests may still be sent.
    if (setLsiPath != nullptr && system::isSettingOn(system::getConfiguration(), system::SETTING_ENABLE_LSI_ADAPTER)) {
        for (const std::string& path : lsiPaths_) {
            auto error = callLibrary("SetLSIPath", [&] { setLsiPath(path.data(), path.size()); });
            if (result == nullptr) result = std::move(error);
        }
    }
    return result;
}

std::unique_ptr<ResultBase> FeatureLibraryBinding::configureLog() {
    const auto& configuration = system::getConfiguration();
    if (!system::isSettingOn(configuration, system::SETTING_ENABLE_LOG)) return nullptr;
    const std::string path = system::getSetting(configuration, system::SETTING_LOG_FILE);
    if (ostrel::core::isSymbolicLink(path)) {
        return failure(framework::ERRORCODE_SYMBOLIC_LINK,
                       "Debug LogFile given is a symlink. Please resolve by deleting or removing symlink: " + path);
    }
    // The tool's own log is opened later: emptied then, it would lose the library's first lines.
    ostrel::core::truncateLogFile(path);
    int32_t code = FEATURE_LIBRARY_SUCCESS;
    const auto call = [&] { code = library_.functions().enableLogger(path.data(), path.size(), 0, 0); };
    if (auto error = callLibrary("EnableLogger", call)) return error;
    if (code == FEATURE_LIBRARY_INVALID_INPUT) {
        return failure(framework::ERRORCODE_INVALID_CONFIGURATION,
                       "Invalid debug log file given: " + path +
                           "\nPlease use show -system and set -system to correct log file path.");
    }
    return nullptr;
}

}  // namespace cli
