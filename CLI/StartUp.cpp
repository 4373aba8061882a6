#include "CLI/StartUp.h"

#include <cstdlib>
#include <string>

#include "CLI/FeatureLibraryBinding.h"
#include "CLI/cli_system/ConfigurationFile.h"
#include "CLI/cli_system/Settings.h"
#include "ostrel/core/File.h"
#include "ostrel/core/Logging.h"
#include "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"

namespace cli {

// Without a scope trace: its last line would be the first of every log.
void runStartUpRoutine() {
    // What the user chose stays; without memory for the variable there is no progress.
    (void)::setenv(FEATURE_LIBRARY_PROGRESS_VARIABLE, FEATURE_LIBRARY_PROGRESS_ON_STDERR, 0);
    const FeatureLibraryBinding& binding = FeatureLibraryBinding::getInstance();
    const auto& configuration = system::getConfiguration();
    if (!system::isSettingOn(configuration, system::SETTING_ENABLE_LOG)) return;
    const std::string logFile = system::getSetting(configuration, system::SETTING_LOG_FILE);
    // Passed over in silence: the commands that need the library report the link.
    if (ostrel::core::isSymbolicLink(logFile)) return;
    ostrel::core::setLogFile(logFile, false);
    ostrel::core::openLogFile();
    ostrel::core::enableLogging();
    binding.logPassedOver();
}

void runShutDownRoutine() {
    FeatureLibraryBinding::unload();
}

}  // namespace cli
