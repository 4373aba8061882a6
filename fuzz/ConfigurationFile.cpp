#include "CLI/cli_system/ConfigurationFile.h"

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "CLI/cli_system/Settings.h"
#include "CLI/cli_system/SystemFeature.h"
#include "ostrel/core/Strings.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"

namespace {

void check(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

// In memory: thousands of files a second would wear a disk.
const std::string& path() {
    static const std::string thePath = "/dev/shm/nimbrel-fuzz-" + std::to_string(getpid());
    static const int registered = std::atexit([] { unlink(thePath.c_str()); });
    (void)registered;
    return thePath;
}

}  // namespace

/// The whole file: what is accepted holds usable settings in the right order, and writing them leaves a good file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace cli::system;
    std::ofstream(path(), std::ios::binary).write(reinterpret_cast<const char*>(data), static_cast<long>(size));
    SystemFeature feature;
    ostrel::core::AttributeList settings;
    const auto error = loadConfigFile(feature, path(), settings);
    if (error != nullptr) {
        check(error->getErrorCode() == 12, "a bad file is a corrupted one");
        return 0;
    }
    check(areSettingsValid(feature.getSettings()), "loaded settings are valid");
    check(ostrel::core::equals(feature.getSettings().begin()->first, SETTING_ENABLE_LOG, true), "the log comes first");
    (void)writeConfigFile(feature.getSettings(), path());  // a zero byte in a value is reason enough to fail
    SystemFeature again;
    check(loadConfigFile(again, path(), settings) == nullptr, "whether or not it was written again, the file is valid");
    return 0;
}
