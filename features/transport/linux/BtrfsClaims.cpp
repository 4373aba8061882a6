#include "features/transport/linux/ClaimReaders.h"
#include "features/transport/linux/Sysfs.h"

namespace features::transport {

void readBtrfsClaims(const ClaimSearch& search) {
    const std::string root = search.paths.sys + "/fs/btrfs";
    for (const std::string& fileSystem : listFolder(root, search.errors)) {
        if (fileSystem == "features") continue;  // the only entry that is no file system
        const std::string devices = root + "/" + fileSystem + "/devices";
        const std::vector<std::string> blocks = listFolder(devices, search.errors);
        for (const std::string& block : blocks) {
            const auto line = readLine(devices + "/" + block + "/dev", search.errors);
            const auto number = line ? toDeviceNumber(*line) : std::nullopt;
            if (!number) continue;
            search.claims.push_back({DeviceClaim::Kind::BLOCK, *number, "the btrfs file system " + fileSystem, blocks});
        }
    }
}

}  // namespace features::transport
