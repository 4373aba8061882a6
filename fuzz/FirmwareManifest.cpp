// The manifest of a firmware module: whatever it says, a path never leaves its folder.
#include "features/jobs/firmware/FirmwareManifest.h"

#include <cstdint>
#include <string>

#include "fuzz/Require.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace features::jobs;
    FirmwareManifest manifest;
    const std::string fault = readFirmwareManifest(std::string(reinterpret_cast<const char*>(data), size), manifest);
    if (!fault.empty()) {
        REQUIRE(manifest.models.empty() && manifest.file.empty());
        return 0;
    }
    REQUIRE(!manifest.file.empty() && manifest.file.find_first_of(std::string("/\0", 2)) == std::string::npos);
    REQUIRE(manifest.file[0] != '.' && manifest.sha256.size() == 64 && manifest.released.size() == 10);
    REQUIRE(!manifest.revision.empty() && !manifest.models.empty() && !manifest.from.empty());
    (void)matchesOne(manifest.models, "VELKO P100 1T");  // must come to an end
    return 0;
}
