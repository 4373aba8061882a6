#include "CLI/FeatureLibraryBinding.h"

#include <cerrno>
#include <new>
#include <utility>

#include "CLI/LibraryCall.h"
#include "CLI/cli_system/ConfigurationFile.h"
#include "CLI/cli_system/Settings.h"
#include "ostrel/connections/linux/connection_dll_linux/Connection_DLL_Linux.h"
#include "ostrel/core/File.h"
#include "ostrel/core/Globals.h"
#include "ostrel/core/Logging.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/TrustedFile.h"
#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"

namespace cli {

using framework::ErrorResult;
using framework::ResultBase;
using ostrel::core::logMessage;
using ostrel::core::LOGSEVERITY_ERROR;
using ostrel::core::Status;
using ostrel::core::TrustedFile;
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
    if (loadedBinding != nullptr) loadedBinding->unloadLibrary();
}

FeatureLibraryBinding::FeatureLibraryBinding() {
    listLibraryPaths();
    lsiPaths_.emplace_back(LSI_SUPPORT_LIBRARY);
    loadError_ = load();
    loadedBinding = this;
}

FeatureLibraryBinding::~FeatureLibraryBinding() {
    loadedBinding = nullptr;
    unloadLibrary();
}

// The outcome of the run is delivered already, and a destructor is among the callers.
void FeatureLibraryBinding::unloadLibrary() noexcept {
    if (connection_ == nullptr || !connection_->isOpen()) return;
    try {
        callUnload();
    } catch (const std::bad_alloc&) {
        // There was no memory for the words of an error, so that none can be logged.
    }
    closeLibrary();
}

void FeatureLibraryBinding::callUnload() {
    const auto unloadFunction = resolve<UnloadFunction>("Unload");
    if (unloadFunction == nullptr) return;
    const auto error = callLibrary("Unload", unloadFunction);
    if (error != nullptr) logMessage(LOGSEVERITY_ERROR, error->output());
}

std::unique_ptr<ResultBase> FeatureLibraryBinding::takeLoadError() {
    return std::move(loadError_);
}

std::unique_ptr<ResultBase> FeatureLibraryBinding::sendRequest(const XmlObject& request, std::string& responseText,
                                                               Status& status) {
    return exchange(functions_, request, responseText, status);
}

std::unique_ptr<ResultBase> FeatureLibraryBinding::sendRequest(const XmlObject& request,
                                                               std::unique_ptr<XmlElement>& response, Status& status) {
    return exchange(functions_, request, response, status);
}

void FeatureLibraryBinding::disableLoggerIfOff() {
    const auto configuration = system::readConfigFile();
    if (configuration == nullptr || functions_.enableLogger == nullptr) return;
    const std::string enableLog = system::getSetting(*configuration, system::SETTING_ENABLE_LOG);
    if (!ostrel::core::equals(enableLog, "false", true)) return;
    const auto error = callLibrary("EnableLogger", [this] { functions_.enableLogger("", 0, 0, 1); });
    if (error != nullptr) logMessage(LOGSEVERITY_ERROR, error->output());
}

// Without a scope trace: a run that passed nothing over begins its log with the tool's version.
void FeatureLibraryBinding::logPassedOver() const {
    for (const std::string& line : passedOver_) logMessage(LOGSEVERITY_ERROR, "Feature library passed over: ", line);
}

void FeatureLibraryBinding::listLibraryPaths() {
    const auto configuration = system::readConfigFile();
    if (configuration == nullptr) return;
    if (findIgnoringCase(*configuration, system::SETTING_VELKO_SSD_FEATURES_PATH) == configuration->end()) return;
    std::string configured = system::getSetting(*configuration, system::SETTING_VELKO_SSD_FEATURES_PATH);
    if (!configured.empty()) libraryPaths_.push_back(std::move(configured));
    libraryPaths_.push_back(ostrel::core::getExecutablePath() + FEATURE_LIBRARY_FILE_NAME);
    libraryPaths_.emplace_back(FEATURE_LIBRARY_FOLDER FEATURE_LIBRARY_FILE_NAME);
}

void FeatureLibraryBinding::openFirstLibrary() {
    for (const std::string& path : libraryPaths_)
        if (openLibrary(path)) return;
}

bool FeatureLibraryBinding::openLibrary(const std::string& path) {
    TrustedFile file;
    const Status status = file.open(path, ostrel::core::SymbolicLink::FOLLOW);
    if (status.is(ostrel::core::CATEGORY_OS, ENOENT)) return false;
    if (failed(status)) {
        passOver(path, status.getMessage());
        return false;
    }
    if (file.realPath().find('$') != std::string::npos) {
        passOver(path, "dlopen() would expand the '$' in its path");
        return false;
    }
    // By its real path and not by /proc/self/fd/N, where "$ORIGIN", dlerror() and dladdr() would name that. No user
    // who is not trusted can change a component of it, now that each was checked.
    auto connection = std::make_unique<ostrel::connections::dll::Connection>(file.realPath());
    if (failed(connection->open(nullptr))) {
        passOver(path, connection->getLoadError());
        return false;
    }
    connection_ = std::move(connection);
    return true;
}

void FeatureLibraryBinding::passOver(const std::string& path, const std::string& reason) {
    const std::string start = path + ": ";
    passedOver_.push_back(reason.compare(0, start.size(), start) == 0 ? reason : start + reason);
}

void FeatureLibraryBinding::closeLibrary() {
    functions_ = FeatureLibraryFunctions();  // their code is about to be unmapped
    connection_.reset();  // and not by close(), whose status takes memory that a full host does not have
}

std::unique_ptr<ResultBase> FeatureLibraryBinding::load() {
    openFirstLibrary();
    if (connection_ == nullptr) {
        std::string message = "Failed to find or load valid library: " FEATURE_LIBRARY_FILE_NAME "--------";
        for (const std::string& line : passedOver_) message += "\n" + line;
        return failure(framework::ERRORCODE_GENERAL, message);
    }
    auto error = checkVersion();
    if (error == nullptr) error = startLibrary();
    if (error != nullptr) {
        closeLibrary();
        return error;
    }
    return handOver();
}

std::unique_ptr<ResultBase> FeatureLibraryBinding::checkVersion() {
    const auto getVersion = resolve<GetVerFunction>("GetVer");
    int32_t version = 0;
    if (getVersion != nullptr)
        if (auto error = callLibrary("GetVer", [&] { version = getVersion(); })) return error;
    if (version == FEATURE_LIBRARY_VERSION) return nullptr;
    return failure(framework::ERRORCODE_GENERAL, "Invalid OSTREL Interface version.");
}

// Its error leaves nothing to unload.
std::unique_ptr<ResultBase> FeatureLibraryBinding::startLibrary() {
    const auto registerDeviceManager = resolve<RegisterDeviceManagerFunction>("RegisterDeviceManager");
    const auto loadLibrary = resolve<LoadFunction>("Load");
    functions_.sendXmlMessage = resolve<SendXMLMessageFunction>("SendXMLMessage");
    functions_.receiveXmlMessage = resolve<ReceiveXMLMessageFunction>("ReceiveXMLMessage");
    functions_.enableLogger = resolve<EnableLoggerFunction>("EnableLogger");
    if (loadLibrary == nullptr || registerDeviceManager == nullptr || functions_.sendXmlMessage == nullptr ||
        functions_.receiveXmlMessage == nullptr) {
        return failure(framework::ERRORCODE_GENERAL, "Failed to load OSTREL Interface functions.");
    }
    auto error = callLibrary("RegisterDeviceManager", [&] { registerDeviceManager(deviceManager_); });
    return error != nullptr ? std::move(error) : callLibrary("Load", [&] { loadLibrary(1); });
}

// Its error leaves a library that is loaded and may still be sent requests.
std::unique_ptr<ResultBase> FeatureLibraryBinding::handOver() {
    const auto setLsiPath = resolve<SetLSIPathFunction>("SetLSIPath");
    const std::string configText = system::readConfigText();
    std::unique_ptr<ResultBase> result;
    if (functions_.enableLogger != nullptr) result = configureLog(configText);
    const auto configuration = system::parseConfigText(configText);
    // Also after a log that was refused: requests may still be sent.
    if (setLsiPath != nullptr && configuration != nullptr &&
        system::isSettingOn(*configuration, system::SETTING_ENABLE_LSI_ADAPTER)) {
        for (const std::string& path : lsiPaths_) {
            auto error = callLibrary("SetLSIPath", [&] { setLsiPath(path.data(), path.size()); });
            if (result == nullptr) result = std::move(error);
        }
    }
    return result;
}

std::unique_ptr<ResultBase> FeatureLibraryBinding::configureLog(const std::string& configText) {
    if (configText.empty()) {
        return failure(framework::ERRORCODE_INVALID_CONFIGURATION,
                       "Invalid or corrupted configuration file. Please fix or delete: " + system::getConfigPath());
    }
    const auto configuration = system::parseConfigText(configText);
    if (configuration == nullptr || !system::isSettingOn(*configuration, system::SETTING_ENABLE_LOG)) return nullptr;
    const std::string path = system::getSetting(*configuration, system::SETTING_LOG_FILE);
    if (ostrel::core::isSymbolicLink(path)) {
        return failure(framework::ERRORCODE_SYMBOLIC_LINK,
                       "Debug LogFile given is a symlink. Please resolve by deleting or removing symlink: " + path);
    }
    // The tool's own log is opened later: emptied then, it would lose the library's first lines.
    ostrel::core::truncateLogFile(path);
    int32_t code = FEATURE_LIBRARY_SUCCESS;
    const auto call = [&] { code = functions_.enableLogger(path.data(), path.size(), 0, 0); };
    if (auto error = callLibrary("EnableLogger", call)) return error;
    if (code == FEATURE_LIBRARY_INVALID_INPUT) {
        return failure(framework::ERRORCODE_INVALID_CONFIGURATION,
                       "Invalid debug log file given: " + path +
                           "\nPlease use show -system and set -system to correct log file path.");
    }
    return nullptr;
}

template <typename Function>
Function FeatureLibraryBinding::resolve(const char* name) {
    void* address = nullptr;
    (void)connection_->loadFunction(name, address);  // null says it all
    return reinterpret_cast<Function>(address);
}

}  // namespace cli
