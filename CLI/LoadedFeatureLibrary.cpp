#include "CLI/LoadedFeatureLibrary.h"

#include <unwind.h>

#include <cerrno>
#include <new>
#include <utility>

#include "CLI/LibraryCall.h"
#include "ostrel/connections/linux/connection_dll_linux/Connection_DLL_Linux.h"
#include "ostrel/core/File.h"
#include "ostrel/core/Globals.h"
#include "ostrel/core/Logging.h"
#include "ostrel/core/Status.h"
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

namespace {

std::unique_ptr<ResultBase> failure(int32_t code, const std::string& message) {
    return std::make_unique<ErrorResult>(code, message, "");
}

// An exception of the library may be thrown by another unwinder than the one that is linked into this program, and
// GCC's prepares its registers on its first own use: without it, the first exception to be caught here would end the
// process.
void prepareToCatch() {
    (void)_Unwind_Backtrace([](_Unwind_Context*, void*) { return _URC_END_OF_STACK; }, nullptr);
}

}  // namespace

std::vector<std::string> featureLibraryPaths(const std::string& configured) {
    std::vector<std::string> paths;
    if (!configured.empty()) paths.push_back(configured);
    paths.push_back(ostrel::core::getExecutablePath() + FEATURE_LIBRARY_FILE_NAME);
    paths.emplace_back(FEATURE_LIBRARY_FOLDER FEATURE_LIBRARY_FILE_NAME);
    return paths;
}

// The outcome of the run is delivered already, and a destructor is among the callers.
void LoadedFeatureLibrary::unload() noexcept {
    if (connection_ == nullptr || !connection_->isOpen()) return;
    try {
        callUnload();
    } catch (const std::bad_alloc&) {
        // There was no memory for the words of an error, so that none can be logged.
    }
    close();
}

void LoadedFeatureLibrary::callUnload() {
    const auto unloadFunction = resolve<UnloadFunction>("Unload");
    if (unloadFunction == nullptr) return;
    const auto error = callLibrary("Unload", unloadFunction);
    if (error != nullptr) logMessage(LOGSEVERITY_ERROR, error->output());
}

// A library whose static objects cannot be made is not passed over: the dynamic linker would take it for loaded when it
// is named a second time.
std::unique_ptr<ResultBase> LoadedFeatureLibrary::open(const std::string& path) {
    TrustedFile file;
    const Status status = file.open(path, ostrel::core::SymbolicLink::FOLLOW);
    if (status.is(ostrel::core::CATEGORY_OS, ENOENT)) return nullptr;
    if (failed(status)) {
        passOver(path, status.getMessage());
        return nullptr;
    }
    if (file.realPath().find('$') != std::string::npos) {
        passOver(path, "dlopen() would expand the '$' in its path");
        return nullptr;
    }
    // By its real path and not by /proc/self/fd/N, where "$ORIGIN", dlerror() and dladdr() would name that. No user
    // who is not trusted can change a component of it, now that each was checked.
    auto connection = std::make_unique<ostrel::connections::dll::Connection>(file.realPath());
    Status opened;
    if (auto error = callLibrary("dlopen", [&] { opened = connection->open(nullptr); })) return error;
    if (failed(opened))
        passOver(path, connection->getLoadError());
    else
        connection_ = std::move(connection);
    return nullptr;
}

void LoadedFeatureLibrary::passOver(const std::string& path, const std::string& reason) {
    const std::string start = path + ": ";
    passedOver_.push_back(reason.compare(0, start.size(), start) == 0 ? reason : start + reason);
}

void LoadedFeatureLibrary::close() {
    functions_ = FeatureLibraryFunctions();  // their code is about to be unmapped
    connection_.reset();  // and not by close(), whose status takes memory that a full host does not have
}

std::unique_ptr<ResultBase> LoadedFeatureLibrary::load(const std::vector<std::string>& paths) {
    prepareToCatch();  // also what constructors of static objects throw while the library is loaded
    for (const std::string& path : paths) {
        if (auto error = open(path)) return error;
        if (connection_ != nullptr) break;
    }
    if (connection_ == nullptr) {
        std::string message = "Failed to find or load valid library: " FEATURE_LIBRARY_FILE_NAME "--------";
        for (const std::string& line : passedOver_) message += "\n" + line;
        return failure(framework::ERRORCODE_GENERAL, message);
    }
    auto error = checkVersion();
    if (error == nullptr) error = start();
    if (error != nullptr) {
        close();
        return error;
    }
    return nullptr;
}

std::unique_ptr<ResultBase> LoadedFeatureLibrary::checkVersion() {
    const auto getVersion = resolve<GetVerFunction>("GetVer");
    int32_t version = 0;
    if (getVersion != nullptr)
        if (auto error = callLibrary("GetVer", [&] { version = getVersion(); })) return error;
    if (version == FEATURE_LIBRARY_VERSION) return nullptr;
    return failure(framework::ERRORCODE_GENERAL, "Invalid OSTREL Interface version.");
}

// Its error leaves nothing to unload.
std::unique_ptr<ResultBase> LoadedFeatureLibrary::start() {
    const auto registerDeviceManager = resolve<RegisterDeviceManagerFunction>("RegisterDeviceManager");
    const auto loadLibrary = resolve<LoadFunction>("Load");
    functions_.sendXmlMessage = resolve<SendXMLMessageFunction>("SendXMLMessage");
    functions_.receiveXmlMessage = resolve<ReceiveXMLMessageFunction>("ReceiveXMLMessage");
    functions_.enableLogger = resolve<EnableLoggerFunction>("EnableLogger");
    if (loadLibrary == nullptr || registerDeviceManager == nullptr || functions_.sendXmlMessage == nullptr ||
        functions_.receiveXmlMessage == nullptr) {
        return failure(framework::ERRORCODE_GENERAL, "Failed to load OSTREL Interface functions.");
    }
    auto error = callLibrary("RegisterDeviceManager", [&] { registerDeviceManager(nullptr); });
    return error != nullptr ? std::move(error) : callLibrary("Load", [&] { loadLibrary(1); });
}

}  // namespace cli
