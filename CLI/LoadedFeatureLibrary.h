#pragma once

#include <memory>
#include <string>
#include <vector>

#include "CLI/FeatureLibraryExchange.h"
#include "ostrel/connections/linux/connection_dll_linux/Connection_DLL.h"
#include "ostrel/core/Status.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

namespace cli {

/// Where a feature library is looked for: the configured path, unless that is empty, beside the executable, and in
/// FEATURE_LIBRARY_FOLDER.
std::vector<std::string> featureLibraryPaths(const std::string& configured);

/// A feature library in this process: looked for, checked, opened, started. FeatureLibrary.h is its interface.
///
/// The library runs as root: a file is opened only when no other user can change it (ostrel::core::TrustedFile), and
/// one that fails is passed over.
///
/// Threads: the main thread only; the library may have threads of its own.
class LoadedFeatureLibrary {
public:
    LoadedFeatureLibrary() = default;
    ~LoadedFeatureLibrary() { unload(); }
    LoadedFeatureLibrary(const LoadedFeatureLibrary&) = delete;
    LoadedFeatureLibrary& operator=(const LoadedFeatureLibrary&) = delete;

    /// Opens the first of the files that can be opened, and starts the library. Null when all is well; otherwise
    /// nothing is loaded. Once for an object.
    std::unique_ptr<framework::ResultBase> load(const std::vector<std::string>& paths);

    /// Calls the library's Unload and closes it, if one is loaded.
    void unload() noexcept;

    /// All null while nothing is loaded.
    const FeatureLibraryFunctions& functions() const { return functions_; }
    /// "PATH: REASON" of each file that was passed over.
    const std::vector<std::string>& passedOver() const { return passedOver_; }

    /// The function of that name, null when the library has none. Only while one is loaded.
    template <typename Function>
    Function resolve(const char* name) {
        void* address = nullptr;
        (void)connection_->loadFunction(name, address);  // null says it all
        return reinterpret_cast<Function>(address);
    }

private:
    /// Null, unless the library failed in it; a file that is not opened is passed over.
    std::unique_ptr<framework::ResultBase> open(const std::string& path);
    void passOver(const std::string& path, const std::string& reason);
    std::unique_ptr<framework::ResultBase> checkVersion();
    std::unique_ptr<framework::ResultBase> start();
    void callUnload();
    void close();

    std::vector<std::string> passedOver_;
    std::unique_ptr<ostrel::connections::common::dll::Connection> connection_;
    FeatureLibraryFunctions functions_;
};

}  // namespace cli
