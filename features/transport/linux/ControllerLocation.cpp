#include "features/transport/linux/ControllerLocation.h"

#include "features/transport/linux/Sysfs.h"

namespace features::transport {

namespace {

/// "8.0 GT/s PCIe", on older kernels "8 GT/s"; "Unknown".
std::string speedOf(const std::string& path, LookErrors& errors) {
    const std::string text = readLine(path, errors).value_or("");
    const size_t unit = text.find(" GT/s");
    return unit == std::string::npos ? "" : text.substr(0, unit) + " GT/s";
}

/// The kernel writes 0 or 255 for a width that it does not know.
std::string widthOf(const std::string& path, LookErrors& errors) {
    constexpr uint64_t UNKNOWN = 255;
    const uint64_t lanes = readNumber(path, errors).value_or(0);
    return lanes == 0 || lanes == UNKNOWN ? "" : std::to_string(lanes);
}

/// A slot's address has no function: "0000:01:00".
std::string slotOf(const LinuxPaths& paths, const std::string& pciAddress, LookErrors& errors) {
    const std::string slots = paths.sys + "/bus/pci/slots";
    for (const std::string& slot : listFolder(slots, errors)) {
        const std::string address = readLine(slots + "/" + slot + "/address", errors).value_or("");
        if (!address.empty() && address == pciAddress.substr(0, pciAddress.find('.'))) return slot;
    }
    return "";
}

}  // namespace

std::vector<HostLocation::ById> byIdLinks(const LinuxPaths& paths, LookErrors& errors) {
    std::vector<HostLocation::ById> found;
    const std::string links = paths.dev + "/disk/by-id";
    for (const std::string& name : listFolder(links, errors)) {
        const auto block = linkName(links + "/" + name, errors);
        if (block) found.push_back({name, "/dev/" + *block});
    }
    return found;
}

HostLocation locateController(const LinuxPaths& paths, const std::string& controllerFolder, LookErrors& errors) {
    HostLocation location;
    location.byId = byIdLinks(paths, errors);
    // A controller over a network has an address of another kind.
    if (readLine(controllerFolder + "/transport", errors) != "pcie") return location;
    location.pciAddress = readLine(controllerFolder + "/address", errors).value_or("");
    location.slot = slotOf(paths, location.pciAddress, errors);
    const std::string device = controllerFolder + "/device";
    location.linkSpeed = speedOf(device + "/current_link_speed", errors);
    location.linkWidth = widthOf(device + "/current_link_width", errors);
    location.maximumLinkSpeed = speedOf(device + "/max_link_speed", errors);
    location.maximumLinkWidth = widthOf(device + "/max_link_width", errors);
    return location;
}

}  // namespace features::transport
