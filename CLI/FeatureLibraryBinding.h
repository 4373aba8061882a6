#pragma once

#include <memory>
#include <string>
#include <vector>

#include "CLI/LoadedFeatureLibrary.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

namespace cli {

/// The one binding of the process to the feature library, which does all work on drives: loads it
/// (LoadedFeatureLibrary.h), hands over log and adapter paths, carries requests, and closes it at exit.
/// FeatureLibrary.h is its interface.
///
/// A library that cannot be loaded does not stop the tool: the failure is kept for the one command-line feature that
/// needs a library, and there is no second try. What the library does inside a call, a crash included, happens in this
/// process; an exception ends with the call.
///
/// Threads: the main thread only; the library may have threads of its own.
class FeatureLibraryBinding {
public:
    /// The first call loads the library, and ends the process when the configuration file is bad (see getConfigPath()).
    static FeatureLibraryBinding& getInstance();

    /// Calls the library's Unload and closes it, once, if a library is loaded. For the end of a run, while the debug
    /// log still takes what goes wrong there; the destructor does the same.
    static void unload();

    ~FeatureLibraryBinding();
    FeatureLibraryBinding(const FeatureLibraryBinding&) = delete;
    FeatureLibraryBinding& operator=(const FeatureLibraryBinding&) = delete;

    /// What went wrong when the library was loaded; null when all is well, and at every further call.
    std::unique_ptr<framework::ResultBase> takeLoadError();

    /// Sends a request and waits for the response; see exchange(), which describes the errors too.
    std::unique_ptr<framework::ResultBase> sendRequest(const ostrel::core::xml::XmlObject& request,
                                                       std::string& responseText, ostrel::core::Status& status);
    /// The same, with the response as a tree.
    std::unique_ptr<framework::ResultBase> sendRequest(const ostrel::core::xml::XmlObject& request,
                                                       std::unique_ptr<ostrel::core::xml::XmlElement>& response,
                                                       ostrel::core::Status& status);

    /// Has the library write no log, if the configuration says so.
    void disableLoggerIfOff();

    /// Writes to the debug log which files were passed over when the library was looked for: the log opens later.
    void logPassedOver() const;

private:
    FeatureLibraryBinding();

    void listLibraryPaths();
    std::unique_ptr<framework::ResultBase> handOver();
    std::unique_ptr<framework::ResultBase> configureLog();

    std::vector<std::string> libraryPaths_;
    std::vector<std::string> lsiPaths_;
    std::unique_ptr<framework::ResultBase> loadError_;
    LoadedFeatureLibrary library_;
};

}  // namespace cli
