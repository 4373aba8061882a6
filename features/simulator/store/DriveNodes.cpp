#include "features/simulator/store/DriveNodes.h"

namespace features::simulator {

std::string controllerNode(const std::string& folder) {
    return folder + "/dev/" + folder.substr(folder.rfind('/') + 1);
}

std::string namespaceNode(const std::string& folder, uint32_t nsid) {
    return controllerNode(folder) + "n" + std::to_string(nsid);
}

}  // namespace features::simulator
