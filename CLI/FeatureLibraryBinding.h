#pragma once

#include <memory>
#include <string>
#include <vector>

#include "CLI/FeatureLibraryExchange.h"
#include "ostrel/connections/linux/connection_dll_linux/Connection_DLL.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

namespace cli {

/// The one binding of the process to the feature library, which does all work on drives: finds it, loads it, hands
/// over log and adapter paths, carries requests, and closes it at exit. FeatureLibrary.h tells what a library offers.
///
/// A library that cannot be loaded does not stop the tool: the failure is kept for the one feature that needs a
/// library, and there is no second try. What the library does inside a call, a crash included, happens in this process.
///
/// Threads: the main thread only; the library may have threads of its own.
class FeatureLibraryBinding {
public:
    /// The first call loads the library, and ends the process when the configuration file is bad (see getConfigPath()).
    static FeatureLibraryBinding& getInstance();

    /// Tells the library to unload, and closes it.
    ~FeatureLibraryBinding();
    FeatureLibraryBinding(const FeatureLibraryBinding&) = delete;
    FeatureLibraryBinding& operator=(const FeatureLibraryBinding&) = delete;

    /// What went wrong when the library was loaded; null when all is well, and at every further call.
    std::unique_ptr<framework::ResultBase> takeLoadError();

    /// Sends a request and waits for the response; see exchange(), which tells about errors too.
    std::unique_ptr<framework::ResultBase> sendRequest(const ostrel::core::xml::XmlObject& request,
                                                       std::string& responseText, ostrel::core::Status& status);
    /// The same, with the response as a tree.
    std::unique_ptr<framework::ResultBase> sendRequest(const ostrel::core::xml::XmlObject& request,
                                                       std::unique_ptr<ostrel::core::xml::XmlElement>& response,
                                                       ostrel::core::Status& status);

    /// Tells the library to write no log, if the configuration says so.
    void disableLoggerIfOff();

private:
    FeatureLibraryBinding();

    void listLibraryPaths();
    void openFirstLibrary();
    void closeLibrary();
    std::unique_ptr<framework::ResultBase> load();
    bool isRightVersion();
    std::unique_ptr<framework::ResultBase> startLibrary();
    std::unique_ptr<framework::ResultBase> configureLog(const std::string& configText);
    /// The function of that name, null when the library has none.
    template <typename Function>
    Function resolve(const char* name);

    void* deviceManager_ = nullptr;  // stays null: the library builds its own
    std::vector<std::string> libraryPaths_;
    std::vector<std::string> lsiPaths_;
    std::unique_ptr<ostrel::connections::common::dll::Connection> connection_;
    std::unique_ptr<framework::ResultBase> loadError_;
    FeatureLibraryFunctions functions_;
};

}  // namespace cli
